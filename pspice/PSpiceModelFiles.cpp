// The index of PSpice library files: one library file read and cut into model blocks, and the list
// of every library file on the library folders.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/Status.h"
#include "pspice/PSpiceModelImport.h"
#include "pspice/PSpiceText.h"

namespace orcadx::pspice {

namespace fs = std::filesystem;

namespace {

bool IsTokenSeparator(char c) { return c == '\t' || c == ' ' || c == '(' || c == ')' || c == ',' || c == '='; }

// The name a definition line gives: the token after the keyword.
std::string SecondToken(std::string_view line) {
    std::string rest(line);
    TPSpiceModelFile::ExtractToken(rest);
    return TPSpiceModelFile::ExtractToken(rest);
}

// What a line does to the nesting of subcircuits. Any mention counts, in comments too, as PSpice's
// own library tools count it.
int DepthChange(std::string_view line) {
    int change = 0;
    if (FindNoCase(line, ".SUBCKT") != std::string_view::npos) ++change;
    if (FindNoCase(line, ".ENDS") != std::string_view::npos) --change;
    return change;
}

// Walks the definitions that stand outside every subcircuit: each .MODEL line and each outermost
// .SUBCKT line is given to `visit` (kind, name, line index), which returns true to stop. A
// subcircuit's body, nested definitions included, is skipped.
template <class Visit>
void WalkDefinitions(const TLines& lines, Visit&& visit) {
    int depth = 0;
    const size_t n = lines.size();
    for (size_t i = 0; i < n; ++i) {
        std::string_view line = TrimView(lines[i]);
        if (depth < 1 && StartsWithNoCase(line, ".MODEL") && visit(eModeType_Model, SecondToken(line), i)) return;
        if (StartsWithNoCase(line, ".SUBCKT")) {
            ++depth;
            if (visit(eModelType_Subckt, SecondToken(line), i)) return;
            while (i + 1 < n && depth >= 1) depth += DepthChange(lines[++i]);
        }
    }
}

bool StartsWithOneOf(std::string_view text, std::string_view chars) {
    return !text.empty() && chars.find(text.front()) != std::string_view::npos;
}

// The subcircuit an X line calls: the last word before "PARAMS:" and before a ";" comment.
std::string CalledSubcircuit(std::string_view line) {
    size_t params = FindNoCase(line, "PARAMS:");
    if (params != std::string_view::npos) line = TrimView(line.substr(0, params));
    size_t comment = line.find(';');
    if (comment != std::string_view::npos) line = TrimView(line.substr(0, comment));
    size_t last = std::string_view::npos;
    for (size_t i = 0; i < line.size(); ++i)
        if (static_cast<unsigned char>(line[i]) <= 32) last = i;
    return std::string(last == std::string_view::npos ? line : line.substr(last + 1));
}

}  // namespace

// ----- TNameList -----------------------------------------------------------------------------------

void TNameList::Add(const std::string& name) {
    first_.try_emplace(UpperAscii(name), Count());
    names_.push_back(name);
}

bool TNameList::Contains(const std::string& name) const { return IndexOf(name) >= 0; }

int TNameList::IndexOf(const std::string& name) const {
    auto it = first_.find(UpperAscii(name));
    return it == first_.end() ? -1 : it->second;
}

void TNameList::Clear() {
    names_.clear();
    first_.clear();
}

// ----- TPSpiceModelFile ----------------------------------------------------------------------------

std::string TPSpiceModelFile::ExtractToken(std::string& text) {
    size_t i = 0;
    const size_t n = text.size();
    while (i < n && IsTokenSeparator(text[i])) ++i;
    size_t begin = i;
    while (i < n && !IsTokenSeparator(text[i])) ++i;
    std::string token = text.substr(begin, i - begin);
    while (i < n && (text[i] == '\t' || text[i] == ' ' || text[i] == ',' || text[i] == '=')) ++i;
    text.erase(0, i);
    return token;
}

TLines TPSpiceModelFile::SplitLines(const std::string& text) {
    TLines lines;
    size_t begin = 0;
    const size_t n = text.size();
    for (size_t i = 0; i < n; ++i) {
        if (text[i] != '\r' && text[i] != '\n') continue;
        lines.emplace_back(text, begin, i - begin);
        if (text[i] == '\r' && i + 1 < n && text[i + 1] == '\n') ++i;
        begin = i + 1;
    }
    if (begin < n) lines.emplace_back(text, begin, n - begin);
    return lines;
}

void TPSpiceModelFile::JoinContinuationLines(TLines& lines) {
    if (lines.size() < 2) return;
    TLines joined;
    joined.reserve(lines.size());
    // The line that continuations extend: the last one that isn't a comment line. Vendor libraries
    // comment out single parameter lines ("*+ RS=.41769") amid a model's continuations, and PSpice
    // reads the next "+" line as continuing the model, not the comment.
    size_t statement = 0;
    auto isComment = [](std::string_view line) { return StartsWithOneOf(TrimView(line), "*;"); };
    joined.push_back(std::move(lines[0]));
    for (size_t i = 1; i < lines.size(); ++i) {
        std::string_view next = TrimView(lines[i]);
        next = next.substr(0, next.find(';'));
        if (next.empty() || next.front() != '+') {
            if (!isComment(lines[i])) statement = joined.size();
            joined.push_back(std::move(lines[i]));
            continue;
        }
        std::string_view rest = TrimView(next.substr(1));
        std::string& target = isComment(joined[statement]) ? joined.back() : joined[statement];
        size_t comment = target.find(';');
        if (comment == std::string::npos) {
            target += ' ';
            target += rest;
        } else if (!rest.empty()) {
            // The continuation goes before the line's own ";" comment, which would swallow it.
            std::string tail = target.substr(comment);
            target.resize(comment);
            while (!target.empty() && static_cast<unsigned char>(target.back()) <= 32) target.pop_back();
            target += ' ';
            target += rest;
            target += ' ';
            target += tail;
        }
    }
    lines = std::move(joined);
}

TLines TPSpiceModelFile::ReadLibraryLines(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return {};
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A byte-order mark is no part of the first line.
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
    TLines lines = SplitLines(text);
    JoinContinuationLines(lines);
    return lines;
}

void TPSpiceModelFile::GenerateModelList() {
    if (!Subckts.Empty() || !Models.Empty()) return;
    std::error_code ec;
    if (!fs::is_regular_file(FileName, ec)) return;
    WalkDefinitions(ReadLibraryLines(FileName), [this](TModelType kind, const std::string& name, size_t) {
        (kind == eModelType_Subckt ? Subckts : Models).Add(name);
        return false;
    });
}

bool TPSpiceModelFile::FindModel(const std::string& name, TModelType& kind) const {
    if (Subckts.Contains(name)) {
        kind = eModelType_Subckt;
        return true;
    }
    if (Models.Contains(name)) {
        kind = eModeType_Model;
        return true;
    }
    return false;
}

struct TPSpiceModelFile::TDefinitionLines {
    explicit TDefinitionLines(const TLines& lines) {
        WalkDefinitions(lines, [this](TModelType kind, const std::string& name, size_t index) {
            (kind == eModelType_Subckt ? subckts : models).try_emplace(UpperAscii(name), index);
            return false;
        });
    }
    // The first definition of the name, of the kind given, or of any kind when `kind` is null.
    bool Find(const std::string& name, const TModelType* kind, size_t& line, TModelType& found) const {
        std::string key = UpperAscii(name);
        auto subckt = subckts.find(key);
        auto model = models.find(key);
        bool haveSubckt = subckt != subckts.end() && (!kind || *kind == eModelType_Subckt);
        bool haveModel = model != models.end() && (!kind || *kind == eModeType_Model);
        if (haveSubckt && (!haveModel || subckt->second < model->second)) {
            line = subckt->second;
            found = eModelType_Subckt;
            return true;
        }
        if (haveModel) {
            line = model->second;
            found = eModeType_Model;
            return true;
        }
        return false;
    }

    std::unordered_map<std::string, size_t> subckts, models;  // folded name to its first line
};

void TPSpiceModelFile::DoCopyModelToStrings(const std::string& name, const TLines& lines, TLines& output,
                                            TNameList& referenced) const {
    CopyBlock(name, lines, TDefinitionLines(lines), output, referenced);
}

void TPSpiceModelFile::CopyBlock(const std::string& name, const TLines& lines, const TDefinitionLines& definitions,
                                 TLines& output, TNameList& referenced) const {
    // The definition of the kind the index gives, so that the text matches the file's extension
    // when a name is defined both ways; the first definition of any kind for a name the index
    // doesn't hold.
    TModelType wanted{}, kind{};
    bool kindKnown = FindModel(name, wanted);
    size_t found = 0;
    if (!definitions.Find(name, kindKnown ? &wanted : nullptr, found, kind)) return;

    const size_t n = lines.size();
    size_t start = found;
    while (start > 0) {
        std::string_view above = TrimView(lines[start - 1]);
        if (!above.empty() && above.front() != '*') break;
        --start;
    }
    size_t end = found;
    if (kind == eModeType_Model) {
        // Comment and continuation lines below belong to the model; the file's last line never.
        while (end + 2 < n && StartsWithOneOf(TrimView(lines[end + 1]), "*+;")) ++end;
    } else {
        int depth = 1;
        for (size_t i = found + 1; i < n; ++i) {
            depth += DepthChange(lines[i]);
            std::string_view line = TrimView(lines[i]);
            if (StartsWithOneOf(line, "Xx")) {
                std::string called = CalledSubcircuit(line);
                if (!platform::SameTextNoCase(called, name) && !referenced.Contains(called)) referenced.Add(called);
            }
            end = i;
            if (depth < 1) break;
        }
    }
    output.insert(output.end(), lines.begin() + static_cast<std::ptrdiff_t>(start),
                  lines.begin() + static_cast<std::ptrdiff_t>(end) + 1);
}

void TPSpiceModelFile::CopyModelToStrings(const std::string& name, const TLines& lines, TLines& output) const {
    TDefinitionLines definitions(lines);
    TNameList referenced, processed;
    CopyBlock(name, lines, definitions, output, referenced);
    processed.Add(name);
    for (int i = 0; i < referenced.Count(); ++i) {
        const std::string entry = referenced[i];
        if (processed.Contains(entry)) continue;
        TModelType kind{};
        if (FindModel(entry, kind)) {
            output.emplace_back("*");
            CopyBlock(entry, lines, definitions, output, referenced);
            processed.Add(entry);
        } else {
            platform::LogMessage(Log, host::kLogError,
                                 "Nested PSpice subckt not found \"" + entry + "\".  Required by subckt \"" + name + "\"");
        }
    }
}

void TPSpiceModelFile::RemoveDuplSpaces(TLines& lines) {
    for (size_t i = 1; i < lines.size(); ++i) {
        std::string& line = lines[i];
        if (!line.empty() && line.front() == '*') continue;
        auto last = std::unique(line.begin(), line.end(), [](char a, char b) { return a == ' ' && b == ' '; });
        line.erase(last, line.end());
    }
}

TLines TPSpiceModelFile::GetModelAsStrings(const std::string& name) {
    GenerateModelList();
    TLines lines = ReadLibraryLines(FileName);
    RemoveDuplSpaces(lines);
    TLines output;
    CopyModelToStrings(name, lines, output);
    return output;
}

void TPSpiceModelFile::SaveModelToFile(const std::string& name, const std::string& path) {
    TLines lines = GetModelAsStrings(name);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (const std::string& line : lines) out << line << "\r\n";
    out.close();
    if (!out) throw std::runtime_error("Cannot write the model file \"" + path + "\"");
}

// ----- TPSpiceModelFileList ------------------------------------------------------------------------

void TPSpiceModelFileList::Add(const std::string& fileName) {
    files_.push_back(std::make_unique<TPSpiceModelFile>(fileName));
    byNameBuilt_ = false;
}

void TPSpiceModelFileList::SetDirectories(const std::vector<std::string>& directories) {
    if (std::equal(directories.begin(), directories.end(), Directories.begin(), Directories.end(),
                   [](const std::string& a, const std::string& b) { return platform::SameTextNoCase(a, b); }))
        return;
    Directories = directories;
    GenerateFileLists();
    GenerateModelLists();
}

void TPSpiceModelFileList::GenerateFileLists() {
    Clear();
    ++scans_;
    for (const std::string& directory : Directories) {
        std::error_code ec;
        if (fs::is_directory(directory, ec)) GenerateDirectoryFileList(directory);
    }
}

void TPSpiceModelFileList::GenerateDirectoryFileList(const std::string& directory) {
    struct Entry {
        std::string name;
        std::string path;
        bool folder;
    };
    std::vector<Entry> entries;
    std::error_code ec;
    for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::directory_entry& e = *it;
        std::error_code kindError;
        // A link to a folder is not entered, so that links can't make the scan go round.
        bool folder = e.is_directory(kindError) && !e.is_symlink(kindError);
        entries.push_back({e.path().filename().string(), e.path().string(), folder});
    }
    // The folder's entries in name order, as the file systems of Capture's users list them.
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return platform::CompareTextNoCase(a.name, b.name) < 0; });
    for (const Entry& e : entries) {
        if (e.folder)
            GenerateDirectoryFileList(e.path);
        else if (platform::SameTextNoCase(fs::path(e.name).extension().string(), ".lib"))
            Add(e.path);
    }
}

void TPSpiceModelFileList::GenerateModelLists() {
    for (auto& file : files_) file->GenerateModelList();
    byNameBuilt_ = false;
}

TPSpiceModelFile* TPSpiceModelFileList::FindFileContainingModel(const std::string& name, TModelType& kind) {
    if (!byNameBuilt_) {
        byName_.clear();
        for (auto& file : files_)
            for (const TNameList* names : {&file->Subckts, &file->Models})
                for (int i = 0; i < names->Count(); ++i) byName_.try_emplace(UpperAscii((*names)[i]), file.get());
        byNameBuilt_ = true;
    }
    auto it = byName_.find(UpperAscii(name));
    if (it == byName_.end()) return nullptr;
    it->second->FindModel(name, kind);
    return it->second;
}

void TPSpiceModelFileList::Clear() {
    files_.clear();
    byName_.clear();
    byNameBuilt_ = false;
}

TPSpiceModelFileList& PSpiceModelFiles() {
    static TPSpiceModelFileList list;
    return list;
}

}  // namespace orcadx::pspice
