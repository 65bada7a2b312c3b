#include "util/noise_gate.h"

namespace sorvane::test {

ModelFile noiseGate48k() {
    ModelFile model;
    model.modelTag = "noise-gate-48k";
    model.modelNote = "Hand-made spectral noise gate";
    model.fftLength = 1024;
    model.frameLength = 1024;
    model.hop = 512;
    model.inputPacking.bins = 513;
    model.outputPacking.bins = 513;

    // White noise of RMS s has a mean magnitude of sqrt(pi / 4 * 512) * s = 20 s: 512 is the sum of
    // the squares of the analysis window. The mask is 1/2 at a mean magnitude of 8 / 6, which white
    // noise reaches at -23.5 dBFS.
    model.layers = {
        conv("mean", "input", constantTensor({3, 3, 1, 1}, 1.0F / 9.0F), {}, {.delay = 1}),
        conv("level", "mean", {{1, 1, 1, 1}, {6.0F}}, {{1}, {-8.0F}}),
        activation("mask", 6, "level"),
    };
    model.outputSource = "mask";
    return model;
}

} // namespace sorvane::test
