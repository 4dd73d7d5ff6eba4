#include "StyleModel.h"

namespace ondrel {

const QList<SliderDefinition>& SLIDER_DEFINITIONS() {
    static const QList<SliderDefinition> definitions{
        {"pace", "Pace", "Meditative", "High Energy", &StyleSliders::pace},
        {"structure", "Structure", "Freeform", "Rigid", &StyleSliders::structure},
        {"emotion", "Emotion", "Reserved", "Raw", &StyleSliders::emotion},
        {"length", "Length", "Tight Cut", "Extended", &StyleSliders::length},
        {"boldness", "Boldness", "Conservative", "Bold", &StyleSliders::boldness},
        {"silence", "Silence", "Fill", "Breathe", &StyleSliders::silence},
    };
    return definitions;
}

const QList<StylePreset>& STYLE_PRESETS() {
    static const QList<StylePreset> presets{
        {"cinema-verite",
         QStringLiteral("Cinéma Vérité"),
         "Observational, long takes, raw emotion",
         "eye",
         {0.2, 0.15, 0.8, 0.8, 0.4, 0.85}},
        {"corporate",
         "Corporate",
         "Tight, message-driven, clear arc",
         "briefcase",
         {0.7, 0.9, 0.3, 0.25, 0.1, 0.2}},
        {"wanderlin",
         "Wanderlin",
         "Experiential, curious, builds to intimacy",
         "fork.knife",
         {0.4, 0.6, 0.7, 0.65, 0.5, 0.6}},
        {"campfire", "Campfire", "Meditative, slow burn, poetic", "flame", {0.15, 0.3, 0.6, 0.9, 0.2, 0.9}},
        {"sizzle", "Sizzle", "Fast, high energy, best moments", "bolt", {0.95, 0.7, 0.85, 0.1, 0.7, 0.05}},
        {"essay",
         "Essay Film",
         "Intellectual, layered, thesis-driven",
         "text.book.closed",
         {0.35, 0.75, 0.4, 0.7, 0.6, 0.5}},
        {"outdoor",
         "Outdoor",
         "Energetic but grounded, sense of place",
         "mountain.2",
         {0.55, 0.5, 0.6, 0.5, 0.4, 0.7}},
        {"portrait",
         "Portrait",
         "Character-first, intimate deep dive",
         "person.crop.circle",
         {0.3, 0.45, 0.75, 0.7, 0.3, 0.65}},
    };
    return presets;
}

namespace {

// 0.3 and 0.7 themselves are middle values, for every slider alike.
QString phrase(double value, const char* low, const char* middle, const char* high) {
    if (value < 0.3)
        return QString::fromUtf8(low);
    if (value > 0.7)
        return QString::fromUtf8(high);
    return QString::fromUtf8(middle);
}

} // namespace

QString buildStylePrompt(const StyleSliders& sliders, const std::optional<QString>& presetId,
                         bool isMagicMode) {
    if (isMagicMode)
        return QStringLiteral(
            "MAGIC MODE: Listen to the content and decide the best style yourself. Match the "
            "tone of the speaker and subject matter. Explain your style choice in the results.");

    QStringList lines;
    if (presetId) {
        for (const StylePreset& preset : STYLE_PRESETS()) {
            if (preset.id == *presetId) {
                lines << QStringLiteral("Base style: %1 — %2").arg(preset.name, preset.description);
                break;
            }
        }
    }
    // The phrases always follow the sliders as they stand, not the preset's own values.
    lines << phrase(sliders.pace, "Meditative, slow", "Moderate pace", "Fast-paced, energetic");
    lines << phrase(sliders.structure, "Loose, freeform", "Balanced structure", "Rigid, structured");
    lines << phrase(sliders.emotion, "Reserved, understated", "Moderate emotion", "Raw, emotional");
    lines << phrase(sliders.length, "Tight cuts, short segments", "Medium length segments",
                    "Extended, breathing room");
    lines << phrase(sliders.boldness, "Conservative, safe choices", "Moderate boldness",
                    "Bold, unexpected choices");
    lines << phrase(sliders.silence, "Fill gaps, keep moving", "Balanced silence",
                    "Let it breathe, embrace silence");
    return lines.join(QLatin1Char('\n'));
}

} // namespace ondrel
