// The Done page after a Magic Mode run and its build, top and bottom, and after a failed build;
// the Audit page of the sample report, at its figures, at the gold with one moment open and one
// marked, and at its end.
#include "SampleWizard.h"

#include "support/TestEnv.h"
#include "ui/AuditModel.h"

#include <QDir>
#include <QPointF>
#include <QQuickItem>
#include <QQuickWindow>

#include <algorithm>

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

// Scrolls a page so that the named item stands near its top, under a little of what comes
// before it, or to its end without a name.
void scrollTo(QQuickItem* page, const QString& name = {}) {
    if (!page)
        return;
    auto* flickable = page->property("flickable").value<QQuickItem*>();
    if (!flickable)
        return;
    const qreal end = std::max<qreal>(0, flickable->property("contentHeight").toReal() - flickable->height());
    qreal y = end;
    if (QQuickItem* item = name.isEmpty() ? nullptr : findItem(page, name)) {
        auto* content = flickable->property("contentItem").value<QQuickItem*>();
        y = std::clamp<qreal>(item->mapToItem(content, QPointF()).y() - 80, 0, end);
    }
    flickable->setProperty("contentY", y);
}

enum class DoneState { built, rated, failed };

// A Magic Mode run whose bundle is written but for the story brief, on the Done page; its build
// in Resolve has just succeeded (or, without Magic Mode and without an export folder, failed).
void showDone(QObject* root, const QString& home, DoneState state) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return;
    LocalPipeline* p = wizard->pipeline();
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    p->setResults(SampleWizard::results());
    if (state != DoneState::failed) {
        const QString dir = home + QStringLiteral("/done-exports");
        QDir().mkpath(dir);
        test::writeFile(dir + QStringLiteral("/subtitles.srt"), "1\n00:00:00,000 --> 00:00:05,000\nHello\n");
        test::writeFile(dir + QStringLiteral("/transcript.txt"), "[0:12] Mi abuelo salía al mar\n");
        wizard->setMagicMode(true);
        p->setLastExportDir(dir);
    }
    wizard->advanceTo(int(MineStep::done));
    QQuickItem* page = pageIn(root, QStringLiteral("donePage"));
    p->setBuildResult(state == DoneState::failed
                          ? QStringLiteral("✗ Build failed: Resolve has no open project")
                          : QStringLiteral("✓ Timeline built: 8 clips, 8 markers, 8 subtitles"));
    if (state == DoneState::rated) {
        wizard->setRatingValue(1);
        scrollTo(page);
    }
}

enum class AuditView { top, gold, end };

void showAudit(QObject* root, AuditView view) {
    MineView* wizard = SampleWizard::wizardIn(root);
    if (!wizard)
        return;
    wizard->setSelectedTimelineText(SampleWizard::kTimeline);
    wizard->setSelectedModeValue(int(MiningMode::audit));
    wizard->pipeline()->setAuditReport(SampleWizard::auditReport());
    wizard->advanceTo(int(MineStep::review));
    QQuickItem* page = pageIn(root, QStringLiteral("auditPage"));
    if (view == AuditView::top || !page)
        return;
    if (auto* vm = page->findChild<AuditModel*>()) {
        vm->gold()->toggleExpanded(0);
        vm->gold()->toggleSelected(1);
    }
    settle(300);
    scrollTo(page, view == AuditView::gold ? QStringLiteral("buriedGold") : QString());
}

} // namespace

ONDREL_SCREENS(wizardDone) {
    SampleWizard sample(context);
    const QString home = context.home;
    const std::pair<const char*, DoneState> shots[] = {{"mine-done", DoneState::built},
                                                       {"mine-done-end", DoneState::rated},
                                                       {"mine-done-failed", DoneState::failed}};
    for (const auto& shot : shots) {
        const DoneState state = shot.second;
        renderScreen(context, shot.first, qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                     [home, state](QObject* root) { showDone(root, home, state); });
    }
}

ONDREL_SCREENS(wizardAudit) {
    SampleWizard sample(context);
    const std::pair<const char*, AuditView> shots[] = {{"mine-audit", AuditView::top},
                                                       {"mine-audit-gold", AuditView::gold},
                                                       {"mine-audit-end", AuditView::end}};
    for (const auto& shot : shots) {
        const AuditView view = shot.second;
        renderScreen(context, shot.first, qmlFileUrl("Shell/ContentView.qml"), QSize(1100, 750),
                     [view](QObject* root) { showAudit(root, view); });
    }
}
