#pragma once

#include <cmath>
#include <limits>

namespace sorvane::test {

// A number of the reference: its value in double precision, and an estimate of the standard
// deviation of what float rounding makes of it in the engine. Each operation adds its own rounding,
// half a unit in the last place for sums and products, to the errors of its operands. Tests compare
// within kTolerance of these deviations, so that the tolerance follows from the network itself.
struct Real {
    double value = 0.0;
    double error = 0.0;
};

inline constexpr double kTolerance = 16.0;
inline constexpr double kRounding = 0x1p-24;
inline constexpr double kSmallest = 0x1p-126; // smaller floats may be flushed to zero

inline Real exact(float value) {
    return {static_cast<double>(value), 0.0};
}

inline Real rounded(double value, double error, double ulps = 1.0) {
    return {value, std::hypot(error, ulps * kRounding * value) + kSmallest};
}

// The errors of two operands may come from one source, so they add linearly.
inline Real operator+(Real a, Real b) {
    return rounded(a.value + b.value, a.error + b.error);
}

inline Real operator-(Real a, Real b) {
    return rounded(a.value - b.value, a.error + b.error);
}

inline Real operator*(Real a, Real b) {
    return rounded(a.value * b.value,
                   std::fabs(a.value) * b.error + std::fabs(b.value) * a.error + a.error * b.error);
}

// A divisor that could as well be zero gives a result without any certainty.
inline Real operator/(Real a, Real b) {
    const double value = a.value / b.value;
    if (!(kTolerance * b.error < std::fabs(b.value)))
        return {value, std::numeric_limits<double>::infinity()};
    return rounded(value, (a.error + std::fabs(value) * b.error) / std::fabs(b.value), 2.0);
}

// A sum of products in any order of summation.
class Sum {
public:
    void add(float weight, Real x) {
        const double factor = static_cast<double>(weight);
        const double error = std::fabs(factor) * x.error;
        m_value += factor * x.value;
        m_magnitude += std::fabs(factor * x.value);
        m_errors += error;
        m_variance += error * error;
        m_count += 1.0;
    }

    // For many terms of mixed sign, whose errors add like independent ones.
    Real mixed() const { return result(std::sqrt(m_variance)); }
    // For few terms whose errors may all come from one source.
    Real related() const { return result(m_errors); }

private:
    Real result(double error) const {
        return {m_value,
                std::hypot(error, std::sqrt(m_count) * kRounding * m_magnitude) + kSmallest};
    }

    double m_value = 0.0;
    double m_magnitude = 0.0;
    double m_errors = 0.0;
    double m_variance = 0.0;
    double m_count = 0.0;
};

} // namespace sorvane::test
