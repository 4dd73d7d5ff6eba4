# Creates an empty timeline with the given name and makes it current.
import sys
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    pm = resolve.GetProjectManager()
    proj = pm.GetCurrentProject()
    mp = proj.GetMediaPool()
    new_timeline = mp.CreateEmptyTimeline(ARGS["name"])
    if new_timeline:
        proj.SetCurrentTimeline(new_timeline)
        print("SUCCESS:Timeline created")
    else:
        print("ERROR:TIMELINE_CREATE_FAILED")
except Exception as e:
    print(f"ERROR:{str(e)}")
