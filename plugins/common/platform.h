#pragma once

#include <filesystem>

/// What the plug-ins need of the operating system; each system's way is in platform.cpp.
namespace sorvane::plugins::platform {

/// Between the folders of a list in an environment variable.
#if defined(_WIN32)
constexpr char listSeparator = ';';
#else
constexpr char listSeparator = ':';
#endif

/// The folder of the file that this code was loaded from, links resolved; empty where the system
/// can't tell. Raises std::bad_alloc only.
std::filesystem::path moduleFolder();

} // namespace sorvane::plugins::platform
