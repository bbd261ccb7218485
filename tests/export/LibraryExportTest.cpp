// Host libraries built in code become Capture libraries, written and loaded back: packages, views,
// parts and part pins, names made legal, extents and the shift of the drawing, several parts and
// the alternate display mode, symbols, aliases, and the results text.
#include <fstream>
#include <map>

#include "ExportTestSupport.h"
#include "dbo/DboLib.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "export/SCHExport.h"
#include "export/SCHLibraryExport.h"

using namespace orcadx;
using namespace orcadx::host;
using test::Unit;

namespace {

class LibraryExport : public test::ExportFixture {
protected:
    // Exports the library, writes it and loads it back.
    std::unique_ptr<dbo::TDboDesign> RoundTrip(ISch_Lib* library, uint32_t version = 0x00010001,
                                               const std::string& name = "Out.OLB") {
        results_.clear();
        exporter::ExportLibrary(App(), library, (dir_ / name).string(), version, results_);
        return LoadDesign(dir_ / name);
    }
    ISch_Parameter* AddParameter(ISch_BasicContainer* owner, const std::string& name, const std::string& text) {
        auto* parameter = Make<ISch_Parameter>(eParameter);
        parameter->SetState_Name(name);
        parameter->SetState_Text(text);
        parameter->SetState_IsHidden(true);
        owner->AddSchObject(parameter);
        return parameter;
    }
    std::string results_;
};

std::vector<std::string> PinNumbers(const dbo::TDboLibPart& part) {
    std::vector<std::string> out;
    for (int i = 0; i < part.PartPins.Count(); ++i) out.push_back(part.PartPins.GetPins(i)->PinNumber);
    return out;
}

std::vector<std::string> PinNames(const dbo::TDboLibBaseView& view) {
    std::vector<std::string> out;
    for (int i = 0; i < view.Pins->Count(); ++i) out.push_back(view.Pins->GetPins(i)->PinName);
    return out;
}

}  // namespace

TEST_F(LibraryExport, AnEmptyLibraryGivesAnEmptyFileAndACountOfZero) {
    ISch_Lib* library = NewLibrary();
    auto loaded = RoundTrip(library);
    EXPECT_EQ(results_, "ExportedComponentCount=0");
    EXPECT_TRUE(loaded->Lib->IsLibrary());
    EXPECT_EQ(loaded->Version, 0x00010001u);
    EXPECT_EQ(loaded->ComponentCount(), 0);
    EXPECT_EQ(loaded->SymbolCount(), 0);
    // The default font is always the first of the table.
    ASSERT_EQ(loaded->Lib->Fonts.Count(), 1);
    EXPECT_EQ(loaded->Lib->Fonts.GetFonts(0)->LogFont.FaceName(), "Times New Roman");
}

TEST_F(LibraryExport, OnePartComponentWithItsPinsReferenceAndFootprint) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* res = AddComponent(library, "RES");
    res->GetState_SchDesignator()->SetState_Text("R?");
    AddRectangle(res, {0, Unit(-40)}, {Unit(100), 0});
    AddPin(res, "1", "1", {0, Unit(-20)}, 2, Unit(30));
    ISch_Pin* two = AddPin(res, "2", "2", {Unit(100), Unit(-20)}, 0, Unit(30));
    two->SetState_ShowName(false);
    ISch_Pin* hidden = AddPin(res, "GND", "3", {Unit(50), 0}, 1, 0);
    hidden->SetState_IsHidden(true);
    hidden->SetState_Electrical(7);
    for (auto [model, current] : {std::pair{"FIRST", false}, {"CHOSEN", true}, {"LAST", false}}) {
        ISch_Implementation* footprint = res->AddImplementation();
        footprint->SetState_ModelType("PCBLIB");
        footprint->SetState_ModelName(model);
        footprint->SetState_IsCurrent(current);
    }
    res->AddImplementation()->SetState_ModelType("SIM");
    AddParameter(res, "Tolerance", "5%");

    auto loaded = RoundTrip(library);
    EXPECT_EQ(results_, "ExportedComponentCount=1 | LibReference_0=RES");
    ASSERT_EQ(loaded->ComponentCount(), 1);
    const dbo::TDboLibComponent& c = *loaded->GetComponent(0);
    EXPECT_EQ(c.PartInfo->CompName, "RES");
    EXPECT_EQ(c.PartInfo->CompRefName, "R");
    EXPECT_EQ(c.PartInfo->CompFootprint, "CHOSEN");
    // The component's other parameters stay behind.
    EXPECT_EQ(c.PartInfo->UserProps.Count(), 0);
    ASSERT_EQ(c.Packages.Count(), 1);
    const dbo::TDboLibPackage& package = *c.Packages.GetPackages(0);
    EXPECT_EQ(package.Name, "RES");
    ASSERT_EQ(package.Views.Count(), 1);
    const dbo::TDboLibView& view = *package.Views.GetViews(0);
    EXPECT_EQ(view.ViewName, "RES.Normal");
    EXPECT_EQ(package.ViewNames, std::vector<std::string>({"RES.Normal"}));
    EXPECT_EQ(view.Ref, "R");
    EXPECT_EQ(std::vector<int>({view.Left, view.Top, view.Right, view.Bottom}), std::vector<int>({0, 0, 100, 40}));
    // Some pin name shows (pin 1), every number shows: bit values 1 and 2 set, 4 clear.
    EXPECT_EQ(view.IType_PinBit, 3);
    EXPECT_EQ(PinNames(view), std::vector<std::string>({"1", "2", "GND"}));
    const dbo::TDboPin& left = *view.Pins->GetPins(0);
    EXPECT_EQ(std::vector<int>({left.OffsetX, left.OffsetY, left.EndX, left.EndY}), std::vector<int>({0, 20, -30, 20}));
    const dbo::TDboPin& power = *view.Pins->GetPins(2);
    EXPECT_EQ(power.PinType, 7);
    EXPECT_FALSE(power.GetIsVisible());
    EXPECT_EQ(power.OffsetY, power.EndY);  // zero length
    ASSERT_EQ(c.PartInfo->Parts.Count(), 1);
    const dbo::TDboLibPart& part = *c.PartInfo->Parts.GetParts(0);
    EXPECT_EQ(part.PartNumber, "");
    EXPECT_EQ(part.PkgName, "RES");
    EXPECT_EQ(PinNumbers(part), std::vector<std::string>({"1", "2", "3"}));
}

TEST_F(LibraryExport, TheDrawingMovesToItsExtentsAndPinsMayLieOutside) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* c = AddComponent(library, "OFFSET");
    // Body from (50, 10) to (150, 70) in Capture terms; a pin left of it and one above.
    AddRectangle(c, {Unit(50), Unit(-70)}, {Unit(150), Unit(-10)});
    AddPin(c, "IN", "1", {Unit(20), Unit(-40)}, 2, Unit(30));
    AddPin(c, "TOP", "2", {Unit(100), Unit(10)}, 1, Unit(20));
    auto* line = Make<ISch_Line>(eLine);
    line->SetState_Location({Unit(60), Unit(-20)});
    line->SetState_Corner({Unit(140), Unit(-60)});
    c->AddSchObject(line);
    auto loaded = RoundTrip(library);
    const dbo::TDboLibView& view = *loaded->GetComponent(0)->Packages.GetPackages(0)->Views.GetViews(0);
    EXPECT_EQ(std::vector<int>({view.Right, view.Bottom}), std::vector<int>({100, 60}));
    ASSERT_EQ(view.Graphics->Count(), 2);
    auto* box = dynamic_cast<dbo::TDboLibBox*>(view.Graphics->GetInstances(0));
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(std::vector<int>({box->UpperLeftX, box->UpperLeftY, box->LowerRightX, box->LowerRightY}),
              std::vector<int>({0, 60, 100, 0}));
    auto* l = dynamic_cast<dbo::TDboLibLine*>(view.Graphics->GetInstances(1));
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(std::vector<int>({l->StartX, l->StartY, l->EndX, l->EndY}), std::vector<int>({10, 10, 90, 50}));
    const dbo::TDboPin& in = *view.Pins->GetPins(0);
    EXPECT_EQ(std::vector<int>({in.OffsetX, in.OffsetY, in.EndX, in.EndY}), std::vector<int>({-30, 30, -60, 30}));
    const dbo::TDboPin& top = *view.Pins->GetPins(1);
    EXPECT_EQ(std::vector<int>({top.OffsetX, top.OffsetY, top.EndX, top.EndY}), std::vector<int>({50, -20, 50, -40}));
    // The host extents stay on the view for the sheet export, not in the file.
    dbo::TDboDesign design((dir_ / "x.OLB").string(), nullptr, 0, nullptr);
    exporter::TSCHLibraryComponentExporter measure(App(), &design, c);
    EXPECT_EQ(measure.ExtentLeft, Unit(50));
    EXPECT_EQ(measure.ExtentTop, Unit(-10));
    EXPECT_EQ(measure.ExtentRight, Unit(150));
    EXPECT_EQ(measure.ExtentBottom, Unit(-70));
}

TEST_F(LibraryExport, NamesBecomeLegalAliasesKeepTheirsAndLongNamesAreCut) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* odd = AddComponent(library, "A/B.C:D\\E");
    odd->AddAlias("x/y:z");
    AddRectangle(odd, {0, Unit(-10)}, {Unit(10), 0});
    std::string longName(40, 'L');
    longName.replace(0, 5, "LONG_");
    ISch_Component* lengthy = AddComponent(library, longName);
    AddRectangle(lengthy, {0, Unit(-10)}, {Unit(10), 0});
    // Two components whose legal names meet: both reach the file, the second stream made unique.
    AddComponent(library, "A_B_C_D_E");

    auto loaded = RoundTrip(library);
    EXPECT_EQ(results_, "ExportedComponentCount=3 | LibReference_0=A_B_C_D_E | LibReference_1=" + longName +
                            " | LibReference_2=A_B_C_D_E");
    ASSERT_EQ(loaded->ComponentCount(), 3);
    std::map<std::string, const dbo::TDboLibComponent*> byName;
    for (auto& c : loaded->Components) byName[c->PartInfo->CompName] = c.get();
    ASSERT_TRUE(byName.count("A_B_C_D_E"));
    const dbo::TDboLibComponent& c = *byName["A_B_C_D_E"];
    EXPECT_EQ(c.Packages.GetPackages(0)->Name, "A_B_C_D_E");
    EXPECT_EQ(c.Packages.GetPackages(0)->Views.GetViews(0)->ViewName, "A_B_C_D_E.Normal");
    EXPECT_EQ(c.PartInfo->Parts.GetParts(0)->PkgName, "A_B_C_D_E");
    // A stream name holds 31 characters: the component keeps that name in the file.
    EXPECT_TRUE(byName.count(longName.substr(0, 31)));
    EXPECT_TRUE(byName.count("A_B_C_D_E_1"));
    ASSERT_EQ(loaded->Lib->Aliases.Count(), 1);
    EXPECT_EQ(loaded->Lib->Aliases.GetAliases(0)->AliasName, "x/y:z");
    EXPECT_EQ(loaded->Lib->Aliases.GetAliases(0)->PartName, "A_B_C_D_E");
}

TEST_F(LibraryExport, SeveralPartsAndTheAlternateDisplayMode) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* gate = AddComponent(library, "NAND");
    gate->GetState_SchDesignator()->SetState_Text("U?");
    gate->SetState_PartCount(2);
    gate->SetState_DisplayModeCount(3);  // a third mode isn't exported
    for (int part = 1; part <= 2; ++part) {
        for (int mode = 0; mode < 3; ++mode) {
            AddRectangle(gate, {0, Unit(-(40 + 10 * mode))}, {Unit(30 + 10 * part), 0}, part, mode);
            std::string suffix = std::to_string(part) + std::to_string(mode);
            AddPin(gate, "A" + suffix, "a" + suffix, {0, Unit(-10)}, 2, Unit(20), part, mode);
            AddPin(gate, "Y" + suffix, "y" + suffix, {Unit(30), Unit(-20)}, 0, Unit(20), part, mode);
        }
    }
    // A pin common to all parts, of the normal mode.
    ISch_Pin* vcc = AddPin(gate, "VCC", "14", {Unit(10), 0}, 1, Unit(10), 0, 0);
    vcc->SetState_ShowDesignator(false);
    auto loaded = RoundTrip(library);
    ASSERT_EQ(loaded->ComponentCount(), 1);
    const dbo::TDboLibComponent& c = *loaded->GetComponent(0);
    EXPECT_EQ(c.PartInfo->CompRefName, "U");
    ASSERT_EQ(c.Packages.Count(), 2);
    for (int part = 1; part <= 2; ++part) {
        SCOPED_TRACE("part " + std::to_string(part));
        const dbo::TDboLibPackage& package = *c.Packages.GetPackages(part - 1);
        std::string letter(1, static_cast<char>('A' + part - 1));
        EXPECT_EQ(package.Name, "NAND" + letter);
        EXPECT_EQ(package.GetViewModeCount(), 2);
        ASSERT_EQ(package.Views.Count(), 2);
        const dbo::TDboLibView& normal = *package.Views.GetViews(0);
        const dbo::TDboLibView& convert = *package.Views.GetViews(1);
        EXPECT_EQ(normal.ViewName, "NAND" + letter + ".Normal");
        EXPECT_EQ(convert.ViewName, "NAND" + letter + ".Convert");
        std::string n = std::to_string(part);
        EXPECT_EQ(PinNames(normal), std::vector<std::string>({"A" + n + "0", "Y" + n + "0", "VCC"}));
        EXPECT_EQ(PinNames(convert), std::vector<std::string>({"A" + n + "1", "Y" + n + "1"}));
        // The extents cover every part and mode: the same size for all views.
        EXPECT_EQ(std::vector<int>({normal.Right, normal.Bottom}), std::vector<int>({50, 60}));
        EXPECT_EQ(std::vector<int>({convert.Right, convert.Bottom}), std::vector<int>({50, 60}));
        ASSERT_EQ(normal.Graphics->Count(), 1);
        auto* body = dynamic_cast<dbo::TDboLibBox*>(convert.Graphics->GetInstances(0));
        ASSERT_NE(body, nullptr);
        EXPECT_EQ(body->LowerRightX, 30 + 10 * part);
        EXPECT_EQ(body->UpperLeftY, 50);
        // VCC hides its number, the others show theirs; every name shows.
        EXPECT_EQ(normal.IType_PinBit, 3);
        const dbo::TDboLibPart& p = *c.PartInfo->Parts.GetParts(part - 1);
        EXPECT_EQ(p.PartNumber, letter);
        EXPECT_EQ(p.PkgName, "NAND" + letter);
        // The part pins follow the pins of the mode the last view left.
        EXPECT_EQ(PinNumbers(p), std::vector<std::string>({"a" + n + "1", "y" + n + "1"}));
    }
}

TEST_F(LibraryExport, PartCountZeroNoGraphicsPinsAloneAndAFullCircle) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* bare = AddComponent(library, "BARE");
    bare->SetState_PartCount(0);
    ISch_Component* round = AddComponent(library, "ROUND");
    auto* arc = Make<ISch_Arc>(eArc);
    arc->SetState_Location({Unit(20), Unit(-20)});
    arc->SetState_Radius(Unit(20));
    arc->SetState_StartAngle(0);
    arc->SetState_EndAngle(360);
    round->AddSchObject(arc);
    ISch_Component* pad = AddComponent(library, "PAD");
    AddPin(pad, "IN", "1", {Unit(20), Unit(-40)}, 2, Unit(30));
    auto loaded = RoundTrip(library);
    ASSERT_EQ(loaded->ComponentCount(), 3);
    const dbo::TDboLibComponent& b = *loaded->FindComponent("BARE");
    ASSERT_EQ(b.Packages.Count(), 1);
    ASSERT_EQ(b.PartInfo->Parts.Count(), 1);
    const dbo::TDboLibView& empty = *b.Packages.GetPackages(0)->Views.GetViews(0);
    // No drawing: the extents shrink to the host origin.
    EXPECT_EQ(std::vector<int>({empty.Left, empty.Top, empty.Right, empty.Bottom}), std::vector<int>({0, 0, 0, 0}));
    // Pins alone keep their coordinates from the host origin.
    const dbo::TDboLibView& p = *loaded->FindComponent("PAD")->Packages.GetPackages(0)->Views.GetViews(0);
    ASSERT_EQ(p.Pins->Count(), 1);
    const dbo::TDboPin& in = *p.Pins->GetPins(0);
    EXPECT_EQ(std::vector<int>({in.OffsetX, in.OffsetY, in.EndX, in.EndY}), std::vector<int>({20, 40, -10, 40}));
    EXPECT_EQ(std::vector<int>({p.Left, p.Top, p.Right, p.Bottom}), std::vector<int>({0, 0, 0, 0}));
    const dbo::TDboLibView& r = *loaded->FindComponent("ROUND")->Packages.GetPackages(0)->Views.GetViews(0);
    ASSERT_EQ(r.Graphics->Count(), 1);
    auto* ellipse = dynamic_cast<dbo::TDboLibEllipse*>(r.Graphics->GetInstances(0));
    ASSERT_NE(ellipse, nullptr);
    EXPECT_EQ(std::vector<int>({ellipse->BoundBoxLeft, ellipse->BoundBoxTop, ellipse->BoundBoxRight,
                                ellipse->BoundBoxBott}),
              std::vector<int>({0, 0, 40, 40}));
    EXPECT_EQ(ellipse->FillStyle, 1);
    EXPECT_EQ(std::vector<int>({r.Right, r.Bottom}), std::vector<int>({40, 40}));
}

TEST_F(LibraryExport, SymbolsByKindOrParameters) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* title = AddComponent(library, "TITLE/A");
    title->SetState_ComponentKind(eComponentKind_Graphical);
    AddRectangle(title, {Unit(-100), Unit(-50)}, {Unit(100), Unit(50)});
    ISch_Component* port = AddComponent(library, "PORTRIGHT-R");
    AddParameter(port, "IsSymbol", "true");
    AddParameter(port, "SymbolType", "34");
    AddPin(port, "P", "", {Unit(-10), 0}, 2, 0);
    AddRectangle(port, {0, Unit(-5)}, {Unit(30), Unit(5)});
    ISch_Component* power = AddComponent(library, "VCC_BAR");
    power->SetState_ComponentKind(eComponentKind_Graphical);
    AddParameter(power, "SymbolType", "33");
    AddComponent(library, "PART");  // a parameter "IsSymbol" of another value keeps a component
    AddParameter(library->GetState_SchComponentByLibRef("PART"), "IsSymbol", "no");
    auto loaded = RoundTrip(library);
    EXPECT_EQ(results_,
              "ExportedComponentCount=4 | LibReference_0=TITLE_A | LibReference_1=PORTRIGHT-R | "
              "LibReference_2=VCC_BAR | LibReference_3=PART");
    EXPECT_EQ(loaded->ComponentCount(), 1);
    ASSERT_EQ(loaded->SymbolCount(), 3);
    dbo::TDboLibSymbol* t = loaded->FindSymbol("TITLE_A", nullptr);
    ASSERT_NE(t, nullptr);
    EXPECT_NE(dynamic_cast<dbo::TDboTitleBlockSymbol*>(t), nullptr);
    // A symbol keeps the host origin; its size spans both sides of it.
    EXPECT_EQ(std::vector<int>({t->Left, t->Top, t->Right, t->Bottom}), std::vector<int>({0, 0, 200, 100}));
    auto* box = dynamic_cast<dbo::TDboLibBox*>(t->Graphics->GetInstances(0));
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(std::vector<int>({box->UpperLeftX, box->UpperLeftY}), std::vector<int>({-100, 50}));
    dbo::TDboLibSymbol* p = loaded->FindSymbol("PORTRIGHT-R", nullptr);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->ID, dbo::kIdPortSymbol);
    ASSERT_EQ(p->Pins->Count(), 1);
    EXPECT_EQ(p->Pins->GetPins(0)->PinName, "P");
    EXPECT_EQ(p->Pins->GetPins(0)->OffsetX, -10);
    EXPECT_EQ(loaded->FindSymbol("VCC_BAR", nullptr)->ID, dbo::kIdPowerSymbol);
    ASSERT_EQ(loaded->SymbolDir->Count(), 3);
    EXPECT_EQ(loaded->SymbolDir->GetEntries(1)->SymbolID, dbo::kIdPortSymbol);
}

TEST_F(LibraryExport, FailuresAreClearAndWriteNoFile) {
    {
        ISch_Lib* library = NewLibrary("BadType.SchLib");
        ISch_Component* symbol = AddComponent(library, "ODD");
        symbol->SetState_ComponentKind(eComponentKind_Graphical);
        AddParameter(symbol, "SymbolType", "99");
        std::string results;
        try {
            exporter::ExportLibrary(App(), library, (dir_ / "bad.OLB").string(), 0x00010001, results);
            ADD_FAILURE() << "no exception";
        } catch (const std::exception& e) {
            EXPECT_EQ(std::string(e.what()), "Component ODD: symbol type 99 is not one of 33, 34, 35 and 64.");
        }
        AddParameter(symbol, "SymbolType", "x");  // the first parameter of the name counts
        EXPECT_THROW(exporter::ExportLibrary(App(), library, (dir_ / "bad.OLB").string(), 0x00010001, results),
                     std::exception);
        EXPECT_FALSE(std::filesystem::exists(dir_ / "bad.OLB"));
    }
    {
        // A symbol's stream can't take a name longer than 31 characters.
        ISch_Lib* library = NewLibrary("LongSymbol.SchLib");
        ISch_Component* symbol = AddComponent(library, std::string(32, 'S'));
        symbol->SetState_ComponentKind(eComponentKind_Graphical);
        std::string results;
        try {
            exporter::ExportLibrary(App(), library, (dir_ / "long.OLB").string(), 0x00010001, results);
            ADD_FAILURE() << "no exception";
        } catch (const std::exception& e) {
            EXPECT_NE(std::string(e.what()).find("Name length more than 31"), std::string::npos) << e.what();
        }
    }
}

TEST_F(LibraryExport, HeaderedVersionsWriteLibraryObjects) {
    ISch_Lib* library = NewLibrary();
    ISch_Component* c = AddComponent(library, "HDR");
    AddRectangle(c, {0, Unit(-10)}, {Unit(10), 0});
    AddPin(c, "A", "1", {0, Unit(-5)}, 2, Unit(10));
    auto* label = Make<ISch_Label>(eLabel);
    label->SetState_Text("hdr");
    c->AddSchObject(label);
    for (uint32_t version : {0x00010001u, 0x00010002u, 0x00020003u, 0x00030003u}) {
        SCOPED_TRACE(version);
        auto loaded = RoundTrip(library, version, "V" + std::to_string(version) + ".OLB");
        EXPECT_EQ(loaded->Version, version);
        ASSERT_EQ(loaded->ComponentCount(), 1);
        const dbo::TDboLibView& view = *loaded->GetComponent(0)->Packages.GetPackages(0)->Views.GetViews(0);
        EXPECT_EQ(view.Graphics->Count(), 2);
        EXPECT_EQ(PinNames(view), std::vector<std::string>({"A"}));
        auto* text = dynamic_cast<dbo::TDboLibCommentText*>(view.Graphics->GetInstances(1));
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(text->Txt, "hdr");
    }
}
