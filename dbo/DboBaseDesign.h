// The part of a design that every record sees: its version, its library record and its path.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "dbo/DboFileIO.h"
#include "dbo/DboLib.h"

namespace orcadx::dbo {

// The library path that new records carry.
extern const char kDefaultLibPath[];

class TDboBaseDesign {
public:
    TDboBaseDesign();
    virtual ~TDboBaseDesign();
    TDboBaseDesign(const TDboBaseDesign&) = delete;
    TDboBaseDesign& operator=(const TDboBaseDesign&) = delete;

    std::string FileName;
    std::unique_ptr<TDboIStorage> Storage;
    std::unique_ptr<TDboLib> Lib;
    uint32_t Version = kVersion1_1;

    virtual void GetLibPath(std::string& path) const;
    virtual bool Load(bool headerOnly);
    virtual void Save();
    virtual bool IsValid() const;
    // A message about what a load met and passed over (a name that a list repeats); a design
    // with a log writes it there (severity as the log's: 0 error, 1 warning, 2 information).
    virtual void LoadMessage(int32_t severity, const std::string& text);

    std::string LibPath() const {
        std::string p;
        GetLibPath(p);
        return p;
    }
    int AddString(const std::string& text) { return Lib->AddString(text); }
    int AddExactString(const std::string& text) { return Lib->AddExactString(text); }
    std::string GetString(int index) const { return Lib->GetString(index); }
};

}  // namespace orcadx::dbo
