// The junction analysis on small sheets built here: each case of keeping and removing a junction,
// the junction mode, the warnings about junctions the host adds, and the message panel.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "PageImportSupport.h"
#include "TestSupport.h"
#include "host/ClientServices.h"
#include "host/Connectivity.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "import/ProcessJunctions.h"

using namespace orcadx;
using namespace orcadx::host;
using test::ChildrenOf;

namespace {

constexpr int32_t kMil = 10000;

class JunctionSheet : public ::testing::Test {
protected:
    void SetUp() override { Open(true); }

    void Open(bool workspace) {
        HostOptions o;
        o.Seed = 7;
        o.WithWorkspace = workspace;
        app = std::make_unique<HostApplication>(o);
        app->StartSchServer();
        std::string path =
            (test::ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name()) / "J.SchDoc").string();
        sheet = dynamic_cast<ISch_Sheet*>(app->SchDocumentOf(OpenOrCreateDocument(*app, path, "SCH", "Binary", true)));
        ASSERT_NE(sheet, nullptr);
        sheet->SetState_DisplayUnit(eUnitMil);
    }

    // A wire through the points, given in mils.
    void Wire(std::initializer_list<Coord> mils) {
        auto* w = dynamic_cast<ISch_Wire*>(app->SchServer()->CreateSchObject(eWire, 0));
        w->SetState_VertexCount(static_cast<int32_t>(mils.size()));
        int32_t i = 1;
        for (Coord p : mils) w->SetState_Vertex(i++, {p.X * kMil, p.Y * kMil});
        sheet->AddSchObject(w);
    }

    ISch_Junction* Junction(Coord mils) {
        auto* j = dynamic_cast<ISch_Junction*>(app->SchServer()->CreateSchObject(eJunction, 0));
        j->SetState_Location({mils.X * kMil, mils.Y * kMil});
        sheet->AddSchObject(j);
        return j;
    }

    int JunctionCount() {
        auto it = sheet->SchIterator_Create({eJunction}, eIterateFirstLevel);
        int n = 0;
        for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject()) ++n;
        return n;
    }

    std::vector<std::string> Run(int32_t junctionMode = 0) {
        ImporterOptions options;
        options.junctionMode = junctionMode;
        LogSection log;
        importer::ProcessJunctions(*app, sheet, &options, &log);
        return log.AllMessages();
    }

    std::unique_ptr<HostApplication> app;
    ISch_Sheet* sheet = nullptr;
};

const char kAdded[] = "Junction at (2000mil,5000mil) has been added.";
const char kRemoved[] = "Junction at (2000mil,5000mil) has been removed. It will be automatically calculated.";

}  // namespace

// A horizontal wire with one vertical ending on it from above and one from below: kept and locked.
TEST_F(JunctionSheet, CrossOfAThroughWireAndTwoEndsStays) {
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 5000}, {2000, 6000}});
    Wire({{2000, 4000}, {2000, 5000}});
    ISch_Junction* j = Junction({2000, 5000});
    EXPECT_EQ(Run(), std::vector<std::string>{kAdded});
    ASSERT_EQ(JunctionCount(), 1);
    EXPECT_TRUE(j->GetState_Locked());
    // The panel has the message, with a zoom to the place.
    ASSERT_EQ(app->Workspace()->GetMessageCount(), 1);
    WorkspaceMessage m = app->Workspace()->GetMessage(0);
    EXPECT_EQ(m.MessageClass, "Orcad Importer : Junction Added");
    EXPECT_EQ(m.Text, kAdded);
    EXPECT_EQ(m.Source, "Orcad Importer");
    EXPECT_EQ(m.Document, sheet->GetState_DocumentName());
    EXPECT_EQ(m.CallbackProcess, "SCH:Zoom");
    EXPECT_EQ(m.CallbackParameters, "FocusDoc=" + sheet->GetState_DocumentName() +
                                        "|Object=Window|Location.X=15000000|Location.Y=45000000"
                                        "|Corner.X=25000000|Corner.Y=55000000");
    EXPECT_EQ(m.ImageIndex, 15);
}

// The same with the axes exchanged, and with four wires ending in the point.
TEST_F(JunctionSheet, VerticalThroughOrFourEndsStays) {
    Wire({{2000, 4000}, {2000, 6000}});
    Wire({{1000, 5000}, {2000, 5000}});
    Wire({{2000, 5000}, {3000, 5000}});
    Junction({2000, 5000});
    // Four ends: two of each axis, with one wire bending in the point.
    Wire({{5000, 5000}, {6000, 5000}, {6000, 6000}});
    Wire({{6000, 5000}, {7000, 5000}});
    Wire({{6000, 4000}, {6000, 5000}});
    ISch_Junction* four = Junction({6000, 5000});
    std::vector<std::string> log = Run();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], kAdded);
    EXPECT_EQ(log[1], "Junction at (6000mil,5000mil) has been added.");
    ASSERT_EQ(JunctionCount(), 2);
    EXPECT_TRUE(four->GetState_Locked());
}

// Junctions the host calculates itself, or that join nothing, go.
TEST_F(JunctionSheet, TeeCrossingAndThreeEndsAreRemoved) {
    // Two wires crossing with no end in the point.
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 4000}, {2000, 6000}});
    Junction({2000, 5000});
    EXPECT_EQ(Run(), std::vector<std::string>{kRemoved});
    EXPECT_EQ(JunctionCount(), 0);
    EXPECT_EQ(app->Workspace()->GetMessage(0).MessageClass, "Orcad Importer : Junction Removed");
}

TEST_F(JunctionSheet, TeeIsRemovedUnlessTheModeKeepsAll) {
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 5000}, {2000, 6000}});
    // Three ends, two horizontal and one vertical.
    Wire({{5000, 5000}, {6000, 5000}});
    Wire({{6000, 5000}, {7000, 5000}});
    Wire({{6000, 5000}, {6000, 6000}});
    // Diagonal wires and a wire of no length through a point count for nothing.
    Wire({{8000, 4000}, {9000, 5000}, {9000, 5000}, {10000, 4000}});
    Wire({{9000, 5000}, {9000, 6000}});
    // Three ends, one horizontal ending from the left and two vertical.
    Wire({{11000, 5000}, {12000, 5000}});
    Wire({{12000, 4000}, {12000, 5000}});
    Wire({{12000, 5000}, {12000, 6000}});
    Junction({2000, 5000});
    Junction({6000, 5000});
    Junction({9000, 5000});
    Junction({12000, 5000});
    // Junctions stand at every T, so the host adds none of its own: no "Auto-Junction" warning.
    std::vector<std::string> log = Run();
    EXPECT_EQ(log, (std::vector<std::string>{
                       kRemoved, "Junction at (6000mil,5000mil) has been removed. It will be automatically calculated.",
                       "Junction at (9000mil,5000mil) has been removed. It will be automatically calculated.",
                       "Junction at (12000mil,5000mil) has been removed. It will be automatically calculated."}));
    EXPECT_EQ(JunctionCount(), 0);
}

TEST_F(JunctionSheet, ModeOneKeepsEveryJunction) {
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 5000}, {2000, 6000}});
    ISch_Junction* j = Junction({2000, 5000});
    EXPECT_EQ(Run(1), std::vector<std::string>{kAdded});
    ASSERT_EQ(JunctionCount(), 1);
    EXPECT_TRUE(j->GetState_Locked());
}

// Where the host's connections join more than two objects and the page had no junction, a warning.
TEST_F(JunctionSheet, AutoJunctionWhereThePageHadNone) {
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 5000}, {2000, 6000}});
    Wire({{5000, 5000}, {7000, 5000}});
    Wire({{6000, 5000}, {6000, 6000}});
    Junction({6000, 5000});
    // A bend and two wires joined end to end join two objects: no junction wanted.
    Wire({{1000, 8000}, {2000, 8000}, {2000, 9000}});
    Wire({{3000, 8000}, {4000, 8000}});
    Wire({{4000, 8000}, {5000, 8000}});
    // A bus T counts as well.
    auto* bus = dynamic_cast<ISch_Bus*>(app->SchServer()->CreateSchObject(eBus, 0));
    bus->SetState_VertexCount(2);
    bus->SetState_Vertex(1, {1000 * kMil, 1000 * kMil});
    bus->SetState_Vertex(2, {3000 * kMil, 1000 * kMil});
    sheet->AddSchObject(bus);
    auto* branch = dynamic_cast<ISch_Bus*>(app->SchServer()->CreateSchObject(eBus, 0));
    branch->SetState_VertexCount(2);
    branch->SetState_Vertex(1, {2000 * kMil, 1000 * kMil});
    branch->SetState_Vertex(2, {2000 * kMil, 2000 * kMil});
    sheet->AddSchObject(branch);
    std::vector<std::string> log = Run();
    EXPECT_EQ(log, (std::vector<std::string>{
                       "Auto-Junction at (2000mil,5000mil) has been added. Please check if this is desirable.",
                       "Auto-Junction at (2000mil,1000mil) has been added. Please check if this is desirable.",
                       "Junction at (6000mil,5000mil) has been removed. It will be automatically calculated."}));
    EXPECT_EQ(app->Workspace()->GetMessage(0).MessageClass, "Orcad Importer : Net Analyzer Warning");
}

// Without a workspace the junctions are still classified, but nothing is compared or shown.
TEST_F(JunctionSheet, WithoutWorkspaceNoAnalysis) {
    Open(false);
    Wire({{1000, 5000}, {3000, 5000}});
    Wire({{2000, 5000}, {2000, 6000}});
    Wire({{5000, 5000}, {7000, 5000}});
    Wire({{6000, 5000}, {6000, 6000}});
    Junction({6000, 5000});
    EXPECT_EQ(Run(), std::vector<std::string>{
                         "Junction at (6000mil,5000mil) has been removed. It will be automatically calculated."});
    // Without options or log nothing fails.
    Junction({6000, 5000});
    importer::ProcessJunctions(*app, sheet, nullptr, nullptr);
    EXPECT_EQ(JunctionCount(), 0);
}

// ---------------------------------------------------------------------------------------------
// Real pages

namespace {

struct JunctionOutcome {
    std::vector<std::string> messages;  // the junction warnings, in order
    int kept = 0, removed = 0, auto_ = 0;
};

// Imports a page and checks what the junction analysis decided against the host's connections:
// a kept junction joins at least four wire ends or passes (a cross), a removed one fewer.
JunctionOutcome ImportAndCheck(const std::string& file, const std::string& view, const std::string& pageName) {
    test::PageBench bench("junction_pages", test::CorpusDir() / file);
    dbo::TDboPage* page = bench.FindPage(view, pageName);
    EXPECT_NE(page, nullptr) << pageName;
    JunctionOutcome out;
    if (!page) return out;
    LogSection log;
    ISch_Document* sheet = bench.Import(view, *page, log);
    std::map<std::pair<int32_t, int32_t>, int32_t> objects;
    for (const auto& c : impl::ConnectionPoints(*impl::CoreOf(sheet), false)) objects[{c.Location.X, c.Location.Y}] = c.ObjectCount;
    auto at = [&](int32_t x, int32_t y) { return objects[std::make_pair(x, y)]; };
    for (auto* j : ChildrenOf<ISch_Junction>(sheet, eJunction)) {
        EXPECT_TRUE(j->GetState_Locked());
        Coord p = j->GetState_Location();
        EXPECT_GE(at(p.X, p.Y), 4) << "kept at " << p.X << "," << p.Y;
    }
    for (const std::string& m : log.AllMessages(kLogWarning)) {
        if (m.find("Junction") == std::string::npos) continue;
        out.messages.push_back(m);
        int x = 0, y = 0;
        sscanf(m.c_str() + m.find('(') + 1, "%dmil,%dmil", &x, &y);
        if (m.find("removed") != std::string::npos) {
            ++out.removed;
            EXPECT_LE(at(x * 10000, y * 10000), 3) << m;
        } else if (m.rfind("Auto-Junction", 0) == 0) {
            ++out.auto_;
            EXPECT_GE(at(x * 10000, y * 10000), 3) << m;
        } else {
            ++out.kept;
        }
    }
    EXPECT_EQ(out.kept, static_cast<int>(ChildrenOf<ISch_Junction>(sheet, eJunction).size()));
    return out;
}

}  // namespace

TEST(JunctionsCorpus, RealPagesGiveStableDecisions) {
    ORCADX_REQUIRE_CORPUS();
    struct Case {
        const char *file, *view, *page;
        int kept, removed, autoJunctions;
    };
    for (const Case& c : {Case{"BEAGLEBONEBLK_C3.DSN", "BeagleBoneBlack", "P07_DDR3 Memory", 3, 66, 0},
                          Case{"parallella-hw/gen0/parallella_gen0.dsn", "Parallella", "10-ZYNQ PWR & GND", 1, 173, 0},
                          Case{"onyxpsu/ONYXPSU.DSN", "Schematic", "01 - Supervisor and EEPROM", 0, 14, 0}}) {
        SCOPED_TRACE(c.page);
        JunctionOutcome first = ImportAndCheck(c.file, c.view, c.page);
        JunctionOutcome again = ImportAndCheck(c.file, c.view, c.page);
        EXPECT_EQ(first.messages, again.messages);
        EXPECT_EQ(first.kept, c.kept);
        EXPECT_EQ(first.removed, c.removed);
        EXPECT_EQ(first.auto_, c.autoJunctions);
    }
}
