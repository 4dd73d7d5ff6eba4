// What only the real window shows: the xcb platform on an Xvfb of this binary's own, the scene
// graph's OpenGL backend on Mesa. Offscreen with the software renderer every gradient of a QtQuick
// Shape was drawn while the real window left them out, so these read pixels inside the fills.
#include "DoneAuditSupport.h"
#include "UiTestSupport.h"
#include "ui/Theme.h"

#include <QImage>
#include <QQuickItem>
#include <QSGRendererInterface>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

#include <cmath>

Q_IMPORT_QML_PLUGIN(Ondrel_UiPlugin)

using namespace ondrel;
using namespace ondrel::test;

namespace {

// How far two colours are apart, by their largest channel difference.
int distance(QColor a, QColor b) {
    return std::max(
        {std::abs(a.red() - b.red()), std::abs(a.green() - b.green()), std::abs(a.blue() - b.blue())});
}

QColor mix(QColor a, QColor b, double t) {
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * t),
                            float(a.greenF() + (b.greenF() - a.greenF()) * t),
                            float(a.blueF() + (b.blueF() - a.blueF()) * t));
}

// A translucent colour laid over an opaque one.
QColor over(QColor top, QColor under) {
    return mix(under, QColor(top.red(), top.green(), top.blue()), top.alphaF());
}

std::string name(QColor c) {
    return c.name().toStdString();
}

// The window as the screen shows it, once a frame has been drawn.
QImage grab(QuickRig& rig) {
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&rig.window));
    return rig.window.grabWindow();
}

QColor pixelAt(const QImage& image, QQuickItem* item, QPointF at) {
    const QPoint p = item->mapToScene(at).toPoint();
    return image.pixelColor(p);
}

} // namespace

// The scene graph under test is the one the application gets on this machine.
TEST(RealWindow, DrawsWithOpenGL) {
    QuickRig rig;
    rig.show("Components/Spinner.qml");
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&rig.window));
    EXPECT_EQ(rig.window.rendererInterface()->graphicsApi(), QSGRendererInterface::OpenGL);
    EXPECT_EQ(QGuiApplication::platformName(), QStringLiteral("xcb"));
}

// The shared rounded shape, filled and outlined each way the screens use it, on black.
TEST(RealWindow, RoundedShapeDrawsEveryFillAndOutline) {
    const QColor red(220, 40, 20), blue(20, 60, 230), black(0, 0, 0);
    struct Case {
        const char* what;
        const char* properties; // of a RoundedShape of 200×100 at (20, 20)
        QPointF at;             // inside it
        QColor expected;
    } const cases[] = {
        {"a plain fill", "fillColor: '#dc2814'", {100, 50}, red},
        {"a horizontal gradient fill at its middle",
         "fillColors: ['#dc2814', '#143ce6']; fillDirection: 'horizontal'",
         {100, 50},
         mix(red, blue, 0.5)},
        {"a horizontal gradient fill near its start",
         "fillColors: ['#dc2814', '#143ce6']; fillDirection: 'horizontal'",
         {20, 50},
         mix(red, blue, 0.1)},
        {"a vertical gradient of translucent white",
         "fillColors: [Qt.rgba(1,1,1,0.3), Qt.rgba(1,1,1,0.1)];"
         "fillDirection: 'vertical'",
         {100, 50},
         over(QColor::fromRgbF(1, 1, 1, 0.2f), black)},
        {"a diagonal gradient fill at its middle",
         "fillColors: ['#dc2814', '#143ce6']",
         {100, 50},
         mix(red, blue, 0.5)},
        {"a plain outline", "strokeWidth: 6; strokeColor: '#dc2814'", {3, 50}, red},
        {"a gradient outline",
         "strokeWidth: 6; strokeColors: ['#dc2814', '#143ce6']; strokeDirection: 'vertical'",
         {3, 50},
         mix(red, blue, 0.5)},
        {"nothing inside an outline",
         "strokeWidth: 6; strokeColors: ['#dc2814', '#143ce6']",
         {100, 50},
         black},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QuickRig rig;
        rig.window.setColor(Qt::black);
        const QByteArray qml =
            QByteArray("import QtQuick\nimport Ondrel.Ui\nItem {\n"
                       "  RoundedShape { objectName: 'shape'; x: 20; y: 20; width: 200; height: 100; "
                       "radius: 8; ") +
            c.properties + " }\n}\n";
        QQmlComponent component(&rig.engine);
        component.setData(qml, QUrl(QStringLiteral("qrc:/scene.qml")));
        rig.screen.reset(component.create());
        ASSERT_TRUE(rig.screen) << component.errorString().toStdString();
        auto* root = qobject_cast<QQuickItem*>(rig.screen.get());
        root->setParentItem(rig.window.contentItem());
        root->setSize(rig.window.size());
        const QImage image = grab(rig);
        const QColor seen = pixelAt(image, rig.find("shape"), c.at);
        EXPECT_LE(distance(seen, c.expected), 8)
            << "seen " << name(seen) << ", expected " << name(c.expected);
    }
}

// The two fills an editor saw missing, in the wizard's own pages: the processing bar's gradient
// and the glass body of a closed review card.
TEST(RealWindow, WizardPagesDrawTheirGradientFills) {
    WizardRig rig;
    Theme theme;
    // The window's own colour, as the application's content gives it, under the translucent card.
    rig.window.setColor(theme.property("background").value<QColor>());
    MineView* wizard = rig.openWizard();
    wizard->setSelectedTimelineText(WizardRig::kTimeline);
    wizard->advanceTo(int(MineStep::style));
    wizard->advanceTo(int(MineStep::mining));
    wizard->pipeline()->setProgress(0.5);
    ASSERT_TRUE(waitForSettledPages(rig));
    QQuickItem* fill = rig.find("progressFill");
    ASSERT_TRUE(fill);
    ASSERT_TRUE(waitFor([&] { return std::abs(fill->width() - fill->parentItem()->width() / 2) < 0.5; }));
    {
        SCOPED_TRACE("the processing bar");
        const QImage image = grab(rig);
        const QColor seen = pixelAt(image, fill, {fill->width() / 2, fill->height() / 2});
        const QColor expected =
            mix(theme.property("accent").value<QColor>(), theme.property("accentHover").value<QColor>(), 0.5);
        EXPECT_LE(distance(seen, expected), 12) << "seen " << name(seen) << ", expected " << name(expected);
    }

    MiningResults results;
    results.segments = {{1, 2, 9, "A001.wav", "hola a todos", "hello everyone", "Opening"},
                        {2, 12, 20, "A001.wav", "nací en el mar", "I was born by the sea", "Roots"}};
    wizard->pipeline()->setResults(results);
    wizard->advanceTo(int(MineStep::review));
    ASSERT_TRUE(waitForSettledPages(rig));
    QQuickItem* card = rig.find("cardOutline");
    ASSERT_TRUE(card);
    {
        SCOPED_TRACE("a closed review card");
        const QImage image = grab(rig);
        // In the card's right padding, halfway down its vertical glass gradient (white at 0.15 to
        // 0.05), over what lies beside the card.
        const QColor beside = pixelAt(image, card, {card->width() + 12, card->height() / 2});
        const QColor seen = pixelAt(image, card, {card->width() - 6, card->height() / 2});
        const QColor expected = over(QColor::fromRgbF(1, 1, 1, 0.10f), beside);
        EXPECT_LE(distance(seen, expected), 6) << "seen " << name(seen) << ", expected " << name(expected);
    }
}

