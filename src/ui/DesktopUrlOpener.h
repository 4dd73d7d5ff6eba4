#pragma once
#include "core/UrlOpener.h"

namespace ondrel {

// The desktop's own way to open a URL (the default browser, the file manager).
class DesktopUrlOpener : public UrlOpener {
public:
    void openUrl(const QUrl& url) override;
    // The file manager with the file selected: on Linux through the freedesktop FileManager1
    // service, on macOS through Finder; the folder alone when neither answers.
    void showInFileViewer(const QString& path) override;
};

} // namespace ondrel
