#pragma once

#include "chain/process_options.h"
#include "console/console.h"
#include "run/output_plan.h"
#include "run/run_report.h"

namespace sorvane::tools {

/// Makes the outputs of one input. None of them gets its name before all are whole. Memory is that
/// of a few blocks whatever the length. Raises ProgramError, and ProgramEnd when the reader of a pipe
/// has gone.
FileReport runFile(const FilePlan& plan, const ProcessOptions& options, Console& console);

} // namespace sorvane::tools
