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

// Frame of a hierarchy record with no user properties: ID, props count (not headered) or ID,
// Header, ID, props count, extra-data block (headered).
ByteBuilder& Frame(ByteBuilder& b, uint8_t id, bool headered, bool withExtra = true) {
    if (!headered) return b.U8(id).U16(0);
    b.U8(id).I64(11).U8(id).U16(0);
    if (withExtra) b.EmptyExtra();
    return b;
}

// A record with no pins, nets or title blocks, holding `children` (already built) records.
void Record(ByteBuilder& b, bool headered, int32_t recordId, const std::string& impl, const std::string& ref,
            uint16_t childCount, const Bytes& children) {
    Frame(b, 0x42, headered);
    b.I32(recordId).I32(recordId + 1000);
    if (headered) b.Zeros(9);
    b.Str(impl).Str(ref).U16(7);
    if (headered) b.U16(0);
    b.U16(0).U16(0).U16(0);
    if (headered) b.I32(0).EmptyExtra();
    b.U16(childCount).Raw(children);
}

std::unique_ptr<TDboHierarchy> LoadHierarchy(TDboBaseDesign& design, const Bytes& bytes, uint64_t* left = nullptr) {
    auto h = Make<TDboHierarchy>(&design);
    auto s = test::MemStream(bytes);
    h->Load(*s);
    if (left) *left = s->Remaining();
    return h;
}

// Records nested `depth` deep below a top record list of one, not headered.
Bytes NestedStream(int depth) {
    Bytes inner;
    for (int i = depth; i >= 1; --i) {
        ByteBuilder r;
        Record(r, false, i, "V", "X" + std::to_string(i), inner.empty() ? 0 : 1, inner);
        inner = r.b;
    }
    ByteBuilder b;
    b.Str("TOP").Str("TOPREF").Zeros(2).U16(0).U16(0).U16(0).U16(1).Raw(inner);
    return b.b;
}

}  // namespace

TEST(HierarchyStream, NotHeaderedLayout) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder b;
    b.Str("ROOT").Str("ROOTREF").Raw({0xAB, 0xCD});
    // Pins: one by name (ArrayIndex -1), one by order (ArrayIndex 0).
    b.U16(2);
    Frame(b, 0x44, false).I32(-1).Str("CLK");
    Frame(b, 0x44, false).I32(0).U16(3);
    // A net whose user properties hold one pair of Words.
    b.U16(1).U8(0x43).U16(1).U16(5).U16(6).I32(0x25D08).Str("N25329410");
    // A title block.
    b.U16(1);
    Frame(b, 0x45, false).I32(77).I32(580);
    // One record holding a pin and one record below it.
    ByteBuilder child;
    Record(child, false, 2, "SUB", "U2", 0, {});
    b.U16(1);
    Frame(b, 0x42, false).I32(1).I32(99).Str("BLOCK").Str("U1").U16(4);
    b.U16(1);
    Frame(b, 0x44, false).I32(-1).Str("IN");
    b.U16(0).U16(0).U16(1).Raw(child.b);

    uint64_t left = 1;
    auto h = LoadHierarchy(*d, b.b, &left);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(h->ImplementationName, "ROOT");
    EXPECT_EQ(h->PartReference, "ROOTREF");
    EXPECT_EQ(h->UnknownB2[0], 0xAB);
    EXPECT_EQ(h->UnknownB2[1], 0xCD);

    ASSERT_EQ(h->Pins.Count(), 2);
    EXPECT_EQ(h->GetPins(0)->ArrayIndex, -1);
    EXPECT_EQ(h->GetPins(0)->PortName, "CLK");
    EXPECT_EQ(h->GetPins(0)->Order, 0);
    EXPECT_EQ(h->GetPins(0)->ID, 0x44);
    EXPECT_EQ(h->GetPins(1)->ArrayIndex, 0);
    EXPECT_EQ(h->GetPins(1)->Order, 3);
    EXPECT_EQ(h->GetPins(1)->PortName, "");

    ASSERT_EQ(h->Nets.Count(), 1);
    EXPECT_EQ(h->GetNets(0)->NetID, 0x25D08);
    EXPECT_EQ(h->GetNets(0)->NetName, "N25329410");
    ASSERT_EQ(h->GetNets(0)->Props.Count(), 1);
    EXPECT_EQ(h->GetNets(0)->Props.GetProperties(0)->NameIdx, 5);
    EXPECT_EQ(h->GetNets(0)->Props.GetProperties(0)->ValueIdx, 6);

    ASSERT_EQ(h->TitleBlocks.Count(), 1);
    EXPECT_EQ(h->GetTitleBlocks(0)->TitleBlockID, 77);
    EXPECT_EQ(h->GetTitleBlocks(0)->SearchIndex, 580);

    ASSERT_EQ(h->Records.Count(), 1);
    TDboHierarchyRecord* r = h->GetRecords(0);
    EXPECT_EQ(r->RecordID, 1);
    EXPECT_EQ(r->SearchIndex, 99);
    EXPECT_EQ(r->ImplementationName, "BLOCK");
    EXPECT_EQ(r->PartReference, "U1");
    EXPECT_EQ(r->PartIDIndex, 4);
    ASSERT_EQ(r->Pins.Count(), 1);
    EXPECT_EQ(r->GetPins(0)->PortName, "IN");
    ASSERT_EQ(r->Records.Count(), 1);
    EXPECT_EQ(r->GetRecords(0)->ImplementationName, "SUB");
    EXPECT_EQ(r->GetRecords(0)->PartReference, "U2");
    EXPECT_EQ(r->GetRecords(0)->SearchIndex, 1002);

    // Nothing of the hierarchy is ever written.
    EXPECT_TRUE(test::SaveBytes(*h).empty());
}

TEST(HierarchyStream, HeaderedLayout) {
    auto d = test::DesignOfVersion(test::kV2_3);
    ByteBuilder b;
    b.Raw({0x42, 0xDA, 0x02, 0, 0, 0, 0, 0, 0}).Str("SCHEMATIC1").Raw({1, 2, 3, 4, 5, 6, 7});
    b.U16(0);  // no pins
    // A net with an Int pair in its user properties and no extra-data mask.
    b.U16(1).U8(0x43).I64(21).U8(0x43).U16(1).I32(0x10005).I32(6).I32(0x96).Str("GND");
    b.U16(1);
    Frame(b, 0x45, true).I32(12).I32(34);
    // Two unknown blocks: a mask preceded by junk that SkipTo passes over, then two Ints each.
    b.I32(2);
    b.Raw({0x11, 0x22}).Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0}).I32(-1).I32(-2);
    b.Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0}).I32(-3).I32(-4);
    // An extra-data block with two bytes.
    b.Mask().I32(2).Raw({0xEE, 0xEF});
    // One record: UnkCount 0 and no extra-data mask, then no children.
    b.U16(1);
    Frame(b, 0x42, true, false).I32(5).I32(6).Raw({9, 9, 9, 9, 9, 9, 9, 9, 9}).Str("PWR").Str("P1").U16(2).U16(0xBEEF);
    b.U16(1);
    Frame(b, 0x44, true).I32(0).U16(8);
    b.U16(0).U16(0).I32(0).U16(0);

    uint64_t left = 1;
    auto h = LoadHierarchy(*d, b.b, &left);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(h->UnknownB9[0], 0x42);
    EXPECT_EQ(h->UnknownB9[1], 0xDA);
    EXPECT_EQ(h->ImplementationName, "SCHEMATIC1");
    EXPECT_EQ(h->PartReference, "SCHEMATIC1");
    EXPECT_EQ(h->UnknownB7[6], 7);
    EXPECT_EQ(h->Pins.Count(), 0);
    ASSERT_EQ(h->Nets.Count(), 1);
    EXPECT_EQ(h->GetNets(0)->NetID, 0x96);
    EXPECT_EQ(h->GetNets(0)->NetName, "GND");
    EXPECT_EQ(h->GetNets(0)->Header, 21);
    ASSERT_EQ(h->GetNets(0)->Props.Count(), 1);
    EXPECT_EQ(h->GetNets(0)->Props.GetProperties(0)->NameIdx, 0x10005);
    ASSERT_EQ(h->TitleBlocks.Count(), 1);
    EXPECT_EQ(h->GetTitleBlocks(0)->SearchIndex, 34);
    EXPECT_EQ(h->ExtraData, (Bytes{0xEE, 0xEF}));
    ASSERT_EQ(h->Records.Count(), 1);
    TDboHierarchyRecord* r = h->GetRecords(0);
    EXPECT_EQ(r->RecordID, 5);
    EXPECT_EQ(r->UnknownB9[8], 9);
    EXPECT_EQ(r->ImplementationName, "PWR");
    EXPECT_EQ(r->PartReference, "P1");
    EXPECT_EQ(r->PartIDIndex, 2);
    EXPECT_EQ(r->UnknownW, 0xBEEF);
    ASSERT_EQ(r->Pins.Count(), 1);
    EXPECT_EQ(r->GetPins(0)->Order, 8);
    EXPECT_TRUE(r->ExtraData.empty());
}

TEST(HierarchyStream, DamagedStreamsRaise) {
    auto d = test::DesignOfVersion(test::kV1_2);

    // Deep but plausible nesting loads; nesting past the limit raises a clear error.
    auto deep = LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth));
    TDboHierarchyRecord* r = deep->GetRecords(0);
    int depth = 1;
    while (r->Records.Count() == 1) {
        r = r->GetRecords(0);
        ++depth;
    }
    EXPECT_EQ(depth, kMaxHierarchyDepth);
    EXPECT_EQ(r->PartReference, "X" + std::to_string(kMaxHierarchyDepth));
    try {
        LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth + 1));
        ADD_FAILURE() << "nesting past the limit was accepted";
    } catch (const Exception& e) {
        EXPECT_NE(std::string(e.what()).find("nest deeper than"), std::string::npos) << e.what();
    }
    // The depth count is back at zero after the failure: the same deep stream loads again.
    EXPECT_NO_THROW(LoadHierarchy(*d, NestedStream(kMaxHierarchyDepth)));

    // A stream cut short anywhere raises the read error, never more.
    Bytes whole = NestedStream(3);
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        Bytes part(whole.begin(), whole.begin() + static_cast<long>(cut));
        EXPECT_THROW(LoadHierarchy(*d, part), EDboFileIO) << "cut at " << cut;
    }

    // A headered "_UnkCount" that promises a block the stream hasn't got ends at the stream's end.
    auto h2 = test::DesignOfVersion(test::kV2_3);
    ByteBuilder b;
    b.Zeros(9).Str("V").Zeros(7).U16(0).U16(0).U16(0).I32(0x7FFFFFFF).Zeros(40);
    EXPECT_THROW(LoadHierarchy(*h2, b.b), EDboFileIO);
}

TEST(HierarchyStream, EveryCorpusStreamLoadsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    int streams = 0, records = 0;
    for (const auto& file : test::CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        TDboBaseDesign design;
        OpenRootStorage(file.string(), design.Storage);
        {
            std::unique_ptr<TDboIStream> lib;
            design.Storage->OpenStreamSafe("Library", lib);
            design.Lib->Load(*lib);
        }
        std::unique_ptr<TDboIStorage> views;
        design.Storage->OpenStorageSafe("Views", views);
        for (const auto& entry : views->Platform().List()) {
            if (!entry.isStorage) continue;
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
