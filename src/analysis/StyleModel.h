#pragma once
// The six style sliders as the Style page shows them, the named presets, and the plain text that
// describes a style choice to the model.

#include "core/Records.h"

#include <QList>
#include <QString>

#include <optional>

namespace ondrel {

struct SliderDefinition {
    QString id;
    QString label;
    QString low;
    QString high;
    double StyleSliders::*keyPath = nullptr; // the field this slider reads and writes
};

struct StylePreset {
    QString id;
    QString name;
    QString description;
    QString icon;
    StyleSliders sliders;
};

// Built once, on first use, in display order; they never change.
const QList<SliderDefinition>& SLIDER_DEFINITIONS();
const QList<StylePreset>& STYLE_PRESETS();

// The style text placed under "STYLE DIRECTION:" of the analysis prompt.
QString buildStylePrompt(const StyleSliders& sliders, const std::optional<QString>& presetId,
                         bool isMagicMode);

} // namespace ondrel
