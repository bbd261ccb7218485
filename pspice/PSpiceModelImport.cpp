// The models of one import: which ones the parts name, and their extraction into the folder
// "PSpice Models" beside the host project.
#include "pspice/PSpiceModelImport.h"

#include <fmt/format.h>

#include <filesystem>

#include "platform/Status.h"
#include "pspice/PSpiceText.h"

namespace orcadx::pspice {

namespace fs = std::filesystem;

const char* const kModelFileExtensions[2] = {"ckt", "mdl"};

namespace {

const char kImportTitle[] = "Importing PSpice Models";
const char kModelsFolder[] = "PSpice Models";
// The search path an integrated library is given, so that it finds the model files.
const char kModelsSearchPath[] = "PSpice Models\\*.*";

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// The folder part of a path, without a trailing separator; empty when the path names no folder.
std::string DirectoryOf(const std::string& path) {
    size_t slash = path.find_last_of("/\\");
    if (slash == std::string::npos) return {};
    if (slash == 0) return path.substr(0, 1);
    return path.substr(0, slash);
}

std::string JoinPath(const std::string& directory, const std::string& name) {
    if (directory.empty() || IsSeparator(directory.back())) return directory + name;
    return directory + "/" + name;
}

// A folder name that doesn't depend on the current folder: a root, a drive or a network share.
bool IsAbsolutePath(const std::string& path) {
    return (!path.empty() && path.front() == '/') || path.find(':') != std::string::npos ||
           path.rfind("\\\\", 0) == 0;
}

bool IsDirectory(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::is_directory(path, ec);
}

std::string Identity(const std::string& name, const std::string& path) {
    std::string key = UpperAscii(name);
    key += '\0';
    key += UpperAscii(path);
    return key;
}

}  // namespace

// ----- TPSpiceModelList ----------------------------------------------------------------------------

TPSpiceModel* TPSpiceModelList::AddModel(const std::string& name, const std::string& path) {
    auto [it, added] = byIdentity_.try_emplace(Identity(name, path), nullptr);
    if (!added) return it->second;
    models_.push_back(std::make_unique<TPSpiceModel>(name, path));
    it->second = models_.back().get();
    ++nameCount_[UpperAscii(name)];
    return it->second;
}

TPSpiceModel* TPSpiceModelList::FindModel(const std::string& name, const std::string& path) const {
    auto it = byIdentity_.find(Identity(name, path));
    return it == byIdentity_.end() ? nullptr : it->second;
}

bool TPSpiceModelList::ModelIsRequired(const std::string& name) const {
    return nameCount_.count(UpperAscii(name)) != 0;
}

TPSpiceModel* TPSpiceModelList::GetModel(int index) const {
    if (index < 0 || index >= Count()) return nullptr;
    return models_[static_cast<size_t>(index)].get();
}

void TPSpiceModelList::FreeModels() {
    models_.clear();
    byIdentity_.clear();
    nameCount_.clear();
}

// ----- TPSpiceModelImportManager -------------------------------------------------------------------

std::string ModelFileName(const std::string& modelName, TModelType kind) {
    std::string name = modelName + "." + kModelFileExtensions[kind == eModelType_Subckt ? 0 : 1];
    for (char& c : name)
        if (std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos) c = '_';
    return name;
}

TPSpiceModelImportManager::TPSpiceModelImportManager(host::IHostApplication* host, const std::string& designFileName,
                                                     host::IProject* project, host::IOrcadImporterOption* options,
                                                     host::IHandler_Status* progress, int32_t progressRange,
                                                     host::ILogSection* log)
    : Host(host), Project(project), Progress(progress), ProgressRange(progressRange), Options(options), Log(log) {
    if (Project) {
        std::string projectPath = Project->GetFullPath();
        OutputDirectory = JoinPath(DirectoryOf(projectPath), kModelsFolder);
        if (IsAbsolutePath(OutputDirectory)) {
            // A folder that can't be made shows later, when its first model counts as not found.
            std::error_code ec;
            fs::create_directories(OutputDirectory, ec);
        }
        host::IClient* client = Host ? Host->Client() : nullptr;
        IsIntegratedLibrary =
            client && platform::SameTextNoCase(client->GetDocumentKindFromPath(projectPath), "INTEGRATEDLIBRARY");
        if (IsIntegratedLibrary) {
            bool present = false;
            for (int32_t i = 0, n = Project->GetSearchPathCount(); i < n && !present; ++i)
                present = platform::SameTextNoCase(Project->GetSearchPath(i), kModelsSearchPath);
            if (!present) Project->AddSearchPath(kModelsSearchPath, true);
        }
    }
    if (!designFileName.empty()) {
        // A file reached through a link has its models beside the file itself.
        std::error_code ec;
        std::string file = designFileName;
        if (fs::is_symlink(file, ec)) {
            fs::path target = fs::canonical(file, ec);
            if (!ec) file = target.string();
        }
        DesignDirectory = DirectoryOf(file);
    }
}

TPSpiceModel* TPSpiceModelImportManager::AddModel(const std::string& name, const std::string& path) {
    return Models.AddModel(name, path);
}

TPSpiceModel* TPSpiceModelImportManager::ImportModel(const std::string& name, const std::string& path) {
    Initialize();
    TPSpiceModel* model = Models.AddModel(name, path);
    if (model->ModelFile.empty()) ExtractModel(*model);
    return model;
}

TPSpiceModel* TPSpiceModelImportManager::FindModel(const std::string& name, const std::string& path) const {
    return Models.FindModel(name, path);
}

void TPSpiceModelImportManager::Initialize() {
    if (Initialized) return;
    platform::StatusReporter(Progress).Line(kImportTitle);
    Log = platform::AddSubSection(Log, kImportTitle);
    std::vector<std::string> directories;
    auto kept = [&directories](const std::string& directory) {
        for (const std::string& d : directories)
            if (platform::SameTextNoCase(d, directory)) return true;
        return false;
    };
    int32_t count = Options ? Options->GetLibraryDirectoryCount() : 0;
    for (int32_t i = 0; i < count; ++i) {
        std::string directory = Options->GetLibraryDirectory(i);
        if (IsDirectory(directory)) {
            platform::LogMessage(Log, host::kLogInfo, "Processing library directory - " + directory);
            if (!kept(directory)) directories.push_back(directory);
        } else {
            platform::LogMessage(Log, host::kLogError, "Library directory not found - " + directory);
        }
    }
    if (!DesignDirectory.empty() && !kept(DesignDirectory)) directories.push_back(DesignDirectory);
    PSpiceModelFiles().SetDirectories(directories);
    Initialized = true;
}

void TPSpiceModelImportManager::RunImport() {
    int n = Models.Count();
    if (n == 0) return;
    Initialize();
    platform::ProgressSpreader progress(Progress, ProgressRange, n);
    for (int i = 0; i < n; ++i) {
        TPSpiceModel* model = Models.GetModel(i);
        if (model->ModelFile.empty()) ExtractModel(*model);
        progress.Step(i + 1);
    }
}

void TPSpiceModelImportManager::ExtractModel(TPSpiceModel& model) {
    if (model.NotFound) return;
    std::string key = UpperAscii(model.ModelName);
    if (auto done = extractedByName_.find(key); done != extractedByName_.end()) {
        model.ModelFile = done->second.ModelFile;
        model.NotFound = done->second.NotFound;
        return;
    }
    Extract(model);
    extractedByName_[key] = {model.ModelFile, model.NotFound};
}

void TPSpiceModelImportManager::Extract(TPSpiceModel& model) {
    TModelType kind{};
    TPSpiceModelFile* file = PSpiceModelFiles().FindFileContainingModel(model.ModelName, kind);
    if (!file || !IsDirectory(OutputDirectory)) {
        platform::LogMessage(Log, host::kLogError, "PSpice model not found \"" + model.ModelName + "\"");
        model.NotFound = true;
        return;
    }
    std::string path = JoinPath(OutputDirectory, ModelFileName(model.ModelName, kind));
    // The library file reports missing nested subcircuits to this run's log, and only during this
    // extraction.
    struct LogScope {
        TPSpiceModelFile* file;
        ~LogScope() { file->Log = nullptr; }
    } scope{file};
    file->Log = Log;
    try {
        file->SaveModelToFile(model.ModelName, path);
    } catch (const std::runtime_error& e) {
        platform::LogMessage(Log, host::kLogError, e.what());
        model.NotFound = true;
        return;
    }
    if (!IsIntegratedLibrary && Project) Project->AddSourceDocument(path);
    model.ModelFile = path;
    platform::LogMessage(Log, host::kLogInfo,
                         fmt::format("PSpice model \"{}\" found in \"{}\"", model.ModelName, file->FileName));
}

// ----- Analysis ------------------------------------------------------------------------------------

std::vector<TModelLocation> LocateModels(const std::vector<std::string>& names,
                                         const std::vector<std::string>& directories) {
    TPSpiceModelFileList files;
    files.SetDirectories(directories);
    std::vector<TModelLocation> found;
    found.reserve(names.size());
    for (const std::string& name : names) {
        TModelLocation location{name, {}, eModeType_Model};
        if (TPSpiceModelFile* file = files.FindFileContainingModel(name, location.Kind))
            location.LibraryFile = file->FileName;
        found.push_back(std::move(location));
    }
    return found;
}

}  // namespace orcadx::pspice
