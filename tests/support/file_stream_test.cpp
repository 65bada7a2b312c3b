#include "support/file_stream.h"
#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <array>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace sorvane::test {

namespace {

using FileBytes = std::vector<std::uint8_t>;

} // namespace

TEST(FileStream, OpensAsAccessAndCreationSay) {
    const struct {
        int access, creation;
        bool opensMissing, opensExisting, writes;
    } cases[] = {{0, 0, false, true, false},  {1, 0, false, true, true},
                 {2, 0, false, true, true},   {1, 1, true, true, true},
                 {2, 2, true, false, true},   {0, 3, false, false, false},
                 {2, -1, false, false, true}, {3, 0, false, true, false},
                 {3, 1, true, true, false},   {-1, 2, true, false, false}};
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.access * 10 + entry.creation);
        const TempFile missing;
        const TempFile existing(FileBytes{1, 2, 3});
        FileStream stream;
        EXPECT_EQ(stream.open(missing.c_str(), entry.access, entry.creation), entry.opensMissing);
        EXPECT_EQ(std::filesystem::exists(missing.path()), entry.opensMissing);
        if (entry.opensMissing) {
            EXPECT_EQ(stream.write("ab", 2), entry.writes ? 2U : 0U);
        }
        ASSERT_EQ(stream.open(existing.c_str(), entry.access, entry.creation), entry.opensExisting);
        EXPECT_TRUE(stream.isValid());
        if (!entry.opensExisting)
            continue;
        EXPECT_EQ(stream.size(), 3);
        if (entry.access > 2)
            continue; // not every system knows a file without rights
        char byte = 9;
        EXPECT_EQ(stream.write(&byte, 1), entry.writes ? 1U : 0U);
        const bool reads = entry.access == 0 || entry.access == 2;
        EXPECT_EQ(stream.read(&byte, 1), reads ? 1U : 0U);
        EXPECT_EQ(byte, !reads ? 9 : entry.writes ? 2 : 1); // one position for both directions
    }
}

TEST(FileStream, ReportsItsEndAndWhatItCannotDo) {
    const TempFile file(FileBytes{1, 2, 3, 4, 5});
    FileStream stream;
    ASSERT_TRUE(stream.open(file.c_str(), 2, 0));
    std::array<char, 8> bytes{};
    EXPECT_EQ(stream.read(bytes.data(), 8), 5U);
    EXPECT_EQ(bytes, (std::array<char, 8>{1, 2, 3, 4, 5}));
    EXPECT_EQ(stream.read(bytes.data(), 8), 0U);
    EXPECT_TRUE(stream.seek(2));
    EXPECT_EQ(stream.position(), 2);
    EXPECT_FALSE(stream.seek(-1));
    EXPECT_TRUE(stream.seek(std::int64_t{1} << 33)); // past the end
    EXPECT_EQ(stream.position(), std::int64_t{1} << 33);
    EXPECT_EQ(stream.size(), 5);
    stream.flush();
    stream.close();
    stream.close();

    EXPECT_TRUE(stream.isValid()); // even so
    EXPECT_EQ(stream.read(bytes.data(), 1), 0U);
    EXPECT_EQ(stream.write(bytes.data(), 1), 0U);
    EXPECT_FALSE(stream.seek(0));
    stream.flush();
    EXPECT_EQ(errorOf([&] { stream.position(); }), "Unable to get file position from WIN32 API");
    EXPECT_EQ(errorOf([&] { stream.size(); }), "Unable to get file size from WIN32 API");
}

#if !defined(_WIN32)
TEST(FileStream, LoadersTakeRegularFilesAlone) {
    // A pipe that nobody writes to: who waits for its other end never comes back.
    const TempFile pipe;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string folder = std::filesystem::temp_directory_path().string();
    for (const char* path : {pipe.c_str(), folder.c_str(), "/dev/null", "/dev/zero", "", "/none"}) {
        EXPECT_FALSE(FileStream().openRegularFile(path)) << path;
        EXPECT_EQ(sorvaneCreateProcessor(path, 1, 48000.0), nullptr) << path;
        EXPECT_EQ(sorvaneCreateModel(path), nullptr) << path;
    }
    const TempFile link;
    std::filesystem::create_symlink(SORVANE_MODELS_DIR "/noise-gate-48k.model", link.path());
    EXPECT_NE(ModelHandle(sorvaneCreateModel(link.c_str())), nullptr);
}
#endif

} // namespace sorvane::test
