#pragma once
// The one form of every Claude request, and the common reading of its answer with its log lines.
// A request the service refused before any work (429, 529) goes out again after its wait; nothing
// else is ever sent twice.

#include "core/Http.h"
#include "core/LocalPipeline.h"
#include "core/RequestsAhead.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ondrel {

inline constexpr const char* CLAUDE_MODEL = "claude-sonnet-4-20250514";
inline constexpr int CLAUDE_MAX_TOKENS = 8000;
inline constexpr std::chrono::milliseconds CLAUDE_TIMEOUT{180000};
// The documented model: the most tokens it writes in one answer, and its whole context.
inline constexpr int CLAUDE_OUTPUT_LIMIT = 64000;
inline constexpr int CLAUDE_CONTEXT_TOKENS = 200000;
// A streamed answer is given up after this long without a byte.
inline constexpr std::chrono::milliseconds CLAUDE_STREAM_SILENCE{60000};
// About 600 tokens of answer for each minute of story: its moments' text, translation, chapters
// and subtitles.
inline constexpr int kAnswerTokensPerStoryMinute = 600;

// How one request asks: the documented 8000 tokens in one answer, or more, streamed.
struct ClaudeCall {
    int maxTokens = CLAUDE_MAX_TOKENS;
    bool stream = false;
};

// Tokens a prompt of so many characters takes, counted high (3.5 characters a token), so that a
// request never asks for more than the context holds.
qint64 promptTokensAtMost(qsizetype promptChars);
// Up to a 10-minute story the documented call; past it at least its 8000 tokens and about
// kAnswerTokensPerStoryMinute a minute, within the model's output limit and what the prompt leaves
// of its context, streamed.
ClaudeCall storyCall(double targetMinutes, qsizetype promptChars);
// An answer of about `tokens` tokens: the documented call when that is within it, else streamed.
ClaudeCall callForAnswer(qint64 tokens, qsizetype promptChars);

// The compact JSON body: model, max_tokens and one user message holding the prompt, and
// "stream": true for a streamed call. Absent when the prompt cannot be written as UTF-8.
std::optional<QByteArray> claudeRequestBody(const QString& prompt, ClaudeCall call = {});

// The answer cut to its JSON object, as text (for the preview and the manual parse) and as the
// bytes to decode.
struct CleanedAnswer {
    QString text;
    QByteArray data;
    bool brokenOff = false; // what came of a stream before it broke off
};

// The request with that body, made anew for each attempt.
RequestsAhead::MakeRequest claudeRequest(LocalPipeline& pipeline, QByteArray body, ClaudeCall call);
// Reads an answer (or its absence) of such a request; every failure logs its line and gives absent.
// A stream that broke off (cut, ended early, an error event) is a failure with its line; when
// `keepBrokenOff`, the text it carried so far comes back too, marked, for a reader that can keep
// its whole parts (a section's candidates, paid for), never for a story, which would be cut short.
std::optional<CleanedAnswer> readClaudeAnswer(LocalPipeline& pipeline,
                                              const std::optional<HttpResponse>& sent, ClaudeCall call,
                                              bool keepBrokenOff = false);

// The input tokens the service says are left and when they come back: a request of several sent
// ahead that would not fit waits for the reset instead of being refused and retried.
struct InputTokenPacer {
    const Clock* clock = nullptr;
    std::optional<qint64> remaining;
    QDateTime resetAt;
    QDateTime pausedUntil; // every request waits for a reset another is waiting for

    std::chrono::milliseconds holdFor(qint64 tokens);
    void answered(const HttpResponse& response);
};

// Sends the prompt and reads the answer; every failure logs its line and gives absent.
QCoro::Task<std::optional<CleanedAnswer>> requestClaude(LocalPipeline& pipeline, QString prompt,
                                                        ClaudeCall call = {});

} // namespace ondrel
