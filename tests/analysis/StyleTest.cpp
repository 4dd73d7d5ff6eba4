// The style text: which phrase each slider position gives, the preset line, Magic Mode.
#include "analysis/StyleModel.h"

#include <gtest/gtest.h>

using namespace ondrel;

namespace {

const QString middleSix = "Moderate pace\nBalanced structure\nModerate emotion\nMedium length segments\n"
                          "Moderate boldness\nBalanced silence";

StyleSliders allAt(double v) {
    return {v, v, v, v, v, v};
}

} // namespace

TEST(StylePrompt, PhrasesPresetAndMagicMode) {
    struct Case {
        const char* name;
        StyleSliders sliders;
        std::optional<QString> preset;
        bool magic;
        QString expected;
    } cases[] = {
        {"defaults, no preset", {}, std::nullopt, false, middleSix},
        {"unknown preset adds no line", {}, QString("noir"), false, middleSix},
        {"empty preset is an unknown one", {}, QString(""), false, middleSix},
        {"preset ids match exactly", {}, QString("Corporate"), false, middleSix},
        {"0.3 is a middle value", allAt(0.3), std::nullopt, false, middleSix},
        {"0.7 is a middle value", allAt(0.7), std::nullopt, false, middleSix},
        {"just below 0.3", allAt(0.29999), std::nullopt, false,
         "Meditative, slow\nLoose, freeform\nReserved, understated\nTight cuts, short segments\n"
         "Conservative, safe choices\nFill gaps, keep moving"},
        {"just above 0.7", allAt(0.70001), std::nullopt, false,
         "Fast-paced, energetic\nRigid, structured\nRaw, emotional\nExtended, breathing room\n"
         "Bold, unexpected choices\nLet it breathe, embrace silence"},
        {"each slider decides its own line",
         {0.0, 1.0, 0.5, 0.1, 0.9, 0.5},
         std::nullopt,
         false,
         "Meditative, slow\nRigid, structured\nModerate emotion\nTight cuts, short segments\n"
         "Bold, unexpected choices\nBalanced silence"},
        {"preset with its own sliders",
         {0.7, 0.9, 0.3, 0.25, 0.1, 0.2},
         QString("corporate"),
         false,
         "Base style: Corporate — Tight, message-driven, clear arc\nModerate pace\nRigid, structured\n"
         "Moderate emotion\nTight cuts, short segments\nConservative, safe choices\nFill gaps, keep moving"},
        {"preset line names the preset, phrases follow the moved sliders", allAt(0.95),
         QString("cinema-verite"), false,
         "Base style: Cinéma Vérité — Observational, long takes, raw emotion\nFast-paced, energetic\n"
         "Rigid, structured\nRaw, emotional\nExtended, breathing room\nBold, unexpected choices\n"
         "Let it breathe, embrace silence"},
        {"magic mode ignores everything else", allAt(1.0), QString("sizzle"), true,
         "MAGIC MODE: Listen to the content and decide the best style yourself. Match the tone of the "
         "speaker and "
         "subject matter. Explain your style choice in the results."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(buildStylePrompt(c.sliders, c.preset, c.magic), c.expected);
    }
}

TEST(StylePrompt, EveryPresetIsFoundByItsId) {
    QStringList ids;
    for (const StylePreset& preset : STYLE_PRESETS()) {
        ids << preset.id;
        const QString text = buildStylePrompt({}, preset.id, false);
        EXPECT_TRUE(text.startsWith("Base style: " + preset.name + " — " + preset.description + "\n"))
            << text.toStdString();
    }
    EXPECT_EQ(ids, QStringList({"cinema-verite", "corporate", "wanderlin", "campfire", "sizzle", "essay",
                                "outdoor", "portrait"}));
}

TEST(StyleModel, EachSliderWritesTheFieldNamedByItsId) {
    QStringList order;
    for (const SliderDefinition& def : SLIDER_DEFINITIONS()) {
        order << def.id;
        StyleSliders sliders = allAt(0.0);
        sliders.*def.keyPath = 0.75;
        const Json json = toJson(sliders);
        for (const auto& [key, value] : json.items()) {
            SCOPED_TRACE(key);
            EXPECT_EQ(value.get<double>(), key == def.id.toStdString() ? 0.75 : 0.0);
        }
    }
    EXPECT_EQ(order, QStringList({"pace", "structure", "emotion", "length", "boldness", "silence"}));
}
