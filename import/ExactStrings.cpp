#include "import/ExactStrings.h"

#include "dbo/DboBaseDesign.h"
#include "dbo/DboBaseObjects.h"
#include "dbo/DboLib.h"

namespace orcadx::importer {

int32_t ExactStringIndex(dbo::TDboBaseDesign& design, const std::string& text) {
    const int32_t found = design.AddString(text);
    if (found == 0 || design.GetString(found) == text) return found;
    // Another entry that differs only in case took the look-up; the text needs its own.
    std::vector<std::string>& strings = design.Lib->Strings;
    for (size_t i = 0; i < strings.size(); ++i)
        if (strings[i] == text) return static_cast<int32_t>(i);
    strings.push_back(text);
    return static_cast<int32_t>(strings.size()) - 1;
}

dbo::TDboPropNameVal* AddExactProp(dbo::TDboBaseObject& object, const std::string& name, const std::string& value) {
    dbo::TDboPropNameVal* property = object.AddProp(name, value);
    if (property && object.Design) property->ValueIdx = ExactStringIndex(*object.Design, value);
    return property;
}

}  // namespace orcadx::importer
