// The flat operations of the vector layer beside plain loops and loops over vectors.

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

struct Operation {
    Flat which;
    const char* name;
    Loop ours;
};

const Operation operations[] = {
    {flatCopy, "Copy_8u", loop([](const Rows& r) {
         return ippsCopy_8u(reinterpret_cast<const Ipp8u*>(r.a), reinterpret_cast<Ipp8u*>(r.dst),
                            4 * r.length);
     })},
    {flatZero, "Zero_32f", loop([](const Rows& r) { return ippsZero_32f(r.dst, r.length); })},
    {flatSet, "Set_32f", loop([](const Rows& r) { return ippsSet_32f(r.value, r.dst, r.length); })},
    {flatAdd, "Add_32f",
     loop([](const Rows& r) { return ippsAdd_32f(r.a, r.b, r.dst, r.length); })},
    {flatAddC, "AddC_32f",
     loop([](const Rows& r) { return ippsAddC_32f(r.a, r.value, r.dst, r.length); })},
    {flatSub, "Sub_32f",
     loop([](const Rows& r) { return ippsSub_32f(r.a, r.b, r.dst, r.length); })},
    {flatMul, "Mul_32f",
     loop([](const Rows& r) { return ippsMul_32f(r.a, r.b, r.dst, r.length); })},
    {flatMulC, "MulC_32f",
     loop([](const Rows& r) { return ippsMulC_32f(r.a, r.value, r.dst, r.length); })},
    {flatDiv, "Div_32f",
     loop([](const Rows& r) { return ippsDiv_32f(r.a, r.b, r.dst, r.length); })},
    {flatAddProduct, "AddProduct_32f",
     loop([](const Rows& r) { return ippsAddProduct_32f(r.a, r.b, r.dst, r.length); })},
    {flatAddProductC, "AddProductC_32f",
     loop([](const Rows& r) { return ippsAddProductC_32f(r.a, r.value, r.dst, r.length); })},
    {flatThreshold, "Threshold_LTVal_32f", loop([](const Rows& r) {
         return ippsThreshold_LTVal_32f(r.a, r.dst, r.length, r.value, r.value);
     })},
    {flatDotProduct, "DotProd_32f",
     loop([](const Rows& r) { return ippsDotProd_32f(r.a, r.b, r.length, r.dst); })},
    {flatNorm, "Norm_L2_32f",
     loop([](const Rows& r) { return ippsNorm_L2_32f(r.a, r.length, r.dst); })},
    {flatComplexAdd, "Add_32fc", loop([](const Rows& r) {
         return ippsAdd_32fc(complexes(r.a), complexes(r.b), complexes(r.dst), r.length);
     })},
    {flatComplexMul, "Mul_32fc", loop([](const Rows& r) {
         return ippsMul_32fc(complexes(r.a), complexes(r.b), complexes(r.dst), r.length);
     })},
};

void addLengths(const OtherWays& ways, const std::string& group, std::initializer_list<int> lengths,
                Goal goal) {
    for (const Operation& operation : operations) {
        for (const int length : lengths) {
            const std::string name = operation.name + (" of " + std::to_string(length));
            const RowBlocks blocks(length, 0.5F, 1.0F, 0.75F);
            add({.group = group,
                 .name = name,
                 .sides = {side("ours", operation.ours, blocks),
                           side("by hand", ways.byHand[operation.which], blocks),
                           side("plain", ways.plain[operation.which], blocks)},
                 .goal = goal});
        }
    }
}

} // namespace

void addFlat() {
    const OtherWays* ways = waysOfActiveForm();
    if (ways == nullptr)
        return;
    addLengths(*ways, "Flat operations of 8, 16 and 32, the other ways inlined", {8, 16, 32},
               {.atLeast = 1.7, .aim = 1.3});
    addLengths(*ways, "Flat operations of 257 and more", {257, 1025},
               {.atLeast = 1.05, .aim = 1.0});
}

} // namespace sorvane::bench
