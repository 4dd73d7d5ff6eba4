#include "PcmWav.h"

#include <QFile>
#include <QtEndian>

namespace ondrel {

namespace {

constexpr quint16 kPcm = 1;
constexpr quint16 kChannels = 1;
constexpr quint32 kRate = 16000;
constexpr quint16 kBits = 16;
constexpr qint64 kBytesPerSample = 2;

quint32 le32(const QByteArray& bytes, qsizetype at) {
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}
quint16 le16(const QByteArray& bytes, qsizetype at) {
    return qFromLittleEndian<quint16>(bytes.constData() + at);
}

// fmt: PCM, mono, 16 kHz, 16-bit, and nothing more.
bool isOurFormat(const QByteArray& fmt) {
    return fmt.size() == 16 && le16(fmt, 0) == kPcm && le16(fmt, 2) == kChannels && le32(fmt, 4) == kRate &&
           le32(fmt, 8) == kRate * kBytesPerSample && le16(fmt, 12) == kBytesPerSample &&
           le16(fmt, 14) == kBits;
}

// LIST/INFO with the one ISFT entry ffmpeg writes (its version). Other tags could come back in
// another order from ffmpeg, so they are not copied blindly.
bool isVersionOnlyInfo(const QByteArray& list) {
    if (list.size() < 12 || !list.startsWith("INFO") || list.mid(4, 4) != "ISFT")
        return false;
    const quint32 size = le32(list, 8);
    return qint64(12) + size + (size & 1) == list.size();
}

} // namespace

double PcmWav::duration() const {
    // samples × 62.5 µs, rounded half away from zero, as ffprobe's rescaling does.
    const qint64 micros = (samples * 125 + 1) / 2;
    return double(micros) / 1e6;
}

std::optional<PcmWav> readPcmWav(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const qint64 fileSize = file.size();
    const QByteArray head = file.read(256);
    if (head.size() < 12 || !head.startsWith("RIFF") || head.mid(8, 4) != "WAVE" ||
        qint64(le32(head, 4)) + 8 != fileSize)
        return std::nullopt;
    bool haveFmt = false, haveList = false;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArray id = head.mid(at, 4);
        const quint32 size = le32(head, at + 4);
        const qsizetype body = at + 8;
        if (id == "data") {
            if (!haveFmt || !haveList || qint64(body) + size != fileSize || size % kBytesPerSample)
                return std::nullopt;
            return PcmWav{head.left(body), qint64(size) / kBytesPerSample};
        }
        const qsizetype next = body + qsizetype(size) + qsizetype(size & 1);
        if (next > head.size())
            return std::nullopt;
        if (id == "fmt " && !haveFmt && !haveList && isOurFormat(head.mid(body, size)))
            haveFmt = true;
        else if (id == "LIST" && haveFmt && !haveList && isVersionOnlyInfo(head.mid(body, size)))
            haveList = true;
        else
            return std::nullopt;
        at = next;
    }
    return std::nullopt;
}

} // namespace ondrel
