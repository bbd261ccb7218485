// The stream "Hierarchy": records built byte by byte in both layouts, damaged streams, and every
// hierarchy stream of the sample designs.
#include <gtest/gtest.h>

#include <string>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboLib.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

// Frame of a hierarchy record with no user properties; the headered form may leave out the
// extra-data mask.
ByteBuilder& Frame(ByteBuilder& b, uint8_t id, bool headered, bool withExtra = true) {
    if (!headered) return b.U8(id).U16(0);
    b.U8(id).I64(11).U8(id).U16(0);
    return withExtra ? b.EmptyExtra() : b;
}

std::unique_ptr<TDboHierarchy> LoadHierarchy(TDboBaseDesign& design, const Bytes& bytes, uint64_t* left = nullptr) {
    auto h = Make<TDboHierarchy>(&design);
    auto s = test::MemStream(bytes);
    h->Load(*s);
    if (left) *left = s->Remaining();
    return h;
}

// A stream, not headered, whose single top record holds one record, and so on `depth` deep.
Bytes NestedStream(int depth) {
    Bytes inner;
    for (int i = depth; i >= 1; --i) {
        ByteBuilder r;
        Frame(r, 0x42, false).I32(i).I32(0).Str("V").Str("X" + std::to_string(i)).U16(0);
        r.U16(0).U16(0).U16(0).U16(inner.empty() ? 0 : 1).Raw(inner);
        inner = r.b;
    }
    return ByteBuilder().Str("TOP").Str("REF").Zeros(2).U16(0).U16(0).U16(0).U16(1).Raw(inner).b;
}

}  // namespace

TEST(HierarchyStream, NotHeaderedLayout) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder b;
    b.Str("ROOT").Str("ROOTREF").Raw({0xAB, 0xCD});
    b.U16(2);  // pins: one by name (ArrayIndex -1), one by order (ArrayIndex 0)
    Frame(b, 0x44, false).I32(-1).Str("CLK");
    Frame(b, 0x44, false).I32(0).U16(3);
    b.U16(1).U8(0x43).U16(1).U16(5).U16(6).I32(0x25D08).Str("N25329410");  // a net with one Word pair
    b.U16(1);
    Frame(b, 0x45, false).I32(77).I32(580);
    b.U16(1);  // a record with a pin and one record below it
    Frame(b, 0x42, false).I32(1).I32(99).Str("BLOCK").Str("U1").U16(4).U16(1);
    Frame(b, 0x44, false).I32(-1).Str("IN");
    b.U16(0).U16(0).U16(1);
    Frame(b, 0x42, false).I32(2).I32(3).Str("SUB").Str("U2").U16(0).U16(0).U16(0).U16(0).U16(0);

    uint64_t left = 1;
    auto h = LoadHierarchy(*d, b.b, &left);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(h->PartReference, "ROOTREF");
    EXPECT_EQ(h->UnknownB2[1], 0xCD);
    ASSERT_EQ(h->Pins.Count(), 2);
    EXPECT_EQ(h->GetPins(0)->PortName, "CLK");
    EXPECT_EQ(h->GetPins(0)->Order, 0);
    EXPECT_EQ(h->GetPins(1)->Order, 3);
    EXPECT_EQ(h->GetPins(1)->PortName, "");
    EXPECT_EQ(h->GetNets(0)->NetName, "N25329410");
    EXPECT_EQ(h->GetNets(0)->Props.GetProperties(0)->ValueIdx, 6);
    EXPECT_EQ(h->GetTitleBlocks(0)->SearchIndex, 580);
    TDboHierarchyRecord* r = h->GetRecords(0);
    EXPECT_EQ(r->SearchIndex, 99);
    EXPECT_EQ(r->PartReference, "U1");
    EXPECT_EQ(r->PartIDIndex, 4);
    EXPECT_EQ(r->GetPins(0)->PortName, "IN");
    EXPECT_EQ(r->GetRecords(0)->ImplementationName, "SUB");
    // Nothing of the hierarchy is ever written.
    EXPECT_TRUE(test::SaveBytes(*h).empty());
}

TEST(HierarchyStream, HeaderedLayout) {
    auto d = test::DesignOfVersion(test::kV2_3);
    ByteBuilder b;
    b.Raw({0x42, 0xDA, 2, 0, 0, 0, 0, 0, 0}).Str("SCHEMATIC1").Raw({1, 2, 3, 4, 5, 6, 7});
    b.U16(0);
    // A net with an Int pair and no extra-data mask.
    b.U16(1).U8(0x43).I64(21).U8(0x43).U16(1).I32(0x10005).I32(6).I32(0x96).Str("GND");
    b.U16(0);
    // Two unknown blocks, the first behind junk that the skip passes over; then extra data.
    b.I32(2).Raw({0x11, 0x22}).Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0}).I32(-1).I32(-2);
    b.Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0}).I32(-3).I32(-4);
    b.Mask().I32(2).Raw({0xEE, 0xEF});
    // One record: "UnkCount" 0 and no extra-data mask.
    b.U16(1);
    Frame(b, 0x42, true, false).I32(5).I32(6).Zeros(9).Str("PWR").Str("P1").U16(2).U16(0xBEEF).U16(1);
    Frame(b, 0x44, true).I32(0).U16(8);
    b.U16(0).U16(0).I32(0).U16(0);

    uint64_t left = 1;
    auto h = LoadHierarchy(*d, b.b, &left);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(h->UnknownB9[1], 0xDA);
    EXPECT_EQ(h->ImplementationName, "SCHEMATIC1");
    EXPECT_EQ(h->PartReference, "SCHEMATIC1");
    EXPECT_EQ(h->UnknownB7[6], 7);
    EXPECT_EQ(h->GetNets(0)->NetName, "GND");
    EXPECT_EQ(h->GetNets(0)->Props.GetProperties(0)->NameIdx, 0x10005);
    EXPECT_EQ(h->ExtraData, (Bytes{0xEE, 0xEF}));
    TDboHierarchyRecord* r = h->GetRecords(0);
    EXPECT_EQ(r->PartReference, "P1");
    EXPECT_EQ(r->UnknownW, 0xBEEF);
    EXPECT_EQ(r->GetPins(0)->Order, 8);
}

TEST(HierarchyStream, DamagedStreamsRaise) {
    auto d = test::DesignOfVersion(test::kV1_2);
    // Nesting up to the limit loads; one level more raises, and the depth count recovers.
    auto deep = LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth));
    TDboHierarchyRecord* r = deep->GetRecords(0);
    while (r->Records.Count() == 1) r = r->GetRecords(0);
    EXPECT_EQ(r->PartReference, "X" + std::to_string(kMaxHierarchyDepth));
    try {
        LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth + 1));
        ADD_FAILURE() << "nesting past the limit was accepted";
    } catch (const Exception& e) {
        EXPECT_NE(std::string(e.what()).find("nest deeper than"), std::string::npos) << e.what();
    }
    EXPECT_NO_THROW(LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth)));

    // A stream cut short anywhere raises the read error.
    Bytes whole = NestedStream(3);
    for (size_t cut = 0; cut < whole.size(); ++cut)
        EXPECT_THROW(LoadHierarchy(*d, Bytes(whole.begin(), whole.begin() + static_cast<long>(cut))), EDboFileIO)
            << "cut at " << cut;

    // A huge "_UnkCount" ends at the end of the stream.
    auto h = test::DesignOfVersion(test::kV2_3);
    EXPECT_THROW(LoadHierarchy(*h, ByteBuilder().Zeros(9).Str("V").Zeros(13).I32(0x7FFFFFFF).Zeros(40).b), EDboFileIO);
}

TEST(HierarchyStream, EveryCorpusStreamLoadsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    int streams = 0, records = 0;
    for (const auto& file : test::CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        TDboBaseDesign design;
        OpenRootStorage(file.string(), design.Storage);
        std::unique_ptr<TDboIStream> lib;
        design.Storage->OpenStreamSafe("Library", lib);
        design.Lib->Load(*lib);
        std::unique_ptr<TDboIStorage> views;
        design.Storage->OpenStorageSafe("Views", views);
        for (const auto& entry : views->Platform().List()) {
            std::unique_ptr<TDboIStorage> view, hierStorage;
            views->OpenStorageSafe(UnescapeStorageName(entry.name), view);
            if (!view->ExistStorage("Hierarchy")) continue;
            view->OpenStorageSafe("Hierarchy", hierStorage);
            std::unique_ptr<TDboIStream> s;
            hierStorage->OpenStreamSafe("Hierarchy", s);
            auto h = Make<TDboHierarchy>(&design);
            ASSERT_NO_THROW(h->Load(*s)) << entry.name;
            EXPECT_EQ(s->Remaining(), 0u) << entry.name;
            // The top of the tree is the view itself.
            EXPECT_EQ(h->ImplementationName, UnescapeStorageName(entry.name));
            if (InVersionSet(design.Version, VersionSet::Headered)) {
                EXPECT_EQ(h->PartReference, h->ImplementationName);
            }
            ++streams;
            records += h->Records.Count();
        }
    }
    EXPECT_GT(streams, 30);
    EXPECT_GT(records, 0);
}
