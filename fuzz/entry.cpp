// The fuzzer's entry; SORVANE_FUZZ_TARGET is one of the functions of targets.h.

#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    sorvane::test::SORVANE_FUZZ_TARGET({data, size});
    return 0;
}
