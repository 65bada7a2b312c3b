#include "util/processor_handle.h"
#include "util/signal_rows.h"

#include <atomic>
#include <climits>
#include <limits>
#include <thread>

namespace sorvane::test {

namespace {

// A look-ahead, and a mask of 1/2.
ModelFile delayedModel() {
    ModelFile model;
    model.layers = {conv("a", "input", {{1, 1, 1, 1}, {0.0F}}, {{1}, {0.5F}}, {.delay = 1})};
    model.outputSource = "a";
    return model;
}

} // namespace

TEST(ProcessorCalls, CreatorsReturnNullForWhatTheyCannotOpen) {
    const TempFile valid = ModelFile().write();
    const TempFile empty(std::vector<std::uint8_t>{});
    const TempFile missing(".model");
    const std::string folder = std::filesystem::temp_directory_path().string();
    const char* none = nullptr;
    for (const char* path : {missing.c_str(), empty.c_str(), folder.c_str(), "", none}) {
        EXPECT_EQ(sorvaneCreateProcessor(path, 1, 48000.0), nullptr) << path;
        EXPECT_EQ(sorvaneCreateModel(path), nullptr) << path;
        const char* paths[] = {valid.c_str(), path, valid.c_str()};
        EXPECT_EQ(sorvaneCreateStemSeparator(3, paths, 1, 48000.0), nullptr) << path;
    }
    const char* path = valid.c_str();
    EXPECT_EQ(sorvaneCreateStemSeparator(0, &path, 1, 48000.0), nullptr);
    EXPECT_EQ(sorvaneCreateStemSeparator(0, nullptr, 1, 48000.0), nullptr);
    EXPECT_EQ(errorOf([&] { sorvaneCreateStemSeparator(-1, &path, 1, 48000.0); }),
              "vector too long");
    sorvaneDeleteProcessor(nullptr);
    sorvaneDeleteModel(nullptr);
}

TEST(ProcessorCalls, GetsWithoutEnoughAudioTouchNothing) {
    for (const bool interleaved : {false, true}) {
        const ProcessorHandle handle = makeProcessor(ModelFile(), 2, 48000.0);
        std::vector<float> samples(2000, 9.0F);
        float* rows[] = {samples.data(), samples.data() + 1000};
        const auto get = [&](int count) {
            return interleaved ? sorvaneGetAudioInterleaved(handle.get(), samples.data(), count)
                               : sorvaneGetAudio(handle.get(), rows, count);
        };
        const auto expectPending = [&](int pending) {
            EXPECT_EQ(sorvaneGetNumOfPendingSamples(handle.get()), pending);
            EXPECT_TRUE(get(0));
            for (const int count : {pending + 1, -1, INT_MAX, INT_MIN})
                EXPECT_FALSE(get(count)) << count;
            EXPECT_EQ(samples, std::vector<float>(2000, 9.0F));
        };
        for (const int count : {0, -5, INT_MIN}) {
            sorvaneAddAudio(handle.get(), rows, count);
            sorvaneAddAudioInterleaved(handle.get(), samples.data(), count);
        }
        expectPending(0);
        push(handle.get(), noise(2, 255, 1));
        expectPending(0);
        push(handle.get(), noise(2, 600, 1));
        expectPending(512);
        EXPECT_TRUE(get(512));
        EXPECT_EQ(samples[interleaved ? 1024 : 512], 9.0F);
        EXPECT_NE(samples[interleaved ? 1023 : 511], 9.0F);
        std::fill(samples.begin(), samples.end(), 9.0F);
        expectPending(0);
        push(handle.get(), noise(2, 600, 1));
        sorvaneResetProcessorState(handle.get());
        expectPending(0);
    }
}

TEST(ProcessorCalls, InterleavedAndPlanarAudioAgree) {
    const ProcessorHandle planar = makeProcessor(delayedModel(), 3, 48000.0);
    const ProcessorHandle interleaved = makeProcessor(delayedModel(), 3, 48000.0);
    const AudioRows audio = noise(3, 3000, 2);
    std::vector<float> samples;
    for (std::size_t i = 0; i < 3000; ++i)
        for (const auto& row : audio)
            samples.push_back(row[i]);
    for (const ProcessorHandle* handle : {&planar, &interleaved})
        sorvaneSetParameterValue(handle->get(), SORVANE_BUS_GAIN + 1, 0.0F);

    const AudioRows expected = process(planar.get(), audio);
    // In two pushes, so that one get spans two finished blocks.
    sorvaneAddAudioInterleaved(interleaved.get(), samples.data(), 1300);
    sorvaneAddAudioInterleaved(interleaved.get(), samples.data() + 3 * 1300, 1700);
    const int pending = sorvaneGetNumOfPendingSamples(interleaved.get());
    ASSERT_EQ(expected[0].size(), static_cast<std::size_t>(pending));
    ASSERT_TRUE(sorvaneGetAudioInterleaved(interleaved.get(), samples.data(), pending));
    for (std::size_t i = 0; i < expected[0].size(); ++i)
        for (std::size_t c = 0; c < 3; ++c)
            ASSERT_EQ(samples[3 * i + c], expected[c][i]) << i;
    // A mask of 1/2 on the same audio, each channel on its own.
    AudioRows half = slice(audio, 0, expected[0].size());
    for (auto& row : half)
        for (float& sample : row)
            sample *= 0.5F;
    expectNear(expected, half, 1e-6);
}

TEST(ProcessorCalls, SplitsGiveTheSameBitsAndResetsStartOver) {
    const ProcessorHandle handle = makeProcessor(delayedModel(), 2, 48000.0);
    sorvaneSetParameterValue(handle.get(), SORVANE_REMAINDER_LEVEL, -12.0F);
    sorvaneSetParameterValue(handle.get(), SORVANE_SENSITIVITY, 40.0F);
    const AudioRows audio = noise(2, 5000, 4);
    const AudioRows expected = process(handle.get(), audio, 5000);
    for (const std::size_t block : {1U, 7U, 480U, 4096U}) {
        // What a stream held, NaN among it, must not reach the next one.
        AudioRows dirt = noise(2, 700, 5);
        dirt[0][650] = std::numeric_limits<float>::quiet_NaN();
        dirt[1][300] = std::numeric_limits<float>::infinity();
        push(handle.get(), dirt);
        sorvaneResetProcessorState(handle.get());
        EXPECT_EQ(process(handle.get(), audio, block), expected) << block;
        sorvaneResetProcessorState(handle.get());
    }
}

TEST(ProcessorCalls, WhatRaisesWaitsUntilAReset) {
    const ModelFile misfit{.layers = {conv("a", "input", constantTensor({1, 1, 3, 1}, 1.0F), {})},
                           .outputSource = "a"};
    const ModelFile fewRows{.numMasks = 2, .outputNames = {"a", "b", "c"}};
    const std::string error = "IPP exception: ippStsSizeErr: Incorrect value for data size";
    for (const ModelFile& model : {misfit, fewRows}) {
        const ProcessorHandle handle = makeProcessor(model, 1, 48000.0);
        const std::vector<float> audio(static_cast<std::size_t>(model.hop) * 5);
        const auto add = [&](int count) {
            return errorOf([&] { sorvaneAddAudioInterleaved(handle.get(), audio.data(), count); });
        };
        for (int pass = 0; pass < 2; ++pass) {
            EXPECT_EQ(add(1), "");
            EXPECT_EQ(add(static_cast<int>(audio.size())), error);
            EXPECT_EQ(add(1), error); // the next frame of the block before
            sorvaneResetProcessorState(handle.get());
        }
    }
}

TEST(ProcessorCalls, BusNamesStandInACircle) {
    ModelFile model;
    model.numMasks = 2;
    model.outputNames = {"Voice", "Drums", "Residual"};
    const ProcessorHandle handle = makeProcessor(model, 1, 48000.0);
    const std::string circle[] = {"Voice", "Drums", "Residual", ""};
    const auto nameOf = [&](int bus, unsigned int size) {
        std::string buffer(20, '#');
        sorvaneGetOutputBusName(handle.get(), bus, buffer.data(), size);
        return buffer;
    };
    for (const int bus : {0, 1, 2, 3, 4, 11, -1, -2, -5, INT_MAX, INT_MIN, INT_MIN + 1}) {
        const std::string& expected = circle[static_cast<std::size_t>((bus % 4 + 4) % 4)];
        std::string padded(20, '\0');
        padded.replace(0, expected.size(), expected);
        EXPECT_EQ(nameOf(bus, 20), padded) << bus;
    }
    EXPECT_EQ(nameOf(2, 4), "Resi" + std::string(16, '#'));
    EXPECT_EQ(nameOf(2, 8), "Residual" + std::string(12, '#'));
    EXPECT_EQ(nameOf(2, 9), std::string("Residual\0", 9) + std::string(11, '#'));
    EXPECT_EQ(nameOf(0, 0), std::string(20, '#'));
    std::string name(20, '#');
    sorvaneGetVectorArithmeticWrapperName(name.data(), 20);
    EXPECT_EQ(name, "Sorvane VL" + std::string(10, '\0'));
}

TEST(ProcessorCalls, Parameters) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    const ProcessorHandle handle = makeProcessor(ModelFile(), 1, 48000.0);
    const auto get = [&](int id) { return sorvaneGetParameterValue(handle.get(), id); };
    const struct {
        int id;
        float initial, set, read;
    } cases[] = {
        {1, 0, -96, -96},     {1, 0, -200, -96},      {1, 0, 10, 0},      {1, 0, -20, -20},
        {1, 0, -inf, -96},    {1, 0, nan, 0},         {2, 0, 50, 50},     {2, 0, 101, 100},
        {2, 0, -inf, -100},   {2, 0, nan, 0},         {3, 0, 1, 0},       {256, 1, -5, 0},
        {257, 1, 1000, 1000}, {271, 1, 0.25F, 0.25F}, {271, 1, nan, 1},   {271, 1, inf, inf},
        {272, 0, 5, 0},       {511, 0, 5, 0},         {512, 0, -7, -7},   {514, 0, 500, 100},
        {527, 0, -500, -100}, {527, 0, nan, 0},       {528, 0, 5, 0},     {768, 0, 5, 0},
        {0, 0, 5, 0},         {4, 0, 5, 0},           {255, 0, 5, 0},     {-1, 0, 5, 0},
        {-256, 0, 5, 0},      {INT_MIN, 0, 5, 0},     {INT_MAX, 0, 5, 0},
    };
    for (const auto& entry : cases) {
        SCOPED_TRACE("id " + std::to_string(entry.id) + ", value " + std::to_string(entry.set));
        const ProcessorHandle fresh = makeProcessor(ModelFile(), 1, 48000.0);
        EXPECT_EQ(sorvaneGetParameterValue(fresh.get(), entry.id), entry.initial);
        sorvaneSetParameterValue(fresh.get(), entry.id, entry.set);
        const float read = sorvaneGetParameterValue(fresh.get(), entry.id);
        if (entry.id == 1) {
            EXPECT_NEAR(read, entry.read, 1e-4F);
        } else {
            EXPECT_EQ(read, entry.read);
        }
        sorvaneResetProcessorState(fresh.get());
        EXPECT_EQ(sorvaneGetParameterValue(fresh.get(), entry.id), read);
    }

    // The remainder's level is the gain of bus 1, and puts that of bus 0 back.
    sorvaneSetParameterValue(handle.get(), 256, 0.5F);
    sorvaneSetParameterValue(handle.get(), 1, -20.0F);
    EXPECT_EQ(get(256), 1.0F);
    EXPECT_NEAR(get(257), 0.1F, 1e-6F);
    sorvaneSetParameterValue(handle.get(), 257, 5.0F);
    EXPECT_EQ(get(1), 0.0F);
    sorvaneSetParameterValue(handle.get(), 257, 0.0F);
    EXPECT_NEAR(get(1), -96.0F, 1e-4F);
    sorvaneSetParameterValue(handle.get(), 2, 33.0F);
    EXPECT_EQ(get(512), 33.0F);
}

TEST(ProcessorCalls, ParameterRanges) {
    const ProcessorHandle handle = makeProcessor(ModelFile(), 1, 48000.0);
    const struct {
        int id;
        float low, high;
    } cases[] = {{0, 7, 8},        {1, -96, 0},    {2, -100, 100}, {3, 7, 8},     {4, 7, 8},
                 {255, 7, 8},      {256, 0, 100},  {300, 0, 100},  {511, 0, 100}, {512, -100, 100},
                 {767, -100, 100}, {768, 7, 8},    {-1, 7, 8},     {-256, 7, 8},  {-600, 7, 8},
                 {INT_MAX, 7, 8},  {INT_MIN, 7, 8}};
    for (const auto& entry : cases) {
        float low = 7;
        float high = 8;
        sorvaneGetParameterRange(handle.get(), entry.id, &low, &high);
        EXPECT_EQ(low, entry.low) << entry.id;
        EXPECT_EQ(high, entry.high) << entry.id;
    }
}

TEST(ProcessorCalls, ParametersMayBeUsedBesideAudio) {
    const ProcessorHandle handle = makeProcessor(delayedModel(), 1, 48000.0);
    std::atomic<bool> done = false;
    std::vector<std::thread> others;
    for (int i = 0; i < 4; ++i)
        others.emplace_back([&] {
            for (int k = 0; !done; ++k) {
                const int id = k % 7 < 3 ? 1 + k % 3 : (k % 7 < 5 ? 253 : 507) + k % 7;
                sorvaneSetParameterValue(handle.get(), id, static_cast<float>(k % 90));
                sorvaneGetParameterValue(handle.get(), id);
                sorvaneGetNumOfOutputBusses(handle.get());
                char name[8];
                sorvaneGetOutputBusName(handle.get(), k, name, sizeof name);
                SorvaneModelInfo info;
                ::sorvaneGetProcessorInfo(handle.get(), &info);
            }
        });
    const AudioRows result = process(handle.get(), noise(1, 20000, 6));
    done = true;
    for (std::thread& other : others)
        other.join();
    for (const float sample : result[0])
        ASSERT_TRUE(std::isfinite(sample));
}

} // namespace sorvane::test
