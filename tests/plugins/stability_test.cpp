#include "plugins/memory_watch.h"
#include "plugins/plugin_host.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace sorvane::test {

namespace {

#if defined(SORVANE_SANITIZED)
constexpr int manyCycles = 300; // the sanitizer finds what isn't a block of operator new
#else
constexpr int manyCycles = 10000;
#endif

} // namespace

TEST(PluginStability, CyclesLeaveNothingBehind) {
    const struct {
        Format format;
        const char* label;
        int cycles;
    } cases[] = {{Format::ladspa, "noise_gate_48k_mono", manyCycles},
                 {Format::lv2, "noise_gate_48k_stems", manyCycles / 10}};
    for (const auto& [format, label, cycles] : cases) {
        std::int64_t blocks = 0;
        for (int cycle = 0; cycle < cycles; ++cycle) {
            const auto plugin = instantiate(format, label, 48000.0);
            ASSERT_NE(plugin, nullptr);
            if (cycle % 100 == 0) {
                plugin->activate();
                plugin->run(5000);
            }
            if (cycle == cycles / 10)
                blocks = liveBlocks();
        }
        EXPECT_LT(liveBlocks(), blocks) << label; // one plug-in less
    }
}

TEST(PluginStability, ASteadyStreamTakesNoMemory) {
    constexpr int block = 256;
    std::vector<float> audio = noise(1, block, 11)[0];
    Session session(Format::ladspa, "noise_gate_48k_mono");
    session.plugin->connect(0, audio.data());
    session.plugin->connect(1, audio.data());
    const auto run = [&](int count) {
        for (int i = 0; i < count; ++i) {
            session.set("amount", static_cast<float>(i % 3) / 2.0F);
            session.set("remainder_level", static_cast<float>(-i % 90));
            session.plugin->run(block);
        }
    };
    run(100);
    const std::int64_t before = allocationCount();
    run(400);
    EXPECT_EQ(allocationCount() - before, 0);
}

TEST(PluginStability, WhenTheEngineRaisesTheInputPasses) {
    for (const auto& [format, label] : {std::pair{Format::ladspa, "noise_gate_48k_stereo"},
                                        std::pair{Format::lv2, "noise_gate_48k_stems"}}) {
        Session session(format, label);
        session.set("sensitivity_0", 70.0F);
        const AudioRows input = noise(2, 8000, 12);
        const AudioRows usual = session.run(input);

        testing::internal::CaptureStderr();
        session.plugin->activate();
        AudioRows output = session.run(slice(input, 0, 100));
        {
            std::vector<float> left = input[0];
            std::vector<float> right = input[1];
            std::vector<float> result(input[0].size());
            session.plugin->connect(0, left.data() + 100);
            session.plugin->connect(1, right.data() + 100);
            for (std::size_t port = 2; session.type.ports[port].isAudio(); ++port)
                session.plugin->connect(port, result.data());
            const FailingMemory failing;
            session.plugin->run(3900);
        }
        const AudioRows rest = session.run(slice(input, 4000, 8000));
        const std::string message = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
        EXPECT_EQ(message.rfind("sorvane: ", 0), 0U) << message;
        for (std::size_t c = 0; c < rest.size(); ++c) {
            const std::size_t start = 4000 - session.latency();
            EXPECT_TRUE(rest[c] == slice(input, start, start + rest[c].size())[c % 2])
                << label << ", output " << c;
        }

        session.plugin->activate();
        EXPECT_TRUE(session.run(input) == usual) << label;
    }
}

TEST(PluginStability, WithoutMemoryNothingIsMade) {
    testing::internal::CaptureStderr();
    ladspaDescriptors();
    lv2Descriptors();
    const auto& ladspa = *ladspaDescriptors().front();
    void* handle = nullptr;
    {
        const FailingMemory failing;
        handle = ladspa.instantiate(&ladspa, 48000);
    }
    EXPECT_EQ(handle, nullptr);
    testing::internal::GetCapturedStderr();
}

} // namespace sorvane::test
