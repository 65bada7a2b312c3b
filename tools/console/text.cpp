#include "console/text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace sorvane::tools {

std::string printable(std::string text) {
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f)
            character = '?';
    }
    return text;
}

std::string inQuotes(const std::string& text) {
    return "'" + printable(text) + "'";
}

std::string lowerCase(std::string text) {
    for (char& character : text)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return text;
}

std::optional<double> parseNumber(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string::npos)
        return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<double> parseTime(const std::string& text) {
    constexpr double longest = 1e8;
    double seconds = 0.0;
    std::size_t begin = 0;
    for (int part = 0;; ++part) {
        const std::size_t end = text.find(':', begin);
        const std::optional<double> value = parseNumber(text.substr(begin, end - begin));
        if (!value || *value < 0.0 || part == 3)
            return std::nullopt;
        seconds = seconds * 60.0 + *value;
        if (end == std::string::npos)
            break;
        begin = end + 1;
    }
    return seconds <= longest ? std::optional(seconds) : std::nullopt;
}

std::string timeText(double seconds) {
    const auto whole = std::llround(seconds);
    char buffer[64];
    if (whole < 3600)
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld", whole / 60, whole % 60);
    else
        std::snprintf(buffer, sizeof buffer, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    return buffer;
}

std::string shortNumber(double value, int digits) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
    return buffer;
}

std::string groupedNumber(long long value) {
    std::string text = std::to_string(value);
    const std::size_t firstDigit = value < 0 ? 1 : 0;
    for (std::size_t i = text.size(); i > firstDigit + 3;) {
        i -= 3;
        text.insert(i, ",");
    }
    return text;
}

} // namespace sorvane::tools
