// A screen may let go of its pipeline mid-run (leaving the Mine tab destroys the wizard): the run
// keeps what it touches alive until it ends. And runs, audits and builds of the whole process take
// turns, so two of them never write the same cache files at once. Built with AddressSanitizer by
// the test command, so a step resuming into freed memory stops the run.
#include "core/LocalPipeline.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QCoreApplication>
#include <QPointer>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::FakeHttpServer;
using ondrel::test::ScriptedResponse;
using ondrel::test::TestHome;

namespace {

// What the run did, recorded outside the pipeline so it can be read after the pipeline is gone.
struct Trace {
    QStringList events;
    void watch(LocalPipeline& p, const QString& who) {
        QObject::connect(p.logModel(), &QAbstractItemModel::rowsInserted, p.logModel(),
                         [this, &p, who](const QModelIndex&, int first, int) {
                             events << who + ": " + p.logs().at(first).text;
                         });
    }
};

// A step that waits on the outside world and then touches the pipeline.
enum class Wait { childProcess, httpReply };

QCoro::Task<std::optional<QStringList>> waitThenTouch(LocalPipeline& p, Wait wait, QString url) {
    if (wait == Wait::childProcess) {
        const QStringList args{"0.3"};
        co_await p.tools().runProcess("/bin/sleep", args);
    } else {
        HttpRequest request;
        request.method = "POST";
        request.url = url;
        request.body = "{}";
        co_await sendHttp(p.network(), request);
    }
    p.log("media found");
    p.setProgress(0.03);
    co_return QStringList{"/m/a.wav"};
}

std::shared_ptr<LocalPipeline> makePipeline(const TestHome& home, Wait wait, const QString& url) {
    auto pipeline = LocalPipeline::create(home.pipelineEnvironment());
    pipeline->steps().getTimelineMedia = [wait, url](LocalPipeline& p, QString) {
        return waitThenTouch(p, wait, url);
    };
    return pipeline;
}

void processDeferredDeletes() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QCoro::Task<> startRun(LocalPipeline& p) {
    return p.run("Interview", MiningMode::fullMine, 10, "auto", {}, std::nullopt, "", false);
}

} // namespace

TEST(PipelineLifetime, ARunOutlivesTheScreenThatLetGoOfItsPipeline) {
    TestHome home;
    FakeHttpServer server;
    server.enqueue("/slow", ScriptedResponse{200, "{}", "application/json", 300, false});
    for (const Wait wait : {Wait::childProcess, Wait::httpReply}) {
        SCOPED_TRACE(wait == Wait::childProcess ? "child process" : "http reply");
        auto owner = makePipeline(home, wait, server.baseUrl() + "/slow");
        QPointer<LocalPipeline> watched(owner.get());
        Trace trace;
        trace.watch(*owner, "run");
        QCoro::Task<> run = startRun(*owner);
        owner.reset(); // the wizard is destroyed while the step waits

        ASSERT_TRUE(watched) << "the run keeps its pipeline";
        QCoro::waitFor(run);
        // The step resumed on a live pipeline and the run went on to its documented end.
        EXPECT_EQ(trace.events.mid(2),
                  (QStringList{"run: media found", "run: ✓ Connected — found 1 source clip",
                               "run: " + QString("  → a.wav"), "run: Extracting audio from timeline...",
                               "run: ✗ Audio extraction failed"}));
        processDeferredDeletes();
        EXPECT_FALSE(watched) << "released once the run ended";
        EXPECT_FALSE(WorkQueue::shared().isBusy());
    }
}

TEST(PipelineLifetime, RunsAuditsAndBuildsOfTheProcessTakeTurns) {
    TestHome home;
    Trace trace;

    // A run whose screen is gone still holds its turn: a new pipeline's run waits for it.
    auto first = makePipeline(home, Wait::childProcess, {});
    trace.watch(*first, "first");
    QCoro::Task<> firstRun = startRun(*first);
    first.reset();

    auto second = makePipeline(home, Wait::childProcess, {});
    trace.watch(*second, "second");
    bool sawWaiting = false;
    QObject::connect(second.get(), &LocalPipeline::waitingForTurnChanged,
                     [&] { sawWaiting = sawWaiting || second->waitingForTurn(); });
    // Cancel then reset, as the wizard's cancel does, and start again: the cancelled run, still
    // waiting for its turn, never starts, and the new one waits behind the first pipeline's.
    QCoro::Task<> secondRun = startRun(*second);
    second->cancel();
    second->reset();
    QCoro::Task<> secondAgain = startRun(*second);
    // Builds wait too, one behind the other.
    int buildsInside = 0;
    int mostBuildsAtOnce = 0;
    second->steps().buildTimelineFromSegmentsFile = [&](LocalPipeline& p) -> QCoro::Task<void> {
        mostBuildsAtOnce = std::max(mostBuildsAtOnce, ++buildsInside);
        const QStringList args{"0.1"};
        co_await p.tools().runProcess("/bin/sleep", args);
        p.log("built");
        --buildsInside;
    };
    QCoro::Task<> buildA = second->buildTimelineFromSegmentsFile();
    QCoro::Task<> buildB = second->sendToResolve({});
    EXPECT_TRUE(second->waitingForTurn());

    QCoro::waitFor(buildB);
    EXPECT_TRUE(sawWaiting);
    EXPECT_FALSE(second->waitingForTurn());
    EXPECT_EQ(mostBuildsAtOnce, 1);

    // Each piece of work logged all of its lines before the next one logged its first.
    QStringList owners;
    for (const QString& e : trace.events) {
        const QString who = e.section(':', 0, 0);
        if (e.contains("$ ondrel mine") || e.contains("built"))
            owners << who + (e.contains("built") ? " build" : " run");
    }
    EXPECT_EQ(owners, (QStringList{"first run", "second run", "second build", "second build"}));
    const auto firstEnd = trace.events.indexOf("first: ✗ Audio extraction failed");
    const auto secondStart = trace.events.indexOf("second: $ ondrel mine --mode full-mine");
    ASSERT_GE(firstEnd, 0);
    EXPECT_LT(firstEnd, secondStart);
    EXPECT_EQ(trace.events.count("second: ✗ Audio extraction failed"), 1);
    for (QCoro::Task<>* t : {&firstRun, &secondRun, &secondAgain, &buildA})
        EXPECT_TRUE(t->isReady());
    processDeferredDeletes();
}
