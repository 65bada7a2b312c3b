// Runs the library for long, through nothing but its exported functions, and tells whether it stays
// as it was: the same bits after a reset, the same memory, no sample that isn't finite. What is to be
// done 0 times is left out.

#include "engine/sorvane_engine.h"
#include "util/signals.h"
#include "util/u_network.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <unistd.h>

namespace {

using namespace sorvane::test;

constexpr int sampleRate = 16000;

void require(bool condition, const char* otherwise) {
    if (!condition)
        throw std::runtime_error(otherwise);
}

/// The library, loaded for as long as this lives.
class Library {
public:
    explicit Library(const char* path) : handle(dlopen(path, RTLD_NOW)) {
        require(handle, "the library can't be loaded");
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { dlclose(handle); }

    // Only the type of the function is used: the library is not linked.
    template <typename Function>
    Function* find(const char* name, Function* /*type*/) const {
        void* const symbol = dlsym(handle, name);
        require(symbol, name);
        return reinterpret_cast<Function*>(symbol);
    }

private:
    void* handle;
};
#define SORVANE_CALL(library, name) (library).find(#name, static_cast<decltype(&(name))>(nullptr))

/// Pushes samples of an endless loop in blocks of odd sizes, and calls use(samples, count) for what
/// comes out.
template <typename Use>
void run(const Library& library, void* processor, std::int64_t numSamples, Use use) {
    static const std::vector<float> loop = noise(1, 60 * sampleRate + 4096, 11)[0];
    const auto add = SORVANE_CALL(library, sorvaneAddAudioInterleaved);
    const auto get = SORVANE_CALL(library, sorvaneGetAudioInterleaved);
    const auto pendingOf = SORVANE_CALL(library, sorvaneGetNumOfPendingSamples);
    std::vector<float> output(8192);
    for (std::int64_t position = 0; position < numSamples;) {
        const int size = 1 + static_cast<int>(position * 7919 % 4096);
        add(processor, loop.data() + static_cast<std::size_t>(position) % (loop.size() - 4096),
            size);
        position += size;
        const int pending = pendingOf(processor);
        output.resize(static_cast<std::size_t>(pending));
        require(get(processor, output.data(), pending), "pending audio was refused");
        use(output.data(), pending);
    }
}

/// Resident memory in bytes.
std::int64_t residentMemory() {
    std::ifstream statistics("/proc/self/statm");
    std::int64_t total = 0;
    std::int64_t resident = 0;
    statistics >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

/// Repeats `cycle`, and watches memory from after the first fifth on.
void repeat(const char* what, int cycles, const std::function<void(int)>& cycle) {
    std::int64_t memory = 0;
    for (int i = 0; i < cycles; ++i) {
        if (i == cycles / 5)
            memory = residentMemory();
        cycle(i);
    }
    const std::int64_t growth = residentMemory() - memory;
    std::printf("%d %s: resident memory %+.3f MB\n", cycles, what,
                static_cast<double>(growth) / 1e6);
    require(growth <= 1000000, "memory grows");
}

void use(const Library& library, const char* model) {
    void* const processor = SORVANE_CALL(library, sorvaneCreateProcessor)(model, 1, 48000.0);
    require(processor, "no processor");
    run(library, processor, 2000, [](const float*, int) {});
    SORVANE_CALL(library, sorvaneDeleteProcessor)(processor);
}

void soakAudio(const char* path, int hundredths) {
    const TempFile model = uNetwork(3).write();
    const Library library(path);
    void* const processor =
        SORVANE_CALL(library, sorvaneCreateProcessor)(model.c_str(), 1, sampleRate);
    require(processor, "no processor");
    SORVANE_CALL(library, sorvaneSetParameterValue)(processor, SORVANE_BUS_GAIN + 1, 0.25F);
    const auto firstSeconds = [&] {
        std::vector<float> output;
        run(library, processor, 10 * sampleRate, [&](const float* samples, int count) {
            output.insert(output.end(), samples, samples + count);
        });
        return output;
    };
    const std::vector<float> fresh = firstSeconds();
    repeat("hundredths of an hour of audio", hundredths, [&](int) {
        run(library, processor, 36 * sampleRate, [&](const float* samples, int count) {
            for (int i = 0; i < count; ++i)
                require(std::isfinite(samples[i]), "a sample is not finite");
        });
    });
    SORVANE_CALL(library, sorvaneResetProcessorState)(processor);
    require(firstSeconds() == fresh, "other bits after a reset");
    SORVANE_CALL(library, sorvaneDeleteProcessor)(processor);
}

void soak(const char* path, double hours, int handles, int loads) {
    const TempFile model = everyKindNetwork().write();
    repeat("loads and unloads of the library", loads, [&](int) {
        use(Library(path), model.c_str());
        require(!dlopen(path, RTLD_NOW | RTLD_NOLOAD), "the library stays loaded");
    });
    const Library library(path);
    const char* models[] = {model.c_str(), model.c_str()};
    repeat("handles made and deleted", handles, [&](int i) {
        if (i % 10 == 0)
            use(library, model.c_str());
        else if (i % 10 == 1)
            SORVANE_CALL(library, sorvaneDeleteProcessor)
        (SORVANE_CALL(library, sorvaneCreateStemSeparator)(2, models, 2, 48000.0));
        else SORVANE_CALL(library, sorvaneDeleteModel)(
            SORVANE_CALL(library, sorvaneCreateModel)(model.c_str()));
    });
    soakAudio(path, static_cast<int>(hours * 100));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: sorvane_soak LIBRARY HOURS HANDLES LOADS\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // also into a file
    try {
        soak(argv[1], std::atof(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane_soak: %s\n", error.what());
        return 1;
    }
    return 0;
}
