#pragma once

#include "reference/real.h"
#include "util/model_file.h"

#include <vector>

// A second implementation of every layer, written to be obviously right: each frame of a stream is
// computed by its direct formula from all frames of the streams before it. No rings, no running
// sums, and nothing of when a frame comes out.
namespace sorvane::test {

struct Stream {
    int positions = 1;
    int channels = 1;
    std::vector<std::vector<Real>> frames{}; // channels fastest

    int length() const { return static_cast<int>(frames.size()); }
};

// What a fresh network makes of a whole stream.
Stream runReference(const ModelFile& file, const Stream& input);

// The longest delay from the input to any layer, in frames of the input.
int referenceLatency(const ModelFile& file);

} // namespace sorvane::test
