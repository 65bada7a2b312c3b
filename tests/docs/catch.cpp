// A block of docs/hosting.md, which stands beside this file when it is compiled.

#include "sorvane_engine.h"

#include <exception>

int fail(const char* message);

int start(const char* path, const float* const* channels, int numSamples) {
#include "catch.inc"
    return 0;
}
