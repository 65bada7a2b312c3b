#pragma once

#include "sound/audio_source.h"
#include "sound/raw_format.h"

#include "audio/sample_format.h"

#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace sorvane::tools {

/// A packed stream of a file, or of standard input for the path "-". What follows the last whole
/// sample of all channels is dropped with a warning.
class RawReader : public AudioSource {
public:
    RawReader(const std::string& path, RawInput rawInput);

    /// Goes on in a stream that is open, standard input for one, for `bytesLeft` bytes or, for -1, to
    /// its end.
    RawReader(std::string streamName, RawInput rawInput, std::FILE* stream, std::int64_t bytesLeft);

    [[nodiscard]] int channels() const override { return input.channels; }
    [[nodiscard]] int sampleRate() const override { return input.sampleRate; }
    [[nodiscard]] int format() const override { return input.format.sndfileType; }
    [[nodiscard]] std::int64_t expectedLength() const override { return length; }
    std::int64_t read(float* samples, std::int64_t count) override;
    [[nodiscard]] std::string warning() const override;

private:
    struct Closer {
        void operator()(std::FILE* opened) const {
            if (opened != stdin)
                std::fclose(opened);
        }
    };

    [[nodiscard]] std::size_t bytesPerFrame() const {
        return static_cast<std::size_t>(packing.bytesPerSample) *
               static_cast<std::size_t>(input.channels);
    }

    std::string name;
    RawInput input;
    SampleFormat packing;
    std::int64_t length = unknownLength;
    std::int64_t position = 0; // samples per channel, as is the next
    std::int64_t end = std::numeric_limits<std::int64_t>::max();
    bool cutOff = false;
    std::size_t bytesDropped = 0;
    std::vector<char> bytes;
    std::vector<float> row;
    std::unique_ptr<std::FILE, Closer> file;
};

} // namespace sorvane::tools
