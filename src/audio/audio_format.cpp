#include "audio/audio_format.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace sorvane {

namespace {

// The layout for n channels stands in row n - 1, closed by a 0.
constexpr int layouts[10][11] = {
    {1},
    {2, 3},
    {2, 3, 4},
    {2, 3, 6, 7},
    {2, 3, 4, 6, 7},
    {2, 3, 4, 5, 6, 7},
    {2, 3, 4, 6, 7, 11, 12},
    {2, 3, 4, 5, 6, 7, 11, 12},
    {2, 3, 4, 6, 7, 11, 12, 20, 21},
    {2, 3, 4, 5, 6, 7, 11, 12, 20, 21},
};

} // namespace

void AudioFormat::updateSpeakers() {
    speakers.resize(speakerIds.size());
    std::transform(speakerIds.begin(), speakerIds.end(), speakers.begin(),
                   [](int id) { return std::make_shared<SpeakerDescription>(id); });
}

void AudioFormat::setDefaultLayout(int channelCount) {
    if (channelCount < 0)
        throw std::length_error("vector too long");
    speakerIds.resize(static_cast<std::size_t>(channelCount));
    if (channelCount >= 1 && channelCount <= 10)
        std::copy_n(layouts[channelCount - 1], channelCount, speakerIds.begin());
    updateSpeakers();
}

AudioFormat defaultFormat(int channelCount, double sampleRate) {
    AudioFormat format;
    format.setDefaultLayout(channelCount);
    format.sampleRate = sampleRate;
    return format;
}

} // namespace sorvane
