#include "ExportTestSupport.h"

#include <algorithm>
#include <fstream>

#include "dbo/DboGraphicObjects.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/ClientServices.h"
#include "import/Manage_FontTable.h"
#include "import/SCHDesignImport.h"
#include "import/SCHLibraryImport.h"

namespace orcadx::test {

namespace {

// The thirteen object lists of a page, in file order.
std::vector<const dbo::TDboStorableList*> ListsOf(const dbo::TDboPage& page) {
    return {page.TitleBlocks.get(), page.WireNets.get(),   page.BusNets.get(),        page.NetAliases.get(),
            page.WiresAndBuses.get(), page.PartsAndBlocks.get(), page.Ports.get(),      page.Powers.get(),
            page.OffPages.get(),    page.DRCMarks.get(),   page.BusEntries.get(),     page.Graphics.get(),
            page.BookMarks.get()};
}

}  // namespace

std::vector<std::string> DesignSummary(const dbo::TDboDesign& design) {
    std::vector<std::string> lines;
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        for (int p = 0; p < view->PageCount(); ++p) {
            const dbo::TDboPage& page = *view->GetPages(p);
            std::string line = view->ViewName + "/" + page.PageName + ":";
            static const char* const kNames[] = {"title blocks", "wire nets", "bus nets", "net aliases",
                                                 "wires and buses", "parts and blocks", "ports", "powers",
                                                 "off-pages", "DRC marks", "bus entries", "graphics", "bookmarks"};
            std::vector<const dbo::TDboStorableList*> lists = ListsOf(page);
            for (size_t i = 0; i < lists.size(); ++i)
                line += std::string(i ? ", " : " ") + kNames[i] + " " + std::to_string(lists[i]->Count());
            lines.push_back(line);
        }
    }
    // Names without the "_Dup" number a load gives to the second and later of one name: which of
    // the same-named elements gets which number may change from one save to the next.
    auto base = [](std::string name, int duplicate) {
        std::string suffix = "_Dup" + std::to_string(duplicate);
        if (duplicate > 0 && name.size() > suffix.size() && name.ends_with(suffix)) name.resize(name.size() - suffix.size());
        return name;
    };
    std::vector<std::string> components, symbols;
    for (int i = 0; i < design.ComponentCount(); ++i) {
        const dbo::TDboLibPartInfo& info = *design.GetComponent(i)->PartInfo;
        components.push_back(base(info.CompName, info.DuplicateIndex));
    }
    for (int i = 0; i < design.SymbolCount(); ++i)
        symbols.push_back(base(design.GetSymbol(i)->ViewName, design.GetSymbol(i)->DuplicateIndex));
    std::sort(components.begin(), components.end());
    std::sort(symbols.begin(), symbols.end());
    for (const auto& name : components) lines.push_back("component " + name);
    for (const auto& name : symbols) lines.push_back("symbol " + name);
    return lines;
}

std::vector<dbo::TDboStorableObject*> PageRecords(const dbo::TDboDesign& design) {
    std::vector<dbo::TDboStorableObject*> out;
    auto add = [&](auto& self, dbo::TDboStorableObject* object) -> void {
        if (!object) return;
        if (object->HeaderKind() != 0) out.push_back(object);
        if (auto* wire = dynamic_cast<dbo::TDboWireBus*>(object))
            for (auto& alias : wire->Aliases.Items) self(self, alias.get());
        if (auto* base = dynamic_cast<dbo::TDboBaseObject*>(object))
            for (auto& prop : base->VisibleProps.Items) self(self, prop.get());
        if (auto* part = dynamic_cast<dbo::TDboPart*>(object))
            for (auto& pin : part->PinProps.Items) self(self, pin.get());
        if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(object))
            for (auto& pin : block->PinProps.Items) self(self, pin.get());
        if (auto* graphic = dynamic_cast<dbo::TDboGraphicInstance*>(object)) self(self, graphic->Unknown02.get());
    };
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        for (int p = 0; p < view->PageCount(); ++p) {
            dbo::TDboPage& page = *view->GetPages(p);
            out.push_back(&page);
            for (const dbo::TDboStorableList* list : ListsOf(page))
                for (auto& item : list->Items) add(add, item.get());
        }
    }
    return out;
}

host::HostOptions HostIn(const std::filesystem::path& folder) {
    host::HostOptions options = host::HostOptionsIn(folder.string(), 19);
    std::filesystem::create_directories(options.SettingsFolder);
    return options;
}

ImportedProject::ImportedProject(const std::filesystem::path& folder, const std::filesystem::path& file)
    : folder(folder), app(HostIn(folder)), design(file.string(), nullptr, 0, nullptr) {
    std::filesystem::create_directories(folder);
    app.StartSchServer();
    importer::FontTableManager().Clear();
    project = app.CreateProject((folder / (file.stem().string() + ".VsProj")).string());
    if (!design.Load(false)) throw std::runtime_error("cannot load " + file.string());
    bool templates = false;
    std::string library = importer::ImportLibrary(app, design, &options, nullptr, 100, &log, folder.string(), project,
                                                  false, templates);
    importer::ImportDesign(app, design, library, &options, nullptr, 100, &log, folder.string(), project, templates);
    if (!library.empty()) importer::RemoveExtentParameters(app, library);
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
        host::IDocument* document = project->GetDocument(i);
        if (document->GetDocumentKind() != "SCH") continue;
        host::ISch_Document* sheet = app.SchServer()->GetSchDocumentByPath(document->GetFullPath());
        if (!sheet) sheet = app.SchDocumentOf(app.OpenDocumentFile(document->GetFullPath()));
        if (sheet) sheets[document->GetFileName()] = sheet;
    }
}

void ExportFixture::SetUp() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("export-") + info->test_suite_name() + "-" + info->name();
    for (char& c : name)
        if (c == '/') c = '_';
    dir_ = ScratchDir(name);
    host::HostOptions options = host::HostOptionsIn(dir_.string(), 17);
    std::filesystem::create_directories(options.SettingsFolder);
    app_ = std::make_unique<host::HostApplication>(options);
    app_->StartSchServer();
    importer::FontTableManager().Clear();
}

void ExportFixture::TearDown() { app_.reset(); }

host::ISch_Lib* ExportFixture::NewLibrary(const std::string& name) {
    host::IServerDocument* document = host::OpenOrCreateDocument(App(), (dir_ / name).string(), "SCHLIB", "Binary", true);
    auto* library = dynamic_cast<host::ISch_Lib*>(App().SchDocumentOf(document));
    if (!library) throw std::runtime_error("no library document");
    while (host::ISch_Component* first = library->GetState_CurrentSchComponent()) library->RemoveSchComponent(first);
    return library;
}

host::ISch_Component* ExportFixture::AddComponent(host::ISch_Lib* library, const std::string& libReference) {
    auto* component = Make<host::ISch_Component>(host::eSchComponent);
    component->SetState_LibReference(libReference);
    component->SetState_PartCount(1);
    library->AddSchComponent(component);
    return component;
}

host::ISch_Pin* ExportFixture::AddPin(host::ISch_Component* owner, const std::string& name, const std::string& number,
                                      host::Coord location, int32_t orientation, int32_t length, int32_t part,
                                      int32_t mode) {
    auto* pin = Make<host::ISch_Pin>(host::ePin);
    pin->SetState_Name(name);
    pin->SetState_Designator(number);
    pin->SetState_Location(location);
    pin->SetState_Orientation(orientation);
    pin->SetState_PinLength(length);
    pin->SetState_OwnerPartId(part);
    pin->SetState_OwnerPartDisplayMode(mode);
    owner->AddSchObject(pin);
    return pin;
}

host::ISch_Rectangle* ExportFixture::AddRectangle(host::ISch_Component* owner, host::Coord a, host::Coord b,
                                                  int32_t part, int32_t mode) {
    auto* rectangle = Make<host::ISch_Rectangle>(host::eRectangle);
    rectangle->SetState_Location(a);
    rectangle->SetState_Corner(b);
    rectangle->SetState_OwnerPartId(part);
    rectangle->SetState_OwnerPartDisplayMode(mode);
    owner->AddSchObject(rectangle);
    return rectangle;
}

void ExportFixture::WriteSettings(const std::string& text) {
    std::ofstream(App().GetSettingsFolder() + "Penwork.Ini", std::ios::binary) << text;
}

std::unique_ptr<dbo::TDboDesign> ExportFixture::NewDesign(const std::string& name) {
    return std::make_unique<dbo::TDboDesign>((dir_ / name).string(), nullptr, 0, nullptr);
}

std::unique_ptr<dbo::TDboDesign> ExportFixture::LoadDesign(const std::filesystem::path& path) {
    auto design = std::make_unique<dbo::TDboDesign>(path.string(), nullptr, 0, nullptr);
    EXPECT_TRUE(design->Load(false)) << path;
    EXPECT_TRUE(design->IsValid()) << path;
    return design;
}

}  // namespace orcadx::test
