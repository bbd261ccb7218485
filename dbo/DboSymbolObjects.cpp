#include "dbo/DboSymbolObjects.h"

namespace orcadx::dbo {

void TDboPowerSymbol::Initialize() {
    TDboLibSymbol::Initialize();
    ID = kIdPowerSymbol;
}

void TDboPortSymbol::Initialize() {
    TDboLibSymbol::Initialize();
    ID = kIdPortSymbol;
}

void TDboOffPageSymbol::Initialize() {
    TDboLibSymbol::Initialize();
    ID = kIdOffPageSymbol;
}

void TDboTitleBlockSymbol::Initialize() {
    TDboLibSymbol::Initialize();
    ID = kIdTitleBlockSymbol;
}

std::unique_ptr<TDboLibSymbol> TDboLibSymbol::CreateSymbol(TDboBaseDesign* design, int id) {
    switch (id) {
        case kIdPowerSymbol: return Make<TDboPowerSymbol>(design);
        case kIdPortSymbol: return Make<TDboPortSymbol>(design);
        case kIdOffPageSymbol: return Make<TDboOffPageSymbol>(design);
        case kIdTitleBlockSymbol: return Make<TDboTitleBlockSymbol>(design);
        default: return nullptr;
    }
}

std::unique_ptr<TDboLibSymbol> CreateSymbol(TDboBaseDesign* design, int id) {
    return TDboLibSymbol::CreateSymbol(design, id);
}

}  // namespace orcadx::dbo
