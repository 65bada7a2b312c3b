#include "targets.h"

#include "model/neural_model.h"
#include "util/memory_stream.h"
#include "util/processor_handle.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <vector>

namespace sorvane::test {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr std::array rates = {48000.0, 44100.0, 96000.0, 24000.0, 8000.0, 1.0,
                              1e9,     1e300,   0.0,     -48000., nan,    infinity};
constexpr std::array channelCounts = {1, 2, 3, 6, 11, 100, 0, -1};
constexpr std::array blockLengths = {1, 7, 16, 61, 256, 1000, 0, -1};
constexpr std::array signalValues = {0.0F, 1.0F,  -0.25F,          1e-42F,
                                     1e3F, 1e38F, float(infinity), float(nan)};
constexpr std::array parameterIds = {1, 2, 3, 256, 257, 271, 272, 512, 527, 0, -1, -257, 1 << 30};

/// Choices for the calls, read from the end of the input; zeros once it is used up.
class Script {
public:
    explicit Script(Bytes data) : left(data) {}

    [[nodiscard]] bool ended() const { return left.empty(); }

    int next() {
        if (left.empty())
            return 0;
        const int byte = left.back();
        left = left.first(left.size() - 1);
        return byte;
    }

    template <typename T, std::size_t size>
    T oneOf(const std::array<T, size>& values) {
        return values[static_cast<std::size_t>(next()) % size];
    }

private:
    Bytes left;
};

/// Runs a call that may fail as the interface says: by an exception of a standard kind.
template <typename Call>
void attempt(Call call) {
    try {
        call();
    } catch (const std::exception&) {
    }
}

/// Values around one that the script chooses, so that buffers aren't all alike.
std::vector<float> makeValues(Script& script, std::size_t count) {
    const float value = script.oneOf(signalValues);
    std::vector<float> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = i % 3 == 0 ? value : value * 0.5F + static_cast<float>(i % 5) * 0.125F;
    return values;
}

/// A block of exactly its size, for a sanitizer to notice what goes past it: a vector for each row,
/// or one for all of them.
class Block {
public:
    Block(Script& script, int numChannels, int numSamples, bool planar) {
        const auto rows = static_cast<std::size_t>(std::max(numChannels, 0));
        const auto length = static_cast<std::size_t>(std::max(numSamples, 0));
        for (std::size_t i = 0; i < (planar ? rows : 1); ++i)
            values.push_back(makeValues(script, planar ? length : rows * length));
        for (auto& row : values)
            pointers.push_back(row.data());
    }
    float* const* rows() { return pointers.data(); }
    float* samples() { return values.at(0).data(); }

private:
    std::vector<std::vector<float>> values;
    std::vector<float*> pointers;
};

/// Sizes that are valid but would take the fuzzer seconds.
bool isHuge(const NeuralModel<float>& header) {
    return header.packedRows > 4096 || header.packedBins > 4096 ||
           std::abs(header.fftLength) * std::max(header.numInputChannels, 1) > 65536;
}

/// Ends a run whose network is valid but slow: what it does in one call it does in the next.
class Budget {
public:
    [[nodiscard]] bool spent() const {
        return Clock::now() - start > std::chrono::milliseconds(500);
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
};

/// The same of the sizes at a host's rate.
bool isHuge(const NeuralModel<float>& header, double rate) {
    const double scale = std::exp2(std::ceil(std::log2(rate / header.sampleRate)));
    const std::array sizes = {header.fftLength, header.frameLength, header.hop};
    return std::any_of(sizes.begin(), sizes.end(), [&](int size) {
        return std::abs(size) * scale > 4096.0 && std::abs(size) * scale < 4e9;
    });
}

void useParameters(void* processor, Script& script) {
    const int id = script.oneOf(parameterIds);
    float range[2];
    sorvaneSetParameterValue(processor, id, script.oneOf(signalValues));
    sorvaneGetParameterValue(processor, id);
    sorvaneGetParameterRange(processor, id, &range[0], &range[1]);
}

void useInformation(void* processor, Script& script) {
    std::vector<char> text(static_cast<std::size_t>(script.next() % 20));
    const auto size = static_cast<unsigned int>(text.size());
    sorvaneGetOutputBusName(processor, script.next() - 128, text.data(), size);
    sorvaneGetVectorArithmeticWrapperName(text.data(), size);
    sorvaneGetNumOfOutputBusses(processor);
    SorvaneModelInfo info{};
    ::sorvaneGetProcessorInfo(processor, &info);
}

class ProcessorRun {
public:
    ProcessorRun(void* handle, int channels, int samplesLimit, Script& choices)
        : processor(handle), numChannels(channels), maxSamples(samplesLimit), script(choices) {}

    void step() {
        const int call = script.next() % 8;
        if (call < 4)
            add(call % 2 == 0);
        else if (call < 6)
            get(call % 2 == 0);
        else if (call == 6)
            useParameters(processor, script);
        else if (script.next() % 2 == 0)
            attempt([&] { sorvaneResetProcessorState(processor); });
        else
            attempt([&] { useInformation(processor, script); });
    }

private:
    void add(bool planar) {
        const int count = std::min(script.oneOf(blockLengths), maxSamples);
        Block block(script, numChannels, count, planar);
        attempt([&] {
            if (planar)
                sorvaneAddAudio(processor, block.rows(), count);
            else
                sorvaneAddAudioInterleaved(processor, block.samples(), count);
        });
    }

    void get(bool planar) {
        const int pending = sorvaneGetNumOfPendingSamples(processor);
        const int count = script.next() % 2 == 0 ? pending : script.oneOf(blockLengths);
        Block block(script, numChannels, count, planar);
        attempt([&] {
            if (planar)
                sorvaneGetAudio(processor, block.rows(), count);
            else
                sorvaneGetAudioInterleaved(processor, block.samples(), count);
        });
    }

    void* processor;
    int numChannels;
    int maxSamples; // in one block
    Script& script;
};

void useProcessor(const char* path, const NeuralModel<float>& header, Script& script) {
    const double rate = script.oneOf(rates);
    const int numChannels = script.oneOf(channelCounts);
    const int variant = script.next();
    if (isHuge(header, rate))
        return;
    ProcessorHandle processor;
    attempt([&] {
        const char* const paths[] = {path, path, path};
        processor.reset(variant % 16 < 14
                            ? sorvaneCreateProcessor(path, numChannels, rate)
                            : sorvaneCreateStemSeparator(variant % 4, paths, numChannels, rate));
    });
    if (!processor)
        return;
    SorvaneModelInfo info{};
    attempt([&] { ::sorvaneGetProcessorInfo(processor.get(), &info); });
    // Some frames a block at the most.
    ProcessorRun run(processor.get(), numChannels, std::clamp(info.hop, 1, 64) * 8, script);
    const Budget budget;
    for (int i = 0; i < 16 && !budget.spent(); ++i)
        run.step();
}

void useModel(const char* path, const NeuralModel<float>& header, Script& script) {
    ModelHandle model;
    attempt([&] { model.reset(sorvaneCreateModel(path)); });
    if (!model)
        return;
    SorvaneModelInfo info{};
    sorvane::sorvaneGetProcessorInfo(model.get(), &info);
    const std::array sizes = {1, std::clamp(header.packedRows, 0, 16), 2, 3, 4, 8, 0, -1};
    const std::array ranks = {3, 3, 3, 3, 3, 0, 1, 2, 4, -1};
    const Budget budget;
    for (int i = 0; i < 6 && !budget.spent(); ++i) {
        const int numDims = script.oneOf(ranks);
        std::vector<int> shape;
        for (int axis = 0; axis < numDims; ++axis)
            shape.push_back(script.oneOf(sizes));
        const std::int64_t count = std::max<std::int64_t>(elementCount(shape), 0);
        const std::vector<float> data = makeValues(script, static_cast<std::size_t>(count));
        attempt([&] { sorvaneAddTensor(model.get(), data.data(), numDims, shape.data()); });
        int result[3];
        if (sorvaneGetResultTensorShape(model.get(), 3, result)) {
            const std::int64_t size = elementCount(result);
            if (size > 1000000) // valid, but no host would fetch it a few thousand times a second
                break;
            std::vector<float> values(static_cast<std::size_t>(std::max<std::int64_t>(size, 0)));
            attempt([&] { sorvaneGetTensor(model.get(), values.data()); });
        }
        if (script.next() % 4 == 0)
            attempt([&] { sorvaneResetModelState(model.get()); });
    }
}

} // namespace

void fuzzInterface(Bytes data) {
    const std::vector<std::uint8_t> bytes(data.begin(), data.end());
    NeuralModel<float> header;
    attempt([&] {
        MemoryStream stream(bytes);
        RecordReader reader(stream);
        header.readHeader(reader);
    });
    if (isHuge(header))
        return;
    static const TempFile file(".model");
    file.write(bytes);
    Script script(data);
    const int which = script.next() % 4;
    if (which != 0)
        useProcessor(file.c_str(), header, script);
    if (which <= 1)
        useModel(file.c_str(), header, script);
}

} // namespace sorvane::test
