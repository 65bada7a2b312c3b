#include "audio/fft.h"
#include "util/signal_rows.h"

namespace sorvane::test {

TEST(FFT32, MatchesTheDirectTransform) {
    FFT32 fft;
    for (const int length : {1, 2, 3, 4, 6, 8, 12, 31, 64, 100, 256, 768, 1024}) {
        SCOPED_TRACE("length " + std::to_string(length));
        const AudioRows audio = noise(3, length, static_cast<unsigned>(length));
        Spectrum expected;
        for (const Row& row : toDouble(audio))
            expected.push_back(directForward(row));
        const ComplexSignal32 bins = fft.forward(toSignal(audio));
        expectNear(toRows(bins), expected, 1e-6 * (length + 8));
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(bins.row(c)[0].imag(), 0.0F);
    }
}

TEST(FFT32, InverseMatchesTheDirectTransform) {
    FFT32 fft;
    for (const int numBins : {2, 3, 4, 5, 7, 16, 33, 50, 385, 513}) {
        SCOPED_TRACE(std::to_string(numBins) + " bins");
        Spectrum bins;
        const Rows parts = toDouble(noise(4, numBins, static_cast<unsigned>(numBins)));
        for (std::size_t c = 0; c < 4; c += 2) {
            bins.emplace_back();
            for (std::size_t i = 0; i < parts[c].size(); ++i)
                bins.back().emplace_back(parts[c][i], parts[c + 1][i]);
        }
        Rows expected;
        for (const SpectrumRow& row : bins)
            expected.push_back(directInverse(row));
        expectNear(toRows(fft.inverse(toSpectrum(bins))), expected, 2e-6 * (numBins + 8));
    }
}

TEST(FFT32, EmptySignalsDoNoHarm) {
    FFT32 fft;
    EXPECT_EQ(fft.forward(Signal32()).channels, 0);
    EXPECT_EQ(toRows(fft.forward(Signal32(1, 0))).at(0).at(0), 0.0F);
    EXPECT_EQ(fft.inverse(toSpectrum(Spectrum{{{1.0, 0.0}}})).length, 0);
}

} // namespace sorvane::test
