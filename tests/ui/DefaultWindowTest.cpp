// The window at its default size (1100×750), walked through the real screens from sign-in to the
// updates: on every page the button that takes the editor on stands whole in sight without
// scrolling, however long the page's content runs; Return sends the token; tooltips wear the theme.
#include "DoneAuditSupport.h"

#include "core/Files.h"
#include "core/Json.h"
#include "core/WorkQueue.h"
#include "service/AdminShell.h"
#include "ui/Theme.h"

#include <QCoroTask>
#include <QScopeGuard>

#include <optional>

using namespace ondrel;
using namespace ondrel::test;

namespace {

// Whole inside the window and inside every clipping item around it: a button scrolled out of its
// scroll view still lies inside the window, but not inside the view.
::testing::AssertionResult inSight(QuickRig& rig, const char* name) {
    QQuickItem* item = nullptr;
    waitFor([&] { return (item = rig.find(name)) != nullptr; }, 2000);
    if (!item)
        return ::testing::AssertionFailure() << name << " is not shown";
    const QRectF rect = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
    QRectF view(QPointF(0, 0), QSizeF(rig.window.size()));
    for (QQuickItem* up = item->parentItem(); up; up = up->parentItem())
        if (up->clip())
            view &= up->mapRectToScene(QRectF(0, 0, up->width(), up->height()));
    if (rect.isEmpty() || !view.adjusted(-0.5, -0.5, 0.5, 0.5).contains(rect))
        return ::testing::AssertionFailure()
               << name << " spans y " << rect.top() << "–" << rect.bottom() << ", the part in sight y "
               << view.top() << "–" << view.bottom();
    return ::testing::AssertionSuccess();
}

QByteArray modelAnswer(const std::string& text) {
    return QByteArray::fromStdString(Json{{"content", {{{"type", "text"}, {"text", text}}}}}.dump());
}

// An audit with more buried gold than fits in the window.
std::string longAudit() {
    Json gold = Json::array();
    for (int i = 0; i < 8; ++i)
        gold.push_back({{"startTime", 2 + 4 * i},
                        {"endTime", 5 + 4 * i},
                        {"text", "a moment the cut leaves out, told at some length so that it wraps"},
                        {"reason", "because"},
                        {"emotionalWeight", 3}});
    return Json{{"coveragePercent", 48.0},
                {"usedSegments", {{{"startTime", 2}, {"endTime", 9}, {"text", "hola"}}}},
                {"buriedGold", gold},
                {"redundancies", Json::array()},
                {"alternates", Json::array()},
                {"themeGaps", {"the sea", "the village"}},
                {"confidenceScore", 55},
                {"summary", "A short cut."}}
        .dump();
}

QByteArray versionAnswer(const char* version, int noteSentences) {
    QString notes;
    for (int i = 0; i < noteSentences; ++i)
        notes += QStringLiteral("Chapter markers now follow the story's acts in every build. ");
    return QByteArray::fromStdString(Json{
        {"version", version},
        {"download_url", "https://example.com/p.zip"},
        {"release_notes",
         notes.toStdString()}}.dump());
}

} // namespace

TEST(DefaultWindow, EveryPagesWayOnIsInSightAndReturnSendsTheToken) {
    WizardRig rig;
    ASSERT_EQ(rig.window.size(), QSize(1100, 750));
    Theme theme;
    Endpoints endpoints;
    endpoints.ondrelHost = rig.services.baseUrl();
    AuthManager auth(rig.home.paths().tokenFile, endpoints, &rig.opener);
    UpdateManagerConfig config = UpdateManagerConfig::platformDefault();
    config.endpoints = endpoints;
    config.pluginPath = rig.home.path() + "/plugin";
    config.shell = std::make_shared<ProcessAdminShell>(ProcessAdminShell::Kind::plainShell);
    config.workFolder = rig.home.path() + "/update";
    UpdateManager updates(config);
    AppServices::install(
        {.auth = &auth, .updates = &updates, .makePipeline = [&rig] { return makePipeline(rig.env); }});
    // The screen goes before the account and updater it shows, also when an assertion ends the test.
    const auto closeScreen = qScopeGuard([&] {
        rig.screen.reset();
        AppServices::install({});
    });
    rig.services.answerAlways(
        "/api/v1/me", {200, R"({"id":"1","name":"maya","email":"m@example.com","credits":42,"plan":"Pro"})"});
    rig.services.answerAlways("/api/v1/version", {200, versionAnswer("0.1.0-beta", 60)});
    // Three earlier mines, so the setup page lists recent mines above its form.
    for (const char* timeline : {"Harbour Day 1", "Harbour Day 2", "Cannery Pulls"}) {
        SavedProject project;
        project.timeline = timeline;
        project.createdAt = 1'717'000'000;
        project.targetMinutes = 5;
        const QString dir = rig.home.paths().exportDirFor(project.timeline);
        QDir().mkpath(dir);
        ASSERT_TRUE(writeFileAtomically(dir + "/project.json", encodeJson(project).value_or(QByteArray())));
    }

    // Signed out: the browser's way in, then the token's; Return sends a token only once there is one.
    rig.show("Shell/ContentView.qml");
    EXPECT_TRUE(inSight(rig, "signInWithGoogle"));
    rig.click("signInWithToken");
    EXPECT_TRUE(inSight(rig, "submitToken"));
    QQuickItem* field = rig.find("tokenField");
    ASSERT_TRUE(field);
    field->forceActiveFocus();
    QTest::keyClick(&rig.window, Qt::Key_Return);
    EXPECT_FALSE(auth.isLoading()) << "an empty field sends nothing";
    for (const char c : std::string("tok-123"))
        QTest::keyClick(&rig.window, c);
    QTest::keyClick(&rig.window, Qt::Key_Return);
    ASSERT_TRUE(waitFor([&] { return rig.find("mainFrame") != nullptr; }));
    ASSERT_FALSE(rig.services.requestsTo("/api/v1/me").isEmpty());
    EXPECT_EQ(rig.services.requestsTo("/api/v1/me").first().header("authorization"), "Bearer tok-123");

    // Setup, with recent mines and a timeline chosen: the cost and the way on stay under the form.
    auto* wizard = rig.screen->findChild<MineView*>();
    ASSERT_TRUE(wizard);
    ASSERT_TRUE(waitFor([&] { return !wizard->resolveBridge()->timelines().isEmpty(); }));
    ASSERT_TRUE(waitFor([&] { return rig.find("recentMine2") != nullptr; }));
    wizard->setSelectedTimelineText(WizardRig::kTimeline);
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_TRUE(inSight(rig, "creditEstimate"));
    EXPECT_TRUE(inSight(rig, "setupNext"));

    // Style, its sliders open; a preset's tooltip is a card of the theme.
    rig.click("setupNext");
    ASSERT_TRUE(waitForSettledPages(rig));
    revealAndClick(rig, "fineTune");
    EXPECT_TRUE(inSight(rig, "startMining"));
    QQuickItem* preset = rig.find("preset_portrait");
    ASSERT_TRUE(preset);
    QTest::mouseMove(&rig.window,
                     preset->mapToScene(QPointF(preset->width() / 2, preset->height() / 2)).toPoint());
    ASSERT_TRUE(waitFor([&] { return rig.find("toolTipBackground") != nullptr; }));
    EXPECT_EQ(rig.find("toolTipBackground")->property("color").value<QColor>(),
              theme.property("muted").value<QColor>());
    QQuickItem* tip = rig.find("toolTipText");
    EXPECT_EQ(tip->property("text").toString(), "Character-first, intimate deep dive");
    EXPECT_EQ(tip->property("color").value<QColor>(), theme.property("foreground").value<QColor>());
    EXPECT_EQ(tip->property("font").value<QFont>().family(), theme.property("fontFamily").toString());

    // Mining, held before its first step by another run's turn.
    std::optional<WorkQueue::Turn> held(QCoro::waitFor(
        []() -> QCoro::Task<WorkQueue::Turn> { co_return co_await WorkQueue::shared().take(); }()));
    rig.click("startMining");
    ASSERT_TRUE(waitForSettledPages(rig));
    ASSERT_EQ(wizard->page(), "mining");
    EXPECT_TRUE(inSight(rig, "cancelMining"));
    held.reset();

    // Review, in the same centred column as the pages before it.
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "review"; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_TRUE(inSight(rig, "sendToResolve"));
    QQuickItem* card = rig.find("segmentSlot0");
    QQuickItem* page = rig.find("tabContent");
    ASSERT_TRUE(card && page);
    const QRectF cardRect = card->mapRectToScene(QRectF(0, 0, card->width(), card->height()));
    const QRectF pageRect = page->mapRectToScene(QRectF(0, 0, page->width(), page->height()));
    EXPECT_NEAR(cardRect.center().x(), pageRect.center().x(), 1.0);
    EXPECT_LE(cardRect.width(), 620);

    // Done.
    rig.click("skipToExports");
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_TRUE(inSight(rig, "buildTimeline"));

    // An audit whose report runs far past the window: both its ways on stay under it.
    rig.services.answerAlways("/v1/messages", {200, modelAnswer(longAudit())});
    revealAndClick(rig, "mineAnother");
    ASSERT_TRUE(waitForSettledPages(rig));
    wizard->setSelectedModeValue(int(MiningMode::audit));
    rig.click("setupNext");
    ASSERT_TRUE(waitFor([&] { return wizard->page() == "audit"; }, 60000))
        << wizard->pipeline()->errorMessageText().toStdString();
    ASSERT_TRUE(waitForSettledPages(rig));
    EXPECT_TRUE(inSight(rig, "auditAnother"));
    revealAndClick(rig, "goldSelect7");
    EXPECT_TRUE(inSight(rig, "addMoments"));
    EXPECT_TRUE(inSight(rig, "auditAnother"));

    // The account.
    rig.click("sidebarAccount");
    EXPECT_TRUE(inSight(rig, "buyCredits"));

    // Updates: up to date under long notes, then an update on offer.
    rig.click("sidebarUpdates");
    ASSERT_TRUE(waitFor([&] { return rig.text("latestVersion") == "0.1.0-beta"; }));
    EXPECT_TRUE(inSight(rig, "checkForUpdates"));
    rig.services.answerAlways("/api/v1/version", {200, versionAnswer("0.2.0", 60)});
    rig.click("checkForUpdates");
    ASSERT_TRUE(waitFor([&] { return rig.find("downloadAndInstall") != nullptr; }));
    EXPECT_TRUE(inSight(rig, "downloadAndInstall"));
}
