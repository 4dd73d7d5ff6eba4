#include "AnswerText.h"

#include "core/Json.h"

#include <QStringDecoder>
#include <QStringEncoder>

#include <cmath>
#include <cstdio>
#include <limits>

namespace ondrel {

std::optional<QByteArray> strictUtf8Bytes(const QString& text) {
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    QByteArray bytes = encoder.encode(text);
    if (encoder.hasError())
        return std::nullopt;
    return bytes;
}

namespace {

bool isSpaceOrTab(QChar c) {
    return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space;
}

} // namespace

QString trimSpacesAndTabs(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isSpaceOrTab(text.at(begin)))
        ++begin;
    while (end > begin && isSpaceOrTab(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

std::optional<QString> answerTextFromBody(const QByteArray& body) {
    const std::optional<Json> parsed = parseJson(body);
    if (!parsed || !parsed->is_object())
        return std::nullopt;
    const auto content = parsed->find("content");
    if (content == parsed->end() || !content->is_array())
        return std::nullopt;
    // All of `content` must be objects, as a whole-array cast would demand.
    for (const Json& block : *content)
        if (!block.is_object())
            return std::nullopt;
    for (const Json& block : *content) {
        const auto type = block.find("type");
        if (type == block.end() || !type->is_string() || type->get_ref<const std::string&>() != "text")
            continue;
        QString text;
        const auto value = block.find("text");
        if (value == block.end() || !readJson(*value, text))
            return std::nullopt;
        return text;
    }
    return std::nullopt;
}

namespace {

std::string stringField(const Json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

} // namespace

StreamedAnswer readAnswerEvents(const QByteArray& body) {
    StreamedAnswer answer;
    std::optional<qint64> textBlock;
    QByteArray data;
    const auto dispatch = [&] {
        const std::optional<Json> event = data.isEmpty() ? std::nullopt : parseJson(data);
        data.clear();
        if (!event || !event->is_object())
            return;
        const std::string type = stringField(*event, "type");
        const auto index = event->find("index");
        const std::optional<qint64> at = index != event->end() && index->is_number_integer()
                                             ? std::optional<qint64>(index->get<qint64>())
                                             : std::nullopt;
        if (type == "content_block_start") {
            const auto block = event->find("content_block");
            if (textBlock || !at || block == event->end() || !block->is_object() ||
                stringField(*block, "type") != "text")
                return;
            textBlock = at;
            answer.text = QString::fromStdString(stringField(*block, "text"));
        } else if (type == "content_block_delta") {
            const auto delta = event->find("delta");
            if (!textBlock || at != textBlock || delta == event->end() || !delta->is_object() ||
                stringField(*delta, "type") != "text_delta")
                return;
            *answer.text += QString::fromStdString(stringField(*delta, "text"));
        } else if (type == "message_delta") {
            const auto delta = event->find("delta");
            if (delta != event->end() && delta->is_object())
                answer.stopReason = QString::fromStdString(stringField(*delta, "stop_reason"));
        } else if (type == "message_stop") {
            answer.complete = true;
        } else if (type == "error") {
            const auto error = event->find("error");
            std::string message;
            if (error != event->end() && error->is_object()) {
                message = stringField(*error, "message");
                if (message.empty())
                    message = stringField(*error, "type");
            }
            answer.error = message.empty() ? QStringLiteral("unknown") : QString::fromStdString(message);
        }
    };
    for (QByteArray line : body.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.isEmpty()) {
            dispatch();
        } else if (line.startsWith("data:")) {
            QByteArray value = line.mid(5);
            if (value.startsWith(' '))
                value.remove(0, 1);
            if (!data.isEmpty())
                data += '\n';
            data += value;
        }
    }
    dispatch();
    return answer;
}

QString cleanAnswerText(const QString& answer) {
    QString text = answer.trimmed();

    if (text.startsWith(QLatin1String("```"))) {
        QStringList lines = text.split(QLatin1Char('\n'));
        lines.removeFirst();
        while (!lines.isEmpty() && trimSpacesAndTabs(lines.last()).startsWith(QLatin1String("```")))
            lines.removeLast();
        text = lines.join(QLatin1Char('\n'));
    }

    const qsizetype first = text.indexOf(QLatin1Char('{'));
    const qsizetype last = text.lastIndexOf(QLatin1Char('}'));
    if (first != -1 && last != -1 && first <= last)
        text = text.mid(first, last - first + 1);
    return text;
}

qint64 truncatedToInteger(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= 9.2233720368547758e18)
        return std::numeric_limits<qint64>::max();
    if (value <= -9.2233720368547758e18)
        return std::numeric_limits<qint64>::min();
    return static_cast<qint64>(value);
}

QString formatFixed(double value, int decimals) {
    // C's own formatting: halves go to the nearest even digit, as the documented formats do.
    char buffer[400];
    const int n = std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    if (n < 0)
        return {};
    return QString::fromLatin1(buffer, qMin<qsizetype>(n, qsizetype(sizeof buffer) - 1));
}

} // namespace ondrel
