#pragma once

#include "common/plugin_type.h"
#include "sorvane_host.hpp"

#include <string>
#include <vector>

namespace sorvane::plugins {

/// A running plug-in of any format: memory connected to numbered ports, and blocks of any size. An
/// unconnected input is silence, an unconnected control has its default, and what goes to an
/// unconnected output is lost. Any two ports may be connected to the same memory.
///
/// When the engine fails, the input passes, delayed as ever, until the next activate(), and one line
/// goes to standard error.
///
/// Threads: one at a time. Real time: connect() and run(); the instance takes no memory in them, no
/// lock and no file, beyond what the engine's audio calls do.
class PluginInstance {
public:
    /// Loads the model, once for each stem; `pluginType` must live as long as this. Raises
    /// std::runtime_error when the model can't be used, or has other busses than the type.
    PluginInstance(const PluginType& pluginType, const std::string& modelPath, double sampleRate);

    /// Goes over to another model, in a new stream. Raises as the constructor, and then nothing has
    /// changed. Not for real-time threads.
    void load(const std::string& modelPath);

    [[nodiscard]] const std::string& modelPath() const { return path; }
    [[nodiscard]] int latency() const { return delay; }

    /// Whether the host's rate chose the model, so that it is no matter of a session.
    [[nodiscard]] bool choosesModel() const { return type.modelPath.empty(); }

    /// `memory` holds a float for a control, and for audio the floats of a block. Numbers past the last
    /// port are ignored.
    void connect(std::size_t port, void* memory) noexcept;

    /// Begins a new stream. Not for real-time threads.
    void activate() noexcept;

    /// `count` samples per channel; values out of a control's range count as its nearest bound.
    void run(std::size_t count) noexcept;

private:
    [[nodiscard]] float valueOf(std::size_t port) const;
    /// One model on one stream.
    struct Voice {
        host::Blocks blocks;
        bool hasFailed = false;
    };

    [[nodiscard]] std::vector<Voice> makeVoices(const std::string& modelPath) const;
    void applyControls();
    void applyParameter(const Port& port, float value);
    void runBlock(std::size_t offset, int count);
    void fail(Voice& voice);

    const PluginType& type;
    double rate;
    std::string path;
    bool failureReported = false;
    std::vector<Voice> voices;              // one, or one a stem
    int delay;                              // of each
    std::vector<float*> connected;          // by port
    std::vector<float> applied;             // by port; NaN before the first time
    std::vector<std::vector<float>> inputs; // of a block, as outputs may be the same
    std::vector<const float*> inputRows;
    std::vector<float*> outputRows; // of one voice
    std::vector<float> unwanted;    // of unconnected outputs
};

} // namespace sorvane::plugins
