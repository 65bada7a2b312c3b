#pragma once

#include "audio/audio_format.h"
#include "audio/signal.h"

namespace sorvane {

/// Turns a stream of audio blocks into another one: a block of any length goes in, a block of any
/// length, often empty, comes out. Set the formats, then process; reset at any time between.
/// Threads: one at a time.
class BaseAudioProcessor {
public:
    BaseAudioProcessor() = default;
    BaseAudioProcessor(const BaseAudioProcessor&) = delete;
    BaseAudioProcessor& operator=(const BaseAudioProcessor&) = delete;
    virtual ~BaseAudioProcessor() = default;

    /// Stores what process() takes and gives. Rebuilds nothing. Returns success.
    virtual bool setFormats(const AudioFormat& input, const AudioFormat& output);

    /// Delay in samples at the host's rate, for pushes of `blockSize` samples.
    virtual int getLatency(int blockSize);

    /// Starts the stream anew.
    virtual void reset();

    virtual void process(Signal32& output, const Signal32& input) = 0;

protected:
    AudioFormat inputFormat;
    AudioFormat outputFormat;
};

} // namespace sorvane
