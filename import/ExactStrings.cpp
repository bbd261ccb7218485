#include "import/ExactStrings.h"

#include "dbo/DboBaseDesign.h"
#include "dbo/DboBaseObjects.h"
#include "dbo/DboLib.h"

namespace orcadx::importer {

dbo::TDboPropNameVal* AddExactProp(dbo::TDboBaseObject& object, const std::string& name, const std::string& value) {
    dbo::TDboPropNameVal* property = object.AddProp(name, value);
    if (property && object.Design) property->ValueIdx = object.Design->AddExactString(value);
    return property;
}

}  // namespace orcadx::importer
