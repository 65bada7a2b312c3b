#pragma once

#include <cstdint>
#include <span>

// What the fuzzer feeds with bytes, and a test with those that once did harm. Both raise nothing:
// harm shows as a crash, as a finding of a sanitizer, or as an exception of no standard kind.
namespace sorvane::test {

using Bytes = std::span<const std::uint8_t>;

/// Loads the bytes as a model file from memory.
void fuzzLoader(Bytes data);

/// Writes the bytes to a file and runs a processor and a model of it through every exported
/// function. The last bytes, which a loader takes no notice of where they follow a whole network,
/// choose the calls and their arguments.
void fuzzInterface(Bytes data);

} // namespace sorvane::test
