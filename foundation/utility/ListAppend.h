#pragma once

#include "foundation/containers/List.h"

#include <memory>
#include <new>

namespace alidade {

/// Appends an item to a list that owns its items.
/// @throws std::bad_alloc when the list cannot take it; the item is then destroyed
template <class T>
T& Append(TList<T, int, int>& list, std::unique_ptr<T> item)
{
    if (list.Insert(item.get()) < 0) {
        throw std::bad_alloc();
    }
    return *item.release();
}

} // namespace alidade
