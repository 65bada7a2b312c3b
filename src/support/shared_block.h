#pragma once

#include <atomic>
#include <memory>

#if defined(__SANITIZE_THREAD__)
#define SORVANE_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SORVANE_THREAD_SANITIZER
#endif
#endif

namespace sorvane {

/// True when nobody else has a share of `block`, so that it may be written in place. Whatever another
/// thread read of it before it dropped its share has then happened before what the caller does next.
/// The caller's own shared pointer is used by this thread alone, so that no new share can appear.
template <typename T>
bool isSoleOwner(const std::shared_ptr<T>& block) {
    // The count is read without order: it only says that the last other share is gone. The fence
    // makes this thread meet the release with which that share was dropped.
    if (block.use_count() != 1)
        return false;
#if defined(SORVANE_THREAD_SANITIZER)
    // The sanitizer knows no fences. Taking and dropping a share orders the same for it.
    const std::shared_ptr<T> share = block;
#else
    std::atomic_thread_fence(std::memory_order_acquire);
#endif
    return true;
}

} // namespace sorvane
