#include "PythonProgram.h"

#include <QFile>

namespace ondrel {

QString scriptResource(const QString& name) {
    QFile file(QStringLiteral(":/ondrel/scripts/") + name);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

QString pythonStringLiteral(const QString& text) {
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == '\\')
            out += QStringLiteral("\\\\");
        else if (u == '"')
            out += QStringLiteral("\\\"");
        else if (u >= 0x20 && u < 0x7f)
            out += c;
        else
            out += QStringLiteral("\\u%1").arg(uint(u), 4, 16, QLatin1Char('0'));
    }
    out += QLatin1Char('"');
    return out;
}

QString pythonProgram(const QString& body, const Json& args) {
    const std::string json = args.dump(-1, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace);
    return QStringLiteral("import json\nARGS = json.loads(") +
           pythonStringLiteral(QString::fromStdString(json)) + QStringLiteral(")\n") + body;
}

} // namespace ondrel
