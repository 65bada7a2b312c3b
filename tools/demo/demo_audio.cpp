// The steps of scripts/demo.sh that neither the host program nor gnuplot does:
//   sorvane_demo mix VOICE_OUT NOISY_OUT RATIO_DB NOISE_IN VOICE_IN...
//   sorvane_demo snr VOICE FILE
//   sorvane_demo spectrogram FILE > DATA
// Files are mono. The noise is repeated until it is as long as the voices after one another.

#include "sound/audio_reader.h"

#include "audio/fft.h"
#include "audio/windows.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using sorvane::tools::AudioReader;
using Samples = std::vector<float>;

constexpr double voiceLevel = -20.0; // dBFS, RMS

double power(const Samples& samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * static_cast<double>(sample);
    return sum / static_cast<double>(std::max<std::size_t>(samples.size(), 1));
}

/// Adds a file to the end of `samples`; returns its rate.
int append(Samples& samples, const std::string& path) {
    AudioReader reader(path);
    if (reader.channels() != 1)
        throw std::runtime_error(path + " is not mono");
    Samples block(4096);
    while (const auto count = reader.read(block.data(), 4096))
        samples.insert(samples.end(), block.begin(), block.begin() + count);
    return reader.sampleRate();
}

Samples load(const std::string& path) {
    Samples samples;
    append(samples, path);
    return samples;
}

void save(const std::string& path, const Samples& samples, int rate) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    const auto count = static_cast<sf_count_t>(samples.size());
    if (file == nullptr || sf_writef_float(file, samples.data(), count) != count ||
        sf_close(file) != 0)
        throw std::runtime_error("can't write " + path);
}

/// Scales to a power; silence stays silence.
void scaleTo(Samples& samples, double wantedPower) {
    const double now = power(samples);
    const auto factor = static_cast<float>(now > 0 ? std::sqrt(wantedPower / now) : 0.0);
    for (float& sample : samples)
        sample *= factor;
}

void mix(const std::string& voicePath, const std::string& noisyPath, double ratio,
         const std::string& noiseInput, const std::vector<std::string>& inputs) {
    Samples voice;
    int rate = 0;
    for (const std::string& input : inputs)
        rate = append(voice, input);
    scaleTo(voice, std::pow(10.0, voiceLevel / 10.0));

    const Samples recording = load(noiseInput);
    if (recording.empty())
        throw std::runtime_error(noiseInput + " has no audio");
    Samples noise(voice.size());
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = recording[i % recording.size()];
    scaleTo(noise, std::pow(10.0, (voiceLevel - ratio) / 10.0));

    Samples noisy = voice;
    for (std::size_t i = 0; i < noisy.size(); ++i)
        noisy[i] += noise[i];
    save(voicePath, voice, rate);
    save(noisyPath, noisy, rate);
}

/// What a file has beside the voice counts as noise, lost voice too.
void printRatio(const std::string& voicePath, const std::string& path) {
    const Samples voice = load(voicePath);
    Samples rest = load(path);
    if (rest.size() != voice.size())
        throw std::runtime_error("the files differ in length");
    for (std::size_t i = 0; i < rest.size(); ++i)
        rest[i] -= voice[i];
    std::printf("%.1f dB\n", 10.0 * std::log10(power(voice) / power(rest)));
}

/// Lines "seconds kilohertz dB" in blocks of one frame, as gnuplot reads a grid.
void printSpectrogram(const std::string& path) {
    constexpr int length = 1024;
    constexpr int hop = 512;
    constexpr double highest = 12.0; // kHz; a voice has little above
    Samples samples;
    const int rate = append(samples, path);
    const sorvane::Signal32 window = sorvane::hann(1, length);
    sorvane::FFT32 transform;
    sorvane::Signal32 frame(1, length);
    for (std::size_t start = 0; start + length <= samples.size(); start += hop) {
        float* row = frame.channelData(0);
        for (int i = 0; i < length; ++i)
            row[i] = samples[start + static_cast<std::size_t>(i)] * window.row(0)[i];
        const sorvane::ComplexSignal32 spectrum = transform.forward(frame);
        for (int bin = 0; bin < spectrum.length; ++bin) {
            const double frequency = 0.001 * rate * bin / length;
            if (frequency > highest)
                break;
            // Full scale is a sine of amplitude 1: half the sum of the window, which is length / 2.
            const double magnitude =
                static_cast<double>(std::abs(spectrum.row(0)[bin])) / (length / 4);
            std::printf("%.4f %.4f %.1f\n", static_cast<double>(start + length / 2) / rate,
                        frequency, 20.0 * std::log10(magnitude + 1e-6));
        }
        std::printf("\n");
    }
}

int run(const std::vector<std::string>& arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    if (command == "mix" && arguments.size() > 5)
        mix(arguments[1], arguments[2], std::atof(arguments[3].c_str()), arguments[4],
            {arguments.begin() + 5, arguments.end()});
    else if (command == "snr" && arguments.size() == 3)
        printRatio(arguments[1], arguments[2]);
    else if (command == "spectrogram" && arguments.size() == 2)
        printSpectrogram(arguments[1]);
    else
        throw std::runtime_error("see scripts/demo.sh for the arguments");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane_demo: %s\n", error.what());
        return 1;
    }
}
