#pragma once

#include "support/bounded_list.h"

#include <cstddef>
#include <list>
#include <utility>

namespace sorvane {

/// First in, first out, in nodes that are used again: a steady stream allocates none, and a long one
/// that was worked off keeps 64. Copies and assignments take the elements alone. Threads: one at a time.
template <typename T>
class RecycledList {
public:
    RecycledList() = default;
    RecycledList(const RecycledList& other) : items(other.items) {}
    RecycledList(RecycledList&&) noexcept = default;
    RecycledList& operator=(const RecycledList& other) {
        items = other.items;
        return *this;
    }
    RecycledList& operator=(RecycledList&&) noexcept = default;
    ~RecycledList() = default;

    /// std::length_error "list too long", and nothing changes, when there are `maximum` elements.
    void push_back(T value, std::size_t maximum) {
        requireRoom(items.size(), maximum);
        if (spares.empty())
            spares.emplace_back();
        spares.front() = std::move(value);
        items.splice(items.end(), spares, spares.begin());
    }

    T pop_front() {
        T value = std::exchange(items.front(), T());
        if (spares.size() < maxSpares)
            spares.splice(spares.end(), items, items.begin());
        else
            items.pop_front();
        return value;
    }

    void clear() { items.clear(); }

    [[nodiscard]] const T& front() const { return items.front(); }
    [[nodiscard]] bool empty() const { return items.empty(); }
    [[nodiscard]] std::size_t size() const { return items.size(); }
    [[nodiscard]] auto begin() const { return items.begin(); }
    [[nodiscard]] auto end() const { return items.end(); }

private:
    static constexpr std::size_t maxSpares = 64;
    std::list<T> items; // oldest first
    std::list<T> spares;
};

} // namespace sorvane
