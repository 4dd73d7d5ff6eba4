#pragma once
#include "core/UrlOpener.h"

namespace ondrel {

// The desktop's own way to open a URL (the default browser, the file manager).
class DesktopUrlOpener : public UrlOpener {
public:
    // On Linux xdg-open is watched for a few seconds: it ends at once with a failure status when
    // the desktop has no browser for the URL.
    void openUrl(const QUrl& url, std::function<void()> failed = {}) override;
    // The file manager with the file selected: on Linux through the freedesktop FileManager1
    // service, on macOS through Finder; the folder alone when neither answers, and `failed` when
    // nothing opens that either.
    void showInFileViewer(const QString& path, std::function<void()> failed = {}) override;
};

} // namespace ondrel
