#include "model/model_file.h"

#include "support/file_stream.h"

#include <memory>

namespace sorvane {

bool loadModelFile(NeuralModel<float>& model, const char* path) {
    auto stream = std::make_shared<FileStream>();
    return stream->open(path, 0, 0) && stream->isRegularFile() && model.load(std::move(stream));
}

} // namespace sorvane
