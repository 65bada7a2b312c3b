#include "info/info_command.h"

#include "chain/models.h"
#include "console/program_error.h"
#include "console/text.h"
#include "info/info_formats.h"
#include "info/layer_details.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <failure.h>
#include <fstream>
#include <memory>

namespace sorvane::tools {

namespace {

/// What the file leaves empty isn't shown.
void printLine(const char* label, const std::string& value) {
    if (!value.empty())
        std::printf("%-13s%s\n", label, value.c_str());
}

/// What the network sees of a spectrum.
std::string inputText(const host::ModelHeader& model) {
    const std::string bins = std::to_string(model.packedBins) + " bins, ";
    const std::string border = "bin " + std::to_string(model.lowBins);
    switch (model.inputPacking) {
    case 1:
        return bins + "magnitudes";
    case 2:
        return bins + "signed parts below " + border + ", magnitudes from there on";
    case 4:
        return bins + "complex";
    case 6:
        return bins + "complex, in groups of " + std::to_string(model.bandGroup) + " from " +
               border + " on";
    default:
        return bins + "of a kind that can't be run";
    }
}

std::string latencyText(const ModelInfo& info) {
    return std::to_string(info.latencyFrames) + " frames of look-ahead, " +
           groupedNumber(info.latencySamples) + " samples in all, " +
           shortNumber(1000.0 * info.latencySamples / info.outline.header.sampleRate) + " ms";
}

void printHeader(const ModelInfo& info) {
    const host::ModelHeader& model = info.outline.header;
    char version[16];
    std::snprintf(version, sizeof version, "0x%X", static_cast<unsigned>(model.version));
    printLine("version", version);
    printLine("tag", printable(model.modelTag));
    printLine("id", std::to_string(model.modelId));
    printLine("note", printable(model.modelNote));
    printLine("sample rate", shortNumber(model.sampleRate, 10) + " Hz");
    printLine("channels", std::to_string(model.numInputChannels) + " in, " +
                              std::to_string(model.numOutputChannels) + " out");
    printLine("transform", groupedNumber(model.fftLength) + " samples");
    printLine("frame", groupedNumber(model.frameLength) + " samples");
    printLine("hop", groupedNumber(model.hop) + " samples, " +
                         shortNumber(1000.0 * model.hop / model.sampleRate) + " ms");
    printLine("packing", std::to_string(model.inputPacking) + " in, " +
                             std::to_string(model.outputPacking) + " out");
    printLine("input", inputText(model) + "; " + std::to_string(model.packedRows) + " rows");
    printLine("output",
              std::to_string(model.numMasks) + (model.outputMode == 0 ? " masks" : " spectra"));
    printLine("latency", latencyText(info));
    printLine("weights", groupedNumber(info.outline.numWeights()));
}

void printBusses(const std::vector<std::string>& names) {
    for (std::size_t bus = 0; bus < names.size(); ++bus)
        printLine(bus == 0 ? "busses" : "",
                  std::to_string(bus) + " " + printable(names[bus]) +
                      (bus + 1 == names.size() ? " (what is left over)" : ""));
}

/// A table's row of cells: name, class, inputs, tensors and parameters.
std::vector<std::string> layerCells(const host::LayerOutline& layer) {
    const auto append = [](std::string& list, const std::string& item) {
        list += (list.empty() ? "" : ", ") + item;
    };
    std::string inputs;
    for (const std::string& input : layer.inputs)
        append(inputs, printable(input));
    std::string details;
    for (const std::string& item : layerDetails(layer))
        append(details, item);
    return {printable(layer.name), layer.className, inputs, details};
}

void printLayers(const host::ModelOutline& outline) {
    std::vector<std::vector<std::string>> rows{{"name", "kind", "from", "shapes and settings"}};
    for (const host::LayerOutline& layer : outline.layers)
        rows.push_back(layerCells(layer));
    rows.push_back({"output", "OutputLayer", printable(outline.outputSource), ""});

    // A long cell, as of a layer with many inputs, pushes its own row aside and no other.
    constexpr std::size_t widestColumn = 32;
    std::vector<std::size_t> widths(rows.front().size());
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], std::min(row[i].size(), widestColumn));

    std::printf("\nlayers (%s)\n",
                groupedNumber(static_cast<long long>(outline.layers.size())).c_str());
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line +=
                "  " + row[i] + std::string(widths[i] - std::min(row[i].size(), widths[i]), ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

host::ModelOutline outlineOf(const std::string& path) {
    try {
        std::ifstream file(path, std::ios::binary);
        return host::readOutline(file);
    } catch (const host::Failure& failure) {
        throw ProgramError(exitModel, inQuotes(path) + ": " + failure.text);
    }
}

struct InfoOptions {
    std::string model;
    bool json = false;
    bool dot = false;
};

void runInfo(const InfoOptions& options) {
    const std::string path = pathOfModel(options.model);
    const host::Model opened = openModel(path); // tells best what is wrong with a file
    ModelInfo info{outlineOf(path), opened.busNames(), opened.info().latencyFrames, 0};
    const host::ModelHeader& model = info.outline.header;
    info.latencySamples =
        host::Stream(opened, std::max(model.numInputChannels, 1), model.sampleRate).latency();
    if (options.json || options.dot) {
        std::fputs((options.json ? infoAsJson(info) : infoAsDot(info)).c_str(), stdout);
        return;
    }
    printHeader(info);
    printBusses(info.busNames);
    printLayers(info.outline);
}

} // namespace

void addInfoCommand(CLI::App& program) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = program.add_subcommand("info", "Show what a model file holds");
    command->ignore_case();
    command->add_option("MODEL", options->model, "Model, by its name or path")->required();
    CLI::Option* json = command->add_flag("--json", options->json, "Print it as JSON");
    command->add_flag("--dot", options->dot, "Print the network as a graph for Graphviz")
        ->excludes(json);
    command->footer("Examples:\n"
                    "  sorvane info speech-48k\n"
                    "  sorvane info speech-48k --dot | dot -Tsvg -o network.svg\n");
    command->callback([options] { runInfo(*options); });
}

} // namespace sorvane::tools
