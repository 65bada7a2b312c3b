/** @file
 * SorvaneHost for C++20: sorvane_host.h with owning objects, spans and exceptions. Header only; what
 * a function does, its ranges, threads and real time are told there, at the function that it calls.
 *
 *     sorvane::host::Model model("speech-48k");
 *     sorvane::host::Stream stream(model, channels, rate);
 *     stream.silenceNoise();
 *     stream.push(input);
 *     stream.pull(output);
 *
 * Errors. What returns a status there raises Error here, but in the destructors. Objects move, and
 * are not copied; one that was moved from may be assigned to or destroyed, and nothing else.
 *
 * Real time: Blocks::process() allocates nothing unless it raises; where no exception may pass,
 * tryProcess() returns the status. */

#ifndef SORVANE_HOST_HPP
#define SORVANE_HOST_HPP

#include "sorvane_host.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace sorvane::host {

/** What a call that fails raises: a status, and as what() the sentence of
 * sorvaneHostLastError(). */
class Error : public std::runtime_error {
public:
    explicit Error(SorvaneHostStatus status, const std::string& text = sorvaneHostLastError())
        : std::runtime_error(text), m_status(status) {}

    [[nodiscard]] SorvaneHostStatus status() const noexcept { return m_status; }

private:
    SorvaneHostStatus m_status;
};

/** Raises Error unless the status is SORVANE_HOST_OK. */
inline void check(SorvaneHostStatus status) {
    if (status != SORVANE_HOST_OK)
        throw Error(status);
}

/** A model that the engine accepts. */
class Model {
public:
    /** Opens a file, or a model by its name. */
    explicit Model(const std::string& nameOrPath) {
        SorvaneHostModel* model = nullptr;
        check(sorvaneHostOpenModel(nameOrPath.c_str(), &model));
        m_handle.reset(model);
    }
    /** Opens a file that lies in memory. */
    explicit Model(std::span<const std::byte> bytes) {
        SorvaneHostModel* model = nullptr;
        check(sorvaneHostOpenModelFromMemory(bytes.data(), bytes.size(), &model));
        m_handle.reset(model);
    }

    [[nodiscard]] SorvaneHostModelInfo info() const {
        SorvaneHostModelInfo info{};
        check(sorvaneHostGetModelInfo(get(), &info, sizeof info));
        return info;
    }
    /** Names of the busses; the last is what the masks leave over. */
    [[nodiscard]] std::vector<std::string> busNames() const {
        std::vector<std::string> names;
        for (int bus = 0; const char* name = sorvaneHostGetModelBusName(get(), bus); ++bus)
            names.emplace_back(name);
        return names;
    }
    /** How well a host's rate suits the model. */
    [[nodiscard]] SorvaneHostRateFit rateFit(double rate) const {
        SorvaneHostRateFit fit{};
        check(sorvaneHostGetRateFit(get(), rate, &fit));
        return fit;
    }

    /** Runs the network on a tensor [T, F, C]; its result, empty while it holds frames back, and the
     * shape of that. */
    struct Tensor {
        std::array<int, 3> shape{};
        std::vector<float> values;
    };
    [[nodiscard]] Tensor run(std::span<const float> data, const std::array<int, 3>& shape) {
        std::size_t count = 1;
        for (const int dimension : shape)
            count *= static_cast<std::size_t>(dimension);
        if (count != data.size())
            throw Error(SORVANE_HOST_BAD_ARGUMENT, "the tensor's shape isn't that of its data");
        Tensor result;
        check(sorvaneHostRunTensor(get(), data.data(), shape.data(), result.shape.data()));
        count = 1;
        for (const int dimension : result.shape)
            count *= static_cast<std::size_t>(dimension);
        result.values.resize(count);
        if (count > 0)
            check(sorvaneHostGetTensor(get(), result.values.data(), count));
        return result;
    }
    void resetTensor() { check(sorvaneHostResetTensor(get())); }

    [[nodiscard]] SorvaneHostModel* get() const noexcept { return m_handle.get(); }

private:
    struct Close {
        void operator()(SorvaneHostModel* model) const { sorvaneHostCloseModel(model); }
    };
    std::unique_ptr<SorvaneHostModel, Close> m_handle;
};

/** A model file that was found. */
struct FoundModel {
    std::string name;
    std::string path;
};

/** Lists the models that can be opened by name, and those of `folders` and beside the binary that
 * holds `address`. */
inline std::vector<FoundModel> listModels(const char* folders = nullptr,
                                          const void* address = nullptr) {
    SorvaneHostModelList* list = nullptr;
    check(sorvaneHostListModels(folders, address, &list));
    const std::unique_ptr<SorvaneHostModelList, void (*)(SorvaneHostModelList*)> owner(
        list, sorvaneHostDeleteModelList);
    std::vector<FoundModel> models;
    for (int i = 0; i < sorvaneHostGetNumModels(list); ++i)
        models.push_back({sorvaneHostGetModelName(list, i), sorvaneHostGetModelPath(list, i)});
    return models;
}

/** What streams and blocks share: their controls. */
class Processor {
public:
    [[nodiscard]] SorvaneHostProcessorInfo info() const {
        SorvaneHostProcessorInfo info{};
        check(sorvaneHostGetProcessorInfo(get(), &info, sizeof info));
        return info;
    }
    [[nodiscard]] int latency() const { return info().latency; }

    /** Names of the busses; the last is what the masks leave over. */
    [[nodiscard]] std::vector<std::string> busNames() const {
        std::vector<std::string> names;
        for (int bus = 0; const char* name = sorvaneHostGetBusName(get(), bus); ++bus)
            names.emplace_back(name);
        return names;
    }
    [[nodiscard]] int findBus(const std::string& nameOrNumber) const {
        int bus = 0;
        check(sorvaneHostFindBus(get(), nameOrNumber.c_str(), &bus));
        return bus;
    }

    void setGain(int bus, float gain) { check(sorvaneHostSetGain(get(), bus, gain)); }
    void setGain(const std::string& bus, float gain) { setGain(findBus(bus), gain); }
    void setGainDecibels(int bus, float decibels) {
        check(sorvaneHostSetGainDecibels(get(), bus, decibels));
    }
    [[nodiscard]] float gain(int bus) const { return sorvaneHostGetGain(get(), bus); }
    void setSensitivity(int bus, float sensitivity) {
        check(sorvaneHostSetSensitivity(get(), bus, sensitivity));
    }
    [[nodiscard]] float sensitivity(int bus) const { return sorvaneHostGetSensitivity(get(), bus); }
    void setRemainder(float decibels) { check(sorvaneHostSetRemainder(get(), decibels)); }
    void isolateBus(int bus) { check(sorvaneHostIsolateBus(get(), bus)); }
    void isolateBus(const std::string& bus) { isolateBus(findBus(bus)); }
    void silenceNoise() { check(sorvaneHostSilenceNoise(get())); }
    void setAmount(float amount) { check(sorvaneHostSetAmount(get(), amount)); }
    [[nodiscard]] float amount() const { return sorvaneHostGetAmount(get()); }
    void setInverted(bool inverted) { check(sorvaneHostSetInverted(get(), inverted)); }

    /** Begins a new stream. */
    void reset() { check(sorvaneHostReset(get())); }

    [[nodiscard]] int numFailures() const { return sorvaneHostGetNumFailures(get()); }
    [[nodiscard]] const char* error() const { return sorvaneHostProcessorError(get()); }

    [[nodiscard]] SorvaneHostProcessor* get() const noexcept { return m_handle.get(); }

protected:
    using Create = SorvaneHostStatus (*)(const SorvaneHostModel*, int, double,
                                         SorvaneHostProcessor**);
    Processor(Create create, const Model& model, int numChannels, double sampleRate)
        : m_channels(static_cast<std::size_t>(numChannels)) {
        SorvaneHostProcessor* processor = nullptr;
        check(create(model.get(), numChannels, sampleRate, &processor));
        m_handle.reset(processor);
    }

    /** Samples per channel of an interleaved buffer. */
    [[nodiscard]] int countOf(std::size_t size) const {
        return static_cast<int>(size / m_channels);
    }

private:
    struct Delete {
        void operator()(SorvaneHostProcessor* processor) const {
            sorvaneHostDeleteProcessor(processor);
        }
    };
    std::unique_ptr<SorvaneHostProcessor, Delete> m_handle;
    std::size_t m_channels;
};

/** A processor that runs as a stream. */
class Stream : public Processor {
public:
    Stream(const Model& model, int numChannels, double sampleRate)
        : Processor(sorvaneHostCreateStream, model, numChannels, sampleRate) {}

    /** Interleaved samples, a whole number for each channel. */
    void push(std::span<const float> samples) {
        check(sorvaneHostPushInterleaved(get(), samples.data(), countOf(samples.size())));
    }
    void push(const float* const* channels, int numSamples) {
        check(sorvaneHostPush(get(), channels, numSamples));
    }

    [[nodiscard]] int available() const { return sorvaneHostGetNumAvailable(get()); }

    /** Pulls up to as many interleaved samples as there is room for; returns how many per
     * channel. */
    int pull(std::span<float> samples) {
        int count = 0;
        check(sorvaneHostPullInterleaved(get(), samples.data(), countOf(samples.size()), &count));
        return count;
    }
    int pull(float* const* channels, int capacity) {
        int count = 0;
        check(sorvaneHostPull(get(), channels, capacity, &count));
        return count;
    }

    void finish() { check(sorvaneHostFinish(get())); }
};

/** A processor that runs in blocks. */
class Blocks : public Processor {
public:
    Blocks(const Model& model, int numChannels, double sampleRate)
        : Processor(sorvaneHostCreateBlocks, model, numChannels, sampleRate) {}

    /** Interleaved samples, in place. */
    void process(std::span<float> samples) { check(tryProcess(samples)); }
    void process(const float* const* inputs, float* const* outputs, int numSamples) {
        check(tryProcess(inputs, outputs, numSamples));
    }

    SorvaneHostStatus tryProcess(std::span<float> samples) noexcept {
        return sorvaneHostProcessInterleaved(get(), samples.data(), samples.data(),
                                             countOf(samples.size()));
    }
    SorvaneHostStatus tryProcess(const float* const* inputs, float* const* outputs,
                                 int numSamples) noexcept {
        return sorvaneHostProcess(get(), inputs, outputs, numSamples);
    }
};

} // namespace sorvane::host

#endif // SORVANE_HOST_HPP
