#include "sound/partial_file.h"

#include "console/program_error.h"
#include "console/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

constexpr int mostNumbers = 10000;

const char* const prefix = ".sorvane-";
const char* const suffix = ".part";

[[noreturn]] void fail(const std::string& target, const std::string& reason) {
    throw ProgramError(exitOutput, "can't write " + inQuotes(target) + ": " + reason);
}

} // namespace

PartialFile::PartialFile(std::string targetPath) : target(std::move(targetPath)) {
    // The name is short, since that of the target may have the greatest length that there is.
    const fs::path folder = fs::path(target).parent_path();
    for (int number = 0; number < mostNumbers; ++number) {
        std::string path = (folder / (prefix + std::to_string(number) + suffix)).string();
        // Mode x refuses a file that is there, so that two runs can't share a temporary file.
        std::FILE* file = std::fopen(path.c_str(), "wbx");
        if (file == nullptr && errno != EEXIST)
            break;
        if (file == nullptr)
            continue;
        std::fclose(file);
        if (lock.take(path)) {
            temporary = std::move(path);
            return;
        }
    }
    fail(target, std::strerror(errno));
}

PartialFile::~PartialFile() {
    std::error_code ignored;
    if (!temporary.empty())
        fs::remove(temporary, ignored);
}

void PartialFile::commit() {
    std::error_code error;
    const fs::file_status before = fs::status(target, error);
    if (fs::exists(before))
        fs::permissions(temporary, before.permissions(), error);
    fs::rename(temporary, target, error);
    if (error)
        fail(target, error.message());
    temporary.clear();
}

void removeLeftOvers(const std::string& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end;
         !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.rfind(prefix, 0) != 0 || entry->path().extension() != suffix)
            continue;
        platform::FileLock lock;
        if (lock.take(entry->path().string())) {
            std::error_code ignored;
            fs::remove(entry->path(), ignored);
        }
    }
}

} // namespace sorvane::tools
