#include "console/platform.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>

namespace fs = std::filesystem;

namespace sorvane::tools::platform {

namespace {

#if defined(_WIN32)
constexpr char pathSeparator = ';';
const char* const programSuffix = ".exe";
#else
constexpr char pathSeparator = ':';
const char* const programSuffix = "";
#endif

bool isProgram(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    constexpr fs::perms runs =
        fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    return fs::is_regular_file(status) && (status.permissions() & runs) != fs::perms::none;
}

/// Held while a program is started, so that it doesn't inherit another one's pipe.
std::mutex starting;

} // namespace

std::string findProgram(const std::string& name) {
    const char* folders = std::getenv("PATH");
    const std::string list = folders == nullptr ? "" : folders;
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find(pathSeparator, begin), list.size());
        const fs::path path = fs::path(list.substr(begin, end - begin)) / (name + programSuffix);
        if (isProgram(path))
            return path.string();
        begin = end + 1;
    }
    return {};
}

std::string ChildProcess::messages() const {
    std::string text;
    if (errors == nullptr)
        return text;
    std::rewind(errors);
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, errors))
        text.append(buffer, count);
    return text;
}

} // namespace sorvane::tools::platform

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
// The order of these matters.
#include <fcntl.h>
#include <io.h>

namespace sorvane::tools::platform {

namespace {

[[noreturn]] void fail() {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
}

/// As the C library of the other program takes its command line apart.
std::string quoted(const std::string& word) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char character : word) {
        if (character == '"')
            text.append(backslashes + 1, '\\');
        backslashes = character == '\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, '\\') + "\"";
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, Pipe pipe) {
    const std::lock_guard lock(starting);
    std::string line;
    for (const std::string& word : command)
        line += (line.empty() ? "" : " ") + quoted(word);
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherited, 1 << 16))
        fail();
    const bool isInput = pipe == Pipe::toItsInput;
    HANDLE ours = isInput ? writeEnd : readEnd;
    HANDLE its = isInput ? readEnd : writeEnd;
    SetHandleInformation(ours, HANDLE_FLAG_INHERIT, 0);
    HANDLE nothing =
        CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    &inherited, OPEN_EXISTING, 0, nullptr);
    errors = std::tmpfile();
    HANDLE itsErrors = nothing;
    if (errors != nullptr) {
        itsErrors = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(errors)));
        SetHandleInformation(itsErrors, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = isInput ? its : nothing;
    startup.hStdOutput = isInput ? nothing : its;
    startup.hStdError = itsErrors;
    PROCESS_INFORMATION information{};
    const BOOL started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &startup, &information);
    CloseHandle(its);
    CloseHandle(nothing);
    if (!started) {
        CloseHandle(ours);
        if (errors != nullptr)
            std::fclose(errors);
        fail();
    }
    CloseHandle(information.hThread);
    process = reinterpret_cast<std::intptr_t>(information.hProcess);
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(ours), _O_BINARY);
    pipeStream = _fdopen(descriptor, isInput ? "wb" : "rb");
}

int ChildProcess::wait() {
    if (pipeStream != nullptr)
        std::fclose(pipeStream);
    pipeStream = nullptr;
    if (process == -1)
        return 0;
    HANDLE handle = reinterpret_cast<HANDLE>(process);
    process = -1;
    WaitForSingleObject(handle, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(handle, &code);
    CloseHandle(handle);
    return static_cast<int>(code);
}

ChildProcess::~ChildProcess() {
    if (process != -1)
        TerminateProcess(reinterpret_cast<HANDLE>(process), 1);
    wait();
    if (errors != nullptr)
        std::fclose(errors);
}

} // namespace sorvane::tools::platform

#else

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace sorvane::tools::platform {

ChildProcess::ChildProcess(const std::vector<std::string>& command, Pipe pipe) {
    const std::lock_guard lock(starting);
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category());
    for (const int end : ends)
        fcntl(end, F_SETFD, FD_CLOEXEC);
    const bool isInput = pipe == Pipe::toItsInput;
    const int ours = ends[isInput ? 1 : 0];
    const int its = ends[isInput ? 0 : 1];
    errors = std::tmpfile();

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, its, isInput ? STDIN_FILENO : STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, isInput ? STDOUT_FILENO : STDIN_FILENO, "/dev/null",
                                     O_RDWR, 0);
    if (errors != nullptr)
        posix_spawn_file_actions_adddup2(&actions, fileno(errors), STDERR_FILENO);
    std::vector<char*> words;
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    pid_t id = -1;
    const int error =
        posix_spawn(&id, command.front().c_str(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(its);
    if (error != 0) {
        close(ours);
        if (errors != nullptr)
            std::fclose(errors);
        throw std::system_error(error, std::generic_category());
    }
    process = id;
    pipeStream = fdopen(ours, isInput ? "wb" : "rb");
}

int ChildProcess::wait() {
    if (pipeStream != nullptr)
        std::fclose(pipeStream);
    pipeStream = nullptr;
    if (process == -1)
        return 0;
    int status = 0;
    while (waitpid(static_cast<pid_t>(process), &status, 0) < 0 && errno == EINTR) {
    }
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

ChildProcess::~ChildProcess() {
    if (process != -1)
        kill(static_cast<pid_t>(process), SIGTERM);
    wait();
    if (errors != nullptr)
        std::fclose(errors);
}

} // namespace sorvane::tools::platform

#endif
