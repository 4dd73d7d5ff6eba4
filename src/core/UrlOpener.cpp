#include "UrlOpener.h"

#include <QFileInfo>
#include <QProcess>

namespace ondrel {

namespace {

class DesktopOpener : public UrlOpener {
public:
    void openUrl(const QUrl& url, std::function<void()> failed) override {
#ifdef Q_OS_MACOS
        const QString program = QStringLiteral("/usr/bin/open");
#else
        const QString program = QStringLiteral("xdg-open");
#endif
        // The encoded form always begins with its scheme, so it can never read as an option.
        if (!QProcess::startDetached(program, {QString::fromLatin1(url.toEncoded())}) && failed)
            failed();
    }
};

DesktopOpener& builtIn() {
    static DesktopOpener opener;
    return opener;
}

UrlOpener* g_current = nullptr;

} // namespace

void UrlOpener::showInFileViewer(const QString& path, std::function<void()> failed) {
    const QFileInfo info(path);
    openUrl(QUrl::fromLocalFile(info.isDir() ? info.absoluteFilePath() : info.absolutePath()),
            std::move(failed));
}

UrlOpener* UrlOpener::system() {
    return g_current ? g_current : &builtIn();
}

void UrlOpener::setDefault(UrlOpener* opener) {
    g_current = opener;
}

} // namespace ondrel
