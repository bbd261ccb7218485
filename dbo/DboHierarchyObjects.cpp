#include "dbo/DboHierarchyObjects.h"

#include <fmt/format.h>

namespace orcadx::dbo {

namespace {

// Depth of TDboHierarchyRecord loads in progress on this thread.
thread_local int gRecordDepth = 0;

class DepthGuard {
public:
    explicit DepthGuard(TDboIStream& stream) {
        if (gRecordDepth >= kMaxHierarchyDepth)
            throw Exception(fmt::format("Hierarchy records nest deeper than {} levels in stream {} at {:08X}",
                                        kMaxHierarchyDepth, stream.GetName(), stream.Position()));
        ++gRecordDepth;
    }
    ~DepthGuard() { --gRecordDepth; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;
};

// Blocks of a mask and two dropped Ints that stand between the title blocks and the extra-data
// block of headered hierarchy records.
void SkipUnknownBlocks(TDboIStream& stream, const char* countName, const char* intName) {
    int32_t count = 0;
    stream.ReadInt(countName, count);
    for (int32_t i = 0; i < count; ++i) {
        stream.SkipTo("5B Data", kEndBlockMask, 7);
        int32_t dropped;
        stream.ReadInt(intName, dropped);
        stream.ReadInt(intName, dropped);
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TDboHierarchyObject

void TDboHierarchyObject::LoadUserProps(TDboIStream& stream) { Props.Load(stream); }
void TDboHierarchyObject::SaveUserProps(TDboIStream& stream) { Props.Save(stream); }
int64_t TDboHierarchyObject::UserPropsSize() { return Props.FullObjectSize(); }

int TDboHierarchyObject::Load(TDboIStream& stream) {
    LoadHeader(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Pins, nets, title blocks

void TDboHierarchyPin::Initialize() {
    TDboHierarchyObject::Initialize();
    ArrayIndex = 0;
    Order = 0;
}

int TDboHierarchyPin::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadInt("ArrayIndex", ArrayIndex);
    if (ArrayIndex >= 0) stream.ReadWord("Order", Order);
    else stream.ReadStr("PortName", PortName);
    return 0;
}

void TDboHierarchyNet::Initialize() {
    TDboHierarchyObject::Initialize();
    NetID = 0;
}

int TDboHierarchyNet::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadInt("NetID", NetID);
    stream.ReadStr("NetName", NetName);
    return 0;
}

void TDboHierarchyTitleBlock::Initialize() {
    TDboHierarchyObject::Initialize();
    TitleBlockID = 0;
    SearchIndex = 0;
}

int TDboHierarchyTitleBlock::Load(TDboIStream& stream) {
    LoadHeader(stream);
    stream.ReadInt("TitleBlockID", TitleBlockID);
    stream.ReadInt("SearchIndex", SearchIndex);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboHierarchyRecord

TDboHierarchyRecord::TDboHierarchyRecord(TDboBaseDesign* design)
    : TDboHierarchyObject(design),
      Pins(design, ClassOf<TDboHierarchyPin>()),
      Nets(design, ClassOf<TDboHierarchyNet>()),
      TitleBlocks(design, ClassOf<TDboHierarchyTitleBlock>()),
      Records(design, ClassOf<TDboHierarchyRecord>()) {}

void TDboHierarchyRecord::Initialize() {
    TDboHierarchyObject::Initialize();
    RecordID = 0;
    SearchIndex = 0;
    ImplementationName.clear();
    PartReference.clear();
    PartIDIndex = 0;
}

int TDboHierarchyRecord::Load(TDboIStream& stream) {
    DepthGuard guard(stream);
    LoadHeader(stream);
    stream.ReadInt("RecordID", RecordID);
    stream.ReadInt("SearchIndex", SearchIndex);
    if (Headered()) stream.ReadData("UnknownB9", UnknownB9);
    stream.ReadStr("ImplementationName", ImplementationName);
    stream.ReadStr("PartReference", PartReference);
    stream.ReadWord("PartIDIndex", PartIDIndex);
    if (Headered()) stream.ReadWord("UnknownW", UnknownW);
    Pins.Load(stream);
    Nets.Load(stream);
    TitleBlocks.Load(stream);
    if (Headered()) {
        SkipUnknownBlocks(stream, "UnkCount", "UnkInt");
        LoadExtraData(stream);
    }
    Records.Load(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboHierarchy

TDboHierarchy::TDboHierarchy(TDboBaseDesign* design)
    : TDboStorableObject(design),
      Pins(design, ClassOf<TDboHierarchyPin>()),
      Nets(design, ClassOf<TDboHierarchyNet>()),
      TitleBlocks(design, ClassOf<TDboHierarchyTitleBlock>()),
      Records(design, ClassOf<TDboHierarchyRecord>()) {}

void TDboHierarchy::Initialize() {
    TDboStorableObject::Initialize();
    ImplementationName.clear();
    PartReference.clear();
}

int TDboHierarchy::Load(TDboIStream& stream) {
    const bool headered = Headered();
    if (headered) stream.ReadData("UnknownB9", UnknownB9);
    stream.ReadStr("ImplementationName", ImplementationName);
    if (headered) {
        stream.ReadData("UnknownB7", UnknownB7);
        PartReference = ImplementationName;
    } else {
        stream.ReadStr("PartReference", PartReference);
        stream.ReadData("UnknownB2", UnknownB2);
    }
    Pins.Load(stream);
    Nets.Load(stream);
    TitleBlocks.Load(stream);
    if (headered) {
        SkipUnknownBlocks(stream, "_UnkCount", "_UnkInt");
        LoadExtraData(stream);
    }
    Records.Load(stream);
    return 0;
}

}  // namespace orcadx::dbo
