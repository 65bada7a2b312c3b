#include "audio/sample_format.h"

#include "support/bit_cast.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace sorvane {

namespace {

/// The `size` bytes of a sample as the low bytes of an integer.
template <int size, bool bigEndian>
std::uint64_t load(const std::uint8_t* bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i)
        value |= std::uint64_t{bytes[i]} << 8 * (bigEndian ? size - 1 - i : i);
    return value;
}

template <int size, bool bigEndian>
void store(std::uint8_t* bytes, std::uint64_t value) {
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i));
}

/// `value` within limits and rounded to the nearest integer, ties to even: past 2^52 a double has no
/// fraction left, so that adding and subtracting rounds.
template <typename Real>
std::int32_t limited(Real value, Real low, Real high) {
    constexpr double noFraction = 6755399441055744.0;
    const auto inside = static_cast<double>(std::min(std::max(value, low), high));
    return static_cast<std::int32_t>((inside + noFraction) - noFraction);
}

float silenceForNaN(float value) {
    return std::isnan(value) ? 0.0F : value;
}

struct UnsignedByte {
    static constexpr int size = 1;
    static float read(const std::uint8_t* bytes) {
        return (static_cast<float>(bytes[0]) - 127.0F) * 0.0078125F;
    }
    static void write(float x, std::uint8_t* bytes) {
        bytes[0] =
            static_cast<std::uint8_t>(limited(silenceForNaN(x) * 128.0F + 127.0F, 0.0F, 255.0F));
    }
};

struct SignedByte {
    static constexpr int size = 1;
    static float read(const std::uint8_t* bytes) {
        return static_cast<float>(static_cast<std::int8_t>(bytes[0])) * 0.0078125F;
    }
    static void write(float x, std::uint8_t* bytes) {
        bytes[0] = static_cast<std::uint8_t>(limited(silenceForNaN(x) * 128.0F, -128.0F, 127.0F));
    }
};

template <bool bigEndian>
struct Integer16 {
    static constexpr int size = 2;
    static float read(const std::uint8_t* bytes) {
        return static_cast<float>(static_cast<std::int16_t>(load<size, bigEndian>(bytes))) *
               3.0517578125e-05F;
    }
    static void write(float x, std::uint8_t* bytes) {
        const std::int32_t value = limited(silenceForNaN(x) * 32768.0F, -32768.0F, 32767.0F);
        store<size, bigEndian>(bytes, static_cast<std::uint32_t>(value));
    }
};

/// 24 or 32 bits: the top bytes of a 32-bit value.
template <int bytesOfTop, bool bigEndian>
struct Integer32 {
    static constexpr int size = bytesOfTop;
    static constexpr int missingBits = 8 * (4 - size);
    static float read(const std::uint8_t* bytes) {
        const auto value = static_cast<std::uint32_t>(load<size, bigEndian>(bytes));
        return static_cast<float>(static_cast<std::int32_t>(value << missingBits)) *
               4.656612873077393e-10F;
    }
    static void write(float x, std::uint8_t* bytes) {
        const std::int32_t value = limited(static_cast<double>(silenceForNaN(x)) * 2147483648.0,
                                           -2147483648.0, 2147483647.0);
        store<size, bigEndian>(bytes, static_cast<std::uint32_t>(value) >> missingBits);
    }
};

template <bool bigEndian>
struct Float32 {
    static constexpr int size = 4;
    static float read(const std::uint8_t* bytes) {
        return bitCast<float>(static_cast<std::uint32_t>(load<size, bigEndian>(bytes)));
    }
    static void write(float x, std::uint8_t* bytes) {
        store<size, bigEndian>(bytes, bitCast<std::uint32_t>(x));
    }
};

template <bool bigEndian>
struct Float64 {
    static constexpr int size = 8;
    static float read(const std::uint8_t* bytes) {
        return static_cast<float>(bitCast<double>(load<size, bigEndian>(bytes)));
    }
    static void write(float x, std::uint8_t* bytes) {
        store<size, bigEndian>(bytes, bitCast<std::uint64_t>(static_cast<double>(x)));
    }
};

template <typename Codec>
void readSamples(const void* source, float* destination, int count, int stride) {
    const auto* bytes = static_cast<const std::uint8_t*>(source);
    const auto step = static_cast<std::ptrdiff_t>(stride) * Codec::size;
    for (int i = 0; i < count; ++i)
        destination[i] = Codec::read(bytes + i * step);
}

template <typename Codec>
void writeSamples(const float* source, void* destination, int count, int stride) {
    auto* bytes = static_cast<std::uint8_t*>(destination);
    const auto step = static_cast<std::ptrdiff_t>(stride) * Codec::size;
    for (int i = 0; i < count; ++i)
        Codec::write(source[i], bytes + i * step);
}

/// Packed data may be larger than a block of the vector layer.
void copyFloats(const void* source, void* destination, int count) {
    requireMemory(source);
    requireMemory(destination);
    std::memcpy(destination, source, static_cast<std::size_t>(count) * sizeof(float));
}

/// Floats in the machine's own order are copied, one by one where they stand between the addresses
/// of floats or where an int doesn't count them.
void readPlainFloats(const void* source, float* destination, int count, int stride) {
    if (count < 1)
        return;
    if (stride == 1) {
        copyFloats(source, destination, count);
        return;
    }
    if (stride < 1)
        throwStatus(ippStsSampleFactorErr);
    const std::int64_t length = std::int64_t{count - 1} * stride + 1;
    const bool isAligned = reinterpret_cast<std::uintptr_t>(source) % alignof(float) == 0;
    if (!isAligned || length > std::numeric_limits<int>::max()) {
        readSamples<Float32<false>>(source, destination, count, stride);
        return;
    }
    int written = 0;
    int phase = 0;
    check(ippsSampleDown_32f(static_cast<const float*>(source), static_cast<int>(length),
                             destination, &written, stride, &phase));
}

void writePlainFloats(const float* source, void* destination, int count, int stride) {
    if (stride == 1 && count > 0)
        copyFloats(source, destination, count);
    else
        writeSamples<Float32<false>>(source, destination, count, stride);
}

template <typename Codec>
void install(SampleFormat& format) {
    format.bytesPerSample = Codec::size;
    format.reader = readSamples<Codec>;
    format.writer = writeSamples<Codec>;
}

template <bool bigEndian>
void installOrdered(SampleFormat& format) {
    switch (format.formatCode) {
    case 0:
        install<UnsignedByte>(format);
        break;
    case 1:
        install<SignedByte>(format);
        break;
    case 2:
        install<Integer16<bigEndian>>(format);
        break;
    case 3:
        install<Integer32<3, bigEndian>>(format);
        break;
    case 4:
        install<Integer32<4, bigEndian>>(format);
        break;
    case 5:
        install<Float32<bigEndian>>(format);
        if (!bigEndian && std::endian::native == std::endian::little) {
            format.reader = readPlainFloats;
            format.writer = writePlainFloats;
        }
        break;
    case 6:
        install<Float64<bigEndian>>(format);
        break;
    default:
        format.bytesPerSample = 0;
    }
}

} // namespace

void SampleFormat::select(int code, bool isBigEndian) {
    formatCode = code;
    bigEndian = isBigEndian;
    if (bigEndian)
        installOrdered<true>(*this);
    else
        installOrdered<false>(*this);
}

bool SampleFormat::selectByBits(int bits, bool isBigEndian) {
    switch ((std::int64_t{bits} + 7) / 8) {
    case 1:
        select(0, false);
        return true;
    case 2:
        select(2, isBigEndian);
        return true;
    case 3:
        select(3, isBigEndian);
        return true;
    case 4:
        select(4, isBigEndian);
        return true;
    default:
        return false;
    }
}

void SampleFormat::readInterleaved(const void* source, Signal32& destination) const {
    for (int c = 0; c < destination.channels; ++c) {
        float* row = destination.channelData(c);
        if (destination.length > 0)
            requireMemory(row);
        reader(static_cast<const std::uint8_t*>(source) +
                   static_cast<std::ptrdiff_t>(bytesPerSample) * c,
               row, destination.length, destination.channels);
    }
}

} // namespace sorvane
