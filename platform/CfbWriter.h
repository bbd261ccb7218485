// Writing a compound file: a tree of storages and streams laid out as a version 3 file (512-byte
// sectors), with every storage's children in a balanced red-black tree. The layout itself takes
// directory entries with their links as given, so that tests can also write the odd directories
// that no writer makes (long sibling chains, loops, deep nesting).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/CfbFormat.h"

namespace orcadx::platform::cfb {

// One directory entry as it is laid out; entry 0 is the root.
struct RawEntry {
    std::u16string name;
    uint8_t type = kTypeStream;
    uint8_t color = 1;  // 0 red, 1 black
    uint32_t left = kNoEntry, right = kNoEntry, child = kNoEntry;
    const std::vector<uint8_t>* data = nullptr;  // a stream's bytes; null for none
};

// The bytes of a version 3 compound file holding `entries` with their links as given. Streams
// below 4096 bytes go to the mini stream.
std::vector<uint8_t> LayoutFile(const std::vector<RawEntry>& entries);

// A storage or stream of a file being written.
struct Node {
    std::string name;  // UTF-8
    bool isStorage = false;
    std::vector<uint8_t> data;
    std::vector<std::shared_ptr<Node>> children;  // in creation order

    // The child whose name equals `name` with the letters a to z folded; null if none.
    std::shared_ptr<Node> Find(const std::string& name) const;
    // Adds `child`, replacing a child of the same name (case folded) in its place.
    void Put(std::shared_ptr<Node> child);

private:
    std::unordered_map<std::string, size_t> index_;  // folded name -> position in children
};

// The bytes of a compound file holding the tree below `root` (whose own name is not stored).
std::vector<uint8_t> LayoutTree(const Node& root);

}  // namespace orcadx::platform::cfb
