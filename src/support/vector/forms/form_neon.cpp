// The vector layer for every 64-bit Arm processor.

// A name of its own, as in the forms of other processors.
#define xsimd sorvaneXsimdNeon

#include "support/vector/forms/lanes_neon.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::neonKernels = makeKernels("NEON");
