#include "platform.h"

#include "status.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <system_error>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace fs = std::filesystem;

namespace sorvane::host::platform {

namespace {

fs::path moduleOf(const void* address) {
#if defined(_WIN32)
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(address), &module))
        return {};
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())));
    return name;
#else
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr)
        return {};
    return info.dli_fname;
#endif
}

/// The descriptor of a file in memory, reachable as /proc/self/fd/N; -1 where there is none.
int makeNamelessFile() {
#if defined(__linux__) && defined(MFD_CLOEXEC)
    if (access("/proc/self/fd", X_OK) == 0)
        return memfd_create("sorvane-model", MFD_CLOEXEC);
#endif
    return -1;
}

std::string unusedName() {
    std::random_device random;
    char name[64];
    std::snprintf(name, sizeof name, "sorvane-%08x%08x.model", static_cast<unsigned>(random()),
                  static_cast<unsigned>(random()));
    return (fs::temp_directory_path() / name).string();
}

bool write(const std::string& path, const char* mode, const void* bytes, std::size_t size) {
    std::FILE* const file = std::fopen(path.c_str(), mode);
    if (file == nullptr)
        return false;
    const bool whole = std::fwrite(bytes, 1, size, file) == size;
    return std::fclose(file) == 0 && whole;
}

} // namespace

fs::path folderOf(const void* address) {
    const fs::path path = moduleOf(address);
    std::error_code error;
    const fs::path resolved = fs::canonical(path, error);
    return (error ? path : resolved).parent_path();
}

TemporaryFile::TemporaryFile(const void* bytes, std::size_t size) : descriptor(makeNamelessFile()) {
    const bool isNameless = descriptor >= 0;
    name = isNameless ? "/proc/self/fd/" + std::to_string(descriptor) : unusedName();
    if (write(name, isNameless ? "wb" : "wbx", bytes, size)) // x: an existing file isn't touched
        return;
    release();
    fail(SORVANE_HOST_NOT_FOUND, "can't write the model to a temporary file");
}

void TemporaryFile::release() const {
#if !defined(_WIN32)
    if (descriptor >= 0) {
        close(descriptor);
        return;
    }
#endif
    std::remove(name.c_str());
}

} // namespace sorvane::host::platform
