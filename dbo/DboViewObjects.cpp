#include "dbo/DboViewObjects.h"

#include <fmt/format.h>

#include "dbo/DboBaseDesign.h"
#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboObjects.h"
#include "host/HostInterfaces.h"
#include "platform/Status.h"

namespace orcadx::dbo {

namespace {

// The data that Capture gives a view's directory entry.
constexpr std::array<uint8_t, 22> kDefaultViewEntryData = {0x09, 0x00, 0xA0, 0x5D, 0xFE, 0xAA, 0xCB, 0x35,
                                                           0xBA, 0x01, 0x50, 0xEC, 0x5B, 0xB3, 0xBD, 0x4B,
                                                           0xBD, 0x01, 0x00, 0x00, 0x11, 0x00};

struct PageSizeEntry {
    const char* name;
    const char* stored;
    int32_t width;
    int32_t height;
};

constexpr PageSizeEntry kPageSizes[] = {
    {"A", "A", 9700, 7200},           {"B", "B", 15200, 9700},          {"C", "C", 20200, 15200},
    {"D", "D", 32200, 20200},         {"E", "E", 42200, 32200},         {"ORCA", "Custom", 9900, 7900},
    {"ORCB", "Custom", 15400, 9900},  {"ORCC", "Custom", 20600, 15600}, {"ORCD", "Custom", 32600, 20600},
    {"ORCE", "Custom", 42800, 32800}, {"A4", "A4", 11500, 7600},        {"A3", "A3", 15500, 11100},
    {"A2", "A2", 22300, 15700},       {"A1", "A1", 31500, 22300},       {"A0", "A0", 44600, 31500},
    {"LETTER", "Custom", 11000, 8500}, {"LEGAL", "Custom", 14000, 8500}, {"TABLOID", "Custom", 17000, 11000},
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// TDboViewDirEntryList

TDboViewDirEntryList::~TDboViewDirEntryList() = default;

std::unique_ptr<TDboStorableObject> TDboViewDirEntryList::ConstructObject(TDboIStream&) {
    auto entry = Make<TDboViewDirEntry>(Design);
    entry->Owner = this;
    return entry;
}

void TDboViewDirEntryList::Add(std::unique_ptr<TDboStorableObject> item) {
    if (auto* entry = dynamic_cast<TDboViewDirEntry*>(item.get())) {
        if (entry->Repeated) return;
        entry->Owner = this;
    }
    TDboStorableList::Add(std::move(item));
}

int TDboViewDirEntryList::Load(TDboIStream& stream) {
    stream.ReadInt("Date", Date);
    repeated_ = TRepeatedNames();
    int result = TDboStorableList::Load(stream);
    if (Design)
        repeated_.Report([&](const std::string& name, int times) {
            Design->LoadMessage(host::kLogWarning,
                                fmt::format("View \"{}\" is named {} times in \"Views Directory\"; it is loaded once",
                                            name, times));
        });
    repeated_ = TRepeatedNames();
    return result;
}

int TDboViewDirEntryList::Save(TDboIStream& stream) {
    if (!Design || !Design->Storage) throw Exception("Views can't be saved: the design has no open storage");
    Design->Storage->CreateStorageSafe("Views", ViewsStorage);
    struct CloseViews {
        std::unique_ptr<TDboIStorage>& storage;
        ~CloseViews() { storage.reset(); }
    } closeViews{ViewsStorage};
    Date = CurrentTime();
    stream.WriteInt("Date", Date);
    return TDboStorableList::Save(stream);
}

// ---------------------------------------------------------------------------------------------
// TDboViewDirEntry

TDboViewDirEntry::TDboViewDirEntry(TDboBaseDesign* design)
    : TDboObject(design), Schematics(Make<TDboSchematics>(design, this)) {}

TDboViewDirEntry::~TDboViewDirEntry() = default;

void TDboViewDirEntry::Initialize() {
    TDboObject::Initialize();
    Name.clear();
    UnknownData = kDefaultViewEntryData;
}

int TDboViewDirEntry::Load(TDboIStream& stream) {
    LoadInStream("stream \"Views Directory\"", stream, [&] {
        stream.ReadStr("Name", Name);
        stream.ReadData("UnknownData", UnknownData);
    });

    if (!Design || !Design->Storage)
        throw Exception(fmt::format("View {} can't be read: the design has no open storage", Name));
    std::unique_ptr<TDboIStorage> views;
    Design->Storage->OpenStorageSafe("Views", views);
    const bool exists = views->ExistStorage(Name);
    // A view is loaded once however often the list names it; a name without a storage is an
    // empty view, met once too.
    if (Owner && !Owner->ClaimView(exists ? views->StoredName(Name) : Name, Name)) {
        Repeated = true;
        return 0;
    }
    if (!exists) return 0;
    std::unique_ptr<TDboIStorage> view;
    views->OpenStorageSafe(Name, view);
    {
        std::unique_ptr<TDboIStream> schematic;
        try {
            view->OpenStreamSafe("Schematic", schematic);
        } catch (...) {
            RethrowWithPlace(fmt::format("view \"{}\"", Name));
        }
        LoadInStream(fmt::format("view \"{}\", stream \"Schematic\"", Name), *schematic,
                     [&] { Schematics->Load(*schematic); });
    }
    Schematics->LoadPages(*view);
    Schematics->LoadHierarchy(*view);
    return 0;
}

int TDboViewDirEntry::Save(TDboIStream& stream) {
    stream.WriteStr("Name", Name);
    stream.WriteData("UnknownData", UnknownData);

    if (!Owner || !Owner->ViewsStorage)
        throw Exception(fmt::format("View {} can't be saved: its list has no storage \"Views\" open", Name));
    std::unique_ptr<TDboIStorage> view;
    Owner->ViewsStorage->CreateStorageSafe(Name, view);
    {
        std::unique_ptr<TDboIStream> schematic;
        view->CreateStreamSafe("Schematic", schematic);
        Schematics->Save(*schematic);
    }
    Schematics->SavePages(*view);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboSchematics

TDboSchematics::TDboSchematics(TDboBaseDesign* design, TDboViewDirEntry* entry)
    : TDboBaseObject(design), Entry(entry), Hierarchy(Make<TDboHierarchy>(design)) {}

TDboSchematics::~TDboSchematics() = default;

void TDboSchematics::Initialize() {
    TDboBaseObject::Initialize();
    ID = 9;
    ViewName.clear();
    UnknownInt = 0;
}

int TDboSchematics::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("ViewName", ViewName);
    stream.ReadInt("UnknownInt", UnknownInt);
    uint16_t count = 0;
    stream.ReadWord("PageNamesCount", count);
    for (uint16_t i = 0; i < count; ++i) {
        std::string name;
        stream.ReadStr("PageName", name);
        PageNames.push_back(std::move(name));
    }
    return 0;
}

int TDboSchematics::Save(TDboIStream& stream) {
    if (PageNames.size() > 0xFFFF)
        throw Exception(fmt::format("View {} has {} pages, more than a view can hold", ViewName, PageNames.size()));
    SaveHeader(stream);
    stream.WriteStr("ViewName", ViewName);
    stream.WriteInt("UnknownInt", UnknownInt);
    stream.WriteWord("PageNamesCount", static_cast<uint16_t>(PageNames.size()));
    for (const auto& name : PageNames) stream.WriteStr("PageName", name);
    return 0;
}

TDboPage* TDboSchematics::AddPage(std::unique_ptr<TDboPage> page) {
    TDboPage* raw = page.get();
    PageNames.push_back(page->PageName);
    Pages.push_back(std::move(page));
    return raw;
}

void TDboSchematics::LoadPages(TDboIStorage& viewStorage) {
    std::unique_ptr<TDboIStorage> pages;
    try {
        viewStorage.OpenStorageSafe("Pages", pages);
    } catch (...) {
        RethrowWithPlace(fmt::format("view \"{}\"", ViewName));
    }
    auto* design = dynamic_cast<TDboDesign*>(Design);
    const bool skipDamaged = design && design->SkipDamagedPages;
    bool lost = false;
    TRepeatedNames repeated;
    std::vector<std::string> loaded;
    loaded.reserve(PageNames.size());
    for (const auto& name : PageNames) {
        std::string stored = pages->StoredName(name);
        if (!repeated.Claim(stored.empty() ? name : stored, name)) continue;
        std::unique_ptr<TDboIStream> s;
        const std::string where = fmt::format("page \"{}\" of view \"{}\"", name, ViewName);
        auto page = Make<TDboPage>(Design);
        try {
            try {
                pages->OpenStreamSafe(name, s);
            } catch (...) {
                RethrowWithPlace(where);
            }
            // A failure keeps its kind and message and is told where in the file it happened.
            LoadInStream(where, *s, [&] { page->Load(*s); });
        } catch (const std::exception& e) {
            // A damaged page costs that page only, when the caller asks for it.
            if (!skipDamaged) throw;
            platform::LogMessage(design->LogSection, host::kLogError,
                                 fmt::format("Page \"{}\" of view \"{}\" was lost: {}", name, ViewName, e.what()));
            lost = true;
            continue;
        }
        Pages.push_back(std::move(page));
        loaded.push_back(name);
    }
    // The names stay parallel to the pages: a lost page or a repeated name leaves the list.
    if (repeated.Empty() && !lost) return;
    PageNames = std::move(loaded);
    if (Design && !repeated.Empty())
        repeated.Report([&](const std::string& name, int times) {
            Design->LoadMessage(host::kLogWarning,
                                fmt::format("Page \"{}\" is named {} times in the page list of view \"{}\"; it is "
                                            "loaded once",
                                            name, times, ViewName));
        });
}

void TDboSchematics::SavePages(TDboIStorage& viewStorage) {
    if (Pages.size() < PageNames.size())
        throw Exception(fmt::format("View {} names {} pages but holds {}", ViewName, PageNames.size(), Pages.size()));
    std::unique_ptr<TDboIStorage> pages;
    viewStorage.CreateStorageSafe("Pages", pages);
    for (size_t i = 0; i < PageNames.size(); ++i) {
        std::unique_ptr<TDboIStream> s;
        pages->CreateStreamSafe(PageNames[i], s);
        Pages[i]->Save(*s);
    }
}

void TDboSchematics::LoadHierarchy(TDboIStorage& viewStorage) {
    if (!viewStorage.ExistStorage("Hierarchy")) return;
    const std::string where = fmt::format("view \"{}\", stream \"Hierarchy\"", ViewName);
    std::unique_ptr<TDboIStorage> storage;
    std::unique_ptr<TDboIStream> s;
    try {
        viewStorage.OpenStorageSafe("Hierarchy", storage);
        storage->OpenStreamSafe("Hierarchy", s);
    } catch (...) {
        RethrowWithPlace(where);
    }
    LoadInStream(where, *s, [&] { Hierarchy->Load(*s); });
}

TDboPage* TDboSchematics::GetPages(int index) const {
    if (index < 0 || index >= PageCount())
        throw Exception(fmt::format("List index out of bounds ({})", index));
    return Pages[static_cast<size_t>(index)].get();
}

// ---------------------------------------------------------------------------------------------
// TDboPage

int32_t (*TDboPage::Clock)() = &CurrentTime;

TDboPage::TDboPage(TDboBaseDesign* design)
    : TDboObject(design),
      UserProps(design),
      TitleBlocks(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboTitleBlock>())),
      WireNets(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboWireNet>())),
      BusNets(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboBusNet>())),
      NetAliases(Make<TDboNetAliasList>(design)),
      WiresAndBuses(Make<TDboWireBusList>(design)),
      PartsAndBlocks(Make<TDboPartAndBlockList>(design)),
      Ports(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboPort>())),
      Powers(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboPower>())),
      OffPages(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboOffPage>())),
      DRCMarks(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboDRCMark>())),
      BusEntries(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboBusEntry>())),
      Graphics(Make<TDboGraphicInstanceList>(design)),
      BookMarks(std::make_unique<TDboSimpleObjectList>(design, ClassOf<TDboBookMark>())) {}

TDboPage::~TDboPage() = default;

void TDboPage::Initialize() {
    TDboObject::Initialize();
    PageName.clear();
    lTime = hTime = 0;
    Pin2PinSpacing = 100;
    GridHorCnt = 5;
    GridVertCnt = 4;
    GridHorWidth = GridVertWidth = 100;
    GridDispColor = GridPrintColor = 0;
    GridHorAlpha = GridHorAscend = GridVertAlpha = GridVertAscend = 0;
    Units = 0;
    BorderDisp = 1;
    BorderPrint = 0;
    GridRefDisp = 1;
    GridRefPrint = 0;
    TitleBlockDisp = 1;
    TitleBlockPrint = 0;
    AnsiGridRef = 0;
    Unknown3 = Unknown4 = 0;
    Unknown6 = Unknown7 = Unknown8 = Unknown9 = 0;
    UnknownB16.fill(0);
    UnknownB32.fill(0);
    SetPageSize("A");
}

void TDboPage::LoadUserProps(TDboIStream& stream) { UserProps.Load(stream); }
void TDboPage::SaveUserProps(TDboIStream& stream) { UserProps.Save(stream); }
int64_t TDboPage::UserPropsSize() { return UserProps.FullObjectSize(); }

int TDboPage::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("PageName", PageName);
    stream.ReadStr("PageSize", PageSize);
    stream.ReadInt("lTime", lTime);
    stream.ReadInt("hTime", hTime);
    stream.ReadData("UnknownB16", UnknownB16);
    stream.ReadInt("Width", Width);
    stream.ReadInt("Height", Height);
    stream.ReadInt("Pin2PinSpacing", Pin2PinSpacing);
    stream.ReadWord("Unknown3", Unknown3);
    stream.ReadWord("GridHorCnt", GridHorCnt);
    stream.ReadWord("GridVertCnt", GridVertCnt);
    stream.ReadWord("Unknown4", Unknown4);
    stream.ReadInt("GridHorWidth", GridHorWidth);
    stream.ReadInt("GridVertWidth", GridVertWidth);
    stream.ReadInt("GridDispColor", GridDispColor);
    stream.ReadInt("GridPrintColor", GridPrintColor);
    stream.ReadData("UnknownB32", UnknownB32);
    stream.ReadInt("Unknown6", Unknown6);
    stream.ReadInt("Unknown7", Unknown7);
    stream.ReadInt("GridHorAlpha", GridHorAlpha);
    stream.ReadInt("Unknown8", Unknown8);
    stream.ReadInt("GridHorAscend", GridHorAscend);
    stream.ReadInt("GridVertAlpha", GridVertAlpha);
    stream.ReadInt("Unknown9", Unknown9);
    stream.ReadInt("GridVertAscend", GridVertAscend);
    stream.ReadInt("Units", Units);
    stream.ReadInt("BorderDisp", BorderDisp);
    stream.ReadInt("BorderPrint", BorderPrint);
    stream.ReadInt("GridRefDisp", GridRefDisp);
    stream.ReadInt("GridRefPrint", GridRefPrint);
    stream.ReadInt("TitleBlockDisp", TitleBlockDisp);
    stream.ReadInt("TitleBlockPrint", TitleBlockPrint);
    stream.ReadInt("AnsiGridRef", AnsiGridRef);

    TitleBlocks->Load(stream);
    WireNets->Load(stream);
    BusNets->Load(stream);
    NetAliases->Load(stream);
    WiresAndBuses->Load(stream);
    PartsAndBlocks->Load(stream);
    Ports->Load(stream);
    Powers->Load(stream);
    OffPages->Load(stream);
    DRCMarks->Load(stream);
    BusEntries->Load(stream);
    Graphics->Load(stream);
    BookMarks->Load(stream);
    stream.ReadData("TrailingData", TrailingData, stream.Remaining());
    return 0;
}

int TDboPage::Save(TDboIStream& stream) {
    ID = 10;
    lTime = hTime = Clock();
    SaveHeader(stream);
    stream.WriteStr("PageName", PageName);
    stream.WriteStr("PageSize", PageSize);
    stream.WriteInt("lTime", lTime);
    stream.WriteInt("hTime", hTime);
    stream.WriteData("UnknownB16", UnknownB16);
    stream.WriteInt("Width", Width);
    stream.WriteInt("Height", Height);
    stream.WriteInt("Pin2PinSpacing", Pin2PinSpacing);
    stream.WriteWord("Unknown3", Unknown3);
    stream.WriteWord("GridHorCnt", GridHorCnt);
    stream.WriteWord("GridVertCnt", GridVertCnt);
    stream.WriteWord("Unknown4", Unknown4);
    stream.WriteInt("GridHorWidth", GridHorWidth);
    stream.WriteInt("GridVertWidth", GridVertWidth);
    stream.WriteInt("GridDispColor", GridDispColor);
    stream.WriteInt("GridPrintColor", GridPrintColor);
    stream.WriteData("UnknownB32", UnknownB32);
    stream.WriteInt("Unknown6", Unknown6);
    stream.WriteInt("Unknown7", Unknown7);
    stream.WriteInt("GridHorAlpha", GridHorAlpha);
    stream.WriteInt("Unknown8", Unknown8);
    stream.WriteInt("GridHorAscend", GridHorAscend);
    stream.WriteInt("GridVertAlpha", GridVertAlpha);
    stream.WriteInt("Unknown9", Unknown9);
    stream.WriteInt("GridVertAscend", GridVertAscend);
    stream.WriteInt("Units", Units);
    stream.WriteInt("BorderDisp", BorderDisp);
    stream.WriteInt("BorderPrint", BorderPrint);
    stream.WriteInt("GridRefDisp", GridRefDisp);
    stream.WriteInt("GridRefPrint", GridRefPrint);
    stream.WriteInt("TitleBlockDisp", TitleBlockDisp);
    stream.WriteInt("TitleBlockPrint", TitleBlockPrint);
    stream.WriteInt("AnsiGridRef", AnsiGridRef);

    TitleBlocks->Save(stream);
    WireNets->Save(stream);
    BusNets->Save(stream);
    NetAliases->Save(stream);
    WiresAndBuses->Save(stream);
    PartsAndBlocks->Save(stream);
    Ports->Save(stream);
    Powers->Save(stream);
    OffPages->Save(stream);
    DRCMarks->Save(stream);
    BusEntries->Save(stream);
    Graphics->Save(stream);
    BookMarks->Save(stream);
    if (!TrailingData.empty()) stream.WriteData("TrailingData", TrailingData);
    EndRecord(stream);
    return 0;
}

void TDboPage::SetPageSize(const std::string& name) {
    for (const auto& entry : kPageSizes) {
        if (name == entry.name) {
            PageSize = entry.stored;
            Width = entry.width;
            Height = entry.height;
            return;
        }
    }
}

void TDboPage::SetCustomPageSize(int32_t width, int32_t height) {
    PageSize = "Custom";
    Width = width;
    Height = height;
}

}  // namespace orcadx::dbo
