#include "ServiceTestSupport.h"

#include "service/CloudProcessor.h"
#include "support/TestEnv.h"

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;
using namespace std::chrono_literals;

namespace {

const QByteArray kResult =
    R"({"segments":[],"structure":{"acts":[],"totalDuration":12.5},"subtitles":[],"estimatedDuration":3})";

QByteArray status(const char* word, double progress, bool withResult = false) {
    return QByteArray(R"({"status":")") + word + R"(","progress":)" + QByteArray::number(progress) +
           (withResult ? R"(,"result":)" + kResult : QByteArray()) + "}";
}

QString describe(const CloudResult<MiningResults>& r) {
    return std::holds_alternative<CloudProcessorError>(r) ? std::get<CloudProcessorError>(r).description()
                                                          : QStringLiteral("ok");
}

} // namespace

TEST(CloudProcessor, UploadStartAndPollToTheResult) {
    TestHome home;
    const QString audio = home.path() + "/take \"1\".wav";
    writeFile(audio, "RIFF-bytes");
    FakeHttpServer server;
    server.respondJson("/api/v1/api/v1/upload", 200, R"({"jobId":"job-1"})");
    server.respondJson("/api/v1/api/v1/process", 200, "{}");
    const QByteArray poll = "/api/v1/api/v1/jobs/job-1";
    server.respondJson(poll, 200, status("transcribing", 0.1));
    server.respondJson(poll, 200, status("analyzing", 0.65));
    server.respondJson(poll, 500, "busy");
    server.respondJson(poll, 200, status("translating", 0.5));
    server.respondJson(poll, 200, status("complete", 0.9, true));

    CloudProcessor cloud(endpointsFor(server), 1ms);
    QStringList steps;
    QList<double> progress;
    QObject::connect(&cloud, &CloudProcessor::currentStepChanged, [&] { steps << cloud.currentStepText(); });
    QObject::connect(&cloud, &CloudProcessor::progressChanged, [&] { progress << cloud.progress(); });
    ConsoleCapture console;
    const auto r =
        QCoro::waitFor(cloud.processAudio(QUrl::fromLocalFile(audio), "tok", MiningMode::fullMine));

    ASSERT_EQ(describe(r), "ok");
    EXPECT_EQ(std::get<MiningResults>(r).structure.totalDuration, 12.5);
    EXPECT_TRUE(cloud.hasResults());
    EXPECT_EQ(steps, QStringList({"Uploading to cloud...", "Transcribing...", "Analyzing story structure...",
                                  "Translating...", "Complete"}));
    // A lower figure from the service never takes progress back.
    EXPECT_EQ(progress, QList<double>({0.2, 0.4, 0.65, 0.9, 1.0}));
    EXPECT_EQ(server.requestsTo(poll).size(), 5);
    EXPECT_TRUE(console.lines().contains("Polling attempt 3 failed: Server error 500: busy"));

    const RecordedRequest upload = server.requestsTo("/api/v1/api/v1/upload")[0];
    const QByteArray contentType = upload.header("Content-Type");
    ASSERT_TRUE(contentType.startsWith("multipart/form-data; boundary="));
    const QByteArray boundary = contentType.mid(contentType.indexOf('=') + 1);
    EXPECT_EQ(boundary, boundary.toUpper());
    EXPECT_EQ(upload.body,
              "--" + boundary +
                  "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"take \"1\".wav\"\r\n"
                  "Content-Type: audio/wav\r\n\r\nRIFF-bytes\r\n--" +
                  boundary + "--\r\n");
    EXPECT_EQ(upload.header("Authorization"), "Bearer tok");
    EXPECT_EQ(server.requestsTo("/api/v1/api/v1/process")[0].body, R"({"jobId":"job-1","mode":"Full Mine"})");
}

TEST(CloudProcessor, FailureTexts) {
    TestHome home;
    const QString audio = home.path() + "/a.wav";
    writeFile(audio, "x");
    const QByteArray poll = "/api/v1/api/v1/jobs/j";
    struct Case {
        const char* name;
        QString file;
        QList<QPair<QByteArray, ScriptedResponse>> answers;
        QString expected;
        QString stepAfter;
        int polls;
    } cases[] = {
        {"402 on upload",
         audio,
         {{"/api/v1/api/v1/upload", {402, R"({"error":"no credits for tok-9"})"}}},
         R"(Upload failed: HTTP 402: {"error":"no credits for [redacted]"})",
         "Uploading to cloud...",
         0},
        {"file missing",
         home.path() + "/gone.wav",
         {},
         "Upload failed: The file “gone.wav” couldn’t be opened because there is no such file.",
         "Uploading to cloud...",
         0},
        {"start refused",
         audio,
         {{"/api/v1/api/v1/upload", {200, R"({"jobId":"j"})"}}, {"/api/v1/api/v1/process", {409, "busy"}}},
         "Processing failed: Server error 409: busy",
         "Transcribing...",
         0},
        {"job ends in error",
         audio,
         {{"/api/v1/api/v1/upload", {200, R"({"jobId":"j"})"}},
          {"/api/v1/api/v1/process", {200, ""}},
          {poll, {200, R"({"status":"error","progress":0.5,"message":"ignored"})"}}},
         "Processing failed: Server reported error",
         "Transcribing...",
         1},
        {"complete without a result",
         audio,
         {{"/api/v1/api/v1/upload", {200, R"({"jobId":"j"})"}},
          {"/api/v1/api/v1/process", {200, ""}},
          {poll, {200, status("analyzing", 0.6)}},
          {poll, {200, status("complete", 1)}}},
         "Invalid results received from server",
         "Analyzing story structure...",
         2},
        // Status words are compared exactly: "Complete" is unknown, and the poll runs out.
        {"Complete with a capital",
         audio,
         {{"/api/v1/api/v1/upload", {200, R"({"jobId":"j"})"}},
          {"/api/v1/api/v1/process", {200, ""}},
          {poll, {200, status("Complete", 1, true)}}},
         "Processing timeout - please try again",
         "Transcribing...",
         CloudProcessor::kMaxPollingAttempts},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeHttpServer server;
        for (const auto& [path, answer] : c.answers)
            server.enqueue(path, answer);
        CloudProcessor cloud(endpointsFor(server), 1ms);
        const auto r =
            QCoro::waitFor(cloud.processAudio(QUrl::fromLocalFile(c.file), "tok-9", MiningMode::audit));
        EXPECT_EQ(describe(r), c.expected);
        EXPECT_EQ(cloud.currentStepText(), c.stepAfter);
        EXPECT_EQ(server.requestsTo(poll).size(), c.polls);
        EXPECT_FALSE(cloud.errorMessage().has_value());
    }
}
