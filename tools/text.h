#pragma once

#include <optional>
#include <string>

namespace sorvane::tools {

/// `text` fit for a terminal and for one line: control characters, which a file name or the names
/// in a model file may hold, become question marks. Other bytes stay as they are.
std::string printable(std::string text);

/// Single quotes around printable(text).
std::string quoted(const std::string& text);

/// The number that `text` is as a whole, or nothing; "inf" and "nan" are none.
std::optional<double> parseNumber(const std::string& text);

/// At most `digits` significant digits, without trailing zeros.
std::string shortNumber(double value, int digits = 6);

/// An integer with a comma after each group of three digits.
std::string groupedNumber(long long value);

} // namespace sorvane::tools
