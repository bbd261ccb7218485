#include "dbo/DboObjects.h"

#include "platform/TextCompare.h"

#include <fmt/format.h>

#include "dbo/DboBaseDesign.h"
#include "dbo/DboLibObjects.h"

namespace orcadx::dbo {

int32_t SearchIndex = 30;

namespace {

// The library path of the design as a string index; 0 for an object without a design.
int LibPathIndex(TDboBaseDesign* design) { return design ? design->AddString(design->LibPath()) : 0; }

// A 16-bit string index stored as a Word, widened without sign.
void ReadWordIndex(TDboIStream& stream, std::string_view name, int32_t& value) {
    uint16_t w;
    stream.ReadWord(name, w);
    value = w;
}

void WriteWord(TDboIStream& stream, std::string_view name, int16_t value) {
    stream.WriteWord(name, static_cast<uint16_t>(value));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TDboWireAlias

void TDboWireAlias::Initialize() {
    TDboObject::Initialize();
    ID = kIdWireAlias;
    UnknownW = 0;
}

void TDboWireAlias::SetRotation(int rotation) { Rot = (Rot & ~0xFF) | (rotation & 0xFF); }

int TDboWireAlias::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadInt("LocationX", LocationX);
    stream.ReadInt("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("UnknownW", UnknownW);
    stream.ReadInt("Rot", Rot);
    stream.ReadInt("FontID", FontID);
    stream.ReadStr("Name", Name);
    return 0;
}

int TDboWireAlias::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteInt("LocationX", LocationX);
    stream.WriteInt("LocationY", LocationY);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("UnknownW", UnknownW);
    stream.WriteInt("Rot", Rot);
    stream.WriteInt("FontID", FontID);
    stream.WriteStr("Name", Name);
    EndRecord(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboWireBus

TDboWireBus::TDboWireBus(TDboBaseDesign* design)
    : TDboBaseObject(design), Aliases(design, ClassOf<TDboWireAlias>()) {}

void TDboWireBus::Initialize() {
    TDboBaseObject::Initialize();
    NetName = 0;
    ObjectID = 18;
    StartX = StartY = EndX = EndY = 0;
    Junction = 0;
    UnknownW = 0;
    UnknownIntFirst = UnknownInt = 0;
}

bool TDboWireBus::ObjectIdFirst() const {
    return Headered() || (Design && Design->Version == kVersion0_2);
}

int TDboWireBus::Load(TDboIStream& stream) {
    LoadHeader(stream);
    if (ObjectIdFirst()) {
        stream.ReadInt("ObjectID", ObjectID);
        stream.ReadInt("NetName", NetName);
    } else {
        stream.ReadInt("NetName", NetName);
        stream.ReadInt("ObjectID", ObjectID);
    }
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("UnknownW", UnknownW);
    stream.ReadInt("StartX", StartX);
    stream.ReadInt("StartY", StartY);
    stream.ReadInt("EndX", EndX);
    stream.ReadInt("EndY", EndY);
    stream.ReadByte("Junction", Junction);
    Aliases.Load(stream);
    LoadVisibleProps(stream);
    if (Headered()) {
        stream.ReadInt("UnknownInt", UnknownIntFirst);
        stream.ReadInt("UnknownInt", UnknownInt);
    }
    return 0;
}

int TDboWireBus::Save(TDboIStream& stream) {
    SaveHeader(stream);
    if (ObjectIdFirst()) {
        stream.WriteInt("ObjectID", ObjectID);
        stream.WriteInt("NetName", NetName);
    } else {
        stream.WriteInt("NetName", NetName);
        stream.WriteInt("ObjectID", ObjectID);
    }
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("UnknownW", UnknownW);
    stream.WriteInt("StartX", StartX);
    stream.WriteInt("StartY", StartY);
    stream.WriteInt("EndX", EndX);
    stream.WriteInt("EndY", EndY);
    stream.WriteByte("Junction", Junction);
    Aliases.Save(stream);
    SaveVisibleProps(stream);
    if (Headered()) {
        stream.WriteInt("UnknownInt", UnknownIntFirst);
        stream.WriteInt("UnknownInt", UnknownInt);
    }
    EndRecord(stream);
    return 0;
}

void TDboWire::Initialize() {
    TDboWireBus::Initialize();
    ID = kIdWire;
}

void TDboBus::Initialize() {
    TDboWireBus::Initialize();
    ID = kIdBus;
}

std::unique_ptr<TDboStorableObject> TDboWireBusList::ConstructObject(TDboIStream& stream) {
    switch (stream.LookAhead()) {
        case kIdWire: return Make<TDboWire>(Design);
        case kIdBus: return Make<TDboBus>(Design);
        default: return nullptr;
    }
}

// ---------------------------------------------------------------------------------------------
// Nets

int TDboNetAlias::Load(TDboIStream& stream) {
    stream.ReadStr("Alias", Alias);
    stream.ReadInt("NetID", NetID);
    return 0;
}

int TDboNetAlias::Save(TDboIStream& stream) {
    stream.WriteStr("Alias", Alias);
    stream.WriteInt("NetID", NetID);
    return 0;
}

int32_t TDboNetAliasList::GetNetIDs(const std::string& alias) const {
    for (int i = 0; i < Count(); ++i) {
        TDboNetAlias* a = GetAliases(i);
        if (a && platform::SameTextNoCase(a->Alias, alias)) return a->NetID;
    }
    return -1;
}

void TDboWireNet::Initialize() {
    TDboStorableObject::Initialize();
    ID = kIdWireNet;
    UnknownInt1 = 0;
    UnknownInt2 = 48;
    UnknownInt3 = 5;
    UnknownInt4 = 3;
}

int TDboWireNet::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadInt("NetID", NetID);
    stream.ReadStr("Name", Name);
    if (Headered()) {
        stream.ReadInt("UnknownInt1", UnknownInt1);
        stream.ReadInt("UnknownInt2", UnknownInt2);
        stream.ReadInt("UnknownInt3", UnknownInt3);
        stream.ReadInt("UnknownInt4", UnknownInt4);
    }
    return 0;
}

int TDboWireNet::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteInt("NetID", NetID);
    stream.WriteStr("Name", Name);
    if (Headered()) {
        stream.WriteInt("UnknownInt1", UnknownInt1);
        stream.WriteInt("UnknownInt2", UnknownInt2);
        stream.WriteInt("UnknownInt3", UnknownInt3);
        stream.WriteInt("UnknownInt4", UnknownInt4);
    }
    EndRecord(stream);
    return 0;
}

int TDboNetRef::Load(TDboIStream& stream) { return stream.ReadInt("Reference", Reference); }
int TDboNetRef::Save(TDboIStream& stream) {
    stream.WriteInt("Reference", Reference);
    return 0;
}

TDboBusNet::TDboBusNet(TDboBaseDesign* design) : TDboWireNet(design), NetRefs(design, ClassOf<TDboNetRef>()) {}

void TDboBusNet::Initialize() {
    TDboWireNet::Initialize();
    ID = kIdBusNet;
}

int TDboBusNet::Load(TDboIStream& stream) {
    TDboWireNet::Load(stream);
    NetRefs.Load(stream);
    return 0;
}

int TDboBusNet::Save(TDboIStream& stream) {
    // Capture's size header counts the net's own fields, not the member nets behind them.
    TDboWireNet::Save(stream);
    NetRefs.Save(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboBusEntry

void TDboBusEntry::Initialize() {
    TDboBaseObject::Initialize();
    ID = kIdBusEntry;
    Unknown2 = Unknown3 = Unknown4 = Unknown5 = Unknown6 = 0;
}

int TDboBusEntry::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("Unknown2", Unknown2);
    stream.ReadInt("StartX", StartX);
    stream.ReadInt("StartY", StartY);
    stream.ReadInt("EndX", EndX);
    stream.ReadInt("EndY", EndY);
    stream.ReadWord("Unknown3", Unknown3);
    stream.ReadWord("Unknown4", Unknown4);
    stream.ReadWord("Unknown5", Unknown5);
    stream.ReadWord("Unknown6", Unknown6);
    return 0;
}

int TDboBusEntry::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("Unknown2", Unknown2);
    stream.WriteInt("StartX", StartX);
    stream.WriteInt("StartY", StartY);
    stream.WriteInt("EndX", EndX);
    stream.WriteInt("EndY", EndY);
    stream.WriteWord("Unknown3", Unknown3);
    stream.WriteWord("Unknown4", Unknown4);
    stream.WriteWord("Unknown5", Unknown5);
    stream.WriteWord("Unknown6", Unknown6);
    EndRecord(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Ports, power objects and off-page connectors

void TDboPortInst::Initialize() {
    TDboBaseObject::Initialize();
    SrcLibIdx = LibPathIndex(Design);
}

int TDboPortInst::HeaderRecordCount() const {
    switch (ID) {
        case kIdPort: return 3;
        case kIdPower:
        case kIdOffPage: return 2;
        default: return 0;
    }
}

int TDboPortInst::Load(TDboIStream& stream) {
    // The number of size headers depends on the type code, so it is known before the frame.
    ID = stream.LookAhead();
    LoadHeader(stream);
    if (Headered()) {
        stream.ReadInt("PortNameIdx", PortNameIdx);
        stream.ReadInt("SrcLibIdx", SrcLibIdx);
    } else {
        ReadWordIndex(stream, "PortNameIdx", PortNameIdx);
        ReadWordIndex(stream, "SrcLibIdx", SrcLibIdx);
        stream.ReadInt("Unknown", Unknown);
    }
    stream.ReadStr("SymName", SymName);
    stream.ReadInt("Unknown1", Unknown1);
    stream.ReadInt("Unknown2", Unknown2);
    stream.ReadWord("Height", Height);
    stream.ReadWord("Width", Width);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("ID2", ID2);
    LoadVisibleProps(stream);
    stream.ReadInt("Unknown3", Unknown3);
    stream.ReadWord("Unknown4", Unknown4);
    return 0;
}

int TDboPortInst::Save(TDboIStream& stream) {
    SaveHeader(stream);
    if (Headered()) {
        stream.WriteInt("PortNameIdx", PortNameIdx);
        stream.WriteInt("SrcLibIdx", SrcLibIdx);
    } else {
        stream.WriteWord("PortNameIdx", static_cast<uint16_t>(PortNameIdx));
        stream.WriteWord("SrcLibIdx", static_cast<uint16_t>(SrcLibIdx));
        stream.WriteInt("Unknown", Unknown);
    }
    stream.WriteStr("SymName", SymName);
    stream.WriteInt("Unknown1", Unknown1);
    stream.WriteInt("Unknown2", Unknown2);
    WriteWord(stream, "Height", Height);
    WriteWord(stream, "Width", Width);
    WriteWord(stream, "LocationX", LocationX);
    WriteWord(stream, "LocationY", LocationY);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("ID2", ID2);
    SaveVisibleProps(stream);
    stream.WriteInt("Unknown3", Unknown3);
    stream.WriteWord("Unknown4", Unknown4);
    // Capture's count of the fields stops after the first byte of "Unknown3".
    CloseHeaderRecord(stream, 5);
    return 0;
}

void TDboPortInst::LoadVisibleProps(TDboIStream& stream) {
    int first = VisibleProps.Count();
    VisibleProps.Load(stream);
    for (int i = first; i < VisibleProps.Count(); ++i) VisibleProps.GetProps(i)->ValueIdx = PortNameIdx;
}

std::string TDboPortInst::GetPortName() const { return Design->GetString(PortNameIdx); }
void TDboPortInst::SetPortName(const std::string& name) { PortNameIdx = Design->AddString(name); }
std::string TDboPortInst::GetSrcLib() const { return Design->GetString(SrcLibIdx); }
void TDboPortInst::SetSrcLib(const std::string& path) { SrcLibIdx = Design->AddString(path); }

void TDboPort::Initialize() {
    TDboPortInst::Initialize();
    ID = kIdPort;
    ID2 = 1047;
    Unknown = 2;
    Unknown1 = 36;
    Unknown2 = 0;
    Unknown3 = 3106;
    Unknown4 = 0;
}

int TDboPort::Load(TDboIStream& stream) {
    TDboPortInst::Load(stream);
    stream.ReadInt("PortType", PortType);
    // Every port is drawn at one size; its stored location is moved to match, by rotation.
    Height = 20;
    Width = 30;
    static const int16_t kShift[4][2] = {{0, 10}, {10, 30}, {30, 10}, {10, 20}};
    int r = GetRotation();
    LocationX = static_cast<int16_t>(LocationX + kShift[r][0]);
    LocationY = static_cast<int16_t>(LocationY + kShift[r][1]);
    return 0;
}

int TDboPort::Save(TDboIStream& stream) {
    TDboPortInst::Save(stream);
    stream.WriteInt("PortType", PortType);
    EndRecord(stream);
    return 0;
}

void TDboPower::Initialize() {
    TDboPortInst::Initialize();
    ID = kIdPower;
    ID2 = 37;
    Unknown = 1241228;
    Unknown1 = 44;
    Unknown2 = 0;
    Unknown3 = 49441;
    Unknown4 = 0;
}

void TDboOffPage::Initialize() {
    TDboPortInst::Initialize();
    ID = kIdOffPage;
    ID2 = 38;
    Unknown = 0x8F9CF0;
    Unknown1 = 209;
    Unknown2 = 0;
    Unknown3 = 35;
    Unknown4 = 0;
}

// ---------------------------------------------------------------------------------------------
// TDboTitleBlock

void TDboTitleBlock::Initialize() {
    TDboBaseObject::Initialize();
    ID = kIdTitleBlock;
    TBName = 0;
    SrcLib = static_cast<uint16_t>(LibPathIndex(Design));
    DesignModifyTime = 1;
    SearchIndex = 580;
    UnknownInt = 0;
    Height = Width = LocationX = LocationY = 0;
    ID_W = 65;
    UnknownB13.fill(0);
    UnknownB13[0] = 0x40;
    UnknownB13[1] = 0x01;
}

int TDboTitleBlock::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadWord("TBName", TBName);
    stream.ReadWord("SrcLib", SrcLib);
    stream.ReadInt("DesignModifyTime", DesignModifyTime);
    stream.ReadStr("SymName", SymName);
    stream.ReadInt("SearchIndex", SearchIndex);
    stream.ReadInt("UnknownInt", UnknownInt);
    stream.ReadWord("Height", Height);
    stream.ReadWord("Width", Width);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("ID_W", ID_W);
    LoadVisibleProps(stream);
    stream.ReadData("UnknownB13", UnknownB13);
    return 0;
}

int TDboTitleBlock::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteWord("TBName", TBName);
    stream.WriteWord("SrcLib", SrcLib);
    stream.WriteInt("DesignModifyTime", DesignModifyTime);
    stream.WriteStr("SymName", SymName);
    stream.WriteInt("SearchIndex", SearchIndex);
    stream.WriteInt("UnknownInt", UnknownInt);
    WriteWord(stream, "Height", Height);
    WriteWord(stream, "Width", Width);
    WriteWord(stream, "LocationX", LocationX);
    WriteWord(stream, "LocationY", LocationY);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("ID_W", ID_W);
    SaveVisibleProps(stream);
    stream.WriteData("UnknownB13", UnknownB13);
    // The middle size header counts one byte of "UnknownB13", the first all of it.
    CloseHeaderRecord(stream, UnknownB13.size() - 1);
    EndRecord(stream);
    return 0;
}

std::string TDboTitleBlock::GetTBName() const { return Design->GetString(TBName); }
void TDboTitleBlock::SetTBName(const std::string& name) { TBName = static_cast<uint16_t>(Design->AddString(name)); }
std::string TDboTitleBlock::GetSrcLib() const { return Design->GetString(SrcLib); }
void TDboTitleBlock::SetSrcLib(const std::string& path) { SrcLib = static_cast<uint16_t>(Design->AddString(path)); }

// ---------------------------------------------------------------------------------------------
// TDboDRCMark

int TDboDRCMark::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadData("UnknownB8", UnknownB8);
    stream.ReadStr("Name", Name);
    if (Headered()) stream.ReadData("UnknownB6", UnknownB6);
    else stream.ReadData("UnknownB12", UnknownB12);
    stream.ReadWord("LocX", LocX);
    stream.ReadWord("LocY", LocY);
    if (Headered()) stream.ReadData("UnknownB13", UnknownB13);
    else stream.ReadData("UnknownB7", UnknownB7);
    stream.ReadStr("Info1", Info1);
    stream.ReadStr("Info2", Info2);
    stream.ReadStr("Info3", Info3);
    return 0;
}

int TDboDRCMark::Save(TDboIStream& stream) {
    const bool headered = Headered();
    SaveHeader(stream);
    stream.WriteData("UnknownB8", UnknownB8);
    stream.WriteStr("Name", Name);
    if (headered) stream.WriteData("UnknownB6", UnknownB6);
    else stream.WriteData("UnknownB12", UnknownB12);
    WriteWord(stream, "LocX", LocX);
    WriteWord(stream, "LocY", LocY);
    if (headered) stream.WriteData("UnknownB13", UnknownB13);
    else stream.WriteData("UnknownB7", UnknownB7);
    CloseHeaderRecord(stream);
    stream.WriteStr("Info1", Info1);
    stream.WriteStr("Info2", Info2);
    stream.WriteStr("Info3", Info3);
    EndRecord(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboBookMark

int TDboBookMark::Load(TDboIStream& stream) {
    stream.ReadByte("ID", ID);
    if (Headered()) {
        stream.SkipTo("EndBlockMask", kEndBlockMask, 7);
        stream.ReadInt("NameIdx", NameIdx);
        stream.ReadInt("FNameIdx", FNameIdx);
        stream.ReadStr("TxtID", TxtID);
        stream.ReadInt("UnknownInt", UnknownInt);
        stream.ReadWord("LocX", LocX);
        stream.ReadWord("LocY", LocY);
        stream.ReadData("Unknown Data", UnknownData);
        return 0;
    }
    stream.ReadWord("UnknownW", UnknownW);
    ReadWordIndex(stream, "NameIdx", NameIdx);
    ReadWordIndex(stream, "FNameIdx", FNameIdx);
    stream.ReadData("UnknownB4", UnknownB4);
    stream.ReadStr("TxtID", TxtID);
    stream.ReadData("UnknownB12", UnknownB12);
    stream.ReadWord("LocX", LocX);
    stream.ReadWord("LocY", LocY);
    stream.ReadData("UnknownB7", UnknownB7);
    return 0;
}

int TDboBookMark::Save(TDboIStream& stream) {
    stream.WriteByte("ID", ID);
    if (Headered()) {
        // What stands before the end-of-block mask is passed over on reading; the mask alone does.
        stream.WriteData("EndBlockMask", kEndBlockMask, sizeof kEndBlockMask);
        stream.WriteInt("NameIdx", NameIdx);
        stream.WriteInt("FNameIdx", FNameIdx);
        stream.WriteStr("TxtID", TxtID);
        stream.WriteInt("UnknownInt", UnknownInt);
        WriteWord(stream, "LocX", LocX);
        WriteWord(stream, "LocY", LocY);
        stream.WriteData("Unknown Data", UnknownData);
        return 0;
    }
    stream.WriteWord("UnknownW", UnknownW);
    stream.WriteWord("NameIdx", static_cast<uint16_t>(NameIdx));
    stream.WriteWord("FNameIdx", static_cast<uint16_t>(FNameIdx));
    stream.WriteData("UnknownB4", UnknownB4);
    stream.WriteStr("TxtID", TxtID);
    stream.WriteData("UnknownB12", UnknownB12);
    WriteWord(stream, "LocX", LocX);
    WriteWord(stream, "LocY", LocY);
    stream.WriteData("UnknownB7", UnknownB7);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Pins

void TDboPin::Initialize() {
    TDboBaseObject::Initialize();
    UserPropsCount = 0;
    Attributes = 57;
    PinType = 0;
    UnknownB = 0;
    UnknownW = 0;
    ID_B = ID;
}

void TDboPin::GetHeaderRecord(int index, int64_t& value) {
    if (index == 1) {
        GetHeaderRecord(0, value);
        value += 9 + StrSize(PinName) + 24 + 1 + 1 + 2 + VisiblePropsSize();
        return;
    }
    TDboBaseObject::GetHeaderRecord(index, value);
}

int TDboPin::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadStr("PinName", PinName);
    stream.ReadInt("OffsetX", OffsetX);
    stream.ReadInt("OffsetY", OffsetY);
    stream.ReadInt("EndX", EndX);
    stream.ReadInt("EndY", EndY);
    stream.ReadInt("Attributes", Attributes);
    stream.ReadInt("PinType", PinType);
    stream.ReadByte("ID_B", ID_B);
    stream.ReadByte("UnknownB", UnknownB);
    stream.ReadWord("UnknownW", UnknownW);
    LoadVisibleProps(stream);
    return 0;
}

int TDboPin::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteStr("PinName", PinName);
    stream.WriteInt("OffsetX", OffsetX);
    stream.WriteInt("OffsetY", OffsetY);
    stream.WriteInt("EndX", EndX);
    stream.WriteInt("EndY", EndY);
    stream.WriteInt("Attributes", Attributes);
    stream.WriteInt("PinType", PinType);
    stream.WriteByte("ID_B", ID_B);
    stream.WriteByte("UnknownB", UnknownB);
    stream.WriteWord("UnknownW", UnknownW);
    SaveVisibleProps(stream);
    return 0;
}

void TDboPinScalar::Initialize() {
    TDboPin::Initialize();
    ID = ID_B = kIdPinScalar;
}

void TDboPinBus::Initialize() {
    TDboPin::Initialize();
    ID = ID_B = kIdPinBus;
}

std::unique_ptr<TDboStorableObject> TDboPinList::ConstructObject(TDboIStream& stream) {
    switch (stream.LookAhead()) {
        case kIdPinScalar: return Make<TDboPinScalar>(Design);
        case kIdPinBus: return Make<TDboPinBus>(Design);
        default: {
            uint8_t dropped;
            stream.ReadByte("UNRECOGNISED PIN TYPE:", dropped);
            return nullptr;
        }
    }
}

void TDboPinList::Add(std::unique_ptr<TDboStorableObject> item) {
    if (auto* pin = dynamic_cast<TDboPin*>(item.get())) pin->PinIndex = Count();
    TDboStorableList::Add(std::move(item));
}

int TDboPinProps::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadWord("PinNumber", PinNumber);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadInt("WireId", WireId);
    stream.ReadInt("NetID", NetID);
    LoadVisibleProps(stream);
    return 0;
}

int TDboPinProps::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteWord("PinNumber", PinNumber);
    WriteWord(stream, "LocationX", LocationX);
    WriteWord(stream, "LocationY", LocationY);
    stream.WriteInt("WireId", WireId);
    stream.WriteInt("NetID", NetID);
    SaveVisibleProps(stream);
    EndRecord(stream);
    return 0;
}

void TDboPinPropsScalar::Initialize() {
    TDboPinProps::Initialize();
    ID = kIdPinPropsScalar;
    WireId = 0;
}

void TDboPinPropsBus::Initialize() {
    TDboPinProps::Initialize();
    ID = kIdPinPropsBus;
    WireId = 0;
}

std::unique_ptr<TDboStorableObject> TDboPinPropsList::ConstructObject(TDboIStream& stream) {
    switch (stream.LookAhead()) {
        case kIdPinPropsScalar: return Make<TDboPinPropsScalar>(Design);
        case kIdPinPropsBus: return Make<TDboPinPropsBus>(Design);
        default: {
            uint8_t dropped;
            stream.ReadByte("UNRECOGNISED PIN PROP TYPE:", dropped);
            return nullptr;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// TDboPart

TDboPart::TDboPart(TDboBaseDesign* design) : TDboBaseObject(design), PinProps(design) {}

void TDboPart::Initialize() {
    TDboBaseObject::Initialize();
    ID = kIdPart;
    NameIdx = 0;
    SrcLibIdx = static_cast<uint16_t>(LibPathIndex(Design));
    SearchIndex = dbo::SearchIndex;
    dbo::SearchIndex += 2;
    RHeight = RWidth = LocationX = LocationY = 0;
    ID2 = 13;
    ValueIdx = ImplementationPathIdx = ImplementationIdx = 0;
    Flags = 2;
    PartNo = 0;
    LibNameIdx = 0;
    UnknownInt_2 = 0;
    UnknownB = 24;
}

int TDboPart::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadWord("NameIdx", NameIdx);
    stream.ReadWord("SrcLibIdx", SrcLibIdx);
    stream.ReadInt("LibNameIdx", LibNameIdx);
    stream.ReadStr("ViewName", ViewName);
    stream.ReadInt("SearchIndex", SearchIndex);
    stream.ReadInt("UnknownInt_2", UnknownInt_2);
    stream.ReadWord("RHeight", RHeight);
    stream.ReadWord("RWidth", RWidth);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("ID2", ID2);
    LoadVisibleProps(stream);
    stream.ReadByte("UnknownB", UnknownB);
    stream.ReadStr("DesignatorStr", DesignatorStr);
    if (Headered()) {
        stream.ReadInt("ValueIdx", ValueIdx);
        stream.ReadInt("ImplementationPathIdx", ImplementationPathIdx);
        stream.ReadInt("ImplementationIdx", ImplementationIdx);
    } else {
        ReadWordIndex(stream, "ValueIdx", ValueIdx);
        ReadWordIndex(stream, "ImplementationPathIdx", ImplementationPathIdx);
        ReadWordIndex(stream, "ImplementationIdx", ImplementationIdx);
    }
    stream.ReadWord("Flags", Flags);
    PinProps.Load(stream);
    stream.ReadStr("SrcPkg", SrcPkg);
    stream.ReadWord("PartNo", PartNo);
    return 0;
}

int TDboPart::Save(TDboIStream& stream) {
    SaveHeader(stream);
    stream.WriteWord("NameIdx", NameIdx);
    stream.WriteWord("SrcLibIdx", SrcLibIdx);
    stream.WriteInt("LibNameIdx", LibNameIdx);
    stream.WriteStr("ViewName", ViewName);
    stream.WriteInt("SearchIndex", SearchIndex);
    stream.WriteInt("UnknownInt_2", UnknownInt_2);
    WriteWord(stream, "RHeight", RHeight);
    WriteWord(stream, "RWidth", RWidth);
    WriteWord(stream, "LocationX", LocationX);
    WriteWord(stream, "LocationY", LocationY);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("ID2", ID2);
    SaveVisibleProps(stream);
    stream.WriteByte("UnknownB", UnknownB);
    CloseHeaderRecord(stream);
    stream.WriteStr("DesignatorStr", DesignatorStr);
    if (Headered()) {
        stream.WriteInt("ValueIdx", ValueIdx);
        stream.WriteInt("ImplementationPathIdx", ImplementationPathIdx);
        stream.WriteInt("ImplementationIdx", ImplementationIdx);
    } else {
        stream.WriteWord("ValueIdx", static_cast<uint16_t>(ValueIdx));
        stream.WriteWord("ImplementationPathIdx", static_cast<uint16_t>(ImplementationPathIdx));
        stream.WriteWord("ImplementationIdx", static_cast<uint16_t>(ImplementationIdx));
    }
    stream.WriteWord("Flags", Flags);
    PinProps.Save(stream);
    CloseHeaderRecord(stream);
    stream.WriteStr("SrcPkg", SrcPkg);
    stream.WriteWord("PartNo", PartNo);
    EndRecord(stream);
    return 0;
}

std::string TDboPart::GetValue() const { return Design->GetString(ValueIdx); }
void TDboPart::SetValue(const std::string& text) { ValueIdx = Design->AddString(text); }
std::string TDboPart::GetImplementation() const { return Design->GetString(ImplementationIdx); }
void TDboPart::SetImplementation(const std::string& text) { ImplementationIdx = Design->AddString(text); }
std::string TDboPart::GetImplementationPath() const { return Design->GetString(ImplementationPathIdx); }
void TDboPart::SetImplementationPath(const std::string& text) { ImplementationPathIdx = Design->AddString(text); }
std::string TDboPart::GetSrcLib() const { return Design->GetString(SrcLibIdx); }
void TDboPart::SetSrcLib(const std::string& text) { SrcLibIdx = static_cast<uint16_t>(Design->AddString(text)); }
std::string TDboPart::GetLibName() const { return Design->GetString(LibNameIdx); }

void TDboPart::SetImplementationType(int type) { Flags = static_cast<uint16_t>(Flags | ((type & 7) << 2)); }

void TDboPart::SetHighFlag(bool set) {
    Flags = static_cast<uint16_t>(set ? (Flags | kFlagHigh) : (Flags & ~kFlagHigh));
}

// ---------------------------------------------------------------------------------------------
// TDboHierarchicalBlock

TDboHierarchicalBlock::TDboHierarchicalBlock(TDboBaseDesign* design) : TDboBaseObject(design), PinProps(design) {}

TDboHierarchicalBlock::~TDboHierarchicalBlock() = default;

void TDboHierarchicalBlock::Initialize() {
    TDboBaseObject::Initialize();
    ID = kIdHierarchicalBlock;
    Width = Height = 0;
    NameIdx = SrcLib = 0;
    SearchIndex = 3;
    RHeight = RWidth = LocationX = LocationY = 0;
    ID2 = 12;
    LibViewID = 0;
    ImplementSheetIdx = ImplementFileIdx = ImplementFolderIdx = 0;
    UnknownInt_1 = 0x73DD42C2;
    UnknownInt_2 = 0;
    UnknownW_1 = 0;
    UnknownW_2 = 3;
    UnknownW_3 = 0;
    UnknownAInt3.fill(0);
    // Five little-endian Ints: 0x1818, 0, 0x300000, 0, 0.
    UnknownAInt5.fill(0);
    UnknownAInt5[0] = 0x18;
    UnknownAInt5[1] = 0x18;
    UnknownAInt5[10] = 0x30;
}

int TDboHierarchicalBlock::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadWord("NameIdx", NameIdx);
    stream.ReadWord("SrcLib", SrcLib);
    stream.ReadInt("UnknownInt_1", UnknownInt_1);
    stream.ReadStr("SymName", SymName);
    stream.ReadInt("SearchIndex", SearchIndex);
    stream.ReadInt("UnknownInt_2", UnknownInt_2);
    stream.ReadWord("RHeight", RHeight);
    stream.ReadWord("RWidth", RWidth);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadWord("ID2", ID2);
    LoadVisibleProps(stream);
    if (Headered()) {
        stream.ReadByte("LibViewID", LibViewID);
        LibView = Make<TDboLibView>(Design);
        LibView->Load(stream);
        stream.ReadStr("RefStr", RefStr);
        stream.ReadInt("ImplementSheetIdx", ImplementSheetIdx);
        stream.ReadInt("ImplementFileIdx", ImplementFileIdx);
        stream.ReadInt("ImplementFolderIdx", ImplementFolderIdx);
    } else {
        stream.ReadData("UnknownAInt5", UnknownAInt5);
        stream.ReadWord("Width", Width);
        stream.ReadWord("Height", Height);
        Pins = Make<TDboPinList>(Design);
        Pins->Load(stream);
        stream.ReadData("UnknownAInt3", UnknownAInt3);
        stream.ReadWord("UnknownW_1", UnknownW_1);
        stream.ReadWord("UnknownW_2", UnknownW_2);
        stream.ReadStr("RefStr", RefStr);
        ReadWordIndex(stream, "ImplementSheetIdx", ImplementSheetIdx);
        ReadWordIndex(stream, "ImplementFileIdx", ImplementFileIdx);
        ReadWordIndex(stream, "ImplementFolderIdx", ImplementFolderIdx);
    }
    stream.ReadWord("UnknownW_3", UnknownW_3);
    PinProps.Load(stream);
    return 0;
}

int TDboHierarchicalBlock::Save(TDboIStream& stream) {
    const bool headered = Headered();
    // A headered file keeps the block's pins and size in a library view of its own.
    if (headered && !LibView) {
        int width = Width, height = Height;
        std::unique_ptr<TDboPinList> pins = std::move(Pins);
        TDboPinList* target = GetPins();
        if (pins)
            for (auto& pin : pins->Items) target->Add(std::move(pin));
        SetWidth(width);
        SetHeight(height);
    }
    SaveHeader(stream);
    stream.WriteWord("NameIdx", NameIdx);
    stream.WriteWord("SrcLib", SrcLib);
    stream.WriteInt("UnknownInt_1", UnknownInt_1);
    stream.WriteStr("SymName", SymName);
    stream.WriteInt("SearchIndex", SearchIndex);
    stream.WriteInt("UnknownInt_2", UnknownInt_2);
    WriteWord(stream, "RHeight", RHeight);
    WriteWord(stream, "RWidth", RWidth);
    WriteWord(stream, "LocationX", LocationX);
    WriteWord(stream, "LocationY", LocationY);
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteWord("ID2", ID2);
    SaveVisibleProps(stream);
    if (headered) {
        stream.WriteByte("LibViewID", LibViewID);
        LibView->Save(stream);
        CloseHeaderRecord(stream);
        stream.WriteStr("RefStr", RefStr);
        stream.WriteInt("ImplementSheetIdx", ImplementSheetIdx);
        stream.WriteInt("ImplementFileIdx", ImplementFileIdx);
        stream.WriteInt("ImplementFolderIdx", ImplementFolderIdx);
    } else {
        stream.WriteData("UnknownAInt5", UnknownAInt5);
        stream.WriteWord("Width", static_cast<uint16_t>(GetWidth()));
        stream.WriteWord("Height", static_cast<uint16_t>(GetHeight()));
        GetPins()->Save(stream);
        stream.WriteData("UnknownAInt3", UnknownAInt3);
        stream.WriteWord("UnknownW_1", UnknownW_1);
        stream.WriteWord("UnknownW_2", UnknownW_2);
        stream.WriteStr("RefStr", RefStr);
        stream.WriteWord("ImplementSheetIdx", static_cast<uint16_t>(ImplementSheetIdx));
        stream.WriteWord("ImplementFileIdx", static_cast<uint16_t>(ImplementFileIdx));
        stream.WriteWord("ImplementFolderIdx", static_cast<uint16_t>(ImplementFolderIdx));
    }
    stream.WriteWord("UnknownW_3", UnknownW_3);
    PinProps.Save(stream);
    EndRecord(stream);
    return 0;
}

void TDboHierarchicalBlock::SetRefStr(const std::string& text) {
    RefStr = text;
    NameIdx = static_cast<uint16_t>(Design->AddString(text));
}

std::string TDboHierarchicalBlock::GetImplementation() const { return Design->GetString(ImplementFolderIdx); }

void TDboHierarchicalBlock::SetImplementation(const std::string& text) {
    ImplementFolderIdx = Design->AddString(text);
    ImplementSheetIdx = ImplementFolderIdx;
}

int TDboHierarchicalBlock::GetWidth() const { return LibView ? LibView->Right - LibView->Left : Width; }

void TDboHierarchicalBlock::SetWidth(int width) {
    if (LibView) LibView->Right = static_cast<int16_t>(LibView->Left + width);
    else Width = static_cast<int16_t>(width);
}

int TDboHierarchicalBlock::GetHeight() const { return LibView ? LibView->Bottom - LibView->Top : Height; }

void TDboHierarchicalBlock::SetHeight(int height) {
    if (LibView) LibView->Bottom = static_cast<int16_t>(LibView->Top + height);
    else Height = static_cast<int16_t>(height);
}

TDboPinList* TDboHierarchicalBlock::GetPins() {
    if (LibView) return LibView->Pins.get();
    if (Pins) return Pins.get();
    if (Headered()) {
        LibView = Make<TDboLibView>(Design);
        return LibView->Pins.get();
    }
    Pins = Make<TDboPinList>(Design);
    return Pins.get();
}

// ---------------------------------------------------------------------------------------------
// TDboPartAndBlockList

std::unique_ptr<TDboStorableObject> TDboPartAndBlockList::ConstructObject(TDboIStream& stream) {
    switch (stream.LookAhead()) {
        case kIdHierarchicalBlock: return Make<TDboHierarchicalBlock>(Design);
        case kIdPart: return Make<TDboPart>(Design);
        default: return nullptr;
    }
}

}  // namespace orcadx::dbo
