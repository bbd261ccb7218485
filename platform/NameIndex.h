// A hash index of names held elsewhere (a list, a directory): it stores positions only and asks
// the caller for the name at a position, so building it copies no text. The first position added
// for a name is the one found, as a search from the start of the list would find it. With
// kFolded, names that differ only in the case of the letters a to z are the same name.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/TextCompare.h"

namespace orcadx::platform {

template <bool kFolded>
class NameIndex {
public:
    // Adds `position`, whose name nameOf(position) gives, unless an equal name is in already.
    template <class NameOf>
    void Add(uint32_t position, NameOf&& nameOf) {
        if ((count_ + 1) * 2 > slots_.size()) Grow();
        std::string_view name = nameOf(position);
        const uint32_t hash = Hash(name);
        for (size_t at = hash & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1)) {
            Slot& slot = slots_[at];
            if (slot.position == 0) {
                slot = {hash, position + 1};
                ++count_;
                return;
            }
            if (slot.hash == hash && Same(nameOf(slot.position - 1), name)) return;
        }
    }
    // The position of `name`, or -1.
    template <class NameOf>
    int64_t Find(std::string_view name, NameOf&& nameOf) const {
        if (slots_.empty()) return -1;
        const uint32_t hash = Hash(name);
        for (size_t at = hash & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1)) {
            const Slot& slot = slots_[at];
            if (slot.position == 0) return -1;
            if (slot.hash == hash && Same(nameOf(slot.position - 1), name)) return slot.position - 1;
        }
    }
    void Clear() {
        slots_.clear();
        count_ = 0;
    }

private:
    // Each slot keeps the hash of its name beside the position: a probe compares names only when
    // the hashes agree, and growing the table reads no name. In a large directory the names lie
    // all over memory, and reading one per probe cost more than the rest of a lookup.
    struct Slot {
        uint32_t hash = 0;
        uint32_t position = 0;  // position + 1; 0 is empty
    };

    static bool Same(std::string_view a, std::string_view b) { return kFolded ? SameTextNoCase(a, b) : a == b; }
    static uint32_t Hash(std::string_view s) {
        uint64_t h = 1469598103934665603ull;  // FNV-1a
        for (char c : s) {
            h ^= static_cast<unsigned char>(kFolded ? FoldUpper(c) : c);
            h *= 1099511628211ull;
        }
        h ^= h >> 29;
        return static_cast<uint32_t>(h ^ (h >> 32));
    }
    void Grow() {
        std::vector<Slot> old;
        old.swap(slots_);
        slots_.assign(old.empty() ? 16 : old.size() * 2, Slot{});
        const size_t mask = slots_.size() - 1;
        // The names in the table are distinct already: each goes to the first free slot.
        for (const Slot& slot : old) {
            if (slot.position == 0) continue;
            size_t at = slot.hash & mask;
            while (slots_[at].position != 0) at = (at + 1) & mask;
            slots_[at] = slot;
        }
    }

    std::vector<Slot> slots_;
    size_t count_ = 0;
};

}  // namespace orcadx::platform
