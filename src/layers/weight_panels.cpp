#include "layers/weight_panels.h"

#include "support/vector/ipps_compound.h"

#include <algorithm>
#include <memory>
#include <new>

namespace sorvane {

namespace {

std::shared_ptr<TensorData<float>> makeBuffer(std::int64_t count) {
    auto buffer = std::make_shared<TensorData<float>>(count);
    if (!buffer->data)
        throw std::bad_alloc();
    return buffer;
}

/// Calls op(row, column) for the elements of a matrix in the order of its panels.
template <typename Op>
void forEachInPanels(std::int64_t rows, int columns, int panelWidth, Op op) {
    for (int first = 0; first < columns; first += panelWidth)
        for (std::int64_t row = 0; row < rows; ++row)
            for (int c = first; c < std::min(first + panelWidth, columns); ++c)
                op(row, c);
}

/// Replaces the buffer by one with the element at(row, column) in each place of the panels.
template <typename At>
bool pack(Tensor32& weights, std::int64_t rows, int columns, int& panelWidth, At at) {
    if (rows < 1 || columns < 1 || rows > weights.numAvailable() / columns)
        return false;
    panelWidth = ippsPanelWidth(columns);
    if (panelWidth == 0)
        return true;
    const auto packed = makeBuffer(rows * columns + ippPanelPadding);
    float* out = packed->data;
    forEachInPanels(rows, columns, panelWidth,
                    [&](std::int64_t row, int column) { *out++ = at(row, column); });
    std::fill_n(out, ippPanelPadding, 0.0F);
    weights.data = packed;
    return true;
}

/// Replaces the buffer by one with element (row, column) at index(row, column).
template <typename IndexOf>
void unpack(Tensor32& weights, int rows, int columns, int& panelWidth, IndexOf index) {
    if (panelWidth == 0)
        return;
    const auto unpacked = makeBuffer(std::int64_t{rows} * columns);
    const float* in = weights.elements();
    forEachInPanels(rows, columns, panelWidth, [&](std::int64_t row, int column) {
        unpacked->data[index(row, column)] = *in++;
    });
    weights.data = unpacked;
    panelWidth = 0;
}

} // namespace

bool packRows(Tensor32& weights, std::int64_t rows, int columns, int& panelWidth) {
    const float* in = weights.elements();
    return pack(weights, rows, columns, panelWidth,
                [&](std::int64_t row, int column) { return in[row * columns + column]; });
}

bool packColumns(Tensor32& weights, std::int64_t kernels, int columns, int rows, int& panelWidth) {
    if (rows < 1 || kernels < 1 || kernels > weights.numAvailable() / rows)
        return false;
    const float* in = weights.elements();
    return pack(weights, kernels * rows, columns, panelWidth, [&](std::int64_t row, int column) {
        return in[(row / rows * columns + column) * rows + row % rows];
    });
}

void unpackRows(Tensor32& weights, int rows, int columns, int& panelWidth) {
    unpack(weights, rows, columns, panelWidth,
           [&](std::int64_t row, int column) { return row * columns + column; });
}

void unpackColumns(Tensor32& weights, int columns, int rows, int& panelWidth) {
    unpack(weights, rows, columns, panelWidth,
           [&](std::int64_t row, int column) { return std::int64_t{column} * rows + row; });
}

} // namespace sorvane
