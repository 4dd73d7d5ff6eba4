// The export's SRT over many moments, read back: whatever the moment's length, its words and its
// word timing, every word is shown, in order, inside its own moment.
#include "ExportTestSupport.h"
#include "export/ExportBundle.h"
#include "support/SrtCards.h"
#include "support/TestEnv.h"

#include <gtest/gtest.h>

using namespace ondrel;
using test::seg;

namespace {

const QString kMarks[] = {",", ".", ";", ":", "—", "...", "?"};

QString momentText(int words, bool punctuated) {
    QStringList out;
    for (int i = 1; i <= words; ++i)
        out << QStringLiteral("w%1").arg(i) + (punctuated ? kMarks[i % std::size(kMarks)] : QString());
    return out.join(u' ');
}

// Spoken words as the speech service gives them: `count` of them spread from `from` to `to` seconds
// of the moment's cut, each a little shorter than its share.
QList<WordTimestamp> spread(int count, double from, double to) {
    QList<WordTimestamp> words;
    const double step = (to - from) / count;
    for (int i = 0; i < count; ++i)
        words.push_back({QStringLiteral("s%1").arg(i), from + i * step, from + (i + 0.9) * step});
    return words;
}

enum class Timing { Even, EmptyWordList, OnePerWord, Fewer, More, NoneValid, PastTheEnd, Ragged };

struct TimingCase {
    const char* what;
    Timing timing;
};

// Word times for a moment of `d` seconds whose text has `n` words; absent for even timing.
std::optional<QList<WordTimestamp>> wordTimes(Timing timing, double d, int n) {
    switch (timing) {
    case Timing::Even:
        return std::nullopt;
    case Timing::EmptyWordList:
        return QList<WordTimestamp>();
    case Timing::OnePerWord:
        return spread(n, 0.1, d - 0.1);
    case Timing::Fewer:
        return spread(std::max(1, n / 3), 0.1, d - 0.1);
    case Timing::More:
        return spread(2 * n + 3, 0.1, d - 0.1);
    case Timing::NoneValid:
        return spread(n, d + 1.5, d + 3);
    case Timing::PastTheEnd:
        // Still within a second of the end, so the words count, but the last ones start past it.
        return spread(n + 2, 0.0, d + 0.95);
    case Timing::Ragged: {
        // Words of no length, words that overlap the next one, a first word before the cut.
        QList<WordTimestamp> words = spread(n + 1, -0.15, d);
        for (qsizetype i = 0; i < words.size(); ++i)
            words[i].end = i % 2 ? words[i].start : words[i].start + 3 * (d / (n + 1));
        return words;
    }
    }
    return std::nullopt;
}

TEST(SubtitleWords, EveryWordShowsInOrderInsideItsMoment) {
    const double durations[] = {0.5, 0.8, 1.0, 1.4, 1.9, 3.0, 7.0, 20.0, 40.0};
    const int wordCounts[] = {1, 2, 3, 7, 40};
    const TimingCase timings[] = {
        {"evenly timed", Timing::Even},
        {"an empty word list", Timing::EmptyWordList},
        {"one spoken word per word", Timing::OnePerWord},
        {"fewer spoken words", Timing::Fewer},
        {"more spoken words", Timing::More},
        {"no valid word", Timing::NoneValid},
        {"words past the end", Timing::PastTheEnd},
        {"ragged word times", Timing::Ragged},
    };
    int checked = 0;
    for (const double d : durations)
        for (const int n : wordCounts)
            for (const bool punctuated : {false, true})
                for (const bool inTranscript : {false, true})
                    for (const TimingCase& t : timings) {
                        SCOPED_TRACE(QStringLiteral("%1 s, %2 words%3%4, %5")
                                         .arg(d)
                                         .arg(n)
                                         .arg(punctuated ? ", punctuated" : "")
                                         .arg(inTranscript ? ", no translation" : "")
                                         .arg(t.what)
                                         .toStdString());
                        const QString text = momentText(n, punctuated);
                        // Moments before and after it, so a card out of place shows on the clock.
                        MiningResults story{{seg(40, 42.25, "a.wav", "x", {}, "Before this moment."),
                                             inTranscript ? seg(100, 100 + d, "a.wav", text)
                                                          : seg(100, 100 + d, "a.wav", "x", {}, text),
                                             seg(7, 10, "a.wav", "And after it.")},
                                            {},
                                            {},
                                            0};
                        QList<WordSegment> words;
                        if (const auto times = wordTimes(t.timing, d, n))
                            words.push_back({1, *times});

                        QString error;
                        const auto srt = ExportBundle::subtitlesSrt(story, words, &error);
                        ASSERT_TRUE(srt) << error.toStdString();
                        const auto cards = test::readSrt(*srt, &error);
                        ASSERT_TRUE(cards) << error.toStdString() << "\n" << srt->toStdString();

                        QList<test::SrtMoment> moments;
                        double clock = 0;
                        for (const StorySegment& s : story.segments) {
                            const double length = s.endTime - s.startTime;
                            const QString& shown = s.translation.isEmpty() ? s.transcript : s.translation;
                            moments.push_back({test::srtMillis(clock), test::srtMillis(clock + length),
                                               shown.split(u' ', Qt::SkipEmptyParts)});
                            clock += length;
                        }
                        const QStringList problems = test::cardProblems(*cards, moments);
                        EXPECT_TRUE(problems.isEmpty()) << problems.join(u'\n').toStdString() << "\n"
                                                        << srt->toStdString();
                        ++checked;
                    }
    EXPECT_EQ(checked, 9 * 5 * 2 * 2 * 8);
}

} // namespace
