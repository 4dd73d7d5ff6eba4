// Reading the model's answer: the text block, the cleaning, the manual recovery and the reasons
// a decode gives.
#include "analysis/AnswerText.h"
#include "analysis/DecodeError.h"
#include "analysis/ManualParse.h"

#include "support/TestEnv.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace ondrel;

TEST(AnswerText, Cleaning) {
    struct Case {
        const char* name;
        QString answer;
        QString cleaned;
    } cases[] = {
        {"plain object", R"({"a":1})", R"({"a":1})"},
        {"surrounding whitespace", "\n\t  {\"a\":1}  \n", R"({"a":1})"},
        {"fence with a language tag", "```json\n{\"a\":1}\n```", R"({"a":1})"},
        {"fence, closing line indented", "```\n{\"a\":1}\n  \t```  ", R"({"a":1})"},
        {"fence without a closing line", "```json\n{\"a\":1}", R"({"a":1})"},
        {"fence with windows line ends", "```json\r\n{\"a\":1}\r\n```", R"({"a":1})"},
        {"several closing fence lines", "```\n{\"a\":1}\n```\n```", R"({"a":1})"},
        {"words around the object", "Here is the edit: {\"a\":{\"b\":2}} Hope it helps!", R"({"a":{"b":2}})"},
        {"fence and words", "```json\nSure! {\"a\":1} done\n```", R"({"a":1})"},
        {"no braces at all", "I cannot do that.", "I cannot do that."},
        {"an opening brace only", "{ broken", "{ broken"},
        {"a closing brace only", "broken }", "broken }"},
        {"last } before first {", "} nothing here {", "} nothing here {"},
        {"only a fence line", "```", ""},
        {"fenced text without an object", "```text\nno object here\n  ```\n```", "no object here"},
        {"a fence line in the middle stays", "```\nbefore\n```\nafter", "before\n```\nafter"},
        {"empty", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(cleanAnswerText(c.answer), c.cleaned);
    }
}

TEST(AnswerText, TextBlockOfTheBody) {
    struct Case {
        const char* name;
        QByteArray body;
        std::optional<QString> text;
    } cases[] = {
        {"one text block", R"({"content":[{"type":"text","text":"hi"}]})", QString("hi")},
        {"text block second",
         R"({"content":[{"type":"thinking","thinking":"hmm"},{"type":"text","text":"second"},{"type":"text","text":"third"}]})",
         QString("second")},
        {"first text block without text", R"({"content":[{"type":"text"},{"type":"text","text":"later"}]})",
         std::nullopt},
        {"text that is no string", R"({"content":[{"type":"text","text":5}]})", std::nullopt},
        {"a block that is no object", R"({"content":[{"type":"text","text":"hi"}, 3]})", std::nullopt},
        {"no text block", R"({"content":[{"type":"tool_use"}]})", std::nullopt},
        {"content no array", R"({"content":"hi"})", std::nullopt},
        {"no content", R"({"type":"message"})", std::nullopt},
        {"top-level array", R"([{"type":"text","text":"hi"}])", std::nullopt},
        {"not JSON", "<html>busy</html>", std::nullopt},
        {"empty", "", std::nullopt},
        {"invalid UTF-8 inside a string", "{\"content\":[{\"type\":\"text\",\"text\":\"\xff\"}]}",
         std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(answerTextFromBody(c.body), c.text);
    }
}

TEST(AnswerText, CharactersAreWhatAReaderSees) {
    const QString flag = QString::fromUtf8("🇪🇸");
    const QString accent = QString::fromUtf8("e\u0301"); // e + combining acute
    EXPECT_EQ(characterCount(flag + accent + "ab"), 4);
    EXPECT_EQ(prefixCharacters(flag + accent + "ab", 2), flag + accent);
    EXPECT_EQ(prefixCharacters("abc", 10), "abc");
    EXPECT_EQ(prefixCharacters("abc", 0), "");
    EXPECT_EQ(characterCount(""), 0);
}

TEST(AnswerText, FixedFormatsRoundLikeC) {
    struct Case {
        double value;
        int decimals;
        const char* text;
    } cases[] = {
        {0.25, 1, "0.2"},     {84.25, 1, "84.2"}, {2.5, 0, "2"},       {3.5, 0, "4"},
        {12.75, 1, "12.8"},   {-0.04, 1, "-0.0"}, {1812.0, 0, "1812"}, {1e20, 0, "100000000000000000000"},
        {INFINITY, 1, "inf"}, {NAN, 0, "nan"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(formatFixed(c.value, c.decimals), QString(c.text));
    }
}

namespace {

MiningResults parsed(const char* text) {
    auto r = tryManualParse(QString::fromUtf8(text));
    EXPECT_TRUE(r) << text;
    return r.value_or(MiningResults());
}

} // namespace

TEST(ManualParse, DocumentsThatYieldNothing) {
    const char* cases[] = {
        "",
        "not json",
        R"({"segments":[{"startTime":1,"endTime":2}])",     // broken JSON is not rescued
        R"([{"startTime":1,"endTime":2}])",                 // top-level array
        R"({"moments":[{"startTime":1,"endTime":2}]})",     // no segments
        R"({"segments":{"startTime":1,"endTime":2}})",      // segments not a list
        R"({"segments":[{"startTime":1,"endTime":2}, 7]})", // a list that is not all objects
        R"({"segments":[{"startTime":1},{"endTime":2},{"startTime":"1","endTime":2}]})",
        R"({"segments":[]})",
    };
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(tryManualParse(QString::fromUtf8(text)));
    }
}

TEST(ManualParse, SegmentFieldsAndDefaults) {
    const MiningResults r = parsed(R"({"segments":[
        {"startTime": 1},
        {"index": 7, "startTime": 10, "endTime": 20.5, "sourceClip": "a.wav", "transcript": "hola",
         "translation": "hello", "chapter": "One"},
        {"startTime": 30, "endTime": 40},
        {"index": 3.5, "startTime": 40, "endTime": 41, "translation": 12, "chapter": null},
        {"index": 3.0, "startTime": 50, "endTime": 52, "sourceClip": 4, "chapter": 9}
    ]})");
    const QList<StorySegment> expected{
        {7, 10, 20.5, "a.wav", "hola", "hello", QString("One")},
        {2, 30, 40, "source", "", "", std::nullopt}, // third in the array, after one skipped
        {3, 40, 41, "source", "", "", std::nullopt}, // 3.5 is no integer: its position
        {3, 50, 52, "source", "", "", std::nullopt}, // 3.0 is
    };
    EXPECT_EQ(r.segments, expected);
}

TEST(ManualParse, StructureSubtitlesAndDurations) {
    struct Case {
        const char* name;
        const char* text;
        QList<Act> acts;
        double total;
        QList<Subtitle> subtitles;
        double estimated;
    } cases[] = {
        {"no structure, no subtitles",
         R"({"segments":[{"startTime":0,"endTime":10},{"startTime":20,"endTime":25}]})",
         {},
         15,
         {},
         15},
        {"answer's totalDuration ignored, estimatedDuration kept",
         R"({"segments":[{"startTime":0,"endTime":10}],"structure":{"acts":[],"totalDuration":99},
             "estimatedDuration":120})",
         {},
         10,
         {},
         120},
        {"estimatedDuration as a string",
         R"({"segments":[{"startTime":0,"endTime":10}],"estimatedDuration":"120"})",
         {},
         10,
         {},
         10},
        {"acts with defaults, numbers not checked",
         R"({"segments":[{"startTime":0,"endTime":10}],"structure":{"acts":[
             {"name":"Act 1","segments":[0,1,99]},{"segments":[2]},{"name":"Act 3"},
             {"name":5,"segments":[1,2.5]},{"name":"Act 5","segments":[1.0]}]}})",
         {{"Act 1", {0, 1, 99}}, {"Untitled", {2}}, {"Act 3", {}}, {"Untitled", {}}, {"Act 5", {1}}},
         10,
         {},
         10},
        {"acts list that is not all objects",
         R"({"segments":[{"startTime":0,"endTime":10}],"structure":{"acts":[{"name":"A"},"B"]}})",
         {},
         10,
         {},
         10},
        {"structure that is no object",
         R"({"segments":[{"startTime":0,"endTime":10}],"structure":[{"acts":[{"name":"A"}]}]})",
         {},
         10,
         {},
         10},
        {"subtitles missing a field are dropped",
         R"({"segments":[{"startTime":0,"endTime":10}],"subtitles":[
             {"text":"no times"},{"startTime":1,"endTime":2,"text":"kept"},{"startTime":1,"endTime":2},
             {"startTime":3,"endTime":"4","text":"bad end"},{"startTime":5,"endTime":6,"text":"also kept"}]})",
         {},
         10,
         {{1, 2, "kept"}, {5, 6, "also kept"}},
         10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const MiningResults r = parsed(c.text);
        EXPECT_EQ(r.structure.acts, c.acts);
        EXPECT_EQ(r.structure.totalDuration, c.total);
        EXPECT_EQ(r.subtitles, c.subtitles);
        EXPECT_EQ(r.estimatedDuration, c.estimated);
    }
}

TEST(DecodeError, NamesWhereTheDocumentAndTheRecordPartWays) {
    struct Case {
        const char* text;
        const char* reason;
    } cases[] = {
        {"nope", "The data isn't valid JSON (at byte 2)."},
        {R"({"segments":[)", "The data isn't valid JSON (at byte 14)."},
        {"[]", "Expected an object at the top level, found a list."},
        {R"({"structure":{"acts":[],"totalDuration":1},"subtitles":[],"estimatedDuration":1})",
         "No value at \"segments\"."},
        {R"({"segments":[{"index":0,"startTime":1,"endTime":2,"sourceClip":"s","transcript":"t","translation":"u"},
                        {"index":1.5,"startTime":1,"endTime":2,"sourceClip":"s","transcript":"t","translation":"u"}],
            "structure":{"acts":[],"totalDuration":1},"subtitles":[],"estimatedDuration":1})",
         "Expected a whole number at \"segments[1].index\", found the number 1.5."},
        {R"({"segments":[],"structure":{"acts":[{"name":"A","segments":["x"]}],"totalDuration":1},"subtitles":[],
            "estimatedDuration":1})",
         "Expected a whole number at \"structure.acts[0].segments[0]\", found a string."},
        {R"({"segments":[{"index":0,"startTime":1,"endTime":2,"sourceClip":"s","transcript":"t","translation":"u",
            "chapter":3}],"structure":{"acts":[],"totalDuration":1},"subtitles":[],"estimatedDuration":1})",
         "Expected a string at \"segments[0].chapter\", found the number 3."},
        {R"({"segments":[],"structure":{"acts":[],"totalDuration":1},"subtitles":null,"estimatedDuration":1})",
         "No value at \"subtitles\"."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto decoded = decodeExplained<MiningResults>(QByteArray(c.text));
        ASSERT_TRUE(std::holds_alternative<QString>(decoded));
        EXPECT_EQ(std::get<QString>(decoded), QString(c.reason));
    }
    const auto good = decodeExplained<MiningResults>(QByteArray(
        R"({"segments":[],"structure":{"acts":[],"totalDuration":1},"subtitles":[],"estimatedDuration":2})"));
    ASSERT_TRUE(std::holds_alternative<MiningResults>(good));
    EXPECT_EQ(std::get<MiningResults>(good).estimatedDuration, 2);
}
