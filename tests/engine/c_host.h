#ifndef SORVANE_TESTS_C_HOST_H
#define SORVANE_TESTS_C_HOST_H

#ifdef __cplusplus
extern "C" {
#endif

/* Uses the whole public interface as a C program does, with a pass-through model of one channel and
 * one mask. Returns null, or what went wrong. */
const char* runCHost(const char* modelFile);

#ifdef __cplusplus
}
#endif

#endif
