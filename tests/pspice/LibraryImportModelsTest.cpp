// A Capture library imported through the translator's ImportOLB carries its PSpice side along: the
// models its parts name are copied into the project beside the host library, and each part's
// template becomes the component's simulation model.
#include <gtest/gtest.h>

#include <map>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "entry/HostAccess.h"
#include "entry/TranslatorApi.h"
#include "host/HostApplication.h"
#include "platform/CodePage.h"
#include "pspice/PSpiceTemplateImport.h"

using namespace orcadx;
namespace fs = std::filesystem;

namespace {

std::string Parameter(host::ISch_BasicContainer* container, const std::string& name) {
    host::ISch_Parameter* p = pspice::FindParameter(container, name);
    return p ? p->GetState_Text() : "<none>";
}

host::ISch_Implementation* SimModel(host::ISch_Component* component) {
    auto it = component->SchIterator_Create({host::eImplementation}, host::eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* i = dynamic_cast<host::ISch_Implementation*>(o); i && i->GetState_ModelType() == "SIM") return i;
    return nullptr;
}

}  // namespace

TEST(PSpiceLibraryImport, ALibraryImportCopiesTheModelsItsPartsNameAndMakesTheirSimulationModels) {
    ORCADX_REQUIRE_CORPUS();
    const fs::path libs = test::CorpusDir() / "Series-Regulator" / "Libs";
    const fs::path dir = test::ScratchDir("pspice-library-import");
    host::HostApplication app(host::HostOptionsIn(dir.string()));
    RegisterHost(&app);
    host::IProject* project = app.CreateProject((dir / "opto.VsProj").string());
    host::ImporterOptions options;
    options.libraryDirectories = {(dir / "nowhere").string(), libs.string()};
    host::LogSection log;
    host::StatusRecorder status;
    uint8_t templates = 0;
    std::u16string file = platform::Utf8ToUtf16((libs / "opto.olb").string());
    std::u16string folder = platform::Utf8ToUtf16(dir.string());
    ImportOLB(file.c_str(), &options, &status, &log, folder.c_str(), project, &templates);
    RegisterHost(nullptr);
    EXPECT_EQ(templates, 1);

    // The models are beside the project, each a document of it; CNY17-1 is a subcircuit of
    // opto.lib, MLED81 a model line.
    const fs::path models = dir / "PSpice Models";
    EXPECT_TRUE(fs::is_regular_file(models / "CNY17-1.ckt"));
    EXPECT_TRUE(fs::is_regular_file(models / "MLED81.mdl"));
    size_t written = 0;
    for (const auto& e : fs::directory_iterator(models)) {
        ++written;
        EXPECT_EQ(e.path().extension() == ".ckt" || e.path().extension() == ".mdl", true) << e.path();
    }
    EXPECT_GT(written, 80u);
    std::map<std::string, int> kinds;
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i)
        ++kinds[fs::path(project->GetDocument(i)->GetFullPath()).extension().string()];
    EXPECT_EQ(static_cast<size_t>(kinds[".ckt"] + kinds[".mdl"]), written);
    EXPECT_EQ(kinds[".SchLib"], 1);

    // The log says where the models came from and which folder isn't there; the subcircuits that
    // opto.lib calls without defining are named.
    auto messages = test::Messages(log);
    auto has = [&messages](const std::string& m) { return std::find(messages.begin(), messages.end(), m) != messages.end(); };
    EXPECT_TRUE(has("error: Library directory not found - " + (dir / "nowhere").string()));
    EXPECT_TRUE(has("info: Processing library directory - " + libs.string()));
    EXPECT_TRUE(has("info: PSpice model \"CNY17-1\" found in \"" + (libs / "opto.lib").string() + "\""));
    EXPECT_TRUE(has("error: Nested PSpice subckt not found \"BUFTL\".  Required by subckt \"HCPL-2200\""));
    EXPECT_NE(std::find(status.lines.begin(), status.lines.end(), "Importing PSpice Models"), status.lines.end());

    // In the library, each part's template is its simulation model with the PSpice text.
    host::IServerDocument* document = app.OpenDocumentFile((dir / "opto_Library.SchLib").string());
    ASSERT_NE(document, nullptr);
    auto* library = dynamic_cast<host::ISch_Lib*>(app.SchDocumentOf(document));
    ASSERT_NE(library, nullptr);
    host::ISch_Component* cny = library->GetState_SchComponentByLibRef("CNY17-1");
    ASSERT_NE(cny, nullptr);
    host::ISch_Implementation* sim = SimModel(cny);
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(sim->GetState_ModelName(), "CNY17-1");
    EXPECT_EQ(Parameter(sim, "Syntax"), "PSpice");
    EXPECT_EQ(Parameter(sim, "Spice Prefix"), "X");
    EXPECT_EQ(Parameter(sim, "Netlist"), "@DESIGNATOR %1 %2 %3 %4 %5 @MODEL PARAMS: ?REL_CTR|REL_CTR=@REL_CTR||REL_CTR=1|");
    const std::string map = sim->GetState_MapAsString();
    EXPECT_EQ(std::count(map.begin(), map.end(), '('), 5) << map;
}
