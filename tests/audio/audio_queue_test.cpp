#include "audio/audio_queue.h"
#include "util/signal_rows.h"

// What streams do with a queue is held by the streams.
namespace sorvane::test {

TEST(AudioQueue, EmptyBlocksAndReadsPastTheEnd) {
    AudioQueue queue;
    queue.add(Signal32());
    queue.add(Signal32(2, 0));
    EXPECT_EQ(queue.channels(), -1);
    queue.add(toSignal({{1, 2, 3}}));
    const Signal32 longer = queue.read(20);
    EXPECT_EQ(longer.length, 20);
    EXPECT_EQ(longer.row(0)[2], 3.0F);
}

TEST(AudioQueue, WithoutKnownChannelsNothingIsReadOrTaken) {
    AudioQueue queue;
    queue.add(Signal32(0, 5));
    EXPECT_EQ(queue.channels(), 0);
    for (const int pending : {5, 3}) { // the second block restarts the stream
        EXPECT_EQ(queue.pending(), pending);
        Signal32 result = toSignal({{9, 9, 9}});
        const std::vector<float> window(3, 1.0F);
        queue.readTimes(window.data(), result, 0, 3);
        EXPECT_EQ(result.row(0)[0], 9.0F);
        queue.pop(3, [](const Signal32&, int, int, int) { ADD_FAILURE(); });
        EXPECT_EQ(queue.pop(3).channels + queue.read(3).channels, 0);
        EXPECT_EQ(queue.pending(), pending);
        queue.add(toSignal({{1, 2, 3}}));
    }
}

} // namespace sorvane::test
