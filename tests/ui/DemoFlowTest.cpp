// The demo as a newcomer walks it, through the real screens: its stand-in services and Resolve over
// spoken media, a Full Mine pressed through to the done page and a build, then an audit of the
// same timeline; afterwards nothing the run started is still running.
#include "DoneAuditSupport.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QString kDemo = QStringLiteral(ONDREL_SOURCE_DIR "/tools/demo");

QStringList requestPaths(const QString& log, const QString& field = "path") {
    QFile f(log);
    f.open(QIODevice::ReadOnly);
    QStringList out;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (!line.isEmpty())
            out << QJsonDocument::fromJson(line).object()[field].toString();
    return out;
}

// The processes whose parent is this one.
QStringList children() {
    QStringList out;
    const QString self = QString::number(QCoreApplication::applicationPid());
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
        QFile stat("/proc/" + pid + "/stat");
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromUtf8(stat.readAll());
        const QStringList fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1) == self && fields.value(0) != "Z")
            out << pid + " " + text.section('(', 1).section(')', 0, 0);
    }
    return out;
}

struct DemoRig : QuickRig {
    TestHome home;
    RecordingOpener opener;
    QProcess services;
    QString media = QDir::tempPath() + "/ondrel-demo-media-test";
    QString requests = home.path() + "/requests.jsonl";

    DemoRig() {
        QProcess make;
        make.start("python3", {kDemo + "/make_media.py", media});
        make.waitForFinished(300000);
        EXPECT_EQ(make.exitCode(), 0) << make.readAllStandardError().toStdString();
        services.start("python3", {kDemo + "/demo_services.py", media, requests});
        services.waitForReadyRead(20000);
        const int port = QString::fromUtf8(services.readLine()).trimmed().section(' ', 1).toInt();
        EXPECT_GT(port, 0);
        QProcess state;
        state.start("python3",
                    {kDemo + "/resolve_state.py", fakeResolveModuleDir(), media, home.resolveStateFile()});
        state.waitForFinished(20000);
        EXPECT_EQ(state.exitCode(), 0) << state.readAllStandardError().toStdString();

        PipelineEnvironment env = home.pipelineEnvironment();
        env.endpoints.openaiHost = env.endpoints.anthropicHost = env.endpoints.ondrelHost =
            QString("http://127.0.0.1:%1").arg(port);
        env.env.insert("OPENAI_API_KEY", "demo");
        env.env.insert("ANTHROPIC_API_KEY", "demo");
        AppServices::install({.makePipeline = [env] { return makePipeline(env); }});
        UrlOpener::setDefault(&opener);
    }
    ~DemoRig() {
        screen.reset();
        AppServices::install({});
        UrlOpener::setDefault(nullptr);
        services.terminate();
        services.waitForFinished(10000);
    }
};

} // namespace

TEST(DemoFlow, AFullMineToTheDonePageAndAnAuditThroughTheScreens) {
    auto rig = std::make_unique<DemoRig>();
    rig->show("Mine/MineWizard.qml");
    auto* wizard = rig->screen->property("wizard").value<MineView*>();
    ASSERT_TRUE(waitFor([&] { return wizard->resolveBridge()->timelines().contains("Interview Selects"); }));

    // Setup → style → mining → review → done, pressing what an editor presses.
    wizard->setSelectedTimelineText("Interview Selects");
    wizard->setTargetMinutes(1);
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "setupNext");
    ASSERT_EQ(wizard->page(), "style");
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "startMining");
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "review"; }, 120000))
        << wizard->pipeline()->errorMessageText().toStdString();
    EXPECT_TRUE(waitFor([&] { return rig->find("segmentSlot0") != nullptr; }));
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "skipToExports");
    ASSERT_EQ(wizard->page(), "done");
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "buildTimeline");
    ASSERT_TRUE(waitFor([&] { return rig->text("buildStatus").startsWith("✓"); }, 60000))
        << rig->text("buildStatus").toStdString();
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "exportEdl");
    ASSERT_TRUE(waitFor([&] { return rig->find("showSaved") != nullptr; }));
    revealAndClick(*rig, "showSaved");
    const QString exports = rig->home.paths().exportDirFor("Interview Selects");
    for (const char* file : {"subtitles.srt", "transcript.txt", "story_brief.md", "mining_results.json",
                             "project.json", "story_edit.edl"})
        EXPECT_TRUE(QFileInfo(exports + "/" + file).size() > 0) << file;
    ASSERT_FALSE(rig->opener.shown.isEmpty());
    EXPECT_EQ(rig->opener.shown.last(), exports + "/story_edit.edl");

    // The services saw the media in five-minute pieces, one story request, then word timing.
    const QStringList paths = requestPaths(rig->requests);
    const QStringList kinds = requestPaths(rig->requests, "kind");
    EXPECT_EQ(paths.count("/v1/messages"), 1);
    EXPECT_EQ(kinds.count("story"), 1);
    const QStringList granularity = requestPaths(rig->requests, "granularity");
    EXPECT_EQ(granularity.count("segment"), 1) << "the demo media fit in one piece";
    EXPECT_GE(granularity.count("word"), 3);

    // An audit of the rough cut on the same timeline, from a fresh wizard.
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "mineAnother");
    ASSERT_EQ(wizard->page(), "setup");
    wizard->setSelectedTimelineText("Interview Selects");
    wizard->setSelectedModeValue(int(MiningMode::audit));
    ASSERT_TRUE(waitForSettledPages(*rig));
    revealAndClick(*rig, "setupNext");
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "audit"; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    EXPECT_TRUE(rig->find("buriedGold"));
    EXPECT_NE(rig->text("usedText"), "0 clips") << "the rough cut holds whole answers";
    EXPECT_EQ(requestPaths(rig->requests, "kind").count("audit"), 1);

    rig.reset();
    EXPECT_TRUE(QTest::qWaitFor([] { return children().isEmpty(); }, 10000))
        << children().join(", ").toStdString();
}
