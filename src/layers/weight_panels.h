#pragma once

#include "audio/tensor.h"

#include <cstdint>

namespace sorvane {

// Weights in the order in which the vector layer's compound operations read them: panels (see
// ipps_compound.h), which take the place of the file's order when a layer is built. Weights that
// don't fill the matrix, or a matrix without elements, stay as they are and give false: no layer
// computes with them. std::bad_alloc without memory.

/// Brings a matrix of weights that stands row by row into panels and stores their width.
bool packRows(Tensor32& weights, std::int64_t rows, int columns, int& panelWidth);

/// The same for kernels that each stand column by column, [kernels][columns][rows]. The panels are
/// those of one matrix with the rows of all kernels one below the other.
bool packColumns(Tensor32& weights, std::int64_t kernels, int columns, int rows, int& panelWidth);

/// Take a packed matrix (of one kernel) back to the file's order, for which the panel width is 0.
void unpackRows(Tensor32& weights, int rows, int columns, int& panelWidth);
void unpackColumns(Tensor32& weights, int columns, int rows, int& panelWidth);

} // namespace sorvane
