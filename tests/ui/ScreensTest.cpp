// The shell and account screens through their real QML, against a fake service: the gate, the
// sidebar, both ways to sign in, the account's figures, updates and the plugin's confirmation.
// Every QML file of the module also loads without a single warning.
#include "UiTestSupport.h"
#include "service/AdminShell.h"
#include "service/Constants.h"
#include "ui/AccountModels.h"
#include "ui/AppServices.h"
#include "ui/UiPaths.h"

#include <QDirIterator>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <QCoroTask>

#include <gtest/gtest.h>

#include <functional>

Q_IMPORT_QML_PLUGIN(Ondrel_UiPlugin)

using namespace ondrel;
using namespace ondrel::test;

namespace {

// A fake service, the account objects on a temporary home and plugin folder, installed for the
// screens, and a window to put a screen in.
class Screens : public ::testing::Test, public QuickRig {
protected:
    TestHome home;
    FakeHttpServer service;
    RecordingOpener opener;
    std::unique_ptr<AuthManager> auth;
    std::unique_ptr<UpdateManager> updates;
    std::unique_ptr<PluginManager> plugins;
    QString pluginDir = home.path() + "/Plugins/com.tarnwell.ondrel";

    void SetUp() override {
        Endpoints endpoints;
        endpoints.ondrelHost = service.baseUrl();
        auth = std::make_unique<AuthManager>(home.paths().tokenFile, endpoints, &opener);
        auto shell = std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::plainShell);
        UpdateManagerConfig config = UpdateManagerConfig::platformDefault();
        config.endpoints = endpoints;
        config.pluginPath = pluginDir;
        config.shell = shell;
        config.workFolder = home.path() + "/update";
        updates = std::make_unique<UpdateManager>(config);
        plugins = std::make_unique<PluginManager>(pluginDir, shell, QString());
        AppServices::install(
            {.auth = auth.get(), .updates = updates.get(), .plugins = plugins.get(), .makePipeline = [this] {
                 return LocalPipeline::create(home.pipelineEnvironment());
             }});
        UrlOpener::setDefault(&opener);
    }

    void TearDown() override {
        screen.reset();
        AppServices::install({});
        UrlOpener::setDefault(nullptr);
    }

    void signIn(const QByteArray& user) {
        service.answerAlways("/api/v1/me", {200, user});
        QCoro::waitFor(auth->signInWithToken("tok"));
        ASSERT_TRUE(auth->isSignedIn());
    }
};

const QByteArray kMaya =
    R"({"id":"1","name":"maya","email":"maya@example.com","credits":42,"plan":"Studio Monthly"})";

} // namespace

TEST_F(Screens, EveryQmlFileLoadsWithoutAWarning) {
    ShellModel shell;
    MineView wizard;
    // What a file requires of its parent: the shell for the sidebar, the wizard for its pages.
    const auto given = [&](const QString& path) -> QVariantMap {
        if (path == "Shell/Sidebar.qml")
            return {{"shell", QVariant::fromValue(&shell)}};
        if (path.startsWith("Mine/") && path != "Mine/MineWizard.qml")
            return {{"wizard", QVariant::fromValue(&wizard)}};
        return {};
    };
    int files = 0;
    for (QDirIterator it(":/Ondrel/Ui", {"*.qml"}, QDir::Files, QDirIterator::Subdirectories);
         it.hasNext();) {
        const QString path = it.next().mid(QStringLiteral(":/Ondrel/Ui/").size());
        SCOPED_TRACE(path.toStdString());
        QQmlComponent component(&engine, qmlFileUrl(path));
        std::unique_ptr<QObject> object(component.createWithInitialProperties(given(path)));
        ASSERT_TRUE(object) << component.errorString().toStdString();
        if (auto* item = qobject_cast<QQuickItem*>(object.get()))
            item->setParentItem(window.contentItem());
        QTest::qWait(30);
        ++files;
    }
    EXPECT_GT(files, 20);
}

TEST_F(Screens, SignInByTokenOrBrowserThenTheGateAndTheTabs) {
    show("Shell/ContentView.qml");
    ASSERT_TRUE(find("signInWithGoogle"));
    EXPECT_FALSE(find("mainFrame"));

    // A blank token is sent and refused by the account; an empty field cannot be sent at all.
    click("signInWithToken");
    waitFor([&] { return find("tokenField") != nullptr; });
    QQuickItem* field = find("tokenField");
    ASSERT_TRUE(field);
    EXPECT_FALSE(find("submitToken")->isEnabled());
    field->forceActiveFocus();
    for (int i = 0; i < 3; ++i)
        QTest::keyClick(&window, Qt::Key_Space);
    click("submitToken");
    EXPECT_TRUE(waitFor([&] { return text("signInError") == "Please enter a valid token"; }));

    // A desktop with no browser: the screen stops waiting at once and points at the token.
    opener.refuse = true;
    click("signInWithGoogle");
    EXPECT_TRUE(waitFor(
        [&] { return text("browserMessage") == "Could not open a browser — use Sign in with token"; }));
    EXPECT_FALSE(find("cancelWaiting"));
    EXPECT_TRUE(find("tokenField"));
    opener.refuse = false;
    opener.opened.clear();

    // The browser: the sign-in page opens and the screen waits; cancelling the wait does not stop a
    // callback that still comes.
    click("signInWithGoogle");
    EXPECT_FALSE(find("browserMessage"));
    ASSERT_EQ(opener.opened.size(), 1);
    EXPECT_EQ(opener.opened[0].path(), "/plugin-auth");
    EXPECT_TRUE(find("cancelWaiting"));
    click("cancelWaiting");
    EXPECT_TRUE(find("signInWithGoogle"));
    service.answerAlways("/api/v1/me", {200, kMaya});
    QCoro::waitFor(auth->handleCallback("ondrel-manager://callback?token=from-browser"));
    ASSERT_TRUE(waitFor([&] { return find("mainFrame") != nullptr; }));

    // The Mine tab first; the sidebar moves between tabs, and a tab without a screen shows nothing.
    auto* shell = screen->findChild<ShellModel*>();
    EXPECT_EQ(shell->selectedTab(), 1);
    click("sidebarAccount");
    EXPECT_EQ(text("userName"), "maya");
    EXPECT_EQ(text("credits"), "42");
    shell->setSelectedTab(7);
    QTest::qWait(20);
    EXPECT_EQ(find("tabContent")->property("item").value<QObject*>(), nullptr);
    EXPECT_TRUE(find("sidebarMine"));

    // Signing out drops the main frame at once; the tab is kept for the next sign-in.
    shell->setSelectedTab(0);
    QTest::qWait(20);
    click("signOut");
    EXPECT_FALSE(find("mainFrame"));
    EXPECT_TRUE(find("signInWithGoogle"));
    signIn(kMaya);
    EXPECT_TRUE(waitFor([&] { return find("userName") != nullptr; }));
}

TEST_F(Screens, AccountFiguresAndThePlanBadge) {
    struct Case {
        const char* plan;
        QString shown;
        QString badge;
    } cases[] = {{"Studio Monthly", "Studio Monthly", "PRO"},
                 {"Post House", "Post House", "PRO"},
                 {"PROfessional", "PROfessional", "PRO"},
                 {"Basic", "Basic", "FREE"},
                 {"", "Free", "FREE"}};
    signIn(kMaya);
    show("Account/DashboardView.qml");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.plan);
        service.answerAlways(
            "/api/v1/me",
            {200, QByteArray(R"({"id":"1","name":"","email":"e","credits":7,"plan":")") + c.plan + "\"}"});
        // A refresh already under way (the screen's own on appear, or the last case's) keeps the
        // button off; wait it out so each case reads its own answer.
        ASSERT_TRUE(
            waitFor([&] { return find("refreshAccount") && find("refreshAccount")->isEnabled(); }, 30000));
        click("refreshAccount");
        EXPECT_TRUE(waitFor(
            [&] {
                return text("planText") == c.shown && text("userName") == "User" &&
                       find("refreshAccount")->isEnabled();
            },
            30000));
        EXPECT_EQ(find("planBadge")->property("text").toString(), c.badge);
    }
}

TEST_F(Screens, BillingSaysWhereItIsWhenNoBrowserOpens) {
    // Both billing buttons open the billing page in the browser; a desktop with no browser must not
    // leave the press without an outcome: the screen says so and gives the page's address.
    const QString billing = Constants::API::billingURL();
    const struct {
        const char* button;
        bool browser;
        QString message;
    } cases[] = {{"buyCredits", false, "Could not open a browser — billing is at " + billing},
                 {"manageBilling", false, "Could not open a browser — billing is at " + billing},
                 {"buyCredits", true, ""},
                 {"manageBilling", true, ""}};
    signIn(kMaya);
    show("Account/DashboardView.qml");
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.button) + (c.browser ? " with a browser" : " without a browser"));
        opener.opened.clear();
        opener.refuse = !c.browser;
        click(c.button);
        ASSERT_EQ(opener.opened.size(), 1);
        EXPECT_EQ(opener.opened[0].toString(), billing);
        if (c.message.isEmpty())
            EXPECT_FALSE(find("billingMessage"));
        else
            EXPECT_TRUE(waitFor([&] { return text("billingMessage") == c.message; }));
    }
}

TEST_F(Screens, UpdatesReadTheCheckAsItGoes) {
    service.enqueue("/api/v1/version",
                    ScriptedResponse{200, R"({"version":"0.2.0"})", "application/json", 300});
    signIn(kMaya);
    show("Account/UpdateView.qml");
    // Checking at once, since no version is known yet.
    EXPECT_EQ(text("latestVersion"), "...");
    ASSERT_TRUE(waitFor([&] { return text("latestVersion") == "0.2.0"; }));
    EXPECT_TRUE(find("downloadAndInstall"));
    EXPECT_FALSE(find("checkForUpdates")) << "no check while an update is offered";

    // A failed check with nothing known reads "—".
    UpdateManagerConfig config = updates->config();
    config.endpoints.ondrelHost = "http://127.0.0.1:9";
    UpdateManager offline(config);
    AppServices::install({.auth = auth.get(), .updates = &offline, .plugins = plugins.get()});
    show("Account/UpdateView.qml");
    ASSERT_TRUE(waitFor([&] { return text("latestVersion") == "—"; }));
    EXPECT_TRUE(find("checkForUpdates"));
    AppServices::install({.auth = auth.get(), .updates = updates.get(), .plugins = plugins.get()});
    screen.reset();
}

// The screen goes by the plugin in place, which is also what an update is measured against.
TEST_F(Screens, UpdatesGoByThePluginInPlace) {
    struct Case {
        const char* name;
        QByteArray versionFile; // "" for no plugin at all
        QString installed;
        bool offered; // 0.2.0 is offered
    } cases[] = {
        {"no plugin: the version the application carries", "", "0.1.0-beta", true},
        {"an older plugin", R"({"version":"0.1.5"})", "0.1.5", true},
        {"the offered version", R"({"version":"0.2.0"})", "0.2.0", false},
        {"a newer plugin", R"({"version":"0.3.0"})", "0.3.0", false},
        {"a plugin without a readable version", "{broken", "Unknown", true},
    };
    service.answerAlways("/api/v1/version", {200, R"({"version":"0.2.0"})", "application/json"});
    signIn(kMaya);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(pluginDir).removeRecursively();
        if (!c.versionFile.isEmpty())
            writeFile(pluginDir + "/version.json", c.versionFile);
        UpdateManager fresh(updates->config());
        AppServices::install({.auth = auth.get(), .updates = &fresh, .plugins = plugins.get()});
        show("Account/UpdateView.qml");
        EXPECT_EQ(text("installedVersion"), c.installed);
        ASSERT_TRUE(waitFor([&] { return text("latestVersion") == "0.2.0"; }));
        EXPECT_EQ(find("downloadAndInstall") != nullptr, c.offered);
        EXPECT_EQ(find("upToDate") != nullptr, !c.offered);
        screen.reset();
    }
    AppServices::install({.auth = auth.get(), .updates = updates.get(), .plugins = plugins.get()});
}

// A first update, with no plugin and no plugin folder yet: the screen then names the new version
// beside "You're up to date!", and the next start offers nothing.
TEST_F(Screens, AnUpdateWithNoPluginInstalled) {
    QTemporaryDir tmp;
    const QString zip = tmp.path() + "/plugin.zip";
    ASSERT_EQ(
        QProcess::execute("python3",
                          {"-c",
                           "import sys, zipfile\n"
                           "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
                           "    z.writestr('com.tarnwell.ondrel/version.json', '{\"version\":\"0.2.0\"}')\n"
                           "    z.writestr('com.tarnwell.ondrel/manifest.json', '{}')\n",
                           zip}),
        0);
    service.answerAlways(
        "/api/v1/version",
        {200, R"({"version":"0.2.0","download_url":")" + service.baseUrl().toUtf8() + R"(/plugin.zip"})",
         "application/json"});
    service.answerAlways("/plugin.zip", {200, readFile(zip), "application/zip"});
    ASSERT_FALSE(QFileInfo::exists(QFileInfo(pluginDir).path()));
    signIn(kMaya);
    show("Account/UpdateView.qml");
    EXPECT_EQ(text("installedVersion"), "0.1.0-beta");
    click("downloadAndInstall");
    ASSERT_TRUE(waitFor(
        [&] { return text("updateStatus") == "Update installed! Restart DaVinci Resolve to apply changes."; },
        30000))
        << updates->errorMessageText().toStdString();
    EXPECT_EQ(text("installedVersion"), "0.2.0");
    EXPECT_TRUE(find("upToDate"));
    EXPECT_FALSE(find("downloadAndInstall"));
    EXPECT_EQ(QDir(QFileInfo(pluginDir).path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList({"com.tarnwell.ondrel"}));

    UpdateManager nextStart(updates->config());
    AppServices::install({.auth = auth.get(), .updates = &nextStart, .plugins = plugins.get()});
    show("Account/UpdateView.qml");
    EXPECT_EQ(text("installedVersion"), "0.2.0");
    ASSERT_TRUE(waitFor([&] { return text("latestVersion") == "0.2.0"; }));
    EXPECT_TRUE(find("upToDate"));
    EXPECT_FALSE(find("downloadAndInstall"));
    screen.reset();
    AppServices::install({.auth = auth.get(), .updates = updates.get(), .plugins = plugins.get()});
}

TEST_F(Screens, UninstallingAsksFirst) {
    QDir().mkpath(pluginDir);
    writeFile(pluginDir + "/version.json", R"({"version":"0.1.0-beta"})");
    show("Account/InstallView.qml");
    EXPECT_EQ(text("installStatus"), "Installed");
    click("uninstallPlugin");
    ASSERT_TRUE(waitFor([&] { return find("dialogCancel") != nullptr; }));
    click("dialogCancel");
    EXPECT_TRUE(QFileInfo::exists(pluginDir));
    click("uninstallPlugin");
    ASSERT_TRUE(waitFor([&] { return find("dialogConfirm") != nullptr; }));
    click("dialogConfirm");
    EXPECT_TRUE(waitFor([&] { return text("installStatus") == "Not Installed"; }));
    EXPECT_FALSE(QFileInfo::exists(pluginDir));
}
