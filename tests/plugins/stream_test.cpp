// What comes out of the plug-ins is the engine's own stream, late by the reported latency.

#include "plugins/plugin_host.h"
#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <map>

namespace sorvane::test {

namespace {

using Parameters = std::map<int, float>;

AudioRows silence(std::size_t channels, std::size_t length) {
    return AudioRows(channels, std::vector<float>(length, 0.0F));
}

// The rows after `latency` samples of silence, as long as before.
AudioRows delayed(const AudioRows& rows, std::size_t latency) {
    AudioRows result = silence(rows.size(), rows[0].size());
    for (std::size_t c = 0; c < rows.size(); ++c)
        std::copy(rows[c].begin(), rows[c].end() - static_cast<std::ptrdiff_t>(latency),
                  result[c].begin() + static_cast<std::ptrdiff_t>(latency));
    return result;
}

AudioRows engineOutput(const std::string& model, double rate, const Parameters& parameters,
                       const AudioRows& input) {
    const ProcessorHandle handle(
        sorvaneCreateProcessor(model.c_str(), static_cast<int>(input.size()), rate));
    for (const auto& [id, value] : parameters)
        sorvaneSetParameterValue(handle.get(), id, value);
    AudioRows output = process(handle.get(), input);
    for (std::vector<float>& row : output)
        row.resize(input[0].size());
    return output;
}

struct Case {
    Format format;
    std::string label;
    double rate;
    std::map<std::string, float> controls;
    std::vector<Parameters> parameters; // the engine's, of each stream of outputs
};

const std::vector<Case> cases = {
    {Format::ladspa, "noise_gate_48k_mono", 48000, {{"remainder_level", -30.0F}}, {{{1, -30.0F}}}},
    {Format::ladspa,
     "noise_gate_48k_stereo",
     44100,
     {{"remainder_level", -96.0F}, {"sensitivity_0", 50.0F}, {"sensitivity_1", -20.0F}},
     {{{1, -96.0F}, {512, 50.0F}, {513, -20.0F}}}},
    {Format::ladspa, "noise_gate_48k_mono", 192000, {{"remainder_level", -96.0F}}, {{{1, -96.0F}}}},
    {Format::ladspa, "groups_48k_stereo", 48000, {{"remainder_level", -96.0F}}, {{{1, -96.0F}}}},
    {Format::ladspa,
     "three_busses_stereo",
     16000,
     {{"gain_0", 2.0F}, {"gain_1", 0.0F}, {"gain_2", 0.5F}},
     {{{256, 2.0F}, {257, 0.0F}, {258, 0.5F}}}},
    {Format::lv2, "noise_gate_48k_stereo", 96000, {{"remainder_level", -20.0F}}, {{{1, -20.0F}}}},
    {Format::lv2,
     "three_busses_stems",
     48000,
     {{"sensitivity_1", 40.0F}},
     {{{256, 1.0F}, {257, 0.0F}, {258, 0.0F}, {513, 40.0F}},
      {{256, 0.0F}, {257, 1.0F}, {258, 0.0F}, {513, 40.0F}},
      {{256, 0.0F}, {257, 0.0F}, {258, 1.0F}, {513, 40.0F}}}},
};

} // namespace

TEST(PluginStream, IsTheEnginesForEveryBlockSize) {
    const std::map<std::string, BlockSizes> sizes = {
        {"1", blocksOf(1)},        {"16", blocksOf(16)},       {"64", blocksOf(64)},
        {"255", blocksOf(255)},    {"256", blocksOf(256)},     {"1,024", blocksOf(1024)},
        {"8,192", blocksOf(8192)}, {"random", randomBlocks(8)}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label + " at " + std::to_string(c.rate));
        const AudioRows input = noise(typeOf(c.label).channels, 20000, 5);
        AudioRows expected;
        for (const Parameters& parameters : c.parameters)
            for (const auto& row : engineOutput(modelPathOf(c.label), c.rate, parameters, input))
                expected.push_back(row);
        for (const auto& [name, blocks] : sizes) {
            Session session(c.format, c.label, c.rate);
            for (const auto& [symbol, value] : c.controls)
                session.set(symbol, value);
            const AudioRows output = session.run(input, blocks);
            ASSERT_EQ(output.size(), expected.size());
            EXPECT_TRUE(output == delayed(expected, session.latency())) << "blocks of " << name;
        }
    }
}

TEST(PluginStream, LatencyIsWhatTheEngineReportsOrWhatGroupsOfFramesNeed) {
    Session single(Format::ladspa, "noise_gate_48k_mono");
    single.run(silence(1, 1));
    EXPECT_EQ(single.latency(), 3U * 512U); // two overlapping frames and one of look-ahead

    // An impulse tells the same as the port.
    for (const char* label : {"noise_gate_48k_mono", "groups_48k_mono", "three_busses_mono"}) {
        Session session(Format::ladspa, label);
        const AudioRows output = session.run({impulse(20000, 3001)}, blocksOf(100));
        const auto peak = std::max_element(output[0].begin(), output[0].end());
        EXPECT_EQ(static_cast<std::size_t>(peak - output[0].begin()), 3001 + session.latency())
            << label;
        EXPECT_NEAR(*peak, 1.0F, 1e-6F) << label;
    }
}

TEST(PluginStream, OutputsMayBeTheInputsMemory) {
    for (const Format format : {Format::ladspa, Format::lv2}) {
        const AudioRows input = noise(2, 5000, 6);
        Session apart(format, "noise_gate_48k_stereo");
        apart.set("remainder_level", -96.0F);
        const AudioRows expected = apart.run(input);
        for (const bool swapped : {false, true}) {
            Session session(format, "noise_gate_48k_stereo");
            session.set("remainder_level", -96.0F);
            AudioRows audio = input;
            for (std::size_t port = 0; port < 4; ++port)
                session.plugin->connect(
                    port, audio[port < 2 ? port : (port + (swapped ? 1 : 0)) % 2].data());
            session.plugin->run(5000);
            if (swapped)
                std::swap(audio[0], audio[1]);
            EXPECT_TRUE(audio == expected) << swapped;
        }
    }
}

TEST(PluginStream, ToleratesPortsThatAreNotConnected) {
    for (const auto& [format, label] : {std::pair{Format::ladspa, "noise_gate_48k_stereo"},
                                        std::pair{Format::lv2, "three_busses_stems"}}) {
        const auto plugin = instantiate(format, label, 48000.0);
        plugin->activate();
        plugin->run(3000);
        std::vector<float> left(9000, 0.5F);
        std::vector<float> output(9000);
        plugin->connect(0, left.data());
        plugin->connect(2, output.data());
        plugin->connect(999, output.data());
        plugin->run(9000);
        plugin->run(0);
        EXPECT_GT(*std::max_element(output.begin(), output.end()), 0.05F) << label;
    }
}

} // namespace sorvane::test
