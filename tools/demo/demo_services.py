#!/usr/bin/env python3
"""The services the demo stands in for, on 127.0.0.1: the product's service (account, version,
plugin zip, sign-in and billing pages), the speech-to-text service answering from the demo media's
manifest, and the language model picking a story (or auditing a cut) from the transcript it is
sent. Every request is appended to a log as one JSON line.

    demo_services.py <media folder> <request log> [--port N]

Prints "PORT <n>" once it listens, then serves until it is stopped.
"""
import io
import json
import os
import re
import sys
import threading
import zipfile
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, urlparse

TOKEN = "ondrel_demo_4f7c2a9e1b"
USER = {"id": "demo", "name": "Marta Ruiz", "email": "marta@lighthouse-docs.example", "credits": 240,
        "plan": "Studio Monthly"}
PLUGIN_VERSION = "0.2.0-beta"
CHUNK = 300.0


class World:
    def __init__(self, media, log_path):
        with open(os.path.join(media, "manifest.json"), encoding="utf-8") as f:
            self.manifest = json.load(f)
        self.lines = [l for f in self.manifest["files"] for l in f["lines"]]
        self.log_path = log_path
        self.lock = threading.Lock()
        self.story = []  # the last story's moments, for the word timing that follows it

    def log(self, entry):
        with self.lock, open(self.log_path, "a", encoding="utf-8") as f:
            f.write(json.dumps(entry, ensure_ascii=False) + "\n")

    def line_at(self, start, end):
        """The manifest's line that best covers [start, end] on the clock."""
        best, overlap = None, 0.0
        for line in self.lines:
            o = min(end, line["clockEnd"]) - max(start, line["clockStart"])
            if o > overlap:
                best, overlap = line, o
        return best


def multipart(body, content_type):
    boundary = content_type.split("boundary=", 1)[1].encode()
    fields, files = {}, {}
    for part in body.split(b"--" + boundary):
        if b"\r\n\r\n" not in part:
            continue
        head, data = part.split(b"\r\n\r\n", 1)
        if data.endswith(b"\r\n"):
            data = data[:-2]
        name = re.search(rb'name="([^"]*)"', head)
        filename = re.search(rb'filename="([^"]*)"', head)
        if not name:
            continue
        if filename:
            files[name.group(1).decode()] = (filename.group(1).decode(), data)
        else:
            fields[name.group(1).decode()] = data.decode()
    return fields, files


def wav_seconds(data):
    """The length of the audio the application sends: a FLAC's stream info, or a PCM WAV's header
    (16-bit mono as the application cuts them)."""
    if data[:4] == b"fLaC" and len(data) >= 26:
        info = int.from_bytes(data[18:26], "big")
        rate, samples = info >> 44, info & ((1 << 36) - 1)
        return samples / rate if rate else 0.0
    pos = 12
    rate, block = 16000, 2
    while pos + 8 <= len(data):
        tag, size = data[pos:pos + 4], int.from_bytes(data[pos + 4:pos + 8], "little")
        if tag == b"fmt ":
            rate = int.from_bytes(data[pos + 12:pos + 16], "little")
            block = int.from_bytes(data[pos + 20:pos + 22], "little") or 2
        if tag == b"data":
            return min(size, len(data) - pos - 8) / block / rate
        pos += 8 + size + (size & 1)
    return 0.0


def transcription(world, fields, files):
    name, data = files.get("file", ("", b""))
    if fields.get("timestamp_granularities[]") == "word":
        # A chosen moment, cut again for its words: the words of that moment, spread over its length.
        m = re.search(r"word_seg_(\d+)", name)
        index = int(m.group(1)) if m else 0
        text = world.story[index]["transcript"] if index < len(world.story) else "un momento"
        words = text.split()
        length = max(wav_seconds(data), 0.5)
        step = (length - 0.2) / max(len(words), 1)
        return {"text": text, "language": "spanish", "duration": length,
                "words": [{"word": w, "start": round(0.1 + i * step, 2), "end": round(0.1 + (i + 0.9) * step, 2)}
                          for i, w in enumerate(words)]}
    m = re.search(r"chunk_(\d+)", name)
    first = (int(m.group(1)) if m else 0) * CHUNK
    length = wav_seconds(data) or CHUNK
    segments = [{"id": n, "start": round(l["clockStart"] - first, 2), "end": round(l["clockEnd"] - first, 2),
                 "text": " " + l["text"]}
                for n, l in enumerate(l for l in world.lines if first <= l["clockStart"] < first + length)]
    return {"text": "".join(s["text"] for s in segments), "language": "spanish", "duration": length,
            "segments": segments}


LINE = re.compile(r"^\[(\d+(?:\.\d+)?)s → (\d+(?:\.\d+)?)s\] (.*)$")
MARKED = re.compile(r"^\[(USED|UNUSED)\] \[(\d+(?:\.\d+)?)s → (\d+(?:\.\d+)?)s\] (.*)$")


def story(world, prompt):
    target = float(re.search(r"TARGET: [\d.]+ minutes? \(([\d.]+) seconds\)", prompt).group(1))
    answers = []
    for row in prompt.splitlines():
        m = LINE.match(row)
        if not m:
            continue
        start, end = float(m.group(1)), float(m.group(2))
        line = world.line_at(start, end)
        if line and line["who"] == "subject":
            answers.append((start, end, line))
    chosen, total = [], 0.0
    for start, end, line in answers:
        if total >= target and len(chosen) >= 3:
            break
        chosen.append((start, end, line))
        total += end - start
    segments, acts = [], []
    for index, (start, end, line) in enumerate(chosen):
        segments.append({"index": index, "startTime": start, "endTime": end, "sourceClip": "source",
                         "transcript": line["text"], "translation": line["translation"],
                         "chapter": line["chapter"]})
        if not acts or acts[-1]["name"] != line["chapter"]:
            acts.append({"name": line["chapter"], "segments": []})
        acts[-1]["segments"].append(index)
    world.story = segments
    return {"segments": segments, "structure": {"acts": acts, "totalDuration": round(total, 2)},
            "subtitles": [{"startTime": s["startTime"], "endTime": s["endTime"], "text": s["translation"]}
                          for s in segments],
            "estimatedDuration": round(total, 2)}


def audit(world, prompt):
    used, unused = [], []
    for row in prompt.splitlines():
        m = MARKED.match(row)
        if not m:
            continue
        start, end = float(m.group(2)), float(m.group(3))
        line = world.line_at(start, end)
        if line and line["who"] == "subject":
            (used if m.group(1) == "USED" else unused).append((start, end, line))
    coverage = re.search(r"They used (\d+)% of the total footage", prompt)
    gold = [{"startTime": s, "endTime": e, "text": l["translation"], "reason": "An unused answer about "
             + l["chapter"].lower() + " that gives the cut a face and a place.", "emotionalWeight": 5 - i % 3}
            for i, (s, e, l) in enumerate(unused[:4])]
    redundancies = []
    if len(used) >= 2:
        (a, b, la), (c, d, lc) = used[0], used[1]
        redundancies.append({"firstStart": a, "firstEnd": b, "secondStart": c, "secondEnd": d,
                             "topic": "Both answers set the scene of the village"})
    alternates = []
    if used and unused:
        (a, b, _), (c, d, lu) = used[0], unused[-1]
        alternates.append({"existingStart": a, "existingEnd": b, "alternateStart": c, "alternateEnd": d,
                           "alternateText": lu["translation"], "reason": "The same feeling, said plainer and warmer."})
    gaps = sorted({l["chapter"] for _, _, l in unused} - {l["chapter"] for _, _, l in used})
    return {"coveragePercent": float(coverage.group(1)) if coverage else 0.0,
            "usedSegments": [{"startTime": s, "endTime": e, "text": l["translation"]} for s, e, l in used],
            "buriedGold": gold, "redundancies": redundancies, "alternates": alternates, "themeGaps": gaps,
            "confidenceScore": 64 if unused else 90,
            "summary": "A clear, gentle cut that leans on the early memories; the mother and the return "
                       "are barely there."}


def plugin_zip():
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w") as z:
        z.writestr("com.tarnwell.ondrel/version.json", json.dumps({"version": PLUGIN_VERSION}))
        z.writestr("com.tarnwell.ondrel/manifest.json", json.dumps({"name": "Ondrel", "version": PLUGIN_VERSION}))
    return buffer.getvalue()


class Handler(BaseHTTPRequestHandler):
    world = None
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def reply(self, status, body, content_type="application/json"):
        if isinstance(body, (dict, list)):
            body = json.dumps(body, ensure_ascii=False).encode("utf-8")
        elif isinstance(body, str):
            body = body.encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def reply_events(self, text):
        """A streamed Messages API answer: the text in server-sent events, as the service sends
        it when a request asks for "stream": true."""
        events = [("message_start", {"type": "message_start", "message": {"id": "msg_demo"}}),
                  ("content_block_start", {"type": "content_block_start", "index": 0,
                                           "content_block": {"type": "text", "text": ""}})]
        for at in range(0, len(text), 200):
            events.append(("content_block_delta", {"type": "content_block_delta", "index": 0,
                                                   "delta": {"type": "text_delta", "text": text[at:at + 200]}}))
        events += [("content_block_stop", {"type": "content_block_stop", "index": 0}),
                   ("message_delta", {"type": "message_delta", "delta": {"stop_reason": "end_turn"}}),
                   ("message_stop", {"type": "message_stop"})]
        body = "".join(f"event: {name}\ndata: {json.dumps(data, ensure_ascii=False)}\n\n" for name, data in events)
        return self.reply(200, body, "text/event-stream")

    def authorised(self):
        return self.headers.get("Authorization", "") == "Bearer " + TOKEN

    def do_GET(self):
        url = urlparse(self.path)
        self.world.log({"method": "GET", "path": url.path})
        if url.path == "/api/v1/me":
            return self.reply(200, USER) if self.authorised() else self.reply(401, {"error": "Invalid token"})
        if url.path == "/api/v1/version":
            base = f"http://127.0.0.1:{self.server.server_address[1]}"
            return self.reply(200, {"version": PLUGIN_VERSION, "download_url": base + "/downloads/plugin.zip",
                                    "release_notes": "Chapter markers follow the story's acts. Subtitle cards "
                                                     "break at punctuation. Faster builds on long timelines."})
        if url.path == "/downloads/plugin.zip":
            return self.reply(200, plugin_zip(), "application/zip")
        if url.path == "/plugin-auth":
            callback = parse_qs(url.query).get("callback", ["ondrel-manager://callback"])[0]
            link = f"{callback}?token={TOKEN}"
            return self.reply(200, f"""<!doctype html><meta charset="utf-8"><title>Ondrel sign-in (demo)</title>
<body style="background:#0c0c0e;color:#f5f5f7;font-family:sans-serif;text-align:center;padding-top:12vh">
<h1 style="color:#e8440a">Ondrel</h1><p>This is the demo's sign-in page.</p>
<p><a style="color:#fff;background:#e8440a;padding:12px 20px;border-radius:8px;text-decoration:none"
href="{link}">Sign in as {USER['name']}</a></p>
<p style="color:#8e8e93">If the button does nothing, paste this token in the application:<br><code>{TOKEN}</code></p>
</body>""", "text/html; charset=utf-8")
        if url.path == "/billing":
            return self.reply(200, "<!doctype html><title>Billing (demo)</title><p>Billing is not part of the demo.</p>",
                              "text/html; charset=utf-8")
        return self.reply(404, {"error": "not found"})

    def do_POST(self):
        url = urlparse(self.path)
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length)
        entry = {"method": "POST", "path": url.path}
        try:
            if url.path == "/v1/audio/transcriptions":
                fields, files = multipart(body, self.headers.get("Content-Type", ""))
                entry.update(file=files.get("file", ("",))[0], granularity=fields.get("timestamp_granularities[]"),
                             language=fields.get("language"))
                self.world.log(entry)
                return self.reply(200, transcription(self.world, fields, files))
            if url.path == "/v1/messages":
                request = json.loads(body)
                prompt = request["messages"][0]["content"]
                kind = "audit" if "find what the editor MISSED" in prompt else "story"
                entry.update(kind=kind)
                self.world.log(entry)
                answer = audit(self.world, prompt) if kind == "audit" else story(self.world, prompt)
                if request.get("stream"):
                    return self.reply_events(json.dumps(answer, ensure_ascii=False))
                return self.reply(200, {"id": "msg_demo", "type": "message", "role": "assistant",
                                        "content": [{"type": "text", "text": json.dumps(answer, ensure_ascii=False)}]})
        except Exception as error:  # a demo stand-in answers, whatever it was sent
            entry.update(error=str(error))
            self.world.log(entry)
            return self.reply(500, {"error": str(error)})
        self.world.log(entry)
        return self.reply(404, {"error": "not found"})


def main():
    media, log_path = sys.argv[1], sys.argv[2]
    port = int(sys.argv[sys.argv.index("--port") + 1]) if "--port" in sys.argv else 0
    Handler.world = World(media, log_path)
    server = ThreadingHTTPServer(("127.0.0.1", port), Handler)
    print(f"PORT {server.server_address[1]}", flush=True)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
