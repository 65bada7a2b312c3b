#include "run/run_report.h"

#include "console/json_text.h"
#include "console/text.h"

#include <algorithm>
#include <cmath>

namespace sorvane::tools {

namespace {

Json outputAsJson(const OutputReport& output) {
    Json json{{"path", output.path}};
    if (output.bus)
        json["bus"] = *output.bus;
    json["peak"] = output.peak;
    json["peakDecibels"] = output.peak > 0.0 ? Json(20.0 * std::log10(output.peak)) : Json();
    json["factor"] = output.factor;
    json["clippedSamples"] = output.clippedSamples;
    return json;
}

Json fileAsJson(const FileReport& file) {
    Json json{{"input", file.input}};
    if (file.failure) {
        json["error"] = file.failure->message;
        json["exitCode"] = file.failure->exitCode;
        return json;
    }
    json["seconds"] = file.audioSeconds;
    json["processingSeconds"] = file.processingSeconds;
    json["realTimeFactor"] =
        file.audioSeconds > 0.0 ? Json(file.processingSeconds / file.audioSeconds) : Json();
    json["latencySamples"] = file.latencySamples;
    json["latencySeconds"] = file.latencySeconds;
    json["outputs"] = Json::array();
    for (const OutputReport& output : file.outputs)
        json["outputs"].push_back(outputAsJson(output));
    return json;
}

} // namespace

std::string resultText(const FileReport& file) {
    const std::string& output = file.outputs.front().path;
    std::string text = (file.input == "-" ? "standard input" : printable(file.input)) + " -> " +
                       (output == "-" ? "standard output" : printable(output));
    if (file.outputs.size() > 1 && file.outputs.back().path != file.outputs.front().path)
        text += " and " + std::to_string(file.outputs.size() - 1) + " more";
    return text + ", " + timeText(file.audioSeconds) + ", " +
           shortNumber(file.audioSeconds / std::max(file.processingSeconds, 1e-9), 3) +
           "x real time";
}

std::string reportAsJson(const std::string& model, const std::vector<FileReport>& files) {
    Json json{{"model", model}, {"files", Json::array()}};
    for (const FileReport& file : files)
        json["files"].push_back(fileAsJson(file));
    return jsonText(json);
}

} // namespace sorvane::tools
