#include "TimelineReaders.h"

#include "ReadSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace ondrel::interchange {

using namespace read;

namespace {

// The root element's name, or empty when the text does not reach one.
QString xmlRootName(const QByteArray& bytes) {
    QXmlStreamReader reader(bytes);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement)
            return reader.name().toString();
        if (reader.tokenType() == QXmlStreamReader::Invalid)
            break;
    }
    return {};
}

// An EDL's title or frame-count line, or the first event's line, within its first lines.
bool looksEdl(const QString& text) {
    const QStringList lines = text.left(64 * 1024).split(u'\n');
    for (qsizetype i = 0; i < lines.size() && i < 200; ++i) {
        const QString line = lines[i].trimmed();
        if (line.startsWith(QLatin1String("TITLE:"), Qt::CaseInsensitive) ||
            line.startsWith(QLatin1String("FCM:"), Qt::CaseInsensitive))
            return true;
        if (!line.isEmpty() && line.front().isDigit() && line.split(u' ', Qt::SkipEmptyParts).size() >= 7)
            return true;
    }
    return false;
}

QString listed(const QStringList& names) {
    constexpr qsizetype shown = 10;
    QStringList list = names.mid(0, shown);
    if (names.size() > shown)
        return list.join(QStringLiteral(", ")) + QStringLiteral(" and %1 more").arg(names.size() - shown);
    if (list.size() == 1)
        return list.front();
    const QString last = list.takeLast();
    return list.join(QStringLiteral(", ")) + QStringLiteral(" and ") + last;
}

QString withoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.left(dot) : name;
}

} // namespace

TimelineReading readTimelineFile(const QString& path, ReadOptions options) {
    QFileInfo info(path);
    QString file = path;
    if (info.isDir()) {
        // A .fcpxmld bundle as Final Cut Pro 10.6 and later export it.
        file = QDir(path).filePath(QStringLiteral("Info.fcpxml"));
        info = QFileInfo(file);
        if (!info.isFile())
            return failure(
                aboutFile(path, QStringLiteral("is a folder, not a timeline file (a .fcpxmld bundle "
                                               "holds an Info.fcpxml).")));
    }
    if (!info.exists())
        return failure(aboutFile(path, QStringLiteral("was not found.")));
    if (!info.isFile())
        return failure(aboutFile(path, QStringLiteral("is not a regular file.")));
    if (info.size() > kMaxTimelineFileBytes)
        return failure(
            aboutFile(path, QStringLiteral("is larger than %1 MB, larger than any timeline file; it was "
                                           "not read.")
                                .arg(kMaxTimelineFileBytes / (1024 * 1024))));
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return failure(aboutFile(path, QStringLiteral("could not be opened (%1).").arg(f.errorString())));
    // The file may grow while it is read: no more than the limit is taken.
    const QByteArray bytes = f.read(kMaxTimelineFileBytes + 1);
    if (f.error() != QFileDevice::NoError)
        return failure(aboutFile(path, QStringLiteral("could not be read (%1).").arg(f.errorString())));
    return readTimelineBytes(bytes, file, std::move(options));
}

TimelineReading readTimelineBytes(const QByteArray& bytes, const QString& path, ReadOptions options) {
    if (bytes.size() > kMaxTimelineFileBytes)
        return failure(
            aboutFile(path, QStringLiteral("is larger than %1 MB, larger than any timeline file; it was "
                                           "not read.")
                                .arg(kMaxTimelineFileBytes / (1024 * 1024))));
    if (const auto problem = textProblem(bytes, path))
        return failure(*problem);
    qsizetype i = bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (i < bytes.size() && std::isspace(static_cast<unsigned char>(bytes[i])))
        ++i;
    const char first = i < bytes.size() ? bytes[i] : '\0';
    if (first == '<') {
        const QString root = xmlRootName(bytes);
        if (root == QLatin1String("xmeml"))
            return readFcp7Xml(bytes, path, options);
        if (root == QLatin1String("fcpxml") || (root.isEmpty() && bytes.contains("<fcpxml")))
            return readFcpxml(bytes, path, options);
        if (root.isEmpty() && bytes.contains("<xmeml"))
            return readFcp7Xml(bytes, path, options);
        if (root.isEmpty())
            return readFcpxml(bytes, path, options); // its XML's fault, said in XML's terms
        return failure(
            aboutFile(path, QStringLiteral("is XML but neither FCPXML nor FCP 7 XML (its root is <%1>).")
                                .arg(root.left(40))));
    }
    if (first == '{' || first == '[')
        return readOtio(bytes, path, options);
    if (looksEdl(QString::fromUtf8(bytes)))
        return readEdl(bytes, path, options);
    return failure(
        aboutFile(path, QStringLiteral("is none of the timeline formats Ondrel Manager reads: FCPXML, "
                                       "FCP 7 XML, OpenTimelineIO or a CMX 3600 EDL.")));
}

QList<int> missingMedia(const ReadTimeline& timeline) {
    QList<int> missing;
    for (qsizetype i = 0; i < timeline.media.size(); ++i)
        if (!timeline.media[i].found)
            missing << int(i);
    return missing;
}

bool namesMediaWithoutFiles(const ReadTimeline& timeline) {
    for (const ReadMedia& m : timeline.media)
        if (!m.found && m.path.isEmpty())
            return true;
    return false;
}

QString missingMediaMessage(const ReadTimeline& timeline) {
    QStringList names;
    for (const int i : missingMedia(timeline))
        names << timeline.media[i].name;
    if (names.isEmpty())
        return {};
    QString text =
        names.size() == 1
            ? aboutFile(timeline.file,
                        QStringLiteral("uses a media file that was not found: %1.").arg(names.front()))
            : aboutFile(timeline.file, QStringLiteral("uses %1 media files that were not found: %2.")
                                           .arg(names.size())
                                           .arg(listed(names)));
    if (namesMediaWithoutFiles(timeline))
        text += QStringLiteral(" It names some only by reel or clip name: choose the folder they are in.");
    return text;
}

QStringList filesUnder(const QString& folder, int limit) {
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext() && files.size() < limit)
        files << it.next();
    return files;
}

int relinkByFileName(ReadTimeline& timeline, const QStringList& files) {
    QHash<QString, QStringList> byName;
    QHash<QString, QStringList> byLowerName;
    QHash<QString, QStringList> byLowerBase;
    // Sorted names without extension, for the files a reel starts.
    QList<std::pair<QString, QString>> bases;
    for (const QString& f : files) {
        const QString name = fileNameOf(f);
        const QString base = withoutExtension(name).toLower();
        byName[name] << f;
        byLowerName[name.toLower()] << f;
        byLowerBase[base] << f;
        bases.push_back({base, f});
    }
    std::sort(bases.begin(), bases.end());
    auto only = [](const QStringList& candidates) {
        return candidates.size() == 1 ? candidates.front() : QString();
    };
    auto onlyStartingWith = [&](const QString& prefix) {
        auto it = std::lower_bound(bases.cbegin(), bases.cend(), std::pair{prefix, QString()});
        QString found;
        for (; it != bases.cend() && it->first.startsWith(prefix); ++it) {
            if (!found.isEmpty())
                return QString(); // two files: no answer
            found = it->second;
        }
        return found;
    };
    int relinked = 0;
    for (ReadMedia& m : timeline.media) {
        if (m.found || m.name.isEmpty())
            continue;
        QString file = only(byName.value(m.name));
        if (file.isEmpty())
            file = only(byLowerName.value(m.name.toLower()));
        if (file.isEmpty() && (m.path.isEmpty() || withoutExtension(m.name) == m.name)) {
            // Named without a file, or a file without its extension (Avid's source files): by the
            // name without an extension, or the start of it for a reel cut to eight characters.
            file = only(byLowerBase.value(m.name.toLower()));
            if (file.isEmpty() && m.name == m.reel)
                file = onlyStartingWith(m.reel.toLower());
        }
        if (file.isEmpty())
            continue;
        m.path = QDir::cleanPath(file);
        m.found = true;
        ++relinked;
    }
    return relinked;
}

void settleMediaStarts(ReadTimeline& timeline,
                       const std::function<std::optional<Rational>(const ReadMedia&)>& startOf) {
    for (ReadMedia& m : timeline.media)
        if (!m.start)
            m.start = startOf(m);
}

std::optional<Rational> sourceFromFirstFrame(const ReadTimeline& timeline, const ReadClip& clip,
                                             Rational at) {
    if (clip.media < 0 || clip.media >= timeline.media.size())
        return std::nullopt;
    const std::optional<Rational>& start = timeline.media[clip.media].start;
    if (!start)
        return std::nullopt;
    TimeMath math;
    const Rational fromFirstFrame = math.sub(at, *start);
    if (math.overflowed)
        return std::nullopt;
    return fromFirstFrame;
}

QStringList mediaOffTimelineRate(const ReadTimeline& timeline) {
    QStringList paths;
    for (const ReadMedia& m : timeline.media)
        if (m.rate && *m.rate != timeline.rate)
            paths << (m.path.isEmpty() ? m.name : m.path);
    return paths;
}

QString rateText(FrameRate rate) {
    return QStringLiteral("%1/%2").arg(rate.num).arg(rate.den);
}

QByteArray clipLinesJson(const ReadTimeline& timeline) {
    QByteArray out;
    const std::string rate = rateText(timeline.rate).toStdString();
    for (const ReadClip& clip : timeline.clips) {
        const ReadMedia& m = timeline.media.value(clip.media);
        nlohmann::ordered_json j;
        j["track"] = clip.track.toStdString();
        j["name"] = clip.name.toStdString();
        j["path"] = m.found ? nlohmann::ordered_json(m.path.toStdString()) : nlohmann::ordered_json(nullptr);
        j["rate"] = rate;
        const auto sourceIn = sourceFromFirstFrame(timeline, clip, clip.sourceIn);
        const auto sourceOut = sourceFromFirstFrame(timeline, clip, clip.sourceOut);
        j["sourceIn"] =
            sourceIn ? nlohmann::ordered_json(sourceIn->toDouble()) : nlohmann::ordered_json(nullptr);
        j["sourceOut"] =
            sourceOut ? nlohmann::ordered_json(sourceOut->toDouble()) : nlohmann::ordered_json(nullptr);
        j["recordIn"] = clip.recordIn.toDouble();
        j["recordOut"] = clip.recordOut.toDouble();
        out += QByteArray::fromStdString(
            j.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
        out += '\n';
    }
    return out;
}

} // namespace ondrel::interchange
