#include "DesktopUrlOpener.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>

#if defined(Q_OS_LINUX)
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#endif

namespace ondrel {

void DesktopUrlOpener::openUrl(const QUrl& url) {
    QDesktopServices::openUrl(url);
}

void DesktopUrlOpener::showInFileViewer(const QString& path) {
    const QString file = QFileInfo(path).absoluteFilePath();
#if defined(Q_OS_MACOS)
    if (!QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), file}))
        UrlOpener::showInFileViewer(file);
#elif defined(Q_OS_LINUX)
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(file).toString()} << QString();
    // Asynchronous: a file manager started on demand may take its time, and the window must not wait.
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    // No file manager on the bus: the folder opens instead. The opener may be gone by then, so the
    // fallback doesn't go through it.
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [file](QDBusPendingCallWatcher* w) {
        if (QDBusPendingReply<>(*w).isError())
            QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()));
        w->deleteLater();
    });
#else
    UrlOpener::showInFileViewer(file);
#endif
}

} // namespace ondrel
