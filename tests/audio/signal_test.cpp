#include "audio/signal.h"
#include "audio/tensor.h"
#include "util/signal_rows.h"

#include <cstdint>
#include <numeric>
#include <thread>

namespace sorvane::test {

namespace {

// A write to a copy leaves the original as it was; a write by the only owner stays in its block.
template <typename Signal, typename Write>
void expectDetaches(const char* name, const Signal& model, Write write) {
    SCOPED_TRACE(name);
    Signal original = model;
    original.detach();
    const auto before = toRows(original);
    Signal copy = original;
    write(copy);
    EXPECT_EQ(toRows(original), before);
    EXPECT_NE(toRows(copy), before);
    EXPECT_NE(copy.data, original.data);
    const auto* block = copy.data.get();
    write(copy);
    EXPECT_EQ(copy.data.get(), block);
}

const AudioRows twoRows = {{1, 2, 3, 4, 5}, {10, 20, 30, 40, 50}};

} // namespace

TEST(Signal, EveryWriteKeepsOtherOwnersIntact) {
    const Signal32 real = toSignal(twoRows);
    const Signal32 other(2, 5, 7.0F);
    expectDetaches("channelData", real, [](Signal32& s) { ++s.channelData(1)[2]; });
    expectDetaches("fill", real, [](Signal32& s) { s.fill(-1.0F); });
    expectDetaches("insert", real, [&](Signal32& s) { s.insert(0, other); });
    expectDetaches("copyRange", real, [&](Signal32& s) { s.copyRange(1, other, 2, 4); });
    expectDetaches("divide", real, [&](Signal32& s) { s.divide(other); });
    expectDetaches("extract into", real, [&](Signal32& s) { other.extract(0, s); });

    ComplexSignal32 bins(2, 5);
    bins.fill({1.0F, 2.0F});
    expectDetaches("complex fill", bins, [](ComplexSignal32& s) { s.fill({0.0F, 3.0F}); });
    expectDetaches("multiply", bins, [&](ComplexSignal32& s) { s.multiply(bins); });
    expectDetaches("constant", bins,
                   [](ComplexSignal32& s) { s.multiply(std::complex<float>(0.0F, 2.0F)); });
    expectDetaches("add", bins, [&](ComplexSignal32& s) { s.add(bins); });
}

// A write in place comes after the last read of whoever had a share before; the thread sanitizer
// tells when it needn't.
template <typename Value, typename Read, typename Write>
void writeOnceUnshared(Value value, Read read, Write write) {
    for (int i = 0; i < 100; ++i) {
        float sum = 0.0F;
        std::thread other([share = value, &sum, read]() mutable {
            sum = read(share);
            share = {};
        });
        while (value.isShared())
            std::this_thread::yield();
        const auto* block = value.data.get();
        write(value);
        EXPECT_EQ(value.data.get(), block);
        other.join();
        EXPECT_EQ(sum, 64.0F * static_cast<float>(i + 1));
    }
}

TEST(Signal, AWriteInPlaceComesAfterTheReadsOfOtherThreads) {
    const auto sum = [](const float* values) { return std::accumulate(values, values + 64, 0.0F); };
    const auto increase = [](float* values) {
        for (int i = 0; i < 64; ++i)
            values[i] += 1.0F;
    };
    writeOnceUnshared(
        Signal32(1, 64, 1.0F), [=](const Signal32& s) { return sum(s.row(0)); },
        [=](Signal32& s) { increase(s.channelData(0)); });
    Tensor32 tensor({64});
    std::fill_n(tensor.writableElements(), 64, 1.0F);
    writeOnceUnshared(
        std::move(tensor), [=](const Tensor32& t) { return sum(t.elements()); },
        [=](Tensor32& t) { increase(t.writableElements()); });
}

TEST(Signal, RangesTouchOnlyWhatTheyName) {
    const Signal32 source = toSignal(twoRows);
    Signal32 signal(2, 5, 0.0F);
    signal.fill(1.0F, 2, 5, 1);
    EXPECT_EQ(toRows(signal), (AudioRows{{0, 0, 0, 0, 0}, {0, 0, 1, 1, 1}}));
    signal.fill(9.0F, 3, 3);
    signal.fill(9.0F, 4, 2);
    signal.fill(2.0F, 4);
    EXPECT_EQ(toRows(signal), (AudioRows{{0, 0, 0, 0, 2}, {0, 0, 1, 1, 2}}));
    signal.copyRange(1, source, 3, 5);
    EXPECT_EQ(toRows(signal), (AudioRows{{0, 4, 5, 0, 2}, {0, 40, 50, 1, 2}}));
    signal.insert(3, toSignal({{7, 8}, {70, 80}}));
    EXPECT_EQ(toRows(signal), (AudioRows{{0, 4, 5, 7, 8}, {0, 40, 50, 70, 80}}));
    Signal32 part(2, 2);
    signal.extract(1, part);
    EXPECT_EQ(toRows(part), (AudioRows{{4, 5}, {40, 50}}));

    signal.copyRange(3, toSignal({{9, 9}}), 0, 2); // a row that the source lacks
    EXPECT_EQ(toRows(signal), (AudioRows{{0, 4, 5, 9, 9}, {0, 40, 50, 0, 0}}));

    const AudioRows before = toRows(signal);
    signal.insert(0, Signal32());
    signal.insert(0, Signal32(2, 0));
    EXPECT_EQ(toRows(signal), before);
}

TEST(Signal, WhatMemoryCannotHoldRaisesAtItsFirstUse) {
    Signal32 huge(1 << 20, 1 << 20);
    EXPECT_THROW(huge.fill(1.0F), std::runtime_error);
    Signal32 none(2, 0);
    none.fill(1.0F);
    EXPECT_EQ(none.multiply(none).length, 0);
}

} // namespace sorvane::test
