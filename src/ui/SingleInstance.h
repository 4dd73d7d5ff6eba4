#pragma once
// One running application per user: a second launch hands its sign-in URL (or a request to show
// the window) to the first over a local socket and exits.
//
// The socket carries sign-in tokens, so it lies where only this user can reach it, and each side
// checks that the other runs as the same user before it trusts it.

#include <QLocalServer>
#include <QObject>
#include <QProcessEnvironment>

#include <optional>

#include <sys/types.h>
#include <unistd.h>

namespace ondrel {

// Where the socket lies: a full path, or why there is none to trust.
struct InstanceSocket {
    QString path;
    QString problem;
};

class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class HandOff {
        noInstance, // nobody listens: this launch becomes the running one
        handedOver, // the running one has the URL
        otherUser,  // a listener of another user: it was told nothing
        noAnswer,   // a listener of ours that did not take the URL
    };

    // `$XDG_RUNTIME_DIR/ondrel-manager.socket` when that folder is the user's own and closed to
    // others; otherwise `<TMPDIR or /tmp>/ondrel-manager-runtime-<uid>/ondrel-manager.socket` in a
    // folder made 0700 and refused when it belongs to someone else or is open to others.
    // ONDREL_INSTANCE_SOCKET overrides it: a path as it is, a bare name inside that private folder.
    static InstanceSocket
    socketPath(const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment(),
               uid_t uid = ::getuid());

    // Hands `url` (empty: "show yourself") to a running instance of user `uid`. Works before any
    // application object exists.
    static HandOff handOff(const QString& path, const QString& url, uid_t uid = ::getuid());
    // Whether an instance of user `uid` listens there; it is told nothing.
    static bool isRunning(const QString& path, uid_t uid = ::getuid());

    // The user at the other end of a connected local socket; none when the system can't tell.
    static std::optional<uid_t> peerUid(qintptr socketDescriptor);

    // Connections from users other than `uid` are dropped unread.
    explicit SingleInstance(uid_t uid = ::getuid(), QObject* parent = nullptr);

    // Becomes the running instance; false when the socket cannot be made.
    bool listen(const QString& path);
    // Why `listen` failed.
    QString errorString() const { return m_error; }

signals:
    void urlReceived(const QString& url);
    void raiseRequested();

private:
    uid_t m_uid;
    QLocalServer m_server;
    QString m_error;
};

} // namespace ondrel
