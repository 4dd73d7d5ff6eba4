// The speech-to-text requests against a fake service: the exact multipart body, the clock across
// chunks, each failure's line, and the word-level pass over the chosen moments.
#include "MediaFixtures.h"
#include "media/MediaSteps.h"
#include "support/FakeHttpServer.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QByteArray kPath = "/v1/audio/transcriptions";
const QString kKey = QStringLiteral("sk-test-0123456789abcdef");

QByteArray segmentsJson(const QList<std::tuple<double, double, const char*>>& segments,
                        const char* language = "spanish") {
    Json j = Json::object();
    j["text"] = "whatever";
    if (language)
        j["language"] = language;
    j["segments"] = Json::array();
    for (const auto& [s, e, t] : segments)
        j["segments"].push_back(Json{{"id", 0}, {"start", s}, {"end", e}, {"text", t}});
    return QByteArray::fromStdString(j.dump());
}

class Whisper : public ::testing::Test {
protected:
    TestHome home;
    FakeHttpServer server;
    std::unique_ptr<LocalPipeline> pipeline = mediaPipeline(home, server.baseUrl(), kKey);
    QString media = home.path() + "/media";

    void SetUp() override { QDir().mkpath(media); }

    // Real WAVs, so the offsets come from their measured lengths.
    QStringList chunks(const QList<double>& seconds) {
        QStringList out;
        for (int i = 0; i < seconds.size(); ++i) {
            const QString path = media + QStringLiteral("/chunk_%1.wav").arg(i, 3, 10, QLatin1Char('0'));
            EXPECT_TRUE(makeToneWav(path, seconds[i], 440));
            out << path;
        }
        return out;
    }
    std::optional<TranscriptResult> run(const QStringList& chunkPaths, const QString& language = "es") {
        return QCoro::waitFor(transcribe(*pipeline, chunkPaths, language));
    }
    QString logText() const {
        QStringList lines;
        for (const auto& l : pipeline->logs())
            lines << l.text;
        return lines.join('\n');
    }
};

TEST_F(Whisper, SendsTheMultipartBodyByteForByte) {
    const QByteArray audio("RIFF\x00\x01\x02\r\n--not-a-boundary\xff", 29);
    writeFile(media + "/take one.wav", audio);
    server.respondJson(kPath, 200, segmentsJson({{0, 1, "hola"}}));

    for (const QString language : {"es", "auto"}) {
        const auto answer = QCoro::waitFor(transcribeChunk(*pipeline, media + "/take one.wav", language));
        ASSERT_TRUE(answer) << language.toStdString();
    }
    const auto requests = server.requestsTo(kPath);
    ASSERT_EQ(requests.size(), 2);
    QSet<QByteArray> boundaries;
    for (int i = 0; i < 2; ++i) {
        const RecordedRequest& r = requests[i];
        EXPECT_EQ(r.method, "POST");
        EXPECT_EQ(r.header("authorization"), "Bearer " + kKey.toUtf8());
        const QByteArray type = r.header("content-type");
        const QByteArray prefix = "multipart/form-data; boundary=";
        ASSERT_TRUE(type.startsWith(prefix)) << type.toStdString();
        const QByteArray b = type.mid(prefix.size());
        EXPECT_TRUE(QRegularExpression("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")
                        .match(QString::fromLatin1(b))
                        .hasMatch())
            << b.toStdString();
        boundaries.insert(b);

        QByteArray expected =
            "--" + b + "\r\nContent-Disposition: form-data; name=\"model\"\r\n\r\nwhisper-1\r\n" + "--" + b +
            "\r\nContent-Disposition: form-data; name=\"response_format\"\r\n\r\nverbose_json\r\n" + "--" +
            b +
            "\r\nContent-Disposition: form-data; name=\"timestamp_granularities[]\"\r\n\r\n"
            "segment\r\n";
        if (i == 0)
            expected += "--" + b + "\r\nContent-Disposition: form-data; name=\"language\"\r\n\r\nes\r\n";
        expected += "--" + b +
                    "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"take one.wav\"\r\n"
                    "Content-Type: audio/wav\r\n\r\n" +
                    audio + "\r\n--" + b + "--\r\n";
        EXPECT_EQ(r.body, expected) << "request " << i;
    }
    EXPECT_EQ(boundaries.size(), 2) << "a new boundary for each request";
}

TEST_F(Whisper, LaysChunksOnOneClockByTheirMeasuredLengths) {
    server.respondJson(kPath, 200, segmentsJson({{0, 1.5, "hola"}, {1.5, 2.5, "que tal"}}));
    server.respondJson(kPath, 200, segmentsJson({{1, 1.5, "adiós"}}, "english"));
    QList<double> progress;
    QObject::connect(pipeline.get(), &LocalPipeline::progressChanged,
                     [&] { progress << pipeline->progress(); });

    const auto t = run(chunks({3.0, 2.0}));
    ASSERT_TRUE(t);
    EXPECT_EQ(t->segments, (QList<TranscriptSegment>{{0, 1.5, "hola", "spanish"},
                                                     {1.5, 2.5, "que tal", "spanish"},
                                                     {4, 4.5, "adiós", "english"}}));
    EXPECT_EQ(t->language, "spanish");
    EXPECT_EQ(progress, (QList<double>{0.15, 0.3}));
    EXPECT_EQ(logLines(*pipeline), (QList<LogLine>{{"  Transcribing chunk 1/2...", "dim"},
                                                   {"  Transcribing chunk 2/2...", "dim"}}));
}

TEST_F(Whisper, AFailedChunkLeavesItsHole) {
    server.respondJson(kPath, 500, R"({"error":"oops"})");
    server.respondJson(kPath, 200, segmentsJson({{0.5, 1, "sigue"}}, nullptr));
    const auto t = run(chunks({3.0, 2.0}));
    ASSERT_TRUE(t);
    EXPECT_EQ(t->segments, (QList<TranscriptSegment>{{3.5, 4, "sigue", "unknown"}}));
    EXPECT_EQ(t->language, "unknown");
    EXPECT_EQ(logLines(*pipeline), (QList<LogLine>{{"  Transcribing chunk 1/2...", "dim"},
                                                   {R"(  Whisper error: {"error":"oops"})", "accent"},
                                                   {"  ⚠ Chunk 1 failed, skipping", "accent"},
                                                   {"  Transcribing chunk 2/2...", "dim"}}));
}

TEST_F(Whisper, AnAnswerWithoutSegmentsStillMovesTheClock) {
    server.respondJson(kPath, 200, R"({"text":"","segments":[]})");
    server.respondJson(kPath, 200, segmentsJson({{0, 1, "ya"}}));
    const auto t = run(chunks({2.5, 1.0}));
    ASSERT_TRUE(t);
    EXPECT_EQ(t->segments, (QList<TranscriptSegment>{{2.5, 3.5, "ya", "spanish"}}));
}

TEST_F(Whisper, ErrorBodiesAreCutTo200Characters) {
    const struct {
        QByteArray body;
        QString logged;
    } cases[] = {
        {QByteArray(1000, 'x'), QString(200, 'x')},
        {QByteArray(), QString()},
        {QByteArray("\xff\xfe bad", 6), "unknown"},
        {(QString(199, 'a') + "😀é").toUtf8(), QString(199, 'a') + "😀"},
        // The service may quote the key it was sent; the log never shows it.
        {"Incorrect API key provided: " + kKey.toUtf8(), "Incorrect API key provided: ***"},
    };
    for (const auto& c : cases) {
        FakeHttpServer one;
        one.respondJson(kPath, 500, c.body);
        auto p = mediaPipeline(home, one.baseUrl(), kKey);
        writeFile(media + "/c.wav", "x");
        EXPECT_FALSE(QCoro::waitFor(transcribeChunk(*p, media + "/c.wav", "es")));
        EXPECT_EQ(logLines(*p), (QList<LogLine>{{"  Whisper error: " + c.logged, "accent"}}));
    }
}

TEST_F(Whisper, UnreadableAnswersAndDroppedConnectionsAreRequestFailures) {
    const struct {
        ScriptedResponse response;
        const char* logged;
    } cases[] = {
        {{200, R"({"language":"es"})"},
         "  Whisper request failed: The data couldn’t be read because it is missing."},
        {{200, R"({"text":"a","segments":[{"start":"0","end":1,"text":"a"}]})"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
        {{200, "<html>busy</html>"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
    };
    for (const auto& c : cases) {
        FakeHttpServer one;
        one.enqueue(kPath, c.response);
        auto p = mediaPipeline(home, one.baseUrl(), kKey);
        writeFile(media + "/c.wav", "x");
        EXPECT_FALSE(QCoro::waitFor(transcribeChunk(*p, media + "/c.wav", "es")));
        EXPECT_EQ(logLines(*p), (QList<LogLine>{{c.logged, "accent"}}));
    }

    FakeHttpServer dropping;
    ScriptedResponse drop;
    drop.dropConnection = true;
    dropping.enqueue(kPath, drop);
    auto p = mediaPipeline(home, dropping.baseUrl(), kKey);
    writeFile(media + "/c.wav", "x");
    EXPECT_FALSE(QCoro::waitFor(transcribeChunk(*p, media + "/c.wav", "es")));
    ASSERT_EQ(p->logs().size(), 1);
    EXPECT_TRUE(p->logs()[0].text.startsWith("  Whisper request failed: "))
        << p->logs()[0].text.toStdString();
}

TEST_F(Whisper, EveryChunkFailingGivesNothing) {
    server.respondJson(kPath, 503, "down");
    const QStringList paths = chunks({1.0, 1.0}) << media + "/missing.wav";
    EXPECT_FALSE(run(paths));
    // The missing file is never sent and has no line of its own beyond its chunk's.
    EXPECT_EQ(server.requestsTo(kPath).size(), 2);
    EXPECT_EQ(logLines(*pipeline).mid(6), (QList<LogLine>{{"  Transcribing chunk 3/3...", "dim"},
                                                          {"  ⚠ Chunk 3 failed, skipping", "accent"}}));
}

TEST_F(Whisper, CancelGivesNothingAndSendsNothing) {
    server.respondJson(kPath, 200, segmentsJson({{0, 1, "hola"}}));
    const QStringList paths = chunks({1.0});
    pipeline->cancel();
    EXPECT_FALSE(run(paths));
    EXPECT_TRUE(server.requests().isEmpty());
    EXPECT_TRUE(pipeline->logs().isEmpty());
}

// ---- word level ------------------------------------------------------------------------------

TEST(WhisperWords, DropsIncompleteWords) {
    const struct {
        const char* body;
        std::optional<QList<WordTimestamp>> words;
    } cases[] = {
        {R"({"words":[{"word":"a","start":0,"end":0.5},{"word":"b","start":0.5},{"word":"c","start":1,"end":2}]})",
         QList<WordTimestamp>{{"a", 0, 0.5}, {"c", 1, 2}}},
        {R"({"words":[{"word":1,"start":0,"end":1},{"word":"x","start":"0","end":1},7,{"word":"y","start":0,"end":null}]})",
         QList<WordTimestamp>{}},
        {R"({"words":[]})", QList<WordTimestamp>{}},
        {R"({"text":"no words"})", std::nullopt},
        {R"({"words":{}})", std::nullopt},
        {R"([])", std::nullopt},
        {"nope", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readWhisperWords(c.body), c.words) << c.body;
}

TEST(WordCut, ArgumentsUseTheShortestDoubleText) {
    EXPECT_EQ(wordCutArguments("/c/extracted_audio.wav", 125.5, 158.2, "/c/word_seg_0.wav"),
              (QStringList{"-y", "-i", "/c/extracted_audio.wav", "-ss", "125.5", "-t", "32.69999999999999",
                           "-ac", "1", "-ar", "16000", "-acodec", "pcm_s16le", "/c/word_seg_0.wav"}));
    EXPECT_EQ(wordCutArguments("/a", 10, 12, "/o").mid(3, 4), (QStringList{"-ss", "10.0", "-t", "2.0"}));
}

MiningResults moments(const QList<std::pair<double, double>>& times) {
    MiningResults r;
    qint64 index = 1;
    for (const auto& [s, e] : times)
        r.segments.push_back({index++, s, e, "source", "t", "t", {}});
    return r;
}

TEST_F(Whisper, WordLevelWithoutExtractedAudioSaysSoAndGivesNothing) {
    const auto words = QCoro::waitFor(wordLevelTranscribe(*pipeline, moments({{0, 1}}), {"/m/a.wav"}, "es"));
    EXPECT_TRUE(words.isEmpty());
    EXPECT_EQ(logLines(*pipeline),
              (QList<LogLine>{{"  No extracted audio for word-level transcription", "dim"}}));
    EXPECT_TRUE(server.requests().isEmpty());
}

TEST_F(Whisper, WordLevelCutsEachMomentAndKeepsItsPosition) {
    QDir().mkpath(home.paths().cacheDir);
    ASSERT_TRUE(makeToneWav(home.paths().cacheDir + "/extracted_audio.wav", 10.0, 440));
    server.respondJson(kPath, 200,
                       R"({"words":[{"word":"uno","start":0.1,"end":0.4},{"word":"dos","start":0.5}]})");
    server.respondJson(kPath, 500, "fail");
    server.respondJson(kPath, 200, R"({"words":[{"word":"tres","start":0,"end":0.3}]})");
    server.respondJson(kPath, 200, R"({"words":[]})");

    // The third moment cannot be cut (it ends before it starts), so it sends nothing.
    const MiningResults analysis = moments({{1, 2.5}, {3, 4}, {6, 5}, {5, 5.75}, {7, 8}});
    const auto words = QCoro::waitFor(wordLevelTranscribe(*pipeline, analysis, {}, "auto"));
    EXPECT_EQ(words, (QList<WordSegment>{{0, {{"uno", 0.1, 0.4}}}, {3, {{"tres", 0, 0.3}}}, {4, {}}}));
    EXPECT_EQ(logLines(*pipeline).size(), 5);
    EXPECT_EQ(logLines(*pipeline)[2], (LogLine{"  Word transcribing segment 3/5...", "dim"}));
    EXPECT_NEAR(mediaDuration(home.paths().cacheDir + "/word_seg_0.wav"), 1.5, 0.001);
    EXPECT_NEAR(mediaDuration(home.paths().cacheDir + "/word_seg_3.wav"), 0.75, 0.001);

    const auto requests = server.requestsTo(kPath);
    ASSERT_EQ(requests.size(), 4);
    for (const auto& r : requests) {
        EXPECT_TRUE(r.body.contains("name=\"timestamp_granularities[]\"\r\n\r\nword\r\n"));
        EXPECT_FALSE(r.body.contains("name=\"language\""));
    }
    EXPECT_TRUE(requests[0].body.contains("filename=\"word_seg_0.wav\""));
}

} // namespace
