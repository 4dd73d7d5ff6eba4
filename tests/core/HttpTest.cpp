#include "core/Http.h"
#include "core/Files.h"
#include "core/PipelineLogModel.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QAbstractItemModelTester>
#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using ondrel::test::FakeHttpServer;
using ondrel::test::ScriptedResponse;

TEST(Http, StatusBodyHeadersAndTransportFailures) {
    FakeHttpServer server;
    server.enqueue("/ok", {200, R"({"a":1})"});
    server.enqueue("/fail", {500, QByteArray(300, 'x')});
    server.enqueue("/slow", ScriptedResponse{200, "late", "text/plain", 2000, false});
    server.enqueue("/drop", ScriptedResponse{200, "", "text/plain", 0, true});
    server.enqueue("/cut", ScriptedResponse{200, QByteArray(4000, 'y'), "text/plain", 0, false, true});
    server.enqueue("/cutFailure", ScriptedResponse{503, QByteArray(4000, 'z'), "text/plain", 0, false, true});
    QNetworkAccessManager nam;

    struct Case {
        const char* path;
        std::chrono::milliseconds timeout;
        bool transportOk;
        int status;
        QByteArray body;
        bool timedOut;
        QByteArray brokenOff{}; // only what came of a success
    } cases[] = {
        {"/ok", std::chrono::seconds(5), true, 200, R"({"a":1})", false},
        {"/fail", std::chrono::seconds(5), true, 500, QByteArray(300, 'x'), false},
        {"/missing", std::chrono::seconds(5), true, 404, R"({"error":"not found"})", false},
        {"/slow", std::chrono::milliseconds(200), false, 0, "", true},
        {"/drop", std::chrono::seconds(5), false, 0, "", false},
        {"/cut", std::chrono::seconds(5), false, 0, "", false, QByteArray(2000, 'y')},
        {"/cutFailure", std::chrono::seconds(5), false, 0, "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        HttpRequest req;
        req.method = "POST";
        req.url = server.baseUrl() + c.path;
        req.headers = {{"x-api-key", "secret"}, {"Content-Type", "application/json"}};
        req.body = R"({"q":true})";
        req.timeout = c.timeout;
        const HttpResponse r = QCoro::waitFor(sendHttp(nam, req));
        EXPECT_EQ(r.transportOk, c.transportOk);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.body, c.body);
        EXPECT_EQ(r.timedOut, c.timedOut);
        EXPECT_EQ(r.brokenOffBody, c.brokenOff);
        if (!r.transportOk && !r.timedOut) {
            EXPECT_EQ(r.errorText, "The network connection was lost.");
        }
        // Sent once, also when the connection dropped before any answer (a paid request must not
        // be billed twice).
        EXPECT_EQ(server.requestsTo(c.path).size(), 1);
    }
    const auto got = server.requestsTo("/ok");
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0].method, "POST");
    EXPECT_EQ(got[0].header("X-API-Key"), "secret");
    EXPECT_EQ(got[0].body, R"({"q":true})");
}

// Qt folds each status into an error code, some of them numbered like transport failures (400 is
// a "protocol" error, 407 a proxy one); every status that came back with its whole body is the
// service's answer, to small and multi-megabyte bodies from memory and from files alike. Only a
// connection that yields no whole answer is a transport failure, and nothing goes out twice.
TEST(Http, EveryStatusWithItsBodyIsAnAnswer) {
    FakeHttpServer server;
    test::TestHome home;
    QByteArray big(3 * 1024 * 1024, '\0');
    for (qsizetype i = 0; i < big.size(); ++i)
        big[i] = char(i * 13 % 253);
    const QString file = home.path() + "/big.bin";
    ASSERT_TRUE(writeFileAtomically(file, big));
    QNetworkAccessManager nam;

    const int statuses[] = {200, 201, 400, 401, 402, 403, 404, 405, 407, 409, 410,
                            413, 415, 418, 422, 429, 500, 501, 502, 503, 504, 529};
    enum class Body { small, bigInMemory, bigFromFile };
    int n = 0;
    for (const int status : statuses) {
        for (const Body body : {Body::small, Body::bigInMemory, Body::bigFromFile}) {
            SCOPED_TRACE(testing::Message() << status << " body " << int(body));
            const QByteArray path = "/s" + QByteArray::number(++n);
            const QByteArray answer =
                R"({"type":"error","error":{"message":"status )" + QByteArray::number(status) + R"("}})";
            server.enqueue(path, {status, answer});
            HttpRequest req;
            req.method = "POST";
            req.url = server.baseUrl() + path;
            if (body == Body::small)
                req.body = R"({"q":1})";
            else if (body == Body::bigInMemory)
                req.body = big;
            else
                req.bodyParts = {{"head", {}}, {{}, file}};
            const HttpResponse r = QCoro::waitFor(sendHttp(nam, req));
            EXPECT_TRUE(r.transportOk) << r.errorText.toStdString();
            EXPECT_EQ(r.status, status);
            EXPECT_EQ(r.body, answer);
            EXPECT_TRUE(r.errorText.isEmpty());
            ASSERT_EQ(server.requestsTo(path).size(), 1);
            EXPECT_EQ(server.requestsTo(path)[0].body.size(),
                      body == Body::small ? 7 : big.size() + (body == Body::bigFromFile ? 4 : 0));
        }
    }

    // Dropped after the whole request was read, or cut after a 400's status line: no answer.
    ScriptedResponse cut400{400, QByteArray(5000, 'e')};
    cut400.cutBody = true;
    ScriptedResponse drop{200, ""};
    drop.dropConnection = true;
    for (const auto& [path, response] : {std::pair{QByteArray("/drop"), drop}, {"/cut400", cut400}}) {
        SCOPED_TRACE(path.toStdString());
        server.enqueue(path, response);
        HttpRequest req;
        req.method = "POST";
        req.url = server.baseUrl() + path;
        req.bodyParts = {{{}, file}};
        const HttpResponse r = QCoro::waitFor(sendHttp(nam, req));
        EXPECT_FALSE(r.transportOk);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.errorText, "The network connection was lost.");
        EXPECT_EQ(server.requestsTo(path).size(), 1);
    }
}

// An answer past the limit is cut off as a failure, whether its length is announced or not, and
// a body is read from its files as it goes out.
TEST(Http, AnswersPastTheLimitFailAndBodiesStreamFromFiles) {
    FakeHttpServer server;
    ScriptedResponse announced{200, "{}"};
    announced.announcedLength = 5000;
    ScriptedResponse unannounced{200, QByteArray(300000, 'z')};
    unannounced.announcedLength = -2;
    server.enqueue("/announced", announced);
    server.enqueue("/unannounced", unannounced);
    server.enqueue("/fits", {200, QByteArray(1000, 'y')});
    test::TestHome home;
    const QString file = home.path() + "/part.bin";
    QByteArray fileBytes(700000, '\0');
    for (qsizetype i = 0; i < fileBytes.size(); ++i)
        fileBytes[i] = char(i * 7 % 251);
    ASSERT_TRUE(writeFileAtomically(file, fileBytes));
    QNetworkAccessManager nam;

    for (const char* path : {"/announced", "/unannounced", "/fits"}) {
        SCOPED_TRACE(path);
        HttpRequest req;
        req.method = "POST";
        req.url = server.baseUrl() + path;
        req.bodyParts = {{"head|", {}}, {{}, file}, {"|tail", {}}};
        req.maxAnswerBytes = 1000;
        const HttpResponse r = QCoro::waitFor(sendHttp(nam, req));
        const bool fits = QByteArray(path) == "/fits";
        EXPECT_EQ(r.transportOk, fits);
        EXPECT_EQ(r.errorText, fits ? QString() : kAnswerTooLargeText);
        EXPECT_EQ(r.body.size(), fits ? 1000 : 0);
        ASSERT_EQ(server.requestsTo(path).size(), 1);
        EXPECT_TRUE(server.requestsTo(path)[0].body == "head|" + fileBytes + "|tail");
    }
    HttpRequest missing;
    missing.method = "POST";
    missing.url = server.baseUrl() + "/fits";
    missing.bodyParts = {{{}, home.path() + "/gone.bin"}};
    EXPECT_EQ(QCoro::waitFor(sendHttp(nam, missing)).errorText, "The file couldn’t be opened.");
    EXPECT_EQ(server.requestsTo("/fits").size(), 1) << "nothing goes out without its file";
}

TEST(PipelineLogModel, BehavesAsAListModel) {
    PipelineLogModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    FixedClock clock(QDateTime(QDate(2026, 1, 1), QTime(0, 1, 2)));
    model.append(PipelineLog::make(clock, "one", "dim"));
    model.append(PipelineLog::make(clock, "two"));
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.data(model.index(1), PipelineLogModel::TextRole).toString(), "two");
    EXPECT_EQ(model.data(model.index(0), PipelineLogModel::ColorRole).toString(), "dim");
    EXPECT_EQ(model.data(model.index(0), PipelineLogModel::TimestampRole).toString(), "01:02");
    model.clear();
    EXPECT_EQ(model.rowCount(), 0);
}

// The time-out counts silence, not the whole answer: a stream that keeps talking runs past it, one
// that falls silent for longer is given up.
TEST(Http, TheTimeOutCountsSilence) {
    const auto stream = [](int gapMs) {
        ScriptedResponse r{200, {}, "text/event-stream"};
        for (int i = 0; i < 8; ++i)
            r.pieces.push_back({i == 4 ? gapMs : 100, "data: " + QByteArray::number(i) + "\n\n"});
        return r;
    };
    const struct {
        int gapMs;
        bool whole;
    } cases[] = {{100, true}, {1200, false}};
    QNetworkAccessManager nam;
    for (const auto& c : cases) {
        FakeHttpServer server;
        server.enqueue("/stream", stream(c.gapMs));
        HttpRequest req;
        req.method = "POST";
        req.url = server.baseUrl() + "/stream";
        req.body = "{}";
        req.timeout = std::chrono::milliseconds(500);
        const HttpResponse r = QCoro::waitFor(sendHttp(nam, req));
        EXPECT_EQ(r.transportOk, c.whole) << c.gapMs;
        EXPECT_EQ(r.timedOut, !c.whole) << c.gapMs;
        if (c.whole) {
            EXPECT_TRUE(r.body.endsWith("data: 7\n\n"));
        } else {
            EXPECT_EQ(r.brokenOffBody, "data: 0\n\ndata: 1\n\ndata: 2\n\ndata: 3\n\n");
        }
    }
}
