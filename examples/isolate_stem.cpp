// Isolates a stem while audio runs: plays a WAV file at its own speed, as a sound card would ask for
// it, and a second thread fades the other busses out between 0.5 and 1 s.
// usage: isolate_stem MODEL BUS INPUT.wav OUTPUT.wav

#include "wav.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <sorvane_engine.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int blockSize = 256;

struct DeleteProcessor {
    void operator()(void* engine) const { sorvaneDeleteProcessor(engine); }
};
using Engine = std::unique_ptr<void, DeleteProcessor>;

int findBus(void* engine, const std::string& wanted) {
    const int numBusses =
        std::min(sorvaneGetNumOfOutputBusses(engine), 16); // only these have gains
    for (int bus = 0; bus < numBusses; ++bus) {
        char name[256] = {};
        sorvaneGetOutputBusName(engine, bus, name, sizeof name - 1); // keeps a terminator
        if (wanted == name)
            return bus;
    }
    throw std::runtime_error("the model has no bus " + wanted);
}

// The audio thread's side of an engine.
class Player {
public:
    Player(void* processor, int numChannels) : engine(processor), channels(numChannels) {
        SorvaneModelInfo info{};
        ::sorvaneGetProcessorInfo(engine, &info);
        silence = latency = info.lengthOrLatency;
    }

    // Replaces a block by the output of the engine, which is late by its latency; before that comes
    // silence. If the engine fails the block stays as it is, and the stream begins anew.
    void process(float* block, int count) noexcept {
        try {
            sorvaneAddAudioInterleaved(engine, block, count);
            const int silent = std::min(silence, count);
            if (!sorvaneGetAudioInterleaved(engine, block + silent * channels, count - silent))
                throw std::runtime_error("the model gives too little output");
            std::fill_n(block, silent * channels, 0.0F);
            silence -= silent;
        } catch (const std::exception&) {
            ++numFailures;
            restart();
        }
    }

    // Blocks that passed as they were. May be asked on any thread.
    [[nodiscard]] int failures() const { return numFailures; }

private:
    void restart() noexcept {
        try {
            silence = latency;
            sorvaneResetProcessorState(engine);
        } catch (const std::exception&) {
            // Out of memory: the next block fails again, and passes.
        }
    }

    void* engine;
    int channels;
    int latency = 0;
    int silence = 0; // samples of it that are still to come
    std::atomic<int> numFailures{0};
};

// The control thread's side: fades all busses but one out. Parameters may be set at any time.
class Fader {
public:
    Fader(void* engine, int kept) : thread([=] { fade(engine, kept); }) {}

    ~Fader() {
        stop = true;
        thread.join();
    }

private:
    void fade(void* engine, int kept) const {
        using namespace std::chrono_literals;
        const int numBusses = sorvaneGetNumOfOutputBusses(engine);
        std::this_thread::sleep_for(500ms);
        for (int step = 49; step >= 0 && !stop; --step) {
            for (int bus = 0; bus < numBusses; ++bus)
                if (bus != kept)
                    sorvaneSetParameterValue(engine, SORVANE_BUS_GAIN + bus,
                                             static_cast<float>(step) / 50.0F);
            std::this_thread::sleep_for(10ms);
        }
    }

    std::atomic<bool> stop{false};
    std::thread thread;
};

// Plays the file at its own speed.
void play(Player& player, Wav& input, Wav& output) {
    std::vector<float> block(static_cast<std::size_t>(blockSize * input.channels));
    auto due = std::chrono::steady_clock::now();
    while (const int count = wavRead(&input, block.data(), blockSize)) {
        due += std::chrono::microseconds(1000000LL * count / input.rate);
        std::this_thread::sleep_until(due);
        player.process(block.data(), count);
        if (!wavWrite(&output, block.data(), count))
            throw std::runtime_error("can't write the output");
    }
}

int run(char** arguments) {
    Wav input;
    Wav output;
    if (!wavOpen(&input, arguments[3]))
        throw std::runtime_error("can't read the input");
    const Engine engine(sorvaneCreateProcessor(arguments[1], input.channels, input.rate));
    if (!engine)
        throw std::runtime_error("no valid model");
    const int bus = findBus(engine.get(), arguments[2]);
    if (!wavCreate(&output, arguments[4], &input))
        throw std::runtime_error("can't make the output");

    Player player(engine.get(), input.channels);
    {
        const Fader fader(engine.get(), bus);
        play(player, input, output);
    }
    std::fclose(input.file);
    if (!wavFinish(&output))
        throw std::runtime_error("can't write the output");
    if (player.failures() > 0)
        std::fprintf(stderr, "the engine failed at %d blocks\n", player.failures());
    return player.failures() > 0 ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: isolate_stem MODEL BUS INPUT.wav OUTPUT.wav\n", stderr);
        return 2;
    }
    try {
        return run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
