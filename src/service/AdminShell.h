#pragma once
// Runs one shell text with raised rights, so that the system asks the user for a password:
// pkexec on Linux, osascript's "with administrator privileges" on macOS, a plain shell in tests.

#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <memory>

namespace ondrel {

struct AdminOutcome {
    bool started = false; // the runner could be started at all
    bool ok = false;
    QString message; // the system's words for a failure; may be empty
};

class AdminShell {
public:
    virtual ~AdminShell() = default;
    // Waits without blocking the event loop.
    virtual QCoro::Task<AdminOutcome> run(QString shellText) = 0;
};

// The text as one shell word: in single quotes, each ' written as '\''.
QString shellQuote(const QString& value);
// The admin script's step that lets everyone read a folder it copied as root (and enter its
// folders): files keep the owner-only rights a zip may carry, and Resolve runs as the user.
QString readableByAll(const QString& folder);

class ProcessAdminShell : public AdminShell {
public:
    enum class Kind {
        pkexec,     // pkexec /bin/sh -c <text>; failure: trimmed stderr, or "exit status N"
        osascript,  // osascript -e 'do shell script "<text>" with administrator privileges'
        plainShell, // /bin/sh -c <text>, no raised rights (tests, a folder the user owns)
    };

    // `program` replaces the runner's usual path (pkexec, osascript or sh).
    explicit ProcessAdminShell(Kind kind, QString program = {});

    // This platform's runner.
    static std::shared_ptr<AdminShell> platformDefault();

    QString program() const { return m_program; }
    QStringList arguments(const QString& shellText) const;
    QCoro::Task<AdminOutcome> run(QString shellText) override;

    // The AppleScript that runs the text as administrator.
    static QString appleScriptFor(const QString& shellText);

private:
    Kind m_kind;
    QString m_program;
};

} // namespace ondrel
