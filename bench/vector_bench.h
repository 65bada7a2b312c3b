#pragma once

// Sides that loop over jobs of the vector layer.

#include "comparison.h"
#include "vector_sides.h"

#include "support/vector/dispatch.h"

#include <memory>
#include <string>

namespace sorvane::bench {

/// Rows of up to 1,025 complex values, with what they point to.
class RowBlocks {
public:
    /// Sources between the limits, `dst` of zeros.
    RowBlocks(int length, float low, float high, float value);
    const Rows& rows() const { return m_rows; }

private:
    std::shared_ptr<float> m_blocks[3];
    Rows m_rows;
};

/// A side that runs a loop over the rows, which it keeps.
Side side(std::string name, Loop loop, const RowBlocks& blocks);

/// The other ways for the form in use; null where this machine's sides know none.
const OtherWays* waysOfActiveForm();

} // namespace sorvane::bench
