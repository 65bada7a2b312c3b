// What training would otherwise spend most of its time on: passes over whole streams, several at once.
// One filter in time for each of `width` values of a frame, and its gradients, over whole streams.
// Arrays are [batch][frames][width]; taps are [count][width], the last on the current frame.
#include <math.h>

void filter_time(const float* in, const float* taps, const float* bias, float* out, long batch,
                 long frames, long width, long count, long dilation) {
    for (long row = 0; row < batch * frames; ++row) {
        long t = row % frames;
        float* y = out + row * width;
        for (long n = 0; n < width; ++n)
            y[n] = bias[n];
        for (long k = 0; k < count; ++k) {
            long back = (count - 1 - k) * dilation;
            if (back > t)
                continue;
            const float *x = in + (row - back) * width, *w = taps + k * width;
            for (long n = 0; n < width; ++n)
                y[n] += x[n] * w[n];
        }
    }
}

// `into` and `into_taps` begin at 0.
void filter_time_back(const float* in, const float* taps, const float* gradient, float* into,
                      float* into_taps, long batch, long frames, long width, long count,
                      long dilation) {
    for (long row = 0; row < batch * frames; ++row) {
        long t = row % frames;
        const float* g = gradient + row * width;
        for (long k = 0; k < count; ++k) {
            long back = (count - 1 - k) * dilation;
            if (back > t)
                continue;
            const float *x = in + (row - back) * width, *w = taps + k * width;
            float *gx = into + (row - back) * width, *gw = into_taps + k * width;
            for (long n = 0; n < width; ++n) {
                gx[n] += g[n] * w[n];
                gw[n] += g[n] * x[n];
            }
        }
    }
}

// How many rows of `channels` values stand side by side in loops that are long enough to be fast.
static long side_by_side(long rows, long channels) {
    long count = 1;
    while (rows % (2 * count) == 0 && 2 * count * channels <= 1024)
        count *= 2;
    return count;
}

// Adds up what stands side by side, in double precision.
static void fold(const float* wide, double* sums, long width, long channels) {
    for (long n = 0; n < width; ++n)
        sums[n % channels] += wide[n];
}

enum { LARGEST_WIDTH = 2048, SHORT = 32 }; // short sums of floats are exact enough

// Batch normalisation of `rows` of `channels` values, a rectifier, and what is added after it.
// out = extra + rectify(in * scale + shift); `extra` may be null. Leaves the mean and the variance.
// At most 1024 channels.
void normalise(const float* in, const float* weight, const float* bias, const float* extra,
               float* out, float* mean, float* variance, long rows, long channels, float slope,
               float epsilon) {
    float scale[LARGEST_WIDTH], shift[LARGEST_WIDTH], sum[LARGEST_WIDTH], square[LARGEST_WIDTH];
    double sums[LARGEST_WIDTH] = {0}, squares[LARGEST_WIDTH] = {0};
    long side = side_by_side(rows, channels), width = side * channels, lines = rows / side;
    for (long begin = 0; begin < lines; begin += SHORT) {
        long end = begin + SHORT < lines ? begin + SHORT : lines;
        for (long n = 0; n < width; ++n)
            sum[n] = square[n] = 0;
        for (long line = begin; line < end; ++line) {
            const float* x = in + line * width;
            for (long n = 0; n < width; ++n) {
                sum[n] += x[n];
                square[n] += x[n] * x[n];
            }
        }
        fold(sum, sums, width, channels);
        fold(square, squares, width, channels);
    }
    for (long c = 0; c < channels; ++c) {
        double m = sums[c] / rows, v = squares[c] / rows - m * m;
        mean[c] = m;
        variance[c] = v > 0 ? v : 0;
    }
    for (long n = 0; n < width; ++n) {
        long c = n % channels;
        scale[n] = weight[c] / sqrtf(variance[c] + epsilon);
        shift[n] = bias[c] - mean[c] * scale[n];
    }
    for (long line = 0; line < lines; ++line) {
        const float* x = in + line * width;
        float* y = out + line * width;
        for (long n = 0; n < width; ++n) {
            float z = x[n] * scale[n] + shift[n];
            y[n] = z > 0 ? z : slope * z;
        }
        if (extra)
            for (long n = 0; n < width; ++n)
                y[n] += extra[line * width + n];
    }
}

void normalise_back(const float* in, const float* weight, const float* bias, const float* mean,
                    const float* variance, const float* gradient, float* into, float* into_weight,
                    float* into_bias, long rows, long channels, float slope, float epsilon) {
    float scale[LARGEST_WIDTH], shift[LARGEST_WIDTH], middle[LARGEST_WIDTH], sum[LARGEST_WIDTH],
        product[LARGEST_WIDTH], level[LARGEST_WIDTH], tilt[LARGEST_WIDTH];
    double sums[LARGEST_WIDTH] = {0}, products[LARGEST_WIDTH] = {0};
    long side = side_by_side(rows, channels), width = side * channels, lines = rows / side;
    for (long n = 0; n < width; ++n) {
        long c = n % channels;
        middle[n] = mean[c];
        scale[n] = weight[c] / sqrtf(variance[c] + epsilon);
        shift[n] = bias[c] - mean[c] * scale[n];
    }
    for (long begin = 0; begin < lines; begin += SHORT) {
        long end = begin + SHORT < lines ? begin + SHORT : lines;
        for (long n = 0; n < width; ++n)
            sum[n] = product[n] = 0;
        for (long line = begin; line < end; ++line) {
            const float *x = in + line * width, *g = gradient + line * width;
            for (long n = 0; n < width; ++n) {
                float d = x[n] * scale[n] + shift[n] > 0 ? g[n] : slope * g[n];
                sum[n] += d;
                product[n] += d * (x[n] - middle[n]);
            }
        }
        fold(sum, sums, width, channels);
        fold(product, products, width, channels);
    }
    for (long n = width - 1; n >= 0; --n) {
        long c = n % channels;
        double root = 1 / sqrt(variance[c] + epsilon);
        into_bias[c] = sums[c];
        into_weight[c] = products[c] * root;
        level[n] = scale[n] * sums[c] / rows;
        tilt[n] = scale[n] * products[c] / rows * root * root;
    }
    for (long line = 0; line < lines; ++line) {
        const float *x = in + line * width, *g = gradient + line * width;
        float* y = into + line * width;
        for (long n = 0; n < width; ++n) {
            float d = x[n] * scale[n] + shift[n] > 0 ? g[n] : slope * g[n];
            y[n] = scale[n] * d - level[n] - (x[n] - middle[n]) * tilt[n];
        }
    }
}
