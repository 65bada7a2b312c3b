#include "common/platform.h"

#include <system_error>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace sorvane::plugins::platform {

namespace {

/// An address inside this file's code.
const int anchor = 0;

std::filesystem::path modulePath() {
#if defined(_WIN32)
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&anchor), &module))
        return {};
    std::wstring name(32768, L'\0');
    name.resize(GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size())));
    return name;
#else
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr)
        return {};
    return info.dli_fname;
#endif
}

} // namespace

std::filesystem::path moduleFolder() {
    const std::filesystem::path path = modulePath();
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(path, error);
    return (error ? path : resolved).parent_path();
}

} // namespace sorvane::plugins::platform
