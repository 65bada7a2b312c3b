#include "status.h"

#include <algorithm>
#include <exception>
#include <new>
#include <string_view>

namespace sorvane::host {

namespace {

constexpr std::size_t longestText = 1023;
thread_local char text[longestText + 1] = "";

/// Of fixed size, for memory may be what is missing.
SorvaneHostStatus record(SorvaneHostStatus status, std::string_view message) noexcept {
    const std::size_t length = std::min(message.size(), longestText);
    std::copy_n(message.data(), length, text);
    text[length] = '\0';
    return status;
}

} // namespace

void require(bool condition, const char* message) {
    if (!condition)
        fail(SORVANE_HOST_BAD_ARGUMENT, message);
}

SorvaneHostStatus recordException() noexcept {
    try {
        throw;
    } catch (const Failure& failure) {
        return record(failure.status, failure.text);
    } catch (const std::bad_alloc&) {
        return record(SORVANE_HOST_NO_MEMORY, "there is not enough memory");
    } catch (const std::exception& exception) {
        return record(SORVANE_HOST_ENGINE, exception.what());
    } catch (...) {
        return record(SORVANE_HOST_ENGINE, "an exception of an unknown kind");
    }
}

const char* lastError() noexcept {
    return text;
}

} // namespace sorvane::host

const char* sorvaneHostStatusText(SorvaneHostStatus status) {
    switch (status) {
    case SORVANE_HOST_OK:
        return "no error";
    case SORVANE_HOST_BAD_ARGUMENT:
        return "a bad argument";
    case SORVANE_HOST_NOT_FOUND:
        return "no such model";
    case SORVANE_HOST_BAD_MODEL:
        return "not a valid model";
    case SORVANE_HOST_BAD_RATE:
        return "the model can't run with these channels at this rate";
    case SORVANE_HOST_NO_BUS:
        return "no such bus";
    case SORVANE_HOST_NO_MEMORY:
        return "not enough memory";
    case SORVANE_HOST_ENGINE:
        return "the engine failed";
    case SORVANE_HOST_NO_OUTPUT:
        return "the model gives no output, too little, or too late";
    }
    return "an unknown status";
}

const char* sorvaneHostLastError(void) {
    return sorvane::host::lastError();
}
