#pragma once

// The vector layer: all bulk arithmetic of the engine, as flat functions with the names, signatures
// and status codes of Intel IPP, on an implementation of our own.
//
// Conventions of every operation with pointers and a length:
// - Lengths count elements. A null pointer gives ippStsNullPtrErr, a length below 1 gives
//   ippStsSizeErr, the pointers are checked first, and an error writes nothing.
// - `dst` may be one of the sources; partial overlap is not allowed. Pointers need no alignment;
//   64-byte aligned rows are fastest.
// - A positive status is a warning: the operation has finished and its results stand.
// - Reentrant, no lock, no allocation (but ippsMalloc_8u), safe on a real-time thread.
// - Results are good to the last few bits (the functions tell how far); they may differ by the
//   processor's instruction set. On one processor an element-wise operation gives an element the
//   same bits whatever its place, the row's length and its alignment.

#include <complex>
#include <cstdint>

using Ipp8u = std::uint8_t;
using Ipp32f = float;
using Ipp64f = double;
using Ipp32fc = std::complex<float>;

enum IppStatus : int {
    ippStsUnknownStatusCodeErr = -216,
    ippStsSampleFactorErr = -31,
    ippStsSamplePhaseErr = -30,
    ippStsThresholdErr = -19,
    ippStsFftFlagErr = -18,
    ippStsFftOrderErr = -17,
    ippStsContextMatchErr = -13,
    ippStsNullPtrErr = -8,
    ippStsSizeErr = -6,
    ippStsErr = -2,
    ippStsNoErr = 0,
    ippStsDivByZero = 2,
    ippStsLnZeroArg = 7,
    ippStsLnNegArg = 8,
};

enum IppHintAlgorithm : int { ippAlgHintNone = 0, ippAlgHintFast = 1, ippAlgHintAccurate = 2 };

/// Transform flag: no scaling in either direction.
inline constexpr int IPP_FFT_NODIV_BY_ANY = 8;

/// A real transform of one length, built in memory that the caller supplies.
struct IppsFFTSpec_R_32f;

/// Chooses the widest form of the layer that this processor runs. Runs once when the code is
/// loaded; before it, every operation works in the baseline form.
IppStatus ippInit();

/// Flushes denormal results to zero on the calling thread (1) or not (0); `underflowMask`, when not
/// null, receives whether the underflow exception was masked. Nothing happens on a processor
/// without the feature.
IppStatus ippSetFlushToZero(int value, unsigned int* underflowMask);

/// Treats denormal inputs as zero on the calling thread (1) or not (0).
IppStatus ippSetDenormAreZeros(int value);

/// The text of a status, never null; it begins with the name of the status.
const char* ippGetStatusString(IppStatus status);

/// The short name of this implementation, for hosts that ask which one is built in.
const char* ippName();

/// `size` bytes aligned to 64, contents undefined; null when `size` is below 1, when it and the
/// bookkeeping of some 70 bytes exceed an int, or when memory runs out.
Ipp8u* ippsMalloc_8u(int size);

/// Releases a block of ippsMalloc_8u; null is ignored.
void ippsFree(void* block);

IppStatus ippsCopy_8u(const Ipp8u* src, Ipp8u* dst, int len);
IppStatus ippsSet_32f(Ipp32f value, Ipp32f* dst, int len);
IppStatus ippsSet_32fc(Ipp32fc value, Ipp32fc* dst, int len);
IppStatus ippsZero_32f(Ipp32f* dst, int len);

/// dst = src1 + src2.
IppStatus ippsAdd_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);
IppStatus ippsAdd_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len);

/// dst = src + value; exactly a copy for a value of 0.
IppStatus ippsAddC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len);

/// dst = src2 - src1: the second operand minus the first.
IppStatus ippsSub_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);
IppStatus ippsSub_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len);

/// dst = src - value; exactly a copy for a value of 0.
IppStatus ippsSubC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len);

/// dst = src1 * src2.
IppStatus ippsMul_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);
IppStatus ippsMul_32fc(const Ipp32fc* src1, const Ipp32fc* src2, Ipp32fc* dst, int len);

/// dst = value * src; exactly a copy for a value of 1, exactly zeros for a value of 0.
IppStatus ippsMulC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* dst, int len);

/// dst = value * src, the complex product for every value.
IppStatus ippsMulC_32fc(const Ipp32fc* src, Ipp32fc value, Ipp32fc* dst, int len);

/// dst = src2 / src1: the second operand over the first. A zero divisor, of either sign, gives an
/// infinity with the dividend's sign, or NaN for a dividend of 0 or NaN, and ippStsDivByZero.
IppStatus ippsDiv_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* dst, int len);

/// srcDst += src1 * src2; fuses, in every element, where the form in use has the instruction.
IppStatus ippsAddProduct_32f(const Ipp32f* src1, const Ipp32f* src2, Ipp32f* srcDst, int len);

/// srcDst += src * value; fuses like ippsAddProduct_32f.
IppStatus ippsAddProductC_32f(const Ipp32f* src, Ipp32f value, Ipp32f* srcDst, int len);

IppStatus ippsConvert_32f64f(const Ipp32f* src, Ipp64f* dst, int len);

/// Values past the range of float, infinities too, become its largest finite values; NaN stays.
IppStatus ippsConvert_64f32f(const Ipp64f* src, Ipp32f* dst, int len);

/// The largest error over all floats is 1.02 units in the last place.
IppStatus ippsExp_32f(const Ipp32f* src, Ipp32f* dst, int len);

/// A zero gives minus infinity and ippStsLnZeroArg, a negative value NaN and ippStsLnNegArg; with
/// both in a row the status is ippStsLnZeroArg. The largest error is 0.79 units in the last place.
IppStatus ippsLn_32f(const Ipp32f* src, Ipp32f* dst, int len);

/// dst = sqrt(re * re + im * im), whose squares may overflow or underflow.
IppStatus ippsMagnitude_32fc(const Ipp32fc* src, Ipp32f* dst, int len);

/// dst = atan2(im, re), from -pi to pi. The largest error is 2.3 units in the last place.
IppStatus ippsPhase_32fc(const Ipp32fc* src, Ipp32f* dst, int len);

/// dst = (magnitude * cos(phase), magnitude * sin(phase)), for phases of any size. The largest error
/// of cosines and sines is 1.6 units in the last place, without fused products 2.4.
IppStatus ippsPolarToCart_32fc(const Ipp32f* magnitude, const Ipp32f* phase, Ipp32fc* dst, int len);

/// Values below `level`, and NaN, become `value`.
IppStatus ippsThreshold_LTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level,
                                  Ipp32f value);

/// Values above `level`, and NaN, become `value`.
IppStatus ippsThreshold_GTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f level,
                                  Ipp32f value);

/// Values below `levelLT` become `valueLT`, those above `levelGT` become `valueGT`, others (NaN
/// included) stay. `levelLT` above `levelGT` is ippStsThresholdErr.
IppStatus ippsThreshold_LTValGTVal_32f(const Ipp32f* src, Ipp32f* dst, int len, Ipp32f levelLT,
                                       Ipp32f valueLT, Ipp32f levelGT, Ipp32f valueGT);

/// result = the sum of src1 * src2, in any order.
IppStatus ippsDotProd_32f(const Ipp32f* src1, const Ipp32f* src2, int len, Ipp32f* result);
IppStatus ippsDotProd_64f(const Ipp64f* src1, const Ipp64f* src2, int len, Ipp64f* result);

/// result = the square root of the sum of squares, in any order.
IppStatus ippsNorm_L2_32f(const Ipp32f* src, int len, Ipp32f* result);

/// dst[k] = src[phase + k * factor] while the index is below `srcLen`. `dstLen` receives the count,
/// `phase` the index after the last one minus `srcLen`. A factor below 1 is ippStsSampleFactorErr,
/// a phase outside 0 to factor - 1 ippStsSamplePhaseErr.
IppStatus ippsSampleDown_32f(const Ipp32f* src, int srcLen, Ipp32f* dst, int* dstLen, int factor,
                             int* phase);

/// Byte sizes for a real transform of 2^order samples (0 to 29): its tables, a scratch block for
/// ippsFFTInit_R_32f alone, and the work buffer that each transform needs for itself.
IppStatus ippsFFTGetSize_R_32f(int order, int flag, IppHintAlgorithm hint, int* specSize,
                               int* specBufferSize, int* bufferSize);

/// Builds a transform in `specMemory`, which must outlive it and not move; `spec` receives the
/// object to use. It may serve several threads at once, each with its own work buffer. The flag
/// scales: 1 the forward transform by 1 / N, 2 the inverse by 1 / N, 4 both by 1 / sqrt(N), 8
/// neither.
IppStatus ippsFFTInit_R_32f(IppsFFTSpec_R_32f** spec, int order, int flag, IppHintAlgorithm hint,
                            Ipp8u* specMemory, Ipp8u* specBuffer);

/// Forward transform X[k] = sum of x[n] exp(-2 pi i k n / N) into CCS packing: N / 2 + 1 complex
/// values in N + 2 floats, the imaginary parts of the first and the last being 0. Out of place.
IppStatus ippsFFTFwd_RToCCS_32f(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                                Ipp8u* workBuffer);

/// Inverse transform from CCS packing to N samples; the imaginary parts of the first and the last
/// bin are ignored. Out of place.
IppStatus ippsFFTInv_CCSToR_32f(const Ipp32f* src, Ipp32f* dst, const IppsFFTSpec_R_32f* spec,
                                Ipp8u* workBuffer);
