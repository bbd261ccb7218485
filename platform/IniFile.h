// An initialisation file as the Windows profile-string calls (GetPrivateProfileStringW,
// WritePrivateProfileStringW) read and write it: "[section]" lines and "key=value" lines.
//
// - Section and key names compare without regard to ASCII case, with blanks around them dropped.
// - A lookup finds the first section of the name and, in it, the first key of the name.
// - A value read has its outer blanks dropped and, when it is quoted with matching single or
//   double quotes, the quotes too; a key without "=" has no value and reads as the default.
// - A value read is cut to 255 characters: the calls fill a buffer of 256 characters, the last of
//   which holds the terminating null. The default is cut the same way.
// - Lines before the first section belong to a section without a name; a line "[..." without "]"
//   belongs to no section and is kept as it stands.
//
// The whole file is read once and written back by Save, so that many reads and writes cost no more
// than one pass over the file.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/TextFiles.h"

namespace orcadx::platform {

class IniFile {
public:
    static constexpr size_t kBufferChars = 256;
    static constexpr size_t kMaxValueChars = kBufferChars - 1;

    // Reads the file when it exists; a missing file is an empty one.
    explicit IniFile(std::string path);

    const std::string& Path() const { return path_; }
    // The file was there when it was read.
    bool Existed() const { return existed_; }
    bool Modified() const { return modified_; }

    // GetPrivateProfileString: the value of the key, or the default when the section, the key or
    // its value is missing.
    std::string ReadString(const std::string& section, const std::string& key,
                           const std::string& defaultValue) const;
    // True when the key stands in the section with a value.
    bool HasValue(const std::string& section, const std::string& key) const;

    // WritePrivateProfileString with a value: replaces the value of the key, or appends the key to
    // the section, or the section with the key to the file.
    void WriteString(const std::string& section, const std::string& key, const std::string& value);
    // WritePrivateProfileString with no value: the key goes.
    void DeleteKey(const std::string& section, const std::string& key);
    // WritePrivateProfileString with no key: every section of the name goes.
    void EraseSection(const std::string& section);

    // The text that Save writes.
    std::string Text() const;
    // Writes the file in the encoding it was read in (Windows-1252 for a new one); raises
    // std::runtime_error naming the file when it can't be written.
    void Save();

private:
    struct Entry {
        std::string name;  // for a line that is no key (a bad section header), the whole line
        std::string value;
        bool hasValue = false;
        bool isKey = true;
    };
    struct Section {
        std::string name;
        bool hasHeader = true;
        std::vector<Entry> entries;
        std::unordered_map<std::string, size_t> keys;  // folded name -> first entry of that name
        void Index();
    };

    void Parse(const std::string& text);
    Section* FindSection(const std::string& name);
    const Section* FindSection(const std::string& name) const;
    const Entry* FindEntry(const std::string& section, const std::string& key) const;
    void IndexSections();

    std::string path_;
    bool existed_ = false;
    bool modified_ = false;
    TextEncoding encoding_ = TextEncoding::Ansi;
    std::vector<Section> sections_;
    std::unordered_map<std::string, size_t> sectionIndex_;  // folded name -> first section
};

}  // namespace orcadx::platform
