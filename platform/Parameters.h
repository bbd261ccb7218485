// Parameter strings of the host: "Name=Value" pairs joined by "|".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace orcadx::platform {

// The value of `name` in `parameters` (names compare without case; blanks around names and values
// are dropped), or an empty string.
std::string GetParameterValue(const std::string& parameters, const std::string& name);

// Joins pairs the way the module itself builds parameter strings: with " | ".
std::string JoinParameters(const std::string& left, const std::string& right);

// The host client's parameter list: pairs of name and value, in the order they were added. Its
// text is "name=value" pairs joined by "|", with no "|" at either end; an empty value is written
// as one blank.
class TParameterList {
public:
    void Clear();
    size_t Count() const { return pairs_.size(); }
    const std::string& Name(size_t index) const { return pairs_[index].first; }
    const std::string& Value(size_t index) const { return pairs_[index].second; }

    void Add(const std::string& name, const std::string& value);
    void AddBoolean(const std::string& name, bool value) { Add(name, value ? "True" : "False"); }
    void AddInteger(const std::string& name, int64_t value) { Add(name, std::to_string(value)); }

    // The value of the first pair whose name matches `name` (trimmed, without regard to ASCII
    // case); false when there is none.
    bool Find(std::string_view name, std::string& value) const;
    // A Boolean value is true when it reads "True", in any case.
    bool FindBoolean(std::string_view name, bool& value) const;

    std::string ToString() const;
    // Replaces the pairs by those of the text. It is split at "|"; in each piece the first "="
    // divides name and value, and further ones belong to the value; a piece without "=" or with an
    // empty name is dropped. Names are trimmed; values stand as they are, but the one blank that
    // stands for an empty value reads as empty.
    void FromString(std::string_view text);

private:
    std::vector<std::pair<std::string, std::string>> pairs_;
    std::unordered_map<std::string, size_t> index_;  // folded name -> first pair of that name
};

}  // namespace orcadx::platform
