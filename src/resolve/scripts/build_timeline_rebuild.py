# The rebuild: places the moments on a timeline of the caller's name by frame ranges, with a
# marker at each moment outside the first chapter. No subtitles, no read-back.
import sys
import os
import json
import traceback
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    if not resolve:
        print("ERROR:Resolve not connected")
        sys.exit(0)
    pm = resolve.GetProjectManager()
    proj = pm.GetCurrentProject()
    mp = proj.GetMediaPool()

    with open(ARGS["segments_path"], 'r') as f:
        segments = json.load(f)
    print(f"LOG:Loaded {len(segments)} segments")

    fps = 23.976
    current = proj.GetCurrentTimeline()
    if current and current.GetSetting("timelineFrameRate"):
        fps = float(current.GetSetting("timelineFrameRate"))
    print(f"LOG:FPS={fps}")

    pool = []

    def scan(folder):
        for item in folder.GetClipList() or []:
            pool.append((item.GetClipProperty("File Path") or "", item.GetClipProperty("Clip Name") or "", item))
        for sub in folder.GetSubFolderList() or []:
            scan(sub)

    scan(mp.GetRootFolder())
    print(f"LOG:Found {len(pool)} clips in media pool")

    media_paths = ARGS["media_paths"]
    source_clips = {}
    for wanted in media_paths:
        name = os.path.basename(wanted)
        for path, clip_name, item in pool:
            if os.path.basename(path) == name:
                source_clips[name] = item
                print(f"LOG:Matched: {name}")
                break
    print(f"LOG:{len(source_clips)}/{len(media_paths)} source clips matched")

    def whole_seconds(duration):
        parts = str(duration).replace(";", ":").split(":")
        if len(parts) != 4:
            return 0
        return int(parts[0]) * 3600 + int(parts[1]) * 60 + int(parts[2])

    if not source_clips:
        print("LOG:No exact match — scanning media pool for audio clips...")
        for path, clip_name, item in pool:
            ctype = str(item.GetClipProperty("Type") or "")
            seconds = whole_seconds(item.GetClipProperty("Duration") or "")
            if seconds > 60 and ("audio" in ctype.lower() or
                                 path.lower().endswith((".wav", ".mp3", ".aiff", ".flac"))):
                name = os.path.basename(path)
                source_clips[name] = item
                print(f"LOG:Auto-matched audio clip: {name} ({seconds}s)")

    if not source_clips:
        print("ERROR:No source clips found in media pool")
        sys.exit(0)

    new_tl = mp.CreateEmptyTimeline(ARGS["name"])
    if not new_tl:
        print("ERROR:Could not create timeline")
        sys.exit(0)
    proj.SetCurrentTimeline(new_tl)
    print("LOG:Timeline created")

    names = sorted(source_clips.keys())
    probe_path = os.path.join(ARGS["cache_dir"], "probe_results.json")
    probe_data = {}
    if os.path.exists(probe_path):
        with open(probe_path, 'r') as f:
            probe_data = json.load(f)
        print(f"LOG:Loaded probe data for {len(probe_data)} files")

    def tc_to_sec(tc):
        parts = str(tc).replace(";", ":").split(":")
        if len(parts) != 4:
            return 0.0
        h, m, s, fr = (int(p) for p in parts)
        return h * 3600 + m * 60 + s + fr / fps

    entries = []
    if probe_data:
        rows = []
        for name in names:
            info = probe_data.get(name) or {}
            tc = info.get("startTimecodeSeconds") or 0
            duration = info.get("duration") or 0
            if duration > 0 and info.get("fps"):
                fps = info["fps"]
            if duration <= 0:
                duration = 300
            rows.append((tc, duration, name))
        rows.sort(key=lambda r: r[0])
        first_tc = min(r[0] for r in rows)
        for tc, duration, name in rows:
            if duration < 10:
                continue
            start = tc - first_tc
            entries.append((source_clips[name], start, start + duration, name))
            print(f"LOG:{name}: TC={tc:.0f}s, dur={duration:.0f}s, transcript={start:.0f}-{start + duration:.0f}s")
    else:
        running = 0.0
        for name in names:
            item = source_clips[name]
            seconds = tc_to_sec(item.GetClipProperty("Duration") or "")
            if seconds < 10:
                print(f"LOG:Skipping short clip {name} ({seconds:.1f}s)")
                continue
            try:
                fps = float(item.GetClipProperty("FPS"))
            except (TypeError, ValueError):
                pass
            entries.append((item, running, running + seconds, name))
            print(f"LOG:Clip {name}: dur={seconds:.0f}s transcript={running:.0f}-{running + seconds:.0f}s fps={fps}")
            running += seconds

    if not entries:
        entries = [(source_clips[names[0]], 0, 999999, "fallback")]
        print("LOG:Warning: using fallback single-clip mode")

    appended = 0
    failed = 0
    for i, seg in enumerate(segments):
        st = seg["startTime"]
        et = seg["endTime"]
        entry = next((e for e in entries if e[1] <= st < e[2]), entries[-1])
        start_frame = int((st - entry[1]) * fps)
        end_frame = int((et - entry[1]) * fps)
        if i < 3:
            print(f"LOG:Seg {i}: {st:.1f}-{et:.1f}s -> frames {start_frame}-{end_frame}")
        result = None
        try:
            result = mp.AppendToTimeline([{"mediaPoolItem": entry[0], "startFrame": start_frame,
                                           "endFrame": end_frame}])
        except Exception as e:
            if i < 3:
                print(f"LOG:Append error seg {i}: {e}")
        if result:
            appended += 1
        else:
            failed += 1
            if failed <= 3:
                print(f"LOG:Failed seg {i}: {st:.1f}-{et:.1f}s (frames {start_frame}-{end_frame})")

    first_chapter = segments[0].get("chapter") if segments else None
    marker_offset = 0
    for seg in segments:
        chapter = seg.get("chapter")
        if chapter and chapter != first_chapter:
            try:
                new_tl.AddMarker(marker_offset, "Blue", chapter, "", 1)
            except Exception:
                pass
        marker_offset += int((seg["endTime"] - seg["startTime"]) * fps)

    print(f"SUCCESS:{appended} clips appended, {failed} failed")
except Exception as e:
    print(f"ERROR:{str(e)}")
    traceback.print_exc(file=sys.stdout)
