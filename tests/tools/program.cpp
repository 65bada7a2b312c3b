#include "tools/program.h"

#include "tools/audio_files.h"
#include "util/temp_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#if !defined(_WIN32)
#include <sys/wait.h>
#endif

namespace sorvane::test {

namespace {

int exitCodeOf(int status) {
#if defined(_WIN32)
    return status;
#else
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
#endif
}

} // namespace

bool ProgramResult::hasOneLineOfErrors() const {
    return errors.rfind("sorvane: ", 0) == 0 && errors.find('\n') == errors.size() - 1;
}

const std::string noiseGate = std::string(SORVANE_MODELS_DIR) + "/noise-gate-48k.model";

ProgramResult runShell(const std::string& command) {
    const TempFile output;
    const TempFile errors;
    const std::string line = command + " > \"" + output.path() + "\" 2> \"" + errors.path() + "\"";
    ProgramResult result;
    result.exitCode = exitCodeOf(std::system(line.c_str()));
    result.output = readText(output.path());
    result.errors = readText(errors.path());
    return result;
}

ProgramResult runProgram(const std::vector<std::string>& arguments) {
    std::string command = "\"" SORVANE_PROGRAM "\"";
    for (const std::string& argument : arguments)
        command += " \"" + argument + "\"";
    return runShell(command);
}

ProgramResult runProcess(const std::string& model, const std::vector<std::string>& files,
                         const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"process", model};
    arguments.insert(arguments.end(), files.begin(), files.end());
    arguments.insert(arguments.end(), options.begin(), options.end());
    ProgramResult result = runProgram(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result;
}

TempFolder::TempFolder() : m_path(TempFile("").path()) {
    std::filesystem::create_directory(m_path);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempFolder::contents() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path))
        names.insert(entry.path().filename().string());
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

} // namespace sorvane::test
