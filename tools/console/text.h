#pragma once

#include <optional>
#include <string>

namespace sorvane::tools {

/// `text` fit for a terminal and for one line: control characters, which a file name or the names
/// in a model file may hold, become question marks. Other bytes stay as they are.
std::string printable(std::string text);

/// Single quotes around printable(text).
std::string inQuotes(const std::string& text);

/// With small letters for the capital ones of ASCII.
std::string lowerCase(std::string text);

/// The number that `text` is as a whole, or nothing; "inf" and "nan" are none.
std::optional<double> parseNumber(const std::string& text);

/// Seconds of "90", "1:30" or "1:02:03.5", from 0 to 10^8, or nothing.
std::optional<double> parseTime(const std::string& text);

/// The same the other way round, in whole seconds: "0:42", "1:02:03".
std::string timeText(double seconds);

/// At most `digits` significant digits, without trailing zeros.
std::string shortNumber(double value, int digits = 6);

/// An integer with a comma after each group of three digits.
std::string groupedNumber(long long value);

} // namespace sorvane::tools
