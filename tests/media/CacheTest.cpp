// What outlives a run: the per-launch transcript cache, the older tool's cache, saved projects.
#include "MediaFixtures.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <sys/stat.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const TranscriptResult kSample{{{0, 1.5, "hola", "spanish"}, {1.5, 3, "qué tal", "english"}}, "spanish"};
// As it loads back: every segment takes the one language.
const TranscriptResult kLoaded{{{0, 1.5, "hola", "spanish"}, {1.5, 3, "qué tal", "spanish"}}, "spanish"};

ino_t inode(const QString& path) {
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

// Writes are atomic: a reader holding the old file keeps it, the new one is renamed into place.
void expectReplacedWhole(const QString& file, ino_t before) {
    EXPECT_NE(before, 0u);
    EXPECT_NE(inode(file), before) << file.toStdString();
    EXPECT_EQ(QFileInfo(file).dir().entryList(QDir::Files | QDir::Hidden),
              QStringList{QFileInfo(file).fileName()});
}

class Caches : public MediaTest {
protected:
    FixedClock clock{QDateTime::fromMSecsSinceEpoch(1700000000500, Qt::UTC)};
    Caches() { pipeline = mediaPipeline(home, {}, &clock); }
};

// Run by the next test in child processes: prints the key of one fixed set of files.
TEST(CacheKey, DISABLED_PrintKey) {
    printf("KEY=%s\n", qPrintable(transcriptCacheKey({"/m/a.wav", "/m/b.wav"})));
}

TEST(CacheKey, OneKeyForTheSameFilesInAProcessAndAnotherInTheNext) {
    EXPECT_EQ(transcriptCacheKey({"/m/b.wav", "/m/a.wav", "/m/c.mov"}),
              transcriptCacheKey({"/m/c.mov", "/m/b.wav", "/m/a.wav"}));
    EXPECT_NE(transcriptCacheKey({"/m/a.wav", "/m/b.wav"}), transcriptCacheKey({"/m/a.wav"}));
    QStringList keys;
    for (int i = 0; i < 2; ++i) {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("QT_HASH_SEED");
        child.setProcessEnvironment(env);
        child.start(QCoreApplication::applicationFilePath(),
                    {"--gtest_also_run_disabled_tests", "--gtest_filter=CacheKey.DISABLED_PrintKey"});
        child.waitForFinished(-1);
        keys << QRegularExpression("KEY=(-?[0-9a-f]+)\n").match(child.readAllStandardOutput()).captured(1);
    }
    ASSERT_FALSE(keys[0].isEmpty());
    EXPECT_NE(keys[0], keys[1]);
}

TEST_F(Caches, ASavedTranscriptLoadsForTheSameFilesInAnotherOrder) {
    const QString file = transcriptCacheDir(home.paths(), {"/m/a.wav", "/m/b.wav"}) + "/transcript.json";
    saveTranscriptCache(*pipeline, kSample, {"/m/b.wav", "/m/a.wav"});
    EXPECT_EQ(readFile(file),
              R"({"language":"spanish","segments":[{"start":0.0,"end":1.5,"text":"hola"},)"
              R"({"start":1.5,"end":3.0,"text":"qué tal"}],"mediaPaths":["/m/b.wav","/m/a.wav"],)"
              R"("createdAt":1700000000.5})");
    EXPECT_EQ(loadCachedTranscript(*pipeline, {"/m/a.wav", "/m/b.wav"}), kLoaded);
    EXPECT_FALSE(loadCachedTranscript(*pipeline, {"/m/a.wav"}));
    EXPECT_TRUE(pipeline->logs().isEmpty());
    const ino_t before = inode(file);
    saveTranscriptCache(*pipeline, {{}, "en"}, {"/m/a.wav", "/m/b.wav"});
    expectReplacedWhole(file, before);
}

TEST_F(Caches, ACorruptTranscriptFallsBackToTheOlderToolsCacheFoundByName) {
    writeFile(home.path() + "/.talequarry/P1/chunks/interview_take_wav_chunk_000.json",
              R"({"segments":[{"start":10,"end":12,"text":"b"},{"start":1,"end":2,"text":"a"}]})");
    writeFile(home.path() + "/.talequarry/P2/chunks/A001_C002_003.json",
              R"({"segments":[{"start":2,"end":3,"text":"viejo"}]})");
    writeFile(home.path() + "/.talequarry/P3/notchunks/z_wav.json", R"({"segments":[{"start":0,"end":1}]})");
    const struct {
        QString media;
        const char* corrupt;
        std::optional<TranscriptResult> expected;
        const char* found;
    } cases[] = {
        // The stem with dots as underscores, segments sorted by start.
        {"/m/interview.take.wav", R"({"language":"es","segments":[])",
         TranscriptResult{{{1, 2, "a", "es"}, {10, 12, "b", "es"}}, "es"}, "P1"},
        // The name less .WAV with dashes as underscores.
        {"/m/A001-C002.WAV",
         R"({"language":"es","segments":[{"start":0,"end":1}],"mediaPaths":[],"createdAt":1})",
         TranscriptResult{{{2, 3, "viejo", "es"}}, "es"}, "P2"},
        {"/m/z.wav", "", std::nullopt, nullptr},
    };
    for (const auto& c : cases) {
        writeFile(transcriptCacheDir(home.paths(), {c.media}) + "/transcript.json", c.corrupt);
        auto p = mediaPipeline(home);
        EXPECT_EQ(loadCachedTranscript(*p, {c.media}), c.expected) << c.media.toStdString();
        QList<LogLine> found;
        if (c.found)
            found << LogLine{QStringLiteral("  Found cached transcripts in ~/.talequarry/%1/").arg(c.found),
                             "dim"};
        EXPECT_EQ(logLines(*p), found) << c.media.toStdString();
    }
}

TEST_F(Caches, ProjectsListNewestFirstAndSkipWhatDoesNotDecode) {
    const QString dir = home.paths().exportsDir;
    MiningResults story;
    story.segments = {{1, 0, 1.5, "a.wav", "hola", "hello", QStringLiteral("Start")}};
    story.structure.acts = {{"Start", {1}}};
    for (const auto& [name, msecs] :
         {std::pair{"Old", 1600000000000}, {"New", 1700000000500}, {"Mid", 1650000000000}}) {
        clock.set(QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC));
        saveProject(*pipeline, name, kSample, {"/m/a.wav"}, story, QStringLiteral("documentary"), 12);
    }
    EXPECT_FALSE(readFile(dir + "/New/project.json").contains('\n')) << "compact";
    writeFile(dir + "/Broken/project.json", "{\"timeline\":");
    writeFile(
        dir + "/NoTarget/project.json",
        R"({"timeline":"NoTarget","createdAt":1800000000,"language":"es","mediaPaths":[],"transcript":[]})");
    writeFile(dir + "/Bare/project.json", R"({"timeline":"Bare","createdAt":1750000000,"language":"es",)"
                                          R"("mediaPaths":[],"transcript":[],"targetMinutes":3})");
    writeFile(dir + "/Far/project.json", R"({"timeline":"Far","createdAt":1e300,"language":"es",)"
                                         R"("mediaPaths":[],"transcript":[],"targetMinutes":3})");
    writeFile(dir + "/stray.txt", "x");
    QDir().mkpath(dir + "/Empty");

    const QList<SavedProject> projects = listProjects(home.paths());
    QStringList names;
    for (const auto& p : projects)
        names << p.timeline;
    ASSERT_EQ(names, (QStringList{"Far", "Bare", "New", "Mid", "Old"}));
    // A time past any 64-bit count still names its project, digit for digit.
    EXPECT_TRUE(projects[0].id().startsWith("Far_1000000000000000052504760255204420248704468"));
    EXPECT_EQ(projects[0].id().size(), 4 + 301);
    EXPECT_FALSE(projects[1].results) << "a project without results decodes with none";
    const SavedProject& p = projects[2];
    EXPECT_EQ(std::tuple(p.id(), p.createdAt, p.language, p.mediaPaths, p.presetId, p.targetMinutes),
              std::tuple(QString("New_1700000000"), 1700000000.5, QString("spanish"), QStringList{"/m/a.wav"},
                         std::optional<QString>("documentary"), 12.0));
    EXPECT_EQ(p.results, story);
    EXPECT_EQ(LocalPipeline::loadProject(p), kLoaded);

    const ino_t before = inode(dir + "/New/project.json");
    // A transcript saved before its analysis keeps the story the project had, with its target,
    // never whatever the pipeline shows; a project without one stays without.
    MiningResults shown = story;
    shown.segments.clear();
    pipeline->setResults(shown);
    saveProject(*pipeline, "New", {{}, "en"}, {"/m/a.wav"}, std::nullopt, std::nullopt, 3);
    expectReplacedWhole(dir + "/New/project.json", before);
    const auto replaced = decodeJson<SavedProject>(readFile(dir + "/New/project.json"));
    EXPECT_EQ(std::tuple(replaced->targetMinutes, replaced->results, replaced->language),
              std::tuple(12.0, std::optional(story), QString("en")));
    saveProject(*pipeline, "Fresh", {{}, "en"}, {"/m/a.wav"}, std::nullopt, std::nullopt, 3);
    const auto fresh = decodeJson<SavedProject>(readFile(dir + "/Fresh/project.json"));
    EXPECT_EQ(std::tuple(fresh->targetMinutes, fresh->results),
              std::tuple(3.0, std::optional<MiningResults>()));
}

// The cache and the project are written a segment at a time, yet read byte for byte as one tree
// of the whole record would write them, whatever the texts and names hold; a segment no JSON can
// carry writes nothing, as before.
TEST_F(Caches, TranscriptsAreWrittenAsTheWholeRecordWouldWriteThem) {
    const QString tricky = QStringLiteral(R"(a "transcript":[] b \ ñ 🎙 "segments":[])");
    MiningResults story;
    story.segments = {{1, 0, 1.5, "a.wav", tricky, "x", std::nullopt}};
    const struct {
        const char* name;
        TranscriptResult transcript;
        QString timeline;
        bool written;
    } cases[] = {
        {"plain", kSample, "Day 1", true},
        {"none", {{}, "es"}, "Day 2", true},
        {"texts and names that read like the list",
         {{{0, 1, tricky, "es"}, {1, 2.25, "\n\t", "es"}}, "es"},
         tricky,
         true},
        {"a time no JSON carries", {{{0, std::nan(""), "x", "es"}}, "es"}, "Day 3", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QList<CachedSegment> segments;
        for (const TranscriptSegment& s : c.transcript.segments)
            segments.push_back({s.start, s.end, s.text});
        const QStringList media{"/m/" + c.timeline + ".wav"};

        saveTranscriptCache(*pipeline, c.transcript, media);
        CachedTranscript cached{c.transcript.language, segments, media, 1700000000.5};
        const QString cacheFile = transcriptCacheDir(home.paths(), media) + "/transcript.json";
        EXPECT_EQ(QFileInfo::exists(cacheFile), c.written);
        if (c.written) {
            EXPECT_EQ(readFile(cacheFile), *encodeJson(cached));
        }

        saveProject(*pipeline, c.timeline, c.transcript, media, story, QStringLiteral("p"), 60);
        SavedProject project;
        project.timeline = c.timeline;
        project.createdAt = 1700000000.5;
        project.language = c.transcript.language;
        project.mediaPaths = media;
        project.transcript = segments;
        project.results = story;
        project.presetId = QStringLiteral("p");
        project.targetMinutes = 60;
        const QString projectFile = home.paths().exportDirFor(c.timeline) + "/project.json";
        EXPECT_EQ(QFileInfo::exists(projectFile), c.written);
        if (c.written) {
            EXPECT_EQ(readFile(projectFile), *encodeJson(project));
        }
    }
}

} // namespace
