/* Reads and writes WAV files in blocks of interleaved floats, as little of it as the examples need.
 * C99 and C++. Read are 16 and 24 bit integers and 32 bit floats; written are floats. */

#ifndef WAV_H
#define WAV_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

/* An open file. A reader's `remaining` counts down the bytes of samples, a writer's `written` up. */
typedef struct Wav {
    FILE* file;
    int channels;
    int rate;
    int bytesPerSample;
    bool isFloat;
    uint32_t remaining;
    uint32_t written;
} Wav;

static inline uint32_t wavNumber(const unsigned char* bytes, int count) {
    uint32_t number = 0;
    for (int i = count - 1; i >= 0; --i)
        number = number << 8 | bytes[i];
    return number;
}

static inline bool wavSkip(Wav* wav, uint32_t count) {
    return count <= INT32_MAX && fseek(wav->file, (long)count, SEEK_CUR) == 0;
}

static inline bool wavReadFormat(Wav* wav, uint32_t size) {
    unsigned char format[26] = {0};
    const uint32_t used = size < sizeof format ? size : (uint32_t)sizeof format;
    if (size < 16 || fread(format, 1, used, wav->file) != used ||
        !wavSkip(wav, size - used + size % 2))
        return false;
    uint32_t kind = wavNumber(format, 2);
    if (kind == 0xFFFE) /* the extensible form tells the kind later */
        kind = wavNumber(format + 24, 2);
    const uint32_t rate = wavNumber(format + 4, 4);
    const uint32_t bits = wavNumber(format + 14, 2);
    wav->channels = (int)wavNumber(format + 2, 2);
    wav->rate = (int)(rate & INT32_MAX);
    wav->bytesPerSample = (int)(bits / 8);
    wav->isFloat = kind == 3 && bits == 32;
    return wav->channels > 0 && wav->rate > 0 && rate <= INT32_MAX &&
           (wav->isFloat || (kind == 1 && (bits == 16 || bits == 24)));
}

/* Opens `path` and goes to its first sample. Returns false for what it can't read. */
static inline bool wavOpen(Wav* wav, const char* path) {
    memset(wav, 0, sizeof *wav);
    wav->file = fopen(path, "rb");
    unsigned char head[12];
    bool known = wav->file && fread(head, 1, 12, wav->file) == 12 && memcmp(head, "RIFF", 4) == 0 &&
                 memcmp(head + 8, "WAVE", 4) == 0;
    while (known && fread(head, 1, 8, wav->file) == 8) {
        const uint32_t size = wavNumber(head + 4, 4);
        if (memcmp(head, "data", 4) == 0) {
            wav->remaining = size;
            if (wav->channels > 0)
                return true;
            known = false;
        } else if (memcmp(head, "fmt ", 4) == 0) {
            known = wavReadFormat(wav, size);
        } else {
            known = size < UINT32_MAX && wavSkip(wav, size + size % 2);
        }
    }
    if (wav->file)
        fclose(wav->file);
    return false;
}

/* Reads up to `count` samples per channel. Returns how many there were. */
static inline int wavRead(Wav* wav, float* samples, int count) {
    const uint32_t size = (uint32_t)wav->bytesPerSample;
    for (int i = 0; i < count; ++i)
        for (int c = 0; c < wav->channels; ++c) {
            unsigned char bytes[4];
            if (wav->remaining < size || fread(bytes, 1, size, wav->file) != size)
                return i;
            wav->remaining -= size;
            const uint32_t number = wavNumber(bytes, wav->bytesPerSample);
            float sample;
            if (wav->isFloat)
                memcpy(&sample, &number, 4);
            else /* two's complement, moved to the upper end of 32 bits */
                sample = (float)(int32_t)(number << (32 - 8 * size)) / 2147483648.0f;
            samples[i * wav->channels + c] = sample;
        }
    return count;
}

static inline void wavPut(Wav* wav, uint32_t number, int count) {
    for (int i = 0; i < count; ++i)
        fputc((int)(number >> (8 * i) & 0xFF), wav->file);
}

static inline void wavWriteHead(Wav* wav) {
    fputs("RIFF", wav->file);
    wavPut(wav, 36 + wav->written, 4);
    fputs("WAVEfmt ", wav->file);
    wavPut(wav, 16, 4);
    wavPut(wav, 3, 2);
    wavPut(wav, (uint32_t)wav->channels, 2);
    wavPut(wav, (uint32_t)wav->rate, 4);
    wavPut(wav, (uint32_t)wav->rate * (uint32_t)wav->channels * 4, 4);
    wavPut(wav, (uint32_t)wav->channels * 4, 2);
    wavPut(wav, 32, 2);
    fputs("data", wav->file);
    wavPut(wav, wav->written, 4);
}

/* Makes `path` for samples of the channels and rate of `like`. */
static inline bool wavCreate(Wav* wav, const char* path, const Wav* like) {
    *wav = *like;
    wav->written = 0;
    wav->file = fopen(path, "wb");
    if (!wav->file)
        return false;
    wavWriteHead(wav);
    return true;
}

/* Appends `count` samples per channel. Returns false when the disk is full, or the file at 4 GiB. */
static inline bool wavWrite(Wav* wav, const float* samples, int count) {
    for (int i = 0; i < count * wav->channels; ++i) {
        if (wav->written > UINT32_MAX - 64)
            return false;
        uint32_t number;
        memcpy(&number, samples + i, 4);
        wavPut(wav, number, 4);
        wav->written += 4;
    }
    return !ferror(wav->file);
}

/* Completes a file that was written. Returns false if it isn't whole. */
static inline bool wavFinish(Wav* wav) {
    rewind(wav->file);
    wavWriteHead(wav);
    const bool whole = !ferror(wav->file);
    return fclose(wav->file) == 0 && whole;
}

#endif
