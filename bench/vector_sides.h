#pragma once

// Other ways to do what the vector layer does, compiled for the instruction sets of its forms. The
// files that are compiled for wide ones share no inline function with the rest of the program, so
// they export tables of plain loops; each job is inlined into its loop.

#include <cstdint>

namespace sorvane::bench {

/// What a job works on. Jobs over complex values take pairs of floats, `length` counts the pairs.
struct Rows {
    const float* a;
    const float* b;
    float* dst;
    int length;
    float value;
};

using Loop = void (*)(const Rows& rows, std::int64_t iterations);

enum Flat : int {
    flatCopy,
    flatZero,
    flatSet,
    flatAdd,
    flatAddC,
    flatSub,
    flatMul,
    flatMulC,
    flatDiv,
    flatAddProduct,
    flatAddProductC,
    flatThreshold,
    flatDotProduct,
    flatNorm,
    flatComplexAdd,
    flatComplexMul,
    numFlat
};

enum Function : int {
    functionExp,
    functionLn,
    functionPolar,
    functionPhase,
    functionMagnitude,
    functionComplexMul,
    numFunctions
};

struct OtherWays {
    const char* form;
    Loop plain[numFlat];          // loops as the compiler makes vector code of them
    Loop byHand[numFlat];         // loops over vectors
    Loop functions[numFunctions]; // xsimd's own functions
};

extern const OtherWays waysSse2;
extern const OtherWays waysAvx2;
extern const OtherWays waysAvx512;

/// Calls `Job` over and over. What it writes counts as read, what it reads as changed.
template <class Job>
void loopOf(const Rows& rows, std::int64_t iterations) {
    Rows hidden = rows;
    const Rows* p = &hidden;
    for (; iterations > 0; --iterations) {
        asm volatile("" : "+r"(p) : : "memory");
        Job()(*p);
        asm volatile("" : : : "memory");
    }
}

template <class Job>
constexpr Loop loop(Job) {
    return loopOf<Job>;
}

} // namespace sorvane::bench
