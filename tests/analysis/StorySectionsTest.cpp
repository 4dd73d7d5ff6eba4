// A transcript too long for one request: how it is split, how the sections' candidates are read,
// kept and merged, and the two rounds of requests against a fake language model, with every way a
// section or the choice can go wrong.
#include "AnalysisTestSupport.h"

#include "analysis/AnswerText.h"
#include "analysis/ClaudeRequest.h"
#include "analysis/StoryAnalysis.h"
#include "analysis/StorySections.h"

#include <QRegularExpression>
#include <QTest>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

TEST(StorySections, LinesSplitIntoTheFewestEvenRunsUnderTheBudget) {
    const struct {
        QList<qsizetype> lines;
        qsizetype budget;
        QList<std::pair<qsizetype, qsizetype>> runs;
    } cases[] = {
        {{}, 10, {}},
        {{3, 3, 3}, 10, {{0, 3}}},
        {{5, 5, 5, 5}, 10, {{0, 2}, {2, 4}}},
        // Three runs of about seven, not two full ones and a stub.
        {{4, 3, 4, 3, 4, 3}, 10, {{0, 2}, {2, 4}, {4, 6}}},
        {{25, 1, 1}, 10, {{0, 1}, {1, 3}}},
        {{10, 10, 10}, 10, {{0, 1}, {1, 2}, {2, 3}}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(splitLines(c.lines, c.budget), c.runs) << c.lines.size() << " lines";
}

namespace {

// `count` segments of about 100 characters, 6 s each, 2 s apart.
QList<TranscriptSegment> longTranscript(qsizetype count) {
    QList<TranscriptSegment> segments;
    segments.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        segments.push_back(
            {8.0 * double(i), 8.0 * double(i) + 6,
             QStringLiteral("mi padre volvió del mar con una historia que nadie quiso creer, la %1").arg(i),
             "es"});
    return segments;
}

} // namespace

TEST(StorySections, SectionsAreTheWholeFoldInEvenPartsUnderTheBudget) {
    const QList<TranscriptSegment> segments = longTranscript(12000);
    const QString whole = foldTranscript(segments);
    for (const qsizetype budget : {qsizetype(100000), qsizetype(480000), kStoryPromptBudgetChars * 4}) {
        const QList<TranscriptSection> sections = splitIntoSections(segments, budget);
        ASSERT_EQ(sections.size(), (whole.size() + budget - 1) / budget) << budget;
        QString joined;
        qsizetype next = 0;
        for (const TranscriptSection& s : sections) {
            EXPECT_LE(s.folded.size(), budget);
            EXPECT_EQ(s.firstSegment, next);
            EXPECT_EQ(s.start, segments[s.firstSegment].start);
            EXPECT_EQ(s.end, segments[s.endSegment - 1].end);
            EXPECT_EQ(s.folded, foldTranscript(segments.mid(s.firstSegment, s.endSegment - s.firstSegment)));
            next = s.endSegment;
            joined += s.folded;
        }
        EXPECT_EQ(next, segments.size());
        EXPECT_EQ(joined, whole);
    }
}

TEST(StorySections, CandidatesAreReadRescuedKeptAndMerged) {
    const QString valid =
        R"({"candidates":[{"startTime":10,"endTime":30,"transcript":"a","reason":"r","strength":5},
        {"startTime":40,"endTime":55},{"startTime":"x","endTime":70},{"startTime":60,"endTime":80,"strength":9}]})";
    const struct {
        const char* name;
        QString text;
        std::optional<QList<StoryCandidate>> read;
        bool rescued;
    } cases[] = {
        {"valid", valid,
         QList<StoryCandidate>{{10, 30, "a", "r", 5}, {40, 55, "", "", 3}, {60, 80, "", "", 5}}, false},
        {"none", R"({"candidates":[]})", QList<StoryCandidate>{}, false},
        {"cut off",
         R"({"candidates":[{"startTime":1,"endTime":20,"reason":"a } ] \" {"},{"startTime":30,"endT)",
         QList<StoryCandidate>{{1, 20, "", "a } ] \" {", 3}}, true},
        {"cut off before any", R"({"candidates":[{"startTime":1,)", std::nullopt, false},
        {"another shape", R"({"segments":[]})", std::nullopt, false},
        {"an array", R"([{"startTime":1,"endTime":2}])", std::nullopt, false},
        {"words", "I'm sorry, I can't.", std::nullopt, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<CandidateReading> r = readCandidates(c.text);
        ASSERT_EQ(r.has_value(), c.read.has_value());
        if (r) {
            EXPECT_EQ(r->candidates, *c.read);
            EXPECT_EQ(r->rescued, c.rescued);
        }
    }

    // Outside the section (a second of slack), backwards or empty: dropped.
    QList<StoryCandidate> within{{99.5, 120, "", "", 3},  {98, 110, "", "", 3},  {150, 140, "", "", 3},
                                 {180, 200.5, "", "", 3}, {190, 230, "", "", 3}, {160, 160, "", "", 3}};
    EXPECT_EQ(keepCandidatesWithin(within, 100, 200), 4);
    EXPECT_EQ(within, (QList<StoryCandidate>{{99.5, 120, "", "", 3}, {180, 200.5, "", "", 3}}));

    // The same moment offered twice (sections meeting, or a model repeating itself): the stronger stays.
    QList<StoryCandidate> twice{{300, 320, "b", "", 2},
                                {10, 30, "a", "", 3},
                                {301, 321, "b2", "", 4},
                                {310, 340, "c", "", 5},
                                {12, 28, "a2", "", 1}};
    EXPECT_EQ(mergeDuplicateCandidates(twice), 3);
    EXPECT_EQ(twice, (QList<StoryCandidate>{{10, 30, "a", "", 3}, {310, 340, "c", "", 5}}));

    // Too many for one request: the strongest that fit, in time order.
    QList<StoryCandidate> many;
    for (int i = 0; i < 10; ++i)
        many.push_back({i * 30.0, i * 30.0 + 20, QString(90, 'x'), "why", i % 2 ? 5 : 1});
    const qsizetype line = candidateLines({many[0]}).size();
    // Room for the five strong ones and the first weak one (the lines grow with their times).
    EXPECT_EQ(keepStrongestWithin(many, line * 6 + 40), 4);
    ASSERT_EQ(many.size(), 6);
    EXPECT_EQ(std::pair(many[0].startTime, many[0].strength), std::pair(0.0, qint64(1)));
    EXPECT_EQ(std::pair(many[5].startTime, many[5].strength), std::pair(270.0, qint64(5)));

    // The story keeps the moments a candidate holds (two seconds of slack).
    MiningResults story;
    story.segments = {{0, 11, 29, "s", "", "", {}},
                      {1, 400, 420, "s", "", "", {}},
                      {2, 298, 322, "s", "", "", {}},
                      {3, 20, 45, "s", "", "", {}}};
    EXPECT_EQ(keepMomentsOfCandidates(story, {{300, 320, "", "", 3}, {10, 30, "", "", 3}}), 2);
    EXPECT_EQ(story.segments.size(), 2);
    EXPECT_EQ(story.segments[1].startTime, 298);
}

namespace {

const QRegularExpression kPart(R"(SOURCE: part (\d+) of (\d+), from (\d+)s to (\d+)s)");
const QRegularExpression kCandidateLine(R"(^\[([\d.]+)s → ([\d.]+)s\])", QRegularExpression::MultilineOption);

QString promptOf(const RecordedRequest& r) {
    const auto body = parseJson(r.body);
    return body ? QString::fromStdString((*body)["messages"][0]["content"].get<std::string>()) : QString();
}

// A section's answer: three candidates early in its part, the first of them offered twice.
QString sectionAnswer(double from) {
    Json candidates = Json::array();
    for (const double at : {from + 8, from + 160, from + 800, from + 8})
        candidates.push_back({{"startTime", at},
                              {"endTime", at + 22},
                              {"transcript", "texto"},
                              {"reason", "strong"},
                              {"strength", 4}});
    return QString::fromStdString(Json{{"candidates", candidates}}.dump());
}

// The choice: every candidate offered, latest first, in acts of four.
QString choiceAnswer(const QString& prompt, double outsideAt = -1) {
    Json segments = Json::array(), acts = Json::array();
    QList<std::pair<double, double>> offered;
    for (auto it = kCandidateLine.globalMatch(prompt); it.hasNext();) {
        const auto m = it.next();
        offered.push_front({m.captured(1).toDouble(), m.captured(2).toDouble()});
    }
    if (outsideAt >= 0)
        offered.push_back({outsideAt, outsideAt + 20});
    for (qsizetype i = 0; i < offered.size(); ++i) {
        segments.push_back({{"index", i},
                            {"startTime", offered[i].first},
                            {"endTime", offered[i].second},
                            {"sourceClip", "source"},
                            {"transcript", "texto"},
                            {"translation", "text"}});
        if (i % 4 == 0)
            acts.push_back({{"name", "Act"}, {"segments", Json::array()}});
        acts.back()["segments"].push_back(i);
    }
    return QString::fromStdString(Json{
        {"segments", segments},
        {"structure", {{"acts", acts}, {"totalDuration", 1}}},
        {"subtitles", Json::array()},
        {"estimatedDuration", 1}}.dump());
}

struct Script {
    std::function<std::optional<ScriptedResponse>(int part, const RecordedRequest&)>
        section{}; // absent: answer
    double choiceOutsideAt = -1;
    std::function<std::optional<ScriptedResponse>(const RecordedRequest&)> choice{};
};

// A fake language model that reads each prompt: a section answers from its part, the choice takes
// every candidate it was offered.
void answerAsTheModel(FakeHttpServer& server, Script script) {
    server.answerWith("/v1/messages", [script](const RecordedRequest& r) -> ScriptedResponse {
        const QString prompt = promptOf(r);
        const auto part = kPart.match(prompt);
        if (part.hasMatch()) {
            if (script.section)
                if (auto scripted = script.section(part.captured(1).toInt(), r))
                    return *scripted;
            ScriptedResponse answer = modelAnswer(r, sectionAnswer(part.captured(3).toDouble()));
            answer.delayMs = 40;
            return answer;
        }
        if (script.choice)
            if (auto scripted = script.choice(r))
                return *scripted;
        return modelAnswer(r, choiceAnswer(prompt, script.choiceOutsideAt));
    });
}

// 36,000 segments: about 2.9 M characters of fold, six sections.
const TranscriptResult& weekOfFootage() {
    static const TranscriptResult transcript{longTranscript(36000), "es"};
    return transcript;
}

} // namespace

TEST(StorySections, AWeekOfFootageIsReadInSectionsAndEachFailureIsOneLine) {
    const QList<TranscriptSection> parts = splitIntoSections(weekOfFootage().segments);
    const qsizetype n = parts.size();
    ASSERT_EQ(n, 6);
    ScriptedResponse limited{429, R"({"type":"error","error":{"type":"rate_limit_error"}})"};
    limited.headers = {{"retry-after", "1"}};
    const auto refusedOnce = std::make_shared<bool>(false);
    const QString reading = "  Reading section %1 of 6...";
    const auto readingLines = [&](int first, int last) {
        QList<Line> out;
        for (int k = first; k <= last; ++k)
            out.push_back({reading.arg(k), "dim"});
        return out;
    };
    const Line failed3{"  ⚠ Section 3 failed, skipping", "accent"};
    const struct {
        const char* name;
        Script script;
        bool story;
        QList<Line> log; // after "Sending"
        int requests;
    } cases[] = {
        {"every section answers",
         {},
         true,
         readingLines(1, 6) + QList<Line>{{"  Merged 6 duplicate candidates", "dim"},
                                          {"  Choosing the story from 18 candidates...", "dim"}},
         7},
        {"one section of six fails",
         {[](int part, const RecordedRequest&) -> std::optional<ScriptedResponse> {
             if (part == 3)
                 return ScriptedResponse{500, "down"};
             return std::nullopt;
         }},
         true,
         readingLines(1, 3) + QList<Line>{{"  Claude HTTP error: down", "accent"}, failed3} +
             readingLines(4, 6) +
             QList<Line>{{"  Merged 5 duplicate candidates", "dim"},
                         {"  Choosing the story from 15 candidates...", "dim"}},
         7},
        {"two of six fail: more than a fifth",
         {[](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
             if (part == 3)
                 return ScriptedResponse{500, "down"};
             if (part == 6)
                 return modelAnswer(r, "I'm sorry, I can't help with that.");
             return std::nullopt;
         }},
         false,
         readingLines(1, 3) + QList<Line>{{"  Claude HTTP error: down", "accent"}, failed3} +
             readingLines(4, 6) +
             QList<Line>{
                 {"  Section 6's answer holds no candidates: I'm sorry, I can't help with that.", "accent"},
                 {"  ⚠ Section 6 failed, skipping", "accent"}} +
             QList<Line>{{"  ✗ 2 of 6 sections failed — the story would leave out too much of the footage",
                          "accent"}},
         6},
        {"a refused section waits its turn to say so",
         {[limited, refusedOnce](int part, const RecordedRequest&) -> std::optional<ScriptedResponse> {
             if (part == 2 && !*refusedOnce) {
                 *refusedOnce = true;
                 return limited;
             }
             return std::nullopt;
         }},
         true,
         readingLines(1, 2) + QList<Line>{{"  Rate limited — retrying in 1s...", "dim"}} +
             readingLines(3, 6) +
             QList<Line>{{"  Merged 6 duplicate candidates", "dim"},
                         {"  Choosing the story from 18 candidates...", "dim"}},
         8},
        {"times outside a section, a damaged answer, a moment of no candidate",
         {[](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
              if (part == 2) {
                  const double from = kPart.match(promptOf(r)).captured(3).toDouble();
                  return modelAnswer(r, QStringLiteral(R"({"candidates":[{"startTime":5,"endTime":20},)"
                                                       R"({"startTime":%1,"endTime":%2},)"
                                                       R"({"startTime":1e7,"endTime":1e7}]})")
                                            .arg(from + 8)
                                            .arg(from + 30));
              }
              if (part == 5)
                  return modelAnswer(
                      r, R"({"candidates":[{"startTime":200000,"endTime":200020,"reason":"x"},{"st)");
              return std::nullopt;
          },
          1000},
         true,
         readingLines(1, 2) +
             QList<Line>{{"  ⚠ Section 2: 2 candidates outside its time, dropped", "accent"}} +
             readingLines(3, 5) +
             QList<Line>{{"  ✓ Recovered 1 candidates of section 5's damaged answer", "green"}} +
             readingLines(6, 6) +
             QList<Line>{{"  Merged 4 duplicate candidates", "dim"},
                         {"  Choosing the story from 14 candidates...", "dim"},
                         {"  ⚠ Dropped 1 moment that no candidate holds", "accent"}},
         7},
        {"a section on its own clock, and one repeating another's candidates",
         {[third = parts[2].start](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
             if (part == 2)
                 return modelAnswer(r, sectionAnswer(0));
             if (part == 4) {
                 Json both =
                     *parseJson(sectionAnswer(kPart.match(promptOf(r)).captured(3).toDouble()).toUtf8());
                 const Json repeated = *parseJson(sectionAnswer(third).toUtf8());
                 for (const Json& c : repeated["candidates"])
                     both["candidates"].push_back(c);
                 return modelAnswer(r, QString::fromStdString(both.dump()));
             }
             return std::nullopt;
         }},
         true,
         readingLines(1, 2) +
             QList<Line>{{"  ⚠ Section 2: 4 candidates outside its time, dropped", "accent"},
                         {"  ⚠ Section 2 failed, skipping", "accent"}} +
             readingLines(3, 4) +
             QList<Line>{{"  ⚠ Section 4: 4 candidates outside its time, dropped", "accent"}} +
             readingLines(5, 6) +
             QList<Line>{{"  Merged 5 duplicate candidates", "dim"},
                         {"  Choosing the story from 15 candidates...", "dim"}},
         7},
        {"a section's stream cut in the middle keeps its whole candidates",
         {[](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
             if (part != 4 && part != 5)
                 return std::nullopt;
             const QString text = sectionAnswer(kPart.match(promptOf(r)).captured(3).toDouble());
             // Section 4 breaks off inside its third candidate, section 5 inside its first.
             qsizetype at = text.indexOf('[');
             for (int k = 0; k < (part == 4 ? 3 : 1); ++k)
                 at = text.indexOf('{', at + 1);
             QList<ScriptedResponse::Piece> pieces = modelStream(text.left(at + 10), 3);
             pieces.removeLast(); // the stop events
             return streamed(pieces, true);
         }},
         true,
         readingLines(1, 4) +
             QList<Line>{{"  Claude request failed: The network connection was lost.", "accent"},
                         {"  ✓ Recovered 2 candidates of section 4's damaged answer", "green"}} +
             readingLines(5, 5) +
             QList<Line>{{"  Claude request failed: The network connection was lost.", "accent"},
                         {"  ⚠ Section 5 failed, skipping", "accent"}} +
             readingLines(6, 6) +
             QList<Line>{{"  Merged 4 duplicate candidates", "dim"},
                         {"  Choosing the story from 14 candidates...", "dim"}},
         7},
        {"no section offers a candidate",
         {[](int, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
             return modelAnswer(r, R"({"candidates":[]})");
         }},
         false,
         readingLines(1, 6) + QList<Line>{{"  ✗ The sections offered no candidates", "accent"}},
         6},
        {"the choice fails",
         {{},
          -1,
          [](const RecordedRequest&) {
              return std::optional(ScriptedResponse{400, "too long"});
          }},
         false,
         readingLines(1, 6) + QList<Line>{{"  Merged 6 duplicate candidates", "dim"},
                                          {"  Choosing the story from 18 candidates...", "dim"},
                                          {"  Claude HTTP error: too long", "accent"}},
         7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        *refusedOnce = false;
        AnalysisRig rig;
        answerAsTheModel(rig.server, c.script);
        rig.p().setProgress(0.45);
        QList<double> progress;
        QObject::connect(rig.pipeline.get(), &LocalPipeline::progressChanged,
                         [&] { progress << rig.pipeline->progress(); });
        const std::optional<MiningResults> story =
            QCoro::waitFor(analyzeStory(rig.p(), weekOfFootage(), 60, "auto", "STYLE"));
        EXPECT_EQ(story.has_value(), c.story);
        EXPECT_EQ(rig.lines().mid(1), c.log);
        EXPECT_EQ(rig.lines().value(0).first, QStringLiteral("  Sending %1 chars to Claude...")
                                                  .arg(foldTranscript(weekOfFootage().segments).size()));
        EXPECT_EQ(rig.server.requests().size(), c.requests);
        EXPECT_LE(rig.server.mostOpenAtOnce(), 2);
        // Every request within the budget and the context.
        for (const RecordedRequest& r : rig.server.requests()) {
            const auto body = parseJson(r.body);
            EXPECT_LE(promptOf(r).size(), kStoryPromptBudgetChars + 10000);
            EXPECT_LE(promptTokensAtMost(promptOf(r).size()) + (*body)["max_tokens"].get<qint64>(),
                      CLAUDE_CONTEXT_TOKENS);
        }
        // Progress walks the analysis's own range.
        for (qsizetype i = 0; i < progress.size(); ++i) {
            EXPECT_GT(progress[i], 0.45);
            EXPECT_LT(progress[i], 0.7);
            EXPECT_TRUE(i == 0 || progress[i] > progress[i - 1]);
        }
        if (story) {
            // Each moment from the transcript, in the order the choice gave.
            for (qsizetype i = 0; i < story->segments.size(); ++i) {
                EXPECT_GE(story->segments[i].startTime, 0);
                EXPECT_LE(story->segments[i].endTime, weekOfFootage().segments.last().end);
                EXPECT_TRUE(i == 0 || story->segments[i].startTime < story->segments[i - 1].startTime);
            }
        }
    }
}

// A cancel while a section is read, in a run: what is out is aborted, nothing more goes out, no
// line follows, no choice is asked.
TEST(StorySections, ACancelStopsBothRounds) {
    AnalysisRig rig;
    answerAsTheModel(rig.server, {[](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
                         ScriptedResponse slow = modelAnswer(r, sectionAnswer(0));
                         slow.delayMs = part == 1 ? 50 : 600000;
                         return slow;
                     }});
    rig.mineCached(weekOfFootage());
    rig.cancelAt("  Reading section 2 of 6...");
    QCoro::waitFor(rig.p().run("Week", MiningMode::fullMine, 60, "auto", {}, std::nullopt, {}, false));
    EXPECT_EQ(rig.lines().last().first, "  Reading section 2 of 6...");
    EXPECT_NE(rig.p().step(), PipelineStep::error);
    ASSERT_TRUE(waitFor([&] { return !rig.server.abandoned().isEmpty(); })) << "section 2 was not aborted";
    EXPECT_EQ(kPart.match(promptOf(rig.server.abandoned().first())).captured(1), "2");
    // Sections 1 and 2, and perhaps 3 (sent when 1 answered, aborted by the cancel); no choice.
    QTest::qWait(200);
    EXPECT_GE(rig.server.requests().size(), 2);
    for (const RecordedRequest& r : rig.server.requests())
        EXPECT_LE(kPart.match(promptOf(r)).captured(1).toInt(), 3) << promptOf(r).left(200).toStdString();
}

// The service's budget of input tokens paces the sections: one that would not fit waits for the
// reset the answer names.
TEST(StorySections, SectionsWaitForTheInputTokensTheyNeed) {
    AnalysisRig rig;
    const QDateTime now = rig.clock.now();
    int answeredBeforeThird = -1;
    answerAsTheModel(rig.server, {[&](int part, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
                         ScriptedResponse answer = modelAnswer(r, sectionAnswer(0));
                         if (part == 1)
                             answer.headers = {{"anthropic-ratelimit-input-tokens-remaining", "1000"},
                                               {"anthropic-ratelimit-input-tokens-reset",
                                                now.addMSecs(1000).toString(Qt::ISODate).toUtf8()}};
                         if (part == 2)
                             answer.delayMs = 400;
                         if (part == 3)
                             answeredBeforeThird = rig.server.answered();
                         return answer;
                     }});
    QCoro::waitFor(analyzeStory(rig.p(), weekOfFootage(), 60, "auto", "STYLE"));
    EXPECT_EQ(answeredBeforeThird, 2) << "section 3 went out before the input tokens came back";
}

// A cancel while the story is chosen from the candidates, or while a refused section waits the
// service's year (held to a minute): the run ends at once without another line, what is out is
// aborted, and nothing is sent again.
TEST(StorySections, ACancelEndsTheChoiceAndARetryWaitAtOnce) {
    ScriptedResponse aYear{429, R"({"type":"error","error":{"type":"rate_limit_error"}})"};
    aYear.headers = {{"retry-after", "31536000"}};
    const struct {
        const char* name;
        Script script;
        QString cancelAt;
        int sections; // requests of sections, at most
        int choices;
    } cases[] = {
        {"during the choice",
         {{},
          -1,
          [](const RecordedRequest& r) {
              ScriptedResponse slow = modelAnswer(r, "{}");
              slow.delayMs = 600000;
              return std::optional(slow);
          }},
         {}, // once the choice is out
         6,
         1},
        {"during a section's retry wait",
         {[aYear](int part, const RecordedRequest&) -> std::optional<ScriptedResponse> {
             if (part == 2)
                 return aYear;
             return std::nullopt;
         }},
         "  Rate limited — retrying in 60s...",
         6,
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        answerAsTheModel(rig.server, c.script);
        rig.mineCached(weekOfFootage());
        if (!c.cancelAt.isEmpty())
            rig.cancelAt(c.cancelAt);
        bool done = false;
        QCoro::Task<> run = rig.startRun(done);
        if (c.cancelAt.isEmpty()) {
            ASSERT_TRUE(
                waitFor([&] { return rig.server.openNow() == 1 && rig.server.requests().size() == 7; }));
            rig.p().cancel();
        }
        ASSERT_TRUE(waitFor([&] { return done; }, 20000)) << "the run went on after the cancel";
        EXPECT_EQ(rig.lines().last().first,
                  c.cancelAt.isEmpty() ? "  Choosing the story from 18 candidates..." : c.cancelAt);
        EXPECT_NE(rig.p().step(), PipelineStep::error);
        QTest::qWait(200);
        int sections = 0, choices = 0, second = 0;
        for (const RecordedRequest& r : rig.server.requests()) {
            const auto part = kPart.match(promptOf(r));
            part.hasMatch() ? ++sections : ++choices;
            second += part.captured(1) == "2";
        }
        EXPECT_LE(sections, c.sections);
        EXPECT_EQ(choices, c.choices);
        EXPECT_EQ(second, 1) << "section 2 went out again";
        if (c.choices > 0) {
            EXPECT_TRUE(waitFor([&] { return !rig.server.abandoned().isEmpty(); })) << "not aborted";
        }
    }
}

// When the candidate round gives nothing to build a story of, the run ends in an error that says
// so, and nothing is written or built.
TEST(StorySections, NothingToChooseFromEndsTheRunInAnError) {
    const QString emptyStory = R"({"segments":[],"structure":{"acts":[],"totalDuration":0},)"
                               R"("subtitles":[],"estimatedDuration":0})";
    const struct {
        const char* name;
        Script script;
        QStringList last; // the run's last lines
        int requests;
    } cases[] = {
        {"no section offers a candidate",
         {[](int, const RecordedRequest& r) -> std::optional<ScriptedResponse> {
             return modelAnswer(r, R"({"candidates":[]})");
         }},
         {"  ✗ The sections offered no candidates", "✗ Story analysis failed"},
         6},
        {"the choice picks nothing",
         {{},
          -1,
          [emptyStory](const RecordedRequest& r) { return std::optional(modelAnswer(r, emptyStory)); }},
         {"  Choosing the story from 18 candidates...", "✗ The model chose no moments"},
         7},
        {"the choice picks only moments of no candidate",
         {{},
          -1,
          [](const RecordedRequest& r) {
              return std::optional(modelAnswer(r, choiceAnswer("[5.0s → 25.0s] x\n[40.0s → 60.0s] y\n")));
          }},
         {"  ⚠ Dropped 2 moments that no candidate holds", "✗ The model chose no moments"},
         7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AnalysisRig rig;
        answerAsTheModel(rig.server, c.script);
        rig.mineCached(weekOfFootage());
        QCoro::waitFor(rig.p().run("Week", MiningMode::fullMine, 60, "auto", {}, std::nullopt, {}, false));
        EXPECT_EQ(rig.texts().mid(rig.texts().size() - 2), c.last);
        EXPECT_EQ(rig.p().step(), PipelineStep::error);
        EXPECT_EQ(rig.server.requests().size(), c.requests);
        EXPECT_FALSE(rig.p().results());
    }
}
