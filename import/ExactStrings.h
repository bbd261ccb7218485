// Properties of the Capture model kept exactly as they are. The design's string table ignores ASCII
// case when it looks a text up, so "1M" stored after "1m" would read back as "1m". The importer adds
// the designators, values and per-occurrence texts that it moves between records through
// AddExactProp and the design's AddExactString, so that the host shows what Capture shows.
#pragma once

#include <cstdint>
#include <string>

namespace orcadx::dbo {
class TDboBaseObject;
class TDboPropNameVal;
}  // namespace orcadx::dbo

namespace orcadx::importer {

// Sets the object's property `name` (added when missing) to exactly `value`.
dbo::TDboPropNameVal* AddExactProp(dbo::TDboBaseObject& object, const std::string& name, const std::string& value);

}  // namespace orcadx::importer
