#include "Platform.h"

#include "Files.h"

#include <QDir>
#include <QStandardPaths>

namespace ondrel {

namespace {
#ifdef Q_OS_MACOS
constexpr bool kMac = true;
#else
constexpr bool kMac = false;
#endif
} // namespace

ToolPaths ToolPaths::platformDefault() {
    const QString bin = kMac ? QStringLiteral("/opt/homebrew/bin/") : QStringLiteral("/usr/bin/");
    return {bin + "ffmpeg", bin + "ffprobe", bin + "python3", QStringLiteral("/usr/bin/unzip")};
}

AppPaths AppPaths::forHome(const QString& home) {
    AppPaths p;
    p.home = home;
    if (kMac) {
        p.cacheDir = home + "/Library/Caches/OndrelManager";
        p.exportsDir = home + "/Library/Application Support/OndrelManager/exports";
        p.pluginDir = "/Library/Application Support/Blackmagic Design/DaVinci Resolve/Workflow Integration "
                      "Plugins/com.tarnwell.ondrel";
        p.resolveScriptApi =
            "/Library/Application Support/Blackmagic Design/DaVinci Resolve/Developer/Scripting";
    } else {
        p.cacheDir = home + "/.cache/OndrelManager";
        p.exportsDir = home + "/.local/share/OndrelManager/exports";
        p.pluginDir = "/opt/resolve/Workflow Integration Plugins/com.tarnwell.ondrel";
        p.resolveScriptApi = "/opt/resolve/Developer/Scripting";
    }
    p.resolveScriptLib = p.resolveScriptApi + "/Modules";
    p.tokenFile = home + "/.ondrel/token.json";
    return p;
}

QString AppPaths::exportDirFor(const QString& timeline) const {
    return exportsDir + QLatin1Char('/') + folderNameFor(timeline);
}

AppPaths AppPaths::platformDefault(const QProcessEnvironment& env) {
    AppPaths p = forHome(QDir::homePath());
    if (const QString api = env.value(QStringLiteral("ONDREL_RESOLVE_SCRIPT_API")); !api.isEmpty()) {
        p.resolveScriptApi = api;
        p.resolveScriptLib = api + QStringLiteral("/Modules");
    }
    if (const QString lib = env.value(QStringLiteral("ONDREL_RESOLVE_SCRIPT_LIB")); !lib.isEmpty())
        p.resolveScriptLib = lib;
    if (const QString plugin = env.value(QStringLiteral("ONDREL_PLUGIN_DIR")); !plugin.isEmpty())
        p.pluginDir = plugin;
    // Honour XDG overrides where the platform has them.
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!kMac && !cache.isEmpty())
        p.cacheDir = cache + "/OndrelManager";
    if (!data.isEmpty())
        p.exportsDir = data + "/OndrelManager/exports";
    return p;
}

Endpoints Endpoints::fromEnvironment(const QProcessEnvironment& env) {
    auto trimSlash = [](QString s) {
        while (s.endsWith('/'))
            s.chop(1);
        return s;
    };
    Endpoints e;
    QString openai = trimSlash(env.value("OPENAI_BASE_URL"));
    if (openai.isEmpty())
        openai = "https://api.openai.com/v1";
    if (openai.endsWith("/v1"))
        openai.chop(3);
    e.openaiHost = openai;
    QString anthropic = trimSlash(env.value("ANTHROPIC_BASE_URL"));
    e.anthropicHost = anthropic.isEmpty() ? QStringLiteral("https://api.anthropic.com") : anthropic;
    QString ondrel = trimSlash(env.value("ONDREL_API_URL"));
    e.ondrelHost = ondrel.isEmpty() ? QStringLiteral("https://ondrel.app") : ondrel;
    return e;
}

} // namespace ondrel
