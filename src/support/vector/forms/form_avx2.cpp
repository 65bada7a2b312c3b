// The vector layer for processors with AVX2 and FMA. Only this file is compiled for them.

// A name of its own, so that the linker doesn't merge the library's inline functions with those
// that other files compile for other instruction sets.
#define xsimd sorvaneXsimdAvx2

#include "support/vector/forms/lanes_avx2.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::avx2Kernels = makeKernels("AVX2");
