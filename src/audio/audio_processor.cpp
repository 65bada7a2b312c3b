#include "audio/audio_processor.h"

namespace sorvane {

bool BaseAudioProcessor::setFormats(const AudioFormat& input, const AudioFormat& output) {
    if (!(input == inputFormat) || !(output == outputFormat)) {
        inputFormat = input;
        outputFormat = output;
    }
    return true;
}

int BaseAudioProcessor::getLatency(int /*blockSize*/) {
    return 0;
}

void BaseAudioProcessor::reset() {}

} // namespace sorvane
