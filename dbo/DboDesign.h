// One Capture file, design or library, open or being written: the tree of storages and streams
// of the compound file, the order in which they are read and written, and all that was read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboBaseDesign.h"
#include "host/HostInterfaces.h"

namespace orcadx::dbo {

class TDboLibComponent;
class TDboLibPkgDirEntryList;
class TDboLibSymbol;
class TDboLibSymbolList;
class TDboLibSymbolDirList;
class TDboViewDirEntryList;
class TDboSchematics;
class TDboHierarchy;
class TDboCache;

class TDboDesign : public TDboBaseDesign {
public:
    TDboDesign(const std::string& fileName, host::IHandler_Status* status, int32_t percentShare,
               host::ILogSection* log);
    ~TDboDesign() override;

    host::IHandler_Status* Status = nullptr;
    int32_t PercentShare = 0;
    host::ILogSection* LogSection = nullptr;
    std::vector<std::unique_ptr<TDboLibComponent>> Components;
    std::unique_ptr<TDboLibPkgDirEntryList> PkgDir;
    std::unique_ptr<TDboLibSymbolList> Symbols;
    std::unique_ptr<TDboLibSymbolDirList> SymbolDir;
    std::unique_ptr<TDboViewDirEntryList> Views;

    // When set, Load reads the compound file from these bytes instead of FileName.
    std::vector<uint8_t> MemoryImage;
    // When set, a Load that succeeds leaves Storage open (read only), for a caller that looks at
    // the file's storages afterwards without opening it again.
    bool KeepStorage = false;
    // When set, a page whose stream can't be read is left out of its view, with an error in the
    // load messages, and the load goes on; otherwise its failure ends the load.
    bool SkipDamagedPages = false;

    void GetLibPath(std::string& path) const override;
    bool Load(bool headerOnly) override;
    // Writes the file anew; when that fails, the half-written file is removed and the failure
    // passed on.
    void Save() override;
    bool IsValid() const override;
    // Into LogSection ("Load Messages"), when there is one.
    void LoadMessage(int32_t severity, const std::string& text) override;

    void AddComponent(std::unique_ptr<TDboLibComponent> component);
    void AddView(std::unique_ptr<TDboSchematics> view);
    void AddSymbol(std::unique_ptr<TDboLibSymbol> symbol);
    TDboLibComponent* GetComponent(int index) const;
    int ComponentCount() const { return static_cast<int>(Components.size()); }
    TDboLibSymbol* GetSymbol(int index) const;
    int SymbolCount() const;
    TDboSchematics* GetViews(int index) const;
    int ViewCount() const;
    void SortViews();
    TDboLibComponent* FindComponent(const std::string& name) const;
    TDboLibSymbol* FindSymbol(const std::string& name, const std::string* libPath) const;
    void GetCompName(std::string& name, const std::string& base, const std::string& libPath) const;
    TDboHierarchy* GetRootHierarchy() const;
    // Number of pages of all views.
    int PageCount() const;

private:
    void BuildFromCache(TDboCache& cache);
    void ReportRepeats(const TRepeatedNames& repeated, const std::string& directory);
    void Report(int& steps, int newSteps);
    void WriteLibraryDirectories();
    void WriteFile();
};

// Orders texts as people read numbered names: "PAGE2" before "PAGE10", case ignored.
int NaturalCompare(const std::string& a, const std::string& b);
inline bool NaturalLess(const std::string& a, const std::string& b) { return NaturalCompare(a, b) < 0; }

}  // namespace orcadx::dbo
