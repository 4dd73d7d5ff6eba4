#include "support/VirtualDisplay.h"

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ondrel::test {

namespace {

void appendField(QByteArray& out, const QByteArray& field) {
    out.append(char((field.size() >> 8) & 0xff));
    out.append(char(field.size() & 0xff));
    out.append(field);
}

// One entry of the authority file's binary format that Xlib and xcb take for any host and any
// display number (family FamilyWild, empty address and number), so it can be written before the
// server has chosen its display; the server loads every cookie of the file whatever its address.
QByteArray wildcardCookieEntry(const QByteArray& cookie) {
    QByteArray entry;
    entry.append(char(0xff));
    entry.append(char(0xff));
    appendField(entry, {});
    appendField(entry, {});
    appendField(entry, "MIT-MAGIC-COOKIE-1");
    appendField(entry, cookie);
    return entry;
}

QString exitText(int status) {
    if (WIFEXITED(status))
        return QStringLiteral("exited with status %1").arg(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return QStringLiteral("ended by signal %1").arg(WTERMSIG(status));
    return QStringLiteral("stopped");
}

} // namespace

std::unique_ptr<VirtualDisplay> VirtualDisplay::start(const QString& screenSize, QString* error) {
    std::unique_ptr<VirtualDisplay> display(new VirtualDisplay);
    if (!display->m_dir.isValid()) {
        *error = QStringLiteral("no temporary folder for the X server's files");
        return {};
    }
    const QString authPath = display->m_dir.filePath(QStringLiteral("Xauthority"));
    const QString logPath = display->m_dir.filePath(QStringLiteral("Xvfb.log"));
    QByteArray cookie(16, '\0');
    for (char& byte : cookie)
        byte = char(QRandomGenerator::system()->bounded(256));
    QFile auth(authPath);
    if (!auth.open(QIODevice::WriteOnly) || auth.write(wildcardCookieEntry(cookie)) < 0) {
        *error = QStringLiteral("cannot write %1").arg(authPath);
        return {};
    }
    auth.close();

    int ready[2];
    if (pipe(ready) != 0) {
        *error = QStringLiteral("pipe: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return {};
    }
    fcntl(ready[0], F_SETFD, FD_CLOEXEC);
    const int log =
        open(QFile::encodeName(logPath).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    // Everything the child needs is made before the fork: after it only exec-safe calls run.
    // -displayfd lets the server take the first free display and write its number to our pipe.
    const std::vector<std::string> args = {"Xvfb",
                                           "-displayfd",
                                           std::to_string(ready[1]),
                                           "-screen",
                                           "0",
                                           screenSize.toStdString(),
                                           "-nolisten",
                                           "tcp",
                                           "-auth",
                                           QFile::encodeName(authPath).toStdString()};
    std::vector<char*> argv;
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    const pid_t parent = getpid();

    const pid_t pid = fork();
    if (pid == 0) {
        // A test that crashes must not leave its server behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
        const int devNull = open("/dev/null", O_RDONLY);
        if (devNull >= 0)
            dup2(devNull, 0);
        if (log >= 0) {
            dup2(log, 1);
            dup2(log, 2);
        }
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(ready[1]);
    if (log >= 0)
        close(log);
    if (pid < 0) {
        close(ready[0]);
        *error = QStringLiteral("fork: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return {};
    }
    display->m_pid = pid;

    // The number arrives once the server listens; end of file means it is gone. The long bound
    // only keeps a hung server from hanging the test binary.
    QByteArray number;
    bool timedOut = false;
    while (!number.endsWith('\n')) {
        pollfd wait{ready[0], POLLIN, 0};
        const int polled = poll(&wait, 1, 60000);
        if (polled < 0 && errno == EINTR)
            continue;
        if (polled <= 0) {
            timedOut = polled == 0;
            break;
        }
        char buffer[16];
        const ssize_t n = read(ready[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        number.append(buffer, n);
    }
    close(ready[0]);
    bool isNumber = false;
    number.trimmed().toInt(&isNumber);
    if (!isNumber) {
        // The pipe ends when the server (or the exec that was to become it) has gone.
        if (timedOut)
            kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        display->m_pid = -1;
        const QString how = timedOut ? QStringLiteral("did not report its display within a minute")
                            : WIFEXITED(status) && WEXITSTATUS(status) == 127
                                ? QStringLiteral("could not be run")
                                : exitText(status);
        QFile logFile(logPath);
        logFile.open(QIODevice::ReadOnly);
        *error = QStringLiteral("Xvfb %1 (is the xvfb package installed?)\n%2")
                     .arg(how, QString::fromLocal8Bit(logFile.readAll()).trimmed());
        return {};
    }
    display->m_name = QLatin1Char(':') + QString::fromLatin1(number.trimmed());
    qputenv("DISPLAY", display->m_name.toLocal8Bit());
    qputenv("XAUTHORITY", QFile::encodeName(authPath));
    return display;
}

VirtualDisplay::~VirtualDisplay() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

} // namespace ondrel::test
