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

// Writes what an LV2 bundle says of the plug-ins of some models, and copies the models into it.
// usage: sorvane_lv2_bundle FOLDER MODULE MODEL...
//        sorvane_lv2_bundle --describe FOLDER MODULE MODEL... (which leaves the models where they are, and
//        describes the voice cleaner too)

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
                 const std::vector<std::string>& modelFiles, bool ships) {
    namespace fs = std::filesystem;
    fs::create_directories(ships ? folder : folder / "models");
    std::vector<CatalogueModel> models;
    std::vector<PluginType> types;
    for (const std::string& modelFile : modelFiles) {
        const CatalogueModel& model = models.emplace_back(readModel(modelFile));
        types.push_back(mixPlugin(model, 2));
        if (canGiveStems(model))
            types.push_back(stemsPlugin(model));
        if (!ships)
            fs::copy_file(modelFile, folder / "models" / fs::path(modelFile).filename(),
                          fs::copy_options::overwrite_existing);
    }
    if (ships && hasSpeechModel(models))
        types.push_back(voiceCleaner(2));
    std::string manifest = manifestStart();
    for (const PluginType& type : types) {
        manifest += manifestEntry(type, module);
        write(folder / descriptionFileOf(type), descriptionOf(type));
    }
    write(folder / "manifest.ttl", manifest);
}

} // namespace

int main(int argc, char** argv) {
    const bool ships = argc > 1 && std::string(argv[1]) == "--describe";
    if (ships) {
        --argc;
        ++argv;
    }
    if (argc < 3) {
        std::fputs("usage: sorvane_lv2_bundle FOLDER MODULE MODEL...\n", stderr);
        return 2;
    }
    try {
        writeBundle(argv[1], argv[2], {argv + 3, argv + argc}, ships);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sorvane_lv2_bundle: %s\n", error.what());
        return 1;
    }
    return 0;
}
