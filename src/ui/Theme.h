#pragma once
// The one dark visual language of every screen: colours, gradients, fonts, spacings and radii.
// QML reads it as the singleton `Theme`; sizes are pixels.

#include <QColor>
#include <QFont>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

// "#" and other non-hex characters are dropped; 3 digits are 12-bit RGB (each digit × 17), 6 are
// RGB, 8 are ARGB. Opaque unless 8 digits; any other length gives opaque black.
QColor colorFromHex(const QString& hex);

class Theme : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(QColor background MEMBER m_background CONSTANT)
    Q_PROPERTY(QColor foreground MEMBER m_foreground CONSTANT)
    Q_PROPERTY(QColor accent MEMBER m_accent CONSTANT)
    Q_PROPERTY(QColor accentHover MEMBER m_accentHover CONSTANT)
    Q_PROPERTY(QColor muted MEMBER m_muted CONSTANT)
    Q_PROPERTY(QColor border MEMBER m_border CONSTANT)
    Q_PROPERTY(QColor textMuted MEMBER m_textMuted CONSTANT)
    Q_PROPERTY(QColor textSecondary MEMBER m_textSecondary CONSTANT)
    Q_PROPERTY(QColor cardBg MEMBER m_cardBg CONSTANT)
    Q_PROPERTY(QColor cardBorder MEMBER m_cardBorder CONSTANT)
    Q_PROPERTY(QColor success MEMBER m_success CONSTANT)
    Q_PROPERTY(QColor warning MEMBER m_warning CONSTANT)
    Q_PROPERTY(QColor error MEMBER m_error CONSTANT)
    // The platform's named colours in their dark appearance.
    Q_PROPERTY(QColor blue MEMBER m_blue CONSTANT)
    Q_PROPERTY(QColor green MEMBER m_green CONSTANT)
    Q_PROPERTY(QColor purple MEMBER m_purple CONSTANT)
    Q_PROPERTY(QColor orange MEMBER m_orange CONSTANT)
    Q_PROPERTY(QColor red MEMBER m_red CONSTANT)
    Q_PROPERTY(QColor yellow MEMBER m_yellow CONSTANT)
    Q_PROPERTY(QColor pink MEMBER m_pink CONSTANT)
    Q_PROPERTY(QColor indigo MEMBER m_indigo CONSTANT)
    Q_PROPERTY(QColor teal MEMBER m_teal CONSTANT)
    Q_PROPERTY(QColor cyan MEMBER m_cyan CONSTANT)
    Q_PROPERTY(QColor mint MEMBER m_mint CONSTANT)
    Q_PROPERTY(QColor grey MEMBER m_grey CONSTANT)
    Q_PROPERTY(QColor pickaxeBrown MEMBER m_pickaxeBrown CONSTANT)

    // Two colours each, first to second; each component draws them in its own direction.
    Q_PROPERTY(QVariantList accentGradient MEMBER m_accentGradient CONSTANT)
    Q_PROPERTY(QVariantList subtleGradient MEMBER m_subtleGradient CONSTANT)
    Q_PROPERTY(QVariantList glassGradient MEMBER m_glassGradient CONSTANT)

    Q_PROPERTY(QString fontFamily MEMBER m_fontFamily CONSTANT)
    Q_PROPERTY(QString monoFamily MEMBER m_monoFamily CONSTANT)

    Q_PROPERTY(int spacing2 MEMBER m_spacing2 CONSTANT)
    Q_PROPERTY(int spacing4 MEMBER m_spacing4 CONSTANT)
    Q_PROPERTY(int spacing6 MEMBER m_spacing6 CONSTANT)
    Q_PROPERTY(int spacing8 MEMBER m_spacing8 CONSTANT)
    Q_PROPERTY(int spacing12 MEMBER m_spacing12 CONSTANT)
    Q_PROPERTY(int spacing16 MEMBER m_spacing16 CONSTANT)
    Q_PROPERTY(int spacing20 MEMBER m_spacing20 CONSTANT)
    Q_PROPERTY(int spacing24 MEMBER m_spacing24 CONSTANT)
    Q_PROPERTY(int spacing32 MEMBER m_spacing32 CONSTANT)
    Q_PROPERTY(int spacing40 MEMBER m_spacing40 CONSTANT)
    Q_PROPERTY(int radiusXs MEMBER m_radiusXs CONSTANT)
    Q_PROPERTY(int radiusSm MEMBER m_radiusSm CONSTANT)
    Q_PROPERTY(int radiusMd MEMBER m_radiusMd CONSTANT)
    Q_PROPERTY(int radiusLg MEMBER m_radiusLg CONSTANT)
    Q_PROPERTY(int radiusXl MEMBER m_radiusXl CONSTANT)

public:
    explicit Theme(QObject* parent = nullptr);

    // One of six gradient pairs, by index modulo 6.
    Q_INVOKABLE static QVariantList stepGradient(int index);
    Q_INVOKABLE static QColor hex(const QString& text) { return colorFromHex(text); }
    // A colour at another opacity: Theme.alpha(Theme.accent, 0.15).
    Q_INVOKABLE static QColor alpha(const QColor& color, qreal opacity);

    // The named text styles: largeTitle, title, title2, headline, body, callout, subheadline,
    // caption, caption2 and mono; `size` > 0 replaces the style's size, `weight` ("regular",
    // "medium", "semibold", "bold") its weight.
    Q_INVOKABLE QFont font(const QString& style, int size = 0, const QString& weight = QString()) const;

private:
    QColor m_background, m_foreground, m_accent, m_accentHover, m_muted, m_border, m_textMuted,
        m_textSecondary, m_cardBg, m_cardBorder, m_success, m_warning, m_error;
    QColor m_blue, m_green, m_purple, m_orange, m_red, m_yellow, m_pink, m_indigo, m_teal, m_cyan, m_mint,
        m_grey, m_pickaxeBrown;
    QVariantList m_accentGradient, m_subtleGradient, m_glassGradient;
    QString m_fontFamily, m_monoFamily;
    int m_spacing2 = 2;
    int m_spacing4 = 4;
    int m_spacing6 = 6;
    int m_spacing8 = 8;
    int m_spacing12 = 12;
    int m_spacing16 = 16;
    int m_spacing20 = 20;
    int m_spacing24 = 24;
    int m_spacing32 = 32;
    int m_spacing40 = 40;
    int m_radiusXs = 4;
    int m_radiusSm = 8;
    int m_radiusMd = 12;
    int m_radiusLg = 16;
    int m_radiusXl = 20;
};

} // namespace ondrel
