# The full build: places the story's moments on a new timeline, adds chapter markers and
# writes the translations as subtitle cards (an SRT file). Only the places that say so guard
# against exceptions; anything else ends the program with its traceback on stderr.
import sys
import os
import json
import time
sys.path.append(ARGS["module_dir"])
import DaVinciResolveScript as dvr


def write_text(path, text):
    # Replace the file in one step so a reader never sees half of it.
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(tmp, path)


resolve = dvr.scriptapp("Resolve")
if not resolve:
    print("ERROR:Resolve not connected")
    sys.exit(0)
pm = resolve.GetProjectManager()
proj = pm.GetCurrentProject()
mp = proj.GetMediaPool()

fps = 24.0
current = proj.GetCurrentTimeline()
if current and current.GetSetting("timelineFrameRate"):
    fps = float(current.GetSetting("timelineFrameRate"))
print(f"LOG:Using default fps={fps}")
timeline_fps = fps

segments = json.load(open(ARGS["segments_path"], encoding='utf-8'))
print(f"LOG:Loaded {len(segments)} segments")

# --- find the source clips -------------------------------------------------------------
probe_path = os.path.join(ARGS["cache_dir"], "probe_results.json")
probe_data = {}
media_paths = []
if os.path.exists(probe_path):
    probe_data = json.load(open(probe_path, encoding='utf-8'))
    print(f"LOG:Loaded probe data for {len(probe_data)} files")
    entries = sorted(probe_data.values(), key=lambda e: e.get("startTimecodeSeconds") or 0)
    media_paths = [e["path"] for e in entries]
else:
    print("LOG:No probe cache found, using media pool discovery")

pool = []


def scan(folder):
    for item in folder.GetClipList() or []:
        props = item.GetClipProperty() or {}
        pool.append((props.get("File Path", "") or "", item, props))
    for sub in folder.GetSubFolderList() or []:
        scan(sub)


scan(mp.GetRootFolder())

wanted = set(os.path.basename(p) for p in media_paths)
source = {}
for path, item, props in pool:
    name = os.path.basename(path)
    if name in wanted:
        source[name] = (item, props)
        if props.get("FPS"):
            try:
                fps = float(props["FPS"])
                print(f"LOG:Clip fps={fps}")
            except (TypeError, ValueError):
                pass
print(f"LOG:Matched {len(source)} source clips")

if not source:
    print("LOG:No exact match — auto-discovering audio clips in media pool...")
    for path, item, props in pool:
        parts = str(props.get("Duration", "00:00:00:00")).replace(";", ":").split(":")
        dur_s = int(parts[0]) * 3600 + int(parts[1]) * 60 + int(parts[2]) if len(parts) == 4 else 0
        is_audio = "audio" in str(props.get("Type", "")).lower() or \
            path.lower().endswith((".wav", ".mp3", ".aiff", ".flac"))
        if dur_s > 60 and is_audio:
            name = os.path.basename(path)
            source[name] = (item, props)
            if props.get("FPS"):
                try:
                    fps = float(props["FPS"])
                except (TypeError, ValueError):
                    pass
            print(f"LOG:Auto-discovered: {name} ({dur_s}s)")
    print(f"LOG:Auto-discovered {len(source)} audio clips")


def tc_to_sec(tc, rate=None):
    parts = str(tc).replace(";", ":").split(":")
    if len(parts) != 4:
        return 0.0
    h, m, s, f = (int(p) for p in parts)
    return h * 3600 + m * 60 + s + f / (rate or fps)


def sec_to_tc(sec, rate=None):
    whole = int(sec)
    frames = int((sec - whole) * (rate or fps))
    return f"{whole // 3600:02d}:{(whole % 3600) // 60:02d}:{whole % 60:02d}:{frames:02d}"


def srt_time(sec):
    whole = int(sec)
    ms = int((sec - whole) * 1000)
    return f"{whole // 3600:02d}:{(whole % 3600) // 60:02d}:{whole % 60:02d},{ms:03d}"


def fit_cards(planned, start_sec, end_sec):
    # A card with less than a second inside the moment (past its end when the punctuation breaks
    # made more cards than planned, or in a moment shorter than a second) joins the card before it,
    # or the next one when it is the first, so its words still show in their own moment.
    kept = []
    waiting = None
    for card_start, card_end, card_words in planned:
        if waiting:
            card_start, card_words = min(card_start, waiting[0]), waiting[1] + card_words
            waiting = None
        if card_end - card_start >= 1.0:
            kept.append([card_start, card_end, card_words])
        elif kept:
            kept[-1][1] = max(kept[-1][1], min(card_end, end_sec))
            kept[-1][2] = kept[-1][2] + card_words
        else:
            waiting = (card_start, card_words)
    if waiting:
        # A moment too short for any card of a second: its words take all of it.
        kept.append([start_sec, end_sec, waiting[1]])
    return kept


# --- lay the clips out on the transcript's clock -------------------------------------------
clip_order = sorted(source.keys())
offset_map = []
if probe_data:
    rows = []
    for name in clip_order:
        entry = probe_data.get(name) or {}
        tc = entry.get("startTimecodeSeconds") or 0
        duration = entry.get("duration")
        if duration is None:
            duration = tc_to_sec(source[name][1].get("Duration", "00:00:00:00"))
        if entry.get("fps"):
            fps = entry["fps"]
        rows.append((tc, duration, name))
    rows.sort(key=lambda r: r[0])
    running = 0.0
    for tc, duration, name in rows:
        if duration < 10:
            print(f"LOG:Skipping short clip {name} ({duration:.1f}s)")
            continue
        offset_map.append((source[name][0], running, running + duration, name))
        print(f"LOG:{name}: duration={duration:.0f}s, transcript={running:.0f}-{running + duration:.0f}s")
        running += duration
else:
    running = 0.0
    for name in clip_order:
        duration = tc_to_sec(source[name][1].get("Duration", "00:00:00:00"))
        if duration < 10:
            continue
        offset_map.append((source[name][0], running, running + duration, name))
        print(f"LOG:{name}: transcript {running:.0f}-{running + duration:.0f}s ({duration:.0f}s)")
        running += duration

# --- create the timeline ---------------------------------------------------------------
tl_name_full = ARGS["name"] + " — " + time.strftime("%I:%M %p")
tl = mp.CreateEmptyTimeline(tl_name_full)
if not tl:
    tl_name_full = ARGS["name"] + " — " + time.strftime("%I:%M:%S %p")
    tl = mp.CreateEmptyTimeline(tl_name_full)
    if not tl:
        print("ERROR:Could not create timeline — try deleting existing Ondrel Build timelines in Resolve")
        sys.exit(0)
proj.SetCurrentTimeline(tl)
print(f"LOG:Created timeline: {tl_name_full}")
# Positions on the new timeline count its own frames. `fps` may by now be a source file's rate
# (the last probe or clip that set it), which would run every card and marker short or long.
try:
    tl_fps = float(tl.GetSetting("timelineFrameRate") or proj.GetSetting("timelineFrameRate") or 0) or timeline_fps
except Exception:
    tl_fps = timeline_fps

# --- place the clips: In and Out on the pool item, then the whole item -----------------------
appended = 0
placed = []  # the segment of each clip appended, in timeline order
for seg_idx, seg in enumerate(segments):
    st = seg["startTime"]
    et = seg["endTime"]
    source_clip = seg.get("sourceClip", "source")
    entry = None
    if source_clip and source_clip != "source":
        stem = os.path.splitext(source_clip)[0]
        for e in offset_map:
            if e[3] == source_clip or os.path.splitext(e[3])[0] == stem:
                entry = e
                break
    if entry is None:
        for e in offset_map:
            if e[1] <= st < e[2]:
                entry = e
                break
    if entry is None and offset_map:
        entry = offset_map[-1]
    if entry is None:
        print(f"LOG:SKIP seg {seg_idx}: no matching clip for t={st:.1f}s clip={source_clip}")
        continue
    item = entry[0]
    file_rel_start = st - entry[1]
    file_rel_end = et - entry[1]
    clip_props = item.GetClipProperty() or {}
    # A clip's In and Out count its own frames, whatever rate another clip left in `fps`.
    try:
        clip_fps = float(clip_props.get("FPS") or 0) or fps
    except (TypeError, ValueError):
        clip_fps = fps
    start_tc = tc_to_sec(clip_props.get("Start TC", "00:00:00:00"), clip_fps)
    item.SetClipProperty("In", sec_to_tc(start_tc + file_rel_start, clip_fps))
    item.SetClipProperty("Out", sec_to_tc(start_tc + file_rel_end, clip_fps))
    if mp.AppendToTimeline([item]):
        appended += 1
        placed.append(seg)

# --- restore the clips and read the positions back ---------------------------------------
for name, (item, props) in source.items():
    try:
        item.SetClipProperty("In", props.get("Start TC", "00:00:00:00"))
        item.SetClipProperty("Out", props.get("End TC", "01:00:00:00"))
    except Exception:
        pass

# Item positions include the timeline's start frame; markers count from the first frame.
tl_start_offset = tl.GetStartFrame()
positions = []
items = tl.GetItemListInTrack("audio", 1)
if items:
    # Paired with the segments actually appended, so a clip Resolve refused does not hand its
    # words and chapter to the moments after it.
    for i, it in enumerate(items):
        if i >= len(placed):
            break
        positions.append(((it.GetStart() - tl_start_offset) / tl_fps, (it.GetEnd() - tl_start_offset) / tl_fps,
                          placed[i].get("translation") or "", placed[i].get("chapter") or "",
                          placed[i].get("translation") or placed[i].get("transcript") or ""))
    print(f"LOG:Read {len(positions)} clip positions from timeline")

# --- chapter markers and subtitle cards --------------------------------------------------
colors = ["Sand", "Green", "Purple", "Red", "Cream", "Cyan", "Lavender", "Yellow", "Pink", "Blue"]
last_chapter = None
chapter_idx = 0
srt_lines = []
cards = 0
for start_sec, end_sec, translation, chapter, text in positions:
    seg_duration = end_sec - start_sec
    if chapter and chapter != last_chapter:
        try:
            tl.AddMarker(int(start_sec * tl_fps), colors[chapter_idx % 10], chapter, translation[:50],
                         max(1, int(seg_duration * tl_fps)))
        except Exception:
            pass
        last_chapter = chapter
        chapter_idx += 1
    # A moment without a translation shows what was said.
    words = text.split()
    if not words:
        continue
    num_cards = max(1, round(seg_duration / 3.5))
    words_per_card = max(3, len(words) // num_cards)
    card_duration = seg_duration / num_cards
    if card_duration < 2.0:
        card_duration = 2.5
        num_cards = max(1, int(seg_duration / 2.5))
        words_per_card = max(3, len(words) // num_cards)
    word_idx = 0
    card_num = 0
    planned = []
    while word_idx < len(words):
        end_idx = min(word_idx + words_per_card, len(words))
        for k in range(end_idx - 1, word_idx, -1):
            if words[k].endswith((".", ",", ";", ":", "—", "...")):
                end_idx = k + 1
                break
        card_start = start_sec + card_num * card_duration
        card_end = min(card_start + card_duration, end_sec)
        planned.append((card_start, card_end, words[word_idx:end_idx]))
        word_idx = end_idx
        card_num += 1
    for card_start, card_end, card_words in fit_cards(planned, start_sec, end_sec):
        cards += 1
        text = " ".join(card_words)
        srt_lines += [str(cards), f"{srt_time(card_start)} --> {srt_time(card_end)}", text, ""]

# --- write the subtitles and finish -------------------------------------------------------
srt_text = "\n".join(srt_lines)
srt_path = os.path.join(ARGS["cache_dir"], f"subs_{int(time.time())}.srt")
write_text(srt_path, srt_text)
# The export folder of the run this build belongs to, and no other.
export_dir = ARGS["export_dir"]
if export_dir:
    try:
        write_text(os.path.join(export_dir, "subtitles.srt"), srt_text)
        print(f"LOG:Updated export SRT: {os.path.basename(export_dir)}/subtitles.srt")
    except Exception:
        pass
print(f"LOG:SRT saved to {srt_path} (import disabled, use File > Import > Subtitle)")
print(f"LOG:Generated {cards} subtitle cards")
print(f"SUCCESS:{appended}/{len(segments)} clips appended")
