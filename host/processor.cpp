#include "processor.h"

#include "rate_fit.h"
#include "status.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>

using sorvane::host::fail;

namespace {

constexpr double rampSeconds = 0.02;

/// A name that fills the buffer may have been cut, so the buffer grows until a terminator fits.
std::string busName(void* engine, int bus) {
    std::vector<char> buffer(64);
    for (;;) {
        sorvaneGetOutputBusName(engine, bus, buffer.data(),
                                static_cast<unsigned int>(buffer.size()));
        if (buffer.back() == '\0')
            return buffer.data();
        buffer.resize(buffer.size() * 2);
    }
}

bool sameInAnyCase(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

} // namespace

SorvaneHostProcessor::SorvaneHostProcessor(const SorvaneHostModel& model, int numChannels,
                                           double sampleRate, Mode mode)
    : engine(model.path, numChannels, sampleRate) {
    const int numBusses = sorvaneGetNumOfOutputBusses(engine.get());
    for (int bus = 0; bus < numBusses; ++bus)
        busNames.push_back(busName(engine.get(), bus));

    SorvaneModelInfo reported{};
    ::sorvaneGetProcessorInfo(engine.get(), &reported);
    const int octaves = sorvane::host::rateFit(reported.sampleRate, sampleRate).octaves;
    info.sampleRate = sampleRate;
    info.numChannels = numChannels;
    info.numBusses = numBusses;
    info.hop = static_cast<int>(std::nearbyint(std::ldexp(reported.hop, octaves)));
    info.latency = std::max(reported.lengthOrLatency, 0);
    info.secondsPerHop = reported.hop / reported.sampleRate;

    const int rampLength = std::max(1, static_cast<int>(rampSeconds * sampleRate));
    if (mode == Mode::stream)
        stream.emplace(engine, info.latency, std::max(info.hop, 1), rampLength);
    else
        info.latency = blocks.emplace(engine, rampLength).latency();
}

void SorvaneHostProcessor::requireSteered(int bus) const {
    if (bus < 0 || bus >= info.numBusses)
        fail(SORVANE_HOST_NO_BUS,
             "there is no bus " + std::to_string(bus) + "; the busses are " + listOf(busNames));
    if (bus >= mostSteeredBusses)
        fail(SORVANE_HOST_NO_BUS,
             "bus " + std::to_string(bus) + " can't be steered, only the first sixteen can");
}

int SorvaneHostProcessor::findBus(const std::string& nameOrNumber) const {
    const auto find = [&](const auto& fits) {
        const auto count = std::count_if(busNames.begin(), busNames.end(), fits);
        if (count > 1)
            fail(SORVANE_HOST_NO_BUS,
                 "several busses are called '" + nameOrNumber + "'; use a number");
        return count == 0 ? -1
                          : static_cast<int>(std::find_if(busNames.begin(), busNames.end(), fits) -
                                             busNames.begin());
    };
    int bus = find([&](const std::string& name) { return name == nameOrNumber; });
    if (bus < 0)
        bus = find([&](const std::string& name) { return sameInAnyCase(name, nameOrNumber); });
    const bool isNumber = !nameOrNumber.empty() && nameOrNumber.size() < 6 &&
                          nameOrNumber.find_first_not_of("0123456789") == std::string::npos;
    if (bus < 0 && isNumber)
        bus = std::stoi(nameOrNumber);
    if (bus < 0 || bus >= info.numBusses)
        fail(SORVANE_HOST_NO_BUS,
             "there is no bus '" + nameOrNumber + "'; the busses are " + listOf(busNames));
    return bus;
}

void SorvaneHostProcessor::countFailure() noexcept {
    ++numFailures;
    std::snprintf(error.data(), error.size(), "%s", sorvane::host::lastError());
}
