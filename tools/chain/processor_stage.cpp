#include "chain/processor_stage.h"

#include "console/interrupt.h"

namespace sorvane::tools {

ProcessorStage::ProcessorStage(host::Stream& streamToUse, int largestBlock, AudioSink& nextSink)
    : stream(streamToUse),
      next(nextSink),
      channels(static_cast<std::size_t>(stream.info().numChannels)),
      block(static_cast<std::size_t>(largestBlock) * channels) {}

void ProcessorStage::write(const float* samples, int count) {
    throwIfInterrupted();
    stream.push({samples, static_cast<std::size_t>(count) * channels});
    pull();
}

void ProcessorStage::finish() {
    stream.finish();
    pull();
    next.finish();
}

void ProcessorStage::pull() {
    while (const int count = stream.pull(block))
        next.write(block.data(), count);
}

} // namespace sorvane::tools
