#include "SrtCards.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace ondrel::test {

namespace {

std::optional<qint64> timeOf(const QRegularExpressionMatch& m, int first) {
    const qint64 h = m.captured(first).toLongLong();
    const qint64 min = m.captured(first + 1).toLongLong();
    const qint64 s = m.captured(first + 2).toLongLong();
    if (min > 59 || s > 59)
        return std::nullopt;
    return ((h * 60 + min) * 60 + s) * 1000 + m.captured(first + 3).toLongLong();
}

QString millisText(qint64 ms) {
    return QStringLiteral("%1.%2").arg(ms / 1000).arg(ms % 1000, 3, 10, QLatin1Char('0'));
}

} // namespace

std::optional<QList<SrtCard>> readSrt(const QString& text, QString* error) {
    static const QRegularExpression timeLine(
        QStringLiteral("^(\\d{2,}):(\\d{2}):(\\d{2}),(\\d{3}) --> (\\d{2,}):(\\d{2}):(\\d{2}),(\\d{3})$"));
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    const QStringList lines = text.split(u'\n');
    QList<SrtCard> cards;
    const auto fail = [&](qsizetype line, const QString& why) {
        *error = QStringLiteral("line %1: %2").arg(line + 1).arg(why);
        return std::nullopt;
    };
    qsizetype i = 0;
    while (i < lines.size()) {
        if (lines[i].isEmpty()) {
            ++i;
            continue;
        }
        if (lines[i] != QString::number(cards.size() + 1))
            return fail(
                i,
                QStringLiteral("expected card number %1, found \"%2\"").arg(cards.size() + 1).arg(lines[i]));
        const QRegularExpressionMatch m = timeLine.match(i + 1 < lines.size() ? lines[i + 1] : QString());
        if (!m.hasMatch())
            return fail(i + 1, QStringLiteral("not a time line"));
        const auto start = timeOf(m, 1);
        const auto end = timeOf(m, 5);
        if (!start || !end)
            return fail(i + 1, QStringLiteral("minutes or seconds past 59"));
        SrtCard card{*start, *end, {}};
        i += 2;
        for (; i < lines.size() && !lines[i].isEmpty(); ++i)
            card.words += lines[i].split(blanks, Qt::SkipEmptyParts);
        if (card.words.isEmpty())
            return fail(i, QStringLiteral("card %1 has no text").arg(cards.size() + 1));
        cards.push_back(card);
    }
    return cards;
}

QStringList cardProblems(const QList<SrtCard>& cards, const QList<SrtMoment>& moments) {
    QStringList problems;
    qint64 lastEnd = std::numeric_limits<qint64>::min();
    for (qsizetype c = 0; c < cards.size(); ++c) {
        const SrtCard& card = cards[c];
        if (card.startMs >= card.endMs)
            problems << QStringLiteral("card %1 runs from %2 to %3")
                            .arg(c + 1)
                            .arg(millisText(card.startMs), millisText(card.endMs));
        if (card.startMs < lastEnd)
            problems << QStringLiteral("card %1 starts at %2, before the card ahead of it ends (%3)")
                            .arg(c + 1)
                            .arg(millisText(card.startMs), millisText(lastEnd));
        lastEnd = std::max(lastEnd, card.endMs);
    }
    qsizetype c = 0;
    for (qsizetype k = 0; k < moments.size(); ++k) {
        const SrtMoment& m = moments[k];
        QStringList shown;
        while (c < cards.size() && cards[c].startMs < cards[c].endMs && cards[c].startMs >= m.fromMs &&
               cards[c].endMs <= m.toMs)
            shown += cards[c++].words;
        const QStringList expected = m.toMs > m.fromMs ? m.words : QStringList();
        if (shown != expected)
            problems << QStringLiteral("moment %1 (%2 to %3) shows \"%4\" instead of \"%5\"")
                            .arg(k + 1)
                            .arg(millisText(m.fromMs), millisText(m.toMs), shown.join(u' '),
                                 expected.join(u' '));
    }
    if (c < cards.size())
        problems << QStringLiteral("card %1 (%2 to %3, \"%4\") lies in no moment after the cards before it")
                        .arg(c + 1)
                        .arg(millisText(cards[c].startMs), millisText(cards[c].endMs),
                             cards[c].words.join(u' '));
    return problems;
}

qint64 srtMillis(double seconds) {
    const auto whole = qint64(seconds);
    return whole * 1000 + qint64((seconds - double(whole)) * 1000);
}

} // namespace ondrel::test
