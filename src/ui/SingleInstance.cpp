#include "SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QLocalSocket>

#include <cerrno>
#include <cstring>

#include <sys/socket.h>
#include <sys/stat.h>

namespace ondrel {

namespace {

constexpr int kWaitMs = 3000;
const QByteArray kRaise = "raise";
const QByteArray kOpen = "open ";
const QString kSocketFile = QStringLiteral("ondrel-manager.socket");

// Why `folder` is no place for the socket, or "" when it is this user's alone. A symbolic link
// counts as no folder: whoever owns the link chooses where it leads.
QString privateFolderProblem(const QString& folder, uid_t uid) {
    const QByteArray native = QFile::encodeName(folder);
    struct stat info {};
    if (::lstat(native.constData(), &info) != 0)
        return QStringLiteral("%1 can't be read: %2")
            .arg(folder, QString::fromLocal8Bit(std::strerror(errno)));
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("%1 is not a folder").arg(folder);
    if (info.st_uid != uid)
        return QStringLiteral("%1 belongs to another user").arg(folder);
    if ((info.st_mode & 077) != 0)
        return QStringLiteral("%1 is open to other users (mode %2)")
            .arg(folder)
            .arg(info.st_mode & 0777, 4, 8, QLatin1Char('0'));
    return {};
}

// The user's runtime folder when it is what it should be, else a folder of our own in the
// temporary folder, made for the purpose.
InstanceSocket privateFolder(const QProcessEnvironment& env, uid_t uid) {
    const QString runtime = env.value(QStringLiteral("XDG_RUNTIME_DIR"));
    if (QDir::isAbsolutePath(runtime) && privateFolderProblem(runtime, uid).isEmpty())
        return {QDir::cleanPath(runtime), {}};
    // macOS has no runtime folder; its TMPDIR is the user's own, which the check below confirms.
    QString temp = env.value(QStringLiteral("TMPDIR"));
    if (!QDir::isAbsolutePath(temp))
        temp = QStringLiteral("/tmp");
    // Not "ondrel-manager-<uid>": earlier versions left their socket under that name.
    const QString folder = QDir::cleanPath(temp) + QStringLiteral("/ondrel-manager-runtime-%1").arg(uid);
    if (::mkdir(QFile::encodeName(folder).constData(), 0700) != 0 && errno != EEXIST)
        return {
            {},
            QStringLiteral("%1 can't be made: %2").arg(folder, QString::fromLocal8Bit(std::strerror(errno)))};
    // One that was there before is taken only as we would have made it.
    const QString problem = privateFolderProblem(folder, uid);
    if (!problem.isEmpty())
        return {{}, problem};
    return {folder, {}};
}

} // namespace

InstanceSocket SingleInstance::socketPath(const QProcessEnvironment& env, uid_t uid) {
    const QString override = env.value(QStringLiteral("ONDREL_INSTANCE_SOCKET"));
    // A path is the caller's choice (tests, a second demo); both ends still check the user.
    if (override.contains(u'/'))
        return {override, {}};
    InstanceSocket place = privateFolder(env, uid);
    if (!place.path.isEmpty())
        place.path += u'/' + (override.isEmpty() ? kSocketFile : override);
    return place;
}

std::optional<uid_t> SingleInstance::peerUid(qintptr socketDescriptor) {
    const int fd = static_cast<int>(socketDescriptor);
#if defined(Q_OS_LINUX)
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 || size != sizeof credentials)
        return std::nullopt;
    return credentials.uid;
#elif defined(Q_OS_DARWIN) || defined(Q_OS_FREEBSD) || defined(Q_OS_OPENBSD) || defined(Q_OS_NETBSD)
    uid_t uid = 0;
    gid_t gid = 0;
    if (::getpeereid(fd, &uid, &gid) != 0)
        return std::nullopt;
    return uid;
#else
    // A system that can't name the peer gets no trust.
    Q_UNUSED(fd);
    return std::nullopt;
#endif
}

SingleInstance::HandOff SingleInstance::handOff(const QString& path, const QString& url, uid_t uid) {
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(kWaitMs))
        return HandOff::noInstance;
    // Whoever else made a socket there would be handed the sign-in token.
    if (peerUid(socket.socketDescriptor()) != uid) {
        socket.abort();
        return HandOff::otherUser;
    }
    socket.write((url.isEmpty() ? kRaise : kOpen + url.toUtf8()) + '\n');
    if (!socket.waitForBytesWritten(kWaitMs))
        return HandOff::noAnswer;
    // The running one answers once it has read the line, so the message is never lost.
    return socket.waitForReadyRead(kWaitMs) && socket.readAll().startsWith("ok") ? HandOff::handedOver
                                                                                 : HandOff::noAnswer;
}

bool SingleInstance::isRunning(const QString& path, uid_t uid) {
    QLocalSocket socket;
    socket.connectToServer(path);
    if (!socket.waitForConnected(kWaitMs))
        return false;
    const bool ours = peerUid(socket.socketDescriptor()) == uid;
    socket.abort();
    return ours;
}

SingleInstance::SingleInstance(uid_t uid, QObject* parent)
    : QObject(parent)
    , m_uid(uid) {}

bool SingleInstance::listen(const QString& path) {
    // Qt moves its new socket over whatever lies at the path, so a live one is asked first: a
    // second window must not take the first one's sign-ins.
    {
        QLocalSocket probe;
        probe.connectToServer(path);
        if (probe.waitForConnected(kWaitMs)) {
            probe.abort();
            m_error = QStringLiteral("another program listens there");
            return false;
        }
    }
    // A socket left behind by a crashed instance: nobody answers on it.
    QLocalServer::removeServer(path);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(path)) {
        m_error = m_server.errorString();
        return false;
    }
    connect(&m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            // Another user's launch is told nothing and hands over nothing.
            if (peerUid(socket->socketDescriptor()) != m_uid) {
                socket->abort();
                socket->deleteLater();
                continue;
            }
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
