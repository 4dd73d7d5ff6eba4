// The two timeline programs, run for real against the fake Resolve.
#include "resolve/ResolveSteps.h"
#include "support/SrtCards.h"
#include "support/TestEnv.h"

#include <QCoroTask>
#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::readFile;
using ondrel::test::TestHome;
using ondrel::test::writeFile;

namespace {

struct Clip {
    const char* name;
    const char* duration; // "HH:MM:SS:FF" at 24 fps
    const char* type;
    const char* startTc = "00:00:00:00";
};

Json poolClip(const QString& dir, const Clip& c) {
    const std::string path = (dir + "/" + c.name).toStdString();
    return Json{{"id", "clip:" + path},
                {"name", c.name},
                {"properties",
                 {{"File Path", path},
                  {"FPS", 24.0},
                  {"Duration", c.duration},
                  {"Type", c.type},
                  {"Start TC", c.startTc}}}};
}

Json resolveState(const QString& dir, const QList<Clip>& clips, bool running = true) {
    Json list = Json::array();
    for (const Clip& c : clips)
        list.push_back(poolClip(dir, c));
    return Json{{"running", running},
                {"currentProject", "Interviews"},
                {"projects",
                 {{"Interviews",
                   {{"timelines", Json::array()},
                    {"mediaPool", {{"root", {{"name", "Master"}, {"clips", list}}}}}}}}}};
}

StorySegment segment(qint64 index, double start, double end, const char* clip, const char* translation,
                     std::optional<QString> chapter = std::nullopt) {
    return {index, start, end, clip, "t", translation, std::move(chapter)};
}

class TimelineBuild : public ::testing::Test {
public:
    TestHome home;
    FixedClock clock{QDateTime(QDate(2026, 2, 3), QTime(15, 45, 0))};
    std::shared_ptr<LocalPipeline> owner = LocalPipeline::create(home.pipelineEnvironment(&clock));
    LocalPipeline& pipeline = *owner;
    QString media = home.path() + "/media";

    void SetUp() override {
        QDir().mkpath(home.paths().cacheDir);
        installResolveSteps(pipeline.steps());
    }

    void setState(const Json& state) { home.setResolveState(QByteArray::fromStdString(state.dump())); }
    Json state() const { return Json::parse(readFile(home.resolveStateFile()).toStdString()); }
    Json timeline(int index = 0) const { return state()["projects"]["Interviews"]["timelines"][index]; }

    void writeSegments(const QList<StorySegment>& segs) {
        writeFile(home.paths().cacheDir + "/segments.json", encodeJson(segs).value());
    }

    void writeProbes(const Json& probes) {
        writeFile(home.paths().cacheDir + "/probe_results.json", QByteArray::fromStdString(probes.dump(2)));
    }

    QStringList logTexts() const {
        QStringList out;
        for (const auto& l : pipeline.logs())
            out << l.text;
        return out;
    }

    QString srtWritten() const {
        const QStringList subs = QDir(home.paths().cacheDir).entryList({"subs_*.srt"});
        return subs.size() == 1 ? QString::fromUtf8(readFile(home.paths().cacheDir + "/" + subs[0]))
                                : QString();
    }

    // Builds the moments from one long clip, each cut from its own stretch of it, and checks the
    // SRT the program wrote against where each placed moment landed on the new timeline.
    // `refused` names the moments Resolve will not place.
    QStringList srtProblems(const QList<StorySegment>& segs, const QList<qsizetype>& refused, QString* srt) {
        QList<qsizetype> placed;
        for (qsizetype i = 0; i < segs.size(); ++i)
            if (!refused.contains(i))
                placed << i;
        for (const QString& old : QDir(home.paths().cacheDir).entryList({"subs_*.srt"}))
            QFile::remove(home.paths().cacheDir + "/" + old);
        setState(resolveState(media, {{"a.wav", "01:00:00:00", "Audio"}}));
        writeSegments(segs);
        QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));
        *srt = srtWritten();

        const Json tl = timeline();
        const Json& items = tl["tracks"]["audio"][0];
        if (items.size() != size_t(placed.size()))
            return {QStringLiteral("%1 clips on the timeline, not %2").arg(items.size()).arg(placed.size())};
        static const QRegularExpression blanks(QStringLiteral("\\s+"));
        const double startFrame = tl["startFrame"];
        QList<test::SrtMoment> moments;
        for (qsizetype k = 0; k < placed.size(); ++k) {
            const StorySegment& s = segs[placed[k]];
            const QString& text = s.translation.isEmpty() ? s.transcript : s.translation;
            const double from = (items[k]["start"].get<double>() - startFrame) / 24.0;
            const double to = (items[k]["end"].get<double>() - startFrame) / 24.0;
            moments.push_back(
                {test::srtMillis(from), test::srtMillis(to), text.split(blanks, Qt::SkipEmptyParts)});
        }
        QString error;
        const auto cards = test::readSrt(*srt, &error);
        if (!cards)
            return {error};
        return test::cardProblems(*cards, moments);
    }
};

const QString kMarks[] = {",", ".", ";", ":", "—", "...", "!"};

QString momentText(int words, bool punctuated) {
    QStringList out;
    for (int i = 1; i <= words; ++i)
        out << QStringLiteral("w%1").arg(i) + (punctuated ? kMarks[i % std::size(kMarks)] : QString());
    return out.join(u' ');
}

// Moments of every length given with 1, 2, 3 and 40 words, plain and punctuated, each cut from
// its own stretch of the clip; with `transcriptOnly` the text is the transcript, with no translation.
QList<StorySegment> momentsOf(const QList<double>& lengths, bool transcriptOnly = false) {
    QList<StorySegment> out;
    for (const double length : lengths)
        for (const int n : {1, 2, 3, 40})
            for (const bool punctuated : {false, true}) {
                const double start = 10 + 45.0 * double(out.size());
                const QString text = momentText(n, punctuated);
                out.push_back({qint64(out.size() + 1), start, start + length, "a.wav",
                               transcriptOnly ? text : QStringLiteral("x"), transcriptOnly ? QString() : text,
                               std::nullopt});
            }
    return out;
}

} // namespace

TEST_F(TimelineBuild, FullBuildPlacesMomentsMarksChaptersAndWritesCards) {
    setState(resolveState(media, {{"a.wav", "00:02:00:00", "Audio"},
                                  {"b.wav", "00:03:20:00", "Audio"},
                                  {"short.wav", "00:00:05:00", "Audio"}}));
    // b.wav comes first by timecode, so it starts the transcript's clock.
    writeProbes(Json{{"a.wav",
                      {{"path", (media + "/a.wav").toStdString()},
                       {"duration", 120.0},
                       {"startTimecodeSeconds", 7200.0},
                       {"fps", nullptr}}},
                     {"b.wav",
                      {{"path", (media + "/b.wav").toStdString()},
                       {"duration", 200.0},
                       {"startTimecodeSeconds", 3600.0},
                       {"fps", nullptr}}},
                     {"short.wav",
                      {{"path", (media + "/short.wav").toStdString()},
                       {"duration", 5.0},
                       {"startTimecodeSeconds", nullptr},
                       {"fps", nullptr}}}});
    writeSegments(
        {segment(1, 10, 30, "b.wav", "Two words", QStringLiteral("Arrival")),
         segment(2, 210, 213, "a", "We came here in the winter, all of us.", QStringLiteral("Arrival")),
         segment(3, 100, 101.9, "source", "Past the end", QStringLiteral("Leaving"))});
    // Two timelines mined: only this run's export folder gets the new subtitles, whatever sorts last.
    writeFile(home.paths().exportsDir + "/A cut/subtitles.srt", "old");
    writeFile(home.paths().exportsDir + "/B cut/subtitles.srt", "old");
    pipeline.setLastExportDir(home.paths().exportsDir + "/A cut");

    QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));

    EXPECT_EQ(pipeline.buildResult(), QStringLiteral("✓ 3/3 clips appended"));
    const QStringList log = logTexts();
    EXPECT_EQ(log.first(), "Building timeline in Resolve...");
    EXPECT_TRUE(log.contains("  Skipping short clip short.wav (5.0s)"));
    EXPECT_TRUE(log.contains("  b.wav: duration=200s, transcript=0-200s"));
    EXPECT_TRUE(log.contains("  a.wav: duration=120s, transcript=200-320s"));
    EXPECT_EQ(log.last(), "  ✓ 3/3 clips appended");
    EXPECT_TRUE(log.contains("  Updated export SRT: A cut/subtitles.srt"));

    const Json tl = timeline();
    // The locale's short time, never with seconds; then the program's own 12-hour form.
    EXPECT_TRUE(QString::fromStdString(tl["name"])
                    .startsWith("Ondrel Build — " + shortTimeOfDay(QTime(15, 45)) + " — "));
    const Json& items = tl["tracks"]["audio"][0];
    ASSERT_EQ(items.size(), 3u);
    // In/Out from the file-relative times: b.wav 10-30 s, a.wav 10-13 s, the last moment in the last clip.
    EXPECT_EQ(items[0]["sourceStart"], 240);
    EXPECT_EQ(items[1]["name"], "a.wav");
    // The pool clips got their In and Out back.
    for (const auto& clip : state()["projects"]["Interviews"]["mediaPool"]["root"]["clips"])
        EXPECT_TRUE(clip["marks"].empty() || clip["marks"]["audio"]["in"] == 0) << clip.dump();

    // One marker a chapter change, on the read-back position, first colour a valid marker colour.
    const Json markers = tl["markers"];
    ASSERT_EQ(markers.size(), 2u) << markers.dump();
    ASSERT_TRUE(markers.contains("0"));
    EXPECT_EQ(markers["0"]["name"], "Arrival");
    EXPECT_EQ(markers["0"]["color"], "Sand");
    EXPECT_EQ(markers["0"]["note"], "Two words");
    EXPECT_EQ(markers["0"]["duration"], 481); // the Out frame is part of the clip
    ASSERT_TRUE(markers.contains("554"));
    EXPECT_EQ(markers["554"]["color"], "Green"); // after 481 + 73 placed frames

    // Two words over 20 s: one card for the first card length only. A 3 s moment: one card.
    // A 1.9 s moment: cards of 2.5 s, ending at the moment's end. Times are read back from the
    // timeline, where each Out frame is part of its clip.
    EXPECT_EQ(srtWritten(),
              QString::fromUtf8("1\n00:00:00,000 --> 00:00:03,340\nTwo words\n\n"
                                "2\n00:00:20,041 --> 00:00:23,083\nWe came here in the winter, all of us.\n\n"
                                "3\n00:00:23,083 --> 00:00:25,000\nPast the end\n"));
    EXPECT_EQ(readFile(home.paths().exportsDir + "/A cut/subtitles.srt"), srtWritten().toUtf8());
    EXPECT_EQ(readFile(home.paths().exportsDir + "/B cut/subtitles.srt"), "old");
    // After an audit there is no export folder of the run: no folder is touched.
    pipeline.setLastExportDir(std::nullopt);
    writeFile(home.paths().exportsDir + "/A cut/subtitles.srt", "old");
    QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));
    EXPECT_EQ(readFile(home.paths().exportsDir + "/A cut/subtitles.srt"), "old");
    EXPECT_EQ(readFile(home.paths().exportsDir + "/B cut/subtitles.srt"), "old");
    EXPECT_TRUE(
        QString::fromUtf8(readFile(home.paths().cacheDir + "/build_output.txt")).startsWith("STDOUT:\nLOG:"));
}

TEST_F(TimelineBuild, EveryWordShowsInOrderInsideItsMoment) {
    const QList<StorySegment> unplaced = {
        segment(1, 10, 13, "a.wav", "First words here."),
        segment(2, 60, 59, "a.wav", "Backwards, so Resolve refuses it."), // Out before In
        {3, 100, 120, "a.wav", "t", momentText(40, true), std::nullopt},
    };
    const struct {
        const char* what;
        QList<StorySegment> segments;
        QList<qsizetype> refused;
    } cases[] = {
        {"short moments", momentsOf({0.5, 0.7, 1.0, 1.3, 1.6, 1.9}), {}},
        {"3, 20 and 40 s moments", momentsOf({3, 20, 40}), {}},
        {"moments without a translation show their transcript", momentsOf({0.8, 3, 20}, true), {}},
        {"a moment Resolve could not place takes no other moment's place", unplaced, {1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        QString srt;
        const QStringList problems = srtProblems(c.segments, c.refused, &srt);
        EXPECT_TRUE(problems.isEmpty()) << problems.join(u'\n').toStdString() << "\n" << srt.toStdString();
    }
}

TEST_F(TimelineBuild, TheDemosLastWordsStayOnTheLastCard) {
    // Found in the demo: the punctuation breaks made a fourth card where three were planned, past
    // the moment's end, and it vanished with "to my children."
    const QList<StorySegment> segs = {
        segment(1, 400, 409, "a.wav",
                "I would tell him he was right. That the sea gave us nothing, it lent us everything. "
                "And that I am giving it back, little by little, to my children.")};
    QString srt;
    EXPECT_EQ(srtProblems(segs, {}, &srt), QStringList());
    EXPECT_EQ(srt, QString::fromUtf8("1\n00:00:00,000 --> 00:00:03,013\nI would tell him he was right.\n\n"
                                     "2\n00:00:03,013 --> 00:00:06,027\n"
                                     "That the sea gave us nothing, it lent us everything.\n\n"
                                     "3\n00:00:06,027 --> 00:00:09,041\n"
                                     "And that I am giving it back, little by little, to my children.\n"));
}

// The subtitles follow the timeline's own rate: a camera file at 25 fps among 24 fps sound must not
// make the cards of a 24 fps timeline run short (found in the demo: 5 s late after two minutes).
TEST_F(TimelineBuild, SubtitlesKeepToTheTimelinesRateWhateverTheFilesRates) {
    Json state = resolveState(media, {{"a.wav", "00:01:40:00", "Audio"}, {"b.mov", "00:01:40:00", "Audio"}});
    state["projects"]["Interviews"]["mediaPool"]["root"]["clips"][1]["properties"]["FPS"] = 25.0;
    setState(state);
    const auto probe = [&](const char* name, double tc, Json fps) {
        return Json{{"path", (media + "/" + name).toStdString()},
                    {"filename", name},
                    {"duration", 100.0},
                    {"startTimecode", nullptr},
                    {"startTimecodeSeconds", tc},
                    {"sampleRate", 48000},
                    {"fps", fps},
                    {"codec", "pcm_s16le"},
                    {"hasVideo", !fps.is_null()},
                    {"hasAudio", true},
                    {"channels", 1},
                    {"bitDepth", 16}};
    };
    writeProbes(Json{{"a.wav", probe("a.wav", 0, nullptr)}, {"b.mov", probe("b.mov", 100, 25.0)}});
    const QList<StorySegment> segs = {segment(1, 10, 40, "a.wav", "one two three four five six"),
                                      segment(2, 110, 140, "b.mov", "seven eight nine ten eleven twelve")};
    writeSegments(segs);
    QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));

    const Json tl = timeline();
    const Json& items = tl["tracks"]["audio"][0];
    ASSERT_EQ(items.size(), 2u) << logTexts().join('\n').toStdString();
    const double startFrame = tl["startFrame"];
    QList<test::SrtMoment> moments;
    for (size_t k = 0; k < items.size(); ++k)
        moments.push_back({test::srtMillis((items[k]["start"].get<double>() - startFrame) / 24.0),
                           test::srtMillis((items[k]["end"].get<double>() - startFrame) / 24.0),
                           (segs[qsizetype(k)].translation).split(' ')});
    QString error;
    const auto cards = test::readSrt(srtWritten(), &error);
    ASSERT_TRUE(cards) << error.toStdString();
    EXPECT_EQ(test::cardProblems(*cards, moments), QStringList()) << srtWritten().toStdString();
}

TEST_F(TimelineBuild, ElevenChaptersWrapTheColours) {
    setState(resolveState(media, {{"a.wav", "00:10:00:00", "Audio"}}));
    QList<StorySegment> segs;
    for (int i = 0; i < 11; ++i)
        segs << segment(i, i * 10, i * 10 + 5, "a.wav", "", QStringLiteral("Chapter %1").arg(i));
    writeSegments(segs);
    QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));
    const Json tl = timeline();
    QStringList colours;
    for (const auto& [frame, marker] : tl["markers"].items())
        colours << QString::fromStdString(marker["color"]);
    EXPECT_EQ(colours.size(), 11);
    EXPECT_EQ(colours.count("Sand"), 2);
}

TEST_F(TimelineBuild, FailuresReachLogAndResult) {
    struct Case {
        const char* name;
        std::function<void(TimelineBuild&)> arrange;
        QString lastLog;
        QString result;
    } cases[] = {
        {"no segments file", [](TimelineBuild&) {}, "✗ No segments file found", "✗ No segments file found"},
        {"Resolve not running",
         [](TimelineBuild& t) {
             t.writeSegments({segment(1, 0, 5, "a.wav", "x")});
             t.setState(resolveState(t.media, {}, false));
         },
         "  ✗ Resolve not connected", "✗ Resolve not connected"},
        {"no clip anywhere: every moment skipped",
         [](TimelineBuild& t) {
             t.writeSegments({segment(1, 0, 5, "a.wav", "x")});
             t.setState(resolveState(t.media, {{"clip.mov", "00:00:30:00", "Video"}}));
         },
         "  ✓ 0/1 clips appended", "✓ 0/1 clips appended"},
        {"program dies after some lines",
         [](TimelineBuild& t) {
             writeFile(t.home.paths().cacheDir + "/segments.json", "[{\"startTime\": \"x\"}]");
             t.setState(resolveState(t.media, {{"a.wav", "00:10:00:00", "Audio"}}));
         },
         "  Created timeline: Ondrel Build — ", "✗ No response from Resolve"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QFile::remove(home.paths().cacheDir + "/segments.json");
        pipeline.reset();
        c.arrange(*this);
        QCoro::waitFor(buildTimelineFromSegmentsFile(pipeline));
        EXPECT_TRUE(logTexts().last().startsWith(c.lastLog)) << logTexts().last().toStdString();
        EXPECT_EQ(pipeline.buildResult(), c.result);
    }
}

TEST_F(TimelineBuild, InterpreterProblems) {
    writeSegments({segment(1, 0, 5, "a.wav", "x")});
    // An interpreter that only complains: 300 characters of two code units each.
    const QString complaint = QString("e\u0301").repeated(300);
    const QString complaining = home.path() + "/complaining-python";
    writeFile(complaining, "#!/bin/sh\nprintf '%s' '" + complaint.toUtf8() + "' >&2\n");
    QFile::setPermissions(complaining, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    struct Case {
        QString python;
        QStringList log;
        QString result;
    } cases[] = {
        {"/nonexistent/python3", {}, "✗ Python failed: "},
        {"/bin/true",
         {"✗ Python returned no output"},
         "✗ Python returned no output — check Resolve connection"},
        {complaining,
         {"✗ Python returned no output", "  stderr: " + QString("e\u0301").repeated(200)},
         "✗ Python returned no output — check Resolve connection"},
    };
    for (const auto& c : cases) {
        PipelineEnvironment env = home.pipelineEnvironment(&clock);
        env.tools.python3 = c.python;
        const auto owner = LocalPipeline::create(env);
        LocalPipeline& p = *owner;
        QCoro::waitFor(buildTimelineFromSegmentsFile(p));
        ASSERT_TRUE(p.buildResult().has_value());
        EXPECT_TRUE(p.buildResult()->startsWith(c.result)) << p.buildResult()->toStdString();
        QStringList tail;
        for (qsizetype i = std::max<qsizetype>(0, p.logs().size() - c.log.size()); i < p.logs().size(); ++i)
            tail << p.logs()[i].text;
        EXPECT_EQ(tail, c.log);
    }
}

TEST_F(TimelineBuild, RebuildFallsBackToAudioClipsAndMarksLaterChapters) {
    setState(resolveState(media, {{"a.wav", "00:02:00:00", "Audio"},
                                  {"b.wav", "00:01:00:00", "Audio"},
                                  {"cam.mov", "00:05:00:00", "Video"}}));
    MiningResults results;
    results.segments = {segment(1, 0, 4, "a.wav", "x", QStringLiteral("One")),
                        segment(2, 4, 6, "a.wav", "y", QStringLiteral("Two")),
                        segment(3, 6, 8, "a.wav", "z", QStringLiteral("Two"))};
    const QString name = "Re \"cut\" \\ 2";
    EXPECT_TRUE(
        QCoro::waitFor(buildResolveTimeline(pipeline, name, results, {media + "/a.wav", media + "/b.wav"})));
    const QStringList log = logTexts();
    EXPECT_TRUE(log.contains("  0/2 source clips matched"));
    EXPECT_TRUE(log.contains("  Auto-matched audio clip: a.wav (120s)"));
    EXPECT_FALSE(log.contains("  Auto-matched audio clip: b.wav (60s)")); // exactly 60 s is not taken
    EXPECT_EQ(log.last(), "  3 clips appended, 0 failed");
    const Json tl = timeline();
    EXPECT_EQ(tl["name"], name.toStdString());
    // Blue markers at each moment outside the first chapter, at frames counted from 0 at the
    // clip's 24 fps.
    EXPECT_EQ(tl["markers"].size(), 2u) << tl["markers"].dump();
    ASSERT_TRUE(tl["markers"].contains("96") && tl["markers"].contains("144"));
    EXPECT_EQ(tl["markers"]["96"]["color"], "Blue");
    EXPECT_EQ(tl["markers"]["144"]["name"], "Two");
    // segments.json is the plain compact encoding.
    EXPECT_EQ(readFile(home.paths().cacheDir + "/segments.json"), encodeJson(results.segments).value());
}

TEST_F(TimelineBuild, RebuildWithoutAudioClipsFails) {
    setState(resolveState(media, {{"cam.mov", "00:05:00:00", "Video"}}));
    MiningResults results;
    results.segments = {segment(1, 0, 4, "a.wav", "x")};
    EXPECT_FALSE(QCoro::waitFor(pipeline.rebuildTimeline("X", {}))); // nothing to build: no line at all
    EXPECT_TRUE(pipeline.logs().isEmpty());
    pipeline.setResults(results);
    EXPECT_FALSE(QCoro::waitFor(pipeline.rebuildTimeline("X", {})));
    const QStringList log = logTexts();
    EXPECT_EQ(log.mid(log.size() - 2),
              (QStringList{"  ✗ No source clips found in media pool", "✗ Timeline rebuild failed"}));
}
