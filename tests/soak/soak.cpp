// Runs the library for long, through nothing but its exported functions, and tells whether it stays
// as it was: the same bits after a reset, the same memory, no sample that isn't finite. What is to be
// done 0 times is left out.

#include "engine/sorvane_engine.h"
#include "util/signals.h"
#include "util/u_network.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using namespace sorvane::test;

constexpr int sampleRate = 16000;

/// The library, loaded for as long as this lives.
class Library {
public:
    explicit Library(const std::string& path) : m_library(dlopen(path.c_str(), RTLD_NOW)) {
        if (!m_library)
            throw std::runtime_error(dlerror());
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { dlclose(m_library); }

    template <typename Function>
    Function* find(const char* name) const {
        void* const symbol = dlsym(m_library, name);
        if (!symbol)
            throw std::runtime_error(dlerror());
        return reinterpret_cast<Function*>(symbol);
    }

private:
    void* m_library;
};

// Only the type of `name` is used: the library is not linked.
#define SORVANE_FIND(library, name) (library).find<decltype(name)>(#name)

const std::vector<float> loop = noise(1, 60 * sampleRate + 4096, 11)[0];

/// A stream of audio through one processor of a library.
class Stream {
public:
    Stream(const Library& library, const char* model)
        : m_library(library),
          m_handle(SORVANE_FIND(library, sorvaneCreateProcessor)(model, 1, sampleRate)) {
        if (!m_handle)
            throw std::runtime_error("no processor");
        SORVANE_FIND(library, sorvaneSetParameterValue)(m_handle, SORVANE_BUS_GAIN + 1, 0.25F);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { SORVANE_FIND(m_library, sorvaneDeleteProcessor)(m_handle); }

    /// Pushes samples of the endless loop, in blocks of odd sizes; calls
    /// `use(samples, count)` for what comes out.
    template <typename Use>
    void run(std::int64_t numSamples, Use use) {
        const auto add = SORVANE_FIND(m_library, sorvaneAddAudioInterleaved);
        const auto get = SORVANE_FIND(m_library, sorvaneGetAudioInterleaved);
        const auto pendingOf = SORVANE_FIND(m_library, sorvaneGetNumOfPendingSamples);
        for (; numSamples > 0;) {
            const int size = 1 + static_cast<int>(m_position * 7919 % 4096);
            const auto start = static_cast<std::size_t>(m_position) % (loop.size() - 4096);
            add(m_handle, loop.data() + start, size);
            m_position += size;
            numSamples -= size;
            const int pending = pendingOf(m_handle);
            m_output.resize(static_cast<std::size_t>(pending));
            if (!get(m_handle, m_output.data(), pending))
                throw std::runtime_error("pending audio was refused");
            use(m_output.data(), pending);
        }
    }

    void reset() {
        SORVANE_FIND(m_library, sorvaneResetProcessorState)(m_handle);
        m_position = 0;
    }

private:
    const Library& m_library;
    std::vector<float> m_output = std::vector<float>(8192);
    std::int64_t m_position = 0;
    void* m_handle;
};

/// Resident memory in bytes.
std::int64_t residentMemory() {
    std::ifstream statistics("/proc/self/statm");
    std::int64_t total = 0;
    std::int64_t resident = 0;
    statistics >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

/// Prints how memory grew and whether that is within 1 MB.
bool memoryIsFlat(std::int64_t before) {
    const std::int64_t growth = residentMemory() - before;
    std::printf("resident memory: %.2f MB at first, %+.3f MB since\n",
                static_cast<double>(before) / 1e6, static_cast<double>(growth) / 1e6);
    return growth <= 1000000;
}

std::vector<float> firstSeconds(Stream& stream) {
    std::vector<float> output;
    stream.run(std::int64_t{10} * sampleRate, [&](const float* samples, int count) {
        output.insert(output.end(), samples, samples + count);
    });
    return output;
}

bool soakAudio(const std::string& path, double hours) {
    const auto begin = std::chrono::steady_clock::now();
    const TempFile model = uNetwork(3).write();
    const Library library(path);
    Stream stream(library, model.c_str());
    const std::vector<float> fresh = firstSeconds(stream);

    const auto total = static_cast<std::int64_t>(hours * 3600.0 * sampleRate);
    std::int64_t numSamples = 0;
    std::int64_t numOdd = 0;
    const auto check = [&](const float* samples, int count) {
        numSamples += count;
        for (int i = 0; i < count; ++i)
            numOdd += std::isfinite(samples[i]) ? 0 : 1;
    };
    stream.run(total / 100, check);
    const std::int64_t memory = residentMemory();
    stream.run(total - total / 100, check);
    const bool flat = memoryIsFlat(memory);

    stream.reset();
    const bool same = firstSeconds(stream) == fresh;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    std::printf("%.3f hours of audio in %.1f s: %lld samples came out, %lld not finite; after a "
                "reset %s\n",
                hours, elapsed.count(), static_cast<long long>(numSamples),
                static_cast<long long>(numOdd), same ? "the same bits" : "OTHER BITS");
    return flat && same && numOdd == 0 && numSamples > total - sampleRate;
}

/// Repeats `cycle`, and watches memory from after the first fifth on.
bool repeat(const char* what, int cycles, const std::function<void(int)>& cycle) {
    std::int64_t memory = 0;
    for (int i = 0; i < cycles; ++i) {
        if (i == cycles / 5)
            memory = residentMemory();
        cycle(i);
    }
    std::printf("%d %s; ", cycles, what);
    return memoryIsFlat(memory);
}

void use(const Library& library, const char* model) {
    Stream stream(library, model);
    stream.run(2000, [](const float*, int) {});
}

bool soakHandles(const std::string& path, int cycles) {
    const TempFile model = everyKindNetwork().write();
    const char* models[] = {model.c_str(), model.c_str()};
    const Library library(path);
    const auto createModel = SORVANE_FIND(library, sorvaneCreateModel);
    const auto deleteModel = SORVANE_FIND(library, sorvaneDeleteModel);
    const auto createSeveral = SORVANE_FIND(library, sorvaneCreateStemSeparator);
    const auto deleteProcessor = SORVANE_FIND(library, sorvaneDeleteProcessor);
    return repeat("handles made and deleted", cycles, [&](int i) {
        void* handle = nullptr;
        if (i % 10 == 0) {
            use(library, model.c_str());
        } else if (i % 10 == 1) {
            handle = createSeveral(2, models, 2, 48000.0);
            deleteProcessor(handle);
        } else {
            handle = createModel(model.c_str());
            deleteModel(handle);
        }
        if (i % 10 != 0 && !handle)
            throw std::runtime_error("no handle");
    });
}

bool soakLibrary(const std::string& path, int cycles) {
    const TempFile model = everyKindNetwork().write();
    return repeat("loads and unloads of the library", cycles, [&](int) {
        {
            const Library library(path);
            use(library, model.c_str());
        }
        if (dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD))
            throw std::runtime_error("the library stays loaded");
    });
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: sorvane_soak LIBRARY HOURS HANDLES LOADS\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // also into a file
    try {
        const std::string path = argv[1];
        const double hours = std::atof(argv[2]);
        const int handles = std::atoi(argv[3]);
        const int loads = std::atoi(argv[4]);
        bool good = loads == 0 || soakLibrary(path, loads);
        good = (handles == 0 || soakHandles(path, handles)) && good;
        good = (hours == 0.0 || soakAudio(path, hours)) && good;
        std::puts(good ? "good" : "NOT GOOD");
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane_soak: %s\n", error.what());
        return 1;
    }
}
