// Writes what a long run of the host program takes: a model file with a U-shaped network, and a file of
// noise at its rate.

#include "util/u_network.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <sndfile.h>

namespace {

using namespace sorvane::test;

constexpr int sampleRate = 16000;

std::mt19937 generator(7);

bool writeNoise(const char* path, int seconds) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path, SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<short> second(sampleRate);
    bool written = true;
    for (int s = 0; s < seconds; ++s) {
        for (short& sample : second)
            sample = static_cast<short>(static_cast<int>(generator() % 16384U) - 8192);
        written = written && sf_write_short(file, second.data(), sampleRate) == sampleRate;
    }
    return sf_close(file) == 0 && written;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: make_long_run MODEL AUDIO SECONDS\n", stderr);
        return 2;
    }
    TempFile::writeFile(argv[1], uNetwork().bytes());
    if (!writeNoise(argv[2], std::atoi(argv[3]))) {
        std::fputs("make_long_run: can't write\n", stderr);
        return 1;
    }
    return 0;
}
