#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sorvane::test {

struct ProgramResult {
    int exitCode = -1; // 128 + n for signal n
    std::string output;
    std::string errors;

    // True for exactly one line that begins with the program's name.
    bool hasOneLineOfErrors() const;
};

// Runs `sorvane` with the arguments, none of which may hold a quote.
ProgramResult runProgram(const std::vector<std::string>& arguments);

// Runs `sorvane process` on the files, which must succeed.
ProgramResult runProcess(const std::string& model, const std::vector<std::string>& files,
                         const std::vector<std::string>& options = {});

// Where the model that ships lies.
extern const std::string noiseGate;

// A command line for a shell, for what runProgram() can't do.
ProgramResult runShell(const std::string& command);

// An empty folder of its own, removed with all it holds.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string path(const std::string& name) const { return (m_path / name).string(); }

    // Names of what is there, sorted, separated by spaces.
    std::string contents() const;

private:
    std::filesystem::path m_path;
};

} // namespace sorvane::test
