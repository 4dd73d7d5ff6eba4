#pragma once
// A pipeline wired to a fake language-model server and a throw-away home.

#include "analysis/AnalysisSteps.h"
#include "core/LocalPipeline.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnv.h"

#include <QStringList>

#include <memory>
#include <ostream>

namespace ondrel::test {

inline constexpr const char* TEST_KEY = "sk-ant-test-key-0123";

struct Line {
    QString text;
    QString color;
    bool operator==(const Line&) const = default;
};

inline void PrintTo(const Line& l, std::ostream* os) {
    *os << l.color.toStdString() << ": " << l.text.toStdString();
}

// Body of a Messages API answer with one text block.
inline QByteArray claudeBody(const QString& text) {
    Json block = Json::object();
    block["type"] = "text";
    block["text"] = text.toStdString();
    Json body = Json::object();
    body["content"] = Json::array({block});
    return QByteArray::fromStdString(body.dump());
}

struct AnalysisRig {
    TestHome home;
    FakeHttpServer server;
    FixedClock clock{QDateTime(QDate(2026, 3, 1), QTime(10, 0, 0))};
    std::unique_ptr<LocalPipeline> pipeline;

    explicit AnalysisRig(bool withKey = true) {
        PipelineEnvironment env = home.pipelineEnvironment(&clock);
        env.endpoints.anthropicHost = server.baseUrl();
        if (withKey)
            env.env.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromLatin1(TEST_KEY));
        pipeline = std::make_unique<LocalPipeline>(env);
        installAnalysisSteps(pipeline->steps());
    }

    LocalPipeline& p() { return *pipeline; }

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
    QString allLogText() const { return texts().join(QLatin1Char('\n')); }

    // The prompt of the n-th request to the messages endpoint.
    QString sentPrompt(int n = 0) const {
        const auto requests = server.requestsTo("/v1/messages");
        if (n >= requests.size())
            return {};
        const auto body = parseJson(requests[n].body);
        if (!body)
            return {};
        return QString::fromStdString((*body)["messages"][0]["content"].get<std::string>());
    }
};

inline QString goldenText(const QString& name) {
    return QString::fromUtf8(readFile(QStringLiteral(ONDREL_SOURCE_DIR "/tests/analysis/golden/") + name));
}

} // namespace ondrel::test
