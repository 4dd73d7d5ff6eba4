// The Done page after a Magic Mode run and its build, top and bottom, and the Audit page of the
// sample report, at its figures and then at the gold with one moment open and one marked.
#include "SampleWizard.h"

#include "support/TestEnv.h"
#include "ui/AuditModel.h"
#include "ui/DoneModel.h"

#include <QDir>
#include <QQuickItem>
#include <QQuickWindow>

using namespace ondrel;
using namespace ondrel::screens;

namespace {

QQuickItem* findItem(QQuickItem* item, const QString& name) {
    if (item->objectName() == name)
        return item;
    const auto children = item->childItems();
    for (QQuickItem* child : children)
        if (QQuickItem* found = findItem(child, name))
            return found;
    return nullptr;
}

// Shows the window early so the page lays out, then finds the page.
QQuickItem* pageIn(QObject* root, const QString& name) {
    auto* item = qobject_cast<QQuickItem*>(root);
    item->window()->show();
    settle(500);
    return findItem(item, name);
}

// Scrolls a page to its end.
void scrollToEnd(QQuickItem* page) {
    if (!page)
        return;
    auto* flickable = page->property("contentItem").value<QQuickItem*>();
    if (!flickable)
        return;
    const qreal end = flickable->property("contentHeight").toReal() - flickable->height();
    flickable->setProperty("contentY", std::max<qreal>(0, end));
}

// A Magic Mode run whose bundle is written but for the story brief, on the Done page; its build
// in Resolve has just succeeded.
void showDone(QObject* root, const QString& home, bool atEnd) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return;
    LocalPipeline* p = wizard->pipeline();
    const QString dir = home + QStringLiteral("/done-exports");
    QDir().mkpath(dir);
    test::writeFile(dir + QStringLiteral("/subtitles.srt"), "1\n00:00:00,000 --> 00:00:05,000\nHello\n");
    test::writeFile(dir + QStringLiteral("/transcript.txt"), "[0:12] Mi abuelo salía al mar\n");
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    wizard->setMagicMode(true);
    p->setResults(SampleWizard::results());
    p->setLastExportDir(dir);
    wizard->advanceTo(int(MineStep::done));
    QQuickItem* page = pageIn(root, QStringLiteral("donePage"));
    p->setBuildResult(QStringLiteral("✓ Timeline built: 8 clips, 8 markers, 8 subtitles"));
    if (atEnd) {
        wizard->setRatingValue(1);
        scrollToEnd(page);
    }
}

void showAudit(QObject* root, bool atGold) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return;
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    wizard->setSelectedModeValue(int(MiningMode::audit));
    wizard->pipeline()->setAuditReport(SampleWizard::auditReport());
    wizard->advanceTo(int(MineStep::review));
    QQuickItem* page = pageIn(root, QStringLiteral("auditPage"));
    if (!atGold || !page)
        return;
    if (auto* vm = page->findChild<AuditModel*>()) {
        vm->gold()->toggleExpanded(0);
        vm->gold()->toggleSelected(1);
    }
    settle(300);
    scrollToEnd(page);
}

} // namespace

ONDREL_SCREENS(wizardDone) {
    SampleWizard sample(context);
    const QString home = context.home;
    renderScreen(context, "mine-done", qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                 [home](QObject* root) { showDone(root, home, false); });
    renderScreen(context, "mine-done-end", qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                 [home](QObject* root) { showDone(root, home, true); });
}

ONDREL_SCREENS(wizardAudit) {
    SampleWizard sample(context);
    renderScreen(context, "mine-audit", qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                 [](QObject* root) { showAudit(root, false); });
    renderScreen(context, "mine-audit-gold", qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                 [](QObject* root) { showAudit(root, true); });
}
