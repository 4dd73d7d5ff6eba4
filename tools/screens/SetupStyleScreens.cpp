// The setup page with recent mines, in an audit and without Resolve; the style page plain, tuned
// by hand and under Magic Mode.
#include "SampleWizard.h"

#include "core/Files.h"
#include "core/Json.h"
#include "ui/StylePageModel.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickItem>
#include <QQuickWindow>

#include <algorithm>
#include <functional>

using namespace ondrel;
using namespace ondrel::screens;

namespace {

// Two earlier mines: one built (with its story), one stopped after the transcript.
void saveSampleProjects(const SampleWizard& sample) {
    SavedProject built;
    built.timeline = QStringLiteral("Harbour Interviews — Day 1");
    built.createdAt = 1'717'000'000;
    built.language = QStringLiteral("es");
    built.results = SampleWizard::results();
    built.presetId = QStringLiteral("campfire");
    built.targetMinutes = 8;
    SavedProject transcribed;
    transcribed.timeline = QStringLiteral("Cannery B-roll Pulls");
    transcribed.createdAt = 1'716'000'000;
    transcribed.language = QStringLiteral("es");
    for (int i = 0; i < 214; ++i)
        transcribed.transcript.push_back({i * 6.0, i * 6.0 + 5.5, QStringLiteral("…")});
    transcribed.targetMinutes = 5;
    for (const SavedProject& p : {built, transcribed}) {
        const QString dir = sample.env.paths.exportDirFor(p.timeline);
        QDir().mkpath(dir);
        writeFileAtomically(dir + QStringLiteral("/project.json"), encodeJson(p).value_or(QByteArray()));
    }
}

void setResolveRunning(const SampleWizard& sample, bool running) {
    const QString path = sample.env.env.value(QStringLiteral("ONDREL_FAKE_RESOLVE_STATE"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
    file.close();
    state[QStringLiteral("running")] = running;
    writeFileAtomically(path, QJsonDocument(state).toJson());
}

// The style guide's model, found under the page's item.
StylePageModel* stylePageIn(QQuickItem* item) {
    if (auto* model =
            item->findChild<StylePageModel*>(QStringLiteral("styleGuideModel"), Qt::FindDirectChildrenOnly))
        return model;
    for (QQuickItem* child : item->childItems())
        if (StylePageModel* model = stylePageIn(child))
            return model;
    return nullptr;
}

// Opens the tooltip of the named item, as a pointer resting on it would.
void showToolTipOf(QQuickItem* item, const QString& name) {
    if (!item)
        return;
    if (item->objectName() == name) {
        for (QObject* child : item->children())
            if (child->inherits("QQuickToolTip"))
                QMetaObject::invokeMethod(child, "open");
        return;
    }
    for (QQuickItem* child : item->childItems())
        showToolTipOf(child, name);
}

// Scrolls the setup page's form to its end, where the mode, the language and the length are.
void scrollSetupToEnd(QObject* root) {
    const std::function<QQuickItem*(QQuickItem*)> find = [&](QQuickItem* item) -> QQuickItem* {
        if (!item || item->objectName() == QStringLiteral("setupScroll"))
            return item;
        for (QQuickItem* child : item->childItems())
            if (QQuickItem* found = find(child))
                return found;
        return nullptr;
    };
    QQuickItem* scroll = find(qobject_cast<QQuickItem*>(root));
    if (!scroll)
        return;
    if (auto* flickable = scroll->property("contentItem").value<QQuickItem*>())
        flickable->setProperty(
            "contentY", std::max(0.0, flickable->property("contentHeight").toDouble() - flickable->height()));
}

const QSize kWindow(1100, 750);

} // namespace

ONDREL_SCREENS(setupPage) {
    SampleWizard sample(context);
    saveSampleProjects(sample);
    const QUrl contentView = qmlFileUrl(QStringLiteral("Shell/ContentView.qml"));
    renderScreen(context, QStringLiteral("mine-setup-recent"), contentView, kWindow, [](QObject* root) {
        SampleWizard::wizardIn(root);
        settle(1500);
    });
    renderScreen(context, QStringLiteral("mine-setup-audit"), contentView, kWindow, [](QObject* root) {
        MineView* wizard = SampleWizard::wizardIn(root);
        settle(1500);
        if (!wizard)
            return;
        wizard->setSelectedTimelineText(QString::fromLatin1(SampleWizard::kTimeline));
        wizard->setSelectedModeValue(int(MiningMode::audit));
        wizard->setSelectedLanguage(QStringLiteral("es"));
        wizard->setTargetMinutes(12);
        // The form is laid out only once its window shows.
        if (QQuickWindow* window = qobject_cast<QQuickItem*>(root)->window())
            window->show();
        settle(500);
        scrollSetupToEnd(root);
    });
    setResolveRunning(sample, false);
    renderScreen(context, QStringLiteral("mine-setup-offline"), contentView, kWindow, [](QObject* root) {
        SampleWizard::wizardIn(root);
        settle(1500);
    });
}

ONDREL_SCREENS(stylePage) {
    SampleWizard sample(context);
    const QUrl contentView = qmlFileUrl(QStringLiteral("Shell/ContentView.qml"));
    const auto onStylePage = [](QObject* root, const std::function<void(MineView*, StylePageModel*)>& then) {
        MineView* wizard = SampleWizard::wizardIn(root);
        settle(1500);
        if (!wizard)
            return;
        wizard->setSelectedTimelineText(QString::fromLatin1(SampleWizard::kTimeline));
        wizard->advanceTo(int(MineStep::style));
        settle(500);
        if (then)
            then(wizard, stylePageIn(qobject_cast<QQuickItem*>(root)));
    };
    renderScreen(context, QStringLiteral("mine-style"), contentView, kWindow,
                 [&](QObject* root) { onStylePage(root, {}); });
    renderScreen(context, QStringLiteral("mine-style-tuned"), contentView, kWindow, [&](QObject* root) {
        onStylePage(root, [](MineView* wizard, StylePageModel* page) {
            wizard->setTargetMinutes(12);
            wizard->setReferenceURL(QStringLiteral("https://vimeo.com/76979871"));
            if (!page)
                return;
            page->selectPreset(QStringLiteral("campfire"));
            page->setSlider(QStringLiteral("boldness"), 0.55);
            page->toggleSliders();
        });
    });
    renderScreen(context, QStringLiteral("mine-style-preset"), contentView, kWindow, [&](QObject* root) {
        onStylePage(root, [root](MineView*, StylePageModel* page) {
            if (page)
                page->selectPreset(QStringLiteral("portrait"));
            showToolTipOf(qobject_cast<QQuickItem*>(root), QStringLiteral("preset_portrait"));
        });
    });
    renderScreen(context, QStringLiteral("mine-style-magic"), contentView, kWindow, [&](QObject* root) {
        onStylePage(root, [](MineView* wizard, StylePageModel*) { wizard->setMagicMode(true); });
    });
}
