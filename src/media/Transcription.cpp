#include "Transcription.h"

#include "MediaSupport.h"
#include "core/DecodeError.h"
#include "core/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QUuid>

namespace ondrel {

namespace {

constexpr std::chrono::seconds kChunkTimeout{300};
constexpr std::chrono::seconds kWordTimeout{120};

QByteArray formPart(const QByteArray& boundary, const QByteArray& name, const QByteArray& value) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
           "\r\n";
}

HttpRequest transcriptionRequest(const LocalPipeline& pipeline, const QByteArray& boundary, QByteArray body,
                                 std::chrono::milliseconds timeout) {
    HttpRequest request;
    request.method = "POST";
    request.url = pipeline.endpoints().transcriptionsUrl();
    request.headers = {{"Authorization", "Bearer " + pipeline.openaiKey().toUtf8()},
                       {"Content-Type", "multipart/form-data; boundary=" + boundary}};
    request.body = std::move(body);
    request.timeout = timeout;
    return request;
}

// The service may quote what it was sent; the key never goes into the log.
} // namespace

QString whisperLanguageCode(const QString& language) {
    // Every language the service detects, by the name it reports.
    static const QHash<QString, QString> codes = [] {
        const char* table[][2] = {
            {"english", "en"},    {"chinese", "zh"},       {"german", "de"},         {"spanish", "es"},
            {"russian", "ru"},    {"korean", "ko"},        {"french", "fr"},         {"japanese", "ja"},
            {"portuguese", "pt"}, {"turkish", "tr"},       {"polish", "pl"},         {"catalan", "ca"},
            {"dutch", "nl"},      {"arabic", "ar"},        {"swedish", "sv"},        {"italian", "it"},
            {"indonesian", "id"}, {"hindi", "hi"},         {"finnish", "fi"},        {"vietnamese", "vi"},
            {"hebrew", "he"},     {"ukrainian", "uk"},     {"greek", "el"},          {"malay", "ms"},
            {"czech", "cs"},      {"romanian", "ro"},      {"danish", "da"},         {"hungarian", "hu"},
            {"tamil", "ta"},      {"norwegian", "no"},     {"thai", "th"},           {"urdu", "ur"},
            {"croatian", "hr"},   {"bulgarian", "bg"},     {"lithuanian", "lt"},     {"latin", "la"},
            {"maori", "mi"},      {"malayalam", "ml"},     {"welsh", "cy"},          {"slovak", "sk"},
            {"telugu", "te"},     {"persian", "fa"},       {"latvian", "lv"},        {"bengali", "bn"},
            {"serbian", "sr"},    {"azerbaijani", "az"},   {"slovenian", "sl"},      {"kannada", "kn"},
            {"estonian", "et"},   {"macedonian", "mk"},    {"breton", "br"},         {"basque", "eu"},
            {"icelandic", "is"},  {"armenian", "hy"},      {"nepali", "ne"},         {"mongolian", "mn"},
            {"bosnian", "bs"},    {"kazakh", "kk"},        {"albanian", "sq"},       {"swahili", "sw"},
            {"galician", "gl"},   {"marathi", "mr"},       {"punjabi", "pa"},        {"sinhala", "si"},
            {"khmer", "km"},      {"shona", "sn"},         {"yoruba", "yo"},         {"somali", "so"},
            {"afrikaans", "af"},  {"occitan", "oc"},       {"georgian", "ka"},       {"belarusian", "be"},
            {"tajik", "tg"},      {"sindhi", "sd"},        {"gujarati", "gu"},       {"amharic", "am"},
            {"yiddish", "yi"},    {"lao", "lo"},           {"uzbek", "uz"},          {"faroese", "fo"},
            {"haitian creole", "ht"}, {"pashto", "ps"},    {"turkmen", "tk"},        {"nynorsk", "nn"},
            {"maltese", "mt"},    {"sanskrit", "sa"},      {"luxembourgish", "lb"},  {"myanmar", "my"},
            {"tibetan", "bo"},    {"tagalog", "tl"},       {"malagasy", "mg"},       {"assamese", "as"},
            {"tatar", "tt"},      {"hawaiian", "haw"},     {"lingala", "ln"},        {"hausa", "ha"},
            {"bashkir", "ba"},    {"javanese", "jw"},      {"sundanese", "su"},      {"cantonese", "yue"},
            // Other names the service's models answer to.
            {"burmese", "my"},    {"valencian", "ca"},     {"flemish", "nl"},        {"haitian", "ht"},
            {"letzeburgesch", "lb"}, {"pushto", "ps"},     {"panjabi", "pa"},        {"moldavian", "ro"},
            {"moldovan", "ro"},   {"sinhalese", "si"},     {"castilian", "es"},      {"mandarin", "zh"},
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

QByteArray whisperMultipartBody(const QByteArray& boundary, const QString& language,
                                const QString& granularity, const QString& fileName,
                                const QByteArray& fileBytes) {
    QByteArray body;
    body.reserve(fileBytes.size() + 1024);
    body += formPart(boundary, "model", "whisper-1");
    body += formPart(boundary, "response_format", "verbose_json");
    body += formPart(boundary, "timestamp_granularities[]", granularity.toUtf8());
    if (language != QLatin1String("auto"))
        body += formPart(boundary, "language", language.toUtf8());
    body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" +
            fileName.toUtf8() + "\"\r\nContent-Type: audio/wav\r\n\r\n";
    body += fileBytes;
    body += "\r\n--" + boundary + "--\r\n";
    return body;
}

QString whisperDecodeError(const QByteArray& body) {
    return decoderDescription<WhisperResponse>(body);
}

namespace {

// One audio file to the speech-to-text service; absent when the file cannot be read.
QCoro::Task<std::optional<HttpResponse>> postAudio(LocalPipeline& pipeline, QString path, QString language,
                                                   QString granularity, std::chrono::seconds timeout) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        co_return std::nullopt;
    const QByteArray bytes = file.readAll();
    file.close();
    const QByteArray boundary = newBoundary();
    const QByteArray body = whisperMultipartBody(boundary, whisperLanguageCode(language), granularity,
                                                 QFileInfo(path).fileName(), bytes);
    co_return co_await sendHttp(pipeline.network(), transcriptionRequest(pipeline, boundary, body, timeout));
}

} // namespace

QCoro::Task<std::optional<WhisperResponse>> transcribeChunk(LocalPipeline& pipeline, QString path,
                                                            QString language) {
    const std::optional<HttpResponse> sent =
        co_await postAudio(pipeline, path, language, QStringLiteral("segment"), kChunkTimeout);
    if (!sent)
        co_return std::nullopt;
    const HttpResponse& response = *sent;
    const QString key = pipeline.openaiKey();
    if (!response.transportOk) {
        pipeline.log(QStringLiteral("  Whisper request failed: ") + redactSecret(response.errorText, key),
                     QStringLiteral("accent"));
        co_return std::nullopt;
    }
    if (response.status < 200 || response.status > 299) {
        QString text = utf8OrEmpty(response.body);
        if (text.isEmpty() && !response.body.isEmpty())
            text = QStringLiteral("unknown");
        pipeline.log(QStringLiteral("  Whisper error: ") + leadingCharacters(redactSecret(text, key), 200),
                     QStringLiteral("accent"));
        co_return std::nullopt;
    }
    auto decoded = decodeJson<WhisperResponse>(response.body);
    if (!decoded) {
        pipeline.log(QStringLiteral("  Whisper request failed: ") + whisperDecodeError(response.body),
                     QStringLiteral("accent"));
        co_return std::nullopt;
    }
    co_return decoded;
}

QCoro::Task<std::optional<TranscriptResult>> transcribe(LocalPipeline& pipeline, QStringList chunks,
                                                        QString language) {
    QList<TranscriptSegment> all;
    double offset = 0;
    const qsizetype n = chunks.size();
    for (qsizetype i = 0; i < n; ++i) {
        if (pipeline.isCancelled())
            co_return std::nullopt;
        pipeline.setProgress(0.15 + 0.3 * double(i) / double(n));
        pipeline.log(QStringLiteral("  Transcribing chunk %1/%2...").arg(i + 1).arg(n),
                     QStringLiteral("dim"));
        const QString chunk = chunks[i];
        const std::optional<WhisperResponse> answer = co_await transcribeChunk(pipeline, chunk, language);
        if (answer) {
            const QString lang = answer->language.value_or(QStringLiteral("unknown"));
            for (const WhisperSegment& s : answer->segments)
                all.push_back({s.start + offset, s.end + offset, s.text, lang});
        } else {
            pipeline.log(QStringLiteral("  ⚠ Chunk %1 failed, skipping").arg(i + 1),
                         QStringLiteral("accent"));
        }
        // The measured length, so a failed chunk leaves a hole instead of shifting what follows.
        offset += co_await pipeline.tools().getAudioDuration(chunk);
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

QCoro::Task<std::optional<QList<WordTimestamp>>> transcribeWithWords(LocalPipeline& pipeline, QString path,
                                                                     QString language) {
    const std::optional<HttpResponse> response =
        co_await postAudio(pipeline, path, language, QStringLiteral("word"), kWordTimeout);
    if (!response || !response->transportOk || response->status < 200 || response->status > 299)
        co_return std::nullopt;
    co_return readWhisperWords(response->body);
}

QStringList wordCutArguments(const QString& audio, double startTime, double endTime, const QString& output) {
    return QStringList{QStringLiteral("-y"),
                       QStringLiteral("-i"),
                       audio,
                       QStringLiteral("-ss"),
                       formatDouble(startTime),
                       QStringLiteral("-t"),
                       formatDouble(endTime - startTime)} +
           media::pcmOutputArgs(output);
}

QCoro::Task<QList<WordSegment>> wordLevelTranscribe(LocalPipeline& pipeline, MiningResults analysis,
                                                    QStringList mediaPaths, QString language) {
    Q_UNUSED(mediaPaths); // accepted and not read: the cut comes from the last extracted audio
    const QString dir = media::workDir(pipeline.paths());
    const QString audio = media::extractedAudioPath(pipeline.paths());
    QList<WordSegment> result;
    if (!QFileInfo::exists(audio)) {
        pipeline.log(QStringLiteral("  No extracted audio for word-level transcription"),
                     QStringLiteral("dim"));
        co_return result;
    }
    const qsizetype n = analysis.segments.size();
    for (qsizetype i = 0; i < n; ++i) {
        if (pipeline.isCancelled())
            co_return result;
        pipeline.log(QStringLiteral("  Word transcribing segment %1/%2...").arg(i + 1).arg(n),
                     QStringLiteral("dim"));
        const StorySegment segment = analysis.segments[i];
        const QString cut = dir + QStringLiteral("/word_seg_%1.wav").arg(i);
        const bool ok = co_await pipeline.tools().runProcess(
            pipeline.toolPaths().ffmpeg, wordCutArguments(audio, segment.startTime, segment.endTime, cut));
        if (!ok)
            continue;
        const auto words = co_await transcribeWithWords(pipeline, cut, language);
        if (!words)
            continue;
        result.push_back({qint64(i), *words});
    }
    co_return result;
}

} // namespace ondrel
