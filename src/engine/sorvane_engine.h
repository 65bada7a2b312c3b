/** @file
 * SorvaneEngine: runs trained neural networks on streaming audio.
 *
 * A processor is made from one or more model files. A host pushes float audio into it in blocks of
 * any size, pulls processed audio out, and steers it with numbered parameters. A model handle
 * drives one network directly with tensors. The two kinds of handle are independent of each other.
 *
 * Handles. A handle is an opaque pointer. The creators return it or null; the functions that delete
 * one ignore null; every other function takes it as valid without a test. Pointers to data are not
 * tested either.
 *
 * Failures. There are no error codes: a function reports by a null handle, by false, or by doing
 * nothing, as its comment says. Beyond that a C++ exception can leave any function but the ones
 * that delete: std::bad_alloc when memory runs out, std::length_error for counts that no list can
 * hold, std::system_error when a thread can't start, and std::runtime_error, whose text begins with
 * "IPP exception: " for an operation on missing memory or on tensors whose shapes don't fit each
 * other, or is "Unknown packing format". A C++ host can catch them; a C host that wants to go on
 * needs a C++ function around the call (built so that extern "C" functions may throw: /EHs with
 * MSVC). After an exception of an audio call the stream may be out of step, and the input that
 * raised it go on waiting in memory, until sorvaneResetProcessorState(), and after one of
 * sorvaneAddTensor() until sorvaneResetModelState(); the handle can always be deleted.
 *
 * Threads. Calls on one handle must not overlap, with one exception: sorvaneGetParameterRange(),
 * sorvaneGetParameterValue(), sorvaneSetParameterValue(), sorvaneGetNumOfOutputBusses(),
 * sorvaneGetOutputBusName() and sorvaneGetProcessorInfo() may run on any thread beside the audio
 * calls and beside each other. Different handles share nothing and may be used on different threads
 * at once.
 *
 * Real time. What a real-time thread may call is said at each function as "Real time". The thread
 * that loads the library gets its floating-point state set to treat denormals as zero; no later call
 * changes the state of any thread. A network is run by recursion: its longest chain of layers, at
 * most 10,000, takes 60 to 310 bytes of stack for each (3 MB for the longest) on the calling thread
 * and, with two or more models, on worker threads with the system's default stack.
 *
 * Units. Samples are linear floats with full scale at 1. "Samples" always counts samples per
 * channel. Rates are in hertz. Paths are byte strings that reach the operating system unchanged. */

#ifndef SORVANE_ENGINE_H
#define SORVANE_ENGINE_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(SORVANE_STATIC)
#define SORVANE_API
#elif defined(_WIN32)
#if defined(SORVANE_ENGINE_BUILD)
#define SORVANE_API __declspec(dllexport)
#else
#define SORVANE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define SORVANE_API __attribute__((visibility("default")))
#else
#define SORVANE_API
#endif

/** What a host learns of a model or of a processor. All sizes are at the model's own sample
 * rate. */
/* NOLINTNEXTLINE(modernize-use-using): C knows no other way */
typedef struct SorvaneModelInfo {
    double sampleRate;   /**< the rate that the (first) model was trained for, in hertz */
    int numChannels;     /**< input channels of the (first) model */
    int lengthOrLatency; /**< of a model: its transform length in samples;
                              of a processor: its latency in samples at the host's rate, for hosts
                              that pull after pushes of any size */
    int frameLength;     /**< samples per analysis frame */
    int hop;             /**< samples between the starts of frames */
    int latencyFrames;   /**< of a model: look-ahead of its network in frames;
                              of a processor: not written */
} SorvaneModelInfo;

/** Numbers of the parameters. `bus` runs from 0 to 15: busses past the sixteenth have a gain of 1
 * and a sensitivity of 0 that can't be changed. */
enum {
    /** Level of the remainder in dB, -96 to 0, for models of one mask. Setting it sets the gain of
     * bus 0 to 1 and that of bus 1 to the level. Its default is 0. */
    SORVANE_REMAINDER_LEVEL = 1,
    /** Sensitivity of bus 0; the same value as SORVANE_BUS_SENSITIVITY + 0. */
    SORVANE_SENSITIVITY = 2,
    /** Reads 0: masks are extended above the model's band, and no call changes that. */
    SORVANE_BAND_EXTENSION_OFF = 3,
    /** SORVANE_BUS_GAIN + bus: linear gain of a bus, 0 to 100. Its default is 1; values below 0
     * count as 0, values above 100 are taken as they are. */
    SORVANE_BUS_GAIN = 256,
    /** SORVANE_BUS_SENSITIVITY + bus: -100 to 100, clamped. Its default is 0, which leaves the mask
     * of the bus as it is; positive values lower its middle range, negative ones raise it. */
    SORVANE_BUS_SENSITIVITY = 512
};

#ifdef __cplusplus
extern "C" {
#endif

/** @name Processors
 * @{ */

/** Makes a processor of one model.
 *
 * @param modelFile    path of a model file, NUL-terminated; the file is read whole and closed
 *                     again. Null counts as a path that can't be opened.
 * @param numChannels  the host's channel count, in and out, from 1; it need not be the model's.
 *                     Streams of another count are averaged to mono for the model, and its masks
 *                     are copied to every channel.
 * @param sampleRate   the host's rate; it need not be the model's. The transform sizes are scaled
 *                     by a power of two to come near to the model's, and time and memory with them.
 *                     A rate so low that the frame scales to nothing passes audio through. A rate
 *                     that isn't above 0, NaN, or so low that only the hop scales to nothing makes
 *                     a handle whose first full frame raises an exception.
 *
 * @return a handle to be released with sorvaneDeleteProcessor(), or null when the file can't be
 *         opened, is no valid model, or has no channels or no rate. A negative numChannels, also in
 *         the file, raises std::length_error; windows that no memory holds raise std::runtime_error.
 *         With a numChannels of 0 no audio goes in or out.
 *
 * Threads: any. Real time: no. */
SORVANE_API void* sorvaneCreateProcessor(const char* modelFile, int numChannels, double sampleRate);

/** Makes a processor of several models; with one it is the same as sorvaneCreateProcessor().
 *
 * A handle of two or more models that name their busses takes audio and never gives any: the input
 * waits in memory that grows with every frame. It starts one worker thread a model, which end when it is deleted.
 *
 * @param numModels    the number of models.
 * @param modelFiles   numModels paths. The models must agree in sample rate, channels, frame length
 *                     and hop.
 * @param numChannels  as above.
 * @param sampleRate   as above.
 *
 * @return a handle, or null as above, and also when numModels is 0 or the models disagree. A
 *         negative numModels raises std::length_error.
 *
 * Threads: any. Real time: no. */
SORVANE_API void* sorvaneCreateStemSeparator(int numModels, const char* const* modelFiles,
                                             int numChannels, double sampleRate);

/** Releases a processor, its models and threads. Real time: no.
 *
 * @param handle  a processor; null is ignored. */
SORVANE_API void sorvaneDeleteProcessor(void* handle);

/** @} */
/** @name Audio
 * @{ */

/** Pushes samples. All processing happens in this call.
 *
 * What becomes complete waits to be pulled. There is no end-of-stream call: to get what is held
 * back at the end, push zeros.
 *
 * @param handle      a processor.
 * @param channels    numChannels pointers, each to numSamples floats; read only.
 * @param numSamples  samples per channel, any count; 0 or below adds nothing.
 *
 * What waits is not bounded: audio that nobody pulls, and, until a reset, the input of a network
 * that gives fewer frames than it takes (none, where two paths that meet never both deliver) or the
 * results of one that gives more.
 *
 * Threads: not together with another audio call on this handle. Real time: yes with one model,
 * after the first frames: no lock, no file access, no allocation while no more of the stream waits
 * than did before, for pushes of up to 262,144 samples, all channels together, and 2,048 hops. With
 * more models the call waits for worker threads, with two locks and some ten small allocations for
 * each model and frame. */
SORVANE_API void sorvaneAddAudio(void* handle, const float* const* channels, int numSamples);

/** Pushes interleaved samples; otherwise as sorvaneAddAudio().
 *
 * @param handle      a processor.
 * @param samples     numSamples * numChannels floats, sample 0 of all channels first; read only.
 * @param numSamples  samples per channel, any count; 0 or below adds nothing. */
SORVANE_API void sorvaneAddAudioInterleaved(void* handle, const float* samples, int numSamples);

/** Pops finished samples.
 *
 * The first sample that comes out belongs to the first that went in: the stream is late, but
 * nothing needs to be trimmed in front.
 *
 * @param handle      a processor.
 * @param channels    numChannels pointers, each to numSamples floats; may not overlap.
 * @param numSamples  samples per channel, 0 up to sorvaneGetNumOfPendingSamples().
 *
 * @return false, with nothing written, when fewer samples are pending or numSamples is negative.
 *
 * Threads: not together with another audio call on this handle.
 * Real time: yes; one copy. */
SORVANE_API bool sorvaneGetAudio(void* handle, float* const* channels, int numSamples);

/** Pops finished samples into an interleaved buffer; otherwise as sorvaneGetAudio().
 *
 * @param handle      a processor.
 * @param samples     numSamples * numChannels floats.
 * @param numSamples  samples per channel, 0 up to sorvaneGetNumOfPendingSamples().
 *
 * @return false, with nothing written, when fewer samples are pending or numSamples is negative. */
SORVANE_API bool sorvaneGetAudioInterleaved(void* handle, float* samples, int numSamples);

/** Tells how much can be pulled now.
 *
 * @param handle  a processor.
 *
 * @return samples per channel; wrong once 2^31 or more of them wait.
 *
 * Threads: not together with another audio call on this handle. Real time: yes. */
SORVANE_API int sorvaneGetNumOfPendingSamples(void* handle);

/** Drops all audio in flight and makes the networks forget their history. Parameters stay. The next
 * push begins a new stream.
 *
 * @param handle  a processor.
 *
 * Threads: not together with another audio call on this handle. Real time: no (releases memory). */
SORVANE_API void sorvaneResetProcessorState(void* handle);

/** @} */
/** @name Parameters and information
 * @{ */

/** Tells the range of a parameter, which is the same for every handle.
 *
 * @param handle    a processor.
 * @param id        number of the parameter.
 * @param minValue  takes the lowest value,
 * @param maxValue  and this the highest. For ids without a range (and SORVANE_BAND_EXTENSION_OFF)
 *                  both stay as they were; busses past the sixteenth have that of the others.
 *
 * Threads: any, also beside audio calls. Real time: yes. */
SORVANE_API void sorvaneGetParameterRange(void* handle, int id, float* minValue, float* maxValue);

/** Tells the value of a parameter.
 *
 * @param handle  a processor.
 * @param id      number of the parameter.
 *
 * @return the value, or 0 for an id that isn't one.
 *
 * Threads: any, also beside audio calls. Real time: yes. */
SORVANE_API float sorvaneGetParameterValue(void* handle, int id);

/** Sets a parameter. It takes effect at the next output frame.
 *
 * @param handle  a processor.
 * @param id      number of the parameter; unknown ones are ignored.
 * @param value   the new value; NaN is ignored.
 *
 * Threads: any, also beside audio calls. Real time: yes. */
SORVANE_API void sorvaneSetParameterValue(void* handle, int id, float value);

/** Counts the busses.
 *
 * @param handle  a processor.
 *
 * @return the number of busses, the remainder (always the last) included.
 *
 * Threads: any, also beside audio calls. Real time: yes. */
SORVANE_API int sorvaneGetNumOfOutputBusses(void* handle);

/** Tells the name of a bus.
 *
 * @param handle      a processor.
 * @param bus         0 up to sorvaneGetNumOfOutputBusses() - 1. The names stand in a circle with
 *                    one empty name at its end, and other numbers walk round it, backwards when
 *                    negative: -1 is the empty name.
 * @param buffer      is filled with zeros, and takes at most bufferSize bytes of the name; a name
 *                    of at least bufferSize bytes has no terminator.
 * @param bufferSize  bytes of the buffer.
 *
 * Threads: any, also beside audio calls. Real time: yes. */
SORVANE_API void sorvaneGetOutputBusName(void* handle, int bus, char* buffer,
                                         unsigned int bufferSize);

/** Tells what a processor is.
 *
 * @param handle  a processor.
 * @param info    takes all fields but latencyFrames, which stays as it was.
 *
 * Threads: any, also beside audio calls. Real time: no. */
SORVANE_API void sorvaneGetProcessorInfo(void* handle, SorvaneModelInfo* info);

/** Tells the name of the vector layer that the library was built with.
 *
 * @param buffer      is filled with zeros, and takes at most bufferSize bytes of the name; without
 *                    a terminator if it doesn't fit.
 * @param bufferSize  bytes of the buffer.
 *
 * Threads: any. Real time: yes. */
SORVANE_API void sorvaneGetVectorArithmeticWrapperName(char* buffer, unsigned int bufferSize);

/** @} */
/** @name Models
 * @{ */

/** Loads one model file for use with tensors.
 *
 * @param modelFile  path of a model file, NUL-terminated; the file is read whole and closed again.
 *                   Null counts as a path that can't be opened.
 *
 * @return a handle to be released with sorvaneDeleteModel(), or null when the file can't be opened
 *         or is no valid model.
 *
 * Threads: any. Real time: no. */
SORVANE_API void* sorvaneCreateModel(const char* modelFile);

/** Releases a model. Real time: no.
 *
 * @param handle  a model; null is ignored. */
SORVANE_API void sorvaneDeleteModel(void* handle);

/** Runs the network on a tensor. Its result replaces that of the call before, and is empty while
 * the network holds frames back.
 *
 * @param handle   a model.
 * @param data     the product of the dimensions in floats, last dimension fastest; copied. Time and
 *                 memory go with the frames also where a frame has no values.
 * @param numDims  the number of dimensions; networks expect 3: [T, F, C], that is frames, frequency
 *                 positions, channels. One or two, and shapes that don't fit the network's weights,
 *                 raise the size error; a negative count raises std::length_error.
 * @param shape    numDims dimensions, from 0.
 *
 * Threads: one at a time for each model handle. Real time: yes after the first calls of a shape: no
 * lock, no file access, no allocation. */
SORVANE_API void sorvaneAddTensor(void* handle, const float* data, int numDims, const int* shape);

/** Tells the dimensions of the latest result.
 *
 * @param handle   a model.
 * @param numDims  how many dimensions are expected; an empty result has 0.
 * @param shape    takes them.
 *
 * @return false, with nothing written, unless the result has exactly numDims dimensions.
 *
 * Threads: one at a time for each model handle. Real time: yes. */
SORVANE_API bool sorvaneGetResultTensorShape(void* handle, int numDims, int* shape);

/** Copies the latest result, which stays and can be fetched again.
 *
 * @param handle  a model.
 * @param data    takes the product of the result's dimensions in floats.
 *
 * @return false, with nothing written, when the result is empty.
 *
 * Threads: one at a time for each model handle. Real time: yes. */
SORVANE_API bool sorvaneGetTensor(void* handle, float* data);

/** Makes the network forget its history. The latest result stays.
 *
 * @param handle  a model.
 *
 * Threads: one at a time for each model handle. Real time: no (releases memory). */
SORVANE_API void sorvaneResetModelState(void* handle);

/** @} */

#ifdef __cplusplus
} /* extern "C" */

/** What stands beside the C functions for C++ hosts. */
namespace sorvane {

/** The record behind a processor handle. Its member function
 *     void getParameterRange(int id, float* minValue, float* maxValue)
 * is exported under its mangled name beside sorvaneGetParameterRange(), which does the same. */
class ProcessorState;

/** A handle of sorvaneCreateModel(), where a processor's could be meant. */
struct ModelHandle {
    /** @param model  a handle of sorvaneCreateModel(). */
    ModelHandle(void* model) : handle(model) {} /* NOLINT(google-explicit-constructor) */
    void* handle;                               /**< that handle */
};

/** Tells what a model is: the form of ::sorvaneGetProcessorInfo for a handle of
 * sorvaneCreateModel(). For C++ hosts; call it by its qualified name: without it, also where
 * `using namespace sorvane` stands, the processor's form is called.
 *
 * @param model  a model.
 * @param info   takes all fields.
 *
 * Threads: one at a time for each model handle. Real time: yes. */
inline void sorvaneGetProcessorInfo(ModelHandle model, SorvaneModelInfo* info) {
    /* The library has it for a plain pointer. Declared here alone, it isn't among those that a call
     * from elsewhere chooses from. */
    SORVANE_API void sorvaneGetProcessorInfo(void* modelHandle, SorvaneModelInfo* info);
    sorvaneGetProcessorInfo(model.handle, info);
}

} /* namespace sorvane */
#endif

#endif /* SORVANE_ENGINE_H */
