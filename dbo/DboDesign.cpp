#include "dbo/DboDesign.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

#include "dbo/DboCacheObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboViewObjects.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"

namespace orcadx::dbo {

namespace {

bool EndsWithNoCase(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() && platform::SameTextNoCase(std::string_view(s).substr(s.size() - suffix.size()), suffix);
}

// The 22 bytes that stand behind each entry of a directory record: a type word and 20 zeros.
void WriteCellData(TDboIStream& stream, const char* name, uint8_t type) {
    uint8_t data[22] = {type, 0};
    stream.WriteData(name, data, 22);
}

void WriteEmptyDirectory(TDboIStorage& root, const std::string& name) {
    std::unique_ptr<TDboIStream> s;
    root.CreateStreamSafe(name, s);
    s->WriteInt("Time", CurrentTime());
    s->WriteWord("Count", 0);
}

}  // namespace

int NaturalCompare(const std::string& a, const std::string& b) {
    if (platform::SameTextNoCase(a, b)) return 0;
    if (a.empty() || b.empty()) return a.size() < b.size() ? -1 : 1;
    auto runs = [](const std::string& s) {
        std::vector<std::pair<bool, std::string>> out;  // (digits, text)
        size_t i = 0;
        while (i < s.size() && s[i] == ' ') ++i;
        for (; i < s.size(); ++i) {
            char c = s[i];
            if (c == ' ') continue;
            bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
            if (out.empty() || out.back().first != digit) out.push_back({digit, ""});
            out.back().second += c;
        }
        return out;
    };
    auto ra = runs(a), rb = runs(b);
    for (size_t k = 0; k < ra.size() && k < rb.size(); ++k) {
        std::string x = ra[k].second, y = rb[k].second;
        if (ra[k].first && rb[k].first) {
            if (x.size() < y.size()) x.insert(0, y.size() - x.size(), '0');
            if (y.size() < x.size()) y.insert(0, x.size() - y.size(), '0');
        } else {
            x.resize(std::max(x.size(), y.size()), '\0');
            y.resize(x.size(), '\0');
        }
        for (size_t i = 0; i < x.size(); ++i) {
            unsigned char cx = x[i], cy = y[i];
            if (cx >= 'A' && cx <= 'Z') cx += 32;
            if (cy >= 'A' && cy <= 'Z') cy += 32;
            if (cx != cy) return cx < cy ? -1 : 1;
        }
    }
    if (ra.size() != rb.size()) return ra.size() < rb.size() ? -1 : 1;
    // All runs tie: the plain comparison without case decides.
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        unsigned char cx = a[i], cy = b[i];
        if (cx >= 'a' && cx <= 'z') cx -= 32;
        if (cy >= 'a' && cy <= 'z') cy -= 32;
        if (cx != cy) return cx < cy ? -1 : 1;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

TDboDesign::TDboDesign(const std::string& fileName, host::IHandler_Status* status, int32_t percentShare,
                       host::ILogSection* log)
    : Status(status), PercentShare(percentShare) {
    FileName = fileName;
    if (log) LogSection = platform::AddSubSection(log, "Load Messages");
    PkgDir = Make<TDboLibPkgDirEntryList>(this);
    Symbols = Make<TDboLibSymbolList>(this);
    SymbolDir = Make<TDboLibSymbolDirList>(this);
    Views = Make<TDboViewDirEntryList>(this);
    Lib->SetIdentifier(EndsWithNoCase(fileName, ".OLB") ? kLibraryIdentifier : kDesignIdentifier);
}

TDboDesign::~TDboDesign() = default;

void TDboDesign::GetLibPath(std::string& path) const {
    if (Lib && Lib->IsDesign()) TDboBaseDesign::GetLibPath(path);
    else path.clear();
}

bool TDboDesign::IsValid() const { return Lib->IsValid(); }

void TDboDesign::LoadMessage(int32_t severity, const std::string& text) {
    platform::LogMessage(LogSection, severity, text);
}

void TDboDesign::Report(int& steps, int newSteps) {
    steps = newSteps;
    platform::StatusReporter(Status).Advance(static_cast<int32_t>(platform::RoundHalfEven(PercentShare / 5.0)));
}

bool TDboDesign::Load(bool headerOnly) {
    if (MemoryImage.empty()) OpenRootStorage(FileName, Storage);
    else OpenRootStorageFromMemory(MemoryImage, FileName, Storage);
    platform::StatusReporter status(Status);
    int steps = 0;
    int fileEntriesStart = 0;
    bool result = false;
    auto finish = [&](bool failed) {
        status.Advance(static_cast<int32_t>(platform::RoundHalfEven(PercentShare * (5 - steps) / 5.0)));
        status.End();
        if (failed || !KeepStorage) Storage.reset();
    };
    try {
        status.Begin();
        status.Title("Parsing Orcad Design File : " + FileName);
        status.Line("Parsing Library Content");
        {
            std::unique_ptr<TDboIStream> s;
            Storage->OpenStreamSafe("Library", s);
            LoadInStream("stream \"Library\"", *s, [&] { Lib->Load(*s); });
        }
        Report(steps, 1);
        if (InVersionSet(Version, VersionSet::Known)) {
            std::unique_ptr<TDboIStream> s;
            Storage->OpenStreamSafe("Cache", s);
            auto cache = Make<TDboCache>(this);
            LoadInStream("stream \"Cache\"", *s, [&] { cache->Load(*s); });
            BuildFromCache(*cache);
            result = true;
        }
        if (Lib->IsValid() && !headerOnly) {
            status.Line("Parsing Library Packages");
            {
                std::unique_ptr<TDboIStream> s;
                Storage->OpenStreamSafe("Packages Directory", s);
                LoadInStream("stream \"Packages Directory\"", *s, [&] { PkgDir->Load(*s); });
            }
            Report(steps, 2);
            status.Line("Parsing Library Symbols");
            {
                std::unique_ptr<TDboIStream> s;
                Storage->OpenStreamSafe("Symbols Directory", s);
                fileEntriesStart = SymbolDir->Count();
                LoadInStream("stream \"Symbols Directory\"", *s, [&] { SymbolDir->Load(*s); });
            }
            Report(steps, 3);
            status.Line("Parsing Views and Pages");
            {
                std::unique_ptr<TDboIStream> s;
                Storage->OpenStreamSafe("Views Directory", s);
                Views->Load(*s);  // each page tells its own place when it fails
            }
            Report(steps, 4);
            status.Line("Building Objects");
            {
                std::unique_ptr<TDboIStorage> packages;
                Storage->OpenStorageSafe("Packages", packages);
                TRepeatedNames repeated;
                for (int i = 0; i < PkgDir->Count(); ++i) {
                    const std::string& name = PkgDir->GetEntries(i)->EntryName;
                    if (!packages->ExistStream(name)) continue;
                    // A package that the directory names again was loaded already.
                    if (!repeated.Claim(packages->StoredName(name), name)) continue;
                    std::unique_ptr<TDboIStream> s;
                    packages->OpenStreamSafe(name, s);
                    auto component = Make<TDboLibComponent>(this);
                    LoadInStream("stream \"Packages/" + name + "\"", *s, [&] { component->Load(*s); });
                    Components.push_back(std::move(component));
                }
                ReportRepeats(repeated, "Packages Directory");
            }
            {
                std::unique_ptr<TDboIStorage> symbols;
                Storage->OpenStorageSafe("Symbols", symbols);
                int count = SymbolDir->Count();
                // The loop also meets the entries that the cache's symbols made: a stream is loaded
                // once for all of them, and only names that the file's directory repeats are told.
                TRepeatedNames loaded, listed;
                for (int i = 0; i < count; ++i) {
                    TDboLibSymbolDirEntry* entry = SymbolDir->GetEntries(i);
                    std::string name = entry->SymbolName;
                    int id = entry->SymbolID;
                    std::string stored = symbols->StoredName(name);
                    if (i >= fileEntriesStart) listed.Claim(stored.empty() ? platform::UpperCaseAscii(name) : stored, name);
                    if (!symbols->ExistStream(name)) continue;
                    if (!loaded.Claim(stored, name)) continue;
                    std::unique_ptr<TDboIStream> s;
                    symbols->OpenStreamSafe(name, s);
                    auto symbol = CreateSymbol(this, id);
                    if (!symbol) continue;
                    LoadInStream("stream \"Symbols/" + name + "\"", *s, [&] { symbol->Load(*s); });
                    AddSymbol(std::move(symbol));
                }
                // AddSymbol gave every symbol read its own directory entry; the entries read from
                // the file served only to find the streams, and would stand twice in a later save.
                SymbolDir->Items.erase(SymbolDir->Items.begin() + fileEntriesStart, SymbolDir->Items.begin() + count);
                ReportRepeats(listed, "Symbols Directory");
            }
            Report(steps, 5);
        }
    } catch (...) {
        try {
            finish(true);
        } catch (...) {
        }
        try {
            throw;
        } catch (const std::bad_alloc&) {
            throw Exception("Not enough memory to load " + FileName);
        }
    }
    finish(false);
    return result;
}

void TDboDesign::ReportRepeats(const TRepeatedNames& repeated, const std::string& directory) {
    repeated.Report([&](const std::string& name, int times) {
        LoadMessage(host::kLogWarning,
                    fmt::format("\"{}\" is named {} times in \"{}\"; it is loaded once", name, times, directory));
    });
}

void TDboDesign::BuildFromCache(TDboCache& cache) {
    for (int i = 0; i < cache.CachePartInfos.Count(); ++i) {
        TDboCacheItem* item = cache.CachePartInfos.GetCacheItems(i);
        for (int j = 0; j < item->Elements.Count(); ++j) {
            auto* element = item->Elements.As<TDboCachePartInfo>(j);
            if (!element || !element->PartInfo) continue;
            auto component = Make<TDboLibComponent>(this);
            if (!cache.GetPackagesForComponent(*element, *component)) continue;
            if (j > 0) {
                element->PartInfo->CompName += "_Dup" + std::to_string(j);
                element->PartInfo->DuplicateIndex = j;
            }
            component->PartInfo = std::move(element->PartInfo);
            Components.push_back(std::move(component));
        }
    }
    for (int i = 0; i < cache.CacheSymbols.Count(); ++i) {
        TDboCacheItem* item = cache.CacheSymbols.GetCacheItems(i);
        for (int j = 0; j < item->Elements.Count(); ++j) {
            auto* element = item->Elements.As<TDboCacheSymbol>(j);
            if (!element || !element->Symbol) continue;
            if (j > 0) {
                element->Symbol->ViewName += "_Dup" + std::to_string(j);
                element->Symbol->DuplicateIndex = j;
            }
            AddSymbol(std::move(element->Symbol));
        }
    }
}

void TDboDesign::Save() {
    try {
        WriteFile();
    } catch (...) {
        // The storage writes what it holds when it is let go; the half-written file goes after it.
        Storage.reset();
        std::error_code ec;
        std::filesystem::remove(FileName, ec);
        throw;
    }
}

void TDboDesign::WriteFile() {
    const bool library = Lib->IsLibrary();
    CreateRootStorage(FileName, Storage);
    TDboIStorage& root = *Storage;
    {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Library", s);
        Lib->Save(*s);
    }
    root.CreateStorageSafe("Cells");
    root.CreateStorageSafe("Parts");
    root.CreateStorageSafe("Views");
    {
        std::unique_ptr<TDboIStorage> graphics;
        root.CreateStorageSafe("Graphics", graphics);
        graphics->CreateStreamSafe("$Types$");
    }
    {
        std::unique_ptr<TDboIStorage> packages;
        root.CreateStorageSafe("Packages", packages);
        if (library) {
            for (auto& component : Components) {
                // The stream's name is escaped and kept within 31 characters; the component keeps
                // that name with its own characters, so that a "/" in a part name stays a "/".
                std::string name = UnescapeStorageName(MakeUniqueStreamName(*packages, component->PartInfo->CompName));
                component->PartInfo->CompName = name;
                std::unique_ptr<TDboIStream> s;
                packages->CreateStreamSafe(name, s);
                component->Save(*s);
            }
        }
    }
    root.CreateStorageSafe("ExportBlocks");
    if (library) {
        WriteLibraryDirectories();
    } else {
        WriteEmptyDirectory(root, "Cells Directory");
        WriteEmptyDirectory(root, "Parts Directory");
    }
    if (library) {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Symbols Directory", s);
        SymbolDir->Save(*s);
    } else {
        WriteEmptyDirectory(root, "Symbols Directory");
    }
    {
        std::unique_ptr<TDboIStorage> symbols;
        root.CreateStorageSafe("Symbols", symbols);
        if (library) {
            for (int i = 0; i < Symbols->Count(); ++i) {
                TDboLibSymbol* symbol = GetSymbol(i);
                std::unique_ptr<TDboIStream> s;
                symbols->CreateStreamSafe(symbol->ViewName, s);
                symbol->Save(*s);
            }
        }
        std::unique_ptr<TDboIStream> types;
        symbols->CreateStreamSafe("$Types$", types);
        if (library) {
            for (int i = 0; i < Symbols->Count(); ++i) {
                TDboLibSymbol* symbol = GetSymbol(i);
                types->WriteStr("SymbolName", symbol->ViewName);
                types->WriteWord("ID", symbol->ID);
            }
        }
    }
    WriteEmptyDirectory(root, "Graphics Directory");
    if (library) {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Packages Directory", s);
        s->WriteInt("Time", CurrentTime());
        s->WriteWord("Count", static_cast<uint16_t>(Components.size()));
        for (auto& component : Components) {
            s->WriteStr("ComponentName", component->PartInfo->CompName);
            WriteCellData(*s, "CellData", 0x1F);
        }
    } else {
        WriteEmptyDirectory(root, "Packages Directory");
    }
    WriteEmptyDirectory(root, "ExportBlocks Directory");
    if (!library) {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Views Directory", s);
        Views->Save(*s);
    } else {
        root.CreateStorageSafe("Views");
        WriteEmptyDirectory(root, "Views Directory");
    }
    if (Version == 0x00020003 || Version == 0x00030003) {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("NetBundleMapData", s);
        s->WriteInt("NetBundleMapDataDirectory", 2);
    }
    {
        auto cache = Make<TDboCache>(this);
        if (Lib->IsDesign()) {
            for (auto it = Components.rbegin(); it != Components.rend(); ++it) cache->AddComponent(std::move(*it));
            Components.clear();
            for (auto& symbol : Symbols->Items)
                cache->AddSymbol(std::unique_ptr<TDboLibSymbol>(static_cast<TDboLibSymbol*>(symbol.release())));
            Symbols->Items.clear();
        }
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Cache", s);
        cache->Save(*s);
    }
    Storage->Close();
    Storage.reset();
}

void TDboDesign::WriteLibraryDirectories() {
    TDboIStorage& root = *Storage;
    {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Cells Directory", s);
        s->WriteInt("Time", CurrentTime());
        uint32_t count = 0;
        for (auto& component : Components) count += static_cast<uint32_t>(component->Packages.Count());
        s->WriteWord("Count", static_cast<uint16_t>(count));
        for (auto& component : Components)
            for (int p = 0; p < component->Packages.Count(); ++p) {
                s->WriteStr("PackageName", component->Packages.GetPackages(p)->Name);
                WriteCellData(*s, "CellData", 0x06);
            }
    }
    {
        std::unique_ptr<TDboIStream> s;
        root.CreateStreamSafe("Parts Directory", s);
        s->WriteInt("Time", CurrentTime());
        uint32_t numParts = 0;
        for (auto& component : Components) {
            if (component->Packages.Count() >= 2) {
                for (int p = 0; p < component->Packages.Count(); ++p)
                    numParts += static_cast<uint32_t>(component->Packages.GetPackages(p)->Views.Count());
            } else {
                numParts += static_cast<uint32_t>(component->PartInfo->Parts.Count());
            }
        }
        s->WriteWord("NumParts", static_cast<uint16_t>(numParts));
        for (auto& component : Components)
            for (int p = 0; p < component->Packages.Count(); ++p) {
                TDboLibPackage* package = component->Packages.GetPackages(p);
                for (int v = 0; v < package->Views.Count(); ++v) {
                    s->WriteStr("ViewName", package->Views.GetViews(v)->ViewName);
                    WriteCellData(*s, "PartData", 0x18);
                }
            }
    }
}

void TDboDesign::AddComponent(std::unique_ptr<TDboLibComponent> component) {
    Components.push_back(std::move(component));
}

void TDboDesign::AddView(std::unique_ptr<TDboSchematics> view) {
    auto entry = Make<TDboViewDirEntry>(this);
    entry->Name = view->ViewName;
    entry->Schematics = std::move(view);
    Views->Add(std::move(entry));
}

void TDboDesign::AddSymbol(std::unique_ptr<TDboLibSymbol> symbol) {
    auto entry = Make<TDboLibSymbolDirEntry>(this);
    entry->SymbolName = symbol->ViewName;
    entry->SymbolID = symbol->ID;
    SymbolDir->Add(std::move(entry));
    Symbols->Add(std::move(symbol));
}

TDboLibComponent* TDboDesign::GetComponent(int index) const {
    if (index < 0 || index >= ComponentCount()) throw Exception(fmt::format("List index out of bounds ({})", index));
    return Components[index].get();
}

TDboLibSymbol* TDboDesign::GetSymbol(int index) const { return Symbols->As<TDboLibSymbol>(index); }
int TDboDesign::SymbolCount() const { return Symbols->Count(); }
TDboSchematics* TDboDesign::GetViews(int index) const { return Views->GetEntries(index)->Schematics.get(); }
int TDboDesign::ViewCount() const { return Views->Count(); }

void TDboDesign::SortViews() {
    Views->Sort([](const TDboStorableObject* a, const TDboStorableObject* b) {
        return NaturalCompare(static_cast<const TDboViewDirEntry*>(a)->Name,
                              static_cast<const TDboViewDirEntry*>(b)->Name) < 0;
    });
}

TDboLibComponent* TDboDesign::FindComponent(const std::string& name) const {
    for (auto& component : Components)
        if (platform::SameTextNoCase(component->PartInfo->CompName, name)) return component.get();
    return nullptr;
}

TDboLibSymbol* TDboDesign::FindSymbol(const std::string& name, const std::string* libPath) const {
    for (int i = 0; i < Symbols->Count(); ++i) {
        TDboLibSymbol* symbol = GetSymbol(i);
        if (platform::SameTextNoCase(symbol->ViewName, name) && (!libPath || platform::SameTextNoCase(symbol->LibPathStr, *libPath)))
            return symbol;
    }
    return nullptr;
}

void TDboDesign::GetCompName(std::string& name, const std::string& base, const std::string& libPath) const {
    for (auto& component : Components) {
        TDboLibPartInfo& info = *component->PartInfo;
        std::string candidate = base;
        if (info.DuplicateIndex > 0) candidate += "_Dup" + std::to_string(info.DuplicateIndex);
        if (candidate == info.CompName && libPath == info.LibPath) {
            name = info.CompName;
            return;
        }
    }
    for (int i = 0; i < Symbols->Count(); ++i) {
        TDboLibSymbol* symbol = GetSymbol(i);
        std::string candidate = base;
        if (symbol->DuplicateIndex > 0) candidate += "_Dup" + std::to_string(symbol->DuplicateIndex);
        if (candidate == symbol->ViewName && libPath == symbol->LibPathStr) {
            name = symbol->ViewName;
            return;
        }
    }
}

TDboHierarchy* TDboDesign::GetRootHierarchy() const {
    for (int i = 0; i < ViewCount(); ++i) {
        TDboSchematics* view = GetViews(i);
        if (!view || !view->Hierarchy) continue;
        if (view->Hierarchy->TitleBlocks.Count() > 0 && view->Hierarchy->Records.Count() > 0)
            return view->Hierarchy.get();
    }
    return nullptr;
}

int TDboDesign::PageCount() const {
    int n = 0;
    for (int i = 0; i < ViewCount(); ++i)
        if (TDboSchematics* view = GetViews(i)) n += static_cast<int>(view->Pages.size());
    return n;
}

}  // namespace orcadx::dbo
