#include "dbo/DboCacheObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "dbo/AsciiWriter.h"
#include "dbo/DboBaseDesign.h"

namespace orcadx::dbo {

// ---------------------------------------------------------------------------------------------
// TDboCacheElement

void TDboCacheElement::Initialize() {
    TDboObject::Initialize();
    LibPath = Design ? Design->LibPath() : std::string();
    DateCreated = 0;
    DateModified = 0;
    UnknownB = 0;
}

int TDboCacheElement::Load(TDboIStream& stream) {
    stream.ReadStr("LibPath", LibPath);
    stream.ReadInt("DateCreated", DateCreated);
    stream.ReadInt("DateModified", DateModified);
    stream.ReadByte("ID", ID);
    stream.ReadByte("UnknownB", UnknownB);
    LoadObject(stream);
    return 0;
}

int TDboCacheElement::Save(TDboIStream& stream) {
    stream.WriteStr("LibPath", LibPath);
    stream.WriteInt("DateCreated", DateCreated);
    stream.WriteInt("DateModified", DateModified);
    stream.WriteByte("ID", ID);
    stream.WriteByte("UnknownB", UnknownB);
    SaveObject(stream);
    return 0;
}

void TDboCacheElement::SaveObject(TDboIStream& stream) {
    TDboStorableObject* object = Object();
    // An element whose object was taken would leave a record without its body.
    if (!object) throw Exception(fmt::format("{} of \"{}\" has no object to save", ClassName(), LibPath));
    object->Save(stream);
}

void TDboCacheElement::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<lib_path>{}</lib_path>", LibPath));
}

namespace {

// Writes the element's line, then the object between `tag` lines, one level in.
void WriteElementObject(TAsciiWriter& writer, TDboStorableObject* object, const char* tag) {
    writer.WriteLine(fmt::format("<{}>", tag));
    writer.IncrementTab();
    if (object) object->WriteAscii(writer);
    writer.DecrementTab();
    writer.WriteLine(fmt::format("</{}>", tag));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Element kinds

TDboCacheSymbol::TDboCacheSymbol(TDboBaseDesign* design)
    : TDboCacheElement(design), Symbol(Make<TDboLibSymbol>(design)) {}

TDboCacheSymbol::TDboCacheSymbol(TDboBaseDesign* design, std::unique_ptr<TDboLibSymbol> symbol)
    : TDboCacheElement(design), Symbol(std::move(symbol)) {}

std::unique_ptr<TDboCacheSymbol> TDboCacheSymbol::CreateSpecific(TDboBaseDesign* design,
                                                                 std::unique_ptr<TDboLibSymbol> symbol) {
    return Make<TDboCacheSymbol>(design, std::move(symbol));
}

void TDboCacheSymbol::Initialize() {
    TDboCacheElement::Initialize();
    AdoptObject();
}

void TDboCacheSymbol::AdoptObject() {
    if (!Symbol) return;
    Symbol->LibPathStr = LibPath;
    ID = Symbol->ID;
}

void TDboCacheSymbol::LoadObject(TDboIStream& stream) {
    // The element's ID names the symbol's kind; a code of no known kind keeps the plain symbol,
    // whose own frame then gives its ID.
    std::unique_ptr<TDboLibSymbol> symbol = CreateSymbol(Design, ID);
    Symbol = symbol ? std::move(symbol) : Make<TDboLibSymbol>(Design);
    Symbol->Load(stream);
}

void TDboCacheSymbol::WriteAscii(TAsciiWriter& writer) {
    TDboCacheElement::WriteAscii(writer);
    WriteElementObject(writer, Symbol.get(), "symbol");
}

TDboCacheView::TDboCacheView(TDboBaseDesign* design) : TDboCacheElement(design), View(Make<TDboLibView>(design)) {}

TDboCacheView::TDboCacheView(TDboBaseDesign* design, std::unique_ptr<TDboLibView> view)
    : TDboCacheElement(design), View(std::move(view)) {}

std::unique_ptr<TDboCacheView> TDboCacheView::CreateSpecific(TDboBaseDesign* design,
                                                             std::unique_ptr<TDboLibView> view) {
    return Make<TDboCacheView>(design, std::move(view));
}

void TDboCacheView::Initialize() {
    TDboCacheElement::Initialize();
    AdoptObject();
}

void TDboCacheView::AdoptObject() {
    if (!View) return;
    View->LibPathStr = LibPath;
    ID = View->ID;
}

void TDboCacheView::LoadObject(TDboIStream& stream) {
    if (!View) View = Make<TDboLibView>(Design);
    View->Load(stream);
}

void TDboCacheView::WriteAscii(TAsciiWriter& writer) {
    TDboCacheElement::WriteAscii(writer);
    WriteElementObject(writer, View.get(), "view");
}

TDboCachePackage::TDboCachePackage(TDboBaseDesign* design)
    : TDboCacheElement(design), Package(Make<TDboLibPackage>(design)) {}

TDboCachePackage::TDboCachePackage(TDboBaseDesign* design, std::unique_ptr<TDboLibPackage> package)
    : TDboCacheElement(design), Package(std::move(package)) {}

std::unique_ptr<TDboCachePackage> TDboCachePackage::CreateSpecific(TDboBaseDesign* design,
                                                                   std::unique_ptr<TDboLibPackage> package) {
    return Make<TDboCachePackage>(design, std::move(package));
}

void TDboCachePackage::Initialize() {
    TDboCacheElement::Initialize();
    AdoptObject();
}

void TDboCachePackage::AdoptObject() {
    if (!Package) return;
    Package->LibPath = LibPath;
    ID = Package->ID;
}

void TDboCachePackage::LoadObject(TDboIStream& stream) {
    if (!Package) Package = Make<TDboLibPackage>(Design);
    Package->HasViews = false;
    Package->Load(stream);
}

int TDboCachePackage::Save(TDboIStream& stream) {
    if (Package) Package->HasViews = false;
    return TDboCacheElement::Save(stream);
}

void TDboCachePackage::WriteAscii(TAsciiWriter& writer) {
    TDboCacheElement::WriteAscii(writer);
    WriteElementObject(writer, Package.get(), "package");
}

TDboCachePartInfo::TDboCachePartInfo(TDboBaseDesign* design)
    : TDboCacheElement(design), PartInfo(Make<TDboLibPartInfo>(design)) {}

TDboCachePartInfo::TDboCachePartInfo(TDboBaseDesign* design, std::unique_ptr<TDboLibPartInfo> partInfo)
    : TDboCacheElement(design), PartInfo(std::move(partInfo)) {}

std::unique_ptr<TDboCachePartInfo> TDboCachePartInfo::CreateSpecific(TDboBaseDesign* design,
                                                                     std::unique_ptr<TDboLibPartInfo> partInfo) {
    return Make<TDboCachePartInfo>(design, std::move(partInfo));
}

void TDboCachePartInfo::Initialize() {
    TDboCacheElement::Initialize();
    AdoptObject();
}

void TDboCachePartInfo::AdoptObject() {
    if (!PartInfo) return;
    PartInfo->LibPath = LibPath;
    ID = PartInfo->ID;
}

void TDboCachePartInfo::LoadObject(TDboIStream& stream) {
    if (!PartInfo) PartInfo = Make<TDboLibPartInfo>(Design);
    PartInfo->Load(stream);
}

void TDboCachePartInfo::WriteAscii(TAsciiWriter& writer) {
    TDboCacheElement::WriteAscii(writer);
    WriteElementObject(writer, PartInfo.get(), "part_info");
}

// ---------------------------------------------------------------------------------------------
// Items and lists

int TDboCacheItem::Load(TDboIStream& stream) {
    stream.ReadStr("Name", Name);
    Elements.Load(stream);
    return 0;
}

int TDboCacheItem::Save(TDboIStream& stream) {
    stream.WriteStr("Name", Name);
    Elements.Save(stream);
    return 0;
}

void TDboCacheItem::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<name>{}</name>", Name));
    writer.WriteLine(fmt::format("<duplicates count=\"{}\">", Elements.Count()));
    writer.IncrementTab();
    for (int i = 0; i < Elements.Count(); ++i) {
        writer.WriteLine(fmt::format("<item i=\"{}\">", i));
        writer.IncrementTab();
        if (TDboStorableObject* element = Elements.GetItems(i)) element->WriteAscii(writer);
        writer.DecrementTab();
        writer.WriteLine("</item>");
    }
    writer.DecrementTab();
    writer.WriteLine("</duplicates>");
}

TDboCacheElement* TDboCacheItem::FindCacheElement(const std::string& libPath) const {
    int at = byLibPath_.Find(Elements.Items.size(), libPath, [&](size_t i) -> const std::string* {
        auto* element = static_cast<const TDboCacheElement*>(Elements.Items[i].get());
        return element ? &element->LibPath : nullptr;
    });
    return at < 0 ? nullptr : GetElements(at);
}

std::unique_ptr<TDboStorableObject> TDboCacheItemList::ConstructObject(TDboIStream&) {
    return Make<TDboCacheItem>(Design, *ElementClass);
}

void TDboCacheItemList::SortByName() {
    // Stable: items of names equal without case keep their order, and the first stays first.
    std::stable_sort(Items.begin(), Items.end(), [](const auto& a, const auto& b) {
        if (!a || !b) return a != nullptr && b == nullptr;
        return CompareTextNoCase(static_cast<const TDboCacheItem*>(a.get())->Name,
                                 static_cast<const TDboCacheItem*>(b.get())->Name) < 0;
    });
    exactNames_.Reset();
    foldedNames_.Reset();
}

TDboCacheItem* TDboCacheItemList::FindNamed(const std::string& name, bool exactCase) const {
    auto nameOf = [&](size_t i) -> const std::string* {
        auto* item = static_cast<const TDboCacheItem*>(Items[i].get());
        return item ? &item->Name : nullptr;
    };
    int at = exactCase ? exactNames_.Find(Items.size(), name, nameOf) : foldedNames_.Find(Items.size(), name, nameOf);
    return at < 0 ? nullptr : GetCacheItems(at);
}

TDboCacheItem* TDboCacheItemList::AddItem(const std::string& name, std::unique_ptr<TDboCacheElement> element) {
    auto item = Make<TDboCacheItem>(Design, *ElementClass);
    item->Name = name;
    item->Elements.Add(std::move(element));
    TDboCacheItem* raw = item.get();
    Add(std::move(item));
    return raw;
}

TDboCacheItem* TDboCacheItemList::AddElement(const std::string& name, std::unique_ptr<TDboCacheElement> element) {
    TDboCacheItem* item = FindNamed(name, true);
    if (!item) return AddItem(name, std::move(element));
    const int order = element->DuplicateIndex();
    auto& items = item->Elements.Items;
    auto at = std::find_if(items.begin(), items.end(), [&](const auto& other) {
        return other && static_cast<const TDboCacheElement*>(other.get())->DuplicateIndex() > order;
    });
    if (at == items.end()) item->Elements.Add(std::move(element));
    else items.insert(at, std::move(element));
    return item;
}

// ---------------------------------------------------------------------------------------------
// TDboCache

TDboCache::TDboCache(TDboBaseDesign* design)
    : TDboStorableObject(design), CacheSymbols(design), CacheViews(design), CachePackages(design),
      CachePartInfos(design) {}

int TDboCache::Load(TDboIStream& stream) {
    stream.ReadWord("Root", Root);
    CacheSymbols.Load(stream);
    CacheViews.Load(stream);
    CacheViews.SortByName();
    CachePackages.Load(stream);
    CachePackages.SortByName();
    CachePartInfos.Load(stream);
    CachePartInfos.SortByName();
    return 0;
}

int TDboCache::Save(TDboIStream& stream) {
    stream.WriteWord("Root", 0);
    CacheSymbols.Save(stream);
    CacheViews.Save(stream);
    CachePackages.Save(stream);
    CachePartInfos.Save(stream);
    return 0;
}

void TDboCache::WriteAscii(TAsciiWriter& writer) {
    writer.WriteLine("<design_cache>");
    writer.IncrementTab();
    const std::pair<const char*, TDboCacheItemList*> lists[] = {
        {"symbol_list", &CacheSymbols},
        {"view_list", &CacheViews},
        {"package_list", &CachePackages},
        {"part_list", &CachePartInfos},
    };
    for (const auto& [tag, list] : lists) {
        writer.WriteLine(fmt::format("<{} count=\"{}\">", tag, list->Count()));
        list->WriteAscii(writer);
        writer.WriteLine(fmt::format("</{}>", tag));
    }
    writer.DecrementTab();
    writer.WriteLine("</design_cache>");
}

TDboCacheItem* TDboCache::FindItemByName(const std::string& name, const TDboCacheItemList& list) {
    return list.FindNamed(name, false);
}

TDboCacheItem* TDboCache::FindItemByNameCaseSensitive(const std::string& name, const TDboCacheItemList& list) {
    return list.FindNamed(name, true);
}

namespace {

// The name without the "_Dup" number that a load added for the element at `index` of its item.
std::string LoadedBaseName(const std::string& name, int index) {
    if (index <= 0) return name;
    std::string suffix = "_Dup" + std::to_string(index);
    if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        return name.substr(0, name.size() - suffix.size());
    return name;
}

// Makes the element of `object`, whose own library path is `own`, and puts it into `list`. A new
// object carries the design's path from its making; one that a load made, the path it was read with.
template <class Element, class Object>
Element* AddToList(TDboBaseDesign* design, TDboCacheItemList& list, const std::string& name,
                   std::unique_ptr<Object> object, const std::string& own) {
    auto element = Element::CreateSpecific(design, std::move(object));
    element->LibPath = own;
    static_cast<TDboCacheElement&>(*element).AdoptObject();
    element->DateCreated = element->DateModified = CurrentTime();
    Element* raw = element.get();
    list.AddElement(name, std::move(element));
    return raw;
}

}  // namespace

TDboCacheSymbol* TDboCache::AddSymbol(std::unique_ptr<TDboLibSymbol> symbol) {
    if (!symbol) return nullptr;
    symbol->ViewName = LoadedBaseName(symbol->ViewName, symbol->DuplicateIndex);
    std::string name = symbol->ViewName;
    std::string own = symbol->LibPathStr;
    return AddToList<TDboCacheSymbol>(Design, CacheSymbols, name, std::move(symbol), own);
}

TDboCacheView* TDboCache::AddView(std::unique_ptr<TDboLibView> view) {
    if (!view) return nullptr;
    std::string name = view->ViewName;
    std::string own = view->LibPathStr;
    return AddToList<TDboCacheView>(Design, CacheViews, name, std::move(view), own);
}

TDboCachePackage* TDboCache::AddPackage(std::unique_ptr<TDboLibPackage> package) {
    if (!package) return nullptr;
    std::string name = package->Name;
    std::string own = package->LibPath;
    return AddToList<TDboCachePackage>(Design, CachePackages, name, std::move(package), own);
}

TDboCachePartInfo* TDboCache::AddPartInfo(std::unique_ptr<TDboLibPartInfo> partInfo) {
    if (!partInfo) return nullptr;
    partInfo->CompName = LoadedBaseName(partInfo->CompName, partInfo->DuplicateIndex);
    std::string name = partInfo->CompName;
    std::string own = partInfo->LibPath;
    return AddToList<TDboCachePartInfo>(Design, CachePartInfos, name, std::move(partInfo), own);
}

void TDboCache::AddComponent(std::unique_ptr<TDboLibComponent> component) {
    if (!component) return;
    for (int i = 0; i < component->Packages.Count(); ++i) {
        std::unique_ptr<TDboStorableObject> taken = component->Packages.SetItems(i, nullptr);
        if (!taken) continue;
        std::unique_ptr<TDboLibPackage> package(static_cast<TDboLibPackage*>(taken.release()));
        TDboLibPackage* raw = package.get();
        AddPackage(std::move(package));
        for (int j = 0; j < raw->Views.Count(); ++j) {
            std::unique_ptr<TDboStorableObject> view = raw->Views.SetItems(j, nullptr);
            if (view) AddView(std::unique_ptr<TDboLibView>(static_cast<TDboLibView*>(view.release())));
        }
    }
    if (component->PartInfo) AddPartInfo(std::move(component->PartInfo));
}

TDboCacheElement* TDboCache::FindElement(const std::string& name, const std::string& libPath,
                                         const TDboCacheItemList& list) {
    TDboCacheItem* item = FindItemByName(name, list);
    if (!item || item->Elements.Count() == 0) item = FindItemByNameCaseSensitive(name, list);
    if (!item || item->Elements.Count() == 0) return nullptr;
    if (TDboCacheElement* element = item->FindCacheElement(libPath)) return element;
    // Names equal but for case that come from different libraries ("Solder_Jumper" of one,
    // "SOLDER_JUMPER" of another) stand in items of their own: the item of the exact name holds
    // the element of the other library.
    TDboCacheItem* exact = FindItemByNameCaseSensitive(name, list);
    return exact && exact != item ? exact->FindCacheElement(libPath) : nullptr;
}

std::unique_ptr<TDboLibView> TDboCache::TakeView(const std::string& name, const std::string& libPath) {
    auto* element = static_cast<TDboCacheView*>(FindElement(name, libPath, CacheViews));
    return element ? std::move(element->View) : nullptr;
}

std::unique_ptr<TDboLibPackage> TDboCache::TakePackage(const std::string& name, const std::string& libPath) {
    auto* element = static_cast<TDboCachePackage*>(FindElement(name, libPath, CachePackages));
    if (!element || !element->Package) return nullptr;
    std::unique_ptr<TDboLibPackage> package = std::move(element->Package);
    package->Views.Clear();
    for (const std::string& viewName : package->ViewNames)
        if (auto view = TakeView(viewName, libPath)) package->Views.Add(std::move(view));
    // Out of the cache the package carries its views in its own record again.
    package->HasViews = true;
    return package;
}

bool TDboCache::GetPackagesForComponent(TDboCachePartInfo& element, TDboLibComponent& component) {
    // The package names, sorted without case and without duplicates; of names equal but for case
    // the first one met stays.
    std::vector<std::string> names;
    if (element.PartInfo)
        for (int i = 0; i < element.PartInfo->Parts.Count(); ++i)
            if (const TDboLibPart* part = element.PartInfo->Parts.GetParts(i)) names.push_back(part->PkgName);
    if (names.empty()) return false;
    std::stable_sort(names.begin(), names.end(),
                     [](const std::string& a, const std::string& b) { return CompareTextNoCase(a, b) < 0; });
    names.erase(std::unique(names.begin(), names.end(),
                            [](const std::string& a, const std::string& b) { return SameTextNoCase(a, b); }),
                names.end());
    for (const std::string& name : names)
        if (auto package = TakePackage(name, element.LibPath)) component.Packages.Add(std::move(package));
    return component.Packages.Count() == static_cast<int>(names.size());
}

}  // namespace orcadx::dbo
