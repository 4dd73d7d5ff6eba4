#include "ToolRunner.h"

#include "Text.h"

#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QStringDecoder>
#include <QTimer>

#include <QCoroSignal>

#include <cmath>
#include <memory>

namespace ondrel {

namespace {
// How long a child asked to end may take to tidy up before it is killed.
constexpr std::chrono::milliseconds kKillAfter{3000};
} // namespace

QString utf8OrEmpty(const QByteArray& bytes) {
    return strictUtf8(bytes).value_or(QString());
}

QCoro::Task<ProcessOutcome> runChild(QString program, QStringList args, ProcessOptions options) {
    ProcessOutcome outcome;
    auto process = std::make_unique<QProcess>();
    process->setProgram(program);
    process->setArguments(args);
    if (options.environment)
        process->setProcessEnvironment(*options.environment);
    if (!options.captureStdout)
        process->setStandardOutputFile(QProcess::nullDevice());
    if (!options.captureStderr)
        process->setStandardErrorFile(QProcess::nullDevice());

    if (options.stop && options.stop->isStopped()) {
        outcome.launchError = QStringLiteral("cancelled");
        co_return outcome;
    }
    process->start(options.input ? QIODevice::ReadWrite : QIODevice::ReadOnly);
    // exec() failures are reported through a pipe at once, so this wait is short.
    if (!process->waitForStarted(-1)) {
        outcome.launchError = process->errorString();
        co_return outcome;
    }
    outcome.launched = true;
    if (options.input) {
        // Buffered by QProcess and fed to the pipe while we wait, whatever its size.
        process->write(*options.input);
        process->closeWriteChannel();
    }

    // Gather output as it comes, so no pipe ever fills.
    if (options.captureStdout)
        QObject::connect(process.get(), &QProcess::readyReadStandardOutput, process.get(),
                         [p = process.get(), &outcome] { outcome.stdOut += p->readAllStandardOutput(); });
    if (options.captureStderr)
        QObject::connect(process.get(), &QProcess::readyReadStandardError, process.get(),
                         [p = process.get(), &outcome] { outcome.stdErr += p->readAllStandardError(); });

    if (options.stop)
        QObject::connect(options.stop.get(), &StopSignal::stopRequested, process.get(), [p = process.get()] {
            p->terminate();
            QTimer::singleShot(kKillAfter, p, &QProcess::kill);
        });
    if (process->state() != QProcess::NotRunning)
        co_await qCoro(process.get(), &QProcess::finished);

    if (options.captureStdout)
        outcome.stdOut += process->readAllStandardOutput();
    if (options.captureStderr)
        outcome.stdErr += process->readAllStandardError();
    outcome.crashed = process->exitStatus() == QProcess::CrashExit;
    outcome.exitCode = process->exitCode();
    process->disconnect();
    // We may be running inside the process's own finished signal: let Qt finish with it first.
    process.release()->deleteLater();
    co_return outcome;
}

QCoro::Task<bool> ToolRunner::runProcess(QString path, QStringList args) const {
    ProcessOptions opts;
    opts.environment = m_environment;
    opts.captureStdout = false;
    opts.captureStderr = false;
    opts.stop = currentStop();
    const auto out = co_await runChild(path, args, opts);
    co_return out.succeeded();
}

QCoro::Task<QString> ToolRunner::runProcessOutput(QString path, QStringList args) const {
    ProcessOptions opts;
    opts.environment = m_environment;
    opts.captureStderr = false;
    opts.stop = currentStop();
    const auto out = co_await runChild(path, args, opts);
    if (!out.launched)
        co_return QString();
    co_return utf8OrEmpty(out.stdOut);
}

QCoro::Task<std::optional<QString>> ToolRunner::runPython(PythonProgram program, QString* launchError) const {
    ProcessOptions opts;
    auto env = m_environment;
    env.insert(QStringLiteral("PYTHONPATH"), m_pythonPath);
    opts.environment = env;
    opts.input = program.input;
    // Built before the await: GCC 12 rejects string literals in a braced list inside co_await.
    const QStringList args{QStringLiteral("-c"), program.code};
    const auto out = co_await runChild(m_tools.python3, args, opts);
    if (!out.launched) {
        if (launchError)
            *launchError = out.launchError;
        co_return std::nullopt;
    }
    co_return utf8OrEmpty(out.stdOut);
}

QCoro::Task<double> ToolRunner::getAudioDuration(QString path) const {
    QStringList args;
    args << QStringLiteral("-v") << QStringLiteral("quiet") << QStringLiteral("-show_entries")
         << QStringLiteral("format=duration") << QStringLiteral("-of") << QStringLiteral("csv=p=0") << path;
    const QString text = co_await runProcessOutput(m_tools.ffprobe, args);
    bool ok = false;
    const double d = text.trimmed().toDouble(&ok);
    co_return ok&& std::isfinite(d) ? d : 300.0;
}

QString KeyLookup::key(const QString& name) const {
    if (m_env.contains(name))
        return m_env.value(name);
    return readKeyFromZshrc(name).value_or(QString());
}

std::optional<QString> KeyLookup::readKeyFromZshrc(const QString& name) const {
    QFile file(m_zshrc);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const std::optional<QString> content = strictUtf8(file.readAll());
    if (!content)
        return std::nullopt;
    const QString& text = *content;
    const QString needle = QStringLiteral("export ") + name + QLatin1Char('=');
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (!line.contains(needle))
            continue;
        // Only the first matching line counts, even when it is commented out or empty.
        QString rest = line;
        rest.remove(needle);
        rest = rest.trimmed();
        rest.remove(QLatin1Char('"'));
        if (rest.isEmpty())
            return std::nullopt;
        return rest;
    }
    return std::nullopt;
}

} // namespace ondrel
