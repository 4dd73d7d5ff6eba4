#pragma once
// The service's endpoints, the application's fixed paths and its version strings.

#include "core/Platform.h"

#include <QString>

namespace ondrel::Constants {

namespace API {
// The service's web pages and its JSON API share one host (Endpoints::ondrelHost).
QString baseURL(const Endpoints& endpoints = Endpoints::fromEnvironment());
QString authURL(const Endpoints& endpoints = Endpoints::fromEnvironment());
QString billingURL(const Endpoints& endpoints = Endpoints::fromEnvironment());
} // namespace API

namespace Paths {
QString pluginDirectory();
// Read again each time: the home folder may change (tests point HOME elsewhere).
QString tokenFile();
} // namespace Paths

namespace App {
inline constexpr const char* version = "1.0.0";
inline constexpr const char* pluginVersion = "0.1.0-beta";
inline constexpr const char* bundleIdentifier = "com.tarnwell.ondrel-manager";
inline constexpr const char* minResolveVersion = "18";
} // namespace App

QString versionLine();

} // namespace ondrel::Constants
