// The vector layer for every 64-bit Arm processor.

// A name of its own, as in the forms of other processors.
#define xsimd sorvaneXsimdNeon

#include "support/vector/lanes_neon.h"

#include "support/vector/kernels_table.h"

constinit const sorvane::vector::Kernels sorvane::vector::neonKernels = makeKernels("NEON");
