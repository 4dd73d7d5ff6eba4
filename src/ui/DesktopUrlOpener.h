#pragma once
#include "core/UrlOpener.h"

namespace ondrel {

// The desktop's own way to open a URL (the default browser, the file manager).
class DesktopUrlOpener : public UrlOpener {
public:
    void openUrl(const QUrl& url) override;
};

} // namespace ondrel
