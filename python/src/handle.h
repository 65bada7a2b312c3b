#pragma once

#include <memory>
#include <mutex>
#include <pybind11/pybind11.h>

namespace sorvane::python {

/// Owns an object of the host layer on behalf of a Python object.
///
/// Its functions are called with the interpreter's lock held. Calls that overlap with a close still
/// have the object: the last one of them releases it.
template <typename Object>
class Handle {
public:
    explicit Handle(std::shared_ptr<Object> object) : shared(std::move(object)) {}

    /// Releases the object; again does nothing.
    void close() { shared.reset(); }

    [[nodiscard]] bool isClosed() const { return shared == nullptr; }

    /// The object, for calls that may run beside all others; ValueError when closed.
    [[nodiscard]] std::shared_ptr<Object> get() const {
        if (isClosed())
            throw pybind11::value_error("it is closed");
        return shared;
    }

    /// Runs `work` on the object without the interpreter's lock, one such call at a time.
    template <typename Work>
    auto alone(Work work) {
        const std::shared_ptr<Object> used = get();
        const pybind11::gil_scoped_release released;
        const std::lock_guard<std::mutex> lock(turn);
        return work(*used);
    }

private:
    std::shared_ptr<Object> shared;
    std::mutex turn;
};

} // namespace sorvane::python
