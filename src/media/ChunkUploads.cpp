#include "ChunkUploads.h"

#include "AudioExtraction.h"
#include "MediaSupport.h"
#include "PcmWav.h"
#include "Transcription.h"
#include "core/Retry.h"
#include "core/Text.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

namespace ondrel {

namespace {

constexpr qint64 kSamplesPerChunk = qint64(kChunkSeconds) * 16000;
const QByteArray kStateKey = "media.chunkUploads";

quint32 le32(const QByteArray& bytes, qsizetype at) {
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}
quint16 le16(const QByteArray& bytes, qsizetype at) {
    return qFromLittleEndian<quint16>(bytes.constData() + at);
}

} // namespace

std::optional<PcmLayout> readPcmLayout(const QByteArray& head) {
    if (head.size() < 12 || !head.startsWith("RIFF") || head.mid(8, 4) != "WAVE")
        return std::nullopt;
    bool haveFmt = false;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArray id = head.mid(at, 4);
        const quint32 size = le32(head, at + 4);
        const qsizetype body = at + 8;
        if (id == "data")
            return haveFmt ? std::optional(PcmLayout{body}) : std::nullopt;
        if (id == "fmt ") {
            if (size < 16 || body + 16 > head.size() || le16(head, body) != 1 || le16(head, body + 2) != 1 ||
                le32(head, body + 4) != 16000 || le16(head, body + 14) != 16)
                return std::nullopt;
            haveFmt = true;
        } else if (id != "LIST") {
            return std::nullopt;
        }
        at = body + qsizetype(size) + qsizetype(size & 1);
    }
    return std::nullopt;
}

QStringList chunkSliceInput(const QString& wav, qint64 headerBytes, qint64 firstSample, qint64 samples) {
    // Read as raw samples past the header, so a file still being written (its sizes not yet
    // patched) reads the same as the finished one; the seek and length fall on whole samples.
    return {QStringLiteral("-f"),
            QStringLiteral("s16le"),
            QStringLiteral("-ar"),
            QStringLiteral("16000"),
            QStringLiteral("-ac"),
            QStringLiteral("1"),
            QStringLiteral("-skip_initial_bytes"),
            QString::number(headerBytes),
            QStringLiteral("-ss"),
            formatDouble(double(firstSample) / 16000.0),
            QStringLiteral("-t"),
            formatDouble(double(samples) / 16000.0),
            QStringLiteral("-i"),
            wav};
}

QStringList chunkSliceOutput(const QString& output) {
    return (output.endsWith(QLatin1String(".wav"))
                ? QStringList{QStringLiteral("-acodec"), QStringLiteral("pcm_s16le")}
                : media::flacCodecArgs()) +
           QStringList{output};
}

QStringList chunkSliceArguments(const QString& wav, qint64 headerBytes, qint64 firstSample, qint64 samples,
                                const QString& output) {
    return QStringList{QStringLiteral("-y")} + chunkSliceInput(wav, headerBytes, firstSample, samples) +
           chunkSliceOutput(output);
}

QString uploadChunkPath(const PipelineEnvironment& env, qsizetype index) {
    const QString flac = flacChunkPath(media::chunksDir(env.paths), index);
    return env.flacUploads ? flac : flac.chopped(4) + QStringLiteral("wav");
}

QString flacChunkPath(const QString& dir, qsizetype index) {
    return dir + QStringLiteral("/chunk_") + QString::asprintf("%03lld", qint64(index)) +
           QStringLiteral(".flac");
}

double samplesDuration(qint64 samples) {
    return PcmWav{{}, samples}.duration();
}

std::optional<qint64> flacSamples(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // "fLaC", then the stream info block first: a 4-byte header and 34 bytes, whose bytes 13 to 17
    // end with the 36-bit count of samples per channel.
    const QByteArray head = file.read(42);
    if (head.size() < 42 || !head.startsWith("fLaC") || (head[4] & 0x7f) != 0)
        return std::nullopt;
    qint64 samples = qint64(quint8(head[21]) & 0x0f);
    for (int i = 22; i < 26; ++i)
        samples = (samples << 8) | quint8(head[i]);
    return samples;
}

std::shared_ptr<ChunkUploads> ChunkUploads::begin(LocalPipeline& pipeline, QString language) {
    auto uploads = std::make_shared<ChunkUploads>(pipeline, std::move(language));
    pipeline.entryState(kStateKey) = uploads;
    return uploads;
}

std::shared_ptr<ChunkUploads> ChunkUploads::of(LocalPipeline& pipeline) {
    return std::static_pointer_cast<ChunkUploads>(pipeline.entryState(kStateKey));
}

ChunkUploads::ChunkUploads(LocalPipeline& pipeline, QString language)
    : m_pipeline(pipeline)
    , m_language(std::move(language))
    , m_requests(pipeline, Service::speech) {}

ChunkUploads::~ChunkUploads() {
    m_stopWatching->stop();
}

void ChunkUploads::watch(QString wav) {
    m_watcher.emplace(followGrowing(std::move(wav)));
}

QCoro::Task<> ChunkUploads::stopWatching() {
    m_stopWatching->stop();
    if (!m_watcher)
        co_return;
    QCoro::Task<> watcher = std::move(*m_watcher);
    m_watcher.reset();
    co_await std::move(watcher);
}

QCoro::Task<bool> ChunkUploads::cut(QString wav, PcmLayout layout, qsizetype first, QList<qint64> samples) {
    if (m_layout && m_layout->headerBytes != layout.headerBytes)
        co_return false; // another file than the one the chunks so far came from
    m_layout = layout;
    // Several chunks to one ffmpeg run, each an input of its own read at its own place: a
    // process per chunk cost more than the encoding.
    QStringList args;
    QStringList outputs;
    for (qsizetype k = 0; k < samples.size(); ++k) {
        const QString out = uploadChunkPath(m_pipeline.environment(), first + k);
        // One run's inputs, then its outputs each taking its own input.
        args += chunkSliceInput(wav, layout.headerBytes, qint64(first + k) * kSamplesPerChunk, samples[k]);
        outputs << QStringLiteral("-map") << QStringLiteral("%1:a").arg(k) << chunkSliceOutput(out);
    }
    QStringList all;
    all << QStringLiteral("-y") << args << outputs;
    const bool ok = co_await m_pipeline.tools().runProcess(m_pipeline.toolPaths().ffmpeg, all);
    for (qsizetype k = 0; k < samples.size(); ++k) {
        const QString out = uploadChunkPath(m_pipeline.environment(), first + k);
        if (!ok || m_pipeline.isCancelled()) {
            QFile::remove(out); // what a stopped ffmpeg left is no chunk
            continue;
        }
        if (m_chunks.size() <= first + k) {
            m_chunks.resize(first + k + 1);
            m_lengths.resize(first + k + 1);
        }
        m_chunks[first + k] = out;
        m_lengths[first + k] = samplesDuration(samples[k]);
        m_requests.ready(first + k,
                         audioRequest(m_pipeline, out, m_language, QStringLiteral("segment"), kChunkTimeout));
    }
    co_return ok && !m_pipeline.isCancelled();
}

QCoro::Task<> ChunkUploads::followGrowing(QString wav) {
    std::optional<PcmLayout> layout;
    while (co_await waitUnlessStopped(std::chrono::milliseconds(250), m_stopWatching)) {
        if (m_pipeline.isCancelled())
            co_return;
        if (!layout) {
            QFile file(wav);
            if (!file.open(QIODevice::ReadOnly))
                continue;
            layout = readPcmLayout(file.read(256));
            if (!layout)
                continue;
        }
        const qint64 whole = (QFileInfo(wav).size() - layout->headerBytes) / 2 / kSamplesPerChunk;
        QList<qint64> oneChunk;
        oneChunk << kSamplesPerChunk;
        while (m_chunks.size() < whole && !m_stopWatching->isStopped())
            if (!co_await cut(wav, *layout, m_chunks.size(), oneChunk))
                co_return;
    }
}

QCoro::Task<bool> ChunkUploads::cutRest(QString wav) {
    const std::optional<PcmWav> pcm = readPcmWav(wav);
    if (!pcm)
        co_return false;
    const PcmLayout layout{qint64(pcm->header.size())};
    const qsizetype total = chunkCount(pcm->duration());
    // Batches of kChunksPerRun, two runs at a time (the encoding is the work, one core each).
    constexpr qsizetype kChunksPerRun = 8;
    const auto batch = [&](qsizetype first) {
        QList<qint64> samples;
        for (qsizetype i = first; i < std::min(total, first + kChunksPerRun); ++i)
            samples << std::min(kSamplesPerChunk, pcm->samples - qint64(i) * kSamplesPerChunk);
        return cut(wav, layout, first, samples);
    };
    for (qsizetype next = m_chunks.size(); next < total; next += 2 * kChunksPerRun) {
        if (m_pipeline.isCancelled())
            co_return false;
        QCoro::Task<bool> one = batch(next);
        std::optional<QCoro::Task<bool>> two;
        if (next + kChunksPerRun < total)
            two.emplace(batch(next + kChunksPerRun));
        const bool ok = co_await std::move(one);
        const bool alsoOk = two ? co_await std::move(*two) : true;
        if (!ok || !alsoOk)
            co_return false;
    }
    co_return true;
}

} // namespace ondrel
