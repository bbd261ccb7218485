// Client, projects, options store, processes and the document helpers the translator uses.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include <nlohmann/json.hpp>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/HostSupport.h"

using namespace orcadx::host;
using orcadx::test::Make;
using orcadx::test::Mil;
using orcadx::test::ReadFile;

namespace {

bool Contains(const std::vector<std::string>& log, const std::string& prefix) {
    for (const auto& line : log)
        if (line.rfind(prefix, 0) == 0) return true;
    return false;
}

class CoordRectNotification final : public INotification {
public:
    explicit CoordRectNotification(CoordRect r) : rect_(r) {}
    int32_t GetCode() const override { return 24; }
    bool GetCoordRect(CoordRect& r) const override {
        r = rect_;
        return true;
    }

private:
    CoordRect rect_;
};

}  // namespace

TEST(HostWorkspace, DocumentsAreCreatedSavedHiddenAndClosedThroughTheHelpers) {
    auto dir = orcadx::test::ScratchDir("host_workspace_documents");
    HostApplication app(orcadx::test::Options(11, true));
    EXPECT_EQ(app.SchServer(), nullptr);  // not running until started
    ASSERT_TRUE(app.Client()->StartServer("SCH"));
    ASSERT_NE(app.SchServer(), nullptr);
    // Paths with "\" work as well.
    std::string path = (dir / "Page1.SchDoc").string();
    std::string windowsPath = path;
    std::replace(windowsPath.begin(), windowsPath.end(), '/', '\\');

    IServerDocument* doc = OpenOrCreateDocument(app, windowsPath, "SCH", "Binary", true);
    ASSERT_NE(doc, nullptr);
    EXPECT_EQ(doc->GetFileName(), path);
    EXPECT_TRUE(doc->GetIsShown());
    EXPECT_FALSE(doc->GetModified());
    EXPECT_TRUE(Contains(app.ProcessLog(), "WorkspaceManager:SaveObject SaveMode=Standard|ObjectKind=Document|FileFormat=Binary"));
    EXPECT_EQ(nlohmann::json::parse(ReadFile(path))["format"], "VantorSchDoc");
    ISch_Document* sheet = app.SchServer()->GetSchDocumentByPath(windowsPath);
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet, app.SchDocumentOf(doc));
    EXPECT_EQ(sheet->GetState_DocumentName(), path);
    EXPECT_EQ(app.SchServer()->GetCurrentSchDocument(), sheet);

    // A change, saved and hidden; the file holds it.
    auto* label = Make<ISch_Label>(app, eLabel);
    label->SetState_Text("saved");
    sheet->AddSchObject(label);
    SaveAndHideDocument(app, sheet);
    EXPECT_FALSE(doc->GetIsShown());
    EXPECT_NE(ReadFile(path).find("\"saved\""), std::string::npos);

    // Not forced and present: the open document comes back.
    EXPECT_EQ(OpenOrCreateDocument(app, path, "SCH", "Binary", false), doc);
    // Forced: the open one is closed and a new empty file replaces the old.
    IServerDocument* fresh = OpenOrCreateDocument(app, path, "SCH", "Binary", true);
    EXPECT_EQ(ReadFile(path).find("\"saved\""), std::string::npos);
    CloseServerDocument(app, app.SchDocumentOf(fresh));
    EXPECT_EQ(app.Client()->GetDocumentByPath(path), nullptr);
    EXPECT_EQ(app.SchServer()->GetSchDocumentByPath(path), nullptr);
    // Not forced and not open: read from the file.
    IServerDocument* reopened = OpenOrCreateDocument(app, path, "SCH", "Binary", false);
    ASSERT_NE(reopened, nullptr);
    // A kind the client doesn't know raises.
    EXPECT_THROW(OpenOrCreateDocument(app, (dir / "x.PcbDoc").string(), "PCB", "Binary", true), EApiErr);

    // Library components go directly, or through the process when the library is focused.
    IServerDocument* libDoc = OpenOrCreateDocument(app, (dir / "L.SchLib").string(), "SCHLIB", "Binary", true);
    auto* lib = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(libDoc));
    ASSERT_NE(lib->GetState_SchComponentByLibRef("Component_1"), nullptr);
    RemoveLibraryComponent(app, lib, "component_1");
    EXPECT_EQ(lib->GetState_ComponentCount(), 0);
    ISch_Component* part = orcadx::test::MakeComponent(app, "U1");
    lib->AddSchComponent(part);
    libDoc->Focus();
    EXPECT_TRUE(app.Client()->RunProcess("SCH:DeleteComponentFromLibrary", "Name=U1|NoDialog=False"));
    EXPECT_EQ(lib->GetState_ComponentCount(), 0);
    EXPECT_TRUE(libDoc->GetModified());

    // Zoom: the whole sheet, or a window around a point; a notification with a rectangle.
    reopened->Focus();
    ASSERT_TRUE(app.Client()->RunProcess("Sch:Zoom", "Action=Document"));
    EXPECT_EQ(reopened->GetViewArea(), (CoordRect{0, 0, Mil(11500), Mil(7600)}));
    ASSERT_TRUE(app.Client()->RunProcess(
        "SCH:Zoom", "FocusDoc=" + path + "|Object=Window|Location.X=-5000000|Location.Y=0|Corner.X=5000000|Corner.Y=10"));
    EXPECT_EQ(reopened->GetViewArea(), (CoordRect{-5000000, 0, 5000000, 10}));
    reopened->Notify(CoordRectNotification({1, 2, 3, 4}));
    EXPECT_EQ(reopened->GetViewArea(), (CoordRect{1, 2, 3, 4}));
    EXPECT_FALSE(app.Client()->RunProcess("NoSuch:Process", ""));
    EXPECT_THROW(RunProcess(app, "NoSuch:Process", ""), EApiErr);
    EXPECT_EQ(app.Client()->GetDefaultExtension("SCH"), ".SchDoc");
    EXPECT_EQ(app.Client()->GetDocumentKindFromPath("a/b.schlib"), "SCHLIB");
}

// Texts of the labels of a sheet.
std::vector<std::string> LabelTexts(ISch_Document* sheet) {
    std::vector<std::string> out;
    auto labels = sheet->SchIterator_Create({eLabel}, eIterateFirstLevel);
    for (auto* o = labels->FirstSchObject(); o; o = labels->NextSchObject())
        out.push_back(dynamic_cast<ISch_Label*>(o)->GetState_Text());
    return out;
}

// With KeepClosedDocuments a sheet closed after its save opens again from memory (a label added
// after the save shows that the file wasn't read); a file changed since, a sheet closed unsaved,
// or a host without the option read the file.
TEST(HostWorkspace, ClosedDocumentsKeptInMemoryWhileTheirFileStandsAsSaved) {
    auto dir = orcadx::test::ScratchDir("host_workspace_kept");
    std::string path = (dir / "Kept.SchDoc").string();
    for (bool keep : {true, false}) {
        SCOPED_TRACE(keep ? "kept" : "not kept");
        HostOptions options = orcadx::test::Options(12);
        options.KeepClosedDocuments = keep;
        HostApplication app(options);
        ASSERT_TRUE(app.Client()->StartServer("SCH"));
        auto closeWithLabel = [&](IServerDocument* doc, const std::string& text, bool modified) {
            ISch_Document* sheet = app.SchDocumentOf(doc);
            auto* label = Make<ISch_Label>(app, eLabel);
            label->SetState_Text(text);
            sheet->AddSchObject(label);
            doc->SetModified(modified);
            CloseServerDocument(app, sheet);
            EXPECT_EQ(app.SchServer()->GetSchDocumentByPath(path), nullptr);
        };
        IServerDocument* doc = OpenOrCreateDocument(app, path, "SCH", "Binary", true);
        ISch_Document* sheet = app.SchDocumentOf(doc);
        auto* saved = Make<ISch_Label>(app, eLabel);
        saved->SetState_Text("saved");
        sheet->AddSchObject(saved);
        SaveAndHideDocument(app, sheet);
        closeWithLabel(doc, "after the save", false);

        IServerDocument* again = app.OpenDocumentFile(path);
        ASSERT_NE(again, nullptr);
        ISch_Document* reopened = app.SchDocumentOf(again);
        EXPECT_EQ(app.SchServer()->GetSchDocumentByPath(path), reopened);
        EXPECT_EQ(LabelTexts(reopened), keep ? (std::vector<std::string>{"saved", "after the save"})
                                             : std::vector<std::string>{"saved"});
        // Opened as the other kind: nothing, and the file is read for the right kind after.
        closeWithLabel(again, "kept again", false);
        EXPECT_EQ(app.Client()->OpenDocument("SCHLIB", path), nullptr);
        ASSERT_NE(again = app.OpenDocumentFile(path), nullptr);
        EXPECT_EQ(LabelTexts(app.SchDocumentOf(again)), std::vector<std::string>{"saved"});

        // The file changed after the close: read again.
        closeWithLabel(again, "stale", false);
        { std::ofstream(path, std::ios::app) << "\n"; }
        ASSERT_NE(again = app.OpenDocumentFile(path), nullptr);
        EXPECT_EQ(LabelTexts(app.SchDocumentOf(again)), std::vector<std::string>{"saved"});

        // Closed with changes not saved: not kept.
        closeWithLabel(again, "unsaved", true);
        ASSERT_NE(again = app.OpenDocumentFile(path), nullptr);
        EXPECT_EQ(LabelTexts(app.SchDocumentOf(again)), std::vector<std::string>{"saved"});
    }
}

TEST(HostWorkspace, ProjectsKeepTheirDocumentsAndOptions) {
    auto dir = orcadx::test::ScratchDir("host_workspace_project");
    std::string projectPath = (dir / "Design.VsProj").string();
    {
        HostApplication app(orcadx::test::Options(12));
        IProject* project = app.CreateProject(projectPath);
        ASSERT_NE(project, nullptr);
        EXPECT_EQ(app.Workspace()->GetFocusedProject(), project);
        EXPECT_EQ(project->GetProjectDocument()->GetDocumentKind(), "PCBPROJECT");
        project->AddSourceDocument((dir / "Sheet1.SchDoc").string());
        project->AddSourceDocument((dir / "Sheet1.SchDoc").string());  // once only
        project->AddSourceDocument((dir / "Design_Library.SchLib").string());
        project->AddSearchPath("PSpice Models\\*.*", true);
        IOptionsStorage* options = project->GetOptionsStorage();
        options->BeginUpdate();
        options->WriteValue("SimulationProfiles", "ProfileId0", "ABC");
        options->WriteLongValue("SimulationProfiles", "ConfigParameters0", std::string(5000, 'x'));
        options->WriteValue("Other", "Key", "Value");
        // Nothing reaches the file before the update ends.
        EXPECT_EQ(ReadFile(projectPath).find("ProfileId0"), std::string::npos);
        options->EndUpdate();
        EXPECT_NE(ReadFile(projectPath).find("ProfileId0"), std::string::npos);
        options->EraseSection("Other");
        EXPECT_EQ(options->ReadValue("Other", "Key", "none"), "none");
    }
    HostApplication app(orcadx::test::Options(13));
    IProject* project = app.OpenProject(projectPath);
    ASSERT_NE(project, nullptr);
    ASSERT_EQ(project->GetDocumentCount(), 2);
    EXPECT_EQ(project->GetDocument(0)->GetFullPath(), (dir / "Sheet1.SchDoc").string());
    EXPECT_EQ(project->GetDocument(0)->GetDocumentKind(), "SCH");
    EXPECT_EQ(project->GetDocument(1)->GetFileName(), "Design_Library.SchLib");
    ASSERT_EQ(project->GetSearchPathCount(), 1);
    EXPECT_EQ(project->GetSearchPath(0), "PSpice Models\\*.*");
    EXPECT_EQ(project->GetOptionsStorage()->ReadValue("SimulationProfiles", "ProfileId0", ""), "ABC");
    EXPECT_EQ(project->GetOptionsStorage()->ReadValue("SimulationProfiles", "ConfigParameters0", "").size(), 5000u);
    EXPECT_EQ(project->GetOptionsStorage()->ReadValue("Other", "Key", "gone"), "gone");
    EXPECT_EQ(app.OptionKeys(project, "SimulationProfiles"),
              (std::vector<std::string>{"ConfigParameters0", "ProfileId0"}));
    EXPECT_TRUE(app.OptionKeys(project, "Other").empty());
    // The project file names its documents relative to its folder.
    auto file = nlohmann::json::parse(ReadFile(projectPath));
    EXPECT_EQ(file["documents"][0], "Sheet1.SchDoc");
    EXPECT_EQ(app.OpenProject((dir / "Missing.VsProj").string()), nullptr);
}

TEST(HostWorkspace, CompileTopLevelAndLibraryFromProject) {
    auto dir = orcadx::test::ScratchDir("host_workspace_compile");
    HostApplication app(orcadx::test::Options(14, false, (dir / "templates").string()));
    IProject* project = app.CreateProject((dir / "P.VsProj").string());
    ISch_Sheet* top = orcadx::test::BuildSampleSheet(app, dir / "Top.SchDoc");
    project->AddSourceDocument(top->GetState_DocumentName());
    // The child that the sheet symbol of Top names, with a second resistor and a capacitor, turned and
    // mirrored.
    IServerDocument* childDoc = OpenOrCreateDocument(app, (dir / "Power.SchDoc").string(), "SCH", "Binary", true);
    ISch_Document* child = app.SchDocumentOf(childDoc);
    ISch_Component* turned = orcadx::test::MakeComponent(app, "res");
    child->AddSchObject(turned);
    turned->MoveToXY(Mil(1000), Mil(1000));
    turned->SetState_Orientation(1);
    turned->SetState_IsMirrored(true);
    ISch_Component* cap = orcadx::test::MakeComponent(app, "CAP");
    child->AddSchObject(cap);
    cap->MoveToXY(Mil(3000), Mil(1000));
    cap->SetState_Orientation(2);
    cap->SetState_IsMirrored(true);
    SaveDocument(app, childDoc, true, "Binary");
    project->AddSourceDocument(child->GetState_DocumentName());
    EXPECT_EQ(project->GetTopLevelDocument(), project->GetDocument(0));

    // Compile: nets of each sheet with the unique ids of their wires.
    ASSERT_TRUE(app.Client()->RunProcess("WorkspaceManager:Compile", "ObjectKind=All"));
    IDocument* compiled = app.Workspace()->GetDocumentByPath(top->GetState_DocumentName());
    ASSERT_NE(compiled, nullptr);
    EXPECT_EQ(compiled->GetNetCount(), 3);
    std::set<std::string> wireIds;
    auto it = top->SchIterator_Create({eWire, eBus}, 0);
    for (auto* w = it->FirstSchObject(); w; w = it->NextSchObject()) wireIds.insert(w->GetState_UniqueId());
    size_t listed = 0;
    for (int32_t i = 0; i < compiled->GetNetCount(); ++i) {
        INet* net = compiled->GetNet(i);
        for (int32_t k = 0; k < net->GetWireCount(); ++k, ++listed) EXPECT_TRUE(wireIds.count(net->GetWireUniqueId(k)));
    }
    EXPECT_EQ(listed, wireIds.size());

    // The library of the project: one component per library reference, back in library position.
    ASSERT_TRUE(app.Client()->LaunchCommand(
        "CreateLibraryFromProject", "AddLibraryToProject=False|FileName=TempLibForExport.SchLib|RunQuiet=True", 34));
    std::string libPath = (dir / "TempLibForExport.SchLib").string();
    EXPECT_EQ(project->GetDocumentCount(), 2);
    ISch_Component* fromLibrary = app.SchServer()->LoadComponent(" RES ", libPath);
    ASSERT_NE(fromLibrary, nullptr);
    EXPECT_EQ(fromLibrary->GetState_Container(), nullptr);
    EXPECT_EQ(fromLibrary->GetState_Orientation(), 0);
    EXPECT_FALSE(fromLibrary->GetState_IsMirrored());
    EXPECT_EQ(fromLibrary->GetState_BoundingRectangle(), (CoordRect{Mil(-100), Mil(-100), Mil(400), 0}));
    EXPECT_NE(fromLibrary->GetState_UniqueId(), turned->GetState_UniqueId());
    ISch_Component* capFromLibrary = app.SchServer()->LoadComponent("CAP", libPath);
    ASSERT_NE(capFromLibrary, nullptr);
    EXPECT_EQ(capFromLibrary->GetState_BoundingRectangle(), (CoordRect{Mil(-100), Mil(-100), Mil(400), 0}));
    EXPECT_EQ(app.SchServer()->LoadComponent("NONE", libPath), nullptr);
    app.SchServer()->DestroySchObject(fromLibrary);
    app.SchServer()->DestroySchObject(capFromLibrary);

    // The standard symbols lie in the templates folder from first use on.
    std::string templates = app.Client()->GetTemplatesFolder();
    ISch_Component* ground = app.SchServer()->LoadComponent("GND_EARTH", templates + "OrCAD-CAPSYM.SchLib");
    ASSERT_NE(ground, nullptr);
    EXPECT_EQ(ground->GetState_ComponentKind(), eComponentKind_Graphical);
    auto pins = ground->SchIterator_Create({ePin}, 0);
    EXPECT_NE(pins->FirstSchObject(), nullptr);
    for (const char* name : {"GND_SIGNAL", "GND_POWER", "VCC_WAVE", "VCC_CIRCLE", "VCC_BAR", "VCC_ARROW",
                             "OFFPAGELEFT-R", "OFFPAGELEFT-L", "PORTNO-L", "PORTLEFT-L", "PORTRIGHT-L", "PORTBOTH-L",
                             "PORTNO-R", "PORTLEFT-R", "PORTRIGHT-R", "PORTBOTH-R"}) {
        ISch_Component* c = app.SchServer()->LoadComponent(name, templates + "OrCAD-CAPSYM.SchLib");
        EXPECT_NE(c, nullptr) << name;
        if (c) app.SchServer()->DestroySchObject(c);
    }
    app.SchServer()->DestroySchObject(ground);
}

TEST(HostWorkspace, MessagesAnalyticsModelsAndSupportObjects) {
    auto dir = orcadx::test::ScratchDir("host_workspace_misc");
    HostApplication app(orcadx::test::Options(15));
    IWorkspace* ws = app.Workspace();
    ASSERT_NE(ws, nullptr);
    std::string a = ws->GenerateUniqueId(), b = ws->GenerateUniqueId();
    EXPECT_NE(a, b);
    ws->AddMessage({"Orcad Importer : Junction Added", "Junction at (1,2) has been added.", "Orcad Importer",
                    "x.SchDoc", "SCH:Zoom", "FocusDoc=x.SchDoc", 15});
    ASSERT_EQ(ws->GetMessageCount(), 1);
    EXPECT_EQ(ws->GetMessage(0).ImageIndex, 15);
    EXPECT_EQ(HostApplication(orcadx::test::Options(16, false, {}, false)).Workspace(), nullptr);

    app.Analytics()->StartTimer("Importers", "OrCAD.SCH.ImportDuration");
    app.Analytics()->SetBooleanValue("Importers", "OrCAD.SCH.Success", true);
    EXPECT_EQ(app.AnalyticsLog().back(), "SetBooleanValue Importers OrCAD.SCH.Success true");

    // The model initialiser runs once the server "SIM" is started, and finds models in linked files.
    EXPECT_EQ(app.SimModelInitializer(), nullptr);
    ASSERT_TRUE(app.Client()->StartServer("SIM"));
    ISimModelInitializer* sim = app.SimModelInitializer();
    ASSERT_NE(sim, nullptr);
    std::ofstream(dir / "models.lib") << "* models\n.model D1N4148 D(Is=2.682n)\n .SUBCKT LM358 1 2 3\n.ENDS\n";
    app.StartSchServer();
    ISch_Component* c = Make<ISch_Component>(app, eSchComponent);
    ISch_Implementation* model = c->AddImplementation();
    model->AddDataFileLink("LM358", (dir / "models.lib").string(), "PSpice");
    std::string message;
    model->SetState_ModelName("lm358");
    EXPECT_TRUE(sim->InitializeModel(model, c, message));
    model->SetState_ModelName("D1N4148");
    EXPECT_TRUE(sim->InitializeModel(model, c, message));
    model->SetState_ModelName("LM35");
    EXPECT_FALSE(sim->InitializeModel(model, c, message));
    EXPECT_FALSE(message.empty());
    app.SchServer()->DestroySchObject(c);

    // Notifications go to the record.
    app.Client()->SendDocumentNotification(47, nullptr);
    EXPECT_EQ(app.NotificationLog().back(), "47 -");

    // The host's log tree and status.
    LogSection root;
    ILogSection* child = nullptr;
    ASSERT_EQ(root.AddSubSection("Importing Library - A.OLB", &child), kOk);
    child->AddMessage(kLogWarning, "careful");
    root.AddMessage(kLogError, "broken");
    EXPECT_EQ(root.AddMessage(7, "bad severity"), kFail);
    EXPECT_EQ(root.AllMessages(), (std::vector<std::string>{"broken", "careful"}));
    EXPECT_EQ(root.AllMessages(kLogWarning), (std::vector<std::string>{"careful"}));
    std::ostringstream text;
    root.Write(text);
    EXPECT_EQ(text.str(), "error: broken\nImporting Library - A.OLB\n  warning: careful\n");
    StatusRecorder status;
    status.BeginStatus();
    status.SetProgressRange(100);
    status.AdvanceProgress(33);
    status.AdvanceProgress(34);
    EXPECT_EQ(status.position, 67);
    status.CompleteProgress();
    EXPECT_EQ(status.EndStatus(), kOk);
    EXPECT_EQ(status.EndStatus(), kFail);
}

// A library file that is not open is read once for many components, and read again when the file
// changes; the server's own copy doesn't count among the objects that callers hold.
TEST(HostWorkspace, ComponentsOfAClosedLibraryFollowItsFile) {
    auto dir = orcadx::test::ScratchDir("host_closed_library");
    HostApplication app(orcadx::test::Options(16));
    app.StartSchServer();
    const std::string path = (dir / "Parts.SchLib").string();
    ISch_Lib* library = orcadx::test::BuildSampleLibrary(app, path);
    ASSERT_NE(library, nullptr);
    CloseServerDocument(app, library);
    ASSERT_EQ(app.SchServer()->GetSchDocumentByPath(path), nullptr);

    const size_t live = app.LiveObjectCount();
    ISch_Component* first = app.SchServer()->LoadComponent("res", path);
    ISch_Component* second = app.SchServer()->LoadComponent(" cap/x ", path);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->GetState_LibReference(), "RES");
    EXPECT_EQ(first->GetState_SourceLibraryName(), "Parts.SchLib");
    EXPECT_EQ(app.SchServer()->LoadComponent("NONE", path), nullptr);
    app.SchServer()->DestroySchObject(first);
    app.SchServer()->DestroySchObject(second);
    EXPECT_EQ(app.LiveObjectCount(), live);

    // The file changes: the next component comes from the new file.
    IServerDocument* server = app.OpenDocumentFile(path);
    library = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(server));
    ASSERT_NE(library, nullptr);
    library->GetState_SchComponentByLibRef("CAP/X")->SetState_ComponentDescription("a much longer description");
    SaveDocument(app, server, true, "Binary");
    CloseServerDocument(app, library);
    ISch_Component* changed = app.SchServer()->LoadComponent("CAP/X", path);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(changed->GetState_ComponentDescription(), "a much longer description");
    app.SchServer()->DestroySchObject(changed);
    std::filesystem::remove(path);
    EXPECT_EQ(app.SchServer()->LoadComponent("CAP/X", path), nullptr);
}

// A library closed right after its save is kept by the server and stands for its file: placing its
// components and opening it again give what reading the file gives (objects, current component,
// ids drawn, live objects) without a read. A library changed after its save, or whose file changed,
// is read.
TEST(HostWorkspace, LibraryClosedAsSavedStandsForItsFile) {
    struct Outcome {
        std::string placedId, placedDescription, current, saved, nextId;
        size_t live = 0;
    };
    enum Case { Kept, FileTouched, ChangedAfterSave };
    auto run = [](Case what) {
        auto dir = orcadx::test::ScratchDir("host_kept_library_" + std::to_string(what));
        HostApplication app(orcadx::test::Options(21));
        const std::string path = (dir / "Parts.SchLib").string();
        ISch_Lib* library = orcadx::test::BuildSampleLibrary(app, path);
        library->BeginBulkChange();
        library->SetState_CurrentSchComponent(library->GetState_SchComponentByLibRef("CAP/X"));
        if (what == ChangedAfterSave)
            library->GetState_SchComponentByLibRef("RES")->SetState_ComponentDescription("never saved");
        CloseServerDocument(app, library);
        // The same bytes under a new time: the file must be read again.
        auto touch = [&] {
            if (what != FileTouched) return;
            const auto time = std::filesystem::last_write_time(path);
            std::filesystem::last_write_time(path, time + std::chrono::seconds(5));
        };
        touch();
        Outcome out;
        ISch_Component* placed = app.SchServer()->LoadComponent("RES", path);
        EXPECT_NE(placed, nullptr);
        if (!placed) return out;
        out.placedId = placed->GetState_UniqueId();
        out.placedDescription = placed->GetState_ComponentDescription();
        app.SchServer()->DestroySchObject(placed);
        touch();
        IServerDocument* opened = app.OpenDocumentFile(path);
        auto* reopened = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(opened));
        EXPECT_NE(reopened, nullptr);
        if (!reopened) return out;
        out.current = reopened->GetState_CurrentSchComponent()->GetState_LibReference();
        reopened->BeginBulkChange();
        reopened->EndBulkChange();
        out.live = app.LiveObjectCount();
        opened->SetFileName((dir / "Copy.SchLib").string());
        EXPECT_TRUE(opened->DoFileSave("Binary"));
        out.saved = orcadx::test::ReadFile(dir / "Copy.SchLib");
        out.nextId = app.Workspace()->GenerateUniqueId();
        return out;
    };
    const Outcome kept = run(Kept), read = run(FileTouched), changed = run(ChangedAfterSave);
    for (const Outcome* o : {&kept, &changed}) {
        EXPECT_EQ(o->placedId, read.placedId);
        EXPECT_EQ(o->placedDescription, read.placedDescription);
        EXPECT_EQ(o->current, "RES");  // the first component, as in a library just read
        EXPECT_EQ(o->live, read.live);
        EXPECT_EQ(o->saved, read.saved);
        EXPECT_EQ(o->nextId, read.nextId);
    }
    EXPECT_EQ(read.current, "RES");
    EXPECT_EQ(changed.saved.find("never saved"), std::string::npos);
    EXPECT_FALSE(kept.saved.empty());

    // Another program rewrites the file: what is kept no longer counts.
    auto dir = orcadx::test::ScratchDir("host_kept_library_rewritten");
    const std::string path = (dir / "Parts.SchLib").string();
    HostApplication app(orcadx::test::Options(22));
    CloseServerDocument(app, orcadx::test::BuildSampleLibrary(app, path));
    {
        HostApplication other(orcadx::test::Options(23));
        other.StartSchServer();
        IServerDocument* opened = other.OpenDocumentFile(path);
        auto* library = dynamic_cast<ISch_Lib*>(other.SchDocumentOf(opened));
        ASSERT_NE(library, nullptr);
        library->GetState_SchComponentByLibRef("RES")->SetState_ComponentDescription("rewritten");
        SaveDocument(other, opened, true, "Binary");
    }
    ISch_Component* placed = app.SchServer()->LoadComponent("RES", path);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(placed->GetState_ComponentDescription(), "rewritten");
    app.SchServer()->DestroySchObject(placed);
}
