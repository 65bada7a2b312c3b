#include "common/model_catalogue.h"
#include "lv2/lv2_uris.h"
#include "lv2/turtle.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

// Writes what an LV2 bundle says of the plug-ins of some models.
// usage: sorvane_lv2_bundle FOLDER MODULE MODEL...

namespace {

using namespace sorvane::plugins;

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error("can't write " + path.string());
}

void writeBundle(const std::filesystem::path& folder, const std::string& module,
                 const std::vector<std::string>& modelFiles) {
    std::filesystem::create_directories(folder);
    std::string manifest = manifestStart();
    for (const std::string& modelFile : modelFiles) {
        const CatalogueModel model = readModel(modelFile);
        std::vector<PluginType> types = {mixPlugin(model, 2)};
        if (canGiveStems(model))
            types.push_back(stemsPlugin(model));
        for (const PluginType& type : types) {
            manifest += manifestEntry(type, module);
            write(folder / descriptionFileOf(type), descriptionOf(type));
        }
    }
    write(folder / "manifest.ttl", manifest);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: sorvane_lv2_bundle FOLDER MODULE MODEL...\n", stderr);
        return 2;
    }
    try {
        writeBundle(argv[1], argv[2], {argv + 3, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane_lv2_bundle: %s\n", error.what());
        return 1;
    }
    return 0;
}
