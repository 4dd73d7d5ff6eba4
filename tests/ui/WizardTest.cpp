// The wizard's own moves, through the real QML, against the fakes: a whole Full Mine to the review,
// leaving the tab mid-run, a recent mine reopened, and the run order of an audit.
#include "UiTestSupport.h"

#include "media/TranscriptCache.h"

using namespace ondrel;
using namespace ondrel::test;

TEST(Wizard, AFullMineReachesTheReviewAndLeavingTheTabLetsARunFinishUnseen) {
    WizardRig rig;
    MineView* wizard = rig.openWizard();
    EXPECT_EQ(wizard->page(), "setup");
    EXPECT_EQ(wizard->estimatedCreditsText(), "~1 credit");
    wizard->setTargetMinutes(11);
    EXPECT_EQ(wizard->estimatedCreditsText(), "~2 credits");

    // No timeline: nothing starts.
    wizard->startMining();
    EXPECT_EQ(wizard->pipeline()->step(), PipelineStep::idle);

    wizard->setSelectedTimelineText(WizardRig::kTimeline);
    wizard->advanceTo(int(MineStep::style));
    wizard->tapStep(int(MineStep::done)); // forward taps do nothing
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
    wizard->advanceTo(int(MineStep::mining));
    wizard->startMining();
    ASSERT_TRUE(waitFor([&] { return wizard->currentStep() == MineStep::review; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    EXPECT_EQ(wizard->page(), "review");
    EXPECT_EQ(wizard->pipeline()->results()->segments.size(), 2);

    // The project is listed; reopening it goes straight to the review with the project's export folder.
    wizard->resetFlow();
    EXPECT_EQ(wizard->currentStep(), MineStep::setup);
    ASSERT_EQ(wizard->savedProjects()->rowCount(), 1);
    EXPECT_EQ(
        wizard->savedProjects()->data(wizard->savedProjects()->index(0), SavedProjectsModel::ClipsTextRole),
        "✓ 2 clips");
    wizard->loadProject(0);
    EXPECT_EQ(wizard->page(), "review");
    EXPECT_EQ(wizard->pipeline()->lastExportDirText(), rig.home.paths().exportDirFor(WizardRig::kTimeline));

    // Re-mine from the done page uses the loaded project; leave the tab while it runs.
    wizard->restyle();
    EXPECT_EQ(wizard->currentStep(), MineStep::style);
    wizard->advanceTo(int(MineStep::mining));
    wizard->startMining();
    std::weak_ptr<LocalPipeline> pipeline = wizard->sharedPipeline();
    rig.screen.reset();
    ASSERT_FALSE(pipeline.expired()) << "the run keeps its pipeline";
    ASSERT_TRUE(waitFor([&] { return pipeline.expired(); }, 60000)) << "and lets go of it when it ends";
    EXPECT_FALSE(WorkQueue::shared().isBusy());
}
