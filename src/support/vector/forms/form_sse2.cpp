// The vector layer for every x86-64 processor.

// A name of its own, so that the linker doesn't merge the library's inline functions with those
// that other files compile for other instruction sets.
#define xsimd sorvaneXsimdSse2

#include "support/vector/forms/lanes_sse2.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::sse2Kernels = makeKernels("SSE2");
