// The font table of a Capture file being written: host font ids in order of first use. A Capture
// object names a font by its 1-based place in the table, a host object by the host's font id.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "host/ClientInterfaces.h"

namespace orcadx::importer {

class TFontTableManager {
public:
    // The 1-based Capture font index of the host font `id`; a new id is appended.
    int32_t AddFontId(int32_t id);
    // Adds the host's default font (size 10, no styles, the default face), starting the schematic
    // server first when it doesn't run; without a server the table stays as it was.
    void AddSystemFont(host::IHostApplication& host);
    // The host font id at 0-based `index`.
    int32_t GetFontID(int32_t index) const { return ids_.at(static_cast<size_t>(index)); }
    int32_t Count() const { return static_cast<int32_t>(ids_.size()); }
    // Empties the table. Host font ids belong to one host session, so an export that starts
    // afresh clears what an earlier one left.
    void Clear();

private:
    std::vector<int32_t> ids_;
    std::unordered_map<int32_t, int32_t> index_;  // id -> 1-based index
};

// The one table of the process.
TFontTableManager& FontTableManager();

}  // namespace orcadx::importer
