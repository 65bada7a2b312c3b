/* A host that nothing ends: usage: survivor MODEL...
 * Tries each file as a model, runs noise through those that are, and tells how many were refused and
 * how many raised. Fails where a refusal has no reason or a stream another length than its input. */

#include <sorvane_host.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { blockSize = 1000, numBlocks = 20 };

/* Returns how often the engine raised; ends the program where the layer breaks its word. */
static int run(const SorvaneHostModel* model) {
    SorvaneHostProcessor* stream = NULL;
    SorvaneHostProcessor* blocks = NULL;
    float block[blockSize];
    int received = 0;
    int count;
    if (sorvaneHostCreateStream(model, 1, 48000.0, &stream) != SORVANE_HOST_OK)
        return 1;
    for (int i = 0; i < numBlocks; ++i) {
        for (int k = 0; k < blockSize; ++k)
            block[k] = (float)rand() / (float)RAND_MAX - 0.5f;
        sorvaneHostPushInterleaved(stream, block, blockSize);
        while (sorvaneHostPullInterleaved(stream, block, blockSize, &count) == SORVANE_HOST_OK &&
               count > 0)
            received += count;
    }
    sorvaneHostFinish(stream);
    while (sorvaneHostPullInterleaved(stream, block, blockSize, &count) == SORVANE_HOST_OK &&
           count > 0)
        received += count;
    if (received != numBlocks * blockSize) {
        fprintf(stderr, "%d samples came back\n", received);
        exit(1);
    }
    const int failures = sorvaneHostGetNumFailures(stream);
    if (failures > 0 && strlen(sorvaneHostProcessorError(stream)) == 0)
        exit(1);
    sorvaneHostDeleteProcessor(stream);
    if (sorvaneHostCreateBlocks(model, 2, 44100.0, &blocks) == SORVANE_HOST_OK)
        sorvaneHostProcessInterleaved(blocks, block, block, blockSize / 2);
    sorvaneHostDeleteProcessor(blocks);
    return failures;
}

int main(int argc, char** argv) {
    int refused = 0;
    int raised = 0;
    for (int i = 1; i < argc; ++i) {
        SorvaneHostModel* model = NULL;
        if (sorvaneHostOpenModel(argv[i], &model) == SORVANE_HOST_OK) {
            raised += run(model) > 0;
        } else {
            ++refused;
            if (strstr(sorvaneHostLastError(), "at byte") == NULL) {
                fprintf(stderr, "%s: %s\n", argv[i], sorvaneHostLastError());
                return 1;
            }
        }
        sorvaneHostCloseModel(model);
    }
    printf("%d refused, %d raised\n", refused, raised);
    return 0;
}
