#include "import/Manage_FontTable.h"

#include "platform/Status.h"

namespace orcadx::importer {

int32_t TFontTableManager::AddFontId(int32_t id) {
    auto [it, added] = index_.try_emplace(id, static_cast<int32_t>(ids_.size()) + 1);
    if (added) ids_.push_back(id);
    return it->second;
}

void TFontTableManager::AddSystemFont(host::IHostApplication& host) {
    host::ISch_ServerInterface* server = host.SchServer();
    if (!server && host.Client()) {
        host.Client()->StartServer("SCH");
        server = host.SchServer();
    }
    if (!server || !server->GetFontManager()) return;
    int32_t id = server->GetFontManager()->GetFontID(10, 0, false, false, false, false, platform::DefaultFontFace());
    AddFontId(id);
}

void TFontTableManager::Clear() {
    ids_.clear();
    index_.clear();
}

TFontTableManager& FontTableManager() {
    static TFontTableManager table;
    return table;
}

}  // namespace orcadx::importer
