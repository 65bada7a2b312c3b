#pragma once

#include <cstring>
#include <type_traits>

namespace sorvane {

/// std::bit_cast, which some standard libraries still lack (emscripten 3.1), but not constexpr.
template <class To, class From>
To bitCast(const From& from) {
    static_assert(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> &&
                  std::is_trivially_copyable_v<From>);
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

} // namespace sorvane
