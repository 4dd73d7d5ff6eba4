#pragma once
// Strict record decoding that can say why it refused: the same rules as decodeJson, plus a
// message naming the first place where the document and the record part ways.

#include "Json.h"

#include <QString>

#include <optional>
#include <variant>

namespace ondrel {

// Where the document and the record first part ways: a value that is missing (or null where one
// is required), or a value of another shape.
struct DecodeProblem {
    bool missing = false;
    QString text;
};

namespace decode_detail {

QString kindOf(const Json& j);
QString at(const QString& path);
QString keyPath(const QString& path, const char* key);
QString indexPath(const QString& path, std::size_t index);

using Problem = std::optional<DecodeProblem>;

inline Problem mismatch(const Json& j, const QString& path, const char* wanted) {
    return DecodeProblem{false,
                         QStringLiteral("Expected %1%2, found %3.").arg(QString::fromLatin1(wanted), at(path), kindOf(j))};
}

inline Problem why(const Json& j, const QString& path, const double&) {
    if (!j.is_number())
        return mismatch(j, path, "a number");
    return std::nullopt;
}

inline Problem why(const Json& j, const QString& path, const qint64&) {
    qint64 ignored = 0;
    if (!readJson(j, ignored))
        return mismatch(j, path, "a whole number");
    return std::nullopt;
}

inline Problem why(const Json& j, const QString& path, const bool&) {
    if (!j.is_boolean())
        return mismatch(j, path, "true or false");
    return std::nullopt;
}

inline Problem why(const Json& j, const QString& path, const QString&) {
    if (!j.is_string())
        return mismatch(j, path, "a string");
    return std::nullopt;
}

template <class T> Problem why(const Json& j, const QString& path, const QList<T>&);
template <JsonRecord R> Problem why(const Json& j, const QString& path, const R&);

template <class T> Problem why(const Json& j, const QString& path, const QList<T>&) {
    if (!j.is_array())
        return mismatch(j, path, "a list");
    std::size_t i = 0;
    for (const Json& item : j) {
        if (auto reason = why(item, indexPath(path, i), T{}))
            return reason;
        ++i;
    }
    return std::nullopt;
}

template <JsonRecord R> Problem why(const Json& j, const QString& path, const R&) {
    if (!j.is_object())
        return mismatch(j, path, "an object");
    Problem reason;
    std::apply(
        [&](const auto&... f) {
            auto one = [&](const auto& fd) {
                if (reason)
                    return;
                using M = std::remove_cvref_t<decltype(std::declval<R&>().*(fd.member))>;
                const QString where = keyPath(path, fd.key);
                const auto it = j.find(fd.key);
                const bool missing = it == j.end() || it->is_null();
                if constexpr (IsOptional<M>::value) {
                    if (!missing)
                        reason = why(*it, where, typename M::value_type{});
                } else if (missing) {
                    reason = DecodeProblem{true, QStringLiteral("No value%1.").arg(at(where))};
                } else {
                    reason = why(*it, where, M{});
                }
            };
            (one(f), ...);
        },
        JsonFields<R>::fields);
    return reason;
}

} // namespace decode_detail

template <class T> using Decoded = std::variant<T, QString>;

// The record, or the reason it could not be read, in words for the log.
QString describeParseFailure(const QByteArray& bytes);

template <class T> Decoded<T> decodeExplained(const QByteArray& bytes) {
    const std::optional<Json> j = parseJson(bytes);
    if (!j)
        return describeParseFailure(bytes);
    if (std::optional<T> value = decodeJson<T>(*j))
        return std::move(*value);
    if (auto reason = decode_detail::why(*j, QString(), T{}))
        return reason->text;
    return QStringLiteral("The data could not be read.");
}

// Why the bytes are not a T, in the words of the platform's own record decoder, which tells only
// a missing value from every other fault (bad JSON, wrong shape). Fields are checked in declared
// order, so the first fault decides, as it does for that decoder.
template <class T> QString decoderDescription(const QByteArray& bytes) {
    const std::optional<Json> j = parseJson(bytes);
    const auto reason = j ? decode_detail::why(*j, QString(), T{}) : std::nullopt;
    return reason && reason->missing ? QStringLiteral("The data couldn’t be read because it is missing.")
                                     : QStringLiteral("The data couldn’t be read because it isn’t in the correct format.");
}

} // namespace ondrel
