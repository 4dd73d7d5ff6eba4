#include "Icons.h"

#include <QDebug>
#include <QHash>

namespace ondrel {

const QList<SymbolGlyph>& symbolGlyphs() {
    static const QList<SymbolGlyph> table = {
        // Shell and account screens.
        {"waveform.badge.magnifyingglass", "magnify", 0xF349},
        {"person.circle", "account-circle", 0xF009},
        {"arrow.triangle.2.circlepath", "sync", 0xF4E6},
        {"globe", "earth", 0xF1E7},
        {"key.fill", "key", 0xF306},
        {"exclamationmark.triangle.fill", "alert", 0xF026},
        {"arrow.clockwise", "refresh", 0xF450},
        {"diamond.fill", "diamond", 0xF1C8},
        {"plus.circle.fill", "plus-circle", 0xF417},
        {"creditcard.fill", "credit-card", 0xF19B},
        {"rectangle.portrait.and.arrow.right", "logout", 0xF343},
        {"arrow.down.circle.fill", "arrow-down-bold-circle", 0xF047},
        {"square.and.arrow.down.fill", "download", 0xF1DA},
        {"checkmark.circle.fill", "check-circle", 0xF5E0},
        {"puzzlepiece.extension.fill", "puzzle", 0xF431},
        {"info.circle.fill", "information", 0xF2FC},
        {"trash.fill", "delete", 0xF1C0},
        // The wizard.
        {"checkmark", "check", 0xF12C},
        {"waveform", "pulse", 0xF430},
        {"arrow.right", "arrow-right", 0xF054},
        {"arrow.left", "arrow-left", 0xF04D},
        {"arrow.right.circle", "arrow-right-bold-circle-outline", 0xF057},
        {"arrow.triangle.swap", "swap-horizontal", 0xF4E1},
        {"clock.arrow.circlepath", "history", 0xF2DA},
        {"wand.and.stars", "auto-fix", 0xF068},
        {"sparkles", "star-circle", 0xF4CF},
        {"slider.horizontal.3", "tune", 0xF62E},
        {"paintbrush", "brush", 0xF0E3},
        {"play.fill", "play", 0xF40A},
        {"stop.fill", "stop", 0xF4DB},
        {"trash", "delete", 0xF1C0},
        {"chevron.down", "chevron-down", 0xF140},
        {"chevron.up", "chevron-up", 0xF143},
        {"circle", "checkbox-blank-circle-outline", 0xF130},
        {"circle.fill", "checkbox-blank-circle", 0xF12F},
        {"star.fill", "star", 0xF4CE},
        {"hand.thumbsup", "thumb-up-outline", 0xF514},
        {"hand.thumbsup.fill", "thumb-up", 0xF513},
        {"hand.thumbsdown", "thumb-down-outline", 0xF512},
        {"hand.thumbsdown.fill", "thumb-down", 0xF511},
        {"lightbulb.fill", "lightbulb", 0xF335},
        {"xmark.circle.fill", "close-circle", 0xF159},
        {"doc.plaintext", "file-document", 0xF219},
        {"doc.richtext", "file-document-box", 0xF21A},
        {"doc.text", "note-text", 0xF39E},
        {"film", "film", 0xF22F},
        {"film.stack", "filmstrip", 0xF230},
        {"text.bubble", "comment-text", 0xF188},
        {"list.bullet", "format-list-bulleted", 0xF279},
        {"list.bullet.rectangle", "view-list", 0xF572},
        {"list.number", "format-list-numbers", 0xF27B},
        {"folder", "folder", 0xF24B},
        {"square.and.arrow.up", "export", 0xF207},
        {"link", "link", 0xF337},
        {"clock", "clock", 0xF150},
        // The style presets.
        {"eye", "eye", 0xF208},
        {"briefcase", "briefcase", 0xF0D6},
        {"fork.knife", "silverware-fork", 0xF4A4},
        {"flame", "fire", 0xF238},
        {"bolt", "flash", 0xF241},
        {"text.book.closed", "book-open-variant", 0xF0BE},
        {"mountain.2", "terrain", 0xF509},
        {"person.crop.circle", "account-circle", 0xF009},
    };
    return table;
}

QString Icons::glyph(const QString& symbol) {
    static const QHash<QString, QString> glyphs = [] {
        QHash<QString, QString> map;
        for (const SymbolGlyph& g : symbolGlyphs())
            map.insert(QString::fromLatin1(g.symbol), QString(QChar(g.codepoint)));
        return map;
    }();
    if (symbol.isEmpty())
        return {};
    const auto it = glyphs.constFind(symbol);
    if (it == glyphs.constEnd()) {
        qWarning().noquote() << "No icon for the symbol" << symbol;
        return {};
    }
    return it.value();
}

} // namespace ondrel
