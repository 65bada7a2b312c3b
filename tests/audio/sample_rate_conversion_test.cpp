#include "audio/sample_rate_conversion.h"
#include "util/signal_rows.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <thread>

namespace sorvane::test {

namespace {

class Converter : public SampleRateConversion {
public:
    using SampleRateConversion::cutoffPercent;
    using SampleRateConversion::interpolate;

    Converter(int channels, double inputRate, double outputRate) {
        EXPECT_TRUE(
            setFormats(defaultFormat(channels, inputRate), defaultFormat(channels, outputRate)));
    }

    AudioRows convert(const AudioRows& audio, std::size_t block) {
        AudioRows result(audio.size());
        for (std::size_t start = 0; start < audio[0].size(); start += block) {
            Signal32 output;
            process(output,
                    toSignal(slice(audio, start, std::min(start + block, audio[0].size()))));
            append(result, toRows(output));
        }
        return result;
    }
};

/// Output `n` of a mono stream: the windowed sinc at both neighbouring multiples of 1/64 sample,
/// summed over the input around the output's time.
double plainOutput(const std::vector<float>& input, double inputRate, double outputRate, int n) {
    const int taps = static_cast<int>(std::lrint(1.5 * inputRate / 1000.0));
    const double cutoff =
        static_cast<double>(0.95F * static_cast<float>(std::min(outputRate / inputRate, 1.0)));
    const double sigma = static_cast<double>(static_cast<float>(taps) * 0.1F);
    const double time = n * inputRate / outputRate;
    const auto at = [&](double grid) {
        double sum = 0.0;
        const auto first = static_cast<int>(std::floor(grid / 64.0)) - taps / 2;
        for (int i = std::max(first, 0); i < first + taps; ++i) {
            const double x = i - grid / 64.0;
            const double a = cutoff * std::numbers::pi * x;
            const double sinc = a == 0.0 ? 1.0 : std::sin(a) / a;
            sum += static_cast<double>(input[static_cast<std::size_t>(i)]) * cutoff * sinc *
                   std::exp(-0.5 * x * x / (sigma * sigma));
        }
        return sum;
    };
    const double grid = std::floor(64.0 * time);
    const double fraction = 64.0 * time - grid;
    return at(grid) * (1.0 - fraction) + at(grid + 1) * fraction;
}

} // namespace

TEST(SampleRateConversion, EqualsThePlainSumForAnySplit) {
    const AudioRows audio = noise(2, 3000, 5);
    const std::pair<double, double> rates[] = {{44100, 48000}, {48000, 44100},   {48000, 16000},
                                               {16000, 48000}, {48000, 31234.5}, {8000, 64000},
                                               {64000, 8000},  {500, 48000}};
    for (const auto& [inputRate, outputRate] : rates) {
        SCOPED_TRACE(std::to_string(inputRate) + " to " + std::to_string(outputRate));
        Converter converter(2, inputRate, outputRate);
        AudioRows expected(2);
        for (const std::size_t block : {3000U, 1000U, 17U, 1U}) {
            const AudioRows result = converter.convert(audio, block);
            converter.reset();
            for (std::size_t c = 0; c < 2; ++c)
                for (auto n = expected[c].size(); n < result[c].size(); ++n)
                    expected[c].push_back(static_cast<float>(
                        plainOutput(audio[c], inputRate, outputRate, static_cast<int>(n))));
            const auto least = (3000.0 - 0.00076 * inputRate - 3) * outputRate / inputRate - 1;
            ASSERT_GE(static_cast<double>(result[0].size()), least) << "block " << block;
            expectNear(result, slice(expected, 0, result[0].size()), 1e-6);
        }
    }
}

TEST(SampleRateConversion, WithoutAFilterSamplesStayAsTheyAre) {
    const AudioRows audio = noise(2, 1000, 1);
    Converter equal(2, 48000, 48000);
    EXPECT_EQ(equal.getLatency(512), 37);
    EXPECT_EQ(equal.convert(audio, 7), slice(audio, 0, 1000 + 36 - 72 - 1));

    Converter converter(2, 24000, 96000); // at full cutoff, every fourth
    converter.cutoffPercent = 100.0F;
    converter.interpolate = false;
    EXPECT_TRUE(converter.setFormats(defaultFormat(2, 24000), defaultFormat(2, 96000)));
    const AudioRows result = converter.convert(audio, 200);
    ASSERT_GT(result[0].size(), 3800U);
    for (std::size_t i = 0; i < result[0].size(); i += 4)
        EXPECT_EQ(result[0][i], audio[0][i / 4]) << i;
}

TEST(SampleRateConversion, StoredChannelCountsDecideWhetherFormatsAreTaken) {
    Converter converter(1, 48000, 16000);
    const AudioFormat mono = defaultFormat(1, 48000), stereo = defaultFormat(2, 48000);
    const AudioRows audio = noise(1, 500, 3);
    const AudioRows fresh = converter.convert(audio, 500);
    converter.convert(audio, 33);
    EXPECT_TRUE(converter.setFormats(defaultFormat(1, 48000), defaultFormat(1, 16000)));
    EXPECT_EQ(converter.convert(audio, 500), fresh) << "the same formats restart the stream";
    EXPECT_TRUE(converter.setFormats(stereo, mono));
    EXPECT_FALSE(converter.setFormats(mono, mono));
    EXPECT_FALSE(converter.setFormats(stereo, mono));
}

TEST(SampleRateConversion, OddRatesAndBlocksFailAsDefined) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const Signal32 block = toSignal(noise(1, 64, 4));
    const double rates[] = {0.0, -48000.0, 1.0, 1e5, 1e300, 1e-300, infinity, notANumber};
    for (const double inputRate : rates) {
        for (const double outputRate : rates) {
            SCOPED_TRACE(std::to_string(inputRate) + " to " + std::to_string(outputRate));
            Converter converter(1, inputRate, outputRate);
            for (int i = 0; i < 3; ++i) {
                Signal32 output;
                try {
                    converter.process(output, block);
                } catch (const std::runtime_error& error) {
                    EXPECT_STREQ(error.what(),
                                 "IPP exception: ippStsSizeErr: Incorrect value for data size");
                }
                for (int k = 0; k < output.length; ++k)
                    ASSERT_TRUE(std::isfinite(output.row(0)[k]));
            }
        }
    }
    Converter converter(1, 48000, 44100);
    Signal32 output = block;
    converter.process(output, Signal32());
    EXPECT_TRUE(output.isEmpty());
    EXPECT_THROW(converter.process(output, toSignal(noise(2, 64, 4))), std::runtime_error);
    output = block;
    converter.process(output, output);
    EXPECT_EQ(output.length, static_cast<int>((64 + 36 - 72 - 1) / 48.0 * 44.1));
}

TEST(SampleRateConversion, ThreadsWaitForEachOther) {
    Converter converter(2, 48000, 44100);
    const AudioRows block = noise(2, 300, 6);
    std::thread other([&] {
        for (int i = 0; i < 200; ++i)
            converter.reset();
    });
    for (int i = 0; i < 400; ++i)
        converter.convert(block, 300);
    other.join();
    converter.reset();
    EXPECT_EQ(converter.convert(block, 300), Converter(2, 48000, 44100).convert(block, 300));
}

} // namespace sorvane::test
