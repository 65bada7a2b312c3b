#include "support/platform_file.h"

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>

namespace sorvane::platform {

namespace {

HANDLE native(FileHandle file) {
    return reinterpret_cast<HANDLE>(file);
}

} // namespace

FileHandle openFile(const char* path, int access, int creation) {
    const DWORD accessRights[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};
    const DWORD dispositions[] = {OPEN_EXISTING, OPEN_ALWAYS, CREATE_NEW};
    if (creation < 0 || creation > 2)
        return noFile;
    return reinterpret_cast<FileHandle>(
        CreateFileA(path, access >= 0 && access <= 2 ? accessRights[access] : 0,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, dispositions[creation],
                    FILE_ATTRIBUTE_NORMAL, nullptr));
}

FileHandle openRegularFile(const char* path) {
    const FileHandle file = path == nullptr ? noFile : openFile(path, 0, 0);
    if (file == noFile || GetFileType(native(file)) == FILE_TYPE_DISK)
        return file;
    closeFile(file);
    return noFile;
}

void closeFile(FileHandle file) {
    if (file != noFile)
        CloseHandle(native(file));
}

std::int64_t readFile(FileHandle file, void* buffer, std::uint32_t count) {
    DWORD done = 0;
    return ReadFile(native(file), buffer, count, &done, nullptr) ? std::int64_t{done} : -1;
}

std::int64_t writeFile(FileHandle file, const void* buffer, std::uint32_t count) {
    DWORD done = 0;
    return WriteFile(native(file), buffer, count, &done, nullptr) ? std::int64_t{done} : -1;
}

bool seekFile(FileHandle file, std::int64_t position) {
    LARGE_INTEGER target;
    target.QuadPart = position;
    return SetFilePointerEx(native(file), target, nullptr, FILE_BEGIN) != 0;
}

std::int64_t filePosition(FileHandle file) {
    LARGE_INTEGER zero{};
    LARGE_INTEGER current{};
    return SetFilePointerEx(native(file), zero, &current, FILE_CURRENT) ? current.QuadPart : -1;
}

std::int64_t fileSize(FileHandle file) {
    LARGE_INTEGER length{};
    return GetFileSizeEx(native(file), &length) ? length.QuadPart : -1;
}

void flushFile(FileHandle file) {
    FlushFileBuffers(native(file));
}

} // namespace sorvane::platform

#else

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvane::platform {

namespace {

int native(FileHandle file) {
    return static_cast<int>(file);
}

} // namespace

FileHandle openFile(const char* path, int access, int creation) {
    constexpr int creationFlags[] = {0, O_CREAT, O_CREAT | O_EXCL};
    constexpr int always = O_CLOEXEC | O_NOCTTY;
    if (creation < 0 || creation > 2)
        return noFile;
#if defined(O_PATH)
    if (access < 0 || access > 2) {
        // A descriptor without either right, which creates nothing by itself.
        int file = creation == 2 ? -1 : open(path, O_PATH | always);
        if (file >= 0 || creation == 0)
            return file;
        file = open(path, O_WRONLY | creationFlags[creation] | always, 0666);
        if (file < 0)
            return noFile;
        close(file);
        return open(path, O_PATH | always);
    }
#endif
    const int rights = access == 1 ? O_WRONLY : access == 2 ? O_RDWR : O_RDONLY;
    return open(path, rights | creationFlags[creation] | always, 0666);
}

FileHandle openRegularFile(const char* path) {
    // Looked at first, since pipes and devices may act on being opened; and again afterwards, since
    // the path may have changed hands. Regular files take no notice of O_NONBLOCK.
    struct stat status {};
    if (path == nullptr || stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return noFile;
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (file < 0)
        return noFile;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        return file;
    close(file);
    return noFile;
}

void closeFile(FileHandle file) {
    if (file != noFile)
        close(native(file));
}

std::int64_t readFile(FileHandle file, void* buffer, std::uint32_t count) {
    return read(native(file), buffer, count);
}

std::int64_t writeFile(FileHandle file, const void* buffer, std::uint32_t count) {
    return write(native(file), buffer, count);
}

bool seekFile(FileHandle file, std::int64_t position) {
    return lseek(native(file), position, SEEK_SET) >= 0;
}

std::int64_t filePosition(FileHandle file) {
    return lseek(native(file), 0, SEEK_CUR);
}

std::int64_t fileSize(FileHandle file) {
    struct stat status {};
    return fstat(native(file), &status) == 0 ? std::int64_t{status.st_size} : -1;
}

void flushFile(FileHandle file) {
    fsync(native(file));
}

} // namespace sorvane::platform

#endif
