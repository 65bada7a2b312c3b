// Writes the noise gate to the file that is named on the command line.

#include "util/noise_gate.h"

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_noise_gate FILE\n", stderr);
        return 2;
    }
    sorvane::test::TempFile::writeFile(argv[1], sorvane::test::noiseGate48k().bytes());
    return 0;
}
