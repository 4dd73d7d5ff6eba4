#include "ResolveSteps.h"

#include "ResolveBridge.h"
#include "core/Files.h"
#include "core/PythonProgram.h"
#include "core/Text.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>

namespace ondrel {

namespace {

// Debug files and the hand-over file: a failed write is of no consequence here.
void writeQuietly(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    writeFileAtomically(path, bytes);
}

QString segmentsPath(const LocalPipeline& p) {
    return p.paths().cacheDir + QStringLiteral("/segments.json");
}

Json programArgs(const LocalPipeline& p) {
    Json args = Json::object();
    args["module_dir"] = p.paths().resolveScriptLib.toStdString();
    args["segments_path"] = segmentsPath(p).toStdString();
    args["cache_dir"] = p.paths().cacheDir.toStdString();
    return args;
}

void logProtocolLine(LocalPipeline& p, const ProtocolLine& line) {
    if (line.kind == ProtocolLine::Kind::log)
        p.log(QStringLiteral("  ") + line.rest, QStringLiteral("dim"));
    else if (line.kind == ProtocolLine::Kind::error)
        p.log(QStringLiteral("  ✗ ") + line.rest, QStringLiteral("accent"));
}

} // namespace

QCoro::Task<void> buildTimelineFromSegmentsFile(LocalPipeline& pipeline) {
    LocalPipeline& p = pipeline;
    const QString cache = p.paths().cacheDir;
    // Only this run's own export folder gets the new SRT, as it stands now; none after an audit.
    const std::optional<QString> exportDir = p.lastExportDir();
    writeQuietly(
        cache + QStringLiteral("/build_debug.txt"),
        (QStringLiteral("buildTimelineFromSegmentsFile called at ") + p.clock().now().toString()).toUtf8());

    if (!QFileInfo::exists(segmentsPath(p))) {
        p.log(QStringLiteral("✗ No segments file found"), QStringLiteral("accent"));
        p.setBuildResult(QStringLiteral("✗ No segments file found"));
        co_return;
    }

    const QString name = QStringLiteral("Ondrel Build — ") + shortTimeOfDay(p.clock().now().time());
    p.log(QStringLiteral("Building timeline in Resolve..."));

    Json args = programArgs(p);
    args["name"] = name.toStdString();
    args["export_dir"] = exportDir ? Json(exportDir->toStdString()) : Json();
    const PythonProgram program = pythonProgram(scriptResource(QStringLiteral("build_timeline_full.py")), args);

    ProcessOptions opts;
    QProcessEnvironment env = p.environment().env;
    env.insert(QStringLiteral("PYTHONPATH"), p.paths().resolveScriptLib);
    opts.environment = env;
    opts.input = program.input;
    const QStringList argv{QStringLiteral("-c"), program.code};
    const ProcessOutcome out = co_await runChild(p.toolPaths().python3, argv, opts);
    if (!out.launched) {
        p.log(QStringLiteral("✗ Python launch failed: ") + out.launchError, QStringLiteral("accent"));
        p.setBuildResult(QStringLiteral("✗ Python failed: ") + out.launchError);
        co_return;
    }

    const QString stdOut = utf8OrEmpty(out.stdOut);
    const QString stdErr = utf8OrEmpty(out.stdErr);
    writeQuietly(cache + QStringLiteral("/build_output.txt"),
                 (QStringLiteral("STDOUT:\n") + stdOut + QStringLiteral("\n\nSTDERR:\n") + stdErr).toUtf8());

    if (stdOut.trimmed().isEmpty()) {
        p.log(QStringLiteral("✗ Python returned no output"), QStringLiteral("accent"));
        if (!stdErr.isEmpty())
            p.log(QStringLiteral("  stderr: ") + leadingCharacters(stdErr, 200), QStringLiteral("accent"));
        p.setBuildResult(QStringLiteral("✗ Python returned no output — check Resolve connection"));
        co_return;
    }

    QString result = QStringLiteral("✗ No response from Resolve");
    for (const ProtocolLine& line : readProtocolLines(stdOut)) {
        logProtocolLine(p, line);
        if (line.kind == ProtocolLine::Kind::error) {
            result = QStringLiteral("✗ ") + line.rest;
        } else if (line.kind == ProtocolLine::Kind::success) {
            p.log(QStringLiteral("  ✓ ") + line.rest, QStringLiteral("green"));
            result = QStringLiteral("✓ ") + line.rest;
        }
    }
    p.setBuildResult(result);
}

QCoro::Task<bool> buildResolveTimeline(LocalPipeline& pipeline, QString name, MiningResults analysis,
                                       QStringList mediaPaths) {
    LocalPipeline& p = pipeline;
    // The plain encoder: compact, declared key order, no key for an absent chapter.
    const QByteArray segments = encodeJson(analysis.segments).value_or(QByteArrayLiteral("[]"));
    writeQuietly(segmentsPath(p), segments);

    // Each path arrives wrapped in single quotes as characters, so no base name matches
    // exactly and the audio fallback finds the clips; that outcome is kept on purpose.
    Json quoted = Json::array();
    for (const QString& path : mediaPaths)
        quoted.push_back((QLatin1Char('\'') + path + QLatin1Char('\'')).toStdString());
    Json args = programArgs(p);
    args["media_paths"] = quoted;
    args["name"] = name.toStdString();

    const std::optional<QString> output = co_await p.tools().runPython(
        pythonProgram(scriptResource(QStringLiteral("build_timeline_rebuild.py")), args));
    if (!output) {
        p.log(QStringLiteral("  Python script failed to execute"), QStringLiteral("accent"));
        co_return false;
    }
    for (const ProtocolLine& line : readProtocolLines(*output))
        logProtocolLine(p, line);
    if (!output->contains(QLatin1String("SUCCESS:")))
        co_return false;
    for (const QString& line : output->split(QLatin1Char('\n'))) {
        if (line.contains(QLatin1String("SUCCESS:"))) {
            QString text = line;
            text.remove(QStringLiteral("SUCCESS:"));
            p.log(QStringLiteral("  ") + text.trimmed(), QStringLiteral("green"));
            break;
        }
    }
    co_return true;
}

void installResolveSteps(StepOperations& steps) {
    steps.buildTimelineFromSegmentsFile = [](LocalPipeline& p) { return buildTimelineFromSegmentsFile(p); };
    steps.buildResolveTimeline = [](LocalPipeline& p, QString name, MiningResults analysis,
                                    QStringList paths) {
        return buildResolveTimeline(p, std::move(name), std::move(analysis), std::move(paths));
    };
}

} // namespace ondrel
