#include "run/output_plan.h"

#include "console/program_error.h"
#include "console/text.h"
#include "sound/media_format.h"
#include "sound/output_format.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace sorvane::tools {

namespace {

constexpr std::size_t longestBusName = 100;

[[noreturn]] void fail(const std::string& message) {
    throw ProgramError(exitUsage, message);
}

bool isPlain(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x80 && (std::isalnum(byte) != 0 || character == ' ' || character == '.' ||
                           character == '_' || character == '-');
}

/// Windows takes these names for devices, whatever extension follows.
bool isDeviceName(const std::string& name) {
    const std::string base = lowerCase(name.substr(0, name.find('.')));
    if (base.size() == 4 && (base.rfind("com", 0) == 0 || base.rfind("lpt", 0) == 0))
        return std::isdigit(static_cast<unsigned char>(base[3])) != 0;
    return base == "con" || base == "prn" || base == "aux" || base == "nul";
}

/// Replaces {placeholders}.
std::string expand(const std::string& pattern, const std::map<std::string, std::string>& values) {
    std::string name;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '{') {
            name += pattern[i];
            continue;
        }
        const std::size_t end = pattern.find('}', i);
        const auto value = values.find(
            end == std::string::npos ? std::string() : pattern.substr(i + 1, end - i - 1));
        if (value == values.end())
            fail("--name: " + inQuotes(pattern.substr(i)) +
                 " does not begin with {input}, {bus} or {ext}");
        name += value->second;
        i = end;
    }
    if (name.empty() || name == "." || name == ".." || fs::path(name).filename() != name)
        fail("--name: " + inQuotes(name) + " is not the name of a file");
    return name;
}

std::string extensionFor(const NamingRules& rules, const std::string& input) {
    if (!rules.extension.empty())
        return rules.extension;
    const std::string extension = fs::path(input).extension().string();
    const std::string name = extension.empty() ? "" : extension.substr(1);
    return isKnownExtension(name) || findMediaFormat(name) != nullptr ? name : "wav";
}

/// `path`, or with a number the first that isn't taken. Some file systems take upper and lower case
/// for the same.
std::string untaken(const fs::path& path, std::set<std::string>& taken) {
    std::string result = path.string();
    for (int number = 2; !taken.insert(lowerCase(result)).second; ++number) {
        fs::path numbered = path;
        numbered.replace_filename(path.stem().string() + "-" + std::to_string(number) +
                                  path.extension().string());
        result = numbered.string();
    }
    return result;
}

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return fs::equivalent(a, b, error) && !error;
}

} // namespace

std::string fileNameOfBus(const std::string& busName) {
    std::string name;
    for (const char character : busName.substr(0, longestBusName)) {
        const bool continuesUtf8 = (static_cast<unsigned char>(character) & 0xC0U) == 0x80U;
        if (isPlain(character))
            name += character;
        else if (!continuesUtf8) // one character, one replacement
            name += '_';
    }
    if (name.empty())
        return "bus";
    for (char* end : {&name.front(), &name.back()})
        if (*end == '.' || *end == '-' || *end == ' ')
            *end = '_';
    return isDeviceName(name) ? "_" + name : name;
}

std::vector<FilePlan> planOutputs(const std::vector<InputPath>& inputs, const NamingRules& rules,
                                  const std::vector<std::string>& busNames) {
    std::string pattern = rules.pattern;
    if (pattern.empty())
        pattern = rules.stems.empty() ? "{input}.{ext}" : "{input}.{bus}.{ext}";
    std::set<std::string> taken;
    std::vector<FilePlan> plans;
    for (const auto& [input, below] : inputs) {
        FilePlan plan{input, {}};
        const fs::path folder =
            rules.folder.empty() ? fs::path(input).parent_path() : fs::path(rules.folder) / below;
        std::map<std::string, std::string> values{
            {"input", input == "-" ? "stdin" : fs::path(input).stem().string()},
            {"bus", fileNameOfBus(rules.mixName)},
            {"ext", extensionFor(rules, input)},
        };
        const auto add = [&](std::optional<int> bus) {
            const fs::path path = folder / expand(pattern, values);
            plan.outputs.push_back({untaken(path, taken), bus});
        };
        if (rules.stems.empty())
            add(std::nullopt);
        for (const int bus : rules.stems) {
            values["bus"] = fileNameOfBus(busNames.at(static_cast<std::size_t>(bus)));
            add(bus);
        }
        plans.push_back(std::move(plan));
    }
    return plans;
}

int removeDone(std::vector<FilePlan>& plans) {
    const auto isDone = [](const FilePlan& plan) {
        return std::all_of(plan.outputs.begin(), plan.outputs.end(), [](const OutputPlan& output) {
            std::error_code error;
            return fs::is_regular_file(output.path, error);
        });
    };
    const auto begin = std::remove_if(plans.begin(), plans.end(), isDone);
    const auto count = static_cast<int>(plans.end() - begin);
    plans.erase(begin, plans.end());
    return count;
}

void requireWritable(const std::vector<FilePlan>& plans, const std::string& model, bool force) {
    for (const FilePlan& plan : plans)
        for (const OutputPlan& output : plan.outputs) {
            std::error_code error;
            if (output.path == "-" || !fs::is_regular_file(output.path, error))
                continue;
            for (const FilePlan& other : plans)
                if (isSameFile(other.input, output.path))
                    fail("input and output are the same file, " + inQuotes(output.path));
            if (isSameFile(model, output.path))
                fail("model and output are the same file, " + inQuotes(output.path));
            if (!force)
                fail(inQuotes(output.path) + " is there already; --force replaces it");
        }
}

} // namespace sorvane::tools
