#include "Constants.h"

namespace ondrel::Constants {

namespace API {

QString baseURL(const Endpoints& endpoints) {
    return endpoints.apiBase();
}

QString authURL(const Endpoints& endpoints) {
    return endpoints.ondrelHost + QStringLiteral("/plugin-auth?callback=ondrel-manager://callback");
}

QString billingURL(const Endpoints& endpoints) {
    return endpoints.ondrelHost + QStringLiteral("/billing");
}

} // namespace API

namespace Paths {

QString pluginDirectory() {
    return AppPaths::platformDefault().pluginDir;
}

QString tokenFile() {
    return AppPaths::platformDefault().tokenFile;
}

} // namespace Paths

QString versionLine() {
    return QStringLiteral("Ondrel Manager ") + QLatin1String(App::version);
}

} // namespace ondrel::Constants
