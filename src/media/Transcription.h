#pragma once
// The speech-to-text service: chunks one after the other onto one clock, and the chosen moments
// again at word level.

#include "core/LocalPipeline.h"
#include "core/RequestsAhead.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <chrono>
#include <optional>

namespace ondrel {

// The multipart form of every transcription request, byte for byte, with the file at `path` read
// as it goes out. `granularity` is "segment" or "word"; the "language" part is left out for "auto".
QList<HttpBodyPart> whisperMultipartBody(const QByteArray& boundary, const QString& language,
                                         const QString& granularity, const QString& path);

// What the "language" part carries: the service names a language in words ("spanish", as a saved
// project keeps it) but accepts only its code ("es"). "auto" and codes pass as they are; a word
// without a code ("unknown") becomes "auto", so no part is sent.
QString whisperLanguageCode(const QString& language);

constexpr std::chrono::seconds kChunkTimeout{300};
constexpr std::chrono::seconds kWordTimeout{120};

// The request for one audio file to the speech service, made anew for each attempt (a new boundary
// each time); absent when the file cannot be opened. The body streams the file as it goes out.
RequestsAhead::MakeRequest audioRequest(LocalPipeline& pipeline, QString path, QString language,
                                        QString granularity, std::chrono::seconds timeout);

// A new upper-case UUID for each request.
QByteArray newBoundary();

// How a failed decoding of the service's answer reads in the log.
QString whisperDecodeError(const QByteArray& body);

QCoro::Task<std::optional<WhisperResponse>> transcribeChunk(LocalPipeline& pipeline, QString path,
                                                            QString language);
// Every chunk in order on one clock; absent when nothing came back or the run was cancelled. The
// requests of the next chunks go out ahead of their turn (see RequestsAhead).
QCoro::Task<std::optional<TranscriptResult>> transcribe(LocalPipeline& pipeline, QStringList chunks,
                                                        QString language);

// The service's words from a generic JSON answer; incomplete words are dropped. Absent unless an
// object with an array "words".
std::optional<QList<WordTimestamp>> readWhisperWords(const QByteArray& body);
QCoro::Task<std::optional<QList<WordTimestamp>>> transcribeWithWords(LocalPipeline& pipeline, QString path,
                                                                     QString language);
// Re-transcribes each chosen moment of the last extracted audio at word level.
QCoro::Task<QList<WordSegment>> wordLevelTranscribe(LocalPipeline& pipeline, MiningResults analysis,
                                                    QStringList mediaPaths, QString language);

// ffmpeg's arguments that cut one moment out of the extracted audio.
QStringList wordCutArguments(const QString& audio, double startTime, double endTime, const QString& output,
                             bool seekBeforeInput);

} // namespace ondrel
