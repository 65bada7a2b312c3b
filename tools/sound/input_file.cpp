#include "sound/input_file.h"

#include "console/program_error.h"
#include "console/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace sorvane::tools {

void requireReadable(const std::string& path) {
    const auto fail = [&](const std::string& reason) {
        throw ProgramError(exitInput, "can't read " + inQuotes(path) + ": " + reason);
    };
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (error)
        fail(error.message());
    if (std::filesystem::is_directory(status))
        fail("it is a directory");
    if (!std::filesystem::is_regular_file(status))
        return;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        fail(std::strerror(errno));
    else
        std::fclose(file);
}

} // namespace sorvane::tools
