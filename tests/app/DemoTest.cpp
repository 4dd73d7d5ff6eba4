// The demo's stand-ins, as a newcomer meets them: spoken media made with espeak-ng, and the sample
// cut beside them, read back and audited as a file without Resolve; the command that starts it all
// and leaves nothing behind. A mine and an audit over the stand-ins run through the screens in
// tests/ui/DemoFlowTest.cpp.
#include "app/PipelineWiring.h"
#include "interchange/TimelineReaders.h"
#include "media/TranscriptCache.h"
#include "support/TestEnv.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::TestHome;

namespace {

const QString kDemo = QStringLiteral(ONDREL_SOURCE_DIR "/tools/demo");

// The media take seconds to speak; every test of this file shares one folder of them.
const QString& demoMedia() {
    static const QString dir = [] {
        const QString d = QDir::tempPath() + "/ondrel-demo-media-test";
        QProcess p;
        p.start("python3", {kDemo + "/make_media.py", d});
        p.waitForFinished(300000);
        EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
        return d;
    }();
    return dir;
}

QStringList lines(const LocalPipeline& pipeline) {
    QStringList out;
    for (const auto& l : pipeline.logs())
        out << l.text;
    return out;
}

QJsonObject manifest() {
    return QJsonDocument::fromJson(test::readFile(demoMedia() + "/manifest.json")).object();
}

// The manifest's file of that name (as the media folder holds it).
QJsonObject manifestFile(const QString& name) {
    for (const QJsonValue& f : manifest()["files"].toArray())
        if (f["name"].toString() == name)
            return f.toObject();
    return {};
}

// The lines of the file that lie whole in [in, out] seconds from its first frame, and how many
// lines it touches at all.
std::pair<QList<QJsonObject>, int> linesIn(const QJsonObject& file, double in, double out) {
    QList<QJsonObject> whole;
    int touched = 0;
    for (const QJsonValue& l : file["lines"].toArray()) {
        const double start = l["start"].toDouble();
        const double end = l["end"].toDouble();
        if (in <= start && end <= out)
            whole << l.toObject();
        if (start < out && end > in)
            ++touched;
    }
    return {whole, touched};
}

bool listening(int port) {
    QTcpSocket s;
    s.connectToHost("127.0.0.1", port);
    return s.waitForConnected(2000);
}

} // namespace

// The sample cut the demo lays beside its media, as a newcomer opens it under "Timeline file": each
// format reads back through the command-line reader, every sound clip on a file of this machine and
// holding one whole answer and nothing of the lines around it (an audit counts only answers held
// whole), both formats the same cut, over every file of the folder (the demo's speech service
// answers from the clock of all of them), with answers left out for an audit to find.
TEST(Demo, TheSampleCutReadsBackAsWholeAnswersOfTheMediaFiles) {
    const QString media = demoMedia();
    QList<QStringList> cuts;
    for (const QString& name :
         {QStringLiteral("Interview Cut.fcpxml"), QStringLiteral("Interview Cut.edl")}) {
        SCOPED_TRACE(name.toStdString());
        QProcess reader;
        reader.start(ONDREL_APP_BINARY, {"--read-timeline", media + "/" + name});
        ASSERT_TRUE(reader.waitForFinished(60000));
        ASSERT_EQ(reader.exitCode(), 0) << reader.readAllStandardError().toStdString();
        QStringList cut;
        QSet<QString> files;
        for (const QByteArray& row : reader.readAllStandardOutput().split('\n')) {
            if (row.isEmpty())
                continue;
            const QJsonObject clip = QJsonDocument::fromJson(row).object();
            ASSERT_TRUE(clip["path"].isString()) << row.toStdString();
            const QString path = clip["path"].toString();
            EXPECT_TRUE(QFileInfo(path).isFile()) << path.toStdString();
            EXPECT_EQ(QFileInfo(path).canonicalPath(), QFileInfo(media).canonicalFilePath());
            if (!clip["track"].toString().startsWith('A'))
                continue;
            const QJsonObject file = manifestFile(QFileInfo(path).fileName());
            ASSERT_FALSE(file.isEmpty()) << path.toStdString();
            files << file["name"].toString();
            const auto [whole, touched] =
                linesIn(file, clip["sourceIn"].toDouble(), clip["sourceOut"].toDouble());
            ASSERT_EQ(whole.size(), 1) << row.toStdString();
            EXPECT_EQ(touched, 1) << row.toStdString();
            EXPECT_EQ(whole[0]["who"].toString(), "subject");
            cut << whole[0]["text"].toString();
        }
        EXPECT_EQ(files.size(), manifest()["files"].toArray().size());
        cuts << cut;
    }
    ASSERT_EQ(cuts.size(), 2);
    EXPECT_EQ(cuts[0], cuts[1]);
    int answers = 0;
    for (const QJsonValue& f : manifest()["files"].toArray())
        for (const QJsonValue& l : f["lines"].toArray())
            answers += l["who"].toString() == "subject";
    EXPECT_GE(answers - cuts[0].size(), 3);
}

// An audit of the sample cut as a file source, with no Resolve and nothing mined before: the files
// it names are transcribed first, and the stand-in model, answering from the transcript the
// application lays out, finds exactly the answers the cut left out.
TEST(Demo, AnAuditOfTheSampleCutFindsTheAnswersItLeftOut) {
    TestHome home;
    const QString media = demoMedia();
    QProcess services;
    services.start("python3", {kDemo + "/demo_services.py", media, home.path() + "/requests.jsonl"});
    ASSERT_TRUE(services.waitForReadyRead(20000));
    const int port = QString::fromUtf8(services.readLine()).trimmed().section(' ', 1).toInt();
    ASSERT_GT(port, 0);
    PipelineEnvironment env = home.pipelineEnvironment();
    env.endpoints.openaiHost = env.endpoints.anthropicHost = QString("http://127.0.0.1:%1").arg(port);
    env.env.insert("OPENAI_API_KEY", "demo");
    env.env.insert("ANTHROPIC_API_KEY", "demo");

    const QString file = media + "/Interview Cut.fcpxml";
    const interchange::TimelineReading reading = interchange::readTimelineFile(file);
    ASSERT_TRUE(reading.timeline) << reading.error.toStdString();
    const interchange::ReadTimeline& t = *reading.timeline;
    QList<CutClip> clips;
    QSet<QString> used;
    for (const interchange::ReadClip& c : t.clips) {
        if (c.kind != interchange::TrackKind::audio)
            continue;
        const auto in = interchange::sourceFromFirstFrame(t, c, c.sourceIn);
        const auto out = interchange::sourceFromFirstFrame(t, c, c.sourceOut);
        ASSERT_TRUE(in && out);
        const QString path = t.media[c.media].path;
        clips << CutClip{path, in->toDouble(), out->toDouble()};
        for (const QJsonObject& l :
             linesIn(manifestFile(QFileInfo(path).fileName()), in->toDouble(), out->toDouble()).first)
            used << l["translation"].toString();
    }
    QSet<QString> leftOut;
    for (const QJsonValue& f : manifest()["files"].toArray())
        for (const QJsonValue& l : f["lines"].toArray())
            if (l["who"].toString() == "subject" && !used.contains(l["translation"].toString()))
                leftOut << l["translation"].toString();
    ASSERT_FALSE(used.isEmpty());
    ASSERT_FALSE(leftOut.isEmpty());
    QStringList paths;
    for (const interchange::ReadMedia& m : t.media)
        paths << m.path;

    auto audit = makePipeline(env);
    QCoro::waitFor(audit->auditCut({"Interview Cut", ProjectSource{"timelineFile", file}, paths}, clips,
                                   "auto", std::nullopt));
    ASSERT_TRUE(audit->auditReport().has_value()) << lines(*audit).join('\n').toStdString();
    QSet<QString> reportedUsed;
    for (const UsedSegment& s : audit->auditReport()->usedSegments)
        reportedUsed << s.text;
    EXPECT_EQ(reportedUsed, used);
    EXPECT_FALSE(audit->auditReport()->buriedGold.isEmpty());
    for (const GoldMoment& g : audit->auditReport()->buriedGold)
        EXPECT_TRUE(leftOut.contains(g.text)) << g.text.toStdString();

    services.terminate();
    ASSERT_TRUE(services.waitForFinished(10000));
}

// The command a newcomer runs: the window comes up over the stand-ins, and when it closes nothing
// of the demo is left running or on disk.
TEST(Demo, ClosingTheWindowStopsEveryStandIn) {
    QProcess demo;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("ONDREL_QUIT_AFTER_MS", "1500");
    env.insert("ONDREL_APP", ONDREL_APP_BINARY);
    env.insert("ONDREL_DEMO_MEDIA", demoMedia());
    env.insert("ONDREL_INSTANCE_SOCKET",
               "ondrel-demo-test-" + QString::number(QCoreApplication::applicationPid()));
    demo.setProcessEnvironment(env);
    demo.start("bash", {ONDREL_SOURCE_DIR "/scripts/demo.sh"});
    ASSERT_TRUE(demo.waitForFinished(120000));
    const QString out = QString::fromUtf8(demo.readAllStandardOutput());
    EXPECT_EQ(demo.exitCode(), 0) << out.toStdString() << demo.readAllStandardError().toStdString();
    const QRegularExpression stated("127\\.0\\.0\\.1:(\\d+)\\.\\n.*paste: (\\S+)",
                                    QRegularExpression::DotMatchesEverythingOption);
    const auto m = stated.match(out);
    ASSERT_TRUE(m.hasMatch()) << out.toStdString();
    EXPECT_FALSE(listening(m.captured(1).toInt()));
    // The folder and the sample cut it names for mining without Resolve are there to be picked.
    const auto folder = QRegularExpression("pick the folder\\n +(.+)\\n").match(out);
    ASSERT_TRUE(folder.hasMatch()) << out.toStdString();
    EXPECT_TRUE(QFileInfo(folder.captured(1)).isDir()) << folder.captured(1).toStdString();
    const auto cut = QRegularExpression("\"Timeline file\" and pick\\n +(.+)\\n").match(out);
    ASSERT_TRUE(cut.hasMatch()) << out.toStdString();
    EXPECT_EQ(cut.captured(1), folder.captured(1) + "/Interview Cut.fcpxml");
    EXPECT_TRUE(QFileInfo(cut.captured(1)).isFile()) << cut.captured(1).toStdString();
    const QRegularExpression home("demo's home: (\\S+)");
    const auto h = home.match(out);
    ASSERT_TRUE(h.hasMatch()) << out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(h.captured(1)));
}

// With Ondrel Manager already on the socket, the browser's sign-in would reach that window and the
// demo's launch would only hand over: the demo says so and starts nothing, not even its media.
TEST(Demo, RefusesToStartBesideARunningInstance) {
    QTemporaryDir tmp;
    const QString socket = tmp.path() + "/instance.socket";
    QLocalServer running;
    running.setSocketOptions(QLocalServer::UserAccessOption);
    ASSERT_TRUE(running.listen(socket));
    QProcess demo;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("ONDREL_APP", ONDREL_APP_BINARY);
    env.insert("ONDREL_DEMO_MEDIA", tmp.path() + "/media");
    env.insert("ONDREL_INSTANCE_SOCKET", socket);
    // Should the demo start all the same, it ends by itself and takes its stand-ins with it.
    env.insert("ONDREL_QUIT_AFTER_MS", "1500");
    demo.setProcessEnvironment(env);
    demo.start("bash", {ONDREL_SOURCE_DIR "/scripts/demo.sh"});
    ASSERT_TRUE(demo.waitForFinished(120000));
    EXPECT_EQ(demo.exitCode(), 1);
    EXPECT_TRUE(demo.readAllStandardError().startsWith(
        "Ondrel Manager is already running, so the demo does not start"));
    EXPECT_EQ(demo.readAllStandardOutput(), "") << "no token, no stand-ins";
    EXPECT_FALSE(QFileInfo::exists(tmp.path() + "/media"));
}
