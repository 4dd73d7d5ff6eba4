#include "ClaudeRequest.h"

#include "AnswerText.h"
#include "core/Retry.h"

namespace ondrel {

std::optional<QByteArray> claudeRequestBody(const QString& prompt) {
    const std::optional<QByteArray> promptBytes = strictUtf8Bytes(prompt);
    if (!promptBytes)
        return std::nullopt;
    Json message = Json::object();
    message["role"] = "user";
    message["content"] = std::string(promptBytes->constData(), std::size_t(promptBytes->size()));
    Json body = Json::object();
    body["model"] = CLAUDE_MODEL;
    body["max_tokens"] = CLAUDE_MAX_TOKENS;
    body["messages"] = Json::array({message});
    return dumpJson(body);
}

QCoro::Task<std::optional<CleanedAnswer>> requestClaude(LocalPipeline& pipeline, QString prompt) {
    const std::optional<QByteArray> body = claudeRequestBody(prompt);
    if (!body)
        co_return std::nullopt;

    // Read once: whatever the answer says goes through redactSecret before it reaches the log.
    const QString key = pipeline.anthropicKey();
    const auto make = [&pipeline, key, body = *body]() -> std::optional<HttpRequest> {
        HttpRequest request;
        request.method = "POST";
        request.url = pipeline.endpoints().messagesUrl();
        request.headers = {{"x-api-key", key.toUtf8()},
                           {"anthropic-version", "2023-06-01"},
                           {"content-type", "application/json"}};
        request.body = body;
        request.timeout = CLAUDE_TIMEOUT;
        return request;
    };
    RetryHooks hooks;
    hooks.retrying = [&pipeline](std::chrono::seconds wait) {
        pipeline.log(retryLine(wait), QStringLiteral("dim"));
    };
    const HttpResponse response = *co_await sendRetryingRefusals(
        pipeline.network(), make, Service::languageModel, pipeline.stopSignal(), std::move(hooks));
    const QString accent = QStringLiteral("accent");
    if (!response.transportOk) {
        pipeline.log(QStringLiteral("  Claude request failed: ") + redactSecret(response.errorText, key),
                     accent);
        co_return std::nullopt;
    }
    if (response.status < 200 || response.status > 299) {
        const std::optional<QString> text = strictUtf8(response.body);
        const QString shown = text ? leadingCharacters(*text, 300) : QStringLiteral("unknown");
        pipeline.log(QStringLiteral("  Claude HTTP error: ") + redactSecret(shown, key), accent);
        co_return std::nullopt;
    }
    const std::optional<QString> answer = answerTextFromBody(response.body);
    if (!answer) {
        const std::optional<QString> text = strictUtf8(response.body);
        const QString shown = text ? leadingCharacters(*text, 200) : QStringLiteral("empty");
        pipeline.log(QStringLiteral("  Claude response parse error: ") + redactSecret(shown, key), accent);
        co_return std::nullopt;
    }

    CleanedAnswer cleaned;
    cleaned.text = cleanAnswerText(*answer);
    const std::optional<QByteArray> data = strictUtf8Bytes(cleaned.text);
    if (!data) {
        pipeline.log(QStringLiteral("  Could not encode cleaned JSON"), accent);
        co_return std::nullopt;
    }
    cleaned.data = *data;
    co_return cleaned;
}

} // namespace ondrel
