// CMX 3600 EDLs as Premiere Pro, Resolve, Avid and this program write them: a TITLE, FCM lines
// (drop-frame or not), and events of a number, a reel, the channels they cut (V, A, A2, AA, B,
// AA/V …, more sound channels on an AUD line), a transition (C, D, Wnnn or K with its length) and
// four timecodes. A dissolve is two lines of one event: the outgoing clip, usually of no length,
// then the incoming one from the dissolve's start; both are read as cuts. Comments after an event
// name its files: `* FROM CLIP NAME:` (and `* TO CLIP NAME:` for a dissolve's second line),
// `* SOURCE FILE:`; `* LOC:` is a marker. An EDL names no frame rate, and its source times are on
// each file's own timecode, whose start only the file knows.

#include "ReadSupport.h"

#include "Timecode.h"

#include <QRegularExpression>

#include <algorithm>

namespace ondrel::interchange {

namespace {

using namespace read;

struct EventLine {
    int number = 0;
    QString reel;
    QString channels;
    QStringList extraAudio; // AUD 3 4
    QString timecodes[4];
    bool dropFrame = false;
    qint64 line = 0;
    QString clipName;
    QString sourceFile;
};

// The tracks a channel field cuts: "AA/V" is V1, A1 and A2; "B" picture and the first sound.
std::optional<QList<std::pair<TrackKind, int>>> tracksOf(const QString& field) {
    static const QRegularExpression numbered(QStringLiteral("^A(\\d{1,2})$"));
    QList<std::pair<TrackKind, int>> tracks;
    if (field.compare(QLatin1String("NONE"), Qt::CaseInsensitive) == 0)
        return tracks;
    for (const QString& part : field.toUpper().split(u'/')) {
        if (part == QLatin1String("V")) {
            tracks.push_back({TrackKind::video, 1});
        } else if (part == QLatin1String("A")) {
            tracks.push_back({TrackKind::audio, 1});
        } else if (part == QLatin1String("AA")) {
            tracks.push_back({TrackKind::audio, 1});
            tracks.push_back({TrackKind::audio, 2});
        } else if (part == QLatin1String("B")) {
            tracks.push_back({TrackKind::video, 1});
            tracks.push_back({TrackKind::audio, 1});
        } else if (const auto m = numbered.match(part); m.hasMatch() && m.captured(1).toInt() > 0) {
            tracks.push_back({TrackKind::audio, m.captured(1).toInt()});
        } else {
            return std::nullopt;
        }
    }
    return tracks;
}

bool isTransition(const QString& token) {
    static const QRegularExpression form(QStringLiteral("^(C|D|W\\d{0,3}|K|KB|KO)$"),
                                         QRegularExpression::CaseInsensitiveOption);
    return form.match(token).hasMatch();
}

// "01:00:00:00", any of ":;.," between the fields, two or three digits of frames.
bool looksTimecode(const QString& token) {
    const qsizetype n = token.size();
    if (n < 10 || n > 13)
        return false;
    auto digits = [&](qsizetype from, qsizetype count) {
        for (qsizetype k = from; k < from + count; ++k)
            if (k >= n || token[k] < u'0' || token[k] > u'9')
                return false;
        return true;
    };
    auto separator = [&](qsizetype at) {
        return at < n && (token[at] == u':' || token[at] == u';' || token[at] == u'.' || token[at] == u',');
    };
    const qsizetype h = separator(1) ? 1 : 2; // one or two digits of hours
    return digits(0, h) && separator(h) && digits(h + 1, 2) && separator(h + 3) && digits(h + 4, 2) &&
           separator(h + 6) && n - (h + 7) >= 2 && n - (h + 7) <= 3 && digits(h + 7, n - (h + 7));
}

// A clip name that is a file's name ("A001_C002.mov"), not only a name an editor gave a clip.
bool looksFileName(const QString& name) {
    static const QRegularExpression form(QStringLiteral("\\.[A-Za-z0-9]{2,5}$"));
    return form.match(name).hasMatch();
}

// The slowest rate whose labels reach the highest frame field seen: labels alone cannot tell
// 23.976 from 24 or 29.97 from 30.
FrameRate guessedRate(int highestFrame, bool dropFrame) {
    if (dropFrame)
        return highestFrame < 30 ? FrameRate{30000, 1001} : FrameRate{60000, 1001};
    if (highestFrame < 24)
        return {24, 1};
    if (highestFrame < 25)
        return {25, 1};
    if (highestFrame < 30)
        return {30, 1};
    if (highestFrame < 50)
        return {50, 1};
    return {60, 1};
}

QString lineText(const QString& line) {
    const QString simple = line.simplified();
    return simple.size() > 60 ? simple.left(57) + QStringLiteral("…") : simple;
}

} // namespace

TimelineReading readEdl(const QByteArray& bytes, const QString& path, const ReadOptions& options) {
    if (const auto problem = textProblem(bytes, path))
        return failure(*problem);
    QString text = QString::fromUtf8(bytes);
    if (text.startsWith(QChar(0xFEFF)))
        text.remove(0, 1);
    // Lines end in CR LF (Avid on Windows), LF, or a lone CR (old Macs).
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    text.replace(u'\r', u'\n');
    const QStringList lines = text.split(u'\n');

    ReadTimeline t;
    t.file = path;
    t.format = TimelineFormat::edl;
    t.formatName = QStringLiteral("CMX 3600 EDL");
    QList<QList<EventLine>> blocks;
    struct Locator {
        QString timecode;
        QString name;
        bool dropFrame;
        qint64 line;
    };
    QList<Locator> locators;
    bool dropFrame = false;
    bool anyDropFrame = false;
    int highestFrame = 0;
    int speedChanges = 0;
    int splitEdits = 0;
    auto noteFrames = [&](const QString& tc) {
        qsizetype last = tc.size();
        while (last > 0 && tc[last - 1].isDigit())
            --last;
        highestFrame = std::max(highestFrame, tc.mid(last).toInt());
    };

    for (qsizetype n = 0; n < lines.size(); ++n) {
        const QString line = lines[n].trimmed();
        const qint64 lineNumber = n + 1;
        if (line.isEmpty())
            continue;
        const QString upper = line.toUpper();
        if (upper.startsWith(QLatin1String("TITLE:"))) {
            t.name = line.mid(6).trimmed();
        } else if (upper.startsWith(QLatin1String("FCM:"))) {
            dropFrame = upper.contains(QLatin1String("DROP")) && !upper.contains(QLatin1String("NON"));
            anyDropFrame = anyDropFrame || dropFrame;
        } else if (line.startsWith(u'*')) {
            if (blocks.isEmpty())
                continue;
            QList<EventLine>& block = blocks.back();
            const QString body = line.mid(1).trimmed();
            const QString key = body.left(body.indexOf(u':')).trimmed().toUpper();
            const QString value = body.mid(body.indexOf(u':') + 1).trimmed();
            if (!body.contains(u':'))
                continue;
            if (key == QLatin1String("FROM CLIP NAME") || key == QLatin1String("CLIP NAME")) {
                block.front().clipName = value;
            } else if (key == QLatin1String("TO CLIP NAME")) {
                block.back().clipName = value;
            } else if (key == QLatin1String("SOURCE FILE")) {
                // One per line of the event, in their order.
                for (EventLine& e : block) {
                    if (e.sourceFile.isEmpty()) {
                        e.sourceFile = value;
                        break;
                    }
                }
            } else if (key == QLatin1String("LOC")) {
                static const QStringList colours{"WHITE",   "RED",    "GREEN", "BLUE", "CYAN",
                                                 "MAGENTA", "YELLOW", "BLACK", "PINK", "ORANGE"};
                QStringList parts = value.split(u' ', Qt::SkipEmptyParts);
                if (parts.isEmpty() || !looksTimecode(parts.front()))
                    continue;
                const QString tc = parts.takeFirst();
                if (!parts.isEmpty() && colours.contains(parts.front().toUpper()))
                    parts.removeFirst();
                locators.push_back({tc, parts.join(u' '), dropFrame, lineNumber});
                noteFrames(tc);
            }
        } else if (upper.startsWith(QLatin1String("AUD"))) {
            if (!blocks.isEmpty())
                for (const QString& channel : line.mid(3).split(u' ', Qt::SkipEmptyParts))
                    blocks.back().back().extraAudio << QStringLiteral("A") + channel;
        } else if (upper.startsWith(QLatin1String("M2"))) {
            ++speedChanges;
        } else if (upper.startsWith(QLatin1String("SPLIT"))) {
            ++splitEdits;
        } else if (line.front().isDigit()) {
            QStringList tokens = line.simplified().split(u' ', Qt::SkipEmptyParts);
            auto notAnEvent = [&] {
                return failure(
                    aboutFile(path, QStringLiteral("has a line that is not a CMX 3600 event (line %1: "
                                                   "“%2”).")
                                        .arg(lineNumber)
                                        .arg(lineText(line))));
            };
            if (tokens.size() < 7 || tokens.size() > 10)
                return notAnEvent();
            EventLine e;
            bool ok = false;
            e.number = tokens[0].toInt(&ok);
            if (!ok)
                return notAnEvent();
            for (int i = 0; i < 4; ++i) {
                e.timecodes[i] = tokens[tokens.size() - 4 + i];
                if (!looksTimecode(e.timecodes[i]))
                    return notAnEvent();
                noteFrames(e.timecodes[i]);
            }
            QStringList middle = tokens.mid(1, tokens.size() - 5);
            // "K B" and "K O" as some lists space them.
            if (middle.size() >= 4 && middle[middle.size() - 3].toUpper() == QLatin1String("K") &&
                (middle[middle.size() - 2].toUpper() == QLatin1String("B") ||
                 middle[middle.size() - 2].toUpper() == QLatin1String("O"))) {
                middle[middle.size() - 3] += middle[middle.size() - 2];
                middle.removeAt(middle.size() - 2);
            }
            if (!middle.isEmpty() && !isTransition(middle.back()) && middle.back().front().isDigit())
                middle.removeLast(); // the transition's length
            e.reel = middle.value(0);
            if (middle.size() == 3 && isTransition(middle[2]))
                e.channels = middle[1];
            else if (middle.size() == 2 && isTransition(middle[1]))
                e.channels = QStringLiteral("V"); // lists older than CMX 3600 cut picture only
            else
                return notAnEvent();
            if (!tracksOf(e.channels))
                return failure(aboutFile(path, QStringLiteral("cuts channels “%1” it cannot read (line %2).")
                                                   .arg(e.channels.left(20))
                                                   .arg(lineNumber)));
            e.dropFrame = dropFrame;
            e.line = lineNumber;
            if (blocks.isEmpty() || blocks.back().front().number != e.number)
                blocks.push_back({});
            blocks.back() << e;
        }
        // TITLE-like headers, source tables (">>> SOURCE"), effect names and switcher lines time
        // nothing.
    }
    if (blocks.isEmpty())
        return failure(aboutFile(path, QStringLiteral("holds no CMX 3600 event.")));

    t.rateStated = options.edlRate.has_value();
    t.rate = options.edlRate.value_or(guessedRate(highestFrame, anyDropFrame));
    t.dropFrame = anyDropFrame && t.rate.allowsDropFrame();
    if (!t.rateStated)
        t.warnings << aboutFile(path,
                                QStringLiteral("does not say its frame rate; it was read at %1 fps, the "
                                               "slowest its frame counts allow.")
                                    .arg(t.rate.label()));
    if (t.rate.timecodeBase() <= highestFrame)
        return failure(aboutFile(path, QStringLiteral("counts frames up to %1, more than %2 fps has.")
                                           .arg(highestFrame)
                                           .arg(t.rate.label())));
    const TimecodeFormat ndf{t.rate, false};
    const TimecodeFormat df{t.rate, true};
    QString badTimecode;
    qint64 badLine = 0;
    auto frameOf = [&](const QString& tc, bool dropFrameCount, qint64 line) -> qint64 {
        const auto frame = timecodeFrame(tc, dropFrameCount ? df : ndf);
        if (!frame && badTimecode.isEmpty()) {
            badTimecode = tc;
            badLine = line;
        }
        return frame.value_or(0);
    };

    // The timeline starts at the hour its first record lies in (01:00:00:00 as editors begin).
    qint64 firstRecord = -1;
    for (const QList<EventLine>& block : std::as_const(blocks))
        for (const EventLine& e : block) {
            const qint64 rec = frameOf(e.timecodes[2], e.dropFrame, e.line);
            firstRecord = firstRecord < 0 ? rec : std::min(firstRecord, rec);
        }
    const TimecodeFormat timelineFormat{t.rate, t.dropFrame};
    const int hour = timecodeText(firstRecord, timelineFormat).left(2).toInt();
    const qint64 startFrame =
        timecodeFrame(QStringLiteral("%1:00:00:00").arg(hour, 2, 10, QLatin1Char('0')), timelineFormat)
            .value_or(0);
    t.start = secondsOf(startFrame, t.rate);

    MediaTable table(path, options);
    QList<PlacedClip> placed;
    int lengthMismatch = 0;
    for (const QList<EventLine>& block : std::as_const(blocks)) {
        for (const EventLine& e : block) {
            const qint64 sourceIn = frameOf(e.timecodes[0], e.dropFrame, e.line);
            const qint64 sourceOut = frameOf(e.timecodes[1], e.dropFrame, e.line);
            const qint64 recordIn = frameOf(e.timecodes[2], e.dropFrame, e.line);
            const qint64 recordOut = frameOf(e.timecodes[3], e.dropFrame, e.line);
            if (sourceOut < sourceIn || recordOut < recordIn)
                return failure(aboutFile(
                    path,
                    QStringLiteral("has an event whose out comes before its in (line %1).").arg(e.line)));
            if (recordOut == recordIn)
                continue; // a dissolve's outgoing side, or nothing at all
            if (sourceOut - sourceIn != recordOut - recordIn)
                ++lengthMismatch;
            const QString reel = e.reel;
            if (reel.compare(QLatin1String("BL"), Qt::CaseInsensitive) == 0 ||
                reel.compare(QLatin1String("BLK"), Qt::CaseInsensitive) == 0 ||
                reel.compare(QLatin1String("BLACK"), Qt::CaseInsensitive) == 0)
                continue; // black: no file
            int media = -1;
            if (!e.sourceFile.isEmpty())
                media = table.byReference(e.sourceFile, Reference::path, e.clipName);
            else if (!e.clipName.isEmpty() && looksFileName(e.clipName))
                media = table.byReference(e.clipName, Reference::path, e.clipName);
            else if (!e.clipName.isEmpty())
                media = table.byName(e.clipName, reel);
            else
                media = table.byReel(reel);
            if (table.media[media].reel.isEmpty())
                table.media[media].reel = reel;
            QList<std::pair<TrackKind, int>> tracks = *tracksOf(e.channels);
            for (const QString& extra : e.extraAudio)
                if (const auto more = tracksOf(extra))
                    tracks << *more;
            // The record's length: a speed change shows as a source of another length.
            const qint64 length = recordOut - recordIn;
            for (const auto& [kind, number] : tracks) {
                if (placed.size() >= kMaxTimelineClips)
                    return failure(
                        aboutFile(path, QStringLiteral("holds more than %1 clips, more than Ondrel "
                                                       "Manager reads from one timeline.")
                                            .arg(kMaxTimelineClips)));
                ReadClip clip;
                clip.track = trackName(kind, number);
                clip.kind = kind;
                clip.name = e.clipName.isEmpty() ? table.media[media].name : e.clipName;
                clip.media = media;
                clip.sourceIn = secondsOf(sourceIn, t.rate);
                clip.sourceOut = secondsOf(sourceIn + length, t.rate);
                clip.recordIn = secondsOf(recordIn - startFrame, t.rate);
                clip.recordOut = secondsOf(recordOut - startFrame, t.rate);
                placed.push_back({clip, number});
            }
        }
    }
    for (const Locator& l : std::as_const(locators))
        t.markers << ReadMarker{l.name,
                                secondsOf(frameOf(l.timecode, l.dropFrame, l.line) - startFrame, t.rate)};
    if (!badTimecode.isEmpty())
        return failure(
            aboutFile(path, QStringLiteral("has the timecode “%1”, which %2 fps does not count (line %3).")
                                .arg(badTimecode.left(20), t.rate.label())
                                .arg(badLine)));
    if (speedChanges + lengthMismatch > 0)
        t.warnings << aboutFile(
            path, QStringLiteral("changes the speed of %1, read at normal speed from the source "
                                 "in.")
                      .arg(counted(std::max(speedChanges, lengthMismatch), "event", "events")));
    if (splitEdits > 0)
        t.warnings << aboutFile(path, QStringLiteral("splits the sound of %1 from the picture, read as cuts.")
                                          .arg(counted(splitEdits, "event", "events")));
    t.media = table.media;
    for (const PlacedClip& p : std::as_const(placed))
        t.clips << p.clip;
    return finish(std::move(t));
}

} // namespace ondrel::interchange
