#pragma once

#include "audio/signal.h"
#include "reference/reference_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace sorvane::test {

// Between the engine's signals and plain rows.

inline Signal32 toSignal(const AudioRows& rows) {
    Signal32 signal(static_cast<int>(rows.size()), static_cast<int>(rows.at(0).size()));
    for (std::size_t c = 0; c < rows.size(); ++c)
        std::copy(rows[c].begin(), rows[c].end(), signal.channelData(static_cast<int>(c)));
    return signal;
}

inline ComplexSignal32 toSpectrum(const Spectrum& rows) {
    ComplexSignal32 signal(static_cast<int>(rows.size()), static_cast<int>(rows.at(0).size()));
    for (std::size_t c = 0; c < rows.size(); ++c)
        std::transform(rows[c].begin(), rows[c].end(), signal.channelData(static_cast<int>(c)),
                       [](std::complex<double> z) { return std::complex<float>(z); });
    return signal;
}

template <typename Signal>
auto toRows(const Signal& signal) {
    using Sample = std::remove_cvref_t<decltype(*signal.row(0))>;
    std::vector<std::vector<Sample>> rows(static_cast<std::size_t>(signal.channels));
    if (signal.length > 0)
        for (int c = 0; c < signal.channels; ++c)
            rows[static_cast<std::size_t>(c)].assign(signal.row(c), signal.row(c) + signal.length);
    return rows;
}

inline void append(AudioRows& rows, const AudioRows& more) {
    rows.resize(std::max(rows.size(), more.size()));
    for (std::size_t c = 0; c < more.size(); ++c)
        rows[c].insert(rows[c].end(), more[c].begin(), more[c].end());
}

// Same shape, and every value within `tolerance`; a NaN never is.
template <typename A, typename B>
void expectNear(const std::vector<std::vector<A>>& actual,
                const std::vector<std::vector<B>>& expected, double tolerance) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t c = 0; c < actual.size(); ++c) {
        ASSERT_EQ(actual[c].size(), expected[c].size()) << "channel " << c;
        for (std::size_t i = 0; i < actual[c].size(); ++i) {
            using Wide =
                std::conditional_t<std::is_floating_point_v<B>, double, std::complex<double>>;
            const Wide difference = Wide(actual[c][i]) - Wide(expected[c][i]);
            ASSERT_TRUE(std::abs(difference) <= tolerance)
                << "channel " << c << ", index " << i << ": " << actual[c][i] << " instead of "
                << expected[c][i];
        }
    }
}

} // namespace sorvane::test
