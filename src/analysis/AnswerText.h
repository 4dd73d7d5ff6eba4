#pragma once
// The model's answer as text: finding it in the response body, cleaning it down to its JSON
// object, and the character-level helpers the log lines need. No I/O; every function takes any
// bytes at all and never fails hard.

#include "core/Text.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ondrel {

// The text encoded as UTF-8, or absent when it holds a lone surrogate.
std::optional<QByteArray> strictUtf8Bytes(const QString& text);

// Leading and trailing spaces and tabs only (not line breaks).
QString trimSpacesAndTabs(const QString& text);

// The first content block of type "text" of a Messages API answer, or absent when the body is
// no JSON object, `content` is no array of objects, or that block has no string `text`.
std::optional<QString> answerTextFromBody(const QByteArray& body);

// A streamed answer of the Messages API, read from its server-sent events.
struct StreamedAnswer {
    std::optional<QString> text;  // the first text block, absent when the stream carried none
    QString stopReason;           // "end_turn", "max_tokens"…; empty before the message's end
    std::optional<QString> error; // an error event's message
    bool complete = false;        // the message's stop event came
};
// Any bytes at all; unknown events and lines are passed over.
StreamedAnswer readAnswerEvents(const QByteArray& body);

// Trims, removes a ``` fence (with or without a language tag) and cuts the text to what runs
// from its first "{" to its last "}". A text whose last "}" stands before its first "{" is left
// as it is, to fail decoding like any other answer that holds no object.
QString cleanAnswerText(const QString& text);

// A double cut towards zero, saturating instead of overflowing (NaN gives 0).
qint64 truncatedToInteger(double value);

// printf-style formatting of one double ("%.1f", "%.0f"), with C's rounding.
QString formatFixed(double value, int decimals);

} // namespace ondrel
