// Views (schematic folders) and their pages. The stream "Views Directory" lists the views; each
// view has a storage under "Views" with a stream "Schematic" (TDboSchematics), a storage "Pages"
// with one stream per page (TDboPage), and, in hierarchical designs, a storage "Hierarchy".
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboBaseObjects.h"

namespace orcadx::dbo {

class TDboGraphicInstanceList;
class TDboHierarchy;
class TDboNetAliasList;
class TDboPartAndBlockList;
class TDboSchematics;
class TDboViewDirEntry;
class TDboWireBusList;

// ---------------------------------------------------------------------------------------------
// Views directory

// The stream "Views Directory": Int "Date", then the entries. Loading an entry reads its view
// from the design's root storage; saving the list writes the storage "Views" into it.
class TDboViewDirEntryList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    ~TDboViewDirEntryList() override;
    DBO_CLASS_NAME(TDboViewDirEntryList)

    std::unique_ptr<TDboIStorage> ViewsStorage;  // open only during Save
    int32_t Date = 0;

    // The entry is the list's from the start, so that its load can ask ClaimView.
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    // Also makes the list the entry's Owner. An entry that repeats a view loaded before is dropped.
    void Add(std::unique_ptr<TDboStorableObject> item) override;
    // A view that the list names more than once is loaded once; the repeats are reported to the
    // design, once per name.
    int Load(TDboIStream& stream) override;
    // During Load: true the first time a view (by its storage) is met.
    bool ClaimView(const std::string& key, const std::string& name) { return repeated_.Claim(key, name); }
    // Needs the design's root storage (Design->Storage) open for writing.
    int Save(TDboIStream& stream) override;

    TDboViewDirEntry* GetEntries(int index) const { return As<TDboViewDirEntry>(index); }

private:
    TRepeatedNames repeated_;
};

// One view: its name and its schematic folder with pages and hierarchy.
class TDboViewDirEntry : public TDboObject {
public:
    explicit TDboViewDirEntry(TDboBaseDesign* design);
    ~TDboViewDirEntry() override;
    DBO_CLASS_NAME(TDboViewDirEntry)

    TDboViewDirEntryList* Owner = nullptr;
    std::string Name;
    std::array<uint8_t, 22> UnknownData{};
    std::unique_ptr<TDboSchematics> Schematics;
    // Set by Load when the view was loaded before under this name or another that finds it.
    bool Repeated = false;

    void Initialize() override;
    // Reads "Name" and "UnknownData", then the view's storage "Views"/<Name> from the design's
    // root storage; a view without a storage stays empty.
    int Load(TDboIStream& stream) override;
    // Writes the two fields, then the view's storage into the owner's ViewsStorage.
    int Save(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Views

class TDboPage;

class TDboSchematics : public TDboBaseObject {
public:
    TDboSchematics(TDboBaseDesign* design, TDboViewDirEntry* entry = nullptr);
    ~TDboSchematics() override;
    DBO_CLASS_NAME(TDboSchematics)

    TDboViewDirEntry* Entry;
    std::string ViewName;
    std::vector<std::string> PageNames;
    std::vector<std::unique_ptr<TDboPage>> Pages;
    std::unique_ptr<TDboHierarchy> Hierarchy;
    int32_t UnknownInt = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 1; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // Adds the page's name to PageNames and the page to Pages.
    TDboPage* AddPage(std::unique_ptr<TDboPage> page);
    // Reads one page stream of the storage "Pages" per name in PageNames. A page that the list
    // names more than once is loaded once and keeps its first place; the repeats leave PageNames
    // and are reported to the design, once per name.
    void LoadPages(TDboIStorage& viewStorage);
    // Creates the storage "Pages" and one stream per name, holding the page of the same index.
    void SavePages(TDboIStorage& viewStorage);
    // Reads the stream "Hierarchy" of the storage "Hierarchy" when the view has one.
    void LoadHierarchy(TDboIStorage& viewStorage);

    int PageCount() const { return static_cast<int>(Pages.size()); }
    TDboPage* GetPages(int index) const;
};

// ---------------------------------------------------------------------------------------------
// Pages

class TDboPage : public TDboObject {
public:
    explicit TDboPage(TDboBaseDesign* design);
    ~TDboPage() override;
    DBO_CLASS_NAME(TDboPage)

    // The time that Save stores; CurrentTime unless a test puts in its own.
    static int32_t (*Clock)();

    TDboPropNameValList UserProps;

    std::string PageName;
    std::string PageSize;
    int32_t lTime = 0, hTime = 0;
    int32_t Width = 0, Height = 0;  // thousandths of the page's unit
    int32_t Pin2PinSpacing = 0;
    uint16_t GridHorCnt = 0, GridVertCnt = 0;
    int32_t GridHorWidth = 0, GridVertWidth = 0;
    int32_t GridDispColor = 0, GridPrintColor = 0;
    int32_t GridHorAlpha = 0, GridHorAscend = 0, GridVertAlpha = 0, GridVertAscend = 0;
    int32_t Units = 0;  // 0 inch, any other value millimetre
    int32_t BorderDisp = 0, BorderPrint = 0;
    int32_t GridRefDisp = 0, GridRefPrint = 0;
    int32_t TitleBlockDisp = 0, TitleBlockPrint = 0;
    int32_t AnsiGridRef = 0;
    uint16_t Unknown3 = 0, Unknown4 = 0;
    int32_t Unknown6 = 0, Unknown7 = 0, Unknown8 = 0, Unknown9 = 0;
    std::array<uint8_t, 16> UnknownB16{};
    std::array<uint8_t, 32> UnknownB32{};

    // The object lists, in the order of the file.
    std::unique_ptr<TDboSimpleObjectList> TitleBlocks;     // TDboTitleBlock
    std::unique_ptr<TDboSimpleObjectList> WireNets;        // TDboWireNet
    std::unique_ptr<TDboSimpleObjectList> BusNets;         // TDboBusNet
    std::unique_ptr<TDboNetAliasList> NetAliases;          // TDboNetAlias
    std::unique_ptr<TDboWireBusList> WiresAndBuses;        // TDboWire, TDboBus
    std::unique_ptr<TDboPartAndBlockList> PartsAndBlocks;  // TDboPart, TDboHierarchicalBlock
    std::unique_ptr<TDboSimpleObjectList> Ports;           // TDboPort
    std::unique_ptr<TDboSimpleObjectList> Powers;          // TDboPower
    std::unique_ptr<TDboSimpleObjectList> OffPages;        // TDboOffPage
    std::unique_ptr<TDboSimpleObjectList> DRCMarks;        // TDboDRCMark
    std::unique_ptr<TDboSimpleObjectList> BusEntries;      // TDboBusEntry
    std::unique_ptr<TDboGraphicInstanceList> Graphics;     // graphic instances
    std::unique_ptr<TDboSimpleObjectList> BookMarks;       // TDboBookMark

    // Whatever the page stream holds behind the thirteen lists (Capture ends each page with a
    // zero Word), kept as read and written back; empty on a new page.
    std::vector<uint8_t> TrailingData;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    void LoadUserProps(TDboIStream& stream) override;
    void SaveUserProps(TDboIStream& stream) override;
    int64_t UserPropsSize() override;
    // Reads the record and then the rest of the stream into TrailingData.
    int Load(TDboIStream& stream) override;
    // Sets ID 10 and both times to Clock() first.
    int Save(TDboIStream& stream) override;

    // Sets PageSize, Width and Height from the table of known sizes; an unknown name (compared
    // exactly) changes nothing.
    void SetPageSize(const std::string& name);
    void SetCustomPageSize(int32_t width, int32_t height);
};

}  // namespace orcadx::dbo
