#include "audio/sample_format.h"
#include "util/error_of.h"
#include "util/signal_rows.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>

namespace sorvane::test {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// The bytes of a whole number in two's complement, by plain division.
Bytes plainBytes(std::int64_t value, int size, bool bigEndian) {
    Bytes bytes;
    for (int i = 0; i < size; ++i) {
        const std::int64_t low = ((value % 256) + 256) % 256;
        bytes.push_back(static_cast<std::uint8_t>(low));
        value = (value - low) / 256;
    }
    if (bigEndian)
        std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

struct Code {
    int code;
    int size;
    double scale;  // full scale
    double offset; // the number that stands for silence
    std::int64_t least, most;
};

const Code integerCodes[] = {{0, 1, 128, 127, 0, 255},
                             {1, 1, 128, 0, -128, 127},
                             {2, 2, 32768, 0, -32768, 32767},
                             {3, 3, 8388608, 0, -8388608, 8388607},
                             {4, 4, 2147483648, 0, -2147483648LL, 2147483647}};

/// All values of 8 and 16 bits; the limits, zero and some between of the wider ones.
std::vector<std::int64_t> tellingValues(const Code& code) {
    std::set<std::int64_t> values;
    const std::int64_t range = code.most - code.least;
    const std::int64_t step = code.size < 3 ? 1 : range / 4099;
    for (std::int64_t v = code.least; v <= code.most; v += step)
        values.insert(v);
    for (std::int64_t d = 0; d < 300; ++d) {
        values.insert(std::min(code.least + d, code.most));
        values.insert(std::max(code.most - d, code.least));
        values.insert(std::clamp(d - 150, code.least, code.most));
    }
    return {values.begin(), values.end()};
}

void expectSamples(const SampleFormat& format, const std::vector<Bytes>& packed,
                   const std::vector<float>& floats, const std::vector<Bytes>& written) {
    const auto size = static_cast<std::size_t>(format.bytesPerSample);
    const auto count = floats.size();
    for (const int stride : {1, 2, 6}) {
        SCOPED_TRACE("stride " + std::to_string(stride));
        const auto step = size * static_cast<std::size_t>(stride);
        // One byte in front, so that samples stand at odd addresses too.
        for (const std::size_t shift : {0U, 1U}) {
            Bytes stream(shift + step * (count - 1) + size, 0xA5);
            for (std::size_t i = 0; i < count; ++i)
                std::copy(packed[i].begin(), packed[i].end(),
                          stream.begin() + static_cast<std::ptrdiff_t>(shift + i * step));
            std::vector<float> result(count);
            format.reader(stream.data() + shift, result.data(), static_cast<int>(count), stride);
            ASSERT_EQ(std::memcmp(result.data(), floats.data(), 4 * count), 0);

            Bytes expected = stream;
            for (std::size_t i = 0; i < count; ++i)
                std::copy(written[i].begin(), written[i].end(),
                          expected.begin() + static_cast<std::ptrdiff_t>(shift + i * step));
            format.writer(floats.data(), stream.data() + shift, static_cast<int>(count), stride);
            ASSERT_EQ(stream, expected) << "the gaps stay as they are";
        }
    }
}

} // namespace

TEST(SampleFormat, IntegersEqualPlainArithmetic) {
    for (const Code& code : integerCodes) {
        for (const bool bigEndian : {false, true}) {
            SCOPED_TRACE("code " + std::to_string(code.code) + (bigEndian ? ", big-endian" : ""));
            SampleFormat format;
            format.select(code.code, bigEndian);
            ASSERT_EQ(format.bytesPerSample, code.size);
            std::vector<Bytes> packed, written;
            std::vector<float> floats;
            for (const std::int64_t value : tellingValues(code)) {
                packed.push_back(plainBytes(value, code.size, bigEndian));
                floats.push_back(
                    static_cast<float>((static_cast<double>(value) - code.offset) / code.scale));
                // 32 bits come back as the value rounded to a float; the top value is past the limit.
                const auto back = static_cast<std::int64_t>(
                    static_cast<double>(floats.back()) * code.scale + code.offset);
                written.push_back(plainBytes(std::min(back, code.most), code.size, bigEndian));
                ASSERT_TRUE(code.code == 4 || packed.back() == written.back()) << value;
            }
            expectSamples(format, packed, floats, written);
        }
    }
}

TEST(SampleFormat, WritingLimitsAndRoundsToEven) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float notANumber = std::numeric_limits<float>::quiet_NaN();
    for (const Code& code : integerCodes) {
        SCOPED_TRACE("code " + std::to_string(code.code));
        SampleFormat format;
        format.select(code.code, true);
        const auto middle = static_cast<std::int64_t>(code.offset);
        // 24 bits are cut from 32 rounded ones; half a step of theirs is far from rounding there.
        const std::int64_t oneAndAHalf = code.code == 3 ? 1 : 2;
        const auto step = static_cast<float>(1.0 / code.scale);
        const std::pair<float, std::int64_t> cases[] = {
            {1.0F, code.most},
            {-1.0F, code.least},
            {1e30F, code.most},
            {-1e30F, code.least},
            {infinity, code.most},
            {-infinity, code.least},
            {0.0F, middle},
            {notANumber, middle},
            {0.5F, middle + static_cast<std::int64_t>(code.scale / 2)},
            {0.5F * step, middle + middle % 2}, // ties go to even numbers
            {1.5F * step, middle + oneAndAHalf - middle % 2}};
        for (const auto& [value, expected] : cases) {
            Bytes bytes(static_cast<std::size_t>(code.size));
            format.writer(&value, bytes.data(), 1, 1);
            // Code 0 lacks a sample for -1.0: its lowest is 127 steps below silence.
            EXPECT_EQ(bytes, plainBytes(expected, code.size, true)) << value;
        }
    }
}

TEST(SampleFormat, FloatsKeepTheirBits) {
    const float infinity = std::numeric_limits<float>::infinity();
    // A copy keeps denormals; arithmetic may flush them.
    const std::vector<float> values = {1.0F, -0.0F, infinity, 0.1F, -1e38F, -3.5e-39F};
    const std::vector<float> normal(values.begin(), values.end() - 1);
    for (const bool bigEndian : {false, true}) {
        std::vector<Bytes> singles, doubles;
        for (const float value : values) {
            const auto wide = static_cast<double>(value);
            singles.push_back(plainBytes(std::bit_cast<std::int32_t>(value), 4, bigEndian));
            doubles.push_back(plainBytes(std::bit_cast<std::int64_t>(wide), 8, bigEndian));
        }
        SampleFormat format;
        format.select(5, bigEndian);
        expectSamples(format, singles, values, singles);
        format.select(6, bigEndian);
        expectSamples(format, doubles, normal, doubles);
    }
    SampleFormat plain;
    plain.select(5, false);
    const std::vector<float> packed(3, 1.0F);
    float sample = 0;
    for (const int offset : {0, 1}) // strides below 1, at and between the addresses of floats
        for (const int stride : {0, -1})
            EXPECT_NE(errorOf([&] {
                          plain.reader(reinterpret_cast<const char*>(packed.data() + 1) + offset,
                                       &sample, 2, stride);
                      }).find("ippStsSampleFactorErr"),
                      std::string::npos);
}

TEST(SampleFormat, SelectsByCodeOrBits) {
    SampleFormat format;
    float sample = 0;
    EXPECT_THROW(format.reader(&sample, &sample, 1, 1), std::bad_function_call);
    const std::pair<int, int> codes[] = {{1, 0},   {8, 0},   {9, 2},   {12, 2},         {16, 2},
                                         {17, 3},  {24, 3},  {25, 4},  {32, 4},         {0, -1},
                                         {33, -1}, {40, -1}, {-8, -1}, {2147483647, -1}};
    for (const auto& [bits, code] : codes) {
        format = {};
        EXPECT_EQ(format.selectByBits(bits, true), code >= 0) << bits;
        EXPECT_EQ(format.bytesPerSample == 0, code < 0) << bits;
        EXPECT_EQ(format.formatCode, std::max(code, 0)) << bits;
        EXPECT_EQ(format.bigEndian, code > 0) << bits;
    }
    format.select(2, false);
    format.select(7, true);
    EXPECT_EQ(format.bytesPerSample, 0);
    EXPECT_TRUE(format.reader) << "an unknown code leaves what was there";
    format.select(5, false);
    const float pair[] = {1.0F, 2.0F};
    EXPECT_THROW(format.reader(pair, &sample, 1, 0), std::runtime_error);
    format.reader(pair, nullptr, 0, 2);
}

TEST(SampleFormat, ReadsInterleavedFrames) {
    SampleFormat format;
    format.select(3, true);
    Bytes stream;
    for (std::int64_t i = 0; i < 15; ++i)
        for (const std::uint8_t byte : plainBytes(i << 20, 3, true))
            stream.push_back(byte);
    Signal32 frames(3, 5);
    const Signal32 shared = frames;
    frames.fill(9.0F);
    format.readInterleaved(stream.data(), frames);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < 5; ++i) {
            const int sample = 3 * i + c; // in eighths, which wrap round at full scale
            EXPECT_EQ(frames.row(c)[i], static_cast<float>(sample > 7 ? sample - 16 : sample) / 8);
        }
    }
}

} // namespace sorvane::test
