// Moments to source files, from the probe cache or from ffprobe, and the analysis steps inside
// whole runs: style text in, source clips and segments.json out.
#include "AnalysisTestSupport.h"

#include <QDir>
#include <QProcess>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

MiningResults storyAt(const QList<double>& starts) {
    MiningResults r;
    for (double s : starts)
        r.segments.push_back({r.segments.size(), s, s + 5, "source", "t", "u", std::nullopt});
    r.structure = {{{"Act", {0}}}, 42};
    r.estimatedDuration = 42;
    return r;
}

} // namespace

TEST(SourceClips, ProbeCacheLaysFilesOutByTimecode) {
    AnalysisRig rig;
    QDir().mkpath(rig.home.paths().cacheDir);
    writeFile(rig.home.paths().cacheDir + "/probe_results.json", R"({
        "a.mov": {"duration": 100, "startTimecodeSeconds": 10800},
        "b.mov": {"duration": 50, "startTimecodeSeconds": 3600},
        "c.mov": {"duration": 20, "startTimecodeSeconds": 7200},
        "d.wav": {"duration": 10.0, "startTimecodeSeconds": 0},
        "e.wav": {"duration": 20.5},
        "f.wav": {"duration": "60", "startTimecodeSeconds": 0}})");
    const QStringList paths{"/x/a.mov", "/x/b.mov", "/y/c.mov", "/d.wav", "/e.wav", "/f.wav", "/g.wav"};
    // Inside e, on the e|b boundary, inside c, on the c|a boundary, at the very end, before the start.
    const MiningResults in = storyAt({20.4, 20.5, 90.4, 90.5, 190.5, -1});

    const MiningResults out = QCoro::waitFor(rig.p().steps().assignSourceClips(rig.p(), in, paths));

    MiningResults expected = in;
    const QStringList clips{"e.wav", "b.mov", "c.mov", "a.mov", "source", "source"};
    for (qsizetype i = 0; i < clips.size(); ++i)
        expected.segments[i].sourceClip = clips[i];
    EXPECT_EQ(out, expected);
    EXPECT_EQ(rig.lines(), QList<Line>({{"📋 Source clip map: e.wav: 0.0s–21.0s, b.mov: 21.0s–71.0s, "
                                         "c.mov: 71.0s–91.0s, a.mov: 91.0s–191.0s",
                                         "muted"}}));

    rig.p().reset();
    EXPECT_EQ(QCoro::waitFor(rig.p().steps().assignSourceClips(rig.p(), in, {})), in);
    EXPECT_TRUE(rig.lines().isEmpty());
}

TEST(RunWiring, FullRunFallsBackOnFfprobeAndWritesSegments) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(R"({"segments":[
        {"index":0,"startTime":12,"endTime":20,"sourceClip":"source","transcript":"b","translation":"B"},
        {"index":1,"startTime":0,"endTime":5,"sourceClip":"source","transcript":"a","translation":"A","chapter":"One"},
        {"index":2,"startTime":27,"endTime":30,"sourceClip":"source","transcript":"c","translation":"C"}],
      "structure":{"acts":[{"name":"Act 1","segments":[0,1,2]}],"totalDuration":16},
      "subtitles":[],"estimatedDuration":16})"));
    QStringList media;
    for (const auto& [name, seconds] : {std::pair{"c.wav", 15}, {"a.wav", 10}, {"b.wav", 12}}) {
        media << rig.home.path() + "/" + name;
        QProcess ffmpeg;
        ffmpeg.start("/usr/bin/ffmpeg", {"-v", "quiet", "-y", "-f", "lavfi", "-i", "anullsrc=r=8000:cl=mono",
                                         "-t", QString::number(seconds), "-c:a", "pcm_u8", media.last()});
        ffmpeg.waitForFinished(-1);
    }
    media << rig.home.path() + "/missing.wav";
    rig.p().steps().getTimelineMedia = [&](LocalPipeline&,
                                           QString) -> QCoro::Task<std::optional<QStringList>> {
        co_return std::optional<QStringList>(media);
    };
    rig.p().steps().loadCachedTranscript = [](LocalPipeline&, const QStringList&) {
        return std::optional<TranscriptResult>({{{0, 15, "uno", "es"}, {15, 30, "dos", "es"}}, "es"});
    };
    // A cache that holds only files of 10 s or less is no layout either.
    const QString cache = rig.home.paths().cacheDir;
    QDir().mkpath(cache);
    writeFile(cache + "/probe_results.json", R"({"a.wav":{"duration":10,"startTimecodeSeconds":0}})");
    StyleSliders sliders;
    sliders.pace = 0.9;

    QCoro::waitFor(rig.p().run("Interview", MiningMode::fullMine, 1, "auto", sliders, QString("campfire"),
                               "https://example.com/reference-cut", false));

    EXPECT_EQ(rig.p().step(), PipelineStep::complete) << rig.texts().join('\n').toStdString();
    const QString prompt = rig.sentPrompt();
    EXPECT_TRUE(prompt.contains("STYLE DIRECTION:\nBase style: Campfire — Meditative, slow burn, poetic\n"
                                "Fast-paced, energetic\nBalanced structure\n"));
    EXPECT_FALSE(prompt.contains("example.com")) << "the reference goes nowhere";
    EXPECT_TRUE(rig.texts().contains("📋 Source clip map: b.wav: 0.0s–12.0s, c.wav: 12.0s–27.0s"));
    EXPECT_EQ(parseJson(readFile(cache + "/segments.json")), Json::parse(R"([
        {"chapter":null,"endTime":20,"index":0,"sourceClip":"c.wav","startTime":12,"transcript":"b","translation":"B"},
        {"chapter":"One","endTime":5,"index":1,"sourceClip":"b.wav","startTime":0,"transcript":"a","translation":"A"},
        {"chapter":null,"endTime":30,"index":2,"sourceClip":"source","startTime":27,"transcript":"c",
         "translation":"C"}])"));
}
