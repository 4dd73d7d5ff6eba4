// The Mine tab's pages with sample state. Each page's screens live in a file of their own beside
// this one; this one draws the wizard as it opens.
#include "SampleWizard.h"

using namespace ondrel;
using namespace ondrel::screens;

ONDREL_SCREENS(wizardSetup) {
    SampleWizard sample(context);
    renderScreen(context, "mine-setup", qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                 [](QObject* root) {
                     MineView* wizard = SampleWizard::wizardIn(root);
                     settle(1500); // connected to the fake Resolve, timelines listed
                     if (wizard)
                         wizard->setSelectedTimelineText(SampleWizard::kTimeline);
                 });
}
