#include "audio/audio_queue.h"
#include "util/signal_rows.h"

#include <deque>

namespace sorvane::test {

namespace {

// The queue as a list of samples, each with a value per channel of its block.
struct PlainQueue {
    std::deque<std::vector<float>> samples;
    int channels = -1;

    void add(const AudioRows& block) {
        if (block[0].empty())
            return;
        const auto width = static_cast<int>(block.size());
        if (channels == -1) {
            channels = width;
        } else if (width != channels) {
            samples.clear();
            channels = -1;
        }
        for (std::size_t i = 0; i < block[0].size(); ++i) {
            samples.emplace_back();
            for (const auto& row : block)
                samples.back().push_back(row[i]);
        }
    }

    AudioRows read(int count) const {
        AudioRows rows(static_cast<std::size_t>(std::max(channels, 0)));
        for (std::size_t c = 0; c < rows.size(); ++c)
            for (int i = 0; i < count; ++i)
                rows[c].push_back(samples[static_cast<std::size_t>(i)][c]);
        return rows;
    }

    void discard(int count) {
        const auto most = static_cast<std::ptrdiff_t>(samples.size());
        samples.erase(samples.begin(), samples.begin() + std::min<std::ptrdiff_t>(count, most));
    }
};

} // namespace

TEST(AudioQueue, MatchesAPlainListUnderRandomOperations) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto pick = [&](std::size_t below) { return static_cast<int>(random() % below); };
        AudioQueue queue;
        PlainQueue plain;
        int width = 2;
        for (int step = 0; step < 400; ++step) {
            const std::size_t most = plain.samples.size();
            switch (pick(8)) {
            case 0:
            case 1:
            case 2: {
                // A restart may only lead to a narrower stream: reading looks for all channels in
                // the block that began it.
                if (pick(20) == 0)
                    width = plain.channels == -1 ? 1 : 1 + pick(3);
                if (plain.channels == -1 && most > 0)
                    width = std::min(width, static_cast<int>(plain.samples[0].size()));
                const AudioRows block = noise(width, pick(20), static_cast<unsigned>(random()));
                queue.add(toSignal(block));
                plain.add(block);
                break;
            }
            case 3: {
                const int count = pick(most + 1);
                ASSERT_EQ(toRows(queue.read(count)), plain.read(count)) << "step " << step;
                break;
            }
            case 4: {
                const int count = pick(most + 1);
                ASSERT_EQ(toRows(queue.pop(count)), plain.read(count)) << "step " << step;
                if (plain.channels > 0)
                    plain.discard(count);
                break;
            }
            case 5:
            case 6: {
                const int count = pick(15);
                queue.discard(count);
                plain.discard(count);
                break;
            }
            default:
                if (pick(20) == 0) {
                    queue.clear();
                    plain = {};
                }
            }
            ASSERT_EQ(queue.pending(), static_cast<int>(plain.samples.size())) << "step " << step;
            ASSERT_EQ(queue.channels(), plain.channels) << "step " << step;
        }
    }
}

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
