// Texts of the Capture model kept exactly as they are. The design's string table ignores ASCII case
// when it looks a text up, so "1M" stored after "1m" would read back as "1m". The importer adds the
// designators, values and per-occurrence texts that it moves between records through these, so that
// the host shows what Capture shows.
#pragma once

#include <cstdint>
#include <string>

namespace orcadx::dbo {
class TDboBaseDesign;
class TDboBaseObject;
class TDboPropNameVal;
}  // namespace orcadx::dbo

namespace orcadx::importer {

// The index of a string-table entry that reads exactly `text`: the entry that the table's own
// look-up gives when it matches to the letter, else another one that does, else a new one. Text
// that is empty or blank gives 0, as in the table's own look-up.
int32_t ExactStringIndex(dbo::TDboBaseDesign& design, const std::string& text);

// Sets the object's property `name` (added when missing) to exactly `value`.
dbo::TDboPropNameVal* AddExactProp(dbo::TDboBaseObject& object, const std::string& name, const std::string& value);

}  // namespace orcadx::importer
