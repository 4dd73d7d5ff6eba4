#include "MediaSteps.h"

namespace ondrel {

void installMediaSteps(StepOperations& steps) { Q_UNUSED(steps); }

} // namespace ondrel
