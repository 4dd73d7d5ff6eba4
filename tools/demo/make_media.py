#!/usr/bin/env python3
"""Makes the demo's interview media from interview.json with espeak-ng and ffmpeg: broadcast WAVs
with time references and a camera-style MOV with timecode, and a manifest of every line's place on
the transcript's clock (the files laid end to end in code point order, each as long as its
container), and beside them a sample editor's cut of them as timeline files (make_timelines.py).
Makes no media when the folder already holds media made from the same script.

    make_media.py <output folder>
"""
import hashlib
import json
import os
import subprocess
import sys
import tempfile
import wave

import make_timelines

HERE = os.path.dirname(os.path.abspath(__file__))
RATE = 22050          # espeak-ng's own rate
LEAD_IN = 0.6         # seconds of room tone before the first line
PAUSE = 0.9           # seconds between lines
SPEED = "140"         # words a minute: an unhurried interview


def run(args):
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def timecode_seconds(tc, fps=25):
    h, m, s, f = (int(p) for p in tc.split(":"))
    return h * 3600 + m * 60 + s + f / fps


def probe_duration(path):
    out = subprocess.run(["ffprobe", "-v", "quiet", "-show_entries", "format=duration", "-of", "csv=p=0", path],
                         check=True, capture_output=True, text=True).stdout.strip()
    return float(out)


def speak(text, voice, path):
    run(["espeak-ng", "-v", voice, "-s", SPEED, "-w", path, text])


def render_lines(lines, voices, work):
    """One mono 22.05 kHz WAV of the lines with pauses; returns its path and each line's times."""
    frames = bytearray()
    silence = lambda seconds: b"\0\0" * int(seconds * RATE)
    frames += silence(LEAD_IN)
    placed = []
    for n, line in enumerate(lines):
        part = os.path.join(work, f"line{n}.wav")
        speak(line["text"], voices[line["who"]], part)
        with wave.open(part, "rb") as w:
            assert w.getframerate() == RATE and w.getsampwidth() == 2 and w.getnchannels() == 1
            data = w.readframes(w.getnframes())
        start = len(frames) / 2 / RATE
        frames += data
        placed.append(dict(line, start=round(start, 3), end=round(len(frames) / 2 / RATE, 3)))
        frames += silence(PAUSE)
    path = os.path.join(work, "voice.wav")
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(bytes(frames))
    return path, placed


def main():
    out = os.path.abspath(sys.argv[1])
    script_path = os.path.join(HERE, "interview.json")
    with open(script_path, "rb") as f:
        script_bytes = f.read()
    stamp = hashlib.sha256(script_bytes + open(__file__, "rb").read()).hexdigest()
    manifest_path = os.path.join(out, "manifest.json")
    if os.path.exists(manifest_path):
        with open(manifest_path, encoding="utf-8") as f:
            made = json.load(f)
        if made.get("stamp") == stamp:
            # The timeline files name this machine's paths: written anew, as the folder may have moved.
            make_timelines.write(out, made)
            return
    script = json.loads(script_bytes)
    os.makedirs(out, exist_ok=True)
    files = []
    with tempfile.TemporaryDirectory() as work:
        for entry in script["files"]:
            voice, lines = render_lines(entry["lines"], script["voices"], work)
            target = os.path.join(out, entry["name"])
            start = timecode_seconds(entry["start"])
            if entry["kind"] == "broadcast-wav":
                # A field recorder's file: 48 kHz 24-bit, its start as samples since midnight.
                run(["ffmpeg", "-y", "-i", voice, "-ar", "48000", "-ac", "1", "-c:a", "pcm_s24le",
                     "-write_bext", "1", "-metadata", f"time_reference={int(start * 48000)}", target])
            else:
                # A camera's file: picture first, then AAC sound, the timecode on its streams.
                run(["ffmpeg", "-y", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25", "-i", voice,
                     "-map", "0:v", "-map", "1:a", "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt",
                     "yuv420p", "-c:a", "aac", "-ar", "48000", "-timecode", entry["start"], "-shortest", target])
            files.append({"name": entry["name"], "path": target, "kind": entry["kind"],
                          "timecode": entry["start"], "lines": lines})
    # The transcript's clock: the files in code point order, each as long as its container.
    files.sort(key=lambda f: f["path"].encode("utf-8"))
    offset = 0.0
    for f in files:
        f["duration"] = probe_duration(f["path"])
        f["offset"] = round(offset, 3)
        for line in f["lines"]:
            line["clockStart"] = round(offset + line["start"], 3)
            line["clockEnd"] = round(offset + line["end"], 3)
        offset += f["duration"]
    manifest = {"stamp": stamp, "title": script["title"], "timeline": script["timeline"], "files": files,
                "totalDuration": offset}
    tmp = manifest_path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        json.dump(manifest, f, ensure_ascii=False, indent=1)
    os.replace(tmp, manifest_path)
    make_timelines.write(out, manifest)


if __name__ == "__main__":
    main()
