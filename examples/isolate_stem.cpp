// Isolates a stem while audio runs: plays a WAV file at its own speed, as a sound card would ask
// for it, and a second thread fades the other busses out between 0.5 and 1 s.
// usage: isolate_stem MODEL BUS INPUT.wav OUTPUT.wav

#include "wav.h"

#include <chrono>
#include <sorvane_host.hpp>
#include <stop_token>
#include <thread>

namespace host = sorvane::host;

namespace {

constexpr int blockSize = 256;

// Controls may be set at any time, on any thread.
void fadeOthers(const std::stop_token& stop, host::Blocks& blocks, int kept) {
    using namespace std::chrono_literals;
    const int numBusses = blocks.info().numBusses;
    std::this_thread::sleep_for(500ms);
    for (int step = 49; step >= 0 && !stop.stop_requested(); --step) {
        for (int bus = 0; bus < numBusses; ++bus)
            if (bus != kept)
                blocks.setGain(bus, static_cast<float>(step) / 50.0F);
        std::this_thread::sleep_for(10ms);
    }
}

// A failing block passes as silence; `numFailures` counts them.
void play(host::Blocks& blocks, Wav& input, Wav& output) {
    std::vector<float> block(static_cast<std::size_t>(blockSize * input.channels));
    auto due = std::chrono::steady_clock::now();
    while (const int count = wavRead(&input, block.data(), blockSize)) {
        due += std::chrono::microseconds(1000000LL * count / input.rate);
        std::this_thread::sleep_until(due);
        const auto size = static_cast<std::size_t>(count * input.channels);
        blocks.tryProcess(std::span(block).first(size));
        if (!wavWrite(&output, block.data(), count))
            throw std::runtime_error("can't write the output");
    }
}

int run(char** arguments) {
    Wav input;
    Wav output;
    if (!wavOpen(&input, arguments[3]))
        throw std::runtime_error("can't read the input");
    host::Blocks blocks(host::Model(arguments[1]), input.channels, input.rate);
    const int bus = blocks.findBus(arguments[2]);
    if (!wavCreate(&output, arguments[4], &input))
        throw std::runtime_error("can't make the output");
    {
        const std::jthread fader(
            [&](const std::stop_token& stop) { fadeOthers(stop, blocks, bus); });
        play(blocks, input, output);
    }
    std::fclose(input.file);
    if (!wavFinish(&output))
        throw std::runtime_error("can't write the output");
    if (blocks.numFailures() > 0)
        std::fprintf(stderr, "the engine failed %d times: %s\n", blocks.numFailures(),
                     blocks.error());
    return blocks.numFailures() > 0 ? 1 : 0;
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
