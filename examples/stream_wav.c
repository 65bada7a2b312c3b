/* Sends a WAV file through a model in blocks and leaves out the remainder, the last bus: what is left
 * of the noise gate's is the voice.
 * usage: stream_wav MODEL INPUT.wav OUTPUT.wav
 *
 * A sound card's callback would do the same: push what came, pull what is ready. An exception of the
 * engine ends a C program; a host that wants to go on calls the engine from C++. */

#include "wav.h"

#include <sorvane_engine.h>
#include <stdlib.h>

enum { blockSize = 480 };

/* Pulls what is ready and writes at most `wanted` samples of it. Returns how many, or -1. */
static int64_t drain(void* engine, float* block, Wav* output, int64_t wanted) {
    int64_t written = 0;
    for (;;) {
        int count = sorvaneGetNumOfPendingSamples(engine);
        if (count > blockSize)
            count = blockSize;
        if (count == 0 || !sorvaneGetAudioInterleaved(engine, block, count))
            return written;
        if (count > wanted - written)
            count = (int)(wanted - written);
        if (!wavWrite(output, block, count))
            return -1;
        written += count;
    }
}

/* Returns null if all went well, or what went wrong. */
static const char* stream(void* engine, float* block, Wav* input, Wav* output) {
    int64_t received = 0;
    int64_t written = 0;
    int count;
    while ((count = wavRead(input, block, blockSize)) > 0) {
        received += count;
        sorvaneAddAudioInterleaved(engine, block, count);
        const int64_t got = drain(engine, block, output, received - written);
        if (got < 0)
            return "can't write the output";
        written += got;
    }
    /* The engine holds back some audio: zeros push it out. */
    const int64_t mostZeros = 10 * (int64_t)input->rate;
    for (int64_t zeros = 0; written < received; zeros += blockSize) {
        if (zeros > mostZeros)
            return "the model gives no output";
        memset(block, 0, sizeof(float) * blockSize * (size_t)input->channels);
        sorvaneAddAudioInterleaved(engine, block, blockSize);
        const int64_t got = drain(engine, block, output, received - written);
        if (got < 0)
            return "can't write the output";
        written += got;
    }
    return NULL;
}

int main(int argc, char** argv) {
    if (argc != 4) {
        fputs("usage: stream_wav MODEL INPUT.wav OUTPUT.wav\n", stderr);
        return 2;
    }
    const char* problem = NULL;
    Wav input;
    Wav output;
    if (!wavOpen(&input, argv[2])) {
        fprintf(stderr, "can't read %s\n", argv[2]);
        return 1;
    }
    float* block = calloc((size_t)input.channels * blockSize, sizeof(float));
    void* engine = sorvaneCreateProcessor(argv[1], input.channels, input.rate);
    if (!block) {
        problem = "out of memory";
    } else if (!engine) {
        problem = "no valid model";
    } else if (!wavCreate(&output, argv[3], &input)) {
        problem = "can't make the output";
    } else {
        const int remainder = sorvaneGetNumOfOutputBusses(engine) - 1;
        sorvaneSetParameterValue(engine, SORVANE_BUS_GAIN + remainder, 0.0f);
        problem = stream(engine, block, &input, &output);
        if (!wavFinish(&output) && !problem)
            problem = "can't write the output";
    }
    if (problem)
        fprintf(stderr, "%s\n", problem);
    sorvaneDeleteProcessor(engine);
    free(block);
    fclose(input.file);
    return problem ? 1 : 0;
}
