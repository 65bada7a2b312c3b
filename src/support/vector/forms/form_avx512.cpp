// The vector layer for processors with AVX-512. Only this file is compiled for them.

// A name of its own, so that the linker doesn't merge the library's inline functions with those
// that other files compile for other instruction sets.
#define xsimd sorvaneXsimdAvx512

#include "support/vector/forms/lanes_avx512.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::avx512Kernels = makeKernels("AVX-512");
