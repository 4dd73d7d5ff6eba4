#include "DecodeError.h"

namespace ondrel {

namespace decode_detail {

QString kindOf(const Json& j) {
    switch (j.type()) {
    case Json::value_t::null:
        return QStringLiteral("null");
    case Json::value_t::object:
        return QStringLiteral("an object");
    case Json::value_t::array:
        return QStringLiteral("a list");
    case Json::value_t::string:
        return QStringLiteral("a string");
    case Json::value_t::boolean:
        return QStringLiteral("a boolean");
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
    case Json::value_t::number_float:
        return QStringLiteral("the number ") + QString::fromStdString(j.dump());
    default:
        return QStringLiteral("something else");
    }
}

QString at(const QString& path) {
    return path.isEmpty() ? QStringLiteral(" at the top level") : QStringLiteral(" at \"%1\"").arg(path);
}

QString keyPath(const QString& path, const char* key) {
    const QString name = QString::fromLatin1(key);
    return path.isEmpty() ? name : path + QLatin1Char('.') + name;
}

QString indexPath(const QString& path, std::size_t index) {
    return path + QStringLiteral("[%1]").arg(qulonglong(index));
}

} // namespace decode_detail

QString describeParseFailure(const QByteArray& bytes) {
    try {
        [[maybe_unused]] const Json parsed = Json::parse(bytes.begin(), bytes.end());
    } catch (const Json::parse_error& e) {
        return QStringLiteral("The data isn't valid JSON (at byte %1).").arg(qulonglong(e.byte));
    } catch (const std::exception&) {
    }
    return QStringLiteral("The data isn't valid JSON.");
}

} // namespace ondrel
