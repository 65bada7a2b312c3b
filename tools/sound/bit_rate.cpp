#include "sound/bit_rate.h"

#include "sound/media_format.h"

#include <algorithm>
#include <iterator>

namespace sorvane::tools {

namespace {

struct Span {
    double lowest; // kilobits a second, as the next
    double highest;
};

/// The constant rates that an MP3 file may have, and those of lower sample rates.
Span ratesOfMp3(int sampleRate) {
    if (sampleRate >= 32000)
        return {32.0, 320.0};
    return {8.0, sampleRate >= 16000 ? 160.0 : 64.0};
}

double nextOfMp3(double kilobits) {
    const double steps[] = {8,  16,  24,  32,  40,  48,  56,  64,  80,
                            96, 112, 128, 144, 160, 192, 224, 256, 320};
    const double* step = std::lower_bound(std::begin(steps), std::end(steps), kilobits);
    return step == std::end(steps) ? 320.0 : *step;
}

/// Vorbis' own measure of quality, 0 to 1, for kilobits a second and channel at 44.1 kHz.
double qualityOfVorbis(double kilobits) {
    const double steps[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 250};
    for (std::size_t i = 1; i < std::size(steps); ++i)
        if (kilobits <= steps[i]) {
            const double part = (kilobits - steps[i - 1]) / (steps[i] - steps[i - 1]);
            return std::max(0.0, (static_cast<double>(i - 1) + part) / 10.0);
        }
    return 1.0;
}

} // namespace

void setBitRate(SNDFILE& file, int format, const AudioDescription& description) {
    if (description.bitRate <= 0)
        return;
    const double kilobits = static_cast<double>(description.bitRate) / 1000.0;
    double value = 0.0;
    int command = SFC_SET_COMPRESSION_LEVEL;
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_MPEG_LAYER_III: {
        int mode = SF_BITRATE_MODE_CONSTANT;
        sf_command(&file, SFC_SET_BITRATE_MODE, &mode, sizeof mode);
        const Span span = ratesOfMp3(description.sampleRate);
        value = (span.highest - nextOfMp3(kilobits)) / (span.highest - span.lowest);
        break;
    }
    case SF_FORMAT_VORBIS:
        command = SFC_SET_VBR_ENCODING_QUALITY;
        value = qualityOfVorbis(kilobits / description.channels);
        break;
    case SF_FORMAT_OPUS: // each channel has 6 to 256 kilobits a second
        value = (256.0 - kilobits / description.channels) / 250.0;
        break;
    default:
        return;
    }
    value = std::clamp(value, 0.0, 1.0);
    sf_command(&file, command, &value, sizeof value);
}

std::int64_t neededBitRate(int outputFormat, int inputFormat, std::int64_t inputBitRate,
                           int channels) {
    const int coding = outputFormat & SF_FORMAT_SUBMASK;
    if (coding != SF_FORMAT_MPEG_LAYER_III && coding != SF_FORMAT_VORBIS &&
        coding != SF_FORMAT_OPUS)
        return 0;
    const bool sameCoding = coding == (inputFormat & SF_FORMAT_SUBMASK);
    // A constant rate is kept to the bit, and measured a little high.
    if (coding == SF_FORMAT_MPEG_LAYER_III && sameCoding && inputBitRate > 0)
        return inputBitRate - inputBitRate / 64;
    return sufficientBitRate(inputBitRate, sameCoding, channels);
}

} // namespace sorvane::tools
