// Moments to source files: the layout from the probe cache or from ffprobe, and segments.json.
#include "AnalysisTestSupport.h"

#include "analysis/SourceClips.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <cmath>

using namespace ondrel;
using namespace ondrel::test;

namespace {

QByteArray probeEntry(double duration, std::optional<double> timecode) {
    Json e = Json::object();
    e["duration"] = duration;
    e["startTimecodeSeconds"] = timecode ? Json(*timecode) : Json(nullptr);
    return QByteArray::fromStdString(e.dump());
}

MiningResults storyAt(const QList<double>& starts) {
    MiningResults r;
    qint64 i = 0;
    for (double s : starts)
        r.segments.push_back({i++, s, s + 5, "source", "t", "u", std::nullopt});
    r.structure = {{{"Act", {0}}}, 42};
    r.subtitles = {{1, 2, "sub"}};
    r.estimatedDuration = 42;
    return r;
}

QStringList clipsOf(const MiningResults& r) {
    QStringList out;
    for (const auto& s : r.segments)
        out << s.sourceClip;
    return out;
}

// A mono WAV of exactly `seconds`, made by the real ffmpeg.
QString makeWav(const QString& dir, const QString& name, double seconds) {
    const QString path = dir + "/" + name;
    QProcess ffmpeg;
    ffmpeg.start("/usr/bin/ffmpeg", {"-v", "quiet", "-y", "-f", "lavfi", "-i", "anullsrc=r=8000:cl=mono",
                                     "-t", QString::number(seconds), "-c:a", "pcm_u8", path});
    ffmpeg.waitForFinished(-1);
    return path;
}

} // namespace

TEST(SourceClips, LayoutFromTheProbeCache) {
    struct Case {
        const char* name;
        QByteArray cache;
        QStringList paths;
        QList<ClipOffset> expected;
    } cases[] = {
        {"timecode order, whatever the order of the paths",
         "{\"a.mov\":" + probeEntry(100, 10800) + ",\"b.mov\":" + probeEntry(50, 3600) +
             ",\"c.mov\":" + probeEntry(20, 7200) + "}",
         {"/x/a.mov", "/x/b.mov", "/y/c.mov"},
         {{"b.mov", 0, 50}, {"c.mov", 50, 70}, {"a.mov", 70, 170}}},
        {"10.0 s is left out, just over is kept",
         "{\"a.wav\":" + probeEntry(10.0, 0) + ",\"b.wav\":" + probeEntry(10.5, 1) + "}",
         {"/a.wav", "/b.wav"},
         {{"b.wav", 0, 10.5}}},
        {"no timecode sorts at the front",
         "{\"a.wav\":" + probeEntry(30, 100) +
             ",\"b.wav\":{\"duration\":20},\"c.wav\":" + probeEntry(40, std::nullopt) + "}",
         {"/a.wav", "/b.wav", "/c.wav"},
         {{"b.wav", 0, 20}, {"c.wav", 20, 60}, {"a.wav", 60, 90}}},
        {"equal timecodes keep the order of the paths",
         "{\"b.wav\":" + probeEntry(30, 5) + ",\"a.wav\":" + probeEntry(20, 5) + "}",
         {"/b.wav", "/a.wav"},
         {{"b.wav", 0, 30}, {"a.wav", 30, 50}}},
        {"unlisted files, durations that are no numbers and odd entries are skipped",
         "{\"a.wav\":{\"duration\":\"60\"},\"b.wav\":[1],\"c.wav\":" + probeEntry(60, 0) + "}",
         {"/a.wav", "/b.wav", "/c.wav", "/d.wav"},
         {{"c.wav", 0, 60}}},
        {"looked up by file name",
         "{\"a.wav\":" + probeEntry(60, 0) + "}",
         {"/deep/folder/a.wav"},
         {{"a.wav", 0, 60}}},
        {"not JSON", "{\"a.wav\":", {"/a.wav"}, {}},
        {"not an object", "[1,2]", {"/a.wav"}, {}},
        {"no file", "", {"/a.wav"}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(offsetsFromProbeCache(c.cache, c.paths), c.expected);
    }
}

TEST(SourceClips, EachMomentGoesToTheFileItStartsIn) {
    const QList<ClipOffset> offsets{{"a.wav", 0, 60}, {"b.wav", 60, 100}};
    struct Case {
        double start;
        QString clip;
    } cases[] = {
        {0, "a.wav"},
        {59.999, "a.wav"},
        {58, "a.wav"} /* runs over a's end */,
        {60, "b.wav"} /* on the boundary: the next file */,
        {99.9, "b.wav"},
        {100, "source"} /* past the end keeps its clip */,
        {-1, "source"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.start);
        const MiningResults out = applyOffsets(storyAt({c.start}), offsets);
        EXPECT_EQ(out.segments[0].sourceClip, c.clip);
        EXPECT_EQ(out.segments[0].startTime, c.start);
    }
    const MiningResults in = storyAt({1, 70});
    MiningResults out = applyOffsets(in, offsets);
    EXPECT_EQ(out.structure, in.structure);
    EXPECT_EQ(out.subtitles, in.subtitles);
    EXPECT_EQ(out.estimatedDuration, in.estimatedDuration);
}

TEST(SourceClips, MapLineRoundsHalvesAwayFromZero) {
    EXPECT_EQ(sourceClipMap({{"a.mov", 0, 1811.5}, {"b.wav", 1811.5, 1812.49}}),
              "a.mov: 0.0s–1812.0s, b.wav: 1812.0s–1812.0s");
    EXPECT_EQ(sourceClipMap({{"c.wav", 2.5, 3.4}}), "c.wav: 3.0s–3.0s");
}

TEST(SourceClips, ThroughThePipelineWithTheProbeCache) {
    AnalysisRig rig;
    QDir().mkpath(rig.home.paths().cacheDir);
    writeFile(rig.home.paths().cacheDir + "/probe_results.json",
              "{\"b.mov\":" + probeEntry(50, 7200) + ",\"a.mov\":" + probeEntry(30, 3600) + "}");
    const MiningResults out = QCoro::waitFor(
        rig.p().steps().assignSourceClips(rig.p(), storyAt({10, 30, 79.9, 80}), {"/m/b.mov", "/m/a.mov"}));
    EXPECT_EQ(clipsOf(out), QStringList({"a.mov", "b.mov", "b.mov", "source"}));
    EXPECT_EQ(rig.lines(),
              QList<Line>({{"📋 Source clip map: a.mov: 0.0s–30.0s, b.mov: 30.0s–80.0s", "muted"}}));

    rig.p().reset();
    const MiningResults same = QCoro::waitFor(rig.p().steps().assignSourceClips(rig.p(), storyAt({10}), {}));
    EXPECT_EQ(same, storyAt({10}));
    EXPECT_TRUE(rig.lines().isEmpty());
}

TEST(SourceClips, FallsBackOnFfprobeInPathOrder) {
    AnalysisRig rig;
    const QString media = rig.home.path() + "/media";
    QDir().mkpath(media);
    const QString c = makeWav(media, "c.wav", 15);
    const QString a = makeWav(media, "a.wav", 10); // exactly 10 s: left out
    const QString b = makeWav(media, "b.wav", 12);

    // No probe cache at all.
    MiningResults out = QCoro::waitFor(
        rig.p().steps().assignSourceClips(rig.p(), storyAt({0, 11.9, 12, 26.9, 27}), {c, a, b}));
    EXPECT_EQ(clipsOf(out), QStringList({"b.wav", "b.wav", "c.wav", "c.wav", "source"}));
    EXPECT_EQ(rig.lines(),
              QList<Line>({{"📋 Source clip map: b.wav: 0.0s–12.0s, c.wav: 12.0s–27.0s", "muted"}}));

    // A cache whose files are all 10 s or less sends it to ffprobe too, which leaves them out again.
    rig.p().reset();
    QDir().mkpath(rig.home.paths().cacheDir);
    writeFile(rig.home.paths().cacheDir + "/probe_results.json", "{\"a.wav\":" + probeEntry(10, 0) + "}");
    const QString tiny = makeWav(media, "tiny.wav", 3);
    out = QCoro::waitFor(rig.p().steps().assignSourceClips(rig.p(), storyAt({1}), {a, tiny}));
    EXPECT_EQ(out, storyAt({1}));
    EXPECT_TRUE(rig.lines().isEmpty());

    // A file ffprobe cannot read counts as 0 s.
    out = QCoro::waitFor(rig.p().steps().assignSourceClips(rig.p(), storyAt({1}), {media + "/missing.wav"}));
    EXPECT_EQ(out, storyAt({1}));
    EXPECT_TRUE(rig.lines().isEmpty());
}

TEST(SourceClips, AsyncStepMatchesTheSynchronousOne) {
    AnalysisRig rig;
    const QString media = rig.home.path() + "/media";
    QDir().mkpath(media);
    const QString a = makeWav(media, "a.wav", 11);
    const MiningResults out = QCoro::waitFor(assignSourceClipsTask(rig.p(), storyAt({0, 11}), {a}));
    EXPECT_EQ(clipsOf(out), QStringList({"a.wav", "source"}));
    EXPECT_EQ(rig.texts(), QStringList({"📋 Source clip map: a.wav: 0.0s–11.0s"}));
}

TEST(SegmentsFile, SevenSortedKeysAndChapterNull) {
    AnalysisRig rig;
    QDir().mkpath(rig.home.paths().cacheDir);
    const QString path = rig.home.paths().cacheDir + "/segments.json";
    writeFile(path, "old contents");

    MiningResults r;
    r.segments = {{4, 12.5, 30, "b.mov", "hola \"tú\"", "hi", QString("Intro")},
                  {1, 0, 7.25, "a.wav", "", "", std::nullopt}};
    rig.p().steps().writeSegmentsJson(rig.p(), r);

    EXPECT_EQ(rig.lines(), QList<Line>({{"  Wrote 2 segments to cache", "dim"}}));
    const QByteArray written = readFile(path);
    const auto json = parseJson(written);
    ASSERT_TRUE(json && json->is_array()) << written.toStdString();
    ASSERT_EQ(json->size(), 2u);
    for (const Json& o : *json) {
        std::vector<std::string> keys;
        for (const auto& [k, v] : o.items())
            keys.push_back(k);
        EXPECT_EQ(keys, (std::vector<std::string>{"chapter", "endTime", "index", "sourceClip", "startTime",
                                                  "transcript", "translation"}));
    }
    EXPECT_EQ((*json)[0]["chapter"], "Intro");
    EXPECT_EQ((*json)[0]["index"], 4);
    EXPECT_TRUE((*json)[0]["index"].is_number_integer());
    EXPECT_EQ((*json)[0]["transcript"], "hola \"tú\"");
    EXPECT_TRUE((*json)[1]["chapter"].is_null());
    EXPECT_EQ((*json)[1]["endTime"], 7.25);
    EXPECT_TRUE(written.contains("\n  {")) << "pretty-printed";
}

TEST(SegmentsFile, FailuresAndThePublicTwin) {
    AnalysisRig rig;
    const QString path = rig.home.paths().cacheDir + "/segments.json";
    MiningResults r;
    r.segments = {{0, 0, 5, "a.wav", "", "", std::nullopt}};

    // The folder is not made here; the line is logged all the same.
    rig.p().steps().writeSegmentsJson(rig.p(), r);
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(rig.texts(), QStringList({"  Wrote 1 segments to cache"}));

    QDir().mkpath(rig.home.paths().cacheDir);
    writeFile(path, "previous");
    rig.p().reset();
    MiningResults bad = r;
    bad.segments[0].endTime = std::nan("");
    rig.p().steps().writeSegmentsJson(rig.p(), bad);
    EXPECT_EQ(readFile(path), "previous");
    EXPECT_TRUE(rig.lines().isEmpty());

    writeSegmentsJsonPublic(rig.p(), r.segments);
    EXPECT_TRUE(rig.lines().isEmpty());
    EXPECT_EQ(readFile(path), *segmentsJson(r.segments));
}
