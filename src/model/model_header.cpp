#include "model/neural_model.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace sorvane {

namespace {

constexpr std::string_view currentMagic = "sorvane.model";
constexpr std::array<std::string_view, 2> olderMagics = {"KLEVO.model", "Wexo.model"};

constexpr int oldestVersion = 0x1004;
constexpr int firstVersionWithFrameLength = 0x1005;
constexpr int firstVersionWithMasks = 0x1006;

} // namespace

template <typename T>
bool NeuralModel<T>::readHeader(RecordReader& reader) {
    const std::string magic = reader.string();
    const bool older =
        std::find(olderMagics.begin(), olderMagics.end(), magic) != olderMagics.end();
    if (magic != currentMagic && !older)
        return false;
    reader.version = reader.scalar<std::int32_t>();
    if (reader.version < oldestVersion)
        return false;

    if (older) {
        const int type = reader.scalar<std::int16_t>();
        if (type != 0 && type != 1 && type != 3)
            return false;
        modelId = -1;
        modelNote.clear();
    } else {
        modelTag = reader.string();
        modelId = reader.scalar<std::int32_t>();
        modelNote = reader.string();
    }

    sampleRate = reader.scalar<double>();
    numInputChannels = reader.scalar<std::int8_t>();
    if (!readInputPacking(reader))
        return false;
    outputMode = reader.scalar<std::int8_t>();
    numOutputChannels = reader.scalar<std::int8_t>();
    if (reader.version >= firstVersionWithMasks) {
        numMasks = reader.scalar<std::int8_t>();
        for (int i = 0; i <= numMasks; ++i)
            outputNames.push_back(reader.string());
    } else {
        numMasks = 1;
        outputNames.insert(outputNames.end(), {"Processed", "Residual"});
    }
    outputPacking = reader.scalar<std::int8_t>();
    if (!skipOutputPacking(reader, outputPacking))
        return false;

    fftLength = reader.scalar<std::int16_t>();
    frameLength = reader.version >= firstVersionWithFrameLength
                      ? static_cast<int>(reader.scalar<std::int16_t>())
                      : fftLength;
    hop = reader.scalar<std::int16_t>();

    if (inputPacking == 6) {
        if (bandGroup == 0)
            throw std::domain_error("groups of no bins");
        packedRows = (packedBins - lowBins) / bandGroup + lowBins;
    } else {
        packedRows = packedBins + 3 * lowBins;
    }
    return true;
}

template <typename T>
bool NeuralModel<T>::readInputPacking(RecordReader& reader) {
    inputPacking = reader.scalar<std::int8_t>();
    historyLength = 1;
    switch (inputPacking) {
    case 1:
    case 4:
        packedBins = reader.scalar<std::int16_t>();
        lowBins = 0;
        return true;
    case 2:
    case 5:
    case 6:
        lowBins = reader.scalar<std::int16_t>();
        packedBins = lowBins + reader.scalar<std::int16_t>();
        break;
    default:
        return false;
    }
    if (inputPacking == 5) {
        historyLength = reader.scalar<std::int16_t>();
        reader.scalar<std::int16_t>();
    } else if (inputPacking == 6) {
        bandGroup = reader.scalar<std::int8_t>();
    }
    return true;
}

// The output side stores parameters of its own, but the input side's serve both directions.
template <typename T>
bool NeuralModel<T>::skipOutputPacking(RecordReader& reader, int packing) {
    constexpr std::array<int, 7> parameterBytes = {-1, 2, 4, -1, 2, 8, 5};
    if (packing < 1 || packing > 6 || packing == 3)
        return false;
    std::array<char, 8> skipped{};
    reader.bytes(skipped.data(), parameterBytes[static_cast<std::size_t>(packing)]);
    return true;
}

template bool NeuralModel<float>::readHeader(RecordReader&);
template bool NeuralModel<float>::readInputPacking(RecordReader&);
template bool NeuralModel<float>::skipOutputPacking(RecordReader&, int);

} // namespace sorvane
