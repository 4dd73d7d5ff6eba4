#include "DesktopUrlOpener.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <memory>

#if defined(Q_OS_LINUX)
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#endif

namespace ondrel {

void DesktopUrlOpener::openUrl(const QUrl& url, std::function<void()> failed) {
#if defined(Q_OS_LINUX)
    auto* opener = new QProcess;
    opener->setProgram(QStringLiteral("xdg-open"));
    // The encoded form always begins with its scheme, so it can never read as an option.
    opener->setArguments({QString::fromLatin1(url.toEncoded())});
    auto report = std::make_shared<std::function<void()>>(std::move(failed));
    QObject::connect(opener, &QProcess::finished, opener,
                     [opener, report](int code, QProcess::ExitStatus status) {
                         if ((status != QProcess::NormalExit || code != 0) && *report)
                             (*report)();
                         opener->deleteLater();
                     });
    QObject::connect(opener, &QProcess::errorOccurred, opener,
                     [opener, report](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         if (*report)
                             (*report)();
                         opener->deleteLater();
                     });
    // Some desktops keep xdg-open running as long as the browser it started: past this it has
    // opened something, and it is left to run on its own.
    QTimer::singleShot(5000, opener, [opener] {
        opener->disconnect();
        QObject::connect(opener, &QProcess::finished, opener, &QObject::deleteLater);
    });
    opener->start();
#else
    if (!QDesktopServices::openUrl(url) && failed)
        failed();
#endif
}

void DesktopUrlOpener::showInFileViewer(const QString& path, std::function<void()> failed) {
    const QString file = QFileInfo(path).absoluteFilePath();
#if defined(Q_OS_MACOS)
    if (!QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), file}))
        UrlOpener::showInFileViewer(file, std::move(failed));
#elif defined(Q_OS_LINUX)
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(file).absolutePath());
    // No session bus at all (a bare X server, a remote shell): Qt 6.4 gives a call on it no reply
    // and its watcher never ends, so the folder opens at once instead.
    if (!QDBusConnection::sessionBus().isConnected()) {
        openUrl(folder, std::move(failed));
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(file).toString()} << QString();
    // Asynchronous: a file manager started on demand may take its time, and the window must not wait.
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    // No file manager on the bus: the folder opens instead, through xdg-open watched as any URL
    // is, so a desktop that can't open a folder either is told. The opener may be gone by then: the
    // fallback goes through an opener of its own (it holds no state).
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [folder, failed = std::move(failed)](QDBusPendingCallWatcher* w) {
                         if (QDBusPendingReply<>(*w).isError())
                             DesktopUrlOpener().openUrl(folder, failed);
                         w->deleteLater();
                     });
#else
    UrlOpener::showInFileViewer(file, std::move(failed));
#endif
}

} // namespace ondrel
