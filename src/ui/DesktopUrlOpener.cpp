#include "DesktopUrlOpener.h"

#include <QDesktopServices>

namespace ondrel {

void DesktopUrlOpener::openUrl(const QUrl& url) {
    QDesktopServices::openUrl(url);
}

} // namespace ondrel
