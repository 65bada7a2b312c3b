#include "console/json_text.h"
#include "info/info_formats.h"
#include "info/layer_details.h"

namespace sorvane::tools {

namespace {

Json layerAsJson(const host::LayerOutline& layer) {
    Json json{{"name", layer.name}, {"kind", layer.className}, {"inputs", layer.inputs}};
    json["tensors"] = Json::array();
    for (const host::TensorOutline& tensor : layer.tensors)
        json["tensors"].push_back(Json{{"label", tensor.label},
                                       {"shape", tensor.shape},
                                       {"storage", tensor.half ? "half" : "float"}});
    // An array, for the bands of a layer repeat their labels.
    json["parameters"] = Json::array();
    for (const host::LayerParameter& parameter : layer.parameters)
        if (!isUnused(parameter))
            json["parameters"].push_back(
                Json{{"label", parameter.label}, {"value", parameter.value}});
    return json;
}

} // namespace

std::string infoAsJson(const ModelInfo& info) {
    const host::ModelHeader& model = info.outline.header;
    const Json input{{"packing", model.inputPacking},
                     {"channels", model.numInputChannels},
                     {"bins", model.packedBins},
                     {"rows", model.packedRows}};
    const Json output{{"packing", model.outputPacking},
                      {"channels", model.numOutputChannels},
                      {"masks", model.numMasks},
                      {"mode", model.outputMode == 0 ? "masks" : "spectra"}};
    Json json{{"version", model.version},
              {"tag", model.modelTag},
              {"id", model.modelId},
              {"note", model.modelNote},
              {"sampleRate", model.sampleRate},
              {"fftLength", model.fftLength},
              {"frameLength", model.frameLength},
              {"hop", model.hop},
              {"input", input},
              {"output", output},
              {"latencyFrames", info.latencyFrames},
              {"latencySamples", info.latencySamples},
              {"weights", info.outline.numWeights()},
              {"busses", info.busNames},
              {"layers", Json::array()},
              {"outputSource", info.outline.outputSource}};
    for (const host::LayerOutline& layer : info.outline.layers)
        json["layers"].push_back(layerAsJson(layer));
    return jsonText(json);
}

} // namespace sorvane::tools
