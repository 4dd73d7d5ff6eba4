// The Theme's colour reader and gradients, and the symbol table against the installed icon font and
// every symbol the screens name.
#include "ui/Theme.h"
#include "ui/Icons.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ondrel;

TEST(Theme, ColorFromHex) {
    const std::pair<const char*, QColor> cases[] = {
        {"0C0C0E", QColor(12, 12, 14)},
        {"#e8440a", QColor(232, 68, 10)},
        {"#FA3", QColor(255, 170, 51)},
        {"80FF0000", QColor(255, 0, 0, 128)},
        {"#zz12-34-56", QColor(18, 52, 86)},
        {"12345", QColor(0, 0, 0)},
        {"", QColor(0, 0, 0)},
    };
    for (const auto& [text, color] : cases)
        EXPECT_EQ(colorFromHex(text), color) << text;
    EXPECT_EQ(Theme::stepGradient(7), Theme::stepGradient(1));
    EXPECT_EQ(Theme::stepGradient(-1), Theme::stepGradient(5));
    EXPECT_EQ(Theme::stepGradient(2).value(1).value<QColor>(), QColor(0x63, 0xE6, 0xBE));
}

TEST(Icons, EverySymbolTheScreensNameHasTheGlyphOfItsIcon) {
    // The font's own names and code points, from the package's SVG font.
    QFile svg("/usr/share/fonts/svg/materialdesignicons-webfont/materialdesignicons-webfont.svg");
    ASSERT_TRUE(svg.open(QIODevice::ReadOnly)) << "fonts-materialdesignicons-webfont is not installed";
    QHash<QString, uint> font;
    const QRegularExpression glyph(R"re(glyph-name="([^"]+)"\s+unicode="&#x([0-9A-Fa-f]+);")re");
    for (auto it = glyph.globalMatch(QString::fromUtf8(svg.readAll())); it.hasNext();) {
        const auto m = it.next();
        font.insert(m.captured(1), m.captured(2).toUInt(nullptr, 16));
    }
    QSet<QString> known;
    for (const SymbolGlyph& g : symbolGlyphs()) {
        EXPECT_EQ(font.value(g.mdiName), uint(g.codepoint)) << g.symbol << " → " << g.mdiName;
        known.insert(g.symbol);
    }

    // Every symbol named in a screen (always as `symbol: "..."`, plain or in a choice).
    const QRegularExpression line(R"(symbol:\s*([^\n]+))");
    const QRegularExpression quoted(R"re("([^"]*)")re");
    int named = 0;
    for (QDirIterator it(ONDREL_QML_DIR, {"*.qml"}, QDir::Files, QDirIterator::Subdirectories);
         it.hasNext();) {
        QFile file(it.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        for (auto l = line.globalMatch(QString::fromUtf8(file.readAll())); l.hasNext();)
            for (auto q = quoted.globalMatch(l.next().captured(1)); q.hasNext();) {
                const QString symbol = q.next().captured(1);
                if (symbol.isEmpty())
                    continue;
                ++named;
                EXPECT_TRUE(known.contains(symbol))
                    << symbol.toStdString() << " in " << file.fileName().toStdString();
            }
    }
    EXPECT_GT(named, 0);
}
