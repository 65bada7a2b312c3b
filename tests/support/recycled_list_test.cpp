#include "support/recycled_list.h"
#include "util/error_of.h"

#include <gtest/gtest.h>

namespace sorvane::test {

TEST(RecycledList, RefusesToGrowPastItsMaximum) {
    RecycledList<int> recycled;
    std::list<int> plain;
    for (const char* error : {"", "", "list too long", "list too long"}) {
        EXPECT_EQ(errorOf([&] { recycled.push_back(1, 2); }), error);
        EXPECT_EQ(errorOf([&] { appendBounded(plain, 1, 2); }), error);
    }
    EXPECT_EQ(recycled.size() + plain.size(), 4U);
}

} // namespace sorvane::test
