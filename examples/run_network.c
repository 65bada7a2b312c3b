/* Drives the network of a model with tensors: raw floats in, raw floats out.
 * usage: run_network MODEL < frames.f32 > results.f32
 *
 * Each frame of the input has as many frequency positions as the model packs, of as many floats as it
 * takes channels, and goes in as a tensor of the shape 1 x positions x channels. A network may hold
 * frames back, so that the first calls give nothing. For the noise gate a frame is 513 magnitudes
 * and a result 513 values of the mask. */

#include <sorvane_host.h>
#include <stdio.h>
#include <stdlib.h>

/* Writes a result of that shape. */
static bool writeResult(SorvaneHostModel* model, const int shape[3], FILE* file) {
    const size_t count = (size_t)shape[0] * (size_t)shape[1] * (size_t)shape[2];
    float* result = malloc(count * sizeof(float) + 1);
    const bool written = result && sorvaneHostGetTensor(model, result, count) == SORVANE_HOST_OK &&
                         fwrite(result, sizeof(float), count, file) == count;
    free(result);
    return written;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fputs("usage: run_network MODEL < frames.f32 > results.f32\n", stderr);
        return 2;
    }
    SorvaneHostModel* model;
    SorvaneHostModelInfo info;
    if (sorvaneHostOpenModel(argv[1], &model) != SORVANE_HOST_OK) {
        fprintf(stderr, "%s\n", sorvaneHostLastError());
        return 1;
    }
    sorvaneHostGetModelInfo(model, &info, sizeof info);
    const int shape[3] = {1, info.packedRows, info.numChannels};
    const size_t count = (size_t)info.packedRows * (size_t)info.numChannels;
    float* frame = malloc(count * sizeof(float));
    bool well = frame != NULL;
    while (well && fread(frame, sizeof(float), count, stdin) == count) {
        int resultShape[3];
        well = sorvaneHostRunTensor(model, frame, shape, resultShape) == SORVANE_HOST_OK &&
               writeResult(model, resultShape, stdout);
    }
    well = well && fflush(stdout) == 0;
    if (!well)
        fprintf(stderr, "it failed: %s\n", sorvaneHostLastError());
    sorvaneHostCloseModel(model);
    free(frame);
    return well ? 0 : 1;
}
