#pragma once

#include "chain/process_options.h"
#include "run/input_list.h"

#include <string>
#include <vector>

namespace sorvane::tools {

/// An input and the files that are made of it.
struct FilePlan {
    std::string input;
    std::vector<OutputPlan> outputs;
};

/// How the outputs in a folder are called.
struct NamingRules {
    std::string folder; ///< empty for the input's own
    /// A file name with {input}, the input's without its extension, {bus} and {ext}; empty for
    /// "{input}.{ext}", or "{input}.{bus}.{ext}" with stems.
    std::string pattern;
    std::string
        extension; ///< {ext}; empty for the input's, or wav where no such file can be written
    std::vector<int> stems;      ///< a file for each, or one file for none
    std::string mixName = "mix"; ///< {bus} without stems
};

/// The outputs of all inputs, none of which has the path of another: equal names get a number,
/// "name-2.wav". Names of busses come from a file that anyone may have made, and become plain
/// characters. Raises ProgramError with exitUsage for a pattern that gives no file name.
std::vector<FilePlan> planOutputs(const std::vector<InputPath>& inputs, const NamingRules& rules,
                                  const std::vector<std::string>& busNames);

/// `busName` fit to be a part of a file name on every system: letters, digits, spaces and "._-",
/// neither a dot, dash or space at its ends nor the name of a device.
std::string fileNameOfBus(const std::string& busName);

/// Takes out those inputs whose outputs are all there; returns how many.
int removeDone(std::vector<FilePlan>& plans);

/// Refuses, with exitUsage, to write onto an input or the model, and onto any other file that is
/// there unless `force` is set.
void requireWritable(const std::vector<FilePlan>& plans, const std::string& model, bool force);

} // namespace sorvane::tools
