// The theme and the account screens, with a sample account and a newer plugin on offer.
#include "RenderSupport.h"

#include "service/AdminShell.h"
#include "ui/AccountModels.h"

#include <QCoroTask>

#include <memory>

using namespace ondrel;
using namespace ondrel::screens;

namespace {

const QByteArray kGallery = R"QML(
import QtQuick
import QtQuick.Layouts
import Ondrel.Ui
Rectangle {
    color: Theme.background
    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 18
        Text { text: "Theme"; color: Theme.foreground; font: Theme.font("title") }
        RowLayout {
            spacing: 16
            PrimaryButton { text: "Sign in with Google"; symbol: "globe" }
            SecondaryButton { text: "Check for Updates"; symbol: "arrow.clockwise" }
            DestructiveButton { text: "Sign Out"; symbol: "rectangle.portrait.and.arrow.right" }
            PrimaryButton { text: "Installing..."; busy: true; enabled: false }
            PrimaryButton { text: "Start Mining"; leading: Component { PixelGemView { color: "white"; size: 14 } } }
        }
        RowLayout {
            spacing: 16
            GlassCard { Layout.preferredWidth: 220; Text { text: "Glass card"; color: Theme.foreground; font: Theme.font("headline") } Text { text: "thin material"; color: Theme.textMuted; font: Theme.font("body") } }
            SolidCard { Layout.preferredWidth: 220; SectionLabel { text: "Section label" } Text { text: "Solid card"; color: Theme.foreground; font: Theme.font("headline") } }
            GradientCard { Layout.preferredWidth: 220; gradient: Theme.stepGradient(1); Text { text: "Gradient card"; color: "white"; font: Theme.font("headline") } }
        }
        RowLayout {
            spacing: 24
            OndrelLogo { size: 20 }
            PixelPickaxe { size: 56 }
            PixelPickaxeView { size: 64 }
            PixelPickaxeAnimated {}
            PixelGemView { size: 48 }
            PixelGemView { size: 48; color: Theme.purple }
            Repeater {
                model: 6
                RoundedShape { width: 40; height: 40; radius: 8; fillColors: Theme.stepGradient(index) }
            }
        }
        Flow {
            Layout.fillWidth: true
            spacing: 14
            Repeater {
                model: ["waveform.badge.magnifyingglass", "person.circle", "arrow.triangle.2.circlepath", "globe",
                        "key.fill", "diamond.fill", "creditcard.fill", "puzzlepiece.extension.fill",
                        "checkmark.circle.fill", "exclamationmark.triangle.fill", "info.circle.fill", "star.fill",
                        "wand.and.stars", "sparkles", "paintbrush", "film.stack", "list.bullet.rectangle",
                        "eye", "briefcase", "fork.knife", "flame", "bolt", "text.book.closed", "mountain.2"]
                SymbolIcon { symbol: modelData; size: 20; color: Theme.textSecondary }
            }
        }
        Text { text: "Body 13 in " + Theme.fontFamily + " · log glyphs ⛏ 💎 📋"; color: Theme.foreground; font: Theme.font("body") }
        Text { text: "00:42  ⛏ Transcribing with Whisper...  💎 Found 3 acts · 12 moments"; color: Theme.accent; font: Theme.font("mono") }
        Item { Layout.fillHeight: true }
    }
}
)QML";

struct Services {
    std::unique_ptr<AuthManager> auth;
    std::unique_ptr<UpdateManager> updates;
    std::unique_ptr<PluginManager> plugins;
};

Services makeServices(const QString& home, const Endpoints& endpoints, const QString& pluginDir) {
    Services s;
    auto shell = std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::plainShell);
    s.auth = std::make_unique<AuthManager>(home + "/.ondrel/token.json", endpoints);
    UpdateManagerConfig config = UpdateManagerConfig::platformDefault();
    config.endpoints = endpoints;
    config.pluginPath = pluginDir;
    config.shell = shell;
    config.workFolder = home + "/update";
    s.updates = std::make_unique<UpdateManager>(config);
    s.plugins = std::make_unique<PluginManager>(pluginDir, shell, PluginManager::bundledResourceDir());
    AppServices::install({.auth = s.auth.get(),
                          .updates = s.updates.get(),
                          .plugins = s.plugins.get(),
                          .makePipeline = [home] {
                              PipelineEnvironment env = PipelineEnvironment::platformDefault();
                              env.paths = AppPaths::forHome(home);
                              return LocalPipeline::create(env);
                          }});
    return s;
}

void setTab(QObject* root, int tab) {
    if (auto* shell = root->findChild<ShellModel*>())
        shell->setSelectedTab(tab);
}

} // namespace

ONDREL_SCREENS(accountScreens) {
    test::FakeHttpServer& service = context.service;
    service.respondJson("/api/v1/me", 200,
                        R"({"id":"u1","name":"Maya Ortiz","email":"maya@lighthouse.film","credits":128,)"
                        R"("plan":"Studio Monthly"})");
    service.respondJson(
        "/api/v1/version", 200,
        R"({"version":"0.2.0-beta","download_url":"https://ondrel.app/plugin.zip",)"
        R"("release_notes":"Chapter markers now follow the story's acts. Subtitle cards break )"
        R"(at punctuation. Faster timeline builds on large projects."})");
    Endpoints endpoints;
    endpoints.ondrelHost = service.baseUrl();
    const QString pluginDir = context.home + "/Workflow Integration Plugins/com.tarnwell.ondrel";
    const QUrl contentView = qmlFileUrl("Shell/ContentView.qml");
    const QSize window(1100, 750);
    renderScreen(context, "theme", QUrl("qrc:/render/Gallery.qml"), QSize(1100, 560), {}, kGallery);
    {
        Services s = makeServices(context.home + "/signed-out", endpoints, pluginDir);
        renderScreen(context, "sign-in", contentView, window);
        // The token way in, refused for a blank token.
        QCoro::waitFor(s.auth->signInWithToken("  "));
        renderScreen(context, "sign-in-token", contentView, window, [](QObject* root) {
            if (auto* vm = root->findChild<SignInModel*>()) {
                vm->toggleTokenField();
                vm->setManualToken("  ");
            }
        });
    }
    Services s = makeServices(context.home + "/signed-in", endpoints, pluginDir);
    QCoro::waitFor(s.auth->signInWithToken("sample-token"));
    renderScreen(context, "account", contentView, window, [](QObject* r) { setTab(r, 0); });
    QCoro::waitFor(s.updates->checkForUpdates());
    renderScreen(context, "updates", contentView, window, [](QObject* r) { setTab(r, 2); });
    // Up to date, with long notes: the check stays in sight under them.
    service.answerAlways("/api/v1/version",
                         {200, R"({"version":"0.1.0-beta","download_url":"https://ondrel.app/plugin.zip",)"
                               R"("release_notes":"Chapter markers now follow the story's acts, in the )"
                               R"(colours Resolve accepts. Subtitle cards break at punctuation and never )"
                               R"(split a word. Faster timeline builds on large projects: a four-hour )"
                               R"(interview builds in under a minute. Audits read the cut's clips from )"
                               R"(the timeline's own start frame, so markers land where the clips are at )"
                               R"(any frame rate. The plugin remembers the last timeline you mined and )"
                               R"(offers it first. Recent mines open straight on their review when their )"
                               R"(story was built. The estimate of credits follows the mode and the )"
                               R"(length as you change them. Re-mine keeps the transcript, so a new style )"
                               R"(costs no new transcription."})"});
    QCoro::waitFor(s.updates->checkForUpdates());
    renderScreen(context, "updates-current", contentView, window, [](QObject* r) { setTab(r, 2); });
    renderScreen(context, "plugin", qmlFileUrl("Account/InstallView.qml"), QSize(900, 750));
    QCoro::waitFor(s.plugins->install());
    renderScreen(context, "plugin-installed", qmlFileUrl("Account/InstallView.qml"), QSize(900, 750),
                 [](QObject* root) {
                     if (auto* vm = root->findChild<PluginModel*>())
                         vm->askUninstall();
                 });
    AppServices::install({});
}
