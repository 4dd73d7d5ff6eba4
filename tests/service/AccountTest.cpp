#include "ServiceTestSupport.h"

#include "service/APIClient.h"
#include "service/AuthManager.h"
#include "service/Constants.h"
#include "support/TestEnv.h"

#include <QDir>

#include <QCoroSignal>
#include <QCoroTask>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

const QByteArray kUser =
    R"({"id":"u1","name":"Ada","email":"ada@example.com","credits":42,"plan":"Pro","extra":1})";

QString describe(const APIResult<UserInfo>& r) {
    return std::holds_alternative<APIError>(r) ? std::get<APIError>(r).description() : QStringLiteral("ok");
}

void awaitRefresh(AuthManager& auth) {
    QCoro::waitFor(qCoro(&auth, &AuthManager::refreshFinished));
}

} // namespace

TEST(APIClient, OutcomesAndFailureTexts) {
    FakeHttpServer server;
    const APIClient client(endpointsFor(server));
    EXPECT_EQ(client.baseURL(), server.baseUrl() + "/api/v1");

    struct Case {
        const char* name;
        ScriptedResponse response;
        QString expected;
    } cases[] = {
        {"accepted", {200, kUser}, "ok"},
        {"404 without a body", {404, ""}, "Server error 404: "},
        {"400 with the service's reason",
         {400, R"({"error":"bad plan"})"},
         R"(Server error 400: {"error":"bad plan"})"},
        {"JSON error body passed raw", {500, R"({"error":"boom"})"}, R"(Server error 500: {"error":"boom"})"},
        {"body that is not UTF-8", {503, "\xff\xfe"}, "Server error 503: Unknown error"},
        {"empty 200",
         {200, ""},
         "Failed to parse response: The data couldn’t be read because it isn’t in the correct format."},
        {"credits as a string",
         {200, R"({"id":"u","name":"n","email":"e","credits":"42","plan":"p"})"},
         "Failed to parse response: The data couldn’t be read because it isn’t in the correct format."},
        {"plan missing",
         {200, R"({"id":"u","name":"n","email":"e","credits":1})"},
         "Failed to parse response: The data couldn’t be read because it is missing."},
        {"connection dropped", ScriptedResponse{200, "", "application/json", 0, true},
         "Network error: The network connection was lost."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeHttpServer one;
        one.enqueue("/api/v1/me", c.response);
        const APIResult<UserInfo> r = QCoro::waitFor(APIClient(endpointsFor(one)).validateToken("tok"));
        EXPECT_EQ(describe(r), c.expected);
        // (Qt sends a GET again by itself when the connection drops before any answer.)
        ASSERT_FALSE(one.requestsTo("/api/v1/me").isEmpty());
        const RecordedRequest sent = one.requestsTo("/api/v1/me")[0];
        EXPECT_EQ(sent.method, "GET");
        EXPECT_EQ(sent.header("Authorization"), "Bearer tok");
        EXPECT_EQ(sent.header("Content-Type"), "application/json");
        EXPECT_EQ(sent.header("User-Agent"), "Ondrel-Manager/1.0.0");
    }

    Endpoints broken;
    broken.ondrelHost = "http://exa mple";
    EXPECT_EQ(describe(QCoro::waitFor(APIClient(broken).getMe("tok"))), "Invalid URL");

    // "/version" sends no token; the optional fields may be missing.
    server.respondJson("/api/v1/version", 200, R"({"version":"2.0"})");
    const APIResult<VersionInfo> version = QCoro::waitFor(client.getVersion());
    ASSERT_TRUE(std::holds_alternative<VersionInfo>(version));
    EXPECT_EQ(std::get<VersionInfo>(version).version, "2.0");
    EXPECT_FALSE(std::get<VersionInfo>(version).downloadURL.has_value());
    EXPECT_TRUE(server.requestsTo("/api/v1/version")[0].header("Authorization").isEmpty());
}

// The whole life of a sign-in: pasted token, restart, refresh, a 401 that signs out, restart.
TEST(AuthManager, SignInRestartRefreshAndSignOut) {
    TestHome home;
    const QString tokenFile = home.paths().tokenFile;
    FakeHttpServer server;
    // One answer per request, in order: sign-in, the refresh after the restart, a later refresh.
    server.respondJson("/api/v1/me", 200, kUser);
    server.respondJson("/api/v1/me", 200,
                       R"({"id":"u1","name":"Ada L.","email":"a@x","credits":7,"plan":"Max"})");
    server.respondJson("/api/v1/me", 401, R"({"error":"expired"})");
    RecordingOpener opener;
    {
        AuthManager auth(tokenFile, endpointsFor(server), &opener);
        EXPECT_FALSE(auth.hasToken());
        auth.signIn();
        ASSERT_EQ(opener.opened.size(), 1);
        EXPECT_EQ(opener.opened[0].toString(),
                  server.baseUrl() + "/plugin-auth?callback=ondrel-manager://callback");

        QCoro::waitFor(auth.signInWithToken(" tok-1\n"));
        EXPECT_EQ(server.requestsTo("/api/v1/me").last().header("Authorization"), "Bearer tok-1");
        EXPECT_TRUE(auth.isSignedIn());
        EXPECT_FALSE(auth.isLoading());
        EXPECT_EQ(auth.token(), "tok-1");
        EXPECT_EQ(auth.userName(), "Ada");
        EXPECT_EQ(auth.credits(), 42);
        EXPECT_EQ(auth.plan(), "Pro");
        EXPECT_EQ(readFile(tokenFile), R"({"token":"tok-1","email":"ada@example.com","name":"Ada"})");
        EXPECT_EQ(modeOf(tokenFile), 0600);
        EXPECT_EQ(modeOf(home.path() + "/.ondrel"), 0700);
    }
    {
        AuthManager auth(tokenFile, endpointsFor(server));
        // Held from the file but not yet confirmed.
        EXPECT_EQ(auth.token(), "tok-1");
        EXPECT_EQ(auth.userName(), "Ada");
        EXPECT_FALSE(auth.isSignedIn());
        awaitRefresh(auth);
        EXPECT_TRUE(auth.isSignedIn());
        EXPECT_EQ(auth.credits(), 7);
        EXPECT_EQ(auth.userName(), "Ada L.");

        QCoro::waitFor(auth.refreshUser());
        EXPECT_FALSE(auth.isSignedIn());
        EXPECT_FALSE(auth.hasToken());
        EXPECT_EQ(auth.plan(), "Free");
        EXPECT_EQ(auth.userName(), "");
        EXPECT_FALSE(auth.errorMessage().has_value());
        EXPECT_FALSE(QFile::exists(tokenFile));
    }
    const qsizetype asked = server.requestsTo("/api/v1/me").size();
    AuthManager auth(tokenFile, endpointsFor(server));
    EXPECT_FALSE(auth.hasToken());
    EXPECT_EQ(server.requestsTo("/api/v1/me").size(), asked);
}

TEST(AuthManager, RefreshFailuresOtherThan401AreSwallowed) {
    const ScriptedResponse failures[] = {
        {500, "down"}, {403, ""}, {200, "{}"}, ScriptedResponse{200, "", "application/json", 0, true}};
    for (const auto& failure : failures) {
        TestHome home;
        // A file with only the token loads; the name waits for the service.
        writeFile(home.paths().tokenFile, R"({"token":"tok-2"})");
        FakeHttpServer server;
        server.enqueue("/api/v1/me", failure);
        AuthManager auth(home.paths().tokenFile, endpointsFor(server));
        awaitRefresh(auth);
        EXPECT_EQ(auth.token(), "tok-2");
        EXPECT_EQ(auth.userName(), "");
        EXPECT_FALSE(auth.isSignedIn());
        EXPECT_FALSE(auth.errorMessage().has_value());
        EXPECT_TRUE(QFile::exists(home.paths().tokenFile));
    }
}

TEST(AuthManager, CallbackRules) {
    struct Case {
        QString url;
        QByteArray sentToken; // "" when nothing reaches the service
        QString error;
    } cases[] = {
        {"ondrel-manager://callback?token=abc", "abc", ""},
        {"ondrel-manager://callback?state=1&token=a%2Bb&token=second", "a+b", ""},
        {"ondrel-manager://callback/?token=abc#frag", "abc", ""},
        // QUrl lower-cases scheme and host; the rule compares them as written.
        {"ONDREL-MANAGER://callback?token=abc", "", ""},
        {"ondrel-manager://Callback?token=abc", "", ""},
        {"ondrel-manager://elsewhere?token=abc", "", ""},
        {"https://callback?token=abc", "", ""},
        {"ondrel-manager:callback?token=abc", "", ""},
        {"ondrel-manager://callback?other=abc", "", ""},
        {"ondrel-manager://callback?token", "", ""},
        {"ondrel-manager://callback?token&token=abc", "", ""},
        {"ondrel-manager://callback?token=", "", "Please enter a valid token"},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url.toStdString());
        TestHome home;
        FakeHttpServer server;
        server.respondJson("/api/v1/me", 200, kUser);
        AuthManager auth(home.paths().tokenFile, endpointsFor(server));
        QCoro::waitFor(auth.handleCallback(c.url));
        const auto sent = server.requestsTo("/api/v1/me");
        if (c.sentToken.isEmpty()) {
            EXPECT_TRUE(sent.isEmpty());
            EXPECT_FALSE(auth.isSignedIn());
        } else {
            ASSERT_EQ(sent.size(), 1);
            EXPECT_EQ(sent[0].header("Authorization"), "Bearer " + c.sentToken);
            EXPECT_TRUE(auth.isSignedIn());
        }
        EXPECT_EQ(auth.errorMessageText(), c.error);
    }
}

TEST(AuthManager, FailedWriteKeepsThePreviousTokenFile) {
    TestHome home;
    FakeHttpServer server;
    server.respondJson("/api/v1/me", 200, kUser);
    AuthManager auth(home.paths().tokenFile, endpointsFor(server));
    QCoro::waitFor(auth.signInWithToken("tok-old"));
    const QByteArray before = readFile(home.paths().tokenFile);
    ASSERT_FALSE(before.isEmpty());

    // A file size limit makes the write fail even for root, who ignores modes.
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit tiny = saved;
    tiny.rlim_cur = 8;
    setrlimit(RLIMIT_FSIZE, &tiny);
    QCoro::waitFor(auth.signInWithToken("tok-new"));
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);

    EXPECT_TRUE(auth.errorMessageText().startsWith("Could not write " + home.paths().tokenFile))
        << auth.errorMessageText().toStdString();
    EXPECT_EQ(auth.token(), "tok-old");
    EXPECT_EQ(readFile(home.paths().tokenFile), before);
    EXPECT_EQ(QDir(home.path() + "/.ondrel").entryList(QDir::Files | QDir::Hidden),
              QStringList{"token.json"});
}

// A service that echoes the token back: it must not reach a text the user or the log sees.
TEST(AuthManager, TokenNeverInTextsOrLogs) {
    const QString secret = "sk-secret-987";
    ConsoleCapture console;
    TestHome home;
    FakeHttpServer server;
    server.respondJson("/api/v1/me", 401, "bad token sk-secret-987");
    server.respondJson("/api/v1/me", 500, "no user for sk-secret-987");
    AuthManager auth(home.paths().tokenFile, endpointsFor(server));
    QCoro::waitFor(auth.signInWithToken(secret));
    EXPECT_EQ(auth.errorMessageText(), "Server error 401: bad token [redacted]");

    writeFile(home.paths().tokenFile, R"({"token":"sk-secret-987"})");
    AuthManager restarted(home.paths().tokenFile, endpointsFor(server));
    awaitRefresh(restarted);
    ASSERT_FALSE(console.lines().isEmpty());
    for (const QString& line : console.lines())
        EXPECT_FALSE(line.contains(secret)) << line.toStdString();
    EXPECT_FALSE(restarted.errorMessageText().contains(secret));
}
