#include "dbo/DboBaseDesign.h"

namespace orcadx::dbo {

const char kDefaultLibPath[] = "C:\\VANTOR\\ORCADLIB.OLB";

TDboBaseDesign::TDboBaseDesign() : Lib(Make<TDboLib>(this)) {}
TDboBaseDesign::~TDboBaseDesign() = default;

void TDboBaseDesign::GetLibPath(std::string& path) const { path = kDefaultLibPath; }
bool TDboBaseDesign::Load(bool) { return false; }
void TDboBaseDesign::Save() {}
bool TDboBaseDesign::IsValid() const { return false; }
void TDboBaseDesign::LoadMessage(int32_t, const std::string&) {}

}  // namespace orcadx::dbo
