#pragma once

#include "support/bounded_list.h"

#include <cstddef>
#include <list>

namespace sorvane {

/// First in, first out, in nodes that are used again, so that a steady stream allocates none. Keeps
/// as many as were needed at once, up to 32,768. An element that was removed leaves its capacity
/// (of a shape, say) to the one that comes into its node. Copies and assignments take the elements
/// alone. Threads: one at a time.
template <typename T>
class RecycledList {
public:
    using const_iterator = typename std::list<T>::const_iterator;

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
    void push_back(const T& value, std::size_t maximum) {
        requireRoom(items.size(), maximum);
        if (spares.empty())
            spares.emplace_back();
        spares.front() = value;
        items.splice(items.end(), spares, spares.begin());
    }

    /// Removes the oldest element.
    void pop_front() { remove(items.begin()); }

    /// Removes an element and returns it.
    T take(const_iterator position) {
        T value = *position;
        remove(position);
        return value;
    }
    T take_front() { return take(items.begin()); }

    void clear() {
        while (!items.empty())
            pop_front();
    }

    [[nodiscard]] const T& front() const { return items.front(); }
    [[nodiscard]] bool empty() const { return items.empty(); }
    [[nodiscard]] std::size_t size() const { return items.size(); }
    [[nodiscard]] const_iterator begin() const { return items.begin(); }
    [[nodiscard]] const_iterator end() const { return items.end(); }

private:
    void remove(const_iterator position) {
        if (spares.size() == maxSpares) {
            items.erase(position);
            return;
        }
        spares.splice(spares.begin(), items, position);
        const T none{};
        spares.front() = none; // a copy: a move would take the capacity away
    }

    static constexpr std::size_t maxSpares = 32768;
    std::list<T> items; // oldest first
    std::list<T> spares;
};

} // namespace sorvane
