// The public operations: each checks its arguments and calls its kernel in the form in use.

#include "support/vector/ipps.h"
#include "support/vector/alignment.h"
#include "support/vector/checks.h"
#include "support/vector/dispatch.h"
#include "support/vector/transform/plan.h"

#include <climits>
#include <cstdlib>
#include <cstring>

using sorvane::vector::alignedFrom;
using sorvane::vector::FftMethod;
using sorvane::vector::kernels;

namespace {

/// What happens when the code is loaded, on the loading thread. It stands beside the operations, so
/// that a static link which takes them takes it too.
[[maybe_unused]] const bool loaded = [] {
    ippInit();
    ippSetFlushToZero(1, nullptr);
    ippSetDenormAreZeros(1);
    return true;
}();

FftMethod fftMethod(int order) {
    return order > sorvane::vector::largestFftOrderByPasses ? FftMethod::inPlace
                                                            : FftMethod::passes;
}

IppStatus checkFft(int order, int flag) {
    if (order < 0 || order > sorvane::vector::largestFftOrder)
        return ippStsFftOrderErr;
    return flag == 1 || flag == 2 || flag == 4 || flag == IPP_FFT_NODIV_BY_ANY ? ippStsNoErr
                                                                               : ippStsFftFlagErr;
}

/// What the flags ask for beyond the transform. The engine's flag asks for nothing: only tests
/// take the product.
IppStatus scaleResult(Ipp32f* dst, int len, Ipp32f scale) {
    return scale == 1.0f ? ippStsNoErr : kernels().mulC32f(dst, scale, dst, len);
}

} // namespace

const char* ippName() {
    return "Sorvane VL";
}

Ipp8u* ippsMalloc_8u(int size) {
    // The block is aligned and has the heap's pointer just below it.
    constexpr int bookkeeping = sorvane::vector::alignment + static_cast<int>(sizeof(void*));
    if (size < 1 || size > INT_MAX - bookkeeping)
        return nullptr;
    void* heap = std::malloc(static_cast<std::size_t>(size) + bookkeeping);
    if (heap == nullptr)
        return nullptr;
    Ipp8u* block = alignedFrom(static_cast<Ipp8u*>(heap) + sizeof(void*));
    std::memcpy(block - sizeof(void*), &heap, sizeof(void*));
    return block;
}

void ippsFree(void* block) {
    if (block == nullptr)
        return;
    void* heap = nullptr;
    std::memcpy(&heap, static_cast<Ipp8u*>(block) - sizeof(void*), sizeof(void*));
    std::free(heap);
}

IppStatus ippsCopy_8u(const Ipp8u* src, Ipp8u* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    const auto addresses =
        reinterpret_cast<std::uintptr_t>(src) | reinterpret_cast<std::uintptr_t>(dst);
    if ((addresses | static_cast<unsigned>(len)) % sizeof(Ipp32f) == 0) // a row of floats
        return kernels().copy32f(reinterpret_cast<const Ipp32f*>(src),
                                 reinterpret_cast<Ipp32f*>(dst), len / int{sizeof(Ipp32f)});
    std::memmove(dst, src, static_cast<std::size_t>(len));
    return ippStsNoErr;
}

IppStatus ippsSet_32f(Ipp32f value, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, dst);
    return kernels().set32f(value, dst, len);
}

IppStatus ippsSet_32fc(Ipp32fc value, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, dst);
    return kernels().set32fc(value, dst, len);
}

IppStatus ippsZero_32f(Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, dst);
    return kernels().zero32f(dst, len);
}

IppStatus ippsAdd_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().add32f(src1, src2, dst, len);
}

IppStatus ippsAdd_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().add32fc(src1, src2, dst, len);
}

IppStatus ippsAddC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().addC32f(src, value, dst, len);
}

IppStatus ippsSub_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().sub32f(src1, src2, dst, len);
}

IppStatus ippsSub_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().sub32fc(src1, src2, dst, len);
}

IppStatus ippsSubC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().subC32f(src, value, dst, len);
}

IppStatus ippsMul_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().mul32f(src1, src2, dst, len);
}

IppStatus ippsMul_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().mul32fc(src1, src2, dst, len);
}

IppStatus ippsMulC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().mulC32f(src, value, dst, len);
}

IppStatus ippsMulC_32fc(const Ipp32fc* src, Ipp32fc value, Ipp32fc* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().mulC32fc(src, value, dst, len);
}

IppStatus ippsDiv_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, dst);
    return kernels().div32f(src1, src2, dst, len);
}

IppStatus ippsAddProduct_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* srcDst, int len) {
    SORVANE_CHECK_ROWS(len, src1, src2, srcDst);
    return kernels().addProduct32f(src1, src2, srcDst, len);
}

IppStatus ippsAddProductC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* srcDst, int len) {
    SORVANE_CHECK_ROWS(len, src, srcDst);
    return kernels().addProductC32f(src, value, srcDst, len);
}

IppStatus ippsConvert_32f64f(const Ipp32f* src, Ipp64f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().convert32f64f(src, dst, len);
}

IppStatus ippsConvert_64f32f(const Ipp64f* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().convert64f32f(src, dst, len);
}

IppStatus ippsExp_32f(const Ipp32f* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().exp32f(src, dst, len);
}

IppStatus ippsLn_32f(const Ipp32f* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().ln32f(src, dst, len);
}

IppStatus ippsMagnitude_32fc(const Ipp32fc* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().magnitude32fc(src, dst, len);
}

IppStatus ippsPhase_32fc(const Ipp32fc* src, Ipp32f* dst, int len) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().phase32fc(src, dst, len);
}

IppStatus ippsPolarToCart_32fc(const Ipp32f* magnitude, const Ipp32f* phase, Ipp32fc* dst,
                               int len) {
    SORVANE_CHECK_ROWS(len, magnitude, phase, dst);
    return kernels().polarToCart32fc(magnitude, phase, dst, len);
}

IppStatus ippsThreshold_LTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level,
                                  Ipp32f value) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().thresholdLTVal32f(src, dst, len, level, value);
}

IppStatus ippsThreshold_GTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level,
                                  Ipp32f value) {
    SORVANE_CHECK_ROWS(len, src, dst);
    return kernels().thresholdGTVal32f(src, dst, len, level, value);
}

IppStatus ippsThreshold_LTValGTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f levelLT,
                                       Ipp32f valueLT, Ipp32f levelGT, Ipp32f valueGT) {
    SORVANE_CHECK_ROWS(len, src, dst);
    if (levelLT > levelGT)
        return ippStsThresholdErr;
    return kernels().thresholdLTValGTVal32f(src, dst, len, levelLT, valueLT, levelGT, valueGT);
}

IppStatus ippsDotProd_32f(const Ipp32f* src1, const Ipp32f* src2, int len, Ipp32f* result) {
    SORVANE_CHECK_ROWS(len, src1, src2, result);
    return kernels().dotProd32f(src1, src2, len, result);
}

IppStatus ippsDotProd_64f(const Ipp64f* src1, const Ipp64f* src2, int len, Ipp64f* result) {
    SORVANE_CHECK_ROWS(len, src1, src2, result);
    return kernels().dotProd64f(src1, src2, len, result);
}

IppStatus ippsNorm_L2_32f(const Ipp32f* src, int len, Ipp32f* result) {
    SORVANE_CHECK_ROWS(len, src, result);
    return kernels().normL232f(src, len, result);
}

IppStatus ippsSampleDown_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int* dstLen, int factor,
                             int* phase) {
    SORVANE_CHECK_ROWS(srcLen, src, dst, dstLen, phase);
    if (factor < 1)
        return ippStsSampleFactorErr;
    if (*phase < 0 || *phase >= factor)
        return ippStsSamplePhaseErr;
    std::int64_t index = *phase;
    int count = 0;
    for (; index < srcLen; index += factor)
        dst[count++] = src[index];
    *dstLen = count;
    *phase = static_cast<int>(index - srcLen);
    return ippStsNoErr;
}

IppStatus ippsFFTGetSize_R_32f(int order, int flag, IppHintAlgorithm, int* specSize,
                               int* specBufferSize, int* bufferSize) {
    if (specSize == nullptr || specBufferSize == nullptr || bufferSize == nullptr)
        return ippStsNullPtrErr;
    if (const IppStatus status = checkFft(order, flag); status != ippStsNoErr)
        return status;
    const auto sizes = sorvane::vector::fftSizes(order, fftMethod(order), kernels());
    *specSize = static_cast<int>(sizes.spec);
    *specBufferSize = 64; // unused, but callers need not allow for a block of nothing
    *bufferSize = static_cast<int>(sizes.work);
    return ippStsNoErr;
}

IppStatus ippsFFTInit_R_32f(IppsFFTSpec_R_32f** spec, int order, int flag, IppHintAlgorithm,
                            Ipp8u* specMemory, Ipp8u*) {
    if (spec == nullptr || specMemory == nullptr)
        return ippStsNullPtrErr;
    if (const IppStatus status = checkFft(order, flag); status != ippStsNoErr)
        return status;
    *spec = sorvane::vector::buildFft(order, flag, fftMethod(order), kernels(), specMemory);
    return ippStsNoErr;
}

IppStatus ippsFFTFwd_RToCCS_32f(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                                Ipp8u* workBuffer) {
    if (src == nullptr || dst == nullptr || spec == nullptr || workBuffer == nullptr)
        return ippStsNullPtrErr;
    if (spec->id != IppsFFTSpec_R_32f::identity)
        return ippStsContextMatchErr;
    spec->forward(src, dst, spec, reinterpret_cast<Ipp32f*>(alignedFrom(workBuffer)));
    return scaleResult(dst, (1 << spec->order) + 2, spec->forwardScale);
}

IppStatus ippsFFTInv_CCSToR_32f(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                                Ipp8u* workBuffer) {
    if (src == nullptr || dst == nullptr || spec == nullptr || workBuffer == nullptr)
        return ippStsNullPtrErr;
    if (spec->id != IppsFFTSpec_R_32f::identity)
        return ippStsContextMatchErr;
    spec->inverse(src, dst, spec, reinterpret_cast<Ipp32f*>(alignedFrom(workBuffer)));
    return scaleResult(dst, 1 << spec->order, spec->inverseScale);
}
