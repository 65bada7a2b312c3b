#include "reference/network_comparison.h"
#include "reference/random_network.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

// Random networks in the engine against the reference. A failure prints the seed; that network alone
// runs again with SORVANE_SEED set to it and SORVANE_COUNT=1, and a long run takes a large count.
namespace sorvane::test {
namespace {

struct Family {
    const char* name;
    unsigned firstSeed;
    int count;
    std::vector<int> kinds;
};

const std::vector<int> kAllKinds = {2,  2,  2,  3,  3,  4,  5,  6,  7,  9,  9,  12, 14,
                                    15, 15, 16, 17, 18, 18, 18, 19, 19, 20, 22, 23};

const std::vector<Family> kFamilies = {
    {"ConvolutionsAndActivations", 1, 100, {2, 2, 2, 2, 4, 5, 6, 12, 17, 20}},
    {"DownUpAndJoins", 1001, 150, {2, 2, 3, 3, 4, 9, 18}},
    {"SeparableAndAttentionOnJoins", 2001, 100, {2, 3, 6, 9, 15, 15, 18, 19, 19}},
    {"LevelsAndFrequencies", 3001, 100, {2, 6, 7, 14, 16, 18, 22, 23}},
    {"AllKinds", 4001, 300, kAllKinds},
};

int fromEnvironment(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

// What the test runner's lists show of a parameter.
std::ostream& operator<<(std::ostream& stream, const Family& family) {
    return stream << family.name;
}

class RandomNetworks : public testing::TestWithParam<Family> {};

TEST_P(RandomNetworks, EqualTheReference) {
    const Family& family = GetParam();
    const unsigned first =
        static_cast<unsigned>(fromEnvironment("SORVANE_SEED", static_cast<int>(family.firstSeed)));
    const unsigned count = static_cast<unsigned>(fromEnvironment("SORVANE_COUNT", family.count));
    ComparisonCounts counts;
    for (unsigned seed = first; seed != first + count; ++seed) {
        const NetworkDescription network = randomNetwork(seed, family.kinds);
        EXPECT_EQ(differenceToReference(network, seed, counts), "")
            << "SORVANE_SEED=" << seed << " SORVANE_COUNT=1, " << network.text();
    }
    std::cout << counts.networks << " networks, " << counts.networksWithOutput << " with output, "
              << counts.values << " values, " << counts.looseValues
              << " of them with a loose tolerance, largest error " << counts.largestError
              << " tolerances\n";
    if (count >= 50) {
        EXPECT_GT(counts.networksWithOutput, 0.9 * counts.networks);
        EXPECT_LT(counts.looseValues, 0.03 * counts.values);
    }
}

INSTANTIATE_TEST_SUITE_P(Families, RandomNetworks, testing::ValuesIn(kFamilies),
                         [](const auto& test) { return test.param.name; });

} // namespace
} // namespace sorvane::test
