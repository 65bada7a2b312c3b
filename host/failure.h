#pragma once

#include "sorvane_host.h"

#include <string>
#include <utility>

namespace sorvane::host {

/// What becomes of a call that fails: its status, and a sentence for people.
struct Failure {
    SorvaneHostStatus status;
    std::string text;
};

[[noreturn]] inline void fail(SorvaneHostStatus status, std::string text) {
    throw Failure{status, std::move(text)};
}

} // namespace sorvane::host
