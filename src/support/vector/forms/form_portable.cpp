// The vector layer in plain C++, for any processor.

#include "support/vector/forms/lanes_portable.h"

#include "support/vector/forms/make_kernels.h"

constinit const sorvane::vector::Kernels sorvane::vector::portableKernels = makeKernels("portable");
