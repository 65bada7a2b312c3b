#include "support/vector_status.h"

#include <stdexcept>
#include <string>

namespace sorvane {

void throwStatus(IppStatus status) {
    throw std::runtime_error(std::string("IPP exception: ") + ippGetStatusString(status));
}

} // namespace sorvane
