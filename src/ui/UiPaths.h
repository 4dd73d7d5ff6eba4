#pragma once
#include <QUrl>

class QQmlEngine;

namespace ondrel {

// The window's root QML file (Qt 6.4 has no loadFromModule, so it loads by URL).
QUrl mainQmlUrl();
// Lets an engine find the screens' module (Qt 6.4 does not look in the resources by itself).
void prepareEngine(QQmlEngine& engine);
// Any file of the screens' module by its path in qml/ ("Account/SignInView.qml").
QUrl qmlFileUrl(const QString& path);

} // namespace ondrel
