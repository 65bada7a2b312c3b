// Other ways to do what the vector layer does, compiled for AVX-512.

// A name of its own, as in the vector layer's forms.
#define xsimd benchXsimdAvx512

#include "support/vector/forms/lanes_avx512.h"

#include "flat_sides.h"

#include "function_sides.h"

constinit const sorvane::bench::OtherWays sorvane::bench::waysAvx512 = makeWays("AVX-512");
