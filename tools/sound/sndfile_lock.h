#pragma once

#include <mutex>

namespace sorvane::tools {

/// Held while a file is opened with libsndfile, until the reason of a failure has been read: it keeps
/// that in memory that all threads share.
inline std::mutex sndfileOpening;

} // namespace sorvane::tools
