"""The speech and language-model services stood in on loopback for the whole-mine benchmark.

Prints its port, then answers until killed. Latencies are the realistic ones times --scale:
speech 6 s per 300 s of audio, the language model 20 s, word timing 2 s a moment. The story
has --moments moments of 15 s spread over --seconds of audio.
"""
import argparse
import json
import re
import sys
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

WORDS = ("bueno pues la verdad es que aquel verano cambió todo para nosotros y "
         "mi padre volvió del mar con una historia que nadie quiso creer").split()


def sentence(i, n):
    return " ".join(WORDS[(i * 7 + k) % len(WORDS)] for k in range(n))


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def log_message(self, *args):
        pass

    def read_body(self):
        left = int(self.headers.get("Content-Length", "0"))
        head = b""
        while left > 0:
            piece = self.rfile.read(min(left, 1 << 20))
            if not piece:
                break
            if len(head) < 4096:
                head += piece[: 4096 - len(head)]
            left -= len(piece)
        return head, int(self.headers.get("Content-Length", "0"))

    def answer(self, payload):
        body = json.dumps(payload).encode()
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_POST(self):
        scale = self.server.args.scale
        if self.path.startswith("/v1/audio/transcriptions"):
            head, size = self.read_body()
            seconds = max(0.0, (size - 1000) / 32000.0)  # the form parts are well under 1000 bytes
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
            self.read_body()
            time.sleep(20.0 * scale)
            a = self.server.args
            step = a.seconds / a.moments
            segments = [{"index": i, "startTime": i * step + 30, "endTime": i * step + 45,
                         "sourceClip": "source", "transcript": sentence(i, 20),
                         "translation": sentence(i + 1, 20)} for i in range(a.moments)]
            story = {"segments": segments,
                     "structure": {"acts": [{"name": "Act 1", "segments": list(range(a.moments))}],
                                   "totalDuration": 15.0 * a.moments},
                     "subtitles": [{"startTime": s["startTime"], "endTime": s["startTime"] + 4,
                                    "text": s["translation"]} for s in segments],
                     "estimatedDuration": 15.0 * a.moments}
            self.answer({"content": [{"type": "text", "text": json.dumps(story)}]})
        else:
            self.send_error(404)


def main():
    p = argparse.ArgumentParser()
    p.add_argument("--scale", type=float, default=0.0)
    p.add_argument("--seconds", type=float, required=True)
    p.add_argument("--moments", type=int, required=True)
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    server.args = p.parse_args()
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
