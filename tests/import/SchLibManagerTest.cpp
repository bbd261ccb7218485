// The library wrapper of the export side: components by name in a sorted list with duplicates,
// the current one, adding, deleting, and closing with or without a save.
#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "import/SchLibManager.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using importer::TSchLibraryManager;

std::vector<std::string> Names(const TSchLibraryManager& m) {
    std::vector<std::string> out;
    for (int i = 0; i < m.Count(); ++i) out.push_back(m.GetName(i));
    return out;
}

TEST(SchLibManager, ListsSelectsAddsDeletesAndSaves) {
    ImportBench bench("SchLibManager");
    for (const char* name : {"R", "cap", "Diode"}) {
        auto* c = dynamic_cast<ISch_Component*>(bench.Server().CreateSchObject(eSchComponent, 0));
        c->SetState_LibReference(name);
        bench.library->AddSchComponent(c);
    }
    const std::string path = bench.library->GetState_DocumentName();
    SaveDocument(bench.app, bench.app.Client()->GetDocumentByPath(path), true, "Binary");
    bench.app.Client()->CloseDocument(bench.app.Client()->GetDocumentByPath(path));

    auto manager = TSchLibraryManager::CreateFromFileName(bench.app, path);
    ASSERT_NE(manager->Library, nullptr);
    // The new library's initial component stands in the list like any other.
    EXPECT_EQ(Names(*manager), (std::vector<std::string>{"cap", "Component_1", "Diode", "R"}));
    EXPECT_EQ(manager->CurrentIndex, -1);
    EXPECT_EQ(manager->IndexOf("DIODE"), 2);
    EXPECT_EQ(manager->IndexOf("none"), -1);

    ISch_Component* diode = manager->GetComponents(2);
    ASSERT_NE(diode, nullptr);
    EXPECT_EQ(diode->GetState_LibReference(), "Diode");
    EXPECT_EQ(manager->Library->GetState_CurrentSchComponent(), diode);
    EXPECT_EQ(manager->GetComponents(4), nullptr);
    EXPECT_EQ(manager->GetComponents(-1), nullptr);
    EXPECT_EQ(manager->CurrentIndex, 2);  // out of range changes nothing

    // A second "r" is accepted and stands before the first; a name lookup finds it.
    ISch_Component* r2 = manager->AddComponent("r");
    EXPECT_EQ(Names(*manager), (std::vector<std::string>{"cap", "Component_1", "Diode", "r", "R"}));
    EXPECT_EQ(manager->CurrentIndex, 3);
    EXPECT_EQ(manager->GetComponents(manager->IndexOf("R")), r2);
    manager->GetComponents(2);
    ISch_Component* a = manager->AddComponent("A");  // before the current one: the list shifts
    EXPECT_EQ(manager->CurrentIndex, 0);
    EXPECT_EQ(manager->Library->GetState_CurrentSchComponent(), a);

    manager->GetComponents(3);  // Diode
    manager->DeleteComponent("cap");
    EXPECT_EQ(manager->CurrentIndex, 2);
    EXPECT_EQ(manager->GetName(manager->CurrentIndex), "Diode");
    manager->DeleteComponent("diode");  // the current one: the first becomes current
    EXPECT_EQ(manager->CurrentIndex, 0);
    EXPECT_EQ(manager->Library->GetState_CurrentSchComponent(), a);
    EXPECT_EQ(manager->Library->GetState_ComponentCount(), 4);
    manager->DeleteComponent("Component_1");
    manager->Close(true);
    EXPECT_EQ(bench.app.Client()->GetDocumentByPath(path), nullptr);

    auto again = TSchLibraryManager::CreateFromFileName(bench.app, path);
    EXPECT_EQ(Names(*again), (std::vector<std::string>{"A", "r", "R"}));
    again->AddComponent("Z");
    again->Close(false);  // not saved
    auto third = TSchLibraryManager::CreateFromFileName(bench.app, path);
    EXPECT_EQ(third->Count(), 3);
    third->Close(false);

    EXPECT_THROW(TSchLibraryManager::CreateFromFileName(bench.app, (bench.folder / "missing.SchLib").string()), EApiErr);
    auto fresh = TSchLibraryManager::CreateNew(bench.app, "Fresh.SchLib");
    EXPECT_EQ(Names(*fresh), (std::vector<std::string>{"Component_1"}));
    fresh->SetFocus();
    fresh->Close(false);
}

}  // namespace
}  // namespace orcadx::test
