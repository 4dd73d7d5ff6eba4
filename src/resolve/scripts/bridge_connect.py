# Names Resolve's current project, or reports why it cannot.
import sys
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    if not resolve:
        print("ERROR:NOT_CONNECTED")
    else:
        pm = resolve.GetProjectManager()
        proj = pm.GetCurrentProject()
        if proj:
            print(proj.GetName())
        else:
            print("ERROR:NO_PROJECT")
except Exception as e:
    print(f"ERROR:{str(e)}")
