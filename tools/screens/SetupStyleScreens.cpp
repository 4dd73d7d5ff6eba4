// The setup page with recent mines, in an audit and without Resolve; the style page plain, tuned
// by hand and under Magic Mode.
#include "SampleWizard.h"

#include "core/Files.h"
#include "core/Json.h"
#include "ui/StylePageModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>

#include <algorithm>
#include <functional>
#include <utility>

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

// A folder of an editor's interview takes (two generated WAVs, a camera file named after a take and
// a file that is no media) and a cut of them exported from an editor, whose b-roll was not copied.
QString makeSampleMedia(const SampleWizard& sample) {
    const QString dir = sample.env.paths.home + QStringLiteral("/Interviews/Harbour Day 2");
    QDir().mkpath(dir);
    for (const auto& [name, seconds] :
         {std::pair{"A001_Marta.wav", "610"}, std::pair{"A002_Joan.wav", "1385"}}) {
        QProcess ffmpeg;
        ffmpeg.start(QStringLiteral("/usr/bin/ffmpeg"),
                     {"-v", "quiet", "-y", "-f", "lavfi", "-i",
                      QStringLiteral("anullsrc=r=16000:cl=mono:d=%1").arg(seconds), "-c:a", "pcm_s16le",
                      dir + QLatin1Char('/') + QLatin1String(name)});
        ffmpeg.waitForFinished(60000);
    }
    writeFileAtomically(dir + QStringLiteral("/B-roll notes.wav"), QByteArray("not a recording"));
    const QString cut = sample.env.paths.home + QStringLiteral("/Interviews/Harbour Cut v3.fcpxml");
    QString xml = QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<fcpxml version="1.11">
  <resources>
    <format id="r1" frameDuration="1/25s" width="1920" height="1080"/>
    <asset id="a1" name="A001_Marta" start="0s" duration="610s" hasAudio="1" audioSources="1" audioChannels="1" audioRate="16000">
      <media-rep kind="original-media" src="file://DIR/A001_Marta.wav"/>
    </asset>
    <asset id="a2" name="A002_Joan" start="0s" duration="1385s" hasAudio="1" audioSources="1" audioChannels="1" audioRate="16000">
      <media-rep kind="original-media" src="file://DIR/A002_Joan.wav"/>
    </asset>
    <asset id="a3" name="Drone_Harbour" start="0s" duration="60s" hasVideo="1" format="r1">
      <media-rep kind="original-media" src="file:///Volumes/Shuttle/Drone_Harbour.mov"/>
    </asset>
  </resources>
  <library><event name="Harbour"><project name="Harbour Cut v3">
    <sequence format="r1" tcStart="3600s" tcFormat="NDF"><spine>
      <asset-clip ref="a1" offset="3600s" start="12s" duration="41s"/>
      <asset-clip ref="a3" offset="3641s" start="0s" duration="6s"/>
      <asset-clip ref="a2" offset="3647s" start="302s" duration="58s"/>
      <asset-clip ref="a1" offset="3705s" start="433s" duration="27s"/>
    </spine></sequence>
  </project></event></library>
</fcpxml>
)");
    xml.replace(QStringLiteral("DIR"), dir);
    writeFileAtomically(cut, xml.toUtf8());
    return dir;
}

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
    const QString media = makeSampleMedia(sample);
    renderScreen(context, QStringLiteral("mine-setup-files"), contentView, kWindow, [&](QObject* root) {
        MineView* wizard = SampleWizard::wizardIn(root);
        settle(1500);
        if (!wizard)
            return;
        wizard->setSourceKind(QStringLiteral("files"));
        wizard->sourceFiles()->add({media});
        for (int i = 0; i < 100 && wizard->sourceFiles()->isMeasuring(); ++i)
            settle(100);
        settle(300);
    });
    renderScreen(context, QStringLiteral("mine-setup-timeline-file"), contentView, kWindow,
                 [&](QObject* root) {
                     MineView* wizard = SampleWizard::wizardIn(root);
                     settle(1500);
                     if (!wizard)
                         return;
                     wizard->setSourceKind(QStringLiteral("timelineFile"));
                     wizard->setSelectedModeValue(int(MiningMode::audit));
                     wizard->timelineFile()->open(QFileInfo(media).absolutePath() +
                                                  QStringLiteral("/Harbour Cut v3.fcpxml"));
                     for (int i = 0; i < 100 && wizard->timelineFile()->isReading(); ++i)
                         settle(100);
                     settle(300);
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
