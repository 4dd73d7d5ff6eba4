# Lists the current project's timelines, one name a line, in Resolve's order.
import sys
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    pm = resolve.GetProjectManager()
    proj = pm.GetCurrentProject()
    count = proj.GetTimelineCount()
    for i in range(1, count + 1):
        tl = proj.GetTimelineByIndex(i)
        print(tl.GetName())
except Exception as e:
    print(f"ERROR:{str(e)}")
