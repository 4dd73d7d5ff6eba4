#include "Json.h"

namespace ondrel {

std::optional<Json> parseJson(const QByteArray& bytes) {
    Json j = Json::parse(bytes.begin(), bytes.end(), nullptr, /*allow_exceptions=*/false);
    if (j.is_discarded())
        return std::nullopt;
    return j;
}

bool containsNonFinite(const Json& j) {
    if (j.is_number_float())
        return !std::isfinite(j.get<double>());
    if (j.is_structured()) {
        for (const auto& item : j)
            if (containsNonFinite(item))
                return true;
    }
    return false;
}

std::optional<QByteArray> dumpJson(const Json& j, int indent) {
    if (containsNonFinite(j))
        return std::nullopt;
    const std::string text = j.dump(indent, ' ', false, Json::error_handler_t::replace);
    return QByteArray(text.data(), qsizetype(text.size()));
}

nlohmann::json sortedKeys(const Json& j) {
    // nlohmann::json keeps object keys in a std::map, so a copy through it sorts them.
    return nlohmann::json::parse(j.dump(-1, ' ', false, Json::error_handler_t::replace), nullptr, false);
}

} // namespace ondrel
