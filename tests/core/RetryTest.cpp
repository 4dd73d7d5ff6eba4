// Refused requests: which answers are retried, how long each wait is, that a retry is a new
// request and nothing else goes out twice, that a stop ends a wait at once, and how the requests
// sent ahead widen and narrow.
#include "core/Retry.h"
#include "core/RequestsAhead.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QCoroTask>
#include <QElapsedTimer>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;
using namespace std::chrono_literals;

namespace {

HttpResponse answer(int status, QByteArray body = {}, QByteArray retryAfter = {}) {
    HttpResponse r;
    r.transportOk = true;
    r.status = status;
    r.body = std::move(body);
    if (!retryAfter.isNull())
        r.headers = {{"Retry-After", retryAfter}};
    return r;
}

HttpRequest post(const FakeHttpServer& server, const QByteArray& path) {
    HttpRequest r;
    r.method = "POST";
    r.url = server.baseUrl() + path;
    r.body = "{}";
    return r;
}

} // namespace

TEST(Retry, OnlyRefusalsBeforeAnyWorkAreRetried) {
    const QByteArray spendLimit =
        R"({"type":"error","error":{"type":"rate_limit_error","details":{"error_code":"enforced_spend_limit_reached"}}})";
    const QByteArray quota = R"({"error":{"message":"You exceeded your quota","type":"insufficient_quota",
                                 "code":"insufficient_quota"}})";
    HttpResponse lost;
    lost.errorText = "The network connection was lost.";
    const struct {
        const char* name;
        Service service;
        HttpResponse response;
        bool retried;
    } cases[] = {
        {"model 429", Service::languageModel, answer(429, R"({"error":{"type":"rate_limit_error"}})"), true},
        {"model 429 without a body", Service::languageModel, answer(429), true},
        {"model 529", Service::languageModel, answer(529, R"({"error":{"type":"overloaded_error"}})"), true},
        {"model spend limit", Service::languageModel, answer(429, spendLimit), false},
        {"model 500", Service::languageModel, answer(500), false},
        {"model 400", Service::languageModel, answer(400), false},
        {"model lost", Service::languageModel, lost, false},
        {"speech 429", Service::speech, answer(429, R"({"error":{"code":"rate_limit_exceeded"}})"), true},
        {"speech quota", Service::speech, answer(429, quota), false},
        {"speech 529", Service::speech, answer(529), false},
        {"speech 503", Service::speech, answer(503), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(isRefusedForNow(c.service, c.response), c.retried) << c.name;
}

TEST(Retry, WaitsAsTheServiceAsksWithinBounds) {
    const struct {
        QByteArray header; // null: none
        int retry;
        qint64 seconds;
    } cases[] = {
        {{}, 1, 5},
        {{}, 2, 15},
        {{}, 3, 45},
        {"7", 1, 7},
        {" 12 ", 3, 12},
        {"0", 1, 1},
        {"-4", 2, 1},
        {"31536000", 1, 60},
        {"1.2", 1, 2},
        {"soon", 2, 15},
        {"Wed, 21 Oct 2026 07:28:00 GMT", 1, 5},
        {"", 3, 45},
        {"nan", 1, 5},
        {"inf", 2, 15},
    };
    for (const auto& c : cases)
        EXPECT_EQ(retryWait(answer(429, {}, c.header), c.retry).count(), c.seconds)
            << c.header.toStdString() << " retry " << c.retry;
    EXPECT_EQ(retryLine(15s), "  Rate limited — retrying in 15s...");
}

// Each retry is a request of its own after the asked wait; at most three; the last answer stands.
TEST(Retry, RetriesRefusalsAsNewRequestsAndNothingElse) {
    ScriptedResponse limited{429, R"({"error":{"type":"rate_limit_error"}})"};
    limited.headers = {{"retry-after", "1"}};
    ScriptedResponse overloaded{529, R"({"error":{"type":"overloaded_error"}})"};
    overloaded.headers = {{"retry-after", "0"}};
    ScriptedResponse drop;
    drop.dropConnection = true;
    const ScriptedResponse late{200, "late", "application/json", 3000};
    const ScriptedResponse ok{200, "fine"};
    const struct {
        const char* name;
        QList<ScriptedResponse> script;
        int requests;
        int status; // 0: a transport failure
        QList<qint64> waits;
    } cases[] = {
        {"refused twice, then answered", {limited, overloaded, ok}, 3, 200, {1, 1}},
        {"refused four times", {limited, limited, limited, limited, ok}, 4, 429, {1, 1, 1}},
        {"a failure is not retried", {{500, "no"}, ok}, 1, 500, {}},
        {"a drop after the body is not retried", {drop, ok}, 1, 0, {}},
        {"a time-out after the body is not retried", {late, ok}, 1, 0, {}},
        {"unavailable is not retried", {{503, "busy"}, ok}, 1, 503, {}},
        {"a request time-out status is not retried", {{408, ""}, ok}, 1, 408, {}},
        {"refused, then dropped", {limited, drop, ok}, 2, 0, {1}},
    };
    QNetworkAccessManager nam;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeHttpServer server;
        for (const ScriptedResponse& r : c.script)
            server.enqueue("/v1/messages", r);
        QList<qint64> waits;
        int refusals = 0;
        RetryHooks hooks;
        hooks.refused = [&](const HttpResponse&) { ++refusals; };
        hooks.retrying = [&](std::chrono::seconds wait) { waits << wait.count(); };
        const auto outcome = QCoro::waitFor(sendRetryingRefusals(
            nam,
            [&] {
                HttpRequest r = post(server, "/v1/messages");
                r.timeout = 1000ms;
                return std::optional(r);
            },
            Service::languageModel, nullptr, hooks));
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->transportOk ? outcome->status : 0, c.status);
        EXPECT_EQ(server.requests().size(), c.requests);
        EXPECT_EQ(waits, c.waits);
        EXPECT_EQ(refusals, std::min(int(c.waits.size()) + (c.status == 429), 4));
    }
}

// A stop during the wait ends it at once and nothing more goes out; a stop before sends nothing.
TEST(Retry, AStopEndsTheWaitAndSendsNothingMore) {
    FakeHttpServer server;
    ScriptedResponse limited{429, "{}"};
    limited.headers = {{"retry-after", "60"}};
    server.answerAlways("/v1/messages", limited);
    QNetworkAccessManager nam;
    auto stop = std::make_shared<StopSignal>();
    std::optional<std::optional<HttpResponse>> outcome;
    RetryHooks hooks;
    hooks.retrying = [&](std::chrono::seconds) { stop->stop(); };
    // Named, so its captures outlive the coroutine's first suspension.
    const auto send = [&]() -> QCoro::Task<> {
        outcome = co_await sendRetryingRefusals(
            nam, [&] { return std::optional(post(server, "/v1/messages")); }, Service::languageModel, stop,
            hooks);
    };
    QCoro::Task<> task = send();
    ASSERT_TRUE(waitFor([&] { return outcome.has_value(); }, 20000)) << "the 60 s wait went on";
    ASSERT_TRUE(*outcome);
    EXPECT_FALSE((*outcome)->transportOk);
    EXPECT_EQ((*outcome)->errorText, kStoppedText);
    EXPECT_EQ(server.requests().size(), 1);

    const auto before = QCoro::waitFor(sendRetryingRefusals(
        nam, [&] { return std::optional(post(server, "/v1/messages")); }, Service::languageModel, stop));
    EXPECT_EQ(before->errorText, kStoppedText);
    EXPECT_EQ(server.requests().size(), 1);
}

// Four requests open at first, one more for every ten answers up to eight, half as many after a
// refusal for too many requests; a lower ceiling caps it, and a ceiling of one waits for the turn.
// The next step's requests to the same service start where these ended; the other service's at four.
// (Qt opens at most six HTTP/1.1 connections to one host; more requests wait in its queue.)
TEST(RequestsAheadTest, OpenRequestsGrowWithAnswersAndHalveAfterARefusal) {
    TestHome home;
    const struct {
        int ceiling;
        int items;
        bool firstRefused;
        int limitAtEnd;
        int mostOpen; // at most, and exactly for a ceiling under four
    } cases[] = {
        {8, 25, false, 6, 6}, {8, 40, false, 8, 6}, {8, 60, false, 8, 6},
        {2, 30, false, 2, 2}, {1, 12, false, 1, 1}, {8, 40, true, 6, 6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "ceiling " << c.ceiling << ", " << c.items << " items"
                                        << (c.firstRefused ? ", the first refused" : ""));
        FakeHttpServer server;
        server.answerWith("/v1/audio/transcriptions", [&](const RecordedRequest& r) -> ScriptedResponse {
            if (c.firstRefused && r.path.endsWith("=0") && r.header("x-attempt") == "1") {
                ScriptedResponse limited{429, "{}"};
                limited.headers = {{"retry-after", "1"}};
                return limited;
            }
            return {200, "{}", "application/json", 40};
        });
        PipelineEnvironment env = home.pipelineEnvironment();
        env.maxOpenRequests = c.ceiling;
        auto pipeline = LocalPipeline::create(env);
        RequestsAhead ahead(*pipeline, Service::speech);
        for (int i = 0; i < c.items; ++i) {
            auto attempts = std::make_shared<int>(0);
            ahead.ready(i, [&server, i, attempts] {
                HttpRequest r = post(server, "/v1/audio/transcriptions?item=" + QByteArray::number(i));
                r.headers = {{"x-attempt", QByteArray::number(++*attempts)}};
                return std::optional(r);
            });
        }
        for (int i = 0; i < c.items; ++i) {
            const auto outcome = QCoro::waitFor(ahead.take(i));
            ASSERT_TRUE(outcome && outcome->transportOk);
            EXPECT_EQ(outcome->status, 200);
        }
        EXPECT_EQ(ahead.openLimit(), c.limitAtEnd);
        EXPECT_LE(server.mostOpenAtOnce(), c.mostOpen);
        if (c.ceiling < RequestsAhead::kFirstOpenLimit) {
            EXPECT_EQ(server.mostOpenAtOnce(), c.mostOpen);
        }
        EXPECT_EQ(server.requests().size(), c.items + c.firstRefused);
        EXPECT_EQ(RequestsAhead(*pipeline, Service::speech).openLimit(), c.limitAtEnd);
        EXPECT_EQ(RequestsAhead(*pipeline, Service::languageModel).openLimit(),
                  std::min(c.ceiling, RequestsAhead::kFirstOpenLimit));
    }
}

// Once an answer has shown how long one takes, the requests sent ahead leave spread over it rather
// than in a burst that would share the line and come back at once; the item whose turn it is never
// waits for the spacing, and every item still has its own outcome.
TEST(RequestsAheadTest, AfterTheFirstAnswerRequestsLeaveSpreadOut) {
    TestHome home;
    FakeHttpServer server;
    QElapsedTimer clock;
    clock.start();
    QList<qint64> arrivals;
    constexpr int kAnswerMs = 400;
    server.answerWith("/v1/audio/transcriptions", [&](const RecordedRequest&) -> ScriptedResponse {
        arrivals << clock.elapsed();
        return {200, "{}", "application/json", kAnswerMs};
    });
    auto pipeline = LocalPipeline::create(home.pipelineEnvironment());
    RequestsAhead ahead(*pipeline, Service::speech);
    constexpr int kItems = 12;
    for (int i = 0; i < kItems; ++i)
        ahead.ready(i, [&server] { return std::optional(post(server, "/v1/audio/transcriptions")); });
    for (int i = 0; i < kItems; ++i) {
        const auto outcome = QCoro::waitFor(ahead.take(i));
        ASSERT_TRUE(outcome && outcome->transportOk) << "item " << i;
        EXPECT_EQ(outcome->status, 200);
    }
    ASSERT_EQ(arrivals.size(), kItems);
    // The first four leave together; the four that take their places when their answers come
    // together leave at least an answer's time over twice the open limit (4) apart.
    EXPECT_LT(arrivals[3] - arrivals[0], kAnswerMs / 2);
    EXPECT_GE(arrivals[7] - arrivals[4], 3 * kAnswerMs / (RequestsAhead::kSpacingDivisor * 4) * 8 / 10);
}
