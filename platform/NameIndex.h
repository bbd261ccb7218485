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
        if ((count_ + 1) * 2 > slots_.size()) Grow(nameOf);
        std::string_view name = nameOf(position);
        for (size_t at = Hash(name) & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1)) {
            if (slots_[at] == 0) {
                slots_[at] = position + 1;
                ++count_;
                return;
            }
            if (Same(nameOf(slots_[at] - 1), name)) return;
        }
    }
    // The position of `name`, or -1.
    template <class NameOf>
    int64_t Find(std::string_view name, NameOf&& nameOf) const {
        if (slots_.empty()) return -1;
        for (size_t at = Hash(name) & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1)) {
            if (slots_[at] == 0) return -1;
            if (Same(nameOf(slots_[at] - 1), name)) return slots_[at] - 1;
        }
    }
    void Clear() {
        slots_.clear();
        count_ = 0;
    }

private:
    static bool Same(std::string_view a, std::string_view b) { return kFolded ? SameTextNoCase(a, b) : a == b; }
    static uint64_t Hash(std::string_view s) {
        uint64_t h = 1469598103934665603ull;  // FNV-1a
        for (char c : s) {
            h ^= static_cast<unsigned char>(kFolded ? FoldUpper(c) : c);
            h *= 1099511628211ull;
        }
        return h ^ (h >> 29);
    }
    template <class NameOf>
    void Grow(NameOf& nameOf) {
        std::vector<uint32_t> old;
        old.swap(slots_);
        slots_.assign(old.empty() ? 16 : old.size() * 2, 0);
        count_ = 0;
        for (uint32_t slot : old)
            if (slot) Add(slot - 1, nameOf);
    }

    std::vector<uint32_t> slots_;  // position + 1; 0 is empty
    size_t count_ = 0;
};

}  // namespace orcadx::platform
