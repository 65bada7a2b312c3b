// A block of docs/hosting.md, which stands beside this file when it is compiled.

#include "sorvane_engine.h"

int latencyOf(void* engine) {
#include "latency.inc"
    return latency;
}
