#pragma once
// Readers of the hand-off files, written from the formats' documents rather than from the
// writers, so a round trip shows what an editor would import.

#include "interchange/EditTimeline.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <memory>
#include <ostream>

namespace ondrel::interchange::test {

// A clip as read back: per track for the files that have tracks, per event (track "") for
// FCPXML, and per event with its channel field ("AA/V") for the EDL. Frames of the file's rate.
struct ReadClip {
    QString track;
    QString path;
    qint64 sourceIn = 0;
    qint64 sourceOut = 0;
    qint64 recordIn = 0;
    friend bool operator==(const ReadClip&, const ReadClip&) = default;
};

struct ReadMarker {
    QString name;
    qint64 record = 0;
    friend bool operator==(const ReadMarker&, const ReadMarker&) = default;
};

struct ReadBack {
    QString name;
    FrameRate rate;
    bool dropFrame = false;
    qint64 startFrame = 0;
    QList<ReadClip> clips;
    QList<ReadMarker> markers;
    // Empty when the file reads as its format says; otherwise the first thing that did not.
    QString problem;
};

ReadBack readFcpxml(const QByteArray& bytes);
ReadBack readFcp7Xml(const QByteArray& bytes);
ReadBack readOtio(const QByteArray& bytes);
// An EDL does not name its rate: the reader is told it.
ReadBack readEdl(const QByteArray& bytes, FrameRate rate);

// What each reader should give for a timeline.
QList<ReadClip> expectedTrackClips(const EditTimeline& t);
QList<ReadClip> expectedEventClips(const EditTimeline& t, bool withChannels);
QList<ReadMarker> expectedMarkers(const EditTimeline& t);

// A parsed XML element, for structural checks.
struct XmlNode {
    QString name;
    QMap<QString, QString> attributes;
    QString text;
    QList<std::shared_ptr<XmlNode>> children;

    const XmlNode* child(const QString& childName) const;
    QList<const XmlNode*> all(const QString& childName) const;
    QString childText(const QString& childName) const;
};
// The root element, or nothing with *error set when the bytes are not well-formed XML.
std::shared_ptr<XmlNode> parseXml(const QByteArray& bytes, QString* error);

// Apple's content models and attribute lists for the elements the FCPXML writer uses, checked
// over a document: the first breach, or empty.
QString fcpxmlStructureProblem(const QByteArray& bytes);

std::ostream& operator<<(std::ostream& os, const ReadClip& c);
std::ostream& operator<<(std::ostream& os, const ReadMarker& m);

} // namespace ondrel::interchange::test
