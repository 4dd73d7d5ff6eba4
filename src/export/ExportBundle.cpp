#include "ExportBundle.h"

#include "ExportSupport.h"
#include "core/LocalPipeline.h"

#include <QDebug>
#include <QDir>
#include <QHash>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace ondrel::ExportBundle {

namespace {

std::optional<QString> minutesAndSeconds(double seconds) {
    const auto whole = wholeNumber(seconds);
    if (!whole)
        return std::nullopt;
    return QString::number(*whole / 60) + u':' + zeroPadded(*whole % 60, 2);
}

QString timeText(std::optional<QString> text, double seconds) {
    if (text)
        return *text;
    throw Unwritable{QStringLiteral("the time %1 cannot be written").arg(formatDouble(seconds))};
}

QStringList wordsOf(const QString& text) {
    return text.split(u' ', Qt::SkipEmptyParts);
}

// A card as a layout plans it: its time on the SRT's clock and its words.
struct Card {
    double start = 0;
    double end = 0;
    QStringList words;
};

// Milliseconds as the SRT prints them; absent for a time it cannot print.
std::optional<qint64> printedMillis(double seconds) {
    const auto whole = wholeNumber(seconds);
    if (!whole)
        return std::nullopt;
    const auto millis = wholeNumber((seconds - double(*whole)) * 1000);
    if (!millis)
        return std::nullopt;
    return *whole * 1000 + *millis;
}

// A card shows only when its printed end comes after its printed start. A time that cannot be
// printed is let through, so that writing it names it.
bool shows(double start, double end) {
    const auto from = printedMillis(start);
    const auto to = printedMillis(end);
    return !from || !to || *to > *from;
}

// The layouts place some cards partly or wholly outside their moment (the leftover card of the
// even layout after its end, spoken words past the end, before the cut or overlapping): each card
// is kept inside the moment and after the card before it, and one left with no time there joins
// the card before it, or the next one when it is the first, so that its words still show, in
// order, in their own moment.
QList<Card> fitIntoMoment(const QList<Card>& planned, double from, double to) {
    QList<Card> kept;
    std::optional<Card> waiting;
    for (Card card : planned) {
        // A time that cannot be printed fails the file as it always did, before any clamping hides it.
        timeText(srtTime(card.start), card.start);
        timeText(srtTime(card.end), card.end);
        if (waiting) {
            card.start = std::min(card.start, waiting->start);
            card.words = waiting->words + card.words;
            waiting.reset();
        }
        card.start = std::max({card.start, from, kept.isEmpty() ? from : kept.back().end});
        card.end = std::min(card.end, to);
        if (shows(card.start, card.end)) {
            kept.push_back(card);
        } else if (!kept.isEmpty()) {
            kept.back().end = std::max(kept.back().end, card.end);
            kept.back().words += card.words;
        } else {
            waiting = card;
        }
    }
    // No card had time of its own: the words take the whole moment. A moment of no length has no
    // frame to show them in.
    if (waiting && shows(from, to))
        kept.push_back({from, to, waiting->words});
    return kept;
}

class SrtWriter {
public:
    void entry(double start, double end, const QString& text) {
        m_out += QString::number(m_index) + u'\n' + timeText(srtTime(start), start) +
                 QStringLiteral(" --> ") + timeText(srtTime(end), end) + u'\n' + text +
                 QStringLiteral("\n\n");
        ++m_index;
    }
    QString text() const { return m_out; }

    // Writes the cards planned for the moment that runs from `from` to `to` on the file's clock.
    void endMoment(double from, double to) {
        for (const Card& card : fitIntoMoment(m_planned, from, to))
            entry(card.start, card.end, card.words.join(u' '));
        m_planned.clear();
    }

    // Cards follow the spoken words; `ratio` text words go with each spoken word, since a
    // translation need not have as many words as the speech.
    void wordTimed(const QString& text, const QList<WordTimestamp>& words, double timelinePos,
                   double segDuration) {
        const QStringList transWords = wordsOf(text);
        const qsizetype count = transWords.size();
        QList<WordTimestamp> valid;
        for (const WordTimestamp& w : words)
            if (w.end <= segDuration + 1.0)
                valid.push_back(w);

        const double segEnd = timelinePos + segDuration;
        double pos = 0;
        // Words the speech does not reach follow the last spoken word, or fill the moment from its
        // start when no spoken word counts.
        double lastEnd = timelinePos;
        if (!valid.isEmpty()) {
            const double ratio = std::max(1.0, double(count) / double(valid.size()));
            QStringList card;
            double cardStart = 0;
            for (qsizetype w = 0; w < valid.size(); ++w) {
                const WordTimestamp& word = valid[w];
                if (card.isEmpty())
                    cardStart = timelinePos + word.start;
                const double wordEnd = timelinePos + word.end;
                const double next = std::min(pos + ratio, double(count));
                const qsizetype from = qsizetype(pos);
                const qsizetype to = std::min(qsizetype(next), count);
                for (qsizetype k = from; k < to; ++k)
                    card.push_back(transWords[k]);
                pos = next;

                const bool last = w == valid.size() - 1;
                const double gap = last ? 999.0 : valid[w + 1].start - word.end;
                if (card.size() >= 5 || (card.size() >= 3 && gap > 0.3) || last) {
                    if (!card.isEmpty())
                        plan(cardStart, std::min(wordEnd, segEnd), card);
                    card.clear();
                }
                lastEnd = wordEnd;
            }
        }
        const qsizetype done = qsizetype(pos);
        if (done < count)
            plan(lastEnd, segEnd, transWords.mid(done));
    }

    void evenlyTimed(const QString& text, double timelinePos, double segDuration) {
        const QStringList words = wordsOf(text);
        if (words.isEmpty())
            return;
        const auto cards = wholeNumber(segDuration / 3.5);
        if (!cards)
            throw Unwritable{QStringLiteral("a segment of %1 seconds cannot be divided into cards")
                                 .arg(formatDouble(segDuration))};
        const qint64 count = words.size();
        const qint64 numCards = std::max<qint64>(1, *cards);
        const qint64 wordsPerCard = std::max<qint64>(3, count / numCards);
        const qint64 actualCards = std::max<qint64>(1, count / wordsPerCard);
        const double cardDuration = segDuration / double(actualCards);

        qint64 card = 0;
        for (qint64 w = 0; w < count; w += wordsPerCard, ++card) {
            const double start = timelinePos + double(card) * cardDuration + 0.3;
            const double end = std::min(start + cardDuration - 0.2, timelinePos + segDuration);
            plan(start, end, words.mid(w, wordsPerCard));
        }
    }

private:
    void plan(double start, double end, const QStringList& words) {
        m_planned.push_back({start, end, words});
    }

    QString m_out;
    qint64 m_index = 1;
    QList<Card> m_planned;
};

void writeOrNote(const QString& path, const std::optional<QByteArray>& bytes, const QString& whyMissing) {
    if (!bytes) {
        qWarning().noquote() << "Export skipped" << path << "-" << whyMissing;
        return;
    }
    QString error;
    if (!writeFileAtomically(path, *bytes, &error))
        qWarning().noquote() << "Export failed:" << error;
}

template <class F> std::optional<QString> caught(F make, QString* error) {
    try {
        return make();
    } catch (const Unwritable& u) {
        if (error)
            *error = u.reason;
        return std::nullopt;
    }
}

std::optional<QByteArray> utf8Of(const std::optional<QString>& text) {
    return text ? std::optional<QByteArray>(text->toUtf8()) : std::nullopt;
}

} // namespace

std::optional<QString> formatTimestamp(double seconds) {
    return minutesAndSeconds(seconds);
}

std::optional<QString> formatDuration(double seconds) {
    return minutesAndSeconds(seconds);
}

std::optional<QString> srtTime(double seconds) {
    const auto whole = wholeNumber(seconds);
    if (!whole)
        return std::nullopt;
    const auto millis = wholeNumber((seconds - double(*whole)) * 1000);
    if (!millis)
        return std::nullopt;
    return zeroPadded(*whole / 3600, 2) + u':' + zeroPadded(*whole % 3600 / 60, 2) + u':' +
           zeroPadded(*whole % 60, 2) + u',' + zeroPadded(*millis, 3);
}

namespace {

QString makeSrtOfPlacedMoments(const QList<PlacedMoment>& moments) {
    SrtWriter srt;
    for (qsizetype i = 0; i < moments.size(); ++i) {
        const PlacedMoment& m = moments[i];
        const QString& text = m.segment.translation.isEmpty() ? m.segment.transcript : m.segment.translation;
        try {
            if (!m.words.isEmpty())
                srt.wordTimed(text, m.words, m.start, m.duration);
            else
                srt.evenlyTimed(text, m.start, m.duration);
            srt.endMoment(m.start, m.start + m.duration);
        } catch (const Unwritable& u) {
            throw Unwritable{QStringLiteral("segment %1: %2").arg(i + 1).arg(u.reason)};
        }
    }
    return srt.text();
}

// The moments end to end from 0, each as long as it is on its source, with its word times.
QString makeSubtitlesSrt(const MiningResults& analysis, const QList<WordSegment>& wordSegments) {
    QHash<qint64, const WordSegment*> wordsByIndex;
    for (const WordSegment& ws : wordSegments)
        if (!wordsByIndex.contains(ws.segmentIndex))
            wordsByIndex.insert(ws.segmentIndex, &ws);
    QList<PlacedMoment> placed;
    double timelinePos = 0;
    for (qsizetype i = 0; i < analysis.segments.size(); ++i) {
        const StorySegment& seg = analysis.segments[i];
        const double segDuration = seg.endTime - seg.startTime;
        const WordSegment* ws = wordsByIndex.value(i, nullptr);
        placed.push_back({seg, timelinePos, segDuration, ws ? ws->words : QList<WordTimestamp>()});
        timelinePos += segDuration;
    }
    return makeSrtOfPlacedMoments(placed);
}

QString makeTranscriptText(const TranscriptResult& transcript) {
    QString out = QStringLiteral("# Full Transcript\n\n");
    // Sized once: a week of transcript grown by doubling held twice its size for a moment.
    qsizetype size = out.size();
    for (const TranscriptSegment& seg : transcript.segments)
        size += seg.text.size() + 16;
    out.reserve(size);
    for (const TranscriptSegment& seg : transcript.segments)
        out +=
            u'[' + timeText(formatTimestamp(seg.start), seg.start) + QStringLiteral("] ") + seg.text + u'\n';
    return out;
}

QString makeStoryBrief(const QString& timeline, const MiningResults& analysis, const QDateTime& now) {
    QString out = QStringLiteral("# Story Brief — ") + timeline + QStringLiteral("\n\n");
    out += QStringLiteral("Generated by Ondrel on ") + QLocale::system().toString(now, QLocale::ShortFormat) +
           QStringLiteral("\n\n");
    out += QStringLiteral("## Structure\n\n");
    for (const Act& act : analysis.structure.acts) {
        QStringList numbers;
        for (qint64 n : act.segments)
            numbers.push_back(QString::number(n));
        out += QStringLiteral("### ") + act.name + u'\n';
        out += QStringLiteral("Segments: ") + numbers.join(QStringLiteral(", ")) + QStringLiteral("\n\n");
    }
    out += QStringLiteral("## Segments\n\n");
    for (const StorySegment& seg : analysis.segments) {
        out += QStringLiteral("**[") + timeText(formatTimestamp(seg.startTime), seg.startTime) +
               QStringLiteral(" → ") + timeText(formatTimestamp(seg.endTime), seg.endTime) +
               QStringLiteral("]** ") + seg.chapter.value_or(QString()) + u'\n';
        out += QStringLiteral("> ") + seg.transcript + u'\n';
        if (seg.translation != seg.transcript)
            out += QStringLiteral("> _") + seg.translation + QStringLiteral("_\n");
        out += u'\n';
    }
    return out;
}

} // namespace

std::optional<QString> subtitlesSrt(const MiningResults& analysis, const QList<WordSegment>& wordSegments,
                                    QString* error) {
    return caught([&] { return makeSubtitlesSrt(analysis, wordSegments); }, error);
}

std::optional<QString> subtitlesSrtOf(const QList<PlacedMoment>& moments, QString* error) {
    return caught([&] { return makeSrtOfPlacedMoments(moments); }, error);
}

std::optional<QString> transcriptText(const TranscriptResult& transcript, QString* error) {
    return caught([&] { return makeTranscriptText(transcript); }, error);
}

std::optional<QString> storyBrief(const QString& timeline, const MiningResults& analysis,
                                  const QDateTime& now, QString* error) {
    return caught([&] { return makeStoryBrief(timeline, analysis, now); }, error);
}

QString saveExports(LocalPipeline& pipeline, const QString& timeline, const MiningResults& analysis,
                    const TranscriptResult& transcript, const QList<WordSegment>& wordSegments) {
    const QString dir = pipeline.paths().exportDirFor(timeline);
    if (!QDir().mkpath(dir))
        qWarning().noquote() << "Could not create the export folder" << dir;

    QString why;
    const auto srt = subtitlesSrt(analysis, wordSegments, &why);
    writeOrNote(dir + QStringLiteral("/subtitles.srt"), utf8Of(srt), why);
    const auto text = transcriptText(transcript, &why);
    writeOrNote(dir + QStringLiteral("/transcript.txt"), utf8Of(text), why);
    const auto brief = storyBrief(timeline, analysis, pipeline.clock().now(), &why);
    writeOrNote(dir + QStringLiteral("/story_brief.md"), utf8Of(brief), why);
    auto json = encodeJson(analysis);
    writeOrNote(dir + QStringLiteral("/mining_results.json"), json,
                QStringLiteral("the results hold a number JSON cannot carry"));
    return dir;
}

} // namespace ondrel::ExportBundle
