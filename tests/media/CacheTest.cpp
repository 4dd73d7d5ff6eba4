// What outlives a run: the per-launch transcript cache, the older tool's cache, saved projects.
#include "MediaFixtures.h"
#include "media/MediaSteps.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QDateTime kNow = QDateTime::fromMSecsSinceEpoch(1700000000500, Qt::UTC);

class Caches : public ::testing::Test {
protected:
    TestHome home;
    FixedClock clock{kNow};
    std::unique_ptr<LocalPipeline> pipeline = make();

    std::unique_ptr<LocalPipeline> make() {
        auto p = std::make_unique<LocalPipeline>(home.pipelineEnvironment(&clock));
        installMediaSteps(p->steps());
        return p;
    }
    QString legacy(const QString& rel) const { return home.path() + "/.talequarry/" + rel; }
};

TranscriptResult sample() {
    return {{{0, 1.5, "hola", "spanish"}, {1.5, 3, "qué tal", "english"}}, "spanish"};
}

// ---- the key ---------------------------------------------------------------------------------

TEST(CacheKey, TheSameFilesInAnyOrderShareOneKey) {
    const QStringList a{"/m/b.wav", "/m/a.wav", "/m/c.mov"};
    const QStringList b{"/m/c.mov", "/m/b.wav", "/m/a.wav"};
    EXPECT_EQ(transcriptCacheKey(a), transcriptCacheKey(b));
    EXPECT_NE(transcriptCacheKey(a), transcriptCacheKey({"/m/a.wav", "/m/b.wav"}));
    EXPECT_TRUE(QRegularExpression("^-?[0-9a-f]+$").match(transcriptCacheKey(a)).hasMatch())
        << transcriptCacheKey(a).toStdString();
}

// Run by the next test in child processes: prints the key of one fixed set of files.
TEST(CacheKey, DISABLED_PrintKey) {
    printf("KEY=%s\n", qPrintable(transcriptCacheKey({"/m/a.wav", "/m/b.wav"})));
}

QString keyFromAnotherProcess() {
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("QT_HASH_SEED");
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(),
                {"--gtest_also_run_disabled_tests", "--gtest_filter=CacheKey.DISABLED_PrintKey"});
    child.waitForFinished(-1);
    const auto match =
        QRegularExpression("KEY=(\\S+)").match(QString::fromUtf8(child.readAllStandardOutput()));
    return match.hasMatch() ? match.captured(1) : QString();
}

TEST(CacheKey, EachLaunchHasItsOwnKey) {
    const QString first = keyFromAnotherProcess();
    const QString second = keyFromAnotherProcess();
    ASSERT_FALSE(first.isEmpty());
    EXPECT_NE(first, second);
}

// ---- transcript cache ------------------------------------------------------------------------

TEST_F(Caches, ASavedTranscriptLoadsForTheSameFilesInAnotherOrder) {
    saveTranscriptCache(*pipeline, sample(), {"/m/b.wav", "/m/a.wav"});
    const QString file = transcriptCacheDir(home.paths(), {"/m/a.wav", "/m/b.wav"}) + "/transcript.json";
    EXPECT_EQ(readFile(file),
              R"({"language":"spanish","segments":[{"start":0.0,"end":1.5,"text":"hola"},)"
              R"({"start":1.5,"end":3.0,"text":"qué tal"}],"mediaPaths":["/m/b.wav","/m/a.wav"],)"
              R"("createdAt":1700000000.5})");
    const auto loaded = loadCachedTranscript(*pipeline, {"/m/a.wav", "/m/b.wav"});
    ASSERT_TRUE(loaded);
    // Every segment takes the file's one language.
    EXPECT_EQ(*loaded,
              (TranscriptResult{{{0, 1.5, "hola", "spanish"}, {1.5, 3, "qué tal", "spanish"}}, "spanish"}));
    EXPECT_TRUE(pipeline->logs().isEmpty());
    EXPECT_FALSE(loadCachedTranscript(*pipeline, {"/m/a.wav"}));
}

TEST_F(Caches, ACorruptTranscriptFallsBackToTheOlderToolsFolder) {
    const QStringList paths{"/m/A001.wav"};
    const QString file = transcriptCacheDir(home.paths(), paths) + "/transcript.json";
    writeFile(legacy("Old/chunks/A001_wav_000.json"), R"({"segments":[{"start":2,"end":3,"text":"viejo"}]})");
    for (const QByteArray& bad : {QByteArray("{\"language\":\"es\",\"segments\":[]"),
                                  QByteArray(R"({"language":"es","segments":[],"mediaPaths":[]})"),
                                  QByteArray(R"({"language":"es","segments":[{"start":0,"end":1}],)"
                                             R"("mediaPaths":[],"createdAt":1})")}) {
        writeFile(file, bad);
        const auto loaded = loadCachedTranscript(*pipeline, paths);
        ASSERT_TRUE(loaded) << bad.toStdString();
        EXPECT_EQ(*loaded, (TranscriptResult{{{2, 3, "viejo", "es"}}, "es"}));
    }
}

struct LegacyCase {
    const char* name;
    QStringList media;
    QList<std::pair<const char*, QByteArray>> files; // relative to ~/.talequarry
    std::optional<TranscriptResult> expected;
    const char* logged;
};

TEST_F(Caches, OlderToolsCacheIsFoundByNameAndReadTolerantly) {
    const QByteArray one =
        R"({"segments":[{"start":10,"end":12,"text":"b"},{"start":1,"end":2,"text":"a"}]})";
    const LegacyCase cases[] = {
        {"stem with dots as underscores",
         {"/m/interview.take.wav"},
         {{"P1/chunks/interview_take_wav_chunk_000.json", one}},
         TranscriptResult{{{1, 2, "a", "es"}, {10, 12, "b", "es"}}, "es"},
         "  Found cached transcripts in ~/.talequarry/P1/"},
        {"name less .WAV with dashes as underscores",
         {"/m/A001-C002.WAV"},
         {{"P2/chunks/A001_C002_003.json", one}},
         TranscriptResult{{{1, 2, "a", "es"}, {10, 12, "b", "es"}}, "es"},
         "  Found cached transcripts in ~/.talequarry/P2/"},
        {"unreadable files pass, segments of all files sorted by start",
         {"/m/x.wav"},
         {{"P/chunks/x_wav_0.json", R"({"segments":[{"start":5,"text":"late"},{"end":"9"},3]})"},
          {"P/chunks/x_wav_1.json", "{broken"},
          {"P/chunks/x_wav_2.json", R"({"segments":{}})"},
          {"P/chunks/x_wav_3.json", R"([1,2])"},
          {"P/chunks/x_wav_4.json", R"({"segments":[{"start":0.5,"end":1,"text":"early"}]})"},
          {"P/chunks/x_wav_5.txt", R"({"segments":[{"start":0,"end":1,"text":"not json by name"}]})"}},
         TranscriptResult{{{0, 0, "", "es"}, {0.5, 1, "early", "es"}, {5, 0, "late", "es"}}, "es"},
         "  Found cached transcripts in ~/.talequarry/P/"},
        {"first matching project that gives segments, in name order",
         {"/m/y.wav"},
         {{"a/chunks/other.json", one},
          {"b/chunks/y_wav.json", R"({"segments":[]})"},
          {"c/chunks/y_wav.json", R"({"segments":[{"start":7,"end":8,"text":"c"}]})"},
          {"d/chunks/y_wav.json", one},
          {"e.json", one}},
         TranscriptResult{{{7, 8, "c", "es"}}, "es"},
         nullptr},
        {"nothing matches",
         {"/m/z.wav"},
         {{"a/chunks/other.json", one}, {"b/notchunks/z_wav.json", one}},
         std::nullopt,
         nullptr},
    };
    for (const auto& c : cases) {
        TestHome fresh;
        FixedClock fixed(kNow);
        LocalPipeline p(fresh.pipelineEnvironment(&fixed));
        for (const auto& [rel, bytes] : c.files)
            writeFile(fresh.path() + "/.talequarry/" + rel, bytes);
        EXPECT_EQ(loadLegacyTaleQuarryCache(p, c.media), c.expected) << c.name;
        if (c.logged) {
            EXPECT_EQ(logLines(p), (QList<LogLine>{{c.logged, "dim"}})) << c.name;
        }
    }
    // The "first" case logs every project it opened until one gave segments.
    TestHome none;
    LocalPipeline p(none.pipelineEnvironment());
    EXPECT_FALSE(loadLegacyTaleQuarryCache(p, {"/m/a.wav"})) << "no ~/.talequarry at all";
}

// ---- saved projects --------------------------------------------------------------------------

MiningResults story() {
    MiningResults r;
    r.segments = {{1, 0, 1.5, "a.wav", "hola", "hello", QStringLiteral("Start")}};
    r.structure.acts = {{"Start", {1}}};
    r.estimatedDuration = 1.5;
    return r;
}

TEST_F(Caches, AProjectKeepsTheTranscriptTheStoryAndTheChoices) {
    pipeline->setResults(story());
    saveProject(*pipeline, "Cut 1", sample(), {"/m/a.wav", "/m/b.wav"}, QStringLiteral("documentary"), 12);
    const QByteArray bytes = readFile(home.paths().exportsDir + "/Cut 1/project.json");
    EXPECT_FALSE(bytes.contains('\n')) << "compact";
    const auto project = decodeJson<SavedProject>(bytes);
    ASSERT_TRUE(project);
    EXPECT_EQ(project->timeline, "Cut 1");
    EXPECT_EQ(project->createdAt, 1700000000.5);
    EXPECT_EQ(project->id(), "Cut 1_1700000000");
    EXPECT_EQ(project->language, "spanish");
    EXPECT_EQ(project->mediaPaths, (QStringList{"/m/a.wav", "/m/b.wav"}));
    EXPECT_EQ(project->transcript, (QList<CachedSegment>{{0, 1.5, "hola"}, {1.5, 3, "qué tal"}}));
    EXPECT_EQ(project->results, story());
    EXPECT_EQ(project->presetId, QStringLiteral("documentary"));
    EXPECT_EQ(project->targetMinutes, 12);

    // A re-mine loads it back as the transcript it was.
    const TranscriptResult back = LocalPipeline::loadProject(*project);
    EXPECT_EQ(back,
              (TranscriptResult{{{0, 1.5, "hola", "spanish"}, {1.5, 3, "qué tal", "spanish"}}, "spanish"}));
}

TEST_F(Caches, ATimelineNameWithASlashMakesDeeperFolders) {
    saveProject(*pipeline, "Day 1/Cut A", sample(), {"/m/a.wav"}, std::nullopt, 5);
    EXPECT_TRUE(QFile::exists(home.paths().exportsDir + "/Day 1/Cut A/project.json"));
    EXPECT_TRUE(listProjects(home.paths()).isEmpty()) << "only one level is listed";
}

TEST_F(Caches, ProjectsListNewestFirstAndSkipWhatDoesNotDecode) {
    const QString dir = home.paths().exportsDir;
    auto save = [&](const QString& name, qint64 msecs) {
        clock.set(QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC));
        saveProject(*pipeline, name, sample(), {"/m/a.wav"}, std::nullopt, 10);
    };
    save("Old", 1600000000000);
    save("New", 1700000000000);
    save("Middle", 1650000000000);
    writeFile(dir + "/Broken/project.json", "{\"timeline\":");
    writeFile(
        dir + "/NoTarget/project.json",
        R"({"timeline":"NoTarget","createdAt":1800000000,"language":"es","mediaPaths":[],"transcript":[]})");
    writeFile(dir + "/Bare/project.json", R"({"timeline":"Bare","createdAt":1750000000,"language":"es",)"
                                          R"("mediaPaths":[],"transcript":[],"targetMinutes":3})");
    writeFile(dir + "/stray.txt", "x");
    QDir().mkpath(dir + "/Empty");

    QStringList names;
    const QList<SavedProject> projects = listProjects(home.paths());
    for (const auto& p : projects)
        names << p.timeline;
    EXPECT_EQ(names, (QStringList{"Bare", "New", "Middle", "Old"}));
    EXPECT_FALSE(projects.front().results) << "a project without results decodes with none";
    EXPECT_EQ(projectsDir(home.paths()), dir);

    TestHome empty;
    EXPECT_TRUE(listProjects(empty.paths()).isEmpty());
}

ino_t inode(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

TEST_F(Caches, WritesReplaceFilesWholeAndLeaveNothingBehind) {
    const QString project = home.paths().exportsDir + "/Cut 1/project.json";
    const QString transcript = transcriptCacheDir(home.paths(), {"/m/a.wav"}) + "/transcript.json";
    saveProject(*pipeline, "Cut 1", sample(), {"/m/a.wav"}, std::nullopt, 10);
    saveTranscriptCache(*pipeline, sample(), {"/m/a.wav"});
    const ino_t before[] = {inode(project), inode(transcript)};
    ASSERT_NE(before[0], 0u);
    ASSERT_NE(before[1], 0u);

    // A reader holding the old file keeps reading the old file: the new one is renamed into place.
    saveProject(*pipeline, "Cut 1", {{}, "en"}, {"/m/a.wav"}, std::nullopt, 3);
    saveTranscriptCache(*pipeline, {{}, "en"}, {"/m/a.wav"});
    EXPECT_NE(inode(project), before[0]);
    EXPECT_NE(inode(transcript), before[1]);
    EXPECT_EQ(QDir(QFileInfo(project).path()).entryList(QDir::Files | QDir::Hidden),
              QStringList{"project.json"});
    EXPECT_EQ(QDir(QFileInfo(transcript).path()).entryList(QDir::Files | QDir::Hidden),
              QStringList{"transcript.json"});
    EXPECT_EQ(decodeJson<SavedProject>(readFile(project))->targetMinutes, 3);
}

TEST_F(Caches, AnUnwritableFolderIsSilentlyLeftAlone) {
    // A file where the folder should be: nothing can be made, and nothing is said.
    writeFile(home.paths().exportsDir + "/Cut 1", "in the way");
    writeFile(home.paths().transcriptsDir(), "in the way");
    saveProject(*pipeline, "Cut 1", sample(), {"/m/a.wav"}, std::nullopt, 10);
    saveTranscriptCache(*pipeline, sample(), {"/m/a.wav"});
    EXPECT_TRUE(pipeline->logs().isEmpty());
    EXPECT_EQ(readFile(home.paths().exportsDir + "/Cut 1"), "in the way");
}

} // namespace
