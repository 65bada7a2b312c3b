/** @file
 * SorvaneHost: what a host program needs around SorvaneEngine.
 *
 * Introduction. The engine runs a model on audio that is pushed and pulled; this layer does what
 * every host of it would write again: it finds models and explains refused ones, keeps input and
 * output in step, ends a stream, aligns the dry input with the result, and turns every exception
 * into a status. It is a library of its own (libSorvaneHost), in C99; sorvane_host.hpp is the same
 * for C++20. A program that uses it need not include sorvane_engine.h.
 *
 * A file goes through a model as a stream:
 *
 *     SorvaneHostModel* model;
 *     SorvaneHostProcessor* stream;
 *     if (sorvaneHostOpenModel("speech-48k", &model) != SORVANE_HOST_OK ||
 *         sorvaneHostCreateStream(model, channels, rate, &stream) != SORVANE_HOST_OK)
 *         return fail(sorvaneHostLastError());
 *     sorvaneHostSilenceNoise(stream);
 *     while (... input ...) {
 *         sorvaneHostPushInterleaved(stream, input, count);
 *         while (sorvaneHostPullInterleaved(stream, output, capacity, &got), got > 0)
 *             ... write ...
 *     }
 *     sorvaneHostFinish(stream);
 *     ... pull the rest: all that came out is as long as what went in ...
 *
 * and live audio in blocks: the processor of sorvaneHostCreateBlocks() and, in the callback,
 *
 *     sorvaneHostProcessInterleaved(blocks, samples, samples, count);
 *
 * Statuses. Every function that can fail returns a status; SORVANE_HOST_OK is 0. A function that
 * doesn't return it has done nothing and written nothing, but where its comment says more. No
 * exception leaves the library. Handles and pointers may be null where a comment says so; any other
 * null is refused with SORVANE_HOST_BAD_ARGUMENT. A handle that was deleted must not be used.
 *
 * Threads. Different models and processors are independent. Calls on one processor must not overlap,
 * but for those under "Controls", which may run on any thread at any time beside all the others but
 * its deletion. Calls on one model must not overlap where they run or reset its network.
 *
 * Real time. sorvaneHostProcess() and sorvaneHostProcessInterleaved() and all controls take no lock,
 * open no file and, after the first frames of a stream, take no memory. The thread that loads the
 * libraries gets its floating-point state set to treat denormals as zero; other threads should set
 * theirs before they process.
 *
 * Units. Samples are linear floats with full scale at 1. Counts of samples are per channel. Rates
 * are in hertz. Texts are UTF-8 as far as model files keep to it; paths are byte strings that reach
 * the operating system unchanged. Interleaved buffers hold sample 0 of all channels first. */

#ifndef SORVANE_HOST_H
#define SORVANE_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(SORVANE_STATIC)
#define SORVANE_HOST_API
#elif defined(_WIN32)
#if defined(SORVANE_HOST_BUILD)
#define SORVANE_HOST_API __declspec(dllexport)
#else
#define SORVANE_HOST_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define SORVANE_HOST_API __attribute__((visibility("default")))
#else
#define SORVANE_HOST_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Version
 * The engine's library and this one have one version, and belong together.
 * @{ */

#define SORVANE_HOST_VERSION_MAJOR 0
#define SORVANE_HOST_VERSION_MINOR 1
#define SORVANE_HOST_VERSION_PATCH 0
/** 10000 for each major, 100 for each minor version, and the patch. */
#define SORVANE_HOST_VERSION                                                                       \
    (SORVANE_HOST_VERSION_MAJOR * 10000 + SORVANE_HOST_VERSION_MINOR * 100 +                       \
     SORVANE_HOST_VERSION_PATCH)

/** @return SORVANE_HOST_VERSION of the running library. Threads: any. Real time: yes. */
SORVANE_HOST_API int sorvaneHostVersion(void);

/** @return the running library's version as text, such as "0.1.0". Threads: any. Real time: yes. */
SORVANE_HOST_API const char* sorvaneHostVersionText(void);

/** @return the form of the vector layer that runs on this processor, such as "AVX2". Threads:
 * any. Real time: yes. */
SORVANE_HOST_API const char* sorvaneHostVectorForm(void);

/** @} */
/** @name Errors
 * @{ */

/* NOLINTNEXTLINE(modernize-use-using): C knows no other way */
typedef enum SorvaneHostStatus {
    SORVANE_HOST_OK = 0,
    SORVANE_HOST_BAD_ARGUMENT = 1, /**< null, a rate not above 0, a negative count, a value out of
                                        range, a call that isn't for this kind of processor */
    SORVANE_HOST_NOT_FOUND = 2,    /**< no such file or model, or it can't be read */
    SORVANE_HOST_BAD_MODEL = 3,    /**< the engine refuses the file: the text tells where and why */
    SORVANE_HOST_BAD_RATE = 4,     /**< the model can't run with these channels at this rate */
    SORVANE_HOST_NO_BUS = 5,       /**< no such bus, or one that can't be steered */
    SORVANE_HOST_NO_MEMORY = 6,
    SORVANE_HOST_ENGINE = 7,   /**< the engine raised an exception while it ran */
    SORVANE_HOST_NO_OUTPUT = 8 /**< the model gives no output, too little, or too late */
} SorvaneHostStatus;

/** @return what a status means, in a few English words. Threads: any. Real time: yes. */
SORVANE_HOST_API const char* sorvaneHostStatusText(SorvaneHostStatus status);

/** Tells what the last call that failed on this thread failed of, as one or more English sentences
 * without a line break; "" if none did. Valid until the next failure on this thread.
 *
 * Threads: any; each has its own text. */
SORVANE_HOST_API const char* sorvaneHostLastError(void);

/** @} */
/** @name Models
 * @{ */

/** A model that the engine accepts. It keeps no file open; one from memory keeps its bytes. */
/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostModel SorvaneHostModel;

/** What a model file says of itself. Sizes are at the model's own rate. */
/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostModelInfo {
    double sampleRate;     /**< the rate that it was trained for */
    int numChannels;       /**< channels that its network takes */
    int numOutputChannels; /**< and gives, for each mask */
    int numBusses;         /**< masks and, last, the remainder: what they leave over */
    int formatVersion;     /**< of the file */
    int id;
    int transformLength; /**< samples, as the next two */
    int frameLength;
    int hop;
    int latencyFrames; /**< hops that the network looks ahead */
    int numBins;       /**< bins that it sees, from bin 0 */
    int inputPacking;  /**< how they are laid out: 1 magnitudes; 2 signed parts below a bin,
                            magnitudes above; 4 complex; 6 complex in groups; 5 can't be run */
    int outputPacking;
    int packedRows;   /**< F of a tensor [T, F, C] that the network takes */
    int givesSpectra; /**< 0: its results are masks; 1: the spectra of the busses */
    int64_t numWeights;
    const char* name; /**< the file's name without folders and ".model"; of bytes, its tag. Valid as
                           long as the model, as the next two */
    const char* tag;
    const char* note;
} SorvaneHostModelInfo;

/** Opens a model.
 *
 * @param nameOrPath  the path of a file, or a name such as "speech-48k": one without a folder that
 *                    isn't a file of the current folder is looked up as sorvaneHostListModels()
 *                    does.
 * @param model       takes the model, to be released with sorvaneHostCloseModel().
 *
 * @return SORVANE_HOST_NOT_FOUND when there is none; the text tells where it was looked for.
 *         SORVANE_HOST_BAD_MODEL when the engine refuses it; the text tells which record is wrong,
 *         at which byte, and what was expected there. SORVANE_HOST_NO_MEMORY.
 *
 * Threads: any. Real time: no. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostOpenModel(const char* nameOrPath,
                                                        SorvaneHostModel** model);

/** Opens a model file that lies in memory; otherwise as sorvaneHostOpenModel().
 *
 * The bytes are copied to a file without a name or, where the system has none, to one in the folder
 * for temporary files, which lasts as long as the model.
 *
 * @param bytes   the file.
 * @param size    how many bytes it has.
 * @param model   takes the model. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostOpenModelFromMemory(const void* bytes, size_t size,
                                                                  SorvaneHostModel** model);

/** Releases a model; processors that were made of it go on. Null is ignored. Real time: no. */
SORVANE_HOST_API void sorvaneHostCloseModel(SorvaneHostModel* model);

/** Tells what a model is.
 *
 * @param info      takes the fields that fit in
 * @param infoSize  bytes: sizeof(SorvaneHostModelInfo), which grows in later versions. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostGetModelInfo(const SorvaneHostModel* model,
                                                           SorvaneHostModelInfo* info,
                                                           size_t infoSize);

/** @return the name of a bus, from 0 to numBusses - 1; valid as long as the model. Null for any
 * other number. */
SORVANE_HOST_API const char* sorvaneHostGetModelBusName(const SorvaneHostModel* model, int bus);

/** How a host's rate suits a model. Audio is never resampled: the transform is scaled by a power of
 * two, so that the model may hear everything too high, or parts of the spectrum not at all. */
/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostRateFit {
    int octaves;       /**< the transform is scaled by 2^octaves */
    double stretch;    /**< frequencies seem higher by this factor, 1 to 2 */
    double badness;    /**< 0 at the model's rate; of several models the least suits best */
    char warning[256]; /**< a sentence for people where the rate is far from the model's; "" else */
} SorvaneHostRateFit;

/** Tells how a rate suits a model. Threads: any.
 *
 * @return SORVANE_HOST_BAD_ARGUMENT for a rate that isn't above 0. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostGetRateFit(const SorvaneHostModel* model, double rate,
                                                         SorvaneHostRateFit* fit);

/** Chooses among models of one kind the one that suits a rate best.
 *
 * @param models  numModels models.
 *
 * @return its number, the first of equal ones; -1 when there is none, or for bad arguments. */
SORVANE_HOST_API int sorvaneHostBestModel(const SorvaneHostModel* const* models, int numModels,
                                          double rate);

/** The model files that were found. */
/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostModelList SorvaneHostModelList;

/** Between the folders of a list. */
#if defined(_WIN32)
#define SORVANE_HOST_LIST_SEPARATOR ';'
#else
#define SORVANE_HOST_LIST_SEPARATOR ':'
#endif

/** Lists the model files, "NAME.model", of these folders, of each name the first: those of
 * `folders`; those of the environment variable SORVANE_MODEL_PATH; with an address, the folder
 * "models" beside its binary; the folder "models" beside this library, and the one that models are
 * installed in with it. Files that begin like no model are left out; others may be refused when they
 * are opened.
 *
 * @param folders  a list as PATH has it, with SORVANE_HOST_LIST_SEPARATOR between the folders; may
 *                 be null.
 * @param address  an address in the host's own program or plug-in, for its folder; may be null.
 * @param list     takes the list, to be released with sorvaneHostDeleteModelList(). It is sorted by
 *                 folder, then by name.
 *
 * Threads: any. Real time: no. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostListModels(const char* folders, const void* address,
                                                         SorvaneHostModelList** list);

/** @return the number of models in a list; 0 for null. */
SORVANE_HOST_API int sorvaneHostGetNumModels(const SorvaneHostModelList* list);

/** @return the name of a model, as sorvaneHostOpenModel() takes it; null for a number that isn't
 * one. Valid as long as the list, as the next. */
SORVANE_HOST_API const char* sorvaneHostGetModelName(const SorvaneHostModelList* list, int model);

/** @return the absolute path of a model's file. */
SORVANE_HOST_API const char* sorvaneHostGetModelPath(const SorvaneHostModelList* list, int model);

/** Releases a list; null is ignored. */
SORVANE_HOST_API void sorvaneHostDeleteModelList(SorvaneHostModelList* list);

/** Runs the network of a model on a tensor, without audio around it.
 *
 * @param shape        T, F and C: frames, frequency positions, channels.
 * @param data         T * F * C floats, channels fastest; copied.
 * @param resultShape  takes the shape of the result; zeros while the network holds frames back.
 *
 * @return SORVANE_HOST_ENGINE where the tensor doesn't fit the network: its history is then that of
 *         a new one.
 *
 * Threads: one at a time for each model. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostRunTensor(SorvaneHostModel* model, const float* data,
                                                        const int shape[3], int resultShape[3]);

/** Copies the latest result of sorvaneHostRunTensor().
 *
 * @param data      takes the product of the result's shape in floats,
 * @param capacity  which is at most this. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostGetTensor(SorvaneHostModel* model, float* data,
                                                        size_t capacity);

/** Makes a network forget its history. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostResetTensor(SorvaneHostModel* model);

/** @} */
/** @name Processors
 * A processor sends audio through a model, in one of two ways that is chosen when it is made:
 * as a stream, or in blocks.
 * @{ */

/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostProcessor SorvaneHostProcessor;

/** What a processor is. */
/* NOLINTNEXTLINE(modernize-use-using) */
typedef struct SorvaneHostProcessorInfo {
    double sampleRate; /**< the host's */
    int numChannels;   /**< the host's, in and out */
    int numBusses;
    int hop;     /**< samples at the host's rate: the work comes in portions of this length */
    int latency; /**< in blocks: how many samples later everything comes out, for good. Of a
                              stream: how many samples the model holds back, by its file */
    double secondsPerHop; /**< of the model at its own rate */
} SorvaneHostProcessorInfo;

/** Tells what a processor is.
 *
 * @param info      takes the fields that fit in
 * @param infoSize  bytes: sizeof(SorvaneHostProcessorInfo). */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostGetProcessorInfo(
    const SorvaneHostProcessor* processor, SorvaneHostProcessorInfo* info, size_t infoSize);

/** Begins a new stream: what comes out from here on has the bits of a new processor with the same
 * controls. Ramps of controls are at their ends.
 *
 * Threads: one at a time with the calls that move audio. Real time: no. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostReset(SorvaneHostProcessor* processor);

/** @return how often the engine failed in this processor since it was made. Threads: any. Real
 * time: yes. */
SORVANE_HOST_API int sorvaneHostGetNumFailures(const SorvaneHostProcessor* processor);

/** @return what the processor's last failure was, "" before the first. Threads: one at a time with
 * the calls that move audio. */
SORVANE_HOST_API const char* sorvaneHostProcessorError(const SorvaneHostProcessor* processor);

/** Releases a processor; null is ignored. Real time: no. */
SORVANE_HOST_API void sorvaneHostDeleteProcessor(SorvaneHostProcessor* processor);

/** @} */
/** @name Streams
 * For files and all that is faster or slower than real time. Samples are pushed in portions of any
 * length and pulled when they are ready: the first that comes out belongs to the first that went in.
 * How a stream is cut doesn't change what comes out.
 *
 * When the engine fails in a push or in sorvaneHostFinish(), the call returns SORVANE_HOST_ENGINE
 * (or SORVANE_HOST_NO_OUTPUT, if the model keeps back much more than its latency): what had gone in
 * and not come out comes out as silence, and the next push goes on in step with a new state.
 * @{ */

/** Makes a processor that runs as a stream.
 *
 * @param numChannels  the host's channels, in and out, from 1. It need not be the model's.
 * @param sampleRate   the host's rate, above 0 and at most 10 MHz. It need not be the model's:
 *                     sorvaneHostGetRateFit() tells how well it suits.
 * @param processor    takes the processor, to be released with sorvaneHostDeleteProcessor().
 *
 * @return SORVANE_HOST_BAD_RATE when the model can't run so, SORVANE_HOST_NO_MEMORY.
 *
 * Threads: any. Real time: no. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostCreateStream(const SorvaneHostModel* model,
                                                           int numChannels, double sampleRate,
                                                           SorvaneHostProcessor** processor);

/** Pushes samples. After sorvaneHostFinish() it begins a new stream, and drops what wasn't pulled.
 *
 * @param channels    numChannels pointers, each to numSamples floats; read only.
 * @param numSamples  from 0. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostPush(SorvaneHostProcessor* stream,
                                                   const float* const* channels, int numSamples);

/** Pushes interleaved samples; otherwise as sorvaneHostPush().
 *
 * @param samples  numSamples * numChannels floats. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostPushInterleaved(SorvaneHostProcessor* stream,
                                                              const float* samples, int numSamples);

/** @return how many samples can be pulled now; 0 for null and for blocks. */
SORVANE_HOST_API int sorvaneHostGetNumAvailable(const SorvaneHostProcessor* stream);

/** Pulls as many samples as are ready, and no more than `capacity`.
 *
 * @param channels    numChannels pointers, each to `capacity` floats; may not overlap.
 * @param capacity    from 0.
 * @param numSamples  takes how many came, also with a failure. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostPull(SorvaneHostProcessor* stream,
                                                   float* const* channels, int capacity,
                                                   int* numSamples);

/** Pulls interleaved samples; otherwise as sorvaneHostPull().
 *
 * @param samples  takes up to capacity * numChannels floats. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostPullInterleaved(SorvaneHostProcessor* stream,
                                                              float* samples, int capacity,
                                                              int* numSamples);

/** Ends a stream: all that is held back becomes ready, so that as much comes out as went in. Again
 * does nothing. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostFinish(SorvaneHostProcessor* stream);

/** @} */
/** @name Blocks
 * For callbacks of a sound card or a plug-in. Blocks of any size, also changing ones, come out as
 * long as they went in. What comes out is the stream of the processor, later by a constant number
 * of samples that is known before the first block (`latency`); before it comes silence.
 *
 * When the engine fails, the block is silence and its call returns SORVANE_HOST_ENGINE; the next
 * begins a new stream with the same latency. The dry part of the sound goes on in any case.
 * @{ */

/** No longer latency can be used, in samples: over five seconds at 192 kHz. */
#define SORVANE_HOST_LONGEST_LATENCY 1048576

/** Makes a processor that runs in blocks; otherwise as sorvaneHostCreateStream(). Its latency is
 * measured: an impulse goes through the model.
 *
 * @return also SORVANE_HOST_NO_OUTPUT when no constant latency can be kept, and SORVANE_HOST_ENGINE
 *         when the model raises. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostCreateBlocks(const SorvaneHostModel* model,
                                                           int numChannels, double sampleRate,
                                                           SorvaneHostProcessor** processor);

/** Processes a block.
 *
 * @param inputs      numChannels pointers, each to numSamples floats.
 * @param outputs     as many; each may be that of the input of any channel.
 * @param numSamples  from 0.
 *
 * Real time: yes, after the first frames. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostProcess(SorvaneHostProcessor* blocks,
                                                      const float* const* inputs,
                                                      float* const* outputs, int numSamples);

/** Processes an interleaved block; otherwise as sorvaneHostProcess().
 *
 * @param input   numSamples * numChannels floats.
 * @param output  as many; may be the input. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostProcessInterleaved(SorvaneHostProcessor* blocks,
                                                                 const float* input, float* output,
                                                                 int numSamples);

/** @} */
/** @name Controls
 * Of streams and blocks alike. Values hold until they are set again, also over a reset. Gains and
 * sensitivities take effect with the next frame, over one hop; amount and inversion over 20 ms, and
 * at once before the first sample. A model's last bus is the remainder: what its masks leave over.
 *
 * Threads: any, at any time. Real time: yes.
 * @{ */

/** @return the name of a bus, from 0 to numBusses - 1; valid as long as the processor. Null for any
 * other number. */
SORVANE_HOST_API const char* sorvaneHostGetBusName(const SorvaneHostProcessor* processor, int bus);

/** Finds a bus by its name, small and capital letters (of ASCII) alike, or by its number from 0. A
 * name that fits exactly goes first, then one that fits in another case, then the number.
 *
 * @param bus  takes its number.
 *
 * @return SORVANE_HOST_NO_BUS when there is none; also when several are called so. The text lists
 *         the busses. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostFindBus(const SorvaneHostProcessor* processor,
                                                      const char* nameOrNumber, int* bus);

/** Sets the linear gain of a bus, 0 to 100; 1 at first. SORVANE_HOST_NO_BUS for busses past the
 * sixteenth, which can't be steered. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetGain(SorvaneHostProcessor* processor, int bus,
                                                      float gain);

/** Sets the gain of a bus in decibels, at most 40; minus infinity silences it. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetGainDecibels(SorvaneHostProcessor* processor,
                                                              int bus, float decibels);

/** @return the linear gain of a bus; 1 for one that can't be steered. */
SORVANE_HOST_API float sorvaneHostGetGain(const SorvaneHostProcessor* processor, int bus);

/** Bends the mask of a bus, -100 to 100; 0 at first, which leaves it as it is. Positive values lower
 * its middle range, negative ones raise it. SORVANE_HOST_NO_BUS as above. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetSensitivity(SorvaneHostProcessor* processor,
                                                             int bus, float sensitivity);

/** @return the sensitivity of a bus; 0 for one that can't be steered. */
SORVANE_HOST_API float sorvaneHostGetSensitivity(const SorvaneHostProcessor* processor, int bus);

/** Sets the level of the remainder of a model of two busses, -96 to 0 dB, and the gain of the other
 * to 1. SORVANE_HOST_NO_BUS for models of more. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetRemainder(SorvaneHostProcessor* processor,
                                                           float decibels);

/** Gives one bus alone: its gain becomes 1, all others 0. SORVANE_HOST_NO_BUS when the model has
 * busses that can't be steered. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostIsolateBus(SorvaneHostProcessor* processor, int bus);

/** The usual wish: gives what a model of two busses was made for without its remainder, speech
 * without noise. SORVANE_HOST_NO_BUS for a model of more busses; nothing changes then. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSilenceNoise(SorvaneHostProcessor* processor);

/** Mixes the result with the dry input, which is aligned with it: 0 is the input, 1 the result. It
 * is 1 at first. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetAmount(SorvaneHostProcessor* processor,
                                                        float amount);

/** @return the amount. */
SORVANE_HOST_API float sorvaneHostGetAmount(const SorvaneHostProcessor* processor);

/** Gives what the result lacks instead of what it keeps: input less result, times the amount. Off
 * at first. */
SORVANE_HOST_API SorvaneHostStatus sorvaneHostSetInverted(SorvaneHostProcessor* processor,
                                                          bool inverted);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* SORVANE_HOST_H */
