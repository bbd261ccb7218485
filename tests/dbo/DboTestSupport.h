// Helpers for record tests: a design of a chosen version and streams held in memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboBaseDesign.h"
#include "dbo/DboFileIO.h"

namespace orcadx::test {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kV1_1 = 0x00010001;  // neither extended nor headered
constexpr uint32_t kV1_2 = 0x00010002;  // extended
constexpr uint32_t kV2_3 = 0x00020003;  // extended and headered
constexpr uint32_t kV3_3 = 0x00030003;  // extended and headered, the newest layout
constexpr uint32_t kV0_2 = 0x00000002;  // extended, not headered (the oldest sample files)

// The message of the exception of class E that `f` raises, or "no exception".
template <class E>
std::string MessageOf(const std::function<void()>& f) {
    try {
        f();
    } catch (const E& e) {
        return e.what();
    }
    return "no exception";
}

inline std::unique_ptr<dbo::TDboBaseDesign> DesignOfVersion(uint32_t version) {
    auto d = std::make_unique<dbo::TDboBaseDesign>();
    d->Version = version;
    return d;
}

// A stream in memory holding `bytes`, positioned at its start.
inline std::unique_ptr<dbo::TDboIStream> MemStream(const Bytes& bytes = {}) {
    return std::make_unique<dbo::TDboIStream>(platform::CfbStream::CreateMemory("test", bytes));
}

inline const Bytes& Contents(dbo::TDboIStream& s) { return s.Platform().Contents(); }

// Little-endian byte builders for expected records.
struct ByteBuilder {
    Bytes b;
    ByteBuilder& U8(uint8_t v) { b.push_back(v); return *this; }
    ByteBuilder& U16(uint16_t v) { U8(v & 0xFF); return U8(v >> 8); }
    ByteBuilder& I32(int32_t v) { uint32_t u = static_cast<uint32_t>(v); for (int i = 0; i < 4; ++i) U8((u >> (8 * i)) & 0xFF); return *this; }
    ByteBuilder& I64(int64_t v) { uint64_t u = static_cast<uint64_t>(v); for (int i = 0; i < 8; ++i) U8((u >> (8 * i)) & 0xFF); return *this; }
    ByteBuilder& Str(const std::string& s) { U16(static_cast<uint16_t>(s.size())); for (char c : s) U8(static_cast<uint8_t>(c)); return U8(0); }
    ByteBuilder& Raw(std::initializer_list<uint8_t> v) { b.insert(b.end(), v); return *this; }
    ByteBuilder& Raw(const Bytes& v) { b.insert(b.end(), v.begin(), v.end()); return *this; }
    ByteBuilder& Zeros(size_t n) { b.insert(b.end(), n, 0); return *this; }
    ByteBuilder& Mask() { return Raw({0xFF, 0xE4, 0x5C, 0x39}); }
    ByteBuilder& EmptyExtra() { return Mask().I32(0); }
};

// Saves `object` into a new memory stream and gives the bytes.
template <class T>
Bytes SaveBytes(T& object) {
    auto s = MemStream();
    object.Save(*s);
    return Contents(*s);
}

}  // namespace orcadx::test
