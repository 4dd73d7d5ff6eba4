#pragma once
// The one form of every Claude request, and the common reading of its answer with its log lines.
// A request the service refused before any work (429, 529) goes out again after its wait; nothing
// else is ever sent twice.

#include "core/Http.h"
#include "core/LocalPipeline.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace ondrel {

inline constexpr const char* CLAUDE_MODEL = "claude-sonnet-4-20250514";
inline constexpr int CLAUDE_MAX_TOKENS = 8000;
inline constexpr std::chrono::milliseconds CLAUDE_TIMEOUT{180000};

// The compact JSON body: model, max_tokens and one user message holding the prompt. Absent when
// the prompt cannot be written as UTF-8.
std::optional<QByteArray> claudeRequestBody(const QString& prompt);

// The answer cut to its JSON object, as text (for the preview and the manual parse) and as the
// bytes to decode.
struct CleanedAnswer {
    QString text;
    QByteArray data;
};

// Sends the prompt and reads the answer; every failure logs its line and gives absent.
QCoro::Task<std::optional<CleanedAnswer>> requestClaude(LocalPipeline& pipeline, QString prompt);

} // namespace ondrel
