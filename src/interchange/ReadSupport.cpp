#include "ReadSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <cmath>
#include <map>
#include <queue>
#include <set>

namespace ondrel::interchange::read {

namespace {

__extension__ typedef __int128 Wide;

// Room for a sum of two times without leaving 64 bits on the way.
constexpr Wide kTimeLimit = Wide(1) << 62;

// Far more than any editor's timeline keeps of the elements a reader asks for (about 25 per clip
// at the most), and still a bounded amount of memory.
constexpr qsizetype kMaxKeptElements = 5000000;

Wide gcdWide(Wide a, Wide b) {
    a = a < 0 ? -a : a;
    b = b < 0 ? -b : b;
    while (b != 0) {
        const Wide t = a % b;
        a = b;
        b = t;
    }
    return a;
}

// The first byte that does not continue valid UTF-8, or -1.
qsizetype firstInvalidUtf8(const QByteArray& bytes) {
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.constData());
    const qsizetype n = bytes.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char c = b[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int extra = 0;
        unsigned int code = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            code = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            code = c & 0x07;
        } else {
            return i;
        }
        if (i + extra >= n)
            return i;
        for (int k = 1; k <= extra; ++k) {
            if ((b[i + k] & 0xC0) != 0x80)
                return i;
            code = (code << 6) | (b[i + k] & 0x3F);
        }
        // Overlong forms, surrogates and code points past U+10FFFF are not UTF-8 either.
        const bool overlong = (extra == 2 && code < 0x800) || (extra == 3 && code < 0x10000);
        if (overlong || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
            return i;
        i += extra + 1;
    }
    return -1;
}

QString percentDecoded(QStringView text) {
    QByteArray bytes;
    const QByteArray utf8 = text.toUtf8();
    bytes.reserve(utf8.size());
    auto hex = [](char c) -> int {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    };
    for (qsizetype i = 0; i < utf8.size(); ++i) {
        if (utf8[i] == '%' && i + 2 < utf8.size()) {
            const int hi = hex(utf8[i + 1]);
            const int lo = hex(utf8[i + 2]);
            if (hi >= 0 && lo >= 0) {
                bytes += char(hi * 16 + lo);
                i += 2;
                continue;
            }
        }
        bytes += utf8[i];
    }
    return QString::fromUtf8(bytes);
}

bool isWindowsDrivePath(QStringView p);

// Clean, and no ".." left above the root: "/../../etc" is "/etc", as the system takes it.
QString cleanAbsolute(const QString& path) {
    QString clean = QDir::cleanPath(path);
    const qsizetype root = isWindowsDrivePath(clean) ? 2 : 0;
    while (QStringView(clean).mid(root).startsWith(u"/..") &&
           (clean.size() == root + 3 || clean[root + 3] == u'/'))
        clean.remove(root, 3);
    if (clean.size() == root)
        clean += u'/';
    return clean;
}

bool isWindowsDrivePath(QStringView p) {
    return p.size() >= 2 && p[1] == u':' && p[0].unicode() < 128 && p[0].isLetter() &&
           (p.size() == 2 || p[2] == u'/' || p[2] == u'\\');
}

// 0 for the primary storyline, then lanes below it nearest first, then those above: the order
// an editor with tracks numbers sound in.
qint64 audioLaneOrder(int lane) {
    if (lane == 0)
        return 0;
    return lane < 0 ? qint64(-lane) : qint64(1) << 32 | lane;
}

} // namespace

QString fileLabel(const QString& path) {
    const QString clean = QDir::cleanPath(path);
    const QFileInfo info(clean);
    // A bundle is what the editor chose, not the Info.fcpxml inside it.
    if (info.fileName() == QLatin1String("Info.fcpxml") &&
        info.dir().dirName().endsWith(QLatin1String(".fcpxmld"), Qt::CaseInsensitive))
        return info.dir().dirName();
    const QString name = fileNameOf(clean);
    return name.isEmpty() ? clean : name;
}

QString aboutFile(const QString& path, const QString& what) {
    return QStringLiteral("“") + fileLabel(path) + QStringLiteral("” ") + what;
}

QString counted(qsizetype count, const QString& one, const QString& many) {
    return QString::number(count) + u' ' + (count == 1 ? one : many);
}

std::optional<QString> textProblem(const QByteArray& bytes, const QString& path) {
    if (bytes.trimmed().isEmpty())
        return aboutFile(path, QStringLiteral("is empty."));
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        return aboutFile(path,
                         QStringLiteral("is UTF-16 text, not UTF-8; timeline files are written in UTF-8."));
    const qsizetype nul = bytes.indexOf('\0');
    if (nul >= 0)
        return aboutFile(path, QStringLiteral("holds NUL bytes (the first at byte %1), so it is no timeline "
                                              "file but binary data.")
                                   .arg(nul));
    const qsizetype bad = firstInvalidUtf8(bytes);
    if (bad >= 0)
        return aboutFile(path, QStringLiteral("is not UTF-8 text (byte %1 is not UTF-8); timeline files are "
                                              "written in UTF-8.")
                                   .arg(bad));
    return std::nullopt;
}

// ---- XML ------------------------------------------------------------------------------------

QString XmlElement::attribute(QStringView key) const {
    for (const auto& [name, value] : attributes)
        if (name == key)
            return value;
    return {};
}

bool XmlElement::hasAttribute(QStringView key) const {
    for (const auto& attribute : attributes)
        if (attribute.first == key)
            return true;
    return false;
}

int XmlTree::child(int parent, QStringView name) const {
    for (const int c : at(parent).children)
        if (at(c).name == name)
            return c;
    return -1;
}

QList<int> XmlTree::children(int parent, QStringView name) const {
    QList<int> found;
    for (const int c : at(parent).children)
        if (at(c).name == name)
            found << c;
    return found;
}

QString XmlTree::childText(int parent, QStringView name) const {
    const int c = child(parent, name);
    return c < 0 ? QString() : at(c).text.trimmed();
}

std::optional<XmlTree> parseXml(const QByteArray& bytes, const QString& path,
                                const std::function<bool(QStringView name)>& keep, QString* error) {
    QXmlStreamReader reader(bytes);
    XmlTree tree;
    QList<int> open;
    // Names repeat by the thousand; one shared copy each keeps the tree small.
    QHash<QString, QString> names;
    int depth = 0;
    int skipFrom = 0; // the depth where a skipped element began, 0 while keeping
    auto fail = [&](const QString& message) {
        *error = aboutFile(path, message);
        return std::nullopt;
    };
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartDocument: {
            const QString encoding = reader.documentEncoding().toString().toLower();
            if (!encoding.isEmpty() && encoding != QLatin1String("utf-8") &&
                encoding != QLatin1String("utf8"))
                return fail(QStringLiteral("declares the encoding “%1”; timeline files are UTF-8.")
                                .arg(reader.documentEncoding().toString()));
            break;
        }
        case QXmlStreamReader::DTD:
            // The parser would expand entities declared here (and silently drop external ones);
            // editors write a bare <!DOCTYPE fcpxml> or <!DOCTYPE xmeml>.
            if (!reader.entityDeclarations().isEmpty() || !reader.notationDeclarations().isEmpty() ||
                reader.text().contains(u'['))
                return fail(QStringLiteral("declares entities of its own in its DOCTYPE (line %1), which no "
                                           "editor writes; it was not read.")
                                .arg(reader.lineNumber()));
            break;
        case QXmlStreamReader::EntityReference:
            return fail(QStringLiteral("uses the entity “&%1;” (line %2), which is not XML's own; it was "
                                       "not read.")
                            .arg(reader.name().toString())
                            .arg(reader.lineNumber()));
        case QXmlStreamReader::StartElement: {
            if (++depth > kMaxTimelineNesting)
                return fail(QStringLiteral("nests elements more than %1 deep (line %2); no timeline does.")
                                .arg(kMaxTimelineNesting)
                                .arg(reader.lineNumber()));
            if (skipFrom > 0)
                break;
            const QStringView name = reader.name();
            // The root is always kept, so a reader can say what the file is instead.
            if (depth > 1 && !keep(name)) {
                skipFrom = depth;
                break;
            }
            if (qsizetype(tree.elements.size()) >= kMaxKeptElements)
                return fail(
                    QStringLiteral("holds more elements than any timeline (over %1).").arg(kMaxKeptElements));
            XmlElement element;
            QString key = name.toString();
            auto known = names.constFind(key);
            if (known == names.constEnd())
                known = names.insert(key, key);
            element.name = *known;
            element.line = reader.lineNumber();
            for (const QXmlStreamAttribute& a : reader.attributes())
                element.attributes.emplaceBack(a.name().toString(), a.value().toString());
            const int index = int(tree.elements.size());
            if (!open.isEmpty())
                tree.elements[std::size_t(open.back())].children << index;
            else if (index > 0)
                break; // a second root is a parse error the reader reports next
            tree.elements.push_back(std::move(element));
            open << index;
            break;
        }
        case QXmlStreamReader::EndElement:
            if (skipFrom == depth)
                skipFrom = 0;
            else if (skipFrom == 0 && !open.isEmpty())
                open.removeLast();
            --depth;
            break;
        case QXmlStreamReader::Characters:
            if (skipFrom == 0 && !open.isEmpty() && !reader.isWhitespace())
                tree.elements[std::size_t(open.back())].text += reader.text();
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        if (reader.error() == QXmlStreamReader::PrematureEndOfDocumentError)
            return fail(
                QStringLiteral("ends early (line %1): the file is cut short.").arg(reader.lineNumber()));
        return fail(QStringLiteral("is not well-formed XML (line %1, column %2).")
                        .arg(reader.lineNumber())
                        .arg(reader.columnNumber()));
    }
    if (tree.elements.empty())
        return fail(QStringLiteral("holds no XML element."));
    return tree;
}

// ---- time -----------------------------------------------------------------------------------

namespace {

Rational fitted(Wide num, Wide den, bool& overflowed) {
    if (overflowed || den == 0) {
        overflowed = true;
        return {};
    }
    if (den < 0) {
        num = -num;
        den = -den;
    }
    const Wide g = gcdWide(num, den);
    if (g > 1) {
        num /= g;
        den /= g;
    }
    if (num >= kTimeLimit || num <= -kTimeLimit || den >= kTimeLimit) {
        overflowed = true;
        return {};
    }
    Rational r;
    r.num = qint64(num);
    r.den = qint64(den);
    return r;
}

} // namespace

Rational TimeMath::add(Rational a, Rational b) {
    return fitted(Wide(a.num) * b.den + Wide(b.num) * a.den, Wide(a.den) * b.den, overflowed);
}

Rational TimeMath::sub(Rational a, Rational b) {
    return fitted(Wide(a.num) * b.den - Wide(b.num) * a.den, Wide(a.den) * b.den, overflowed);
}

Rational TimeMath::mul(Rational a, Rational b) {
    return fitted(Wide(a.num) * b.num, Wide(a.den) * b.den, overflowed);
}

Rational TimeMath::div(Rational a, Rational b) {
    return fitted(Wide(a.num) * b.den, Wide(a.den) * b.num, overflowed);
}

std::optional<Rational> rationalOfDouble(double value, qint64 maxDen) {
    // A year of seconds, or of frames at 1000 fps, is far past any timeline.
    if (!std::isfinite(value) || std::abs(value) > 1e12)
        return std::nullopt;
    if (value == std::floor(value))
        return Rational::of(qint64(value));
    // Continued fractions: the best approximations, so 86400.617 gives 86400617/1000.
    const bool negative = value < 0;
    double x = std::abs(value);
    qint64 h0 = 0, h1 = 1, k0 = 1, k1 = 0;
    for (int i = 0; i < 64; ++i) {
        const double a = std::floor(x);
        if (a > 1e15)
            break;
        const auto ai = qint64(a);
        const qint64 h2 = ai * h1 + h0;
        const qint64 k2 = ai * k1 + k0;
        if (k2 > maxDen)
            break;
        h0 = h1;
        h1 = h2;
        k0 = k1;
        k1 = k2;
        const double rest = x - a;
        if (rest < 1e-12 || std::abs(double(h1) / double(k1) - std::abs(value)) < 1e-12 * std::abs(value))
            break;
        x = 1.0 / rest;
    }
    if (k1 == 0)
        return std::nullopt;
    return Rational::of(negative ? -h1 : h1, k1);
}

std::optional<FrameRate> frameRateOfDouble(double fps) {
    if (!std::isfinite(fps) || fps <= 0 || fps > 1e6)
        return std::nullopt;
    const auto exact = rationalOfDouble(fps, 1001000);
    if (!exact || exact->num <= 0)
        return std::nullopt;
    return frameRateOf(*exact);
}

FrameRate frameRateOf(Rational fps) {
    if (const auto standard = standardRate(fps))
        return *standard;
    return {fps.num, fps.den};
}

// ---- media ----------------------------------------------------------------------------------

QString fileNameOf(const QString& pathOrUrl) {
    QStringView p(pathOrUrl);
    while (!p.isEmpty() && (p.back() == u'/' || p.back() == u'\\'))
        p.chop(1);
    const qsizetype slash = std::max(p.lastIndexOf(u'/'), p.lastIndexOf(u'\\'));
    const QStringView name = p.mid(slash + 1);
    if (name == u"." || name == u"..")
        return {};
    return name.toString();
}

QString pathOfReference(const QString& reference, const QString& baseFolder, Reference kind) {
    QString ref = reference.trimmed();
    if (ref.isEmpty() || ref.contains(QChar(0)))
        return {};
    const qsizetype colon = ref.indexOf(u':');
    // A scheme is two or more letters ("file:", "http:"); one letter and a colon is a Windows drive.
    bool hasScheme = colon > 1;
    for (qsizetype i = 0; hasScheme && i < colon; ++i) {
        const QChar c = ref[i];
        const bool letter = c.unicode() < 128 && c.isLetter();
        hasScheme = letter || (i > 0 && (c.isDigit() || c == u'+' || c == u'.' || c == u'-'));
    }
    QString path;
    if (hasScheme) {
        if (ref.left(colon).compare(QLatin1String("file"), Qt::CaseInsensitive) != 0)
            return {}; // http:, smb: and the like name nothing on this disk
        QStringView rest = QStringView(ref).mid(colon + 1);
        if (rest.startsWith(u"//")) {
            rest = rest.mid(2);
            const qsizetype slash = rest.indexOf(u'/');
            const QStringView host = slash < 0 ? rest : rest.left(slash);
            rest = slash < 0 ? QStringView() : rest.mid(slash);
            path = percentDecoded(rest);
            if (!host.isEmpty() && host.compare(u"localhost", Qt::CaseInsensitive) != 0)
                path = QStringLiteral("//") + percentDecoded(host) + path;
        } else {
            path = percentDecoded(rest);
        }
        // file:///C:/x and file://localhost/C%3a/x as Windows editors write them.
        if (path.size() >= 3 && path[0] == u'/' && isWindowsDrivePath(QStringView(path).mid(1)))
            path.remove(0, 1);
        if (path.isEmpty() || path.contains(QChar(0)))
            return {};
    } else if (kind == Reference::url && !ref.contains(QRegularExpression(QStringLiteral("\\s")))) {
        // A relative URL ("media/a%20b.mov"); text with spaces is a plain path some tools write.
        path = percentDecoded(ref);
        if (path.contains(QChar(0)))
            return {};
    } else {
        path = ref;
    }
    const bool windowsForm = isWindowsDrivePath(path) || path.startsWith(QLatin1String("\\\\")) ||
                             (!path.contains(u'/') && path.contains(u'\\'));
    if (windowsForm)
        path.replace(u'\\', u'/');
    if (fileNameOf(path).isEmpty())
        return {};
    if (path.startsWith(QLatin1String("//")))
        return QStringLiteral("/") + cleanAbsolute(path);
    if (path.startsWith(u'/') || isWindowsDrivePath(path))
        return cleanAbsolute(path);
    if (baseFolder.isEmpty())
        return {};
    return cleanAbsolute(baseFolder + u'/' + path);
}

MediaTable::MediaTable(QString timelineFile, const ReadOptions& options)
    : m_timelineFile(std::move(timelineFile))
    , m_options(options) {
    const QFileInfo info(m_timelineFile);
    m_baseFolders << QDir::cleanPath(info.absolutePath());
}

int MediaTable::byReference(const QString& reference, Reference kind, const QString& nameHint) {
    QString path;
    bool found = false;
    for (const QString& base : m_baseFolders) {
        const QString candidate = pathOfReference(reference, base, kind);
        if (candidate.isEmpty())
            break;
        const bool exists = m_options.isFile ? m_options.isFile(candidate) : QFileInfo(candidate).isFile();
        if (path.isEmpty() || exists) {
            path = candidate;
            found = exists;
        }
        if (found)
            break;
    }
    const QString key = path.isEmpty() ? QStringLiteral("ref:") + reference.trimmed() : path;
    if (const auto it = m_byKey.constFind(key); it != m_byKey.constEnd())
        return *it;
    ReadMedia m;
    m.path = path;
    m.found = found;
    m.name = fileNameOf(path.isEmpty() ? reference.trimmed() : path);
    if (m.name.isEmpty())
        m.name = nameHint;
    const int index = int(media.size());
    media << m;
    m_byKey.insert(key, index);
    return index;
}

int MediaTable::byReel(const QString& reel) {
    const QString key = QStringLiteral("reel:") + reel;
    if (const auto it = m_byKey.constFind(key); it != m_byKey.constEnd())
        return *it;
    ReadMedia m;
    m.name = reel;
    m.reel = reel;
    const int index = int(media.size());
    media << m;
    m_byKey.insert(key, index);
    return index;
}

int MediaTable::byName(const QString& name, const QString& reel) {
    const QString key = QStringLiteral("name:") + name;
    if (const auto it = m_byKey.constFind(key); it != m_byKey.constEnd())
        return *it;
    ReadMedia m;
    m.name = name;
    m.reel = reel;
    const int index = int(media.size());
    media << m;
    m_byKey.insert(key, index);
    return index;
}

// ---- the record -----------------------------------------------------------------------------

QString trackName(TrackKind kind, int number) {
    return (kind == TrackKind::video ? QStringLiteral("V") : QStringLiteral("A")) + QString::number(number);
}

QList<ReadClip> tracksFromLanes(QList<PlacedClip> placed) {
    QList<ReadClip> out;
    for (const TrackKind kind : {TrackKind::video, TrackKind::audio}) {
        std::map<qint64, QList<const PlacedClip*>> byLane;
        for (const PlacedClip& p : placed)
            if (p.clip.kind == kind)
                byLane[kind == TrackKind::video ? qint64(p.lane) : audioLaneOrder(p.lane)] << &p;
        int number = 0;
        for (auto& [lane, clips] : byLane) {
            std::stable_sort(clips.begin(), clips.end(), [](const PlacedClip* a, const PlacedClip* b) {
                return a->clip.recordIn < b->clip.recordIn;
            });
            // Each clip takes the first track free at its start: a heap of the busy tracks by
            // their end and a set of the free ones keep that fast for any number of overlaps.
            using Busy = std::pair<Rational, qsizetype>;
            auto later = [](const Busy& a, const Busy& b) { return a.first > b.first; };
            std::priority_queue<Busy, std::vector<Busy>, decltype(later)> busy(later);
            std::set<qsizetype> free;
            QList<QList<ReadClip>> rows;
            for (const PlacedClip* p : clips) {
                while (!busy.empty() && busy.top().first <= p->clip.recordIn) {
                    free.insert(busy.top().second);
                    busy.pop();
                }
                qsizetype row = rows.size();
                if (!free.empty()) {
                    row = *free.begin();
                    free.erase(free.begin());
                } else {
                    rows << QList<ReadClip>{};
                }
                busy.push({p->clip.recordOut, row});
                rows[row] << p->clip;
            }
            for (QList<ReadClip>& row : rows) {
                const QString name = trackName(kind, ++number);
                for (ReadClip& c : row) {
                    c.track = name;
                    out << c;
                }
            }
        }
    }
    return out;
}

TimelineReading failure(const QString& message) {
    TimelineReading r;
    r.error = message;
    return r;
}

TimelineReading finish(ReadTimeline t) {
    if (t.clips.isEmpty())
        return failure(aboutFile(t.file, QStringLiteral("holds no clip that plays a media file.")));
    if (t.clips.size() > kMaxTimelineClips)
        return failure(aboutFile(t.file, QStringLiteral("holds more than %1 clips, more than Ondrel Manager "
                                                        "reads from one timeline.")
                                             .arg(kMaxTimelineClips)));
    // Only the media a clip plays, in the order clips first use them.
    QList<int> newIndex(t.media.size(), -1);
    QList<ReadMedia> used;
    auto trackOrder = [](const ReadClip& c) {
        return std::pair{c.kind == TrackKind::video ? 0 : 1, QStringView(c.track).mid(1).toInt()};
    };
    std::stable_sort(t.clips.begin(), t.clips.end(), [&](const ReadClip& a, const ReadClip& b) {
        if (trackOrder(a) != trackOrder(b))
            return trackOrder(a) < trackOrder(b);
        return a.recordIn < b.recordIn;
    });
    for (ReadClip& c : t.clips) {
        if (newIndex[c.media] < 0) {
            newIndex[c.media] = int(used.size());
            used << t.media[c.media];
        }
        c.media = newIndex[c.media];
    }
    t.media = used;
    std::stable_sort(t.markers.begin(), t.markers.end(),
                     [](const ReadMarker& a, const ReadMarker& b) { return a.record < b.record; });

    QStringList offRate;
    for (const ReadMedia& m : t.media)
        if (m.rate && *m.rate != t.rate)
            offRate << QStringLiteral("%1 (%2 fps)").arg(m.name, m.rate->label());
    if (!offRate.isEmpty())
        t.warnings << aboutFile(t.file,
                                QStringLiteral("mixes frame rates: %1 %2 not at the timeline's %3 fps; "
                                               "their clips were read at their own rates.")
                                    .arg(offRate.join(QStringLiteral(", ")),
                                         offRate.size() == 1 ? QStringLiteral("is") : QStringLiteral("are"),
                                         t.rate.label()));
    TimelineReading r;
    r.timeline = std::move(t);
    return r;
}

} // namespace ondrel::interchange::read
