#include "core/Records.h"
#include "core/Clock.h"

#include <gtest/gtest.h>

using namespace ondrel;

namespace {

const char* kSegment = R"({"index":3,"startTime":1.5,"endTime":4,"sourceClip":"source",
    "transcript":"hola","translation":"hello"%1})";

QByteArray segmentJson(const char* extra) {
    return QString::fromUtf8(kSegment).arg(extra).toUtf8();
}

QByteArray resultsWith(const QByteArray& segment) {
    return R"({"segments":[)" + segment +
           R"(],"structure":{"acts":[{"name":"Opening","segments":[3]}],"totalDuration":12.5},
              "subtitles":[{"startTime":1.5,"endTime":3,"text":"hello"}],"estimatedDuration":60})";
}

} // namespace

TEST(RecordsJson, OptionalChapterAbsentNullAndPresent) {
    struct Case {
        const char* extra;
        std::optional<QString> chapter;
        const char* encoded;
    } cases[] = {
        {"", std::nullopt,
         R"({"index":3,"startTime":1.5,"endTime":4.0,"sourceClip":"source","transcript":"hola","translation":"hello"})"},
        {R"(,"chapter":null)", std::nullopt,
         R"({"index":3,"startTime":1.5,"endTime":4.0,"sourceClip":"source","transcript":"hola","translation":"hello"})"},
        {R"(,"chapter":"Act I","extra":[1,2])", QStringLiteral("Act I"),
         R"({"index":3,"startTime":1.5,"endTime":4.0,"sourceClip":"source","transcript":"hola","translation":"hello","chapter":"Act I"})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.extra);
        const auto seg = decodeJson<StorySegment>(segmentJson(c.extra));
        ASSERT_TRUE(seg.has_value());
        EXPECT_EQ(seg->chapter, c.chapter);
        EXPECT_EQ(encodeJson(*seg).value(), QByteArray(c.encoded));
    }
}

TEST(RecordsJson, StrictDecodingRefusesWholeRecord) {
    struct Case {
        const char* name;
        QByteArray json;
        bool ok;
    } cases[] = {
        {"complete results", resultsWith(segmentJson("")), true},
        {"segment without translation fails the results",
         resultsWith(R"({"index":3,"startTime":1.5,"endTime":4,"sourceClip":"s","transcript":"t"})"), false},
        {"required field null", resultsWith(segmentJson("").replace("\"hello\"", "null")), false},
        {"string where a number belongs", resultsWith(segmentJson("").replace("1.5", "\"1.5\"")), false},
        {"fractional index", resultsWith(segmentJson("").replace("\"index\":3", "\"index\":3.5")), false},
        {"integral float index", resultsWith(segmentJson("").replace("\"index\":3", "\"index\":3.0")), true},
        {"boolean as number", resultsWith(segmentJson("").replace("\"endTime\":4", "\"endTime\":true")),
         false},
        {"truncated text", resultsWith(segmentJson("")).left(40), false},
        {"not JSON at all", "Here is your story!", false},
        {"array instead of object", "[]", false},
        {"empty", "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(decodeJson<MiningResults>(c.json).has_value(), c.ok);
    }
}

TEST(RecordsJson, GoldMomentWeightMustBeInteger) {
    const QByteArray base = R"({"startTime":1,"endTime":2,"text":"t","reason":"r","emotionalWeight":@W@})";
    struct Case {
        const char* weight;
        std::optional<qint64> expected;
    } cases[] = {
        {"8", 8}, {"8.5", std::nullopt}, {"-2", -2}, {"\"8\"", std::nullopt}, {"1e300", std::nullopt}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.weight);
        QByteArray json = base;
        json.replace("@W@", c.weight);
        const auto gold = decodeJson<GoldMoment>(json);
        ASSERT_EQ(gold.has_value(), c.expected.has_value());
        if (gold) {
            EXPECT_EQ(gold->emotionalWeight, *c.expected);
        }
    }
}

TEST(RecordsJson, KeyOrderFollowsDeclarationAndNonFiniteFailsEncoding) {
    ProbeResult p{
        "/a/b.wav", "b.wav", 10, std::nullopt, std::nullopt, 48000, std::nullopt, "pcm_s24le", false,
        true,       2,       24};
    EXPECT_EQ(
        encodeJson(p).value(),
        QByteArray(R"({"path":"/a/b.wav","filename":"b.wav","duration":10.0,"sampleRate":48000,)"
                   R"("codec":"pcm_s24le","hasVideo":false,"hasAudio":true,"channels":2,"bitDepth":24})"));
    p.duration = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(encodeJson(p).has_value());
}

TEST(RecordsJson, MediaFileInfoNeedsDefaultedFieldsInJson) {
    EXPECT_FALSE(decodeJson<MediaFileInfo>(QByteArray(R"({"path":"/x","filename":"x","duration":1})")));
    const MediaFileInfo info("/x", "x", 1);
    EXPECT_EQ(info.fps, 24);
    EXPECT_FALSE(info.hasVideo);
    EXPECT_TRUE(info.hasAudio);
    EXPECT_EQ(decodeJson<MediaFileInfo>(encodeJson(info).value()), info);
}

TEST(RecordsJson, StyleSlidersNeedAllKeys) {
    EXPECT_EQ(StyleSliders{}.boldness, 0.3);
    EXPECT_FALSE(decodeJson<StyleSliders>(QByteArray(R"({"pace":0.1})")));
    const auto s = decodeJson<StyleSliders>(
        QByteArray(R"({"pace":0.1,"structure":0,"emotion":1,"length":0.5,"boldness":0.9,"silence":0.2})"));
    ASSERT_TRUE(s);
    EXPECT_EQ(s->boldness, 0.9);
    EXPECT_EQ(s->structure, 0.0);
}

TEST(RecordIds, FormedFromShortestDecimals) {
    struct Case {
        QString id;
        const char* expected;
    } cases[] = {
        {Subtitle{1.5, 3, "x"}.id(), "1.5-3.0"},
        {AlternateTake{10, 11, 20, 21, "", ""}.id(), "20.0-10.0"},
        {Redundancy{1, 5, 2, 6, "x"}.id(), "1.0-2.0"},
        {UsedSegment{0.1, 0.30000000000000004, ""}.id(), "0.1-0.30000000000000004"},
        {GoldMoment{1e16, 0.00001, "", "", 1}.id(), "1e+16-1e-05"},
        {GoldMoment{123456.75, -0.5, "", "", 1}.id(), "123456.75--0.5"},
        {Act{"Opening", {}}.id(), "Opening"},
        {SavedProject{"Cut 1", 1700000000.9, "en", {}, {}, {}, {}, 5, {}}.id(), "Cut 1_1700000000"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.id, QString::fromUtf8(c.expected));
}

TEST(PipelineLogs, SameSecondSameStampDistinctIds) {
    FixedClock clock(QDateTime(QDate(2026, 1, 2), QTime(13, 7, 9)));
    const auto a = PipelineLog::make(clock, "a");
    const auto b = PipelineLog::make(clock, "b", "green");
    EXPECT_EQ(a.timestamp, "07:09");
    EXPECT_EQ(a.timestamp, b.timestamp);
    EXPECT_NE(a.id, b.id);
    EXPECT_EQ(a.color, "muted");
}

// Words are the pieces between single spaces that are not empty, over every segment; tabs and
// line breaks are part of a word.
TEST(Records, WordsAreCountedBetweenSingleSpaces) {
    const struct {
        QStringList texts;
        qint64 words;
    } cases[] = {
        {{}, 0},
        {{""}, 0},
        {{"   "}, 0},
        {{"hola"}, 1},
        {{" hola  qué   tal "}, 3},
        {{"a\tb c\nd"}, 2},
        {{"¿Y", "qué pasó?", ""}, 3},
        {{"\u00a0"}, 1},
    };
    for (const auto& c : cases) {
        TranscriptResult t;
        for (const QString& text : c.texts)
            t.segments.push_back({0, 1, text, "es"});
        EXPECT_EQ(countWords(t), c.words) << c.texts.join('|').toStdString();
    }
}
