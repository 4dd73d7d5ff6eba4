// The export folder of a run: card timing of the SRT (read back by ffmpeg), the transcript,
// the story brief and the results JSON, written through the pipeline's step.
#include "export/ExportBundle.h"
#include "ExportTestSupport.h"
#include "export/ExportSteps.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace ondrel;
using test::seg;

namespace {

// Results holding these segments and nothing else.
MiningResults story(const QList<StorySegment>& segments) {
    return MiningResults{segments, {}, {}, 0};
}

QString numberedWords(int n) {
    QStringList words;
    for (int i = 1; i <= n; ++i)
        words << QStringLiteral("w%1").arg(i);
    return words.join(' ');
}

TEST(Subtitles, CardTimingExactAndReadBackByFfmpeg) {
    const struct {
        const char* what;
        QList<StorySegment> segments;
        QList<WordSegment> words;
        QString srt;
    } cases[] = {
        {"word-timed: two text words per spoken word",
         {seg(100, 110, "a.wav", "a b c d e", {}, numberedWords(10))},
         {{0, {{"a", 0, 0.25}, {"b", 0.375, 0.5}, {"c", 0.625, 0.75}, {"d", 0.875, 1}, {"e", 1.125, 1.25}}}},
         "1\n00:00:00,000 --> 00:00:00,750\nw1 w2 w3 w4 w5 w6\n\n"
         "2\n00:00:00,875 --> 00:00:01,250\nw7 w8 w9 w10\n\n"},
        {"a pause of exactly 0.3 s (0.5 - 0.2) does not close a card",
         {seg(0, 5, "a.wav", "a b c d e")},
         {{0, {{"a", 0, 0.05}, {"b", 0.05, 0.1}, {"c", 0.1, 0.2}, {"d", 0.5, 0.625}, {"e", 0.625, 0.75}}}},
         "1\n00:00:00,000 --> 00:00:00,750\na b c d e\n\n"},
        {"a longer pause does",
         {seg(0, 5, "a.wav", "a b c d e")},
         {{0, {{"a", 0, 0.05}, {"b", 0.05, 0.1}, {"c", 0.1, 0.125}, {"d", 0.5, 0.625}, {"e", 0.625, 0.75}}}},
         "1\n00:00:00,000 --> 00:00:00,125\na b c\n\n2\n00:00:00,500 --> 00:00:00,750\nd e\n\n"},
        // Words of the second segment only (a second list for it is ignored); its last word runs
        // past the segment's end, within 1 s, and 4/3 text words per spoken word add up to 4.
        {"word-timed cards sit on the edit's clock and end at the segment",
         {seg(50, 54, "a.wav", "x y z"), seg(10, 11, "a.wav", "p q r s")},
         {{1, {{"p", 0.25, 0.5}, {"q", 0.5, 0.75}, {"r", 0.75, 1.75}}}, {1, {{"ignored", 0, 0.1}}}},
         "1\n00:00:00,300 --> 00:00:04,000\nx y z\n\n2\n00:00:04,250 --> 00:00:05,000\np q r s\n\n"},
        {"even timing of 20 s and 40 words",
         {seg(30, 50, "a.wav", numberedWords(40))},
         {},
         "1\n00:00:00,300 --> 00:00:04,099\nw1 w2 w3 w4 w5 w6 w7 w8\n\n"
         "2\n00:00:04,299 --> 00:00:08,100\nw9 w10 w11 w12 w13 w14 w15 w16\n\n"
         "3\n00:00:08,300 --> 00:00:12,100\nw17 w18 w19 w20 w21 w22 w23 w24\n\n"
         "4\n00:00:12,300 --> 00:00:16,100\nw25 w26 w27 w28 w29 w30 w31 w32\n\n"
         "5\n00:00:16,300 --> 00:00:20,000\nw33 w34 w35 w36 w37 w38 w39 w40\n\n"},
        {"the words left over by the even layout join its last card, not a card past the segment's end",
         {seg(0, 7, "a.wav", "a b c d e f g")},
         {},
         "1\n00:00:00,300 --> 00:00:03,599\na b c\n\n2\n00:00:03,799 --> 00:00:07,000\nd e f g\n\n"},
        {"no segments give an empty file", {}, {}, ""},
        {"a segment without valid words (all past its end + 1 s) fills its own time",
         {seg(0, 5, "a.wav", "one two three four"), seg(20, 22, "a.wav", "late words here")},
         {{1, {{"late", 0, 3.5}, {"words", 3.5, 4}}}},
         "1\n00:00:00,300 --> 00:00:05,000\none two three four\n\n"
         "2\n00:00:05,000 --> 00:00:07,000\nlate words here\n\n"},
        {"overlapping spoken words: a card starts where the one before ends; a card of no time joins it",
         {seg(0, 4, "a.wav", "a b c d e f g h i j k")},
         {{0,
           {{"a", 0, 0.5},
            {"b", 0.5, 0.5},
            {"c", 0.5, 0.5},
            {"d", 0.5, 0.5},
            {"e", 0.5, 1.5},
            {"f", 1.25, 1.5},
            {"g", 1.5, 1.5},
            {"h", 1.5, 2},
            {"i", 2, 2.5},
            {"j", 2.5, 2.5},
            {"k", 2.5, 2.5}}}},
         "1\n00:00:00,000 --> 00:00:01,500\na b c d e\n\n2\n00:00:01,500 --> 00:00:02,500\nf g h i j k\n\n"},
        {"a segment of no length has no time to show its words; the next keeps its place",
         {seg(3, 3, "a.wav", "nowhere to go"), seg(0, 4, "a.wav", "shown")},
         {},
         "1\n00:00:00,300 --> 00:00:04,000\nshown\n\n"},
        {"an empty word list is even timing; the translation is shown, else the transcript",
         {seg(0, 3.5, "a.wav", "solo transcript here"), seg(0, 0, "a.wav", "", {}, ""),
          seg(0, 3.5, "a.wav", "x", {}, "a  b c")},
         {{0, {}}},
         "1\n00:00:00,300 --> 00:00:03,500\nsolo transcript here\n\n"
         "2\n00:00:03,799 --> 00:00:07,000\na b c\n\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        QString error;
        const auto srt = ExportBundle::subtitlesSrt(story(c.segments), c.words, &error);
        ASSERT_TRUE(srt) << error.toStdString();
        EXPECT_EQ(*srt, c.srt);
        QTemporaryDir dir;
        ASSERT_TRUE(test::writeFile(dir.filePath("subtitles.srt"), srt->toUtf8()));
        EXPECT_EQ(test::ffmpegCueCount(dir.filePath("subtitles.srt")), srt->count(" --> "));
    }
}

TEST(Subtitles, NonFiniteTimesLeaveNoText) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QString error;
    EXPECT_FALSE(ExportBundle::subtitlesSrt(story({seg(0, 1, "a.wav", "ok"), seg(0, nan, "a.wav", "bad")}),
                                            {}, &error));
    EXPECT_EQ(error, "segment 2: a segment of nan seconds cannot be divided into cards");
    EXPECT_FALSE(
        ExportBundle::subtitlesSrt(story({seg(0, 1, "a.wav", "a")}), {{0, {{"a", nan, 0.5}}}}, &error));
    EXPECT_EQ(error, "segment 1: the time nan cannot be written");
}

TEST(SaveExports, WritesFourFilesOverAnEarlierRunAndSkipsOneThatCannotBeMade) {
    test::TestHome home;
    FixedClock clock{QDateTime(QDate(2025, 3, 14), QTime(9, 26, 53))};
    std::shared_ptr<LocalPipeline> owner = LocalPipeline::create(home.pipelineEnvironment(&clock));
    LocalPipeline& pipeline = *owner;
    installExportSteps(pipeline.steps());
    const auto save = [&](const QString& timeline, const MiningResults& r) {
        const TranscriptResult transcript{{{0, 4.5, " Hola a todos", "es"}, {3725.9, 3730, "fin ", "es"}},
                                          "es"};
        return pipeline.steps().saveExports(pipeline, timeline, r, transcript, {});
    };
    MiningResults r = story({seg(12.7, 65.2, "a.wav", "hola", QStringLiteral("Beginnings"), "hello"),
                             seg(70, 73.5, "a.wav", "same words", QString(), "same words"),
                             seg(80, 83.5, "a.wav", "sin traducción")});
    r.structure.acts = {{"Opening", {1, 2}}, {"End", {3}}};
    r.structure.totalDuration = r.estimatedDuration = 59.5;
    r.subtitles = {{0, 2, "hello"}};

    // The name becomes one folder inside the exports; the brief keeps the real name.
    const QString dir = save("Show/Day 1", r);
    EXPECT_EQ(dir, home.paths().exportsDir + "/%Show%2FDay 1");
    EXPECT_EQ(QString::fromUtf8(test::readFile(dir + "/transcript.txt")),
              "# Full Transcript\n\n[0:00]  Hola a todos\n[62:05] fin \n");
    const QString date = QLocale::system().toString(clock.now(), QLocale::ShortFormat);
    EXPECT_EQ(QString::fromUtf8(test::readFile(dir + "/story_brief.md")),
              "# Story Brief — Show/Day 1\n\nGenerated by Ondrel on " + date +
                  "\n\n## Structure\n\n### Opening\nSegments: 1, 2\n\n### End\nSegments: 3\n\n## Segments\n\n"
                  "**[0:12 → 1:05]** Beginnings\n> hola\n> _hello_\n\n"
                  "**[1:10 → 1:13]** \n> same words\n\n"
                  "**[1:20 → 1:23]** \n> sin traducción\n> __\n\n");
    const QByteArray json = test::readFile(dir + "/mining_results.json");
    EXPECT_EQ(json, *encodeJson(r));
    EXPECT_EQ(decodeJson<MiningResults>(json), r);
    EXPECT_TRUE(test::readFile(dir + "/subtitles.srt").startsWith("1\n00:00:00,300 --> "));
    EXPECT_EQ(test::ffmpegCueCount(dir + "/subtitles.srt"), 3);

    EXPECT_EQ(save("Show/Day 1", story({})), dir);
    EXPECT_EQ(test::readFile(dir + "/subtitles.srt"), QByteArray());
    EXPECT_EQ(test::ffmpegCueCount(dir + "/subtitles.srt"), 0);
    EXPECT_TRUE(QString::fromUtf8(test::readFile(dir + "/story_brief.md")).endsWith("## Segments\n\n"));
    EXPECT_EQ(QDir(dir).entryList(QDir::Files, QDir::Name),
              QStringList({"mining_results.json", "story_brief.md", "subtitles.srt", "transcript.txt"}));

    r.segments[1].endTime = std::numeric_limits<double>::infinity(); // JSON cannot carry it either
    const QString broken = save("Broken", r);
    EXPECT_EQ(QDir(broken).entryList(QDir::Files), QStringList({"transcript.txt"}));
    // A file where the folder should be: nothing is written, and the folder is still named.
    ASSERT_TRUE(test::writeFile(home.paths().exportsDir + "/Blocked", "not a folder"));
    EXPECT_EQ(save("Blocked", r), home.paths().exportsDir + "/Blocked");
    EXPECT_EQ(test::readFile(home.paths().exportsDir + "/Blocked"), "not a folder");
}

} // namespace
