#pragma once
// Platform-bound values in one place, so a macOS build is a matter of the platform switch.

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace ondrel {

struct ToolPaths {
    QString ffmpeg;
    QString ffprobe;
    QString python3;
    QString unzip;

    static ToolPaths platformDefault();
};

struct AppPaths {
    QString home;
    QString cacheDir;   // probe cache, segments.json, extracted audio, chunks, transcripts
    QString exportsDir; // exports/{timeline}/...
    QString tokenFile;
    QString pluginDir;
    QString resolveScriptApi;
    QString resolveScriptLib; // the Modules folder: PYTHONPATH of every Resolve program

    QString zshrc() const { return home + QStringLiteral("/.zshrc"); }
    QString legacyCacheRoot() const { return home + QStringLiteral("/.talequarry"); }
    QString transcriptsDir() const { return cacheDir + QStringLiteral("/transcripts"); }
    // exports/<timeline>/: the export bundle and the saved project of one timeline. The name
    // becomes a folder name that stays inside the exports folder (folderNameFor).
    QString exportDirFor(const QString& timeline) const;

    // The real locations for the current user. ONDREL_RESOLVE_SCRIPT_API and
    // ONDREL_RESOLVE_SCRIPT_LIB replace Resolve's scripting folders and ONDREL_PLUGIN_DIR the
    // plugin folder, so a stand-in Resolve and a plugin folder of the user's own can be used (the
    // demo, tests); the home and its XDG folders come from HOME and XDG_*.
    static AppPaths platformDefault(const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment());
    // Every user-owned folder under `home`, laid out as on this platform (tests use a temp home).
    static AppPaths forHome(const QString& home);
};

// Hosts of the three services; requests append their own paths.
struct Endpoints {
    QString openaiHost;    // + "/v1/audio/transcriptions"
    QString anthropicHost; // + "/v1/messages"
    QString ondrelHost;    // + "/api/v1" + endpoint

    QString transcriptionsUrl() const { return openaiHost + QStringLiteral("/v1/audio/transcriptions"); }
    QString messagesUrl() const { return anthropicHost + QStringLiteral("/v1/messages"); }
    QString apiBase() const { return ondrelHost + QStringLiteral("/api/v1"); }

    // Read the way each vendor's SDK reads its own base-URL variable.
    static Endpoints
    fromEnvironment(const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment());
};

} // namespace ondrel
