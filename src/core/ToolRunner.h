#pragma once
// Runs outside tools as child processes, awaited on the main thread without freezing it.
// Callers await one at a time, so the steps of a run stay strictly in order.

#include "Platform.h"
#include "PythonProgram.h"
#include "StopSignal.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>

namespace ondrel {

struct ProcessOutcome {
    bool launched = false;
    QString launchError; // the launch failure's text when !launched
    int exitCode = -1;
    bool crashed = false;
    QByteArray stdOut;
    QByteArray stdErr;

    bool succeeded() const { return launched && !crashed && exitCode == 0; }
};

struct ProcessOptions {
    std::optional<QProcessEnvironment> environment; // absent: inherit the application's
    bool captureStdout = true;
    bool captureStderr = true;
    std::optional<QByteArray> input; // written to the child's standard input, which is then closed
    // At the stop the child is asked to end (SIGTERM) and killed 3 s later if it has not; a child
    // whose signal was stopped before it started is never started.
    std::shared_ptr<StopSignal> stop;
};

// Starts `program` and waits for it to exit, with no time limit. Output is gathered while the
// child runs, so a chatty child never stalls on a full pipe.
QCoro::Task<ProcessOutcome> runChild(QString program, QStringList args, ProcessOptions options = {});

// Bytes as UTF-8, or "" when they are not valid UTF-8.
QString utf8OrEmpty(const QByteArray& bytes);

class ToolRunner {
public:
    // `environment` is what children inherit (the application's own outside tests).
    ToolRunner(ToolPaths tools, QString pythonPath /* PYTHONPATH for runPython */,
               QProcessEnvironment environment = QProcessEnvironment::systemEnvironment())
        : m_tools(std::move(tools))
        , m_pythonPath(std::move(pythonPath))
        , m_environment(std::move(environment)) {}

    const ToolPaths& tools() const { return m_tools; }
    // The signal that stops ffmpeg and ffprobe children of the work under way (Python programs
    // for Resolve are left to end: a half-made timeline is worse than a late one).
    void setStopSource(std::function<std::shared_ptr<StopSignal>()> source) {
        m_stopSource = std::move(source);
    }

    // True exactly when the tool launched and exited with status 0; output discarded.
    QCoro::Task<bool> runProcess(QString path, QStringList args) const;
    // The tool's standard output as UTF-8 ("" on launch failure or invalid text); exit status ignored.
    QCoro::Task<QString> runProcessOutput(QString path, QStringList args) const;
    // python3 -c with the program's text, its values on standard input, and PYTHONPATH replaced by
    // the Resolve module folder. Absent only when the interpreter could not be launched (its
    // error text in *launchError).
    QCoro::Task<std::optional<QString>> runPython(PythonProgram program,
                                                  QString* launchError = nullptr) const;
    // ffprobe's format duration; 300 when it cannot be read.
    QCoro::Task<double> getAudioDuration(QString path) const;

private:
    ToolPaths m_tools;
    std::shared_ptr<StopSignal> currentStop() const { return m_stopSource ? m_stopSource() : nullptr; }

    QString m_pythonPath;
    QProcessEnvironment m_environment;
    std::function<std::shared_ptr<StopSignal>()> m_stopSource;
};

// API keys: the environment first (even when empty), then the first "export NAME=" line of .zshrc.
class KeyLookup {
public:
    KeyLookup(QProcessEnvironment env, QString zshrcPath)
        : m_env(std::move(env))
        , m_zshrc(std::move(zshrcPath)) {}

    QString key(const QString& name) const;
    std::optional<QString> readKeyFromZshrc(const QString& name) const;

    QString openaiKey() const { return key(QStringLiteral("OPENAI_API_KEY")); }
    QString anthropicKey() const { return key(QStringLiteral("ANTHROPIC_API_KEY")); }

private:
    QProcessEnvironment m_env;
    QString m_zshrc;
};

} // namespace ondrel
