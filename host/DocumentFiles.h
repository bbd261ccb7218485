// Sheet (.SchDoc) and library (.SchLib) documents as JSON files. Every object is written with its
// kind, its properties and its children; keys are sorted, so that a document that is loaded and
// saved again gives the same bytes. Font ids are written as indexes into the file's own font table.
#pragma once

#include <memory>
#include <string>

#include "host/SchObjects.h"

namespace orcadx::host::impl {

class SchServer;

inline constexpr const char* kSheetFormat = "VantorSchDoc";
inline constexpr const char* kLibraryFormat = "VantorSchLib";
inline constexpr int kDocumentFormatVersion = 1;

// The whole file content of a document.
std::string DocumentToText(ObjectCore& document);
// Writes the document to `path` (through a temporary file, so that a failed write leaves the old
// file). Throws EApiErr on failure.
void WriteDocumentFile(ObjectCore& document, const std::string& path);

// A document from file content; throws EApiErr with the reason when the text is no document.
std::unique_ptr<ObjectCore> DocumentFromText(SchServer& server, const std::string& text);
// A document from a file; throws EApiErr when it can't be read.
std::unique_ptr<ObjectCore> ReadDocumentFile(SchServer& server, const std::string& path);

// True when reading the document back from the file that it saves to gives the same objects with
// the same properties of the same shapes: each object has every default of its kind, every value
// keeps its shape in the file and font ids are in the font table. A closed document of which this
// holds can stand for its file once it forgets the state of the session (ForgetSessionState).
bool ReadsBackUnchanged(SchServer& server, const ObjectCore& document);
// Draws from the server the unique ids that reading the document from its file draws.
void DrawIdsOfReading(SchServer& server, const ObjectCore& document);

}  // namespace orcadx::host::impl
