// The speech-to-text requests against a fake service: the exact multipart body, the clock across
// chunks, each failure's line, and the word-level pass over the chosen moments.
#include "MediaFixtures.h"
#include "support/FakeHttpServer.h"

#include <QRegularExpression>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QByteArray kPath = "/v1/audio/transcriptions";

class Whisper : public MediaTest {
protected:
    FakeHttpServer server;
    Whisper() { pipeline = mediaPipeline(home, server.baseUrl()); }
};

TEST_F(Whisper, SendsTheMultipartBodyByteForByte) {
    const QByteArray audio("RIFF\x00\x01\x02\r\n--not-a-boundary\xff", 29);
    writeFile(media + "/take one.wav", audio);
    server.respondJson(kPath, 200, R"({"text":"hola","segments":[]})");
    for (const QString language : {"es", "auto"})
        ASSERT_TRUE(QCoro::waitFor(transcribeChunk(*pipeline, media + "/take one.wav", language)));

    const auto requests = server.requestsTo(kPath);
    ASSERT_EQ(requests.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const RecordedRequest& r = requests[i];
        EXPECT_EQ(r.method, "POST");
        EXPECT_EQ(r.header("authorization"), "Bearer " + kKey.toUtf8());
        const QByteArray b = r.header("content-type").mid(30);
        EXPECT_EQ(r.header("content-type"), "multipart/form-data; boundary=" + b);
        EXPECT_TRUE(QRegularExpression("^[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}$").match(b).hasMatch())
            << b.data();
        EXPECT_NE(b, requests[1 - i].header("content-type").mid(30)) << "a new boundary for each request";
        const auto field = [&](const char* name, const QByteArray& value) {
            return "--" + b + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
                   "\r\n";
        };
        const QByteArray expected =
            field("model", "whisper-1") + field("response_format", "verbose_json") +
            field("timestamp_granularities[]", "segment") +
            (i == 0 ? field("language", "es") : QByteArray()) + "--" + b +
            "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"take one.wav\"\r\n"
            "Content-Type: audio/wav\r\n\r\n" +
            audio + "\r\n--" + b + "--\r\n";
        EXPECT_EQ(r.body, expected) << "request " << i;
    }
}

// A re-mine passes the saved project's language as the service reported it, in words; the service
// refuses words there (400), so every moment would lose its word timing.
TEST_F(Whisper, SendsALanguageCodeForALanguageWord) {
    writeFile(media + "/cut.wav", "x");
    server.respondJson(kPath, 200, R"({"words":[]})");
    const std::pair<QString, QByteArray> cases[] = {
        {"spanish", "es"}, {"Haitian Creole", "ht"}, {"cantonese", "yue"}, {"es", "es"},
        {"auto", ""},      {"unknown", ""},          {"", ""},
    };
    for (const auto& [language, code] : cases) {
        ASSERT_TRUE(QCoro::waitFor(transcribeWithWords(*pipeline, media + "/cut.wav", language)));
        const QByteArray body = server.requests().last().body;
        const QByteArray part = "name=\"language\"\r\n\r\n" + code + "\r\n";
        EXPECT_EQ(body.contains("name=\"language\""), !code.isEmpty()) << language.toStdString();
        EXPECT_TRUE(code.isEmpty() || body.contains(part)) << language.toStdString();
    }
}

TEST_F(Whisper, LaysChunksOnOneClockByTheirMeasuredLengthsAndSkipsAFailedOne) {
    ASSERT_TRUE(makeToneWav(media + "/chunk_0.wav", 3.0, 440));
    ASSERT_TRUE(makeToneWav(media + "/chunk_1.wav", 2.0, 440));
    // The first chunk's last words end at 2.5 s; the second chunk still starts at 3.
    server.respondJson(kPath, 200, R"({"text":"","language":"spanish","segments":[
        {"start":0,"end":1.5,"text":"hola"},{"start":1.5,"end":2.5,"text":"que tal"}]})");
    server.respondJson(
        kPath, 200, R"({"text":"","language":"english","segments":[{"start":1,"end":1.5,"text":"adiós"}]})");
    server.respondJson(kPath, 500, R"({"error":"oops"})");
    server.respondJson(kPath, 200, R"({"text":"","segments":[{"start":0.5,"end":1,"text":"sigue"}]})");
    const LogLine start1{"  Transcribing chunk 1/2...", "dim"}, start2{"  Transcribing chunk 2/2...", "dim"};

    const auto both =
        QCoro::waitFor(transcribe(*pipeline, {media + "/chunk_0.wav", media + "/chunk_1.wav"}, "es"));
    EXPECT_EQ(both, (TranscriptResult{{{0, 1.5, "hola", "spanish"},
                                       {1.5, 2.5, "que tal", "spanish"},
                                       {4, 4.5, "adiós", "english"}},
                                      "spanish"}));
    EXPECT_EQ(logLines(*pipeline), (QList<LogLine>{start1, start2}));

    auto second = mediaPipeline(home, server.baseUrl());
    const auto hole =
        QCoro::waitFor(transcribe(*second, {media + "/chunk_0.wav", media + "/chunk_1.wav"}, "es"));
    EXPECT_EQ(hole, (TranscriptResult{{{3.5, 4, "sigue", "unknown"}}, "unknown"}));
    EXPECT_EQ(logLines(*second), (QList<LogLine>{start1,
                                                 {R"(  Whisper error: {"error":"oops"})", "accent"},
                                                 {"  ⚠ Chunk 1 failed, skipping", "accent"},
                                                 start2}));
}

TEST_F(Whisper, EachFailureLogsOneLine) {
    ScriptedResponse drop;
    drop.dropConnection = true;
    ScriptedResponse cut{200, R"({"text":"a","segments":[]})"};
    cut.cutBody = true;
    const struct {
        ScriptedResponse response;
        QString logged;
    } cases[] = {
        {{500, QByteArray(1000, 'x')}, "  Whisper error: " + QString(200, 'x')},
        {{500, QByteArray("\xff\xfe bad", 6)}, "  Whisper error: unknown"},
        {{500, (QString(199, 'a') + "😀é").toUtf8()}, "  Whisper error: " + QString(199, 'a') + "😀"},
        // The service may quote the key it was sent; the log never shows it.
        {{500, "Incorrect API key provided: " + kKey.toUtf8()},
         "  Whisper error: Incorrect API key provided: [redacted]"},
        {{200, R"({"language":"es"})"},
         "  Whisper request failed: The data couldn’t be read because it is missing."},
        {{200, R"({"text":"a","segments":[{"start":"0","end":1,"text":"a"}]})"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
        {{200, R"({"text":5})"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
        {{200, R"({"text":"a","segments":[{"start":0,"text":"a"}]})"},
         "  Whisper request failed: The data couldn’t be read because it is missing."},
        {{200, R"({"text":"a","language":3,"segments":[]})"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
        {{200, R"([1])"},
         "  Whisper request failed: The data couldn’t be read because it isn’t in the correct format."},
        {drop, "  Whisper request failed: The network connection was lost."},
        {cut, "  Whisper request failed: The network connection was lost."},
    };
    writeFile(media + "/c.wav", "x");
    for (const auto& c : cases) {
        FakeHttpServer one;
        one.enqueue(kPath, c.response);
        auto p = mediaPipeline(home, one.baseUrl());
        EXPECT_FALSE(QCoro::waitFor(transcribeChunk(*p, media + "/c.wav", "es")));
        ASSERT_EQ(p->logs().size(), 1);
        EXPECT_EQ(LogLine(p->logs()[0].text, p->logs()[0].color), LogLine(c.logged, "accent"));
        EXPECT_EQ(one.requests().size(), 1);
    }
}

TEST_F(Whisper, WordLevelCutsEachMomentAndKeepsItsPosition) {
    MiningResults analysis;
    for (const auto& [s, e] :
         QList<std::pair<double, double>>{{1, 2.5}, {3, 4}, {6, 5}, {5, 5.75}, {7, 8}, {8, 9}})
        analysis.segments.push_back({analysis.segments.size() + 1, s, e, "source", "t", "t", {}});

    EXPECT_TRUE(QCoro::waitFor(wordLevelTranscribe(*pipeline, analysis, {"/m/a.wav"}, "es")).isEmpty());
    EXPECT_EQ(logLines(*pipeline),
              (QList<LogLine>{{"  No extracted audio for word-level transcription", "dim"}}));
    EXPECT_TRUE(server.requests().isEmpty());

    // Words without both times are dropped; the third moment ends before it starts, so it cannot be
    // cut and sends nothing; an answer without words gives no entry.
    ASSERT_TRUE(makeToneWav(cache("extracted_audio.wav"), 10.0, 440));
    server.respondJson(kPath, 200,
                       R"({"words":[{"word":"uno","start":0.1,"end":0.4},{"word":"dos","start":0.5},
                                      {"word":"x","start":"0","end":1},{"word":1,"start":0,"end":1}]})");
    server.respondJson(kPath, 500, "fail");
    server.respondJson(kPath, 200, R"({"words":[{"word":"tres","start":0,"end":0.3}]})");
    server.respondJson(kPath, 200, R"({"words":[]})");
    server.respondJson(kPath, 200, R"({"text":"no words"})");
    auto p = mediaPipeline(home, server.baseUrl());
    const auto words = QCoro::waitFor(wordLevelTranscribe(*p, analysis, {}, "auto"));
    EXPECT_EQ(words, (QList<WordSegment>{{0, {{"uno", 0.1, 0.4}}}, {3, {{"tres", 0, 0.3}}}, {4, {}}}));
    EXPECT_EQ(logLines(*p).size(), 6);
    EXPECT_EQ(logLines(*p)[2], (LogLine{"  Word transcribing segment 3/6...", "dim"}));
    EXPECT_NEAR(mediaDuration(cache("word_seg_0.wav")), 1.5, 0.001);
    EXPECT_NEAR(mediaDuration(cache("word_seg_3.wav")), 0.75, 0.001);

    const auto requests = server.requestsTo(kPath);
    ASSERT_EQ(requests.size(), 5);
    for (const auto& r : requests) {
        EXPECT_TRUE(r.body.contains("name=\"timestamp_granularities[]\"\r\n\r\nword\r\n"));
        EXPECT_FALSE(r.body.contains("name=\"language\""));
    }
    EXPECT_TRUE(requests[0].body.contains("filename=\"word_seg_0.wav\""));
}

} // namespace
