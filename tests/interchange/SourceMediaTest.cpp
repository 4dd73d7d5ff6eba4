// What a source file is, read from ffprobe's JSON as cameras, recorders and phones write it.
#include "interchange/SourceMedia.h"

#include <gtest/gtest.h>

using namespace ondrel;
using namespace ondrel::interchange;

namespace {

SourceMedia read(const char* json) {
    return sourceMediaFromProbe("/m/file", Json::parse(json));
}

TEST(SourceMedia, ReadsWhatEachKindOfFileCarries) {
    struct Case {
        const char* what;
        const char* json;
        SourceMedia expected;
    };
    auto media = [](auto&&... set) {
        SourceMedia m;
        m.path = "/m/file";
        (set(m), ...);
        return m;
    };
    const Case cases[] = {
        {"a camera MOV: timecode on its timecode track only, two mono sound streams",
         R"({"format": {"duration": "61.250000", "tags": {"major_brand": "qt  "}},
             "streams": [
               {"codec_type": "video", "r_frame_rate": "24000/1001", "avg_frame_rate": "24000/1001",
                "width": 3840, "height": 2160, "tags": {"timecode": "10:00:00:00"}},
               {"codec_type": "audio", "sample_rate": "48000", "channels": 1},
               {"codec_type": "audio", "sample_rate": "48000", "channels": 1},
               {"codec_type": "data", "codec_tag_string": "tmcd", "tags": {"timecode": "10:00:00:00"}}]})",
         media([](SourceMedia& m) {
             m.length = 61.25;
             m.hasVideo = m.hasAudio = true;
             m.frameRate = Rational::of(24000, 1001);
             m.width = 3840;
             m.height = 2160;
             m.startTimecode = "10:00:00:00";
             m.sampleRate = 48000;
             m.audioChannels = 2;
         })},
        {"a format tag wins over a stream's, and ';' means drop-frame",
         R"({"format": {"duration": "10", "tags": {"timecode": "01:00:00;00"}},
             "streams": [{"codec_type": "video", "r_frame_rate": "30000/1001", "tags": {"timecode": "02:00:00;00"}}]})",
         media([](SourceMedia& m) {
             m.length = 10;
             m.hasVideo = true;
             m.frameRate = Rational::of(30000, 1001);
             m.startTimecode = "01:00:00;00";
             m.dropFrame = true;
         })},
        {"a Broadcast Wave file: samples since midnight at its sample rate",
         R"({"format": {"duration": "3600.0", "tags": {"time_reference": "172800000"}},
             "streams": [{"codec_type": "audio", "sample_rate": "48000", "channels": 2}]})",
         media([](SourceMedia& m) {
             m.length = 3600;
             m.hasAudio = true;
             m.timeReference = 172800000;
             m.sampleRate = 48000;
             m.audioChannels = 2;
         })},
        {"a phone's variable-rate video reports its base rate; the average names the story rate",
         R"({"format": {"duration": "5"},
             "streams": [{"codec_type": "video", "r_frame_rate": "90000/1", "avg_frame_rate": "2997/100",
                          "TAGS": {}}]})",
         media([](SourceMedia& m) {
             m.length = 5;
             m.hasVideo = true;
             m.frameRate = Rational::of(2997, 100);
         })},
        {"cover art in a sound file is no picture; an MXF's tag is upper case",
         R"({"format": {"duration": "30", "tags": {"TIMECODE": "00:59:58:00"}},
             "streams": [{"codec_type": "audio", "sample_rate": "44100", "channels": 2},
                         {"codec_type": "video", "r_frame_rate": "90000/1",
                          "disposition": {"attached_pic": 1}}]})",
         media([](SourceMedia& m) {
             m.length = 30;
             m.hasAudio = true;
             m.startTimecode = "00:59:58:00";
             m.sampleRate = 44100;
             m.audioChannels = 2;
         })},
        {"a file ffprobe could not open", "{}", media([](SourceMedia&) {})},
        {"a length ffprobe could not measure, a rate of 0/0 and a reference without sample rate",
         R"({"format": {"duration": "N/A", "tags": {"time_reference": "480000"}},
             "streams": [{"codec_type": "video", "r_frame_rate": "0/0", "avg_frame_rate": "0/0"}]})",
         media([](SourceMedia& m) { m.hasVideo = true; })},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const SourceMedia got = read(c.json);
        EXPECT_EQ(got.length, c.expected.length);
        EXPECT_EQ(got.hasVideo, c.expected.hasVideo);
        EXPECT_EQ(got.hasAudio, c.expected.hasAudio);
        EXPECT_EQ(got.frameRate, c.expected.frameRate);
        EXPECT_EQ(got.startTimecode, c.expected.startTimecode);
        EXPECT_EQ(got.dropFrame, c.expected.dropFrame);
        EXPECT_EQ(got.timeReference, c.expected.timeReference);
        EXPECT_EQ(got.sampleRate, c.expected.sampleRate);
        EXPECT_EQ(got.audioChannels, c.expected.audioChannels);
        EXPECT_EQ(got, c.expected);
    }
}

} // namespace
