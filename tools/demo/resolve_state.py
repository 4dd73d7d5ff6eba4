#!/usr/bin/env python3
"""Writes the demo's Resolve: a running project "Lighthouse Interviews" with the demo media in its
media pool and the timeline "Interview Selects", a rough selects cut over every file (so a Full
Mine finds the files and an audit finds a cut to compare).

    resolve_state.py <fake Resolve module folder> <media folder> <state file>
"""
import json
import math
import os
import sys

sys.path.insert(0, sys.argv[1])
import fake_resolve_state as f  # noqa: E402

media, out = sys.argv[2], sys.argv[3]
with open(os.path.join(media, "manifest.json"), encoding="utf-8") as m:
    manifest = json.load(m)

FPS = 24
clips, audio, video = [], [], []
record = 3600 * FPS  # 01:00:00:00, as Resolve starts a timeline
for file in manifest["files"]:
    tc = "14:00:00:00"
    c = f.clip(file["path"], seconds=file["duration"], fps=FPS, start_tc=tc,
               type="Video + Audio" if file["path"].upper().endswith(".MOV") else "Audio")
    clips.append(c)
    # The cut takes each file's first answer, as an editor's first pass might, each file on a track
    # of its own and at the answer's own place in its file: the audit reads a cut's positions on the
    # timeline as places in the source. A frame of room on each side, as an editor trims: the audit
    # counts an answer as used only when the cut holds it whole.
    answer = next(l for l in file["lines"] if l["who"] == "subject")
    start = max(math.floor(answer["start"] * FPS) - 1, 0)
    end = min(math.ceil(answer["end"] * FPS) + 1, int(file["duration"] * FPS))
    audio.append([f.item(c, record + start, record + end, source_start=start)])
    if c["properties"]["Type"].startswith("Video"):
        video.append(f.item(c, record + start, record + end, source_start=start))

selects = f.timeline(manifest["timeline"], fps=FPS, audio=audio, video=[video])
f.write(out, f.state(clips=clips, timelines=[selects, f.timeline("Day 2 Pulls", fps=FPS)],
                     project=manifest["title"]))
