#include "AnalysisSteps.h"

namespace ondrel {

void installAnalysisSteps(StepOperations& steps) { Q_UNUSED(steps); }

} // namespace ondrel
