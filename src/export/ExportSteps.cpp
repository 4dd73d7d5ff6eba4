#include "ExportSteps.h"

namespace ondrel {

void installExportSteps(StepOperations& steps) { Q_UNUSED(steps); }

} // namespace ondrel
