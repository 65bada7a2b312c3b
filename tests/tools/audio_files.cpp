#include "tools/audio_files.h"

#include "util/signals.h"
#include "util/temp_file.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace sorvane::test {

void writeAudio(const std::string& path, const AudioFile& audio) {
    SF_INFO info{};
    info.samplerate = audio.sampleRate;
    info.channels = audio.channels;
    info.format = audio.format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr)
        throw std::runtime_error(sf_strerror(nullptr));
    const auto count = static_cast<sf_count_t>(audio.samples.size());
    const bool complete = sf_write_float(file, audio.samples.data(), count) == count;
    if (sf_close(file) != 0 || !complete)
        throw std::runtime_error("can't write " + path);
}

AudioFile readRaw(const std::string& path, const AudioFile& shape) {
    SF_INFO info{};
    if ((shape.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_RAW) {
        info.samplerate = shape.sampleRate;
        info.channels = shape.channels;
        info.format = shape.format;
    }
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        throw std::runtime_error(path + ": " + sf_strerror(nullptr));
    AudioFile audio{info.samplerate, info.channels, info.format, {}};
    audio.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
    const sf_count_t count = sf_readf_float(file, audio.samples.data(), info.frames);
    audio.samples.resize(static_cast<std::size_t>(count * info.channels));
    sf_close(file);
    return audio;
}

AudioFile readAudio(const std::string& path) {
    return readRaw(path, {});
}

std::string readText(const std::string& path) {
    const auto bytes = TempFile::readFile(path);
    return {bytes.begin(), bytes.end()};
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush())
        throw std::runtime_error("can't write " + path);
}

AudioFile noiseFile(int sampleRate, int channels, int length, int format) {
    return {sampleRate, channels, format, noise(1, length * channels, 7).front()};
}

std::vector<float> scaled(std::vector<float> samples, double factor) {
    for (float& sample : samples)
        sample = static_cast<float>(static_cast<double>(sample) * factor);
    return samples;
}

double distance(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size())
        return 1e9;
    double largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        largest =
            std::max(largest, std::abs(static_cast<double>(a[i]) - static_cast<double>(b[i])));
    return largest;
}

} // namespace sorvane::test
