#include "ClaudeRequest.h"

#include "AnswerText.h"
#include "core/Retry.h"

#include <cmath>

namespace ondrel {

qint64 promptTokensAtMost(qsizetype promptChars) {
    return qint64(std::ceil(double(promptChars) / 3.5));
}

namespace {

ClaudeCall streamedCall(qint64 tokens, qsizetype promptChars) {
    // Room for the answer beside the prompt, less a margin for the message's own tokens.
    const qint64 room = CLAUDE_CONTEXT_TOKENS - promptTokensAtMost(promptChars) - 1000;
    const qint64 most = std::min<qint64>(CLAUDE_OUTPUT_LIMIT, room);
    return {int(std::max<qint64>(CLAUDE_MAX_TOKENS, std::min(tokens, most))), true};
}

} // namespace

ClaudeCall callForAnswer(qint64 tokens, qsizetype promptChars) {
    return tokens <= CLAUDE_MAX_TOKENS ? ClaudeCall{} : streamedCall(tokens, promptChars);
}

ClaudeCall storyCall(double targetMinutes, qsizetype promptChars) {
    if (!(targetMinutes > 10))
        return {};
    return streamedCall(qint64(std::ceil(std::min(targetMinutes, 1e6) * kAnswerTokensPerStoryMinute)),
                        promptChars);
}

std::optional<QByteArray> claudeRequestBody(const QString& prompt, ClaudeCall call) {
    const std::optional<QByteArray> promptBytes = strictUtf8Bytes(prompt);
    if (!promptBytes)
        return std::nullopt;
    Json message = Json::object();
    message["role"] = "user";
    message["content"] = std::string(promptBytes->constData(), std::size_t(promptBytes->size()));
    Json body = Json::object();
    body["model"] = CLAUDE_MODEL;
    body["max_tokens"] = call.maxTokens;
    body["messages"] = Json::array({message});
    if (call.stream)
        body["stream"] = true;
    return dumpJson(body);
}

RequestsAhead::MakeRequest claudeRequest(LocalPipeline& pipeline, QByteArray body, ClaudeCall call) {
    return [&pipeline, body = std::move(body), call]() -> std::optional<HttpRequest> {
        HttpRequest request;
        request.method = "POST";
        request.url = pipeline.endpoints().messagesUrl();
        request.headers = {{"x-api-key", pipeline.anthropicKey().toUtf8()},
                           {"anthropic-version", "2023-06-01"},
                           {"content-type", "application/json"}};
        request.body = body;
        // Qt's time-out counts from the last byte: for the documented call, which answers in one
        // piece, that is the whole wait; a stream must only keep talking.
        request.timeout = call.stream ? CLAUDE_STREAM_SILENCE : CLAUDE_TIMEOUT;
        return request;
    };
}

namespace {

std::optional<CleanedAnswer> cleaned(LocalPipeline& pipeline, const QString& answer) {
    CleanedAnswer out;
    out.text = cleanAnswerText(answer);
    const std::optional<QByteArray> data = strictUtf8Bytes(out.text);
    if (!data) {
        pipeline.log(QStringLiteral("  Could not encode cleaned JSON"), QStringLiteral("accent"));
        return std::nullopt;
    }
    out.data = *data;
    return out;
}

// The text a broken-off stream carried, when the caller keeps such parts.
std::optional<CleanedAnswer> brokenOff(LocalPipeline& pipeline, const std::optional<QString>& text,
                                       bool keep) {
    if (!keep || !text || text->isEmpty())
        return std::nullopt;
    std::optional<CleanedAnswer> out = cleaned(pipeline, *text);
    if (out)
        out->brokenOff = true;
    return out;
}

} // namespace

std::optional<CleanedAnswer> readClaudeAnswer(LocalPipeline& pipeline,
                                              const std::optional<HttpResponse>& sent, ClaudeCall call,
                                              bool keepBrokenOff) {
    if (!sent)
        return std::nullopt;
    const HttpResponse& response = *sent;
    // Whatever the answer says goes through redactSecret before it reaches the log.
    const QString key = pipeline.anthropicKey();
    const QString accent = QStringLiteral("accent");
    if (!response.transportOk) {
        pipeline.log(QStringLiteral("  Claude request failed: ") + redactSecret(response.errorText, key),
                     accent);
        if (call.stream && !response.brokenOffBody.isEmpty())
            return brokenOff(pipeline, readAnswerEvents(response.brokenOffBody).text, keepBrokenOff);
        return std::nullopt;
    }
    if (response.status < 200 || response.status > 299) {
        const std::optional<QString> text = strictUtf8(response.body);
        const QString shown = text ? leadingCharacters(*text, 300) : QStringLiteral("unknown");
        pipeline.log(QStringLiteral("  Claude HTTP error: ") + redactSecret(shown, key), accent);
        return std::nullopt;
    }
    std::optional<QString> answer;
    if (call.stream) {
        const StreamedAnswer streamed = readAnswerEvents(response.body);
        if (streamed.error) {
            pipeline.log(QStringLiteral("  Claude stream error: ") + redactSecret(*streamed.error, key),
                         accent);
            return brokenOff(pipeline, streamed.text, keepBrokenOff);
        }
        if (streamed.text && !streamed.complete) {
            pipeline.log(QStringLiteral("  Claude request failed: the answer stopped after %1 characters")
                             .arg(streamed.text->size()),
                         accent);
            return brokenOff(pipeline, streamed.text, keepBrokenOff);
        }
        if (streamed.stopReason == QLatin1String("max_tokens"))
            pipeline.log(QStringLiteral("  ⚠ The answer reached its limit of %1 tokens").arg(call.maxTokens),
                         accent);
        answer = streamed.text;
    } else {
        answer = answerTextFromBody(response.body);
    }
    if (!answer) {
        const std::optional<QString> text = strictUtf8(response.body);
        const QString shown = text ? leadingCharacters(*text, 200) : QStringLiteral("empty");
        pipeline.log(QStringLiteral("  Claude response parse error: ") + redactSecret(shown, key), accent);
        return std::nullopt;
    }

    return cleaned(pipeline, *answer);
}

std::chrono::milliseconds InputTokenPacer::holdFor(qint64 tokens) {
    const QDateTime now = clock->now();
    const auto until = [&](const QDateTime& t) {
        return std::chrono::milliseconds(std::clamp<qint64>(now.msecsTo(t), 0, 60000));
    };
    if (pausedUntil.isValid() && now < pausedUntil)
        return until(pausedUntil);
    if (!remaining || tokens <= *remaining) {
        if (remaining)
            *remaining -= tokens;
        return std::chrono::milliseconds(0);
    }
    pausedUntil = resetAt.isValid() && resetAt > now ? resetAt : now.addSecs(5);
    remaining.reset(); // whole again by the time it goes
    return until(pausedUntil);
}

void InputTokenPacer::answered(const HttpResponse& response) {
    bool ok = false;
    const qint64 left =
        response.header("anthropic-ratelimit-input-tokens-remaining").trimmed().toLongLong(&ok);
    if (!ok)
        return;
    remaining = left;
    resetAt = QDateTime::fromString(
        QString::fromLatin1(response.header("anthropic-ratelimit-input-tokens-reset").trimmed()),
        Qt::ISODate);
}

QCoro::Task<std::optional<CleanedAnswer>> requestClaude(LocalPipeline& pipeline, QString prompt,
                                                        ClaudeCall call) {
    const std::optional<QByteArray> body = claudeRequestBody(prompt, call);
    if (!body)
        co_return std::nullopt;
    RetryHooks hooks;
    hooks.retrying = [&pipeline](std::chrono::seconds wait) {
        pipeline.log(retryLine(wait), QStringLiteral("dim"));
    };
    const std::optional<HttpResponse> response =
        co_await sendRetryingRefusals(pipeline.network(), claudeRequest(pipeline, *body, call),
                                      Service::languageModel, pipeline.stopSignal(), std::move(hooks));
    co_return readClaudeAnswer(pipeline, response, call);
}

} // namespace ondrel
