#include "chain/output_chain.h"

#include "sound/audio_writer.h"
#include "sound/raw_writer.h"

#include <algorithm>

namespace sorvane::tools {

namespace {

int resultingRate(const AudioSource& source, const ProcessOptions& options) {
    const int rate = options.outputRate.value_or(source.sampleRate());
    if (rate != source.sampleRate())
        RateStage::requireConvertible(source.sampleRate(), rate);
    return rate;
}

} // namespace

OutputChain::OutputChain(const OutputPlan& plan, const AudioSource& source, std::int64_t length,
                         const ProcessOptions& options)
    : outputPlan(plan),
      processor(options.model, source.channels(), source.sampleRate()),
      outputRate(resultingRate(source, options)) {
    applyBusOptions(options.busses, processor);
    if (plan.bus)
        isolateBus(*plan.bus, processor, "--stems");
    openWriter(source, length, options);
    level = std::make_unique<LevelStage>(source.channels(), integerBits,
                                         options.clip == ClipMode::limit, *writer);
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
    processing = std::make_unique<ProcessorStage>(processor, options.blend(), options.block, *next);
}

void OutputChain::openWriter(const AudioSource& source, std::int64_t length,
                             const ProcessOptions& options) {
    if (options.rawOutput) {
        integerBits = options.rawOutput->integerBits;
        writer =
            std::make_unique<RawWriter>(outputPlan.path, *options.rawOutput, source.channels());
        return;
    }
    if (length != unknownLength)
        length = RateStage::lengthAfter(length, source.sampleRate(), outputRate);
    const OutputFormat format = chooseOutputFormat({outputPlan.path, source.format(), outputRate,
                                                    source.channels(), length, options.sampleType});
    integerBits = format.integerBits;
    writer = std::make_unique<AudioWriter>(
        outputPlan.path, format,
        AudioDescription{outputRate, source.channels(), source.texts(), source.channelMap()});
}

double OutputChain::factorToFit() const {
    const double limit = fullScale(integerBits);
    return store && store->peak() > limit ? limit / store->peak() : 1.0;
}

void OutputChain::complete(double factor) {
    if (store)
        store->replay(factor, *level);
}

} // namespace sorvane::tools
