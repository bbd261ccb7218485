// The test that every export starts from: extension, existence and the file's header.
#pragma once

#include <string>

namespace orcadx::entry {

// True when `fileName` ends in `extension` (".DSN", ".OLB"), case ignored.
bool HasExtension(const std::string& fileName, const std::string& extension);
// The extension of the file name with its dot (".DSN"), empty when it has none.
std::string ExtensionOf(const std::string& fileName);
// True when two paths name the same file: "\" and "/" alike, "." and ".." folded, case ignored.
bool SamePath(const std::string& a, const std::string& b);
// True when the file exists; a link counts as the file it points to.
bool FileExists(const std::string& fileName);
// Loads the stream "Library" (and the cache) of the file and asks whether it is a Capture design or
// library of a known version. Any failure gives false.
bool HeaderTest(const std::string& fileName);
// The whole file test of IsValidDSN / IsValidOLB.
bool IsValidFile(const std::string& fileName, const std::string& extension);

}  // namespace orcadx::entry
