#pragma once

// The kernels of one form, gathered into its table. Included once by each form, after its lanes.

// In this order, since each uses what the ones before it define.
#include "support/vector/kernels/kernels.h"

#include "support/vector/kernels/elements.h"

#include "support/vector/kernels/functions.h"
#include "support/vector/kernels/sums.h"

#include "support/vector/kernels/tile.h"

#include "support/vector/kernels/correlate.h"
#include "support/vector/kernels/weighted_rows.h"

#include "support/vector/kernels/bend.h"
#include "support/vector/kernels/spectral.h"

#include "support/vector/transform/kernels.h"

namespace {

inline constexpr sorvane::vector::Kernels makeKernels(const char* name) {
    return {name,
            static_cast<int>(W),
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
