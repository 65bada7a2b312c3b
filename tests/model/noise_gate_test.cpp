#include "util/noise_gate.h"

#include <gtest/gtest.h>

namespace sorvane::test {

TEST(NoiseGate, ShippedFileIsWhatTheGeneratorWrites) {
    EXPECT_EQ(TempFile::readFile(SORVANE_MODELS_DIR "/noise-gate-48k.model"),
              noiseGate48k().bytes());
}

} // namespace sorvane::test
