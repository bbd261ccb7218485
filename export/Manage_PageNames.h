// Document names of Capture pages. Capture groups pages under named views, and the host keeps one
// document file per sheet: every (view, page) pair gets one file-safe document name, unique
// without regard to case over the whole design, and keeps it for the rest of the run. Imports and
// exports use the same names, so that sheet symbols find the documents of the pages they stand for.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace orcadx::exporter {

// One page's document name.
class TViewNameMap {
public:
    std::string ViewName;
    std::string PageName;
    std::string UniqueName;
};

// The name records in order of adding.
class TViewMapList {
public:
    // UniqueName of the first record whose view and page names equal the arguments without regard
    // to ASCII case; empty when there is none.
    std::string GetMapping(const std::string& viewName, const std::string& pageName) const;
    // Appends a record, unless the page name is empty or the pair has a name already.
    void AddMapping(const std::string& viewName, const std::string& pageName, const std::string& uniqueName);

    int Count() const { return static_cast<int>(items_.size()); }
    const TViewNameMap& Get(int index) const { return *items_.at(index); }
    // Positions of the records of one view, in order of adding.
    const std::vector<int>* RecordsOfView(const std::string& viewName) const;

private:
    std::vector<std::unique_ptr<TViewNameMap>> items_;
    std::unordered_map<std::string, int> byPair_;              // folded "view\npage" to the first record
    std::unordered_map<std::string, std::vector<int>> byView_;  // folded view to its records
};

class TPageNameManager {
public:
    TViewMapList Mappings;

    // The document name of a page, with the extension ".SchDoc". The same pair always gets the
    // same answer; a new pair gets a new name made from the page name alone (see MakeBaseName),
    // numbered 1, 2, ... behind when that base is taken already.
    std::string GetUniquePageName(const std::string& viewName, const std::string& pageName);
    // The names given to the pages of a view, in order, joined by ";" (double quotes removed).
    std::string GetViewContents(const std::string& viewName) const;
    // True when a base name (no extension) has been handed out, case ignored.
    bool IsUsed(const std::string& baseName) const;

private:
    struct NoCaseLess {
        bool operator()(const std::string& a, const std::string& b) const;
    };
    std::set<std::string, NoCaseLess> UsedNames;
};

// Most characters a base name keeps from a page name; a number that makes it unique comes on top.
inline constexpr size_t kPageNameMaxChars = 23;

// A page name as a file name without extension: the extension (from the last dot on, unless a "\"
// or ":" follows that dot) removed, each of  " * / : ; < = > ? \ |  replaced by "_", and the rest
// cut to its first 23 characters.
std::string MakeBaseName(const std::string& pageName);

}  // namespace orcadx::exporter
