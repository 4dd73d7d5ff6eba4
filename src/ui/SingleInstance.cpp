#include "SingleInstance.h"

#include <QLocalSocket>

#include <unistd.h>

namespace ondrel {

namespace {
constexpr int kWaitMs = 3000;
const QByteArray kRaise = "raise";
const QByteArray kOpen = "open ";
} // namespace

QString SingleInstance::socketName(const QProcessEnvironment& env) {
    const QString override = env.value(QStringLiteral("ONDREL_INSTANCE_SOCKET"));
    if (!override.isEmpty())
        return override;
    return QStringLiteral("ondrel-manager-%1").arg(::getuid());
}

bool SingleInstance::handOff(const QString& name, const QString& url) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(kWaitMs))
        return false;
    socket.write((url.isEmpty() ? kRaise : kOpen + url.toUtf8()) + '\n');
    if (!socket.waitForBytesWritten(kWaitMs))
        return false;
    // The running one answers once it has read the line, so the message is never lost.
    return socket.waitForReadyRead(kWaitMs) && socket.readAll().startsWith("ok");
}

bool SingleInstance::listen(const QString& name) {
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(name)) {
        // A socket left behind by a crashed instance: nobody answers on it.
        QLocalServer::removeServer(name);
        if (!m_server.listen(name))
            return false;
    }
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                if (!socket->canReadLine())
                    return;
                const QByteArray line = socket->readLine().trimmed();
                socket->write("ok\n");
                socket->flush();
                if (line.startsWith(kOpen))
                    emit urlReceived(QString::fromUtf8(line.mid(kOpen.size())));
                else
                    emit raiseRequested();
            });
        }
    });
    return true;
}

} // namespace ondrel
