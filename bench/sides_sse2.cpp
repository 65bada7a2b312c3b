// Other ways to do what the vector layer does, compiled for SSE2.

// A name of its own, as in the vector layer's forms.
#define xsimd benchXsimdSse2

#include "support/vector/forms/lanes_sse2.h"

#include "flat_sides.h"

#include "function_sides.h"

constinit const sorvane::bench::OtherWays sorvane::bench::waysSse2 = makeWays("SSE2");
