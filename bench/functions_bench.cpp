// The functions of the vector layer beside xsimd's own, compiled for the same instruction set.

#include "registration.h"
#include "vector_bench.h"

#include "support/vector/ipps.h"

namespace sorvane::bench {

namespace {

const Ipp32fc* complexes(const float* p) {
    return reinterpret_cast<const Ipp32fc*>(p);
}
Ipp32fc* complexes(float* p) {
    return reinterpret_cast<Ipp32fc*>(p);
}

struct Job {
    Function which;
    const char* name;
    float low, high; // of the arguments
    Goal goal;
    Loop ours;
};

constexpr Goal goal{.atLeast = 1.0, .aim = 0.7};

const Job jobs[] = {
    {functionExp, "exp", -10, 10, goal,
     loop([](const Rows& r) { return ippsExp_32f(r.a, r.dst, r.length); })},
    {functionLn, "ln", 0.001F, 10, goal,
     loop([](const Rows& r) { return ippsLn_32f(r.a, r.dst, r.length); })},
    {functionPolar, "sine and cosine (polar to Cartesian)", -3.14F, 3.14F, goal,
     loop(
         [](const Rows& r) { return ippsPolarToCart_32fc(r.a, r.b, complexes(r.dst), r.length); })},
    {functionPhase, "atan2 (phase)", -9, 9, goal,
     loop([](const Rows& r) { return ippsPhase_32fc(complexes(r.a), r.dst, r.length); })},
    {functionMagnitude, "magnitude", -9, 9, {}, loop([](const Rows& r) {
         return ippsMagnitude_32fc(complexes(r.a), r.dst, r.length);
     })},
    {functionComplexMul, "complex product", -9, 9, {}, loop([](const Rows& r) {
         return ippsMul_32fc(complexes(r.a), complexes(r.b), complexes(r.dst), r.length);
     })},
};

} // namespace

void addFunctions() {
    const OtherWays* ways = waysOfActiveForm();
    if (ways == nullptr)
        return;
    for (const Job& job : jobs) {
        const RowBlocks blocks(1025, job.low, job.high, 0.0F);
        add({.group = "Functions of 1,025 arguments",
             .name = job.name,
             .sides = {side("ours", job.ours, blocks),
                       side("xsimd", ways->functions[job.which], blocks)},
             .goal = job.goal});
    }
}

} // namespace sorvane::bench
