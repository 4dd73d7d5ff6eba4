// Probing: timecode arithmetic, what is read from ffprobe's JSON (hand-written and from files made
// by ffmpeg here), the log lines and the probe cache the timeline programs read.
#include "MediaFixtures.h"
#include "media/MediaSteps.h"

#include <QDir>
#include <QTemporaryDir>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

struct TcCase {
    const char* tc;
    double fps;
    double seconds;
};

TEST(Timecode, ToSeconds) {
    const TcCase cases[] = {{"01:00:00:00", 24, 3600},
                            {"01:00:00;12", 24, 3600.5},
                            {"00:10:00", 24, 0},
                            {"00:00:01:12", 24, 1.5},
                            {"01:00:00:15", 30, 3600.5},
                            {"xx:00:02:00", 24, 2},
                            {"", 24, 0},
                            {"1:2:3:4:5", 24, 0},
                            {"00:00:00;00", 24, 0},
                            {"10:00:00:00", 23.976, 36000}};
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(timecodeToSeconds(c.tc, c.fps), c.seconds) << c.tc;
}

TEST(Timecode, FromSeconds) {
    const struct {
        double seconds;
        double fps;
        const char* text;
    } cases[] = {{3600, 24, "01:00:00:00"},    {3600.5, 24, "01:00:00:12"},     {1.999, 24, "00:00:01:23"},
                 {0, 24, "00:00:00:00"},       {360061.25, 24, "100:01:01:06"}, {59.5, 30, "00:00:59:15"},
                 {86399.99, 25, "23:59:59:24"}};
    for (const auto& c : cases)
        EXPECT_EQ(secondsToTimecode(c.seconds, c.fps), c.text) << c.seconds;
}

TEST(Timecode, FormatDurationNeverCarriesIntoHours) {
    const struct {
        double seconds;
        const char* text;
    } cases[] = {{59.9, "0:59"}, {3725, "62:05"}, {0, "0:00"}, {61, "1:01"}, {600.999, "10:00"}};
    for (const auto& c : cases)
        EXPECT_EQ(formatDuration(c.seconds), c.text) << c.seconds;
}

// ---- reading ffprobe's JSON ------------------------------------------------------------------

struct JsonCase {
    const char* name;
    const char* json;
    ProbeResult expected; // path and filename are filled in by the test
};

ProbeResult probe(double duration, std::optional<QString> tc, std::optional<double> tcs,
                  std::optional<qint64> rate, std::optional<double> fps, std::optional<QString> codec,
                  bool video, bool audio, std::optional<qint64> channels, std::optional<qint64> bits) {
    return {{}, {}, duration, tc, tcs, rate, fps, codec, video, audio, channels, bits};
}

TEST(ProbeJson, ReadsEveryDocumentedField) {
    const JsonCase cases[] = {
        {"format timecode wins over time_reference and streams",
         R"({"format":{"duration":"10.5","tags":{"timecode":"02:00:00:00","time_reference":"48000"}},
             "streams":[{"codec_type":"audio","codec_name":"pcm_s24le","sample_rate":"48000","channels":2,
                         "bits_per_sample":24,"tags":{"timecode":"05:00:00:00"}}]})",
         probe(10.5, "02:00:00:00", 7200, 48000, {}, "pcm_s24le", false, true, 2, 24)},
        {"time_reference counts samples at the first stream's rate",
         R"({"format":{"duration":"3.0","tags":{"time_reference":"172800000"}},
             "streams":[{"codec_type":"audio","codec_name":"pcm_s16le","sample_rate":"48000","channels":1}]})",
         probe(3, "01:00:00:00", 3600, 48000, {}, "pcm_s16le", false, true, 1, 16)},
        {"time_reference without a usable rate gives no timecode",
         R"({"format":{"duration":"3.0","tags":{"time_reference":"172800000"}},
             "streams":[{"codec_type":"audio","codec_name":"pcm_s32le","sample_rate":"0"}]})",
         probe(3, {}, {}, 0, {}, "pcm_s32le", false, true, {}, 32)},
        {"timecode from the first stream that has one",
         R"({"format":{"duration":"4.004","tags":{"major_brand":"qt  "}},
             "streams":[{"codec_type":"video","r_frame_rate":"30000/1001"},
                        {"codec_type":"audio","codec_name":"aac","sample_rate":"48000","channels":2,
                         "bits_per_sample":0},
                        {"codec_type":"data","tags":{"timecode":"01:00:00;12"}}]})",
         probe(4.004, "01:00:00;12", 3600.5, 48000, 30000.0 / 1001.0, "aac", true, true, 2, 0)},
        {"first audio stream's values win, later ones fill gaps",
         R"({"format":{"duration":"1"},
             "streams":[{"codec_type":"audio","codec_name":"opus","channels":"2"},
                        {"codec_type":"audio","codec_name":"pcm_s16le","sample_rate":"44100","channels":6,
                         "bits_per_sample":16}]})",
         probe(1, {}, {}, 44100, {}, "opus", false, true, 6, 16)},
        {"frame rates: 0/0 and one part leave fps absent, a later video stream overwrites",
         R"({"format":{"duration":"N/A"},
             "streams":[{"codec_type":"video","r_frame_rate":"25/1"},{"codec_type":"video","r_frame_rate":"0/0"},
                        {"codec_type":"video","r_frame_rate":"24"},{"codec_type":"subtitle"}]})",
         probe(0, {}, {}, {}, 25, {}, true, false, {}, {})},
        {"unreadable numbers stay absent",
         R"({"format":{"duration":"nan","tags":{"timecode":7}},
             "streams":[{"codec_type":"audio","sample_rate":"48 kHz","channels":2.5,"bits_per_sample":"24"},
                        {"codec_type":"video","r_frame_rate":"1/0"}]})",
         probe(0, {}, {}, {}, {}, {}, true, true, {}, {})},
    };
    for (const auto& c : cases) {
        const auto json = parseJson(c.json);
        ASSERT_TRUE(json) << c.name;
        const auto r = probeResultFromJson(*json, QStringLiteral("/media/day 1/A001.mov"));
        ASSERT_TRUE(r) << c.name;
        ProbeResult expected = c.expected;
        expected.path = QStringLiteral("/media/day 1/A001.mov");
        expected.filename = QStringLiteral("A001.mov");
        if (expected.fps && r->fps) {
            EXPECT_NEAR(*r->fps, *expected.fps, 1e-9) << c.name;
            expected.fps = r->fps;
        }
        EXPECT_EQ(*r, expected) << c.name;
    }
    EXPECT_FALSE(probeResultFromJson(Json::array(), "/a.wav"));
    // What ffprobe prints for a file it cannot open.
    EXPECT_FALSE(probeResultFromJson(Json::object(), "/a.wav"));
}

// ---- real files ------------------------------------------------------------------------------

class ProbeFiles : public ::testing::Test {
protected:
    TestHome home;
    QString media = home.path() + "/media";
    std::unique_ptr<LocalPipeline> pipeline = mediaPipeline(home);

    void SetUp() override { QDir().mkpath(media); }
    std::optional<ProbeResult> probeFile(const QString& path) {
        return QCoro::waitFor(probeMediaFile(*pipeline, path));
    }
    Json cacheJson() {
        auto j = parseJson(readFile(home.paths().cacheDir + "/probe_results.json"));
        return j ? *j : Json();
    }
};

TEST_F(ProbeFiles, BroadcastWavStartsAtItsTimeReference) {
    const QString wav = media + "/A001.wav";
    ASSERT_TRUE(makeBroadcastWav(wav, 1.0, 440, 172800000));
    const auto r = probeFile(wav);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->startTimecode, QStringLiteral("01:00:00:00"));
    EXPECT_EQ(r->startTimecodeSeconds, 3600.0);
    EXPECT_EQ(r->sampleRate, 48000);
    EXPECT_EQ(r->channels, 2);
    EXPECT_EQ(r->bitDepth, 24);
    EXPECT_EQ(r->codec, QStringLiteral("pcm_s24le"));
    EXPECT_FALSE(r->hasVideo);
    EXPECT_FALSE(r->fps);
    EXPECT_NEAR(r->duration, 1.0, 1e-6);
}

TEST_F(ProbeFiles, CameraMovKeepsItsDropFrameTextAndReadsItAt24) {
    const QString mov = media + "/C0001.mov";
    ASSERT_TRUE(makeCameraMov(mov, 1.0, 500, "01:00:00;12", "30000/1001"));
    const auto r = probeFile(mov);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->startTimecode, QStringLiteral("01:00:00;12"));
    EXPECT_EQ(r->startTimecodeSeconds, 3600.5);
    ASSERT_TRUE(r->fps);
    EXPECT_NEAR(*r->fps, 29.97, 0.001);
    EXPECT_TRUE(r->hasVideo);
    EXPECT_TRUE(r->hasAudio);
    EXPECT_EQ(r->codec, QStringLiteral("aac"));
    EXPECT_EQ(r->bitDepth, 0);
}

TEST_F(ProbeFiles, AllMediaLogsEachFileAndWritesTwelveKeysWithNulls) {
    const QString wav = media + "/a.wav";
    const QString mov = media + "/b.mov";
    const QString silent = media + "/c.mp4";
    const QString empty = media + "/empty.wav";
    const QString text = media + "/notes.wav";
    ASSERT_TRUE(makeBroadcastWav(wav, 2.5, 440, 172800000));
    ASSERT_TRUE(makeCameraMov(mov, 1.0, 500, "01:00:00:00"));
    ASSERT_TRUE(makeSilentVideo(silent, 1.0));
    ASSERT_TRUE(writeFile(empty, {}));
    ASSERT_TRUE(writeFile(text, "not audio at all\n"));

    QList<double> progress;
    QObject::connect(pipeline.get(), &LocalPipeline::progressChanged,
                     [&] { progress << pipeline->progress(); });
    const QStringList paths{wav, media + "/missing.wav", mov, empty, silent, text, media};
    QCoro::waitFor(probeAllMedia(*pipeline, paths));

    const QList<LogLine> expected{
        {"📋 Probing 7 source files...", "muted"},
        {"  a.wav: 0:02, TC: 01:00:00:00, 48000Hz", "dim"},
        {"  ⚠ Failed to probe missing.wav", "accent"},
        {"  b.mov: 0:01, TC: 01:00:00:00, 48000Hz", "dim"},
        {"  ⚠ Failed to probe empty.wav", "accent"},
        {"  c.mp4: 0:01, TC: none, unknown", "dim"},
        {"  ⚠ Failed to probe notes.wav", "accent"},
        {"  ⚠ Failed to probe media", "accent"},
        {"✓ Probed 3 files", "green"},
    };
    EXPECT_EQ(logLines(*pipeline), expected);
    ASSERT_EQ(progress.size(), 7);
    for (int i = 0; i < 7; ++i)
        EXPECT_DOUBLE_EQ(progress[i], 0.02 + 0.03 * i / 7.0);
    EXPECT_EQ(pipeline->probeResults().keys(), (QStringList{"a.wav", "b.mov", "c.mp4"}));

    const Json cache = cacheJson();
    ASSERT_TRUE(cache.is_object());
    ASSERT_EQ(cache.size(), 3u);
    const Json& video = cache["c.mp4"];
    std::vector<std::string> keys;
    for (auto it = video.begin(); it != video.end(); ++it)
        keys.push_back(it.key());
    // Sorted, all twelve, nulls written out.
    EXPECT_EQ(keys, (std::vector<std::string>{"bitDepth", "channels", "codec", "duration", "filename", "fps",
                                              "hasAudio", "hasVideo", "path", "sampleRate", "startTimecode",
                                              "startTimecodeSeconds"}));
    for (const char* key :
         {"bitDepth", "channels", "codec", "sampleRate", "startTimecode", "startTimecodeSeconds"})
        EXPECT_TRUE(video[key].is_null()) << key;
    EXPECT_EQ(video["path"], silent.toStdString());
    EXPECT_EQ(video["fps"], 25.0);
    EXPECT_EQ(cache["a.wav"]["startTimecodeSeconds"], 3600.0);
    EXPECT_EQ(cache["a.wav"]["sampleRate"], 48000);
    // Pretty-printed for people who open it.
    EXPECT_TRUE(readFile(home.paths().cacheDir + "/probe_results.json").contains("\n  \"a.wav\": {\n"));
}

TEST_F(ProbeFiles, SameNameInTwoFoldersKeepsTheLaterProbe) {
    QDir().mkpath(media + "/day2");
    ASSERT_TRUE(makeToneWav(media + "/take.wav", 1.0, 440));
    ASSERT_TRUE(makeToneWav(media + "/day2/take.wav", 2.0, 440, 44100));
    QCoro::waitFor(probeAllMedia(*pipeline, {media + "/take.wav", media + "/day2/take.wav"}));
    ASSERT_EQ(pipeline->probeResults().size(), 1);
    EXPECT_EQ(pipeline->probeResults()["take.wav"].sampleRate, 44100);
    EXPECT_EQ(logLines(*pipeline).last(), (LogLine{"✓ Probed 1 file", "green"}));
    EXPECT_EQ(cacheJson()["take.wav"]["path"], (media + "/day2/take.wav").toStdString());
}

TEST_F(ProbeFiles, NothingReadableLeavesTheOldCacheAndEmptiesTheResults) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440));
    QCoro::waitFor(probeAllMedia(*pipeline, {media + "/a.wav"}));
    const QByteArray before = readFile(home.paths().cacheDir + "/probe_results.json");
    ASSERT_FALSE(before.isEmpty());

    auto second = mediaPipeline(home);
    QCoro::waitFor(probeAllMedia(*second, {media + "/gone.wav"}));
    EXPECT_TRUE(second->probeResults().isEmpty());
    EXPECT_EQ(logLines(*second), (QList<LogLine>{{"📋 Probing 1 source file...", "muted"},
                                                 {"  ⚠ Failed to probe gone.wav", "accent"}}));
    EXPECT_EQ(readFile(home.paths().cacheDir + "/probe_results.json"), before);
}

TEST_F(ProbeFiles, CancelStopsBeforeTheFirstFileAndWritesNoCache) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440));
    pipeline->cancel();
    QCoro::waitFor(probeAllMedia(*pipeline, {media + "/a.wav"}));
    EXPECT_EQ(logLines(*pipeline).size(), 1);
    EXPECT_FALSE(QFile::exists(home.paths().cacheDir + "/probe_results.json"));
}

} // namespace
