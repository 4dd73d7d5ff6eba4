#pragma once
#include <QString>

namespace ondrel::Constants {

namespace App {
inline constexpr const char* version = "1.0.0";
inline constexpr const char* pluginVersion = "0.1.0-beta";
inline constexpr const char* bundleIdentifier = "com.tarnwell.ondrel-manager";
inline constexpr const char* minResolveVersion = "18";
} // namespace App

QString versionLine();

} // namespace ondrel::Constants
