// Probing: timecode text, ffprobe's JSON, and files made here by ffmpeg with their log lines and the
// probe cache the timeline programs read.
#include "MediaFixtures.h"

using namespace ondrel;
using namespace ondrel::test;

namespace {

TEST(Timecode, EdgesOfTheText) {
    EXPECT_EQ(timecodeToSeconds("00:10:00", 24), 0);
    EXPECT_EQ(timecodeToSeconds("xx:00:02:00", 24), 2);
    EXPECT_EQ(secondsToTimecode(1.999, 24), "00:00:01:23") << "frames are cut, not rounded";
    EXPECT_EQ(formatDuration(3725), "62:05") << "minutes never carry into hours";
}

TEST(ProbeJson, ReadsEveryField) {
    const struct {
        const char* json;
        ProbeResult expected;
    } cases[] = {
        // The first stream timecode; the first audio stream's values win, later ones fill gaps.
        {R"({"format":{"duration":"4.004"},
             "streams":[{"codec_type":"video","r_frame_rate":"30000/1001"},
                        {"codec_type":"audio","codec_name":"aac","channels":2,"bits_per_sample":0},
                        {"codec_type":"audio","codec_name":"opus","sample_rate":"44100","channels":6},
                        {"codec_type":"data","tags":{"timecode":"01:00:00;12"}}]})",
         {"/m/A001.mov", "A001.mov", 4.004, "01:00:00;12", 3600.5, 44100, 30000.0 / 1001, "aac", true, true,
          2, 0}},
        // 0/0, one-part and x/0 rates leave the fps alone; unreadable numbers stay absent;
        // time_reference without a rate gives no timecode.
        {R"({"format":{"duration":"nan","tags":{"timecode":7,"time_reference":"172800000"}},
             "streams":[{"codec_type":"video","r_frame_rate":"25/1"},{"codec_type":"video","r_frame_rate":"0/0"},
                        {"codec_type":"video","r_frame_rate":"24"},{"codec_type":"video","r_frame_rate":"1/0"},
                        {"codec_type":"audio","sample_rate":"48 kHz","channels":2.5,"bits_per_sample":"24"}]})",
         {"/m/A001.mov", "A001.mov", 0, {}, {}, {}, 25, {}, true, true, {}, {}}},
        // What ffprobe prints for a file it cannot open: a file of no length.
        {"{}", {"/m/A001.mov", "A001.mov", 0, {}, {}, {}, {}, {}, false, false, {}, {}}},
    };
    for (const auto& c : cases) {
        const auto r = probeResultFromJson(*parseJson(c.json), "/m/A001.mov");
        EXPECT_EQ(r, c.expected) << c.json;
    }
    EXPECT_FALSE(probeResultFromJson(Json::array(), "/a.wav"));
}

using ProbeFiles = MediaTest;

TEST_F(ProbeFiles, EachFileCostsOneLineAndTheCacheWritesAllTwelveKeys) {
    const QString wav = media + "/a.wav", mov = media + "/b.mov";
    QDir().mkpath(media + "/day0");
    ASSERT_TRUE(makeToneWav(media + "/day0/a.wav", 1.0, 440, 44100)); // the later a.wav wins
    ASSERT_TRUE(makeBroadcastWav(wav, 2.5, 440, 172800000));
    ASSERT_TRUE(makeCameraMov(mov, 1.0, 500, "01:00:00;12", "30000/1001"));
    ASSERT_TRUE(makeSilentVideo(media + "/c.mp4", 1.0));
    ASSERT_TRUE(writeFile(media + "/empty.wav", {}));
    ASSERT_TRUE(writeFile(media + "/notes.wav", "not audio at all\n"));

    QCoro::waitFor(
        probeAllMedia(*pipeline, {media + "/day0/a.wav", wav, media + "/missing.wav", mov,
                                  media + "/empty.wav", media + "/c.mp4", media + "/notes.wav", media}));
    EXPECT_EQ(logLines(*pipeline), (QList<LogLine>{
                                       {"📋 Probing 8 source files...", "muted"},
                                       {"  a.wav: 0:01, TC: none, 44100Hz", "dim"},
                                       {"  a.wav: 0:02, TC: 01:00:00:00, 48000Hz", "dim"},
                                       {"  missing.wav: 0:00, TC: none, unknown", "dim"},
                                       {"  b.mov: 0:01, TC: 01:00:00;12, 48000Hz", "dim"},
                                       {"  empty.wav: 0:00, TC: none, unknown", "dim"},
                                       {"  c.mp4: 0:01, TC: none, unknown", "dim"},
                                       {"  notes.wav: 0:00, TC: none, unknown", "dim"},
                                       {"  media: 0:00, TC: none, unknown", "dim"},
                                       {"✓ Probed 7 files", "green"},
                                   }));
    const auto r = pipeline->probeResults();
    ASSERT_EQ(r.keys(),
              (QStringList{"a.wav", "b.mov", "c.mp4", "empty.wav", "media", "missing.wav", "notes.wav"}));
    EXPECT_EQ(std::tuple(r["a.wav"].path, r["a.wav"].startTimecodeSeconds, r["b.mov"].startTimecodeSeconds),
              std::tuple(wav, 3600.0, 3600.5));
    EXPECT_NEAR(r["b.mov"].fps.value_or(0), 29.97, 0.001);

    const QByteArray bytes = readFile(cache("probe_results.json"));
    EXPECT_TRUE(bytes.contains("\n  \"a.wav\": {\n")) << "pretty-printed for people who open it";
    const Json video = (*parseJson(bytes))["c.mp4"];
    EXPECT_EQ(video.size(), 12u) << "every key written, nulls too";
    for (const char* key :
         {"bitDepth", "channels", "codec", "sampleRate", "startTimecode", "startTimecodeSeconds"})
        EXPECT_TRUE(video[key].is_null()) << key;

    // Only no answer at all fails a probe; a later run that reads nothing leaves the cache as it was.
    PipelineEnvironment env = home.pipelineEnvironment();
    env.tools.ffprobe = home.path() + "/no-ffprobe";
    const auto later = mediaPipeline(env);
    QCoro::waitFor(probeAllMedia(*later, {media + "/gone.wav"}));
    EXPECT_EQ(logLines(*later), (QList<LogLine>{{"📋 Probing 1 source file...", "muted"},
                                                {"  ⚠ Failed to probe gone.wav", "accent"}}));
    EXPECT_EQ(readFile(cache("probe_results.json")), bytes);
}

} // namespace
