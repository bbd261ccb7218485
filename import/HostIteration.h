// Walking the objects of a host container into a list, so that the caller may change the container
// afterwards (the host forbids changes while an iterator walks it).
#pragma once

#include <cstdint>
#include <vector>

#include "host/SchInterfaces.h"

namespace orcadx::importer {

// The objects of the given kinds (mode 0: direct children, 2: everything held) that support T.
template <class T>
std::vector<T*> CollectObjects(host::ISch_BasicContainer* container, const host::ObjectSet& kinds,
                               int32_t mode = host::eIterateFirstLevel) {
    std::vector<T*> out;
    if (!container) return out;
    auto iterator = container->SchIterator_Create(kinds, mode);
    if (!iterator) return out;
    for (host::ISch_BasicContainer* o = iterator->FirstSchObject(); o; o = iterator->NextSchObject())
        if (T* typed = dynamic_cast<T*>(o)) out.push_back(typed);
    return out;
}

}  // namespace orcadx::importer
