#pragma once

// Audio and spectra as cheap values: a signal has a channel count, a length and a shared block of
// non-interleaved rows. Copying shares the block; a writing operation first makes the block private
// to the writer. Reading goes through row(), writing through channelData() and the operations that
// say so.
//
// No operation checks that two signals agree or that a range lies inside: agreement is the
// caller's. A block that could not be allocated has null rows, and its first use raises the
// null-pointer error. Operations on rows raise std::runtime_error "IPP exception: " and the status
// text; rows already written stay written.
//
// Threads: values that share a block may be used on different threads, but for channelPointers();
// one value by one thread at a time. Real time: making a signal, and the first write to a shared one, allocates.

#include "audio/signal_data.h"
#include "support/shared_block.h"

#include <complex>
#include <memory>
#include <vector>

namespace sorvane {

/// What the signals of all sample types have in common.
template <typename T>
class SignalBase {
public:
    SignalBase() = default;

    /// A block of undefined contents.
    SignalBase(int numChannels, int numSamples)
        : channels(numChannels),
          length(numSamples),
          data(std::make_shared<SignalData<T>>(numChannels, numSamples)) {}

    /// True without a block, channels or samples.
    [[nodiscard]] bool isEmpty() const { return !data || channels == 0 || length == 0; }

    /// True while another value has the same block.
    [[nodiscard]] bool isShared() const { return data && !isSoleOwner(data); }

    /// Row `channel` for reading, null without a block.
    [[nodiscard]] const T* row(int channel) const { return start(channel); }

    /// Row `channel` for writing: makes the block private first. Valid until the next write through
    /// another value that shares it.
    T* channelData(int channel) {
        detach();
        return start(channel);
    }

    /// Makes the block private to this value by copying it, if it is shared.
    void detach();

    /// The row starts of the block, kept with it; a caller that means to write detaches first.
    /// There must be a block.
    [[nodiscard]] const std::vector<T*>& channelPointers();

    int channels = 0;
    int length = 0;
    std::shared_ptr<SignalData<T>> data;

private:
    [[nodiscard]] T* start(int channel) const {
        return data && data->data ? data->data + static_cast<std::ptrdiff_t>(channel) * data->stride
                                  : nullptr;
    }
};

class Signal64;

/// Audio in single precision.
class Signal32 : public SignalBase<float> {
public:
    using SignalBase::SignalBase;

    /// Every sample is `value`.
    Signal32(int numChannels, int numSamples, float value);

    /// Writes `value` to samples `start` up to `end - 1`, -1 meaning the length, of one channel or,
    /// for -1, of all. Writes in place.
    void fill(float value, int start = 0, int end = -1, int channel = -1);

    /// Copies all of `source` into each row from `offset` on; nothing for an empty source. Writes
    /// in place.
    void insert(int offset, const Signal32& source);

    /// Copies samples `sourceStart` up to `sourceEnd - 1` of `source` into each row from
    /// `destinationOffset` on, silence into rows that it lacks. Writes in place.
    void copyRange(int destinationOffset, const Signal32& source, int sourceStart, int sourceEnd);

    /// Fills `destination` with the samples from `offset` on.
    void extract(int offset, Signal32& destination) const;

    /// New signals: product, scaled signal and sum. Only tests multiply and add: the engine does it
    /// row by row, in place.
    [[nodiscard]] Signal32 multiply(const Signal32& other) const;
    [[nodiscard]] Signal32 scale(float gain) const;
    [[nodiscard]] Signal32 add(const Signal32& other) const;

    /// Divides by `other` in place; a zero divisor isn't an error.
    void divide(const Signal32& other);

    /// `count` channels, each a copy of row 0; for a count below 2 this signal itself, shared.
    [[nodiscard]] Signal32 replicate(int count) const;

    [[nodiscard]] Signal64 toSignal64() const;
};

/// Audio in double precision.
class Signal64 : public SignalBase<double> {
public:
    using SignalBase::SignalBase;

    /// Values past the range of float become its largest finite values.
    [[nodiscard]] Signal32 toSignal32() const;
};

/// Spectra: a row per channel, a sample per frequency bin.
class ComplexSignal32 : public SignalBase<std::complex<float>> {
public:
    using SignalBase::SignalBase;
    using Complex = std::complex<float>;

    /// As Signal32::fill.
    void fill(Complex value, int start = 0, int end = -1, int channel = -1);

    // The chain mixes row by row, in fewer passes. Of these operations it takes the product with a
    // constant and the sum into a signal; only tests call the others.

    /// New signals: scaled signal and this minus `other`.
    [[nodiscard]] ComplexSignal32 scaled(Complex factor) const;
    [[nodiscard]] ComplexSignal32 subtract(const ComplexSignal32& other) const;

    /// Multiplies in place, element by element or by a constant.
    void multiply(const ComplexSignal32& other);
    void multiply(Complex factor);

    /// Adds in place; a signal of length 0 becomes a shared copy of `other`.
    void add(const ComplexSignal32& other);

    /// One channel: the sum of all rows.
    [[nodiscard]] ComplexSignal32 sumChannels() const;

    /// The same into a signal of one channel and this length.
    void sumChannels(ComplexSignal32& sum) const;
};

extern template class SignalBase<float>;
extern template class SignalBase<double>;
extern template class SignalBase<std::complex<float>>;

} // namespace sorvane
