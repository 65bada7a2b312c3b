#include "comparison.h"

namespace sorvane::bench {

namespace {

std::vector<Comparison>& registered() {
    static std::vector<Comparison> list;
    return list;
}

} // namespace

void add(Comparison comparison) {
    registered().push_back(std::move(comparison));
}

const std::vector<Comparison>& comparisons() {
    return registered();
}

} // namespace sorvane::bench
