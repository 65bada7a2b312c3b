#pragma once

// The kernels of one form, gathered into its table. Included once by each form, after its lanes.

#include "support/vector/kernels.h"

#include "support/vector/kernels_elements.h"

#include "support/vector/kernels_functions.h"
#include "support/vector/kernels_sums.h"

#include "support/vector/kernels_tile.h"

#include "support/vector/kernels_correlate.h"
#include "support/vector/kernels_weighted_rows.h"

#include "support/vector/kernels_spectral.h"

#include "support/vector/kernels_fft.h"

namespace {

inline constexpr sorvane::vector::Kernels makeKernels(const char* name) {
    return {name,
            static_cast<int>(W),
            numRegisters,
            copy32f,
            zero32f,
            set32f,
            set32fc,
            add32f,
            add32fc,
            addC32f,
            sub32f,
            sub32fc,
            subC32f,
            mul32f,
            mul32fc,
            mulC32f,
            mulC32fc,
            div32f,
            addProduct32f,
            addProductC32f,
            convert32f64f,
            convert64f32f,
            exp32f,
            ln32f,
            magnitude32fc,
            phase32fc,
            polarToCart32fc,
            thresholdLTVal32f,
            thresholdGTVal32f,
            thresholdLTValGTVal32f,
            dotProd32f,
            dotProd64f,
            normL232f,
            hypot32fc,
            bend32fc,
            applyMask32fc,
            realToCplx32f,
            interleavePair32f,
            deinterleavePair32f,
            static_cast<int>(maxColumnVectors * W),
            correlateRows,
            correlateByColumn,
            addRow32f,
            bands32f,
            filterFrames32f,
            filterRows32f,
            fftForward,
            fftInverse};
}

} // namespace
