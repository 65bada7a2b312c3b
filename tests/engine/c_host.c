#include "c_host.h"

#include "engine/sorvane_engine.h"

#include <string.h>

#define REQUIRE(condition)                                                                         \
    do {                                                                                           \
        if (!(condition))                                                                          \
            return #condition;                                                                     \
    } while (0)

static const char* useProcessor(void* handle) {
    enum { numChannels = 2, numSamples = 2048 };
    static float samples[numChannels * numSamples];
    static float left[numSamples];
    static float right[numSamples];
    const float* inputs[numChannels];
    float* outputs[numChannels];
    float low = 7.0F;
    float high = 7.0F;
    char name[16];
    SorvaneModelInfo info;

    inputs[0] = outputs[0] = left;
    inputs[1] = outputs[1] = right;
    sorvaneAddAudio(handle, inputs, numSamples);
    REQUIRE(sorvaneGetNumOfPendingSamples(handle) > 0);
    REQUIRE(sorvaneGetAudio(handle, outputs, 100));
    sorvaneResetProcessorState(handle);
    REQUIRE(sorvaneGetNumOfPendingSamples(handle) == 0);
    sorvaneAddAudioInterleaved(handle, samples, numSamples);
    REQUIRE(sorvaneGetAudioInterleaved(handle, samples, 100));

    sorvaneSetParameterValue(handle, SORVANE_BUS_GAIN + 1, 0.5F);
    REQUIRE(sorvaneGetParameterValue(handle, SORVANE_BUS_GAIN + 1) == 0.5F);
    sorvaneGetParameterRange(handle, SORVANE_REMAINDER_LEVEL, &low, &high);
    REQUIRE(low == -96.0F && high == 0.0F);
    REQUIRE(sorvaneGetNumOfOutputBusses(handle) == 2);
    sorvaneGetOutputBusName(handle, 0, name, sizeof name);
    REQUIRE(strcmp(name, "Speech") == 0);
    sorvaneGetVectorArithmeticWrapperName(name, sizeof name);
    REQUIRE(name[0] != '\0');
    sorvaneGetProcessorInfo(handle, &info);
    REQUIRE(info.sampleRate == 48000.0 && info.hop == 256);
    return NULL;
}

static const char* useModel(void* handle) {
    static const float values[6] = {1, 2, 3, 4, 5, 6};
    static const int shape[3] = {1, 3, 2};
    int resultShape[3];
    float result[6];

    sorvaneAddTensor(handle, values, 3, shape);
    REQUIRE(sorvaneGetResultTensorShape(handle, 3, resultShape));
    REQUIRE(memcmp(shape, resultShape, sizeof shape) == 0);
    REQUIRE(sorvaneGetTensor(handle, result));
    REQUIRE(memcmp(values, result, sizeof values) == 0);
    sorvaneResetModelState(handle);
    return NULL;
}

const char* runCHost(const char* modelFile) {
    const char* failure;
    void* handle = sorvaneCreateProcessor(modelFile, 2, 44100.0);
    REQUIRE(handle != NULL);
    failure = useProcessor(handle);
    sorvaneDeleteProcessor(handle);
    if (failure != NULL)
        return failure;

    handle = sorvaneCreateStemSeparator(1, &modelFile, 2, 44100.0);
    REQUIRE(handle != NULL);
    failure = useProcessor(handle);
    sorvaneDeleteProcessor(handle);
    if (failure != NULL)
        return failure;

    handle = sorvaneCreateModel(modelFile);
    REQUIRE(handle != NULL);
    failure = useModel(handle);
    sorvaneDeleteModel(handle);
    return failure;
}
