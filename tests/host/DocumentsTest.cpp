// Sheets and libraries as JSON files: a saved document loads back to the same objects and saves to
// the same bytes, also in another session with other font ids; broken files are refused.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include <nlohmann/json.hpp>

#include "HostTestUtil.h"
#include "TestSupport.h"
#include "host/ClientServices.h"

using namespace orcadx::host;
using orcadx::test::Mil;
using orcadx::test::ReadFile;

namespace {

void CollectKinds(const nlohmann::json& object, std::multiset<int>& kinds) {
    kinds.insert(object["kind"].get<int>());
    if (object.contains("children"))
        for (const auto& c : object["children"]) CollectKinds(c, kinds);
}

// Opens `from` in `app`, saves it under `to` and closes it.
void Resave(HostApplication& app, const std::filesystem::path& from, const std::filesystem::path& to) {
    IServerDocument* doc = app.OpenDocumentFile(from.string());
    ASSERT_NE(doc, nullptr) << from;
    doc->SetFileName(to.string());
    ASSERT_TRUE(doc->DoFileSave("Binary"));
    app.Client()->CloseDocument(doc);
}

}  // namespace

TEST(HostDocuments, SavedSheetLoadsBackToTheSameObjectsAndBytes) {
    auto dir = orcadx::test::ScratchDir("host_documents_roundtrip");
    std::string first;
    {
        HostApplication app(orcadx::test::Options(1));
        orcadx::test::BuildSampleSheet(app, dir / "Sample.SchDoc");
        first = ReadFile(dir / "Sample.SchDoc");
    }
    // One object of every kind stands in the file.
    auto file = nlohmann::json::parse(first);
    EXPECT_EQ(file["format"], "VantorSchDoc");
    std::multiset<int> kinds;
    CollectKinds(file["document"], kinds);
    for (int kind : {4, 5, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 18, 19, 20, 21, 22, 24, 26, 27, 34, 35, 37, 38, 39, 40,
                     41, 46, 48, 53})
        EXPECT_TRUE(kinds.count(kind)) << "kind " << kind;

    // Another session, whose font ids differ: the fonts of the file are registered in another order.
    HostApplication other(orcadx::test::Options(2));
    other.StartSchServer();
    other.SchServer()->GetFontManager()->GetFontID(20, 0, false, false, true, false, "Arial");
    other.SchServer()->GetFontManager()->GetFontID(7, 0, false, false, false, false, "Courier New");
    Resave(other, dir / "Sample.SchDoc", dir / "Second.SchDoc");
    EXPECT_EQ(ReadFile(dir / "Second.SchDoc"), first);
    Resave(other, dir / "Second.SchDoc", dir / "Third.SchDoc");
    EXPECT_EQ(ReadFile(dir / "Third.SchDoc"), first);

    // What was loaded is what was built.
    IServerDocument* doc = other.OpenDocumentFile((dir / "Second.SchDoc").string());
    auto* sheet = dynamic_cast<ISch_Sheet*>(other.SchDocumentOf(doc));
    ASSERT_NE(sheet, nullptr);
    EXPECT_EQ(sheet->GetState_SheetStyle(), 13);
    EXPECT_EQ(sheet->GetState_SheetSizeX(), Mil(9700));
    auto it = sheet->SchIterator_Create({eTextFrame, eImage, eSchComponent, eSheetSymbol}, 0);
    int seen = 0;
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject(), ++seen) {
        if (auto* frame = dynamic_cast<ISch_TextFrame*>(o)) {
            EXPECT_EQ(frame->GetState_Text(), "First line\r\nSecond line");
            FontDescription font;
            ASSERT_TRUE(other.SchServer()->GetFontManager()->GetFontDescription(frame->GetState_FontId(), font));
            EXPECT_EQ(font.Size, 12);
            EXPECT_TRUE(font.Italic);
        } else if (auto* image = dynamic_cast<ISch_Image*>(o)) {
            EXPECT_TRUE(image->GetState_EmbedImage());
            EXPECT_EQ(image->GetState_EmbeddedSize(), 75);  // the file was gone after embedding
        } else if (auto* component = dynamic_cast<ISch_Component*>(o)) {
            EXPECT_EQ(component->GetState_SchDesignator()->GetState_Text(), "R1");
            EXPECT_EQ(component->GetState_Location(), (Coord{Mil(2000), Mil(2500)}));
            auto impl = component->SchIterator_Create({eImplementation}, 0);
            auto* footprint = dynamic_cast<ISch_Implementation*>(impl->FirstSchObject());
            ASSERT_NE(footprint, nullptr);
            EXPECT_EQ(footprint->GetState_ModelName(), "AXIAL-0.4");
        } else if (auto* symbol = dynamic_cast<ISch_SheetSymbol*>(o)) {
            EXPECT_EQ(symbol->GetState_SheetFileName()->GetState_Text(), "Power.SchDoc");
            auto entries = symbol->SchIterator_Create({eSheetEntry}, 0);
            auto* entry = dynamic_cast<ISch_SheetEntry*>(entries->FirstSchObject());
            ASSERT_NE(entry, nullptr);
            EXPECT_EQ(entry->GetState_Location(), (Coord{Mil(6000), Mil(3300)}));
        }
    }
    EXPECT_EQ(seen, 4);
}

TEST(HostDocuments, LibraryRoundTripKeepsComponentsAndParts) {
    auto dir = orcadx::test::ScratchDir("host_documents_library");
    std::string first;
    {
        HostApplication app(orcadx::test::Options(3));
        orcadx::test::BuildSampleLibrary(app, dir / "Lib.SchLib");
        first = ReadFile(dir / "Lib.SchLib");
    }
    EXPECT_EQ(nlohmann::json::parse(first)["format"], "VantorSchLib");
    HostApplication app(orcadx::test::Options(4));
    Resave(app, dir / "Lib.SchLib", dir / "Again.SchLib");
    EXPECT_EQ(ReadFile(dir / "Again.SchLib"), first);
    auto* lib = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(app.OpenDocumentFile((dir / "Again.SchLib").string())));
    ASSERT_NE(lib, nullptr);
    EXPECT_EQ(lib->GetState_ComponentCount(), 2);  // the initial Component_1 was removed
    EXPECT_EQ(lib->GetState_SchComponentByLibRef("Component_1"), nullptr);
    ISch_Component* res = lib->GetState_SchComponentByLibRef("res");
    ASSERT_NE(res, nullptr);
    EXPECT_EQ(res->GetState_PartCount(), 2);
    // A sheet can't be opened as a library, nor a library as a sheet.
    EXPECT_EQ(app.Client()->OpenDocument("SCH", (dir / "Lib.SchLib").string()), nullptr);
}

TEST(HostDocuments, BrokenFilesAreRefusedAndEmptyFilesAreNewDocuments) {
    auto dir = orcadx::test::ScratchDir("host_documents_broken");
    HostApplication app(orcadx::test::Options(5));
    auto write = [&](const std::string& name, const std::string& text) {
        std::ofstream(dir / name, std::ios::binary) << text;
        return (dir / name).string();
    };
    const std::vector<std::pair<std::string, std::string>> broken = {
        {"NotJson.SchDoc", "this is not json"},
        {"WrongFormat.SchDoc", R"({"format":"Other","version":1,"document":{"kind":31}})"},
        {"NewerVersion.SchDoc", R"({"format":"VantorSchDoc","version":2,"document":{"kind":31}})"},
        {"UnknownKind.SchDoc", R"({"format":"VantorSchDoc","version":1,"document":{"kind":31,"children":[{"kind":99}]}})"},
        {"Nested.SchDoc", R"({"format":"VantorSchDoc","version":1,"document":{"kind":31,"children":[{"kind":31}]}})"},
        {"KindMismatch.SchDoc", R"({"format":"VantorSchDoc","version":1,"document":{"kind":33}})"},
        {"BadProps.SchDoc", R"({"format":"VantorSchDoc","version":1,"document":{"kind":31,"props":[1]}})"},
    };
    for (const auto& [name, text] : broken)
        EXPECT_EQ(app.Client()->OpenDocument("SCH", write(name, text)), nullptr) << name;
    EXPECT_EQ(app.ErrorBoxLog().size(), broken.size());
    EXPECT_EQ(app.Client()->OpenDocument("SCH", (dir / "Missing.SchDoc").string()), nullptr);

    // A file of no bytes opens as a new document of the kind; a new library holds "Component_1".
    IServerDocument* lib = app.Client()->OpenDocument("SCHLIB", write("Empty.SchLib", ""));
    ASSERT_NE(lib, nullptr);
    auto* schLib = dynamic_cast<ISch_Lib*>(app.SchDocumentOf(lib));
    ASSERT_NE(schLib, nullptr);
    EXPECT_NE(schLib->GetState_SchComponentByLibRef("Component_1"), nullptr);
    // Properties that a file doesn't name take their defaults; unknown properties are kept.
    IServerDocument* sparse = app.Client()->OpenDocument(
        "SCH", write("Sparse.SchDoc", R"({"format":"VantorSchDoc","version":1,"document":{"kind":31,"props":{"Custom":"x"},
            "children":[{"kind":4,"props":{"Location":[10,20]}}]}})"));
    ASSERT_NE(sparse, nullptr);
    auto* sheet = app.SchDocumentOf(sparse);
    auto it = sheet->SchIterator_Create({eRectangle}, 0);
    auto* rect = dynamic_cast<ISch_Rectangle*>(it->FirstSchObject());
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->GetState_Location(), (Coord{10, 20}));
    EXPECT_EQ(rect->GetState_LineWidth(), 1);
    ASSERT_TRUE(sparse->DoFileSave("Binary"));
    auto saved = nlohmann::json::parse(ReadFile(dir / "Sparse.SchDoc"));
    EXPECT_EQ(saved["document"]["props"]["Custom"], "x");
    EXPECT_EQ(saved["document"]["children"][0]["props"]["IsSolid"], true);
    EXPECT_FALSE(sparse->DoFileSave("PDF"));
}
