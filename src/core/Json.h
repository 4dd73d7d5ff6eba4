#pragma once
// Strict JSON codecs for plain value records.
//
// A record opts in by specialising JsonFields<R> with a tuple of field(key, member) entries in
// declaration order. Decoding refuses a record whose required field is missing, null or of the
// wrong type; optional members (std::optional) read null as absent and are left out on encode.
// Unknown keys are ignored. Integer members refuse fractional numbers.

#include <QByteArray>
#include <QList>
#include <QString>

#include <cmath>
#include <cstdint>
#include <optional>
#include <tuple>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace ondrel {

using Json = nlohmann::ordered_json;

template <class R, class M> struct FieldDesc {
    const char* key;
    M R::*member;
};

template <class R, class M> constexpr FieldDesc<R, M> field(const char* key, M R::*member) {
    return {key, member};
}

// Specialise with: static constexpr auto fields = std::make_tuple(field("a", &R::a), ...);
template <class R> struct JsonFields;

template <class R>
concept JsonRecord = requires {
    JsonFields<R>::fields;
};

template <class T> struct IsOptional : std::false_type {};
template <class T> struct IsOptional<std::optional<T>> : std::true_type {};

// ---- scalar readers -------------------------------------------------------------------------

inline bool readJson(const Json& j, double& out) {
    if (!j.is_number())
        return false;
    out = j.get<double>();
    return true;
}

inline bool readJson(const Json& j, qint64& out) {
    if (j.is_number_integer()) {
        if (j.is_number_unsigned() && j.get<std::uint64_t>() > std::uint64_t(INT64_MAX))
            return false;
        out = j.get<qint64>();
        return true;
    }
    if (j.is_number_float()) {
        // An integral value written with a fraction part (8.0) is still that integer; 8.5 is not.
        const double d = j.get<double>();
        if (!std::isfinite(d) || std::trunc(d) != d || d < -9.2233720368547758e18 ||
            d >= 9.2233720368547758e18)
            return false;
        out = static_cast<qint64>(d);
        return true;
    }
    return false;
}

inline bool readJson(const Json& j, bool& out) {
    if (!j.is_boolean())
        return false;
    out = j.get<bool>();
    return true;
}

inline bool readJson(const Json& j, QString& out) {
    if (!j.is_string())
        return false;
    const auto& s = j.get_ref<const std::string&>();
    out = QString::fromUtf8(s.data(), qsizetype(s.size()));
    return true;
}

template <class T> bool readJson(const Json& j, QList<T>& out);
template <JsonRecord R> bool readJson(const Json& j, R& out);

template <class T> bool readJson(const Json& j, QList<T>& out) {
    if (!j.is_array())
        return false;
    QList<T> list;
    list.reserve(qsizetype(j.size()));
    for (const auto& item : j) {
        T value{};
        if (!readJson(item, value))
            return false;
        list.push_back(std::move(value));
    }
    out = std::move(list);
    return true;
}

template <JsonRecord R> bool readJson(const Json& j, R& out) {
    if (!j.is_object())
        return false;
    R record{};
    bool ok = true;
    std::apply(
        [&](const auto&... f) {
            auto one = [&](const auto& fd) {
                if (!ok)
                    return;
                using M = std::remove_cvref_t<decltype(record.*(fd.member))>;
                auto it = j.find(fd.key);
                if constexpr (IsOptional<M>::value) {
                    if (it == j.end() || it->is_null()) {
                        record.*(fd.member) = std::nullopt;
                        return;
                    }
                    typename M::value_type value{};
                    if (!readJson(*it, value)) {
                        ok = false;
                        return;
                    }
                    record.*(fd.member) = std::move(value);
                } else {
                    if (it == j.end() || it->is_null() || !readJson(*it, record.*(fd.member)))
                        ok = false;
                }
            };
            (one(f), ...);
        },
        JsonFields<R>::fields);
    if (!ok)
        return false;
    out = std::move(record);
    return true;
}

// ---- writers --------------------------------------------------------------------------------

inline Json toJson(double v) {
    return Json(v);
}
inline Json toJson(qint64 v) {
    return Json(static_cast<std::int64_t>(v));
}
inline Json toJson(bool v) {
    return Json(v);
}
inline Json toJson(const QString& v) {
    return Json(v.toStdString());
}

template <class T> Json toJson(const QList<T>& list);
template <JsonRecord R> Json toJson(const R& record);

template <class T> Json toJson(const QList<T>& list) {
    Json arr = Json::array();
    for (const auto& v : list)
        arr.push_back(toJson(v));
    return arr;
}

template <JsonRecord R> Json toJson(const R& record) {
    Json obj = Json::object();
    std::apply(
        [&](const auto&... f) {
            auto one = [&](const auto& fd) {
                using M = std::remove_cvref_t<decltype(record.*(fd.member))>;
                if constexpr (IsOptional<M>::value) {
                    if ((record.*(fd.member)).has_value())
                        obj[fd.key] = toJson(*(record.*(fd.member)));
                } else {
                    obj[fd.key] = toJson(record.*(fd.member));
                }
            };
            (one(f), ...);
        },
        JsonFields<R>::fields);
    return obj;
}

// ---- text -----------------------------------------------------------------------------------

// Parses bytes; a syntax error, truncation or invalid UTF-8 gives no value.
std::optional<Json> parseJson(const QByteArray& bytes);

// True when the tree holds a NaN or an infinity, which JSON cannot carry.
bool containsNonFinite(const Json& j);

// Compact (indent < 0) or pretty text. Non-finite numbers make the encoding fail.
std::optional<QByteArray> dumpJson(const Json& j, int indent = -1);

// Same tree with every object's keys in sorted order.
nlohmann::json sortedKeys(const Json& j);

template <class T> std::optional<T> decodeJson(const Json& j) {
    T value{};
    if (!readJson(j, value))
        return std::nullopt;
    return value;
}

template <class T> std::optional<T> decodeJson(const QByteArray& bytes) {
    auto j = parseJson(bytes);
    if (!j)
        return std::nullopt;
    return decodeJson<T>(*j);
}

// The plain encoder: compact, declared key order.
template <class T> std::optional<QByteArray> encodeJson(const T& value) {
    return dumpJson(toJson(value));
}

} // namespace ondrel
