// Page records written out field by field from their tables, every field with a value of its own:
// a field read into another's place, or two fields written in each other's order, gives a wrong
// value or a wrong byte here. Without size headers each record also saves back to its bytes; with
// them (where a headered save isn't possible) the loaded values are checked.
#include <gtest/gtest.h>

#include <tuple>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

// Loads one object of class T from `bytes`, which it must take whole, and gives it.
template <class T>
std::unique_ptr<T> LoadAll(TDboBaseDesign& d, const Bytes& bytes) {
    auto s = test::MemStream(bytes);
    auto o = Make<T>(&d);
    o->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u) << o->ClassName() << " stopped short of its end";
    return o;
}

// The frame of a placed object without size headers: type code, then one user property.
ByteBuilder Plain(uint8_t id) { return ByteBuilder().U8(id).U16(1).U16(0x0A).U16(0x0B); }

// The frame with size headers, one user property and no extra data.
ByteBuilder Headered(uint8_t id, int records) {
    ByteBuilder b;
    for (int i = 0; i < records; ++i) b.U8(id).I64(100 - i);
    return b.U8(id).U16(1).I32(0x0A).I32(0x0B).EmptyExtra();
}

// One visible property (list of one) in a version 0x00010002 file, name index 0x0A: at (x, y),
// font 0x123 turned twice, colour word 0x0231, display format 2.
ByteBuilder& VisibleProps(ByteBuilder& b, int16_t x, int16_t y) {
    b.U16(1).U8(39).U16(0xFFFF).U16(0x0A).U16(static_cast<uint16_t>(x)).U16(static_cast<uint16_t>(y));
    return b.U16(0x8123).U16(0x0231).U16(2);
}

// The same in a headered file: an Int name index and the property's two size headers.
ByteBuilder& HeaderedVisibleProps(ByteBuilder& b, int16_t x, int16_t y) {
    b.U16(1).U8(39).I64(36).U8(39).I64(11).U8(39).U16(0xFFFF).EmptyExtra().I32(0x0A);
    return b.U16(static_cast<uint16_t>(x)).U16(static_cast<uint16_t>(y)).U16(0x8123).U16(0x0231).U16(2);
}

void ExpectProperties(const TDboBaseObject& o, int16_t x, int16_t y) {
    ASSERT_EQ(o.UserProps.Count(), 1);
    EXPECT_EQ(std::tuple(o.UserProps.GetProperties(0)->NameIdx, o.UserProps.GetProperties(0)->ValueIdx),
              std::tuple(0x0A, 0x0B));
    ASSERT_EQ(o.VisibleProps.Count(), 1);
    const TDboVisibleProp& vp = *o.VisibleProps.GetProps(0);
    EXPECT_EQ(std::tuple(vp.UserPropNameIdx, vp.LocationX, vp.LocationY, vp.FontID, vp.Rotation, vp.RotColMirr,
                         vp.DisplayFormat),
              std::tuple(0x0A, x, y, 0x123, 2, 0x0231, 2));
}

template <size_t N>
Bytes B(const std::array<uint8_t, N>& a) {
    return Bytes(a.begin(), a.end());
}

const test::Bytes k4 = {0xB1, 0xB2, 0xB3, 0xB4};
const test::Bytes k7 = {0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7};
const test::Bytes k12 = {0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xDB, 0xDC};
const test::Bytes k13 = {0x40, 0x01, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xEA, 0xEB, 0xEC, 0xED};

}  // namespace

TEST(RecordFields, WireWithAliasAndBusEntry) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder wire = Plain(20);
    wire.I32(0x1111).I32(0x2222).U16(0x0130).U16(0x0707).I32(11).I32(-12).I32(13).I32(14).U8(3);
    wire.U16(1).U8(49).U16(0xFFFF).I32(21).I32(-22).U16(0x0231).U16(0x0808).I32(0x0102).I32(7).Str("NET1");
    VisibleProps(wire, 31, -32);
    auto w = LoadAll<TDboWire>(*d, wire.b);
    EXPECT_EQ(std::tuple(w->NetName, w->ObjectID, w->RotColMirr, w->UnknownW, w->StartX, w->StartY, w->EndX, w->EndY,
                         w->Junction),
              std::tuple(0x1111, 0x2222, 0x0130, 0x0707, 11, -12, 13, 14, 3));
    ASSERT_EQ(w->Aliases.Count(), 1);
    const TDboWireAlias& a = *w->GetAliases(0);
    EXPECT_EQ(std::tuple(a.LocationX, a.LocationY, a.RotColMirr, a.UnknownW, a.Rot, a.FontID, a.Name),
              std::tuple(21, -22, 0x0231, 0x0808, 0x0102, 7, "NET1"));
    ExpectProperties(*w, 31, -32);
    EXPECT_EQ(test::SaveBytes(*w), wire.b);

    // With size headers the object id stands first and an Int, twice, ends the record.
    auto h = test::DesignOfVersion(test::kV3_3);
    ByteBuilder hwire = Headered(21, 2);
    hwire.I32(0x2222).I32(0x1111).U16(0x0130).U16(0x0707).I32(11).I32(-12).I32(13).I32(14).U8(3).U16(0);
    HeaderedVisibleProps(hwire, 31, -32).I32(0x99).I32(0x98);
    auto hw = LoadAll<TDboBus>(*h, hwire.b);
    EXPECT_EQ(std::tuple(hw->NetName, hw->ObjectID, hw->RotColMirr, hw->UnknownW, hw->StartX, hw->StartY, hw->EndX,
                         hw->EndY, hw->Junction, hw->UnknownInt),
              std::tuple(0x1111, 0x2222, 0x0130, 0x0707, 11, -12, 13, 14, 3, 0x98));
    ExpectProperties(*hw, 31, -32);

    ByteBuilder entry = Plain(29);
    entry.U16(0x0230).U16(0x0102).I32(41).I32(-42).I32(43).I32(44).U16(3).U16(4).U16(5).U16(6);
    auto e = LoadAll<TDboBusEntry>(*d, entry.b);
    EXPECT_EQ(std::tuple(e->RotColMirr, e->Unknown2, e->StartX, e->StartY, e->EndX, e->EndY, e->Unknown3, e->Unknown4,
                         e->Unknown5, e->Unknown6),
              std::tuple(0x0230, 0x0102, 41, -42, 43, 44, 3, 4, 5, 6));
    EXPECT_EQ(test::SaveBytes(*e), entry.b);
}

TEST(RecordFields, NetsInBothLayouts) {
    auto d = test::DesignOfVersion(test::kV1_2);
    Bytes plain = ByteBuilder().I32(0x51).Str("D[0..1]").U16(2).I32(0x61).I32(0x62).b;
    auto bus = LoadAll<TDboBusNet>(*d, plain);
    EXPECT_EQ(std::tuple(bus->NetID, bus->Name, bus->NetRefs.Count()), std::tuple(0x51, "D[0..1]", 2));
    EXPECT_EQ(test::SaveBytes(*bus), plain);

    auto h = test::DesignOfVersion(test::kV3_3);
    Bytes headered = ByteBuilder().U8(52).I64(9).I32(0x52).Str("A").I32(1).I32(2).I32(3).I32(4).b;
    auto net = LoadAll<TDboWireNet>(*h, headered);
    EXPECT_EQ(std::tuple(net->Header, net->NetID, net->Name, net->UnknownInt1, net->UnknownInt2, net->UnknownInt3,
                         net->UnknownInt4),
              std::tuple(9, 0x52, "A", 1, 2, 3, 4));
}

TEST(RecordFields, PowerObjectAndPortInBothLayouts) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder power = Plain(37);
    power.U16(0x21).U16(0x22).I32(0x1234).Str("VCC_ARROW").I32(0x31).I32(0x32).U16(41).U16(42).U16(43);
    power.U16(static_cast<uint16_t>(-44)).U16(0x0130).U16(0x0025);
    VisibleProps(power, 51, 52).I32(0x71).U16(0x72);
    auto p = LoadAll<TDboPower>(*d, power.b);
    EXPECT_EQ(std::tuple(p->PortNameIdx, p->SrcLibIdx, p->Unknown, p->SymName, p->Unknown1, p->Unknown2, p->Height,
                         p->Width, p->LocationX, p->LocationY, p->RotColMirr, p->ID2, p->Unknown3, p->Unknown4),
              std::tuple(0x21, 0x22, 0x1234, "VCC_ARROW", 0x31, 0x32, 41, 42, 43, -44, 0x0130, 0x0025, 0x71, 0x72));
    ExpectProperties(*p, 51, 52);
    EXPECT_EQ(p->VisibleProps.GetProps(0)->ValueIdx, 0x21);  // a port's texts show its name
    EXPECT_EQ(test::SaveBytes(*p), power.b);

    // Headered: Int indexes, no "Unknown"; a port adds its type.
    auto h = test::DesignOfVersion(test::kV3_3);
    ByteBuilder port = Headered(23, 3);
    port.I32(0x10021).I32(0x10022).Str("PORT").I32(0x31).I32(0x32).U16(41).U16(42).U16(43).U16(44).U16(0x0030);
    port.U16(0x0417);
    HeaderedVisibleProps(port, 51, 52).I32(0x71).U16(0x72).I32(5);
    auto pt = LoadAll<TDboPort>(*h, port.b);
    // A loaded port is drawn at one size and its place moves by its rotation (0: 10 up).
    EXPECT_EQ(std::tuple(pt->PortNameIdx, pt->SrcLibIdx, pt->SymName, pt->Unknown1, pt->Unknown2, pt->Height, pt->Width,
                         pt->LocationX, pt->LocationY, pt->RotColMirr, pt->ID2, pt->Unknown3, pt->Unknown4, pt->PortType),
              std::tuple(0x10021, 0x10022, "PORT", 0x31, 0x32, 20, 30, 43, 54, 0x0030, 0x0417, 0x71, 0x72, 5));
    ExpectProperties(*pt, 51, 52);
}

TEST(RecordFields, TitleBlockBookMarkAndDRCMark) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder tb = Plain(65);
    tb.U16(0x11).U16(0x12).I32(0x13).Str("TitleBlock0").I32(0x14).I32(0x15).U16(21).U16(22).U16(23).U16(24);
    tb.U16(0x0130).U16(0x0041);
    VisibleProps(tb, 25, 26).Raw(k13);
    auto t = LoadAll<TDboTitleBlock>(*d, tb.b);
    EXPECT_EQ(std::tuple(t->TBName, t->SrcLib, t->DesignModifyTime, t->SymName, t->SearchIndex, t->UnknownInt, t->Height,
                         t->Width, t->LocationX, t->LocationY, t->RotColMirr, t->ID_W),
              std::tuple(0x11, 0x12, 0x13, "TitleBlock0", 0x14, 0x15, 21, 22, 23, 24, 0x0130, 0x0041));
    EXPECT_EQ(B(t->UnknownB13), k13);
    ExpectProperties(*t, 25, 26);
    EXPECT_EQ(test::SaveBytes(*t), tb.b);

    ByteBuilder book = ByteBuilder().U8(78).U16(0x0F0E).U16(0x31).U16(0x32).Raw(k4).Str("BM1").Raw(k12);
    book.U16(41).U16(static_cast<uint16_t>(-42)).Raw(k7);
    auto bm = LoadAll<TDboBookMark>(*d, book.b);
    EXPECT_EQ(std::tuple(bm->UnknownW, bm->NameIdx, bm->FNameIdx, bm->TxtID, bm->LocX, bm->LocY),
              std::tuple(0x0F0E, 0x31, 0x32, "BM1", 41, -42));
    EXPECT_EQ(std::tuple(B(bm->UnknownB4), B(bm->UnknownB12), B(bm->UnknownB7)), std::tuple(k4, k12, k7));
    EXPECT_EQ(test::SaveBytes(*bm), book.b);

    ByteBuilder drc = Plain(77);
    drc.Raw({1, 2, 3, 4, 5, 6, 7, 8}).Str("ERC").Raw(k12).U16(51).U16(static_cast<uint16_t>(-52)).Raw(k7);
    drc.Str("WARNING").Str("U1").Str("pin 3");
    auto m = LoadAll<TDboDRCMark>(*d, drc.b);
    EXPECT_EQ(std::tuple(m->Name, m->LocX, m->LocY, m->Info1, m->Info2, m->Info3),
              std::tuple("ERC", 51, -52, "WARNING", "U1", "pin 3"));
    EXPECT_EQ(std::tuple(B(m->UnknownB8), B(m->UnknownB12), B(m->UnknownB7)),
              std::tuple(Bytes{1, 2, 3, 4, 5, 6, 7, 8}, k12, k7));
    EXPECT_EQ(test::SaveBytes(*m), drc.b);

    // Headered: everything up to the end-of-block mask is passed over.
    auto h = test::DesignOfVersion(test::kV3_3);
    ByteBuilder hbook = ByteBuilder().U8(78).U8(78).I64(40).U8(78).U16(0).Mask().I32(0);
    hbook.I32(0x300).I32(0x301).Str("BM2").I32(0x302).U16(61).U16(62).Raw(Bytes(15, 0x15));
    auto hbm = LoadAll<TDboBookMark>(*h, hbook.b);
    EXPECT_EQ(std::tuple(hbm->NameIdx, hbm->FNameIdx, hbm->TxtID, hbm->UnknownInt, hbm->LocX, hbm->LocY),
              std::tuple(0x300, 0x301, "BM2", 0x302, 61, 62));
    ByteBuilder hdrc = Headered(77, 3);
    hdrc.Raw({1, 2, 3, 4, 5, 6, 7, 8}).Str("ERC").Raw({9, 10, 11, 12, 13, 14}).U16(71).U16(72).Raw(k13);
    hdrc.Str("a").Str("b").Str("c");
    auto hm = LoadAll<TDboDRCMark>(*h, hdrc.b);
    EXPECT_EQ(std::tuple(hm->Name, hm->LocX, hm->LocY, hm->Info1, hm->Info2, hm->Info3, B(hm->UnknownB6), B(hm->UnknownB13)),
              std::tuple("ERC", 71, 72, "a", "b", "c", Bytes{9, 10, 11, 12, 13, 14}, k13));
}

namespace {

// A scalar pin without size headers, its fields from `base` up.
ByteBuilder& PlainPin(ByteBuilder& b, int32_t base) {
    b.Raw(Plain(26).b).Str("CLK").I32(base + 1).I32(base + 2).I32(base + 3).I32(base + 4).I32(0x25).I32(7);
    b.U8(0x1A).U8(0x1B).U16(0x1C1D);
    return VisibleProps(b, 8, 9);
}

void ExpectPin(const TDboPin& pin, int32_t base) {
    EXPECT_EQ(std::tuple(pin.PinName, pin.OffsetX, pin.OffsetY, pin.EndX, pin.EndY, pin.Attributes, pin.PinType, pin.ID_B,
                         pin.UnknownB, pin.UnknownW),
              std::tuple("CLK", base + 1, base + 2, base + 3, base + 4, 0x25, 7, 0x1A, 0x1B, 0x1C1D));
    ExpectProperties(pin, 8, 9);
}

// Pin properties (list of one) without size headers.
ByteBuilder& PlainPinProps(ByteBuilder& b) {
    b.U16(1).Raw(Plain(16).b).U16(0x0203).U16(61).U16(static_cast<uint16_t>(-62)).I32(0x7001).I32(0x7002);
    return VisibleProps(b, 63, 64);
}

void ExpectPinProps(const TDboPinPropsList& list) {
    ASSERT_EQ(list.Count(), 1);
    auto* pp = dynamic_cast<TDboPinProps*>(list.GetItems(0));
    ASSERT_NE(pp, nullptr);
    EXPECT_EQ(std::tuple(pp->PinNumber, pp->LocationX, pp->LocationY, pp->WireId, pp->NetID),
              std::tuple(0x0203, 61, -62, 0x7001, 0x7002));
    ExpectProperties(*pp, 63, 64);
}

}  // namespace

TEST(RecordFields, PinsPartsAndBlocks) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder pin;
    PlainPin(pin, 100);
    auto p = LoadAll<TDboPinScalar>(*d, pin.b);
    ExpectPin(*p, 100);
    EXPECT_EQ(test::SaveBytes(*p), pin.b);

    ByteBuilder part = Plain(13);
    part.U16(0x31).U16(0x32).I32(0x33).Str("U.Normal").I32(0x34).I32(0x35).U16(41).U16(42).U16(43).U16(44);
    part.U16(0x0130).U16(0x000D);
    VisibleProps(part, 45, 46).U8(0x18).Str("U7").U16(0x51).U16(0x52).U16(0x53).U16(0x8016);
    PlainPinProps(part).Str("SOIC8").U16(3);
    auto pa = LoadAll<TDboPart>(*d, part.b);
    EXPECT_EQ(std::tuple(pa->NameIdx, pa->SrcLibIdx, pa->LibNameIdx, pa->ViewName, pa->SearchIndex, pa->UnknownInt_2,
                         pa->RHeight, pa->RWidth, pa->LocationX, pa->LocationY, pa->RotColMirr, pa->ID2),
              std::tuple(0x31, 0x32, 0x33, "U.Normal", 0x34, 0x35, 41, 42, 43, 44, 0x0130, 0x000D));
    EXPECT_EQ(std::tuple(pa->UnknownB, pa->DesignatorStr, pa->ValueIdx, pa->ImplementationPathIdx, pa->ImplementationIdx,
                         pa->Flags, pa->SrcPkg, pa->PartNo),
              std::tuple(0x18, "U7", 0x51, 0x52, 0x53, 0x8016, "SOIC8", 3));
    ExpectProperties(*pa, 45, 46);
    ExpectPinProps(pa->PinProps);
    EXPECT_EQ(test::SaveBytes(*pa), part.b);

    const Bytes five = {0x18, 0x18, 0, 0, 1, 2, 3, 4, 5, 6, 0x30, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    ByteBuilder block = Plain(12);
    block.U16(0x61).U16(0x62).I32(0x63).Str("POWER").I32(0x64).I32(0x65).U16(71).U16(72).U16(73).U16(74);
    block.U16(0x0130).U16(0x000C);
    VisibleProps(block, 75, 76).Raw(five).U16(81).U16(82);
    PlainPin(block.U16(1), 200).Raw(k12).U16(0x91).U16(0x92).Str("U_POWER").U16(0x93).U16(0x94).U16(0x95).U16(0x96);
    PlainPinProps(block);
    auto bl = LoadAll<TDboHierarchicalBlock>(*d, block.b);
    EXPECT_EQ(std::tuple(bl->NameIdx, bl->SrcLib, bl->UnknownInt_1, bl->SymName, bl->SearchIndex, bl->UnknownInt_2,
                         bl->RHeight, bl->RWidth, bl->LocationX, bl->LocationY, bl->RotColMirr, bl->ID2),
              std::tuple(0x61, 0x62, 0x63, "POWER", 0x64, 0x65, 71, 72, 73, 74, 0x0130, 0x000C));
    EXPECT_EQ(std::tuple(B(bl->UnknownAInt5), bl->Width, bl->Height, B(bl->UnknownAInt3), bl->UnknownW_1, bl->UnknownW_2,
                         bl->RefStr, bl->ImplementSheetIdx, bl->ImplementFileIdx, bl->ImplementFolderIdx, bl->UnknownW_3),
              std::tuple(five, 81, 82, k12, 0x91, 0x92, "U_POWER", 0x93, 0x94, 0x95, 0x96));
    EXPECT_EQ(bl->LibView, nullptr);
    ASSERT_NE(bl->Pins, nullptr);
    ASSERT_EQ(bl->Pins->Count(), 1);
    ExpectPin(*bl->Pins->GetPins(0), 200);
    ExpectProperties(*bl, 75, 76);
    ExpectPinProps(bl->PinProps);
    EXPECT_EQ(test::SaveBytes(*bl), block.b);

    // Headered: a part's value and implementation indexes are Ints.
    auto h = test::DesignOfVersion(test::kV3_3);
    ByteBuilder hpart = Headered(13, 4);
    hpart.U16(0x31).U16(0x32).I32(0x33).Str("U.Normal").I32(0x34).I32(0x35).U16(41).U16(42).U16(43).U16(44);
    hpart.U16(0x0130).U16(0x000D);
    HeaderedVisibleProps(hpart, 45, 46).U8(0x18).Str("U7").I32(0x10051).I32(0x10052).I32(0x10053).U16(0x8016);
    hpart.U16(0).Str("SOIC8").U16(3);
    auto hpa = LoadAll<TDboPart>(*h, hpart.b);
    EXPECT_EQ(std::tuple(hpa->NameIdx, hpa->SrcLibIdx, hpa->LibNameIdx, hpa->ViewName, hpa->SearchIndex,
                         hpa->UnknownInt_2, hpa->RHeight, hpa->RWidth, hpa->LocationX, hpa->LocationY, hpa->RotColMirr,
                         hpa->ID2),
              std::tuple(0x31, 0x32, 0x33, "U.Normal", 0x34, 0x35, 41, 42, 43, 44, 0x0130, 0x000D));
    EXPECT_EQ(std::tuple(hpa->UnknownB, hpa->DesignatorStr, hpa->ValueIdx, hpa->ImplementationPathIdx,
                         hpa->ImplementationIdx, hpa->Flags, hpa->SrcPkg, hpa->PartNo),
              std::tuple(0x18, "U7", 0x10051, 0x10052, 0x10053, 0x8016, "SOIC8", 3));
    ExpectProperties(*hpa, 45, 46);
}
