#include "Constants.h"

namespace ondrel::Constants {

QString versionLine() {
    return QStringLiteral("Ondrel Manager ") + QLatin1String(App::version);
}

} // namespace ondrel::Constants
