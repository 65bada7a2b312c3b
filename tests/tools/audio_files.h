#pragma once

#include <sndfile.h>
#include <string>
#include <vector>

namespace sorvane::test {

// An audio file as a whole, interleaved, with full scale at 1.
struct AudioFile {
    int sampleRate = 48000;
    int channels = 1;
    int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<float> samples;
};

void writeAudio(const std::string& path, const AudioFile& audio);
AudioFile readAudio(const std::string& path);

// Bytes and text of a whole file.
std::string readText(const std::string& path);
void writeText(const std::string& path, const std::string& text);

// A file of packed samples, which tells nothing of itself: `shape` does.
AudioFile readRaw(const std::string& path, const AudioFile& shape);

// White noise of `length` samples per channel, uniform between -0.5 and 0.5, the same each time.
AudioFile noiseFile(int sampleRate, int channels, int length,
                    int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT);

std::vector<float> scaled(std::vector<float> samples, double factor);

// The largest distance between two files' samples; a large number when their lengths differ.
double distance(const std::vector<float>& a, const std::vector<float>& b);

} // namespace sorvane::test
