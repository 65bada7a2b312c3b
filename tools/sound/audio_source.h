#pragma once

#include "sound/leading_tags.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace sorvane::tools {

inline constexpr std::int64_t unknownLength = -1;

/// Records of libsndfile that go from file to file as they are; empty where there is none.
struct AudioChunks {
    std::vector<char> broadcast; ///< SF_BROADCAST_INFO with its history
    std::vector<char> cues;      ///< SF_CUES
};

/// Audio that is read once from front to back as interleaved floats with full scale at 1.
/// Failures raise ProgramError with exitInput.
class AudioSource {
public:
    AudioSource() = default;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;
    virtual ~AudioSource() = default;

    [[nodiscard]] virtual int channels() const = 0;
    [[nodiscard]] virtual int sampleRate() const = 0;

    /// The SF_FORMAT_ bits of libsndfile: sample type and, for files, container.
    [[nodiscard]] virtual int format() const = 0;

    /// Samples per channel, or unknownLength. A hint: the header of a file can be wrong.
    [[nodiscard]] virtual std::int64_t expectedLength() const = 0;

    /// Reads up to `count` samples per channel into `samples`. Returns the count read: fewer than
    /// asked for only at the end.
    virtual std::int64_t read(float* samples, std::int64_t count) = 0;

    /// Moves on by up to `count` samples; returns by how many: fewer only at the end.
    virtual std::int64_t skip(std::int64_t count);

    /// Bits a second of a lossy coding; 0 where none is or nobody knows.
    [[nodiscard]] virtual std::int64_t bitRate() const { return 0; }

    /// Title, artist and the like, by the SF_STR_ numbers of libsndfile.
    [[nodiscard]] virtual std::map<int, std::string> texts() const { return {}; }

    /// The speaker of each channel as SF_CHANNEL_MAP_ numbers; empty where none are named.
    [[nodiscard]] virtual std::vector<int> channelMap() const { return {}; }

    /// Chunks of a file as libsndfile has them.
    [[nodiscard]] virtual AudioChunks chunks() const { return {}; }

    /// Tags of an MP3 or FLAC file, byte for byte.
    [[nodiscard]] virtual LeadingTags leadingTags() const { return {}; }

    /// What went wrong without ending the stream, in words, or empty.
    [[nodiscard]] virtual std::string warning() const { return {}; }
};

} // namespace sorvane::tools
