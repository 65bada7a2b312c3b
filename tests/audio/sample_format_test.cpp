#include "audio/sample_format.h"
#include "util/error_of.h"
#include "util/signal_rows.h"

#include <bit>
#include <limits>

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

} // namespace

// What the values are is held against another reader of packed files, through the program.
TEST(SampleFormat, EveryCodeKeepsItsSamplesAtEveryStride) {
    const std::vector<float> floats = {0.5F, -0.25F, 0.0F, -1.0F, 0.9375F, -0.125F, 0.75F};
    for (int code = 0; code <= 6; ++code)
        for (const bool bigEndian : {false, true})
            for (const int stride : {1, 2, 6})
                for (const std::size_t shift : {0U, 1U}) { // odd addresses too
                    SCOPED_TRACE(code * 100 + stride * 10 + static_cast<int>(shift));
                    SampleFormat format;
                    format.select(code, bigEndian);
                    const int count = static_cast<int>(floats.size());
                    const auto step = static_cast<std::size_t>(format.bytesPerSample * stride);
                    Bytes stream(shift + step * floats.size(), 0xA5);
                    format.writer(floats.data(), stream.data() + shift, count, stride);
                    std::vector<float> result(floats.size());
                    format.reader(stream.data() + shift, result.data(), count, stride);
                    for (std::size_t i = 0; i < floats.size(); ++i)
                        EXPECT_NEAR(result[i], floats[i], code == 0 ? 0.01F : 0.0F) << i;
                    // The gaps stay as they are.
                    const auto size = static_cast<std::size_t>(format.bytesPerSample);
                    for (std::size_t i = shift + size; stride > 1 && i < stream.size(); i += step)
                        EXPECT_EQ(stream[i], 0xA5);
                }
    // A copy keeps denormals; arithmetic may flush them.
    SampleFormat plain;
    plain.select(5, false);
    const auto denormal = std::bit_cast<float>(0x802A2A2AU);
    float copy = 0;
    plain.reader(&denormal, &copy, 1, 1);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(copy), 0x802A2A2AU);
    for (const int offset : {0, 1}) // strides below 1, at and between the addresses of floats
        for (const int stride : {0, -1})
            EXPECT_NE(errorOf([&] {
                          plain.reader(reinterpret_cast<const char*>(floats.data() + 1) + offset,
                                       &copy, 2, stride);
                      }).find("ippStsSampleFactorErr"),
                      std::string::npos);
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
