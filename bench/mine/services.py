"""The speech and language-model services stood in on loopback for the whole-mine benchmark.

Prints its port, then answers until killed. Latencies are the realistic ones times --scale:
speech 6 s per 300 s of audio, the language model 20 s, word timing 2 s a moment. Request bodies
are read at --uplink Mbit/s shared by every open request (0: as fast as they come), as an editor's
uplink would carry them. The language model refuses what the real one refuses (a prompt of more
than 200k tokens with its max_tokens, a token counted as four characters), streams when asked, and
picks its moments from the transcript lines of its prompt: a story prompt picks lines up to the
target, a section prompt offers about three times its share, a choice picks among the candidates.
GET /stats gives what it saw: bytes uploaded, requests, the largest prompt and the time the model
spent answering (overlapping answers counted once).
"""
import argparse
import json
import re
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

WORDS = ("bueno pues la verdad es que aquel verano cambió todo para nosotros y "
         "mi padre volvió del mar con una historia que nadie quiso creer").split()
LINE = re.compile(r"^\[(\d+(?:\.\d+)?)s → (\d+(?:\.\d+)?)s\] (.*)$", re.M)
PART = re.compile(r"SOURCE: part (\d+) of (\d+), from (\d+)s to (\d+)s")
TARGET = re.compile(r"TARGET: (\d+) minutes")
CANDIDATES_WANTED = re.compile(r"TARGET: about (\d+) seconds of candidates")


def sentence(i, n):
    return " ".join(WORDS[(i * 7 + k) % len(WORDS)] for k in range(n))


class Uplink:
    """One line shared by every upload: each piece waits for its turn at the set rate."""

    def __init__(self, mbps):
        self.rate = mbps * 1e6 / 8
        self.lock = threading.Lock()
        self.free_at = 0.0

    def carry(self, size):
        if self.rate <= 0:
            return
        with self.lock:
            start = max(time.monotonic(), self.free_at)
            self.free_at = start + size / self.rate
            done = self.free_at
        delay = done - time.monotonic()
        if delay > 0:
            time.sleep(delay)


class Stats:
    def __init__(self):
        self.lock = threading.Lock()
        self.uploaded = 0
        self.speech = 0
        self.model = 0
        self.largest_prompt = 0
        self.refused = 0
        self.model_busy = []  # (start, end) of each answer

    def model_seconds(self):
        spans = sorted(self.model_busy)
        total, end = 0.0, None
        for a, b in spans:
            if end is None or a > end:
                total += b - a
                end = b
            elif b > end:
                total += b - end
                end = b
        return total


def flac_or_wav_seconds(head):
    """The audio's length from the first bytes of its multipart body: FLAC stream info, else WAV."""
    at = head.find(b"fLaC")
    if at >= 0 and len(head) >= at + 26:
        info = int.from_bytes(head[at + 18:at + 26], "big")
        rate, samples = info >> 44, info & ((1 << 36) - 1)
        return samples / rate if rate else 0.0
    at = head.find(b"data", head.find(b"WAVE"))
    if at >= 0:
        return int.from_bytes(head[at + 4:at + 8], "little") / 32000.0
    return 0.0


def spread(items, count):
    """`count` of the items, evenly spread, in order."""
    if count >= len(items):
        return list(items)
    step = len(items) / count
    return [items[int(i * step)] for i in range(count)]


def lines_of(prompt, after):
    body = prompt.split(after, 1)[1] if after in prompt else ""
    body = body.split("\n\n", 1)[0]
    return [(float(a), float(b), t) for a, b, t in LINE.findall(body)]


def story_answer(moments):
    segments = [{"index": i, "startTime": a, "endTime": b, "sourceClip": "source", "transcript": t,
                 "translation": sentence(i, 20), "chapter": "Chapter %d" % (i // 12 + 1)}
                for i, (a, b, t) in enumerate(moments)]
    acts = [{"name": "Act %d" % (k + 1), "segments": list(range(k, min(k + 24, len(segments))))}
            for k in range(0, len(segments), 24)]
    total = sum(b - a for a, b, _ in moments)
    subtitles = [{"startTime": a, "endTime": min(b, a + 4), "text": sentence(i, 8)}
                 for i, (a, b, _) in enumerate(moments)]
    return {"segments": segments, "structure": {"acts": acts, "totalDuration": total},
            "subtitles": subtitles, "estimatedDuration": total}


def model_answer(prompt):
    """What the stand-in model says to a prompt, as text."""
    part = PART.search(prompt)
    if part:
        wanted = float(CANDIDATES_WANTED.search(prompt).group(1))
        lines = lines_of(prompt, "TRANSCRIPT (this part only):\n")
        average = sum(b - a for a, b, _ in lines) / max(len(lines), 1) or 30
        chosen = spread(lines, max(1, int(wanted / average)))
        return json.dumps({"candidates": [{"startTime": a, "endTime": b, "transcript": t, "reason": "vivid",
                                           "strength": 3 + i % 3} for i, (a, b, t) in enumerate(chosen)]})
    target = float(TARGET.search(prompt).group(1)) * 60
    if "CANDIDATES:\n" in prompt:
        lines = lines_of(prompt, "CANDIDATES:\n")
    else:
        lines = lines_of(prompt, "TRANSCRIPT:\n")
    average = sum(b - a for a, b, _ in lines) / max(len(lines), 1) or 30
    return json.dumps(story_answer(spread(lines, max(1, int(target / average)))))


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def log_message(self, *args):
        pass

    def read_body(self, keep_all):
        size = int(self.headers.get("Content-Length", "0"))
        left, kept = size, []
        head = b""
        while left > 0:
            piece = self.rfile.read(min(left, 1 << 16))
            if not piece:
                break
            self.server.uplink.carry(len(piece))
            if keep_all:
                kept.append(piece)
            elif len(head) < 8192:
                head += piece[: 8192 - len(head)]
            left -= len(piece)
        with self.server.stats.lock:
            self.server.stats.uploaded += size
        return b"".join(kept) if keep_all else head

    def answer(self, payload, status=200):
        body = json.dumps(payload).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def stream(self, text, seconds):
        """The text as server-sent events, spread over the answer's time as a model writes it."""
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.end_headers()

        def event(name, data):
            self.wfile.write(("event: %s\ndata: %s\n\n" % (name, json.dumps(data))).encode())
            self.wfile.flush()

        event("message_start", {"type": "message_start", "message": {"id": "msg_bench"}})
        event("content_block_start", {"type": "content_block_start", "index": 0,
                                      "content_block": {"type": "text", "text": ""}})
        pieces = max(1, min(200, len(text) // 500))
        size = -(-len(text) // pieces)
        for k in range(pieces):
            time.sleep(seconds / pieces)
            event("content_block_delta", {"type": "content_block_delta", "index": 0,
                                          "delta": {"type": "text_delta", "text": text[k * size:(k + 1) * size]}})
        event("content_block_stop", {"type": "content_block_stop", "index": 0})
        event("message_delta", {"type": "message_delta", "delta": {"stop_reason": "end_turn"}})
        event("message_stop", {"type": "message_stop"})

    def do_GET(self):
        if self.path.startswith("/stats"):
            s = self.server.stats
            with s.lock:
                self.answer({"uploaded": s.uploaded, "speech": s.speech, "model": s.model,
                             "largestPrompt": s.largest_prompt, "refused": s.refused,
                             "modelSeconds": s.model_seconds()})
        else:
            self.send_error(404)

    def do_POST(self):
        scale = self.server.args.scale
        stats = self.server.stats
        if self.path.startswith("/v1/audio/transcriptions"):
            head = self.read_body(False)
            with stats.lock:
                stats.speech += 1
            seconds = flac_or_wav_seconds(head)
            if re.search(rb'name="timestamp_granularities\[\]"\r\n\r\nword', head):
                time.sleep(2.0 * scale)
                words = [{"word": WORDS[k % len(WORDS)], "start": k * 0.4, "end": k * 0.4 + 0.35}
                         for k in range(int(seconds / 0.4))]
                self.answer({"text": "", "words": words})
            else:
                time.sleep(6.0 * seconds / 300.0 * scale)
                segments = [{"start": t, "end": t + 4.8, "text": sentence(int(t), 12)}
                            for t in range(0, int(seconds) - 4, 5)]
                self.answer({"text": "", "language": "spanish", "segments": segments})
        elif self.path.startswith("/v1/messages"):
            request = json.loads(self.read_body(True))
            prompt = request["messages"][0]["content"]
            tokens = len(prompt) // 4
            with stats.lock:
                stats.model += 1
                stats.largest_prompt = max(stats.largest_prompt, len(prompt))
            if tokens + request["max_tokens"] > 200000:
                with stats.lock:
                    stats.refused += 1
                self.answer({"type": "error", "error": {
                    "type": "invalid_request_error",
                    "message": "input length and `max_tokens` exceed context limit: %d + %d > 200000, "
                               "decrease input length or `max_tokens` and try again" % (tokens, request["max_tokens"])}},
                    400)
                return
            began = time.monotonic()
            text = model_answer(prompt)
            if request.get("stream"):
                self.stream(text, 20.0 * scale)
            else:
                time.sleep(20.0 * scale)
                self.answer({"content": [{"type": "text", "text": text}]})
            with stats.lock:
                stats.model_busy.append((began, time.monotonic()))
        else:
            self.send_error(404)


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--scale", type=float, default=0.0)
    p.add_argument("--uplink", type=float, default=20.0, help="Mbit/s; 0: unbounded")
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    server.args = p.parse_args()
    server.uplink = Uplink(server.args.uplink)
    server.stats = Stats()
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
