#include "entry/FileTest.h"

#include "dbo/DboDesign.h"

namespace orcadx::entry {

bool HeaderTest(const std::string& fileName) {
    try {
        dbo::TDboDesign design(fileName, nullptr, 0, nullptr);
        design.Load(true);
        return design.IsValid();
    } catch (...) {
        return false;
    }
}

bool IsValidFile(const std::string& fileName, const std::string& extension) {
    return HasExtension(fileName, extension) && FileExists(fileName) && HeaderTest(fileName);
}

}  // namespace orcadx::entry
