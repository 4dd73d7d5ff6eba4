#pragma once
// What the four timeline readers share: the checks every file passes before its format is read,
// a small XML tree built under limits, exact time arithmetic that reports overflow instead of
// wrapping, media references made into paths, and the finishing of the record.

#include "TimelineReaders.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>
#include <vector>

namespace ondrel::interchange::read {

// The name a message gives the file: its last component, as the editor saw it in a dialog.
QString fileLabel(const QString& path);
// "“cut.edl” " + what follows: every message of the readers starts by naming the file.
QString aboutFile(const QString& path, const QString& what);

// "1 clip item", "3 clip items".
QString counted(qsizetype count, const QString& one, const QString& many);

// Empty, NUL bytes, not UTF-8: the message, or nothing when the bytes are text.
std::optional<QString> textProblem(const QByteArray& bytes, const QString& path);

// ---- XML ------------------------------------------------------------------------------------

struct XmlElement {
    QString name;
    QList<std::pair<QString, QString>> attributes;
    QString text; // kept for elements without element children
    QList<int> children;
    qint64 line = 0;

    QString attribute(QStringView key) const;
    bool hasAttribute(QStringView key) const;
};

// The elements kept, flat; element 0 is the root. Elements whose names the reader does not ask
// for are skipped with everything inside them, so a file of effects and keyframes costs no memory.
struct XmlTree {
    std::vector<XmlElement> elements;

    const XmlElement& at(int index) const { return elements[std::size_t(index)]; }
    // The first child of that name, or -1.
    int child(int parent, QStringView name) const;
    QList<int> children(int parent, QStringView name) const;
    QString childText(int parent, QStringView name) const;
};

// Refuses what a timeline file never holds and a parser must not act on: a DTD internal subset
// (entity declarations, external entities), entity references other than XML's own, an encoding
// other than UTF-8, nesting deeper than kMaxTimelineNesting. `keep` says which elements to keep.
std::optional<XmlTree> parseXml(const QByteArray& bytes, const QString& path,
                                const std::function<bool(QStringView name)>& keep, QString* error);

// ---- time -----------------------------------------------------------------------------------

// Exact arithmetic on fractions that notes an overflow instead of wrapping: a crafted file can
// hold times whose sums no 64-bit fraction holds. Once `overflowed`, results are 0.
class TimeMath {
public:
    Rational add(Rational a, Rational b);
    Rational sub(Rational a, Rational b);
    Rational mul(Rational a, Rational b);
    Rational div(Rational a, Rational b);
    bool overflowed = false;
};

// An exact fraction for a double as JSON carries times: integral values exactly, others the
// nearest fraction of denominator at most `maxDen`. Nothing for non-finite or huge values.
std::optional<Rational> rationalOfDouble(double value, qint64 maxDen = 1000000);
// A rate as a double (23.976023976023978) made exact: a story rate when it is one.
std::optional<FrameRate> frameRateOfDouble(double fps);
// A positive exact rate made a FrameRate: the story rate it stands for, else itself.
FrameRate frameRateOf(Rational fps);

// ---- media ----------------------------------------------------------------------------------

// How a format writes its references: URLs (FCPXML's src, xmeml's pathurl, OTIO's target_url)
// percent-encode a relative one too; an EDL writes plain paths.
enum class Reference { url, path };

// A reference as written (a file URL, an absolute or relative path, Windows forms too) made a
// clean absolute path, relative ones against `baseFolder`; empty when it names no file.
QString pathOfReference(const QString& reference, const QString& baseFolder,
                        Reference kind = Reference::path);
// The last component of a path or URL, with either slash.
QString fileNameOf(const QString& pathOrUrl);

// The media of one reading, each file once.
class MediaTable {
public:
    MediaTable(QString timelineFile, const ReadOptions& options);

    // The index of the medium a reference names (a URL or path), found or not.
    int byReference(const QString& reference, Reference kind, const QString& nameHint = {});
    // The index of a medium an EDL names only by reel, or by a clip name that is no file's name.
    int byReel(const QString& reel);
    int byName(const QString& name, const QString& reel);
    // The folders relative references are tried against, first to last.
    void addBaseFolder(const QString& folder) { m_baseFolders << folder; }

    QList<ReadMedia> media;

private:
    QString m_timelineFile;
    const ReadOptions& m_options;
    QStringList m_baseFolders;
    QHash<QString, int> m_byKey;
};

// ---- the record -----------------------------------------------------------------------------

// A clip before its track is named: `lane` orders tracks of one kind (FCPXML's lanes, other
// formats' track numbers).
struct PlacedClip {
    ReadClip clip;
    int lane = 0;
};

// Tracks from lanes, as Final Cut Pro's storylines go to an editor with tracks: pictures upward
// from the lowest lane, sound from the primary storyline, then the lanes below it, then those
// above; clips that overlap on one lane spill onto a track of their own.
QList<ReadClip> tracksFromLanes(QList<PlacedClip> placed);
// The track names of formats that have tracks: "V" or "A" and the number.
QString trackName(TrackKind kind, int number);

// Refuses a timeline without clips, sorts clips and markers, and notes mixed rates.
TimelineReading finish(ReadTimeline timeline);

TimelineReading failure(const QString& message);

} // namespace ondrel::interchange::read
