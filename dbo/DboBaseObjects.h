// Root classes of every record of a Capture file: the frame around a record's own fields (type
// byte, size headers, user properties, extra-data block), the generic lists, fonts, name and
// value pairs, part aliases, and the placed-object base with its user and visible properties.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "dbo/DboFileIO.h"

namespace orcadx::dbo {

class TDboBaseDesign;
class TAsciiWriter;
class TDboStorableObject;

// ---------------------------------------------------------------------------------------------
// File versions

constexpr uint32_t kVersion1_1 = 0x00010001;  // the version of a new design
constexpr uint32_t kVersion0_2 = 0x00000002;  // the oldest version seen in sample files
enum class VersionSet { Known, Extended, Headered };
bool InVersionSet(uint32_t version, VersionSet set);
bool IsFileVersion(const TDboStorableObject& object, VersionSet set);

// Seconds since 1970-01-01 00:00 UTC, now.
int32_t CurrentTime();

// Creates an object and runs its Initialize, which every record's creation ends in.
template <class T, class... Args>
std::unique_ptr<T> Make(TDboBaseDesign* design, Args&&... args) {
    auto object = std::make_unique<T>(design, std::forward<Args>(args)...);
    object->Initialize();
    return object;
}

// A class that a list can create items of (its "item class").
struct TDboClass {
    const char* name;
    std::unique_ptr<TDboStorableObject> (*create)(TDboBaseDesign*);
    const std::type_info* type;
};

template <class T>
const TDboClass& ClassOf() {
    static const TDboClass c{typeid(T).name(),
                             [](TDboBaseDesign* d) -> std::unique_ptr<TDboStorableObject> { return Make<T>(d); },
                             &typeid(T)};
    return c;
}

// Gives the class name for messages ("GetHeaderRecord() must be overridden for %s").
#define DBO_CLASS_NAME(Name) \
    const char* ClassName() const override { return #Name; }

// ---------------------------------------------------------------------------------------------
// TDboStorableObject

class TDboStorableObject {
public:
    explicit TDboStorableObject(TDboBaseDesign* design) : Design(design) {}
    virtual ~TDboStorableObject();
    TDboStorableObject(const TDboStorableObject&) = delete;
    TDboStorableObject& operator=(const TDboStorableObject&) = delete;

    TDboBaseDesign* Design;
    uint8_t ID = 0;
    std::vector<int64_t> HeaderRecords;
    int64_t Header = 0;
    std::vector<uint8_t> ExtraData;
    uint16_t UserPropsCount = 0xFFFF;
    bool LeadByte = false;
    // The byte read in front of the simple header when LeadByte is set, written back there on
    // saving: an object inside an IEEE symbol is read with it, so it must be saved with it.
    uint8_t LeadByteValue = 0;

    virtual const char* ClassName() const = 0;

    virtual void Initialize();
    virtual int HeaderKind() const { return 0; }
    virtual int HeaderRecordCount() const { return 1; }
    virtual void GetHeaderRecord(int index, int64_t& value);
    virtual void LoadUserProps(TDboIStream& stream);
    virtual void SaveUserProps(TDboIStream& stream);
    virtual int64_t UserPropsSize();
    virtual void LoadExtraData(TDboIStream& stream);
    virtual void SaveExtraData(TDboIStream& stream);
    virtual int64_t FullObjectSize();
    virtual int Load(TDboIStream& stream) = 0;
    virtual int Save(TDboIStream& stream) = 0;
    virtual void WriteAscii(TAsciiWriter& writer);

    // Frame: calls the routine of the class's HeaderKind; kind 0 does nothing.
    void LoadHeader(TDboIStream& stream);
    void SaveHeader(TDboIStream& stream);
    // Fills HeaderRecords from GetHeaderRecord: record N-1-i is GetHeaderRecord(i).
    void ComputeHeaderRecords();

    // Records whose size headers are measured as they are written, not computed beforehand: in a
    // headered file SaveHeader leaves the headers open. The last one stored counts the rest of the
    // frame and is closed with it; each group of fields that ends closes the last one still open
    // (CloseHeaderRecord, `before` bytes back from the position when the group ends inside a
    // field), and EndRecord closes the rest at the record's end, the first one stored last.
    virtual bool MeasuresHeader() const { return false; }
    void CloseHeaderRecord(TDboIStream& stream, uint64_t before = 0);
    void EndRecord(TDboIStream& stream);
    // 0 when the file isn't headered, else 8 + the extra data.
    int64_t ExtraDataSize() const;

    bool Headered() const;
    bool Extended() const;

protected:
    // Where the count of each open size header begins: just behind its Int64.
    std::vector<uint64_t> OpenHeaders;

    void LoadSimpleHeader(TDboIStream& stream);
    void SaveSimpleHeader(TDboIStream& stream);
    void LoadExtendedHeader(TDboIStream& stream);
    void SaveExtendedHeader(TDboIStream& stream);
};

// Size a stored string takes: its length in the file's code page + 3.
int64_t StrSize(const std::string& text);
// Size a stored string list takes: 2 + the sum over its strings.
int64_t StrListSize(const std::vector<std::string>& list);

// ---------------------------------------------------------------------------------------------
// TDboObject

class TDboObject : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboObject)

    uint16_t RotColMirr = 48;

    void Initialize() override;
    int Load(TDboIStream&) override { return 0; }
    int Save(TDboIStream&) override { return 0; }

    virtual int GetRotation() const { return (RotColMirr >> 8) & 3; }
    virtual void SetRotation(int rotation) {
        RotColMirr = static_cast<uint16_t>((RotColMirr & ~0x0300) | ((rotation & 3) << 8));
    }
    virtual int GetColor() const { return RotColMirr & 0xFF; }
    virtual void SetColor(int color) { RotColMirr = static_cast<uint16_t>((RotColMirr & 0xFF00) | (color & 0xFF)); }
    virtual int GetMirror() const { return RotColMirr >> 10; }
    virtual void SetMirror(int mirror) {
        RotColMirr = static_cast<uint16_t>((RotColMirr & 0x03FF) | ((mirror & 0x3F) << 10));
    }
};

// ---------------------------------------------------------------------------------------------
// Lists

class TDboStorableList : public TDboStorableObject {
public:
    explicit TDboStorableList(TDboBaseDesign* design, bool ownsObjects = true)
        : TDboStorableObject(design), OwnsObjects(ownsObjects) {}
    ~TDboStorableList() override;
    DBO_CLASS_NAME(TDboStorableList)

    bool OwnsObjects;
    std::vector<std::unique_ptr<TDboStorableObject>> Items;

    // Makes the object that the stream holds next, or none.
    virtual std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream);
    virtual void LoadCount(TDboIStream& stream, int& count);
    virtual void SaveCount(TDboIStream& stream, int count);
    virtual void Add(std::unique_ptr<TDboStorableObject> item);

    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    int64_t FullObjectSize() override;
    void WriteAscii(TAsciiWriter& writer) override;

    void Sort(const std::function<bool(const TDboStorableObject*, const TDboStorableObject*)>& less);
    void Clear();
    void Pack();
    int Count() const { return static_cast<int>(Items.size()); }
    TDboStorableObject* GetItems(int index) const;
    // Puts `item` (possibly null) at `index` and gives back the old item, which is not freed.
    std::unique_ptr<TDboStorableObject> SetItems(int index, std::unique_ptr<TDboStorableObject> item);

    template <class T>
    T* As(int index) const {
        return static_cast<T*>(GetItems(index));
    }
};

// A list whose items are all of one class; items of any other class aren't added.
class TDboSimpleObjectList : public TDboStorableList {
public:
    TDboSimpleObjectList(TDboBaseDesign* design, const TDboClass& itemClass, bool ownsObjects = true)
        : TDboStorableList(design, ownsObjects), ItemClass(&itemClass) {}
    DBO_CLASS_NAME(TDboSimpleObjectList)

    const TDboClass* ItemClass;

    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    void Add(std::unique_ptr<TDboStorableObject> item) override;
};

// ---------------------------------------------------------------------------------------------
// Fonts

// A Windows LOGFONTA, as the file stores it.
struct LogFontA {
    int32_t lfHeight = 0, lfWidth = 0, lfEscapement = 0, lfOrientation = 0, lfWeight = 0;
    uint8_t lfItalic = 0, lfUnderline = 0, lfStrikeOut = 0, lfCharSet = 0, lfOutPrecision = 0,
            lfClipPrecision = 0, lfQuality = 0, lfPitchAndFamily = 0;
    char lfFaceName[32] = {};

    void FromBytes(const uint8_t* bytes);
    void ToBytes(uint8_t* bytes) const;
    std::string FaceName() const;  // UTF-8
};

class TDboFont : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboFont)
    LogFontA LogFont;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

// The vertical resolution used to turn a point size into a font height.
constexpr int kScreenDpi = 96;

class TDboFontList : public TDboStorableList {
public:
    using TDboStorableList::TDboStorableList;
    DBO_CLASS_NAME(TDboFontList)
    std::unique_ptr<TDboStorableObject> ConstructObject(TDboIStream& stream) override;
    void LoadCount(TDboIStream& stream, int& count) override;
    void SaveCount(TDboIStream& stream, int count) override;
    TDboFont* GetFonts(int index) const { return As<TDboFont>(index); }
    TDboFont* AddFont(int size, int rotation, bool underline, bool italic, bool bold, bool strikeOut,
                      const std::string& faceName);
};

// ---------------------------------------------------------------------------------------------
// Name and value pairs

class TDboPropNameVal : public TDboStorableObject {
public:
    using TDboStorableObject::TDboStorableObject;
    DBO_CLASS_NAME(TDboPropNameVal)
    int32_t NameIdx = 0;
    int32_t ValueIdx = 0;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
    // Two Ints in a headered file, two Words in any other.
    int64_t FullObjectSize() override { return Headered() ? 8 : 4; }
};

class TDboPropNameValList : public TDboSimpleObjectList {
public:
    explicit TDboPropNameValList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboPropNameVal>()) {}
    DBO_CLASS_NAME(TDboPropNameValList)
    TDboPropNameVal* GetProperties(int index) const { return As<TDboPropNameVal>(index); }
    TDboPropNameVal* GetPropertyByName(const std::string& name) const;
    TDboPropNameVal* AddProperty(const std::string& name, const std::string& value);
    void RemovePropertiesByName(const std::string& name);
};

// ---------------------------------------------------------------------------------------------
// Part aliases

class TDboLibAlias : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboLibAlias)
    std::string AliasName;
    std::string PartName;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;
};

class TDboLibAliasList : public TDboSimpleObjectList {
public:
    explicit TDboLibAliasList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboLibAlias>()) {}
    DBO_CLASS_NAME(TDboLibAliasList)
    TDboLibAlias* GetAliases(int index) const { return As<TDboLibAlias>(index); }
    TDboLibAlias* AddAlias(const std::string& alias, const std::string& part);
};

// ---------------------------------------------------------------------------------------------
// Visible properties and the placed-object base

class TDboVisibleProp : public TDboObject {
public:
    using TDboObject::TDboObject;
    DBO_CLASS_NAME(TDboVisibleProp)

    int32_t UserPropNameIdx = 0;
    int32_t ValueIdx = 0;  // filled after loading, not stored
    int16_t LocationX = 0, LocationY = 0;
    uint16_t FontID = 0;  // 14 bits
    uint8_t Rotation = 0;  // 2 bits
    uint16_t DisplayFormat = 0;

    void Initialize() override;
    int HeaderKind() const override { return 2; }
    int HeaderRecordCount() const override { return 2; }
    void GetHeaderRecord(int index, int64_t& value) override;
    int Load(TDboIStream& stream) override;
    int Save(TDboIStream& stream) override;

    int GetRotation() const override { return Rotation; }
    void SetRotation(int rotation) override;
    std::string GetName() const;
    std::string GetValue() const;
};

class TDboVisiblePropList : public TDboSimpleObjectList {
public:
    explicit TDboVisiblePropList(TDboBaseDesign* design) : TDboSimpleObjectList(design, ClassOf<TDboVisibleProp>()) {}
    DBO_CLASS_NAME(TDboVisiblePropList)
    TDboVisibleProp* GetProps(int index) const { return As<TDboVisibleProp>(index); }
};

// A placed object: a record with all its properties (name and value) and the shown ones.
class TDboBaseObject : public TDboObject {
public:
    explicit TDboBaseObject(TDboBaseDesign* design);
    DBO_CLASS_NAME(TDboBaseObject)

    TDboPropNameValList UserProps;
    TDboVisiblePropList VisibleProps;

    void LoadUserProps(TDboIStream& stream) override;
    void SaveUserProps(TDboIStream& stream) override;
    int64_t UserPropsSize() override;

    // Reads the visible properties and gives each its value index from the user properties.
    virtual void LoadVisibleProps(TDboIStream& stream);
    void SaveVisibleProps(TDboIStream& stream);
    int64_t VisiblePropsSize();

    TDboPropNameVal* GetUserPropByName(const std::string& name) const;
    TDboVisibleProp* GetVisiblePropByName(const std::string& name) const;
    void GetPropertyValueByName(std::string& value, const std::string& name) const;
    TDboPropNameVal* AddProp(const std::string& name, const std::string& value);
    TDboVisibleProp* AddVisibleProp(const std::string& name, const std::string& value, int x, int y, int width,
                                    int height, int fontId, int rotation, int color);
};

}  // namespace orcadx::dbo
