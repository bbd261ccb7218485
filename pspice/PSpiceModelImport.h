// PSpice models named by Capture parts: an index of the model libraries (.lib files) on the library
// folders, and the extraction of each model a design needs, with every subcircuit it calls, into a
// model file of its own in the folder "PSpice Models" beside the host project.
//
// Library files are read as 8-bit text and model files written the same way: the bytes pass
// through unchanged.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/ClientInterfaces.h"

namespace orcadx::pspice {

// How a model is defined in a library file.
enum TModelType : int32_t {
    eModelType_Subckt = 0,  // a .SUBCKT ... .ENDS block
    eModeType_Model = 1,    // a .MODEL line with its continuation lines
};

// Extension of the model file made for each kind.
extern const char* const kModelFileExtensions[2];

// One model that an import needs.
class TPSpiceModel {
public:
    TPSpiceModel(std::string name, std::string path) : ModelName(std::move(name)), ModelPath(std::move(path)) {}

    std::string ModelName;  // the model's PSpice name; what the library index is searched for
    std::string ModelPath;  // the part's implementation path, as the Capture file gives it
    std::string ModelFile;  // the model file made for it; empty until extracted
    bool NotFound = false;  // a search has failed; the model is not looked for again
};

// The models of one import. Two entries are one model when name and path both match, ASCII case
// ignored.
class TPSpiceModelList {
public:
    // The entry of that identity, appended when there is none.
    TPSpiceModel* AddModel(const std::string& name, const std::string& path);
    TPSpiceModel* FindModel(const std::string& name, const std::string& path) const;
    // An entry of that name exists, whatever its path.
    bool ModelIsRequired(const std::string& name) const;
    TPSpiceModel* GetModel(int index) const;
    int Count() const { return static_cast<int>(models_.size()); }
    void FreeModels();

private:
    std::vector<std::unique_ptr<TPSpiceModel>> models_;
    std::unordered_map<std::string, TPSpiceModel*> byIdentity_;  // folded name, NUL, folded path
    std::unordered_map<std::string, int> nameCount_;             // folded name
};

// A list of names searched without case; the first of equal names counts.
class TNameList {
public:
    void Add(const std::string& name);
    bool Contains(const std::string& name) const;
    int IndexOf(const std::string& name) const;
    const std::string& operator[](int index) const { return names_[static_cast<size_t>(index)]; }
    int Count() const { return static_cast<int>(names_.size()); }
    bool Empty() const { return names_.empty(); }
    void Clear();

private:
    std::vector<std::string> names_;
    std::unordered_map<std::string, int> first_;  // folded name to its first index
};

using TLines = std::vector<std::string>;

// The index of one library file: the names of its outermost subcircuits and of its .MODEL lines
// outside every subcircuit, in file order.
class TPSpiceModelFile {
public:
    TPSpiceModelFile(std::string fileName, host::ILogSection* log = nullptr)
        : FileName(std::move(fileName)), Log(log) {}

    std::string FileName;
    TNameList Subckts;
    TNameList Models;
    // Receives the messages of an extraction; the import manager sets it for the length of one.
    host::ILogSection* Log = nullptr;

    // Builds Subckts and Models; nothing when the file is missing or the lists are built already.
    void GenerateModelList();
    // Subcircuits first, then models: a name defined both ways is a subcircuit.
    bool FindModel(const std::string& name, TModelType& kind) const;
    // Reads the file anew and gives the lines of the model and of every subcircuit it calls.
    TLines GetModelAsStrings(const std::string& name);
    // Appends the block that defines `name` (with the comment lines just above it) to `output`, and
    // the subcircuits that its X lines call to `referenced`.
    void DoCopyModelToStrings(const std::string& name, const TLines& lines, TLines& output,
                              TNameList& referenced) const;
    // The block of `name`, then each subcircuit it calls, directly or not, that this file defines,
    // each behind a line "*".
    void CopyModelToStrings(const std::string& name, const TLines& lines, TLines& output) const;
    // Shrinks every run of blanks to one, except in the first line and in lines beginning with "*".
    static void RemoveDuplSpaces(TLines& lines);
    // Writes the model's lines to `path`, each ending in CR LF. Raises std::runtime_error when the
    // file can't be written.
    void SaveModelToFile(const std::string& name, const std::string& path);

    // The file's lines with the "+" continuation lines joined to the line they continue; empty when
    // the file can't be read.
    static TLines ReadLibraryLines(const std::string& fileName);
    // Splits text at CR LF, LF or CR.
    static TLines SplitLines(const std::string& text);
    // The continuation lines joined to the line they continue.
    static void JoinContinuationLines(TLines& lines);
    // Takes the next token off the front of `text`.
    static std::string ExtractToken(std::string& text);

private:
    // The first line of each name's definitions in a file's lines, for one extraction.
    struct TDefinitionLines;
    void CopyBlock(const std::string& name, const TLines& lines, const TDefinitionLines& definitions,
                   TLines& output, TNameList& referenced) const;
};

// Every library file on the library folders, each with its index, in scan order. The module has
// one of these (PSpiceModelFiles()); it outlives an import and is rebuilt only for other folders.
class TPSpiceModelFileList {
public:
    std::vector<std::string> Directories;

    // Adds the path with a new, empty index.
    void Add(const std::string& fileName);
    // Nothing when the folders are those of the last call (ASCII case ignored, same order);
    // otherwise they replace Directories and the whole index is rebuilt.
    void SetDirectories(const std::vector<std::string>& directories);
    void GenerateFileLists();
    // Adds every .lib file below the folder, entering sub-folders.
    void GenerateDirectoryFileList(const std::string& directory);
    void GenerateModelLists();
    // The first file in list order that defines the name, or null.
    TPSpiceModelFile* FindFileContainingModel(const std::string& name, TModelType& kind);
    void Clear();
    int Count() const { return static_cast<int>(files_.size()); }
    TPSpiceModelFile* GetFile(int index) const { return files_[static_cast<size_t>(index)].get(); }
    // How many times the folders were scanned; a repeated import with the same folders doesn't scan.
    int ScanCount() const { return scans_; }

private:
    std::vector<std::unique_ptr<TPSpiceModelFile>> files_;
    // Folded model name to the first file that defines it; built after the files' lists.
    std::unordered_map<std::string, TPSpiceModelFile*> byName_;
    bool byNameBuilt_ = false;
    int scans_ = 0;
};

// The module-wide index of library files.
TPSpiceModelFileList& PSpiceModelFiles();

// Finds and extracts the models of one import run.
class TPSpiceModelImportManager {
public:
    // `host` gives the document kind of the project (may be null: then the project counts as no
    // integrated library). Creates the output folder beside the project.
    TPSpiceModelImportManager(host::IHostApplication* host, const std::string& designFileName,
                              host::IProject* project, host::IOrcadImporterOption* options,
                              host::IHandler_Status* progress, int32_t progressRange, host::ILogSection* log);

    host::IHostApplication* Host = nullptr;
    host::IProject* Project = nullptr;
    host::IHandler_Status* Progress = nullptr;
    int32_t ProgressRange = 0;
    bool IsIntegratedLibrary = false;
    host::IOrcadImporterOption* Options = nullptr;
    std::string OutputDirectory;
    std::string DesignDirectory;  // of the Capture file; of the file a link points to for a link
    TPSpiceModelList Models;
    host::ILogSection* Log = nullptr;
    bool Initialized = false;

    // Notes a model for RunImport; no search.
    TPSpiceModel* AddModel(const std::string& name, const std::string& path);
    // Notes the model and extracts it at once unless that was done; gives the entry either way.
    TPSpiceModel* ImportModel(const std::string& name, const std::string& path);
    TPSpiceModel* FindModel(const std::string& name, const std::string& path) const;
    // Brings the module's index up to date with the library folders and the design's folder.
    void Initialize();
    // Extracts every model noted and not yet extracted. The library import calls it after the last
    // component, the design import after the last page.
    void RunImport();

private:
    // Extracts the model, or gives it the result of an earlier entry of the same name: the search
    // ignores the path, so entries of one name that differ in path share the file (written once)
    // or the failure (reported once).
    void ExtractModel(TPSpiceModel& model);
    void Extract(TPSpiceModel& model);
    struct TResult {
        std::string ModelFile;
        bool NotFound = false;
    };
    std::unordered_map<std::string, TResult> extractedByName_;  // folded model name
};

// A model's file name: the name with the kind's extension, each character that a file name can't
// hold replaced by "_".
std::string ModelFileName(const std::string& modelName, TModelType kind);

// Where one model was found, for an analysis: the library file and the kind, or nothing.
struct TModelLocation {
    std::string ModelName;
    std::string LibraryFile;  // empty when not found
    TModelType Kind = eModeType_Model;
};

// Looks the names up in the library files below the folders, without extracting anything.
std::vector<TModelLocation> LocateModels(const std::vector<std::string>& names,
                                         const std::vector<std::string>& directories);

}  // namespace orcadx::pspice
