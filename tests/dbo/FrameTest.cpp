// Record framing: primitives, size headers, extra-data blocks, lists, fonts and properties.
#include <gtest/gtest.h>

#include "DboTestSupport.h"
#include "dbo/DboBaseObjects.h"
#include "dbo/DboLib.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

TEST(Stream, PrimitivesAndStrings) {
    auto s = test::MemStream(ByteBuilder().U16(0).U8(0xAB).Str("R1").U8(7).I32(-2).I64(0x0102030405060708).b);
    std::string text = "x";
    s->ReadStr("Empty", text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(s->Position(), 3u);  // length, no text, terminator
    s->ReadStr("Name", text);
    EXPECT_EQ(text, "R1");
    uint8_t b;
    s->ReadByte("B", b);
    int32_t i;
    s->ReadInt("I", i);
    EXPECT_EQ(i, -2);
    int64_t l;
    s->ReadInt64("L", l);
    EXPECT_EQ(l, 0x0102030405060708);
    EXPECT_THROW(s->ReadByte("Past", b), EDboFileIO);

    auto w = test::MemStream();
    w->WriteStr("Empty", "");
    w->WriteStr("Value", "10\xC2\xB5");  // UTF-8 in memory, one byte in the file
    EXPECT_EQ(test::Contents(*w), ByteBuilder().Raw({0, 0, 0, 3, 0, '1', '0', 0xB5, 0}).b);
}

TEST(Stream, SkipToAndTrySkipNext) {
    const uint8_t pattern[8] = {0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0};
    // The second FF resets the match and isn't taken as a new start: no pattern here.
    auto s = test::MemStream({0xFF, 0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0});
    EXPECT_THROW(s->SkipTo("Mask", pattern, 7), EDboFileIO);
    // With a byte in front of the pattern it is found, and the position is just behind it.
    auto s2 = test::MemStream({0x01, 0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0, 0x42});
    s2->SkipTo("Mask", pattern, 7);
    EXPECT_EQ(s2->Position(), 9u);

    // Two bytes before the end a four-byte pattern isn't there; the position stays.
    auto s3 = test::MemStream({1, 2, 3, 0xFF, 0xE4});
    uint8_t b;
    s3->ReadData("Skip", &b, 1), s3->ReadData("Skip", &b, 1), s3->ReadData("Skip", &b, 1);
    bool found = true;
    EXPECT_FALSE(s3->TrySkipNext("Mask", kExtraDataMask, 3, found));
    EXPECT_FALSE(found);
    EXPECT_EQ(s3->Position(), 3u);
    auto s4 = test::MemStream({0xFF, 0xE4, 0x5C, 0x39, 9});
    EXPECT_TRUE(s4->TrySkipNext("Mask", kExtraDataMask, 3));
    EXPECT_EQ(s4->Position(), 4u);
    auto s5 = test::MemStream({0xFF, 0xE4, 0x5C, 0x38});
    EXPECT_FALSE(s5->TrySkipNext("Mask", kExtraDataMask, 3));
    EXPECT_EQ(s5->Position(), 0u);
    EXPECT_EQ(s5->LookAhead(), 0xFF);
    EXPECT_EQ(s5->Position(), 0u);
}

TEST(Frame, VisiblePropInEveryVersion) {
    // Not headered: ID 39 and a UserPropsCount of 0xFFFF open the record.
    auto d1 = test::DesignOfVersion(test::kV1_1);
    auto vp = Make<TDboVisibleProp>(d1.get());
    vp->UserPropNameIdx = 5;
    vp->LocationX = -3;
    vp->LocationY = 12;
    vp->FontID = 2;
    vp->SetRotation(1);
    Bytes v11 = ByteBuilder().U8(39).U16(0xFFFF).U16(5).U16(0xFFFD).U16(12).U16(2 | 0x4000).U16(48 | 0x100).b;
    EXPECT_EQ(test::SaveBytes(*vp), v11);
    auto back = Make<TDboVisibleProp>(d1.get());
    back->Load(*test::MemStream(v11));
    EXPECT_EQ(back->DisplayFormat, 1);  // no field in this version: shown as value
    EXPECT_EQ(back->GetRotation(), 1);
    EXPECT_EQ(back->FontID, 2);

    // Extended: a Word index and a DisplayFormat.
    auto d2 = test::DesignOfVersion(test::kV1_2);
    Bytes v12 = ByteBuilder().U8(39).U16(0xFFFF).U16(5).U16(1).U16(2).U16(3).U16(48).U16(2).b;
    auto p2 = Make<TDboVisibleProp>(d2.get());
    p2->Load(*test::MemStream(v12));
    EXPECT_EQ(p2->DisplayFormat, 2);
    EXPECT_EQ(test::SaveBytes(*p2), v12);

    // Headered: two size headers (34 then 11), an Int index, and the extra-data block.
    auto d3 = test::DesignOfVersion(test::kV2_3);
    Bytes v23 = ByteBuilder().U8(39).I64(34).U8(39).I64(11).U8(39).U16(0xFFFF).EmptyExtra()
                    .I32(5).U16(1).U16(2).U16(3).U16(48).U16(1).b;
    auto p3 = Make<TDboVisibleProp>(d3.get());
    p3->Load(*test::MemStream(v23));
    EXPECT_EQ(p3->UserPropNameIdx, 5);
    EXPECT_EQ(p3->HeaderRecords, (std::vector<int64_t>{34, 11}));
    EXPECT_EQ(test::SaveBytes(*p3), v23);
    EXPECT_EQ(p3->FullObjectSize(), static_cast<int64_t>(v23.size()));
    // The newest version reads and writes the same layout.
    auto d33 = test::DesignOfVersion(test::kV3_3);
    auto p33 = Make<TDboVisibleProp>(d33.get());
    p33->Load(*test::MemStream(v23));
    EXPECT_EQ(test::SaveBytes(*p33), v23);

    // The extra-data block may be absent; the next field then starts where the test began.
    Bytes noMask = ByteBuilder().U8(39).I64(34).U8(39).I64(11).U8(39).U16(0xFFFF)
                       .I32(5).U16(1).U16(2).U16(3).U16(48).U16(1).b;
    auto p4 = Make<TDboVisibleProp>(d3.get());
    auto s4 = test::MemStream(noMask);
    p4->Load(*s4);
    EXPECT_EQ(p4->UserPropNameIdx, 5);
    EXPECT_EQ(s4->Remaining(), 0u);
    // A block with data is kept and written back, and counted in the headers.
    Bytes withData = ByteBuilder().U8(39).I64(37).U8(39).I64(14).U8(39).U16(0xFFFF).Mask().I32(3).Raw({7, 8, 9})
                         .I32(5).U16(1).U16(2).U16(3).U16(48).U16(1).b;
    auto p5 = Make<TDboVisibleProp>(d3.get());
    p5->Load(*test::MemStream(withData));
    EXPECT_EQ(p5->ExtraData, (Bytes{7, 8, 9}));
    EXPECT_EQ(test::SaveBytes(*p5), withData);
}

TEST(Frame, PropertyPairsAreTwoIntsWithSizeHeadersAndTwoWordsWithout) {
    for (uint32_t version : {test::kV1_2, test::kV2_3}) {
        SCOPED_TRACE(version);
        auto d = test::DesignOfVersion(version);
        TDboBaseObject obj(d.get());
        obj.Initialize();
        EXPECT_EQ(obj.UserPropsSize(), 2);
        obj.AddProp("Value", "10k");
        obj.AddProp("Part Reference", "R1");
        const bool headered = version == test::kV2_3;
        EXPECT_EQ(obj.UserPropsSize(), headered ? 2 + 16 : 2 + 8);
        Bytes saved = test::SaveBytes(obj.UserProps);
        ByteBuilder expected = ByteBuilder().U16(2);
        for (int i = 0; i < 2; ++i) {
            const TDboPropNameVal* pair = obj.UserProps.GetProperties(i);
            if (headered) expected.I32(pair->NameIdx).I32(pair->ValueIdx);
            else expected.U16(static_cast<uint16_t>(pair->NameIdx)).U16(static_cast<uint16_t>(pair->ValueIdx));
        }
        EXPECT_EQ(saved, expected.b);
        TDboPropNameValList back(d.get());
        back.Load(*test::MemStream(saved));
        ASSERT_EQ(back.Count(), 2);
        EXPECT_EQ(back.GetProperties(1)->ValueIdx, obj.UserProps.GetProperties(1)->ValueIdx);
    }
}

TEST(Frame, ListsAndFonts) {
    auto d = test::DesignOfVersion(test::kV2_3);
    // A font list stores one more than the records that follow.
    TDboFontList fonts(d.get());
    auto s = test::MemStream(ByteBuilder().U16(1).b);
    fonts.Load(*s);
    EXPECT_EQ(fonts.Count(), 0);
    TDboFontList none(d.get());
    none.Load(*test::MemStream(ByteBuilder().U16(0).b));  // a count of -1 runs no loop
    EXPECT_EQ(none.Count(), 0);
    // LOGFONTA as AddFont fills it: height -(size x 96 / 95) rounded, escapement in tenths of a
    // degree, orientation in degrees, weight 700 for bold, then italic, underline, strike-out.
    fonts.AddFont(50, 90, true, false, true, false, "Arial");
    fonts.AddFont(10, 0, false, true, false, false, "Courier New");
    fonts.AddFont(8, 270, false, false, false, true, "Symbol");
    auto logFont = [](int32_t height, int32_t rotation, int32_t weight, uint8_t italic, uint8_t underline,
                      uint8_t strike, const std::string& face) {
        ByteBuilder b;
        b.I32(height).I32(0).I32(rotation * 10).I32(rotation).I32(weight);
        b.U8(italic).U8(underline).U8(strike).U8(0).U8(7).U8(2).U8(1).U8(0x22);
        for (char c : face) b.U8(static_cast<uint8_t>(c));
        return b.Zeros(32 - face.size()).b;
    };
    Bytes saved = test::SaveBytes(fonts);
    ByteBuilder expected;
    expected.U16(4)
        .Raw(logFont(-51, 90, 700, 0, 1, 0, "Arial"))
        .Raw(logFont(-10, 0, 400, 1, 0, 0, "Courier New"))
        .Raw(logFont(-8, 270, 400, 0, 0, 1, "Symbol"));
    EXPECT_EQ(saved, expected.b);
    TDboFontList again(d.get());
    again.Load(*test::MemStream(saved));
    ASSERT_EQ(again.Count(), 3);
    EXPECT_EQ(again.GetFonts(1)->LogFont.FaceName(), "Courier New");
    EXPECT_EQ(again.GetFonts(2)->LogFont.lfStrikeOut, 1);
    EXPECT_EQ(again.GetFonts(0)->LogFont.lfHeight, -51);
    EXPECT_EQ(test::SaveBytes(again), saved);

    // An empty list and an empty string list both measure 2.
    TDboPropNameValList props(d.get());
    EXPECT_EQ(props.FullObjectSize(), 2);
    EXPECT_EQ(StrListSize({}), 2);
    EXPECT_EQ(StrListSize({"", "ab"}), 2 + 3 + 5);

    // A simple list takes only items of exactly its class.
    TDboVisiblePropList vps(d.get());
    vps.Add(Make<TDboVisibleProp>(d.get()));
    vps.Add(Make<TDboLibAlias>(d.get()));
    EXPECT_EQ(vps.Count(), 1);
}

TEST(Frame, PropertyPairs) {
    auto d = test::DesignOfVersion(test::kV1_2);
    TDboPropNameValList props(d.get());
    props.AddProperty("Value", "10k");
    props.AddProperty("value", "22k");  // same name, case ignored: value changes, no new pair
    ASSERT_EQ(props.Count(), 1);
    EXPECT_EQ(d->GetString(props.GetProperties(0)->ValueIdx), "22k");
    props.RemovePropertiesByName("Footprint");  // not in the string list: nothing happens
    EXPECT_EQ(props.Count(), 1);
    props.AddProperty("Footprint", "0603");
    props.RemovePropertiesByName("VALUE");
    ASSERT_EQ(props.Count(), 1);
    EXPECT_EQ(d->GetString(props.GetProperties(0)->NameIdx), "Footprint");

    // Words in files that aren't headered, Ints in headered ones; saves are always Words.
    TDboPropNameVal pair(d.get());
    pair.Load(*test::MemStream(ByteBuilder().U16(0xFFFE).U16(3).b));
    EXPECT_EQ(pair.NameIdx, 0xFFFE);
    auto d3 = test::DesignOfVersion(test::kV2_3);
    TDboPropNameVal pair3(d3.get());
    pair3.Load(*test::MemStream(ByteBuilder().I32(70000).I32(4).b));
    EXPECT_EQ(pair3.NameIdx, 70000);
    EXPECT_EQ(test::SaveBytes(pair), ByteBuilder().U16(0xFFFE).U16(3).b);
}

TEST(Frame, VisiblePropertyPlacementAndValues) {
    auto d = test::DesignOfVersion(test::kV1_2);
    TDboBaseObject obj(d.get());
    obj.Initialize();
    // The stored location is the text's first corner, which moves with the rotation.
    auto* r0 = obj.AddVisibleProp("Part Reference", "R1", 100, 200, 30, 10, 3, 0, 5);
    EXPECT_EQ(r0->LocationX, 100);
    EXPECT_EQ(r0->LocationY, 190);
    auto* r1 = obj.AddVisibleProp("Value", "10k", 100, 200, 30, 10, 3, 1, 5);
    EXPECT_EQ(r1->LocationX, 70);
    EXPECT_EQ(r1->LocationY, 190);
    auto* r2 = obj.AddVisibleProp("A", "x", 100, 200, 30, 10, 3, 2, 5);
    EXPECT_EQ(r2->LocationX, 70);
    EXPECT_EQ(r2->LocationY, 200);
    EXPECT_EQ(r1->GetRotation(), 1);
    EXPECT_EQ(r1->GetColor(), 5);
    EXPECT_EQ(obj.UserProps.Count(), 3);
    std::string v;
    obj.GetPropertyValueByName(v, "Value");
    EXPECT_EQ(v, "10k");

    // On loading, each visible property takes its value index from the user property of its name.
    Bytes saved = test::SaveBytes(obj.VisibleProps);
    TDboBaseObject other(d.get());
    other.Initialize();
    other.AddProp("Value", "47k");
    auto s = test::MemStream(saved);
    other.LoadVisibleProps(*s);
    ASSERT_EQ(other.VisibleProps.Count(), 3);
    EXPECT_EQ(other.VisibleProps.GetProps(1)->GetValue(), "47k");
    // No user property of that name: the value index is the name index.
    EXPECT_EQ(other.VisibleProps.GetProps(0)->GetValue(), "Part Reference");
}
