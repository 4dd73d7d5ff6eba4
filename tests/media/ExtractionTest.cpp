// Finding the timeline's files in (fake) Resolve, extracting one WAV of them with the real ffmpeg,
// and cutting it into chunks.
#include "MediaFixtures.h"
#include "media/MediaSteps.h"

#include <QDir>
#include <QFileInfo>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

TEST(TimelineMediaOutput, KeepsPathLinesOnly) {
    const struct {
        const char* output;
        std::optional<QStringList> paths;
    } cases[] = {
        {"/m/a.wav\n/m/b.mov\n", QStringList{"/m/a.wav", "/m/b.mov"}},
        {"  /m/a.wav \r\n\nERROR:half way\n/m/b.wav", QStringList{"/m/a.wav", "/m/b.wav"}},
        {"ERROR:NOT_CONNECTED\n", std::nullopt},
        {"ERROR:x\n/m/a.wav\n", std::nullopt}, // an output that begins with an error is an error
        {" ERROR:x\n", std::nullopt},
        {"", std::nullopt},
        {"\n \n", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parseTimelineMediaOutput(QString::fromUtf8(c.output)), c.paths) << c.output;
}

class TimelineMedia : public ::testing::Test {
protected:
    TestHome home;
    std::unique_ptr<LocalPipeline> pipeline = mediaPipeline(home);

    std::optional<QStringList> media(const QString& timeline) {
        return QCoro::waitFor(getTimelineMedia(*pipeline, timeline));
    }
};

TEST_F(TimelineMedia, ListsEveryFileOnceSortedAndMakesTheTimelineCurrent) {
    writeTimelineState(home, "Cut 1", {"/m/c.wav", "/m/b.mov", "/m/a.wav"}, {"/m/c.wav"});
    EXPECT_EQ(media("Cut 1"), (QStringList{"/m/a.wav", "/m/b.mov", "/m/c.wav"}));
    const auto state = parseJson(readFile(home.resolveStateFile()));
    ASSERT_TRUE(state);
    EXPECT_EQ((*state)["projects"]["Interviews"]["currentTimeline"], "Cut 1");
}

TEST_F(TimelineMedia, NamesWithQuotesAndBackslashesReachResolveIntact) {
    const QString name = QStringLiteral("Select \"A\" \\ raw \\\" ''' \n");
    writeTimelineState(home, name, {"/m/a.wav"});
    EXPECT_EQ(media(name), QStringList{"/m/a.wav"});
}

TEST_F(TimelineMedia, AbsentWhenNothingIsFound) {
    writeTimelineState(home, "Cut 1", {"/m/a.wav"});
    EXPECT_FALSE(media("Cut 2")) << "no such timeline";
    EXPECT_FALSE(media("Other")) << "a timeline without clips";
    writeTimelineState(home, "Cut 1", {"/m/a.wav"}, {}, /*running=*/false);
    EXPECT_FALSE(media("Cut 1")) << "Resolve not running";

    PipelineEnvironment env = home.pipelineEnvironment();
    env.tools.python3 = home.path() + "/no-python3";
    LocalPipeline noPython(env);
    EXPECT_FALSE(QCoro::waitFor(getTimelineMedia(noPython, "Cut 1")));
}

// ---- planning --------------------------------------------------------------------------------

SourceAudio source(const QString& path, const QString& layout, int audio, double duration,
                   bool readable = true) {
    SourceAudio s;
    s.path = path;
    s.layout = layout;
    s.audioStream = audio;
    s.duration = duration;
    s.readable = readable;
    return s;
}

const QStringList kPcmOut{"-ac", "1", "-ar", "16000", "-acodec", "pcm_s16le", "/c/out.wav"};

TEST(ExtractionPlan, KeepsThePlainArgumentsWhereTheyWork) {
    const QString wav = "audio,pcm_s24le,s32,48000,2,stereo";
    const QString mov = "video;audio,aac,fltp,48000,2,stereo;data";
    const struct {
        const char* name;
        QList<SourceAudio> sources;
        QStringList args;
    } cases[] = {
        {"one file", {source("/m/a.mov", mov, 0, 4)}, QStringList{"-y", "-i", "/m/a.mov"} + kPcmOut},
        {"two files of one layout",
         {source("/m/a.wav", wav, 0, 3), source("/m/b.wav", wav, 0, 2)},
         QStringList{"-y", "-f", "concat", "-safe", "0", "-i", "/c/concat.txt"} + kPcmOut},
        {"two camera files of one layout",
         {source("/m/a.mov", mov, 0, 3), source("/m/b.mov", mov, 0, 2)},
         QStringList{"-y", "-f", "concat", "-safe", "0", "-i", "/c/concat.txt"} + kPcmOut},
        {"no sound anywhere fails as before",
         {source("/m/a.mp4", "video", -1, 3), source("/m/b.mov", "video;data", -1, 2),
          source("/m/gone.wav", "", -1, 0, false)},
         QStringList{"-y", "-f", "concat", "-safe", "0", "-i", "/c/concat.txt"} + kPcmOut},
        {"nothing readable fails as before",
         {source("/m/gone.wav", "", -1, 0, false), source("/m/gone.mov", "", -1, 0, false)},
         QStringList{"-y", "-f", "concat", "-safe", "0", "-i", "/c/concat.txt"} + kPcmOut},
    };
    for (const auto& c : cases) {
        const ExtractionPlan plan = planExtraction(c.sources, "/c/concat.txt", "/c/out.wav");
        EXPECT_EQ(plan.args, c.args) << c.name;
        EXPECT_FALSE(plan.perFileAudio) << c.name;
    }
    EXPECT_EQ(
        planExtraction({source("/m/a.wav", wav, 0, 3), source("/m/it's.wav", wav, 0, 2)}, "/c/l.txt", "/o")
            .concatList,
        "file '/m/a.wav'\nfile '/m/it's.wav'");
}

// ---- extraction with the real ffmpeg ---------------------------------------------------------

class Extraction : public ::testing::Test {
protected:
    TestHome home;
    QString media = home.path() + "/media";
    std::unique_ptr<LocalPipeline> pipeline = mediaPipeline(home);

    void SetUp() override { QDir().mkpath(media); }
    std::optional<QString> extract(const QStringList& paths) {
        return QCoro::waitFor(extractAudio(*pipeline, paths));
    }
    QString cache(const QString& name) const { return home.paths().cacheDir + "/" + name; }
};

TEST_F(Extraction, OneFileBecomesMono16kPcm) {
    ASSERT_TRUE(makeBroadcastWav(media + "/a.wav", 2.0, 440, 0));
    const auto out = extract({media + "/a.wav"});
    ASSERT_EQ(out, cache("extracted_audio.wav"));
    EXPECT_TRUE(isExtractedPcmWav(*out));
    EXPECT_EQ(readPcm16(*out).size(), 32000u);
    EXPECT_FALSE(QFile::exists(cache("concat.txt")));
}

TEST_F(Extraction, SeveralFilesJoinInSortedPathOrder) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440));
    ASSERT_TRUE(makeToneWav(media + "/b.wav", 2.0, 1200));
    const auto out = extract({media + "/b.wav", media + "/a.wav"});
    ASSERT_TRUE(out);
    EXPECT_EQ(readFile(cache("concat.txt")),
              ("file '" + media + "/a.wav'\nfile '" + media + "/b.wav'").toUtf8());
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(double(pcm.size()) / 16000, 3.0, 0.01);
    EXPECT_GT(toneShare(pcm, 16000, 0.05, 0.95, 440), 0.9);
    EXPECT_GT(toneShare(pcm, 16000, 1.05, 2.95, 1200), 0.9);
}

TEST_F(Extraction, CameraMovAfterBroadcastWavsKeepsItsSpeechAndTheClock) {
    const QString a = media + "/A001.wav", b = media + "/A002.wav", c = media + "/C0001.mov";
    ASSERT_TRUE(makeBroadcastWav(a, 3.0, 300, 172800000));
    ASSERT_TRUE(makeBroadcastWav(b, 2.0, 500, 173000000));
    ASSERT_TRUE(makeCameraMov(c, 4.0, 1000, "01:00:00;12", "30000/1001"));
    const double sources = mediaDuration(a) + mediaDuration(b) + mediaDuration(c);

    // The plain concat list maps the MOV's video stream onto the WAVs' audio stream.
    writeFile(cache("plain.txt"), ("file '" + a + "'\nfile '" + b + "'\nfile '" + c + "'").toUtf8());
    ffmpeg({"-f", "concat", "-safe", "0", "-i", cache("plain.txt"), "-ac", "1", "-ar", "16000", "-acodec",
            "pcm_s16le", cache("plain.wav")});
    const auto plain = readPcm16(cache("plain.wav"));
    const bool plainKeptTheMov = std::abs(double(plain.size()) / 16000 - sources) < 0.1 &&
                                 toneShare(plain, 16000, 5.2, 8.8, 1000) > 0.9;
    EXPECT_FALSE(plainKeptTheMov) << "the fault this extraction exists to avoid did not show";

    const auto out = extract({c, b, a});
    ASSERT_TRUE(out);
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(double(pcm.size()) / 16000, sources, 0.1);
    EXPECT_GT(toneShare(pcm, 16000, 0.1, 2.9, 300), 0.9);
    EXPECT_GT(toneShare(pcm, 16000, 3.1, 4.9, 500), 0.9);
    EXPECT_GT(toneShare(pcm, 16000, 5.2, 8.8, 1000), 0.9) << "the MOV's speech is lost";

    const auto probe = QCoro::waitFor(probeMediaFile(*pipeline, c));
    ASSERT_TRUE(probe);
    EXPECT_EQ(probe->startTimecode, QStringLiteral("01:00:00;12"));
}

TEST_F(Extraction, FileWithoutSoundBecomesSilenceOfItsLength) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440, 48000, 2));
    ASSERT_TRUE(makeSilentVideo(media + "/b.mp4", 2.0));
    ASSERT_TRUE(makeToneWav(media + "/c.wav", 1.0, 880, 48000, 2));
    const auto out = extract({media + "/a.wav", media + "/b.mp4", media + "/c.wav"});
    ASSERT_TRUE(out);
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(double(pcm.size()) / 16000, 4.0, 0.05);
    EXPECT_GT(toneShare(pcm, 16000, 0.05, 0.95, 440), 0.9);
    EXPECT_LT(rms(pcm, 16000, 1.05, 2.95), 1e-4);
    EXPECT_GT(toneShare(pcm, 16000, 3.05, 3.95, 880), 0.9);
}

TEST_F(Extraction, AFileThatCannotBeReadCostsOnlyItsOwnPlace) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440));
    ASSERT_TRUE(makeToneWav(media + "/d.wav", 1.0, 880));
    ASSERT_TRUE(writeFile(media + "/b.wav", {}));
    ASSERT_TRUE(writeFile(media + "/c.wav", "not audio\n"));
    const auto out = extract(
        {media + "/a.wav", media + "/b.wav", media + "/c.wav", media + "/gone.wav", media + "/d.wav"});
    ASSERT_TRUE(out);
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(double(pcm.size()) / 16000, 2.0, 0.01);
    EXPECT_GT(toneShare(pcm, 16000, 0.05, 0.95, 440), 0.9);
    EXPECT_GT(toneShare(pcm, 16000, 1.05, 1.95, 880), 0.9) << "the files after the bad ones are kept";
    EXPECT_EQ(pipeline->logs().size(), 0);
}

TEST_F(Extraction, NothingToHearFailsTheStep) {
    ASSERT_TRUE(writeFile(media + "/empty.wav", {}));
    ASSERT_TRUE(writeFile(media + "/notes.wav", "not audio\n"));
    ASSERT_TRUE(makeSilentVideo(media + "/v.mp4", 1.0));
    const QStringList bad[] = {{media + "/gone.wav"},
                               {media + "/empty.wav"},
                               {media + "/notes.wav"},
                               {media + "/v.mp4"},
                               {media + "/gone.wav", media + "/notes.wav"},
                               {media + "/v.mp4", media + "/gone.wav"},
                               {}};
    ASSERT_TRUE(writeFile(cache("extracted_audio.wav"), "the last good extraction"));
    for (const auto& paths : bad)
        EXPECT_FALSE(extract(paths)) << paths.join(", ").toStdString();
    EXPECT_EQ(pipeline->logs().size(), 0);
    // Nothing half-written replaces what the last extraction left.
    EXPECT_EQ(readFile(cache("extracted_audio.wav")), "the last good extraction");
    EXPECT_EQ(QDir(home.paths().cacheDir).entryList({"*.wav"}), QStringList{"extracted_audio.wav"});
}

// ---- chunking --------------------------------------------------------------------------------

TEST(ChunkPlan, CountsNamesAndArguments) {
    const struct {
        double duration;
        int count;
    } counts[] = {{0, 0},     {-5, 0},    {std::nan(""), 0}, {1, 1},
                  {300.0, 1}, {300.1, 2}, {1200, 4},         {1200.0001, 5}};
    for (const auto& c : counts)
        EXPECT_EQ(chunkCount(c.duration), c.count) << c.duration;
    EXPECT_EQ(chunkPath("/c", 0), "/c/chunk_000.wav");
    EXPECT_EQ(chunkPath("/c", 42), "/c/chunk_042.wav");
    EXPECT_EQ(chunkPath("/c", 1000), "/c/chunk_1000.wav");
    EXPECT_EQ(chunkArguments("/c/in.wav", 2, "/c/o.wav", false),
              (QStringList{"-y", "-i", "/c/in.wav", "-ss", "600.0", "-t", "300.0", "-ac", "1", "-ar", "16000",
                           "-acodec", "pcm_s16le", "/c/o.wav"}));
    EXPECT_EQ(chunkArguments("/c/in.wav", 0, "/c/o.wav", true),
              (QStringList{"-y", "-ss", "0.0", "-i", "/c/in.wav", "-t", "300.0", "-ac", "1", "-ar", "16000",
                           "-acodec", "pcm_s16le", "/c/o.wav"}));
}

TEST(ChunkPlan, OnlyTheExtractionsOwnFormatSeeksBeforeTheInput) {
    QTemporaryDir dir;
    const struct {
        const char* name;
        int rate;
        int channels;
        const char* codec;
        bool own;
    } cases[] = {{"own.wav", 16000, 1, "pcm_s16le", true},
                 {"rate.wav", 48000, 1, "pcm_s16le", false},
                 {"stereo.wav", 16000, 2, "pcm_s16le", false},
                 {"deep.wav", 16000, 1, "pcm_s24le", false}};
    for (const auto& c : cases) {
        const QString path = dir.path() + "/" + c.name;
        ASSERT_TRUE(makeToneWav(path, 0.5, 440, c.rate, c.channels, c.codec));
        EXPECT_EQ(isExtractedPcmWav(path), c.own) << c.name;
    }
    writeFile(dir.path() + "/text.wav", "RIFF....WAVEfmt nonsense");
    EXPECT_FALSE(isExtractedPcmWav(dir.path() + "/text.wav"));
    EXPECT_FALSE(isExtractedPcmWav(dir.path() + "/missing.wav"));
}

class Chunking : public Extraction {
protected:
    QStringList chunk(const QString& wav) { return QCoro::waitFor(chunkAudio(*pipeline, wav)); }
    QString chunks(const QString& name) const { return home.paths().cacheDir + "/chunks/" + name; }
    bool silence(const QString& path, double seconds) {
        return ffmpeg({"-f", "lavfi", "-i", "anullsrc=r=16000:cl=mono", "-t",
                       QString::number(seconds, 'f', 3), "-ac", "1", "-c:a", "pcm_s16le", path});
    }
};

TEST_F(Chunking, ThreeHundredSecondsIsOneChunkAndAFractionMoreIsTwo) {
    ASSERT_TRUE(silence(media + "/300.wav", 300.0));
    ASSERT_TRUE(silence(media + "/300.1.wav", 300.1));
    EXPECT_EQ(chunk(media + "/300.wav"), QStringList{chunks("chunk_000.wav")});
    EXPECT_EQ(chunk(media + "/300.1.wav"), (QStringList{chunks("chunk_000.wav"), chunks("chunk_001.wav")}));
    EXPECT_NEAR(mediaDuration(chunks("chunk_001.wav")), 0.1, 0.001);
}

TEST_F(Chunking, ASecondRunLeavesNoChunkOfTheFirst) {
    ASSERT_TRUE(silence(media + "/long.wav", 1200));
    ASSERT_TRUE(silence(media + "/short.wav", 10));
    EXPECT_EQ(chunk(media + "/long.wav"), (QStringList{chunks("chunk_000.wav"), chunks("chunk_001.wav"),
                                                       chunks("chunk_002.wav"), chunks("chunk_003.wav")}));
    writeFile(chunks("stray.txt"), "x");
    EXPECT_EQ(chunk(media + "/short.wav"), QStringList{chunks("chunk_000.wav")});
    EXPECT_EQ(QDir(home.paths().cacheDir + "/chunks").entryList(QDir::Files), QStringList{"chunk_000.wav"});
}

TEST_F(Chunking, AFileOfUnreadableLengthGoesWhole) {
    ASSERT_TRUE(writeFile(media + "/notes.wav", "not audio\n"));
    EXPECT_EQ(chunk(media + "/notes.wav"), QStringList{media + "/notes.wav"});
    EXPECT_EQ(chunk(media + "/gone.wav"), QStringList{media + "/gone.wav"});
    EXPECT_TRUE(QDir(home.paths().cacheDir + "/chunks").exists());
}

TEST_F(Chunking, SeekingBeforeTheInputWritesTheSameBytesAsTheDocumentedSeek) {
    // Noise, so a shift of a single sample changes the bytes; 650 s gives a short last chunk.
    ASSERT_TRUE(makeNoiseWav(media + "/noise.wav", 650.0));
    ASSERT_TRUE(QFile::copy(media + "/noise.wav", cache("extracted_audio.wav")) ||
                (QDir().mkpath(home.paths().cacheDir) &&
                 QFile::copy(media + "/noise.wav", cache("extracted_audio.wav"))));
    const QStringList got = chunk(cache("extracted_audio.wav"));
    ASSERT_EQ(got.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const QString reference = media + QStringLiteral("/ref_%1.wav").arg(i);
        // The documented form: the seek after the input, decoding everything before it.
        ASSERT_TRUE(ffmpeg(chunkArguments(cache("extracted_audio.wav"), i, reference, false)));
        const QByteArray expected = readFile(reference);
        EXPECT_GT(expected.size(), 1000);
        EXPECT_TRUE(readFile(got[i]) == expected) << "chunk " << i << " differs";
    }
}

} // namespace
