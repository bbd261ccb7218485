// The library import: components from packages, graphical components from symbols, pins,
// aliases, reference, footprint, the hidden extent parameters, and the library document around them.
#include "import/SCHLibraryImport.h"

#include <fmt/format.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <unordered_set>

#include "dbo/DboDesign.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "host/ClientServices.h"
#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "pspice/PSpiceModelImport.h"
#include "pspice/PSpiceTemplateImport.h"

namespace orcadx::importer {

const char kExtentRight[] = "Vantor-Right";
const char kExtentBottom[] = "Vantor-Bottom";

namespace {

int32_t ToHostNegated(int32_t value) { return value == INT32_MIN ? INT32_MAX : -value; }

std::string Folded(const std::string& text) {
    std::string out(text);
    for (char& c : out) c = platform::FoldUpper(c);
    return out;
}

// The name of extent parameter `base` for package `n`.
std::string ExtentName(const char* base, int n) { return n > 0 ? base + std::to_string(n) : std::string(base); }

// The first view of a package, or null.
dbo::TDboLibView* FirstView(dbo::TDboLibPackage* package) {
    return package && package->Views.Count() > 0 ? package->Views.GetViews(0) : nullptr;
}

// True when the view is implemented by a PSpice model that it names.
bool NamesPSpiceModel(const dbo::TDboLibView* view) {
    return view && view->GetImplementationType() == dbo::TDboLibView::kImplementationPSpiceModel &&
           !view->Implement.empty();
}

// ----- PSpice call points ----------------------------------------------------------------------
// The PSpice side (pspice/) joins the library import at these four points: the model import
// manager of a library file's import, the models that views name, the template on each component,
// and the extraction of the noted models at the end.

// The model manager of the import of a library file, given `progress` units of its own.
std::shared_ptr<pspice::TPSpiceModelImportManager> CreateModelManager(host::IHostApplication& host,
                                                                       dbo::TDboDesign& design,
                                                                       host::IOrcadImporterOption* options,
                                                                       host::IHandler_Status* status, int32_t progress,
                                                                       host::IProject* project, host::ILogSection* log) {
    return std::make_shared<pspice::TPSpiceModelImportManager>(&host, design.FileName, project, options, status,
                                                               progress, log);
}

// The model named by a view is noted for the extraction at the end (AddModel).
void NoteModel(pspice::TPSpiceModelImportManager* manager, const std::string& name, const std::string& path) {
    if (manager) manager->AddModel(name, path);
}

// The component's "PSpiceTemplate" becomes its simulation model (TPSpiceTemplateImporter of the
// component, model name, model file, whether the view names a model, log). True when the component
// had a template.
bool ImportTemplate(host::IHostApplication& host, host::ISch_Component* component, const std::string& modelName,
                    const std::string& modelFile, bool hasModel, host::ILogSection* log) {
    return pspice::TPSpiceTemplateImporter(host, {}, component, modelName, modelFile, hasModel, log).Run();
}

// The noted models are cut out of their PSpice libraries into the project (RunImport).
void RunModelImport(pspice::TPSpiceModelImportManager* manager) {
    if (manager) manager->RunImport();
}

}  // namespace

AliasIndex BuildAliasIndex(const dbo::TDboDesign& design) {
    AliasIndex index;
    if (!design.Lib) return index;
    const auto& aliases = design.Lib->Aliases;
    for (int i = 0; i < aliases.Count(); ++i) {
        const dbo::TDboLibAlias* alias = aliases.GetAliases(i);
        index[Folded(alias->PartName)].push_back(alias->AliasName);
    }
    return index;
}

// ----- TSCHBaseLibraryComponentImporter --------------------------------------------------------

TSCHBaseLibraryComponentImporter::TSCHBaseLibraryComponentImporter(host::IHostApplication& host,
                                                                   dbo::TDboDesign* design,
                                                                   host::IOrcadImporterOption* options,
                                                                   host::ILogSection* log, host::ISch_Lib* library,
                                                                   host::ISch_Component* component)
    : TSCHCommonImporter(host, design, options, log), Component(component) {
    Document = library;
    Container = library;
}

host::ISch_Pin* TSCHBaseLibraryComponentImporter::ImportPin(dbo::TDboPin* pin, dbo::TDboLibPartPin* partPin) {
    auto* object = CreateObject<host::ISch_Pin>(host::ePin);
    if (!object) return nullptr;
    if (object->GetState_OwnerPartId() == 0) object->SetState_OwnerPartId(1);
    object->SetState_Name(pin->PinName);
    object->SetState_Designator(partPin ? partPin->PinNumber : pin->PinName);
    if (object->GetState_Designator().empty()) {
        object->SetState_Designator(pin->PinName);
        object->SetState_ShowDesignator(false);
    }
    object->SetState_Location({ScaleCoord(pin->OffsetX), ToHostNegated(ScaleCoord(pin->OffsetY))});
    if (pin->OffsetX == pin->EndX) object->SetState_Orientation(pin->OffsetY > pin->EndY ? 1 : 3);
    else object->SetState_Orientation(pin->OffsetX > pin->EndX ? 2 : 0);
    const double dx = static_cast<double>(pin->EndX) - pin->OffsetX, dy = static_cast<double>(pin->EndY) - pin->OffsetY;
    const int32_t length = ScaleCoord(platform::RoundHalfEven(std::sqrt(dx * dx + dy * dy)));
    object->SetState_PinLength(length);
    object->SetState_IsHidden(!pin->GetIsVisible());
    if (pin->PinType == 7 && length == 0) {
        object->SetState_HiddenNetName(pin->PinName);
        object->SetState_IsHidden(true);
    }
    if (pin->GetIsClock()) object->SetState_InnerEdge(1);
    if (pin->GetIsDot()) object->SetState_OuterEdge(3);
    object->SetState_Electrical(pin->PinType);
    if (platform::UseNativeImportRules()) {
        object->SetState_Electrical(4);
        int code = pin->GetColor();
        object->SetState_Color(code == kDefaultColorCode ? 255 : MapColor(code));
    }
    return object;
}

int TSCHBaseLibraryComponentImporter::NearestEdge(host::ISch_Pin* pin, host::ISch_Component* component) {
    host::CoordRect r = component->GetState_BoundingRectangle();
    host::Coord p = pin->GetState_Location();
    const int64_t l = std::llabs(int64_t(p.X) - r.X1), rt = std::llabs(int64_t(p.X) - r.X2);
    const int64_t t = std::llabs(int64_t(p.Y) - r.Y2), b = std::llabs(int64_t(p.Y) - r.Y1);
    if (l < rt) {
        if (t < rt) return l >= t ? 1 : 2;
        return l < b ? 2 : 3;
    }
    if (t < rt) return 1;
    if (rt < b) return 0;
    return 3;
}

void TSCHBaseLibraryComponentImporter::ImportPins(dbo::TDboLibBaseView* view, dbo::TDboLibPart* part) {
    auto* libView = dynamic_cast<dbo::TDboLibView*>(view);
    const bool native = platform::UseNativeImportRules();
    for (int i = 0; i < view->Pins->Count(); ++i) {
        dbo::TDboPin* record = view->Pins->GetPins(i);
        dbo::TDboLibPartPin* partPin = part && i < part->PartPins.Count() ? part->PartPins.GetPins(i) : nullptr;
        host::ISch_Pin* pin = ImportPin(record, partPin);
        if (!pin) continue;
        try {
            if (libView) {
                pin->SetState_ShowName(libView->GetPinNamesVisible());
                // A pin whose number stood empty keeps its number hidden.
                pin->SetState_ShowDesignator(pin->GetState_ShowDesignator() && libView->GetPinNumbersVisible());
            }
            if (pin->GetState_PinLength() == 0) pin->SetState_Orientation(NearestEdge(pin, Component));
            pin->SetState_OwnerPartId(Component->GetState_CurrentPartId());
            pin->SetState_OwnerPartDisplayMode(Component->GetState_DisplayMode());
        } catch (...) {
            Server().DestroySchObject(pin);
            throw;
        }
        Component->AddSchObject(pin);
        ImportObjectProperties(record, pin);
        if (native) {
            int32_t font = DefaultFaceFont(5);
            for (int style = 0; style < 2; ++style) {
                pin->SetState_CustomStyleEnabled(style, true);
                pin->SetState_CustomStyleFontId(style, font);
            }
            pin->SetState_CustomStylePositionMode(0, 0);
            pin->SetState_CustomStyleColor(1, 8404992);
        }
    }
}

void TSCHBaseLibraryComponentImporter::ImportViewGraphics(dbo::TDboLibBaseView* view) {
    DrawingOwner = view;
    try {
        ImportGraphics(*view->Graphics, Component);
    } catch (...) {
        DrawingOwner = nullptr;
        throw;
    }
    DrawingOwner = nullptr;
}

void TSCHBaseLibraryComponentImporter::AddHiddenParameter(const std::string& name, const std::string& text) {
    auto* parameter = CreateObject<host::ISch_Parameter>(host::eParameter);
    if (!parameter) return;
    Component->AddSchObject(parameter);
    parameter->SetState_OwnerPartId(Component->GetState_CurrentPartId());
    parameter->SetState_Name(name);
    parameter->SetState_Text(text);
    parameter->SetState_IsHidden(true);
}

// ----- TSCHLibraryComponentImporter ------------------------------------------------------------

TSCHLibraryComponentImporter::TSCHLibraryComponentImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                                           host::IOrcadImporterOption* options, host::ILogSection* log,
                                                           host::ISch_Lib* library, host::ISch_Component* component,
                                                           dbo::TDboLibComponent* package,
                                                           pspice::TPSpiceModelImportManager* modelManager,
                                                           const AliasIndex* aliases)
    : TSCHBaseLibraryComponentImporter(host, design, options, log, library, component),
      Package(package),
      ModelManager(modelManager),
      aliases_(aliases) {}

void TSCHLibraryComponentImporter::RunImport() {
    ImportParts();
    ImportAliases();
    ImportReferenceAndFootprint();
    ImportSimulation();
    ImportExtentParameters();
    Component->PartsComplete();
}

void TSCHLibraryComponentImporter::ImportParts() {
    const std::string& name = Package->PartInfo->CompName;
    const int views = Package->ViewCount();
    if (views > 1 && views < Component->GetState_PartCount()) Component->SetState_DisplayModeCount(views);
    dbo::TDboLibPartList& parts = Package->PartInfo->Parts;
    for (int p = 0; p < parts.Count(); ++p) {
        dbo::TDboLibPart* part = parts.GetParts(p);
        if (p > 0) {
            Component->SetState_PartCount(Component->GetState_PartCount() + (p == 1 ? 2 : 1));
            Component->SetState_CurrentPartId(Component->GetState_CurrentPartId() + 1);
        }
        dbo::TDboLibPackage* package = nullptr;
        if (Package->IsSinglePackage()) {
            package = Package->Packages.GetPackages(0);
        } else {
            for (int k = 0; k < Package->Packages.Count(); ++k)
                if (Package->Packages.GetPackages(k)->Name == part->PkgName) package = Package->Packages.GetPackages(k);
            if (!package) package = Package->Packages.GetPackages(p);
        }
        if (package) ImportPart(part, package);
        else LogMessage(host::kLogError, "Part " + name + " cannot be imported correctly!");
    }
}

void TSCHLibraryComponentImporter::ImportPart(dbo::TDboLibPart* part, dbo::TDboLibPackage* package) {
    for (int v = 0; v < package->Views.Count(); ++v) {
        dbo::TDboLibView* view = package->Views.GetViews(v);
        if (v == 0) {
            Component->SetState_DisplayMode(0);
        } else {
            // Every view after the first (Capture's ".Convert") draws into display mode 1.
            if (Component->GetState_DisplayModeCount() < 2) Component->SetState_DisplayModeCount(2);
            Component->SetState_DisplayMode(1);
        }
        ImportPins(view, part);
        ImportViewGraphics(view);
        if (!view->Value.empty() && !view->GetUserPropByName("Value")) view->AddProp("Value", view->Value);
        ImportObjectProperties(view, Component);
        Component->GetState_SchDesignator()->SetState_OwnerPartId(Component->GetState_CurrentPartId());
    }
}

void TSCHLibraryComponentImporter::ImportAliases() {
    if (!aliases_) {
        ownAliases_ = std::make_unique<AliasIndex>(BuildAliasIndex(*Design));
        aliases_ = ownAliases_.get();
    }
    auto it = aliases_->find(Folded(Package->PartInfo->CompName));
    if (it == aliases_->end()) return;
    for (const std::string& alias : it->second) Component->AddAlias(alias);
}

void TSCHLibraryComponentImporter::ImportReferenceAndFootprint() {
    const dbo::TDboLibPartInfo& info = *Package->PartInfo;
    if (!info.CompRefName.empty()) Component->GetState_SchDesignator()->SetState_Text(info.CompRefName + "?");
    if (!info.CompFootprint.empty()) {
        host::ISch_Implementation* footprint = Component->AddImplementation();
        footprint->SetState_ModelName(info.CompFootprint);
        footprint->SetState_ModelType("PCBLIB");
    }
}

void TSCHLibraryComponentImporter::ImportSimulation() {
    std::string name = Package->PartInfo->CompName, path;
    bool model = false;
    for (int n = 0; n < Package->Packages.Count(); ++n) {
        dbo::TDboLibView* view = FirstView(Package->Packages.GetPackages(n));
        if (!NamesPSpiceModel(view)) continue;
        name = view->Implement;
        path = view->Path;
        model = true;
        NoteModel(ModelManager, name, path);
    }
    if (ImportTemplate(Host, Component, name, path, model, Log)) TemplatesImported = true;
}

void TSCHLibraryComponentImporter::ImportExtentParameters() {
    for (int n = 0; n < Package->Packages.Count(); ++n) {
        dbo::TDboLibView* view = FirstView(Package->Packages.GetPackages(n));
        if (!view) continue;
        AddHiddenParameter(ExtentName(kExtentRight, n), std::to_string(view->Right));
        AddHiddenParameter(ExtentName(kExtentBottom, n), std::to_string(view->Bottom));
    }
}

// ----- TSCHLibrarySymbolImporter ---------------------------------------------------------------

TSCHLibrarySymbolImporter::TSCHLibrarySymbolImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                                     host::IOrcadImporterOption* options, host::ILogSection* log,
                                                     host::ISch_Lib* library, host::ISch_Component* component,
                                                     dbo::TDboLibSymbol* symbol)
    : TSCHBaseLibraryComponentImporter(host, design, options, log, library, component), Symbol(symbol) {}

host::ISch_Pin* TSCHLibrarySymbolImporter::ImportPin(dbo::TDboPin* pin, dbo::TDboLibPartPin* partPin) {
    host::ISch_Pin* object = TSCHBaseLibraryComponentImporter::ImportPin(pin, partPin);
    if (object) {
        object->SetState_ShowName(false);
        object->SetState_ShowDesignator(false);
    }
    return object;
}

void TSCHLibrarySymbolImporter::RunImport() {
    // A symbol is drawn as Capture draws it: no default fill for its rectangles.
    const bool fill = DefaultComponentFill();
    if (Options) Options->SetDefaultComponentFill(false);
    try {
        Component->SetState_ComponentKind(host::eComponentKind_Graphical);
        Component->GetState_SchDesignator()->SetState_IsHidden(true);
        ImportViewGraphics(Symbol);
        ImportPins(Symbol, nullptr);
        ImportObjectProperties(Symbol, Component);
        AddHiddenParameter(kExtentRight, std::to_string(Symbol->Right));
        AddHiddenParameter(kExtentBottom, std::to_string(Symbol->Bottom));
    } catch (...) {
        if (Options) Options->SetDefaultComponentFill(fill);
        throw;
    }
    if (Options) Options->SetDefaultComponentFill(fill);
}

// ----- TSCHLibraryImporter ---------------------------------------------------------------------

TSCHLibraryImporter::TSCHLibraryImporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                         host::IOrcadImporterOption* options, host::ILogSection* log,
                                         host::ISch_Document* document, host::IHandler_Status* status,
                                         int32_t progressSteps)
    : TSCHImporter(host, design, options, log),
      Document(dynamic_cast<host::ISch_Lib*>(document)),
      Status(status),
      ProgressSteps(progressSteps) {
    if (Document) Document->SetState_DisplayUnit(host::eUnitAutoImperial);
}

TSCHLibraryImporter::~TSCHLibraryImporter() = default;

host::ISch_Component* TSCHLibraryImporter::NewComponent(const std::string& libReference) {
    auto* component = CreateObject<host::ISch_Component>(host::eSchComponent);
    if (!component) return nullptr;
    component->SetState_LibReference(libReference);
    Document->AddSchComponent(component);
    Document->SetState_CurrentSchComponent(component);
    return component;
}

void TSCHLibraryImporter::ImportComponent(dbo::TDboLibComponent* cached) {
    host::ISch_Component* component = NewComponent(cached->PartInfo->CompName);
    if (!component) return;
    TSCHLibraryComponentImporter importer(Host, Design, Options, Log, Document, component, cached, ModelManager.get(),
                                          &aliases_);
    importer.RunImport();
    if (importer.TemplatesImported) TemplatesImported = true;
}

void TSCHLibraryImporter::ImportSymbol(dbo::TDboLibSymbol* symbol) {
    // Outside native mode only title blocks come across; power, port and off-page symbols are the
    // host's own objects on a page.
    if (!platform::UseNativeImportRules() && symbol->ID != dbo::kIdTitleBlockSymbol) return;
    if (SkipTitleBlocks()) return;
    host::ISch_Component* component = NewComponent(symbol->ViewName);
    if (!component) return;
    TSCHLibrarySymbolImporter importer(Host, Design, Options, Log, Document, component, symbol);
    importer.RunImport();
}

void TSCHLibraryImporter::ReportMissingPackages() {
    if (!Design->PkgDir) return;
    std::unordered_set<std::string> loaded;
    for (const auto& component : Design->Components) loaded.insert(Folded(component->PartInfo->CompName));
    for (int i = 0; i < Design->PkgDir->Count(); ++i) {
        const std::string& name = Design->PkgDir->GetEntries(i)->EntryName;
        if (!loaded.count(Folded(name)))
            LogMessage(host::kLogWarning, "Package " + name + " was not imported: the file holds no readable stream \"Packages/" +
                                              name + "\".");
    }
}

void TSCHLibraryImporter::RunImport() {
    if (!Document) return;
    Document->BeginBulkChange();
    try {
        platform::StatusReporter status(Status);
        status.Title("Importing Library");
        aliases_ = BuildAliasIndex(*Design);
        ReportMissingPackages();
        const int components = Design->ComponentCount(), symbols = Design->SymbolCount();
        platform::ProgressSpreader progress(Status, ProgressSteps, components + symbols);
        int done = 0;
        for (int i = 0; i < components; ++i) {
            status.Line("Importing Components");
            ImportComponent(Design->GetComponent(i));
            progress.Step(++done);
        }
        for (int i = 0; i < symbols; ++i) {
            status.Line("Importing Symbols");
            ImportSymbol(Design->GetSymbol(i));
            progress.Step(++done);
        }
        host::RemoveLibraryComponent(Host, Document, "Component_1");
        RunModelImport(ModelManager.get());
    } catch (...) {
        Document->EndBulkChange();
        throw;
    }
    Document->EndBulkChange();
}

// ----- The library document --------------------------------------------------------------------

std::string LibraryFileName(const std::string& sourceFile, const std::string& folder) {
    // The file's name without folder (either separator) and without its extension.
    std::string name = sourceFile.substr(sourceFile.find_last_of("/\\") == std::string::npos
                                             ? 0
                                             : sourceFile.find_last_of("/\\") + 1);
    size_t dot = name.find_last_of('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    name += "_Library.SchLib";
    if (folder.empty()) return name;
    const char last = folder.back();
    return folder + (last == '/' || last == '\\' ? "" : "/") + name;
}

std::string ImportLibrary(host::IHostApplication& host, dbo::TDboDesign& design, host::IOrcadImporterOption* options,
                          host::IHandler_Status* status, int32_t progress, host::ILogSection* logs,
                          const std::string& folder, host::IProject* project, bool libraryOnly,
                          bool& templatesImported) {
    if (design.ComponentCount() == 0 && design.SymbolCount() == 0) return {};
    const std::string fileName = LibraryFileName(design.FileName, folder);
    host::IServerDocument* document = host::OpenOrCreateDocument(host, fileName, "SCHLIB", "Binary", true);
    host::ISch_ServerInterface* server = host.SchServer();
    auto* library = server ? dynamic_cast<host::ISch_Lib*>(server->GetSchDocumentByPath(fileName)) : nullptr;
    if (!library) return fileName;
    if (project) project->AddSourceDocument(fileName);
    host::ILogSection* section =
        platform::AddSubSection(logs, "Importing Library - " + std::filesystem::path(fileName).filename().string());

    TSCHLibraryImporter importer(host, &design, options, section, library, status,
                                 libraryOnly ? progress / 10 * 8 : progress);
    if (libraryOnly)
        importer.ModelManager = CreateModelManager(host, design, options, status, progress / 10 * 2, project, section);
    importer.RunImport();
    if (importer.TemplatesImported) templatesImported = true;
    host::SaveDocument(host, document, true, "Binary");
    if (host::IClient* client = host.Client()) client->CloseDocument(document);
    return fileName;
}

void AnalyzeLibrary(const dbo::TDboDesign& design, host::IStringList* documentNames, host::IStringList* modelNames) {
    if (design.ComponentCount() == 0 && design.SymbolCount() == 0) return;
    if (documentNames) documentNames->Add(LibraryFileName(design.FileName, ""));
    if (!modelNames) return;
    for (const auto& component : design.Components)
        for (int n = 0; n < component->Packages.Count(); ++n) {
            dbo::TDboLibView* view = FirstView(component->Packages.GetPackages(n));
            if (NamesPSpiceModel(view)) modelNames->Add(view->Implement);
        }
}

void RemoveExtentParameters(host::IHostApplication& host, const std::string& libraryFile) {
    host::IClient* client = host.Client();
    if (!client) throw host::EApiErr("The host has no client");
    host::IServerDocument* document = client->OpenDocument("SCHLIB", libraryFile);
    if (!document) throw host::EApiErr("Cannot open document " + libraryFile);
    host::ISch_ServerInterface* server = host.SchServer();
    host::ISch_Document* library = server ? server->GetSchDocumentByPath(libraryFile) : nullptr;
    if (library) {
        std::vector<std::pair<host::ISch_BasicContainer*, host::ISch_Parameter*>> found;
        auto components = library->SchIterator_Create({host::eSchComponent}, host::eIterateFirstLevel);
        for (auto* c = components->FirstSchObject(); c; c = components->NextSchObject()) {
            auto parameters = c->SchIterator_Create({host::eParameter}, host::eIterateFirstLevel);
            for (auto* o = parameters->FirstSchObject(); o; o = parameters->NextSchObject()) {
                auto* p = dynamic_cast<host::ISch_Parameter*>(o);
                if (!p) continue;
                const std::string name = p->GetState_Name();
                if (name.rfind(kExtentRight, 0) == 0 || name.rfind(kExtentBottom, 0) == 0) found.push_back({c, p});
            }
        }
        for (auto& [component, parameter] : found)
            if (component->RemoveSchObject(parameter)) server->DestroySchObject(parameter);
    }
    host::SaveDocument(host, document, true, "Binary");
    client->CloseDocument(document);
}

}  // namespace orcadx::importer
