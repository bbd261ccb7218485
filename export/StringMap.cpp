#include "export/StringMap.h"

#include "platform/TextCompare.h"

namespace orcadx::exporter {

int TStringList::IndexOf(const std::string& text) const {
    for (size_t i = 0; i < items_.size(); ++i)
        if (platform::SameTextNoCase(items_[i].String, text)) return static_cast<int>(i);
    return -1;
}

int TStringMap::FindSection(const std::string& section) const {
    auto it = index_.find(platform::UpperCaseAscii(section));
    return it == index_.end() ? -1 : it->second;
}

void TStringMap::AddStringObject(const std::string& section, const std::string& value, void* object) {
    int index = FindSection(section);
    if (index < 0) {
        index = static_cast<int>(sections_.size());
        sections_.push_back({section, std::make_unique<TStringList>()});
        index_.emplace(platform::UpperCaseAscii(section), index);
    }
    sections_[index].Values->AddObject(value, object);
}

int TStringMap::GetSectionCount(const std::string& section) const {
    TStringList* list = GetSections(section);
    return list ? list->Count() : 0;
}

TStringList* TStringMap::GetSections(const std::string& section) const {
    int index = FindSection(section);
    return index < 0 ? nullptr : sections_[index].Values.get();
}

}  // namespace orcadx::exporter
