// Records of a schematic page (wires, buses, nets, ports, title blocks, DRC marks, bookmarks), pins
// and pin properties, placed parts and hierarchical blocks: loading and saving in every file
// version, from bytes built here and from the pages of the sample designs.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>
#include <set>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

using test::kV0_2;
using test::MessageOf;

// Loads one object of class T from `bytes`; `s` keeps the stream for a look at its position.
template <class T>
std::unique_ptr<T> LoadOne(TDboBaseDesign& d, const Bytes& bytes, std::unique_ptr<TDboIStream>& s) {
    s = test::MemStream(bytes);
    auto o = Make<T>(&d);
    o->Load(*s);
    return o;
}

using Props = std::vector<std::pair<int32_t, int32_t>>;

int64_t I64At(const Bytes& b, size_t pos) {
    int64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | b.at(pos + i);
    return v;
}

// Saved in a headered file, a record carries the size headers that Capture gives it, as the
// sample designs show: size header i counts from behind itself to tails[i] bytes before the
// record's end, the last one the rest of the frame (type code, user properties, extra data); and
// the bytes load back whole, as a record that saves the same (unless `resaves` is false: a load
// that moves the record). A record of one size header and no frame (kind 1) takes one tail and no
// frame check.
template <class T>
void ExpectCapturesSizes(TDboBaseDesign& d, T& object, const std::vector<uint64_t>& tails, bool resaves = true) {
    const Bytes saved = test::SaveBytes(object);
    const bool simple = object.HeaderKind() == 1;
    const size_t n = tails.size() + (simple ? 0 : 1);
    ASSERT_GE(saved.size(), 9 * n);
    for (size_t i = 0; i < tails.size(); ++i) {
        EXPECT_EQ(9 * (i + 1) + static_cast<uint64_t>(I64At(saved, 9 * i + 1)) + tails[i], saved.size())
            << object.ClassName() << ", size header " << i;
    }
    if (!simple) {
        EXPECT_EQ(I64At(saved, 9 * (n - 1) + 1), 1 + object.UserPropsSize() + object.ExtraDataSize())
            << object.ClassName() << ", the frame's size header";
    }
    std::unique_ptr<TDboIStream> s;
    auto again = LoadOne<T>(d, saved, s);
    EXPECT_EQ(s->Remaining(), 0u) << object.ClassName();
    if (resaves) {
        EXPECT_EQ(test::SaveBytes(*again), saved) << object.ClassName();
    } else {
        EXPECT_EQ(test::SaveBytes(*again).size(), saved.size()) << object.ClassName();
    }
}

// The frame of a record without size headers: the type code, then property pairs as Words.
ByteBuilder PlainFrame(uint8_t id, const Props& props = {}) {
    ByteBuilder b;
    b.U8(id).U16(static_cast<uint16_t>(props.size()));
    for (auto [n, v] : props) b.U16(static_cast<uint16_t>(n)).U16(static_cast<uint16_t>(v));
    return b;
}

// The frame with size headers: each header behind the type code, the code again, property pairs
// as Ints, and an extra-data block holding `extra`.
ByteBuilder HeaderedFrame(uint8_t id, const std::vector<int64_t>& headers, const Props& props = {},
                          const Bytes& extra = {}) {
    ByteBuilder b;
    for (int64_t h : headers) b.U8(id).I64(h);
    b.U8(id).U16(static_cast<uint16_t>(props.size()));
    for (auto [n, v] : props) b.I32(n).I32(v);
    return b.Mask().I32(static_cast<int32_t>(extra.size())).Raw(extra);
}

// One visible property in the layout of `version`; in a headered file its size headers are those
// of a property without extra data, 34 and 11.
void VisibleProp(ByteBuilder& b, uint32_t version, int32_t nameIdx, uint16_t fontAndRot = 0, uint16_t display = 1) {
    if (version == test::kV2_3) b.U8(39).I64(34).U8(39).I64(11).U8(39).U16(0xFFFF).EmptyExtra().I32(nameIdx);
    else b.U8(39).U16(0xFFFF).U16(static_cast<uint16_t>(nameIdx));
    b.U16(3).U16(4).U16(fontAndRot).U16(0x30);
    if (version != test::kV1_1) b.U16(display);
}

// A pin without properties in a file without size headers.
void PlainPin(ByteBuilder& b, uint8_t id, const std::string& name, int32_t x) {
    b.Raw(PlainFrame(id).b).Str(name).I32(x).I32(0).I32(x + 30).I32(0).I32(57).I32(3).U8(id).U8(0).U16(0).U16(0);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Wires, buses and nets

TEST(WireBus, LoadAndSaveInEachLayout) {
    // Without size headers: the net before the object id, an alias, and a visible property that
    // takes its value from the user property of the same name.
    auto d = test::DesignOfVersion(test::kV1_1);
    ByteBuilder all = ByteBuilder().U16(2);
    all.Raw(PlainFrame(20, {{3, 4}}).b).I32(0x1111).I32(0x2222).U16(0x0130).U16(7).I32(10).I32(-20).I32(30).I32(40);
    all.U8(2).U16(1).U8(49).U16(0xFFFF).I32(12).I32(14).U16(0x30).U16(0).I32(0x0102).I32(5).Str("NET1").U16(1);
    VisibleProp(all, test::kV1_1, 3, 0x4005);
    all.Raw(PlainFrame(21).b).I32(1).I32(2).U16(0x30).U16(0).I32(0).I32(0).I32(0).I32(50).U8(0).U16(0).U16(0);
    auto s = test::MemStream(all.b);
    TDboWireBusList list(d.get());
    list.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(list.Count(), 2);
    auto* w = dynamic_cast<TDboWire*>(list.GetItems(0));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->NetName, 0x1111);
    EXPECT_EQ(w->ObjectID, 0x2222);
    EXPECT_EQ(w->GetAliases(0)->Name, "NET1");
    EXPECT_EQ(w->GetAliases(0)->GetRotation(), 2);  // low byte of Rot
    EXPECT_EQ(w->VisibleProps.GetProps(0)->ValueIdx, 4);
    EXPECT_EQ(w->VisibleProps.GetProps(0)->GetRotation(), 1);
    EXPECT_NE(dynamic_cast<TDboBus*>(list.GetItems(1)), nullptr);
    EXPECT_EQ(test::SaveBytes(list), all.b);

    // Version 0x00000002 has no size headers, but the object id stands first, as in headered files.
    auto v2 = test::DesignOfVersion(kV0_2);
    ByteBuilder old = PlainFrame(20).I32(0x2222).I32(0x1111).U16(0x30).U16(0).I32(1).I32(2).I32(3).I32(4).U8(2).U16(0);
    VisibleProp(old.U16(1), kV0_2, 3);
    auto owire = LoadOne<TDboWire>(*v2, old.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(owire->ObjectID, 0x2222);
    EXPECT_EQ(owire->NetName, 0x1111);
    EXPECT_EQ(owire->Junction, 2);
    EXPECT_EQ(test::SaveBytes(*owire), old.b);

    // With size headers the object id stands first and "UnknownInt" twice ends the record. The
    // type code is the frame's last, whatever class was made.
    auto h = test::DesignOfVersion(test::kV2_3);
    ByteBuilder hw = HeaderedFrame(20, {70, 11}, {}, {0xAA, 0xBB});
    hw.b[18] = 0x63;  // the code behind the last header
    hw.I32(0x2222).I32(0x1111).U16(0x30).U16(0).I32(1).I32(2).I32(3).I32(4).U8(0).U16(0).U16(1);
    VisibleProp(hw, test::kV2_3, 3);
    hw.I32(5).I32(6);
    auto hwire = LoadOne<TDboWire>(*h, hw.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hwire->ID, 0x63);
    EXPECT_EQ(hwire->ObjectID, 0x2222);
    EXPECT_EQ(hwire->NetName, 0x1111);
    EXPECT_EQ(hwire->UnknownInt, 6);
    EXPECT_EQ(hwire->ExtraData, (Bytes{0xAA, 0xBB}));
    // Saved, the first size header counts the whole rest of the wire, the two Ints of the end
    // kept apart; an alias likewise.
    hwire->UnknownIntFirst = 3;
    ExpectCapturesSizes(*h, *hwire, {0});
    EXPECT_EQ(I64At(test::SaveBytes(*hwire), 1), static_cast<int64_t>(hw.b.size()) - 9);
    auto alias = Make<TDboWireAlias>(h.get());
    alias->Name = "NET1";
    ExpectCapturesSizes(*h, *alias, {0});
    hwire->Aliases.Add(std::move(alias));
    ExpectCapturesSizes(*h, *hwire, {0});
}

// A code that isn't a wire's or a bus's (a part's or a block's) makes no object and consumes
// nothing: the count bounds the loop, and the stream's read error reports what follows.
TEST(WireBus, UnknownCodeConsumesNothing) {
    auto d = test::DesignOfVersion(test::kV2_3);
    auto s = test::MemStream(ByteBuilder().U16(3).U8(0x5C).U8(0x14).b);
    TDboWireBusList list(d.get());
    list.Load(*s);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(s->Position(), 2u);
    TDboPartAndBlockList parts(d.get());
    auto s2 = test::MemStream(ByteBuilder().U16(2).U8(20).b);
    parts.Load(*s2);
    EXPECT_EQ(parts.Count(), 0);
    EXPECT_EQ(s2->Position(), 2u);

    auto end = test::MemStream(ByteBuilder().U16(1).b);
    EXPECT_EQ(MessageOf<EDboFileIO>([&] { TDboWireBusList(d.get()).Load(*end); }), "Reading stream: test 00000002(1)");
    // A record cut short: its first size header is missing.
    auto cut = test::MemStream(ByteBuilder().U16(1).U8(20).U16(0).I32(1).b);
    EXPECT_EQ(MessageOf<EDboFileIO>([&] { TDboWireBusList(d.get()).Load(*cut); }), "Reading stream: test 00000003(8)");
}

TEST(Nets, WireNetsBusNetsAndAliases) {
    std::unique_ptr<TDboIStream> s;
    auto ext = test::DesignOfVersion(kV0_2);
    Bytes busBytes = ByteBuilder().I32(9).Str("D[0..1]").U16(2).I32(77).I32(78).b;
    auto bus = LoadOne<TDboBusNet>(*ext, busBytes, s);
    EXPECT_EQ(bus->Name, "D[0..1]");
    EXPECT_EQ(bus->GetNetRefs(1)->Reference, 78);
    EXPECT_EQ(bus->UnknownInt2, 48);  // not in this layout: the default stays
    EXPECT_EQ(test::SaveBytes(*bus), busBytes);

    // With size headers: a simple header in front, four Ints behind the name.
    auto h = test::DesignOfVersion(test::kV2_3);
    auto net = LoadOne<TDboWireNet>(*h, ByteBuilder().U8(52).I64(27).I32(5).Str("A").I32(1).I32(2).I32(3).I32(4).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(net->Header, 27);
    EXPECT_EQ(net->UnknownInt4, 4);
    ExpectCapturesSizes(*h, *net, {0});
    auto hbus = LoadOne<TDboBusNet>(*h, ByteBuilder().U8(53).I64(0).I32(6).Str("").Zeros(16).U16(1).I32(5).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbus->GetNetRefs(0)->Reference, 5);
    // A bus net's size header ends in front of its member nets: 4 + 3 + 16 = 23 as Capture writes.
    ExpectCapturesSizes(*h, *hbus, {2 + 4});

    // Aliases have no frame in any version; the search ignores case.
    Bytes aliasBytes = ByteBuilder().U16(2).Str("Vcc").I32(100).Str("GND").I32(101).b;
    TDboNetAliasList aliases(h.get());
    s = test::MemStream(aliasBytes);
    aliases.Load(*s);
    EXPECT_EQ(aliases.GetNetIDs("VCC"), 100);
    EXPECT_EQ(aliases.GetNetIDs("gnd"), 101);
    EXPECT_EQ(aliases.GetNetIDs("VCC2"), -1);
    EXPECT_EQ(test::SaveBytes(aliases), aliasBytes);
}

// ---------------------------------------------------------------------------------------------
// Bus entries, title blocks, DRC marks, bookmarks

TEST(PageAnnotations, BusEntryAndTitleBlockInEachLayout) {
    std::unique_ptr<TDboIStream> s;
    const Bytes b13 = {0x40, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (uint32_t v : {test::kV1_2, test::kV2_3}) {
        SCOPED_TRACE(v);
        auto d = test::DesignOfVersion(v);
        bool headered = v == test::kV2_3;
        ByteBuilder entry = headered ? HeaderedFrame(29, {46, 11}) : PlainFrame(29, {{1, 2}});
        entry.U16(0x0230).U16(1).I32(10).I32(-20).I32(30).I32(40).U16(3).U16(4).U16(5).U16(6);
        auto e = LoadOne<TDboBusEntry>(*d, entry.b, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(e->GetRotation(), 2);
        EXPECT_EQ(e->Unknown6, 6);

        ByteBuilder tb = headered ? HeaderedFrame(65, {3, 2, 1}) : PlainFrame(65);
        tb.U16(4).U16(5).I32(6).Str("TitleBlock0").I32(580).I32(0).U16(92).U16(360).U16(1000).U16(700);
        tb.U16(0x30).U16(65).U16(1);
        VisibleProp(tb, v, 8);
        tb.Raw(b13);
        auto t = LoadOne<TDboTitleBlock>(*d, tb.b, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(t->SrcLib, 5);
        EXPECT_EQ(t->SymName, "TitleBlock0");
        EXPECT_EQ(Bytes(t->UnknownB13.begin(), t->UnknownB13.end()), b13);
        if (headered) {
            ExpectCapturesSizes(*d, *e, {0});
            // The middle size header of a title block counts one byte of its last thirteen.
            ExpectCapturesSizes(*d, *t, {0, 12});
        } else {
            EXPECT_EQ(test::SaveBytes(*e), entry.b);
            EXPECT_EQ(test::SaveBytes(*t), tb.b);
        }
    }
}

TEST(PageAnnotations, DRCMarkAndBookMarkInEachLayout) {
    std::unique_ptr<TDboIStream> s;
    auto plain = test::DesignOfVersion(test::kV1_1);
    ByteBuilder drc = PlainFrame(77);
    drc.Raw({1, 2, 3, 4, 5, 6, 7, 8}).Str("ERC").Zeros(11).U8(0x12).U16(150).U16(250).Zeros(6).U8(0x07);
    drc.Str("WARNING").Str("U1").Str("");
    auto m = LoadOne<TDboDRCMark>(*plain, drc.b, s);
    EXPECT_EQ(m->ID, 77);
    EXPECT_EQ(m->UnknownB12[11], 0x12);
    EXPECT_EQ(m->Info2, "U1");
    EXPECT_EQ(test::SaveBytes(*m), drc.b);

    auto h = test::DesignOfVersion(test::kV2_3);
    ByteBuilder hdrc = HeaderedFrame(77, {3, 2, 1});
    hdrc.Zeros(8).Str("ERC").Raw({1, 2, 3, 4, 5, 6}).U16(150).U16(250).Zeros(12).U8(0x13).Str("Q").Str("").Str("x");
    auto hm = LoadOne<TDboDRCMark>(*h, hdrc.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hm->UnknownB6[5], 6);
    EXPECT_EQ(hm->UnknownB13[12], 0x13);
    EXPECT_EQ(hm->Info3, "x");
    // The middle size header ends in front of the three texts.
    ExpectCapturesSizes(*h, *hm, {0, 4 + 3 + 4});
    // A mark read from a file of one layout is written in the other.
    m->Design = h.get();
    ExpectCapturesSizes(*h, *m, {0, 10 + 5 + 3});

    ByteBuilder book = ByteBuilder().U8(78).U16(1).U16(2).U16(3).Raw({4, 5, 6, 7}).Str("BM1");
    book.Zeros(12).U16(50).U16(60).Raw({1, 2, 3, 4, 5, 6, 7});
    auto bm = LoadOne<TDboBookMark>(*plain, book.b, s);
    EXPECT_EQ(bm->FNameIdx, 3);
    EXPECT_EQ(bm->TxtID, "BM1");
    EXPECT_EQ(test::SaveBytes(*bm), book.b);

    // With size headers everything up to the end-of-block mask is passed over.
    ByteBuilder hbook = ByteBuilder().U8(78).U8(78).I64(40).U8(78).U16(0).Mask().I32(0);
    hbook.I32(300).I32(301).Str("BM2").I32(9).U16(70).U16(80).Zeros(14).U8(0x15);
    auto hbm = LoadOne<TDboBookMark>(*h, hbook.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbm->NameIdx, 300);
    EXPECT_EQ(hbm->TxtID, "BM2");
    EXPECT_EQ(hbm->UnknownData[14], 0x15);
    // Written back, the end-of-block mask alone stands in front of the fields.
    Bytes again = test::SaveBytes(*hbm);
    EXPECT_EQ(again, ByteBuilder().U8(78).Mask().I32(0).Raw(Bytes(hbook.b.begin() + 21, hbook.b.end())).b);
    auto hbm2 = LoadOne<TDboBookMark>(*h, again, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbm2->TxtID, "BM2");
    // Without the mask the search runs into the end of the stream.
    EXPECT_THROW(LoadOne<TDboBookMark>(*h, ByteBuilder().U8(78).Zeros(40).b, s), EDboFileIO);
}

// ---------------------------------------------------------------------------------------------
// Ports, power objects and off-page connectors

namespace {

// A port without size headers at (100 + dx, 100 + dy), rotated by `rot`.
ByteBuilder PlainPort(int rot, int16_t height, int16_t width, int16_t dx, int16_t dy) {
    ByteBuilder b = PlainFrame(23, {{9, 12}});
    b.U16(9).U16(2).I32(2).Str("PORTRIGHT-R").I32(36).I32(0).U16(static_cast<uint16_t>(height));
    b.U16(static_cast<uint16_t>(width)).U16(static_cast<uint16_t>(100 + dx)).U16(static_cast<uint16_t>(100 + dy));
    b.U16(static_cast<uint16_t>(0x30 | (rot << 8))).U16(1047).U16(1);
    VisibleProp(b, test::kV1_1, 9);
    return b.I32(3106).U16(0).I32(4);
}

}  // namespace

TEST(Ports, LocationShiftByRotationAndSizeAfterLoad) {
    auto d = test::DesignOfVersion(test::kV1_1);
    const int16_t shift[4][2] = {{0, 10}, {10, 30}, {30, 10}, {10, 20}};
    for (int rot = 0; rot < 4; ++rot) {
        SCOPED_TRACE(rot);
        std::unique_ptr<TDboIStream> s;
        auto port = LoadOne<TDboPort>(*d, PlainPort(rot, 77, 88, 0, 0).b, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(port->Height, 20);
        EXPECT_EQ(port->Width, 30);
        EXPECT_EQ(port->LocationX, 100 + shift[rot][0]);
        EXPECT_EQ(port->LocationY, 100 + shift[rot][1]);
        EXPECT_EQ(port->PortType, 4);
        // Every visible property shows the port's name, not the user property's value.
        EXPECT_EQ(port->VisibleProps.GetProps(0)->ValueIdx, 9);
        // Saving writes the fields as they stand: the shift isn't undone.
        EXPECT_EQ(test::SaveBytes(*port), PlainPort(rot, 20, 30, shift[rot][0], shift[rot][1]).b);
    }
}

TEST(Ports, HeaderCountFollowsTheTypeCode) {
    std::unique_ptr<TDboIStream> s;
    auto h = test::DesignOfVersion(test::kV2_3);
    // A power object: two headers, Int indexes and no "Unknown"; no shift and no port type.
    ByteBuilder power = HeaderedFrame(37, {60, 11});
    power.I32(0x10005).I32(14).Str("VCC").I32(44).I32(0).U16(5).U16(6).U16(200).U16(300).U16(0x130).U16(37);
    power.U16(0).I32(49441).U16(0);
    auto p = LoadOne<TDboPower>(*h, power.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(p->PortNameIdx, 0x10005);
    EXPECT_EQ(p->LocationY, 300);
    // Capture's first size header stops after the first byte of the last Int, five bytes short.
    ExpectCapturesSizes(*h, *p, {5});

    // A port has three headers; the count is known from the code before the frame is read.
    ByteBuilder port = HeaderedFrame(23, {90, 80, 11});
    port.I32(7).I32(14).Str("P").I32(0).I32(0).U16(0).U16(0).U16(10).U16(20).U16(0x30).U16(23).U16(0).I32(0).U16(0);
    auto pt = LoadOne<TDboPort>(*h, port.I32(2).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(pt->HeaderRecords, (std::vector<int64_t>{90, 80, 11}));
    EXPECT_EQ(pt->PortType, 2);
    // A port's middle size header stops five bytes short of the fields in front of its type.
    ExpectCapturesSizes(*h, *pt, {0, 5 + 4}, false);

    // Any other code: the frame ends at the end-of-block mask.
    ByteBuilder odd = ByteBuilder().U8(99).Raw({1, 2, 0xFF, 3}).Mask().I32(0);
    odd.I32(8).I32(14).Str("X").I32(0).I32(0).U16(0).U16(0).U16(0).U16(0).U16(0x30).U16(99).U16(0).I32(0).U16(0);
    auto o = LoadOne<TDboOffPage>(*h, odd.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(o->ID, 99);
    EXPECT_EQ(o->PortNameIdx, 8);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*o); }), "HeaderRecordCount must be defined for TDboOffPage");
}

// ---------------------------------------------------------------------------------------------
// Pins and pin properties

TEST(Pins, ListsSkipUnknownCodesAndNumberPins) {
    auto d = test::DesignOfVersion(test::kV1_1);
    ByteBuilder pins = ByteBuilder().U16(3);
    PlainPin(pins, 26, "A", 10);
    pins.U8(0x07);  // an unknown code: one byte, dropped
    PlainPin(pins, 27, "D[0..7]", 20);
    auto s = test::MemStream(pins.b);
    TDboPinList list(d.get());
    list.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_NE(dynamic_cast<TDboPinScalar*>(list.GetPins(0)), nullptr);
    EXPECT_NE(dynamic_cast<TDboPinBus*>(list.GetPins(1)), nullptr);
    EXPECT_EQ(list.GetPins(1)->PinIndex, 1);
    EXPECT_EQ(list.GetPins(1)->EndX, 50);
    ByteBuilder saved = ByteBuilder().U16(2);
    PlainPin(saved, 26, "A", 10);
    PlainPin(saved, 27, "D[0..7]", 20);
    EXPECT_EQ(test::SaveBytes(list), saved.b);

    // Attribute bits touch only themselves (57: visible, and bits 0, 3 and 4).
    TDboPin* pin = list.GetPins(0);
    pin->SetIsDot(true);
    pin->SetIsClock(true);
    pin->SetIsVisible(false);
    EXPECT_EQ(pin->Attributes, 57 + 2 + 4 - 32);

    auto ext = test::DesignOfVersion(test::kV1_2);
    ByteBuilder props = ByteBuilder().U16(3);
    props.Raw(PlainFrame(16).b).U16(1).U16(5).U16(6).I32(7).I32(8).U16(0).U8(0x42);
    props.Raw(PlainFrame(17).b).U16(2).U16(0).U16(0).I32(0).I32(9).U16(0);
    s = test::MemStream(props.b);
    TDboPinPropsList plist(ext.get());
    plist.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(plist.Count(), 2);
    EXPECT_EQ(plist.GetPinProps(0)->WireId, 7);
    EXPECT_EQ(plist.GetPinProps(0)->NetID, 8);
    EXPECT_EQ(plist.GetPinProps(1)->ID, 17);
}

// A pin has its own size headers, so a headered file can hold it: they count the name, six Ints,
// four small fields and the visible properties.
TEST(Pins, HeaderedPinIsWrittenWithItsSizes) {
    auto h = test::DesignOfVersion(test::kV2_3);
    // Stored largest first: 11 + 9 + (2 + 3) + 24 + 4 + (2 + 43) = 98, then 11.
    ByteBuilder pin = HeaderedFrame(26, {98, 11});
    pin.Str("A1").I32(0).I32(10).I32(0).I32(40).I32(57).I32(7).U8(26).U8(0).U16(0).U16(1);
    VisibleProp(pin, test::kV2_3, 5, 0x0009);
    std::unique_ptr<TDboIStream> s;
    auto p = LoadOne<TDboPinScalar>(*h, pin.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(p->PinName, "A1");
    EXPECT_EQ(p->VisibleProps.GetProps(0)->FontID, 9);
    EXPECT_EQ(test::SaveBytes(*p), pin.b);
    EXPECT_EQ(p->FullObjectSize(), static_cast<int64_t>(pin.b.size()));

    // Pin properties: the first size header counts the rest of the record.
    ByteBuilder pp = HeaderedFrame(17, {40, 11});
    auto loaded = LoadOne<TDboPinPropsBus>(*h, pp.U16(3).U16(0xFFFF).U16(20).I32(6).I32(-1).U16(0).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(loaded->LocationX, -1);
    ExpectCapturesSizes(*h, *loaded, {0});
}

// ---------------------------------------------------------------------------------------------
// Placed parts and hierarchical blocks

namespace {

// A part whose three value indexes are Words without size headers and Ints with them.
ByteBuilder PartRecord(uint32_t version) {
    bool headered = version == test::kV2_3;
    ByteBuilder b = headered ? HeaderedFrame(13, {4, 3, 2, 1}, {{3, 4}}) : PlainFrame(13, {{3, 4}});
    b.U16(5).U16(6).I32(7).Str("RES.Normal").I32(1234).I32(0).U16(10).U16(20).U16(300).U16(400).U16(0x0530).U16(13);
    b.U16(1);
    VisibleProp(b, version, 3);
    b.U8(24).Str("R1");
    for (int32_t v : {8, 9, 10}) headered ? b.I32(v) : b.U16(static_cast<uint16_t>(v));
    b.U16(0x8016).U16(1).Raw(headered ? HeaderedFrame(16, {2, 1}).b : PlainFrame(16).b);
    return b.U16(1).U16(0).U16(0).I32(0).I32(44).U16(0).Str("RES").U16(1);
}

ByteBuilder PlainBlock() {
    ByteBuilder b = PlainFrame(12);
    b.U16(5).U16(6).I32(0x73DD42C2).Str("BLOCK").I32(3).I32(0).U16(0).U16(0).U16(100).U16(200).U16(0x30).U16(12);
    b.U16(0).Raw({0x18, 0x18, 0, 0, 0, 0, 0, 0, 0, 0, 0x30, 0}).Zeros(8).U16(250).U16(150).U16(1);
    PlainPin(b, 26, "IN", 0);
    b.Zeros(11).U8(0x0C).U16(0).U16(3).Str("SUB1").U16(7).U16(8).U16(9).U16(34).U16(1);
    return b.Raw(PlainFrame(16).b).U16(0).U16(0).U16(50).I32(0).I32(3).U16(0);
}

}  // namespace

TEST(Parts, ValueIndexWidthByVersion) {
    std::unique_ptr<TDboIStream> s;
    for (uint32_t v : {test::kV1_2, test::kV2_3}) {
        SCOPED_TRACE(v);
        auto d = test::DesignOfVersion(v);
        Bytes rec = PartRecord(v).b;
        auto part = LoadOne<TDboPart>(*d, rec, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(part->ViewName, "RES.Normal");
        EXPECT_EQ(part->DesignatorStr, "R1");
        EXPECT_EQ(part->ValueIdx, 8);
        EXPECT_EQ(part->ImplementationIdx, 10);
        EXPECT_EQ(part->GetImplementationType(), 5);
        EXPECT_TRUE(part->GetHighFlag());
        EXPECT_EQ(part->PinProps.GetPinProps(0)->NetID, 44);
        EXPECT_EQ(part->VisibleProps.GetProps(0)->ValueIdx, 4);
        if (v == test::kV2_3) {
            // The inner size headers end behind the visible properties and their byte, and behind
            // the pin properties: "R1" (5), three Ints, the flags, the pin properties (2 + 45),
            // "RES" (6) and the part number are left.
            ExpectCapturesSizes(*d, *part, {0, 6 + 2, 5 + 12 + 2 + 47 + 6 + 2});
        } else {
            EXPECT_EQ(test::SaveBytes(*part), rec);
        }
    }
}

TEST(Parts, SearchIndexStepsAndFlags) {
    auto d = test::DesignOfVersion(test::kV1_1);
    auto a = Make<TDboPart>(d.get());
    auto b = Make<TDboPart>(d.get());
    auto c = Make<TDboPart>(d.get());
    EXPECT_EQ(b->SearchIndex - a->SearchIndex, 2);
    EXPECT_EQ(c->SearchIndex - b->SearchIndex, 2);
    EXPECT_EQ(SearchIndex, c->SearchIndex + 2);

    // The implementation type is ORed in, never cleared; the high flag leaves the rest alone.
    a->SetImplementationType(4);
    a->SetImplementationType(3);
    EXPECT_EQ(a->Flags, 2 | (7 << 2));
    a->SetHighFlag(true);
    a->SetHighFlag(false);
    EXPECT_EQ(a->Flags, 2 | (7 << 2));
    // Values share one string entry whatever their case.
    a->SetValue("10k");
    b->SetValue("10K");
    EXPECT_EQ(a->ValueIdx, b->ValueIdx);
    EXPECT_EQ(b->GetValue(), "10k");
    // A name that no property has gives an empty value, not what the caller held.
    std::string value = "stale";
    a->GetPropertyValueByName(value, "Value");
    EXPECT_EQ(value, "");
}

TEST(Blocks, PlainLayoutRoundTripsAndPinsByVersion) {
    auto d = test::DesignOfVersion(test::kV1_1);
    Bytes rec = PlainBlock().b;
    auto s = test::MemStream(ByteBuilder().U16(1).Raw(rec).b);
    TDboPartAndBlockList list(d.get());
    list.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    auto* block = dynamic_cast<TDboHierarchicalBlock*>(list.GetParts(0));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->LibView, nullptr);
    EXPECT_EQ(block->GetWidth(), 250);
    EXPECT_EQ(block->GetHeight(), 150);
    EXPECT_EQ(block->GetPins()->GetPins(0)->PinName, "IN");
    EXPECT_EQ(block->RefStr, "SUB1");
    EXPECT_EQ(block->PinProps.GetPinProps(0)->NetID, 3);
    EXPECT_EQ(test::SaveBytes(*block), rec);
    block->SetImplementation("SCHEMATIC2");
    EXPECT_EQ(block->ImplementSheetIdx, d->Lib->GetIndex("SCHEMATIC2"));
    EXPECT_EQ(block->ImplementFolderIdx, block->ImplementSheetIdx);

    // In a headered file the pins live in a library view, made on demand.
    auto h = test::DesignOfVersion(test::kV2_3);
    auto hb = Make<TDboHierarchicalBlock>(h.get());
    TDboPinList* pins = hb->GetPins();
    ASSERT_NE(hb->LibView, nullptr);
    EXPECT_EQ(pins, hb->LibView->Pins.get());
    EXPECT_EQ(hb->Pins, nullptr);
    hb->LibView->Left = 10;
    hb->SetWidth(40);
    EXPECT_EQ(hb->LibView->Right, 50);
    // Saved, the middle size header ends behind the library view: the reference (3), three Ints,
    // a Word and the empty pin properties (2) are left.
    hb->LibView->Pins->Add(Make<TDboPinScalar>(h.get()));
    ExpectCapturesSizes(*h, *hb, {0, 3 + 12 + 2 + 2});
}

// ---------------------------------------------------------------------------------------------
// The pages of the sample designs

namespace {

// The head of a page record: its frame, two names and the fixed fields before its lists.
class PageHead : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(PageHead)
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    int Load(TDboIStream& s) override {
        LoadHeader(s);
        std::string name;
        Bytes fixed;
        s.ReadStr("PageName", name);
        s.ReadStr("PageSize", name);
        s.ReadData("Fixed", fixed, 8 + 16 + 12 + 8 + 16 + 32 + 64);
        return 0;
    }
};

constexpr size_t kPartsList = 5, kGraphicsList = 11;

// The thirteen object lists of a page, in the order of the file.
std::vector<std::unique_ptr<TDboStorableList>> PageLists(TDboBaseDesign* d) {
    std::vector<std::unique_ptr<TDboStorableList>> l;
    auto simple = [&](const TDboClass& c) { l.push_back(std::make_unique<TDboSimpleObjectList>(d, c)); };
    simple(ClassOf<TDboTitleBlock>());
    simple(ClassOf<TDboWireNet>());
    simple(ClassOf<TDboBusNet>());
    l.push_back(std::make_unique<TDboNetAliasList>(d));
    l.push_back(std::make_unique<TDboWireBusList>(d));
    l.push_back(std::make_unique<TDboPartAndBlockList>(d));
    for (const TDboClass* c : {&ClassOf<TDboPort>(), &ClassOf<TDboPower>(), &ClassOf<TDboOffPage>(),
                               &ClassOf<TDboDRCMark>(), &ClassOf<TDboBusEntry>()})
        simple(*c);
    l.push_back(std::make_unique<TDboGraphicInstanceList>(d));
    simple(ClassOf<TDboBookMark>());
    return l;
}

// Every page stream of a design file, by "view/page"; sets the design's version from its library.
std::map<std::string, Bytes> ReadPages(const std::filesystem::path& path, TDboBaseDesign& design) {
    std::map<std::string, Bytes> pages;
    std::unique_ptr<TDboIStorage> root, views;
    OpenRootStorage(path.string(), root);
    std::unique_ptr<TDboIStream> lib;
    root->OpenStreamSafe("Library", lib);
    design.Lib->Load(*lib);
    lib.reset();
    if (!root->ExistStorage("Views")) return pages;
    root->OpenStorageSafe("Views", views);
    for (const auto& view : views->Platform().List()) {
        std::unique_ptr<TDboIStorage> viewStorage, pageStorage;
        std::string viewName = UnescapeStorageName(view.name);
        if (!view.isStorage) continue;
        views->OpenStorageSafe(viewName, viewStorage);
        if (!viewStorage->ExistStorage("Pages")) continue;
        viewStorage->OpenStorageSafe("Pages", pageStorage);
        for (const auto& p : pageStorage->Platform().List()) {
            if (p.isStorage) continue;
            std::unique_ptr<TDboIStream> s;
            pageStorage->OpenStreamSafe(UnescapeStorageName(p.name), s);
            s->ReadData("Page", pages[viewName + "/" + UnescapeStorageName(p.name)], s->Size());
        }
    }
    return pages;
}

}  // namespace

// Every page of every sample design: its lists load through these classes up to the Word that
// ends the page (0 in all samples). Without size headers, the lists up to the drawings are
// written back byte for byte as they were read.
TEST(PageObjectsCorpus, EveryPageLoadsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    std::vector<std::string> failures;
    std::map<std::string, int> counts;
    int pages = 0, rewritten = 0;
    for (const auto& path : test::CorpusFiles({".dsn"})) {
        std::string file = std::filesystem::relative(path, test::CorpusDir()).string();
        TDboBaseDesign design;
        try {
            for (const auto& [name, bytes] : ReadPages(path, design)) {
                ++pages;
                auto s = test::MemStream(bytes);
                Make<PageHead>(&design)->Load(*s);
                uint64_t listsAt = s->Position(), graphicsAt = 0;
                auto lists = PageLists(&design);
                for (size_t i = 0; i < lists.size(); ++i) {
                    if (i == kGraphicsList) graphicsAt = s->Position();
                    lists[i]->Load(*s);
                }
                if (s->Remaining() != 2 || bytes[bytes.size() - 2] != 0 || bytes.back() != 0)
                    failures.push_back(file + " " + name + ": " + std::to_string(s->Remaining()) + " bytes left");
                for (auto& l : lists)
                    for (auto& item : l->Items) ++counts[item->ClassName()];
                // A block's pins stand in a library view exactly when the file is headered.
                auto* parts = static_cast<TDboPartAndBlockList*>(lists[kPartsList].get());
                for (int i = 0; i < parts->Count(); ++i)
                    if (auto* block = dynamic_cast<TDboHierarchicalBlock*>(parts->GetParts(i)))
                        if ((block->LibView != nullptr) != InVersionSet(design.Version, VersionSet::Headered))
                            failures.push_back(file + " " + name + ": pins of block " + block->RefStr);
                if (InVersionSet(design.Version, VersionSet::Headered)) continue;
                auto out = test::MemStream();
                for (size_t i = 0; i < kGraphicsList; ++i) lists[i]->Save(*out);
                if (test::Contents(*out) == Bytes(bytes.begin() + listsAt, bytes.begin() + graphicsAt)) ++rewritten;
                else failures.push_back(file + " " + name + ": written back differently");
            }
        } catch (const std::exception& e) {
            failures.push_back(file + ": " + e.what());
        }
    }
    std::cout << "[ pages    ] " << pages << " pages, " << rewritten << " written back;";
    for (const auto& [cls, n] : counts) std::cout << " " << cls << " " << n;
    std::cout << "\n";
    for (const auto& f : failures) std::cout << "[ failed   ] " << f << "\n";
    EXPECT_TRUE(failures.empty());
    EXPECT_GT(rewritten, 0);
    // The samples hold every kind of page record but bookmarks.
    for (const char* cls : {"TDboTitleBlock", "TDboWireNet", "TDboBusNet", "TDboWire", "TDboBus", "TDboPart",
                            "TDboHierarchicalBlock", "TDboPort", "TDboPower", "TDboOffPage", "TDboDRCMark",
                            "TDboBusEntry"})
        EXPECT_GT(counts[cls], 0) << cls;
}

// The wires of the version 0x00000002 sample: each wire's net is one of its page's nets, each
// object id is the wire's own, and the pins of placed parts name their wires by these ids.
TEST(PageObjectsCorpus, WireIdsOfVersion2Pages) {
    ORCADX_REQUIRE_CORPUS();
    TDboDesign design((test::CorpusDir() / "parallella-hw/gen0/parallella_gen0.dsn").string(), nullptr, 100, nullptr);
    ASSERT_TRUE(design.Load(false));
    ASSERT_EQ(design.Version, kV0_2);
    // A pin may also touch another pin or a port directly; those name another object.
    int wires = 0, pinsOnWires = 0, pinsElsewhere = 0;
    for (int v = 0; v < design.ViewCount(); ++v) {
        for (auto& page : design.GetViews(v)->Pages) {
            SCOPED_TRACE(page->PageName);
            std::set<int32_t> nets, ids;
            for (int i = 0; i < page->WireNets->Count(); ++i) nets.insert(page->WireNets->As<TDboWireNet>(i)->NetID);
            for (int i = 0; i < page->BusNets->Count(); ++i) nets.insert(page->BusNets->As<TDboBusNet>(i)->NetID);
            for (int i = 0; i < page->WiresAndBuses->Count(); ++i) {
                TDboWireBus* w = page->WiresAndBuses->GetItems(i);
                EXPECT_EQ(nets.count(w->NetName), 1u) << "wire " << i << " net " << w->NetName;
                EXPECT_TRUE(ids.insert(w->ObjectID).second) << "wire " << i << " id " << w->ObjectID;
                ++wires;
            }
            for (int i = 0; i < page->PartsAndBlocks->Count(); ++i) {
                auto* part = dynamic_cast<TDboPart*>(page->PartsAndBlocks->GetParts(i));
                for (int k = 0; part && k < part->PinProps.Count(); ++k) {
                    int32_t wire = part->PinProps.GetPinProps(k)->WireId;
                    if (wire != 0) (ids.count(wire) ? pinsOnWires : pinsElsewhere)++;
                }
            }
        }
    }
    EXPECT_GT(wires, 3900);
    EXPECT_GT(pinsOnWires, 2000);
    EXPECT_LT(pinsElsewhere * 100, pinsOnWires);
}

// Records at known places of sample pages: what loading makes of them.
TEST(PageObjectsCorpus, RecordsCutFromSamplePages) {
    ORCADX_REQUIRE_CORPUS();
    auto cut = [](TDboBaseDesign& d, const std::string& file, const std::string& page, size_t at, size_t n) {
        Bytes bytes = ReadPages(test::CorpusDir() / file, d)[page];
        EXPECT_LE(at + n, bytes.size()) << page;
        return at + n <= bytes.size() ? Bytes(bytes.begin() + at, bytes.begin() + at + n) : Bytes{};
    };
    std::unique_ptr<TDboIStream> s;
    TDboBaseDesign pre;
    auto wire = LoadOne<TDboWire>(pre, cut(pre, "PREAMPL_SCHEM.DSN", "SCHEMATIC1/PAGE1", 0x50A, 0x46), s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(wire->ObjectID, 13055);
    EXPECT_EQ(wire->NetName, 23057);  // a NetID of the page's net list
    EXPECT_EQ(wire->EndX, 390);

    // Ports of each rotation, stored at (810, 240), (547, 410), (760, 540) and (130, 310).
    TDboBaseDesign onyx;
    struct PortCase {
        const char* page;
        size_t offset;
        int rotation, x, y;
    };
    for (const PortCase& c : {PortCase{"01 - Supervisor and EEPROM", 0x442E, 0, 810, 250},
                              PortCase{"01 - Supervisor and EEPROM", 0x4E21, 1, 557, 440},
                              PortCase{"01 - Supervisor and EEPROM", 0x453A, 2, 790, 550},
                              PortCase{"04 - Power Distribution", 0x24B4, 3, 140, 330}}) {
        SCOPED_TRACE(c.rotation);
        Bytes rec = cut(onyx, "onyxpsu/ONYXPSU.DSN", std::string("Schematic/") + c.page, c.offset, 134);
        auto port = LoadOne<TDboPort>(onyx, rec, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(port->SymName, "PORTBOTH-L");
        EXPECT_EQ(port->GetRotation(), c.rotation);
        EXPECT_EQ(port->LocationX, c.x);
        EXPECT_EQ(port->LocationY, c.y);
    }
}
