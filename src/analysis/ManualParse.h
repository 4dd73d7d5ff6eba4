#pragma once
// The second chance for an answer that is valid JSON of the wrong shape: read by hand what can be
// read and fill the rest with defaults, rather than lose a paid analysis.

#include "core/Records.h"

#include <QString>

#include <optional>

namespace ondrel {

// Absent for text that is not a JSON object, has no `segments` list of objects, or keeps no
// segment with both times. Never throws.
std::optional<MiningResults> tryManualParse(const QString& cleanedText);

} // namespace ondrel
