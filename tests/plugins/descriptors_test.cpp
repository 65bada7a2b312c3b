// What the modules tell hosts of themselves.

#include "lv2/lv2_uris.h"
#include "plugins/plugin_host.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace sorvane::test {

namespace {

// How many speech models ship is no matter of this test.
std::set<std::string> withoutSpeech(std::set<std::string> names, const std::string& known) {
    EXPECT_TRUE(names.contains(known));
    std::erase_if(names, [](const std::string& name) { return name.starts_with("speech_"); });
    return names;
}

} // namespace

TEST(PluginDescriptors, ListWhatIsAModel) {
    std::set<std::string> ladspa;
    for (const LADSPA_Descriptor* plugin : ladspaDescriptors())
        ladspa.insert(plugin->Label);
    EXPECT_EQ(
        withoutSpeech(ladspa, "speech_48k_mono"),
        (std::set<std::string>{"noise_gate_48k_mono", "noise_gate_48k_stereo", "groups_48k_mono",
                               "groups_48k_stereo", "many_busses_mono", "many_busses_stereo",
                               "three_busses_mono", "three_busses_stereo"}));
    std::set<std::string> lv2;
    const std::string prefix = SORVANE_LV2_PREFIX;
    for (const LV2_Descriptor* plugin : lv2Descriptors()) {
        const std::string uri = plugin->URI;
        ASSERT_EQ(uri.rfind(prefix, 0), 0U) << uri;
        lv2.insert(uri.substr(prefix.size()));
    }
    // Of more than sixteen busses no stem can be had alone.
    EXPECT_EQ(withoutSpeech(lv2, "speech_48k_stems"),
              (std::set<std::string>{"noise_gate_48k_stereo", "noise_gate_48k_stems",
                                     "groups_48k_stereo", "groups_48k_stems", "many_busses_stereo",
                                     "three_busses_stereo", "three_busses_stems"}));
}

TEST(PluginDescriptors, LadspaPortsSuitEveryHost) {
    std::set<unsigned long> ids;
    for (const LADSPA_Descriptor* plugin : ladspaDescriptors()) {
        SCOPED_TRACE(plugin->Label);
        EXPECT_TRUE(ids.insert(plugin->UniqueID).second);
        EXPECT_GE(plugin->UniqueID, 0x800000UL);
        EXPECT_LT(plugin->UniqueID, 0x1000000UL);
        std::set<std::string> names;
        for (unsigned long i = 0; i < plugin->PortCount; ++i) {
            EXPECT_TRUE(names.insert(plugin->PortNames[i]).second) << plugin->PortNames[i];
            const LADSPA_PortRangeHint& range = plugin->PortRangeHints[i];
            if (LADSPA_IS_PORT_AUDIO(plugin->PortDescriptors[i]))
                continue;
            const int bounds = LADSPA_HINT_BOUNDED_BELOW | LADSPA_HINT_BOUNDED_ABOVE;
            EXPECT_EQ(range.HintDescriptor & bounds, bounds) << i;
            EXPECT_TRUE(LADSPA_IS_HINT_HAS_DEFAULT(range.HintDescriptor)) << i;
            EXPECT_FALSE(LADSPA_IS_HINT_SAMPLE_RATE(range.HintDescriptor)) << i;
            EXPECT_LT(range.LowerBound, range.UpperBound) << i;
        }
        const unsigned long last = plugin->PortCount - 1;
        EXPECT_STREQ(plugin->PortNames[last], "latency");
        EXPECT_TRUE(LADSPA_IS_PORT_OUTPUT(plugin->PortDescriptors[last]));
    }
}

TEST(PluginDescriptors, Lv2PortsAreThoseThatTheBundleDescribes) {
    // As if the model had been replaced by one with other busses.
    const std::filesystem::path bundle = bundlePath();
    for (const char* kind : {"stereo", "stems"}) {
        const std::string label = std::string("three_busses_") + kind;
        ASSERT_NE(instantiate(Format::lv2, label, 48000.0), nullptr);
        std::filesystem::rename(bundle / (label + ".ttl"), bundle / "kept.ttl");
        std::filesystem::copy_file(bundle / (std::string("groups_48k_") + kind + ".ttl"),
                                   bundle / (label + ".ttl"));
        EXPECT_EQ(instantiate(Format::lv2, label, 48000.0), nullptr) << label;
        std::filesystem::rename(bundle / "kept.ttl", bundle / (label + ".ttl"));
    }
}

TEST(PluginDescriptors, RatesThatNoStreamCanHaveAreRefused) {
    for (const double rate : {0.0, 1e9})
        for (const auto& [format, label] : {std::pair{Format::ladspa, "noise_gate_48k_mono"},
                                            std::pair{Format::lv2, "noise_gate_48k_stems"}})
            EXPECT_EQ(instantiate(format, label, rate), nullptr) << label << " at " << rate;
    EXPECT_EQ(instantiate(Format::lv2, "noise_gate_48k_stereo", -48000.0), nullptr);
    // So low a rate that the engine's frames vanish: audio passes at once.
    Session session(Format::ladspa, "noise_gate_48k_mono", 1.0);
    const AudioRows input = noise(1, 10, 4);
    EXPECT_TRUE(session.run(input, blocksOf(3)) == input);
    EXPECT_EQ(session.latency(), 0U);
}

} // namespace sorvane::test
