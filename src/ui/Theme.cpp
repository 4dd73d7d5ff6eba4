#include "Theme.h"

#include <QFontDatabase>
#include <QHash>

namespace ondrel {

QColor colorFromHex(const QString& hex) {
    QString digits;
    for (const QChar c : hex)
        if (c.isDigit() || (c.toLower() >= u'a' && c.toLower() <= u'f'))
            digits += c;
    const quint64 v = digits.size() <= 16 ? digits.toULongLong(nullptr, 16) : 0;
    switch (digits.size()) {
    case 3:
        return QColor(int((v >> 8) & 0xF) * 17, int((v >> 4) & 0xF) * 17, int(v & 0xF) * 17);
    case 6:
        return QColor(int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF));
    case 8:
        return QColor(int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF), int((v >> 24) & 0xFF));
    default:
        return QColor(0, 0, 0);
    }
}

namespace {

QColor white(qreal opacity) {
    QColor c(Qt::white);
    c.setAlphaF(float(opacity));
    return c;
}

QString firstInstalled(const QStringList& families) {
    const QStringList installed = QFontDatabase::families();
    for (const QString& f : families)
        if (installed.contains(f))
            return f;
    return families.last();
}

} // namespace

Theme::Theme(QObject* parent)
    : QObject(parent)
    , m_background(colorFromHex("0C0C0E"))
    , m_foreground(colorFromHex("F5F5F7"))
    , m_accent(colorFromHex("e8440a"))
    , m_accentHover(colorFromHex("ff5a20"))
    , m_muted(colorFromHex("1C1C1E"))
    , m_border(colorFromHex("2C2C2E"))
    , m_textMuted(colorFromHex("8E8E93"))
    , m_textSecondary(colorFromHex("AEAEB2"))
    , m_cardBg(colorFromHex("1C1C1E"))
    , m_cardBorder(white(0.06))
    , m_success(colorFromHex("30D158"))
    , m_warning(colorFromHex("FFD60A"))
    , m_error(colorFromHex("FF453A"))
    , m_blue(colorFromHex("0A84FF"))
    , m_green(colorFromHex("30D158"))
    , m_purple(colorFromHex("BF5AF2"))
    , m_orange(colorFromHex("FF9F0A"))
    , m_red(colorFromHex("FF453A"))
    , m_yellow(colorFromHex("FFD60A"))
    , m_pink(colorFromHex("FF375F"))
    , m_indigo(colorFromHex("5E5CE6"))
    , m_teal(colorFromHex("40C8E0"))
    , m_cyan(colorFromHex("64D2FF"))
    , m_mint(colorFromHex("66D4CF"))
    , m_grey(colorFromHex("98989D"))
    , m_pickaxeBrown(QColor::fromRgbF(0.55f, 0.41f, 0.08f))
    , m_accentGradient{colorFromHex("e8440a"), colorFromHex("FF6B35")}
    , m_subtleGradient{white(0.1), white(0.02)}
    , m_glassGradient{white(0.15), white(0.05)}
    // Close to the platform's system faces, from Debian's packages; the toolkit's default else.
    , m_fontFamily(firstInstalled(
          {QStringLiteral("Inter"), QFontDatabase::systemFont(QFontDatabase::GeneralFont).family()}))
    , m_monoFamily(firstInstalled({QStringLiteral("JetBrains Mono"),
                                   QFontDatabase::systemFont(QFontDatabase::FixedFont).family()})) {}

QVariantList Theme::stepGradient(int index) {
    static const char* pairs[6][2] = {{"e8440a", "FF6B35"}, {"5E5CE6", "BF5AF2"}, {"30D158", "63E6BE"},
                                      {"0A84FF", "5AC8FA"}, {"FF375F", "FF6482"}, {"FFD60A", "FF9F0A"}};
    const int i = ((index % 6) + 6) % 6;
    return {colorFromHex(QLatin1String(pairs[i][0])), colorFromHex(QLatin1String(pairs[i][1]))};
}

QColor Theme::alpha(const QColor& color, qreal opacity) {
    QColor c = color;
    c.setAlphaF(float(color.alphaF() * opacity));
    return c;
}

QFont Theme::font(const QString& style, int size, const QString& weight) const {
    struct Style {
        int size;
        QFont::Weight weight;
    };
    static const QHash<QString, Style> styles = {
        {QStringLiteral("largeTitle"), {32, QFont::Bold}},
        {QStringLiteral("title"), {24, QFont::DemiBold}},
        {QStringLiteral("title2"), {20, QFont::DemiBold}},
        {QStringLiteral("headline"), {15, QFont::DemiBold}},
        {QStringLiteral("body"), {13, QFont::Normal}},
        {QStringLiteral("callout"), {14, QFont::Normal}},
        {QStringLiteral("subheadline"), {12, QFont::Normal}},
        {QStringLiteral("caption"), {11, QFont::Normal}},
        {QStringLiteral("caption2"), {10, QFont::Normal}},
        {QStringLiteral("mono"), {11, QFont::Normal}},
    };
    static const QHash<QString, QFont::Weight> weights = {{QStringLiteral("regular"), QFont::Normal},
                                                          {QStringLiteral("medium"), QFont::Medium},
                                                          {QStringLiteral("semibold"), QFont::DemiBold},
                                                          {QStringLiteral("bold"), QFont::Bold}};
    const Style s = styles.value(style, styles.value(QStringLiteral("body")));
    QFont f(style == QLatin1String("mono") ? m_monoFamily : m_fontFamily);
    f.setPixelSize(size > 0 ? size : s.size);
    f.setWeight(weight.isEmpty() ? s.weight : weights.value(weight, s.weight));
    return f;
}

} // namespace ondrel
