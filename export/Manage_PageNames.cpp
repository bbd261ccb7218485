#include "export/Manage_PageNames.h"

#include <string_view>

#include "platform/TextCompare.h"

namespace orcadx::exporter {

namespace {

std::string PairKey(const std::string& viewName, const std::string& pageName) {
    // The view's length leads the key, so that no split of one text into view and page collides
    // with another.
    return std::to_string(viewName.size()) + ":" + platform::UpperCaseAscii(viewName) + platform::UpperCaseAscii(pageName);
}

bool IsContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The first `count` characters of UTF-8 text (a character and the bytes that continue it stay
// together).
std::string FirstChars(const std::string& text, size_t count) {
    size_t chars = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (IsContinuationByte(text[i])) continue;
        if (chars == count) return text.substr(0, i);
        ++chars;
    }
    return text;
}

constexpr std::string_view kForbidden = "\"*/:;<=>?\\|";

}  // namespace

// ---------------------------------------------------------------------------------------------
// TViewMapList

std::string TViewMapList::GetMapping(const std::string& viewName, const std::string& pageName) const {
    auto it = byPair_.find(PairKey(viewName, pageName));
    return it == byPair_.end() ? std::string() : items_[it->second]->UniqueName;
}

void TViewMapList::AddMapping(const std::string& viewName, const std::string& pageName,
                              const std::string& uniqueName) {
    if (pageName.empty() || !GetMapping(viewName, pageName).empty()) return;
    int index = static_cast<int>(items_.size());
    items_.push_back(std::make_unique<TViewNameMap>(TViewNameMap{viewName, pageName, uniqueName}));
    // The first record of a pair answers; a later one (only possible with an empty unique name)
    // doesn't replace it.
    byPair_.emplace(PairKey(viewName, pageName), index);
    byView_[platform::UpperCaseAscii(viewName)].push_back(index);
}

const std::vector<int>* TViewMapList::RecordsOfView(const std::string& viewName) const {
    auto it = byView_.find(platform::UpperCaseAscii(viewName));
    return it == byView_.end() ? nullptr : &it->second;
}

// ---------------------------------------------------------------------------------------------
// TPageNameManager

bool TPageNameManager::NoCaseLess::operator()(const std::string& a, const std::string& b) const {
    return platform::CompareTextNoCase(a, b) < 0;
}

std::string MakeBaseName(const std::string& pageName) {
    std::string name = pageName;
    size_t dot = name.rfind('.');
    if (dot != std::string::npos && name.find_first_of("\\:", dot + 1) == std::string::npos) name.erase(dot);
    for (char& c : name)
        if (kForbidden.find(c) != std::string_view::npos) c = '_';
    return FirstChars(name, kPageNameMaxChars);
}

std::string TPageNameManager::GetUniquePageName(const std::string& viewName, const std::string& pageName) {
    std::string known = Mappings.GetMapping(viewName, pageName);
    if (!known.empty()) return known;
    std::string base = MakeBaseName(pageName);
    std::string candidate = base;
    for (int n = 1; UsedNames.count(candidate) != 0; ++n) candidate = base + std::to_string(n);
    UsedNames.insert(candidate);
    std::string name = candidate + ".SchDoc";
    Mappings.AddMapping(viewName, pageName, name);
    return name;
}

std::string TPageNameManager::GetViewContents(const std::string& viewName) const {
    std::string out;
    if (const std::vector<int>* records = Mappings.RecordsOfView(viewName)) {
        for (size_t i = 0; i < records->size(); ++i) {
            if (i > 0) out += ';';
            out += Mappings.Get((*records)[i]).UniqueName;
        }
    }
    std::erase(out, '"');
    return out;
}

bool TPageNameManager::IsUsed(const std::string& baseName) const { return UsedNames.count(baseName) != 0; }

}  // namespace orcadx::exporter
