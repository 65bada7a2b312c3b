#include "model_search.h"

#include "model_outline.h"
#include "platform.h"
#include "sorvane_host.h"
#include "status.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace sorvane::host {

namespace {

/// An address inside this library.
const int anchor = 0;

void addFolders(const char* list, std::vector<fs::path>& folders) {
    std::istringstream items(list != nullptr ? list : "");
    for (std::string folder; std::getline(items, folder, SORVANE_HOST_LIST_SEPARATOR);)
        if (!folder.empty())
            folders.emplace_back(folder);
}

bool beginsAsModel(const fs::path& file) {
    try {
        std::ifstream stream(file, std::ios::binary);
        RecordCursor cursor(stream);
        return readHeader(cursor).version != 0;
    } catch (const Failure&) {
        return false;
    }
}

std::vector<fs::path> modelFilesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unreadable;
        if (entry->path().extension() == ".model" && entry->is_regular_file(unreadable))
            files.push_back(entry->path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Raises a Failure unless the file can be read.
std::string readable(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    const char* reason = nullptr;
    if (!error && fs::is_directory(status))
        reason = "it is a folder";
    else if (!error && fs::exists(status) && !fs::is_regular_file(status))
        reason = "it is no regular file";
    else if (errno = 0; !std::ifstream(path, std::ios::binary))
        reason = errno != 0 ? std::strerror(errno) : "it can't be opened";
    if (reason != nullptr)
        fail(SORVANE_HOST_NOT_FOUND, "can't read '" + path + "': " + reason);
    return path;
}

} // namespace

std::vector<fs::path> modelFolders(const char* folders, const void* address) {
    std::vector<fs::path> result;
    addFolders(folders, result);
    addFolders(std::getenv("SORVANE_MODEL_PATH"), result);
    if (address != nullptr)
        if (const fs::path own = platform::folderOf(address); !own.empty())
            result.push_back(own / "models");
    if (const fs::path own = platform::folderOf(&anchor); !own.empty()) {
        result.push_back(own / "models");
        for (const char* const installed : {SORVANE_MODELS_FROM_LIBRARY})
            result.push_back((own / installed).lexically_normal());
    }
    return result;
}

std::vector<FoundModel> listModels(const std::vector<fs::path>& folders) {
    std::vector<FoundModel> models;
    for (const fs::path& folder : folders)
        for (const fs::path& file : modelFilesIn(folder)) {
            const std::string name = file.stem().string();
            const bool known =
                std::any_of(models.begin(), models.end(),
                            [&](const FoundModel& model) { return model.name == name; });
            if (known || !beginsAsModel(file))
                continue;
            std::error_code error;
            const fs::path absolute = fs::absolute(file, error);
            models.push_back({name, (error ? file : absolute).string()});
        }
    return models;
}

std::string findModel(const std::string& nameOrPath) {
    std::error_code error;
    const fs::path path = nameOrPath;
    if (path.has_parent_path() || path.extension() == ".model" || fs::exists(path, error))
        return readable(nameOrPath);
    const std::vector<fs::path> folders = modelFolders(nullptr, nullptr);
    std::string places;
    for (const fs::path& folder : folders) {
        const fs::path file = folder / (nameOrPath + ".model");
        if (fs::is_regular_file(file, error))
            return readable(file.string());
        places += (places.empty() ? "" : ", ") + folder.string();
    }
    fail(SORVANE_HOST_NOT_FOUND, "there is no model '" + nameOrPath + "' in " + places);
}

} // namespace sorvane::host
