#include "run/input_list.h"

#include "console/program_error.h"
#include "console/text.h"
#include "sound/media_format.h"
#include "sound/output_format.h"

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

bool mayHoldAudio(const fs::path& path) {
    const std::string extension = extensionOf(path.string());
    return isKnownExtension(extension) || isMediaExtension(extension);
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class Walk {
public:
    Walk(const InputSearch& inputSearch, InputList& inputList)
        : search(inputSearch), list(inputList) {}

    void folder(const fs::path& path, const fs::path& below) {
        std::error_code error;
        std::vector<fs::path> entries;
        for (fs::directory_iterator entry(path, error), end; !error && entry != end;
             entry.increment(error))
            entries.push_back(entry->path());
        if (error)
            throw ProgramError(exitInput,
                               "can't read " + inQuotes(path.string()) + ": " + error.message());
        std::sort(entries.begin(), entries.end());
        for (const fs::path& entry : entries) {
            const std::string name = entry.filename().string();
            if (name.front() == '.')
                continue;
            // Links to folders could lead in circles.
            const bool isLink = fs::is_symlink(fs::symlink_status(entry, error));
            if (!fs::is_directory(entry, error))
                file(entry, below);
            else if (search.recursive && !isLink && !isOutputFolder(entry))
                folder(entry, below / name);
        }
    }

private:
    void file(const fs::path& path, const fs::path& below) {
        std::error_code error;
        if (!fs::is_regular_file(path, error) || !mayHoldAudio(path))
            ++list.numWithoutAudio;
        else if (search.ownSuffix.empty() || !endsWith(path.stem().string(), search.ownSuffix))
            list.files.emplace_back(path.string(), below.string());
    }

    [[nodiscard]] bool isOutputFolder(const fs::path& path) const {
        std::error_code error;
        return !search.outputFolder.empty() && fs::equivalent(path, search.outputFolder, error);
    }

    const InputSearch& search;
    InputList& list;
};

} // namespace

InputList findInputs(const std::vector<std::string>& paths, const InputSearch& search) {
    InputList list;
    for (const std::string& path : paths) {
        std::error_code error;
        if (path == "-" || !fs::is_directory(path, error)) {
            list.files.emplace_back(path);
            continue;
        }
        list.hasFolder = true;
        const std::size_t before = list.files.size();
        Walk(search, list).folder(path, {});
        if (list.files.size() == before)
            throw ProgramError(
                exitInput, inQuotes(path) + " has no audio files" +
                               (search.recursive ? "" : "; --recursive looks into its folders"));
    }
    return list;
}

} // namespace sorvane::tools
