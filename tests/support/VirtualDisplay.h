#pragma once
// An X server of our own for what must be seen in a real window (xcb, the default OpenGL scene
// graph on Mesa): Xvfb on a display it picks itself, so parallel tests never share one, reachable
// only with a cookie in a private authority file. Start it before the QGuiApplication exists.

#include <QString>
#include <QTemporaryDir>

#include <sys/types.h>

#include <memory>

namespace ondrel::test {

class VirtualDisplay {
public:
    // Starts Xvfb with one screen of `screenSize` ("1600x1200x24") and points DISPLAY and
    // XAUTHORITY at it. Null with the reason in `error` when the server does not come up.
    static std::unique_ptr<VirtualDisplay> start(const QString& screenSize, QString* error);
    ~VirtualDisplay();

    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    QString name() const { return m_name; }

private:
    VirtualDisplay() = default;
    QTemporaryDir m_dir;
    pid_t m_pid = -1;
    QString m_name;
};

} // namespace ondrel::test
