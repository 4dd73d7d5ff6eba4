// Exact times, rates and timecode labels: the drop-frame count is where hand-off files most
// often go wrong by a few frames an hour.
#include "interchange/Timecode.h"
#include "interchange/Rational.h"

#include <gtest/gtest.h>

using namespace ondrel::interchange;

namespace {

const FrameRate k23976{24000, 1001};
const FrameRate k24{24, 1};
const FrameRate k25{25, 1};
const FrameRate k2997{30000, 1001};
const FrameRate k5994{60000, 1001};
const FrameRate k60{60, 1};

TEST(Rational, RoundsTowardsTheRightWholeNumber) {
    struct Case {
        Rational value;
        qint64 floor, ceil, round;
    };
    const Case cases[] = {
        {Rational::of(7, 2), 3, 4, 4},   {Rational::of(-7, 2), -4, -3, -3}, {Rational::of(5, 3), 1, 2, 2},
        {Rational::of(4, 3), 1, 2, 1},   {Rational::of(-4, 3), -2, -1, -1}, {Rational::of(6, 3), 2, 2, 2},
        {Rational::of(1, -2), -1, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.value.num << '/' << c.value.den);
        EXPECT_EQ(c.value.floor(), c.floor);
        EXPECT_EQ(c.value.ceil(), c.ceil);
        EXPECT_EQ(c.value.round(), c.round);
    }
    // Kept in lowest terms, so equal values are equal records.
    EXPECT_EQ(Rational::of(30000, 1001) * Rational::of(1001, 30000), Rational::of(1));
    EXPECT_EQ(Rational::of(172800000, 48000), Rational::of(3600));
    // A day of samples at 192 kHz times an NTSC rate overflows 64 bits on the way, not in the end.
    EXPECT_EQ(Rational::of(86400LL * 192000, 192000) * Rational::of(60000, 1001),
              Rational::of(5184000000LL, 1001));
}

TEST(Rational, ReadsRatesAsFfprobePrintsThem) {
    EXPECT_EQ(parseRational("30000/1001"), Rational::of(30000, 1001));
    EXPECT_EQ(parseRational("25"), Rational::of(25));
    EXPECT_EQ(parseRational("50/2"), Rational::of(25));
    for (const char* bad : {"0/0", "0/1", "25/0", "-25/1", "", "x/1", "1/2/3", "29.97"})
        EXPECT_EQ(parseRational(bad), std::nullopt) << bad;
}

TEST(FrameRates, MeasuredRatesMatchTheStoryRateTheyStandFor) {
    struct Case {
        Rational measured;
        std::optional<FrameRate> standard;
        FrameRate nearest;
    };
    const Case cases[] = {
        {Rational::of(24000, 1001), k23976, k23976},
        {Rational::of(2997, 125), k23976, k23976},
        {Rational::of(2398, 100), k23976, k23976},
        {Rational::of(24), k24, k24},
        {Rational::of(2997, 100), k2997, k2997},
        {Rational::of(5994, 100), k5994, k5994},
        {Rational::of(60), k60, k60},
        {Rational::of(48), std::nullopt, FrameRate{50, 1}},
        {Rational::of(120), std::nullopt, k60},
        {Rational::of(90000), std::nullopt, k60},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.measured.num << '/' << c.measured.den);
        EXPECT_EQ(standardRate(c.measured), c.standard);
        EXPECT_EQ(nearestStoryRate(c.measured), c.nearest);
    }
    EXPECT_EQ(k23976.label(), "23.976");
    EXPECT_EQ(k2997.label(), "29.97");
    EXPECT_EQ(k25.label(), "25");
}

TEST(FrameRates, NearestFrameRoundsTheSumOnce) {
    // 01:00:00:00 of a Broadcast Wave file (3600 s) is not a whole frame at 29.97: the offset is
    // added to the exact start before rounding, not to a rounded start.
    const Rational bwf = Rational::of(172800000, 48000);
    EXPECT_EQ(nearestFrame(bwf, 0, k2997), 107892);      // 107892.1
    EXPECT_EQ(nearestFrame(bwf, 0.0167, k2997), 107893); // 107892.6
    EXPECT_EQ(nearestFrame(Rational::of(0), 0.5 / 25, k25), 1);
    EXPECT_EQ(nearestFrame(Rational::of(0), 0.49 / 25, k25), 0);
}

struct Label {
    FrameRate rate;
    bool dropFrame;
    qint64 frame;
    const char* text;
};

TEST(Timecode, LabelsAndFramesAgree) {
    const Label labels[] = {
        {k2997, true, 0, "00:00:00;00"},          {k2997, true, 1799, "00:00:59;29"},
        {k2997, true, 1800, "00:01:00;02"}, // ;00 and ;01 are skipped
        {k2997, true, 3598, "00:02:00;02"},       {k2997, true, 17981, "00:09:59;29"},
        {k2997, true, 17982, "00:10:00;00"}, // every tenth minute keeps its labels
        {k2997, true, 107892, "01:00:00;00"},     {k2997, true, 2589407, "23:59:59;29"},
        {k2997, false, 1800, "00:01:00:00"},      {k2997, false, 108000, "01:00:00:00"},
        {k5994, true, 3599, "00:00:59;59"},       {k5994, true, 3600, "00:01:00;04"}, // four labels at 59.94
        {k5994, true, 35964, "00:10:00;00"},      {k5994, true, 215784, "01:00:00;00"},
        {k23976, false, 86400, "01:00:00:00"},    {k25, false, 90000 + 24, "01:00:00:24"},
        {k25, true, 25, "00:00:01:00"}, // no drop-frame count at 25: the flag is ignored
        {k60, false, 216000 + 59, "01:00:00:59"},
    };
    for (const Label& l : labels) {
        SCOPED_TRACE(l.text);
        const TimecodeFormat format{l.rate, l.dropFrame};
        EXPECT_EQ(timecodeText(l.frame, format), l.text);
        EXPECT_EQ(timecodeFrame(QString::fromLatin1(l.text), format), l.frame);
    }
}

TEST(Timecode, EveryFrameOfAnHourReadsBack) {
    for (const TimecodeFormat format : {TimecodeFormat{k2997, true}, TimecodeFormat{k5994, true}}) {
        qint64 previous = -1;
        for (qint64 frame = 0; frame < 60 * 60 * format.rate.timecodeBase(); ++frame) {
            const QString text = timecodeText(frame, format);
            ASSERT_EQ(timecodeFrame(text, format), frame) << text.toStdString();
            // Labels only ever move forward.
            const qint64 plain = *timecodeFrame(QString(text).replace(';', ':'), {format.rate, false});
            ASSERT_GT(plain, previous);
            previous = plain;
        }
    }
}

TEST(Timecode, RefusesLabelsThatDoNotExist) {
    const TimecodeFormat df{k2997, true};
    for (const char* bad :
         {"00:01:00;00", "00:01:00;01", "00:00:00:30", "24:00:00:00", "00:60:00:00", "00:00:60:00",
          "01:00:00", "01:00:00:00:00", "aa:00:00:00", "", "01::00:00", "-1:00:00:00"})
        EXPECT_EQ(timecodeFrame(QString::fromLatin1(bad), df), std::nullopt) << bad;
    // Every separator files use; the tenth minute keeps its first labels.
    EXPECT_EQ(timecodeFrame(u"00:10:00.00", df), 17982);
    EXPECT_EQ(timecodeFrame(u"00:10:00,01", df), 17983);
    EXPECT_EQ(timecodeFrame(u" 01:00:00:00 ", {k25, false}), 90000);
}

TEST(Timecode, GoesRoundAtADay) {
    const TimecodeFormat ndf{k25, false};
    EXPECT_EQ(timecodeText(24 * 3600 * 25 + 5, ndf), "00:00:00:05");
    EXPECT_EQ(timecodeText(-1, ndf), "23:59:59:24");
    EXPECT_EQ(timecodeText(2589408, {k2997, true}), "00:00:00;00");
}

TEST(Timecode, DropFrameIsReadFromTheSeparator) {
    EXPECT_TRUE(looksDropFrame(u"01:00:00;00"));
    EXPECT_TRUE(looksDropFrame(u"01:00:00.00"));
    EXPECT_FALSE(looksDropFrame(u"01:00:00:00"));
    EXPECT_FALSE(looksDropFrame(u""));
}

} // namespace
