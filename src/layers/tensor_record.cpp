#include "layers/tensor_record.h"
#include "support/bit_cast.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

namespace sorvane {

namespace {

constexpr int storageHalf = 0;
constexpr int storageSingle = 1;
constexpr int firstVersionWithStorage = 0x1009;

void readHalves(RecordReader& reader, float* destination, std::int64_t count) {
    std::vector<std::uint16_t> halves(static_cast<std::size_t>(count));
    reader.bytes(halves.data(), count * 2);
    for (const std::uint16_t half : halves)
        *destination++ = widenHalf(half);
}

} // namespace

float widenHalf(std::uint16_t half) {
    const std::uint32_t sign = (half & 0x8000U) << 16;
    const std::uint32_t exponent = (half >> 10) & 0x1FU;
    const std::uint32_t fraction = half & 0x3FFU;
    if (exponent != 0)
        return bitCast<float>(sign | (exponent + 112) << 23 | fraction << 13);
    const float magnitude = std::ldexp(static_cast<float>(fraction), -24);
    return sign != 0 ? -magnitude : magnitude;
}

Tensor32 readTensor(RecordReader& reader) {
    const int storage = reader.version >= firstVersionWithStorage
                            ? static_cast<int>(reader.scalar<std::int8_t>())
                            : storageSingle;
    const int rank = reader.scalar<std::int8_t>();

    Tensor32 tensor;
    for (int i = 0; i < rank; ++i)
        tensor.shape.push_back(reader.scalar<std::int32_t>());
    const std::int64_t count = elementCount(tensor.shape);
    if (count <= 0)
        return tensor;

    if (count > std::numeric_limits<int>::max() / 4)
        throw std::length_error("tensor too long");
    if (storage == storageSingle || storage == storageHalf)
        reader.requireBytes(count * (storage == storageSingle ? 4 : 2));
    else
        reader.claimMemory(count * 4);
    tensor.data = std::make_shared<TensorData<float>>(count);
    float* destination = tensor.data->data;
    if (!destination)
        throw std::bad_alloc();
    if (storage == storageSingle)
        reader.bytes(destination, count * 4);
    else if (storage == storageHalf)
        readHalves(reader, destination, count);
    else
        std::fill_n(destination, count, 0.0F);
    return tensor;
}

int dimension(const Tensor32& tensor, std::size_t axis) {
    return tensor.shape.empty() ? 0 : tensor.shape.at(axis);
}

} // namespace sorvane
