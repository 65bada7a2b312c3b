#include "model/load_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

namespace sorvane::test {

namespace {

struct HeaderCase {
    const char* name;
    bool accepted;
    void (*change)(ModelFile&);
};

} // namespace

TEST(ModelHeader, AcceptedAndRefusedValues) {
    const HeaderCase cases[] = {
        {"version below all", false, [](ModelFile& m) { m.version = 0x1003; }},
        {"version past all", true, [](ModelFile& m) { m.version = INT_MAX; }},
        {"longer magic", false, [](ModelFile& m) { m.magic = std::string("sorvane.model", 14); }},
        {"0 masks", true,
         [](ModelFile& m) {
             m.numMasks = 0;
             m.outputNames = {"Remainder"};
         }},
        {"-1 masks", true,
         [](ModelFile& m) {
             m.numMasks = -1;
             m.outputNames = {};
         }},
        {"any output mode", true, [](ModelFile& m) { m.outputMode = -7; }},
        {"negative count of layers", true,
         [](ModelFile& m) {
             m.overrides = {{"layerCount", -1}};
         }},
        {"more layers than there are", false,
         [](ModelFile& m) {
             m.overrides = {{"layerCount", 1}};
         }},
        {"unknown output source", false, [](ModelFile& m) { m.outputSource = "inpu"; }},
        {"output as its own source", false, [](ModelFile& m) { m.outputSource = "output"; }},
        {"groups of 0 bins", false, [](ModelFile& m) { m.inputPacking = {.code = 6, .pool = 0}; }},
    };
    for (const HeaderCase& entry : cases) {
        ModelFile model;
        entry.change(model);
        EXPECT_EQ(loads(model.bytes()), entry.accepted) << entry.name;
    }
    std::vector<std::uint8_t> trailing = ModelFile().bytes();
    trailing.insert(trailing.end(), 100, 0xFF);
    EXPECT_TRUE(loads(trailing));
}

TEST(ModelHeader, PackingCodesAndLegacyTypes) {
    for (int code = -1; code <= 8; ++code) {
        const bool accepted = code >= 1 && code <= 6 && code != 3;
        EXPECT_EQ(loads(ModelFile{.inputPacking = {.code = code}}.bytes()), accepted) << code;
        EXPECT_EQ(loads(ModelFile{.outputPacking = {.code = code}}.bytes()), accepted) << code;
    }
    for (const char* magic : {"KLEVO.model", "Wexo.model"})
        for (const int type : {-1, 0, 1, 2, 3, 4, 256})
            EXPECT_EQ(loads(ModelFile{.magic = magic, .legacyType = type}.bytes()),
                      type == 0 || type == 1 || type == 3)
                << magic << " " << type;
}

TEST(ModelHeader, EveryVersionIsReadInItsOwnLayout) {
    for (const char* magic : {"sorvane.model", "KLEVO.model", "Wexo.model"})
        for (const int version : {0x1004, 0x1005, 0x1006, 0x1008, 0x1009, 0x100A, 0x2000}) {
            SCOPED_TRACE(magic + std::to_string(version));
            const ModelFile file{.magic = magic,
                                 .version = version,
                                 .modelNote = "a note",
                                 .sampleRate = 44100.5,
                                 .numInputChannels = 2,
                                 .outputMode = 1,
                                 .numOutputChannels = 3,
                                 .numMasks = 2,
                                 .outputNames = {"Voice", "Drums", "Rest"},
                                 .outputPacking = {.code = 5, .split = 1, .rest = 2},
                                 .fftLength = 1024,
                                 .frameLength = 1000,
                                 .hop = 250};
            NeuralModel<float> model;
            ASSERT_TRUE(load(model, file.bytes()));
            const bool current = magic == std::string("sorvane.model");
            EXPECT_EQ(model.modelTag + model.modelNote, current ? "testa note" : "");
            EXPECT_EQ(model.modelId, current ? 1 : -1);
            EXPECT_EQ(model.sampleRate, 44100.5);
            const std::vector<int> numbers = {model.numInputChannels,
                                              model.numOutputChannels,
                                              model.outputMode,
                                              model.outputPacking,
                                              model.fftLength,
                                              model.frameLength,
                                              model.hop,
                                              model.numMasks};
            const int frame = version >= 0x1005 ? 1000 : 1024, masks = version >= 0x1006 ? 2 : 1;
            EXPECT_EQ(numbers, (std::vector<int>{2, 3, 1, 5, 1024, frame, 250, masks}));
            const std::vector<std::string> fixed = {"Processed", "Residual"};
            EXPECT_EQ(model.outputNames, version >= 0x1006 ? file.outputNames : fixed);
        }
}

TEST(ModelHeader, PackingOfSeveralFramesKeepsThem) {
    for (const int frames : {4, 0, -3}) {
        NeuralModel<float> model;
        ModelFile file{.inputPacking = {.code = 5, .split = 10, .rest = 20, .frames = frames}};
        ASSERT_TRUE(load(model, file.bytes()));
        EXPECT_EQ(model.packedRows, 60);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(model.frameHistory.size(), static_cast<std::size_t>(std::max(frames, 0)));
            for (const ComplexSignal32& frame : model.frameHistory)
                EXPECT_EQ(frame.row(0)[29], 0.0F);
            model.reset();
        }
    }
}

} // namespace sorvane::test
