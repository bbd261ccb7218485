// The host's schematic objects: one core per object holding its kind, its properties (name to
// value) and its children, plus geometry that works on the point-valued properties.
// The typed GetState_/SetState_ accessors of the interfaces read and write these properties.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/Properties.h"
#include "host/SchInterfaces.h"

namespace orcadx::host::impl {

class SchServer;

// Property names that hold points: moved, turned and mirrored with the object.
inline constexpr const char* kLocation = "Location";
inline constexpr const char* kCorner = "Corner";
inline constexpr const char* kVertices = "Vertices";

class ObjectCore {
public:
    ObjectCore(SchServer* server, int32_t kind);
    virtual ~ObjectCore();
    ObjectCore(const ObjectCore&) = delete;
    ObjectCore& operator=(const ObjectCore&) = delete;

    virtual ISch_BasicContainer* Iface() = 0;

    int32_t Kind() const { return kind_; }
    SchServer* Server() const { return server_; }
    ObjectCore* Parent() const { return parent_; }
    const std::vector<ObjectCore*>& Children() const { return children_; }

    // Takes ownership; a child of another container is moved.
    void AddChild(ObjectCore* child);
    void InsertChild(size_t index, ObjectCore* child);
    // Releases ownership; false when not a direct child.
    bool RemoveChild(ObjectCore* child);
    // The document that holds this object (itself for a document), or null.
    ObjectCore* Root();
    virtual bool IsDocument() const { return false; }
    // Drops the state of the session that the object holds besides its properties and children (a
    // document's bulk change, a library's current component), as a document read from its file is.
    virtual void ForgetSessionState() {}
    // True when the object stands (at any depth) in a library document.
    bool InLibrary();
    // The component holding this object (at any depth), or null.
    ObjectCore* OwnerComponent();

    PropertyStore& Props();  // counts as a change
    const PropertyStore& Props() const { return props_; }
    bool Has(const char* name) const { return props_.Find(name) != nullptr; }
    void Erase(const char* name);
    int32_t GetInt(const char* name, int32_t def = 0) const;
    void SetInt(const char* name, int32_t value);
    bool GetBool(const char* name, bool def = false) const;
    void SetBool(const char* name, bool value);
    double GetDouble(const char* name, double def = 0.0) const;
    void SetDouble(const char* name, double value);
    std::string GetStr(const char* name, const std::string& def = {}) const;
    void SetStr(const char* name, const std::string& value);
    Coord GetCoord(const char* name) const;
    void SetCoord(const char* name, Coord value);
    // A property of another shape (lists of texts or records), as JSON.
    Json& JsonProperty(const char* name);
    // The value under `name`, made when missing.
    PropertyValue& Slot(std::string_view name);
    std::vector<Coord> GetVertices() const;
    void SetVertices(const std::vector<Coord>& vertices);

    // Geometry. The defaults act on Location, Corner, Vertices, Orientation and the arc angles, and
    // then on the children.
    virtual void Translate(int32_t dx, int32_t dy);
    virtual void Rotate(Coord center, int32_t quarterTurns);
    virtual void MirrorAbout(int32_t axisX);
    virtual CoordRect Bounds();

    // Sets the defaults of a new object and makes the children it always has.
    virtual void InitNew() {}

    // A copy of the object and all it holds, with new unique ids when `freshIds`.
    std::unique_ptr<ObjectCore> Clone(bool freshIds) const;

protected:
    void RotatePoints(Coord center, int32_t quarterTurns);
    void MirrorPoints(int32_t axisX);
    // Rectangles keep Location as the lower left and Corner as the upper right corner.
    void NormalizeCorners();

private:
    friend class SchServer;  // keeps the list of live objects in liveNext_/livePrev_
    SchServer* server_;
    ObjectCore* liveNext_ = nullptr;
    ObjectCore* livePrev_ = nullptr;
    int32_t kind_;
    ObjectCore* parent_ = nullptr;
    std::vector<ObjectCore*> children_;
    PropertyStore props_;
};

// The core behind an interface pointer, or null for an object of another host.
ObjectCore* CoreOf(ISch_BasicContainer* object);

// A new object of the kind with its defaults (`initNew`) or bare (for loading); null for a kind the
// host doesn't know.
std::unique_ptr<ObjectCore> MakeObject(SchServer* server, int32_t kind, bool initNew);

// The defaults of each kind, made once per server: a new object copies the properties and the
// children that InitNew gives an object of its kind, instead of setting them one at a time. It
// draws as many unique ids as InitNew draws, in the same order, and each object of it takes the
// id that InitNew would have given it, so that the session's ids run as if InitNew had run.
class KindModels {
public:
    struct Model {
        std::unique_ptr<ObjectCore> Object;  // kept out of the server's live objects
        size_t Ids = 0;                      // ids that InitNew draws
        // For each object of the model in pre-order (the object first): the index among the ids
        // drawn of its UniqueId; kNoId for an object without one.
        std::vector<size_t> IdOf;
    };
    static constexpr size_t kNoId = static_cast<size_t>(-1);

    KindModels() = default;
    KindModels(const KindModels&) = delete;
    KindModels& operator=(const KindModels&) = delete;
    ~KindModels();

    // The model of a kind other than a document; null for a document or an unknown kind.
    const Model* Of(SchServer& server, int32_t kind);
    // A new object from the model, with its ids drawn from the server.
    std::unique_ptr<ObjectCore> Make(SchServer& server, const Model& model);
    // True while a model is being made (its InitNew runs in full, nested objects included).
    bool Building() const { return building_; }
    void Clear();

private:
    std::vector<std::unique_ptr<Model>> models_;  // by kind; null where none was made yet
    std::vector<bool> unknown_;                   // kinds found to have no model
    bool building_ = false;
};

// Kinds the host can make.
const std::vector<int32_t>& KnownKinds();

// False for a primitive of a component on a sheet that belongs to another part or display mode
// than the component's current one.
bool IsShownOnSheet(ObjectCore* object);

// Geometry helpers.
Coord RotatePoint(Coord p, Coord center, int32_t quarterTurns);
CoordRect UnionRect(const CoordRect& a, const CoordRect& b);
bool RectsTouch(const CoordRect& a, const CoordRect& b);
// The electrical end of a pin.
Coord PinHotSpot(const ObjectCore& pin);
// Location of a sheet entry from its symbol and its side and distance.
Coord SheetEntryLocation(const ObjectCore& entry);
// The two ends of a port's body.
void PortEnds(const ObjectCore& port, Coord& a, Coord& b);
// Size of text in host units for a font size in points (average glyph width).
void TextExtent(const std::string& text, int32_t fontSize, int32_t& width, int32_t& height);
// The text shown for a text object: "=Name" resolves to the text of the parameter Name of the
// owner (its component or document).
std::string DisplayString(ObjectCore& text);
// Case-insensitive comparison of ASCII letters.
bool SameTextIgnoringCase(const std::string& a, const std::string& b);

}  // namespace orcadx::host::impl
