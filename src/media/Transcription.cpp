#include "Transcription.h"

#include "AudioExtraction.h"
#include "ChunkUploads.h"
#include "MediaSupport.h"
#include "PcmWav.h"
#include "core/DecodeError.h"
#include "core/RequestsAhead.h"
#include "core/Retry.h"
#include "core/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QUuid>

#include <cmath>

namespace ondrel {

namespace {

QByteArray formPart(const QByteArray& boundary, const QByteArray& name, const QByteArray& value) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
           "\r\n";
}

HttpRequest transcriptionRequest(const LocalPipeline& pipeline, const QByteArray& boundary,
                                 QList<HttpBodyPart> body, std::chrono::milliseconds timeout) {
    HttpRequest request;
    request.method = "POST";
    request.url = pipeline.endpoints().transcriptionsUrl();
    request.headers = {{"Authorization", "Bearer " + pipeline.openaiKey().toUtf8()},
                       {"Content-Type", "multipart/form-data; boundary=" + boundary}};
    request.bodyParts = std::move(body);
    request.timeout = timeout;
    return request;
}

// The service may quote what it was sent; the key never goes into the log.
} // namespace

QString whisperLanguageCode(const QString& language) {
    // Every language the service detects, by the name it reports.
    static const QHash<QString, QString> codes = [] {
        const char* table[][2] = {
            {"english", "en"},
            {"chinese", "zh"},
            {"german", "de"},
            {"spanish", "es"},
            {"russian", "ru"},
            {"korean", "ko"},
            {"french", "fr"},
            {"japanese", "ja"},
            {"portuguese", "pt"},
            {"turkish", "tr"},
            {"polish", "pl"},
            {"catalan", "ca"},
            {"dutch", "nl"},
            {"arabic", "ar"},
            {"swedish", "sv"},
            {"italian", "it"},
            {"indonesian", "id"},
            {"hindi", "hi"},
            {"finnish", "fi"},
            {"vietnamese", "vi"},
            {"hebrew", "he"},
            {"ukrainian", "uk"},
            {"greek", "el"},
            {"malay", "ms"},
            {"czech", "cs"},
            {"romanian", "ro"},
            {"danish", "da"},
            {"hungarian", "hu"},
            {"tamil", "ta"},
            {"norwegian", "no"},
            {"thai", "th"},
            {"urdu", "ur"},
            {"croatian", "hr"},
            {"bulgarian", "bg"},
            {"lithuanian", "lt"},
            {"latin", "la"},
            {"maori", "mi"},
            {"malayalam", "ml"},
            {"welsh", "cy"},
            {"slovak", "sk"},
            {"telugu", "te"},
            {"persian", "fa"},
            {"latvian", "lv"},
            {"bengali", "bn"},
            {"serbian", "sr"},
            {"azerbaijani", "az"},
            {"slovenian", "sl"},
            {"kannada", "kn"},
            {"estonian", "et"},
            {"macedonian", "mk"},
            {"breton", "br"},
            {"basque", "eu"},
            {"icelandic", "is"},
            {"armenian", "hy"},
            {"nepali", "ne"},
            {"mongolian", "mn"},
            {"bosnian", "bs"},
            {"kazakh", "kk"},
            {"albanian", "sq"},
            {"swahili", "sw"},
            {"galician", "gl"},
            {"marathi", "mr"},
            {"punjabi", "pa"},
            {"sinhala", "si"},
            {"khmer", "km"},
            {"shona", "sn"},
            {"yoruba", "yo"},
            {"somali", "so"},
            {"afrikaans", "af"},
            {"occitan", "oc"},
            {"georgian", "ka"},
            {"belarusian", "be"},
            {"tajik", "tg"},
            {"sindhi", "sd"},
            {"gujarati", "gu"},
            {"amharic", "am"},
            {"yiddish", "yi"},
            {"lao", "lo"},
            {"uzbek", "uz"},
            {"faroese", "fo"},
            {"haitian creole", "ht"},
            {"pashto", "ps"},
            {"turkmen", "tk"},
            {"nynorsk", "nn"},
            {"maltese", "mt"},
            {"sanskrit", "sa"},
            {"luxembourgish", "lb"},
            {"myanmar", "my"},
            {"tibetan", "bo"},
            {"tagalog", "tl"},
            {"malagasy", "mg"},
            {"assamese", "as"},
            {"tatar", "tt"},
            {"hawaiian", "haw"},
            {"lingala", "ln"},
            {"hausa", "ha"},
            {"bashkir", "ba"},
            {"javanese", "jw"},
            {"sundanese", "su"},
            {"cantonese", "yue"},
            // Other names the service's models answer to.
            {"burmese", "my"},
            {"valencian", "ca"},
            {"flemish", "nl"},
            {"haitian", "ht"},
            {"letzeburgesch", "lb"},
            {"pushto", "ps"},
            {"panjabi", "pa"},
            {"moldavian", "ro"},
            {"moldovan", "ro"},
            {"sinhalese", "si"},
            {"castilian", "es"},
            {"mandarin", "zh"},
        };
        QHash<QString, QString> map;
        for (const auto& [name, code] : table)
            map.insert(QString::fromLatin1(name), QString::fromLatin1(code));
        return map;
    }();
    const QString word = language.trimmed().toLower();
    if (const auto it = codes.constFind(word); it != codes.constEnd())
        return it.value();
    // A code is two or three letters; anything else ("unknown") names no language.
    static const QRegularExpression code(QStringLiteral("^[a-z]{2,3}$"));
    return code.match(word).hasMatch() ? language : QStringLiteral("auto");
}

QByteArray newBoundary() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toLatin1();
}

RequestsAhead::MakeRequest audioRequest(LocalPipeline& pipeline, QString path, QString language,
                                        QString granularity, std::chrono::seconds timeout) {
    return [&pipeline, path, language = whisperLanguageCode(language), granularity,
            timeout]() -> std::optional<HttpRequest> {
        if (!QFile(path).open(QIODevice::ReadOnly))
            return std::nullopt;
        const QByteArray boundary = newBoundary();
        return transcriptionRequest(pipeline, boundary,
                                    whisperMultipartBody(boundary, language, granularity, path), timeout);
    };
}

QList<HttpBodyPart> whisperMultipartBody(const QByteArray& boundary, const QString& language,
                                         const QString& granularity, const QString& path) {
    QByteArray head;
    head += formPart(boundary, "model", "whisper-1");
    head += formPart(boundary, "response_format", "verbose_json");
    head += formPart(boundary, "timestamp_granularities[]", granularity.toUtf8());
    if (language != QLatin1String("auto"))
        head += formPart(boundary, "language", language.toUtf8());
    head += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
            QFileInfo(path).fileName().toUtf8() +
            "\"\r\nContent-Type: " + (path.endsWith(QLatin1String(".flac")) ? "audio/flac" : "audio/wav") +
            "\r\n\r\n";
    return {{head, {}}, {{}, path}, {"\r\n--" + boundary + "--\r\n", {}}};
}

QString whisperDecodeError(const QByteArray& body) {
    return decoderDescription<WhisperResponse>(body);
}

namespace {

// One audio file at its turn; a refusal's retry lines go to the log as they come.
QCoro::Task<std::optional<HttpResponse>> postAudio(LocalPipeline& pipeline, QString path, QString language,
                                                   QString granularity, std::chrono::seconds timeout) {
    RetryHooks hooks;
    hooks.retrying = [&pipeline](std::chrono::seconds wait) {
        pipeline.log(retryLine(wait), QStringLiteral("dim"));
    };
    co_return co_await sendRetryingRefusals(pipeline.network(),
                                            audioRequest(pipeline, path, language, granularity, timeout),
                                            Service::speech, pipeline.stopSignal(), std::move(hooks));
}

// A chunk's answer read at its turn: its failure line goes to the log then.
std::optional<WhisperResponse> readChunkAnswer(LocalPipeline& pipeline,
                                               const std::optional<HttpResponse>& sent) {
    if (!sent)
        return std::nullopt;
    const HttpResponse& response = *sent;
    const QString key = pipeline.openaiKey();
    if (!response.transportOk) {
        pipeline.log(QStringLiteral("  Whisper request failed: ") + redactSecret(response.errorText, key),
                     QStringLiteral("accent"));
        return std::nullopt;
    }
    if (response.status < 200 || response.status > 299) {
        QString text = utf8OrEmpty(response.body);
        if (text.isEmpty() && !response.body.isEmpty())
            text = QStringLiteral("unknown");
        pipeline.log(QStringLiteral("  Whisper error: ") + leadingCharacters(redactSecret(text, key), 200),
                     QStringLiteral("accent"));
        return std::nullopt;
    }
    auto decoded = decodeJson<WhisperResponse>(response.body);
    if (!decoded) {
        pipeline.log(QStringLiteral("  Whisper request failed: ") + whisperDecodeError(response.body),
                     QStringLiteral("accent"));
        return std::nullopt;
    }
    return decoded;
}

// The chunk's measured length: from the header of a WAV in the extraction's layout (the value
// ffprobe prints for it, without a process per chunk), else from ffprobe.
QCoro::Task<double> measuredLength(LocalPipeline& pipeline, QString chunk) {
    if (const std::optional<PcmWav> wav = readPcmWav(chunk))
        co_return wav->duration();
    if (const std::optional<qint64> samples = flacSamples(chunk); samples && *samples > 0)
        co_return samplesDuration(*samples);
    co_return co_await pipeline.tools().getAudioDuration(chunk);
}

} // namespace

QCoro::Task<std::optional<WhisperResponse>> transcribeChunk(LocalPipeline& pipeline, QString path,
                                                            QString language) {
    const std::optional<HttpResponse> sent =
        co_await postAudio(pipeline, path, language, QStringLiteral("segment"), kChunkTimeout);
    co_return readChunkAnswer(pipeline, sent);
}

QCoro::Task<std::optional<TranscriptResult>> transcribe(LocalPipeline& pipeline, QStringList chunks,
                                                        QString language) {
    QList<TranscriptSegment> all;
    double offset = 0;
    const qsizetype n = chunks.size();
    // The chunks this entry's extraction cut, whose requests may have gone out already.
    const std::shared_ptr<ChunkUploads> uploads = ChunkUploads::of(pipeline);
    const bool early = uploads && uploads->chunks() == chunks && uploads->language() == language;
    std::optional<RequestsAhead> own;
    if (!early) {
        own.emplace(pipeline, Service::speech);
        for (qsizetype i = 0; i < n; ++i)
            own->ready(i,
                       audioRequest(pipeline, chunks[i], language, QStringLiteral("segment"), kChunkTimeout));
    }
    RequestsAhead& ahead = early ? uploads->requests() : *own;
    for (qsizetype i = 0; i < n; ++i) {
        if (pipeline.isCancelled())
            co_return std::nullopt;
        pipeline.setProgress(0.15 + 0.3 * double(i) / double(n));
        pipeline.log(QStringLiteral("  Transcribing chunk %1/%2...").arg(i + 1).arg(n),
                     QStringLiteral("dim"));
        // Cancelled since the test above (by a watcher of the log or progress): nothing more goes out.
        if (pipeline.isCancelled())
            co_return std::nullopt;
        const QString chunk = chunks[i];
        const std::optional<HttpResponse> sent = co_await ahead.take(i);
        const std::optional<WhisperResponse> answer = readChunkAnswer(pipeline, sent);
        if (answer) {
            const QString lang = answer->language.value_or(QStringLiteral("unknown"));
            for (const WhisperSegment& s : answer->segments)
                all.push_back({s.start + offset, s.end + offset, s.text, lang});
        } else {
            pipeline.log(QStringLiteral("  ⚠ Chunk %1 failed, skipping").arg(i + 1),
                         QStringLiteral("accent"));
        }
        // The measured length, so a failed chunk leaves a hole instead of shifting what follows.
        offset += early ? uploads->lengths()[i] : co_await measuredLength(pipeline, chunk);
    }
    if (all.isEmpty())
        co_return std::nullopt;
    TranscriptResult result;
    result.language = all.front().language;
    result.segments = std::move(all);
    co_return result;
}

std::optional<QList<WordTimestamp>> readWhisperWords(const QByteArray& body) {
    const auto json = parseJson(body);
    if (!json || !json->is_object())
        return std::nullopt;
    const auto words = json->find("words");
    if (words == json->end() || !words->is_array())
        return std::nullopt;
    QList<WordTimestamp> out;
    for (const Json& w : *words) {
        if (!w.is_object())
            continue;
        WordTimestamp word;
        const auto text = w.find("word");
        const auto start = w.find("start");
        const auto end = w.find("end");
        if (text == w.end() || start == w.end() || end == w.end() || !readJson(*text, word.word) ||
            !readJson(*start, word.start) || !readJson(*end, word.end))
            continue;
        out.push_back(word);
    }
    return out;
}

namespace {

std::optional<QList<WordTimestamp>> readWordsAnswer(const std::optional<HttpResponse>& response) {
    if (!response || !response->transportOk || response->status < 200 || response->status > 299)
        return std::nullopt;
    return readWhisperWords(response->body);
}

} // namespace

QCoro::Task<std::optional<QList<WordTimestamp>>> transcribeWithWords(LocalPipeline& pipeline, QString path,
                                                                     QString language) {
    const std::optional<HttpResponse> response =
        co_await postAudio(pipeline, path, language, QStringLiteral("word"), kWordTimeout);
    co_return readWordsAnswer(response);
}

QStringList wordCutArguments(const QString& audio, double startTime, double endTime, const QString& output,
                             bool seekBeforeInput) {
    const QString start = formatDouble(startTime);
    QStringList args{QStringLiteral("-y")};
    if (seekBeforeInput)
        args << QStringLiteral("-ss") << start << QStringLiteral("-i") << audio;
    else
        args << QStringLiteral("-i") << audio << QStringLiteral("-ss") << start;
    args << QStringLiteral("-t") << formatDouble(endTime - startTime);
    return args + (output.endsWith(QLatin1String(".flac")) ? media::flacOutputArgs(output)
                                                           : media::pcmOutputArgs(output));
}

namespace {

QString momentCutPath(const LocalPipeline& pipeline, qsizetype index) {
    return media::workDir(pipeline.paths()) + QStringLiteral("/word_seg_%1.").arg(index) +
           (pipeline.environment().flacUploads ? QStringLiteral("flac") : QStringLiteral("wav"));
}

// A process per moment costs more than the cut itself. So the moments that can be cut go through
// one ffmpeg run per kMomentsPerRun: each moment is an input of its own seeked to its start, so only
// its own samples are read, with the rest of its arguments on its output (the bytes of a run of its
// own; a test compares them with the documented command). At most kMomentsPerRun files are open at
// once. Gives the moments cut; a run that fails leaves its moments to be cut one by one.
QCoro::Task<QSet<qsizetype>> cutMomentsTogether(LocalPipeline& pipeline, QString audio,
                                                QList<StorySegment> segments) {
    constexpr qsizetype kMomentsPerRun = 32;
    QList<qsizetype> cuttable;
    for (qsizetype i = 0; i < segments.size(); ++i) {
        const StorySegment& s = segments[i];
        if (std::isfinite(s.startTime) && std::isfinite(s.endTime) && s.startTime >= 0 &&
            s.endTime > s.startTime)
            cuttable << i;
    }
    QSet<qsizetype> cut;
    for (qsizetype from = 0; from < cuttable.size(); from += kMomentsPerRun) {
        const QList<qsizetype> run = cuttable.mid(from, kMomentsPerRun);
        QStringList args{QStringLiteral("-y")};
        for (const qsizetype i : run)
            args << QStringLiteral("-ss") << formatDouble(segments[i].startTime) << QStringLiteral("-i")
                 << audio;
        for (qsizetype k = 0; k < run.size(); ++k) {
            const StorySegment& s = segments[run[k]];
            args << QStringLiteral("-map") << QStringLiteral("%1:a").arg(k) << QStringLiteral("-t")
                 << formatDouble(s.endTime - s.startTime);
            const QString out = momentCutPath(pipeline, run[k]);
            args +=
                out.endsWith(QLatin1String(".flac")) ? media::flacOutputArgs(out) : media::pcmOutputArgs(out);
        }
        const bool ok = co_await pipeline.tools().runProcess(pipeline.toolPaths().ffmpeg, args);
        for (const qsizetype i : run) {
            if (ok)
                cut.insert(i);
            else
                QFile::remove(momentCutPath(pipeline, i)); // half a cut is cut again alone at its turn
        }
    }
    co_return cut;
}

} // namespace

QCoro::Task<QList<WordSegment>> wordLevelTranscribe(LocalPipeline& pipeline, MiningResults analysis,
                                                    QStringList mediaPaths, QString language) {
    Q_UNUSED(mediaPaths); // accepted and not read: the cut comes from the last extracted audio
    const QString audio = media::extractedAudioPath(pipeline.paths());
    QList<WordSegment> result;
    if (!QFileInfo::exists(audio)) {
        pipeline.log(QStringLiteral("  No extracted audio for word-level transcription"),
                     QStringLiteral("dim"));
        co_return result;
    }
    // Seeking before the input reads only the moment's own samples instead of all the audio before
    // it, and writes the same bytes; checked for the extraction's own WAV and a start not below 0.
    const bool pcm = isExtractedPcmWav(audio);
    const qsizetype n = analysis.segments.size();
    RequestsAhead ahead(pipeline, Service::speech);
    QSet<qsizetype> tried;
    const auto readyToSend = [&](qsizetype j) {
        ahead.ready(j, audioRequest(pipeline, momentCutPath(pipeline, j), language, QStringLiteral("word"),
                                    kWordTimeout));
    };
    for (qsizetype i = 0; i < n; ++i) {
        if (pipeline.isCancelled())
            co_return result;
        pipeline.log(QStringLiteral("  Word transcribing segment %1/%2...").arg(i + 1).arg(n),
                     QStringLiteral("dim"));
        if (i == 0) {
            const QSet<qsizetype> cutTogether =
                co_await cutMomentsTogether(pipeline, audio, analysis.segments);
            if (pipeline.isCancelled())
                co_return result;
            for (qsizetype j = 0; j < n; ++j)
                if (cutTogether.contains(j)) {
                    tried.insert(j);
                    readyToSend(j);
                }
        }
        // A moment the joint run could not cut is cut alone, one process at a time, by the time the
        // requests out could take it. Nothing goes out once the run is cancelled.
        const qsizetype lastToCut = std::min(n - 1, i + ahead.openLimit() - 1);
        for (qsizetype j = i; j <= lastToCut; ++j) {
            if (tried.contains(j))
                continue;
            tried.insert(j);
            const StorySegment segment = analysis.segments[j];
            const QString cut = momentCutPath(pipeline, j);
            const bool ok = co_await pipeline.tools().runProcess(
                pipeline.toolPaths().ffmpeg, wordCutArguments(audio, segment.startTime, segment.endTime, cut,
                                                              pcm && segment.startTime >= 0));
            if (!ok)
                QFile::remove(cut);
            if (pipeline.isCancelled())
                co_return result;
            if (ok)
                readyToSend(j);
        }
        if (!ahead.isReady(i))
            continue;
        const std::optional<HttpResponse> response = co_await ahead.take(i);
        const auto words = readWordsAnswer(response);
        if (!words)
            continue;
        result.push_back({qint64(i), *words});
    }
    co_return result;
}

} // namespace ondrel
