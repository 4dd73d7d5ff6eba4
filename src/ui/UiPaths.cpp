#include "UiPaths.h"

#include <QQmlEngine>

namespace ondrel {

QUrl qmlFileUrl(const QString& path) {
    return QUrl(QStringLiteral("qrc:/Ondrel/Ui/") + path);
}

void prepareEngine(QQmlEngine& engine) {
    engine.addImportPath(QStringLiteral("qrc:/"));
}

QUrl mainQmlUrl() {
    return qmlFileUrl(QStringLiteral("Main.qml"));
}

} // namespace ondrel
