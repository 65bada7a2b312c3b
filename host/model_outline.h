#pragma once

#include "record_cursor.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace sorvane::host {

/// What stands before the layers in a model file; docs/model-format.md tells the fields.
struct ModelHeader {
    int version = 0;
    std::string modelTag;
    int modelId = -1;
    std::string modelNote;
    double sampleRate = 0.0; // Hz
    int numInputChannels = 0;
    int inputPacking = 0;
    int numOutputChannels = 0;
    int outputPacking = 0;
    int numMasks = 0;
    std::vector<std::string> outputNames; // of the busses; the last is what the masks leave over
    int outputMode = 0;                   // 0: masks; otherwise spectra of stems
    int fftLength = 0;                    // samples at sampleRate, as the two below
    int frameLength = 0;
    int hop = 0;
    int packedBins = 0; // bins that the packing covers, from bin 0
    int lowBins = 0;    // bins below this one are packed at full detail
    int bandGroup = 1;  // bins a group above lowBins, in packing 6
    int packedRows = 0; // rows of a packed frame
};

struct TensorOutline {
    std::string label;
    std::vector<int> shape;
    bool half = false;      ///< stored as half floats
    std::int64_t count = 0; ///< elements
};

struct LayerParameter {
    std::string label;
    double value = 0;
};

/// One layer record of a model file without its weights.
struct LayerOutline {
    std::string name;
    int kind = 0;
    std::string className;
    std::vector<std::string> inputs;
    std::vector<TensorOutline> tensors;
    std::vector<LayerParameter> parameters;
};

/// What a model file says, in file order: for listings and drawings.
struct ModelOutline {
    ModelHeader header;
    std::vector<LayerOutline> layers;
    std::string outputSource;

    [[nodiscard]] std::int64_t numWeights() const;
};

/// Reads what stands before the layers. Errors: as readOutline().
ModelHeader readHeader(RecordCursor& cursor);

/// Reads all records. What the engine loads is read, and nearly all else refused with a Failure of
/// SORVANE_HOST_BAD_MODEL that tells the record, the byte and what was expected there.
ModelOutline readOutline(std::istream& stream);

} // namespace sorvane::host
