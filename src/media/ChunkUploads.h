#pragma once
// The chunks of one extraction and their requests to the speech service. A chunk is cut as lossless
// FLAC (about half the bytes of its WAV) as soon as its samples exist — while ffmpeg is still
// extracting the rest — and its request goes out at once (RequestsAhead), to be taken at its
// transcription turn. The steps' log, progress and outcomes stay those of extraction, then
// chunking, then one chunk at a time.

#include "core/LocalPipeline.h"
#include "core/RequestsAhead.h"

#include <QCoroTask>

#include <memory>
#include <optional>

namespace ondrel {

struct PcmLayout {
    qint64 headerBytes = 0; // before the first sample
};
// The extraction's own PCM layout (16-bit mono 16 kHz, the header ffmpeg writes) read from a file's
// first bytes, whatever its sizes say: they are patched only when ffmpeg ends.
std::optional<PcmLayout> readPcmLayout(const QByteArray& head);

// The input half (one input's options and path) and the output half of chunkSliceArguments, for a
// run that cuts several chunks.
QStringList chunkSliceInput(const QString& wav, qint64 headerBytes, qint64 firstSample, qint64 samples);
QStringList chunkSliceOutput(const QString& output);
// ffmpeg's arguments that write samples [first, first + count) of a WAV in the PCM layout as FLAC
// (or, for an output ending in ".wav", as such a WAV), reading only those samples.
QStringList chunkSliceArguments(const QString& wav, qint64 headerBytes, qint64 firstSample, qint64 samples,
                                const QString& output);
// chunk_000.flac, or chunk_000.wav when the pipeline sends WAV as first designed.
QString uploadChunkPath(const PipelineEnvironment& env, qsizetype index);
QString flacChunkPath(const QString& dir, qsizetype index);
// A chunk's length as ffprobe prints it for so many samples.
double samplesDuration(qint64 samples);
// The samples a FLAC file holds, from its stream info; absent for anything else.
std::optional<qint64> flacSamples(const QString& path);

class ChunkUploads {
public:
    // A new one for this entry, in place of any before; no request goes out before `language` is set.
    static std::shared_ptr<ChunkUploads> begin(LocalPipeline& pipeline, QString language);
    // This entry's, when an extraction began one.
    static std::shared_ptr<ChunkUploads> of(LocalPipeline& pipeline);

    ChunkUploads(LocalPipeline& pipeline, QString language);
    ~ChunkUploads();
    ChunkUploads(const ChunkUploads&) = delete;
    ChunkUploads& operator=(const ChunkUploads&) = delete;

    // Follows `wav` as ffmpeg writes it and cuts each chunk whose samples are all there.
    void watch(QString wav);
    // No more cuts from the growing file; the one under way ends first.
    QCoro::Task<> stopWatching();

    // Cuts the chunks still missing from the finished file; false when one cannot be cut.
    QCoro::Task<bool> cutRest(QString wav);

    // The extraction's finished file the chunks come from.
    void setSource(QString wav) { m_source = std::move(wav); }
    const QString& source() const { return m_source; }
    const QString& language() const { return m_language; }
    const QStringList& chunks() const { return m_chunks; }
    const QList<double>& lengths() const { return m_lengths; }
    RequestsAhead& requests() { return m_requests; }

private:
    QCoro::Task<> followGrowing(QString wav);
    // Chunks first, first + 1, … of so many samples each, in one ffmpeg run.
    QCoro::Task<bool> cut(QString wav, PcmLayout layout, qsizetype first, QList<qint64> samples);

    LocalPipeline& m_pipeline;
    QString m_language;
    RequestsAhead m_requests;
    QString m_source;
    QStringList m_chunks;
    QList<double> m_lengths;
    std::optional<PcmLayout> m_layout;
    std::shared_ptr<StopSignal> m_stopWatching = std::make_shared<StopSignal>();
    std::optional<QCoro::Task<>> m_watcher;
};

} // namespace ondrel
