#include "audio/signal.h"

#include "support/vector_rows.h"

#include <cstddef>

namespace sorvane {

namespace {

/// `row + offset`, or null for a null row, on which arithmetic is undefined.
template <typename T>
T* at(T* row, int offset) {
    return row ? row + offset : nullptr;
}

/// Runs `operation(value, row start, count)` over a range of the rows that `fill` names.
template <typename Signal, typename Value, typename Operation>
void fillRows(Signal& signal, Value value, int start, int end, int channel, Operation operation) {
    const int count = (end == -1 ? signal.length : end) - start;
    if (count < 1)
        return;
    const int first = channel == -1 ? 0 : channel;
    const int last = channel == -1 ? signal.channels : channel + 1;
    for (int c = first; c < last; ++c)
        check(operation(value, at(signal.channelData(c), start), count));
}

/// A new signal of the shape of `signal`, each row made by `operation(row of the signal, new row,
/// c)`.
template <typename Result, typename Signal, typename Operation>
Result mapRows(const Signal& signal, Operation operation) {
    Result result(signal.channels, signal.length);
    if (signal.length > 0)
        for (int c = 0; c < signal.channels; ++c)
            check(operation(signal.row(c), result.channelData(c), c));
    return result;
}

} // namespace

template <typename T>
void SignalBase<T>::detach() {
    if (!isShared())
        return;
    auto copy = std::make_shared<SignalData<T>>(data->channels, data->length);
    copyElements(data->data, copy->data,
                 static_cast<std::ptrdiff_t>(data->stride) * data->channels);
    data = std::move(copy);
}

template <typename T>
const std::vector<T*>& SignalBase<T>::channelPointers() {
    std::vector<T*>& pointers = data->channelPointers;
    if (pointers.empty())
        for (int c = 0; c < channels; ++c)
            pointers.push_back(start(c));
    return pointers;
}

template class SignalBase<float>;
template class SignalBase<double>;
template class SignalBase<std::complex<float>>;

Signal32::Signal32(int numChannels, int numSamples, float value)
    : SignalBase(numChannels, numSamples) {
    fill(value);
}

void Signal32::fill(float value, int start, int end, int channel) {
    fillRows(*this, value, start, end, channel, ippsSet_32f);
}

void Signal32::insert(int offset, const Signal32& source) {
    if (!source.isEmpty())
        copyRange(offset, source, 0, source.length);
}

void Signal32::copyRange(int destinationOffset, const Signal32& source, int sourceStart,
                         int sourceEnd) {
    const int count = sourceEnd - sourceStart;
    for (int c = 0; c < channels; ++c) {
        if (c < source.channels)
            copyElements(at(source.row(c), sourceStart), at(channelData(c), destinationOffset),
                         count);
        else if (count > 0)
            fill(0.0F, destinationOffset, destinationOffset + count, c);
    }
}

void Signal32::extract(int offset, Signal32& destination) const {
    for (int c = 0; c < channels; ++c)
        copyElements(at(row(c), offset), destination.channelData(c), destination.length);
}

Signal32 Signal32::multiply(const Signal32& other) const {
    return mapRows<Signal32>(*this, [&](const float* in, float* out, int c) {
        return ippsMul_32f(in, other.row(c), out, length);
    });
}

Signal32 Signal32::scale(float gain) const {
    return mapRows<Signal32>(*this, [&](const float* in, float* out, int) {
        return ippsMulC_32f(in, gain, out, length);
    });
}

Signal32 Signal32::add(const Signal32& other) const {
    return mapRows<Signal32>(*this, [&](const float* in, float* out, int c) {
        return ippsAdd_32f(in, other.row(c), out, length);
    });
}

void Signal32::divide(const Signal32& other) {
    if (length < 1)
        return;
    for (int c = 0; c < channels; ++c) {
        float* destination = channelData(c);
        check(ippsDiv_32f(other.row(c), destination, destination, length));
    }
}

Signal32 Signal32::replicate(int count) const {
    if (count < 2)
        return *this;
    Signal32 result(count, length);
    for (int c = 0; c < count; ++c)
        copyElements(row(0), result.channelData(c), length);
    return result;
}

Signal64 Signal32::toSignal64() const {
    return mapRows<Signal64>(*this, [&](const float* in, double* out, int) {
        return ippsConvert_32f64f(in, out, length);
    });
}

Signal32 Signal64::toSignal32() const {
    return mapRows<Signal32>(*this, [&](const double* in, float* out, int) {
        return ippsConvert_64f32f(in, out, length);
    });
}

void ComplexSignal32::fill(Complex value, int start, int end, int channel) {
    fillRows(*this, value, start, end, channel, ippsSet_32fc);
}

ComplexSignal32 ComplexSignal32::scaled(Complex factor) const {
    return mapRows<ComplexSignal32>(*this, [&](const Complex* in, Complex* out, int) {
        return ippsMulC_32fc(in, factor, out, length);
    });
}

ComplexSignal32 ComplexSignal32::subtract(const ComplexSignal32& other) const {
    return mapRows<ComplexSignal32>(*this, [&](const Complex* in, Complex* out, int c) {
        return ippsSub_32fc(other.row(c), in, out, length);
    });
}

void ComplexSignal32::multiply(const ComplexSignal32& other) {
    if (length < 1)
        return;
    for (int c = 0; c < channels; ++c) {
        Complex* destination = channelData(c);
        check(ippsMul_32fc(destination, other.row(c), destination, length));
    }
}

void ComplexSignal32::multiply(Complex factor) {
    if (length < 1)
        return;
    for (int c = 0; c < channels; ++c) {
        Complex* destination = channelData(c);
        check(ippsMulC_32fc(destination, factor, destination, length));
    }
}

void ComplexSignal32::add(const ComplexSignal32& other) {
    if (length == 0) {
        *this = other;
        return;
    }
    for (int c = 0; length > 0 && c < channels; ++c) {
        Complex* destination = channelData(c);
        check(ippsAdd_32fc(destination, other.row(c), destination, length));
    }
}

ComplexSignal32 ComplexSignal32::sumChannels() const {
    ComplexSignal32 sum(1, length);
    sumChannels(sum);
    return sum;
}

void ComplexSignal32::sumChannels(ComplexSignal32& sum) const {
    if (length < 1 || channels < 1)
        return;
    Complex* destination = sum.channelData(0);
    copyElements(row(0), destination, length);
    for (int c = 1; c < channels; ++c)
        check(ippsAdd_32fc(destination, row(c), destination, length));
}

} // namespace sorvane
