// Named sections, each a list of strings with objects: the project export groups its sheet
// exporters by view with it.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace orcadx::exporter {

// A list of strings, each with an object that the list doesn't own.
class TStringList {
public:
    struct Item {
        std::string String;
        void* Object = nullptr;
    };

    void AddObject(const std::string& text, void* object) { items_.push_back({text, object}); }
    void Add(const std::string& text) { AddObject(text, nullptr); }
    int Count() const { return static_cast<int>(items_.size()); }
    const std::string& Strings(int index) const { return items_.at(index).String; }
    void* Objects(int index) const { return items_.at(index).Object; }
    template <class T>
    T* ObjectAs(int index) const {
        return static_cast<T*>(Objects(index));
    }
    // Position of the first string equal to `text` without regard to ASCII case, or -1.
    int IndexOf(const std::string& text) const;
    const std::vector<Item>& Items() const { return items_; }

private:
    std::vector<Item> items_;
};

// Sections by name, compared without regard to ASCII case, in order of creation; each section owns
// its list of values.
class TStringMap {
public:
    TStringMap() = default;
    virtual ~TStringMap() = default;
    TStringMap(const TStringMap&) = delete;
    TStringMap& operator=(const TStringMap&) = delete;

    void AddString(const std::string& section, const std::string& value) { AddStringObject(section, value, nullptr); }
    // Appends (value, object) to the section, which is made, empty, when it is missing.
    virtual void AddStringObject(const std::string& section, const std::string& value, void* object);
    // Number of values of the section; 0 when there is none.
    int GetSectionCount(const std::string& section) const;
    // The section's list, or null when there is none.
    TStringList* GetSections(const std::string& section) const;

    // The sections themselves, in order of creation.
    int Count() const { return static_cast<int>(sections_.size()); }
    const std::string& SectionName(int index) const { return sections_.at(index).Name; }
    TStringList* SectionList(int index) const { return sections_.at(index).Values.get(); }

private:
    struct Section {
        std::string Name;
        std::unique_ptr<TStringList> Values;
    };
    int FindSection(const std::string& section) const;
    std::vector<Section> sections_;
    std::unordered_map<std::string, int> index_;  // section name in upper case to its place
};

}  // namespace orcadx::exporter
