#!/usr/bin/env python3
"""Writes the demo's Resolve: a running project "Lighthouse Interviews" with the demo media in its
media pool and the timeline "Interview Selects", a rough selects cut over every file (so a Full
Mine finds the files and an audit finds a cut to compare).

    resolve_state.py <fake Resolve module folder> <media folder> <state file>
"""
import json
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
    # The cut takes each file's first answer, as an editor's first pass might.
    answer = next(l for l in file["lines"] if l["who"] == "subject")
    start, end = int(answer["start"] * FPS), int(answer["end"] * FPS)
    audio.append(f.item(c, record, record + end - start, source_start=start))
    if c["properties"]["Type"].startswith("Video"):
        video.append(f.item(c, record, record + end - start, source_start=start))
    record += end - start

selects = f.timeline(manifest["timeline"], fps=FPS, audio=[audio], video=[video])
f.write(out, f.state(clips=clips, timelines=[selects, f.timeline("Day 2 Pulls", fps=FPS)],
                     project=manifest["title"]))
