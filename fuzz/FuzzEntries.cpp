#include "fuzz/FuzzEntries.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <streambuf>

#include "dbo/AsciiWriter.h"
#include "dbo/DboCacheObjects.h"
#include "dbo/DboDesign.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "platform/CompoundFile.h"

namespace orcadx::fuzz {

using namespace orcadx::dbo;

const uint32_t kFuzzVersions[7] = {0x00000001, 0x00010001, 0x00000002, 0x00010002,
                                   0x00020003, 0x00030003, 0x00040004};

namespace {

// An output stream that drops everything, for the text dump.
class NullBuffer : public std::streambuf {
protected:
    int overflow(int c) override { return c == traits_type::eof() ? 0 : c; }
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void Dump(TDboStorableObject& object) {
    NullBuffer buffer;
    std::ostream out(&buffer);
    TAsciiWriter writer(out);
    object.WriteAscii(writer);
}

template <class Fn>
LoadResult Run(Fn&& fn) {
    LoadResult result;
    try {
        fn();
        result.loaded = true;
    } catch (const Exception& e) {
        result.message = e.what();
        // A refusal that says nothing is a fault of its own: nobody could tell what failed.
        if (result.message.empty()) throw std::logic_error("load failed with an empty message");
    }
    return result;
}

}  // namespace

LoadResult LoadDesignImage(const uint8_t* data, size_t size) {
    int components = 0, pages = 0, views = 0;
    LoadResult result = Run([&] {
        TDboDesign design("fuzz.DSN", nullptr, 100, nullptr);
        design.MemoryImage.assign(data, data + size);
        design.Load(false);
        components = design.ComponentCount();
        pages = design.PageCount();
        views = design.ViewCount();
    });
    result.components = components;
    result.pages = pages;
    result.views = views;
    return result;
}

LoadResult LoadRecordStream(const uint8_t* data, size_t size) {
    uint8_t kindByte = 0, versionByte = 0, symbolId = 0;
    std::vector<uint8_t> bytes;
    if (size >= kRecordPrefixSize) {
        kindByte = data[0];
        versionByte = data[1];
        symbolId = data[2];
        bytes.assign(data + kRecordPrefixSize, data + size);
    }
    auto kind = static_cast<RecordKind>(kindByte % static_cast<uint8_t>(RecordKind::Count));
    uint32_t version = kFuzzVersions[versionByte % 7];

    return Run([&] {
        TDboDesign design(kind == RecordKind::Component || kind == RecordKind::Symbol ? "fuzz.OLB" : "fuzz.DSN",
                          nullptr, 100, nullptr);
        design.Version = version;
        TDboIStream stream(platform::CfbStream::CreateMemory("fuzz", std::move(bytes)));
        switch (kind) {
            case RecordKind::Library:
                design.Lib->Load(stream);
                Dump(*design.Lib);
                break;
            case RecordKind::Cache: {
                auto cache = Make<TDboCache>(&design);
                cache->Load(stream);
                Dump(*cache);
                // What a design makes of its cache: every part information with its packages.
                for (int i = 0; i < cache->CachePartInfos.Count(); ++i) {
                    TDboCacheItem* item = cache->CachePartInfos.GetCacheItems(i);
                    for (int j = 0; j < item->Elements.Count(); ++j) {
                        auto* element = item->Elements.As<TDboCachePartInfo>(j);
                        if (!element || !element->PartInfo) continue;
                        auto component = Make<TDboLibComponent>(&design);
                        cache->GetPackagesForComponent(*element, *component);
                    }
                }
                break;
            }
            case RecordKind::Page: {
                auto page = Make<TDboPage>(&design);
                page->Load(stream);
                Dump(*page);
                break;
            }
            case RecordKind::Schematics: {
                auto view = Make<TDboSchematics>(&design, nullptr);
                view->Load(stream);
                Dump(*view);
                break;
            }
            case RecordKind::Hierarchy: {
                auto hierarchy = Make<TDboHierarchy>(&design);
                hierarchy->Load(stream);
                Dump(*hierarchy);
                break;
            }
            case RecordKind::Component: {
                auto component = Make<TDboLibComponent>(&design);
                component->Load(stream);
                Dump(*component);
                break;
            }
            case RecordKind::Symbol: {
                auto symbol = CreateSymbol(&design, symbolId);
                if (!symbol) break;
                symbol->Load(stream);
                Dump(*symbol);
                break;
            }
            case RecordKind::PackagesDirectory:
                design.PkgDir->Load(stream);
                Dump(*design.PkgDir);
                break;
            case RecordKind::SymbolsDirectory:
                design.SymbolDir->Load(stream);
                Dump(*design.SymbolDir);
                break;
            case RecordKind::ViewsDirectory:
                // Without an open file an entry stops once it has read its own fields.
                design.Views->Load(stream);
                break;
            case RecordKind::Count: break;
        }
    });
}

std::vector<uint8_t> RecordInput(RecordKind kind, uint32_t version, uint8_t symbolId,
                                 const std::vector<uint8_t>& stream) {
    uint8_t versionIndex = 6;
    for (uint8_t i = 0; i < 7; ++i)
        if (kFuzzVersions[i] == version) versionIndex = i;
    std::vector<uint8_t> out(kRecordPrefixSize + stream.size());
    out[0] = static_cast<uint8_t>(kind);
    out[1] = versionIndex;
    out[2] = symbolId;
    std::copy(stream.begin(), stream.end(), out.begin() + kRecordPrefixSize);
    return out;
}

}  // namespace orcadx::fuzz
