// The host's globals, handed to the plug-in by RegisterHost.
#pragma once

#include "host/ClientInterfaces.h"

namespace orcadx::entry {

void SetHostApplication(host::IHostApplication* host);
// Null until the host registered itself.
host::IHostApplication* HostApplication();

}  // namespace orcadx::entry
