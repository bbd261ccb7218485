// Drawing records of a Capture file. A library object (TDboLibObject and its kinds) is bare
// geometry as it stands inside a symbol or a part view. A graphic instance (TDboGraphicInstance and
// its kinds) is a drawing placed on a page: location, bounding box and placement data around
// exactly one embedded library object. TDboGraphicInstanceList holds either form and picks the
// class of each record by its leading type code.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dbo/DboBaseObjects.h"

namespace orcadx::dbo {

// Type codes: the first byte of each drawing record.
enum TDboGraphicId : uint8_t {
    kIdLibBox = 40,
    kIdLibLine = 41,
    kIdLibArc = 42,
    kIdLibEllipse = 43,
    kIdLibFilledGraphic = 44,
    kIdLibPolyLine = 45,
    kIdLibCommentText = 46,
    kIdLibBitmap = 47,
    kIdLibIEEE = 48,
    kIdBox = 55,
    kIdLine = 56,
    kIdArc = 57,
    kIdEllipse = 58,
    kIdFilledGraphic = 59,
    kIdPolyLine = 60,
    kIdCommentText = 61,
    kIdBitmap = 62,
    kIdLibBezier = 87,
    kIdBezier = 88,
    kIdOleObject = 89,
};

// The value the next graphic instance takes as its GR_ID. Module-wide, starts at 1 and rises with
// every instance created, also those that a load then overwrites.
extern int32_t GR_ID;

// ---------------------------------------------------------------------------------------------
// Vertices

// One point of a poly-line, polygon or Bezier; stored Y first.
class TDboVertex : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboVertex)

    int16_t X = 0;
    int16_t Y = 0;

    int64_t FullObjectSize() override { return 4; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboVertices : public TDboSimpleObjectList {
public:
    explicit TDboVertices(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboVertex>()) {}
    DBO_CLASS_NAME(TDboVertices)

    TDboVertex* AddVertex(int x, int y);
    TDboVertex* GetVertices(int index) const { return As<TDboVertex>(index); }
};

// A record of three size headers and no fields, found inside graphic instances of headered files.
class TDboUnknown_02 : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboUnknown_02)

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 3; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Library objects

// Head of every library object: "ID", the simple frame, the kind's fields, and in headered files an
// extra-data block at the end. An embedded object (inside a graphic instance) never writes that
// block and doesn't count it, though a reader takes it when another program wrote one.
class TDboLibObject : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboLibObject)

    bool Embedded = false;
    // Capture writes library objects both with and without the extra-data block. A record read
    // from a headered file without one is written back without one; any other has it.
    bool HasExtraBlock = true;
    // An embedded object read with the block (Capture writes some so) is written back with it.
    bool EmbeddedWithBlock = false;

    void Initialize() override;
    int HeaderKind() const override { return 1; }
    int HeaderRecordCount() const override { return 1; }
    // 0: the kind's fields plus the extra-data block when it is written; 1: that + 10 (the two
    // "ID" bytes and "Header").
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // The fields of the kind, between the head and the extra-data block.
    virtual void LoadFields(TDboIStream&) {}
    virtual void SaveFields(TDboIStream&) {}
    virtual int64_t FieldsSize() { return 0; }

    // Whether Save writes the extra-data block (and the header counts it).
    bool WritesExtraBlock() const;
};

class TDboLibBox : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibBox)

    int32_t UpperLeftX = 0, UpperLeftY = 0, LowerRightX = 0, LowerRightY = 0;
    int32_t LineStyle = 0, LineWidth = 0, FillStyle = 0, BoxHatchStyle = 0;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 32; }
};

class TDboLibLine : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibLine)

    int32_t StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    int32_t LineStyle = 0, LineWidth = 0;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 24; }
};

class TDboLibArc : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibArc)

    int32_t BoundBoxLeft = 0, BoundBoxTop = 0, BoundBoxRight = 0, BoundBoxBott = 0;
    int32_t StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    int32_t LineStyle = 0, LineWidth = 0;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 40; }
};

class TDboLibEllipse : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibEllipse)

    int32_t BoundBoxLeft = 0, BoundBoxTop = 0, BoundBoxRight = 0, BoundBoxBott = 0;
    int32_t LineStyle = 0, LineWidth = 0, FillStyle = 0, EllipseHatchStyle = 0;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 32; }
};

// A polygon.
class TDboLibFilledGraphic : public TDboLibObject {
public:
    explicit TDboLibFilledGraphic(TDboBaseDesign* design) : TDboLibObject(design), Vertices(design) {}
    DBO_CLASS_NAME(TDboLibFilledGraphic)

    int32_t LineStyle = 0, LineWidth = 0, FillStyle = 0, HatchStyle = 0;
    TDboVertices Vertices;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 16 + Vertices.FullObjectSize(); }
};

class TDboLibPolyLine : public TDboLibObject {
public:
    explicit TDboLibPolyLine(TDboBaseDesign* design) : TDboLibObject(design), Vertices(design) {}
    DBO_CLASS_NAME(TDboLibPolyLine)

    int32_t LineStyle = 0, LineWidth = 0;
    TDboVertices Vertices;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 8 + Vertices.FullObjectSize(); }
};

// A Bezier curve: its vertices are the curve's points and control points as they stand.
class TDboLibBezier : public TDboLibObject {
public:
    explicit TDboLibBezier(TDboBaseDesign* design) : TDboLibObject(design), Vertices(design) {}
    DBO_CLASS_NAME(TDboLibBezier)

    int32_t LineStyle = 0, LineWidth = 0;
    TDboVertices Vertices;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 8 + Vertices.FullObjectSize(); }
};

class TDboLibCommentText : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibCommentText)

    int32_t BoundBoxLeft = 0, BoundBoxTop = 0, BoundBoxRight = 0, BoundBoxBott = 0;
    int32_t TxtLocationX = 0, TxtLocationY = 0;
    int32_t FontID = 0;  // low 14 bits of the stored value
    std::string Txt;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 28 + StrSize(Txt); }

    // True when the text holds a carriage return or a line feed, or is longer than 255 characters.
    bool IsMultiline() const;
};

// A picture: `Bmp` is a Windows device-independent bitmap (header, then bits), which may carry a
// compressed image file behind the marker "~~CI_IMAGE~~".
class TDboLibBitmap : public TDboLibObject {
public:
    using TDboLibObject::TDboLibObject;
    DBO_CLASS_NAME(TDboLibBitmap)

    int32_t BoundBoxLeft = 0, BoundBoxTop = 0, BoundBoxRight = 0, BoundBoxBott = 0;
    int32_t OffsetX = 0, OffsetY = 0, Width = 0, Height = 0;
    int32_t BmpLen = 0;
    std::vector<uint8_t> Bmp;

    void Initialize() override;
    void LoadFields(TDboIStream& stream) override;
    void SaveFields(TDboIStream& stream) override;
    int64_t FieldsSize() override { return 36 + static_cast<int64_t>(Bmp.size()); }

    // Writes the block as a .bmp file (file header, then the block). False when there is no block.
    bool ExtractBitmap(const std::string& fileName) const;
    // Writes the image file found behind "~~CI_IMAGE~~" whose first bytes are `signature`. False
    // when there is none or its stated size runs past the block.
    bool TryExtractCompressedGraphic(const std::string& fileName, const uint8_t* signature,
                                     int signatureLength) const;
    // Takes a device-independent bitmap (header, then bits) as the block; the offsets become 0 and
    // the size that of the bitmap. An empty block leaves BmpLen 0 and the rest as it was.
    void AssignBitmap(const std::vector<uint8_t>& dib);
};

// ---------------------------------------------------------------------------------------------
// Lists

class TDboGraphicInstanceList : public TDboStorableList {
public:
    explicit TDboGraphicInstanceList(TDboBaseDesign* design) : TDboStorableList(design) {}
    DBO_CLASS_NAME(TDboGraphicInstanceList)

    // Creates the record of type code `id` (library object or instance). Raises "Design should be
    // assigned." without a design and "Unknown object type: %d." for a code outside the table.
    static std::unique_ptr<TDboObject> ConstructObject(TDboBaseDesign* design, int id);
    // Chooses by the next byte of the stream, which stays unread.
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;

    TDboObject* GetInstances(int index) const { return As<TDboObject>(index); }
};

// The graphics of an IEEE symbol: each library object in it has a lead byte behind its "ID".
class TDboLibIEEEGraphicInstanceList : public TDboGraphicInstanceList {
public:
    using TDboGraphicInstanceList::TDboGraphicInstanceList;
    DBO_CLASS_NAME(TDboLibIEEEGraphicInstanceList)

    using TDboGraphicInstanceList::ConstructObject;
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    // Every object of the list stands with the lead byte, also one made in code and added.
    void Add(std::unique_ptr<TDboStorableObject> item) override;
};

// An IEEE symbol: a located group of library objects with its symbol name.
class TDboLibIEEE : public TDboLibObject {
public:
    explicit TDboLibIEEE(TDboBaseDesign* design) : TDboLibObject(design), Graphics(design) {}
    DBO_CLASS_NAME(TDboLibIEEE)

    uint16_t LocationX = 0;
    uint16_t LocationY = 0;
    TDboLibIEEEGraphicInstanceList Graphics;
    std::string IEEESym;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    // Its sizes are measured as it is written; asked to compute them, it raises.
    bool MeasuresHeader() const override { return true; }
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// ---------------------------------------------------------------------------------------------
// Graphic instances

class TDboGraphicInstance : public TDboObject {
public:
    explicit TDboGraphicInstance(TDboBaseDesign* design);
    ~TDboGraphicInstance() override;
    DBO_CLASS_NAME(TDboGraphicInstance)

    int32_t GR_ID = 0;
    int16_t BoundingBoxLeft = 0, BoundingBoxTop = 0, BoundingBoxRight = 0, BoundingBoxBottom = 0;
    int16_t LocationX = 0, LocationY = 0;
    uint8_t ObjectType = 0;
    uint8_t ID_02 = 0;
    std::unique_ptr<TDboUnknown_02> Unknown02;
    uint8_t UnknownB = 0;
    uint8_t UnknownB2 = 0, UnknownB3 = 0;  // behind UnknownB in headered files
    uint8_t UnknownB8[8] = {};
    uint8_t UnknownB11[11] = {};
    uint8_t UnknownB12[12] = {};
    uint8_t UnknownB13[13] = {};
    int32_t Name = 0x02020000;
    int32_t Owner = 65535;
    int32_t DefiningGraphicObject = 0;
    int32_t HatchStyle = 0;
    uint8_t UsrData1 = 1;
    uint8_t UsrData2 = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    bool MeasuresHeader() const override { return true; }
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    // The embedded library object that holds the geometry; none for an OLE object.
    virtual TDboLibObject* GetLibObject() const { return nullptr; }
};

// One kind of instance: its type code and its embedded library object.
#define DBO_GRAPHIC_INSTANCE(Name, LibClass)                                   \
    class Name : public TDboGraphicInstance {                                  \
    public:                                                                    \
        explicit Name(TDboBaseDesign* design);                                 \
        DBO_CLASS_NAME(Name)                                                   \
        std::unique_ptr<LibClass> LibObject;                                   \
        void Initialize() override;                                            \
        TDboLibObject* GetLibObject() const override { return LibObject.get(); } \
    };

DBO_GRAPHIC_INSTANCE(TDboBox, TDboLibBox)
DBO_GRAPHIC_INSTANCE(TDboLine, TDboLibLine)
DBO_GRAPHIC_INSTANCE(TDboArc, TDboLibArc)
DBO_GRAPHIC_INSTANCE(TDboEllipse, TDboLibEllipse)
DBO_GRAPHIC_INSTANCE(TDboFilledGraphic, TDboLibFilledGraphic)
DBO_GRAPHIC_INSTANCE(TDboPolyLine, TDboLibPolyLine)
DBO_GRAPHIC_INSTANCE(TDboCommentText, TDboLibCommentText)
DBO_GRAPHIC_INSTANCE(TDboBitmap, TDboLibBitmap)
DBO_GRAPHIC_INSTANCE(TDboBezier, TDboLibBezier)

#undef DBO_GRAPHIC_INSTANCE

// An OLE object on a page. Its contents are read and dropped; it saves nothing.
class TDboOleObject : public TDboGraphicInstance {
public:
    using TDboGraphicInstance::TDboGraphicInstance;
    DBO_CLASS_NAME(TDboOleObject)

    int64_t ObjectSize = 0;

    void Initialize() override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

}  // namespace orcadx::dbo
