#include "plugins/plugin_host.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace sorvane::test {

namespace {

constexpr const char* gate = "noise_gate_48k_mono";

// The largest distance between `output` and dryFactor * input + wetFactor * wet, all aligned.
double distanceToMix(const AudioRows& output, const AudioRows& input, const AudioRows& wet,
                     std::size_t latency, double dryFactor, double wetFactor) {
    double largest = 0.0;
    for (std::size_t i = latency; i < output[0].size(); ++i) {
        const double expected = dryFactor * static_cast<double>(input[0][i - latency]) +
                                wetFactor * static_cast<double>(wet[0][i]);
        largest = std::max(largest, std::abs(static_cast<double>(output[0][i]) - expected));
    }
    return largest;
}

AudioRows runWith(const std::vector<std::pair<std::string, float>>& values,
                  const AudioRows& input) {
    Session session(Format::ladspa, gate);
    for (const auto& [symbol, value] : values)
        session.set(symbol, value);
    return session.run(input);
}

// The largest step between neighbouring samples from `start` on.
float largestStep(const std::vector<float>& row, std::size_t start) {
    float largest = 0.0F;
    for (std::size_t i = start; i < row.size(); ++i)
        largest = std::max(largest, std::abs(row[i] - row[i - 1]));
    return largest;
}

} // namespace

TEST(PluginControls, MixTheInputTheResultAndWhatIsRemoved) {
    const AudioRows input = noise(1, 9000, 1);
    const AudioRows wet = runWith({{"remainder_level", -96.0F}}, input);
    const std::size_t latency = 1536;
    const struct {
        float amount;
        float removed;
        double dryFactor;
        double wetFactor;
    } cases[] = {{0.0F, 0.0F, 1.0, 0.0},  {0.25F, 0.0F, 0.75, 0.25}, {1.0F, 1.0F, 1.0, -1.0},
                 {0.5F, 1.0F, 0.5, -0.5}, {7.0F, 0.4F, 0.0, 1.0},    {-3.0F, 0.0F, 1.0, 0.0}};
    for (const auto& c : cases) {
        const AudioRows output = runWith(
            {{"remainder_level", -96.0F}, {"amount", c.amount}, {"removed", c.removed}}, input);
        EXPECT_LT(distanceToMix(output, input, wet, latency, c.dryFactor, c.wetFactor), 1e-6)
            << c.amount << ", " << c.removed;
    }
}

TEST(PluginControls, ValuesOutsideTheBoundsCountAsTheNearest) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const AudioRows input = noise(1, 5000, 2);
    const struct {
        const char* symbol;
        float value;
        float same;
    } cases[] = {{"remainder_level", -500.0F, -96.0F},
                 {"remainder_level", 20.0F, 0.0F},
                 {"remainder_level", nan, 0.0F},
                 {"sensitivity_0", infinity, 100.0F},
                 {"sensitivity_0", -infinity, -100.0F},
                 {"amount", nan, 1.0F},
                 {"removed", nan, 0.0F}};
    for (const auto& c : cases)
        EXPECT_TRUE(runWith({{"sensitivity_1", 9.0F}, {c.symbol, c.value}}, input) ==
                    runWith({{"sensitivity_1", 9.0F}, {c.symbol, c.same}}, input))
            << c.symbol << " = " << c.value;
}

TEST(PluginControls, ChangeWithoutClicks) {
    // Quiet enough for the gate to take it for noise.
    const AudioRows input = {sine(96000, 200.0, 48000.0, 0.001)};
    const float ownStep = largestStep(input[0], 1);
    const struct {
        const char* symbol;
        float values[2];
        float remainderLevel;
    } cases[] = {{"amount", {0.0F, 1.0F}, -96.0F},
                 {"removed", {1.0F, 0.0F}, -96.0F},
                 {"remainder_level", {0.0F, -96.0F}, 0.0F},
                 {"sensitivity_1", {100.0F, -100.0F}, 0.0F}};
    for (const auto& c : cases) {
        Session session(Format::ladspa, gate);
        session.set("remainder_level", c.remainderLevel);
        AudioRows output(1);
        float loudest = 0.0F;
        for (std::size_t start = 0; start < input[0].size(); start += 4800) {
            session.set(c.symbol, c.values[start / 4800 % 2]);
            const AudioRows part = session.run(slice(input, start, start + 4800));
            for (const float sample : part[0]) {
                output[0].push_back(sample);
                loudest = std::max(loudest, std::abs(sample));
            }
        }
        EXPECT_LT(largestStep(output[0], 10000), 1.2F * ownStep) << c.symbol;
        EXPECT_GT(loudest, 0.0002F) << c.symbol;
    }
}

TEST(PluginControls, RampsDoNotDependOnBlocks) {
    const AudioRows input = noise(1, 12000, 3);
    AudioRows outputs[2];
    for (const std::size_t block : {std::size_t{37}, std::size_t{1000}}) {
        Session session(Format::ladspa, gate);
        session.set("remainder_level", -96.0F);
        AudioRows& output = outputs[block == 37];
        output = session.run(slice(input, 0, 4000), blocksOf(block));
        session.set("amount", 0.3F);
        const AudioRows second = session.run(slice(input, 4000, 4300), blocksOf(block));
        session.set("removed", 1.0F); // while the ramp is under way
        const AudioRows third = session.run(slice(input, 4300, 12000), blocksOf(block));
        for (const AudioRows& part : {second, third})
            output[0].insert(output[0].end(), part[0].begin(), part[0].end());
    }
    EXPECT_TRUE(outputs[0] == outputs[1]);
}

} // namespace sorvane::test
