#include "faults/interposer.h"
#include "sorvane_host.hpp"
#include "util/noise_gate.h"
#include "util/signals.h"
#include "util/u_network.h"

#include <gtest/gtest.h>

// What blocks of the host layer ask of the system.
namespace sorvane::test {

TEST(RealTime, BlocksOfTheHostLayerAskNothingOfTheSystem) {
    for (const ModelFile& file : {noiseGate48k(), uNetwork(), everyKindNetwork()})
        for (const std::vector<int>& sizes :
             {std::vector{1}, std::vector{64}, std::vector{1000}, std::vector{3000, 1, 0, 333}}) {
            host::Blocks blocks(host::Model(file.write().path()), 2, 44100.0);
            std::vector<float> audio(6000, 0.25F);
            const auto run = [&](int numSamples) {
                for (std::size_t i = 0; numSamples > 0; ++i) {
                    const int size = sizes[i % sizes.size()];
                    // As another thread may: the mix is on its way all the time.
                    blocks.setAmount(static_cast<float>(i % 5) / 4.0F);
                    blocks.setGain(0, static_cast<float>(i % 3));
                    blocks.process(std::span(audio).first(static_cast<std::size_t>(2 * size)));
                    numSamples -= size;
                }
            };
            run(100000);
            startCounting();
            run(100000);
            const SystemCalls calls = stopCounting();
            EXPECT_EQ(calls.allocations + calls.releases, 0) << sizes.size() << ", " << sizes[0];
            EXPECT_EQ(calls.locks + calls.waits + calls.fileCalls + calls.threads, 0);
        }
}

} // namespace sorvane::test
