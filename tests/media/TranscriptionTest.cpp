// The speech-to-text requests against a fake service: the exact multipart body, the clock across
// chunks, each failure's line, and the word-level pass over the chosen moments.
#include "MediaFixtures.h"
#include "support/FakeHttpServer.h"

#include <QRegularExpression>
#include <QSet>
#include <QTest>

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
    static constexpr char kBytes[] = "RIFF\x00\x01\x02\r\n--not-a-boundary\xff";
    const QByteArray audio(kBytes, sizeof kBytes - 1);
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
        {"spanish", "es"},
        {"Haitian Creole", "ht"},
        {"cantonese", "yue"},
        {"es", "es"},
        {"auto", ""},
        {"unknown", ""},
        {"", ""},
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
    server.answerByFileName(kPath, {{"chunk_0.wav", {200, R"({"text":"","language":"spanish","segments":[
        {"start":0,"end":1.5,"text":"hola"},{"start":1.5,"end":2.5,"text":"que tal"}]})"}},
                                    {"chunk_1.wav", {200, R"({"text":"","language":"english",
        "segments":[{"start":1,"end":1.5,"text":"adiós"}]})"}}});
    const LogLine start1{"  Transcribing chunk 1/2...", "dim"}, start2{"  Transcribing chunk 2/2...", "dim"};

    const auto both =
        QCoro::waitFor(transcribe(*pipeline, {media + "/chunk_0.wav", media + "/chunk_1.wav"}, "es"));
    EXPECT_EQ(both, (TranscriptResult{{{0, 1.5, "hola", "spanish"},
                                       {1.5, 2.5, "que tal", "spanish"},
                                       {4, 4.5, "adiós", "english"}},
                                      "spanish"}));
    EXPECT_EQ(logLines(*pipeline), (QList<LogLine>{start1, start2}));

    server.answerByFileName(
        kPath, {{"chunk_0.wav", {500, R"({"error":"oops"})"}},
                {"chunk_1.wav", {200, R"({"text":"","segments":[{"start":0.5,"end":1,"text":"sigue"}]})"}}});
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
        // Qt reads a 400 as a "protocol" error; it is still the service's answer.
        {{400, R"({"error":{"message":"Invalid language 'spanish'."}})"},
         R"(  Whisper error: {"error":{"message":"Invalid language 'spanish'."}})"},
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
        {{200, "{}", "application/json", 0, false, false, kMaxAnswerBytes + 1},
         "  Whisper request failed: The server’s answer is larger than 64 MiB."},
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
    server.answerByFileName(
        kPath, {
                   {"word_seg_0.flac",
                    {200, R"({"words":[{"word":"uno","start":0.1,"end":0.4},{"word":"dos","start":0.5},
                                      {"word":"x","start":"0","end":1},{"word":1,"start":0,"end":1}]})"}},
                   {"word_seg_1.flac", {500, "fail"}},
                   {"word_seg_3.flac", {200, R"({"words":[{"word":"tres","start":0,"end":0.3}]})"}},
                   {"word_seg_4.flac", {200, R"({"words":[]})"}},
                   {"word_seg_5.flac", {200, R"({"text":"no words"})"}},
               });
    auto p = mediaPipeline(home, server.baseUrl());
    const auto words = QCoro::waitFor(wordLevelTranscribe(*p, analysis, {}, "auto"));
    EXPECT_EQ(words, (QList<WordSegment>{{0, {{"uno", 0.1, 0.4}}}, {3, {{"tres", 0, 0.3}}}, {4, {}}}));
    EXPECT_EQ(logLines(*p).size(), 6);
    EXPECT_EQ(logLines(*p)[2], (LogLine{"  Word transcribing segment 3/6...", "dim"}));
    EXPECT_NEAR(mediaDuration(cache("word_seg_0.flac")), 1.5, 0.001);
    EXPECT_NEAR(mediaDuration(cache("word_seg_3.flac")), 0.75, 0.001);

    const auto requests = server.requestsTo(kPath);
    ASSERT_EQ(requests.size(), 5);
    for (const auto& r : requests) {
        EXPECT_TRUE(r.body.contains("name=\"timestamp_granularities[]\"\r\n\r\nword\r\n"));
        EXPECT_FALSE(r.body.contains("name=\"language\""));
    }
}

// What a person or the next step sees of transcribing or word timing.
struct Seen {
    QList<LogLine> log;
    QList<double> progress;
    std::optional<TranscriptResult> transcript;
    QList<WordSegment> words;
    bool operator==(const Seen&) const = default;
};

std::shared_ptr<LocalPipeline> pipelineSendingAtOnce(const TestHome& home, const FakeHttpServer& server,
                                                     int maxOpenRequests) {
    PipelineEnvironment env = home.pipelineEnvironment();
    env.endpoints.openaiHost = server.baseUrl();
    env.env.insert(QStringLiteral("OPENAI_API_KEY"), kKey);
    env.maxOpenRequests = maxOpenRequests;
    return mediaPipeline(env);
}

QSet<QByteArray> fileNamesSent(const FakeHttpServer& server) {
    // Requests still on their way after the step returned would arrive within this.
    QTest::qWait(300);
    QSet<QByteArray> names;
    for (const auto& r : server.requests())
        names.insert(r.fileName());
    return names;
}

QSet<QByteArray> namesOf(const char* pattern, int first, int last) {
    QSet<QByteArray> names;
    for (int i = first; i <= last; ++i)
        names.insert(QByteArray(pattern).replace("%1", QByteArray::number(i)));
    return names;
}

// Sending the next chunks while one is awaited shows the same log, progress and transcript as one
// at a time, whatever chunk 2 gets back and when the run is cancelled at chunk 3 (then nothing more
// goes out, with or without a reset); at most four requests are open at once.
TEST_F(Whisper, ChunksSentAheadShowExactlyWhatOneAtATimeShows) {
    constexpr int kChunks = 7;
    QStringList chunks;
    for (int i = 0; i < kChunks; ++i) {
        chunks << media + QStringLiteral("/chunk_%1.wav").arg(i);
        ASSERT_TRUE(makeToneWav(chunks.last(), 1.0 + 0.25 * i, 440));
    }
    ScriptedResponse drop;
    drop.dropConnection = true;
    enum class Stop { never, cancel, cancelAndReset };
    const struct {
        const char* name;
        std::optional<ScriptedResponse> second;
        Stop stop;
        int logLines;
    } cases[] = {
        {"every chunk answers", {}, Stop::never, kChunks},
        {"chunk 2 refused", ScriptedResponse{500, "busy"}, Stop::never, kChunks + 2},
        {"chunk 2 dropped", drop, Stop::never, kChunks + 2},
        {"chunk 2 out of quota",
         ScriptedResponse{429, R"({"error":{"code":"insufficient_quota","message":"quota"}})"}, Stop::never,
         kChunks + 2},
        {"chunk 2 too large",
         ScriptedResponse{200, "{}", "application/json", 0, false, false, kMaxAnswerBytes + 1}, Stop::never,
         kChunks + 2},
        // Nothing of it is logged after the cancel; the reset empties what was.
        {"cancelled at chunk 3", {}, Stop::cancel, 2},
        {"cancelled and reset at chunk 3", {}, Stop::cancelAndReset, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Seen seen[2];
        for (const int maxOpen : {1, 4}) {
            FakeHttpServer one;
            QHash<QByteArray, ScriptedResponse> answers;
            for (int i = 0; i < kChunks; ++i) {
                // Later chunks answer sooner, so answers come back out of order; the first two come
                // back long before the rest, so a cancel at chunk 3 comes while chunk 7 waits to go.
                answers.insert(QStringLiteral("chunk_%1.wav").arg(i).toUtf8(),
                               {200,
                                QStringLiteral(R"({"text":"","language":"l%1","segments":[
                                    {"start":0.5,"end":0.75,"text":"c%1"}]})")
                                    .arg(i)
                                    .toUtf8(),
                                "application/json", i < 2 ? 60 - 30 * i : 300 + 30 * (kChunks - i)});
            }
            if (c.second)
                answers["chunk_1.wav"] = *c.second;
            one.answerByFileName(kPath, answers);
            auto p = pipelineSendingAtOnce(home, one, maxOpen);
            Seen& s = seen[maxOpen > 1];
            bool stopped = false;
            QObject::connect(p.get(), &LocalPipeline::progressChanged, [&] {
                s.progress << p->progress();
                if (c.stop != Stop::never && !stopped && p->progress() == 0.15 + 0.3 * 2 / kChunks) {
                    stopped = true;
                    p->cancel();
                    if (c.stop == Stop::cancelAndReset)
                        p->reset();
                }
            });
            s.transcript = QCoro::waitFor(transcribe(*p, chunks, "auto"));
            s.log = logLines(*p);
            EXPECT_LE(one.mostOpenAtOnce(), maxOpen);
            // Four went out at once, then one for each of the first two answers, before the cancel.
            const int lastSent = c.stop != Stop::never ? (maxOpen == 1 ? 1 : 5) : kChunks - 1;
            QSet<QByteArray> sent = fileNamesSent(one);
            EXPECT_EQ(one.requests().size(), sent.size()) << "sent twice";
            // Chunk 6 went ahead just before the cancel; aborted, it may not have arrived whole.
            if (c.stop != Stop::never && maxOpen > 1)
                sent.insert("chunk_5.wav");
            EXPECT_EQ(sent, namesOf("chunk_%1.wav", 0, lastSent));
            if (c.stop == Stop::never && !c.second) {
                EXPECT_EQ(one.mostOpenAtOnce(), maxOpen);
            }
        }
        EXPECT_EQ(seen[1], seen[0]);
        EXPECT_EQ(seen[0].log.size(), c.logLines);
    }
}

// Answers by file name, refusing a file for too many requests (retry after 1 s) as many times as
// `refusals` says before its answer.
void answerWithRefusals(FakeHttpServer& server, QHash<QByteArray, ScriptedResponse> answers,
                        QHash<QByteArray, int> refusals) {
    server.answerWith(kPath, [answers, refusals](const RecordedRequest& r) mutable -> ScriptedResponse {
        if (refusals.value(r.fileName()) > 0) {
            --refusals[r.fileName()];
            ScriptedResponse limited{429, R"({"error":{"code":"rate_limit_exceeded"}})"};
            limited.headers = {{"retry-after", "1"}};
            return limited;
        }
        return answers.value(r.fileName(), ScriptedResponse{404, "{}"});
    });
}

// A chunk refused for too many requests goes out again after its wait, also when it went ahead of
// its turn; its "Rate limited" lines stand at its turn, in order, exactly as one at a time logs
// them, and a chunk whose quota is used up is not retried.
TEST_F(Whisper, RefusedChunksAreRetriedAndLoggedAtTheirTurn) {
    constexpr int kChunks = 5;
    QStringList chunks;
    QHash<QByteArray, ScriptedResponse> answers;
    for (int i = 0; i < kChunks; ++i) {
        chunks << media + QStringLiteral("/chunk_%1.wav").arg(i);
        ASSERT_TRUE(makeToneWav(chunks.last(), 1.0, 440));
        answers.insert(QStringLiteral("chunk_%1.wav").arg(i).toUtf8(),
                       {200, QStringLiteral(R"({"text":"","segments":[{"start":0,"end":0.5,"text":"c%1"}]})")
                                 .arg(i)
                                 .toUtf8()});
    }
    const QByteArray quota = R"({"error":{"code":"insufficient_quota","message":"no quota"}})";
    answers["chunk_4.wav"] = {429, quota};
    const LogLine limited{"  Rate limited — retrying in 1s...", "dim"};
    const auto turn = [](int i) {
        return LogLine{QStringLiteral("  Transcribing chunk %1/5...").arg(i), "dim"};
    };
    const QList<LogLine> expected{turn(1),
                                  turn(2),
                                  limited,
                                  limited,
                                  turn(3),
                                  turn(4),
                                  limited,
                                  limited,
                                  turn(5),
                                  {"  Whisper error: " + QString(quota), "accent"},
                                  {"  ⚠ Chunk 5 failed, skipping", "accent"}};
    for (const int maxOpen : {1, 4}) {
        SCOPED_TRACE(maxOpen);
        FakeHttpServer one;
        answerWithRefusals(one, answers, {{"chunk_1.wav", 2}, {"chunk_3.wav", 2}});
        auto p = pipelineSendingAtOnce(home, one, maxOpen);
        const auto transcript = QCoro::waitFor(transcribe(*p, chunks, "auto"));
        ASSERT_TRUE(transcript);
        EXPECT_EQ(transcript->segments.size(), 4);
        EXPECT_EQ(logLines(*p), expected);
        EXPECT_EQ(one.requests().size(), kChunks + 4);
    }
}

// The word timing of the chosen moments goes ahead the same way: the same log and words as one at
// a time, also with a moment that cannot be cut, one whose request fails and a cancel mid-way.
TEST_F(Whisper, WordTimingSentAheadShowsExactlyWhatOneAtATimeShows) {
    ASSERT_TRUE(makeToneWav(cache("extracted_audio.wav"), 10.0, 440));
    MiningResults analysis;
    for (const auto& [s, e] :
         QList<std::pair<double, double>>{{1, 2}, {2, 3}, {4, 3}, {3, 4}, {5, 6}, {6, 7}, {7, 9}})
        analysis.segments.push_back({analysis.segments.size() + 1, s, e, "source", "t", "t", {}});
    for (const bool cancel : {false, true}) {
        SCOPED_TRACE(cancel ? "cancelled at moment 2" : "to the end");
        Seen seen[2];
        for (const int maxOpen : {1, 4}) {
            FakeHttpServer one;
            QHash<QByteArray, ScriptedResponse> answers;
            for (int i = 0; i < 7; ++i)
                answers.insert(
                    QStringLiteral("word_seg_%1.flac").arg(i).toUtf8(),
                    {200, QStringLiteral(R"({"words":[{"word":"w%1","start":0,"end":0.5}]})").arg(i).toUtf8(),
                     "application/json", i == 0 ? 0 : 300 + 20 * (7 - i)});
            // The first answers at once, the rest long after a cancel at moment 2.
            answers["word_seg_1.flac"] = {500, "busy", "application/json", 1200};
            answerWithRefusals(one, answers, {{"word_seg_4.flac", cancel ? 0 : 1}});
            auto p = pipelineSendingAtOnce(home, one, maxOpen);
            QObject::connect(p->logModel(), &QAbstractItemModel::rowsInserted, [&] {
                if (cancel && p->logs().last().text == "  Word transcribing segment 2/7...")
                    p->cancel();
            });
            Seen& s = seen[maxOpen > 1];
            s.words = QCoro::waitFor(wordLevelTranscribe(*p, analysis, {}, "auto"));
            s.log = logLines(*p);
            EXPECT_LE(one.mostOpenAtOnce(), maxOpen);
            // Four went out at once, and one more for the first answer, before the cancel.
            QSet<QByteArray> expected = namesOf("word_seg_%1.flac", 0, cancel ? (maxOpen == 1 ? 0 : 5) : 6);
            expected.remove("word_seg_2.flac");
            QSet<QByteArray> sent = fileNamesSent(one);
            EXPECT_EQ(one.requests().size(), sent.size() + (cancel ? 0 : 1)) << "sent twice";
            // Moment 6 went ahead just before the cancel; aborted, it may not have arrived whole.
            if (cancel && maxOpen > 1)
                sent.insert("word_seg_5.flac");
            EXPECT_EQ(sent, expected);
        }
        EXPECT_EQ(seen[1], seen[0]);
        EXPECT_EQ(seen[0].words.size(), cancel ? 1 : 5);
        EXPECT_EQ(seen[0].log.count(LogLine{"  Rate limited — retrying in 1s...", "dim"}), cancel ? 0 : 1);
    }
}

} // namespace
