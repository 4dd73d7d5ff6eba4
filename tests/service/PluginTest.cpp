#include "ServiceTestSupport.h"

#include "service/AdminShell.h"
#include "service/PluginManager.h"
#include "service/UpdateManager.h"
#include "support/TestEnv.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <QCoroTask>

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::test;

namespace {

std::shared_ptr<AdminShell> plainShell() {
    return std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::plainShell);
}

// A stand-in for pkexec: `body` decides what the password prompt does.
std::shared_ptr<AdminShell> fakePkexec(const QString& dir, const QByteArray& body) {
    const QString path = dir + "/pkexec";
    writeScript(path, body);
    return std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::pkexec, path);
}

QStringList filesIn(const QString& dir) {
    return QDir(dir).entryList(QDir::Files, QDir::Name);
}

// A zip holding com.tarnwell.ondrel/ with the given version, made with Python's zipfile.
QByteArray pluginZip(const QString& dir, const QString& version) {
    const QString zip = dir + "/made.zip";
    const QString code =
        "import sys, zipfile\n"
        "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
        "    z.writestr('com.tarnwell.ondrel/version.json', '{\"version\":\"' + sys.argv[2] + '\"}')\n"
        "    z.writestr('com.tarnwell.ondrel/main.js', '// plugin')\n";
    EXPECT_EQ(QProcess::execute("python3", {"-c", code, zip, version}), 0);
    return readFile(zip);
}

} // namespace

// A plugin folder whose path holds a space and a quote, written through the test shell.
TEST(PluginManager, InstallReinstallAndUninstall) {
    QTemporaryDir tmp;
    const QString plugin = tmp.path() + "/Workflow Integration's Plugins/com.tarnwell.ondrel";
    const QString resources = tmp.path() + "/share/ondrel-manager";
    writeFile(resources + "/plugin/version.json", R"({"version":"0.3.0"})");
    writeFile(resources + "/plugin/main.js", "// plugin");

    PluginManager manager(plugin, plainShell(), resources);
    EXPECT_FALSE(manager.isInstalled());
    EXPECT_FALSE(manager.installedVersion().has_value());

    QCoro::waitFor(manager.install());
    EXPECT_EQ(manager.statusMessageText(), "Plugin installed successfully!");
    EXPECT_FALSE(manager.errorMessage().has_value());
    EXPECT_FALSE(manager.isLoading());
    EXPECT_TRUE(manager.isInstalled());
    EXPECT_EQ(manager.installedVersion(), "0.3.0");
    EXPECT_EQ(filesIn(plugin), QStringList({"main.js", "version.json"}));

    // Installing over a plugin leaves files the new one lacks; only reinstall clears them.
    writeFile(plugin + "/stale.js", "old");
    QCoro::waitFor(manager.install());
    EXPECT_TRUE(QFile::exists(plugin + "/stale.js"));
    QCoro::waitFor(manager.reinstall());
    EXPECT_EQ(filesIn(plugin), QStringList({"main.js", "version.json"}));

    writeFile(plugin + "/version.json", "{broken");
    manager.detectInstallation();
    EXPECT_EQ(manager.installedVersion(), "Unknown");

    QCoro::waitFor(manager.uninstall());
    EXPECT_EQ(manager.statusMessageText(), "Plugin uninstalled.");
    EXPECT_FALSE(QFileInfo::exists(plugin));
    EXPECT_FALSE(manager.isInstalled());

    // Without the bundled folder the install writes the stand-by plugin.
    QDir(resources + "/plugin").removeRecursively();
    QCoro::waitFor(manager.install());
    EXPECT_EQ(manager.installedVersion(), "0.1.0-beta");
    EXPECT_EQ(readFile(plugin + "/version.json"), "{\"version\":\"0.1.0-beta\"}\n");
    EXPECT_EQ(readFile(plugin + "/manifest.json"), "{\"name\":\"Ondrel\",\"version\":\"0.1.0-beta\"}\n");

    // The build tree carries the bundled plugin where a binary built in it looks, at the
    // version the application names.
    EXPECT_EQ(readFile(PluginManager::bundledResourceDir() + "/plugin/version.json"),
              "{\"version\":\"0.1.0-beta\"}\n");

    PluginManager noResources(plugin, plainShell(), tmp.path() + "/missing");
    QCoro::waitFor(noResources.install());
    EXPECT_EQ(noResources.errorMessageText(), "Plugin files not found in app bundle");
    EXPECT_FALSE(noResources.statusMessage().has_value());
}

// What the password prompt's outcomes read as, for the installer and the updater.
TEST(AdminShell, RefusedPromptTexts) {
    QTemporaryDir tmp;
    struct Case {
        const char* name;
        QByteArray pkexec; // body of the stand-in; "" leaves it missing
        QString installText;
        QString updateText;
    } cases[] = {
        {"dismissed prompt", "exit 126", "Installation failed: exit status 126",
         "Install failed: exit status 126"},
        {"not authorized",
         "echo 'Error executing command as another user: Not authorized' >&2\necho >&2\n"
         "echo 'This incident has been reported.' >&2\nexit 127",
         "Installation failed: Error executing command as another user: Not authorized\n\nThis incident has "
         "been "
         "reported.",
         "Install failed: Error executing command as another user: Not authorized\n\nThis incident has been "
         "reported."},
        {"no pkexec", "", "Installation failed: Could not create AppleScript",
         "Install failed: Could not run installer"},
    };
    const QString resources = tmp.path() + "/resources";
    QDir().mkpath(resources + "/plugin");
    const QString plugin = tmp.path() + "/plugins/com.tarnwell.ondrel";
    writeFile(plugin + "/version.json", R"({"version":"0.1.0"})");
    FakeHttpServer server;
    server.respondJson("/api/v1/version", 200,
                       R"({"version":"9.0.0","download_url":")" + server.baseUrl().toUtf8() +
                           R"(/plugin.zip"})");
    server.enqueue("/plugin.zip", {200, pluginZip(tmp.path(), "9.0.0"), "application/zip"});

    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QString dir = tmp.path() + "/" + c.name;
        QDir().mkpath(dir);
        auto shell = c.pkexec.isEmpty() ? std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::pkexec,
                                                                              dir + "/pkexec")
                                        : fakePkexec(dir, c.pkexec);

        PluginManager manager(plugin, shell, resources);
        QCoro::waitFor(manager.reinstall());
        EXPECT_EQ(manager.errorMessageText(), c.installText);
        EXPECT_FALSE(manager.statusMessage().has_value());
        EXPECT_TRUE(manager.isInstalled());

        UpdateManager updater({endpointsFor(server), plugin, shell, "/usr/bin/unzip", dir + "/work"});
        QCoro::waitFor(updater.checkForUpdates());
        QCoro::waitFor(updater.downloadAndInstall());
        EXPECT_EQ(updater.errorMessageText(), c.updateText);
        EXPECT_EQ(updater.downloadProgress(), 0.8);
        EXPECT_FALSE(updater.isDownloading());
        // The shell never ran: the old plugin is as it was, the work folder stays for a look.
        EXPECT_EQ(readFile(plugin + "/version.json"), R"({"version":"0.1.0"})");
        EXPECT_EQ(modeOf(dir + "/work"), 0700);
    }

    // pkexec is handed "/bin/sh -c <text>"; osascript the text inside an AppleScript string.
    const QString argsFile = tmp.path() + "/args";
    auto recording = fakePkexec(tmp.path(), "printf '%s|' \"$@\" > '" + argsFile.toUtf8() + "'");
    QCoro::waitFor(recording->run("echo 'it''s'"));
    EXPECT_EQ(readFile(argsFile), "/bin/sh|-c|echo 'it''s'|");
    EXPECT_EQ(ProcessAdminShell(ProcessAdminShell::Kind::osascript).arguments(R"(echo "a\b" 'c')"),
              QStringList({"-e", R"(do shell script "echo \"a\\b\" 'c'" with administrator privileges)"}));
}

TEST(UpdateManager, VersionComparison) {
    struct Case {
        const char* a;
        const char* b;
        bool newer;
    } cases[] = {
        {"1.10.0", "1.9.9", true},
        {"1.9.9", "1.10.0", false},
        {"1.0", "1.0.0", false},
        {"1.0.0", "1.0", false},
        {"0.2.0-beta", "0.1.0-beta", true},
        {"0.1.0", "0.1.0-beta", false},
        {"1.0.1-rc1", "1.0.0", false},
        {"latest", "0.0.1", false},
        {"0.0.1", "latest", true},
        {"2..1", "2.0.9", true},
        {"+3", "2", true},
        {"99999999999999999999", "0.2", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(UpdateManager::isNewerVersion(c.a, c.b), c.newer) << c.a << " vs " << c.b;
}

// Check, download a real zip, unpack it and replace the plugin, over a plugin folder whose path
// holds a space and a quote and whose version file is missing.
TEST(UpdateManager, CheckDownloadAndInstall) {
    QTemporaryDir tmp;
    const QString plugin = tmp.path() + "/Resolve's Plugins/com.tarnwell.ondrel";
    writeFile(plugin + "/old.js", "old");
    const QString work = tmp.path() + "/cache/ondrel-update";
    writeFile(work + "/extracted/com.tarnwell.ondrel/planted.js", "left from an earlier run");

    FakeHttpServer server;
    const QByteArray zipUrl = server.baseUrl().toUtf8() + "/get/plugin.zip";
    // One answer per check, in order: the update, the same again once it is in, one without a zip.
    for (int round = 0; round < 2; ++round)
        server.respondJson("/api/v1/version", 200,
                           R"({"version":"0.2.0","download_url":")" + zipUrl +
                               R"(","release_notes":"Faster."})");
    server.respondJson("/api/v1/version", 200, R"({"version":"0.3.0"})");
    server.respondJson("/api/v1/version", 200, R"({"version":"0.4.0","download_url":")" + zipUrl + R"("})");
    server.enqueue("/get/plugin.zip", {200, pluginZip(tmp.path(), "0.2.0"), "application/zip"});

    UpdateManager updater({endpointsFor(server), plugin, plainShell(), "/usr/bin/unzip", work});
    // A plugin folder without its version file holds no version anyone can name.
    EXPECT_EQ(updater.installedVersion(), "Unknown");
    QStringList statuses;
    QList<double> progress;
    QObject::connect(&updater, &UpdateManager::statusMessageChanged,
                     [&] { statuses << updater.statusMessageText(); });
    QObject::connect(&updater, &UpdateManager::downloadProgressChanged,
                     [&] { progress << updater.downloadProgress(); });

    QCoro::waitFor(updater.checkForUpdates());
    EXPECT_TRUE(updater.updateAvailable());
    EXPECT_EQ(updater.latestVersion(), "0.2.0");
    EXPECT_EQ(updater.releaseNotes(), "Faster.");
    QCoro::waitFor(updater.downloadAndInstall());
    EXPECT_FALSE(updater.errorMessage().has_value()) << updater.errorMessageText().toStdString();
    EXPECT_EQ(statuses, QStringList({"Checking for updates...", "Update available!", "Downloading update...",
                                     "Installing update...",
                                     "Update installed! Restart DaVinci Resolve to apply changes."}));
    EXPECT_EQ(progress, QList<double>({0.5, 0.8, 1.0}));
    EXPECT_FALSE(updater.updateAvailable());
    EXPECT_FALSE(updater.isDownloading());
    EXPECT_EQ(filesIn(plugin), QStringList({"main.js", "version.json"}));
    EXPECT_EQ(readFile(plugin + "/version.json"), R"({"version":"0.2.0"})");
    // Copied by root, the plugin must still be readable by Resolve running as the user.
    EXPECT_EQ(modeOf(plugin + "/main.js") & 0044, 0044);
    EXPECT_EQ(modeOf(plugin) & 0055, 0055);
    EXPECT_EQ(updater.installedVersion(), "0.2.0");
    EXPECT_FALSE(QFileInfo::exists(work));

    // The same version is in place now: the next check, and the next start's, offers nothing.
    statuses.clear();
    QCoro::waitFor(updater.checkForUpdates());
    EXPECT_FALSE(updater.updateAvailable());
    EXPECT_EQ(statuses, QStringList({"Checking for updates...", ""}));
    EXPECT_EQ(UpdateManager({endpointsFor(server), plugin, plainShell(), "/usr/bin/unzip", work})
                  .installedVersion(),
              "0.2.0");

    QCoro::waitFor(updater.checkForUpdates());
    EXPECT_TRUE(updater.updateAvailable());
    QCoro::waitFor(updater.downloadAndInstall());
    EXPECT_EQ(updater.errorMessageText(), "No download URL available");

    UpdateManager noUnzip({endpointsFor(server), plugin, plainShell(), tmp.path() + "/no-unzip", work});
    QCoro::waitFor(noUnzip.checkForUpdates());
    QCoro::waitFor(noUnzip.downloadAndInstall());
    EXPECT_FALSE(noUnzip.errorMessageText().isEmpty());
    EXPECT_FALSE(noUnzip.statusMessage().has_value());
    EXPECT_EQ(noUnzip.downloadProgress(), 0.5);
    EXPECT_TRUE(QFile::exists(work + "/plugin-update.zip"));

    // An error page is no plugin: the download fails with the server's status and words.
    server.answerAlways("/get/plugin.zip", {404, "no such release", "text/plain"});
    UpdateManager missing({endpointsFor(server), plugin, plainShell(), "/usr/bin/unzip", work});
    QCoro::waitFor(missing.checkForUpdates());
    QCoro::waitFor(missing.downloadAndInstall());
    EXPECT_EQ(missing.errorMessageText(), "Download failed: HTTP 404: no such release");
    EXPECT_EQ(missing.downloadProgress(), 0.0);

    FakeHttpServer down;
    down.enqueue("/api/v1/version", ScriptedResponse{200, "", "application/json", 0, true});
    UpdateManager offline({endpointsFor(down), plugin, plainShell(), "/usr/bin/unzip", work});
    QCoro::waitFor(offline.checkForUpdates());
    EXPECT_EQ(offline.errorMessageText(), "Network error: The network connection was lost.");
    EXPECT_FALSE(offline.updateAvailable());
    EXPECT_FALSE(offline.isChecking());
}

// A first update, before any plugin or even Resolve's plugin folder exists: the plugin lands as its
// own folder, not as loose files in a new plugin folder, and from then on the screen and the check
// go by the version that is in place.
TEST(UpdateManager, AFirstUpdateMakesThePluginFolderAndItsParents) {
    QTemporaryDir tmp;
    QDir().mkpath(tmp.path() + "/Resolve's Support");
    const QString parent = tmp.path() + "/Resolve's Support/Workflow Integration Plugins";
    const QString plugin = parent + "/com.tarnwell.ondrel";
    const QString work = tmp.path() + "/cache/ondrel-update";
    FakeHttpServer server;
    const QByteArray zipUrl = server.baseUrl().toUtf8() + "/plugin.zip";
    server.answerAlways("/api/v1/version", {200, R"({"version":"0.2.0","download_url":")" + zipUrl + R"("})",
                                            "application/json"});
    server.enqueue("/plugin.zip", {200, pluginZip(tmp.path(), "0.2.0"), "application/zip"});

    UpdateManager updater({endpointsFor(server), plugin, plainShell(), "/usr/bin/unzip", work});
    // Nothing installed: the version the application carries stands in.
    EXPECT_EQ(updater.installedVersion(), "0.1.0-beta");
    QCoro::waitFor(updater.checkForUpdates());
    ASSERT_TRUE(updater.updateAvailable());
    QCoro::waitFor(updater.downloadAndInstall());
    EXPECT_FALSE(updater.errorMessage().has_value()) << updater.errorMessageText().toStdString();
    EXPECT_EQ(QDir(parent).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList({"com.tarnwell.ondrel"}));
    EXPECT_EQ(filesIn(plugin), QStringList({"main.js", "version.json"}));
    EXPECT_EQ(updater.installedVersion(), "0.2.0");

    UpdateManager nextStart({endpointsFor(server), plugin, plainShell(), "/usr/bin/unzip", work});
    EXPECT_EQ(nextStart.installedVersion(), "0.2.0");
    QCoro::waitFor(nextStart.checkForUpdates());
    EXPECT_FALSE(nextStart.updateAvailable());
}

// An update that would leave no plugin in place says so, and one that can't be a plugin never
// removes the plugin that works.
TEST(UpdateManager, AnInstallThatLeavesNoPluginFails) {
    QTemporaryDir tmp;
    const QString doNothing = tmp.path() + "/fake-sh";
    writeScript(doNothing, "exit 0");
    const QString zipNoVersion = tmp.path() + "/no-version.zip";
    ASSERT_EQ(QProcess::execute("python3", {"-c",
                                            "import sys, zipfile\n"
                                            "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
                                            "    z.writestr('com.tarnwell.ondrel/main.js', '// plugin')\n",
                                            zipNoVersion}),
              0);
    struct Case {
        const char* name;
        QByteArray zip;
        std::shared_ptr<AdminShell> shell;
        QByteArray oldVersionFile; // "" for no plugin before the update
        QString error;
    } cases[] = {
        {"a zip without the plugin's version file", readFile(zipNoVersion), plainShell(),
         R"({"version":"0.1.0"})", "Install failed: the update holds no com.tarnwell.ondrel/version.json"},
        {"a copy that put nothing in place", pluginZip(tmp.path(), "0.2.0"),
         std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::plainShell, doNothing), "",
         "Install failed: %1 holds no version.json after the copy"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QString plugin = tmp.path() + "/" + c.name + "/plugins/com.tarnwell.ondrel";
        if (!c.oldVersionFile.isEmpty())
            writeFile(plugin + "/version.json", c.oldVersionFile);
        FakeHttpServer server;
        server.respondJson("/api/v1/version", 200,
                           R"({"version":"0.2.0","download_url":")" + server.baseUrl().toUtf8() +
                               R"(/plugin.zip"})");
        server.enqueue("/plugin.zip", {200, c.zip, "application/zip"});
        UpdateManager updater(
            {endpointsFor(server), plugin, c.shell, "/usr/bin/unzip", tmp.path() + "/work"});
        QCoro::waitFor(updater.checkForUpdates());
        QCoro::waitFor(updater.downloadAndInstall());
        EXPECT_EQ(updater.errorMessageText(), c.error.contains("%1") ? c.error.arg(plugin) : c.error);
        EXPECT_FALSE(updater.statusMessage().has_value());
        EXPECT_TRUE(updater.updateAvailable());
        EXPECT_EQ(readFile(plugin + "/version.json"), c.oldVersionFile);
    }
}
