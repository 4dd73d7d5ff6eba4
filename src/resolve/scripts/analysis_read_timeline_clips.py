# Lists the clips of one timeline for an audit: every item of every audio track and then every
# video track whose media pool clip has a file, with its timeline frames and its length in seconds.
# A clip with sound and picture is listed once per track on purpose.
import sys
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

    timeline = None
    for i in range(1, proj.GetTimelineCount() + 1):
        candidate = proj.GetTimelineByIndex(i)
        if candidate.GetName() == ARGS["timeline"]:
            timeline = candidate
            break
    if timeline is None:
        print("ERROR:Timeline not found")
        sys.exit(0)

    fps = 24.0
    rate = timeline.GetSetting("timelineFrameRate")
    if rate:
        fps = float(rate)
    # Item positions include the timeline's start frame (01:00:00:00 by default); the frames are
    # counted from the timeline's own start.
    origin = timeline.GetStartFrame()

    clips = []
    for kind in ("audio", "video"):
        for track in range(1, timeline.GetTrackCount(kind) + 1):
            for item in timeline.GetItemListInTrack(kind, track) or []:
                clip = item.GetMediaPoolItem()
                if not clip:
                    continue
                path = clip.GetClipProperty("File Path")
                if not path:
                    continue
                start = item.GetStart() - origin
                end = item.GetEnd() - origin
                clips.append({"sourceFile": path, "startFrame": start, "endFrame": end,
                              "duration": (end - start) / fps})
    print("SUCCESS:" + json.dumps(clips))
except Exception as e:
    print(f"ERROR:{str(e)}")
    traceback.print_exc(file=sys.stdout)
