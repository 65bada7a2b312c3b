#include "stream_loop.h"

#include "interrupt.h"
#include "program_error.h"
#include "text.h"

#include <algorithm>
#include <vector>

namespace sorvane::tools {

namespace {

/// The latency is the most that a sound network holds back. The margin of frames is for one whose
/// strides make it give its frames in groups.
constexpr double marginInHops = 256.0;

class StreamLoop {
public:
    StreamLoop(AudioReader& reader, Processor& processorToUse, AudioWriter& writer, int block)
        : input(reader),
          processor(processorToUse),
          output(writer),
          blockSize(block),
          mostHeldBack(2 * std::int64_t{processor.latency()} +
                       static_cast<std::int64_t>(marginInHops * processor.secondsPerHop() *
                                                 reader.sampleRate())) {
        // A block that is longer than the file needs no more room than the file.
        const std::int64_t expected = std::max<std::int64_t>(input.expectedLength(), 1);
        blockSize = static_cast<int>(std::min<std::int64_t>(blockSize, expected));
        buffer.resize(static_cast<std::size_t>(blockSize) *
                      static_cast<std::size_t>(input.channels()));
    }

    std::int64_t run() {
        std::int64_t length = 0;
        while (const std::int64_t count = input.read(buffer.data(), blockSize)) {
            length += count;
            pass(static_cast<int>(count), length);
        }
        while (pulled < length) {
            std::fill(buffer.begin(), buffer.end(), 0.0f);
            pass(blockSize, length);
        }
        return length;
    }

private:
    void pass(int count, std::int64_t length) {
        throwIfInterrupted();
        processor.push(buffer.data(), count);
        pushed += count;
        while (const int got = processor.pull(buffer.data(), blockSize)) {
            // Beyond the input's length comes only what the zeros gave.
            const auto wanted = std::min<std::int64_t>(got, length - written);
            if (wanted > 0) {
                output.write(buffer.data(), wanted);
                written += wanted;
            }
            pulled += got;
        }
        if (pushed - pulled > mostHeldBack + blockSize)
            throw ProgramError(exitFailure, "the model gives no output or too little: after " +
                                                groupedNumber(pushed) + " samples only " +
                                                groupedNumber(pulled) + " came back");
    }

    AudioReader& input;
    Processor& processor;
    AudioWriter& output;
    int blockSize;
    std::int64_t mostHeldBack;
    std::int64_t pushed = 0;
    std::int64_t pulled = 0;
    std::int64_t written = 0;
    std::vector<float> buffer;
};

} // namespace

std::int64_t streamThrough(AudioReader& input, Processor& processor, AudioWriter& output,
                           int blockSize) {
    return StreamLoop(input, processor, output, blockSize).run();
}

} // namespace sorvane::tools
