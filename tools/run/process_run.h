#pragma once

#include "chain/process_options.h"
#include "console/console.h"
#include "run/output_plan.h"
#include "run/run_report.h"

#include <vector>

namespace sorvane::tools {

/// Runs all files, `jobs` at a time, and tells of failures as they come; a file that fails doesn't
/// stop the others. Returns a report for each. Raises ProgramError when the program is interrupted
/// and ProgramEnd when the reader of a pipe has gone.
std::vector<FileReport> runFiles(const std::vector<FilePlan>& plans, const ProcessOptions& options,
                                 int jobs, Console& console);

} // namespace sorvane::tools
