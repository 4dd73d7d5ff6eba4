#pragma once
// One running application per user: a second launch hands its sign-in URL (or a request to show
// the window) to the first over a local socket and exits.

#include <QLocalServer>
#include <QObject>
#include <QProcessEnvironment>

namespace ondrel {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    // The user's socket name; ONDREL_INSTANCE_SOCKET overrides it (tests, the demo).
    static QString socketName(const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment());

    // Hands `url` (empty: "show yourself") to a running instance; true when one took it. Works
    // before any application object exists.
    static bool handOff(const QString& name, const QString& url);

    // Becomes the running instance; false when the socket cannot be made.
    bool listen(const QString& name);

signals:
    void urlReceived(const QString& url);
    void raiseRequested();

private:
    QLocalServer m_server;
};

} // namespace ondrel
