#include "UiPaths.h"

namespace ondrel {

QUrl mainQmlUrl() {
    return QUrl(QStringLiteral("qrc:/ondrel/qml/Main.qml"));
}

} // namespace ondrel
