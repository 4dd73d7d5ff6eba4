# Prints the file paths under a timeline's audio and video tracks, sorted, one a line.
# The timeline is made current in Resolve on the way, on purpose.
import sys
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    if not resolve:
        print("ERROR:NOT_CONNECTED")
        sys.exit(0)
    pm = resolve.GetProjectManager()
    proj = pm.GetCurrentProject()
    count = proj.GetTimelineCount()
    for i in range(1, count + 1):
        tl = proj.GetTimelineByIndex(i)
        if tl.GetName() == ARGS["timeline"]:
            proj.SetCurrentTimeline(tl)
            paths = set()
            # Video tracks too: a clip's sound may be embedded in its picture file.
            for kind in ("audio", "video"):
                for t in range(1, tl.GetTrackCount(kind) + 1):
                    # A track Resolve cannot list (None) raises and ends the lookup.
                    for item in tl.GetItemListInTrack(kind, t):
                        mpi = item.GetMediaPoolItem()
                        if mpi:
                            fp = mpi.GetClipProperty().get("File Path", "")
                            if fp:
                                paths.add(fp)
            for p in sorted(paths):
                print(p)
            break
except Exception as e:
    print(f"ERROR:{str(e)}")
