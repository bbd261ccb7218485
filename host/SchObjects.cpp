// The object classes of the host's schematic model. Each class implements one interface of
// SchInterfaces.h on top of ObjectCore; typed accessors read and write the property store, and the
// few properties with side effects (a component's location, orientation and mirror, a sheet entry's
// location) are written out here.
#include "host/SchObjects.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <numbers>

#include "host/SchServer.h"

namespace orcadx::host::impl {

namespace {

constexpr int32_t kMil = 10000;

int32_t ToInt32(int64_t v) {
    return static_cast<int32_t>(std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

// `c` moved by (dx, dy), held to the plane's 32-bit edges rather than wrapped to the far side.
Coord Moved(Coord c, int64_t dx, int64_t dy) { return {ToInt32(c.X + dx), ToInt32(c.Y + dy)}; }

int32_t MirroredX(int32_t x, int32_t axisX) { return ToInt32(2 * int64_t(axisX) - x); }

bool IsRectKind(int32_t kind) {
    return kind == eRectangle || kind == eRoundRectangle || kind == eImage || kind == eTextFrame;
}

bool IsComponentLevelKind(int32_t kind) {
    return kind == eParameter || kind == eDesignator || kind == eImplementation;
}

double NormalizeAngle(double a) {
    a = std::fmod(a, 360.0);
    if (a < 0) a += 360.0;
    return a;
}

std::string Base64Encode(const std::string& data) {
    static const char* table = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((data.size() + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 2 < data.size(); i += 3) {
        uint32_t n = (uint8_t(data[i]) << 16) | (uint8_t(data[i + 1]) << 8) | uint8_t(data[i + 2]);
        out += table[(n >> 18) & 63];
        out += table[(n >> 12) & 63];
        out += table[(n >> 6) & 63];
        out += table[n & 63];
    }
    if (i < data.size()) {
        uint32_t n = uint8_t(data[i]) << 16;
        if (i + 1 < data.size()) n |= uint8_t(data[i + 1]) << 8;
        out += table[(n >> 18) & 63];
        out += table[(n >> 12) & 63];
        out += i + 1 < data.size() ? table[(n >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

}  // namespace

bool IsShownOnSheet(ObjectCore* object) {
    // On a sheet a component shows the primitives of its current part and display mode only.
    ObjectCore* parent = object->Parent();
    if (!parent || parent->Kind() != eSchComponent || IsComponentLevelKind(object->Kind())) return true;
    if (parent->InLibrary()) return true;
    int32_t part = object->GetInt("OwnerPartId");
    return (part <= 0 || part == parent->GetInt("CurrentPartId", 1)) &&
           object->GetInt("OwnerPartDisplayMode") == parent->GetInt("DisplayMode");
}

namespace {

// ----- Iterator -----------------------------------------------------------------------------

class Iterator final : public ISch_Iterator {
public:
    explicit Iterator(ObjectCore* root) : root_(root) {}

    void AddFilter_ObjectSet(const ObjectSet& kinds) override { kinds_ = kinds; }
    void SetState_IterationDepth(int32_t mode) override { depth_ = mode; }
    void AddFilter_Area(int32_t x1, int32_t y1, int32_t x2, int32_t y2) override {
        area_ = true;
        areaRect_ = {std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2)};
    }
    void AddFilter_PartPrimitives(int32_t partId, int32_t displayMode) override {
        partFilter_ = true;
        part_ = partId;
        mode_ = displayMode;
    }
    ISch_BasicContainer* FirstSchObject() override {
        items_.clear();
        Collect();
        pos_ = 0;
        return NextSchObject();
    }
    ISch_BasicContainer* NextSchObject() override {
        if (pos_ >= items_.size()) return nullptr;
        return items_[pos_++]->Iface();
    }

private:
    bool Matches(ObjectCore* o) {
        if (!kinds_.empty() && std::find(kinds_.begin(), kinds_.end(), o->Kind()) == kinds_.end()) return false;
        if (partFilter_ && o->Parent() && o->Parent()->Kind() == eSchComponent &&
            !IsComponentLevelKind(o->Kind())) {
            int32_t part = o->GetInt("OwnerPartId");
            if (!(part <= 0 || part == part_) || o->GetInt("OwnerPartDisplayMode") != mode_) return false;
        }
        if (area_ && !RectsTouch(o->Bounds(), areaRect_)) return false;
        return true;
    }
    void Walk(ObjectCore* container, bool deep) {
        for (ObjectCore* child : container->Children()) {
            // An explicit part filter decides alone which primitives of a component count.
            if (!partFilter_ && !IsShownOnSheet(child)) continue;
            if (Matches(child)) items_.push_back(child);
            if (deep) Walk(child, true);
        }
    }
    void Collect() {
        bool deep = depth_ >= 2;
        if (root_->Kind() == eSchLib) {
            Walk(root_, deep);
            if (!deep) {
                auto* lib = dynamic_cast<ISch_Lib*>(root_->Iface());
                if (ObjectCore* current = CoreOf(lib ? lib->GetState_CurrentSchComponent() : nullptr))
                    for (ObjectCore* child : current->Children())
                        if (Matches(child)) items_.push_back(child);
            }
            return;
        }
        Walk(root_, deep);
    }

    ObjectCore* root_;
    ObjectSet kinds_;
    int32_t depth_ = 0;
    bool area_ = false;
    CoordRect areaRect_;
    bool partFilter_ = false;
    int32_t part_ = 0;
    int32_t mode_ = 0;
    std::vector<ObjectCore*> items_;
    size_t pos_ = 0;
};

// ----- Property macros ---------------------------------------------------------------------

#define ORX_INT(N)                                                          \
    int32_t GetState_##N() override { return this->GetInt(#N); }          \
    void SetState_##N(int32_t v) override { this->SetInt(#N, v); }
#define ORX_BOOL(N)                                                         \
    bool GetState_##N() override { return this->GetBool(#N); }            \
    void SetState_##N(bool v) override { this->SetBool(#N, v); }
#define ORX_STR(N)                                                          \
    std::string GetState_##N() override { return this->GetStr(#N); }      \
    void SetState_##N(const std::string& v) override { this->SetStr(#N, v); }
#define ORX_DBL(N)                                                          \
    double GetState_##N() override { return this->GetDouble(#N); }        \
    void SetState_##N(double v) override { this->SetDouble(#N, v); }
#define ORX_COORD(N)                                                        \
    Coord GetState_##N() override { return this->GetCoord(#N); }          \
    void SetState_##N(Coord v) override { this->SetCoord(#N, v); }

// ----- Bases --------------------------------------------------------------------------------

template <class I>
class Basic : public I, public ObjectCore {
public:
    Basic(SchServer* server, int32_t kind) : ObjectCore(server, kind) {}
    ISch_BasicContainer* Iface() override { return this; }
    int32_t GetState_ObjectId() override { return Kind(); }
    ORX_STR(Text)
    ORX_STR(UniqueId)
    ISch_BasicContainer* GetState_Container() override { return Parent() ? Parent()->Iface() : nullptr; }
    void AddSchObject(ISch_BasicContainer* object) override {
        ObjectCore* core = CoreOf(object);
        if (!core) throw EApiErr("AddSchObject: not an object of this host");
        if (core == this || core->IsDocument()) throw EApiErr("AddSchObject: object cannot be added here");
        AddChild(core);
    }
    bool RemoveSchObject(ISch_BasicContainer* object) override {
        ObjectCore* core = CoreOf(object);
        return core && RemoveChild(core);
    }
    std::unique_ptr<ISch_Iterator> SchIterator_Create() override { return std::make_unique<Iterator>(this); }
    std::unique_ptr<ISch_Iterator> SchIterator_Create(const ObjectSet& kinds, int32_t mode) override {
        auto it = std::make_unique<Iterator>(this);
        it->AddFilter_ObjectSet(kinds);
        it->SetState_IterationDepth(mode);
        return it;
    }

protected:
    void InitCommon() {
        if (!Has("Text")) SetStr("Text", "");
        SetStr("UniqueId", Server()->NewUniqueId());
    }
};

template <class I>
class Graphical : public Basic<I> {
public:
    using Basic<I>::Basic;
    Coord GetState_Location() override { return this->GetCoord(kLocation); }
    void SetState_Location(Coord v) override { this->SetCoord(kLocation, v); }
    ORX_INT(Color)
    ORX_INT(AreaColor)
    ORX_INT(OwnerPartId)
    ORX_INT(OwnerPartDisplayMode)
    ORX_BOOL(Enabled)
    void MoveToXY(int32_t x, int32_t y) override {
        Coord l = this->GetState_Location();
        this->Translate(x - l.X, y - l.Y);
    }
    void MoveByXY(int32_t dx, int32_t dy) override { this->Translate(dx, dy); }
    void Mirror(Coord axis) override { this->MirrorAbout(axis.X); }
    void RotateBy90(Coord center, int32_t quarterTurns) override { this->Rotate(center, quarterTurns); }
    void Refresh() override {}
    CoordRect GetState_BoundingRectangle() override { return this->Bounds(); }

protected:
    void InitGraphical(int32_t color, int32_t areaColor) {
        this->InitCommon();
        this->SetCoord(kLocation, {0, 0});
        this->SetInt("Color", color);
        this->SetInt("AreaColor", areaColor);
        this->SetInt("OwnerPartId", 0);
        this->SetInt("OwnerPartDisplayMode", 0);
        this->SetBool("Enabled", true);
    }
};

constexpr int32_t kDarkRed = 0x000080;     // 0xBBGGRR
constexpr int32_t kLightYellow = 0xB0FFFF;
constexpr int32_t kBlue = 0xFF0000;
constexpr int32_t kNavy = 0x800000;
constexpr int32_t kBlack = 0x000000;
constexpr int32_t kRed = 0x0000FF;

// ----- Drawing objects -----------------------------------------------------------------------

class LineObj final : public Graphical<ISch_Line> {
public:
    using Graphical::Graphical;
    ORX_COORD(Corner)
    ORX_INT(LineWidth)
    ORX_INT(LineStyle)
    void InitNew() override {
        InitGraphical(kBlue, kLightYellow);
        SetCoord(kCorner, {100 * kMil, 0});
        SetInt("LineWidth", 1);
        SetInt("LineStyle", 0);
    }
    CoordRect Bounds() override {
        Coord a = GetCoord(kLocation), b = GetCoord(kCorner);
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }
};

class BusEntryObj final : public Graphical<ISch_BusEntry> {
public:
    using Graphical::Graphical;
    ORX_COORD(Corner)
    ORX_INT(LineWidth)
    void InitNew() override {
        InitGraphical(kNavy, kLightYellow);
        SetCoord(kCorner, {100 * kMil, 100 * kMil});
        SetInt("LineWidth", 1);
    }
    CoordRect Bounds() override {
        Coord a = GetCoord(kLocation), b = GetCoord(kCorner);
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }
};

template <class I>
class RectBase : public Graphical<I> {
public:
    using Graphical<I>::Graphical;
    ORX_COORD(Corner)
    ORX_INT(LineWidth)
    ORX_BOOL(IsSolid)
    ORX_BOOL(Transparent)
    CoordRect Bounds() override {
        Coord a = this->GetCoord(kLocation), b = this->GetCoord(kCorner);
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }

protected:
    void InitRect(bool solid) {
        this->InitGraphical(kDarkRed, kLightYellow);
        this->SetCoord(kCorner, {100 * kMil, 100 * kMil});
        this->SetInt("LineWidth", 1);
        this->SetBool("IsSolid", solid);
        this->SetBool("Transparent", false);
    }
};

class RectangleObj final : public RectBase<ISch_Rectangle> {
public:
    using RectBase::RectBase;
    void InitNew() override { InitRect(true); }
};

class RoundRectangleObj final : public RectBase<ISch_RoundRectangle> {
public:
    using RectBase::RectBase;
    ORX_INT(CornerXRadius)
    ORX_INT(CornerYRadius)
    void InitNew() override {
        InitRect(true);
        SetInt("CornerXRadius", 20 * kMil);
        SetInt("CornerYRadius", 20 * kMil);
    }
};

class ImageObj final : public RectBase<ISch_Image> {
public:
    using RectBase::RectBase;
    ORX_STR(FileName)
    ORX_BOOL(KeepAspect)
    bool GetState_EmbedImage() override { return GetBool("EmbedImage"); }
    void SetState_EmbedImage(bool value) override {
        SetBool("EmbedImage", value);
        if (!value) {
            Erase("ImageData");
            return;
        }
        // The image is read at this moment: the file may be gone afterwards.
        std::ifstream in(NormalizePath(GetStr("FileName")), std::ios::binary);
        if (!in) throw EApiErr("Cannot read image file " + GetStr("FileName"));
        std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        SetStr("ImageData", Base64Encode(data));
    }
    int32_t GetState_EmbeddedSize() override {
        std::string b64 = GetStr("ImageData");
        if (b64.empty()) return 0;
        size_t pad = b64.size() >= 2 ? (b64[b64.size() - 1] == '=') + (b64[b64.size() - 2] == '=') : 0;
        return static_cast<int32_t>(b64.size() / 4 * 3 - pad);
    }
    void InitNew() override {
        InitRect(false);
        SetStr("FileName", "");
        SetBool("EmbedImage", false);
        SetBool("KeepAspect", false);
    }
};

class TextFrameObj final : public RectBase<ISch_TextFrame> {
public:
    using RectBase::RectBase;
    ORX_INT(FontId)
    ORX_INT(TextColor)
    ORX_INT(Alignment)
    ORX_BOOL(WordWrap)
    ORX_BOOL(ShowBorder)
    void InitNew() override {
        InitRect(false);
        SetStr("Text", "Text");
        SetInt("FontId", 1);
        SetInt("TextColor", kBlack);
        SetInt("Alignment", 1);
        SetBool("WordWrap", true);
        SetBool("ShowBorder", false);
    }
};

class EllipseObj final : public Graphical<ISch_Ellipse> {
public:
    using Graphical::Graphical;
    ORX_INT(Radius)
    ORX_INT(SecondaryRadius)
    ORX_INT(LineWidth)
    ORX_BOOL(IsSolid)
    ORX_BOOL(Transparent)
    void InitNew() override {
        InitGraphical(kBlue, kLightYellow);
        SetInt("Radius", 50 * kMil);
        SetInt("SecondaryRadius", 50 * kMil);
        SetInt("LineWidth", 1);
        SetBool("IsSolid", true);
        SetBool("Transparent", false);
    }
    void Rotate(Coord center, int32_t quarterTurns) override {
        ObjectCore::Rotate(center, quarterTurns);
        if (quarterTurns & 1) {
            int32_t r = GetInt("Radius");
            SetInt("Radius", GetInt("SecondaryRadius"));
            SetInt("SecondaryRadius", r);
        }
    }
    CoordRect Bounds() override {
        Coord c = GetCoord(kLocation);
        int32_t rx = std::abs(GetInt("Radius")), ry = std::abs(GetInt("SecondaryRadius"));
        return {c.X - rx, c.Y - ry, c.X + rx, c.Y + ry};
    }
};

// Extents of an arc of radii (rx, ry) from `start` to `end` degrees, counter-clockwise.
CoordRect ArcBounds(Coord c, int32_t rx, int32_t ry, double start, double end, bool withCenter) {
    auto point = [&](double deg) {
        double a = deg * std::numbers::pi / 180.0;
        return Coord{ToInt32(std::llround(c.X + rx * std::cos(a))), ToInt32(std::llround(c.Y + ry * std::sin(a)))};
    };
    double s = NormalizeAngle(start), e = NormalizeAngle(end);
    double sweep = e - s;
    if (sweep <= 0) sweep += 360.0;
    Coord p = point(s);
    CoordRect r{p.X, p.Y, p.X, p.Y};
    auto add = [&](Coord q) { r = UnionRect(r, {q.X, q.Y, q.X, q.Y}); };
    add(point(s + sweep));
    for (int q = 0; q < 4; ++q) {
        double axis = q * 90.0;
        double rel = NormalizeAngle(axis - s);
        if (rel <= sweep) add(point(axis));
    }
    if (withCenter) add(c);
    return r;
}

template <class I>
class ArcBase : public Graphical<I> {
public:
    using Graphical<I>::Graphical;
    ORX_INT(Radius)
    ORX_DBL(StartAngle)
    ORX_DBL(EndAngle)
    ORX_INT(LineWidth)

protected:
    void InitArc() {
        this->InitGraphical(kBlue, kLightYellow);
        this->SetInt("Radius", 50 * kMil);
        this->SetDouble("StartAngle", 0.0);
        this->SetDouble("EndAngle", 90.0);
        this->SetInt("LineWidth", 1);
    }
};

class ArcObj final : public ArcBase<ISch_Arc> {
public:
    using ArcBase::ArcBase;
    void InitNew() override { InitArc(); }
    CoordRect Bounds() override {
        int32_t r = std::abs(GetInt("Radius"));
        return ArcBounds(GetCoord(kLocation), r, r, GetDouble("StartAngle"), GetDouble("EndAngle"), false);
    }
};

class EllipticalArcObj final : public ArcBase<ISch_EllipticalArc> {
public:
    using ArcBase::ArcBase;
    ORX_INT(SecondaryRadius)
    void InitNew() override {
        InitArc();
        SetInt("SecondaryRadius", 30 * kMil);
    }
    CoordRect Bounds() override {
        return ArcBounds(GetCoord(kLocation), std::abs(GetInt("Radius")), std::abs(GetInt("SecondaryRadius")),
                         GetDouble("StartAngle"), GetDouble("EndAngle"), false);
    }
};

class PieObj final : public ArcBase<ISch_Pie> {
public:
    using ArcBase::ArcBase;
    ORX_BOOL(IsSolid)
    void InitNew() override {
        InitArc();
        SetInt("Color", kDarkRed);
        SetBool("IsSolid", true);
    }
    CoordRect Bounds() override {
        int32_t r = std::abs(GetInt("Radius"));
        return ArcBounds(GetCoord(kLocation), r, r, GetDouble("StartAngle"), GetDouble("EndAngle"), true);
    }
};

template <class I>
class PolyBase : public Graphical<I> {
public:
    using Graphical<I>::Graphical;
    ORX_INT(LineWidth)
    ORX_BOOL(IsSolid)
    ORX_BOOL(Transparent)
    Coord GetState_Location() override {
        auto v = this->GetVertices();
        return v.empty() ? this->GetCoord(kLocation) : v.front();
    }
    void SetState_Location(Coord value) override {
        Coord l = GetState_Location();
        this->Translate(value.X - l.X, value.Y - l.Y);
    }
    int32_t GetState_VertexCount() override { return static_cast<int32_t>(this->GetVertices().size()); }
    void SetState_VertexCount(int32_t value) override {
        auto v = this->GetVertices();
        size_t n = static_cast<size_t>(std::max(value, 0));
        Coord fill = v.empty() ? this->GetCoord(kLocation) : v.back();
        v.resize(n, fill);
        this->SetVertices(v);
    }
    Coord GetState_Vertex(int32_t index) override {
        auto v = this->GetVertices();
        if (index < 1 || index > static_cast<int32_t>(v.size()))
            throw EApiErr("Vertex index " + std::to_string(index) + " out of range");
        return v[index - 1];
    }
    void SetState_Vertex(int32_t index, Coord value) override {
        auto v = this->GetVertices();
        if (index < 1) throw EApiErr("Vertex index " + std::to_string(index) + " out of range");
        if (index > static_cast<int32_t>(v.size())) v.resize(index, v.empty() ? value : v.back());
        v[index - 1] = value;
        this->SetVertices(v);
        if (index == 1) this->SetCoord(kLocation, value);
    }
    void InsertVertex(int32_t index, Coord value) override {
        auto v = this->GetVertices();
        if (index < 1 || index > static_cast<int32_t>(v.size()) + 1)
            throw EApiErr("Vertex index " + std::to_string(index) + " out of range");
        v.insert(v.begin() + (index - 1), value);
        this->SetVertices(v);
        if (index == 1) this->SetCoord(kLocation, value);
    }
    CoordRect Bounds() override {
        auto v = this->GetVertices();
        if (v.empty()) {
            Coord l = this->GetCoord(kLocation);
            return {l.X, l.Y, l.X, l.Y};
        }
        CoordRect r{v[0].X, v[0].Y, v[0].X, v[0].Y};
        for (Coord p : v) r = UnionRect(r, {p.X, p.Y, p.X, p.Y});
        return r;
    }

protected:
    void InitPoly(int32_t color, int32_t width, bool solid) {
        this->InitGraphical(color, kLightYellow);
        this->SetInt("LineWidth", width);
        this->SetBool("IsSolid", solid);
        this->SetBool("Transparent", false);
        this->SetVertices({});
    }
};

template <class I>
class PolylineBase : public PolyBase<I> {
public:
    using PolyBase<I>::PolyBase;
    ORX_INT(LineStyle)

protected:
    void InitPolyline(int32_t color, int32_t width) {
        this->InitPoly(color, width, false);
        this->SetInt("LineStyle", 0);
    }
};

class PolygonObj final : public PolyBase<ISch_Polygon> {
public:
    using PolyBase::PolyBase;
    void InitNew() override {
        InitPoly(kDarkRed, 1, true);
    }
};

class PolylineObj final : public PolylineBase<ISch_Polyline> {
public:
    using PolylineBase::PolylineBase;
    void InitNew() override { InitPolyline(kBlue, 1); }
};

class BezierObj final : public PolylineBase<ISch_Bezier> {
public:
    using PolylineBase::PolylineBase;
    void InitNew() override { InitPolyline(kBlue, 1); }
};

class WireObj final : public PolylineBase<ISch_Wire> {
public:
    using PolylineBase::PolylineBase;
    void InitNew() override { InitPolyline(kNavy, 1); }
};

class BusObj final : public PolylineBase<ISch_Bus> {
public:
    using PolylineBase::PolylineBase;
    void InitNew() override { InitPolyline(kNavy, 2); }
};

// ----- Texts ----------------------------------------------------------------------------------

CoordRect TextBounds(ObjectCore& text, const std::string& shown) {
    Coord l = text.GetCoord(kLocation);
    int32_t size = text.Server()->GetFontSize(text.GetInt("FontId", 1));
    int32_t w = 0, h = 0;
    TextExtent(shown, size, w, h);
    int32_t j = text.GetInt("Justification");
    int32_t col = j % 3, row = j / 3;
    int32_t x0 = col == 0 ? 0 : col == 1 ? -w / 2 : -w;
    int32_t y0 = row == 0 ? 0 : row == 1 ? -h / 2 : -h;
    Coord a = RotatePoint(Moved(l, x0, y0), l, text.GetInt("Orientation"));
    Coord b = RotatePoint(Moved(l, int64_t(x0) + w, int64_t(y0) + h), l, text.GetInt("Orientation"));
    return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
}

template <class I>
class LabelBase : public Graphical<I> {
public:
    using Graphical<I>::Graphical;
    ORX_INT(FontId)
    ORX_INT(Orientation)
    ORX_INT(Justification)
    ORX_BOOL(IsMirrored)
    CoordRect Bounds() override { return TextBounds(*this, this->GetStr("Text")); }
    void MirrorAbout(int32_t axisX) override {
        // Texts stay readable: only the anchor moves and the justification flips.
        this->MirrorPoints(axisX);
        int32_t j = this->GetInt("Justification");
        int32_t col = j % 3;
        if (this->GetInt("Orientation") % 2 == 0 && col != 1) this->SetInt("Justification", j - col + (2 - col));
    }

protected:
    void InitLabel(int32_t color, const std::string& text) {
        this->InitGraphical(color, kLightYellow);
        this->SetStr("Text", text);
        this->SetInt("FontId", 1);
        this->SetInt("Orientation", 0);
        this->SetInt("Justification", 0);
        this->SetBool("IsMirrored", false);
    }
};

class LabelObj final : public LabelBase<ISch_Label> {
public:
    using LabelBase::LabelBase;
    void InitNew() override { InitLabel(kNavy, "Text"); }
};

class NetLabelObj final : public LabelBase<ISch_NetLabel> {
public:
    using LabelBase::LabelBase;
    void InitNew() override { InitLabel(kNavy, "NetLabel"); }
};

template <class I>
class ComplexTextBase : public LabelBase<I> {
public:
    using LabelBase<I>::LabelBase;
    ORX_BOOL(IsHidden)
    ORX_BOOL(Autoposition)
    std::string GetState_DisplayString() override { return DisplayString(*this); }

protected:
    void InitComplexText(const std::string& text) {
        this->InitLabel(kNavy, text);
        this->SetBool("IsHidden", false);
        this->SetBool("Autoposition", true);
    }
};

template <class I>
class ParameterBase : public ComplexTextBase<I> {
public:
    using ComplexTextBase<I>::ComplexTextBase;
    ORX_STR(Name)
    ORX_BOOL(ShowName)
    ORX_STR(Description)
    CoordRect Bounds() override {
        std::string shown = DisplayString(*this);
        if (this->GetBool("ShowName")) shown = this->GetStr("Name") + ": " + shown;
        return TextBounds(*this, shown);
    }

protected:
    void InitParameter(const std::string& name, const std::string& text) {
        this->InitComplexText(text);
        this->SetStr("Name", name);
        this->SetBool("ShowName", false);
        this->SetStr("Description", "");
    }
};

class ParameterObj final : public ParameterBase<ISch_Parameter> {
public:
    using ParameterBase::ParameterBase;
    void InitNew() override { InitParameter("", ""); }
};

class DesignatorObj final : public ParameterBase<ISch_Designator> {
public:
    using ParameterBase::ParameterBase;
    void InitNew() override { InitParameter("Designator", ""); }
};

class SheetNameObj final : public ComplexTextBase<ISch_SheetName> {
public:
    using ComplexTextBase::ComplexTextBase;
    void InitNew() override { InitComplexText("U_Sheet"); }
};

class SheetFileNameObj final : public ComplexTextBase<ISch_SheetFileName> {
public:
    using ComplexTextBase::ComplexTextBase;
    void InitNew() override { InitComplexText("Sheet.SchDoc"); }
};

// ----- Connectivity objects ---------------------------------------------------------------------

class JunctionObj final : public Graphical<ISch_Junction> {
public:
    using Graphical::Graphical;
    ORX_BOOL(Locked)
    ORX_INT(Size)
    void InitNew() override {
        InitGraphical(kNavy, kLightYellow);
        SetBool("Locked", false);
        SetInt("Size", 1);
    }
    CoordRect Bounds() override {
        Coord c = GetCoord(kLocation);
        int32_t r = (GetInt("Size") + 1) * 2 * kMil;
        return {c.X - r, c.Y - r, c.X + r, c.Y + r};
    }
};

class NoErcObj final : public Graphical<ISch_NoERC> {
public:
    using Graphical::Graphical;
    ORX_INT(Symbol)
    ORX_INT(Orientation)
    void InitNew() override {
        InitGraphical(kRed, kLightYellow);
        SetInt("Symbol", 0);
        SetInt("Orientation", 0);
    }
    CoordRect Bounds() override {
        Coord c = GetCoord(kLocation);
        return {c.X - 40 * kMil, c.Y - 40 * kMil, c.X + 40 * kMil, c.Y + 40 * kMil};
    }
};

class SymbolObj final : public Graphical<ISch_Symbol> {
public:
    using Graphical::Graphical;
    ORX_INT(Symbol)
    ORX_INT(Orientation)
    ORX_BOOL(IsMirrored)
    ORX_INT(LineWidth)
    ORX_INT(ScaleFactor)
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        SetInt("Symbol", 0);
        SetInt("Orientation", 0);
        SetBool("IsMirrored", false);
        SetInt("LineWidth", 0);
        SetInt("ScaleFactor", 100 * kMil);
    }
    void MirrorAbout(int32_t axisX) override {
        MirrorPoints(axisX);
        SetBool("IsMirrored", !GetBool("IsMirrored"));
    }
    CoordRect Bounds() override {
        Coord c = GetCoord(kLocation);
        int32_t s = std::max(GetInt("ScaleFactor"), 10 * kMil);
        CoordRect r{c.X, c.Y - s / 2, c.X + s, c.Y + s / 2};
        Coord a = RotatePoint({r.X1, r.Y1}, c, GetInt("Orientation"));
        Coord b = RotatePoint({r.X2, r.Y2}, c, GetInt("Orientation"));
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }
};

class PinObj final : public Graphical<ISch_Pin> {
public:
    using Graphical::Graphical;
    ORX_STR(Name)
    ORX_STR(Designator)
    ORX_INT(Orientation)
    ORX_INT(Electrical)
    ORX_INT(PinLength)
    ORX_BOOL(IsHidden)
    ORX_BOOL(ShowName)
    ORX_BOOL(ShowDesignator)
    ORX_STR(HiddenNetName)
    ORX_STR(Description)
    ORX_INT(InnerEdge)
    ORX_INT(OuterEdge)
    bool GetState_CustomStyleEnabled(int32_t s) override { return GetBool(Key(s, "Enabled").c_str()); }
    void SetState_CustomStyleEnabled(int32_t s, bool v) override { SetBool(Key(s, "Enabled").c_str(), v); }
    int32_t GetState_CustomStyleFontId(int32_t s) override { return GetInt(Key(s, "FontId").c_str(), 1); }
    void SetState_CustomStyleFontId(int32_t s, int32_t v) override { SetInt(Key(s, "FontId").c_str(), v); }
    int32_t GetState_CustomStylePositionMode(int32_t s) override { return GetInt(Key(s, "PositionMode").c_str()); }
    void SetState_CustomStylePositionMode(int32_t s, int32_t v) override {
        SetInt(Key(s, "PositionMode").c_str(), v);
    }
    int32_t GetState_CustomStyleColor(int32_t s) override { return GetInt(Key(s, "Color").c_str()); }
    void SetState_CustomStyleColor(int32_t s, int32_t v) override { SetInt(Key(s, "Color").c_str(), v); }
    bool ApplyParameter(ISch_Parameter* parameter) override {
        if (!parameter) return false;
        std::string name = parameter->GetState_Name();
        if (SameTextIgnoringCase(name, "Name")) {
            SetStr("Name", parameter->GetState_Text());
            return true;
        }
        if (SameTextIgnoringCase(name, "Number") || SameTextIgnoringCase(name, "Designator")) {
            SetStr("Designator", parameter->GetState_Text());
            return true;
        }
        return false;
    }
    void InitNew() override {
        InitGraphical(kBlack, kLightYellow);
        SetStr("Name", "");
        SetStr("Designator", "");
        SetInt("Orientation", 0);
        SetInt("Electrical", 4);
        SetInt("PinLength", 300 * kMil);
        SetBool("IsHidden", false);
        SetBool("ShowName", true);
        SetBool("ShowDesignator", true);
        SetStr("HiddenNetName", "");
        SetStr("Description", "");
        SetInt("InnerEdge", 0);
        SetInt("OuterEdge", 0);
        for (int s = 0; s < 2; ++s) {
            SetBool(Key(s, "Enabled").c_str(), false);
            SetInt(Key(s, "FontId").c_str(), 1);
            SetInt(Key(s, "PositionMode").c_str(), 0);
            SetInt(Key(s, "Color").c_str(), kBlack);
        }
    }
    void MirrorAbout(int32_t axisX) override {
        MirrorPoints(axisX);
        int32_t o = GetInt("Orientation");
        if (o % 2 == 0) SetInt("Orientation", 2 - o);
        for (ObjectCore* c : Children()) c->MirrorAbout(axisX);
    }
    CoordRect Bounds() override {
        Coord a = GetCoord(kLocation), b = PinHotSpot(*this);
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }

private:
    static std::string Key(int32_t style, const char* what) {
        return std::string(style == 0 ? "NameStyle" : "DesignatorStyle") + what;
    }
};

class PortObj final : public Graphical<ISch_Port> {
public:
    using Graphical::Graphical;
    ORX_STR(Name)
    ORX_INT(Style)
    ORX_INT(IOType)
    ORX_INT(Alignment)
    ORX_INT(Width)
    ORX_INT(Height)
    ORX_INT(FontId)
    ORX_INT(TextColor)
    bool ApplyParameter(ISch_Parameter* parameter) override {
        if (!parameter || !SameTextIgnoringCase(parameter->GetState_Name(), "Name")) return false;
        SetStr("Name", parameter->GetState_Text());
        return true;
    }
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        SetStr("Name", "Port");
        SetInt("Style", 3);
        SetInt("IOType", 0);
        SetInt("Alignment", 0);
        SetInt("Width", 500 * kMil);
        SetInt("Height", 100 * kMil);
        SetInt("FontId", 1);
        SetInt("TextColor", kDarkRed);
    }
    void Rotate(Coord center, int32_t quarterTurns) override {
        for (int32_t t = 0; t < (quarterTurns % 4 + 4) % 4; ++t) {
            Coord l = RotatePoint(GetCoord(kLocation), center, 1);
            int32_t style = GetInt("Style");
            static const int32_t next[8] = {4, 6, 5, 7, 0, 1, 2, 3};
            if (style >= 4 && style <= 7) l.X -= GetInt("Width");  // the body now runs to the left
            if (style >= 0 && style <= 7) SetInt("Style", next[style]);
            SetCoord(kLocation, l);
        }
    }
    void MirrorAbout(int32_t axisX) override {
        Coord l = GetCoord(kLocation);
        int32_t style = GetInt("Style");
        if (style >= 4) {
            l.X = 2 * axisX - l.X;
        } else {
            l.X = 2 * axisX - l.X - GetInt("Width");
            if (style == 1 || style == 2) SetInt("Style", 3 - style);
        }
        SetCoord(kLocation, l);
    }
    CoordRect Bounds() override {
        Coord a, b;
        PortEnds(*this, a, b);
        int32_t half = std::abs(GetInt("Height")) / 2;
        if (a.Y == b.Y) return {std::min(a.X, b.X), a.Y - half, std::max(a.X, b.X), a.Y + half};
        return {a.X - half, std::min(a.Y, b.Y), a.X + half, std::max(a.Y, b.Y)};
    }
};

template <class I>
class PowerBase : public Graphical<I> {
public:
    using Graphical<I>::Graphical;
    ORX_INT(Style)
    ORX_INT(Orientation)
    ORX_BOOL(ShowNetName)
    ORX_INT(FontId)
    void MirrorAbout(int32_t axisX) override {
        this->MirrorPoints(axisX);
        int32_t o = this->GetInt("Orientation");
        if (o % 2 == 0) this->SetInt("Orientation", 2 - o);
    }
    CoordRect Bounds() override {
        // The symbol stands on its connection point, pointing away in the direction of Orientation.
        Coord c = this->GetCoord(kLocation);
        Coord a = RotatePoint({c.X, c.Y - 50 * kMil}, c, this->GetInt("Orientation"));
        Coord b = RotatePoint({c.X + 100 * kMil, c.Y + 50 * kMil}, c, this->GetInt("Orientation"));
        return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
    }

protected:
    void InitPower(int32_t style, int32_t orientation, const std::string& text) {
        this->InitGraphical(kDarkRed, kLightYellow);
        this->SetStr("Text", text);
        this->SetInt("Style", style);
        this->SetInt("Orientation", orientation);
        this->SetBool("ShowNetName", true);
        this->SetInt("FontId", 1);
    }
};

class PowerObj final : public PowerBase<ISch_PowerObject> {
public:
    using PowerBase::PowerBase;
    void InitNew() override { InitPower(1, 1, "VCC"); }
};

class CrossSheetObj final : public PowerBase<ISch_CrossSheetConnector> {
public:
    using PowerBase::PowerBase;
    int32_t GetState_Side() override { return GetInt("Style"); }
    void SetState_Side(int32_t v) override { SetInt("Style", v); }
    void InitNew() override { InitPower(0, 0, ""); }
};

// ----- Sheet symbols, entries, bundles ---------------------------------------------------------

ObjectCore* ChildOfKind(ObjectCore* parent, int32_t kind, bool create) {
    for (ObjectCore* c : parent->Children())
        if (c->Kind() == kind) return c;
    if (!create) return nullptr;
    auto child = MakeObject(parent->Server(), kind, true);
    ObjectCore* raw = child.release();
    parent->AddChild(raw);
    return raw;
}

class SheetSymbolObj final : public Graphical<ISch_SheetSymbol> {
public:
    using Graphical::Graphical;
    ORX_INT(XSize)
    ORX_INT(YSize)
    ORX_INT(LineWidth)
    ORX_BOOL(IsSolid)
    void SetState_Location(Coord v) override {
        Coord l = GetCoord(kLocation);
        Translate(v.X - l.X, v.Y - l.Y);
    }
    ISch_SheetName* GetState_SheetName() override {
        return dynamic_cast<ISch_SheetName*>(ChildOfKind(this, eSheetName, true)->Iface());
    }
    ISch_SheetFileName* GetState_SheetFileName() override {
        return dynamic_cast<ISch_SheetFileName*>(
            ChildOfKind(this, eSheetFileName, true)->Iface());
    }
    bool ApplyParameter(ISch_Parameter* parameter) override {
        if (!parameter) return false;
        if (SameTextIgnoringCase(parameter->GetState_Name(), "SheetName")) {
            GetState_SheetName()->SetState_Text(parameter->GetState_Text());
            return true;
        }
        if (SameTextIgnoringCase(parameter->GetState_Name(), "SheetFileName")) {
            GetState_SheetFileName()->SetState_Text(parameter->GetState_Text());
            return true;
        }
        return false;
    }
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        SetInt("XSize", 1000 * kMil);
        SetInt("YSize", 500 * kMil);
        SetInt("LineWidth", 1);
        SetBool("IsSolid", true);
        auto* name = ChildOfKind(this, eSheetName, true);
        name->SetCoord(kLocation, {0, 20 * kMil});
        auto* file = ChildOfKind(this, eSheetFileName, true);
        file->SetCoord(kLocation, {0, -500 * kMil - 120 * kMil});
    }
    void MirrorAbout(int32_t axisX) override {
        Coord l = GetCoord(kLocation);
        l.X = 2 * axisX - l.X - GetInt("XSize");
        SetCoord(kLocation, l);
        for (ObjectCore* c : Children()) {
            if (c->Kind() == eSheetEntry) {
                int32_t side = c->GetInt("Side");
                if (side == 0 || side == 1) c->SetInt("Side", 1 - side);
                else c->SetInt("DistanceFromTop", GetInt("XSize") - c->GetInt("DistanceFromTop"));
            } else {
                c->MirrorAbout(axisX);
            }
        }
    }
    void Rotate(Coord center, int32_t quarterTurns) override {
        // A sheet symbol stays upright: its corner moves with the turn and its sizes swap.
        for (int32_t t = 0; t < (quarterTurns % 4 + 4) % 4; ++t) {
            Coord l = GetCoord(kLocation);
            int32_t w = GetInt("XSize"), h = GetInt("YSize");
            Coord farCorner = RotatePoint({l.X + w, l.Y - h}, center, 1);
            Coord near = RotatePoint(l, center, 1);
            SetCoord(kLocation, {std::min(near.X, farCorner.X), std::max(near.Y, farCorner.Y)});
            SetInt("XSize", h);
            SetInt("YSize", w);
            for (ObjectCore* c : Children())
                if (c->Kind() != eSheetEntry) c->Rotate(center, 1);
        }
    }
    CoordRect Bounds() override {
        Coord l = GetCoord(kLocation);
        return {l.X, l.Y - GetInt("YSize"), l.X + GetInt("XSize"), l.Y};
    }
};

class SheetEntryObj final : public Graphical<ISch_SheetEntry> {
public:
    using Graphical::Graphical;
    ORX_STR(Name)
    ORX_INT(Side)
    ORX_INT(DistanceFromTop)
    ORX_INT(IOType)
    ORX_INT(Style)
    ORX_INT(TextColor)
    ORX_INT(FontId)
    Coord GetState_Location() override { return SheetEntryLocation(*this); }
    void SetState_Location(Coord v) override {
        ObjectCore* symbol = Parent();
        if (!symbol) return;
        Coord l = symbol->GetCoord(kLocation);
        int32_t side = GetInt("Side");
        SetInt("DistanceFromTop", side <= 1 ? l.Y - v.Y : v.X - l.X);
    }
    void Translate(int32_t, int32_t) override {}  // moves with its symbol
    void Rotate(Coord, int32_t) override {}
    void MirrorAbout(int32_t) override {}
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        Erase(kLocation);
        SetStr("Name", "");
        SetInt("Side", 0);
        SetInt("DistanceFromTop", 100 * kMil);
        SetInt("IOType", 0);
        SetInt("Style", 0);
        SetInt("TextColor", kDarkRed);
        SetInt("FontId", 1);
    }
    CoordRect Bounds() override {
        Coord c = SheetEntryLocation(*this);
        return {c.X - 50 * kMil, c.Y - 50 * kMil, c.X + 50 * kMil, c.Y + 50 * kMil};
    }
};

class BundleEdgeObj final : public Graphical<ISch_BundleEdge> {
public:
    using Graphical::Graphical;
    ORX_STR(Name)
    ORX_INT(Side)
    ORX_INT(DistanceFromTop)
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        Erase(kLocation);
        SetStr("Name", "");
        SetInt("Side", 0);
        SetInt("DistanceFromTop", 0);
    }
    Coord GetState_Location() override { return SheetEntryLocation(*this); }
    void SetState_Location(Coord) override {}
    void Translate(int32_t, int32_t) override {}
    void Rotate(Coord, int32_t) override {}
    void MirrorAbout(int32_t) override {}
    CoordRect Bounds() override {
        Coord c = SheetEntryLocation(*this);
        return {c.X, c.Y, c.X, c.Y};
    }
};

class BundleBlockObj final : public Graphical<ISch_BundleBlock> {
public:
    using Graphical::Graphical;
    ORX_STR(Name)
    ORX_INT(XSize)
    ORX_INT(YSize)
    ORX_INT(LineWidth)
    ORX_INT(PrimaryPosition)
    ISch_BundleEdge* GetState_Edge() override {
        return dynamic_cast<ISch_BundleEdge*>(ChildOfKind(this, eBundleEdge, true)->Iface());
    }
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        SetStr("Name", "");
        SetInt("XSize", 200 * kMil);
        SetInt("YSize", 600 * kMil);
        SetInt("LineWidth", 1);
        SetInt("PrimaryPosition", 0);
        ChildOfKind(this, eBundleEdge, true);
    }
    void MirrorAbout(int32_t axisX) override {
        Coord l = GetCoord(kLocation);
        l.X = 2 * axisX - l.X - GetInt("XSize");
        SetCoord(kLocation, l);
        for (ObjectCore* c : Children())
            if (c->Kind() == eBundleEdge && c->GetInt("Side") <= 1) c->SetInt("Side", 1 - c->GetInt("Side"));
    }
    CoordRect Bounds() override {
        Coord l = GetCoord(kLocation);
        return {l.X, l.Y - GetInt("YSize"), l.X + GetInt("XSize"), l.Y};
    }
};

// ----- Implementations and components -----------------------------------------------------------

class ImplementationObj final : public Basic<ISch_Implementation> {
public:
    using Basic::Basic;
    ORX_STR(ModelName)
    ORX_STR(ModelType)
    ORX_STR(Description)
    ORX_BOOL(IsCurrent)
    ORX_STR(MapAsString)
    ORX_BOOL(BuiltInSwitchA)
    ORX_BOOL(BuiltInSwitchB)
    void AddDataFileLink(const std::string& entity, const std::string& location, const std::string& kind) override {
        JsonProperty("DataFileLinks").push_back(Json{{"Entity", entity}, {"Location", location}, {"Kind", kind}});
    }
    int32_t GetState_DataFileLinkCount() override { return static_cast<int32_t>(Links().size()); }
    std::string GetState_DataFileLinkEntity(int32_t i) override { return Link(i, "Entity"); }
    std::string GetState_DataFileLinkLocation(int32_t i) override { return Link(i, "Location"); }
    std::string GetState_DataFileLinkKind(int32_t i) override { return Link(i, "Kind"); }
    void InitNew() override {
        InitCommon();
        SetStr("ModelName", "");
        SetStr("ModelType", "");
        SetStr("Description", "");
        SetBool("IsCurrent", false);
        SetStr("MapAsString", "");
        SetBool("BuiltInSwitchA", false);
        SetBool("BuiltInSwitchB", false);
        JsonProperty("DataFileLinks") = Json::array();
    }
    // Models have no place on the sheet.
    void Translate(int32_t, int32_t) override {}
    void Rotate(Coord, int32_t) override {}
    void MirrorAbout(int32_t) override {}
    CoordRect Bounds() override { return {}; }

private:
    const Json& Links() {
        Json& links = JsonProperty("DataFileLinks");
        if (!links.is_array()) links = Json::array();
        return links;
    }
    std::string Link(int32_t i, const char* field) {
        const Json& links = Links();
        if (i < 0 || i >= static_cast<int32_t>(links.size()))
            throw EApiErr("Data file link " + std::to_string(i) + " out of range");
        return links[i].value(field, "");
    }
};

class ComponentObj final : public Graphical<ISch_Component> {
public:
    using Graphical::Graphical;
    ORX_STR(LibReference)
    ORX_STR(DesignItemId)
    ORX_STR(SourceLibraryName)
    ORX_STR(ComponentDescription)
    ORX_INT(PartCount)
    ORX_INT(CurrentPartId)
    ORX_INT(DisplayMode)
    ORX_INT(DisplayModeCount)
    ORX_INT(ComponentKind)
    ORX_BOOL(HighFlag)
    bool GetState_IsPlaced() override { return GetBool("IsPlaced"); }

    void SetState_Location(Coord v) override {
        Coord l = GetCoord(kLocation);
        Translate(v.X - l.X, v.Y - l.Y);
    }
    int32_t GetState_Orientation() override { return GetInt("Orientation"); }
    void SetState_Orientation(int32_t value) override {
        // What is shown is mirror(rotate(symbol)): under a mirror a turn goes the other way.
        int32_t delta = ((value - GetInt("Orientation")) % 4 + 4) % 4;
        if (GetBool("IsMirrored")) delta = (4 - delta) % 4;
        Coord l = GetCoord(kLocation);
        for (ObjectCore* c : Children()) c->Rotate(l, delta);
        SetInt("Orientation", ((value % 4) + 4) % 4);
    }
    bool GetState_IsMirrored() override { return GetBool("IsMirrored"); }
    void SetState_IsMirrored(bool value) override {
        if (value == GetBool("IsMirrored")) return;
        int32_t axis = GetCoord(kLocation).X;
        for (ObjectCore* c : Children()) c->MirrorAbout(axis);
        SetBool("IsMirrored", value);
    }
    void Rotate(Coord center, int32_t quarterTurns) override {
        int32_t t = ((quarterTurns % 4) + 4) % 4;
        SetCoord(kLocation, RotatePoint(GetCoord(kLocation), center, t));
        for (ObjectCore* c : Children()) c->Rotate(center, t);
        int32_t o = GetInt("Orientation") + (GetBool("IsMirrored") ? -t : t);
        SetInt("Orientation", ((o % 4) + 4) % 4);
    }
    void MirrorAbout(int32_t axisX) override {
        MirrorPoints(axisX);
        for (ObjectCore* c : Children()) c->MirrorAbout(axisX);
        SetBool("IsMirrored", !GetBool("IsMirrored"));
    }
    ISch_Designator* GetState_SchDesignator() override {
        return dynamic_cast<ISch_Designator*>(ChildOfKind(this, eDesignator, true)->Iface());
    }
    ISch_Parameter* GetState_SchComment() override {
        for (ObjectCore* c : Children())
            if (c->Kind() == eParameter && SameTextIgnoringCase(c->GetStr("Name"), "Comment"))
                return dynamic_cast<ISch_Parameter*>(c->Iface());
        auto comment = MakeObject(Server(), eParameter, true);
        comment->SetStr("Name", "Comment");
        comment->SetStr("Text", "*");
        ObjectCore* raw = comment.release();
        AddChild(raw);
        return dynamic_cast<ISch_Parameter*>(raw->Iface());
    }
    void AddAlias(const std::string& alias) override { JsonProperty("Aliases").push_back(alias); }
    int32_t GetState_AliasCount() override {
        return Has("Aliases") ? static_cast<int32_t>(JsonProperty("Aliases").size()) : 0;
    }
    std::string GetState_Alias(int32_t index) override {
        if (index < 0 || index >= GetState_AliasCount()) throw EApiErr("Alias index out of range");
        return JsonProperty("Aliases")[index].get<std::string>();
    }
    ISch_Implementation* AddImplementation() override {
        ObjectCore* raw = MakeObject(Server(), eImplementation, true).release();
        AddChild(raw);
        return dynamic_cast<ISch_Implementation*>(raw->Iface());
    }
    void PartsComplete() override {
        // The part count covers every part that owns a primitive; the current part and mode stay
        // within range.
        int32_t highest = 0, modes = 1;
        for (ObjectCore* c : Children()) {
            if (IsComponentLevelKind(c->Kind())) continue;
            highest = std::max(highest, c->GetInt("OwnerPartId"));
            modes = std::max(modes, c->GetInt("OwnerPartDisplayMode") + 1);
        }
        if (highest > 1 && GetInt("PartCount") < highest) SetInt("PartCount", highest);
        if (GetInt("DisplayModeCount") < modes) SetInt("DisplayModeCount", modes);
        int32_t parts = std::max(1, GetInt("PartCount"));
        if (GetInt("CurrentPartId") < 1 || GetInt("CurrentPartId") > parts) SetInt("CurrentPartId", 1);
        if (GetInt("DisplayMode") >= GetInt("DisplayModeCount")) SetInt("DisplayMode", 0);
    }
    void Placed() override { SetBool("IsPlaced", true); }
    bool ApplyParameter(ISch_Parameter* parameter) override {
        if (!parameter) return false;
        std::string name = parameter->GetState_Name();
        for (const char* prop : {"LibReference", "DesignItemId", "ComponentDescription"}) {
            if (SameTextIgnoringCase(name, prop)) {
                SetStr(prop, parameter->GetState_Text());
                return true;
            }
        }
        return false;
    }
    void InitNew() override {
        InitGraphical(kDarkRed, kLightYellow);
        SetStr("LibReference", "");
        SetStr("DesignItemId", "");
        SetStr("SourceLibraryName", "");
        SetStr("ComponentDescription", "");
        SetInt("PartCount", 0);
        SetInt("CurrentPartId", 1);
        SetInt("DisplayMode", 0);
        SetInt("DisplayModeCount", 1);
        SetBool("IsMirrored", false);
        SetInt("Orientation", 0);
        SetInt("ComponentKind", eComponentKind_Standard);
        SetBool("HighFlag", false);
        SetBool("IsPlaced", false);
        JsonProperty("Aliases") = Json::array();
        ObjectCore* designator = ChildOfKind(this, eDesignator, true);
        designator->SetCoord(kLocation, {0, 20 * kMil});
        GetState_SchComment();
    }
    CoordRect Bounds() override {
        bool any = false;
        CoordRect r{};
        for (ObjectCore* c : Children()) {
            if (IsComponentLevelKind(c->Kind()) || !IsShownOnSheet(c)) continue;
            if (c->Kind() == ePin && c->GetBool("IsHidden")) continue;
            CoordRect b = c->Bounds();
            r = any ? UnionRect(r, b) : b;
            any = true;
        }
        if (!any) {
            Coord l = GetCoord(kLocation);
            return {l.X, l.Y, l.X, l.Y};
        }
        return r;
    }
};

// ----- Documents --------------------------------------------------------------------------------

std::string FormatNumber(double v, const char* suffix) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.4f", v);
    std::string s = buf;
    while (!s.empty() && s.back() == '0') s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
    if (s == "-0") s = "0";
    return s + suffix;
}

template <class I>
class DocumentBase : public Basic<I> {
public:
    using Basic<I>::Basic;
    bool IsDocument() const override { return true; }
    std::string GetState_DocumentName() override { return this->Server()->PathOf(this); }
    ORX_BOOL(UseCustomSheet)
    ORX_INT(CustomX)
    ORX_INT(CustomY)
    ORX_INT(CustomMargin)
    ORX_INT(CustomZonesX)
    ORX_INT(CustomZonesY)
    ORX_INT(SheetStyle)
    ORX_INT(DisplayUnit)
    ORX_INT(SnapGridSize)
    ORX_INT(VisibleGridSize)
    ORX_BOOL(ShowTemplateGraphics)
    ORX_STR(TemplateFileName)
    ORX_BOOL(Enabled)
    int32_t GetState_SheetSizeX() override { return Style(&SheetStyle::XSize, "CustomX"); }
    int32_t GetState_SheetSizeY() override { return Style(&SheetStyle::YSize, "CustomY"); }
    int32_t GetState_SheetMargin() override { return Style(&SheetStyle::Margin, "CustomMargin"); }
    std::string CoordToDisplayText(int32_t value) override {
        switch (this->GetInt("DisplayUnit")) {
            case eUnitMM: return FormatNumber(value * 0.0254 / 10000.0, "mm");
            case eUnitInch: return FormatNumber(value / 1e7, "in");
            case eUnitCM: return FormatNumber(value * 0.00254 / 10000.0, "cm");
            case eUnitAutoImperial: return FormatNumber(value / 100000.0, "");
            case eUnitMeter: return FormatNumber(value * 0.0000254 / 10000.0, "m");
            default: return FormatNumber(value / 10000.0, "mil");
        }
    }
    void BeginBulkChange() override { ++bulk_; }
    void EndBulkChange() override {
        if (bulk_ > 0) --bulk_;
    }
    int32_t BulkDepth() const { return bulk_; }
    void ForgetSessionState() override { bulk_ = 0; }
    void Translate(int32_t, int32_t) override {}
    void Rotate(Coord, int32_t) override {}
    void MirrorAbout(int32_t) override {}
    CoordRect Bounds() override {
        return {0, 0, GetState_SheetSizeX(), GetState_SheetSizeY()};
    }

protected:
    void InitDocument(int32_t displayUnit) {
        this->InitCommon();
        const SheetStyle& a4 = SheetStyles()[0];
        this->SetBool("UseCustomSheet", false);
        this->SetInt("CustomX", a4.XSize);
        this->SetInt("CustomY", a4.YSize);
        this->SetInt("CustomMargin", a4.Margin);
        this->SetInt("CustomZonesX", a4.XZones);
        this->SetInt("CustomZonesY", a4.YZones);
        this->SetInt("SheetStyle", 0);
        this->SetInt("DisplayUnit", displayUnit);
        this->SetInt("SnapGridSize", 10 * kMil);
        this->SetInt("VisibleGridSize", 10 * kMil);
        this->SetBool("ShowTemplateGraphics", false);
        this->SetStr("TemplateFileName", "");
        this->SetBool("Enabled", true);
    }

private:
    int32_t Style(int32_t SheetStyle::*field, const char* custom) {
        if (this->GetBool("UseCustomSheet")) return this->GetInt(custom);
        const auto& styles = SheetStyles();
        int32_t s = this->GetInt("SheetStyle");
        if (s < 0 || s >= static_cast<int32_t>(styles.size())) s = 0;
        return styles[s].*field;
    }
    int32_t bulk_ = 0;
};

}  // namespace

// Connection arrays are computed in Connectivity.cpp.
std::unique_ptr<IConnectionsArray> ComputeConnections(ObjectCore& sheet, bool buses);

namespace {

class SheetDoc final : public DocumentBase<ISch_Sheet> {
public:
    using DocumentBase::DocumentBase;
    std::unique_ptr<IConnectionsArray> GetState_WireConnections() override { return ComputeConnections(*this, false); }
    std::unique_ptr<IConnectionsArray> GetState_BusConnections() override { return ComputeConnections(*this, true); }
    void UpdateConnectivity() override {}
    void InitNew() override { InitDocument(eUnitMil); }
};

class LibDoc final : public DocumentBase<ISch_Lib> {
public:
    using DocumentBase::DocumentBase;
    ISch_Component* GetState_CurrentSchComponent() override {
        if (current_ && current_->Parent() == this) return dynamic_cast<ISch_Component*>(current_->Iface());
        for (ObjectCore* c : Children())
            if (c->Kind() == eSchComponent) return dynamic_cast<ISch_Component*>(c->Iface());
        return nullptr;
    }
    void SetState_CurrentSchComponent(ISch_Component* component) override {
        ObjectCore* core = CoreOf(component);
        if (core && core->Parent() != this) throw EApiErr("Component is not in this library");
        current_ = core;
    }
    void AddSchComponent(ISch_Component* component) override {
        ObjectCore* core = CoreOf(component);
        if (!core) throw EApiErr("AddSchComponent: not a component of this host");
        AddChild(core);
    }
    void RemoveSchComponent(ISch_Component* component) override {
        ObjectCore* core = CoreOf(component);
        if (!core || core->Parent() != this) throw EApiErr("RemoveSchComponent: component is not in this library");
        if (current_ == core) current_ = nullptr;
        RemoveChild(core);
        delete core;
    }
    ISch_Component* GetState_SchComponentByLibRef(const std::string& libReference) override {
        for (ObjectCore* c : Children())
            if (c->Kind() == eSchComponent && SameTextIgnoringCase(c->GetStr("LibReference"), libReference))
                return dynamic_cast<ISch_Component*>(c->Iface());
        return nullptr;
    }
    int32_t GetState_ComponentCount() override {
        return static_cast<int32_t>(std::count_if(Children().begin(), Children().end(),
                                                  [](ObjectCore* c) { return c->Kind() == eSchComponent; }));
    }
    void ForgetSessionState() override {
        DocumentBase::ForgetSessionState();
        current_ = nullptr;
    }
    bool RemoveSchObject(ISch_BasicContainer* object) override {
        if (CoreOf(object) == current_) current_ = nullptr;
        return DocumentBase::RemoveSchObject(object);
    }
    void InitNew() override {
        InitDocument(eUnitAutoImperial);
        auto first = MakeObject(Server(), eSchComponent, true);
        first->SetStr("LibReference", "Component_1");
        AddChild(first.release());
    }

private:
    ObjectCore* current_ = nullptr;
};

}  // namespace

// ----- ObjectCore ---------------------------------------------------------------------------------

ObjectCore::ObjectCore(SchServer* server, int32_t kind) : server_(server), kind_(kind) {
    server_->Register(this);
}

ObjectCore::~ObjectCore() {
    for (ObjectCore* child : children_) {
        child->parent_ = nullptr;
        delete child;
    }
    server_->Unregister(this);
}

void ObjectCore::AddChild(ObjectCore* child) { InsertChild(children_.size(), child); }

void ObjectCore::InsertChild(size_t index, ObjectCore* child) {
    for (ObjectCore* p = this; p; p = p->parent_)
        if (p == child) throw EApiErr("An object cannot hold itself");
    if (child->parent_ == this) return;
    server_->Touch();
    if (child->parent_) child->parent_->RemoveChild(child);
    child->parent_ = this;
    children_.insert(children_.begin() + std::min(index, children_.size()), child);
}

bool ObjectCore::RemoveChild(ObjectCore* child) {
    auto it = std::find(children_.begin(), children_.end(), child);
    if (it == children_.end()) return false;
    server_->Touch();
    children_.erase(it);
    child->parent_ = nullptr;
    return true;
}

ObjectCore* ObjectCore::Root() {
    ObjectCore* p = this;
    while (p->parent_) p = p->parent_;
    return p->IsDocument() ? p : nullptr;
}

bool ObjectCore::InLibrary() {
    ObjectCore* root = Root();
    return root && root->Kind() == eSchLib;
}

ObjectCore* ObjectCore::OwnerComponent() {
    for (ObjectCore* p = parent_; p; p = p->parent_)
        if (p->Kind() == eSchComponent) return p;
    return nullptr;
}

namespace {

int32_t IntOfJson(const Json& v, int32_t def) {
    if (v.is_number_integer()) return ToInt32(v.get<int64_t>());
    if (v.is_number()) return ToInt32(std::llround(v.get<double>()));
    if (v.is_boolean()) return v.get<bool>() ? 1 : 0;
    return def;
}

Coord PointOfJson(const Json& v) {
    if (!v.is_array() || v.size() != 2 || !v[0].is_number() || !v[1].is_number()) return {};
    return {ToInt32(v[0].get<int64_t>()), ToInt32(v[1].get<int64_t>())};
}

}  // namespace

PropertyValue& ObjectCore::Slot(std::string_view name) {
    server_->Touch();
    return props_.Slot(server_->Names(), name);
}

PropertyStore& ObjectCore::Props() {
    server_->Touch();
    return props_;
}

void ObjectCore::Erase(const char* name) {
    server_->Touch();
    props_.Erase(name);
}

int32_t ObjectCore::GetInt(const char* name, int32_t def) const {
    const PropertyValue* v = props_.Find(name);
    if (!v) return def;
    if (auto* i = std::get_if<int64_t>(v)) return ToInt32(*i);
    if (auto* d = std::get_if<double>(v)) return ToInt32(std::llround(*d));
    if (auto* b = std::get_if<bool>(v)) return *b ? 1 : 0;
    if (auto* j = std::get_if<Json>(v)) return IntOfJson(*j, def);
    return def;
}

void ObjectCore::SetInt(const char* name, int32_t value) { Slot(name).emplace<int64_t>(value); }

bool ObjectCore::GetBool(const char* name, bool def) const {
    const PropertyValue* v = props_.Find(name);
    if (!v) return def;
    if (auto* b = std::get_if<bool>(v)) return *b;
    if (auto* i = std::get_if<int64_t>(v)) return *i != 0;
    if (auto* d = std::get_if<double>(v)) return *d != 0;
    if (auto* j = std::get_if<Json>(v)) {
        if (j->is_boolean()) return j->get<bool>();
        if (j->is_number()) return j->get<double>() != 0;
    }
    return def;
}

void ObjectCore::SetBool(const char* name, bool value) { Slot(name).emplace<bool>(value); }

double ObjectCore::GetDouble(const char* name, double def) const {
    const PropertyValue* v = props_.Find(name);
    if (!v) return def;
    if (auto* d = std::get_if<double>(v)) return *d;
    if (auto* i = std::get_if<int64_t>(v)) return static_cast<double>(*i);
    if (auto* j = std::get_if<Json>(v); j && j->is_number()) return j->get<double>();
    return def;
}

void ObjectCore::SetDouble(const char* name, double value) { Slot(name).emplace<double>(value); }

std::string ObjectCore::GetStr(const char* name, const std::string& def) const {
    const PropertyValue* v = props_.Find(name);
    if (auto* s = v ? std::get_if<std::string>(v) : nullptr) return *s;
    return def;
}

void ObjectCore::SetStr(const char* name, const std::string& value) { Slot(name).emplace<std::string>(value); }

Coord ObjectCore::GetCoord(const char* name) const {
    const PropertyValue* v = props_.Find(name);
    if (!v) return {};
    if (auto* c = std::get_if<Coord>(v)) return *c;
    if (auto* j = std::get_if<Json>(v)) return PointOfJson(*j);
    return {};
}

void ObjectCore::SetCoord(const char* name, Coord value) { Slot(name).emplace<Coord>(value); }

Json& ObjectCore::JsonProperty(const char* name) {
    PropertyValue& v = Slot(name);
    if (!std::holds_alternative<Json>(v)) v = PropertyValue(std::in_place_type<Json>, ValueToJson(v));
    return std::get<Json>(v);
}

std::vector<Coord> ObjectCore::GetVertices() const {
    const PropertyValue* v = props_.Find(kVertices);
    if (!v) return {};
    if (auto* list = std::get_if<std::vector<Coord>>(v)) return *list;
    std::vector<Coord> out;
    if (auto* j = std::get_if<Json>(v); j && j->is_array())
        for (const auto& p : *j)
            if (p.is_array() && p.size() == 2) out.push_back(PointOfJson(p));
    return out;
}

void ObjectCore::SetVertices(const std::vector<Coord>& vertices) { Slot(kVertices).emplace<std::vector<Coord>>(vertices); }

void ObjectCore::Translate(int32_t dx, int32_t dy) {
    for (const char* name : {kLocation, kCorner}) {
        if (!Has(name)) continue;
        SetCoord(name, Moved(GetCoord(name), dx, dy));
    }
    if (Has(kVertices)) {
        auto v = GetVertices();
        for (Coord& c : v) c = Moved(c, dx, dy);
        SetVertices(v);
    }
    for (ObjectCore* child : children_) child->Translate(dx, dy);
}

void ObjectCore::RotatePoints(Coord center, int32_t quarterTurns) {
    for (const char* name : {kLocation, kCorner})
        if (Has(name)) SetCoord(name, RotatePoint(GetCoord(name), center, quarterTurns));
    if (Has(kVertices)) {
        auto v = GetVertices();
        for (Coord& c : v) c = RotatePoint(c, center, quarterTurns);
        SetVertices(v);
    }
}

void ObjectCore::MirrorPoints(int32_t axisX) {
    for (const char* name : {kLocation, kCorner}) {
        if (!Has(name)) continue;
        Coord c = GetCoord(name);
        SetCoord(name, {MirroredX(c.X, axisX), c.Y});
    }
    if (Has(kVertices)) {
        auto v = GetVertices();
        for (Coord& c : v) c.X = MirroredX(c.X, axisX);
        SetVertices(v);
    }
}

void ObjectCore::NormalizeCorners() {
    if (!IsRectKind(kind_) || !Has(kLocation) || !Has(kCorner)) return;
    Coord a = GetCoord(kLocation), b = GetCoord(kCorner);
    SetCoord(kLocation, {std::min(a.X, b.X), std::min(a.Y, b.Y)});
    SetCoord(kCorner, {std::max(a.X, b.X), std::max(a.Y, b.Y)});
}

void ObjectCore::Rotate(Coord center, int32_t quarterTurns) {
    int32_t t = ((quarterTurns % 4) + 4) % 4;
    RotatePoints(center, t);
    NormalizeCorners();
    if (Has("Orientation")) SetInt("Orientation", (GetInt("Orientation") + t) % 4);
    if (Has("StartAngle")) {
        SetDouble("StartAngle", NormalizeAngle(GetDouble("StartAngle") + 90.0 * t));
        SetDouble("EndAngle", NormalizeAngle(GetDouble("EndAngle") + 90.0 * t));
    }
    for (ObjectCore* child : children_) child->Rotate(center, t);
}

void ObjectCore::MirrorAbout(int32_t axisX) {
    MirrorPoints(axisX);
    NormalizeCorners();
    if (Has("StartAngle")) {
        double s = GetDouble("StartAngle"), e = GetDouble("EndAngle");
        SetDouble("StartAngle", NormalizeAngle(180.0 - e));
        SetDouble("EndAngle", NormalizeAngle(180.0 - s));
    }
    for (ObjectCore* child : children_) child->MirrorAbout(axisX);
}

CoordRect ObjectCore::Bounds() {
    Coord l = GetCoord(kLocation);
    return {l.X, l.Y, l.X, l.Y};
}

std::unique_ptr<ObjectCore> ObjectCore::Clone(bool freshIds) const {
    auto copy = MakeObject(server_, kind_, false);
    if (!copy) return nullptr;
    copy->props_ = props_;
    if (freshIds && Has("UniqueId")) copy->SetStr("UniqueId", server_->NewUniqueId());
    for (const ObjectCore* child : children_) {
        auto c = child->Clone(freshIds);
        if (c) copy->AddChild(c.release());
    }
    return copy;
}

ObjectCore* CoreOf(ISch_BasicContainer* object) { return dynamic_cast<ObjectCore*>(object); }

namespace {

// An object of the kind with no properties and no children; null for a kind the host doesn't know.
std::unique_ptr<ObjectCore> MakeBare(SchServer* server, int32_t kind) {
    std::unique_ptr<ObjectCore> o;
    switch (kind) {
        case eRectangle: o = std::make_unique<RectangleObj>(server, kind); break;
        case eLine: o = std::make_unique<LineObj>(server, kind); break;
        case eBusEntry: o = std::make_unique<BusEntryObj>(server, kind); break;
        case eArc: o = std::make_unique<ArcObj>(server, kind); break;
        case eEllipticalArc: o = std::make_unique<EllipticalArcObj>(server, kind); break;
        case eRoundRectangle: o = std::make_unique<RoundRectangleObj>(server, kind); break;
        case eImage: o = std::make_unique<ImageObj>(server, kind); break;
        case ePie: o = std::make_unique<PieObj>(server, kind); break;
        case eTextFrame: o = std::make_unique<TextFrameObj>(server, kind); break;
        case eEllipse: o = std::make_unique<EllipseObj>(server, kind); break;
        case eJunction: o = std::make_unique<JunctionObj>(server, kind); break;
        case ePolygon: o = std::make_unique<PolygonObj>(server, kind); break;
        case ePolyline: o = std::make_unique<PolylineObj>(server, kind); break;
        case eWire: o = std::make_unique<WireObj>(server, kind); break;
        case eBus: o = std::make_unique<BusObj>(server, kind); break;
        case eBezier: o = std::make_unique<BezierObj>(server, kind); break;
        case eLabel: o = std::make_unique<LabelObj>(server, kind); break;
        case eNetLabel: o = std::make_unique<NetLabelObj>(server, kind); break;
        case eSchComponent: o = std::make_unique<ComponentObj>(server, kind); break;
        case eParameter: o = std::make_unique<ParameterObj>(server, kind); break;
        case eDesignator: o = std::make_unique<DesignatorObj>(server, kind); break;
        case eSheet: o = std::make_unique<SheetDoc>(server, kind); break;
        case eSheetName: o = std::make_unique<SheetNameObj>(server, kind); break;
        case eSchLib: o = std::make_unique<LibDoc>(server, kind); break;
        case eSymbol: o = std::make_unique<SymbolObj>(server, kind); break;
        case eNoERC: o = std::make_unique<NoErcObj>(server, kind); break;
        case eSheetFileName: o = std::make_unique<SheetFileNameObj>(server, kind); break;
        case ePin: o = std::make_unique<PinObj>(server, kind); break;
        case ePort: o = std::make_unique<PortObj>(server, kind); break;
        case ePowerObject: o = std::make_unique<PowerObj>(server, kind); break;
        case eSheetEntry: o = std::make_unique<SheetEntryObj>(server, kind); break;
        case eSheetSymbol: o = std::make_unique<SheetSymbolObj>(server, kind); break;
        case eImplementation: o = std::make_unique<ImplementationObj>(server, kind); break;
        case eCrossSheetConnector: o = std::make_unique<CrossSheetObj>(server, kind); break;
        case eBundleBlock: o = std::make_unique<BundleBlockObj>(server, kind); break;
        case eBundleEdge: o = std::make_unique<BundleEdgeObj>(server, kind); break;
        default: return nullptr;
    }
    return o;
}

// A copy of a model object and what it holds, each taking its id from `ids` as `idOf` says (`at`
// runs through the objects in pre-order).
std::unique_ptr<ObjectCore> CopyModel(SchServer& server, const ObjectCore& from, const std::vector<std::string>& ids,
                                      const std::vector<size_t>& idOf, size_t& at) {
    auto copy = MakeBare(&server, from.Kind());
    copy->Props() = from.Props();
    const size_t id = at < idOf.size() ? idOf[at] : KindModels::kNoId;
    ++at;
    if (id != KindModels::kNoId) copy->SetStr("UniqueId", ids[id]);
    for (const ObjectCore* child : from.Children()) copy->AddChild(CopyModel(server, *child, ids, idOf, at).release());
    return copy;
}

}  // namespace

std::unique_ptr<ObjectCore> MakeObject(SchServer* server, int32_t kind, bool initNew) {
    if (initNew && kind != eSheet && kind != eSchLib && !server->Models().Building()) {
        const KindModels::Model* model = server->Models().Of(*server, kind);
        return model ? server->Models().Make(*server, *model) : nullptr;
    }
    auto o = MakeBare(server, kind);
    if (o && initNew) o->InitNew();
    return o;
}

KindModels::~KindModels() = default;

void KindModels::Clear() {
    models_.clear();
    unknown_.clear();
}

const KindModels::Model* KindModels::Of(SchServer& server, int32_t kind) {
    if (kind < 0 || kind == eSheet || kind == eSchLib || building_) return nullptr;
    const auto index = static_cast<size_t>(kind);
    if (index < models_.size() && models_[index]) return models_[index].get();
    if (index < unknown_.size() && unknown_[index]) return nullptr;
    // Made once with InitNew in full, its ids drawn from a source aside and recorded.
    UniqueIdSource aside(0);
    std::vector<std::string> drawn;
    aside.Record = &drawn;
    UniqueIdSource* real = server.SwapIds(&aside);
    building_ = true;
    std::unique_ptr<ObjectCore> object;
    try {
        object = MakeObject(&server, kind, true);
    } catch (...) {
        building_ = false;
        server.SwapIds(real);
        throw;
    }
    building_ = false;
    server.SwapIds(real);
    if (index >= models_.size()) {
        models_.resize(index + 1);
        unknown_.resize(index + 1, false);
    }
    if (!object) {
        unknown_[index] = true;
        return nullptr;
    }
    auto model = std::make_unique<Model>();
    model->Ids = drawn.size();
    std::vector<ObjectCore*> pending{object.get()};
    while (!pending.empty()) {
        ObjectCore* o = pending.back();
        pending.pop_back();
        server.Unregister(o);
        size_t id = kNoId;
        if (const auto* own = std::get_if<std::string>(o->Props().Find("UniqueId")))
            if (auto it = std::find(drawn.begin(), drawn.end(), *own); it != drawn.end())
                id = static_cast<size_t>(it - drawn.begin());
        model->IdOf.push_back(id);
        pending.insert(pending.end(), o->Children().rbegin(), o->Children().rend());
    }
    model->Object = std::move(object);
    models_[index] = std::move(model);
    return models_[index].get();
}

std::unique_ptr<ObjectCore> KindModels::Make(SchServer& server, const Model& model) {
    std::vector<std::string> ids;
    ids.reserve(model.Ids);
    for (size_t i = 0; i < model.Ids; ++i) ids.push_back(server.NewUniqueId());
    size_t at = 0;
    return CopyModel(server, *model.Object, ids, model.IdOf, at);
}

const std::vector<int32_t>& KnownKinds() {
    static const std::vector<int32_t> kinds = {
        eRectangle, eLine, eBusEntry, eArc, eEllipticalArc, eRoundRectangle, eImage, ePie, eTextFrame,
        eEllipse, eJunction, ePolygon, ePolyline, eWire, eBus, eBezier, eLabel, eNetLabel, eSchComponent,
        eParameter, eDesignator, eSheet, eSheetName, eSchLib, eSymbol, eNoERC, eSheetFileName, ePin, ePort,
        ePowerObject, eSheetEntry, eSheetSymbol, eImplementation, eCrossSheetConnector, eBundleBlock,
        eBundleEdge};
    return kinds;
}

// ----- Helpers --------------------------------------------------------------------------------

Coord RotatePoint(Coord p, Coord center, int32_t quarterTurns) {
    int64_t x = int64_t(p.X) - center.X, y = int64_t(p.Y) - center.Y;
    for (int32_t t = 0; t < ((quarterTurns % 4) + 4) % 4; ++t) {
        int64_t nx = -y, ny = x;
        x = nx;
        y = ny;
    }
    return {ToInt32(center.X + x), ToInt32(center.Y + y)};
}

CoordRect UnionRect(const CoordRect& a, const CoordRect& b) {
    return {std::min(a.X1, b.X1), std::min(a.Y1, b.Y1), std::max(a.X2, b.X2), std::max(a.Y2, b.Y2)};
}

bool RectsTouch(const CoordRect& a, const CoordRect& b) {
    return a.X1 <= b.X2 && b.X1 <= a.X2 && a.Y1 <= b.Y2 && b.Y1 <= a.Y2;
}

Coord PinHotSpot(const ObjectCore& pin) {
    Coord l = pin.GetCoord(kLocation);
    int32_t len = pin.GetInt("PinLength");
    switch (((pin.GetInt("Orientation") % 4) + 4) % 4) {
        case 0: return Moved(l, len, 0);
        case 1: return Moved(l, 0, len);
        case 2: return Moved(l, -int64_t(len), 0);
        default: return Moved(l, 0, -int64_t(len));
    }
}

Coord SheetEntryLocation(const ObjectCore& entry) {
    const ObjectCore* symbol = entry.Parent();
    if (!symbol) return {};
    Coord l = symbol->GetCoord(kLocation);
    int32_t d = entry.GetInt("DistanceFromTop");
    int32_t w = symbol->GetInt("XSize"), h = symbol->GetInt("YSize");
    switch (entry.GetInt("Side")) {
        case 1: return {l.X + w, l.Y - d};
        case 2: return {l.X + d, l.Y};
        case 3: return {l.X + d, l.Y - h};
        default: return {l.X, l.Y - d};
    }
}

void PortEnds(const ObjectCore& port, Coord& a, Coord& b) {
    a = port.GetCoord(kLocation);
    int32_t w = port.GetInt("Width");
    b = port.GetInt("Style") >= 4 ? Coord{a.X, a.Y + w} : Coord{a.X + w, a.Y};
}

void TextExtent(const std::string& text, int32_t fontSize, int32_t& width, int32_t& height) {
    // Count code points, not bytes; the widest line decides the width.
    int64_t longest = 0, current = 0, lines = 1;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            longest = std::max(longest, current);
            current = 0;
            ++lines;
        } else if (c != '\r' && (c & 0xC0) != 0x80) {
            ++current;
        }
    }
    longest = std::max(longest, current);
    int64_t unit = int64_t(std::max(fontSize, 1)) * 100000;  // one point of font size
    width = ToInt32(longest * unit * 55 / 100);
    height = ToInt32(lines * unit);
}

bool SameTextIgnoringCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

std::string DisplayString(ObjectCore& text) {
    std::string t = text.GetStr("Text");
    if (t.size() < 2 || t[0] != '=') return t;
    std::string name = t.substr(1);
    // The owner's parameters first, then the document's own.
    for (ObjectCore* scope = text.Parent(); scope; scope = scope->Parent()) {
        for (ObjectCore* c : scope->Children())
            if (c != &text && c->Kind() == eParameter && SameTextIgnoringCase(c->GetStr("Name"), name))
                return c->GetStr("Text");
        if (scope->IsDocument()) break;
    }
    return t;
}

}  // namespace orcadx::host::impl
