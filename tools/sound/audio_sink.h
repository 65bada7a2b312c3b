#pragma once

namespace sorvane::tools {

/// Takes a stream of interleaved floats, block by block and then its end. Most sinks are stages
/// that hand something on to the next sink, which they don't own.
class AudioSink {
public:
    AudioSink() = default;
    AudioSink(const AudioSink&) = delete;
    AudioSink& operator=(const AudioSink&) = delete;
    virtual ~AudioSink() = default;

    /// Takes `count` samples per channel.
    virtual void write(const float* samples, int count) = 0;

    /// The stream has ended: a stage hands on what it holds back, and then the end itself.
    virtual void finish() = 0;
};

/// The last sink: a file, which has its name only after commit(). Between finish() and commit() all
/// that can fail but the change of the name is done. Failures raise ProgramError with exitOutput.
class OutputSink : public AudioSink {
public:
    virtual void commit() = 0;
};

} // namespace sorvane::tools
