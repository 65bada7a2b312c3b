/* Drives the network of a model with tensors: raw floats in, raw floats out.
 * usage: run_network MODEL POSITIONS CHANNELS < frames.f32 > results.f32
 *
 * Each frame of the input has POSITIONS frequency positions of CHANNELS floats, and goes in as a
 * tensor of the shape 1 x POSITIONS x CHANNELS. A network may hold frames back, so that the first
 * calls give nothing. For the noise gate a frame is 513 magnitudes and a result 513 values of the
 * mask. */

#include <sorvane_engine.h>
#include <stdio.h>
#include <stdlib.h>

/* Fetches what the last tensor gave, and writes it. */
static bool writeResult(void* model, FILE* file) {
    int shape[3];
    if (!sorvaneGetResultTensorShape(model, 3, shape))
        return true; /* nothing yet */
    const size_t count = (size_t)shape[0] * (size_t)shape[1] * (size_t)shape[2];
    float* result = malloc(count * sizeof(float) + 1);
    const bool written = result && (!sorvaneGetTensor(model, result) ||
                                    fwrite(result, sizeof(float), count, file) == count);
    free(result);
    return written;
}

int main(int argc, char** argv) {
    const int positions = argc == 4 ? atoi(argv[2]) : 0;
    const int channels = argc == 4 ? atoi(argv[3]) : 0;
    if (positions < 1 || positions > 65536 || channels < 1 || channels > 1024) {
        fputs("usage: run_network MODEL POSITIONS CHANNELS < frames.f32 > results.f32\n", stderr);
        return 2;
    }
    const int shape[3] = {1, positions, channels};
    const size_t count = (size_t)positions * (size_t)channels;
    float* frame = malloc(count * sizeof(float));
    void* model = sorvaneCreateModel(argv[1]);
    bool well = frame && model;
    if (!model)
        fprintf(stderr, "%s is no valid model\n", argv[1]);
    while (well && fread(frame, sizeof(float), count, stdin) == count) {
        sorvaneAddTensor(model, frame, 3, shape);
        well = writeResult(model, stdout);
    }
    well = well && fflush(stdout) == 0;
    sorvaneDeleteModel(model);
    free(frame);
    return well ? 0 : 1;
}
