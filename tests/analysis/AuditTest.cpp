// The audit of a finished cut on the fake Resolve, with a cached transcript and a fake model.
#include "AnalysisTestSupport.h"

#include "analysis/StorySections.h"
#include "analysis/TimelineAudit.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

#include <functional>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QString kTimeline = R"(Cut "1" \ 'final')";

// A timeline as Resolve makes it by default: it starts at 01:00:00:00, and its items' positions
// include that start frame.
struct TimelineStart {
    double fps = 24;
    qint64 frame = 86400;
};

Json item(const char* clipId, qint64 start, qint64 end, TimelineStart at = {}) {
    return {{"clipId", clipId ? Json(clipId) : Json(nullptr)},
            {"start", at.frame + start},
            {"end", at.frame + end}};
}

// Pool clips a.wav, b.wav, c.mov and "t" without a file; the cut comes after a timeline "Other".
QByteArray resolveState(const Json& audio, const Json& video, bool running = true, TimelineStart at = {}) {
    const Json clips = Json::parse(R"([{"id":"a","properties":{"File Path":"/footage/a.wav"}},
        {"id":"b","properties":{"File Path":"/footage/b.wav"}}, {"id":"c","properties":{"File Path":"/footage/c.mov"}},
        {"id":"t","properties":{"File Path":""}}])");
    const Json timeline = {{"name", kTimeline.toStdString()},
                           {"fps", at.fps},
                           {"startFrame", at.frame},
                           {"tracks", {{"video", video}, {"audio", audio}}}};
    const Json project = {{"timelines", Json::array({{{"name", "Other"}}, timeline})},
                          {"mediaPool", {{"root", {{"clips", clips}}}}}};
    return QByteArray::fromStdString(
        Json(
            {{"running", running}, {"currentProject", "Interviews"}, {"projects", {{"Interviews", project}}}})
            .dump());
}

QByteArray goldenState(TimelineStart at = {}) {
    return resolveState(
        Json::array({Json::array({item("a", 0, 240, at), item("b", 240, 480, at)})}),
        Json::array({Json::array({item("c", 0, 48, at), item(nullptr, 48, 96, at), item("t", 96, 120, at)})}),
        true, at);
}

const char* reportJson = R"({"coveragePercent": 5, "usedSegments": [],
  "buriedGold": [{"startTime": 305, "endTime": 315, "text": "Crecí", "reason": "place", "emotionalWeight": 4},
                 {"startTime": 390, "endTime": 400, "text": "Gracias", "reason": "end", "emotionalWeight": 2}],
  "redundancies": [{"firstStart": 0, "firstEnd": 4, "secondStart": 311, "secondEnd": 319.5, "topic": "family"}],
  "alternates": [], "themeGaps": ["the sea"], "confidenceScore": 61.9, "summary": "Thin."})";

struct AuditRig : AnalysisRig {
    std::optional<QStringList> media = QStringList{"/footage/b.wav", "/footage/a.wav"};
    std::optional<TranscriptResult> transcript =
        TranscriptResult{{{0.0, 4.0, "Hola.", "es"},
                          {4.0, 10.0 + 1.0 / 24.0, "Me llamo Ana.", "es"}, // a frame past the used range
                          {305.0, 315.0, "Crecí junto al mar.", "es"},
                          {311.0, 319.5, "Mi abuela cocinaba.", "es"},
                          {390.0, 400.0, "Gracias.", "es"}},
                         "es"};
    ScriptedResponse answer{200, claudeBody(reportJson)};
    bool cancelWhileLoading = false;
    QStringList mediaAskedFor;

    AuditRig() {
        home.setResolveState(goldenState());
        p().steps().getTimelineMedia = [this](LocalPipeline&,
                                              QString timeline) -> QCoro::Task<std::optional<QStringList>> {
            mediaAskedFor << timeline;
            co_return std::optional<QStringList>(media);
        };
        p().steps().loadCachedTranscript = [this](LocalPipeline& pl, const QStringList&) {
            if (cancelWhileLoading)
                pl.cancel();
            return transcript;
        };
    }

    void audit() {
        server.enqueue("/v1/messages", answer);
        QCoro::waitFor(p().auditTimeline(kTimeline));
    }
};

} // namespace

TEST(Audit, FullRunOnTheFakeResolve) {
    // The frames count from the timeline's own start whatever its rate or start (and then, by design,
    // as 24 fps): the same cut gives the same prompt.
    for (const TimelineStart at :
         {TimelineStart{24, 86400}, TimelineStart{25, 90000}, TimelineStart{24, 0}}) {
        SCOPED_TRACE(at.frame);
        AuditRig rig;
        rig.home.setResolveState(goldenState(at));
        rig.p().log("left over from before");
        rig.audit();

        EXPECT_EQ(rig.sentPrompt(), goldenText("audit_prompt.txt"));
        EXPECT_EQ(rig.mediaAskedFor, QStringList({kTimeline}));
        const QList<Line> expected{
            {"$ ondrel audit --timeline " + kTimeline, "dim"},
            {"Reading existing timeline from Resolve...", "muted"},
            {"✓ Found 3 clips using 3 source files", "green"},
            {"✓ Found 2 total source files in media pool", "green"},
            {"⛏ Loading cached transcripts...", "accent"},
            {"✓ Loaded transcript — 5 segments · 12 words", "green"},
            {"Mapping used clips to transcript...", "muted"},
            {"  Used: 20.0s / 400s (5%)", "dim"},
            {"⛏ Claude analyzing for buried gold...", "accent"},
            {"💎 Found 2 gold moments · 1 redundancies", "accent"},
            {"  Confidence score: 61/100", "green"},
            {"✓ Audit complete!", "muted"},
        };
        EXPECT_EQ(rig.lines(), expected);
        EXPECT_EQ(rig.p().step(), PipelineStep::complete);
        EXPECT_EQ(rig.p().progress(), 1.0);
        ASSERT_TRUE(rig.p().auditReport());
        EXPECT_EQ(rig.p().auditReport()->themeGaps, QStringList({"the sea"}));
        EXPECT_EQ(rig.p().auditReport()->coveragePercent, 5.0) << "the model's figure, not ours";
        EXPECT_TRUE(rig.p().auditReport()->usedSegments.isEmpty()) << "used ranges are not merged in";
    }
}

TEST(Audit, FiguresOnTheLogAndInThePrompt) {
    struct Case {
        const char* name;
        Json audio;
        TranscriptResult transcript;
        QStringList log;
        QStringList prompt;
    } cases[] = {
        {"a clip on two tracks counts twice, so coverage can pass 100",
         Json::array({Json::array({item("a", 0, 7200)}), Json::array({item("a", 0, 7200)})}),
         {{{0, 300, "todo", "es"}}, "es"},
         {"✓ Found 2 clips using 1 source files", "  Used: 600.0s / 300s (200%)"},
         {"- They used 200% of the total footage (600.0s out of 300.0s)\n", "\"coveragePercent\": 200.0,\n",
          "FULL TRANSCRIPT:\n[USED] [0.0s → 300.0s] todo\n\n\nRULES:"}},
        {"an empty timeline and an empty transcript",
         Json::array(),
         {{}, "es"},
         {"✓ Found 0 clips using 0 source files", "  Used: 0.0s / 1s (0%)"},
         {"(0.0s out of 1.0s)", "FULL TRANSCRIPT:\n\n\nRULES:"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AuditRig rig;
        rig.home.setResolveState(resolveState(c.audio, Json::array()));
        rig.transcript = c.transcript;
        rig.audit();
        EXPECT_EQ(rig.p().step(), PipelineStep::complete);
        for (const QString& line : c.log)
            EXPECT_TRUE(rig.texts().contains(line)) << line.toStdString();
        for (const QString& part : c.prompt)
            EXPECT_TRUE(rig.sentPrompt().contains(part)) << part.toStdString();
    }
}

TEST(Audit, FailuresEndWithTheirTexts) {
    const QString noResolve = "Could not read timeline clips from Resolve";
    const QString noTranscript =
        "No cached transcripts found. Run Full Mine or Story Mine first to generate transcripts.";
    const QString shapeless =
        R"({"coveragePercent":1,"usedSegments":[],"buriedGold":[],"redundancies":[],"alternates":[],)"
        R"("themeGaps":[],"summary":"s"})";
    const auto editState = [](const QByteArray& from, const QByteArray& to) {
        return [=](AuditRig& r) { r.home.setResolveState(QByteArray(goldenState()).replace(from, to)); };
    };
    struct Case {
        std::function<void(AuditRig&)> arrange;
        QList<Line> before; // the lines before the failure
        QString error;
        double progress;
    } cases[] = {
        {[](AuditRig& r) {
             r.rebuild([&](PipelineEnvironment& env) { env.tools.python3 = r.home.path() + "/no"; });
         },
         {{"  Python script failed", "accent"}},
         noResolve,
         0.05},
        {[](AuditRig& r) { r.home.setResolveState(resolveState(Json::array(), Json::array(), false)); },
         {{"  ✗ Resolve not connected", "accent"}},
         noResolve,
         0.05},
        {editState(QByteArray::fromStdString(Json(kTimeline.toStdString()).dump()), "\"X\""),
         {{"  ✗ Timeline not found", "accent"}},
         noResolve,
         0.05},
        {editState("\"currentProject\":\"Interviews\"", "\"currentProject\":null"),
         {{"  ✗ 'NoneType' object has no attribute 'GetTimelineCount'", "accent"}},
         noResolve,
         0.05},
        {[](AuditRig& r) { r.media.reset(); },
         {{"✓ Found 3 clips using 3 source files", "green"}},
         "Could not access source media",
         0.15},
        {[](AuditRig& r) { r.transcript.reset(); },
         {{"⛏ Loading cached transcripts...", "accent"}},
         noTranscript,
         0.25},
        {[=](AuditRig& r) {
             r.answer = {200, claudeBody(shapeless)};
         },
         {{"  JSON decode error: No value at \"confidenceScore\".", "accent"},
          {"  Response preview: " + shapeless + "...", "dim"}},
         "Claude analysis failed",
         0.6},
        {[](AuditRig& r) {
             r.answer = {500, "overloaded"};
         },
         {{"  Claude HTTP error: overloaded", "accent"}},
         "Claude analysis failed",
         0.6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.error.toStdString());
        AuditRig rig;
        c.arrange(rig);
        rig.audit();
        const QList<Line> tail = c.before + QList<Line>{{"✗ " + c.error, "accent"}};
        const QList<Line> log = rig.lines();
        ASSERT_GE(log.size(), tail.size());
        EXPECT_EQ(log.mid(log.size() - tail.size()), tail);
        EXPECT_EQ(rig.p().step(), PipelineStep::error);
        EXPECT_EQ(rig.p().errorMessage(), c.error);
        EXPECT_EQ(rig.p().progress(), c.progress);
        EXPECT_FALSE(rig.p().auditReport());
    }
}

// Nothing of a cancelled audit follows the cancel: no line, no request to the model, no report.
TEST(Audit, CancelledWhileAnalysingStopsWithoutAWord) {
    AuditRig rig;
    rig.cancelWhileLoading = true;
    rig.audit();
    EXPECT_EQ(rig.texts().last(), "⛏ Loading cached transcripts...");
    EXPECT_EQ(rig.p().step(), PipelineStep::analyzing);
    EXPECT_FALSE(rig.p().auditReport());
    EXPECT_TRUE(rig.server.requests().isEmpty());
}

TEST(Audit, SlotsOnTheTranscriptClockAndWholeContainment) {
    // 300 s per file in code point order of the paths; frames (from the timeline's start) always
    // count as 24 fps.
    const QList<UsedSegment> used = mapTimelineClipsToTranscript({{"/m/c.wav", 24, 48, 1},
                                                                  {"/m/b.wav", 86400, 86412, 0.2},
                                                                  {"/elsewhere/a.wav", 0, 24, 1},
                                                                  {"/m/a.wav", 0, 240, 10}},
                                                                 {"/m/c.wav", "/m/a.wav", "/m/b.wav"});
    EXPECT_EQ(used, (QList<UsedSegment>{{601, 602, ""}, {3900, 3900.5, ""}, {0, 10, ""}}));
    // U+FF21 sorts before U+1F3A4 by code point, though not by UTF-16 unit.
    EXPECT_EQ(mapTimelineClipsToTranscript({{"/m/\U0001F3A4.wav", 0, 24, 1}},
                                           {"/m/\U0001F3A4.wav", "/m/\uFF21.wav"}),
              (QList<UsedSegment>{{300, 301, ""}}));

    const QList<TranscriptSegment> segments{{0, 10, "a", "es"},    {2, 8, "b", "es"},
                                            {-0.01, 5, "c", "es"}, {5, 10.01, "d", "es"},
                                            {9, 601.5, "e", "es"}, {601, 602, "f", "es"}};
    EXPECT_EQ(markedTranscript(segments, used), "[USED] [0.0s → 10.0s] a\n[USED] [2.0s → 8.0s] b\n"
                                                "[UNUSED] [-0.0s → 5.0s] c\n[UNUSED] [5.0s → 10.0s] d\n"
                                                "[UNUSED] [9.0s → 601.5s] e\n[USED] [601.0s → 602.0s] f\n");
}

// The audit of a cut of a week of footage reads the transcript in the same sections as a long
// story, each audited on its own (one failure of six is skipped), and the reports become one. A
// finding outside its part is dropped; a part whose every finding is outside has failed.
TEST(Audit, ALongCutIsAuditedInSectionsAndTheReportsMerged) {
    const QRegularExpression partOf(R"(part (\d+) of (\d+) of the transcript \((\d+)s to (\d+)s\))");
    for (const bool twoFail : {false, true}) {
        SCOPED_TRACE(twoFail ? "two of six fail" : "one of six fails");
        AuditRig rig;
        QList<TranscriptSegment> segments;
        for (int i = 0; i < 24000; ++i)
            segments.push_back(
                {8.0 * i, 8.0 * i + 6,
                 QStringLiteral("mi padre volvió del mar con una historia que nadie quiso creer %1").arg(i),
                 "es"});
        rig.transcript = TranscriptResult{segments, "es"};
        rig.server.answerWith("/v1/messages", [&](const RecordedRequest& r) -> ScriptedResponse {
            const auto body = parseJson(r.body);
            const QString prompt =
                QString::fromStdString((*body)["messages"][0]["content"].get<std::string>());
            const auto match = partOf.match(prompt);
            const int part = match.captured(1).toInt();
            if (part == 2)
                return {500, "overloaded"};
            const auto gold = [&](double at) {
                return Json{{"startTime", at},
                            {"endTime", at + 20},
                            {"text", "t"},
                            {"reason", "r"},
                            {"emotionalWeight", part}};
            };
            // The fifth part counts from its own start, as if it were the whole transcript.
            const double from = part == 5 && twoFail ? 0 : match.captured(3).toDouble();
            Json golds = Json::array({gold(from + 1000)});
            if (part == 4)
                golds.push_back(gold(1e7));
            const Json report = {{"coveragePercent", 1},
                                 {"usedSegments", Json::array()},
                                 {"buriedGold", golds},
                                 {"redundancies", Json::array()},
                                 {"alternates", Json::array()},
                                 {"themeGaps", {"the sea", "The Sea", "part " + std::to_string(part)}},
                                 {"confidenceScore", 10 * part},
                                 {"summary", "Part " + std::to_string(part) + "."}};
            return {200, claudeBody(QString::fromStdString(report.dump()))};
        });
        QCoro::waitFor(rig.p().auditTimeline(kTimeline));
        QStringList reading;
        for (int k = 1; k <= 6; ++k)
            reading << QStringLiteral("  Reading section %1 of 6...").arg(k);
        const QStringList texts = rig.texts();
        const qsizetype first = texts.indexOf(reading[0]);
        ASSERT_GE(first, 0) << texts.join("\n").toStdString();
        EXPECT_EQ(rig.server.requests().size(), 6);
        EXPECT_LE(rig.server.mostOpenAtOnce(), 2);
        for (const RecordedRequest& r : rig.server.requests())
            EXPECT_LE(r.body.size(), kStoryPromptBudgetChars * 2);
        EXPECT_TRUE(texts.contains("  ⚠ Section 4: 1 finding outside its time, dropped"));
        if (twoFail) {
            EXPECT_EQ(texts.mid(texts.indexOf(reading[4]), 3),
                      (QStringList{reading[4], "  ⚠ Section 5: 1 finding outside its time, dropped",
                                   "  ⚠ Section 5 failed, skipping"}));
            EXPECT_EQ(texts.last(), "✗ Claude analysis failed");
            EXPECT_TRUE(texts.contains(
                "  ✗ 2 of 6 sections failed — the audit would leave out too much of the footage"));
            EXPECT_FALSE(rig.p().auditReport());
            continue;
        }
        EXPECT_EQ(texts.mid(first, 3),
                  (QStringList{reading[0], reading[1], "  Claude HTTP error: overloaded"}));
        EXPECT_EQ(texts[first + 3], "  ⚠ Section 2 failed, skipping");
        ASSERT_TRUE(rig.p().auditReport());
        const AuditReport& report = *rig.p().auditReport();
        QList<qint64> weights;
        for (const GoldMoment& gold : report.buriedGold)
            weights << gold.emotionalWeight;
        EXPECT_EQ(weights, (QList<qint64>{6, 5, 4, 3, 1}));
        EXPECT_EQ(report.themeGaps,
                  (QStringList{"the sea", "part 1", "part 3", "part 4", "part 5", "part 6"}));
        EXPECT_GT(report.confidenceScore, 10);
        EXPECT_LT(report.confidenceScore, 60);
        EXPECT_EQ(report.summary, "Part 1.\n\nPart 3.\n\nPart 4.\n\nPart 5.\n\nPart 6.");
        EXPECT_EQ(texts.last(), "✓ Audit complete!");
    }
}
