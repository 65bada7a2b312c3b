#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::test {

// A path of its own, in memory where the system has a folder there and TMPDIR names no other, since
// tests write thousands of files; what stands there is removed at the end. The file itself exists
// only once something is written.
class TempFile {
public:
    explicit TempFile(const std::string& extension = ".tmp") : m_path(newPath(extension)) {}

    explicit TempFile(const std::vector<std::uint8_t>& bytes,
                      const std::string& extension = ".model")
        : TempFile(extension) {
        write(bytes);
    }

    ~TempFile() { remove(); }

    TempFile(TempFile&& other) noexcept : m_path(std::exchange(other.m_path, {})) {}
    TempFile& operator=(TempFile&& other) noexcept {
        if (this != &other) {
            remove();
            m_path = std::exchange(other.m_path, {});
        }
        return *this;
    }

    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& path() const { return m_path; }
    const char* c_str() const { return m_path.c_str(); }

    void write(const std::vector<std::uint8_t>& bytes) const { writeFile(m_path, bytes); }

    std::vector<std::uint8_t> read() const { return readFile(m_path); }

    static void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        if (!file.flush())
            throw std::runtime_error("can't write " + path);
    }

    static std::vector<std::uint8_t> readFile(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        if (!file)
            throw std::runtime_error("can't read " + path);
        const std::istreambuf_iterator<char> begin(file);
        return {begin, std::istreambuf_iterator<char>()};
    }

private:
    static std::string newPath(const std::string& extension) {
        static const unsigned process = std::random_device()();
        static const bool inMemory =
            !std::getenv("TMPDIR") && std::filesystem::is_directory("/dev/shm");
        static std::atomic<unsigned> count = 0;
        const std::string name =
            "sorvane-" + std::to_string(process) + "-" + std::to_string(count++) + extension;
        return ((inMemory ? std::filesystem::path("/dev/shm")
                          : std::filesystem::temp_directory_path()) /
                name)
            .string();
    }

    void remove() const noexcept {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove(m_path, ignored);
    }

    std::string m_path;
};

} // namespace sorvane::test
