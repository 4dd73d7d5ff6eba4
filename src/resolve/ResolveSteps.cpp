#include "ResolveSteps.h"

namespace ondrel {

void installResolveSteps(StepOperations& steps) {
    Q_UNUSED(steps);
}

} // namespace ondrel
