#include "dbo/DboBaseDesign.h"

namespace orcadx::dbo {

const char kDefaultLibPath[] = "C:\\VANTOR\\ORCADLIB.OLB";

TDboBaseDesign::TDboBaseDesign() : Lib(Make<TDboLib>(this)) {}
TDboBaseDesign::~TDboBaseDesign() = default;

void TDboBaseDesign::GetLibPath(std::string& path) const { path = kDefaultLibPath; }
bool TDboBaseDesign::Load(bool) { return false; }
void TDboBaseDesign::Save() {}
bool TDboBaseDesign::IsValid() const { return false; }

}  // namespace orcadx::dbo
