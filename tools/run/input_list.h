#pragma once

#include <string>
#include <vector>

namespace sorvane::tools {

/// An input, and where its output lies in the folder of outputs.
struct InputPath {
    InputPath(std::string filePath, std::string folderBelow = {})
        : path(std::move(filePath)), below(std::move(folderBelow)) {}

    std::string path;
    std::string below; ///< folders between the one that was named and the file, or empty
};

struct InputList {
    std::vector<InputPath> files;
    int numWithoutAudio = 0; ///< files of folders that were passed over
    bool hasFolder = false;
};

struct InputSearch {
    bool recursive = false;
    std::string outputFolder; ///< isn't searched, should it lie among the inputs; may be empty
    std::string ownSuffix;    ///< files that end so before their extension are outputs of old runs
};

/// The files that are named, and in their places those of the folders that are named, sorted. In a
/// folder the extension tells what may hold audio; hidden files are passed over. Raises ProgramError
/// with exitInput for a folder that can't be read or has no audio.
InputList findInputs(const std::vector<std::string>& paths, const InputSearch& search);

} // namespace sorvane::tools
