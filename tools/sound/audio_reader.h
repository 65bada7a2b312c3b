#pragma once

#include "sound/audio_source.h"

#include <memory>
#include <sndfile.h>

namespace sorvane::tools {

/// An audio file of a format that libsndfile reads.
class AudioReader : public AudioSource {
public:
    /// Messages call it `shownName`, if that is given.
    explicit AudioReader(const std::string& path, const std::string& shownName = {});

    [[nodiscard]] int channels() const override { return info.channels; }
    [[nodiscard]] int sampleRate() const override { return info.samplerate; }
    [[nodiscard]] int format() const override { return info.format; }
    [[nodiscard]] std::int64_t expectedLength() const override;
    [[nodiscard]] std::int64_t bitRate() const override;
    std::int64_t read(float* samples, std::int64_t count) override;
    std::int64_t skip(std::int64_t count) override;
    [[nodiscard]] std::map<int, std::string> texts() const override;
    [[nodiscard]] std::vector<int> channelMap() const override;
    [[nodiscard]] AudioChunks chunks() const override;
    [[nodiscard]] LeadingTags leadingTags() const override { return readLeadingTags(place); }
    [[nodiscard]] std::string warning() const override;

private:
    struct Closer {
        void operator()(SNDFILE* opened) const { sf_close(opened); }
    };

    void requireWhole();

    std::string place;
    std::string name; ///< for messages
    SF_INFO info{};
    std::int64_t length = 0; // read so far, samples per channel
    std::unique_ptr<SNDFILE, Closer> file;
};

} // namespace sorvane::tools
