#pragma once

#include <memory>
#include <mutex>
#include <pybind11/pybind11.h>

namespace sorvane::python {

/// Owns a handle of the engine on behalf of a Python object.
///
/// Its functions are called with the interpreter's lock held. Calls that overlap with a close still
/// have the engine's object: the last one of them releases it.
class Handle {
public:
    Handle(void* pointer, void (*release)(void*)) : shared(pointer, release) {}

    /// Releases the engine's object; again does nothing.
    void close() { shared.reset(); }

    [[nodiscard]] bool isClosed() const { return shared == nullptr; }

    /// The engine's object, for calls that may run beside all others; ValueError when closed.
    [[nodiscard]] std::shared_ptr<void> get() const {
        if (isClosed())
            throw pybind11::value_error("it is closed");
        return shared;
    }

    /// Runs `work` on the engine's object without the interpreter's lock, one such call at a time.
    template <typename Work>
    auto alone(Work work) {
        const std::shared_ptr<void> used = get();
        const pybind11::gil_scoped_release released;
        const std::lock_guard<std::mutex> lock(turn);
        return work(used.get());
    }

private:
    std::shared_ptr<void> shared;
    std::mutex turn;
};

} // namespace sorvane::python
