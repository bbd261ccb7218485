// Abstract interfaces of the host's schematic object model.
//
// The translator reaches every schematic object through these classes and calls nothing but their
// virtual functions; it creates objects only through ISch_ServerInterface::CreateSchObject and moves
// between the interfaces of one object with dynamic_cast (an object supports exactly the interfaces
// of its kind, see ObjectKind).
//
// Conventions:
// - Text is UTF-8.
// - Coordinates are 32-bit, 10,000 units to the mil, y growing upward.
// - Colours are 0xBBGGRR.
// - A property X is read by GetState_X and written by SetState_X, and reads back what was written.
// - An object made by CreateSchObject stands in no container and belongs to the caller until it is
//   added to a container (AddSchObject); from then on the host owns it. RemoveSchObject hands it
//   back to the caller, who adds it elsewhere or gives it to DestroySchObject.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/HostInterfaces.h"

namespace orcadx::host {

// Object kinds, as GetState_ObjectId reports them.
enum ObjectKind : int32_t {
    eRectangle = 4,
    eLine = 5,
    eBusEntry = 7,
    eArc = 8,
    eEllipticalArc = 9,
    eRoundRectangle = 10,
    eImage = 11,
    ePie = 12,
    eTextFrame = 13,
    eEllipse = 15,
    eJunction = 16,
    ePolygon = 17,
    ePolyline = 18,
    eWire = 19,
    eBus = 20,
    eBezier = 21,
    eLabel = 22,
    eNetLabel = 24,
    eSchComponent = 26,
    eParameter = 27,
    eDesignator = 28,      // the designator of a component (an ISch_Designator, not kind 27)
    eSheet = 31,           // a schematic sheet document
    eSheetName = 32,       // the name text of a sheet symbol
    eSchLib = 33,          // a schematic library document
    eSymbol = 34,          // IEEE symbol
    eNoERC = 35,
    eSheetFileName = 36,   // the file name text of a sheet symbol
    ePin = 37,
    ePort = 38,
    ePowerObject = 39,
    eSheetEntry = 40,
    eSheetSymbol = 41,
    eImplementation = 46,
    eCrossSheetConnector = 48,
    eBundleBlock = 53,
    eBundleEdge = 54,      // the edge object owned by a bundle block
};

// Component kinds (ISch_Component::ComponentKind).
enum ComponentKind : int32_t {
    eComponentKind_Standard = 0,
    eComponentKind_Mechanical = 1,
    eComponentKind_Graphical = 2,
    eComponentKind_NetTie = 3,
};

// Display units of a document (ISch_Document::DisplayUnit).
enum DisplayUnit : int32_t {
    eUnitMil = 0,
    eUnitMM = 1,
    eUnitInch = 2,
    eUnitCM = 3,
    eUnitAutoImperial = 4,  // tens of mils, the library default
    eUnitMeter = 5,
};

// Text justification (labels, parameters): vertical row first, then horizontal.
enum TextJustification : int32_t {
    eJustify_BottomLeft = 0,
    eJustify_BottomCenter = 1,
    eJustify_BottomRight = 2,
    eJustify_CenterLeft = 3,
    eJustify_Center = 4,
    eJustify_CenterRight = 5,
    eJustify_TopLeft = 6,
    eJustify_TopCenter = 7,
    eJustify_TopRight = 8,
};

// Iteration modes of SchIterator_Create.
enum IterationMode : int32_t {
    eIterateFirstLevel = 0,  // direct children
    eIterateAllLevels = 2,   // direct children and everything they hold
};

struct Coord {
    int32_t X = 0;
    int32_t Y = 0;
    friend bool operator==(const Coord&, const Coord&) = default;
};

// A rectangle given by two corners: (X1, Y1) lower left, (X2, Y2) upper right.
struct CoordRect {
    int32_t X1 = 0;
    int32_t Y1 = 0;
    int32_t X2 = 0;
    int32_t Y2 = 0;
    friend bool operator==(const CoordRect&, const CoordRect&) = default;
};

using ObjectSet = std::vector<int32_t>;

class ISch_BasicContainer;

// Walks the objects of a container. Filters are set before the first call of FirstSchObject.
// The container must not change while an iterator walks it.
class ISch_Iterator {
public:
    virtual ~ISch_Iterator() = default;
    // Only objects of these kinds; an empty set lets every kind through.
    virtual void AddFilter_ObjectSet(const ObjectSet& kinds) = 0;
    virtual void SetState_IterationDepth(int32_t mode) = 0;
    // Only objects whose bounding rectangle touches the area (ends included).
    virtual void AddFilter_Area(int32_t x1, int32_t y1, int32_t x2, int32_t y2) = 0;
    // Only primitives of one part and display mode of a component; objects with owner part 0
    // belong to every part.
    virtual void AddFilter_PartPrimitives(int32_t partId, int32_t displayMode) = 0;
    virtual ISch_BasicContainer* FirstSchObject() = 0;
    virtual ISch_BasicContainer* NextSchObject() = 0;
};

class ISch_BasicContainer {
public:
    virtual ~ISch_BasicContainer() = default;
    virtual int32_t GetState_ObjectId() = 0;
    virtual std::string GetState_Text() = 0;
    virtual void SetState_Text(const std::string& value) = 0;
    virtual std::string GetState_UniqueId() = 0;
    virtual void SetState_UniqueId(const std::string& value) = 0;
    // The container that holds this object, or null.
    virtual ISch_BasicContainer* GetState_Container() = 0;
    // The host takes ownership; an object standing in another container is moved.
    virtual void AddSchObject(ISch_BasicContainer* object) = 0;
    // Ownership returns to the caller. Returns false when the object is not a direct child.
    virtual bool RemoveSchObject(ISch_BasicContainer* object) = 0;
    virtual std::unique_ptr<ISch_Iterator> SchIterator_Create() = 0;
    // An iterator with a kind filter and an iteration mode (0 or 2).
    virtual std::unique_ptr<ISch_Iterator> SchIterator_Create(const ObjectSet& kinds, int32_t mode) = 0;
};

class ISch_GraphicalObject : public ISch_BasicContainer {
public:
    virtual Coord GetState_Location() = 0;
    virtual void SetState_Location(Coord value) = 0;
    virtual int32_t GetState_Color() = 0;
    virtual void SetState_Color(int32_t value) = 0;
    virtual int32_t GetState_AreaColor() = 0;
    virtual void SetState_AreaColor(int32_t value) = 0;
    virtual int32_t GetState_OwnerPartId() = 0;
    virtual void SetState_OwnerPartId(int32_t value) = 0;
    virtual int32_t GetState_OwnerPartDisplayMode() = 0;
    virtual void SetState_OwnerPartDisplayMode(int32_t value) = 0;
    virtual bool GetState_Enabled() = 0;
    virtual void SetState_Enabled(bool value) = 0;
    virtual void MoveToXY(int32_t x, int32_t y) = 0;
    virtual void MoveByXY(int32_t dx, int32_t dy) = 0;
    // Mirrors left to right about the vertical line through `axis`.
    virtual void Mirror(Coord axis) = 0;
    // Turns counter-clockwise about `center` by `quarterTurns` quarter turns.
    virtual void RotateBy90(Coord center, int32_t quarterTurns) = 0;
    // Recomputes what the host derives from the properties (extents of texts, entry places).
    virtual void Refresh() = 0;
    virtual CoordRect GetState_BoundingRectangle() = 0;
};

// An object whose parameters can set its own properties (pins, ports, components, sheet symbols).
class ISch_Parameter;
class ISch_ParametrizedGroup : public ISch_GraphicalObject {
public:
    // Sets the property named by the parameter's name from its text ("Name" and "Number" on a pin).
    // Returns false when the object has no such property.
    virtual bool ApplyParameter(ISch_Parameter* parameter) = 0;
};

// ----- Simple drawing objects -------------------------------------------------------------------

class ISch_Line : public ISch_GraphicalObject {
public:
    virtual Coord GetState_Corner() = 0;
    virtual void SetState_Corner(Coord value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual int32_t GetState_LineStyle() = 0;
    virtual void SetState_LineStyle(int32_t value) = 0;
};

class ISch_BusEntry : public ISch_GraphicalObject {
public:
    virtual Coord GetState_Corner() = 0;
    virtual void SetState_Corner(Coord value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
};

class ISch_Rectangle : public ISch_GraphicalObject {
public:
    virtual Coord GetState_Corner() = 0;
    virtual void SetState_Corner(Coord value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual bool GetState_IsSolid() = 0;
    virtual void SetState_IsSolid(bool value) = 0;
    virtual bool GetState_Transparent() = 0;
    virtual void SetState_Transparent(bool value) = 0;
};

class ISch_RoundRectangle : public ISch_Rectangle {
public:
    virtual int32_t GetState_CornerXRadius() = 0;
    virtual void SetState_CornerXRadius(int32_t value) = 0;
    virtual int32_t GetState_CornerYRadius() = 0;
    virtual void SetState_CornerYRadius(int32_t value) = 0;
};

class ISch_Image : public ISch_Rectangle {
public:
    virtual std::string GetState_FileName() = 0;
    virtual void SetState_FileName(const std::string& value) = 0;
    // Setting true reads the file named by FileName into the document at that moment.
    virtual bool GetState_EmbedImage() = 0;
    virtual void SetState_EmbedImage(bool value) = 0;
    virtual bool GetState_KeepAspect() = 0;
    virtual void SetState_KeepAspect(bool value) = 0;
    // Size of the embedded image data in bytes, 0 when nothing is embedded.
    virtual int32_t GetState_EmbeddedSize() = 0;
};

class ISch_TextFrame : public ISch_Rectangle {
public:
    virtual int32_t GetState_FontId() = 0;
    virtual void SetState_FontId(int32_t value) = 0;
    virtual int32_t GetState_TextColor() = 0;
    virtual void SetState_TextColor(int32_t value) = 0;
    virtual int32_t GetState_Alignment() = 0;
    virtual void SetState_Alignment(int32_t value) = 0;
    virtual bool GetState_WordWrap() = 0;
    virtual void SetState_WordWrap(bool value) = 0;
    virtual bool GetState_ShowBorder() = 0;
    virtual void SetState_ShowBorder(bool value) = 0;
};

class ISch_Ellipse : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_Radius() = 0;
    virtual void SetState_Radius(int32_t value) = 0;
    virtual int32_t GetState_SecondaryRadius() = 0;
    virtual void SetState_SecondaryRadius(int32_t value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual bool GetState_IsSolid() = 0;
    virtual void SetState_IsSolid(bool value) = 0;
    virtual bool GetState_Transparent() = 0;
    virtual void SetState_Transparent(bool value) = 0;
};

// Angles are in degrees, counter-clockwise from the positive x axis.
class ISch_Arc : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_Radius() = 0;
    virtual void SetState_Radius(int32_t value) = 0;
    virtual double GetState_StartAngle() = 0;
    virtual void SetState_StartAngle(double value) = 0;
    virtual double GetState_EndAngle() = 0;
    virtual void SetState_EndAngle(double value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
};

class ISch_EllipticalArc : public ISch_Arc {
public:
    virtual int32_t GetState_SecondaryRadius() = 0;
    virtual void SetState_SecondaryRadius(int32_t value) = 0;
};

class ISch_Pie : public ISch_Arc {
public:
    virtual bool GetState_IsSolid() = 0;
    virtual void SetState_IsSolid(bool value) = 0;
};

// Vertices are numbered from 1.
class ISch_Polygon : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual bool GetState_IsSolid() = 0;
    virtual void SetState_IsSolid(bool value) = 0;
    virtual bool GetState_Transparent() = 0;
    virtual void SetState_Transparent(bool value) = 0;
    virtual int32_t GetState_VertexCount() = 0;
    // New vertices take the value of the last one (or the location); surplus ones are dropped.
    virtual void SetState_VertexCount(int32_t value) = 0;
    virtual Coord GetState_Vertex(int32_t index) = 0;
    virtual void SetState_Vertex(int32_t index, Coord value) = 0;
    // Inserts a vertex before `index` (VertexCount + 1 appends).
    virtual void InsertVertex(int32_t index, Coord value) = 0;
};

class ISch_Polyline : public ISch_Polygon {
public:
    virtual int32_t GetState_LineStyle() = 0;
    virtual void SetState_LineStyle(int32_t value) = 0;
};

// Vertex 1 is the start; then each group of three vertices is two control points and an end.
class ISch_Bezier : public ISch_Polyline {};
class ISch_Wire : public ISch_Polyline {};
class ISch_Bus : public ISch_Polyline {};

// ----- Texts ----------------------------------------------------------------------------------

class ISch_Label : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_FontId() = 0;
    virtual void SetState_FontId(int32_t value) = 0;
    // Quarter turns, 0 to 3.
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
    virtual int32_t GetState_Justification() = 0;
    virtual void SetState_Justification(int32_t value) = 0;
    virtual bool GetState_IsMirrored() = 0;
    virtual void SetState_IsMirrored(bool value) = 0;
};

class ISch_NetLabel : public ISch_Label {};

class ISch_ComplexText : public ISch_Label {
public:
    virtual bool GetState_IsHidden() = 0;
    virtual void SetState_IsHidden(bool value) = 0;
    virtual bool GetState_Autoposition() = 0;
    virtual void SetState_Autoposition(bool value) = 0;
    // The text as shown: a text "=Name" shows the text of the parameter Name of the owner.
    virtual std::string GetState_DisplayString() = 0;
};

class ISch_Parameter : public ISch_ComplexText {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual bool GetState_ShowName() = 0;
    virtual void SetState_ShowName(bool value) = 0;
    virtual std::string GetState_Description() = 0;
    virtual void SetState_Description(const std::string& value) = 0;
};

class ISch_Designator : public ISch_Parameter {};
class ISch_SheetName : public ISch_ComplexText {};
class ISch_SheetFileName : public ISch_ComplexText {};

// ----- Connectivity objects --------------------------------------------------------------------

class ISch_Junction : public ISch_GraphicalObject {
public:
    virtual bool GetState_Locked() = 0;
    virtual void SetState_Locked(bool value) = 0;
    virtual int32_t GetState_Size() = 0;
    virtual void SetState_Size(int32_t value) = 0;
};

class ISch_NoERC : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_Symbol() = 0;
    virtual void SetState_Symbol(int32_t value) = 0;
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
};

// IEEE symbol, drawn by the host from its symbol number.
class ISch_Symbol : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_Symbol() = 0;
    virtual void SetState_Symbol(int32_t value) = 0;
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
    virtual bool GetState_IsMirrored() = 0;
    virtual void SetState_IsMirrored(bool value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual int32_t GetState_ScaleFactor() = 0;
    virtual void SetState_ScaleFactor(int32_t value) = 0;
};

// A pin: Location is the end at the body, the electrical end lies PinLength away in the direction
// of Orientation (0 right, 1 up, 2 left, 3 down).
// Electrical: 0 input, 1 bidirectional, 2 output, 3 open collector, 4 passive, 5 three-state,
// 6 open emitter, 7 power.
// Custom text styles: style 0 is the pin's name, style 1 its designator.
class ISch_Pin : public ISch_ParametrizedGroup {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual std::string GetState_Designator() = 0;
    virtual void SetState_Designator(const std::string& value) = 0;
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
    virtual int32_t GetState_Electrical() = 0;
    virtual void SetState_Electrical(int32_t value) = 0;
    virtual int32_t GetState_PinLength() = 0;
    virtual void SetState_PinLength(int32_t value) = 0;
    virtual bool GetState_IsHidden() = 0;
    virtual void SetState_IsHidden(bool value) = 0;
    virtual bool GetState_ShowName() = 0;
    virtual void SetState_ShowName(bool value) = 0;
    virtual bool GetState_ShowDesignator() = 0;
    virtual void SetState_ShowDesignator(bool value) = 0;
    virtual std::string GetState_HiddenNetName() = 0;
    virtual void SetState_HiddenNetName(const std::string& value) = 0;
    virtual std::string GetState_Description() = 0;
    virtual void SetState_Description(const std::string& value) = 0;
    // Edge symbols: inner 0 none, 1 clock; outer 0 none, 3 dot (negation).
    virtual int32_t GetState_InnerEdge() = 0;
    virtual void SetState_InnerEdge(int32_t value) = 0;
    virtual int32_t GetState_OuterEdge() = 0;
    virtual void SetState_OuterEdge(int32_t value) = 0;
    virtual bool GetState_CustomStyleEnabled(int32_t style) = 0;
    virtual void SetState_CustomStyleEnabled(int32_t style, bool value) = 0;
    virtual int32_t GetState_CustomStyleFontId(int32_t style) = 0;
    virtual void SetState_CustomStyleFontId(int32_t style, int32_t value) = 0;
    virtual int32_t GetState_CustomStylePositionMode(int32_t style) = 0;
    virtual void SetState_CustomStylePositionMode(int32_t style, int32_t value) = 0;
    virtual int32_t GetState_CustomStyleColor(int32_t style) = 0;
    virtual void SetState_CustomStyleColor(int32_t style, int32_t value) = 0;
};

// A port: its body runs from Location along x (styles 0 to 3) or y (styles 4 to 7) for Width.
// Style: 0 none-horizontal, 1 left, 2 right, 3 left-right, 4 none-vertical, 5 top, 6 bottom,
// 7 top-bottom. IOType: 0 unspecified, 1 output, 2 input, 3 bidirectional. Alignment: 0 centre,
// 1 left, 2 right.
class ISch_Port : public ISch_ParametrizedGroup {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual int32_t GetState_Style() = 0;
    virtual void SetState_Style(int32_t value) = 0;
    virtual int32_t GetState_IOType() = 0;
    virtual void SetState_IOType(int32_t value) = 0;
    virtual int32_t GetState_Alignment() = 0;
    virtual void SetState_Alignment(int32_t value) = 0;
    virtual int32_t GetState_Width() = 0;
    virtual void SetState_Width(int32_t value) = 0;
    virtual int32_t GetState_Height() = 0;
    virtual void SetState_Height(int32_t value) = 0;
    virtual int32_t GetState_FontId() = 0;
    virtual void SetState_FontId(int32_t value) = 0;
    virtual int32_t GetState_TextColor() = 0;
    virtual void SetState_TextColor(int32_t value) = 0;
};

// A power port: Location is its connection point. Style: 0 circle, 1 arrow, 2 bar, 3 wave,
// 4 power ground, 5 signal ground, 6 earth. The net name is Text.
class ISch_PowerObject : public ISch_GraphicalObject {
public:
    virtual int32_t GetState_Style() = 0;
    virtual void SetState_Style(int32_t value) = 0;
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
    virtual bool GetState_ShowNetName() = 0;
    virtual void SetState_ShowNetName(bool value) = 0;
    virtual int32_t GetState_FontId() = 0;
    virtual void SetState_FontId(int32_t value) = 0;
};

// An off-sheet connector. Side and Style are one property: 0 left, 1 right.
class ISch_CrossSheetConnector : public ISch_PowerObject {
public:
    virtual int32_t GetState_Side() = 0;
    virtual void SetState_Side(int32_t value) = 0;
};
using ISch_OffSheetConnector = ISch_CrossSheetConnector;

class ISch_SheetEntry;

// A sheet symbol: Location is its upper left corner, it extends XSize to the right and YSize down.
class ISch_SheetSymbol : public ISch_ParametrizedGroup {
public:
    virtual int32_t GetState_XSize() = 0;
    virtual void SetState_XSize(int32_t value) = 0;
    virtual int32_t GetState_YSize() = 0;
    virtual void SetState_YSize(int32_t value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual bool GetState_IsSolid() = 0;
    virtual void SetState_IsSolid(bool value) = 0;
    // The designator text and the file name text; both stand as children of the symbol.
    virtual ISch_SheetName* GetState_SheetName() = 0;
    virtual ISch_SheetFileName* GetState_SheetFileName() = 0;
};

// A sheet entry stands on a side of its sheet symbol (0 left, 1 right, 2 top, 3 bottom) at
// DistanceFromTop from the upper (or left) corner of that side. Its Location follows from these
// and from the symbol; setting Location moves it along its side.
class ISch_SheetEntry : public ISch_GraphicalObject {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual int32_t GetState_Side() = 0;
    virtual void SetState_Side(int32_t value) = 0;
    virtual int32_t GetState_DistanceFromTop() = 0;
    virtual void SetState_DistanceFromTop(int32_t value) = 0;
    virtual int32_t GetState_IOType() = 0;
    virtual void SetState_IOType(int32_t value) = 0;
    virtual int32_t GetState_Style() = 0;
    virtual void SetState_Style(int32_t value) = 0;
    virtual int32_t GetState_TextColor() = 0;
    virtual void SetState_TextColor(int32_t value) = 0;
    virtual int32_t GetState_FontId() = 0;
    virtual void SetState_FontId(int32_t value) = 0;
};

class ISch_BundleEdge : public ISch_GraphicalObject {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual int32_t GetState_Side() = 0;
    virtual void SetState_Side(int32_t value) = 0;
    virtual int32_t GetState_DistanceFromTop() = 0;
    virtual void SetState_DistanceFromTop(int32_t value) = 0;
};

// A block that bundles several connections; it owns one edge object.
class ISch_BundleBlock : public ISch_GraphicalObject {
public:
    virtual std::string GetState_Name() = 0;
    virtual void SetState_Name(const std::string& value) = 0;
    virtual int32_t GetState_XSize() = 0;
    virtual void SetState_XSize(int32_t value) = 0;
    virtual int32_t GetState_YSize() = 0;
    virtual void SetState_YSize(int32_t value) = 0;
    virtual int32_t GetState_LineWidth() = 0;
    virtual void SetState_LineWidth(int32_t value) = 0;
    virtual int32_t GetState_PrimaryPosition() = 0;
    virtual void SetState_PrimaryPosition(int32_t value) = 0;
    virtual ISch_BundleEdge* GetState_Edge() = 0;
};

// ----- Components and models ------------------------------------------------------------------

// A model of a component: a footprint ("PCBLIB"), a simulation model ("SIM"), ... Its parameters
// are children of kind 27.
class ISch_Implementation : public ISch_BasicContainer {
public:
    virtual std::string GetState_ModelName() = 0;
    virtual void SetState_ModelName(const std::string& value) = 0;
    virtual std::string GetState_ModelType() = 0;
    virtual void SetState_ModelType(const std::string& value) = 0;
    virtual std::string GetState_Description() = 0;
    virtual void SetState_Description(const std::string& value) = 0;
    virtual bool GetState_IsCurrent() = 0;
    virtual void SetState_IsCurrent(bool value) = 0;
    // Port map text, "(1:3),(2:4)".
    virtual std::string GetState_MapAsString() = 0;
    virtual void SetState_MapAsString(const std::string& value) = 0;
    virtual bool GetState_BuiltInSwitchA() = 0;
    virtual void SetState_BuiltInSwitchA(bool value) = 0;
    virtual bool GetState_BuiltInSwitchB() = 0;
    virtual void SetState_BuiltInSwitchB(bool value) = 0;
    // Links to the files that hold the model: entity (model name), location (path), kind.
    virtual void AddDataFileLink(const std::string& entity, const std::string& location,
                                 const std::string& kind) = 0;
    virtual int32_t GetState_DataFileLinkCount() = 0;
    virtual std::string GetState_DataFileLinkEntity(int32_t index) = 0;
    virtual std::string GetState_DataFileLinkLocation(int32_t index) = 0;
    virtual std::string GetState_DataFileLinkKind(int32_t index) = 0;
};

// A component. PartCount of a new component is 0 and CurrentPartId 1; Orientation turns and
// IsMirrored flips all primitives about Location. The designator and the comment ("Comment",
// a kind 27 parameter) exist from creation on.
class ISch_Component : public ISch_ParametrizedGroup {
public:
    virtual std::string GetState_LibReference() = 0;
    virtual void SetState_LibReference(const std::string& value) = 0;
    virtual std::string GetState_DesignItemId() = 0;
    virtual void SetState_DesignItemId(const std::string& value) = 0;
    virtual std::string GetState_SourceLibraryName() = 0;
    virtual void SetState_SourceLibraryName(const std::string& value) = 0;
    virtual std::string GetState_ComponentDescription() = 0;
    virtual void SetState_ComponentDescription(const std::string& value) = 0;
    virtual int32_t GetState_PartCount() = 0;
    virtual void SetState_PartCount(int32_t value) = 0;
    virtual int32_t GetState_CurrentPartId() = 0;
    virtual void SetState_CurrentPartId(int32_t value) = 0;
    virtual int32_t GetState_DisplayMode() = 0;
    virtual void SetState_DisplayMode(int32_t value) = 0;
    virtual int32_t GetState_DisplayModeCount() = 0;
    virtual void SetState_DisplayModeCount(int32_t value) = 0;
    virtual bool GetState_IsMirrored() = 0;
    virtual void SetState_IsMirrored(bool value) = 0;
    virtual int32_t GetState_Orientation() = 0;
    virtual void SetState_Orientation(int32_t value) = 0;
    virtual int32_t GetState_ComponentKind() = 0;
    virtual void SetState_ComponentKind(int32_t value) = 0;
    virtual bool GetState_HighFlag() = 0;
    virtual void SetState_HighFlag(bool value) = 0;
    virtual bool GetState_IsPlaced() = 0;
    virtual ISch_Designator* GetState_SchDesignator() = 0;
    virtual ISch_Parameter* GetState_SchComment() = 0;
    virtual void AddAlias(const std::string& alias) = 0;
    virtual int32_t GetState_AliasCount() = 0;
    virtual std::string GetState_Alias(int32_t index) = 0;
    // A new implementation, already added to the component.
    virtual ISch_Implementation* AddImplementation() = 0;
    // The library import has finished adding parts; the host tidies the part numbering.
    virtual void PartsComplete() = 0;
    // The component has been placed on a sheet.
    virtual void Placed() = 0;
};

// ----- Documents ------------------------------------------------------------------------------

// A connection point of a sheet: where at least two objects meet.
class IConnectionsArray {
public:
    virtual ~IConnectionsArray() = default;
    virtual int32_t GetState_ConnectionsCount() = 0;
    virtual Coord GetState_ConnectionLocation(int32_t index) = 0;
    virtual int32_t GetState_ConnectionObjectsCount(int32_t index) = 0;
};

class ISch_Document : public ISch_BasicContainer {
public:
    // Full path of the document's file.
    virtual std::string GetState_DocumentName() = 0;
    virtual bool GetState_UseCustomSheet() = 0;
    virtual void SetState_UseCustomSheet(bool value) = 0;
    virtual int32_t GetState_CustomX() = 0;
    virtual void SetState_CustomX(int32_t value) = 0;
    virtual int32_t GetState_CustomY() = 0;
    virtual void SetState_CustomY(int32_t value) = 0;
    virtual int32_t GetState_CustomMargin() = 0;
    virtual void SetState_CustomMargin(int32_t value) = 0;
    virtual int32_t GetState_CustomZonesX() = 0;
    virtual void SetState_CustomZonesX(int32_t value) = 0;
    virtual int32_t GetState_CustomZonesY() = 0;
    virtual void SetState_CustomZonesY(int32_t value) = 0;
    virtual int32_t GetState_SheetStyle() = 0;
    virtual void SetState_SheetStyle(int32_t value) = 0;
    // Size and margin in effect: the custom values or those of the sheet style.
    virtual int32_t GetState_SheetSizeX() = 0;
    virtual int32_t GetState_SheetSizeY() = 0;
    virtual int32_t GetState_SheetMargin() = 0;
    virtual int32_t GetState_DisplayUnit() = 0;
    virtual void SetState_DisplayUnit(int32_t value) = 0;
    virtual int32_t GetState_SnapGridSize() = 0;
    virtual void SetState_SnapGridSize(int32_t value) = 0;
    virtual int32_t GetState_VisibleGridSize() = 0;
    virtual void SetState_VisibleGridSize(int32_t value) = 0;
    virtual bool GetState_ShowTemplateGraphics() = 0;
    virtual void SetState_ShowTemplateGraphics(bool value) = 0;
    virtual std::string GetState_TemplateFileName() = 0;
    virtual void SetState_TemplateFileName(const std::string& value) = 0;
    virtual bool GetState_Enabled() = 0;
    virtual void SetState_Enabled(bool value) = 0;
    // A coordinate as text in the document's display unit.
    virtual std::string CoordToDisplayText(int32_t value) = 0;
    // Bulk changes nest; derived data (connections) is brought up to date when the last ends.
    virtual void BeginBulkChange() = 0;
    virtual void EndBulkChange() = 0;
};

class ISch_Sheet : public ISch_Document {
public:
    // Connection points that involve a wire (resp. a bus), computed from the sheet as it stands.
    virtual std::unique_ptr<IConnectionsArray> GetState_WireConnections() = 0;
    virtual std::unique_ptr<IConnectionsArray> GetState_BusConnections() = 0;
    virtual void UpdateConnectivity() = 0;
};

// A library: its children are components. An iterator over a library yields its components (kind
// 26) and the primitives of its current component (all other kinds).
class ISch_Lib : public ISch_Document {
public:
    virtual ISch_Component* GetState_CurrentSchComponent() = 0;
    virtual void SetState_CurrentSchComponent(ISch_Component* component) = 0;
    virtual void AddSchComponent(ISch_Component* component) = 0;
    // Removes and destroys the component.
    virtual void RemoveSchComponent(ISch_Component* component) = 0;
    // ASCII case is ignored; null when there is none.
    virtual ISch_Component* GetState_SchComponentByLibRef(const std::string& libReference) = 0;
    virtual int32_t GetState_ComponentCount() = 0;
};

// ----- Server -------------------------------------------------------------------------------

struct FontDescription {
    int32_t Size = 10;  // points; one point is 100000 host units of text height
    int32_t Rotation = 0;
    bool Underline = false;
    bool Italic = false;
    bool Bold = false;
    bool Strikeout = false;
    std::string FontName = "Times New Roman";
    friend bool operator==(const FontDescription&, const FontDescription&) = default;
};

// Fonts are numbered from 1; every id below GetFontCount names a font.
class ISch_FontManager {
public:
    virtual ~ISch_FontManager() = default;
    // The same id for like arguments; a new id for new ones.
    virtual int32_t GetFontID(int32_t size, int32_t rotation, bool underline, bool italic, bool bold,
                              bool strikeout, const std::string& fontName) = 0;
    virtual int32_t GetFontCount() = 0;
    virtual bool GetFontDescription(int32_t fontId, FontDescription& font) = 0;
    virtual int32_t GetFontSize(int32_t fontId) = 0;
    // Text extent in device pixels of the host's text geometry, three pixels to the point (so that
    // pixels / 3 * 100000 gives host units); false when the id is unknown.
    virtual bool MeasureText(int32_t fontId, const std::string& text, int32_t& width, int32_t& height) = 0;
    // Pixels per logical inch of the screen, for turning pixel font heights into points.
    virtual int32_t GetScreenPixelsPerInch() = 0;
};

// Sheet styles 0 to 17, sizes in host units.
class ISch_Preferences {
public:
    virtual ~ISch_Preferences() = default;
    virtual int32_t GetState_SheetStyleCount() = 0;
    virtual std::string GetState_SheetStyleName(int32_t style) = 0;
    virtual int32_t GetState_SheetStyle_XSize(int32_t style) = 0;
    virtual int32_t GetState_SheetStyle_YSize(int32_t style) = 0;
    virtual int32_t GetState_SheetStyle_XZones(int32_t style) = 0;
    virtual int32_t GetState_SheetStyle_YZones(int32_t style) = 0;
    virtual int32_t GetState_SheetStyle_MarginWidth(int32_t style) = 0;
    // Named boolean preferences of the schematic editor.
    virtual bool GetState_BooleanPreference(const std::string& name) = 0;
    virtual void SetState_BooleanPreference(const std::string& name, bool value) = 0;
};

class ISch_ServerInterface {
public:
    virtual ~ISch_ServerInterface() = default;
    // A new object of the kind, in no container, or null for a kind the host cannot make. Mode 0
    // is the default creation.
    virtual ISch_BasicContainer* CreateSchObject(int32_t kind, int32_t mode) = 0;
    // Destroys an object and everything it holds; it is first taken out of its container.
    virtual void DestroySchObject(ISch_BasicContainer* object) = 0;
    // The open document of that path, or null.
    virtual ISch_Document* GetSchDocumentByPath(const std::string& path) = 0;
    // The focused schematic document, or null.
    virtual ISch_Document* GetCurrentSchDocument() = 0;
    // A free copy of the library component (whitespace around the name is ignored), or null.
    virtual ISch_Component* LoadComponent(const std::string& name, const std::string& libraryPath) = 0;
    virtual ISch_Preferences* GetPreferences() = 0;
    virtual ISch_FontManager* GetFontManager() = 0;
};

}  // namespace orcadx::host
