// The vector layer in plain C++, for any processor.

#include "support/vector/lanes_portable.h"

#include "support/vector/kernels_table.h"

constinit const sorvane::vector::Kernels sorvane::vector::portableKernels = makeKernels("portable");
