// Extracting one WAV of the timeline's files with the real ffmpeg, and cutting it into chunks.
#include "MediaFixtures.h"
#include "media/ChunkUploads.h"

#include "core/Text.h"
#include "media/PcmWav.h"
#include "media/Transcription.h"

#include <sys/resource.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

class Extraction : public MediaTest {
protected:
    std::optional<QString> extract(const QStringList& paths) {
        return QCoro::waitFor(extractAudio(*pipeline, paths));
    }
    QStringList chunk(const QString& wav) { return QCoro::waitFor(chunkAudio(*pipeline, wav)); }
    QString chunks(const QString& name) const { return cache("chunks/" + name); }
};

TEST_F(Extraction, SeveralFilesJoinInSortedPathOrder) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440));
    ASSERT_TRUE(makeToneWav(media + "/b.wav", 2.0, 1200));
    const auto out = extract({media + "/b.wav", media + "/a.wav"});
    ASSERT_EQ(out, cache("extracted_audio.wav"));
    EXPECT_TRUE(isExtractedPcmWav(*out));
    EXPECT_EQ(readFile(cache("concat.txt")),
              ("file '" + media + "/a.wav'\nfile '" + media + "/b.wav'").toUtf8());
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(pcm.size() / 16000.0, 3.0, 0.01);
    EXPECT_GT(toneShare(window(pcm, 0.05, 0.95), 440), 0.9);
    EXPECT_GT(toneShare(window(pcm, 1.05, 2.95), 1200), 0.9);
}

TEST_F(Extraction, CameraMovAfterBroadcastWavsKeepsItsSpeechAndTheClock) {
    // A plain concat list would map the MOV's video stream onto the WAVs' audio stream.
    const QString a = media + "/A001.wav", b = media + "/A002.wav", c = media + "/C0001.mov";
    ASSERT_TRUE(makeBroadcastWav(a, 3.0, 300, 172800000));
    ASSERT_TRUE(makeBroadcastWav(b, 2.0, 500, 173000000));
    ASSERT_TRUE(makeCameraMov(c, 4.0, 1000, "01:00:00;12", "30000/1001"));
    const auto out = extract({c, b, a});
    ASSERT_TRUE(out);
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(pcm.size() / 16000.0, mediaDuration(a) + mediaDuration(b) + mediaDuration(c), 0.1);
    EXPECT_GT(toneShare(window(pcm, 0.1, 2.9), 300), 0.9);
    EXPECT_GT(toneShare(window(pcm, 3.1, 4.9), 500), 0.9);
    EXPECT_GT(toneShare(window(pcm, 5.2, 8.8), 1000), 0.9) << "the MOV's speech is lost";
    EXPECT_EQ(QCoro::waitFor(probeMediaFile(*pipeline, c))->startTimecode, QStringLiteral("01:00:00;12"));
}

TEST_F(Extraction, FilesWithoutSoundKeepTheirPlaceAndUnreadableOnesCostOnlyTheirOwn) {
    ASSERT_TRUE(makeToneWav(media + "/a.wav", 1.0, 440, 48000, 2));
    ASSERT_TRUE(makeSilentVideo(media + "/b.mp4", 2.0));
    ASSERT_TRUE(writeFile(media + "/c.wav", {}));
    ASSERT_TRUE(writeFile(media + "/d.wav", "not audio\n"));
    ASSERT_TRUE(makeToneWav(media + "/f.wav", 1.0, 880));
    const auto out = extract({media + "/f.wav", media + "/e.wav", media + "/d.wav", media + "/c.wav",
                              media + "/b.mp4", media + "/a.wav"});
    ASSERT_TRUE(out);
    const auto pcm = readPcm16(*out);
    EXPECT_NEAR(pcm.size() / 16000.0, 4.0, 0.05);
    EXPECT_GT(toneShare(window(pcm, 0.05, 0.95), 440), 0.9);
    const auto silence = window(pcm, 1.05, 2.95);
    EXPECT_TRUE(std::all_of(silence.begin(), silence.end(), [](qint16 s) { return std::abs(s) < 4; }));
    EXPECT_GT(toneShare(window(pcm, 3.05, 3.95), 880), 0.9) << "the files after the bad ones are kept";
    EXPECT_TRUE(pipeline->logs().isEmpty());

    // Nothing to hear fails, leaving the last good extraction and no part of a new one.
    ASSERT_TRUE(writeFile(cache("extracted_audio.wav"), "the last good extraction"));
    for (const QStringList& bad :
         {QStringList{media + "/e.wav"}, QStringList{media + "/c.wav"},
          QStringList{media + "/b.mp4", media + "/d.wav", media + "/e.wav"}, QStringList{}})
        EXPECT_FALSE(extract(bad)) << bad.join(", ").toStdString();
    EXPECT_EQ(readFile(cache("extracted_audio.wav")), "the last good extraction");
    EXPECT_EQ(QDir(home.paths().cacheDir).entryList({"*.wav"}), QStringList{"extracted_audio.wav"});
}

TEST_F(Extraction, ReusesEachFilesProbeByItsFullPath) {
    // Every card of a camera starts again at C0001; the second card's clip is the longer. The WAV
    // makes the layouts mixed, so each file's own length places the next.
    const QString wav = media + "/A001.wav", a = media + "/cardA/C0001.MOV", b = media + "/cardB/C0001.MOV";
    QDir().mkpath(media + "/cardA");
    QDir().mkpath(media + "/cardB");
    ASSERT_TRUE(makeToneWav(wav, 1.0, 440));
    ASSERT_TRUE(makeCameraMov(a, 1.0, 500, "01:00:00:00"));
    ASSERT_TRUE(makeCameraMov(b, 3.0, 1000, "02:00:00:00"));
    const QString runs = home.path() + "/ffprobe_runs.txt", wrapper = home.path() + "/ffprobe";
    ASSERT_TRUE(writeFile(wrapper,
                          QStringLiteral("#!/bin/sh\nfor last; do :; done\nprintf '%s\\n' \"$last\" >> '%1'\n"
                                         "exec '%2' \"$@\"\n")
                              .arg(runs, ToolPaths::platformDefault().ffprobe)
                              .toUtf8()));
    QFile::setPermissions(wrapper, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    PipelineEnvironment env = home.pipelineEnvironment();
    env.tools.ffprobe = wrapper;
    const auto counted = mediaPipeline(env);

    QCoro::waitFor(probeAllMedia(*counted, {wav, a, b}));
    const auto out = QCoro::waitFor(extractAudio(*counted, {b, a, wav}));
    ASSERT_TRUE(out);
    // Probes run several at once, so each file once, in any order.
    QStringList probed = QString::fromUtf8(readFile(runs)).split('\n', Qt::SkipEmptyParts);
    probed.sort();
    QStringList expected{wav, a, b};
    expected.sort();
    EXPECT_EQ(probed, expected);
    EXPECT_NEAR(readPcm16(*out).size() / 16000.0, 1.0 + mediaDuration(a) + mediaDuration(b), 0.1);
}

// The soft limit on open files, lowered for one scope; ffmpeg's children inherit it.
class OpenFilesLimit {
public:
    explicit OpenFilesLimit(rlim_t soft) {
        getrlimit(RLIMIT_NOFILE, &m_saved);
        rlimit lowered = m_saved;
        lowered.rlim_cur = soft;
        setrlimit(RLIMIT_NOFILE, &lowered);
    }
    ~OpenFilesLimit() { setrlimit(RLIMIT_NOFILE, &m_saved); }

private:
    rlimit m_saved{};
};

TEST_F(Extraction, ManyClipsOfMixedLayoutsStayUnderTheOpenFilesLimitAndKeepEachFilesOwnAudio) {
    // Noise in three formats, of lengths that are no whole number of output samples: a resampler
    // that ran across two files, or a piece cut short or out of order, changes the samples.
    const struct {
        int rate, channels;
        const char* codec;
    } kinds[] = {{48000, 2, "pcm_s24le"}, {44100, 1, "pcm_s16le"}, {16000, 1, "pcm_s16le"}};
    QStringList graph, outputs, sources;
    for (int i = 0; i < 56; ++i) {
        const auto& kind = kinds[i % 3];
        graph << QStringLiteral("anoisesrc=r=%1:a=0.3:seed=%2:d=%3[n%2]")
                     .arg(kind.rate)
                     .arg(i + 1)
                     .arg(0.05 + 0.0013 * i);
        sources << media + QStringLiteral("/clip_%1.wav").arg(i, 3, 10, QLatin1Char('0'));
        outputs << "-map" << QStringLiteral("[n%1]").arg(i + 1) << "-ac" << QString::number(kind.channels)
                << "-c:a" << kind.codec << sources.back();
    }
    ASSERT_TRUE(ffmpeg(QStringList{"-filter_complex", graph.join(';')} + outputs));
    // The camera file sorts right after clip_030, the silent one after clip_045.
    const QString camera = media + "/clip_030b.mov", silent = media + "/clip_045b.mp4";
    ASSERT_TRUE(makeCameraMov(camera, 1.0, 1000, "01:00:00:00"));
    ASSERT_TRUE(makeSilentVideo(silent, 0.4));
    sources << camera << silent;
    const QStringList ordered = sortedPaths(sources);

    std::optional<QString> out;
    {
        const OpenFilesLimit limit(48);
        QCoro::waitFor(probeAllMedia(*pipeline, sources));
        out = extract(sources);
    }
    ASSERT_TRUE(out) << "ffmpeg opened more files than it may";

    // Each file converted on its own, padded or cut to its length on the clock (the camera's AAC
    // decodes a little past the container's end).
    QStringList convert;
    for (const QString& path : ordered)
        convert << "-i" << path;
    for (int i = 0; i < ordered.size(); ++i)
        if (ordered[i] != silent)
            convert << "-map" << QStringLiteral("%1:a").arg(i)
                    << QStringList{"-ac", "1", "-ar", "16000", "-c:a", "pcm_s16le", ordered[i] + ".ref.wav"};
    ASSERT_TRUE(ffmpeg(convert));
    std::vector<qint16> expected;
    for (const QString& path : ordered) {
        auto own = path == silent ? std::vector<qint16>() : readPcm16(path + ".ref.wav");
        const auto length =
            size_t(std::lround(pipeline->probeResults()[QFileInfo(path).fileName()].duration * 16000));
        own.resize(length);
        expected.insert(expected.end(), own.begin(), own.end());
    }
    const auto pcm = readPcm16(*out);
    ASSERT_EQ(pcm.size(), expected.size());
    const auto diff = std::mismatch(pcm.begin(), pcm.end(), expected.begin());
    EXPECT_TRUE(diff.first == pcm.end())
        << "first difference at " << (diff.first - pcm.begin()) / 16000.0 << " s";
    EXPECT_EQ(QDir(home.paths().cacheDir).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList{})
        << "the pieces are left behind";
}

TEST_F(Extraction, ChunksOfFiveMinutesAndNoneLeftFromTheRunBefore) {
    ASSERT_TRUE(lavfi("anullsrc=r=16000:cl=mono", {"-t", "300.1", "-c:a", "pcm_s16le", media + "/long.wav"}));
    ASSERT_TRUE(
        lavfi("anullsrc=r=16000:cl=mono", {"-t", "300.0", "-c:a", "pcm_s16le", media + "/exact.wav"}));
    EXPECT_EQ(chunk(media + "/long.wav"), (QStringList{chunks("chunk_000.flac"), chunks("chunk_001.flac")}));
    EXPECT_NEAR(mediaDuration(chunks("chunk_001.flac")), 0.1, 0.001);
    writeFile(chunks("stray.txt"), "x");
    EXPECT_EQ(chunk(media + "/exact.wav"), QStringList{chunks("chunk_000.flac")});
    EXPECT_EQ(QDir(cache("chunks")).entryList(QDir::Files), QStringList{"chunk_000.flac"});
    // A file of unreadable length goes whole.
    EXPECT_EQ(chunk(media + "/gone.wav"), QStringList{media + "/gone.wav"});
}

// The samples ffmpeg decodes from a file, as 16-bit mono PCM.
QByteArray decodedPcm(const QString& path) {
    QByteArray pcm;
    EXPECT_TRUE(runTool(ToolPaths::platformDefault().ffmpeg,
                        {"-v", "error", "-nostdin", "-i", path, "-f", "s16le", "-acodec", "pcm_s16le", "-"},
                        &pcm))
        << path.toStdString();
    return pcm;
}

// The chunks and moments that go up as FLAC hold exactly the samples the documented ffmpeg commands
// write as WAV from the same file (FLAC is lossless: ffmpeg decodes both to the same PCM), about
// half the bytes, and the chunk's length is the one ffprobe prints for the documented WAV.
TEST_F(Extraction, ChunksAndMomentsGoAsFlacOfTheSamplesOfTheDocumentedCommands) {
    // Noise, so a shift of one sample changes the bytes; a last chunk of 50 s and one of 3 samples.
    for (const char* seconds : {"650", "600.0001875"}) {
        SCOPED_TRACE(seconds);
        const QString wav = cache("extracted_audio.wav");
        ASSERT_TRUE(lavfi(QStringLiteral("anoisesrc=r=16000:a=0.5:seed=7:d=%1").arg(seconds),
                          {"-ac", "1", "-c:a", "pcm_s16le", wav}));
        const QStringList got = chunk(wav);
        ASSERT_EQ(got.size(), 3);
        for (int i = 0; i < 3; ++i) {
            const QString reference = media + QStringLiteral("/ref_%1.wav").arg(i);
            ASSERT_TRUE(ffmpeg({"-i", wav, "-ss", QStringLiteral("%1.0").arg(300 * i), "-t", "300.0", "-ac",
                                "1", "-ar", "16000", "-acodec", "pcm_s16le", reference}));
            EXPECT_TRUE(got[i].endsWith(".flac"));
            const QByteArray samples = decodedPcm(reference);
            EXPECT_FALSE(samples.isEmpty());
            EXPECT_TRUE(decodedPcm(got[i]) == samples) << "chunk " << i << " differs";
            // The length that lays the next chunk on the clock, without ffprobe.
            ASSERT_TRUE(flacSamples(got[i]));
            EXPECT_EQ(samplesDuration(*flacSamples(got[i])), mediaDuration(reference)) << "chunk " << i;
        }
    }
    EXPECT_LT(QFileInfo(chunks("chunk_000.flac")).size(), 9600078);

    // The moments are cut by one ffmpeg run for all of them.
    const QString wav = cache("extracted_audio.wav");
    MiningResults analysis;
    for (const auto& [start, end] : QList<std::pair<double, double>>{
             {0, 1.5}, {125.5, 158.2}, {17.03125, 19.0000313}, {99.99997, 100.5}, {599.9, 640}})
        analysis.segments.push_back({analysis.segments.size(), start, end, "source", "t", "t", {}});
    QCoro::waitFor(wordLevelTranscribe(*pipeline, analysis, {}, "es"));
    for (qsizetype i = 0; i < analysis.segments.size(); ++i) {
        const StorySegment& m = analysis.segments[i];
        const QString documented = media + "/documented.wav", seekBefore = media + "/before.wav",
                      alone = media + "/alone.flac";
        ASSERT_TRUE(ffmpeg(wordCutArguments(wav, m.startTime, m.endTime, documented, false)));
        ASSERT_TRUE(ffmpeg(wordCutArguments(wav, m.startTime, m.endTime, seekBefore, true)));
        ASSERT_TRUE(ffmpeg(wordCutArguments(wav, m.startTime, m.endTime, alone, true)));
        EXPECT_GT(readFile(documented).size(), 78);
        EXPECT_TRUE(readFile(seekBefore) == readFile(documented)) << i;
        EXPECT_TRUE(decodedPcm(cache(QStringLiteral("word_seg_%1.flac").arg(i))) == decodedPcm(documented))
            << i;
        EXPECT_TRUE(decodedPcm(alone) == decodedPcm(documented)) << i;
    }
}

} // namespace
