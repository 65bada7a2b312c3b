// Runs the tests in the form of the vector layer that SORVANE_FORM names, else in the machine's best.

#include "support/vector/dispatch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int skipped = 77; // what ctest takes for a test that was not run

bool chooseForm(const std::string& name) {
    const sorvane::vector::Kernels* forms[8];
    const int count = sorvane::vector::availableForms(forms, 8);
    for (int i = 0; i < count; ++i) {
        if (forms[i]->name == name) {
            sorvane::vector::activeKernels.store(forms[i]);
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const char* form = std::getenv("SORVANE_FORM");
    if (form && !chooseForm(form)) {
        std::printf("This machine has no form %s.\n", form);
        return skipped;
    }
    return RUN_ALL_TESTS();
}
