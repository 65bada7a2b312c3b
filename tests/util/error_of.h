#pragma once

#include <exception>
#include <string>

namespace sorvane::test {

// The text of the standard exception that a call raises, or "".
template <typename Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

} // namespace sorvane::test
