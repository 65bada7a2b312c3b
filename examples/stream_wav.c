/* Sends a WAV file through a model and leaves out the remainder: what is left of a speech model's is
 * the voice.
 * usage: stream_wav MODEL INPUT.wav OUTPUT.wav */

#include "wav.h"

#include <sorvane_host.h>
#include <stdlib.h>

enum { blockSize = 480 };

/* Writes all that is ready. */
static bool drain(SorvaneHostProcessor* stream, float* block, Wav* output) {
    int count;
    while (sorvaneHostPullInterleaved(stream, block, blockSize, &count) == SORVANE_HOST_OK &&
           count > 0)
        if (!wavWrite(output, block, count))
            return false;
    return true;
}

/* Returns null if all went well, or what went wrong. */
static const char* run(SorvaneHostProcessor* stream, float* block, Wav* input, Wav* output) {
    bool written = true;
    int count;
    while (written && (count = wavRead(input, block, blockSize)) > 0) {
        if (sorvaneHostPushInterleaved(stream, block, count) != SORVANE_HOST_OK)
            return sorvaneHostLastError();
        written = drain(stream, block, output);
    }
    if (sorvaneHostFinish(stream) != SORVANE_HOST_OK)
        return sorvaneHostLastError();
    return written && drain(stream, block, output) ? NULL : "can't write the output";
}

int main(int argc, char** argv) {
    if (argc != 4) {
        fputs("usage: stream_wav MODEL INPUT.wav OUTPUT.wav\n", stderr);
        return 2;
    }
    Wav input;
    Wav output;
    if (!wavOpen(&input, argv[2])) {
        fprintf(stderr, "can't read %s\n", argv[2]);
        return 1;
    }
    SorvaneHostModel* model = NULL;
    SorvaneHostProcessor* stream = NULL;
    float* block = calloc((size_t)input.channels * blockSize, sizeof(float));
    const char* problem = NULL;
    if (!block) {
        problem = "out of memory";
    } else if (sorvaneHostOpenModel(argv[1], &model) != SORVANE_HOST_OK ||
               sorvaneHostCreateStream(model, input.channels, input.rate, &stream) !=
                   SORVANE_HOST_OK ||
               sorvaneHostSilenceNoise(stream) != SORVANE_HOST_OK) {
        problem = sorvaneHostLastError();
    } else if (!wavCreate(&output, argv[3], &input)) {
        problem = "can't make the output";
    } else {
        problem = run(stream, block, &input, &output);
        if (!wavFinish(&output) && !problem)
            problem = "can't write the output";
    }
    if (problem)
        fprintf(stderr, "%s\n", problem);
    sorvaneHostDeleteProcessor(stream);
    sorvaneHostCloseModel(model);
    free(block);
    fclose(input.file);
    return problem ? 1 : 0;
}
