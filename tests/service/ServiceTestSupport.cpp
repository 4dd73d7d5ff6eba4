#include "ServiceTestSupport.h"

#include "support/TestEnv.h"

#include <QFile>

#include <sys/stat.h>

namespace ondrel::test {

namespace {
QStringList g_lines;
QtMessageHandler g_previous = nullptr;

void record(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    g_lines << text;
    if (g_previous)
        g_previous(type, context, text);
}
} // namespace

Endpoints endpointsFor(const FakeHttpServer& server) {
    Endpoints e;
    e.openaiHost = e.anthropicHost = e.ondrelHost = server.baseUrl();
    return e;
}

ConsoleCapture::ConsoleCapture() {
    g_lines.clear();
    g_previous = qInstallMessageHandler(record);
}

ConsoleCapture::~ConsoleCapture() {
    qInstallMessageHandler(g_previous);
}

QStringList ConsoleCapture::lines() const {
    return g_lines;
}

int modeOf(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return int(st.st_mode & 07777);
}

void writeScript(const QString& path, const QByteArray& body) {
    writeFile(path, "#!/bin/sh\n" + body + "\n");
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

} // namespace ondrel::test
