#pragma once
#include <QUrl>

namespace ondrel {

// The window's root QML file (Qt 6.4 has no loadFromModule, so it loads by URL).
QUrl mainQmlUrl();

} // namespace ondrel
