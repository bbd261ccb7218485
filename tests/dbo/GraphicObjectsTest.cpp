// Drawing records: library objects and page instances of every kind in every file version, the
// graphic list's choice of class, IEEE symbols, comment text, bitmaps and OLE objects.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboGraphicObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

using test::kV0_2;
using test::MessageOf;
using Check = std::function<void(TDboLibObject&)>;

// Several values compared at once.
template <class... Ts>
std::vector<int64_t> V(Ts... v) {
    return {static_cast<int64_t>(v)...};
}

template <class T>
T& As(TDboLibObject& o) {
    return dynamic_cast<T&>(o);
}

ByteBuilder Ints(std::initializer_list<int32_t> v) {
    ByteBuilder b;
    for (int32_t i : v) b.I32(i);
    return b;
}

// A vertex list: count, then each vertex Y first.
ByteBuilder Points(ByteBuilder b, std::initializer_list<std::pair<int16_t, int16_t>> xy) {
    b.U16(static_cast<uint16_t>(xy.size()));
    for (auto [x, y] : xy) b.U16(static_cast<uint16_t>(y)).U16(static_cast<uint16_t>(x));
    return b;
}

// One kind: its two type codes, the bytes of its fields and a check of what they load into.
struct KindCase {
    uint8_t libId, instId;
    std::string libClass, instClass;
    Bytes fields;
    Check check;
};

// Every vertex of a list, x then y.
std::vector<int64_t> XY(const TDboVertices& list) {
    std::vector<int64_t> out;
    for (int i = 0; i < list.Count(); ++i) {
        out.push_back(list.GetVertices(i)->X);
        out.push_back(list.GetVertices(i)->Y);
    }
    return out;
}

// Each field holds a value of its own, so that two fields read or written in each other's place show.
std::vector<KindCase> Kinds() {
    return {
        {40, 55, "TDboLibBox", "TDboBox", Ints({11, -12, 13, 14, 1, 2, 3, 4}).b,
         [](auto& o) {
             auto& b = As<TDboLibBox>(o);
             EXPECT_EQ(V(b.UpperLeftX, b.UpperLeftY, b.LowerRightX, b.LowerRightY, b.LineStyle, b.LineWidth,
                         b.FillStyle, b.BoxHatchStyle),
                       V(11, -12, 13, 14, 1, 2, 3, 4));
         }},
        {41, 56, "TDboLibLine", "TDboLine", Ints({21, 22, -23, 24, 5, 6}).b,
         [](auto& o) {
             auto& l = As<TDboLibLine>(o);
             EXPECT_EQ(V(l.StartX, l.StartY, l.EndX, l.EndY, l.LineStyle, l.LineWidth), V(21, 22, -23, 24, 5, 6));
         }},
        {42, 57, "TDboLibArc", "TDboArc", Ints({31, 32, 33, 34, 35, 36, 37, 38, 1, 2}).b,
         [](auto& o) {
             auto& a = As<TDboLibArc>(o);
             EXPECT_EQ(V(a.BoundBoxLeft, a.BoundBoxTop, a.BoundBoxRight, a.BoundBoxBott, a.StartX, a.StartY, a.EndX,
                         a.EndY, a.LineStyle, a.LineWidth),
                       V(31, 32, 33, 34, 35, 36, 37, 38, 1, 2));
         }},
        {43, 58, "TDboLibEllipse", "TDboEllipse", Ints({41, 42, 43, 44, 1, 2, 3, 4}).b,
         [](auto& o) {
             auto& e = As<TDboLibEllipse>(o);
             EXPECT_EQ(V(e.BoundBoxLeft, e.BoundBoxTop, e.BoundBoxRight, e.BoundBoxBott, e.LineStyle, e.LineWidth,
                         e.FillStyle, e.EllipseHatchStyle),
                       V(41, 42, 43, 44, 1, 2, 3, 4));
         }},
        {44, 59, "TDboLibFilledGraphic", "TDboFilledGraphic", Points(Ints({2, 3, 1, 5}), {{20, 10}, {7, -5}, {-3, 4}}).b,
         [](auto& o) {
             auto& f = As<TDboLibFilledGraphic>(o);
             EXPECT_EQ(V(f.LineStyle, f.LineWidth, f.FillStyle, f.HatchStyle), V(2, 3, 1, 5));
             EXPECT_EQ(XY(f.Vertices), V(20, 10, 7, -5, -3, 4));
         }},
        {45, 60, "TDboLibPolyLine", "TDboPolyLine", Points(Ints({4, 1}), {{1, 2}, {3, 4}}).b,
         [](auto& o) {
             auto& p = As<TDboLibPolyLine>(o);
             EXPECT_EQ(V(p.LineStyle, p.LineWidth), V(4, 1));
             EXPECT_EQ(XY(p.Vertices), V(1, 2, 3, 4));
         }},
        {46, 61, "TDboLibCommentText", "TDboCommentText", Ints({51, 52, 53, 54, 55, 56, 7}).Str("Hello").b,
         [](auto& o) {
             auto& t = As<TDboLibCommentText>(o);
             EXPECT_EQ(V(t.BoundBoxLeft, t.BoundBoxTop, t.BoundBoxRight, t.BoundBoxBott, t.TxtLocationX,
                         t.TxtLocationY, t.FontID),
                       V(51, 52, 53, 54, 55, 56, 7));
             EXPECT_EQ(t.Txt, "Hello");
         }},
        {47, 62, "TDboLibBitmap", "TDboBitmap", Ints({61, 62, 63, 64, 65, 66, 67, 68, 5}).Raw({9, 8, 7, 6, 5}).b,
         [](auto& o) {
             auto& b = As<TDboLibBitmap>(o);
             EXPECT_EQ(V(b.BoundBoxLeft, b.BoundBoxTop, b.BoundBoxRight, b.BoundBoxBott, b.OffsetX, b.OffsetY,
                         b.Width, b.Height, b.BmpLen),
                       V(61, 62, 63, 64, 65, 66, 67, 68, 5));
             EXPECT_EQ(b.Bmp, (Bytes{9, 8, 7, 6, 5}));
         }},
        {87, 88, "TDboLibBezier", "TDboBezier", Points(Ints({3, 2}), {{0, 1}, {5, 10}, {11, 12}, {15, -2}}).b,
         [](auto& o) {
             auto& z = As<TDboLibBezier>(o);
             EXPECT_EQ(V(z.LineStyle, z.LineWidth), V(3, 2));
             EXPECT_EQ(XY(z.Vertices), V(0, 1, 5, 10, 11, 12, 15, -2));
         }},
    };
}

// An instance of a file that isn't headered, up to its library object.
ByteBuilder PlainInstanceHead(uint8_t id, int32_t grId) {
    ByteBuilder b;
    b.U8(id).Raw({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}).I32(grId);
    b.U16(100).U16(200).U16(300).U16(static_cast<uint16_t>(-4)).U16(50).U16(60).U16(0x0130);
    return b.U8(0x2C).U8(0x2D).I32(0x02020000).I32(0x11).I32(0x22).I32(48).U8(1).U8(2);
}

// The same in a headered file: frame, UnknownB11, fields, Unknown02 and UnknownB12.
ByteBuilder HeaderedInstanceHead(uint8_t id, int32_t grId) {
    ByteBuilder b;
    b.U8(id).I64(154).U8(id).I64(11).U8(id).U16(0).EmptyExtra().Zeros(11).I32(grId);
    b.U16(150).U16(140).U16(350).U16(830).U16(310).U16(190).U16(0x30).U8(0x2C).U8(0x0A).U8(0x0B).U8(0x0C).U8(2);
    b.U8(2).I64(91).U8(2).I64(26).U8(2).I64(11).U8(2).U16(0).EmptyExtra();
    return b.Zeros(6).Raw({0x30, 0, 0, 0, 1, 0});
}

// Loads a graphic list of `count` records; `s` keeps the stream for a look at its position.
std::unique_ptr<TDboGraphicInstanceList> LoadList(TDboBaseDesign& d, const Bytes& items, int count,
                                                  std::unique_ptr<TDboIStream>& s) {
    s = test::MemStream(ByteBuilder().U16(static_cast<uint16_t>(count)).Raw(items).b);
    auto list = Make<TDboGraphicInstanceList>(&d);
    list->Load(*s);
    return list;
}

// `length` bytes at `offset` of a stream in a corpus file; `path` names storages and the stream.
Bytes CorpusBytes(const std::string& file, std::vector<std::string> path, size_t offset, size_t length) {
    std::vector<std::unique_ptr<TDboIStorage>> storages(1);
    OpenRootStorage((test::CorpusDir() / file).string(), storages[0]);
    for (size_t i = 0; i + 1 < path.size(); ++i) {
        storages.emplace_back();
        storages[i]->OpenStorageSafe(path[i], storages.back());
    }
    Bytes all;
    {
        std::unique_ptr<TDboIStream> s;
        storages.back()->OpenStreamSafe(path.back(), s);
        s->ReadData("All", all, s->Size());
    }
    while (!storages.empty()) storages.pop_back();  // children before their parents
    EXPECT_LE(offset + length, all.size());
    return Bytes(all.begin() + offset, all.begin() + std::min(all.size(), offset + length));
}

Bytes ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

TEST(GraphicLibObjects, EveryKindRoundTripsInEveryVersion) {
    const Bytes extra = {0xAA, 0xBB, 0xCC};
    for (const auto& k : Kinds()) {
        for (uint32_t v : {test::kV1_1, test::kV1_2, test::kV2_3, test::kV3_3}) {
            SCOPED_TRACE(k.libClass + " in version " + std::to_string(v));
            const bool headered = v == test::kV2_3 || v == test::kV3_3;
            auto d = test::DesignOfVersion(v);
            ByteBuilder rec;
            rec.U8(k.libId);
            if (headered)
                rec.U8(k.libId).I64(static_cast<int64_t>(k.fields.size() + 11)).Raw(k.fields).Mask().I32(3).Raw(extra);
            else
                rec.Raw(k.fields);
            std::unique_ptr<TDboIStream> s;
            auto list = LoadList(*d, rec.b, 1, s);
            auto* o = dynamic_cast<TDboLibObject*>(list->GetInstances(0));
            ASSERT_NE(o, nullptr);
            EXPECT_EQ(o->ClassName(), k.libClass);
            k.check(*o);
            EXPECT_EQ(s->Remaining(), 0u);
            EXPECT_EQ(test::SaveBytes(*o), rec.b);
            if (headered) {
                EXPECT_EQ(o->ExtraData, extra);
                EXPECT_EQ(o->FullObjectSize(), static_cast<int64_t>(rec.b.size()));
            }
        }
    }
    // Embedded, the object neither writes nor counts the block.
    auto d = test::DesignOfVersion(test::kV2_3);
    auto line = Make<TDboLibLine>(d.get());
    line->EndX = 9;
    const Bytes fields = Ints({0, 0, 9, 0, 0, 0}).b;
    EXPECT_EQ(test::SaveBytes(*line), ByteBuilder().U8(41).U8(41).I64(32).Raw(fields).EmptyExtra().b);
    line->Embedded = true;
    EXPECT_EQ(test::SaveBytes(*line), ByteBuilder().U8(41).U8(41).I64(24).Raw(fields).b);
    EXPECT_EQ(line->FullObjectSize(), 34);
}

TEST(GraphicInstances, EveryKindRoundTripsWithoutHeadersAndLoadsWithThem) {
    for (const auto& k : Kinds()) {
        SCOPED_TRACE(k.instClass);
        for (uint32_t v : {test::kV1_1, kV0_2}) {
            auto d = test::DesignOfVersion(v);
            ByteBuilder rec = PlainInstanceHead(k.instId, 777).U8(k.libId).Raw(k.fields);
            if (v == kV0_2) rec.Raw({1, 2, 3, 4, 5, 6, 7, 8});  // UnknownB8
            std::unique_ptr<TDboIStream> s;
            auto list = LoadList(*d, rec.b, 1, s);
            auto* inst = dynamic_cast<TDboGraphicInstance*>(list->GetInstances(0));
            ASSERT_NE(inst, nullptr);
            EXPECT_EQ(inst->ClassName(), k.instClass);
            EXPECT_EQ(V(inst->GR_ID, inst->BoundingBoxLeft, inst->BoundingBoxTop, inst->BoundingBoxRight,
                        inst->BoundingBoxBottom, inst->LocationX, inst->LocationY, inst->RotColMirr, inst->ObjectType,
                        inst->UnknownB, inst->Name, inst->Owner, inst->DefiningGraphicObject, inst->HatchStyle,
                        inst->UsrData1, inst->UsrData2),
                      V(777, 100, 200, 300, -4, 50, 60, 0x0130, 0x2C, 0x2D, 0x02020000, 0x11, 0x22, 48, 1, 2));
            EXPECT_EQ(Bytes(inst->UnknownB13, inst->UnknownB13 + 13), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
            if (v == kV0_2) {
                EXPECT_EQ(Bytes(inst->UnknownB8, inst->UnknownB8 + 8), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
            }
            ASSERT_NE(inst->GetLibObject(), nullptr);
            EXPECT_EQ(inst->GetLibObject()->ClassName(), k.libClass);
            EXPECT_TRUE(inst->GetLibObject()->Embedded);
            k.check(*inst->GetLibObject());
            EXPECT_EQ(s->Remaining(), 0u);
            EXPECT_EQ(test::SaveBytes(*list), ByteBuilder().U16(1).Raw(rec.b).b);
        }
        // Headered: the embedded object has its header but no block; UnknownB8 follows.
        auto d = test::DesignOfVersion(test::kV2_3);
        ByteBuilder rec = HeaderedInstanceHead(k.instId, 0x00FBCBA4);
        rec.U8(k.libId).U8(k.libId).I64(static_cast<int64_t>(k.fields.size())).Raw(k.fields).Zeros(8);
        std::unique_ptr<TDboIStream> s;
        auto list = LoadList(*d, rec.b, 1, s);
        auto* inst = dynamic_cast<TDboGraphicInstance*>(list->GetInstances(0));
        ASSERT_NE(inst, nullptr);
        EXPECT_EQ(V(inst->GR_ID, inst->BoundingBoxLeft, inst->BoundingBoxTop, inst->BoundingBoxRight,
                    inst->BoundingBoxBottom, inst->LocationX, inst->LocationY, inst->RotColMirr, inst->ObjectType,
                    inst->UnknownB, inst->UnknownB2, inst->UnknownB3, inst->ID_02),
                  V(0x00FBCBA4, 150, 140, 350, 830, 310, 190, 0x30, 0x2C, 0x0A, 0x0B, 0x0C, 2));
        EXPECT_EQ(inst->Unknown02->HeaderRecords, (std::vector<int64_t>{91, 26, 11}));
        k.check(*inst->GetLibObject());
        EXPECT_EQ(s->Remaining(), 0u);
        // Saved, the sizes are those Capture writes: the instance's first counts the rest of it,
        // the inner record's first as well, its middle one stops six bytes into the twelve behind
        // it, and each last one counts the rest of its frame.
        Bytes saved = test::SaveBytes(*inst);
        auto at = [&](size_t pos) {
            int64_t v = 0;
            for (int i = 7; i >= 0; --i) v = (v << 8) | saved.at(pos + i);
            return v;
        };
        const int64_t size = static_cast<int64_t>(saved.size());
        const int64_t inner = 29 + 11 + 4 + 14 + 5;  // where the inner record begins
        EXPECT_EQ(V(at(1), at(10)), V(size - 9, 11));
        EXPECT_EQ(V(at(inner + 1), at(inner + 10), at(inner + 19)), V(size - inner - 9, 11 + 6 + 9, 11));
    }
}

TEST(GraphicInstances, NewBoxAndCorpusPageRecords) {
    // A new box: the instance's defaults, its "ID" 55 and 13 bytes, the embedded box with its "ID"
    // 40 and no header or block; 8 more bytes from 0x00010002 on.
    ByteBuilder plain;
    plain.U8(55).Zeros(13).I32(0).Zeros(12).U16(48).U8(0).U8(0).I32(0x02020000).I32(65535).I32(0).I32(0).U8(1).U8(0);
    plain.U8(40).Raw(Ints({1, 2, 3, 4, 0, 0, 0, 0}).b);
    for (uint32_t v : {test::kV1_1, test::kV1_2}) {
        auto d = test::DesignOfVersion(v);
        auto b = Make<TDboBox>(d.get());
        b->GR_ID = 0;
        b->LibObject->UpperLeftX = 1;
        b->LibObject->UpperLeftY = 2;
        b->LibObject->LowerRightX = 3;
        b->LibObject->LowerRightY = 4;
        EXPECT_EQ(test::SaveBytes(*b), v == test::kV1_1 ? plain.b : ByteBuilder(plain).Zeros(8).b);
    }
    ORCADX_REQUIRE_CORPUS();
    // 0x00000002: a box on a page, byte for byte.
    Bytes rec = CorpusBytes("parallella-hw/gen0/parallella_gen0.dsn", {"Views", "Parallella", "Pages", "01-COVER PAGE"},
                            0x723, 93);
    auto d2 = test::DesignOfVersion(kV0_2);
    auto s = test::MemStream(rec);
    auto box = Make<TDboBox>(d2.get());
    box->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(box->GR_ID, 0x01FA4CB6);
    EXPECT_EQ(box->LocationX, 900);
    EXPECT_EQ(box->LibObject->UpperLeftX, 610);
    EXPECT_EQ(box->LibObject->LowerRightY, 740);
    EXPECT_EQ(test::SaveBytes(*box), rec);

    // Headered box whose embedded object has no block.
    auto d3 = test::DesignOfVersion(test::kV2_3);
    rec = CorpusBytes("OOPTB_TB6.DSN", {"Views", "SCHEMATIC1", "Pages", "PAGE1"}, 0x1936, 163);
    auto list = LoadList(*d3, rec, 1, s);
    auto* hbox = dynamic_cast<TDboBox*>(list->GetInstances(0));
    ASSERT_NE(hbox, nullptr);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbox->HeaderRecords, (std::vector<int64_t>{154, 11}));
    EXPECT_EQ(hbox->BoundingBoxBottom, 830);
    EXPECT_EQ(hbox->LibObject->LowerRightX, 830);

    // Headered line whose embedded object ends in an extra-data block: the block is taken.
    rec = CorpusBytes("BEAGLEBONEBLK_C3.DSN", {"Views", "BeagleBoneBlack", "Pages", "P01_Title Page"}, 718, 164);
    s = test::MemStream(rec);
    auto line = Make<TDboLine>(d3.get());
    line->Load(*s);
    EXPECT_EQ(s->Position(), 163u);  // at the next record
    EXPECT_EQ(line->GR_ID, 0x01446B82);
    EXPECT_EQ(line->LibObject->EndX, 1416);
    EXPECT_EQ(line->LibObject->LineWidth, 1);
}

TEST(GraphicLibObjects, CorpusLibraryRecords) {
    ORCADX_REQUIRE_CORPUS();
    struct Cut {
        std::string file, storage, stream;
        size_t offset, length;
        Check check;
    };
    const std::vector<Cut> cuts = {
        {"Series-Regulator/Libs/IRFR120NPBF.OLB", "Packages", "IRFRU120N", 170, 50,
         [](auto& o) { EXPECT_EQ(As<TDboLibBox>(o).LowerRightX, 70); }},
        {"Series-Regulator/Libs/BC846B.OLB", "Packages", "QBC846B", 172, 42,
         [](auto& o) { EXPECT_EQ(As<TDboLibLine>(o).EndY, 7); }},
        {"onyxpsu/ONYXPSU_LIB.OLB", "Packages", "Solder_Jumper", 174, 58,
         [](auto& o) { EXPECT_EQ(As<TDboLibArc>(o).EndY, 20); }},
        {"onyxpsu/ONYXPSU_LIB.OLB", "Packages", "SIA461DJ", 275, 50,
         [](auto& o) { EXPECT_EQ(As<TDboLibEllipse>(o).BoundBoxBott, 29); }},
        {"Series-Regulator/Libs/BC846B.OLB", "Packages", "QBC846B", 340, 52,
         [](auto& o) { EXPECT_EQ(As<TDboLibFilledGraphic>(o).Vertices.Count(), 4); }},
        {"Series-Regulator/Libs/opto.olb", "Packages", "A4N25", 300, 44,
         [](auto& o) { EXPECT_EQ(As<TDboLibPolyLine>(o).Vertices.GetVertices(3)->X, 10); }},
        {"BerZerKku_ORCAD_lib/POWER.OLB", "Packages", "LM317EMP", 260, 52,
         [](auto& o) { EXPECT_EQ(As<TDboLibCommentText>(o).Txt, "OUT"); }},
        {"BerZerKku_ORCAD_lib/TITLE.OLB", "Symbols", "BOT_1", 2327, 3035,
         [](auto& o) { EXPECT_EQ(V(As<TDboLibBitmap>(o).BmpLen, As<TDboLibBitmap>(o).Width), V(2981, 1058)); }},
    };
    auto d = test::DesignOfVersion(test::kV2_3);
    for (const auto& c : cuts) {
        SCOPED_TRACE(c.file + " at " + std::to_string(c.offset));
        Bytes rec = CorpusBytes(c.file, {c.storage, c.stream}, c.offset, c.length);
        std::unique_ptr<TDboIStream> s;
        auto list = LoadList(*d, rec, 1, s);
        auto* o = dynamic_cast<TDboLibObject*>(list->GetInstances(0));
        ASSERT_NE(o, nullptr);
        c.check(*o);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(test::SaveBytes(*o), rec);
    }
    // FontID keeps its low 14 bits: 0x63720001 is written back as 1.
    Bytes text = CorpusBytes("OrCAD-Tutorials/CAPTURETUTORIAL.OLB", {"Symbols", "TitleBlock"}, 149, 54);
    auto t = Make<TDboLibCommentText>(d.get());
    t->Load(*test::MemStream(text));
    EXPECT_EQ(t->FontID, 1);
    text[36] = text[37] = 0;
    EXPECT_EQ(test::SaveBytes(*t), text);
    // A record without the block: the reader stops at the next record, and the record is written
    // back as it came. A new object has the block.
    Bytes gnd = CorpusBytes("capsym.olb", {"Symbols", "GND"}, 0x3E, 35);
    auto s = test::MemStream(gnd);
    auto line = Make<TDboLibLine>(d.get());
    line->Load(*s);
    EXPECT_EQ(s->Position(), 34u);
    EXPECT_EQ(line->EndX, 20);
    gnd.pop_back();
    EXPECT_EQ(test::SaveBytes(*line), gnd);
    EXPECT_EQ(line->FullObjectSize(), 34);
    EXPECT_EQ(Make<TDboLibLine>(d.get())->FullObjectSize(), 42);
}

TEST(GraphicList, ChoosesByTypeCodeAndRejectsWhatItCannot) {
    auto d = test::DesignOfVersion(test::kV1_1);
    std::unique_ptr<TDboIStream> s;
    auto list = LoadList(*d, ByteBuilder().U8(41).Raw(Ints({1, 1, 2, 2, 0, 0}).b).U8(43).Raw(Ints({0, 0, 4, 4, 0, 0, 1, 0}).b).b,
                         2, s);
    ASSERT_EQ(list->Count(), 2);
    EXPECT_EQ(std::string(list->GetInstances(0)->ClassName()) + list->GetInstances(1)->ClassName(),
              "TDboLibLineTDboLibEllipse");

    auto bad = test::MemStream({1, 0, 99, 0, 0});
    auto list2 = Make<TDboGraphicInstanceList>(d.get());
    EXPECT_EQ(MessageOf<Exception>([&] { list2->Load(*bad); }), "Unknown object type: 99.");
    EXPECT_EQ(bad->Position(), 2u);  // the unknown record stays unread
    EXPECT_EQ(MessageOf<Exception>([] { TDboGraphicInstanceList::ConstructObject(nullptr, 40); }),
              "Design should be assigned.");

    // Every instance created takes the next GR_ID, also one that a load then overwrites.
    int32_t next = GR_ID;
    auto a = TDboGraphicInstanceList::ConstructObject(d.get(), 55);
    auto b = Make<TDboOleObject>(d.get());
    auto lib = Make<TDboLibBox>(d.get());
    EXPECT_EQ(static_cast<TDboGraphicInstance*>(a.get())->GR_ID, next);
    EXPECT_EQ(b->GR_ID, next + 1);
    auto text = Make<TDboCommentText>(d.get());
    text->Load(*test::MemStream(PlainInstanceHead(61, 5).U8(46).Raw(Ints({0, 0, 0, 0, 0, 0, 0}).b).Str("x").b));
    EXPECT_EQ(text->GR_ID, 5);
    EXPECT_EQ(GR_ID, next + 3);
}

TEST(GraphicLibIEEE, LeadBytesAndFrame) {
    // Not headered: "ID", the kind-2 frame ("ID", user-property count), location, graphics whose
    // library objects carry a lead byte behind their "ID", the symbol's name.
    auto d = test::DesignOfVersion(test::kV1_1);
    const Bytes poly = Points(Ints({0, 0}), {{4, 8}, {4, 0}}).b, line = Ints({0, 0, 3, 0, 0, 0}).b;
    ByteBuilder head = ByteBuilder().U8(48).U8(48).U16(0xFFFF).U16(7).U16(15).U16(2);
    std::unique_ptr<TDboIStream> s;
    auto list = LoadList(*d, ByteBuilder(head).U8(45).U8(0x77).Raw(poly).U8(41).U8(0x77).Raw(line).Str("Hyst").b, 1, s);
    auto* ieee = dynamic_cast<TDboLibIEEE*>(list->GetInstances(0));
    ASSERT_NE(ieee, nullptr);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(V(ieee->LocationX, ieee->LocationY), V(7, 15));
    EXPECT_EQ(ieee->IEEESym, "Hyst");
    ASSERT_EQ(ieee->Graphics.Count(), 2);
    EXPECT_EQ(dynamic_cast<TDboLibLine*>(ieee->Graphics.GetInstances(1))->EndX, 3);
    // The save writes the lead byte back, so that what it writes reads back (and byte for byte).
    EXPECT_EQ(test::SaveBytes(*ieee), ByteBuilder(head).U8(45).U8(0x77).Raw(poly).U8(41).U8(0x77).Raw(line).Str("Hyst").b);

    // Symbols nested without end in a damaged file fail cleanly.
    ByteBuilder nested;
    for (int i = 0; i < 100000; ++i) nested.U8(48).U8(48).U16(0xFFFF).U16(0).U16(0).U16(1);
    EXPECT_NE(MessageOf<EDboFileIO>([&] { LoadList(*d, nested.b, 1, s); }).find("IEEE symbols nested"), std::string::npos);

    // Headered, from a real library: written back byte for byte, size headers included.
    if (!test::HaveCorpus()) return;
    auto h = test::DesignOfVersion(test::kV2_3);
    const Bytes real = CorpusBytes("Gate.olb", {"Packages", "14106"}, 0x140, 0x73);
    auto hs = test::MemStream(real);
    auto sym = Make<TDboLibIEEE>(h.get());
    sym->Load(*hs);
    EXPECT_EQ(hs->Remaining(), 0u);
    EXPECT_EQ(sym->IEEESym, "Hysteresis");
    ASSERT_EQ(sym->Graphics.Count(), 2);
    EXPECT_EQ(dynamic_cast<TDboLibPolyLine*>(sym->Graphics.GetInstances(1))->Vertices.GetVertices(1)->X, 12);
    EXPECT_EQ(test::SaveBytes(*sym), real);
    EXPECT_EQ(sym->FullObjectSize(), static_cast<int64_t>(real.size()));
}

TEST(GraphicLibCommentText, Multiline) {
    auto d = test::DesignOfVersion(test::kV1_1);
    auto t = Make<TDboLibCommentText>(d.get());
    auto multiline = [&](const std::string& text) {
        t->Txt = text;
        return t->IsMultiline();
    };
    EXPECT_FALSE(multiline(std::string(255, 'a')));
    EXPECT_TRUE(multiline(std::string(256, 'a')));
    EXPECT_TRUE(multiline("a\rb"));
    EXPECT_TRUE(multiline("a\nb"));
    std::string accented;
    for (int i = 0; i < 200; ++i) accented += "\xC3\xA9";  // 400 bytes of UTF-8, 200 characters in the file
    EXPECT_FALSE(multiline(accented));
}

TEST(GraphicLibBitmap, BlocksAndImages) {
    auto d = test::DesignOfVersion(test::kV1_1);
    auto dir = test::ScratchDir("GraphicLibBitmap");
    auto m = Make<TDboLibBitmap>(d.get());
    EXPECT_FALSE(m->ExtractBitmap((dir / "none.bmp").string()));
    EXPECT_FALSE(std::filesystem::exists(dir / "none.bmp"));

    // A 2 x 3 top-down bitmap: BITMAPINFOHEADER and 4 bytes of pixels.
    Bytes dib = ByteBuilder().I32(40).I32(2).I32(-3).U16(1).U16(24).Zeros(24).Raw({1, 2, 3, 4}).b;
    m->OffsetX = 5;
    m->AssignBitmap(dib);
    EXPECT_EQ(V(m->BmpLen, m->Width, m->Height, m->OffsetX), V(44, 2, 3, 0));
    ASSERT_TRUE(m->ExtractBitmap((dir / "a.bmp").string()));
    EXPECT_EQ(ReadFile(dir / "a.bmp"), ByteBuilder().U16(0x4D42).I32(58).U16(0).U16(0).I32(54).Raw(dib).b);
    EXPECT_THROW(m->AssignBitmap(Bytes(8, 0)), Exception);
    m->AssignBitmap({});
    EXPECT_EQ(m->BmpLen, 0);

    const uint8_t jpeg[] = {0xFF, 0xD8}, gif[] = {'G', 'I', 'F', '8', '9', 'a'};
    auto tryBlock = [&](const Bytes& block, const uint8_t* sig, int n) {
        m->Bmp = block;
        std::filesystem::remove(dir / "img");
        return m->TryExtractCompressedGraphic((dir / "img").string(), sig, n);
    };
    auto marker = [](const std::string& digits) {
        ByteBuilder b;
        b.Raw({0, 0, 0});
        for (char c : std::string("~~CI_IMAGE~~")) b.U8(static_cast<uint8_t>(c));
        b.U8(0xEE).U8(static_cast<uint8_t>(digits.size()));
        for (char c : digits) b.U8(static_cast<uint8_t>(c));
        return b;
    };
    EXPECT_FALSE(tryBlock(Bytes(14, '~'), jpeg, 2));
    const Bytes image = {0xFF, 0xD8, 1, 2, 3, 4, 5, 6, 7, 8};
    const Bytes good = marker("10").Raw(image).Raw({9, 9}).b;
    ASSERT_TRUE(tryBlock(good, jpeg, 2));
    EXPECT_EQ(ReadFile(dir / "img"), image);
    EXPECT_FALSE(tryBlock(good, gif, 6));
    EXPECT_FALSE(tryBlock(marker("13").Raw(image).b, jpeg, 2));  // past the end
    // A marker without digits is passed over and a later one is found.
    ASSERT_TRUE(tryBlock(marker("").Raw(marker("2").b).Raw({0xFF, 0xD8, 0}).b, jpeg, 2));
    EXPECT_EQ(ReadFile(dir / "img"), (Bytes{0xFF, 0xD8}));

    // A stored length past the end of the stream, or below 0, fails before anything is allocated.
    for (int32_t len : {0x7FFFFFFF, -1}) {
        auto s = test::MemStream(ByteBuilder().U8(47).Raw(Ints({0, 0, 0, 0, 0, 0, 0, 0, len}).b).Zeros(4).b);
        EXPECT_THROW(Make<TDboLibBitmap>(d.get())->Load(*s), EDboFileIO);
    }
}

TEST(GraphicOleObject, ReadAndDropped) {
    auto d = test::DesignOfVersion(test::kV2_3);
    std::unique_ptr<TDboIStream> s;
    auto list = LoadList(*d, ByteBuilder().U8(89).I64(5).Raw({1, 2, 3, 4, 5}).U8(40).I64(32).b, 1, s);
    auto* ole = dynamic_cast<TDboOleObject*>(list->GetInstances(0));
    ASSERT_NE(ole, nullptr);
    EXPECT_EQ(ole->ObjectSize, 5);
    EXPECT_EQ(s->Position(), 16u);
    EXPECT_EQ(test::SaveBytes(*ole), Bytes{});
    auto huge = test::MemStream(ByteBuilder().U8(89).I64(int64_t(1) << 40).Zeros(16).b);
    EXPECT_THROW(Make<TDboOleObject>(d.get())->Load(*huge), EDboFileIO);
}
