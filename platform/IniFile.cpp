#include "platform/IniFile.h"

#include <fstream>
#include <stdexcept>

#include "platform/TextCompare.h"

namespace orcadx::platform {

namespace {

std::string Fold(std::string_view name) {
    std::string folded = TrimBlanks(name);
    for (char& c : folded) c = FoldUpper(c);
    return folded;
}

// The first `count` characters of UTF-8 text, never cutting a character in two.
std::string CutToChars(const std::string& text, size_t count) {
    size_t chars = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
        if (chars == count) return text.substr(0, i);
        ++chars;
    }
    return text;
}

// A value as the read call copies it: quotes of the same kind at both ends go, and the text is cut
// to what the buffer holds.
std::string CopyEntry(const std::string& value) {
    std::string v = value;
    if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front())
        v = v.substr(1, v.size() - 2);
    return CutToChars(v, IniFile::kMaxValueChars);
}

}  // namespace

void IniFile::Section::Index() {
    keys.clear();
    for (size_t i = 0; i < entries.size(); ++i)
        if (entries[i].isKey) keys.emplace(Fold(entries[i].name), i);
}

IniFile::IniFile(std::string path) : path_(std::move(path)) {
    std::string text;
    existed_ = ReadTextFile(path_, text, &encoding_);
    if (!existed_) encoding_ = TextEncoding::Ansi;
    Parse(text);
}

void IniFile::Parse(const std::string& text) {
    sections_.clear();
    sections_.push_back(Section{"", false, {}, {}});
    for (const std::string& raw : SplitLines(text)) {
        std::string line = TrimBlanks(raw);
        if (line.empty()) continue;
        if (line.front() == '[') {
            size_t close = line.rfind(']');
            if (close != std::string::npos) {
                sections_.push_back(Section{TrimBlanks(line.substr(1, close - 1)), true, {}, {}});
                continue;
            }
            sections_.back().entries.push_back(Entry{line, "", false, false});
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos)
            sections_.back().entries.push_back(Entry{line, "", false, true});
        else
            sections_.back().entries.push_back(
                Entry{TrimBlanks(line.substr(0, eq)), TrimBlanks(line.substr(eq + 1)), true, true});
    }
    for (Section& s : sections_) s.Index();
    IndexSections();
}

void IniFile::IndexSections() {
    sectionIndex_.clear();
    for (size_t i = 0; i < sections_.size(); ++i)
        if (sections_[i].hasHeader) sectionIndex_.emplace(Fold(sections_[i].name), i);
}

IniFile::Section* IniFile::FindSection(const std::string& name) {
    auto it = sectionIndex_.find(Fold(name));
    return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

const IniFile::Section* IniFile::FindSection(const std::string& name) const {
    auto it = sectionIndex_.find(Fold(name));
    return it == sectionIndex_.end() ? nullptr : &sections_[it->second];
}

const IniFile::Entry* IniFile::FindEntry(const std::string& section, const std::string& key) const {
    const Section* s = FindSection(section);
    if (!s) return nullptr;
    auto it = s->keys.find(Fold(key));
    return it == s->keys.end() ? nullptr : &s->entries[it->second];
}

std::string IniFile::ReadString(const std::string& section, const std::string& key,
                                const std::string& defaultValue) const {
    const Entry* e = TrimBlanks(key).empty() ? nullptr : FindEntry(section, key);
    if (e && e->hasValue) return CopyEntry(e->value);
    // The default loses its trailing blanks, as the read call treats it.
    std::string def = defaultValue;
    while (!def.empty() && def.back() == ' ') def.pop_back();
    return CopyEntry(def);
}

bool IniFile::HasValue(const std::string& section, const std::string& key) const {
    const Entry* e = FindEntry(section, key);
    return e && e->hasValue;
}

void IniFile::WriteString(const std::string& section, const std::string& key, const std::string& value) {
    Section* s = FindSection(section);
    if (!s) {
        sections_.push_back(Section{TrimBlanks(section), true, {}, {}});
        IndexSections();
        s = &sections_.back();
    }
    std::string name = TrimBlanks(key);
    auto it = s->keys.find(Fold(name));
    if (it != s->keys.end()) {
        Entry& e = s->entries[it->second];
        e.value = value;
        e.hasValue = true;
    } else {
        s->entries.push_back(Entry{name, value, true, true});
        s->keys.emplace(Fold(name), s->entries.size() - 1);
    }
    modified_ = true;
}

void IniFile::DeleteKey(const std::string& section, const std::string& key) {
    Section* s = FindSection(section);
    if (!s) return;
    auto it = s->keys.find(Fold(key));
    if (it == s->keys.end()) return;
    s->entries.erase(s->entries.begin() + static_cast<std::ptrdiff_t>(it->second));
    s->Index();
    modified_ = true;
}

void IniFile::EraseSection(const std::string& section) {
    std::string folded = Fold(section);
    size_t before = sections_.size();
    std::erase_if(sections_, [&](const Section& s) { return s.hasHeader && Fold(s.name) == folded; });
    if (sections_.size() == before) return;
    IndexSections();
    modified_ = true;
}

std::string IniFile::Text() const {
    std::string out;
    bool first = true;
    for (const Section& s : sections_) {
        if (!s.hasHeader && s.entries.empty()) continue;
        if (s.hasHeader) {
            if (!first) out += "\r\n";
            out += "[" + s.name + "]\r\n";
        }
        first = false;
        for (const Entry& e : s.entries) out += (e.hasValue ? e.name + "=" + e.value : e.name) + "\r\n";
    }
    return out;
}

void IniFile::Save() {
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    std::string bytes = EncodeText(Text(), encoding_);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) throw std::runtime_error("Cannot write the initialisation file " + path_);
    existed_ = true;
    modified_ = false;
}

}  // namespace orcadx::platform
