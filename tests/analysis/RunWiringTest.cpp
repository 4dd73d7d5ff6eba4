// The analysis steps inside whole runs: style text in, source clips and segments.json out.
#include "AnalysisTestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const char* answer = R"({"segments":[
    {"index":0,"startTime":40,"endTime":55,"sourceClip":"source","transcript":"b","translation":"B"},
    {"index":1,"startTime":5,"endTime":20,"sourceClip":"source","transcript":"a","translation":"A","chapter":"One"}],
  "structure":{"acts":[{"name":"Act 1","segments":[0,1]}],"totalDuration":30},
  "subtitles":[],"estimatedDuration":30})";

struct RunRig : AnalysisRig {
    QStringList media{"/m/late.wav", "/m/early.wav"};
    TranscriptResult transcript{{{0, 30, "uno", "es"}, {30, 60, "dos", "es"}}, "es"};

    explicit RunRig(const QString& answerText = QString::fromUtf8(answer)) {
        server.respondJson("/v1/messages", 200, claudeBody(answerText));
        QDir().mkpath(home.paths().cacheDir);
        writeFile(home.paths().cacheDir + "/probe_results.json",
                  R"({"early.wav":{"duration":30,"startTimecodeSeconds":3600},
                      "late.wav":{"duration":30,"startTimecodeSeconds":7200}})");
        p().steps().getTimelineMedia = [this](LocalPipeline&,
                                              QString) -> QCoro::Task<std::optional<QStringList>> {
            co_return std::optional<QStringList>(media);
        };
        p().steps().loadCachedTranscript = [this](LocalPipeline&, const QStringList&) {
            return std::optional<TranscriptResult>(transcript);
        };
    }
};

QList<QString> segmentsFileClips(const AnalysisRig& rig) {
    QList<QString> clips;
    const auto json = parseJson(readFile(rig.home.paths().cacheDir + "/segments.json"));
    if (json && json->is_array())
        for (const Json& s : *json)
            clips << QString::fromStdString(s["sourceClip"].get<std::string>());
    return clips;
}

} // namespace

TEST(RunWiring, FullRunUsesStyleClipsAndWritesSegments) {
    RunRig rig;
    StyleSliders sliders;
    sliders.pace = 0.9;
    QCoro::waitFor(rig.p().run("Interview", MiningMode::fullMine, 1, "auto", sliders, QString("campfire"),
                               "https://example.com/reference-cut", false));

    EXPECT_EQ(rig.p().step(), PipelineStep::complete) << rig.allLogText().toStdString();
    const QString prompt = rig.sentPrompt();
    EXPECT_TRUE(prompt.contains("STYLE DIRECTION:\nBase style: Campfire — Meditative, slow burn, poetic\n"
                                "Fast-paced, energetic\nBalanced structure\n"));
    EXPECT_FALSE(prompt.contains("example.com")) << "the reference goes nowhere";
    ASSERT_TRUE(rig.p().results());
    EXPECT_EQ(rig.p().results()->segments[0].sourceClip, "late.wav");
    EXPECT_EQ(rig.p().results()->segments[1].sourceClip, "early.wav");
    EXPECT_EQ(segmentsFileClips(rig), QList<QString>({"late.wav", "early.wav"}));

    const QStringList log = rig.texts();
    const auto at = [&](const QString& text) { return log.indexOf(text); };
    EXPECT_LT(at("⛏ Claude analyzing story structure..."), at("  Sending 39 chars to Claude..."));
    EXPECT_LT(at("  Sending 39 chars to Claude..."),
              at("📋 Source clip map: early.wav: 0.0s–30.0s, late.wav: 30.0s–60.0s"));
    EXPECT_LT(at("📋 Source clip map: early.wav: 0.0s–30.0s, late.wav: 30.0s–60.0s"),
              at("💎 Found 1 acts · 2 moments"));
    EXPECT_LT(at("  Wrote 2 segments to cache"), at("Building timeline in Resolve..."));
}

TEST(RunWiring, ReMineFromAProjectInMagicMode) {
    RunRig rig;
    SavedProject project;
    project.timeline = "Interview";
    project.language = "pt";
    project.mediaPaths = rig.media;
    project.transcript = {{0, 30, "um"}, {30, 60, "dois"}};
    QCoro::waitFor(rig.p().runFromProject(project, 4, StyleSliders{}, QString("sizzle"), "", true));

    EXPECT_EQ(rig.p().step(), PipelineStep::complete) << rig.allLogText().toStdString();
    const QString prompt = rig.sentPrompt();
    EXPECT_TRUE(prompt.contains("STYLE DIRECTION:\nMAGIC MODE: Listen to the content"));
    EXPECT_TRUE(prompt.contains("SOURCE LANGUAGE: pt\n"));
    EXPECT_TRUE(prompt.contains("[0.0s → 30.0s] um\n[30.0s → 60.0s] dois\n"));
    EXPECT_EQ(segmentsFileClips(rig), QList<QString>({"late.wav", "early.wav"}));
    EXPECT_EQ(rig.texts().last(), "✓ Complete — new style applied!");
}

TEST(RunWiring, AFailedAnalysisEndsTheRun) {
    RunRig rig("no story today");
    QCoro::waitFor(rig.p().run("Interview", MiningMode::storyMine, 1, "auto", {}, std::nullopt, "", false));
    EXPECT_EQ(rig.p().step(), PipelineStep::error);
    EXPECT_EQ(rig.p().errorMessage(), "Story analysis failed");
    EXPECT_EQ(rig.texts().last(), "✗ Story analysis failed");
    EXPECT_FALSE(QFile::exists(rig.home.paths().cacheDir + "/segments.json"));
}

TEST(RunWiring, WithoutAProbeCacheTheRunAsksFfprobe) {
    RunRig rig;
    QFile::remove(rig.home.paths().cacheDir + "/probe_results.json");
    const QString media = rig.home.path() + "/media";
    QDir().mkpath(media);
    rig.media.clear();
    for (const auto& [name, seconds] :
         {std::pair{"z_first_by_time.wav", 30}, std::pair{"a_first_by_name.wav", 30}}) {
        const QString path = media + "/" + name;
        QProcess ffmpeg;
        ffmpeg.start("/usr/bin/ffmpeg", {"-v", "quiet", "-y", "-f", "lavfi", "-i", "anullsrc=r=8000:cl=mono",
                                         "-t", QString::number(seconds), "-c:a", "pcm_u8", path});
        ffmpeg.waitForFinished(-1);
        rig.media << path;
    }
    QCoro::waitFor(rig.p().run("Interview", MiningMode::fullMine, 1, "auto", {}, std::nullopt, "", false));

    EXPECT_EQ(rig.p().step(), PipelineStep::complete) << rig.allLogText().toStdString();
    EXPECT_TRUE(
        rig.texts().contains("📋 Source clip map: a_first_by_name.wav: 0.0s–30.0s, z_first_by_time.wav: "
                             "30.0s–60.0s"));
    EXPECT_EQ(segmentsFileClips(rig), QList<QString>({"z_first_by_time.wav", "a_first_by_name.wav"}));
}
