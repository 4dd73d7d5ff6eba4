// Time arithmetic the export files rest on: cut-not-rounded timecodes, the clock of the laid-out
// sources mapped back to each file, and the bundle's time formatters.
#include "export/Timecode.h"
#include "export/ExportBundle.h"
#include "export/ExportSupport.h"
#include "export/SourceTime.h"
#include "support/TestEnv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace ondrel;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct TimecodeCase {
    double seconds;
    double fps;
    const char* text;
};

class TimecodeText : public ::testing::TestWithParam<TimecodeCase> {};

TEST_P(TimecodeText, CutsEveryField) {
    const auto& c = GetParam();
    const auto tc = Timecode::fromSeconds(c.seconds, c.fps);
    ASSERT_TRUE(tc.has_value());
    EXPECT_EQ(tc->description(), QString::fromLatin1(c.text));
}

INSTANTIATE_TEST_SUITE_P(
    Rates, TimecodeText,
    ::testing::Values(TimecodeCase{10.999, 24, "00:00:10:23"},          // 23.976 frames, cut
                      TimecodeCase{0.04, 24, "00:00:00:00"},            // 0.96 frames, cut
                      TimecodeCase{3723 + 4.0 / 24, 24, "01:02:03:03"}, // 4/24 is not exact in binary
                      TimecodeCase{3725.9, 25, "01:02:05:22"}, TimecodeCase{0, 29.97, "00:00:00:00"},
                      TimecodeCase{90061.5, 30, "25:01:01:15"}, // hours are not wrapped at a day
                      TimecodeCase{-61.5, 24, "00:-1:-1:-12"}));

TEST(Timecode, AddingReCutsSoAChainDriftsShort) {
    // 20 + 14/25 is 20.559999... in binary: adding nothing loses a frame.
    const auto tc = Timecode::fromSeconds(20.56, 25);
    ASSERT_TRUE(tc);
    EXPECT_EQ(tc->description(), "00:00:20:13");
    const auto at14 = Timecode{0, 0, 20, 14, 25};
    const auto same = at14 + 0.0;
    ASSERT_TRUE(same);
    EXPECT_EQ(same->description(), "00:00:20:13");
    EXPECT_DOUBLE_EQ(at14.totalSeconds(), 20.56);
}

TEST(Timecode, RefusesWhatCannotBeAWholeNumber) {
    for (double seconds : {kNaN, kInf, -kInf, 1e300, 9.3e18, -9.3e18})
        EXPECT_FALSE(Timecode::fromSeconds(seconds, 24)) << seconds;
    for (double fps : {0.0, -24.0, kNaN, kInf})
        EXPECT_FALSE(Timecode::fromSeconds(10, fps)) << fps;
    EXPECT_FALSE(Timecode::fromSeconds(0.5, 1e300)); // frames beyond 64 bits
    EXPECT_TRUE(Timecode::fromSeconds(9.2e18, 24));
}

TEST(WholeNumber, ReachesBothEndsOfSixtyFourBits) {
    EXPECT_EQ(wholeNumber(-9223372036854775808.0), std::numeric_limits<qint64>::min());
    EXPECT_FALSE(wholeNumber(9223372036854775808.0));
    EXPECT_EQ(wholeNumber(-2.9), -2);
    EXPECT_EQ(wholeNumber(2.9), 2);
}

struct TimecodeSecondsCase {
    std::optional<QString> text;
    double fps;
    std::optional<double> seconds;
};

class TimecodeToSeconds : public ::testing::TestWithParam<TimecodeSecondsCase> {};

TEST_P(TimecodeToSeconds, ReadsIntegersOnly) {
    const auto& c = GetParam();
    EXPECT_EQ(timecodeToSeconds(c.text, c.fps), c.seconds) << (c.text ? c.text->toStdString() : "absent");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, TimecodeToSeconds,
    ::testing::Values(
        TimecodeSecondsCase{std::nullopt, 24, std::nullopt}, TimecodeSecondsCase{"01:00:00:12", 24, 3600.5},
        TimecodeSecondsCase{"01:00:00:12", 25, 3600.48}, TimecodeSecondsCase{"10:00:00", 24, 36000.0},
        TimecodeSecondsCase{"01:00:00;12", 24, std::nullopt}, // drop-frame: too few integers
        TimecodeSecondsCase{"01::02:03", 24, 3723.0},         // empty pieces dropped
        TimecodeSecondsCase{"x:01:02:03", 24, 3723.0},        // later pieces move up
        TimecodeSecondsCase{"+1:00:00", 24, 3600.0}, TimecodeSecondsCase{"1: 2:3", 24, std::nullopt},
        TimecodeSecondsCase{"99999999999999999999:00:00", 24, std::nullopt},
        TimecodeSecondsCase{"", 24, std::nullopt}));

QList<MediaFileInfo> threeFiles() {
    return {MediaFileInfo("/m/late.mov", "late.mov", 120, QStringLiteral("10:00:00:00"), 25, true),
            MediaFileInfo("/m/a.wav", "a.wav", 300, QStringLiteral("01:00:00:12")),
            MediaFileInfo("/m/tone.wav", "tone.wav", 60)};
}

TEST(OffsetMap, SortsByTimecodeWithUntimedFilesFirst) {
    const QList<OffsetEntry> expected{
        {"tone.wav", 0, 60, 0}, {"a.wav", 60, 360, 3600.5}, {"late.mov", 360, 480, 36000}};
    EXPECT_EQ(buildOffsetMap(threeFiles()), expected);
    EXPECT_TRUE(buildOffsetMap({}).isEmpty());
}

TEST(OffsetMap, CountsFileFramesAtTwentyFourWhateverTheFileRate) {
    const auto map =
        buildOffsetMap({MediaFileInfo("/m/x.mov", "x.mov", 10, QStringLiteral("00:00:01:12"), 50)});
    ASSERT_EQ(map.size(), 1);
    EXPECT_EQ(map[0].bwfStart, 1.5);
}

struct ResolveCase {
    double t;
    std::optional<ResolvedSourceTime> expected;
};

class ResolveSourceTime : public ::testing::TestWithParam<ResolveCase> {};

TEST_P(ResolveSourceTime, FindsTheFileOfTheTime) {
    EXPECT_EQ(resolveSourceTime(GetParam().t, buildOffsetMap(threeFiles())), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Times, ResolveSourceTime,
    ::testing::Values(
        ResolveCase{0, ResolvedSourceTime{"tone.wav", 0}},
        ResolveCase{60, ResolvedSourceTime{"a.wav", 3600.5}}, // a boundary belongs to the next file
        ResolveCase{75.25, ResolvedSourceTime{"a.wav", 3615.75}},
        ResolveCase{500, ResolvedSourceTime{"late.mov", 36140}}, // past the end runs on, unclamped
        ResolveCase{-1, std::nullopt}));

TEST(ResolveSourceTime, EmptyMapGivesNothing) {
    EXPECT_FALSE(resolveSourceTime(5, {}));
}

TEST(PathExtension, FollowsTheLastComponent) {
    EXPECT_EQ(pathExtension("interview.WAV"), "WAV");
    EXPECT_EQ(pathExtension("a.tar.gz"), "gz");
    EXPECT_EQ(pathExtension(".hidden"), "");
    EXPECT_EQ(pathExtension("dir.v2/name"), "");
    EXPECT_EQ(deletingPathExtension("A001_C02.mov"), "A001_C02");
    EXPECT_EQ(deletingPathExtension("dir.v2/name"), "dir.v2/name");
    EXPECT_EQ(deletingPathExtension("B-roll & Talk"), "B-roll & Talk");
}

TEST(Characters, CountsWhatTheReaderSees) {
    const QString accented = QStringLiteral("Cafe\u0301 Interview"); // e + combining acute
    EXPECT_EQ(characterCount(accented), 14);
    EXPECT_EQ(leadingCharacters(accented, 4), QStringLiteral("Cafe\u0301"));
    const QString emoji = QStringLiteral("💎💎💎");
    EXPECT_EQ(leadingCharacters(emoji, 2), QStringLiteral("💎💎"));
    EXPECT_EQ(leadingCharacters(QStringLiteral("ab\r\ncd"), 3), QStringLiteral("ab\r\n"));
}

struct FormatCase {
    double seconds;
    const char* timestamp;
    const char* srt;
};

class TimeFormatters : public ::testing::TestWithParam<FormatCase> {};

TEST_P(TimeFormatters, CutTowardZero) {
    const auto& c = GetParam();
    EXPECT_EQ(ExportBundle::formatTimestamp(c.seconds), QString::fromLatin1(c.timestamp));
    EXPECT_EQ(ExportBundle::formatDuration(c.seconds), QString::fromLatin1(c.timestamp));
    EXPECT_EQ(ExportBundle::srtTime(c.seconds), QString::fromLatin1(c.srt));
}

INSTANTIATE_TEST_SUITE_P(Values, TimeFormatters,
                         ::testing::Values(FormatCase{3725.9, "62:05", "01:02:05,900"},
                                           FormatCase{59.9, "0:59", "00:00:59,899"}, // 0.8999... cut,
                                           FormatCase{0.3, "0:00", "00:00:00,300"},
                                           FormatCase{4.1, "0:04", "00:00:04,099"}, // 0.0999... cut
                                           FormatCase{0, "0:00", "00:00:00,000"},
                                           FormatCase{360000.25, "6000:00", "100:00:00,250"}));

TEST(TimeFormatters, NoTextForValuesWithoutAWholeNumber) {
    for (double v : {kNaN, kInf, -kInf, 1e300}) {
        EXPECT_FALSE(ExportBundle::srtTime(v));
        EXPECT_FALSE(ExportBundle::formatTimestamp(v));
    }
}

TEST(DecimalIntegers, AreStrict) {
    EXPECT_EQ(parseDecimalInteger("-9223372036854775808"), std::numeric_limits<qint64>::min());
    EXPECT_EQ(parseDecimalInteger("9223372036854775807"), std::numeric_limits<qint64>::max());
    EXPECT_FALSE(parseDecimalInteger("9223372036854775808"));
    EXPECT_FALSE(parseDecimalInteger("-"));
    EXPECT_FALSE(parseDecimalInteger("1.0"));
    EXPECT_FALSE(parseDecimalInteger("٣")); // an Arabic-Indic digit is not ASCII
}

} // namespace
