#pragma once

#include <climits>
#include <cstdlib>

#include "vlib/error.h"

namespace vlib {

/// Allocates a list or table with room for `capacity` items; all else in it is zero.
/// @param items  the member that holds the array
/// @return null, with the platform's error, when memory is short or `capacity` is below 1
template <typename Container, typename Item>
Container* AllocContainer(int capacity, Item* Container::*items) {
    if (capacity < 1) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    const auto container = static_cast<Container*>(std::calloc(1, sizeof(Container)));
    const auto room = static_cast<Item*>(std::malloc(static_cast<size_t>(capacity) * sizeof(Item)));
    if (container == nullptr || room == nullptr) {
        std::free(container);
        std::free(room);
        VLIBCErrSet(VLIB_ERR_NO_MEMORY);
        return nullptr;
    }
    container->capacity = capacity;
    container->*items = room;
    return container;
}

/// Makes room for one more item, by doubling.
/// @return false when memory is short; nothing has changed then
template <typename Container, typename Item>
bool MakeRoom(Container* container, Item* Container::*items) {
    if (container->count < container->capacity) {
        return true;
    }
    if (container->capacity > INT_MAX / 4) {
        return false;
    }
    const auto capacity = static_cast<size_t>(container->capacity) * 2;
    const auto room = static_cast<Item*>(std::realloc(container->*items, capacity * sizeof(Item)));
    if (room == nullptr) {
        return false;
    }
    container->capacity = static_cast<int>(capacity);
    container->*items = room;
    return true;
}

}  // namespace vlib
