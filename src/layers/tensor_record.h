#pragma once

#include "audio/tensor.h"
#include "layers/record_reader.h"

#include <cstdint>

namespace sorvane {

/// Reads a tensor record; 16-bit weights are widened. A shape whose product isn't positive has no data
/// and no buffer; one of an unknown storage has no data and holds zeros. Errors: those of the reader;
/// std::length_error for more than 2 GiB; std::bad_alloc.
Tensor32 readTensor(RecordReader& reader);

/// Dimension `axis` of a tensor, 0 for one of no dimensions; std::out_of_range for one of too few.
int dimension(const Tensor32& tensor, std::size_t axis);

/// Widens a half float. Exponent 31 isn't special: the format has no infinities and no NaN, and
/// such words are finite numbers from 65536 upward.
float widenHalf(std::uint16_t half);

} // namespace sorvane
