// The vector layer for WebAssembly with 128-bit SIMD.

#include "support/vector/forms/lanes_wasm.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::wasmKernels = makeKernels("WebAssembly");
