// The style text, the analysis request against a fake language-model server, and every way its
// answer can go: cleaning, decoding, and the manual recovery.
#include "AnalysisTestSupport.h"

#include "analysis/AnswerText.h"
#include "analysis/ClaudeRequest.h"
#include "analysis/StoryAnalysis.h"
#include "analysis/StyleModel.h"
#include "core/DecodeError.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace ondrel;
using namespace ondrel::test;

TEST(StylePrompt, DefaultsPresetsAndMagicMode) {
    EXPECT_EQ(toJson(StyleSliders{}), Json::parse(R"({"pace":0.5,"structure":0.5,"emotion":0.5,"length":0.5,
                                                       "boldness":0.3,"silence":0.5})"));
    const auto all = [](double v) { return StyleSliders{v, v, v, v, v, v}; };
    const QString middle = "Moderate pace\nBalanced structure\nModerate emotion\nMedium length segments\n"
                           "Moderate boldness\nBalanced silence";
    EXPECT_EQ(buildStylePrompt({}, std::nullopt, false), middle);
    EXPECT_EQ(buildStylePrompt(all(0.3), QString("Corporate"), false), middle) << "ids match exactly";
    EXPECT_EQ(buildStylePrompt(all(0.7), QString(""), false), middle);
    EXPECT_EQ(buildStylePrompt(all(0.29999), std::nullopt, false),
              "Meditative, slow\nLoose, freeform\nReserved, understated\nTight cuts, short segments\n"
              "Conservative, safe choices\nFill gaps, keep moving");
    EXPECT_EQ(buildStylePrompt(all(0.70001), std::nullopt, false),
              "Fast-paced, energetic\nRigid, structured\nRaw, emotional\nExtended, breathing room\n"
              "Bold, unexpected choices\nLet it breathe, embrace silence");
    EXPECT_EQ(
        buildStylePrompt({0.7, 0.9, 0.3, 0.25, 0.1, 0.2}, QString("corporate"), false),
        "Base style: Corporate — Tight, message-driven, clear arc\nModerate pace\nRigid, structured\n"
        "Moderate emotion\nTight cuts, short segments\nConservative, safe choices\nFill gaps, keep moving");
    EXPECT_EQ(buildStylePrompt(all(1.0), QString("sizzle"), true),
              "MAGIC MODE: Listen to the content and decide the best style yourself. Match the tone of the "
              "speaker and subject matter. Explain your style choice in the results.");
}

TEST(AnswerText, CleaningTextBlocksAndDecodeReasons) {
    const std::pair<QString, QString> cleaning[] = {
        {"```json\r\n{\"a\":1}\r\n```", R"({"a":1})"},
        {"```\n{\"a\":1}\n  \t```  ", R"({"a":1})"},
        {"```json\n{\"a\":1}", R"({"a":1})"},
        {"```json\nSure! {\"a\":{\"b\":2}} done\n```", R"({"a":{"b":2}})"},
        {"{ broken", "{ broken"},
        {"```text\nno object here\n  ```\n```", "no object here"},
        {"```\nbefore\n```\nafter", "before\n```\nafter"},
    };
    for (const auto& [answer, cleaned] : cleaning)
        EXPECT_EQ(cleanAnswerText(answer), cleaned) << answer.toStdString();

    // Only the first text block counts, and only when its text is a string.
    EXPECT_FALSE(answerTextFromBody(R"({"content":[{"type":"text"},{"type":"text","text":"later"}]})"));
    EXPECT_FALSE(answerTextFromBody(R"({"content":[{"type":"text","text":5}]})"));
    const QString flagAndAccent = QString::fromUtf8("🇪🇸e\u0301");
    EXPECT_EQ(characterCount(flagAndAccent + "ab"), 4);
    EXPECT_EQ(leadingCharacters(flagAndAccent + "ab", 2), flagAndAccent);

    const auto reason = [](const char* text) {
        return std::get<QString>(decodeExplained<MiningResults>(QByteArray(text)));
    };
    EXPECT_EQ(reason(R"({"segments":[{"index":1.5}]})"),
              "Expected a whole number at \"segments[0].index\", found the number 1.5.");
    EXPECT_EQ(
        reason(R"({"segments":[],"structure":{"acts":[{"name":"A","segments":["x"]}],"totalDuration":1}})"),
        "Expected a whole number at \"structure.acts[0].segments[0]\", found a string.");
}

namespace {

const char* validAnswer =
    R"({"segments":[{"index":0,"startTime":4.2,"endTime":20.0,"sourceClip":"source","transcript":"Nací",)"
    R"("translation":"I was born"}],"structure":{"acts":[{"name":"Act 1","segments":[0]}],"totalDuration":15.8},)"
    R"("subtitles":[{"startTime":4.2,"endTime":8.0,"text":"I was born"}],"estimatedDuration":15.8})";

MiningResults validResults() {
    MiningResults r;
    r.segments = {{0, 4.2, 20.0, "source", "Nací", "I was born", std::nullopt}};
    r.structure = {{{"Act 1", {0}}}, 15.8};
    r.subtitles = {{4.2, 8.0, "I was born"}};
    r.estimatedDuration = 15.8;
    return r;
}

std::optional<MiningResults> analyze(AnalysisRig& rig, const TranscriptResult& t, double minutes = 2.5,
                                     const QString& style = "STYLE") {
    return QCoro::waitFor(analyzeStory(rig.p(), t, minutes, "auto", style));
}

} // namespace

TEST(AnalyzeStory, PromptMatchesTheGoldenTextByteForByte) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
    const StylePreset& corporate = STYLE_PRESETS()[1];
    const TranscriptResult transcript{{{0.0, 4.2, "Bueno, empecemos.", "es"},
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
                                       {95.5, 101.0, "Fin.\t", "es"}},
                                      "es"};

    const auto result =
        analyze(rig, transcript, 2.5, buildStylePrompt(corporate.sliders, corporate.id, false));

    const QString golden = goldenText("analysis_prompt.txt");
    ASSERT_FALSE(golden.isEmpty());
    EXPECT_EQ(rig.sentPrompt(), golden);
    EXPECT_EQ(result, validResults());
    EXPECT_EQ(rig.lines(), QList<Line>({{"  Sending 294 chars to Claude...", "dim"}}));
}

TEST(AnalyzeStory, OneRequestWithExactHeadersAndBody) {
    AnalysisRig rig;
    rig.server.respondJson("/v1/messages", 200, claudeBody(validAnswer));
    const TranscriptResult t{{{0, 1, "a/b \"quoted\" ñ", "es"}}, "es"};

    ASSERT_TRUE(analyze(rig, t, 3, "S"));

    const auto requests = rig.server.requests();
    ASSERT_EQ(requests.size(), 1);
    const RecordedRequest& r = requests[0];
    EXPECT_EQ(r.method, "POST");
    EXPECT_EQ(r.path, "/v1/messages");
    EXPECT_EQ(r.header("x-api-key"), TEST_KEY);
    EXPECT_EQ(r.header("anthropic-version"), "2023-06-01");
    EXPECT_EQ(r.header("content-type"), "application/json");
    const Json message = {{"role", "user"},
                          {"content", buildAnalysisPrompt(t, 3, "auto", "S").toStdString()}};
    EXPECT_EQ(r.body.toStdString(), R"({"model":"claude-sonnet-4-20250514","max_tokens":8000,"messages":[)" +
                                        message.dump() + "]}");
}

TEST(AnalyzeStory, PromptFiguresAndFolding) {
    // The source runs to the last end (no sum), the target is cut towards zero, a chosen language wins.
    const QString prompt =
        buildAnalysisPrompt({{{0, 10, "x", "es"}, {500, 630, "y", "es"}}, "es"}, 2.99, "fr", "S");
    EXPECT_TRUE(prompt.contains("SOURCE: 10 minutes of interview footage (630 total seconds)\n"
                                "TARGET: 2 minutes (179 seconds)\nSOURCE LANGUAGE: fr\n"))
        << prompt.toStdString();
    EXPECT_TRUE(buildAnalysisPrompt({{}, "es"}, std::nan(""), "auto", "S")
                    .contains("SOURCE: 0 minutes of interview footage (0 total seconds)\n"
                              "TARGET: 0 minutes (0 seconds)\n"));
    // A line closes once it spans 30 s, exactly 30 included.
    EXPECT_EQ(foldTranscript({{0, 30, "a", "en"}, {30, 31, "b", "en"}}),
              "[0.0s → 30.0s] a\n[30.0s → 31.0s] b\n");
}

TEST(AnalyzeStory, AnswersAndTheirLogLines) {
    // Valid JSON of the wrong shape: every field the record needs falls back to its default.
    const QString wrongShape =
        R"({"segments":[{"startTime":1},{"startTime":1,"endTime":3},{"index":"x","startTime":4,"endTime":10,)"
        R"("chapter":"C"},{"index":7.0,"startTime":10,"endTime":11,"sourceClip":4,"translation":12},)"
        R"({"index":3.5,"startTime":11,"endTime":12,"chapter":null}],"structure":{"acts":[{"segments":[0]},)"
        R"({"name":5,"segments":[1,2.5]},{"name":"A","segments":[1.0]}],"totalDuration":500},"subtitles":[)"
        R"({"text":"no times"},{"startTime":1,"endTime":2,"text":"kept"},{"startTime":3,"endTime":"4","text":"x"}],)"
        R"("estimatedDuration":"soon"})";
    MiningResults recovered;
    recovered.segments = {{1, 1, 3, "source", "", "", std::nullopt},
                          {2, 4, 10, "source", "", "", QString("C")},
                          {7, 10, 11, "source", "", "", std::nullopt},
                          {4, 11, 12, "source", "", "", std::nullopt}};
    recovered.structure = {{{"Untitled", {0}}, {"Untitled", {}}, {"A", {1}}}, 10};
    recovered.subtitles = {{1, 2, "kept"}};
    recovered.estimatedDuration = 10;

    const QString preview = "  Response preview: ";
    // Past the spending limit no wait helps: not retried.
    const QByteArray rateLimited = R"({"type":"error","error":{"type":"rate_limit_error","details":)"
                                   R"({"error_code":"enforced_spend_limit_reached"},"message":")" +
                                   QByteArray(400, 'x') + R"("}})";
    const QString notJson = "  JSON decode error: The data isn't valid JSON (at byte 1).";
    struct Case {
        ScriptedResponse response;
        std::optional<MiningResults> result;
        QList<Line> log; // after the "Sending" line
    } cases[] = {
        {{200, claudeBody(QString("```json\n") + validAnswer + "\n```")}, validResults(), {}},
        {{200, claudeBody(QString("Here is your edit:\n") + validAnswer + "\nEnjoy!")}, validResults(), {}},
        {{200, R"({"content":[{"type":"thinking","thinking":"{}"},{"type":"text","text":)" +
                   QByteArray::fromStdString(Json(std::string(validAnswer)).dump()) + "}]}"},
         validResults(),
         {}},
        {{429, rateLimited}, std::nullopt, {{"  Claude HTTP error: " + rateLimited.left(300), "accent"}}},
        {{400, R"({"type":"error","error":{"type":"invalid_request_error","message":"prompt is too long"}})"},
         std::nullopt,
         {{R"(  Claude HTTP error: {"type":"error","error":{"type":"invalid_request_error","message":"prompt is too long"}})",
           "accent"}}},
        {{401, QByteArray("invalid x-api-key: ") + TEST_KEY},
         std::nullopt,
         {{"  Claude HTTP error: invalid x-api-key: [redacted]", "accent"}}},
        {{200, QByteArray(250, 'y')},
         std::nullopt,
         {{"  Claude response parse error: " + QString(200, 'y'), "accent"}}},
        {{200, claudeBody("I'm sorry, I can't help with that.")},
         std::nullopt,
         {{notJson, "accent"}, {preview + "I'm sorry, I can't help with that....", "dim"}}},
        {{200, claudeBody("} no object here {")},
         std::nullopt,
         {{notJson, "accent"}, {preview + "} no object here {...", "dim"}}},
        {{200, claudeBody(wrongShape)},
         recovered,
         {{"  JSON decode error: No value at \"segments[0].index\".", "accent"},
          {preview + wrongShape.left(300) + "...", "dim"},
          {"  ✓ Recovered via manual parse", "green"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.response.body.toStdString());
        AnalysisRig rig;
        rig.server.enqueue("/v1/messages", c.response);
        EXPECT_EQ(analyze(rig, {{{0, 1, "x", "es"}}, "es"}), c.result);
        EXPECT_EQ(rig.lines().mid(1), c.log);
        EXPECT_EQ(rig.server.requestsTo("/v1/messages").size(), 1) << "never retried";
    }
}

// A refusal before any work (overloaded, too many requests) goes out again after the wait the
// service asks for, at most three times, each wait with its line.
TEST(AnalyzeStory, ARefusedRequestIsRetriedAfterItsWait) {
    ScriptedResponse overloaded{529, R"({"type":"error","error":{"type":"overloaded_error"}})"};
    overloaded.headers = {{"retry-after", "1"}};
    ScriptedResponse limited{429, R"({"type":"error","error":{"type":"rate_limit_error"}})"};
    limited.headers = {{"retry-after", "0"}};
    const Line retrying{"  Rate limited — retrying in 1s...", "dim"};
    const struct {
        const char* name;
        QList<ScriptedResponse> script;
        bool story;
        QList<Line> log; // after the "Sending" line
    } cases[] = {
        {"overloaded once", {overloaded, {200, claudeBody(validAnswer)}}, true, {retrying}},
        {"refused every time",
         {limited, limited, limited, limited, {200, claudeBody(validAnswer)}},
         false,
         {retrying,
          retrying,
          retrying,
          {R"(  Claude HTTP error: {"type":"error","error":{"type":"rate_limit_error"}})", "accent"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        for (const ScriptedResponse& r : c.script)
            rig.server.enqueue("/v1/messages", r);
        EXPECT_EQ(analyze(rig, {{{0, 1, "x", "es"}}, "es"}).has_value(), c.story);
        EXPECT_EQ(rig.lines().mid(1), c.log);
        EXPECT_EQ(rig.server.requestsTo("/v1/messages").size(), c.log.size() - !c.story + 1);
    }
}

// Whatever wait a refusal names — none, nothing, a year, words — it is one line within 1–60 s, the
// refused request was not billed and goes out again as one new request, and a cancel during the
// wait ends the run at once with nothing more sent.
TEST(AnalyzeStory, AnyRetryAfterIsOneLineAndACancelEndsItsWait) {
    const struct {
        const char* name;
        std::optional<QByteArray> retryAfter; // absent: no header
        QString line;
        bool cancel; // at the line, else the retry is answered
    } cases[] = {
        {"zero", QByteArray("0"), "  Rate limited — retrying in 1s...", false},
        {"below zero", QByteArray("-30"), "  Rate limited — retrying in 1s...", false},
        {"a year", QByteArray("31536000"), "  Rate limited — retrying in 60s...", true},
        {"not a number", QByteArray("soon"), "  Rate limited — retrying in 5s...", true},
        {"a date", QByteArray("Wed, 21 Oct 2026 07:28:00 GMT"), "  Rate limited — retrying in 5s...", true},
        {"none", std::nullopt, "  Rate limited — retrying in 5s...", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        ScriptedResponse limited{429, R"({"type":"error","error":{"type":"rate_limit_error"}})"};
        if (c.retryAfter)
            limited.headers = {{"retry-after", *c.retryAfter}};
        rig.server.enqueue("/v1/messages", limited);
        rig.server.enqueue("/v1/messages", {200, claudeBody(validAnswer)});
        const TranscriptResult transcript{{{0, 1, "x", "es"}}, "es"};
        if (!c.cancel) {
            EXPECT_EQ(analyze(rig, transcript), validResults());
            EXPECT_EQ(rig.lines().mid(1), (QList<Line>{{c.line, "dim"}}));
            EXPECT_EQ(rig.server.requests().size(), 2);
            continue;
        }
        rig.mineCached(transcript);
        rig.cancelAt(c.line);
        bool done = false;
        QCoro::Task<> run = rig.startRun(done, 2.5);
        ASSERT_TRUE(waitFor([&] { return done; }, 20000)) << "the wait went on after the cancel";
        EXPECT_EQ(rig.lines().last(), Line(c.line, "dim"));
        EXPECT_EQ(rig.lines().count(Line(c.line, "dim")), 1);
        EXPECT_NE(rig.p().step(), PipelineStep::error);
        EXPECT_EQ(rig.server.requests().size(), 1);
    }
}

// Up to a 10-minute story the documented call; past it the answer's room grows with the story
// (at least the documented 8000 tokens), within the model's output limit and what the prompt leaves
// of the context, and the answer is streamed.
TEST(ClaudeCalls, TheStorysLengthSetsTheAnswersRoom) {
    const struct {
        double minutes;
        qsizetype promptChars;
        int maxTokens;
        bool stream;
    } cases[] = {
        {5, 1000, 8000, false},     {10, 400000, 8000, false}, {10.5, 1000, 8000, true},
        {20, 1000, 12000, true},    {60, 1000, 36000, true},   {120, 1000, 64000, true},
        {120, 480000, 61857, true}, {60, 600000, 27571, true}, {std::nan(""), 1000, 8000, false},
    };
    for (const auto& c : cases) {
        const ClaudeCall call = storyCall(c.minutes, c.promptChars);
        EXPECT_EQ(std::pair(call.maxTokens, call.stream), std::pair(c.maxTokens, c.stream))
            << c.minutes << " minutes, " << c.promptChars << " characters";
    }
    EXPECT_EQ(
        *claudeRequestBody("hi", {12000, true}),
        R"({"model":"claude-sonnet-4-20250514","max_tokens":12000,"messages":[{"role":"user","content":"hi"}],"stream":true})");
    AnalysisRig rig;
    EXPECT_EQ((*claudeRequest(rig.p(), "{}", {12000, true})()).timeout, CLAUDE_STREAM_SILENCE);
    EXPECT_EQ((*claudeRequest(rig.p(), "{}", {})()).timeout, CLAUDE_TIMEOUT);
}

TEST(AnswerText, ReadsAStreamedAnswer) {
    const auto events = [](std::initializer_list<const char*> data) {
        QByteArray out;
        for (const char* d : data)
            out += QByteArray("event: x\r\ndata: ") + d + "\r\n\r\n";
        return out;
    };
    const char* start =
        R"({"type":"content_block_start","index":0,"content_block":{"type":"text","text":"{"}})";
    const char* delta =
        R"({"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"\"a\":1}"}})";
    const char* end = R"({"type":"message_delta","delta":{"stop_reason":"end_turn"}})";
    const char* stop = R"({"type":"message_stop"})";
    const struct {
        const char* name;
        QByteArray body;
        std::optional<QString> text;
        QString stopReason;
        std::optional<QString> error;
        bool complete;
    } cases[] = {
        {"whole",
         events({R"({"type":"ping"})", start, delta, end, stop}),
         QString(R"({"a":1})"),
         "end_turn",
         {},
         true},
        {"after a thinking block",
         events(
             {R"({"type":"content_block_start","index":0,"content_block":{"type":"thinking","thinking":""}})",
              R"({"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"hm"}})",
              R"({"type":"content_block_start","index":1,"content_block":{"type":"text","text":""}})",
              R"({"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"ok"}})", stop}),
         QString("ok"),
         "",
         {},
         true},
        {"cut by its limit",
         events({start, R"({"type":"message_delta","delta":{"stop_reason":"max_tokens"}})", stop}),
         QString("{"),
         "max_tokens",
         {},
         true},
        {"an error mid-way",
         events({start, R"({"type":"error","error":{"type":"overloaded_error","message":"Overloaded"}})"}),
         QString("{"), "", QString("Overloaded"), false},
        {"no end", events({start, delta}), QString(R"({"a":1})"), "", {}, false},
        {"no text", events({stop}), {}, "", {}, true},
        {"not events", QByteArray("\xff\x00{]data:", 9), {}, "", {}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const StreamedAnswer a = readAnswerEvents(c.body);
        EXPECT_EQ(a.text, c.text);
        EXPECT_EQ(a.stopReason, c.stopReason);
        EXPECT_EQ(a.error, c.error);
        EXPECT_EQ(a.complete, c.complete);
    }
}

namespace {

// A story of `moments` moments of 15 s, in acts of twelve, with chapters and three subtitles each.
QString storyOf(int moments) {
    Json segments = Json::array(), subtitles = Json::array(), acts = Json::array();
    for (int i = 0; i < moments; ++i) {
        const double start = 60.0 * i;
        segments.push_back(
            {{"index", i},
             {"startTime", start},
             {"endTime", start + 15},
             {"sourceClip", "source"},
             {"transcript", "y entonces mi padre volvió del mar con una historia " + std::to_string(i)},
             {"translation", "and then my father came back from the sea with a story"},
             {"chapter", "Chapter " + std::to_string(i / 12 + 1)}});
        for (int k = 0; k < 3; ++k)
            subtitles.push_back(
                {{"startTime", start + 5 * k}, {"endTime", start + 5 * k + 4.5}, {"text", "line"}});
        if (i % 12 == 0)
            acts.push_back({{"name", "Act " + std::to_string(i / 12 + 1)}, {"segments", Json::array()}});
        acts.back()["segments"].push_back(i);
    }
    const Json story = {{"segments", segments},
                        {"structure", {{"acts", acts}, {"totalDuration", 15.0 * moments}}},
                        {"subtitles", subtitles},
                        {"estimatedDuration", 15.0 * moments}};
    return QString::fromStdString(story.dump(4));
}

} // namespace

// A 60-minute story of 240 moments asks for room for it and arrives whole, streamed in many pieces
// over a longer time than any piece takes.
TEST(AnalyzeStory, ALongStoryIsStreamedWhole) {
    AnalysisRig rig;
    const QString story = storyOf(240);
    rig.server.enqueue("/v1/messages", streamed(modelStream("```json\n" + story + "\n```", 60, 25)));
    const std::optional<MiningResults> result = analyze(rig, {{{0, 14400, "x", "es"}}, "es"}, 60);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->segments.size(), 240);
    EXPECT_EQ(result->segments.last().chapter, "Chapter 20");
    EXPECT_EQ(result->structure.acts.size(), 20);
    EXPECT_EQ(result->subtitles.size(), 720);
    EXPECT_EQ(result->estimatedDuration, 3600);
    EXPECT_EQ(rig.lines().size(), 1) << "only the Sending line";
    const auto body = parseJson(rig.server.requests()[0].body);
    EXPECT_EQ((*body)["max_tokens"], 36000);
    EXPECT_EQ((*body)["stream"], true);
}

// Each way a stream can go wrong is one line (the answer cut by its limit is still read, and fails
// to decode as any broken answer does), and nothing is sent twice.
TEST(AnalyzeStory, AStreamGoneWrongIsOneLineAndNeverSentTwice) {
    const QString story = storyOf(3);
    QList<ScriptedResponse::Piece> errorMidway = modelStream(story, 4, 10);
    errorMidway.insert(2, {10,
                           "event: error\ndata: {\"type\":\"error\",\"error\":{\"type\":\"overloaded_error\","
                           "\"message\":\"Overloaded\"}}\n\n"});
    const QString partial = story.left(story.size() / 2);
    const struct {
        const char* name;
        ScriptedResponse response;
        QList<Line> log; // after the "Sending" line
    } cases[] = {
        {"cut in the middle",
         streamed(modelStream(story, 4, 10).mid(0, 3), true),
         {{"  Claude request failed: The network connection was lost.", "accent"}}},
        {"an error event", streamed(errorMidway), {{"  Claude stream error: Overloaded", "accent"}}},
        {"ended without its stop",
         streamed(modelStream(story, 4, 10, "end_turn", false)),
         {{QStringLiteral("  Claude request failed: the answer stopped after %1 characters")
               .arg(story.size()),
           "accent"}}},
        {"cut by its limit",
         streamed(modelStream(partial, 4, 10, "max_tokens")),
         {{"  ⚠ The answer reached its limit of 12000 tokens", "accent"},
          {"  JSON decode error: " +
               std::get<QString>(decodeExplained<MiningResults>(cleanAnswerText(partial).toUtf8())),
           "accent"},
          {"  Response preview: " + cleanAnswerText(partial).left(300) + "...", "dim"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        rig.server.enqueue("/v1/messages", c.response);
        rig.server.enqueue("/v1/messages", {200, claudeBody(validAnswer)});
        EXPECT_FALSE(analyze(rig, {{{0, 1, "x", "es"}}, "es"}, 20));
        EXPECT_EQ(rig.lines().mid(1), c.log);
        EXPECT_EQ(rig.server.requestsTo("/v1/messages").size(), 1);
    }
}
