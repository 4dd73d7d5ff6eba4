// Any bytes at all as an editor's timeline file: read by one format's reader (chosen when the
// target is built, so each fuzzes its own seeds) and by the dispatch that picks a reader from the
// content. Neither may crash, hang or break what the record promises: clips that play something,
// on media that exist in the record, and every refusal naming the file.

#include "interchange/TimelineReaders.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace ondrel::interchange;

namespace {

#if ONDREL_FUZZ_READER == 1
const QString kPath = QStringLiteral("/fuzz/cuts/cut.fcpxml");
TimelineReading readOwn(const QByteArray& bytes, const ReadOptions& o) {
    return readFcpxml(bytes, kPath, o);
}
#elif ONDREL_FUZZ_READER == 2
const QString kPath = QStringLiteral("/fuzz/cuts/cut.xml");
TimelineReading readOwn(const QByteArray& bytes, const ReadOptions& o) {
    return readFcp7Xml(bytes, kPath, o);
}
#elif ONDREL_FUZZ_READER == 3
const QString kPath = QStringLiteral("/fuzz/cuts/cut.otio");
TimelineReading readOwn(const QByteArray& bytes, const ReadOptions& o) {
    return readOtio(bytes, kPath, o);
}
#elif ONDREL_FUZZ_READER == 4
const QString kPath = QStringLiteral("/fuzz/cuts/cut.edl");
TimelineReading readOwn(const QByteArray& bytes, const ReadOptions& o) {
    return readEdl(bytes, kPath, o);
}
#else
#error "ONDREL_FUZZ_READER names the reader: 1 FCPXML, 2 FCP 7 XML, 3 OTIO, 4 EDL"
#endif

void require(bool holds) {
    if (!holds)
        std::abort();
}

void check(const TimelineReading& reading) {
    if (!reading.timeline) {
        require(reading.error.startsWith(QStringLiteral("“cut.")));
        return;
    }
    ReadTimeline t = *reading.timeline;
    require(!t.clips.isEmpty() && t.clips.size() <= kMaxTimelineClips);
    require(t.rate.num > 0 && t.rate.den > 0);
    for (const ReadClip& c : t.clips) {
        require(c.media >= 0 && c.media < t.media.size());
        require(c.recordIn < c.recordOut && c.sourceIn <= c.sourceOut);
        require(c.track.size() >= 2 && (c.track[0] == u'V' || c.track[0] == u'A'));
    }
    (void)clipLinesJson(t);
    (void)missingMediaMessage(t);
    (void)mediaOffTimelineRate(t);
    relinkByFileName(
        t, {QStringLiteral("/m/A001.mov"), QStringLiteral("/m/a001.MOV"), QStringLiteral("/m/b.wav")});
    settleMediaStarts(t, [](const ReadMedia&) { return std::optional<Rational>(Rational::of(3600)); });
    for (const ReadClip& c : t.clips)
        require(sourceFromFirstFrame(t, c, c.sourceIn).has_value());
    (void)clipLinesJson(t);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    ReadOptions options;
    // No file system: the same input always reads the same.
    options.isFile = [](const QString& path) { return path.endsWith(QStringLiteral(".mov")); };
    check(readOwn(bytes, options));
    check(readTimelineBytes(bytes, kPath, options));
#if ONDREL_FUZZ_READER == 4
    options.edlRate = FrameRate{30000, 1001};
    check(readOwn(bytes, options));
#endif
    return 0;
}
