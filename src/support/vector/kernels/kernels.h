#pragma once

// One form of the vector layer: a constant table of its kernels.
//
// Every form is one source file, forms/form_*.cpp, compiled for its instruction set. The kernels have the
// arguments of the public operations but check nothing: pointers are valid and lengths at least 1.

#include "support/vector/ipps.h"
#include "support/vector/ipps_compound.h"
#include "support/vector/kernels/correlation.h"

namespace sorvane::vector {

struct Kernels {
    const char* name;
    int lanes; // floats in a vector: a power of two from 1 to 16

    IppStatus (*copy32f)(const Ipp32f*, Ipp32f*, int);
    IppStatus (*zero32f)(Ipp32f*, int);
    IppStatus (*set32f)(Ipp32f, Ipp32f*, int);
    IppStatus (*set32fc)(Ipp32fc, Ipp32fc*, int);
    IppStatus (*add32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*add32fc)(const Ipp32fc*, const Ipp32fc*, Ipp32fc*, int);
    IppStatus (*addC32f)(const Ipp32f*, Ipp32f, Ipp32f*, int);
    IppStatus (*sub32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*sub32fc)(const Ipp32fc*, const Ipp32fc*, Ipp32fc*, int);
    IppStatus (*subC32f)(const Ipp32f*, Ipp32f, Ipp32f*, int);
    IppStatus (*mul32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*mul32fc)(const Ipp32fc*, const Ipp32fc*, Ipp32fc*, int);
    IppStatus (*mulC32f)(const Ipp32f*, Ipp32f, Ipp32f*, int);
    IppStatus (*mulC32fc)(const Ipp32fc*, Ipp32fc, Ipp32fc*, int);
    IppStatus (*div32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*addProduct32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*addProductC32f)(const Ipp32f*, Ipp32f, Ipp32f*, int);
    IppStatus (*convert32f64f)(const Ipp32f*, Ipp64f*, int);
    IppStatus (*convert64f32f)(const Ipp64f*, Ipp32f*, int);
    IppStatus (*exp32f)(const Ipp32f*, Ipp32f*, int);
    IppStatus (*ln32f)(const Ipp32f*, Ipp32f*, int);
    IppStatus (*magnitude32fc)(const Ipp32fc*, Ipp32f*, int);
    IppStatus (*phase32fc)(const Ipp32fc*, Ipp32f*, int);
    IppStatus (*polarToCart32fc)(const Ipp32f*, const Ipp32f*, Ipp32fc*, int);
    IppStatus (*thresholdLTVal32f)(const Ipp32f*, Ipp32f*, int, Ipp32f, Ipp32f);
    IppStatus (*thresholdGTVal32f)(const Ipp32f*, Ipp32f*, int, Ipp32f, Ipp32f);
    IppStatus (*thresholdLTValGTVal32f)(const Ipp32f*, Ipp32f*, int, Ipp32f, Ipp32f, Ipp32f,
                                        Ipp32f);
    IppStatus (*dotProd32f)(const Ipp32f*, const Ipp32f*, int, Ipp32f*);
    IppStatus (*dotProd64f)(const Ipp64f*, const Ipp64f*, int, Ipp64f*);
    IppStatus (*normL232f)(const Ipp32f*, int, Ipp32f*);

    IppStatus (*hypot32fc)(const Ipp32fc*, Ipp32f*, int);
    IppStatus (*bend32fc)(const Ipp32fc*, Ipp32fc*, int, Ipp32f);
    IppStatus (*applyMask32fc)(const Ipp32fc*, Ipp32f, Ipp32f, const Ipp32fc*, Ipp32fc*, int);
    IppStatus (*realToCplx32f)(const Ipp32f*, Ipp32fc*, int);
    IppStatus (*interleavePair32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int);
    IppStatus (*deinterleavePair32f)(const Ipp32f*, Ipp32f*, Ipp32f*, int);

    int panelWidth; // of the largest panel of weights whose sums fit the registers
    void (*correlateRows)(const Correlation*);
    void (*correlateByColumn)(const Correlation*);
    IppStatus (*addRow32f)(const Ipp32f*, const Ipp32f*, Ipp32f*, int, int);
    IppStatus (*bands32f)(const Ipp32f*, const IppsBand_32f*, int, Ipp32f*, int);
    IppStatus (*filterFrames32f)(const Ipp32f* const*, const Ipp32f*, int, Ipp32f*, int);
    IppStatus (*filterRows32f)(const Ipp32f*, const Ipp32f*, int, Ipp32f*, int, int);

    // Real transforms of one plan, whose `lanes` are 1 or those of the form.
    IppStatus (*fftForward)(const Ipp32f*, Ipp32f*, const IppsFFTSpec_R_32f*, Ipp32f* work);
    IppStatus (*fftInverse)(const Ipp32f*, Ipp32f*, const IppsFFTSpec_R_32f*, Ipp32f* work);
};

extern const Kernels portableKernels;
#if defined(__x86_64__) || defined(_M_X64)
extern const Kernels sse2Kernels;
extern const Kernels avx2Kernels;
extern const Kernels avx512Kernels;
#elif defined(__aarch64__)
extern const Kernels neonKernels;
#elif defined(__wasm__)
extern const Kernels wasmKernels;
#endif

} // namespace sorvane::vector
