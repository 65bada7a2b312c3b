#include "model_outline.h"

#include <algorithm>
#include <string_view>

namespace sorvane::host {

namespace {

constexpr std::string_view currentMagic = "sorvane.model";
constexpr std::string_view olderMagics[] = {"KLEVO.model", "Wexo.model"};
constexpr int oldestVersion = 0x1004;
constexpr int firstVersionWithFrameLength = 0x1005;
constexpr int firstVersionWithMasks = 0x1006;

/// Returns whether the file is of an older family.
bool readMagic(RecordCursor& cursor) {
    const auto count = cursor.scalar<std::uint32_t>("the file's kind");
    std::string magic;
    if (count <= currentMagic.size())
        for (std::uint32_t i = 0; i < count; ++i)
            magic += cursor.scalar<char>("the file's kind");
    if (magic == currentMagic)
        return false;
    if (std::find(std::begin(olderMagics), std::end(olderMagics), magic) == std::end(olderMagics))
        cursor.refuse("the words that a model file begins with; it is another kind of file");
    return true;
}

void readIdentity(RecordCursor& cursor, bool older, ModelHeader& header) {
    if (older) {
        const int type = cursor.scalar<std::int16_t>("the type");
        if (type != 0 && type != 1 && type != 3)
            cursor.refuse("a type of 0, 1 or 3, not " + std::to_string(type));
        return;
    }
    header.modelTag = cursor.string("the tag");
    header.modelId = cursor.scalar<std::int32_t>("the number");
    header.modelNote = cursor.string("the note");
}

int readPacking(RecordCursor& cursor, const char* what) {
    const int packing = cursor.scalar<std::int8_t>(what);
    if (packing < 1 || packing > 6 || packing == 3)
        cursor.refuse(std::string(what) + " of 1, 2, 4, 5 or 6, not " + std::to_string(packing));
    return packing;
}

void readInputPacking(RecordCursor& cursor, ModelHeader& header) {
    header.inputPacking = readPacking(cursor, "the input's packing");
    if (header.inputPacking == 1 || header.inputPacking == 4) {
        header.packedBins = cursor.scalar<std::int16_t>("the number of bins");
        return;
    }
    header.lowBins = cursor.scalar<std::int16_t>("the number of low bins");
    header.packedBins = header.lowBins + cursor.scalar<std::int16_t>("the number of high bins");
    if (header.inputPacking == 5)
        cursor.skip(4, "the history");
    if (header.inputPacking == 6) {
        header.bandGroup = cursor.scalar<std::int8_t>("the bins of a group");
        if (header.bandGroup == 0)
            cursor.refuse("groups of bins, not of none");
    }
}

void readOutputSide(RecordCursor& cursor, ModelHeader& header) {
    header.outputMode = cursor.scalar<std::int8_t>("the output's mode");
    header.numOutputChannels = cursor.scalar<std::int8_t>("the output's channels");
    header.numMasks = 1;
    header.outputNames = {"Processed", "Residual"};
    if (header.version >= firstVersionWithMasks) {
        header.numMasks = cursor.scalar<std::int8_t>("the number of masks");
        header.outputNames.clear();
        for (int i = 0; i <= header.numMasks; ++i)
            header.outputNames.push_back(cursor.string("the name of a bus"));
    }
    // The output side stores parameters of its own, but the input side's serve both directions.
    constexpr int parameterBytes[] = {0, 2, 4, 0, 2, 8, 5};
    header.outputPacking = readPacking(cursor, "the output's packing");
    cursor.skip(parameterBytes[header.outputPacking], "the output's bins");
}

} // namespace

ModelHeader readHeader(RecordCursor& cursor) {
    ModelHeader header;
    const bool older = readMagic(cursor);
    header.version = cursor.version = cursor.scalar<std::int32_t>("the version");
    if (header.version < oldestVersion)
        cursor.refuse("a version of 0x1004 or above");
    readIdentity(cursor, older, header);
    header.sampleRate = cursor.scalar<double>("the sample rate");
    header.numInputChannels = cursor.scalar<std::int8_t>("the input's channels");
    readInputPacking(cursor, header);
    readOutputSide(cursor, header);
    header.fftLength = cursor.scalar<std::int16_t>("the transform's length");
    header.frameLength = header.version >= firstVersionWithFrameLength
                             ? int{cursor.scalar<std::int16_t>("the frame's length")}
                             : header.fftLength;
    header.hop = cursor.scalar<std::int16_t>("the hop");
    header.packedRows =
        header.inputPacking == 6
            ? (header.packedBins - header.lowBins) / header.bandGroup + header.lowBins
            : header.packedBins + 3 * header.lowBins;
    return header;
}

} // namespace sorvane::host
