#include "AdminShell.h"

#include "core/ToolRunner.h"

#include <QRegularExpression>

namespace ondrel {

namespace {

QString defaultProgram(ProcessAdminShell::Kind kind) {
    switch (kind) {
    case ProcessAdminShell::Kind::pkexec:
        return QStringLiteral("/usr/bin/pkexec");
    case ProcessAdminShell::Kind::osascript:
        return QStringLiteral("/usr/bin/osascript");
    case ProcessAdminShell::Kind::plainShell:
        return QStringLiteral("/bin/sh");
    }
    return {};
}

// osascript reports "<range>: execution error: <message> (<number>)"; the message is the
// system's words (a cancelled password dialogue reads "User canceled.").
QString appleScriptMessage(const QString& stdErr) {
    static const QRegularExpression pattern(QStringLiteral("execution error: (.*) \\(-?\\d+\\)$"));
    const QRegularExpressionMatch match = pattern.match(stdErr);
    return match.hasMatch() ? match.captured(1) : stdErr;
}

QCoro::Task<AdminOutcome> runAdmin(ProcessAdminShell::Kind kind, QString program, QStringList args) {
    ProcessOptions options;
    options.captureStdout = false;
    const ProcessOutcome out = co_await runChild(program, args, options);
    AdminOutcome outcome;
    outcome.started = out.launched;
    if (!out.launched) {
        outcome.message = out.launchError;
        co_return outcome;
    }
    outcome.ok = out.succeeded();
    if (outcome.ok)
        co_return outcome;
    const QString stdErr = QString::fromUtf8(out.stdErr).trimmed();
    if (kind == ProcessAdminShell::Kind::osascript)
        outcome.message = appleScriptMessage(stdErr);
    else
        outcome.message = stdErr.isEmpty() ? QStringLiteral("exit status %1").arg(out.exitCode) : stdErr;
    co_return outcome;
}

} // namespace

QString shellQuote(const QString& value) {
    QString quoted = value;
    quoted.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' + quoted + u'\'';
}

QString readableByAll(const QString& folder) {
    return QStringLiteral("chmod -R u+rwX,go+rX ") + shellQuote(folder);
}

ProcessAdminShell::ProcessAdminShell(Kind kind, QString program)
    : m_kind(kind)
    , m_program(program.isEmpty() ? defaultProgram(kind) : std::move(program)) {}

std::shared_ptr<AdminShell> ProcessAdminShell::platformDefault() {
    // A plugin folder of the user's own (the demo's) needs no raised rights, and asks for no password.
    if (qEnvironmentVariable("ONDREL_ADMIN_SHELL") == QLatin1String("plain"))
        return std::make_shared<ProcessAdminShell>(Kind::plainShell);
#ifdef Q_OS_MACOS
    return std::make_shared<ProcessAdminShell>(Kind::osascript);
#else
    return std::make_shared<ProcessAdminShell>(Kind::pkexec);
#endif
}

QString ProcessAdminShell::appleScriptFor(const QString& shellText) {
    QString escaped = shellText;
    escaped.replace(u'\\', QStringLiteral("\\\\"));
    escaped.replace(u'"', QStringLiteral("\\\""));
    return QStringLiteral("do shell script \"") + escaped +
           QStringLiteral("\" with administrator privileges");
}

QStringList ProcessAdminShell::arguments(const QString& shellText) const {
    switch (m_kind) {
    case Kind::pkexec:
        return {QStringLiteral("/bin/sh"), QStringLiteral("-c"), shellText};
    case Kind::osascript:
        return {QStringLiteral("-e"), appleScriptFor(shellText)};
    case Kind::plainShell:
        return {QStringLiteral("-c"), shellText};
    }
    return {};
}

QCoro::Task<AdminOutcome> ProcessAdminShell::run(QString shellText) {
    return runAdmin(m_kind, m_program, arguments(shellText));
}

} // namespace ondrel
