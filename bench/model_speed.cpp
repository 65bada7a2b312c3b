// usage: model_speed FORMS MODEL...
//
// Prints how many times faster than real time each model runs in each form of the vector layer
// ("AVX2,SSE2"), mono in blocks of 10 ms: FORM MODEL SPEED, a line each. The forms take turns of a
// tenth of a second of audio. The time is the processor's, so that other programs on the core count
// little, and a speed is that of the quiet tenth of the turns. It runs in Node too, beside itself as a
// program (scripts/bench_web.sh).

#include "processor/sorvane_processor.h"
#include "support/vector/dispatch.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#if defined(__EMSCRIPTEN__)
#include <emscripten.h>
EM_JS(double, processorSeconds, (), {
    const used = process.cpuUsage();
    return (used.user + used.system) / 1e6;
});
#else
static double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}
#endif

namespace {

using sorvane::Signal32;
using sorvane::SorvaneProcessor;
using sorvane::vector::Kernels;

const Kernels* formNamed(const std::string& name) {
    const Kernels* forms[8];
    const int count = sorvane::vector::availableForms(forms, 8);
    for (int i = 0; i < count; ++i)
        if (forms[i]->name == name)
            return forms[i];
    return nullptr;
}

/// One model in one form, whose weights are packed for it.
class Run {
public:
    Run(const Kernels* form, const std::string& model) : m_form(form) {
        sorvane::vector::activeKernels.store(form);
        m_loaded = m_processor->loadModels({model});
        if (!m_loaded)
            return;
        m_rate = m_processor->getModels().front().sampleRate;
        const sorvane::AudioFormat format = sorvane::defaultFormat(1, m_rate);
        m_loaded = m_processor->setFormats(format, format);
        m_block = Signal32(1, static_cast<int>(m_rate / 100));
        std::mt19937 random(1);
        std::normal_distribution<float> noise(0.0F, 0.1F);
        for (int i = 0; i < m_block.length; ++i)
            m_block.channelData(0)[i] = noise(random);
    }

    bool loaded() const { return m_loaded; }

    /// Seconds of audio in a second, by one turn.
    double speed() {
        sorvane::vector::activeKernels.store(m_form);
        constexpr int blocks = 10;
        const double start = processorSeconds();
        for (int i = 0; i < blocks; ++i)
            m_processor->process(m_output, m_block);
        return blocks * m_block.length / m_rate / (processorSeconds() - start);
    }

private:
    const Kernels* m_form;
    std::shared_ptr<SorvaneProcessor> m_processor = std::make_shared<SorvaneProcessor>();
    bool m_loaded = false;
    double m_rate = 0;
    Signal32 m_block, m_output;
};

} // namespace

int main(int argc, char** argv) {
    for (int m = 2; m < argc; ++m) {
        std::vector<std::string> names;
        std::istringstream list(argv[1]);
        for (std::string name; std::getline(list, name, ',');)
            names.push_back(name);
        std::vector<Run> runs;
        for (const std::string& name : names) {
            const Kernels* form = formNamed(name);
            if (form)
                runs.emplace_back(form, argv[m]);
            if (!form || !runs.back().loaded()) {
                std::fprintf(stderr, "no form %s, or no model %s\n", name.c_str(), argv[m]);
                return 1;
            }
        }
        std::vector<std::vector<double>> speeds(runs.size());
        for (int round = -20; round < 100; ++round) // first to warm up, also Node's compiler
            for (std::size_t r = 0; r < runs.size(); ++r) {
                const double speed = runs[r].speed();
                if (round >= 0)
                    speeds[r].push_back(speed);
            }
        for (std::size_t r = 0; r < runs.size(); ++r) {
            std::sort(speeds[r].begin(), speeds[r].end());
            std::printf("%s %s %.1f\n", names[r].c_str(), argv[m], speeds[r][90]);
        }
    }
    return 0;
}
