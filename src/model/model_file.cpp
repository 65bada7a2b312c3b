#include "model/model_file.h"

#include "support/file_stream.h"

#include <memory>

namespace sorvane {

bool loadModelFile(NeuralModel<float>& model, const char* path) {
    auto stream = std::make_shared<FileStream>();
    return stream->openRegularFile(path) && model.load(std::move(stream));
}

} // namespace sorvane
