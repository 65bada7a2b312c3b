// The modules in a host of the tests' own: what comes out of them is the engine's stream, late by the
// reported latency, and mixed as the controls say.

#include "lv2/lv2_uris.h"
#include "plugins/memory_watch.h"
#include "plugins/plugin_host.h"
#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <set>

namespace sorvane::test {

namespace {

constexpr const char* gate = "noise_gate_48k_mono";

using Controls = std::map<std::string, float>;

AudioRows runWith(const Controls& controls, const AudioRows& input) {
    Session session(Format::ladspa, gate);
    for (const auto& [symbol, value] : controls)
        session.set(symbol, value);
    return session.run(input);
}

} // namespace

// What real hosts run has a remainder level; here are the gains and stems of more busses.
TEST(Plugin, BussesGiveTheEnginesStreamLateByTheLatency) {
    const AudioRows input = noise(2, 20000, 5);
    for (const auto& [format, label] : {std::pair{Format::ladspa, "three_busses_stereo"},
                                        std::pair{Format::lv2, "three_busses_stems"}}) {
        Session session(format, label);
        const bool stems = format == Format::lv2;
        session.set("sensitivity_1", 40.0F);
        const float gains[] = {2.0F, 0.0F, 0.5F};
        for (int bus = 0; bus < 3 && !stems; ++bus)
            session.set("gain_" + std::to_string(bus), gains[bus]);
        const AudioRows output = session.run(input, {1, 333, 64, 8192});
        for (std::size_t stem = 0; 2 * stem < output.size(); ++stem) {
            const ProcessorHandle engine(
                sorvaneCreateProcessor(session.type.modelPath.c_str(), 2, 48000.0));
            sorvaneSetParameterValue(engine.get(), SORVANE_BUS_SENSITIVITY + 1, 40.0F);
            for (int bus = 0; bus < 3; ++bus)
                sorvaneSetParameterValue(engine.get(), SORVANE_BUS_GAIN + bus,
                                         stems ? static_cast<float>(bus == static_cast<int>(stem))
                                               : gains[bus]);
            AudioRows expected = process(engine.get(), input);
            for (std::size_t c = 0; c < 2; ++c) {
                expected[c].insert(expected[c].begin(), session.latency(), 0.0F);
                expected[c].resize(20000);
                EXPECT_TRUE(output[2 * stem + c] == expected[c]) << label << ", stem " << stem;
            }
        }
    }
}

TEST(Plugin, RatesThatNoStreamCanHaveAreRefused) {
    for (const double rate : {0.0, 1e9})
        for (const Format format : {Format::ladspa, Format::lv2})
            EXPECT_EQ(instantiate(format, "noise_gate_48k_stereo", rate).handle, nullptr) << rate;
}

TEST(Plugin, OutputsMayBeTheInputsMemoryOrNone) {
    const AudioRows input = noise(2, 5000, 6);
    Session apart(Format::lv2, "noise_gate_48k_stereo");
    apart.set("remainder_level", -96.0F);
    const AudioRows expected = apart.run(input);
    Session session(Format::lv2, "noise_gate_48k_stereo");
    session.set("remainder_level", -96.0F);
    AudioRows audio = input; // with the sides swapped
    for (std::size_t port = 0; port < 4; ++port)
        session.plugin.connect(port, audio[port < 2 ? port : 3 - port].data());
    session.plugin.run(5000);
    std::swap(audio[0], audio[1]);
    EXPECT_TRUE(audio == expected);

    const HostedPlugin bare = instantiate(Format::lv2, "three_busses_stems", 48000.0);
    bare.activate();
    bare.run(3000);
    std::vector<float> left(9000, 0.5F), output(9000);
    bare.connect(0, left.data());
    bare.connect(2, output.data());
    bare.connect(999, output.data());
    bare.run(9000);
    bare.run(0);
    EXPECT_GT(*std::max_element(output.begin(), output.end()), 0.05F);
}

TEST(Plugin, ValuesOutsideTheBoundsCountAsTheNearest) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const AudioRows input = noise(1, 5000, 2);
    const struct {
        const char* symbol;
        float value, same;
    } cases[] = {{"remainder_level", -500.0F, -96.0F},
                 {"remainder_level", nan, 0.0F},
                 {"sensitivity_0", infinity, 100.0F},
                 {"amount", nan, 1.0F}};
    for (const auto& c : cases)
        EXPECT_TRUE(runWith({{"sensitivity_1", 9.0F}, {c.symbol, c.value}}, input) ==
                    runWith({{"sensitivity_1", 9.0F}, {c.symbol, c.same}}, input))
            << c.symbol << " = " << c.value;
}

TEST(Plugin, ASteadyStreamTakesNoMemory) {
    std::vector<float> audio = noise(1, 256, 11)[0];
    Session session(Format::ladspa, gate);
    session.plugin.connect(0, audio.data());
    session.plugin.connect(1, audio.data());
    std::int64_t before = 0;
    for (int i = 0; i < 500; ++i) {
        if (i == 100)
            before = allocationCount();
        session.set("amount", static_cast<float>(i % 3) / 2.0F);
        session.set("remainder_level", static_cast<float>(-i % 90));
        session.plugin.run(256);
    }
    EXPECT_EQ(allocationCount() - before, 0);
}

TEST(Plugin, WhenTheEngineRaisesTheInputPassesAndOneLineSaysSo) {
    Session session(Format::lv2, "noise_gate_48k_stems");
    const AudioRows input = noise(2, 8000, 12);
    const AudioRows usual = session.run(input);
    testing::internal::CaptureStderr();
    session.plugin.activate();
    AudioRows start = slice(input, 0, 4000);
    std::vector<float> result(4000);
    for (std::size_t port = 0; session.type.ports[port].isAudio(); ++port)
        session.plugin.connect(port, port < 2 ? start[port].data() : result.data());
    {
        const FailingMemory failing;
        session.plugin.run(4000);
    }
    const AudioRows rest = session.run(slice(input, 4000, 8000));
    const LADSPA_Descriptor& ladspa = *ladspaDescriptors().front();
    const std::string message = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
    EXPECT_TRUE(message.starts_with("sorvane: ")) << message;
    const std::size_t first = 4000 - session.latency();
    for (std::size_t c = 0; c < rest.size(); ++c)
        EXPECT_TRUE(rest[c] == slice(input, first, first + 4000)[c % 2]) << c;
    session.plugin.activate();
    EXPECT_TRUE(session.run(input) == usual);
    testing::internal::CaptureStderr();
    void* handle = nullptr;
    {
        const FailingMemory failing;
        handle = ladspa.instantiate(&ladspa, 48000);
    }
    EXPECT_EQ(handle, nullptr);
    testing::internal::GetCapturedStderr();
}

TEST(Plugin, EveryModelIsListedAndDescribed) {
    std::string labels;
    std::set<unsigned long> ids;
    std::set<std::string> sorted;
    for (const LADSPA_Descriptor* plugin : ladspaDescriptors()) {
        SCOPED_TRACE(plugin->Label);
        sorted.insert(plugin->Label);
        EXPECT_TRUE(ids.insert(plugin->UniqueID).second);
        EXPECT_TRUE(plugin->UniqueID >= 0x800000UL && plugin->UniqueID < 0x1000000UL);
        std::set<std::string> names;
        for (unsigned long i = 0; i < plugin->PortCount; ++i) {
            EXPECT_TRUE(names.insert(plugin->PortNames[i]).second) << plugin->PortNames[i];
            const LADSPA_PortRangeHint& range = plugin->PortRangeHints[i];
            if (LADSPA_IS_PORT_AUDIO(plugin->PortDescriptors[i]))
                continue;
            EXPECT_TRUE(LADSPA_IS_HINT_BOUNDED_BELOW(range.HintDescriptor) &&
                        LADSPA_IS_HINT_BOUNDED_ABOVE(range.HintDescriptor) &&
                        LADSPA_IS_HINT_HAS_DEFAULT(range.HintDescriptor) &&
                        range.LowerBound < range.UpperBound)
                << i;
            const bool whole = names.contains("latency") || names.contains("Hear what is removed");
            EXPECT_EQ(LADSPA_IS_HINT_INTEGER(range.HintDescriptor) != 0, whole) << i;
        }
        const unsigned long last = plugin->PortCount - 1;
        EXPECT_STREQ(plugin->PortNames[last], "latency");
        EXPECT_TRUE(LADSPA_IS_PORT_OUTPUT(plugin->PortDescriptors[last]));
    }
    for (const LV2_Descriptor* plugin : lv2Descriptors())
        sorted.insert(plugin->URI);
    for (const std::string& label : sorted)
        // How many speech models ship is no matter here.
        if (label.find("speech") == std::string::npos && label.find("voice") == std::string::npos)
            labels += label.substr(label.find_last_of(':') + 1) + (label[3] == ':' ? ", " : " ");
    // Of more than sixteen busses no stem can be had alone.
    EXPECT_EQ(labels, "groups_48k_mono groups_48k_stereo many_busses_mono many_busses_stereo "
                      "noise_gate_48k_mono noise_gate_48k_stereo three_busses_mono "
                      "three_busses_stereo groups_48k_stems, groups_48k_stereo, "
                      "many_busses_stereo, noise_gate_48k_stems, noise_gate_48k_stereo, "
                      "three_busses_stems, three_busses_stereo, ");
}

TEST(Plugin, ABundleThatDescribesOtherBussesIsRefused) {
    const std::filesystem::path bundle = bundlePath();
    const auto text = TempFile::readFile((bundle / "many_busses_stereo.ttl").string());
    EXPECT_NE(std::string(text.begin(), text.end()).find("say \\\"hi\\\""), std::string::npos);
    for (const char* kind : {"stereo", "stems"}) {
        const std::string label = std::string("three_busses_") + kind;
        ASSERT_NE(instantiate(Format::lv2, label, 48000.0).handle, nullptr);
        std::filesystem::rename(bundle / (label + ".ttl"), bundle / "kept.ttl");
        std::filesystem::copy_file(bundle / (std::string("groups_48k_") + kind + ".ttl"),
                                   bundle / (label + ".ttl"));
        EXPECT_EQ(instantiate(Format::lv2, label, 48000.0).handle, nullptr) << label;
        std::filesystem::rename(bundle / "kept.ttl", bundle / (label + ".ttl"));
    }
}

} // namespace sorvane::test
