// Writes the noise gate to the file that is named on the command line.

#include "util/noise_gate.h"

#include <cstdio>
#include <fstream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_noise_gate FILE\n", stderr);
        return 2;
    }
    std::ofstream file(argv[1], std::ios::binary | std::ios::trunc);
    for (const std::uint8_t byte : sorvane::test::noiseGate48k().bytes())
        file.put(static_cast<char>(byte));
    if (!file.flush()) {
        std::fprintf(stderr, "make_noise_gate: can't write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
