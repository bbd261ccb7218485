#include "export/SCHLibraryExport.h"

#include <cstdlib>
#include <fmt/format.h>

#include "dbo/DboLib.h"
#include "export/SchIEEEExporter.h"
#include "import/Manage_FontTable.h"
#include "platform/TextCompare.h"

namespace orcadx::exporter {

using dbo::Exception;

namespace {

constexpr int32_t kExtentStart = 0x7FFFFFFE;

int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

// Runs EndBulkChange on the way out, also when an exception passes.
struct BulkChange {
    explicit BulkChange(host::ISch_Document* document) : document_(document) { document_->BeginBulkChange(); }
    ~BulkChange() { document_->EndBulkChange(); }
    BulkChange(const BulkChange&) = delete;
    BulkChange& operator=(const BulkChange&) = delete;

private:
    host::ISch_Document* document_;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// TSCHLibraryExporter

namespace {

host::ISch_Lib* LibraryAt(host::IHostApplication& host, const std::string& fileName) {
    host::ISch_ServerInterface* server = host.SchServer();
    return server ? dynamic_cast<host::ISch_Lib*>(server->GetSchDocumentByPath(fileName)) : nullptr;
}

}  // namespace

TSCHLibraryExporter::TSCHLibraryExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                         const std::string& fileName)
    : TSCHLibraryExporter(host, design, LibraryAt(host, fileName)) {}

TSCHLibraryExporter::TSCHLibraryExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                         host::ISch_Lib* library)
    : TSCHCommonExporter(host, design, library), Library(library) {}

bool TSCHLibraryExporter::IsSymbol(host::ISch_Component* component) {
    if (component->GetState_ComponentKind() == host::eComponentKind_Graphical) return true;
    host::ISch_Parameter* parameter = FindParameter(component, "IsSymbol");
    return parameter && platform::SameTextNoCase(parameter->GetState_Text(), "True");
}

int TSCHLibraryExporter::SymbolType(host::ISch_Component* component) {
    host::ISch_Parameter* parameter = FindParameter(component, "SymbolType");
    std::string text = parameter ? parameter->GetState_Text() : std::string();
    if (text.empty()) return dbo::kIdTitleBlockSymbol;
    char* end = nullptr;
    long value = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || value < INT32_MIN || value > INT32_MAX)
        throw Exception(fmt::format("Component {}: the parameter SymbolType \"{}\" is not a number.",
                                    component->GetState_LibReference(), text));
    return static_cast<int>(value);
}

void TSCHLibraryExporter::RunExport() {
    if (!Library) return;
    importer::FontTableManager().AddSystemFont(Host);
    {
        BulkChange bracket(Library);
        auto it = Library->SchIterator_Create({host::eSchComponent}, host::eIterateFirstLevel);
        for (auto* object = it->FirstSchObject(); object; object = it->NextSchObject()) {
            auto* component = dynamic_cast<host::ISch_Component*>(object);
            if (!component) continue;
            Library->SetState_CurrentSchComponent(component);
            std::string legal = LegalName(component->GetState_LibReference());
            for (int32_t i = 0; i < component->GetState_AliasCount(); ++i)
                Design->Lib->Aliases.AddAlias(component->GetState_Alias(i), legal);
            std::unique_ptr<TSCHCommonLibraryExporter> exporter;
            if (IsSymbol(component))
                exporter = std::make_unique<TSCHLibrarySymbolExporter>(Host, Design, Library, component,
                                                                       SymbolType(component));
            else
                exporter = std::make_unique<TSCHLibraryComponentExporter>(Host, Design, component);
            exporter->RunExport();
            ComponentNames.push_back(exporter->ComponentName());
        }
    }
    ExportFonts(Design->Lib->Fonts);
}

// ---------------------------------------------------------------------------------------------
// TSCHCommonLibraryExporter

std::unique_ptr<dbo::TDboObject> TSCHCommonLibraryExporter::CreateDboObject(int32_t kind) {
    int code = GraphicTypeCode(kind, true);
    return code < 0 ? nullptr : dbo::TDboGraphicInstanceList::ConstructObject(Design, code);
}

int32_t TSCHCommonLibraryExporter::ConvertX(int32_t value) {
    return Wrap(int64_t(TSCHCommonExporter::ConvertX(value)) - OriginX);
}

int32_t TSCHCommonLibraryExporter::ConvertY(int32_t value) {
    return Wrap(int64_t(TSCHCommonExporter::ConvertY(value)) - OriginY);
}

void TSCHCommonLibraryExporter::DrawingExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom) {
    left = bottom = kExtentStart;
    right = top = -kExtentStart;
    bool drawn = false;
    if (Container) {
        auto it = Container->SchIterator_Create(GraphicsKindSet(), host::eIterateFirstLevel);
        for (auto* object = it->FirstSchObject(); object; object = it->NextSchObject()) {
            auto* graphic = dynamic_cast<host::ISch_GraphicalObject*>(object);
            if (!graphic) continue;
            host::CoordRect r = graphic->GetState_BoundingRectangle();
            left = std::min(left, r.X1);
            top = std::max(top, r.Y2);
            right = std::max(right, r.X2);
            bottom = std::min(bottom, r.Y1);
            drawn = true;
        }
    }
    // Nothing drawn (a test pad or jumper made of pins alone): the extents shrink to the host origin,
    // so that pins and placed parts keep their coordinates instead of moving by the start values.
    if (!drawn) left = top = right = bottom = 0;
}

void TSCHCommonLibraryExporter::GetExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom) {
    int32_t l, t, r, b;
    DrawingExtents(l, t, r, b);
    left = std::min(l, r);
    right = std::max(l, r);
    top = std::min(t, b);
    bottom = std::max(t, b);
}

void TSCHCommonLibraryExporter::SetViewExtents(dbo::TDboLibBaseView* view) {
    int32_t left, top, right, bottom;
    GetExtents(left, top, right, bottom);
    view->Left = 0;
    view->Top = 0;
    view->Right = static_cast<int16_t>(ConvertSize(Wrap(int64_t(right) + std::llabs(left))));
    view->Bottom = static_cast<int16_t>(ConvertSize(Wrap(int64_t(bottom) + std::llabs(top))));
    view->HostExtentLeft = left;
    view->HostExtentBottom = top;
    view->HostExtentRight = right;
    view->HostExtentTop = bottom;
}

void TSCHCommonLibraryExporter::ExportView(dbo::TDboLibBaseView* view) {
    SetViewExtents(view);
    ExportGraphics(*view->Graphics);
    TSCHIeeeExporter ieee(Host, Design, Container, view->Graphics.get());
    ieee.RunExport();
    ExportPins(*view->Pins);
    auto* libView = dynamic_cast<dbo::TDboLibView*>(view);
    if (!libView) return;
    libView->SetPinBit1(true);
    libView->SetPinNamesVisible(false);
    libView->SetPinNumbersVisible(false);
    std::vector<host::ISch_BasicContainer*> pins;
    CollectObjects(pins, PinKindSet(), host::eIterateAllLevels);
    for (auto* object : pins) {
        auto* pin = dynamic_cast<host::ISch_Pin*>(object);
        if (!pin || pin->GetState_IsHidden()) continue;
        if (pin->GetState_ShowName()) libView->SetPinNamesVisible(true);
        if (pin->GetState_ShowDesignator()) libView->SetPinNumbersVisible(true);
    }
}

// ---------------------------------------------------------------------------------------------
// TSCHLibraryComponentExporter

TSCHLibraryComponentExporter::TSCHLibraryComponentExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                                           host::ISch_Component* component)
    : TSCHCommonLibraryExporter(host, design, component), HostComponent(component) {
    auto libComponent = dbo::Make<dbo::TDboLibComponent>(design);
    LibComponent = libComponent.get();
    design->AddComponent(std::move(libComponent));
    GetExtents(ExtentLeft, ExtentTop, ExtentRight, ExtentBottom);
}

void TSCHLibraryComponentExporter::GetExtents(int32_t& left, int32_t& top, int32_t& right, int32_t& bottom) {
    DrawingExtents(left, top, right, bottom);
}

int32_t TSCHLibraryComponentExporter::ConvertX(int32_t value) {
    return TSCHCommonLibraryExporter::ConvertX(Wrap(int64_t(value) - ExtentLeft));
}

int32_t TSCHLibraryComponentExporter::ConvertY(int32_t value) {
    return TSCHCommonLibraryExporter::ConvertY(Wrap(int64_t(value) - ExtentTop));
}

void TSCHLibraryComponentExporter::SetViewExtents(dbo::TDboLibBaseView* view) {
    view->Left = 0;
    view->Top = 0;
    view->Right = static_cast<int16_t>(std::llabs(Wrap(int64_t(ExtentRight) - ExtentLeft)) / kHostUnitsPerCaptureUnit);
    view->Bottom = static_cast<int16_t>(std::llabs(Wrap(int64_t(ExtentBottom) - ExtentTop)) / kHostUnitsPerCaptureUnit);
    view->HostExtentLeft = ExtentLeft;
    view->HostExtentBottom = ExtentBottom;
    view->HostExtentRight = ExtentRight;
    view->HostExtentTop = ExtentTop;
}

std::string TSCHLibraryComponentExporter::ComponentName() { return LibComponent->PartInfo->CompName; }

void TSCHLibraryComponentExporter::RunExport() {
    dbo::TDboLibPartInfo& info = *LibComponent->PartInfo;
    info.CompName = LegalName(HostComponent->GetState_LibReference());
    std::string reference;
    if (host::ISch_Designator* designator = HostComponent->GetState_SchDesignator()) {
        for (char c : designator->GetState_Text())
            if (c != '?') reference += c;
    }
    info.CompRefName = reference;
    info.CompFootprint = FootprintName(HostComponent);
    int32_t count = HostComponent->GetState_PartCount();
    int parts = count >= 2 ? count : 1;
    ExportPackages(parts);
    ExportParts(parts);
}

void TSCHLibraryComponentExporter::ExportPackages(int parts) {
    const std::string& name = LibComponent->PartInfo->CompName;
    int modes = std::min(HostComponent->GetState_DisplayModeCount() - 1, 1);
    for (int i = 1; i <= parts; ++i) {
        auto package = dbo::Make<dbo::TDboLibPackage>(Design);
        package->Name = parts == 1 ? name : name + PartLetter(i);
        dbo::TDboLibPackage* raw = package.get();
        LibComponent->Packages.Add(std::move(package));
        HostComponent->SetState_CurrentPartId(i);
        for (int mode = 0; mode <= modes; ++mode) {
            HostComponent->SetState_DisplayMode(mode);
            auto view = dbo::Make<dbo::TDboLibView>(Design);
            view->ViewName = raw->Name + (mode == 0 ? ".Normal" : ".Convert");
            view->Ref = LibComponent->PartInfo->CompRefName;
            ExportView(view.get());
            raw->AddView(std::move(view));
        }
    }
}

void TSCHLibraryComponentExporter::ExportParts(int parts) {
    const std::string& name = LibComponent->PartInfo->CompName;
    for (int i = 1; i <= parts; ++i) {
        HostComponent->SetState_CurrentPartId(i);
        auto part = dbo::Make<dbo::TDboLibPart>(Design);
        if (parts == 1) {
            part->PkgName = name;
        } else {
            part->PartNumber = PartLetter(i);
            part->PkgName = name + part->PartNumber;
        }
        std::vector<host::ISch_BasicContainer*> pins;
        CollectObjects(pins, PinKindSet(), host::eIterateAllLevels);
        for (auto* object : pins) {
            auto* pin = dynamic_cast<host::ISch_Pin*>(object);
            if (!pin) continue;
            auto partPin = dbo::Make<dbo::TDboLibPartPin>(Design);
            partPin->PinNumber = pin->GetState_Designator();
            part->PartPins.Add(std::move(partPin));
        }
        LibComponent->PartInfo->AddPart(std::move(part));
    }
}

// ---------------------------------------------------------------------------------------------
// TSCHLibrarySymbolExporter

TSCHLibrarySymbolExporter::TSCHLibrarySymbolExporter(host::IHostApplication& host, dbo::TDboDesign* design,
                                                     host::ISch_Lib* library, host::ISch_Component* component,
                                                     int symbolType)
    : TSCHCommonLibraryExporter(host, design, library),
      HostComponent(component),
      owned_(dbo::TDboLibSymbol::CreateSymbol(design, symbolType)) {
    if (!owned_)
        throw Exception(fmt::format("Component {}: symbol type {} is not one of 33, 34, 35 and 64.",
                                    component->GetState_LibReference(), symbolType));
    Symbol = owned_.get();
}

TSCHLibrarySymbolExporter::~TSCHLibrarySymbolExporter() = default;

void TSCHLibrarySymbolExporter::RunExport() {
    Symbol->ViewName = LegalName(HostComponent->GetState_LibReference());
    ExportView(Symbol);
    Design->AddSymbol(std::move(owned_));
}

std::string TSCHLibrarySymbolExporter::ComponentName() { return Symbol->ViewName; }

}  // namespace orcadx::exporter
