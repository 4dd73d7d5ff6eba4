#pragma once
// The media and transcription steps of a run, and what the screens need of this subsystem.
#include "core/LocalPipeline.h"

#include "media/AudioExtraction.h"
#include "media/MediaProbe.h"
#include "media/TranscriptCache.h"
#include "media/Transcription.h"

namespace ondrel {

// Plugs this subsystem's step operations into a pipeline.
void installMediaSteps(StepOperations& steps);

} // namespace ondrel
