#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <sndfile.h>
#include <string>
#include <vector>

namespace sorvane::tools {

/// An audio file that is read from front to back as interleaved floats with full scale at 1.
/// Failures raise ProgramError with exitInput.
class AudioReader {
public:
    explicit AudioReader(const std::string& path);

    [[nodiscard]] int channels() const { return info.channels; }
    [[nodiscard]] int sampleRate() const { return info.samplerate; }

    /// The SF_FORMAT_ bits of libsndfile: container and sample type.
    [[nodiscard]] int format() const { return info.format; }

    /// Samples per channel as the file's header has it: a hint, for the header can be wrong.
    [[nodiscard]] std::int64_t expectedLength() const { return info.frames; }

    /// Reads up to `count` samples per channel into `samples`. Returns the count read: fewer than
    /// asked for only at the end.
    std::int64_t read(float* samples, std::int64_t count);

    /// Title, artist and the like, by the SF_STR_ numbers of libsndfile.
    [[nodiscard]] std::map<int, std::string> texts() const;

    /// The speaker of each channel as SF_CHANNEL_MAP_ numbers; empty where the file names none.
    [[nodiscard]] std::vector<int> channelMap() const;

private:
    struct Closer {
        void operator()(SNDFILE* opened) const { sf_close(opened); }
    };

    std::string name;
    SF_INFO info{};
    std::unique_ptr<SNDFILE, Closer> file;
};

} // namespace sorvane::tools
