// The export folder of a run: card timing of the SRT (read back by ffmpeg), the transcript,
// the story brief and the results JSON, written through the pipeline's step.
#include "export/ExportBundle.h"
#include "ExportTestSupport.h"
#include "export/ExportSteps.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace ondrel;
using ondrel::test::Cue;

namespace {

StorySegment segment(double start, double end, QString transcript, QString translation = {},
                     std::optional<QString> chapter = std::nullopt) {
    StorySegment s;
    s.startTime = start;
    s.endTime = end;
    s.sourceClip = QStringLiteral("a.wav");
    s.transcript = std::move(transcript);
    s.translation = std::move(translation);
    s.chapter = std::move(chapter);
    return s;
}

MiningResults story(QList<StorySegment> segments) {
    MiningResults r;
    r.segments = std::move(segments);
    return r;
}

QString numberedWords(int n) {
    QStringList words;
    for (int i = 1; i <= n; ++i)
        words << QStringLiteral("w%1").arg(i);
    return words.join(' ');
}

// Writes the SRT where ffmpeg can read it and checks that it finds the cues we meant, in time order.
void expectFfmpegReads(const QString& srt, QList<Cue> expected) {
    QTemporaryDir dir;
    const QString path = dir.filePath("subtitles.srt");
    ASSERT_TRUE(test::writeFile(path, srt.toUtf8()));
    const auto cues = test::cuesReadByFfmpeg(path);
    ASSERT_TRUE(cues.has_value()) << "ffmpeg could not read:\n" << srt.toStdString();
    std::stable_sort(expected.begin(), expected.end(),
                     [](const Cue& a, const Cue& b) { return a.start < b.start; });
    ASSERT_EQ(cues->size(), expected.size()) << srt.toStdString();
    for (qsizetype i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR((*cues)[i].start, expected[i].start, 1e-6) << "cue " << i;
        EXPECT_NEAR((*cues)[i].duration, expected[i].duration, 1e-6) << "cue " << i;
    }
}

QString srtOf(const MiningResults& r, const QList<WordSegment>& words = {}) {
    QString error;
    const auto srt = ExportBundle::subtitlesSrt(r, words, &error);
    EXPECT_TRUE(srt.has_value()) << error.toStdString();
    return srt.value_or(QString());
}

TEST(Subtitles, WordTimedRatioGivesTwoTextWordsPerSpokenWord) {
    const auto r = story({segment(100, 110, "uno dos tres cuatro cinco", numberedWords(10))});
    const QList<WordSegment> words{{0,
                                    {{"uno", 0, 0.25},
                                     {"dos", 0.375, 0.5},
                                     {"tres", 0.625, 0.75},
                                     {"cuatro", 0.875, 1},
                                     {"cinco", 1.125, 1.25}}}};
    const QString srt = srtOf(r, words);
    EXPECT_EQ(srt, "1\n00:00:00,000 --> 00:00:00,750\nw1 w2 w3 w4 w5 w6\n\n"
                   "2\n00:00:00,875 --> 00:00:01,250\nw7 w8 w9 w10\n\n");
    expectFfmpegReads(srt, {{0, 0.75}, {0.875, 0.375}});
}

TEST(Subtitles, PauseOfExactlyPointThreeDoesNotCloseACard) {
    // 0.5 - 0.2 is exactly 0.3 in binary.
    const auto r = story({segment(0, 5, "a b c d e")});
    const QList<WordSegment> words{
        {0, {{"a", 0, 0.05}, {"b", 0.05, 0.1}, {"c", 0.1, 0.2}, {"d", 0.5, 0.625}, {"e", 0.625, 0.75}}}};
    const QString srt = srtOf(r, words);
    EXPECT_EQ(srt, "1\n00:00:00,000 --> 00:00:00,750\na b c d e\n\n");
    expectFfmpegReads(srt, {{0, 0.75}});

    const QList<WordSegment> longer{
        {0, {{"a", 0, 0.05}, {"b", 0.05, 0.1}, {"c", 0.1, 0.125}, {"d", 0.5, 0.625}, {"e", 0.625, 0.75}}}};
    const QString split = srtOf(r, longer);
    EXPECT_EQ(split, "1\n00:00:00,000 --> 00:00:00,125\na b c\n\n2\n00:00:00,500 --> 00:00:00,750\nd e\n\n");
    expectFfmpegReads(split, {{0, 0.125}, {0.5, 0.25}});
}

TEST(Subtitles, WordTimedCardsSitOnTheEditsClockAndEndAtTheSegment) {
    const auto r = story({segment(50, 54, "x y z"), segment(10, 11, "p q r s")});
    // Words of the second segment only; its last word runs past the segment's end (within 1 s),
    // and 4/3 text words per spoken word add up to exactly 4.
    const QList<WordSegment> words{{1, {{"p", 0.25, 0.5}, {"q", 0.5, 0.75}, {"r", 0.75, 1.75}}},
                                   {1, {{"ignored", 0, 0.1}}}};
    const QString srt = srtOf(r, words);
    EXPECT_EQ(srt, "1\n00:00:00,300 --> 00:00:04,000\nx y z\n\n"
                   "2\n00:00:04,250 --> 00:00:05,000\np q r s\n\n");
    expectFfmpegReads(srt, {{0.3, 3.7}, {4.25, 0.75}});
}

TEST(Subtitles, EvenTimingOfTwentySecondsAndFortyWords) {
    const QString srt = srtOf(story({segment(30, 50, numberedWords(40))}));
    EXPECT_EQ(srt, "1\n00:00:00,300 --> 00:00:04,099\nw1 w2 w3 w4 w5 w6 w7 w8\n\n"
                   "2\n00:00:04,299 --> 00:00:08,100\nw9 w10 w11 w12 w13 w14 w15 w16\n\n"
                   "3\n00:00:08,300 --> 00:00:12,100\nw17 w18 w19 w20 w21 w22 w23 w24\n\n"
                   "4\n00:00:12,300 --> 00:00:16,100\nw25 w26 w27 w28 w29 w30 w31 w32\n\n"
                   "5\n00:00:16,300 --> 00:00:20,000\nw33 w34 w35 w36 w37 w38 w39 w40\n\n");
    expectFfmpegReads(srt, {{0.3, 3.799}, {4.299, 3.801}, {8.3, 3.8}, {12.3, 3.8}, {16.3, 3.7}});
}

TEST(Subtitles, EvenTimingLeftoverCardMayRunBackToTheSegmentEnd) {
    const QString srt = srtOf(story({segment(0, 7, "a b c d e f g")}));
    EXPECT_EQ(srt, "1\n00:00:00,300 --> 00:00:03,599\na b c\n\n"
                   "2\n00:00:03,799 --> 00:00:07,000\nd e f\n\n"
                   "3\n00:00:07,299 --> 00:00:07,000\ng\n\n");
    expectFfmpegReads(srt, {{0.3, 3.299}, {3.799, 3.201}, {7.299, -0.299}});
}

TEST(Subtitles, NoSegmentsGiveAnEmptyFile) {
    const QString srt = srtOf(story({}));
    EXPECT_EQ(srt, "");
    expectFfmpegReads(srt, {});
}

TEST(Subtitles, SegmentWithoutValidWordsStartsAtZeroOfTheFile) {
    const auto r = story({segment(0, 5, "one two three four"), segment(20, 22, "late words here")});
    const QList<WordSegment> words{{1, {{"late", 0, 3.5}, {"words", 3.5, 4}}}}; // all past 2 + 1 s
    const QString srt = srtOf(r, words);
    EXPECT_EQ(srt, "1\n00:00:00,300 --> 00:00:05,000\none two three four\n\n"
                   "2\n00:00:00,000 --> 00:00:07,000\nlate words here\n\n");
    expectFfmpegReads(srt, {{0.3, 4.7}, {0, 7}});
}

TEST(Subtitles, EmptyWordListAndTextChoice) {
    // No translation: the transcript is shown. An empty word list falls back to even timing.
    const auto r = story(
        {segment(0, 3.5, "solo transcript here"), segment(0, 0, "", ""), segment(0, 3.5, "x", "a  b c")});
    const QString srt = srtOf(r, {{0, {}}});
    EXPECT_EQ(srt, "1\n00:00:00,300 --> 00:00:03,500\nsolo transcript here\n\n"
                   "2\n00:00:03,799 --> 00:00:07,000\na b c\n\n");
    expectFfmpegReads(srt, {{0.3, 3.2}, {3.799, 3.201}});
}

TEST(Subtitles, NonFiniteTimesLeaveNoText) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QString error;
    EXPECT_FALSE(
        ExportBundle::subtitlesSrt(story({segment(0, 1, "ok"), segment(0, nan, "bad")}), {}, &error));
    EXPECT_EQ(error, "segment 2: a segment of nan seconds cannot be divided into cards");
    const QList<WordSegment> words{{0, {{"a", nan, 0.5}}}};
    EXPECT_FALSE(ExportBundle::subtitlesSrt(story({segment(0, 1, "a")}), words, &error));
    EXPECT_EQ(error, "segment 1: the time nan cannot be written");
    EXPECT_FALSE(ExportBundle::subtitlesSrt(story({segment(0, 1e300, "a b c")}), {}, &error));
}

class SaveExports : public ::testing::Test {
protected:
    SaveExports()
        : clock(QDateTime(QDate(2025, 3, 14), QTime(9, 26, 53)))
        , pipeline(home.pipelineEnvironment(&clock)) {
        installExportSteps(pipeline.steps());
    }

    QString save(const QString& timeline, const MiningResults& r, const QList<WordSegment>& words = {}) {
        return pipeline.steps().saveExports(pipeline, timeline, r, transcript, words);
    }

    test::TestHome home;
    FixedClock clock;
    LocalPipeline pipeline;
    TranscriptResult transcript{{{0, 4.5, " Hola a todos", "es"}, {3725.9, 3730, "fin ", "es"}}, "es"};
};

MiningResults fullStory() {
    MiningResults r;
    r.segments = {segment(12.7, 65.2, "hola", "hello", QStringLiteral("Beginnings")),
                  segment(70, 73.5, "same words", "same words", QString()),
                  segment(80, 83.5, "sin traducción")};
    r.structure.acts = {{"Opening", {1, 2}}, {"End", {3}}};
    r.structure.totalDuration = 59.5;
    r.subtitles = {{0, 2, "hello"}};
    r.estimatedDuration = 59.5;
    return r;
}

TEST_F(SaveExports, WritesTheFourFilesIntoTheTimelinesFolder) {
    const MiningResults r = fullStory();
    const QString dir = save("Day 1", r);
    EXPECT_EQ(dir, home.paths().exportsDir + "/Day 1");

    EXPECT_EQ(QString::fromUtf8(test::readFile(dir + "/transcript.txt")),
              "# Full Transcript\n\n[0:00]  Hola a todos\n[62:05] fin \n");

    const QString date = QLocale::system().toString(clock.now(), QLocale::ShortFormat);
    EXPECT_EQ(QString::fromUtf8(test::readFile(dir + "/story_brief.md")),
              "# Story Brief — Day 1\n\nGenerated by Ondrel on " + date +
                  "\n\n## Structure\n\n### Opening\nSegments: 1, 2\n\n### End\nSegments: 3\n\n## Segments\n\n"
                  "**[0:12 → 1:05]** Beginnings\n> hola\n> _hello_\n\n"
                  "**[1:10 → 1:13]** \n> same words\n\n"
                  "**[1:20 → 1:23]** \n> sin traducción\n> __\n\n");

    const QByteArray json = test::readFile(dir + "/mining_results.json");
    EXPECT_EQ(json, *encodeJson(r));
    EXPECT_EQ(decodeJson<MiningResults>(json), r);

    const QString srt = QString::fromUtf8(test::readFile(dir + "/subtitles.srt"));
    EXPECT_TRUE(srt.startsWith("1\n00:00:00,300 --> "));
    const auto cues = test::cuesReadByFfmpeg(dir + "/subtitles.srt");
    ASSERT_TRUE(cues.has_value());
    EXPECT_EQ(cues->size(), srt.count(" --> "));
    EXPECT_EQ(cues->size(), 3);
}

TEST_F(SaveExports, ASecondRunOverwritesAndASlashNests) {
    const QString dir = save("Show/Ep 1", fullStory());
    EXPECT_EQ(dir, home.paths().exportsDir + "/Show/Ep 1");
    EXPECT_TRUE(QFileInfo(home.paths().exportsDir + "/Show").isDir());

    const QString again = save("Show/Ep 1", story({}));
    EXPECT_EQ(again, dir);
    EXPECT_EQ(test::readFile(dir + "/subtitles.srt"), QByteArray());
    EXPECT_EQ(test::cuesReadByFfmpeg(dir + "/subtitles.srt")->size(), 0);
    EXPECT_TRUE(QString::fromUtf8(test::readFile(dir + "/story_brief.md")).endsWith("## Segments\n\n"));
    EXPECT_EQ(QDir(dir).entryList(QDir::Files, QDir::Name),
              QStringList({"mining_results.json", "story_brief.md", "subtitles.srt", "transcript.txt"}));
}

TEST_F(SaveExports, AFileThatCannotBeMadeIsSkippedAndTheRestStillAppear) {
    MiningResults r = fullStory();
    r.segments[1].endTime = std::numeric_limits<double>::infinity();
    const QString dir = save("Broken", r);
    EXPECT_FALSE(QFile::exists(dir + "/subtitles.srt"));
    EXPECT_FALSE(QFile::exists(dir + "/story_brief.md"));
    EXPECT_FALSE(QFile::exists(dir + "/mining_results.json")); // JSON cannot carry an infinity
    EXPECT_TRUE(QFile::exists(dir + "/transcript.txt"));
}

TEST_F(SaveExports, AnUnwritableFolderStillGivesItsPath) {
    ASSERT_TRUE(test::writeFile(home.paths().exportsDir + "/Blocked", "a file where the folder should be"));
    EXPECT_EQ(save("Blocked", fullStory()), home.paths().exportsDir + "/Blocked");
    EXPECT_EQ(test::readFile(home.paths().exportsDir + "/Blocked"), "a file where the folder should be");
}

} // namespace
