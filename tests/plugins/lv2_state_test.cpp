// A session keeps the model of an LV2 plug-in as a path that the host may move.

#include "lv2/lv2_uris.h"
#include "plugins/plugin_host.h"
#include "util/temp_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <lv2/atom/atom.h>
#include <lv2/state/state.h>

namespace sorvane::test {

namespace {

// What a plug-in stored, and the session's folder, for which "session:" stands in stored paths.
struct State {
    std::string value;
    std::uint32_t key = 0;
    std::uint32_t type = 0;
    std::uint32_t flags = 0;
    std::string folder;
};

LV2_State_Status store(LV2_State_Handle handle, std::uint32_t key, const void* value,
                       std::size_t size, std::uint32_t type, std::uint32_t flags) {
    auto& state = *static_cast<State*>(handle);
    state.value.assign(static_cast<const char*>(value), size);
    state.key = key;
    state.type = type;
    state.flags = flags;
    return LV2_STATE_SUCCESS;
}

const void* retrieve(LV2_State_Handle handle, std::uint32_t key, std::size_t* size,
                     std::uint32_t* type, std::uint32_t* flags) {
    auto& state = *static_cast<State*>(handle);
    if (state.value.empty() || key != state.key)
        return nullptr;
    *size = state.value.size();
    *type = state.type;
    *flags = state.flags;
    return state.value.data();
}

char* toAbstract(LV2_State_Map_Path_Handle handle, const char* path) {
    const std::string& folder = static_cast<State*>(handle)->folder;
    const std::string text = path;
    return strdup(text.rfind(folder, 0) == 0 ? ("session:" + text.substr(folder.size())).c_str()
                                             : path);
}

char* toAbsolute(LV2_State_Map_Path_Handle handle, const char* path) {
    const std::string& folder = static_cast<State*>(handle)->folder;
    const std::string text = path;
    return strdup(text.rfind("session:", 0) == 0 ? (folder + text.substr(8)).c_str() : path);
}

class StateHost {
public:
    explicit StateHost(State& stateToUse) : state(stateToUse) {}

    int save(Session& session) {
        return interface(session).save(session.plugin.handle.get(), store, &state, 0, features);
    }
    int restore(Session& session) {
        return interface(session).restore(session.plugin.handle.get(), retrieve, &state, 0,
                                          features);
    }

private:
    static const LV2_State_Interface& interface(Session& session) {
        for (const LV2_Descriptor* plugin : lv2Descriptors())
            if (plugin->URI == plugins::uriOf(session.type))
                return *static_cast<const LV2_State_Interface*>(
                    plugin->extension_data(LV2_STATE__interface));
        throw std::out_of_range(session.type.label);
    }

    State& state;
    LV2_State_Map_Path map{&state, toAbstract, toAbsolute};
    LV2_Feature mapFeature{LV2_STATE__mapPath, &map};
    const LV2_Feature* features[2] = {&mapFeature, nullptr};
};

} // namespace

TEST(Lv2State, KeepsThePathOfTheModel) {
    State state;
    state.folder =
        std::filesystem::path(typeOf("groups_48k_stereo").modelPath).parent_path().string();
    StateHost host(state);
    Session session(Format::lv2, "groups_48k_stereo");
    ASSERT_EQ(host.save(session), LV2_STATE_SUCCESS);
    EXPECT_EQ(state.value, std::string("session:/groups-48k.model") + '\0');
    EXPECT_EQ(state.flags, std::uint32_t{LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE});
}

TEST(Lv2State, BringsAnotherModelThatHasTheSameBusses) {
    State state;
    StateHost host(state);
    for (const char* kind : {"stereo", "stems"}) {
        Session other(Format::lv2, std::string("groups_48k_") + kind);
        ASSERT_EQ(host.save(other), LV2_STATE_SUCCESS);
        other.set("sensitivity_0", 30.0F);
        Session session(Format::lv2, std::string("noise_gate_48k_") + kind);
        session.set("sensitivity_0", 30.0F);
        const AudioRows input = noise(2, 10000, 9);
        session.run(input);
        ASSERT_EQ(host.restore(session), LV2_STATE_SUCCESS);
        EXPECT_TRUE(session.run(input) == other.run(input)) << kind;
        EXPECT_EQ(session.latency(), other.latency());

        State saved;
        ASSERT_EQ(StateHost(saved).save(session), LV2_STATE_SUCCESS);
        EXPECT_EQ(saved.value, state.value);
    }
}

TEST(Lv2State, WhatCannotBeUsedChangesNothing) {
    State good;
    Session session(Format::lv2, "noise_gate_48k_stereo");
    ASSERT_EQ(StateHost(good).save(session), LV2_STATE_SUCCESS);
    const std::string threeBusses = typeOf("three_busses_stereo").modelPath;
    const std::string broken =
        (std::filesystem::path(threeBusses).parent_path() / "broken.model").string();
    const auto with = [&](const std::string& value) {
        State state = good;
        state.value = value;
        return state;
    };
    State wrongType = good;
    ++wrongType.type;
    const struct {
        const char* name;
        State state;
        int status;
    } cases[] = {{"nothing", State{}, LV2_STATE_ERR_NO_PROPERTY},
                 {"no path", wrongType, LV2_STATE_ERR_BAD_TYPE},
                 {"no file", with("/nowhere/x.model"), LV2_STATE_ERR_UNKNOWN},
                 {"no model", with(broken), LV2_STATE_ERR_UNKNOWN},
                 {"other busses", with(threeBusses), LV2_STATE_ERR_UNKNOWN},
                 {"the same", good, LV2_STATE_SUCCESS}};
    const AudioRows input = noise(2, 4000, 10);
    const AudioRows expected = session.run(input);
    for (const auto& c : cases) {
        State state = c.state;
        EXPECT_EQ(StateHost(state).restore(session), c.status) << c.name;
        session.plugin.activate();
        EXPECT_TRUE(session.run(input) == expected) << c.name;
    }
}

} // namespace sorvane::test
