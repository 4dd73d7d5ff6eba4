#pragma once
// Hands a URL to the desktop (the browser, the file viewer). One process-wide opener that the
// application may replace; tests put a recording one in its place.

#include <QString>
#include <QUrl>

#include <functional>

namespace ondrel {

class UrlOpener {
public:
    virtual ~UrlOpener() = default;

    // `failed` runs when the desktop could not open the URL (no opener, no browser), at once or a
    // moment later; a caller that waits on the browser uses it to stop waiting and say so.
    virtual void openUrl(const QUrl& url, std::function<void()> failed = {}) = 0;
    // Opens the folder that holds the file (a folder opens itself); a desktop with a richer
    // file viewer may select the file instead. `failed` runs when nothing could show it.
    virtual void showInFileViewer(const QString& path, std::function<void()> failed = {});

    // The opener in force: the one set last, or the built-in one that starts the platform's
    // opener program detached.
    static UrlOpener* system();
    // Not owned; nullptr brings the built-in one back.
    static void setDefault(UrlOpener* opener);
};

} // namespace ondrel
