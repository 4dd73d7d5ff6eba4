#include "PythonProgram.h"

#include <QFile>

namespace ondrel {

QString scriptResource(const QString& name) {
    QFile file(QStringLiteral(":/ondrel/scripts/") + name);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

PythonProgram pythonProgram(const QString& body, const Json& args) {
    // ASCII only and read as bytes, so the interpreter's locale cannot change what arrives.
    const std::string json = args.dump(-1, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace);
    return {QStringLiteral("import json\nimport sys\nARGS = json.loads(sys.stdin.buffer.read())\n") + body,
            QByteArray::fromStdString(json)};
}

} // namespace ondrel
