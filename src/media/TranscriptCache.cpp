#include "TranscriptCache.h"

#include "MediaSupport.h"
#include "core/Files.h"
#include "core/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace ondrel {

namespace {

double unixSeconds(const QDateTime& t) {
    return double(t.toMSecsSinceEpoch()) / 1000.0;
}

// The record's text with the list under `key` (written empty in it) holding the transcript's
// segments, each written on its own: the same bytes as one tree of the whole record, without the
// tree, which for a week of transcript took more memory than the rest of a run together.
template <class Record>
std::optional<QByteArray> encodeWithSegments(const Record& withoutSegments, const QByteArray& key,
                                             const TranscriptResult& transcript) {
    std::optional<QByteArray> record = encodeJson(withoutSegments);
    const QByteArray empty = '"' + key + "\":[]";
    // Keys and strings are escaped, so only the record's own list reads so.
    const qsizetype at = record ? record->indexOf(empty) : -1;
    if (at < 0)
        return std::nullopt;
    // One buffer sized for the whole file up front: a week of transcript is megabytes, and a list
    // grown by doubling and then spliced into the record held it three times over.
    qsizetype guess = record->size() + 2;
    for (const TranscriptSegment& s : transcript.segments)
        guess += s.text.size() * 3 / 2 + 48;
    QByteArray bytes;
    bytes.reserve(guess);
    bytes.append(record->constData(), at + empty.size() - 2);
    bytes += '[';
    bool first = true;
    for (const TranscriptSegment& s : transcript.segments) {
        const std::optional<QByteArray> one = encodeJson(CachedSegment{s.start, s.end, s.text});
        if (!one)
            return std::nullopt;
        if (!first)
            bytes += ',';
        first = false;
        bytes += *one;
    }
    bytes += ']';
    bytes.append(record->constData() + at + empty.size(), record->size() - at - empty.size());
    return bytes;
}

QByteArray readAll(const QString& path, bool* ok) {
    QFile file(path);
    *ok = file.open(QIODevice::ReadOnly);
    return *ok ? file.readAll() : QByteArray();
}

double numberOrZero(const Json& object, const char* key) {
    const auto it = object.find(key);
    double v = 0;
    if (it == object.end() || !readJson(*it, v))
        return 0;
    return v;
}

} // namespace

QString transcriptCacheKey(const QStringList& mediaPaths) {
    const QString joined = sortedPaths(mediaPaths).join(QLatin1Char('|'));
    // Qt seeds its hash anew at each process start (unless QT_HASH_SEED pins it).
    const auto hash = static_cast<qint64>(qHash(joined, QHashSeed::globalSeed()));
    return QString::number(hash, 16);
}

QString transcriptCacheDir(const AppPaths& paths, const QStringList& mediaPaths) {
    return paths.transcriptsDir() + QLatin1Char('/') + transcriptCacheKey(mediaPaths);
}

std::optional<TranscriptResult> loadCachedTranscript(LocalPipeline& pipeline, const QStringList& mediaPaths) {
    bool ok = false;
    const QByteArray bytes =
        readAll(transcriptCacheDir(pipeline.paths(), mediaPaths) + QStringLiteral("/transcript.json"), &ok);
    const auto cached = ok ? decodeJson<CachedTranscript>(bytes) : std::nullopt;
    if (!cached)
        return loadLegacyTaleQuarryCache(pipeline, mediaPaths);
    TranscriptResult result;
    result.language = cached->language;
    for (const auto& s : cached->segments)
        result.segments.push_back({s.start, s.end, s.text, cached->language});
    return result;
}

std::optional<TranscriptResult> loadLegacyTaleQuarryCache(LocalPipeline& pipeline,
                                                          const QStringList& mediaPaths) {
    const QDir root(pipeline.paths().legacyCacheRoot());
    if (!root.exists())
        return std::nullopt;
    const QStringList entries =
        root.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);

    QStringList stems;
    QStringList bases;
    for (const QString& path : mediaPaths) {
        const QString name = QFileInfo(path).fileName();
        stems << QString(name).replace(QLatin1Char('.'), QLatin1Char('_'));
        bases << QString(name)
                     .remove(QStringLiteral(".WAV"))
                     .remove(QStringLiteral(".wav"))
                     .replace(QLatin1Char('-'), QLatin1Char('_'));
    }
    auto anyContains = [](const QStringList& names, const QStringList& needles) {
        return std::any_of(names.begin(), names.end(), [&](const QString& name) {
            return std::any_of(needles.begin(), needles.end(),
                               [&](const QString& needle) { return name.contains(needle); });
        });
    };

    for (const QString& project : entries) {
        const QDir chunks(root.filePath(project) + QStringLiteral("/chunks"));
        if (!chunks.exists())
            continue;
        QStringList files;
        const QStringList listed = chunks.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
        for (const QString& name : listed)
            if (name.endsWith(QLatin1String(".json")))
                files << name;
        files = sortedPaths(files);
        if (files.isEmpty())
            continue;
        if (!anyContains(files, stems) && !anyContains(files, bases))
            continue;

        pipeline.log(QStringLiteral("  Found cached transcripts in ~/.talequarry/%1/").arg(project),
                     QStringLiteral("dim"));
        // The older tool wrote no language that could be read back; Spanish is what it served.
        const QString language = QStringLiteral("es");
        QList<TranscriptSegment> segments;
        for (const QString& name : files) {
            bool ok = false;
            const auto json = parseJson(readAll(chunks.filePath(name), &ok));
            if (!ok || !json || !json->is_object())
                continue;
            const auto list = json->find("segments");
            if (list == json->end() || !list->is_array())
                continue;
            for (const Json& seg : *list) {
                if (!seg.is_object())
                    continue;
                TranscriptSegment s;
                s.start = numberOrZero(seg, "start");
                s.end = numberOrZero(seg, "end");
                const auto text = seg.find("text");
                if (text != seg.end())
                    readJson(*text, s.text);
                s.language = language;
                segments.push_back(s);
            }
        }
        if (segments.isEmpty())
            continue;
        std::stable_sort(
            segments.begin(), segments.end(),
            [](const TranscriptSegment& a, const TranscriptSegment& b) { return a.start < b.start; });
        return TranscriptResult{segments, language};
    }
    return std::nullopt;
}

void saveTranscriptCache(LocalPipeline& pipeline, const TranscriptResult& transcript,
                         const QStringList& mediaPaths) {
    const QString dir = transcriptCacheDir(pipeline.paths(), mediaPaths);
    if (!QDir().mkpath(dir))
        return;
    CachedTranscript cached;
    cached.language = transcript.language;
    cached.mediaPaths = mediaPaths;
    cached.createdAt = unixSeconds(pipeline.clock().now());
    writeFileAtomicallyLater(dir + QStringLiteral("/transcript.json"), [cached, transcript] {
        return encodeWithSegments(cached, "segments", transcript);
    });
}

QString projectsDir(const AppPaths& paths) {
    return paths.exportsDir;
}

void saveProject(LocalPipeline& pipeline, const QString& timeline, const TranscriptResult& transcript,
                 const QStringList& mediaPaths, const std::optional<MiningResults>& results,
                 const std::optional<QString>& presetId, double targetMinutes) {
    const QString dir = pipeline.paths().exportDirFor(timeline);
    if (!QDir().mkpath(dir))
        return;
    SavedProject project;
    project.timeline = timeline;
    project.createdAt = unixSeconds(pipeline.clock().now());
    project.language = transcript.language;
    project.mediaPaths = mediaPaths;
    project.results = results;
    project.presetId = presetId;
    project.targetMinutes = targetMinutes;
    project.source = pipeline.runSource(); // a re-mine of files ends saved for editors again
    const QString path = dir + QStringLiteral("/project.json");
    writeFileAtomicallyLater(path, [project, transcript, path]() mutable {
        // The transcript is saved before its analysis: a story saved by an earlier mine stays with
        // it until a new one replaces it, so an analysis that fails or is cancelled loses nothing.
        if (!project.results) {
            bool ok = false;
            const QByteArray before = readAll(path, &ok);
            if (const std::optional<SavedProject> earlier =
                    ok ? decodeJson<SavedProject>(before) : std::nullopt;
                earlier && earlier->results) {
                project.results = earlier->results;
                project.presetId = earlier->presetId;
                project.targetMinutes = earlier->targetMinutes;
            }
        }
        return encodeWithSegments(project, "transcript", transcript);
    });
}

std::optional<SavedProject> loadSavedProject(const AppPaths& paths, const QString& timeline) {
    bool ok = false;
    const QByteArray bytes = readAll(paths.exportDirFor(timeline) + QStringLiteral("/project.json"), &ok);
    if (!ok)
        return std::nullopt;
    return decodeJson<SavedProject>(bytes);
}

QList<SavedProject> listProjects(const AppPaths& paths) {
    const QDir root(projectsDir(paths));
    QList<SavedProject> projects;
    if (!root.exists())
        return projects;
    const QStringList entries =
        root.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
    for (const QString& entry : entries) {
        bool ok = false;
        const QByteArray bytes = readAll(root.filePath(entry) + QStringLiteral("/project.json"), &ok);
        if (!ok)
            continue;
        if (auto project = decodeJson<SavedProject>(bytes))
            projects.push_back(std::move(*project));
    }
    std::stable_sort(projects.begin(), projects.end(),
                     [](const SavedProject& a, const SavedProject& b) { return a.createdAt > b.createdAt; });
    return projects;
}

} // namespace ondrel
