#pragma once
// The wizard's world for the renderer: a fake Resolve whose project holds the timeline "Interview
// Selects" over a generated WAV, the speech and language-model services answering on the
// renderer's fake service, pipelines wired against them, and sample results and audit report.

#include "RenderSupport.h"

#include "core/LocalPipeline.h"
#include "ui/MineView.h"

#include <memory>

namespace ondrel::screens {

class SampleWizard {
public:
    explicit SampleWizard(RenderContext& context);
    ~SampleWizard();

    static constexpr const char* kTimeline = "Interview Selects";
    // A story of eight moments in three acts, with translations and chapters.
    static MiningResults results();
    static AuditReport auditReport();
    // The wizard inside a rendered screen (ContentView on the Mine tab, or MineWizard itself).
    static MineView* wizardIn(QObject* root);

    PipelineEnvironment env;
    std::unique_ptr<AuthManager> auth; // signed in, so the window shows its tabs
};

} // namespace ondrel::screens
