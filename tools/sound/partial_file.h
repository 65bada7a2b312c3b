#pragma once

#include "console/platform.h"

#include <string>

namespace sorvane::tools {

/// A file that is written under a temporary name beside its target: commit() gives it the target's
/// name, the destructor removes it. What a killed run has left is recognised by its lost lock.
///
/// Failures raise ProgramError with exitOutput.
class PartialFile {
public:
    /// Creates an empty file.
    explicit PartialFile(std::string targetPath);
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile();

    /// Where to write to, until commit().
    [[nodiscard]] const std::string& path() const { return temporary; }

    /// Replaces the target, whose permissions stay. The file must have been closed.
    void commit();

private:
    std::string target;
    std::string temporary;
    platform::FileLock lock;
};

/// Removes the temporary files of killed runs from a folder.
void removeLeftOvers(const std::string& folder);

} // namespace sorvane::tools
