#pragma once
// Reads an SRT back the way a player would and checks it against the moments it subtitles: the
// property both SRT writers owe the editor, whatever their card layouts.

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace ondrel::test {

struct SrtCard {
    qint64 startMs = 0;
    qint64 endMs = 0;
    QStringList words;
};

// The cards of an SRT text, or absent with the reason in *error when a block is malformed (a
// number out of sequence, a bad time line, a block without text).
std::optional<QList<SrtCard>> readSrt(const QString& text, QString* error);

// A moment on the SRT's clock, in the milliseconds the writer prints, and the words it must show.
struct SrtMoment {
    qint64 fromMs = 0;
    qint64 toMs = 0;
    QStringList words;
};

// Every word of every moment, in order, on cards inside that moment (start < end), the cards in
// time order and not overlapping; a moment of no length on the clock shows no card. Empty when
// all of that holds, otherwise one line per problem.
QStringList cardProblems(const QList<SrtCard>& cards, const QList<SrtMoment>& moments);

// A second count as SRT writers print it: whole seconds, then the fraction's milliseconds cut.
qint64 srtMillis(double seconds);

} // namespace ondrel::test
