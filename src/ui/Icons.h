#pragma once
// The screens name their symbols as the platform's symbol set does ("person.circle"); one table maps
// each to a glyph of the Material Design Icons font from Debian's fonts-materialdesignicons-webfont.

#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace ondrel {

struct SymbolGlyph {
    const char* symbol;  // the screens' name
    const char* mdiName; // the icon's name in the font (checked against the installed font)
    char16_t codepoint;
};

// Every symbol a screen may name.
const QList<SymbolGlyph>& symbolGlyphs();

class Icons : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QString family READ family CONSTANT)

public:
    using QObject::QObject;
    static QString family() { return QStringLiteral("Material Design Icons"); }
    // The glyph's text; "" (and a warning) for a symbol without an entry.
    Q_INVOKABLE static QString glyph(const QString& symbol);
};

} // namespace ondrel
