// The analysis request against a fake language-model server: the prompt to the byte, the one
// request form, and every way an answer can go.
#include "AnalysisTestSupport.h"

#include "analysis/StoryAnalysis.h"
#include "analysis/StyleModel.h"

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

TranscriptResult goldenTranscript() {
    TranscriptResult t;
    t.language = "es";
    t.segments = {
        {0.0, 4.2, "Bueno, empecemos.", "es"},
        {4.2, 12.75, "Nací en un pueblo pequeño.", "es"},
        {12.75, 20.0, "  Mi padre era pescador.  ", "es"},
        {20.0, 33.0, "Todos los días salía al mar.", "es"},
        {33.0, 78.0, "Una vez hubo una tormenta terrible.", "es"},
        {78.0, 79.0, "¿Y qué pasó?", "es"},
        {79.0, 80.5, "Pues...", "es"},
        {80.5, 81.25, "El barco", "es"},
        {81.25, 83.0, "no volvió", "es"},
        {83.0, 84.25, "hasta el amanecer.", "es"},
        {84.25, 95.5, "Mi madre lloraba de alegría.", "es"},
        {95.5, 101.0, "Fin.\t", "es"},
    };
    return t;
}

const char* validAnswer = R"({
  "segments": [
    {"index": 0, "startTime": 4.2, "endTime": 20.0, "sourceClip": "source", "transcript": "Nací",
     "translation": "I was born", "chapter": "Origins"},
    {"index": 1, "startTime": 33.0, "endTime": 50.0, "sourceClip": "source", "transcript": "Una vez",
     "translation": "Once"}
  ],
  "structure": {"acts": [{"name": "Act 1: Home", "segments": [0, 1]}], "totalDuration": 32.8},
  "subtitles": [{"startTime": 4.2, "endTime": 8.0, "text": "I was born"}],
  "estimatedDuration": 32.8
})";

MiningResults validResults() {
    MiningResults r;
    r.segments = {{0, 4.2, 20.0, "source", "Nací", "I was born", QString("Origins")},
                  {1, 33.0, 50.0, "source", "Una vez", "Once", std::nullopt}};
    r.structure = {{{"Act 1: Home", {0, 1}}}, 32.8};
    r.subtitles = {{4.2, 8.0, "I was born"}};
    r.estimatedDuration = 32.8;
    return r;
}

std::optional<MiningResults> analyze(AnalysisRig& rig, const TranscriptResult& t, double minutes = 2.5,
                                     const QString& language = "auto", const QString& style = "STYLE") {
    return QCoro::waitFor(analyzeStory(rig.p(), t, minutes, language, style));
}

} // namespace

TEST(AnalyzeStory, PromptMatchesTheGoldenTextByteForByte) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
    const StylePreset& corporate = STYLE_PRESETS()[1];
    const QString style = buildStylePrompt(corporate.sliders, corporate.id, false);

    const auto result = analyze(rig, goldenTranscript(), 2.5, "auto", style);

    const QString golden = goldenText("analysis_prompt.txt");
    ASSERT_FALSE(golden.isEmpty());
    EXPECT_EQ(rig.sentPrompt(), golden);
    ASSERT_TRUE(result);
    EXPECT_EQ(*result, validResults());
    // 116 + 52 + 75 + 51 characters of folded lines, each with its line break.
    EXPECT_EQ(rig.lines(), QList<Line>({{"  Sending 294 chars to Claude...", "dim"}}));
}

TEST(AnalyzeStory, OneRequestWithExactHeadersAndBody) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
    const TranscriptResult t{{{0, 1, "a/b \"quoted\" ñ", "es"}}, "es"};
    const QString prompt = buildAnalysisPrompt(t, 3, "auto", "S");

    ASSERT_TRUE(analyze(rig, t, 3, "auto", "S"));

    const auto requests = rig.server.requests();
    ASSERT_EQ(requests.size(), 1);
    const RecordedRequest& r = requests[0];
    EXPECT_EQ(r.method, "POST");
    EXPECT_EQ(r.path, "/v1/messages");
    EXPECT_EQ(r.header("x-api-key"), TEST_KEY);
    EXPECT_EQ(r.header("anthropic-version"), "2023-06-01");
    EXPECT_EQ(r.header("content-type"), "application/json");
    Json message = Json::object();
    message["role"] = "user";
    message["content"] = prompt.toStdString();
    const std::string expected =
        R"({"model":"claude-sonnet-4-20250514","max_tokens":8000,"messages":[)" + message.dump() + "]}";
    EXPECT_EQ(r.body.toStdString(), expected);
    EXPECT_FALSE(rig.allLogText().contains(TEST_KEY));
}

TEST(AnalyzeStory, PromptFigures) {
    struct Case {
        const char* name;
        TranscriptResult transcript;
        double minutes;
        QString language;
        QStringList expectedLines;
        QString sending;
    } cases[] = {
        {"empty transcript",
         {{}, "es"},
         1,
         "auto",
         {"SOURCE: 0 minutes of interview footage (0 total seconds)",
          "TRANSCRIPT:\n\n\nSEGMENT SELECTION RULES:"},
         "  Sending 0 chars to Claude..."},
        {"target cut towards zero",
         {{{0, 10, "x", "es"}}, "es"},
         2.5,
         "auto",
         {"create a 2-minute story edit.", "TARGET: 2 minutes (150 seconds)",
          "Total duration of all segments ≈ 150 seconds (within 10%)"},
         "  Sending 17 chars to Claude..."},
        {"total duration is the last end, not a sum",
         {{{0, 10, "x", "es"}, {500, 630, "y", "es"}}, "es"},
         1,
         "auto",
         {"SOURCE: 10 minutes of interview footage (630 total seconds)", "[0.0s → 630.0s] x y\n"},
         "  Sending 20 chars to Claude..."},
        {"detected language for auto", {{{0, 1, "x", "es"}}, "es"}, 1, "auto", {"SOURCE LANGUAGE: es\n"}, ""},
        {"chosen language wins", {{{0, 1, "x", "es"}}, "es"}, 1, "fr", {"SOURCE LANGUAGE: fr\n"}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
        analyze(rig, c.transcript, c.minutes, c.language);
        const QString prompt = rig.sentPrompt();
        for (const QString& line : c.expectedLines)
            EXPECT_TRUE(prompt.contains(line)) << line.toStdString();
        if (!c.sending.isEmpty()) {
            EXPECT_EQ(rig.texts().value(0), c.sending);
        }
    }
}

TEST(AnalyzeStory, FoldingIntoLines) {
    const auto seg = [](double s, double e, const char* text) { return TranscriptSegment{s, e, text, "en"}; };
    struct Case {
        const char* name;
        QList<TranscriptSegment> segments;
        QString folded;
    } cases[] = {
        {"nothing", {}, ""},
        {"six one-second segments: five, then one flushed after the loop",
         {seg(0, 1, "a"), seg(1, 2, "b"), seg(2, 3, "c"), seg(3, 4, "d"), seg(4, 5, "e"), seg(5, 6, "f")},
         "[0.0s → 5.0s] a b c d e\n[5.0s → 6.0s] f\n"},
        {"a 45-second segment stands alone",
         {seg(10, 55, "long"), seg(55, 56, "next")},
         "[10.0s → 55.0s] long\n[55.0s → 56.0s] next\n"},
        {"a line runs past 30 s only by its last segment",
         {seg(0, 29.9, "a"), seg(29.9, 31, "b"), seg(31, 32, "c")},
         "[0.0s → 31.0s] a b\n[31.0s → 32.0s] c\n"},
        {"exactly 30 s closes the line",
         {seg(0, 30, "a"), seg(30, 31, "b")},
         "[0.0s → 30.0s] a\n[30.0s → 31.0s] b\n"},
        {"only the ends are trimmed, of spaces and tabs",
         {seg(0, 1, "\t one  two \t")},
         "[0.0s → 1.0s] one  two\n"},
        {"an empty first text keeps the block open", {seg(0, 1, ""), seg(1, 2, "x")}, "[0.0s → 2.0s] x\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(foldTranscript(c.segments), c.folded);
    }
}

TEST(AnalyzeStory, AnswersAndTheirLogLines) {
    const QString preview = "  Response preview: ";
    struct Case {
        const char* name;
        ScriptedResponse response;
        bool expectResult;
        QList<Line> expectedLog; // after the "Sending" line
    } cases[] = {
        {"fenced with a language tag",
         {200, claudeBody(QString("```json\n") + validAnswer + "\n```")},
         true,
         {}},
        {"words around the object",
         {200, claudeBody(QString("Here is your edit:\n") + validAnswer + "\nEnjoy!")},
         true,
         {}},
        {"two content blocks, text second",
         {200, R"({"content":[{"type":"thinking","thinking":"{}"},{"type":"text","text":)" +
                   QByteArray::fromStdString(Json(std::string(validAnswer)).dump()) + "}]}"},
         true,
         {}},
        {"status 429, logged once",
         {429, R"({"type":"error","error":{"type":"rate_limit_error"}})"},
         false,
         {{R"(  Claude HTTP error: {"type":"error","error":{"type":"rate_limit_error"}})", "accent"}}},
        {"status 500 with a long body, cut to 300 characters",
         {500, QByteArray(400, 'x')},
         false,
         {{"  Claude HTTP error: " + QString(300, 'x'), "accent"}}},
        {"error body that is not UTF-8",
         {503, "\xff\xfe"},
         false,
         {{"  Claude HTTP error: unknown", "accent"}}},
        {"no text block",
         {200, R"({"content":[]})"},
         false,
         {{R"(  Claude response parse error: {"content":[]})", "accent"}}},
        {"not JSON at all, cut to 200 characters",
         {200, QByteArray(250, 'y')},
         false,
         {{"  Claude response parse error: " + QString(200, 'y'), "accent"}}},
        {"unparsable body that is not UTF-8",
         {200, "\xc3("},
         false,
         {{"  Claude response parse error: empty", "accent"}}},
        {"an answer that is no JSON",
         {200, claudeBody("I'm sorry, I can't help with that.")},
         false,
         {{"  JSON decode error: The data isn't valid JSON (at byte 1).", "accent"},
          {preview + "I'm sorry, I can't help with that....", "dim"}}},
        {"last } before the first {",
         {200, claudeBody("} no object here {")},
         false,
         {{"  JSON decode error: The data isn't valid JSON (at byte 1).", "accent"},
          {preview + "} no object here {...", "dim"}}},
        {"valid JSON of the wrong shape, recovered",
         {200, claudeBody(R"({"segments":[{"startTime":1,"endTime":3}],"estimatedDuration":"soon"})")},
         true,
         {{"  JSON decode error: No value at \"segments[0].index\".", "accent"},
          {preview + R"({"segments":[{"startTime":1,"endTime":3}],"estimatedDuration":"soon"}...)", "dim"},
          {"  ✓ Recovered via manual parse", "green"}}},
        {"valid JSON that cannot be recovered",
         {200, claudeBody(R"({"moments":[]})")},
         false,
         {{"  JSON decode error: No value at \"segments\".", "accent"},
          {preview + R"({"moments":[]}...)", "dim"}}},
        {"dropped connection",
         ScriptedResponse{200, "", "application/json", 0, true},
         false,
         {{"  Claude request failed: Connection closed", "accent"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        rig.server.enqueue("/v1/messages", c.response);
        const auto result = analyze(rig, {{{0, 1, "x", "es"}}, "es"});
        EXPECT_EQ(result.has_value(), c.expectResult);
        QList<Line> log = rig.lines();
        ASSERT_FALSE(log.isEmpty());
        log.removeFirst();
        if (QString(c.name) == "dropped connection") {
            ASSERT_EQ(log.size(), 1);
            EXPECT_TRUE(log[0].text.startsWith("  Claude request failed: ")) << log[0].text.toStdString();
            EXPECT_EQ(log[0].color, "accent");
        } else {
            EXPECT_EQ(log, c.expectedLog);
        }
        // Qt itself resends a request whose connection closed before any answer; we never retry.
        if (QString(c.name) != "dropped connection") {
            EXPECT_EQ(rig.server.requestsTo("/v1/messages").size(), 1) << "never retried";
        }
    }
}

TEST(AnalyzeStory, RecoveredRecordUsesTheDocumentedDefaults) {
    AnalysisRig rig;
    rig.server.respondJson(
        "/v1/messages", 200,
        claudeBody(R"({"segments":[{"startTime":1,"endTime":3},{"index":"x","startTime":4,"endTime":10,
                       "chapter":"C"}],"structure":{"acts":[{"segments":[0]}],"totalDuration":500}})"));
    const auto result = analyze(rig, {{{0, 1, "x", "es"}}, "es"});
    ASSERT_TRUE(result);
    MiningResults expected;
    expected.segments = {{0, 1, 3, "source", "", "", std::nullopt},
                         {1, 4, 10, "source", "", "", QString("C")}};
    expected.structure = {{{"Untitled", {0}}}, 8};
    expected.estimatedDuration = 8;
    EXPECT_EQ(*result, expected);
}

TEST(AnalyzeStory, TheKeyNeverReachesTheLog) {
    AnalysisRig rig;
    const QByteArray echoed = QByteArray("invalid x-api-key: ") + TEST_KEY;
    rig.server.respondJson("/v1/messages", 401, echoed);
    EXPECT_FALSE(analyze(rig, {{{0, 1, "x", "es"}}, "es"}));
    EXPECT_FALSE(rig.allLogText().contains(TEST_KEY));
    EXPECT_TRUE(rig.allLogText().contains("  Claude HTTP error: invalid x-api-key: [redacted]"));
}

TEST(AnalyzeStory, NonFiniteTargetDoesNotCrash) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
    EXPECT_TRUE(analyze(rig, {{{0, 1, "x", "es"}}, "es"}, std::nan("")));
    EXPECT_TRUE(rig.sentPrompt().contains("TARGET: 0 minutes (0 seconds)"));
}
