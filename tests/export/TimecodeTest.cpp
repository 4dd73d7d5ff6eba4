// Time arithmetic the export files rest on: cut-not-rounded timecodes, file timecodes read
// back, and FCPXML rationals.
#include "export/Timecode.h"
#include "export/FCPXMLExporter.h"
#include "export/SourceTime.h"
#include "support/TestEnv.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace ondrel;

namespace {

TEST(Timecode, CutsEveryFieldAndReadsFileTimecodesStrictly) {
    const auto text = [](double s, double fps) {
        return Timecode::fromSeconds(s, fps).value().description();
    };
    EXPECT_EQ(text(10.999, 24), "00:00:10:23");          // 23.976 frames, cut
    EXPECT_EQ(text(3723 + 4.0 / 24, 24), "01:02:03:03"); // 4/24 is not exact in binary
    EXPECT_EQ(text(90061.5, 30), "25:01:01:15");         // hours are not wrapped at a day

    // Pieces that are not integers drop out, so a drop-frame text has too few.
    const std::pair<QString, std::optional<double>> files[] = {
        {"01:00:00:12", 3600.48}, {"10:00:00", 36000.0}, {"01:00:00;12", std::nullopt},
        {"01::02:03", 3723.0},    {"", std::nullopt},    {"99999999999999999999:00:00", std::nullopt}};
    for (const auto& [timecode, seconds] : files)
        EXPECT_EQ(timecodeToSeconds(timecode, 25), seconds) << timecode.toStdString();
}

TEST(FCPXMLTime, RatesComeFromTheTableByExactValueAndTimesRoundToTheUnit) {
    const double nearlyFilm = 23.976 * 1.0000001;
    const std::tuple<double, const char*, double> rates[] = {
        {23.976, "1001/24000s", 24000}, {24, "100/2400s", 2400},
        {29.97, "1001/30000s", 30000},  {59.94, "1001/60000s", 60000},
        {23.98, "100/2398s", 2398},     {nearlyFilm, "100/2397s", nearlyFilm * 100}};
    for (const auto& [fps, frame, denominator] : rates) {
        EXPECT_EQ(FCPXMLTime::frameDuration(fps), frame) << fps;
        EXPECT_EQ(FCPXMLTime::standardDenominator(fps), denominator) << fps;
    }
    // Unreduced, in units of 1/denominator (not frames), halves away from zero.
    const std::tuple<double, double, const char*> times[] = {
        {1.5, 24, "3600/2400s"}, {10.01, 29.97, "300300/30000s"}, {1.0 / 3, 23.976, "8000/24000s"},
        {0.005, 1, "1/100s"},    {-0.005, 1, "-1/100s"},          {0.004, 1, "0s"}};
    for (const auto& [seconds, fps, text] : times)
        EXPECT_EQ(FCPXMLTime::rational(seconds, fps), text) << seconds << " at " << fps;
}

} // namespace
