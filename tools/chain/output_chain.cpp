#include "chain/output_chain.h"

#include "chain/models.h"

#include <algorithm>

namespace sorvane::tools {

namespace {

host::Model modelOf(const ProcessOptions& options, const AudioSource& source) {
    return openModel(options.model.empty() ? speechModelFor(source.sampleRate()) : options.model);
}

} // namespace

OutputChain::OutputChain(const OutputPlan& plan, const AudioSource& source, std::int64_t length,
                         const ProcessOptions& options, MediaWriter* media)
    : outputPlan(plan),
      stream(modelOf(options, source), source.channels(), source.sampleRate()),
      outputRate(rateOfOutput(plan, source, options)) {
    applyBusOptions(options.busses, stream);
    if (plan.bus)
        isolateBus(*plan.bus, stream, "--stems");
    stream.setAmount(static_cast<float>(options.amount));
    stream.setInverted(options.invert);

    writer = openWriter(plan, source, length, outputRate, options, media);
    level = std::make_unique<LevelStage>(source.channels(), writer.integerBits,
                                         options.clip == ClipMode::limit, *writer.sink);
    AudioSink* next = level.get();
    if (options.clip == ClipMode::scale) {
        store = std::make_unique<SampleStore>(source.channels(), plan.path);
        next = store.get();
    }
    if (outputRate != source.sampleRate()) {
        rate =
            std::make_unique<RateStage>(source.channels(), source.sampleRate(), outputRate, *next);
        next = rate.get();
    }
    processing = std::make_unique<ProcessorStage>(stream, options.block, *next);
}

double OutputChain::factorToFit() const {
    const double limit = fullScale(writer.integerBits);
    return store && store->peak() > limit ? limit / store->peak() : 1.0;
}

void OutputChain::complete(double factor) {
    if (store)
        store->replay(factor, *level);
}

} // namespace sorvane::tools
