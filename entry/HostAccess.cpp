#include "entry/HostAccess.h"

#include "platform/Status.h"

namespace orcadx::entry {

namespace {
host::IHostApplication* g_host = nullptr;
}

void SetHostApplication(host::IHostApplication* host) {
    g_host = host;
    platform::SetAnalyticsMonitor(host ? host->Analytics() : nullptr);
}

host::IHostApplication* HostApplication() { return g_host; }

}  // namespace orcadx::entry
