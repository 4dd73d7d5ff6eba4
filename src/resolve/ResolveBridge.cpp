#include "ResolveBridge.h"

#include "core/PythonProgram.h"
#include "core/ToolRunner.h"

#include <QDebug>
#include <QFileInfo>
#include <QLocale>

namespace ondrel {

QString ResolveBridgeError::description() const {
    switch (m_kind) {
    case Kind::scriptExecutionFailed:
        return QStringLiteral("Script execution failed: ") + m_message;
    case Kind::notConnected:
        return QStringLiteral("Not connected to DaVinci Resolve. Make sure Resolve is running.");
    case Kind::pythonNotFound:
        return QStringLiteral("Python3 not found. Please install Python 3.");
    case Kind::noCurrentProject:
        return QStringLiteral("No current project in DaVinci Resolve");
    case Kind::audioExtractionFailed:
        return QStringLiteral("Failed to extract audio from timeline");
    case Kind::timelineBuildFailed:
        return QStringLiteral("Failed to build timeline in Resolve");
    case Kind::launchFailed:
        return m_message;
    }
    return {};
}

QList<ProtocolLine> readProtocolLines(const QString& output) {
    QList<ProtocolLine> lines;
    for (const QString& raw : output.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        auto strip = [&](const QString& prefix) {
            QString rest = line;
            rest.remove(prefix);
            return rest;
        };
        if (line.startsWith(QLatin1String("LOG:")))
            lines.push_back({ProtocolLine::Kind::log, strip(QStringLiteral("LOG:"))});
        else if (line.startsWith(QLatin1String("ERROR:")))
            lines.push_back({ProtocolLine::Kind::error, strip(QStringLiteral("ERROR:"))});
        else if (line.startsWith(QLatin1String("SUCCESS:")))
            lines.push_back({ProtocolLine::Kind::success, strip(QStringLiteral("SUCCESS:"))});
        else
            lines.push_back({ProtocolLine::Kind::other, line});
    }
    return lines;
}

ResolveBridgeConfig ResolveBridgeConfig::fromPaths(const AppPaths& paths) {
    ResolveBridgeConfig c;
    c.resolveScriptApi = paths.resolveScriptApi;
    c.resolveScriptLib = paths.resolveScriptLib;
    c.audioExportPath = paths.cacheDir + QStringLiteral("/audio_export.wav");
    return c;
}

ResolveBridge::ResolveBridge(ResolveBridgeConfig config, QObject* parent)
    : QObject(parent)
    , m_config(std::move(config)) {
    if (!m_config.clock)
        m_config.clock = &Clock::system();
    // The first candidate that exists wins; it is not run to check it.
    for (const QString& candidate : m_config.pythonPaths) {
        if (QFileInfo::exists(candidate)) {
            m_pythonPath = candidate;
            break;
        }
    }
}

void ResolveBridge::setCurrentTimelineText(const QString& name) {
    m_currentTimeline = name.isEmpty() ? std::nullopt : std::optional<QString>(name);
    emit currentTimelineChanged();
}

void ResolveBridge::setConnected(bool v) {
    m_isConnected = v;
    emit isConnectedChanged();
}

void ResolveBridge::setProjectName(std::optional<QString> name) {
    m_projectName = std::move(name);
    emit projectNameChanged();
}

void ResolveBridge::setStatus(const QString& text) {
    m_statusMessage = text;
    emit statusMessageChanged();
}

PythonProgram ResolveBridge::program(const QString& resource, Json args) const {
    args["module_dir"] = m_config.resolveScriptLib.toStdString();
    return pythonProgram(scriptResource(resource), args);
}

QCoro::Task<ScriptOutcome> ResolveBridge::runPythonScript(PythonProgram script) {
    if (!m_pythonPath)
        co_return ResolveBridgeError(ResolveBridgeError::Kind::pythonNotFound);

    ProcessOptions opts;
    QProcessEnvironment env = m_config.environment;
    env.insert(QStringLiteral("RESOLVE_SCRIPT_API"), m_config.resolveScriptApi);
    // Deliberately the Modules folder, and PYTHONPATH replaced rather than extended.
    env.insert(QStringLiteral("RESOLVE_SCRIPT_LIB"), m_config.resolveScriptLib);
    env.insert(QStringLiteral("PYTHONPATH"), m_config.resolveScriptLib);
    opts.environment = env;
    opts.input = script.input;

    const QStringList args{QStringLiteral("-c"), script.code};
    const ProcessOutcome out = co_await runChild(*m_pythonPath, args, opts);
    if (!out.launched)
        co_return ResolveBridgeError(ResolveBridgeError::Kind::launchFailed, out.launchError);
    if (out.crashed || out.exitCode != 0) {
        QString message = utf8OrEmpty(out.stdErr);
        if (message.isEmpty() && !out.stdErr.isEmpty())
            message = QStringLiteral("Unknown error");
        co_return ResolveBridgeError(ResolveBridgeError::Kind::scriptExecutionFailed, message);
    }
    co_return utf8OrEmpty(out.stdOut);
}

QCoro::Task<> ResolveBridge::connect() {
    if (!m_pythonPath) {
        setStatus(QStringLiteral("Python not found"));
        setConnected(false);
        co_return;
    }
    const ScriptOutcome outcome =
        co_await runPythonScript(program(QStringLiteral("bridge_connect.py"), Json::object()));
    if (const auto* err = std::get_if<ResolveBridgeError>(&outcome)) {
        setStatus(QStringLiteral("Connection failed: ") + err->description());
        setConnected(false);
        setProjectName(std::nullopt);
        co_return;
    }
    const QString output = std::get<QString>(outcome);
    if (output.startsWith(QLatin1String("ERROR:"))) {
        QString rest = output;
        rest.remove(QStringLiteral("ERROR:"));
        // Compared untrimmed on purpose: print's newline keeps the raw code on screen.
        setStatus(rest == QLatin1String("NOT_CONNECTED") ? QStringLiteral("Resolve not running") : rest);
        setConnected(false);
        setProjectName(std::nullopt);
        co_return;
    }
    setProjectName(output.trimmed());
    setStatus(QStringLiteral("Connected to ") + m_projectName.value_or(QStringLiteral("Unknown Project")));
    setConnected(true);
}

QCoro::Task<> ResolveBridge::getTimelines() {
    if (!m_isConnected)
        co_return;
    const ScriptOutcome outcome =
        co_await runPythonScript(program(QStringLiteral("bridge_timelines.py"), Json::object()));
    if (const auto* err = std::get_if<ResolveBridgeError>(&outcome)) {
        qWarning().noquote() << "Failed to get timelines:" << err->description();
        co_return;
    }
    const QString output = std::get<QString>(outcome);
    if (output.startsWith(QLatin1String("ERROR:")))
        co_return;
    QStringList names;
    for (const QString& piece : output.split(QLatin1Char('\n'))) {
        const QString name = piece.trimmed();
        if (!name.isEmpty())
            names.push_back(name);
    }
    m_timelines = names;
    emit timelinesChanged();
}

QCoro::Task<std::optional<QUrl>> ResolveBridge::extractAudio(QString timeline) {
    if (!m_isConnected)
        co_return std::nullopt;
    Json args = Json::object();
    args["timeline"] = timeline.toStdString();
    args["output_path"] = m_config.audioExportPath.toStdString();
    const ScriptOutcome outcome =
        co_await runPythonScript(program(QStringLiteral("bridge_extract_audio.py"), args));
    if (const auto* err = std::get_if<ResolveBridgeError>(&outcome)) {
        qWarning().noquote() << "Failed to extract audio:" << err->description();
        co_return std::nullopt;
    }
    const QString output = std::get<QString>(outcome);
    if (output.startsWith(QLatin1String("ERROR:")))
        co_return std::nullopt;
    co_return QUrl::fromLocalFile(output.trimmed());
}

QCoro::Task<std::optional<ResolveBridgeError>> ResolveBridge::buildTimeline(MiningResults results) {
    Q_UNUSED(results); // only the empty timeline is made here
    if (!m_isConnected)
        co_return ResolveBridgeError(ResolveBridgeError::Kind::notConnected);
    const QString name =
        QStringLiteral("Ondrel Mining - ") + QLocale().toString(m_config.clock->now(), QLocale::ShortFormat);
    Json args = Json::object();
    args["name"] = name.toStdString();
    const ScriptOutcome outcome =
        co_await runPythonScript(program(QStringLiteral("bridge_build_timeline.py"), args));
    if (const auto* err = std::get_if<ResolveBridgeError>(&outcome))
        co_return *err;
    if (std::get<QString>(outcome).startsWith(QLatin1String("ERROR:")))
        co_return ResolveBridgeError(ResolveBridgeError::Kind::timelineBuildFailed);
    co_await getTimelines();
    co_return std::nullopt;
}

} // namespace ondrel
