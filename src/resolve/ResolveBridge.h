#pragma once
// Talks to Resolve by running short Python programs against its scripting module and reading
// what they print. Used by the first page of the Mine wizard.

#include "core/Clock.h"
#include "core/Platform.h"
#include "core/PythonProgram.h"
#include "core/Records.h"

#include <QObject>
#include <QProcessEnvironment>
#include <QStringList>
#include <QUrl>

#include <QCoroTask>

#include <optional>
#include <variant>

namespace ondrel {

class ResolveBridgeError {
public:
    enum class Kind {
        scriptExecutionFailed,
        notConnected,
        pythonNotFound,
        noCurrentProject,
        audioExtractionFailed,
        timelineBuildFailed,
        launchFailed // a child that could not start; its description is the launch error's own text
    };

    explicit ResolveBridgeError(Kind kind, QString message = {})
        : m_kind(kind)
        , m_message(std::move(message)) {}

    Kind kind() const { return m_kind; }
    QString message() const { return m_message; }
    QString description() const;

private:
    Kind m_kind;
    QString m_message;
};

// What a program run gives: its stdout, or the error that stopped it.
using ScriptOutcome = std::variant<QString, ResolveBridgeError>;

// The pipeline's reading of a program's stdout: per trimmed line, "LOG:" and "ERROR:" lines
// become log lines; the rest is left to the caller.
struct ProtocolLine {
    enum class Kind { log, error, success, other };
    Kind kind;
    QString rest; // the line with every occurrence of its prefix removed
};
QList<ProtocolLine> readProtocolLines(const QString& output);

struct ResolveBridgeConfig {
    QStringList pythonPaths{QStringLiteral("/usr/bin/python3"), QStringLiteral("/opt/homebrew/bin/python3"),
                            QStringLiteral("/usr/local/bin/python3")};
    QString resolveScriptApi;
    QString resolveScriptLib;
    QString audioExportPath; // where the placeholder audio of extractAudio is said to go
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const Clock* clock = nullptr;

    static ResolveBridgeConfig fromPaths(const AppPaths& paths);
};

class ResolveBridge : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY isConnectedChanged)
    Q_PROPERTY(QString projectName READ projectNameText NOTIFY projectNameChanged)
    Q_PROPERTY(QStringList timelines READ timelines NOTIFY timelinesChanged)
    Q_PROPERTY(QString currentTimeline READ currentTimelineText WRITE setCurrentTimelineText NOTIFY
                   currentTimelineChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY statusMessageChanged)

public:
    explicit ResolveBridge(
        ResolveBridgeConfig config = ResolveBridgeConfig::fromPaths(AppPaths::platformDefault()),
        QObject* parent = nullptr);

    bool isConnected() const { return m_isConnected; }
    const std::optional<QString>& projectName() const { return m_projectName; }
    QString projectNameText() const { return m_projectName.value_or(QString()); }
    QStringList timelines() const { return m_timelines; }
    const std::optional<QString>& currentTimeline() const { return m_currentTimeline; }
    QString currentTimelineText() const { return m_currentTimeline.value_or(QString()); }
    void setCurrentTimelineText(const QString& name);
    QString statusMessage() const { return m_statusMessage; }
    const std::optional<QString>& pythonPath() const { return m_pythonPath; }
    const ResolveBridgeConfig& config() const { return m_config; }

    QCoro::Task<> connect();
    QCoro::Task<> getTimelines();
    QCoro::Task<std::optional<QUrl>> extractAudio(QString timeline);
    // Makes an empty timeline named for the moment; the results are not read.
    QCoro::Task<std::optional<ResolveBridgeError>> buildTimeline(MiningResults results);

signals:
    void isConnectedChanged();
    void projectNameChanged();
    void timelinesChanged();
    void currentTimelineChanged();
    void statusMessageChanged();

private:
    QCoro::Task<ScriptOutcome> runPythonScript(PythonProgram script);
    PythonProgram program(const QString& resource, Json args) const;
    void setConnected(bool v);
    void setProjectName(std::optional<QString> name);
    void setStatus(const QString& text);

    ResolveBridgeConfig m_config;
    std::optional<QString> m_pythonPath;
    bool m_isConnected = false;
    std::optional<QString> m_projectName;
    QStringList m_timelines;
    std::optional<QString> m_currentTimeline;
    QString m_statusMessage = QStringLiteral("Not connected");
};

} // namespace ondrel
