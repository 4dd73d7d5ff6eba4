#pragma once
// A pipeline wired to a fake language-model server and a throw-away home.

#include "analysis/AnalysisSteps.h"
#include "core/LocalPipeline.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QPair>
#include <QStringList>

#include <QCoroTask>

#include <memory>

namespace ondrel::test {

inline constexpr const char* TEST_KEY = "sk-ant-test-key-0123";

using Line = QPair<QString, QString>; // a log line's text and colour

// Body of a Messages API answer with one text block.
inline QByteArray claudeBody(const QString& text) {
    const Json block = {{"type", "text"}, {"text", text.toStdString()}};
    return QByteArray::fromStdString(Json({{"content", Json::array({block})}}).dump());
}

struct AnalysisRig {
    TestHome home;
    FakeHttpServer server;
    FixedClock clock{QDateTime(QDate(2026, 3, 1), QTime(10, 0, 0))};
    std::shared_ptr<LocalPipeline> pipeline;

    AnalysisRig() {
        rebuild([](PipelineEnvironment&) {});
    }

    template <typename Edit> void rebuild(Edit edit) {
        PipelineEnvironment env = home.pipelineEnvironment(&clock);
        env.endpoints.anthropicHost = server.baseUrl();
        env.env.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromLatin1(TEST_KEY));
        edit(env);
        pipeline = LocalPipeline::create(env);
        installAnalysisSteps(pipeline->steps());
    }

    LocalPipeline& p() { return *pipeline; }

    // Runs mine this transcript as a cached one, with no media work before the analysis.
    void mineCached(TranscriptResult transcript) {
        p().steps().getTimelineMedia = [](LocalPipeline&,
                                          QString) -> QCoro::Task<std::optional<QStringList>> {
            co_return QStringList{"/m/a.wav"};
        };
        p().steps().loadCachedTranscript = [transcript](LocalPipeline&, const QStringList&) {
            return std::optional(transcript);
        };
    }
    // A run of it started; `done` is set when it ends.
    QCoro::Task<> startRun(bool& done, double targetMinutes = 60) {
        co_await p().run("Week", MiningMode::fullMine, targetMinutes, "auto", {}, std::nullopt, {}, false);
        done = true;
    }
    // Cancels the run when the log gets this line.
    void cancelAt(const QString& line) {
        QObject::connect(pipeline->logModel(), &QAbstractItemModel::rowsInserted, pipeline.get(),
                         [this, line] {
                             if (pipeline->logs().last().text == line)
                                 pipeline->cancel();
                         });
    }

    QList<Line> lines() const {
        QList<Line> out;
        for (const auto& l : pipeline->logs())
            out.push_back({l.text, l.color});
        return out;
    }
    QStringList texts() const {
        QStringList out;
        for (const auto& l : pipeline->logs())
            out << l.text;
        return out;
    }

    // The prompt of the first request to the messages endpoint.
    QString sentPrompt() const {
        const auto requests = server.requestsTo("/v1/messages");
        const auto body = requests.isEmpty() ? std::nullopt : parseJson(requests[0].body);
        return body ? QString::fromStdString((*body)["messages"][0]["content"].get<std::string>())
                    : QString();
    }
};

inline QString goldenText(const QString& name) {
    return QString::fromUtf8(readFile(QStringLiteral(ONDREL_SOURCE_DIR "/tests/analysis/golden/") + name));
}

} // namespace ondrel::test
