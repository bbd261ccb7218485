// Views and pages: the views directory through real compound files, page sizes, page records built
// byte by byte, saving in a file version without size headers, and every view and page of the
// sample designs.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboLib.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

struct PageCounts {
    int titleBlocks = 0, parts = 0, blocks = 0, ports = 0, powers = 0, offPages = 0, wires = 0, buses = 0;
    bool operator==(const PageCounts&) const = default;
};

std::ostream& operator<<(std::ostream& os, const PageCounts& c) {
    return os << c.titleBlocks << "/" << c.parts << "/" << c.blocks << "/" << c.ports << "/" << c.powers << "/"
              << c.offPages << "/" << c.wires << "/" << c.buses;
}

PageCounts CountsOf(const TDboPage& page) {
    PageCounts c;
    c.titleBlocks = page.TitleBlocks->Count();
    for (int i = 0; i < page.PartsAndBlocks->Count(); ++i) {
        auto* item = page.PartsAndBlocks->GetItems(i);
        if (dynamic_cast<TDboPart*>(item)) ++c.parts;
        if (dynamic_cast<TDboHierarchicalBlock*>(item)) ++c.blocks;
    }
    c.ports = page.Ports->Count();
    c.powers = page.Powers->Count();
    c.offPages = page.OffPages->Count();
    for (int i = 0; i < page.WiresAndBuses->Count(); ++i) {
        auto* item = page.WiresAndBuses->GetItems(i);
        if (dynamic_cast<TDboWire*>(item)) ++c.wires;
        if (dynamic_cast<TDboBus*>(item)) ++c.buses;
    }
    return c;
}

// A design read as far as its views: library record, then the views directory with every view.
struct LoadedViews {
    std::unique_ptr<TDboBaseDesign> design = std::make_unique<TDboBaseDesign>();
    std::unique_ptr<TDboViewDirEntryList> views;
};

LoadedViews LoadViews(const std::string& fileName) {
    LoadedViews out;
    OpenRootStorage(fileName, out.design->Storage);
    {
        std::unique_ptr<TDboIStream> lib;
        out.design->Storage->OpenStreamSafe("Library", lib);
        out.design->Lib->Load(*lib);
    }
    std::unique_ptr<TDboIStream> dir;
    out.design->Storage->OpenStreamSafe("Views Directory", dir);
    out.views = Make<TDboViewDirEntryList>(out.design.get());
    out.views->Load(*dir);
    out.design->Storage.reset();
    return out;
}

TDboPage* FindPage(const TDboViewDirEntryList& views, const std::string& view, const std::string& page) {
    for (int i = 0; i < views.Count(); ++i)
        for (auto& p : views.GetEntries(i)->Schematics->Pages)
            if (views.GetEntries(i)->Name == view && p->PageName == page) return p.get();
    return nullptr;
}

std::vector<std::string> StreamNames(TDboIStorage& storage) {
    std::vector<std::string> names;
    for (const auto& e : storage.Platform().List())
        if (!e.isStorage) names.push_back(UnescapeStorageName(e.name));
    std::sort(names.begin(), names.end());
    return names;
}

// The bytes of an empty page, as a file without size headers holds them.
Bytes EmptyPageBytes(const std::string& name, int32_t time) {
    ByteBuilder b;
    b.U8(10).U16(0).Str(name).Str("A").I32(time).I32(time).Zeros(16);
    b.I32(9700).I32(7200).I32(100).U16(0).U16(5).U16(4).U16(0).I32(100).I32(100).I32(0).I32(0).Zeros(32);
    // Unknown6, Unknown7, GridHorAlpha, Unknown8, GridHorAscend, GridVertAlpha, Unknown9,
    // GridVertAscend, Units, BorderDisp, BorderPrint, GridRefDisp, GridRefPrint, TitleBlockDisp,
    // TitleBlockPrint, AnsiGridRef.
    for (int32_t v : {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0}) b.I32(v);
    for (int i = 0; i < 13; ++i) b.U16(0);
    return b.b;
}

int32_t gFakeNow = 0;
int32_t FakeClock() { return gFakeNow; }

struct ClockSwap {
    int32_t (*saved)() = TDboPage::Clock;
    ClockSwap() { TDboPage::Clock = &FakeClock; }
    ~ClockSwap() { TDboPage::Clock = saved; }
};

}  // namespace

TEST(PageRecord, PageSizes) {
    auto d = test::DesignOfVersion(test::kV1_2);
    auto page = Make<TDboPage>(d.get());
    auto size = [&] { return page->PageSize + " " + std::to_string(page->Width) + "x" + std::to_string(page->Height); };
    EXPECT_EQ(size(), "A 9700x7200");
    page->SetPageSize("ORCB");
    EXPECT_EQ(size(), "Custom 15400x9900");
    // Names compare exactly: unknown names change nothing.
    for (const char* unknown : {"a", "a4", "Letter", ""}) page->SetPageSize(unknown);
    EXPECT_EQ(size(), "Custom 15400x9900");
    page->SetPageSize("A4");
    EXPECT_EQ(size(), "A4 11500x7600");
    page->SetPageSize("TABLOID");
    EXPECT_EQ(size(), "Custom 17000x11000");
    page->SetCustomPageSize(12345, 6789);
    EXPECT_EQ(size(), "Custom 12345x6789");
}

TEST(PageRecord, SavedBytesAndTimes) {
    auto d = test::DesignOfVersion(test::kV1_2);
    auto page = Make<TDboPage>(d.get());
    page->PageName = "PAGE1";
    {
        ClockSwap clock;
        gFakeNow = 1000;
        EXPECT_EQ(test::SaveBytes(*page), EmptyPageBytes("PAGE1", 1000));
        EXPECT_EQ(page->ID, 10);
        gFakeNow = 1001;  // saved again: a later time, all else the same
        Bytes second = test::SaveBytes(*page);
        EXPECT_EQ(second, EmptyPageBytes("PAGE1", 1001));
        auto back = Make<TDboPage>(d.get());
        auto s = test::MemStream(second);
        back->Load(*s);
        EXPECT_EQ(s->Remaining(), 0u);
        EXPECT_EQ(back->PageName, "PAGE1");
        EXPECT_EQ(back->hTime, 1001);
        EXPECT_TRUE(back->TrailingData.empty());
    }
    // With the system clock a second save is never earlier.
    test::SaveBytes(*page);
    int32_t t1 = page->lTime;
    test::SaveBytes(*page);
    EXPECT_GE(page->lTime, t1);
    EXPECT_GT(t1, 1600000000);

    // With size headers, as Capture writes a page: the first counts the rest of the stream, the
    // second the rest of the frame.
    d->Version = test::kV2_3;
    page->UserProps.AddProperty("Title", "Main");
    Bytes headered = test::SaveBytes(*page);
    auto at = [&](size_t pos) {
        int64_t v = 0;
        for (int i = 7; i >= 0; --i) v = (v << 8) | headered.at(pos + i);
        return v;
    };
    EXPECT_EQ(at(1), static_cast<int64_t>(headered.size()) - 9);
    EXPECT_EQ(at(10), 1 + (2 + 8) + 8);
    auto back = Make<TDboPage>(d.get());
    auto s = test::MemStream(headered);
    back->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(back->PageName, page->PageName);
    EXPECT_EQ(back->UserProps.Count(), 1);
}

// A page record written out field by field, each with a value of its own.
TEST(PageRecord, EveryFieldInItsPlace) {
    auto d = test::DesignOfVersion(test::kV1_2);
    Bytes b16, b32;
    for (int i = 0; i < 16; ++i) b16.push_back(static_cast<uint8_t>(0xA0 + i));
    for (int i = 0; i < 32; ++i) b32.push_back(static_cast<uint8_t>(0x60 + i));
    auto bytes = [&](int32_t lTime, int32_t hTime) {
        ByteBuilder b;
        b.U8(10).U16(1).U16(0x0A).U16(0x0B).Str("PAGE7").Str("Custom").I32(lTime).I32(hTime).Raw(b16);
        b.I32(15400).I32(9900).I32(110).U16(0x0301).U16(6).U16(7).U16(0x06BA).I32(120).I32(130).I32(0x31).I32(0x32);
        b.Raw(b32);
        for (int32_t v = 0x41; v <= 0x50; ++v) b.I32(v);  // Unknown6 to AnsiGridRef
        for (int i = 0; i < 13; ++i) b.U16(0);            // empty object lists
        return b.b;
    };
    auto page = Make<TDboPage>(d.get());
    auto s = test::MemStream(bytes(0x5F000001, 0x5F000002));
    page->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    TDboPage& p = *page;
    EXPECT_EQ(std::tuple(p.PageName, p.PageSize, p.lTime, p.hTime, p.Width, p.Height, p.Pin2PinSpacing),
              std::tuple("PAGE7", "Custom", 0x5F000001, 0x5F000002, 15400, 9900, 110));
    EXPECT_EQ(std::tuple(p.Unknown3, p.GridHorCnt, p.GridVertCnt, p.Unknown4, p.GridHorWidth, p.GridVertWidth,
                         p.GridDispColor, p.GridPrintColor),
              std::tuple(0x0301, 6, 7, 0x06BA, 120, 130, 0x31, 0x32));
    EXPECT_EQ(std::vector<int32_t>({p.Unknown6, p.Unknown7, p.GridHorAlpha, p.Unknown8, p.GridHorAscend,
                                    p.GridVertAlpha, p.Unknown9, p.GridVertAscend, p.Units, p.BorderDisp,
                                    p.BorderPrint, p.GridRefDisp, p.GridRefPrint, p.TitleBlockDisp,
                                    p.TitleBlockPrint, p.AnsiGridRef}),
              std::vector<int32_t>({0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4D,
                                    0x4E, 0x4F, 0x50}));
    EXPECT_EQ(Bytes(p.UnknownB16.begin(), p.UnknownB16.end()), b16);
    EXPECT_EQ(Bytes(p.UnknownB32.begin(), p.UnknownB32.end()), b32);
    ASSERT_EQ(p.UserProps.Count(), 1);
    EXPECT_EQ(p.UserProps.GetProperties(0)->ValueIdx, 0x0B);
    ClockSwap clock;
    gFakeNow = 0x60000000;  // a save stamps both times
    EXPECT_EQ(test::SaveBytes(p), bytes(0x60000000, 0x60000000));
}

TEST(PageRecord, NotHeaderedSaveKeepsObjects) {
    // A real page read from a headered file, saved without size headers, reads back the same.
    ORCADX_REQUIRE_CORPUS();
    auto loaded = LoadViews((test::CorpusDir() / "BEAGLEBONEBLK_C3.DSN").string());
    TDboPage* real = FindPage(*loaded.views, "BeagleBoneBlack", "P03_AM335x 1/3, JTAG");
    ASSERT_NE(real, nullptr);
    PageCounts before = CountsOf(*real);
    int graphics = real->Graphics->Count(), nets = real->WireNets->Count(), busNets = real->BusNets->Count();
    loaded.design->Version = test::kV1_2;
    Bytes saved = test::SaveBytes(*real);
    auto again = Make<TDboPage>(loaded.design.get());
    auto s = test::MemStream(saved);
    again->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(CountsOf(*again), before);
    EXPECT_EQ(again->TrailingData, real->TrailingData);
    EXPECT_EQ(again->Graphics->Count(), graphics);
    EXPECT_EQ(again->WireNets->Count(), nets);
    EXPECT_EQ(again->BusNets->Count(), busNets);
    EXPECT_EQ(again->PageName, real->PageName);
}

TEST(ViewsDirectory, SaveAndLoadThroughCompoundFile) {
    auto dir = test::ScratchDir("views-roundtrip");
    const std::string file = (dir / "views.dsn").string();
    auto d = test::DesignOfVersion(test::kV1_2);

    auto list = Make<TDboViewDirEntryList>(d.get());
    auto entry = Make<TDboViewDirEntry>(d.get());
    entry->Name = "SCHEMATIC1";
    entry->Schematics->ViewName = "SCHEMATIC1";
    auto p1 = Make<TDboPage>(d.get());
    p1->PageName = "PAGE1";
    p1->WiresAndBuses->Add(Make<TDboWire>(d.get()));
    p1->WiresAndBuses->Add(Make<TDboWire>(d.get()));
    auto p2 = Make<TDboPage>(d.get());
    p2->PageName = "Power: 3V3/5V";  // escaped in the file, plain in memory
    p2->SetCustomPageSize(20000, 10000);
    p2->Powers->Add(Make<TDboPower>(d.get()));
    entry->Schematics->AddPage(std::move(p1));
    entry->Schematics->AddPage(std::move(p2));
    list->Add(std::move(entry));

    int32_t before = CurrentTime();
    CreateRootStorage(file, d->Storage);
    {
        std::unique_ptr<TDboIStream> s;
        d->Storage->CreateStreamSafe("Views Directory", s);
        list->Save(*s);
    }
    int32_t after = CurrentTime();
    EXPECT_EQ(list->ViewsStorage, nullptr);
    d->Storage->Close();
    d->Storage.reset();

    // The directory record: Int "Date", Word "Count", then Str "Name" and the 22 bytes.
    auto back = test::DesignOfVersion(test::kV1_2);
    OpenRootStorage(file, back->Storage);
    std::unique_ptr<TDboIStream> s;
    back->Storage->OpenStreamSafe("Views Directory", s);
    const Bytes& raw = s->Platform().Contents();
    ASSERT_EQ(raw.size(), 4u + 2 + 13 + 22);
    int32_t date = raw[0] | (raw[1] << 8) | (raw[2] << 16) | (raw[3] << 24);
    EXPECT_GE(date, before);
    EXPECT_LE(date, after);
    EXPECT_EQ(Bytes(raw.begin() + 4, raw.end()),
              ByteBuilder()
                  .U16(1)
                  .Str("SCHEMATIC1")
                  .Raw({0x09, 0x00, 0xA0, 0x5D, 0xFE, 0xAA, 0xCB, 0x35, 0xBA, 0x01, 0x50, 0xEC, 0x5B, 0xB3, 0xBD,
                        0x4B, 0xBD, 0x01, 0x00, 0x00, 0x11, 0x00})
                  .b);
    {
        std::unique_ptr<TDboIStorage> views, view, pages;
        back->Storage->OpenStorageSafe("Views", views);
        views->OpenStorageSafe("SCHEMATIC1", view);
        view->OpenStorageSafe("Pages", pages);
        EXPECT_EQ(StreamNames(*pages), (std::vector<std::string>{"PAGE1", "Power: 3V3/5V"}));
    }

    auto loaded = Make<TDboViewDirEntryList>(back.get());
    loaded->Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(loaded->Date, date);
    ASSERT_EQ(loaded->Count(), 1);
    TDboViewDirEntry* e = loaded->GetEntries(0);
    EXPECT_EQ(e->Owner, loaded.get());
    TDboSchematics& sch = *e->Schematics;
    EXPECT_EQ(sch.ViewName, "SCHEMATIC1");
    ASSERT_EQ(sch.PageCount(), 2);
    EXPECT_EQ(CountsOf(*sch.GetPages(0)).wires, 2);
    EXPECT_EQ(sch.GetPages(1)->PageName, "Power: 3V3/5V");
    EXPECT_EQ(sch.GetPages(1)->Width, 20000);
    EXPECT_EQ(CountsOf(*sch.GetPages(1)).powers, 1);
    // No storage "Hierarchy": the hierarchy stays empty.
    const TDboHierarchy& h = *sch.Hierarchy;
    EXPECT_EQ(h.ImplementationName + h.PartReference, "");
    EXPECT_EQ(h.Pins.Count() + h.Nets.Count() + h.TitleBlocks.Count() + h.Records.Count(), 0);
}

TEST(ViewsDirectory, MissingStoragesAndStreams) {
    auto dir = test::ScratchDir("views-missing");
    const std::string file = (dir / "missing.dsn").string();
    const Bytes entryData(22, 0);
    {
        auto d = test::DesignOfVersion(test::kV1_2);
        CreateRootStorage(file, d->Storage);
        std::unique_ptr<TDboIStream> s;
        d->Storage->CreateStreamSafe("Views Directory", s);
        s->WriteData("x", ByteBuilder().I32(7).U16(2).Str("GHOST").Raw(entryData).Str("HALF").Raw(entryData).b);
        s.reset();
        // "HALF" names two pages and has only the first.
        std::unique_ptr<TDboIStorage> views, half, pages;
        d->Storage->CreateStorageSafe("Views", views);
        views->CreateStorageSafe("HALF", half);
        half->CreateStreamSafe("Schematic", s);
        s->WriteData("x", ByteBuilder().U8(9).U16(0).Str("HALF").I32(0).U16(2).Str("PAGE1").Str("PAGE2").b);
        s.reset();
        half->CreateStorageSafe("Pages", pages);
        pages->CreateStreamSafe("PAGE1", s);
        Make<TDboPage>(d.get())->Save(*s);
        s.reset(), pages.reset(), half.reset(), views.reset();
        d->Storage->Close();
    }

    auto d = test::DesignOfVersion(test::kV1_2);
    OpenRootStorage(file, d->Storage);
    std::unique_ptr<TDboIStream> s;
    d->Storage->OpenStreamSafe("Views Directory", s);
    auto list = Make<TDboViewDirEntryList>(d.get());
    try {
        list->Load(*s);
        ADD_FAILURE() << "a missing page stream was accepted";
    } catch (const EDboFileIO& e) {
        EXPECT_EQ(std::string(e.what()).rfind("Invalid stream: PAGE2", 0), 0u) << e.what();
    }
    // The view without a storage came first and was read as an empty view.
    ASSERT_GE(list->Count(), 1);
    EXPECT_EQ(list->GetEntries(0)->Name, "GHOST");
    EXPECT_EQ(list->GetEntries(0)->Schematics->PageCount(), 0);

    // Without an open root storage a view can't be read, and says so.
    auto bare = test::DesignOfVersion(test::kV1_2);
    auto lone = Make<TDboViewDirEntryList>(bare.get());
    auto ms = test::MemStream(ByteBuilder().I32(0).U16(1).Str("V").Raw(entryData).b);
    EXPECT_THROW(lone->Load(*ms), Exception);
}

// Counts found independently by scanning the raw page streams for the type-code and size-header
// patterns that open each record kind (ID, Int64 sizes falling, ID), with a separate script.
TEST(ViewsDirectory, PageCountsMatchRecordScan) {
    ORCADX_REQUIRE_CORPUS();
    struct Expected {
        const char* file;
        const char* view;
        const char* page;
        PageCounts counts;  // title, parts, blocks, ports, power, offpage, wires, buses
    };
    const Expected expected[] = {
        {"OrCAD-Tutorials/CAPTURE_TUTORIAL.DSN", "SCHEMATIC1", "PAGE1", {1, 18, 0, 0, 13, 0, 110, 26}},
        {"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P01_Title Page", {1, 0, 0, 0, 0, 0, 0, 0}},
        {"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P02_Power Management", {1, 47, 0, 0, 43, 8, 188, 0}},
        {"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P03_AM335x 1/3, JTAG", {1, 47, 0, 0, 29, 72, 274, 35}},
        {"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P05_AM335x 3/3", {1, 77, 0, 0, 37, 0, 526, 0}},
        {"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P11_Exp Conn, uSD", {1, 23, 0, 0, 23, 85, 179, 0}},
        {"parallella-hw/meta_module/meta_module_sch_rev1.dsn", "TOP", "02-META-ARRAY & IO",
         {1, 25, 8, 0, 20, 0, 500, 368}},
        {"parallella-hw/meta_module/meta_module_sch_rev1.dsn", "SNOW4", "SNOW4", {1, 0, 4, 90, 0, 0, 234, 64}},
        {"parallella-hw/meta_module/meta_module_sch_rev1.dsn", "TILE", "TILE", {1, 81, 0, 90, 10, 0, 595, 18}},
        {"Series-Regulator/P1_Olteanu_Rares.dsn", "SCHEMATIC2", "VREF_TEST", {0, 6, 0, 1, 2, 0, 17, 0}},
    };
    std::map<std::string, LoadedViews> designs;
    for (const auto& x : expected) {
        SCOPED_TRACE(std::string(x.file) + " / " + x.page);
        auto it = designs.find(x.file);
        if (it == designs.end())
            it = designs.emplace(x.file, LoadViews((test::CorpusDir() / x.file).string())).first;
        TDboPage* page = FindPage(*it->second.views, x.view, x.page);
        ASSERT_NE(page, nullptr);
        EXPECT_EQ(CountsOf(*page), x.counts);
    }
    // The hierarchy of the tutorial's view came in with it.
    auto& tutorial = designs.at("OrCAD-Tutorials/CAPTURE_TUTORIAL.DSN");
    EXPECT_EQ(tutorial.views->GetEntries(0)->Schematics->Hierarchy->ImplementationName, "SCHEMATIC1");
    EXPECT_GT(tutorial.views->GetEntries(0)->Schematics->Hierarchy->Nets.Count(), 0);
}

TEST(ViewsDirectory, EveryCorpusDesignLoads) {
    ORCADX_REQUIRE_CORPUS();
    int files = 0, views = 0, pages = 0;
    std::vector<std::string> failures;
    for (const auto& file : test::CorpusFiles({".dsn"})) {
        SCOPED_TRACE(file.string());
        ++files;
        LoadedViews loaded;
        try {
            loaded = LoadViews(file.string());
        } catch (const std::exception& e) {
            // The message names the stream and the offset where reading stopped.
            failures.push_back(file.string() + ": " + e.what());
            continue;
        }
        // Each view's pages are exactly the streams of its storage "Pages", and read in full.
        std::unique_ptr<TDboIStorage> root, viewsStorage;
        OpenRootStorage(file.string(), root);
        root->OpenStorageSafe("Views", viewsStorage);
        for (int i = 0; i < loaded.views->Count(); ++i) {
            TDboViewDirEntry* entry = loaded.views->GetEntries(i);
            TDboSchematics& sch = *entry->Schematics;
            ++views;
            ASSERT_TRUE(viewsStorage->ExistStorage(entry->Name)) << entry->Name;
            EXPECT_EQ(sch.ViewName, entry->Name);
            std::unique_ptr<TDboIStorage> view, pageStorage;
            viewsStorage->OpenStorageSafe(entry->Name, view);
            view->OpenStorageSafe("Pages", pageStorage);
            std::vector<std::string> names = sch.PageNames;
            std::sort(names.begin(), names.end());
            EXPECT_EQ(names, StreamNames(*pageStorage)) << entry->Name;
            ASSERT_EQ(sch.PageCount(), static_cast<int>(sch.PageNames.size()));
            for (int p = 0; p < sch.PageCount(); ++p) {
                EXPECT_EQ(sch.GetPages(p)->PageName, sch.PageNames[p]);
                std::unique_ptr<TDboIStream> stream;
                pageStorage->OpenStreamSafe(sch.PageNames[p], stream);
                auto again = Make<TDboPage>(loaded.design.get());
                again->Load(*stream);
                // Capture closes every page with a zero Word behind the thirteen lists: the lists
                // must end exactly there.
                EXPECT_EQ(stream->Remaining(), 0u) << sch.PageNames[p];
                EXPECT_EQ(again->TrailingData, (Bytes{0, 0})) << sch.PageNames[p];
                ++pages;
            }
            if (view->ExistStorage("Hierarchy")) {
                EXPECT_EQ(sch.Hierarchy->ImplementationName, entry->Name);
            }
        }
    }
    for (const auto& f : failures) ADD_FAILURE() << "cannot be read: " << f;
    std::cout << files << " designs, " << views << " views, " << pages << " pages read; " << failures.size()
              << " failed\n";
    EXPECT_GT(files, 25);
    EXPECT_GT(pages, 150);
}
