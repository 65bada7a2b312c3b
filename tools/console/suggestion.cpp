#include "console/suggestion.h"

#include "console/text.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace sorvane::tools {

namespace {

/// How many letters must be put in, left out, changed or swapped with the next.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> last(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::vector<std::size_t> row{i + 1};
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t cost =
                std::min({last[j] + (a[i] == b[j] ? 0 : 1), last[j + 1] + 1, row[j] + 1});
            if (i > 0 && j > 0 && a[i] == b[j - 1] && a[i - 1] == b[j])
                cost = std::min(cost, before[j - 1] + 1);
            row.push_back(cost);
        }
        before = std::exchange(last, std::move(row));
    }
    return last.back();
}

} // namespace

std::string nearestName(const std::string& text, const std::vector<std::string>& names) {
    constexpr std::size_t longest = 64;
    const std::string small = lowerCase(text.substr(0, longest));
    std::string nearest;
    std::size_t least = small.size() / 3 + 1;
    for (const std::string& name : names) {
        const std::string other = lowerCase(name.substr(0, longest));
        // The first letters of a name are as good as a name with a slip.
        const bool isStart = small.size() >= 3 && other.rfind(small, 0) == 0;
        const std::size_t distance = isStart ? 1 : editDistance(small, other);
        if (distance < least || (distance == least && nearest.empty() && distance < small.size())) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string suggestion(const std::string& text, const std::vector<std::string>& names) {
    const std::string nearest = nearestName(text, names);
    return nearest.empty() ? "" : "; did you mean " + inQuotes(nearest) + "?";
}

std::string listOfNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + printable(name);
    return text;
}

} // namespace sorvane::tools
