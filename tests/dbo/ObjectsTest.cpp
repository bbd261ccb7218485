// Records of a schematic page (wires, buses, nets, ports, title blocks, DRC marks, bookmarks), pins
// and pin properties, placed parts and hierarchical blocks: loading and saving in every file
// version, from bytes built here and from the pages of the sample designs.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>

#include <fmt/format.h>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

constexpr uint32_t kV0_2 = 0x00000002;  // extended, not headered

template <class E>
std::string MessageOf(const std::function<void()>& f) {
    try {
        f();
    } catch (const E& e) {
        return e.what();
    }
    return "no exception";
}

// Loads one object of class T from `bytes`; `s` keeps the stream for a look at its position.
template <class T>
std::unique_ptr<T> LoadOne(TDboBaseDesign& d, const Bytes& bytes, std::unique_ptr<TDboIStream>& s) {
    s = test::MemStream(bytes);
    auto o = Make<T>(&d);
    o->Load(*s);
    return o;
}

using Props = std::vector<std::pair<int32_t, int32_t>>;

// The frame of a record in a file without size headers: type code, then the property pairs as
// Words behind their count.
ByteBuilder PlainFrame(uint8_t id, const Props& props = {}) {
    ByteBuilder b;
    b.U8(id).U16(static_cast<uint16_t>(props.size()));
    for (auto [n, v] : props) b.U16(static_cast<uint16_t>(n)).U16(static_cast<uint16_t>(v));
    return b;
}

// The frame of a record with size headers: each header behind the type code, the code again, the
// property pairs as Ints, and an extra-data block holding `extra`.
ByteBuilder HeaderedFrame(uint8_t id, const std::vector<int64_t>& headers, const Props& props = {},
                          const Bytes& extra = {}) {
    ByteBuilder b;
    for (int64_t h : headers) b.U8(id).I64(h);
    b.U8(id).U16(static_cast<uint16_t>(props.size()));
    for (auto [n, v] : props) b.I32(n).I32(v);
    b.Mask().I32(static_cast<int32_t>(extra.size())).Raw(extra);
    return b;
}

// One visible property in the layout of `version`; the size headers of a headered file are those
// of a property without extra data (11 and 34).
void VisibleProp(ByteBuilder& b, uint32_t version, int32_t nameIdx, int16_t x, int16_t y, uint16_t fontAndRot,
                 uint16_t rotColMirr, uint16_t displayFormat) {
    if (version == test::kV2_3) b.U8(39).I64(34).U8(39).I64(11).U8(39).U16(0xFFFF).EmptyExtra().I32(nameIdx);
    else b.U8(39).U16(0xFFFF).U16(static_cast<uint16_t>(nameIdx));
    b.U16(static_cast<uint16_t>(x)).U16(static_cast<uint16_t>(y)).U16(fontAndRot).U16(rotColMirr);
    if (version != test::kV1_1) b.U16(displayFormat);
}

// A scalar pin without visible properties in a file without size headers.
void PlainPin(ByteBuilder& b, uint8_t id, const std::string& name, int32_t x) {
    b.Raw(PlainFrame(id).b).Str(name).I32(x).I32(0).I32(x + 30).I32(0).I32(57).I32(3).U8(id).U8(0).U16(0).U16(0);
}

// ---------------------------------------------------------------------------------------------
// Walking the pages of the sample designs

// The head of a page record: its frame, two names and fixed fields up to its object lists.
class PageHead : public TDboBaseObject {
public:
    using TDboBaseObject::TDboBaseObject;
    DBO_CLASS_NAME(PageHead)
    std::string Name;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    int Load(TDboIStream& s) override {
        LoadHeader(s);
        std::string size;
        s.ReadStr("PageName", Name);
        s.ReadStr("PageSize", size);
        Bytes fixed;
        s.ReadData("Fixed", fixed, 8 + 16 + 12 + 8 + 16 + 32 + 64);
        return 0;
    }
};

// The thirteen object lists of a page, in the order of the file.
struct PageLists {
    explicit PageLists(TDboBaseDesign* d)
        : titleBlocks(d, ClassOf<TDboTitleBlock>()),
          wireNets(d, ClassOf<TDboWireNet>()),
          busNets(d, ClassOf<TDboBusNet>()),
          netAliases(d),
          wires(d),
          parts(d),
          ports(d, ClassOf<TDboPort>()),
          powers(d, ClassOf<TDboPower>()),
          offPages(d, ClassOf<TDboOffPage>()),
          drcMarks(d, ClassOf<TDboDRCMark>()),
          busEntries(d, ClassOf<TDboBusEntry>()),
          graphics(d),
          bookMarks(d, ClassOf<TDboBookMark>()) {}
    TDboSimpleObjectList titleBlocks, wireNets, busNets;
    TDboNetAliasList netAliases;
    TDboWireBusList wires;
    TDboPartAndBlockList parts;
    TDboSimpleObjectList ports, powers, offPages, drcMarks, busEntries;
    TDboGraphicInstanceList graphics;
    TDboSimpleObjectList bookMarks;

    std::vector<TDboStorableList*> All() {
        return {&titleBlocks, &wireNets, &busNets, &netAliases, &wires,    &parts,    &ports,
                &powers,      &offPages, &drcMarks, &busEntries, &graphics, &bookMarks};
    }
};

struct Page {
    std::string name;
    Bytes bytes;
};

// Every page stream of the design file at `path`; sets the design's version from its library.
std::vector<Page> ReadPages(const std::filesystem::path& path, TDboBaseDesign& design) {
    std::vector<Page> pages;
    std::unique_ptr<TDboIStorage> root;
    OpenRootStorage(path.string(), root);
    {
        std::unique_ptr<TDboIStream> lib;
        root->OpenStreamSafe("Library", lib);
        design.Lib->Load(*lib);
    }
    if (!root->ExistStorage("Views")) return pages;
    std::unique_ptr<TDboIStorage> views;
    root->OpenStorageSafe("Views", views);
    for (const auto& view : views->Platform().List()) {
        if (!view.isStorage) continue;
        std::unique_ptr<TDboIStorage> viewStorage, pageStorage;
        views->OpenStorageSafe(UnescapeStorageName(view.name), viewStorage);
        if (!viewStorage->ExistStorage("Pages")) continue;
        viewStorage->OpenStorageSafe("Pages", pageStorage);
        for (const auto& p : pageStorage->Platform().List()) {
            if (p.isStorage) continue;
            std::unique_ptr<TDboIStream> s;
            std::string name = UnescapeStorageName(p.name);
            pageStorage->OpenStreamSafe(name, s);
            Page page{UnescapeStorageName(view.name) + "/" + name, {}};
            s->ReadData("Page", page.bytes, s->Size());
            pages.push_back(std::move(page));
        }
    }
    return pages;
}

}  // namespace

// Every page of every sample design: its lists load through these classes to the stream's end. In
// a file without size headers, the lists up to the drawings are written back byte for byte as they
// were read.
TEST(PageObjectsCorpus, EveryPageLoadsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    auto files = test::CorpusFiles({".dsn"});
    ASSERT_FALSE(files.empty());
    std::vector<std::string> failures;
    int pages = 0, rewritten = 0;
    std::map<std::string, int> counts;
    for (const auto& path : files) {
        std::string shown = std::filesystem::relative(path, test::CorpusDir()).string();
        auto design = std::make_unique<TDboBaseDesign>();
        std::vector<Page> list;
        try {
            list = ReadPages(path, *design);
        } catch (const std::exception& e) {
            failures.push_back(shown + ": " + e.what());
            continue;
        }
        for (const auto& page : list) {
            std::string where = shown + " " + page.name;
            try {
                ++pages;
                auto s = test::MemStream(page.bytes);
                auto head = Make<PageHead>(design.get());
                head->Load(*s);
                uint64_t listsAt = s->Position();
                PageLists lists(design.get());
                uint64_t graphicsAt = 0;
                for (TDboStorableList* l : lists.All()) {
                    if (l == &lists.graphics) graphicsAt = s->Position();
                    l->Load(*s);
                }
                // A page ends in one more Word behind its lists, 0 in every sample.
                Bytes rest;
                s->ReadData("Rest", rest, s->Remaining());
                if (rest != Bytes{0, 0}) {
                    std::string hex;
                    for (uint8_t b : rest) hex += fmt::format(" {:02X}", b);
                    failures.push_back(where + ": bytes behind the lists:" + hex);
                    continue;
                }
                for (TDboStorableList* l : lists.All())
                    for (auto& item : l->Items) ++counts[item->ClassName()];
                // A block keeps its pins in a library view exactly when the file is headered.
                for (int i = 0; i < lists.parts.Count(); ++i)
                    if (auto* block = dynamic_cast<TDboHierarchicalBlock*>(lists.parts.GetParts(i)))
                        if ((block->LibView != nullptr) != IsFileVersion(*block, VersionSet::Headered) ||
                            block->GetPins() == nullptr)
                            failures.push_back(where + ": block " + block->RefStr + " without its pins");
                if (!IsFileVersion(*head, VersionSet::Headered)) {
                    auto out = test::MemStream();
                    for (TDboStorableList* l : lists.All())
                        if (l != &lists.graphics && l != &lists.bookMarks) l->Save(*out);
                    const Bytes& got = test::Contents(*out);
                    Bytes want(page.bytes.begin() + listsAt, page.bytes.begin() + graphicsAt);
                    if (got == want) ++rewritten;
                    else {
                        size_t at = 0;
                        while (at < got.size() && at < want.size() && got[at] == want[at]) ++at;
                        failures.push_back(where + ": written back differently from " + std::to_string(listsAt + at));
                    }
                }
            } catch (const std::exception& e) {
                failures.push_back(where + ": " + e.what());
            }
        }
    }
    std::cout << "[ pages    ] " << files.size() << " files, " << pages << " pages, " << rewritten
              << " with their lists written back identically;";
    for (const auto& [cls, n] : counts) std::cout << " " << cls << " " << n;
    std::cout << "\n";
    for (const auto& f : failures) std::cout << "[ failed   ] " << f << "\n";
    EXPECT_TRUE(failures.empty());
    // The samples hold every kind of page record but bookmarks.
    for (const char* cls : {"TDboTitleBlock", "TDboWireNet", "TDboBusNet", "TDboWire", "TDboBus", "TDboPart",
                            "TDboHierarchicalBlock", "TDboPort", "TDboPower", "TDboOffPage", "TDboDRCMark",
                            "TDboBusEntry"})
        EXPECT_GT(counts[cls], 0) << cls;
}

// ---------------------------------------------------------------------------------------------
// Wires and buses

TEST(WireBus, LoadAndSaveInEachLayout) {
    // Without size headers: the net comes before the object id; an alias and a visible property
    // whose value comes from the user property of the same name.
    auto d = test::DesignOfVersion(test::kV1_1);
    ByteBuilder wire = PlainFrame(20, {{3, 4}});
    wire.I32(0x1111).I32(0x2222).U16(0x0130).U16(7).I32(10).I32(-20).I32(30).I32(40).U8(2);
    wire.U16(1).U8(49).U16(0xFFFF).I32(12).I32(14).U16(0x30).U16(0).I32(0x0102).I32(5).Str("NET1");
    wire.U16(1);
    VisibleProp(wire, test::kV1_1, 3, 1, 2, 0x4005, 0x30, 0);
    ByteBuilder bus = PlainFrame(21);
    bus.I32(1).I32(2).U16(0x30).U16(0).I32(0).I32(0).I32(0).I32(50).U8(0).U16(0).U16(0);
    Bytes all = ByteBuilder().U16(2).Raw(wire.b).Raw(bus.b).b;
    auto s = test::MemStream(all);
    TDboWireBusList list(d.get());
    list.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(list.Count(), 2);
    auto* w = dynamic_cast<TDboWire*>(list.GetItems(0));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->NetName, 0x1111);
    EXPECT_EQ(w->ObjectID, 0x2222);
    EXPECT_EQ(w->GetRotation(), 1);
    EXPECT_EQ(w->StartY, -20);
    EXPECT_EQ(w->Junction, 2);
    ASSERT_EQ(w->Aliases.Count(), 1);
    EXPECT_EQ(w->GetAliases(0)->Name, "NET1");
    EXPECT_EQ(w->GetAliases(0)->GetRotation(), 2);  // low byte of Rot
    EXPECT_EQ(w->VisibleProps.GetProps(0)->ValueIdx, 4);
    EXPECT_EQ(w->VisibleProps.GetProps(0)->GetRotation(), 1);
    EXPECT_NE(dynamic_cast<TDboBus*>(list.GetItems(1)), nullptr);
    EXPECT_EQ(list.GetItems(1)->EndY, 50);
    EXPECT_EQ(test::SaveBytes(list), all);

    // With size headers the object id stands first, "UnknownInt" twice ends the record, and the
    // type code is the frame's last, whatever the list chose the class by.
    auto h = test::DesignOfVersion(test::kV2_3);
    ByteBuilder hw = HeaderedFrame(20, {70, 11}, {}, {0xAA, 0xBB});
    hw.b[18] = 0x63;  // the code behind the last header
    hw.I32(0x2222).I32(0x1111).U16(0x30).U16(0).I32(1).I32(2).I32(3).I32(4).U8(0).U16(0);
    hw.U16(1);
    VisibleProp(hw, test::kV2_3, 3, 0, 0, 0, 0x30, 1);
    hw.I32(5).I32(6);
    std::unique_ptr<TDboIStream> hs;
    auto hwire = LoadOne<TDboWire>(*h, hw.b, hs);
    EXPECT_EQ(hs->Remaining(), 0u);
    EXPECT_EQ(hwire->ID, 0x63);
    EXPECT_EQ(hwire->ObjectID, 0x2222);
    EXPECT_EQ(hwire->NetName, 0x1111);
    EXPECT_EQ(hwire->UnknownInt, 6);
    EXPECT_EQ(hwire->HeaderRecords, (std::vector<int64_t>{70, 11}));
    EXPECT_EQ(hwire->ExtraData, (Bytes{0xAA, 0xBB}));
    EXPECT_EQ(hwire->VisibleProps.GetProps(0)->DisplayFormat, 1);
    // Two size headers with the default sizes: a headered file can't hold a wire or its alias.
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*hwire); }),
              "GetHeaderRecord() must be overridden for TDboWire");
    auto alias = Make<TDboWireAlias>(h.get());
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*alias); }),
              "GetHeaderRecord() must be overridden for TDboWireAlias");
}

// A type code other than a wire's or a bus's makes no object and consumes nothing: the count
// bounds the loop, and the stream's own read error reports what follows.
TEST(WireBus, UnknownCodeConsumesNothing) {
    auto d = test::DesignOfVersion(test::kV2_3);
    auto s = test::MemStream(ByteBuilder().U16(3).U8(0x5C).U8(0x14).b);
    TDboWireBusList list(d.get());
    list.Load(*s);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(s->Position(), 2u);

    auto end = test::MemStream(ByteBuilder().U16(1).b);
    TDboWireBusList cut(d.get());
    EXPECT_EQ(MessageOf<EDboFileIO>([&] { cut.Load(*end); }), "Reading stream: test 00000002(1)");
    TDboPartAndBlockList parts(d.get());
    auto s2 = test::MemStream(ByteBuilder().U16(2).U8(20).b);
    parts.Load(*s2);
    EXPECT_EQ(parts.Count(), 0);
    EXPECT_EQ(s2->Position(), 2u);
    // A wire record cut short names the stream and the place of the failed read (its first
    // size header here).
    auto s3 = test::MemStream(ByteBuilder().U16(1).U8(20).U16(0).I32(1).b);
    EXPECT_EQ(MessageOf<EDboFileIO>([&] { TDboWireBusList(d.get()).Load(*s3); }), "Reading stream: test 00000003(8)");
}

// ---------------------------------------------------------------------------------------------
// Nets

TEST(Nets, WireNetsBusNetsAndAliases) {
    auto plain = test::DesignOfVersion(test::kV1_1);
    Bytes netBytes = ByteBuilder().I32(77).Str("N$1").b;
    std::unique_ptr<TDboIStream> s;
    auto net = LoadOne<TDboWireNet>(*plain, netBytes, s);
    EXPECT_EQ(net->NetID, 77);
    EXPECT_EQ(net->Name, "N$1");
    EXPECT_EQ(net->UnknownInt2, 48);  // not in this layout: the default stays
    EXPECT_EQ(test::SaveBytes(*net), netBytes);

    auto ext = test::DesignOfVersion(kV0_2);
    Bytes busBytes = ByteBuilder().I32(9).Str("D[0..1]").U16(2).I32(77).I32(78).b;
    auto bus = LoadOne<TDboBusNet>(*ext, busBytes, s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(bus->NetRefs.Count(), 2);
    EXPECT_EQ(bus->GetNetRefs(1)->Reference, 78);
    EXPECT_EQ(test::SaveBytes(*bus), busBytes);

    // With size headers: a simple header in front, four Ints behind the name.
    auto h = test::DesignOfVersion(test::kV2_3);
    auto hnet = LoadOne<TDboWireNet>(*h, ByteBuilder().U8(52).I64(27).I32(5).Str("A").I32(1).I32(2).I32(3).I32(4).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hnet->Header, 27);
    EXPECT_EQ(hnet->UnknownInt4, 4);
    auto hbus = LoadOne<TDboBusNet>(
        *h, ByteBuilder().U8(53).I64(0).I32(6).Str("").I32(0).I32(0).I32(0).I32(0).U16(1).I32(5).b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbus->ID, 53);
    EXPECT_EQ(hbus->GetNetRefs(0)->Reference, 5);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*hnet); }),
              "GetHeaderRecord() must be overridden for TDboWireNet");

    // Aliases have no frame in any version; the search ignores case.
    Bytes aliasBytes = ByteBuilder().U16(2).Str("Vcc").I32(100).Str("GND").I32(101).b;
    TDboNetAliasList aliases(h.get());
    auto as = test::MemStream(aliasBytes);
    aliases.Load(*as);
    EXPECT_EQ(aliases.GetNetIDs("VCC"), 100);
    EXPECT_EQ(aliases.GetNetIDs("gnd"), 101);
    EXPECT_EQ(aliases.GetNetIDs("VCC2"), -1);
    EXPECT_EQ(test::SaveBytes(aliases), aliasBytes);
}

// ---------------------------------------------------------------------------------------------
// Bus entries, title blocks, DRC marks, bookmarks

TEST(PageAnnotations, BusEntryAndTitleBlockInEachLayout) {
    auto plain = test::DesignOfVersion(test::kV1_1);
    ByteBuilder entry = PlainFrame(29, {{1, 2}});
    entry.U16(0x0230).U16(1).I32(10).I32(20).I32(30).I32(40).U16(3).U16(4).U16(5).U16(6);
    std::unique_ptr<TDboIStream> s;
    auto e = LoadOne<TDboBusEntry>(*plain, entry.b, s);
    EXPECT_EQ(e->GetRotation(), 2);
    EXPECT_EQ(e->EndY, 40);
    EXPECT_EQ(e->Unknown6, 6);
    EXPECT_EQ(e->UserProps.Count(), 1);
    EXPECT_EQ(test::SaveBytes(*e), entry.b);

    auto h = test::DesignOfVersion(test::kV2_3);
    ByteBuilder hentry = HeaderedFrame(29, {0x2E, 0x0B});
    hentry.U16(0x30).U16(0).I32(-1).I32(-2).I32(-3).I32(-4).U16(0).U16(0).U16(0).U16(9);
    auto he = LoadOne<TDboBusEntry>(*h, hentry.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(he->StartX, -1);
    EXPECT_EQ(he->Unknown6, 9);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*he); }),
              "GetHeaderRecord() must be overridden for TDboBusEntry");

    const Bytes b13 = {0x40, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    for (uint32_t v : {test::kV1_2, test::kV2_3}) {
        SCOPED_TRACE(v);
        auto d = test::DesignOfVersion(v);
        ByteBuilder tb = v == test::kV2_3 ? HeaderedFrame(65, {3, 2, 1}) : PlainFrame(65);
        tb.U16(4).U16(5).I32(6).Str("TitleBlock0").I32(580).I32(0).U16(92).U16(360).U16(1000).U16(700);
        tb.U16(0x30).U16(65).U16(1);
        VisibleProp(tb, v, 8, 0, 0, 0, 0x30, 1);
        tb.Raw(b13);
        auto t = LoadOne<TDboTitleBlock>(*d, tb.b, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(t->TBName, 4);
        EXPECT_EQ(t->SrcLib, 5);
        EXPECT_EQ(t->SymName, "TitleBlock0");
        EXPECT_EQ(t->LocationY, 700);
        EXPECT_EQ(Bytes(t->UnknownB13.begin(), t->UnknownB13.end()), b13);
        if (v == test::kV2_3)
            EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*t); }),
                      "GetHeaderRecord() must be overridden for TDboTitleBlock");
        else
            EXPECT_EQ(test::SaveBytes(*t), tb.b);
    }
    // The string accessors go through the design's string list.
    auto t = Make<TDboTitleBlock>(plain.get());
    EXPECT_EQ(t->GetSrcLib(), plain->LibPath());
    t->SetTBName("ANSI_A");
    EXPECT_EQ(t->GetTBName(), "ANSI_A");
    EXPECT_EQ(t->TBName, plain->Lib->GetIndex("ANSI_A"));
}

TEST(PageAnnotations, DRCMarkAndBookMarkInEachLayout) {
    std::unique_ptr<TDboIStream> s;
    auto plain = test::DesignOfVersion(test::kV1_1);
    ByteBuilder drc = PlainFrame(77);
    drc.Raw({1, 2, 3, 4, 5, 6, 7, 8}).Str("ERC").Zeros(11).U8(0x12).U16(150).U16(250).Zeros(6).U8(0x07);
    drc.Str("WARNING").Str("U1").Str("");
    auto m = LoadOne<TDboDRCMark>(*plain, drc.b, s);
    EXPECT_EQ(m->ID, 77);
    EXPECT_EQ(m->Name, "ERC");
    EXPECT_EQ(m->UnknownB12[11], 0x12);
    EXPECT_EQ(m->LocY, 250);
    EXPECT_EQ(m->UnknownB7[6], 0x07);
    EXPECT_EQ(m->Info2, "U1");
    EXPECT_EQ(test::SaveBytes(*m), drc.b);

    auto h = test::DesignOfVersion(test::kV2_3);
    ByteBuilder hdrc = HeaderedFrame(77, {3, 2, 1});
    hdrc.Zeros(8).Str("ERC").Raw({1, 2, 3, 4, 5, 6}).U16(150).U16(250).Zeros(12).U8(0x13);
    hdrc.Str("QUESTION").Str("").Str("x");
    auto hm = LoadOne<TDboDRCMark>(*h, hdrc.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hm->UnknownB6[5], 6);
    EXPECT_EQ(hm->UnknownB13[12], 0x13);
    EXPECT_EQ(hm->Info3, "x");
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*hm); }), "need implemented");

    ByteBuilder book = ByteBuilder().U8(78).U16(1).U16(2).U16(3).Raw({4, 5, 6, 7}).Str("BM1");
    book.Zeros(12).U16(50).U16(60).Raw({1, 2, 3, 4, 5, 6, 7});
    auto bm = LoadOne<TDboBookMark>(*plain, book.b, s);
    EXPECT_EQ(bm->ID, 78);
    EXPECT_EQ(bm->NameIdx, 2);
    EXPECT_EQ(bm->FNameIdx, 3);
    EXPECT_EQ(bm->TxtID, "BM1");
    EXPECT_EQ(bm->LocX, 50);
    EXPECT_EQ(test::SaveBytes(*bm), book.b);

    // With size headers everything up to the end-of-block mask is passed over.
    ByteBuilder hbook = ByteBuilder().U8(78).U8(78).I64(40).U8(78).U16(0).Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0});
    hbook.I32(300).I32(301).Str("BM2").I32(9).U16(70).U16(80).Zeros(14).U8(0x15);
    auto hbm = LoadOne<TDboBookMark>(*h, hbook.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hbm->NameIdx, 300);
    EXPECT_EQ(hbm->TxtID, "BM2");
    EXPECT_EQ(hbm->UnknownInt, 9);
    EXPECT_EQ(hbm->LocY, 80);
    EXPECT_EQ(hbm->UnknownData[14], 0x15);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*hbm); }), "need implemented");
    // Without the mask the search runs into the end of the stream.
    EXPECT_THROW(LoadOne<TDboBookMark>(*h, ByteBuilder().U8(78).Zeros(40).b, s), EDboFileIO);
}

// ---------------------------------------------------------------------------------------------
// Ports, power objects and off-page connectors

namespace {

// A port in a file without size headers at (100, 100) with the rotation `rot`; `shiftX` and
// `shiftY` are added to the location, and Height and Width are those given.
ByteBuilder PlainPort(int rot, int16_t height, int16_t width, int16_t shiftX, int16_t shiftY) {
    ByteBuilder b = PlainFrame(23, {{9, 12}});
    b.U16(9).U16(2).I32(2).Str("PORTRIGHT-R").I32(36).I32(0).U16(static_cast<uint16_t>(height));
    b.U16(static_cast<uint16_t>(width)).U16(static_cast<uint16_t>(100 + shiftX)).U16(static_cast<uint16_t>(100 + shiftY));
    b.U16(static_cast<uint16_t>(0x30 | (rot << 8))).U16(1047).U16(1);
    VisibleProp(b, test::kV1_1, 9, 0, 0, 0, 0x30, 0);
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
        EXPECT_EQ(port->Unknown, 2);
        // Every visible property shows the port's name, not the user property's value.
        EXPECT_EQ(port->VisibleProps.GetProps(0)->ValueIdx, 9);
        // Saving writes the fields as they stand: the shift isn't undone.
        EXPECT_EQ(test::SaveBytes(*port), PlainPort(rot, 20, 30, shift[rot][0], shift[rot][1]).b);
    }
}

TEST(Ports, HeaderCountFollowsTheTypeCode) {
    auto h = test::DesignOfVersion(test::kV2_3);
    // A power object: two headers, Int indexes and no "Unknown"; no shift and no port type.
    ByteBuilder power = HeaderedFrame(37, {60, 11});
    power.I32(0x10005).I32(14).Str("VCC").I32(44).I32(0).U16(5).U16(6).U16(200).U16(300).U16(0x130).U16(37);
    power.U16(0).I32(49441).U16(0);
    std::unique_ptr<TDboIStream> s;
    auto p = LoadOne<TDboPower>(*h, power.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(p->PortNameIdx, 0x10005);
    EXPECT_EQ(p->SymName, "VCC");
    EXPECT_EQ(p->Height, 5);
    EXPECT_EQ(p->LocationY, 300);
    EXPECT_EQ(p->HeaderRecords.size(), 2u);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*p); }),
              "GetHeaderRecord() must be overridden for TDboPower");

    // A port has three headers; the count is known from the code before the frame is read.
    ByteBuilder port = HeaderedFrame(23, {90, 80, 11});
    port.I32(7).I32(14).Str("P").I32(0).I32(0).U16(0).U16(0).U16(10).U16(20).U16(0x30).U16(23).U16(0);
    port.I32(0).U16(0).I32(2);
    auto pt = LoadOne<TDboPort>(*h, port.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(pt->HeaderRecords, (std::vector<int64_t>{90, 80, 11}));
    EXPECT_EQ(pt->LocationY, 30);

    // Any other code: the frame ends at the end-of-block mask.
    ByteBuilder odd = ByteBuilder().U8(99).Raw({1, 2, 0xFF, 3}).Raw({0xFF, 0xE4, 0x5C, 0x39, 0, 0, 0, 0});
    odd.I32(8).I32(14).Str("X").I32(0).I32(0).U16(0).U16(0).U16(0).U16(0).U16(0x30).U16(99).U16(0).I32(0).U16(0);
    auto o = LoadOne<TDboOffPage>(*h, odd.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(o->ID, 99);
    EXPECT_EQ(o->PortNameIdx, 8);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*o); }), "HeaderRecordCount must be defined for TDboOffPage");

    // Without size headers: Word indexes and the "Unknown" Int.
    auto plain = test::DesignOfVersion(kV0_2);
    ByteBuilder off = PlainFrame(38);
    off.U16(3).U16(4).I32(0x8F9CF0).Str("OFFPAGELEFT-L").I32(209).I32(0).U16(1).U16(2).U16(3).U16(4).U16(0x30);
    off.U16(38).U16(0).I32(35).U16(0);
    auto op = LoadOne<TDboOffPage>(*plain, off.b, s);
    EXPECT_EQ(op->Unknown, 0x8F9CF0);
    EXPECT_EQ(op->LocationY, 4);
    EXPECT_EQ(test::SaveBytes(*op), off.b);
    op->SetPortName("CLK");
    EXPECT_EQ(op->GetPortName(), "CLK");
    EXPECT_EQ(Make<TDboPower>(plain.get())->GetSrcLib(), plain->LibPath());
}

// ---------------------------------------------------------------------------------------------
// Pins and pin properties

TEST(Pins, ListSkipsUnknownCodesAndNumbersPins) {
    auto d = test::DesignOfVersion(test::kV1_1);
    ByteBuilder pins;
    pins.U16(3);
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
    EXPECT_EQ(list.GetPins(1)->PinName, "D[0..7]");
    EXPECT_EQ(list.GetPins(1)->EndX, 50);
    EXPECT_EQ(list.GetPins(1)->PinType, 3);
    ByteBuilder saved;
    saved.U16(2);
    PlainPin(saved, 26, "A", 10);
    PlainPin(saved, 27, "D[0..7]", 20);
    EXPECT_EQ(test::SaveBytes(list), saved.b);

    // Attribute bits touch only themselves (57 = visible, plus bits 0, 3 and 4).
    TDboPin* pin = list.GetPins(0);
    EXPECT_TRUE(pin->GetIsVisible());
    EXPECT_FALSE(pin->GetIsDot());
    pin->SetIsDot(true);
    pin->SetIsClock(true);
    pin->SetIsVisible(false);
    EXPECT_EQ(pin->Attributes, 57 + 2 + 4 - 32);

    // Pin properties: 16 and 17 are known, any other byte is dropped.
    auto ext = test::DesignOfVersion(test::kV1_2);
    ByteBuilder props = ByteBuilder().U16(3);
    props.Raw(PlainFrame(16).b).U16(1).U16(5).U16(6).I32(7).I32(8).U16(0);
    props.U8(0x42);
    props.Raw(PlainFrame(17).b).U16(2).U16(0).U16(0).I32(0).I32(9).U16(0);
    auto ps = test::MemStream(props.b);
    TDboPinPropsList plist(ext.get());
    plist.Load(*ps);
    EXPECT_EQ(ps->Remaining(), 0u);
    ASSERT_EQ(plist.Count(), 2);
    EXPECT_EQ(plist.GetPinProps(0)->WireId, 7);
    EXPECT_EQ(plist.GetPinProps(0)->NetID, 8);
    EXPECT_EQ(plist.GetPinProps(1)->ID, 17);
}

// A pin has its own size headers, so a headered file can hold it: the headers count the name,
// six Ints, four small fields and the visible properties.
TEST(Pins, HeaderedPinIsWrittenWithItsSizes) {
    auto h = test::DesignOfVersion(test::kV2_3);
    // Headers stored largest first: 11 + 9 + (2 + 3) + 24 + 4 + (2 + 43) = 98, then 11.
    ByteBuilder pin = HeaderedFrame(26, {98, 11});
    pin.Str("A1").I32(0).I32(10).I32(0).I32(40).I32(57).I32(7).U8(26).U8(0).U16(0).U16(1);
    VisibleProp(pin, test::kV2_3, 5, 3, 4, 0x0009, 0x30, 1);
    std::unique_ptr<TDboIStream> s;
    auto p = LoadOne<TDboPinScalar>(*h, pin.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(p->PinName, "A1");
    EXPECT_EQ(p->PinType, 7);
    EXPECT_EQ(p->VisibleProps.GetProps(0)->FontID, 9);
    EXPECT_EQ(test::SaveBytes(*p), pin.b);
    EXPECT_EQ(p->FullObjectSize(), static_cast<int64_t>(pin.b.size()));

    // Pin properties keep the default sizes and can't be written there.
    auto pp = Make<TDboPinPropsScalar>(h.get());
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*pp); }),
              "GetHeaderRecord() must be overridden for TDboPinPropsScalar");
    ByteBuilder hpp = HeaderedFrame(17, {40, 11});
    hpp.U16(3).U16(0xFFFF).U16(20).I32(6).I32(-1).U16(0);
    auto loaded = LoadOne<TDboPinPropsBus>(*h, hpp.b, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(loaded->LocationX, -1);
    EXPECT_EQ(loaded->NetID, -1);
}

// ---------------------------------------------------------------------------------------------
// Placed parts

namespace {

// A part whose three value indexes are Words without size headers and Ints with them.
ByteBuilder PartRecord(uint32_t version) {
    bool headered = version == test::kV2_3;
    ByteBuilder b = headered ? HeaderedFrame(13, {4, 3, 2, 1}, {{3, 4}}) : PlainFrame(13, {{3, 4}});
    b.U16(5).U16(6).I32(7).Str("RES.Normal").I32(1234).I32(0).U16(10).U16(20).U16(300).U16(400).U16(0x0530).U16(13);
    b.U16(1);
    VisibleProp(b, version, 3, 0, 0, 0, 0x30, 1);
    b.U8(24).Str("R1");
    for (int32_t v : {8, 9, 10}) headered ? b.I32(v) : b.U16(static_cast<uint16_t>(v));
    b.U16(0x8016).U16(1);
    if (headered) b.Raw(HeaderedFrame(16, {2, 1}).b);
    else b.Raw(PlainFrame(16).b);
    b.U16(1).U16(0).U16(0).I32(0).I32(44).U16(0);
    return b.Str("RES").U16(1);
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
        EXPECT_EQ(part->NameIdx, 5);
        EXPECT_EQ(part->LibNameIdx, 7);
        EXPECT_EQ(part->ViewName, "RES.Normal");
        EXPECT_EQ(part->SearchIndex, 1234);
        EXPECT_EQ(part->GetMirror(), 1);
        EXPECT_EQ(part->DesignatorStr, "R1");
        EXPECT_EQ(part->ValueIdx, 8);
        EXPECT_EQ(part->ImplementationIdx, 10);
        EXPECT_EQ(part->GetImplementationType(), 5);
        EXPECT_TRUE(part->GetHighFlag());
        ASSERT_EQ(part->PinProps.Count(), 1);
        EXPECT_EQ(part->PinProps.GetPinProps(0)->NetID, 44);
        EXPECT_EQ(part->SrcPkg, "RES");
        EXPECT_EQ(part->PartNo, 1);
        EXPECT_EQ(part->VisibleProps.GetProps(0)->ValueIdx, 4);
        if (v == test::kV2_3) {
            // A property pair has no size of its own, and without pairs the four headers of
            // default sizes can't be written either.
            EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*part); }),
                      "GetHeaderRecord() must be overridden for TDboPropNameVal");
            part->UserProps.Clear();
            EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*part); }),
                      "GetHeaderRecord() must be overridden for TDboPart");
        } else {
            EXPECT_EQ(test::SaveBytes(*part), rec);
        }
    }
}

TEST(Parts, SearchIndexFlagsAndStrings) {
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
    EXPECT_EQ(a->GetImplementationType(), 7);
    EXPECT_EQ(a->Flags, 2 | (7 << 2));
    a->SetHighFlag(true);
    EXPECT_EQ(a->Flags, 0x8000 | 2 | (7 << 2));
    a->SetHighFlag(false);
    EXPECT_FALSE(a->GetHighFlag());
    EXPECT_EQ(a->GetImplementationType(), 7);

    EXPECT_EQ(a->GetSrcLib(), d->LibPath());
    a->SetValue("10k");
    a->SetImplementationPath("C:\\MODELS\\R.LIB");
    EXPECT_EQ(a->GetValue(), "10k");
    EXPECT_EQ(a->ValueIdx, d->Lib->GetIndex("10K"));  // one entry for both cases
    EXPECT_EQ(a->GetImplementationPath(), "C:\\MODELS\\R.LIB");
    a->SetValue("");
    EXPECT_EQ(a->ValueIdx, 0);
}

// ---------------------------------------------------------------------------------------------
// Hierarchical blocks

namespace {

ByteBuilder PlainBlock() {
    ByteBuilder b = PlainFrame(12);
    b.U16(5).U16(6).I32(0x73DD42C2).Str("BLOCK").I32(3).I32(0).U16(0).U16(0).U16(100).U16(200).U16(0x30).U16(12);
    b.U16(0);
    b.Raw({0x18, 0x18, 0, 0, 0, 0, 0, 0, 0, 0, 0x30, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    b.U16(250).U16(150).U16(1);
    PlainPin(b, 26, "IN", 0);
    b.Zeros(11).U8(0x0C).U16(0).U16(3).Str("SUB1").U16(7).U16(8).U16(9).U16(34).U16(1);
    b.Raw(PlainFrame(16).b).U16(0).U16(0).U16(50).I32(0).I32(3).U16(0);
    return b;
}

}  // namespace

TEST(Blocks, PlainLayoutRoundTripsAndAccessors) {
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
    EXPECT_EQ(block->GetPins(), block->Pins.get());
    EXPECT_EQ(block->GetPins()->GetPins(0)->PinName, "IN");
    EXPECT_EQ(block->UnknownAInt3[11], 0x0C);
    EXPECT_EQ(block->RefStr, "SUB1");
    EXPECT_EQ(block->ImplementFolderIdx, 9);
    EXPECT_EQ(block->UnknownW_3, 34);
    EXPECT_EQ(block->PinProps.GetPinProps(0)->NetID, 3);
    EXPECT_EQ(test::SaveBytes(*block), rec);

    // A new block saves its defaults: the same bytes but for what was set above.
    auto fresh = Make<TDboHierarchicalBlock>(d.get());
    fresh->NameIdx = 5;
    fresh->SrcLib = 6;
    fresh->SymName = "BLOCK";
    fresh->LocationX = 100;
    fresh->LocationY = 200;
    fresh->SetWidth(250);
    fresh->SetHeight(150);
    auto pin = Make<TDboPinScalar>(d.get());
    pin->PinName = "IN";
    pin->EndX = 30;
    pin->PinType = 3;
    fresh->GetPins()->Add(std::move(pin));
    fresh->UnknownAInt3[11] = 0x0C;
    fresh->RefStr = "SUB1";
    fresh->ImplementSheetIdx = 7;
    fresh->ImplementFileIdx = 8;
    fresh->ImplementFolderIdx = 9;
    fresh->UnknownW_3 = 34;
    auto pp = Make<TDboPinPropsScalar>(d.get());
    pp->LocationY = 50;
    pp->NetID = 3;
    fresh->PinProps.Add(std::move(pp));
    EXPECT_EQ(test::SaveBytes(*fresh), rec);

    fresh->SetRefStr("SUB2");
    EXPECT_EQ(fresh->NameIdx, d->Lib->GetIndex("SUB2"));
    fresh->SetImplementation("SCHEMATIC2");
    EXPECT_EQ(fresh->GetImplementation(), "SCHEMATIC2");
    EXPECT_EQ(fresh->ImplementSheetIdx, fresh->ImplementFolderIdx);

    // In a headered file the pins live in a library view, made on demand; no save there.
    auto h = test::DesignOfVersion(test::kV2_3);
    auto hb = Make<TDboHierarchicalBlock>(h.get());
    TDboPinList* pins = hb->GetPins();
    ASSERT_NE(hb->LibView, nullptr);
    EXPECT_EQ(pins, hb->LibView->Pins.get());
    EXPECT_EQ(hb->Pins, nullptr);
    hb->LibView->Left = 10;
    hb->SetWidth(40);
    EXPECT_EQ(hb->LibView->Right, 50);
    EXPECT_EQ(hb->GetWidth(), 40);
    EXPECT_EQ(MessageOf<Exception>([&] { test::SaveBytes(*hb); }), "need implemented");
}

// ---------------------------------------------------------------------------------------------
// Records cut from the pages of sample designs

namespace {

// `length` bytes at `offset` of a page stream of a sample design; sets the design's version.
Bytes PageRecord(TDboBaseDesign& design, const std::string& file, const std::string& view, const std::string& page,
                 size_t offset, size_t length) {
    for (const auto& p : ReadPages(test::CorpusDir() / file, design))
        if (p.name == view + "/" + page) {
            EXPECT_LE(offset + length, p.bytes.size());
            if (offset + length > p.bytes.size()) return {};
            return Bytes(p.bytes.begin() + offset, p.bytes.begin() + offset + length);
        }
    ADD_FAILURE() << "no page " << view << "/" << page << " in " << file;
    return {};
}

}  // namespace

TEST(PageObjectsCorpus, CutRecordsLoadAndRoundTrip) {
    ORCADX_REQUIRE_CORPUS();
    std::unique_ptr<TDboIStream> s;
    // Without size headers (version 2): every record is written back as it was read.
    TDboBaseDesign gen0;
    const std::string file = "parallella-hw/gen0/parallella_gen0.dsn";
    Bytes tb = PageRecord(gen0, file, "Parallella", "05-GIGE PORT", 0xB4, 0xD1);
    auto title = LoadOne<TDboTitleBlock>(gen0, tb, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(title->SymName, "TitleBlock0");
    EXPECT_EQ(title->UserProps.Count(), 11);
    EXPECT_EQ(title->VisibleProps.Count(), 7);
    EXPECT_EQ(test::SaveBytes(*title), tb);

    Bytes wire = PageRecord(gen0, file, "Parallella", "06-USB PORTS", 0x6AA, 0x49);
    auto w = LoadOne<TDboWire>(gen0, wire, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(w->ObjectID, 25759947);  // the net of the page's net list, second in this layout
    EXPECT_EQ(w->StartX, 1560);
    ASSERT_EQ(w->Aliases.Count(), 1);
    EXPECT_EQ(w->GetAliases(0)->Name, "P0_VBUS_DET");
    EXPECT_EQ(test::SaveBytes(*w), wire);

    Bytes busNet = PageRecord(gen0, file, "Parallella", "04-ZYNQ BANK 501", 0x2C1, 0x29);
    auto bn = LoadOne<TDboBusNet>(gen0, busNet, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(bn->NetID, 25756486);
    EXPECT_EQ(bn->NetRefs.Count(), 8);
    EXPECT_EQ(test::SaveBytes(*bn), busNet);

    Bytes entry = PageRecord(gen0, file, "Parallella", "04-ZYNQ BANK 501", 0x2DA2, 0x1F);
    EXPECT_EQ(test::SaveBytes(*LoadOne<TDboBusEntry>(gen0, entry, s)), entry);
    Bytes power = PageRecord(gen0, file, "Parallella", "02-ZYNQ BANK 0", 0x2F51, 0x3C);
    auto pw = LoadOne<TDboPower>(gen0, power, s);
    EXPECT_EQ(pw->SymName, "VCC");
    EXPECT_EQ(pw->PortNameIdx, 3234);
    EXPECT_EQ(test::SaveBytes(*pw), power);
    Bytes off = PageRecord(gen0, file, "Parallella", "02-ZYNQ BANK 0", 0x33A9, 0x5A);
    auto op = LoadOne<TDboOffPage>(gen0, off, s);
    EXPECT_EQ(op->SymName, "OFFPAGERIGHT-R");
    EXPECT_EQ(test::SaveBytes(*op), off);

    // With size headers.
    TDboBaseDesign pre;
    Bytes part = PageRecord(pre, "PREAMPL_SCHEM.DSN", "SCHEMATIC1", "PAGE1", 0x19F4, 0x153);
    auto pt = LoadOne<TDboPart>(pre, part, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(pt->ViewName, "R.Normal");
    EXPECT_EQ(pt->DesignatorStr, "R7");
    EXPECT_EQ(pt->SrcPkg, "R");
    EXPECT_EQ(pt->PinProps.Count(), 2);
    Bytes hwire = PageRecord(pre, "PREAMPL_SCHEM.DSN", "SCHEMATIC1", "PAGE1", 0x50A, 0x46);
    auto hw = LoadOne<TDboWire>(pre, hwire, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(hw->ObjectID, 13055);
    EXPECT_EQ(hw->NetName, 23057);
    EXPECT_EQ(hw->EndX, 390);

    TDboBaseDesign usb;
    Bytes drc = PageRecord(usb, "USB-Datalogger/PCB_DOAN2.DSN", "SCHEMATIC1", "PAGE1", 0x7E97, 170);
    auto m = LoadOne<TDboDRCMark>(usb, drc, s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(m->Name, "ERC");
    EXPECT_EQ(m->Info1, "QUESTION(ORCAP-1589): Net has two or more aliases - possible short?");

    TDboBaseDesign tut;
    Bytes be = PageRecord(tut, "OrCAD-Tutorials/CAPTURE_TUTORIAL.DSN", "SCHEMATIC1", "PAGE1", 0x6035, 57);
    LoadOne<TDboBusEntry>(tut, be, s);
    EXPECT_EQ(s->Remaining(), 0u);

    // Ports of each rotation, stored at (810, 240), (547, 410), (760, 540) and (130, 310), and
    // where loading puts them.
    TDboBaseDesign onyx;
    struct PortCase {
        const char* page;
        size_t offset;
        int rotation, loadedX, loadedY;
    };
    for (const PortCase& c : {PortCase{"01 - Supervisor and EEPROM", 0x442E, 0, 810, 250},
                              PortCase{"01 - Supervisor and EEPROM", 0x4E21, 1, 557, 440},
                              PortCase{"01 - Supervisor and EEPROM", 0x453A, 2, 790, 550},
                              PortCase{"04 - Power Distribution", 0x24B4, 3, 140, 330}}) {
        SCOPED_TRACE(c.rotation);
        Bytes rec = PageRecord(onyx, "onyxpsu/ONYXPSU.DSN", "Schematic", c.page, c.offset, 134);
        auto port = LoadOne<TDboPort>(onyx, rec, s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(port->SymName, "PORTBOTH-L");
        EXPECT_EQ(port->GetRotation(), c.rotation);
        EXPECT_EQ(port->LocationX, c.loadedX);
        EXPECT_EQ(port->LocationY, c.loadedY);
        EXPECT_EQ(port->Height, 20);
        EXPECT_EQ(port->Width, 30);
    }
}
