#pragma once
// What the service tests share: endpoints on the fake server, a recording URL opener, and a
// record of every console line (no secret may ever reach one).

#include "core/Platform.h"
#include "core/UrlOpener.h"
#include "support/FakeHttpServer.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace ondrel::test {

Endpoints endpointsFor(const FakeHttpServer& server);

class RecordingOpener : public UrlOpener {
public:
    void openUrl(const QUrl& url, std::function<void()> failed) override {
        opened << url;
        if (refuse && failed)
            failed();
    }
    bool refuse = false; // as a desktop without a browser
    QList<QUrl> opened;
};

// Collects every qDebug/qWarning line while it lives.
class ConsoleCapture {
public:
    ConsoleCapture();
    ~ConsoleCapture();
    QStringList lines() const;
};

// Mode bits of a file or folder (0600, 0700...).
int modeOf(const QString& path);
// An executable script at `path` with the given body after "#!/bin/sh".
void writeScript(const QString& path, const QByteArray& body);

} // namespace ondrel::test
