// Symbols: views of their own kind for a power object, a port, an off-page connector or a title
// block. They differ only in their type code.
#pragma once

#include <cstdint>
#include <memory>

#include "dbo/DboLibObjects.h"

namespace orcadx::dbo {

enum TDboSymbolId : uint8_t {
    kIdPowerSymbol = 33,
    kIdPortSymbol = 34,
    kIdOffPageSymbol = 35,
    kIdTitleBlockSymbol = 64,
};

class TDboLibSymbol : public TDboLibBaseView {
public:
    using TDboLibBaseView::TDboLibBaseView;
    DBO_CLASS_NAME(TDboLibSymbol)

    int HeaderRecordCount() const override { return 4; }

    // The symbol of type code `id`, or null for a code that isn't a symbol's.
    static std::unique_ptr<TDboLibSymbol> CreateSymbol(TDboBaseDesign* design, int id);
};

class TDboPowerSymbol : public TDboLibSymbol {
public:
    using TDboLibSymbol::TDboLibSymbol;
    DBO_CLASS_NAME(TDboPowerSymbol)
    void Initialize() override;
};

class TDboPortSymbol : public TDboLibSymbol {
public:
    using TDboLibSymbol::TDboLibSymbol;
    DBO_CLASS_NAME(TDboPortSymbol)
    void Initialize() override;
};

class TDboOffPageSymbol : public TDboLibSymbol {
public:
    using TDboLibSymbol::TDboLibSymbol;
    DBO_CLASS_NAME(TDboOffPageSymbol)
    void Initialize() override;
};

class TDboTitleBlockSymbol : public TDboLibSymbol {
public:
    using TDboLibSymbol::TDboLibSymbol;
    DBO_CLASS_NAME(TDboTitleBlockSymbol)
    void Initialize() override;
};

// The symbol of type code `id` (33, 34, 35 or 64), or null for any other.
std::unique_ptr<TDboLibSymbol> CreateSymbol(TDboBaseDesign* design, int id);

// The symbols of a design. The design reads and writes them through its storages, so the list
// itself never loads or saves anything.
class TDboLibSymbolList : public TDboStorableList {
public:
    explicit TDboLibSymbolList(TDboBaseDesign* design) : TDboStorableList(design) {}
    DBO_CLASS_NAME(TDboLibSymbolList)

    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream&) override { return nullptr; }
    int Load(TDboIStream&) override { return 0; }
    int Save(TDboIStream&) override { return 0; }
    TDboLibSymbol* GetSymbols(int index) const { return As<TDboLibSymbol>(index); }
};

}  // namespace orcadx::dbo
