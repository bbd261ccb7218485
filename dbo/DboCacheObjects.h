// The design cache (stream "Cache"): copies of every library element that a design's pages use,
// each noted with the library it came from. Per name there is one item with one element for each
// source library. Components and symbols of a design are put together from it on loading, and
// handed to it on saving.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "platform/NameIndex.h"

namespace orcadx::dbo {

// ---------------------------------------------------------------------------------------------
// Elements

// One copy of a library element, with the library it came from. Each kind owns one object and
// stores its whole record behind the element's fields.
class TDboCacheElement : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboCacheElement)

    std::string LibPath;
    int32_t DateCreated = 0;
    int32_t DateModified = 0;
    uint8_t UnknownB = 0;

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;
    // The place a load gave the object among the elements of its item (its "_Dup" number), 0 for
    // kinds without one.
    virtual int DuplicateIndex() const { return 0; }
    // Sets the object's library path to LibPath and copies its ID to the element.
    virtual void AdoptObject() = 0;

protected:
    // The owned object, null once given away.
    virtual TDboStorableObject* Object() const = 0;
    virtual void LoadObject(TDboIStream& stream) = 0;
    void SaveObject(TDboIStream& stream);
};

class TDboCacheSymbol : public TDboCacheElement {
public:
    explicit TDboCacheSymbol(TDboBaseDesign* design);
    TDboCacheSymbol(TDboBaseDesign* design, std::unique_ptr<TDboLibSymbol> symbol);
    DBO_CLASS_NAME(TDboCacheSymbol)

    std::unique_ptr<TDboLibSymbol> Symbol;

    static std::unique_ptr<TDboCacheSymbol> CreateSpecific(TDboBaseDesign* design,
                                                           std::unique_ptr<TDboLibSymbol> symbol);
    void Initialize() override;
    void WriteAscii(TAsciiWriter& writer) override;
    int DuplicateIndex() const override { return Symbol ? Symbol->DuplicateIndex : 0; }

protected:
    TDboStorableObject* Object() const override { return Symbol.get(); }
    void AdoptObject() override;
    // Makes the symbol of the kind that the element's ID names, then loads it.
    void LoadObject(TDboIStream& stream) override;
};

class TDboCacheView : public TDboCacheElement {
public:
    explicit TDboCacheView(TDboBaseDesign* design);
    TDboCacheView(TDboBaseDesign* design, std::unique_ptr<TDboLibView> view);
    DBO_CLASS_NAME(TDboCacheView)

    std::unique_ptr<TDboLibView> View;

    static std::unique_ptr<TDboCacheView> CreateSpecific(TDboBaseDesign* design, std::unique_ptr<TDboLibView> view);
    void Initialize() override;
    void WriteAscii(TAsciiWriter& writer) override;

protected:
    TDboStorableObject* Object() const override { return View.get(); }
    void AdoptObject() override;
    void LoadObject(TDboIStream& stream) override;
};

// Its package is stored without views (HasViews false): they stand in the cache's view list.
class TDboCachePackage : public TDboCacheElement {
public:
    explicit TDboCachePackage(TDboBaseDesign* design);
    TDboCachePackage(TDboBaseDesign* design, std::unique_ptr<TDboLibPackage> package);
    DBO_CLASS_NAME(TDboCachePackage)

    std::unique_ptr<TDboLibPackage> Package;

    static std::unique_ptr<TDboCachePackage> CreateSpecific(TDboBaseDesign* design,
                                                            std::unique_ptr<TDboLibPackage> package);
    void Initialize() override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

protected:
    TDboStorableObject* Object() const override { return Package.get(); }
    void AdoptObject() override;
    void LoadObject(TDboIStream& stream) override;
};

class TDboCachePartInfo : public TDboCacheElement {
public:
    explicit TDboCachePartInfo(TDboBaseDesign* design);
    TDboCachePartInfo(TDboBaseDesign* design, std::unique_ptr<TDboLibPartInfo> partInfo);
    DBO_CLASS_NAME(TDboCachePartInfo)

    std::unique_ptr<TDboLibPartInfo> PartInfo;

    static std::unique_ptr<TDboCachePartInfo> CreateSpecific(TDboBaseDesign* design,
                                                             std::unique_ptr<TDboLibPartInfo> partInfo);
    void Initialize() override;
    void WriteAscii(TAsciiWriter& writer) override;
    int DuplicateIndex() const override { return PartInfo ? PartInfo->DuplicateIndex : 0; }

protected:
    TDboStorableObject* Object() const override { return PartInfo.get(); }
    void AdoptObject() override;
    void LoadObject(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Items and lists

// The position of the first item of each name in a list that grows at its end: items appended
// since the last search are taken in, and a hit that no longer holds (the list was reordered or an
// item changed) builds the index anew. Short lists are searched from the start. A list changed
// other than by appending calls Reset.
template <bool kFolded>
class TFirstIndex {
public:
    // `nameOf(i)` gives item i's name, or null for no item. -1 when no item has `name`.
    template <class NameOf>
    int Find(size_t count, const std::string& name, NameOf&& nameOf) {
        auto same = [&](size_t i) {
            const std::string* n = nameOf(i);
            return n && (kFolded ? SameTextNoCase(*n, name) : *n == name);
        };
        if (count <= kShortList) {
            for (size_t i = 0; i < count; ++i)
                if (same(i)) return static_cast<int>(i);
            return -1;
        }
        auto view = [&](uint32_t i) {
            const std::string* n = i < count ? nameOf(i) : nullptr;
            return n ? std::string_view(*n) : std::string_view();
        };
        for (int pass = 0; pass < 2; ++pass) {
            if (count < indexed_) Reset();
            for (; indexed_ < count; ++indexed_)
                if (nameOf(indexed_)) index_.Add(static_cast<uint32_t>(indexed_), view);
            int64_t at = index_.Find(name, view);
            if (at < 0) return -1;
            if (same(static_cast<size_t>(at))) return static_cast<int>(at);
            Reset();
        }
        return -1;
    }
    void Reset() {
        index_.Clear();
        indexed_ = 0;
    }

private:
    static constexpr size_t kShortList = 8;
    platform::NameIndex<kFolded> index_;
    size_t indexed_ = 0;
};

// All copies of one name: Str "Name", then the list of elements.
class TDboCacheItem : public TDboObject {
public:
    TDboCacheItem(TDboBaseDesign* design, const TDboClass& elementClass)
        : TDboObject(design), Elements(design, elementClass) {}
    DBO_CLASS_NAME(TDboCacheItem)

    std::string Name;
    TDboSimpleObjectList Elements;

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

    // First element whose LibPath is `libPath`, exactly; null if none.
    TDboCacheElement* FindCacheElement(const std::string& libPath) const;
    TDboCacheElement* GetElements(int index) const { return Elements.As<TDboCacheElement>(index); }

private:
    mutable TFirstIndex<false> byLibPath_;
};

class TDboCacheItemList : public TDboStorableList {
public:
    TDboCacheItemList(TDboBaseDesign* design, const TDboClass& elementClass)
        : TDboStorableList(design), ElementClass(&elementClass) {}
    DBO_CLASS_NAME(TDboCacheItemList)

    const TDboClass* ElementClass;

    // An item for this list's element class.
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    TDboCacheItem* GetCacheItems(int index) const { return As<TDboCacheItem>(index); }
    // Sorts by Name, case ignored.
    void SortByName();
    // A new item named `name` holding `element` alone.
    TDboCacheItem* AddItem(const std::string& name, std::unique_ptr<TDboCacheElement> element);
    // Puts `element` into the first item named `name` exactly, made when there is none: one item per
    // name and one element per source library, as Capture writes a cache and as a load looks for
    // it. In the item it stands before the first element of a higher DuplicateIndex.
    TDboCacheItem* AddElement(const std::string& name, std::unique_ptr<TDboCacheElement> element);
    // The first item whose Name equals `name` (exactly, or with case ignored); null if none. Through
    // hash indexes of the names, which follow appended items.
    TDboCacheItem* FindNamed(const std::string& name, bool exactCase) const;

private:
    mutable TFirstIndex<false> exactNames_;
    mutable TFirstIndex<true> foldedNames_;
};

class TDboCacheSymbolList : public TDboCacheItemList {
public:
    explicit TDboCacheSymbolList(TDboBaseDesign* design) : TDboCacheItemList(design, ClassOf<TDboCacheSymbol>()) {}
    DBO_CLASS_NAME(TDboCacheSymbolList)
};

class TDboCacheViewList : public TDboCacheItemList {
public:
    explicit TDboCacheViewList(TDboBaseDesign* design) : TDboCacheItemList(design, ClassOf<TDboCacheView>()) {}
    DBO_CLASS_NAME(TDboCacheViewList)
};

class TDboCachePackageList : public TDboCacheItemList {
public:
    explicit TDboCachePackageList(TDboBaseDesign* design)
        : TDboCacheItemList(design, ClassOf<TDboCachePackage>()) {}
    DBO_CLASS_NAME(TDboCachePackageList)
};

class TDboCachePartInfoList : public TDboCacheItemList {
public:
    explicit TDboCachePartInfoList(TDboBaseDesign* design)
        : TDboCacheItemList(design, ClassOf<TDboCachePartInfo>()) {}
    DBO_CLASS_NAME(TDboCachePartInfoList)
};

// ---------------------------------------------------------------------------------------------
// The cache

class TDboCache : public TDboStorableObject {
public:
    explicit TDboCache(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboCache)

    uint16_t Root = 0;
    TDboCacheSymbolList CacheSymbols;
    TDboCacheViewList CacheViews;
    TDboCachePackageList CachePackages;
    TDboCachePartInfoList CachePartInfos;

    // Word "Root" and the four lists; views, packages and part information are then sorted by
    // name, case ignored, while symbols keep the file's order.
    int Load(TDboIStream& stream) override;
    // Root is written as 0.
    int Save(TDboIStream& stream) override;
    void WriteAscii(TAsciiWriter& writer) override;

    static TDboCacheItem* FindItemByName(const std::string& name, const TDboCacheItemList& list);
    static TDboCacheItem* FindItemByNameCaseSensitive(const std::string& name, const TDboCacheItemList& list);
    static TDboCacheItem* GetCacheItems(const TDboCacheItemList& list, int index) { return list.GetCacheItems(index); }

    // Each takes the object into an element of the item named after it (AddElement), and gives the
    // element; null for no object. What a load gave the object is kept, so that the design loads
    // back as it was: its library path (the element takes it), and its place among the elements
    // of its name, while the "_Dup" number that a load added to the name of a symbol or a part
    // information is taken off again.
    TDboCacheSymbol* AddSymbol(std::unique_ptr<TDboLibSymbol> symbol);
    TDboCacheView* AddView(std::unique_ptr<TDboLibView> view);
    TDboCachePackage* AddPackage(std::unique_ptr<TDboLibPackage> package);
    TDboCachePartInfo* AddPartInfo(std::unique_ptr<TDboLibPartInfo> partInfo);
    // Takes the component's packages, their views and its part information.
    void AddComponent(std::unique_ptr<TDboLibComponent> component);

    // Fills `component.Packages` with the packages (and their views) that the part information
    // of `element` names, taken from the cache from `element.LibPath`. True when all were found.
    // A cache element gives its package or view away once.
    bool GetPackagesForComponent(TDboCachePartInfo& element, TDboLibComponent& component);

    // The package of `name` from `libPath`, taken out of the cache with its views; null if none.
    std::unique_ptr<TDboLibPackage> TakePackage(const std::string& name, const std::string& libPath);
    // The view of `name` from `libPath`, taken out of the cache; null if none.
    std::unique_ptr<TDboLibView> TakeView(const std::string& name, const std::string& libPath);

private:
    // By name, case ignored; an item without elements (or none) falls back to the exact search.
    TDboCacheElement* FindElement(const std::string& name, const std::string& libPath, const TDboCacheItemList& list);
};

}  // namespace orcadx::dbo
