// Other ways to do what the vector layer does, compiled for AVX2.

// A name of its own, as in the vector layer's forms.
#define xsimd benchXsimdAvx2

#include "support/vector/forms/lanes_avx2.h"

#include "flat_sides.h"

#include "function_sides.h"

constinit const sorvane::bench::OtherWays sorvane::bench::waysAvx2 = makeWays("AVX2");
