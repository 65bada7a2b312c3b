#include "audio/signal.h"
#include "audio/tensor.h"
#include "util/signal_rows.h"

#include <cstdint>
#include <limits>
#include <numeric>
#include <thread>

namespace sorvane::test {

namespace {

template <typename Signal>
void expectLayout(int length, int stride) {
    SCOPED_TRACE("length " + std::to_string(length));
    Signal signal(3, length);
    EXPECT_EQ(signal.data->stride, stride);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(signal.row(c)) % 64, 0U);
        EXPECT_EQ(signal.row(c), signal.row(0) + c * stride);
        EXPECT_EQ(signal.channelData(c), signal.row(c));
    }
}

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

TEST(Signal, RowsStandOnWholeCacheLines) {
    expectLayout<Signal32>(5, 16);
    expectLayout<Signal32>(16, 16);
    expectLayout<Signal32>(17, 32);
    expectLayout<Signal64>(5, 8);
    expectLayout<Signal64>(9, 16);
    expectLayout<ComplexSignal32>(5, 8);
    expectLayout<ComplexSignal32>(8, 8);
}

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

TEST(Signal, OperandsMayShareTheirBlock) {
    ComplexSignal32 signal(1, 3);
    signal.fill({1.0F, 2.0F});
    signal.add(signal);
    signal.multiply(signal);
    EXPECT_EQ(signal.row(0)[2], std::complex<float>(-12.0F, 16.0F));
    Signal32 real(1, 3, 4.0F);
    real.divide(real);
    EXPECT_EQ(real.row(0)[2], 1.0F);
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

    const AudioRows before = toRows(signal);
    signal.insert(0, Signal32());
    signal.insert(0, Signal32(2, 0));
    EXPECT_EQ(toRows(signal), before);
}

TEST(Signal, Arithmetic) {
    const Signal32 a = toSignal({{1, 2}, {3, 4}});
    const Signal32 b = toSignal({{2, 0}, {0.5F, 4}});
    EXPECT_EQ(toRows(a.multiply(b)), (AudioRows{{2, 0}, {1.5F, 16}}));
    EXPECT_EQ(toRows(a.add(b)), (AudioRows{{3, 2}, {3.5F, 8}}));
    EXPECT_EQ(toRows(a.scale(-2)), (AudioRows{{-2, -4}, {-6, -8}}));
    Signal32 quotient = a;
    quotient.divide(b);
    EXPECT_EQ(toRows(quotient),
              (AudioRows{{0.5F, std::numeric_limits<float>::infinity()}, {6, 1}}));

    EXPECT_EQ(toRows(a.replicate(3)), (AudioRows{{1, 2}, {1, 2}, {1, 2}}));
    for (const int count : {-1, 0, 1})
        EXPECT_EQ(a.replicate(count).data, a.data) << count;

    using Bins = std::vector<std::vector<std::complex<float>>>;
    const ComplexSignal32 z = toSpectrum(Spectrum{{{1, 2}}, {{3, -4}}, {{0, 1}}});
    EXPECT_EQ(toRows(z.sumChannels()), (Bins{{{4, -1}}}));
    EXPECT_EQ(toRows(z.scaled({0, 2})), (Bins{{{-4, 2}}, {{8, 6}}, {{-2, 0}}}));
    EXPECT_EQ(toRows(z.subtract(z.scaled(2))), toRows(z.scaled(-1)));
    ComplexSignal32 sum;
    sum.add(z);
    EXPECT_EQ(sum.data, z.data);
    EXPECT_EQ(sum.channels, 3);
}

TEST(Signal, EmptySignalsAreFine) {
    Signal32 none(2, 0);
    EXPECT_EQ(none.row(0), nullptr);
    none.fill(1.0F);
    EXPECT_EQ(none.multiply(none).length, 0);
    EXPECT_EQ(none.scale(2.0F).length, 0);
    EXPECT_EQ(none.toSignal64().length, 0);
    Signal32().detach();
    EXPECT_EQ(Signal32().multiply(Signal32()).channels, 0);
    EXPECT_EQ(ComplexSignal32().scaled(2).length, 0);
    // More than memory holds: no crash at the making, an error at the first use.
    Signal32 huge(1 << 20, 1 << 20);
    EXPECT_THROW(huge.fill(1.0F), std::runtime_error);
}

TEST(Signal, ConversionsSaturate) {
    Signal64 wide = toSignal({{0.1F, -3.0F}, {1.0F, 2.0F}}).toSignal64();
    EXPECT_EQ(wide.row(0)[0], static_cast<double>(0.1F));
    EXPECT_EQ(wide.row(1)[1], 2.0);
    wide.channelData(0)[0] = 1e300;
    wide.channelData(0)[1] = -1e300;
    wide.detach();
    wide.channelPointers().at(1)[0] = 5.0;
    constexpr float most = std::numeric_limits<float>::max();
    EXPECT_EQ(toRows(wide.toSignal32()), (AudioRows{{most, -most}, {5.0F, 2.0F}}));
    Signal64 copy = wide;
    copy.detach();
    EXPECT_EQ(copy.channelPointers().at(1), copy.row(1));
}

TEST(Tensor, CapacityGrowsOnly) {
    Tensor32 tensor({2, 3});
    std::fill_n(tensor.writableElements(), 6, 4.0F);
    const float* buffer = tensor.elements();
    const struct {
        std::vector<int> shape;
        int capacity;
        bool keepsBuffer;
    } steps[] = {{{3, 2}, 6, true}, {{1, 4}, 6, true}, {{}, 6, true},
                 {{5, 0}, 6, true}, {{6}, 6, true},    {{2, 4}, 8, false}};
    for (const auto& step : steps) {
        tensor.setShape(step.shape);
        EXPECT_EQ(tensor.shape, step.shape);
        EXPECT_EQ(tensor.data->size, step.capacity);
        EXPECT_EQ(tensor.elements() == buffer, step.keepsBuffer);
        if (step.keepsBuffer) {
            EXPECT_EQ(tensor.elements()[5], 4.0F);
        }
    }
    EXPECT_EQ(elementCount({}), 0);
    EXPECT_EQ(elementCount({3, 0, 2}), 0);
    EXPECT_EQ(elementCount({3, 5, 2}), 30);
}

TEST(Tensor, DetachCopiesTheWholeBuffer) {
    Tensor32 tensor({4});
    for (int i = 0; i < 4; ++i)
        tensor.writableElements()[i] = static_cast<float>(i);
    tensor.setShape({2});
    Tensor32 copy = tensor;
    copy.writableElements()[0] = 9.0F;
    EXPECT_EQ(tensor.elements()[0], 0.0F);
    EXPECT_EQ(copy.data->size, 4);
    EXPECT_EQ(copy.elements()[3], 3.0F);
    const float* own = copy.elements();
    EXPECT_EQ(copy.writableElements(), own);
}

} // namespace sorvane::test
