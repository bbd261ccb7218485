#include "dbo/DboGraphicObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "dbo/DboBaseDesign.h"
#include "platform/CodePage.h"

namespace orcadx::dbo {

int32_t GR_ID = 1;

namespace {

int32_t ReadLe32(const std::vector<uint8_t>& b, size_t at) {
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i)
        if (at + i < b.size()) v |= uint32_t(b[at + i]) << (8 * i);
    return static_cast<int32_t>(v);
}

uint16_t ReadLe16(const std::vector<uint8_t>& b, size_t at) {
    return static_cast<uint16_t>(b[at] | (b[at + 1] << 8));
}

void PutLe16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

void PutLe32(std::vector<uint8_t>& out, int32_t v) {
    uint32_t u = static_cast<uint32_t>(v);
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(u >> (8 * i)));
}

void WriteFile(const std::string& fileName, const uint8_t* data, size_t size) {
    std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
    if (!out) throw Exception(fmt::format("Cannot create file {}", fileName));
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    if (!out) throw Exception(fmt::format("Cannot write file {}", fileName));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Vertices

int TDboVertex::Load(TDboIStream& stream) {
    stream.ReadWord("Y", Y);
    stream.ReadWord("X", X);
    return 0;
}

int TDboVertex::Save(TDboIStream& stream) {
    stream.WriteWord("Y", static_cast<uint16_t>(Y));
    stream.WriteWord("X", static_cast<uint16_t>(X));
    return 0;
}

TDboVertex* TDboVertices::AddVertex(int x, int y) {
    auto v = Make<TDboVertex>(Design);
    v->X = static_cast<int16_t>(x);
    v->Y = static_cast<int16_t>(y);
    TDboVertex* raw = v.get();
    Add(std::move(v));
    return raw;
}

// ---------------------------------------------------------------------------------------------
// TDboUnknown_02

void TDboUnknown_02::Initialize() {
    TDboStorableObject::Initialize();
    ID = 2;
}

int TDboUnknown_02::Load(TDboIStream& stream) {
    LoadHeader(stream);
    return 0;
}

int TDboUnknown_02::Save(TDboIStream& stream) {
    SaveHeader(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboLibObject

void TDboLibObject::Initialize() {
    TDboObject::Initialize();
    HasExtraBlock = true;
    EmbeddedWithBlock = false;
}

bool TDboLibObject::WritesExtraBlock() const { return Embedded ? EmbeddedWithBlock : HasExtraBlock; }

void TDboLibObject::GetHeaderRecord(int index, int64_t& value) {
    if (index == 0) {
        value = (WritesExtraBlock() ? ExtraDataSize() : 0) + FieldsSize();
        return;
    }
    if (index == 1) {
        GetHeaderRecord(0, value);
        value += 10;
        return;
    }
    TDboObject::GetHeaderRecord(index, value);
}

int TDboLibObject::Load(TDboIStream& stream) {
    stream.ReadByte("ID", ID);
    LoadHeader(stream);
    LoadFields(stream);
    // Taken in every headered file, also behind an embedded object that another program wrote.
    if (Headered()) {
        uint64_t before = stream.Position();
        LoadExtraData(stream);
        HasExtraBlock = stream.Position() != before;
        EmbeddedWithBlock = Embedded && HasExtraBlock;
    }
    return 0;
}

int TDboLibObject::Save(TDboIStream& stream) {
    stream.WriteByte("ID", ID);
    SaveHeader(stream);
    SaveFields(stream);
    if (WritesExtraBlock()) SaveExtraData(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Kinds of library objects

void TDboLibBox::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibBox;
}

void TDboLibBox::LoadFields(TDboIStream& stream) {
    stream.ReadInt("UpperLeftX", UpperLeftX);
    stream.ReadInt("UpperLeftY", UpperLeftY);
    stream.ReadInt("LowerRightX", LowerRightX);
    stream.ReadInt("LowerRightY", LowerRightY);
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
    stream.ReadInt("FillStyle", FillStyle);
    stream.ReadInt("BoxHatchStyle", BoxHatchStyle);
}

void TDboLibBox::SaveFields(TDboIStream& stream) {
    stream.WriteInt("UpperLeftX", UpperLeftX);
    stream.WriteInt("UpperLeftY", UpperLeftY);
    stream.WriteInt("LowerRightX", LowerRightX);
    stream.WriteInt("LowerRightY", LowerRightY);
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
    stream.WriteInt("FillStyle", FillStyle);
    stream.WriteInt("BoxHatchStyle", BoxHatchStyle);
}

void TDboLibLine::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibLine;
}

void TDboLibLine::LoadFields(TDboIStream& stream) {
    stream.ReadInt("StartX", StartX);
    stream.ReadInt("StartY", StartY);
    stream.ReadInt("EndX", EndX);
    stream.ReadInt("EndY", EndY);
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
}

void TDboLibLine::SaveFields(TDboIStream& stream) {
    stream.WriteInt("StartX", StartX);
    stream.WriteInt("StartY", StartY);
    stream.WriteInt("EndX", EndX);
    stream.WriteInt("EndY", EndY);
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
}

void TDboLibArc::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibArc;
}

void TDboLibArc::LoadFields(TDboIStream& stream) {
    stream.ReadInt("BoundBoxLeft", BoundBoxLeft);
    stream.ReadInt("BoundBoxTop", BoundBoxTop);
    stream.ReadInt("BoundBoxRight", BoundBoxRight);
    stream.ReadInt("BoundBoxBott", BoundBoxBott);
    stream.ReadInt("StartX", StartX);
    stream.ReadInt("StartY", StartY);
    stream.ReadInt("EndX", EndX);
    stream.ReadInt("EndY", EndY);
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
}

void TDboLibArc::SaveFields(TDboIStream& stream) {
    stream.WriteInt("BoundBoxLeft", BoundBoxLeft);
    stream.WriteInt("BoundBoxTop", BoundBoxTop);
    stream.WriteInt("BoundBoxRight", BoundBoxRight);
    stream.WriteInt("BoundBoxBott", BoundBoxBott);
    stream.WriteInt("StartX", StartX);
    stream.WriteInt("StartY", StartY);
    stream.WriteInt("EndX", EndX);
    stream.WriteInt("EndY", EndY);
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
}

void TDboLibEllipse::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibEllipse;
}

void TDboLibEllipse::LoadFields(TDboIStream& stream) {
    stream.ReadInt("BoundBoxLeft", BoundBoxLeft);
    stream.ReadInt("BoundBoxTop", BoundBoxTop);
    stream.ReadInt("BoundBoxRight", BoundBoxRight);
    stream.ReadInt("BoundBoxBott", BoundBoxBott);
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
    stream.ReadInt("FillStyle", FillStyle);
    stream.ReadInt("EllipseHatchStyle", EllipseHatchStyle);
}

void TDboLibEllipse::SaveFields(TDboIStream& stream) {
    stream.WriteInt("BoundBoxLeft", BoundBoxLeft);
    stream.WriteInt("BoundBoxTop", BoundBoxTop);
    stream.WriteInt("BoundBoxRight", BoundBoxRight);
    stream.WriteInt("BoundBoxBott", BoundBoxBott);
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
    stream.WriteInt("FillStyle", FillStyle);
    stream.WriteInt("EllipseHatchStyle", EllipseHatchStyle);
}

void TDboLibFilledGraphic::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibFilledGraphic;
}

void TDboLibFilledGraphic::LoadFields(TDboIStream& stream) {
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
    stream.ReadInt("FillStyle", FillStyle);
    stream.ReadInt("HatchStyle", HatchStyle);
    Vertices.Load(stream);
}

void TDboLibFilledGraphic::SaveFields(TDboIStream& stream) {
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
    stream.WriteInt("FillStyle", FillStyle);
    stream.WriteInt("HatchStyle", HatchStyle);
    Vertices.Save(stream);
}

void TDboLibPolyLine::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibPolyLine;
}

void TDboLibPolyLine::LoadFields(TDboIStream& stream) {
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
    Vertices.Load(stream);
}

void TDboLibPolyLine::SaveFields(TDboIStream& stream) {
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
    Vertices.Save(stream);
}

void TDboLibBezier::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibBezier;
}

void TDboLibBezier::LoadFields(TDboIStream& stream) {
    stream.ReadInt("LineStyle", LineStyle);
    stream.ReadInt("LineWidth", LineWidth);
    Vertices.Load(stream);
}

void TDboLibBezier::SaveFields(TDboIStream& stream) {
    stream.WriteInt("LineStyle", LineStyle);
    stream.WriteInt("LineWidth", LineWidth);
    Vertices.Save(stream);
}

void TDboLibCommentText::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibCommentText;
}

void TDboLibCommentText::LoadFields(TDboIStream& stream) {
    stream.ReadInt("BoundBoxLeft", BoundBoxLeft);
    stream.ReadInt("BoundBoxTop", BoundBoxTop);
    stream.ReadInt("BoundBoxRight", BoundBoxRight);
    stream.ReadInt("BoundBoxBott", BoundBoxBott);
    stream.ReadInt("TxtLocationX", TxtLocationX);
    stream.ReadInt("TxtLocationY", TxtLocationY);
    stream.ReadInt("FontID", FontID);
    FontID &= 0x3FFF;
    stream.ReadStr("Txt", Txt);
}

void TDboLibCommentText::SaveFields(TDboIStream& stream) {
    stream.WriteInt("BoundBoxLeft", BoundBoxLeft);
    stream.WriteInt("BoundBoxTop", BoundBoxTop);
    stream.WriteInt("BoundBoxRight", BoundBoxRight);
    stream.WriteInt("BoundBoxBott", BoundBoxBott);
    stream.WriteInt("TxtLocationX", TxtLocationX);
    stream.WriteInt("TxtLocationY", TxtLocationY);
    stream.WriteInt("FontID", FontID & 0x3FFF);
    stream.WriteStr("Txt", Txt);
}

bool TDboLibCommentText::IsMultiline() const {
    if (Txt.find_first_of("\r\n") != std::string::npos) return true;
    // Characters are counted as the file stores them: one byte each.
    return platform::Utf8ToAnsi(Txt).size() > 255;
}

void TDboLibBitmap::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibBitmap;
}

void TDboLibBitmap::LoadFields(TDboIStream& stream) {
    stream.ReadInt("BoundBoxLeft", BoundBoxLeft);
    stream.ReadInt("BoundBoxTop", BoundBoxTop);
    stream.ReadInt("BoundBoxRight", BoundBoxRight);
    stream.ReadInt("BoundBoxBott", BoundBoxBott);
    stream.ReadInt("OffsetX", OffsetX);
    stream.ReadInt("OffsetY", OffsetY);
    stream.ReadInt("Width", Width);
    stream.ReadInt("Height", Height);
    stream.ReadInt("BmpLen", BmpLen);
    if (BmpLen < 0) throw EDboFileIO(fmt::format("Invalid bitmap size {} in {}", BmpLen, stream.GetName()));
    // The size is checked against what the stream holds before anything is allocated.
    stream.ReadData("Bmp", Bmp, static_cast<uint64_t>(BmpLen));
}

void TDboLibBitmap::SaveFields(TDboIStream& stream) {
    stream.WriteInt("BoundBoxLeft", BoundBoxLeft);
    stream.WriteInt("BoundBoxTop", BoundBoxTop);
    stream.WriteInt("BoundBoxRight", BoundBoxRight);
    stream.WriteInt("BoundBoxBott", BoundBoxBott);
    stream.WriteInt("OffsetX", OffsetX);
    stream.WriteInt("OffsetY", OffsetY);
    stream.WriteInt("Width", Width);
    stream.WriteInt("Height", Height);
    // The block as it stands decides the stored length.
    stream.WriteInt("BmpLen", static_cast<int32_t>(Bmp.size()));
    if (!Bmp.empty()) stream.WriteData("Bmp", Bmp);
}

bool TDboLibBitmap::ExtractBitmap(const std::string& fileName) const {
    if (Bmp.empty()) return false;
    std::vector<uint8_t> file;
    file.reserve(14 + Bmp.size());
    PutLe16(file, 0x4D42);  // "BM"
    PutLe32(file, static_cast<int32_t>(14 + Bmp.size()));
    PutLe16(file, 0);
    PutLe16(file, 0);
    // The pixels follow the file header and the bitmap's own header, whose first Int is its size.
    PutLe32(file, ReadLe32(Bmp, 0) + 14);
    file.insert(file.end(), Bmp.begin(), Bmp.end());
    WriteFile(fileName, file.data(), file.size());
    return true;
}

bool TDboLibBitmap::TryExtractCompressedGraphic(const std::string& fileName, const uint8_t* signature,
                                                int signatureLength) const {
    static const char kMarker[] = "~~CI_IMAGE~~";
    constexpr size_t kMarkerLength = 12;
    const size_t len = Bmp.size();
    if (len < 15) return false;
    const int sigLen = signature ? std::max(signatureLength, 0) : 0;

    size_t q = 0;   // start of the payload of the place found
    uint64_t n = 0;  // its stated size
    bool found = false;
    for (size_t p = 0; p + 15 <= len && !found; ++p) {
        if (std::memcmp(Bmp.data() + p, kMarker, kMarkerLength) != 0) continue;
        // The byte behind the marker is passed over; the next gives the count of size digits.
        size_t digits = Bmp[p + 13];
        if (digits == 0) continue;
        size_t start = p + 14;
        if (start + digits > len) continue;
        uint64_t value = 0;
        bool number = true;
        for (size_t i = 0; i < digits && number; ++i) {
            uint8_t c = Bmp[start + i];
            if (c < '0' || c > '9' || value > (UINT64_MAX - 9) / 10) number = false;
            else value = value * 10 + (c - '0');
        }
        if (!number) continue;
        size_t payload = start + digits;
        if (payload + static_cast<size_t>(sigLen) > len) continue;
        if (sigLen > 0 && std::memcmp(Bmp.data() + payload, signature, static_cast<size_t>(sigLen)) != 0) continue;
        q = payload;
        n = value;
        found = true;
    }
    if (!found || q == 0 || n == 0 || n > len - q) return false;
    WriteFile(fileName, Bmp.data() + q, static_cast<size_t>(n));
    return true;
}

void TDboLibBitmap::AssignBitmap(const std::vector<uint8_t>& dib) {
    Bmp.clear();
    BmpLen = 0;
    if (dib.empty()) return;
    // The bitmap's size stands in its header: BITMAPCOREHEADER (12 bytes) has 16-bit width and
    // height, every later header 32-bit ones.
    if (dib.size() < 12) throw Exception(fmt::format("Invalid bitmap: {} bytes are too few for a header", dib.size()));
    int32_t headerSize = ReadLe32(dib, 0);
    int32_t w, h;
    if (headerSize == 12) {
        w = ReadLe16(dib, 4);
        h = ReadLe16(dib, 6);
    } else if (headerSize >= 16 && static_cast<size_t>(headerSize) <= dib.size()) {
        w = ReadLe32(dib, 4);
        h = ReadLe32(dib, 8);
    } else {
        throw Exception(fmt::format("Invalid bitmap: header size {} in a block of {} bytes", headerSize, dib.size()));
    }
    Bmp = dib;
    BmpLen = static_cast<int32_t>(Bmp.size());
    OffsetX = 0;
    OffsetY = 0;
    Width = std::abs(w);
    // A negative height marks a top-down bitmap; the picture's height is its magnitude.
    Height = std::abs(h);
}

// ---------------------------------------------------------------------------------------------
// Lists

std::unique_ptr<TDboObject> TDboGraphicInstanceList::ConstructObject(TDboBaseDesign* design, int id) {
    if (!design) throw Exception("Design should be assigned.");
    switch (id) {
        case kIdLibBox: return Make<TDboLibBox>(design);
        case kIdLibLine: return Make<TDboLibLine>(design);
        case kIdLibArc: return Make<TDboLibArc>(design);
        case kIdLibEllipse: return Make<TDboLibEllipse>(design);
        case kIdLibFilledGraphic: return Make<TDboLibFilledGraphic>(design);
        case kIdLibPolyLine: return Make<TDboLibPolyLine>(design);
        case kIdLibCommentText: return Make<TDboLibCommentText>(design);
        case kIdLibBitmap: return Make<TDboLibBitmap>(design);
        case kIdLibIEEE: return Make<TDboLibIEEE>(design);
        case kIdLibBezier: return Make<TDboLibBezier>(design);
        case kIdBox: return Make<TDboBox>(design);
        case kIdLine: return Make<TDboLine>(design);
        case kIdArc: return Make<TDboArc>(design);
        case kIdEllipse: return Make<TDboEllipse>(design);
        case kIdFilledGraphic: return Make<TDboFilledGraphic>(design);
        case kIdPolyLine: return Make<TDboPolyLine>(design);
        case kIdCommentText: return Make<TDboCommentText>(design);
        case kIdBitmap: return Make<TDboBitmap>(design);
        case kIdBezier: return Make<TDboBezier>(design);
        case kIdOleObject: return Make<TDboOleObject>(design);
        default: throw Exception(fmt::format("Unknown object type: {}.", id));
    }
}

std::unique_ptr<TDboStorableObject> TDboGraphicInstanceList::ConstructObject(TDboIStream& stream) {
    if (!Design) throw Exception("Design should be assigned.");
    return ConstructObject(Design, stream.LookAhead());
}

std::unique_ptr<TDboStorableObject> TDboLibIEEEGraphicInstanceList::ConstructObject(TDboIStream& stream) {
    auto object = TDboGraphicInstanceList::ConstructObject(stream);
    object->LeadByte = true;
    return object;
}

void TDboLibIEEEGraphicInstanceList::Add(std::unique_ptr<TDboStorableObject> item) {
    if (item) item->LeadByte = true;
    TDboGraphicInstanceList::Add(std::move(item));
}

// ---------------------------------------------------------------------------------------------
// TDboLibIEEE

void TDboLibIEEE::Initialize() {
    TDboLibObject::Initialize();
    ID = kIdLibIEEE;
}

void TDboLibIEEE::GetHeaderRecord(int, int64_t&) { throw Exception("TDboLibIEEE.GetHeaderRecord"); }

namespace {
// IEEE symbols can hold IEEE symbols; a damaged file must not nest them deep enough to exhaust the
// stack. Real symbols hold none.
constexpr int kMaxIEEENesting = 32;
int ieeeNesting = 0;
}  // namespace

int TDboLibIEEE::Load(TDboIStream& stream) {
    stream.ReadByte("ID", ID);
    LoadHeader(stream);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    if (ieeeNesting >= kMaxIEEENesting)
        throw EDboFileIO(fmt::format("IEEE symbols nested more than {} deep in {} at {:08X}", kMaxIEEENesting,
                                     stream.GetName(), stream.Position()));
    ++ieeeNesting;
    try {
        Graphics.Load(stream);
    } catch (...) {
        --ieeeNesting;
        throw;
    }
    --ieeeNesting;
    stream.ReadStr("IEEESym", IEEESym);
    return 0;
}

int TDboLibIEEE::Save(TDboIStream& stream) {
    stream.WriteByte("ID", ID);
    SaveHeader(stream);
    stream.WriteWord("LocationX", LocationX);
    stream.WriteWord("LocationY", LocationY);
    Graphics.Save(stream);
    stream.WriteStr("IEEESym", IEEESym);
    EndRecord(stream);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// TDboGraphicInstance

TDboGraphicInstance::TDboGraphicInstance(TDboBaseDesign* design)
    : TDboObject(design), Unknown02(Make<TDboUnknown_02>(design)) {}

TDboGraphicInstance::~TDboGraphicInstance() = default;

void TDboGraphicInstance::Initialize() {
    TDboObject::Initialize();
    GR_ID = dbo::GR_ID++;
    BoundingBoxLeft = BoundingBoxTop = BoundingBoxRight = BoundingBoxBottom = 0;
    LocationX = LocationY = 0;
    ObjectType = 0;
    ID_02 = 0;
    UnknownB = UnknownB2 = UnknownB3 = 0;
    std::memset(UnknownB8, 0, sizeof UnknownB8);
    std::memset(UnknownB11, 0, sizeof UnknownB11);
    std::memset(UnknownB12, 0, sizeof UnknownB12);
    std::memset(UnknownB13, 0, sizeof UnknownB13);
    Name = 0x02020000;
    Owner = 65535;
    DefiningGraphicObject = 0;
    HatchStyle = 0;
    UsrData1 = 1;
    UsrData2 = 0;
}

int TDboGraphicInstance::Load(TDboIStream& stream) {
    const bool headered = Headered();
    if (headered) {
        LoadHeader(stream);
        stream.ReadData("UnknownB11", UnknownB11, sizeof UnknownB11);
    } else {
        stream.ReadByte("ID", ID);
        stream.ReadData("UnknownB13", UnknownB13, sizeof UnknownB13);
    }
    stream.ReadInt("GR_ID", GR_ID);
    stream.ReadWord("BoundingBoxLeft", BoundingBoxLeft);
    stream.ReadWord("BoundingBoxTop", BoundingBoxTop);
    stream.ReadWord("BoundingBoxRight", BoundingBoxRight);
    stream.ReadWord("BoundingBoxBottom", BoundingBoxBottom);
    stream.ReadWord("LocationX", LocationX);
    stream.ReadWord("LocationY", LocationY);
    stream.ReadWord("RotColMirr", RotColMirr);
    stream.ReadByte("ObjectType", ObjectType);
    stream.ReadByte("UnknownB", UnknownB);
    if (headered) {
        stream.ReadByte("UnknownB2", UnknownB2);
        stream.ReadByte("UnknownB3", UnknownB3);
        stream.ReadByte("ID_02", ID_02);
        Unknown02->Load(stream);
        stream.ReadData("UnknownB12", UnknownB12, sizeof UnknownB12);
    } else {
        stream.ReadInt("Name", Name);
        stream.ReadInt("Owner", Owner);
        stream.ReadInt("DefiningGraphicObject", DefiningGraphicObject);
        stream.ReadInt("HatchStyle", HatchStyle);
        stream.ReadByte("UsrData1", UsrData1);
        stream.ReadByte("UsrData2", UsrData2);
    }
    if (TDboLibObject* lib = GetLibObject()) lib->Load(stream);
    if (Extended()) stream.ReadData("UnknownB8", UnknownB8, sizeof UnknownB8);
    return 0;
}

int TDboGraphicInstance::Save(TDboIStream& stream) {
    const bool headered = Headered();
    if (headered) {
        SaveHeader(stream);
        stream.WriteData("UnknownB11", UnknownB11, sizeof UnknownB11);
    } else {
        stream.WriteByte("ID", ID);
        stream.WriteData("UnknownB13", UnknownB13, sizeof UnknownB13);
    }
    stream.WriteInt("GR_ID", GR_ID);
    stream.WriteWord("BoundingBoxLeft", static_cast<uint16_t>(BoundingBoxLeft));
    stream.WriteWord("BoundingBoxTop", static_cast<uint16_t>(BoundingBoxTop));
    stream.WriteWord("BoundingBoxRight", static_cast<uint16_t>(BoundingBoxRight));
    stream.WriteWord("BoundingBoxBottom", static_cast<uint16_t>(BoundingBoxBottom));
    stream.WriteWord("LocationX", static_cast<uint16_t>(LocationX));
    stream.WriteWord("LocationY", static_cast<uint16_t>(LocationY));
    stream.WriteWord("RotColMirr", RotColMirr);
    stream.WriteByte("ObjectType", ObjectType);
    stream.WriteByte("UnknownB", UnknownB);
    if (headered) {
        stream.WriteByte("UnknownB2", UnknownB2);
        stream.WriteByte("UnknownB3", UnknownB3);
        stream.WriteByte("ID_02", ID_02);
        Unknown02->Save(stream);
        stream.WriteData("UnknownB12", UnknownB12, sizeof UnknownB12);
        // The inner record's middle size header counts half of "UnknownB12"; its first one counts
        // to the end of the instance, as the instance's own does.
        Unknown02->CloseHeaderRecord(stream, 6);
    } else {
        stream.WriteInt("Name", Name);
        stream.WriteInt("Owner", Owner);
        stream.WriteInt("DefiningGraphicObject", DefiningGraphicObject);
        stream.WriteInt("HatchStyle", HatchStyle);
        stream.WriteByte("UsrData1", UsrData1);
        stream.WriteByte("UsrData2", UsrData2);
    }
    if (TDboLibObject* lib = GetLibObject()) lib->Save(stream);
    if (Extended()) stream.WriteData("UnknownB8", UnknownB8, sizeof UnknownB8);
    Unknown02->EndRecord(stream);
    EndRecord(stream);
    return 0;
}

// Each kind makes its library object, which it embeds.
#define DBO_GRAPHIC_INSTANCE_IMPL(Name, LibClass, Id)                                             \
    Name::Name(TDboBaseDesign* design) : TDboGraphicInstance(design), LibObject(Make<LibClass>(design)) { \
        LibObject->Embedded = true;                                                               \
    }                                                                                             \
    void Name::Initialize() {                                                                     \
        TDboGraphicInstance::Initialize();                                                        \
        ID = Id;                                                                                  \
    }

DBO_GRAPHIC_INSTANCE_IMPL(TDboBox, TDboLibBox, kIdBox)
DBO_GRAPHIC_INSTANCE_IMPL(TDboLine, TDboLibLine, kIdLine)
DBO_GRAPHIC_INSTANCE_IMPL(TDboArc, TDboLibArc, kIdArc)
DBO_GRAPHIC_INSTANCE_IMPL(TDboEllipse, TDboLibEllipse, kIdEllipse)
DBO_GRAPHIC_INSTANCE_IMPL(TDboFilledGraphic, TDboLibFilledGraphic, kIdFilledGraphic)
DBO_GRAPHIC_INSTANCE_IMPL(TDboPolyLine, TDboLibPolyLine, kIdPolyLine)
DBO_GRAPHIC_INSTANCE_IMPL(TDboCommentText, TDboLibCommentText, kIdCommentText)
DBO_GRAPHIC_INSTANCE_IMPL(TDboBitmap, TDboLibBitmap, kIdBitmap)
DBO_GRAPHIC_INSTANCE_IMPL(TDboBezier, TDboLibBezier, kIdBezier)

#undef DBO_GRAPHIC_INSTANCE_IMPL

// ---------------------------------------------------------------------------------------------
// TDboOleObject

void TDboOleObject::Initialize() {
    TDboGraphicInstance::Initialize();
    ID = kIdOleObject;
}

int TDboOleObject::Load(TDboIStream& stream) {
    stream.ReadByte("ID", ID);
    uint8_t size[8];
    stream.ReadData("ObjectSize", size, sizeof size);
    uint64_t n = 0;
    for (int i = 0; i < 8; ++i) n |= uint64_t(size[i]) << (8 * i);
    ObjectSize = static_cast<int64_t>(n);
    // The object's contents aren't carried further. A size past the end of the stream raises
    // before anything is allocated.
    std::vector<uint8_t> dropped;
    stream.ReadData("OLE OBJECT", dropped, n);
    return 0;
}

int TDboOleObject::Save(TDboIStream&) { return 0; }

}  // namespace orcadx::dbo
