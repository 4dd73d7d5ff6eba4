#!/usr/bin/env python3
"""Writes, beside the demo media, an editor's first cut of the interview as the timeline files
editors export: "Interview Cut.fcpxml" (FCPXML 1.11, laid out as Final Cut Pro writes a project)
and "Interview Cut.edl" (CMX 3600, with the comments that name each clip's file). A newcomer can
then mine or audit without the stand-in Resolve, from a file, as an editor of any other editor does.

The cut holds whole answers, picked by the manifest's line times, from every file: an audit of a
file cut lays the clips on the transcript of the files it names, and the demo's speech service
answers from a clock of all of them. It leaves strong answers out, so the audit has gold to find.
The files name this machine's paths, so they are written anew on every run.

    make_timelines.py <media folder>
"""
import hashlib
import json
import math
import os
import sys
import tempfile
from pathlib import Path
from xml.sax.saxutils import quoteattr

FPS = 25                    # the camera's rate, and the cut's
TIMELINE_START = 3600 * FPS  # 01:00:00:00, where editors start a timeline
ROOM = 5                    # frames kept before and after an answer, as an editor trims
NAME = "Interview Cut"

# The answers the cut takes, by file and by the answer's place among that file's answers, in the
# cut's order. Left out: the child at the bow at seven, the mother in the square, why she left and
# the boat she has now.
CUT = [("A001_MARTA.WAV", 0), ("A001_MARTA.WAV", 1), ("A001_MARTA.WAV", 3), ("A002_MARTA.WAV", 0),
       ("C0001.MOV", 0)]


def timecode_frames(tc):
    h, m, s, f = (int(p) for p in tc.split(":"))
    return ((h * 60 + m) * 60 + s) * FPS + f


def timecode(frames):
    f = frames % FPS
    s = frames // FPS
    return f"{s // 3600:02d}:{s // 60 % 60:02d}:{s % 60:02d}:{f:02d}"


def fcp_time(count, per_second=FPS):
    """Rational seconds as FCPXML writes them, counted in frames (or samples): "3600s", "1441/25s"."""
    return f"{count // per_second}s" if count % per_second == 0 else f"{count}/{per_second}s"


def uid(text):
    return hashlib.md5(text.encode("utf-8")).hexdigest().upper()


def media_of(folder, manifest):
    """Each file as the cut needs it: where it is, whether it has picture, its first frame on its own
    timecode and its length in whole frames."""
    media = {}
    for f in manifest["files"]:
        path = os.path.realpath(os.path.join(folder, f["name"]))
        media[f["name"]] = {
            "name": f["name"], "path": path, "video": f["kind"] != "broadcast-wav",
            "start": timecode_frames(f["timecode"]), "frames": math.floor(f["duration"] * FPS),
            "samples": round(f["duration"] * 48000),
            "answers": [l for l in f["lines"] if l["who"] == "subject"],
        }
    return media


def clips_of(media):
    """The cut's clips end to end from the timeline's start, each in whole frames of its file."""
    clips, record = [], TIMELINE_START
    for name, answer in CUT:
        m = media[name]
        line = m["answers"][answer]
        first = max(math.floor(line["start"] * FPS) - ROOM, 0)
        last = min(math.ceil(line["end"] * FPS) + ROOM, m["frames"])
        clips.append({"media": m, "in": first, "out": last, "record": record})
        record += last - first
    return clips


def fcpxml(manifest, media, clips):
    names = list(dict.fromkeys(name for name, _ in CUT))
    ids = {name: f"r{n + 3}" for n, name in enumerate(names)}
    out = ['<?xml version="1.0" encoding="UTF-8"?>', "<!DOCTYPE fcpxml>", "", '<fcpxml version="1.11">',
           "    <resources>",
           '        <format id="r1" name="FFVideoFormat1080p25" frameDuration="100/2500s" width="1920" '
           'height="1080" colorSpace="1-1-1 (Rec. 709)"/>',
           '        <format id="r2" name="FFVideoFormat640x360p25" frameDuration="100/2500s" width="640" '
           'height="360" colorSpace="1-1-1 (Rec. 709)"/>']
    for name in names:
        m = media[name]
        start = fcp_time(m["start"])
        if m["video"]:
            kind = (f'duration="{fcp_time(m["frames"])}" hasVideo="1" format="r2" '
                    f'videoSources="1" hasAudio="1" audioSources="1" audioChannels="1" audioRate="48000"')
        else:
            kind = (f'duration="{fcp_time(m["samples"], 48000)}" hasAudio="1" audioSources="1" '
                    f'audioChannels="1" audioRate="48000"')
        out += [f'        <asset id="{ids[name]}" name={quoteattr(Path(name).stem)} uid="{uid(m["path"])}" '
                f'start="{start}" {kind}>',
                f'            <media-rep kind="original-media" src={quoteattr(Path(m["path"]).as_uri())}/>',
                "        </asset>"]
    total = sum(c["out"] - c["in"] for c in clips)
    out += ["    </resources>", "    <library>",
            f'        <event name={quoteattr(manifest["title"])} uid="{uid(manifest["title"])}">',
            f'            <project name="{NAME}" uid="{uid(manifest["title"] + NAME)}">',
            f'                <sequence format="r1" duration="{fcp_time(total)}" '
            f'tcStart="{fcp_time(TIMELINE_START)}" tcFormat="NDF" audioLayout="stereo" '
            f'audioRate="48k">',
            "                    <spine>"]
    for c in clips:
        m = c["media"]
        picture = ' format="r2"' if m["video"] else ""
        out.append(f'                        <asset-clip ref="{ids[m["name"]]}" '
                   f'offset="{fcp_time(c["record"])}" name={quoteattr(Path(m["name"]).stem)} '
                   f'start="{fcp_time(m["start"] + c["in"])}" '
                   f'duration="{fcp_time(c["out"] - c["in"])}"{picture} tcFormat="NDF" '
                   f'audioRole="dialogue"/>')
    out += ["                    </spine>", "                </sequence>", "            </project>",
            "        </event>", "    </library>", "</fcpxml>", ""]
    return "\n".join(out)


def edl(clips):
    out = [f"TITLE: {NAME}", "FCM: NON-DROP FRAME", ""]
    for n, c in enumerate(clips, 1):
        m = c["media"]
        # B cuts picture and the first sound channel together; the recorders' files are sound alone.
        channels = "B" if m["video"] else "A"
        length = c["out"] - c["in"]
        out += [f"{n:03d}  AX       {channels:<5} C        {timecode(m['start'] + c['in'])} "
                f"{timecode(m['start'] + c['out'])} {timecode(c['record'])} {timecode(c['record'] + length)}",
                f"* FROM CLIP NAME: {m['name']}",
                f"* SOURCE FILE: {m['path']}",
                ""]
    return "\n".join(out)


def write(folder, manifest):
    media = media_of(folder, manifest)
    clips = clips_of(media)
    for suffix, text in ((".fcpxml", fcpxml(manifest, media, clips)), (".edl", edl(clips))):
        # Tests running side by side write the same folder: each writes a file of its own and moves
        # it in whole, so a reader never meets half a timeline.
        with tempfile.NamedTemporaryFile("w", encoding="utf-8", dir=folder, prefix=".", suffix=".tmp",
                                         delete=False) as f:
            f.write(text)
        os.chmod(f.name, 0o644)  # readable as the media beside it, not private as a temporary file
        os.replace(f.name, os.path.join(folder, NAME + suffix))


def main():
    folder = os.path.abspath(sys.argv[1])
    with open(os.path.join(folder, "manifest.json"), encoding="utf-8") as f:
        write(folder, json.load(f))


if __name__ == "__main__":
    main()
