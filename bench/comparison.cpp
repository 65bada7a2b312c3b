#include "comparison.h"

namespace sorvane::bench {

namespace {

std::vector<Comparison>& registered() {
    static std::vector<Comparison> list;
    return list;
}

std::string& wantedText() {
    static std::string text;
    return text;
}

} // namespace

void select(const std::string& text) {
    wantedText() = text;
}

bool isWanted(const std::string& group, const std::string& name) {
    return (group + '/' + name).find(wantedText()) != std::string::npos;
}

void add(Comparison comparison) {
    if (isWanted(comparison.group, comparison.name))
        registered().push_back(std::move(comparison));
}

const std::vector<Comparison>& comparisons() {
    return registered();
}

} // namespace sorvane::bench
