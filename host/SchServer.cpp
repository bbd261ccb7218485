#include "host/SchServer.h"

#include <algorithm>
#include <filesystem>

#include "host/DocumentFiles.h"

namespace orcadx::host::impl {

namespace {

constexpr int32_t Mil(int32_t mils) { return mils * 10000; }

std::string Trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    size_t e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

// The ASCII letters of the text in upper case, as the host compares names.
std::string UpperCase(std::string s) {
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return s;
}

}  // namespace

UniqueIdSource::UniqueIdSource(uint32_t seed) : rng_(seed) {}

std::string UniqueIdSource::Next() {
    std::uniform_int_distribution<int> letter(0, 25);
    for (;;) {
        std::string id(8, 'A');
        uint64_t number = 0;
        for (char& c : id) {
            const int l = letter(rng_);
            c = static_cast<char>('A' + l);
            number = number * 26 + static_cast<uint64_t>(l);
        }
        if (!used_.insert(number).second) continue;
        if (Record) Record->push_back(id);
        return id;
    }
}

std::string UniqueIdSource::Draw(size_t count, size_t keep) {
    std::string kept;
    for (size_t i = 0; i < count; ++i) {
        std::string id = Next();
        if (i == keep) kept = std::move(id);
    }
    return kept;
}

const std::vector<SheetStyle>& SheetStyles() {
    // Sizes in mils: metric sheets first, then the American sizes, then the sizes that Capture
    // uses for its own A to E pages.
    static const std::vector<SheetStyle> styles = {
        {"A4", Mil(11500), Mil(7600), 4, 4, Mil(200)},
        {"A3", Mil(15500), Mil(11100), 6, 4, Mil(200)},
        {"A2", Mil(22300), Mil(15700), 8, 6, Mil(200)},
        {"A1", Mil(31500), Mil(22300), 10, 8, Mil(200)},
        {"A0", Mil(44600), Mil(31500), 16, 10, Mil(200)},
        {"A", Mil(9500), Mil(7500), 4, 4, Mil(200)},
        {"B", Mil(15000), Mil(9500), 6, 4, Mil(200)},
        {"C", Mil(20000), Mil(15000), 8, 6, Mil(200)},
        {"D", Mil(32000), Mil(20000), 12, 8, Mil(200)},
        {"E", Mil(42000), Mil(32000), 16, 12, Mil(200)},
        {"Letter", Mil(11000), Mil(8500), 4, 4, Mil(200)},
        {"Legal", Mil(14000), Mil(8500), 5, 4, Mil(200)},
        {"Tabloid", Mil(17000), Mil(11000), 6, 4, Mil(200)},
        {"OrCAD A", Mil(9700), Mil(7200), 5, 4, Mil(100)},
        {"OrCAD B", Mil(15200), Mil(9700), 8, 5, Mil(100)},
        {"OrCAD C", Mil(20200), Mil(15200), 10, 8, Mil(100)},
        {"OrCAD D", Mil(32200), Mil(20200), 16, 10, Mil(100)},
        {"OrCAD E", Mil(42200), Mil(32200), 21, 16, Mil(100)},
    };
    return styles;
}

std::string NormalizePath(const std::string& path) {
    if (path.empty()) return path;
    std::string p = path;
    std::replace(p.begin(), p.end(), '\\', '/');
    std::filesystem::path fp(p);
    if (fp.is_relative()) fp = std::filesystem::current_path() / fp;
    return fp.lexically_normal().string();
}

SchServer::SchServer(UniqueIdSource* ids) : ids_(ids) {
    FontDescription system;  // size 10, Times New Roman
    fonts_.push_back(system);
    fonts_.push_back(system);
}

SchServer::~SchServer() {
    // The server's own objects first, while the server is whole.
    closed_.clear();
    models_.Clear();
    // Objects that nobody destroyed: free the roots, which free what they hold.
    while (liveFirst_) {
        ObjectCore* any = liveFirst_;
        while (any->Parent()) any = any->Parent();
        delete any;
    }
}

ISch_BasicContainer* SchServer::CreateSchObject(int32_t kind, int32_t /*mode*/) {
    if (kind == eSheet || kind == eSchLib) return nullptr;  // documents come from the client
    auto object = MakeObject(this, kind, true);
    return object ? object.release()->Iface() : nullptr;
}

void SchServer::DestroySchObject(ISch_BasicContainer* object) {
    ObjectCore* core = CoreOf(object);
    if (!core) return;
    if (core->IsDocument()) throw EApiErr("Documents are closed through the client");
    if (ObjectCore* parent = core->Parent()) parent->RemoveChild(core);
    delete core;
}

void SchServer::Register(ObjectCore* object) {
    object->liveNext_ = liveFirst_;
    object->livePrev_ = nullptr;
    if (liveFirst_) liveFirst_->livePrev_ = object;
    liveFirst_ = object;
    ++liveCount_;
}

void SchServer::Unregister(ObjectCore* object) {
    if (!object->livePrev_ && liveFirst_ != object) return;  // kept out of the list already
    if (object->livePrev_) object->livePrev_->liveNext_ = object->liveNext_;
    else liveFirst_ = object->liveNext_;
    if (object->liveNext_) object->liveNext_->livePrev_ = object->livePrev_;
    object->liveNext_ = object->livePrev_ = nullptr;
    --liveCount_;
}

void SchServer::RegisterDocument(ObjectCore* document, const std::string& path) {
    documents_.emplace_back(document, NormalizePath(path));
}

void SchServer::RenameDocument(ObjectCore* document, const std::string& path) {
    for (auto& [doc, p] : documents_)
        if (doc == document) p = NormalizePath(path);
}

void SchServer::UnregisterDocument(ObjectCore* document) {
    std::erase_if(documents_, [&](const auto& entry) { return entry.first == document; });
    if (current_ == document) current_ = nullptr;
}

std::string SchServer::PathOf(const ObjectCore* document) const {
    for (const auto& [doc, p] : documents_)
        if (doc == document) return p;
    return {};
}

ISch_Document* SchServer::GetSchDocumentByPath(const std::string& path) {
    std::string wanted = NormalizePath(path);
    for (const auto& [doc, p] : documents_)
        if (p == wanted) return dynamic_cast<ISch_Document*>(doc->Iface());
    return nullptr;
}

ISch_Document* SchServer::GetCurrentSchDocument() {
    return current_ ? dynamic_cast<ISch_Document*>(current_->Iface()) : nullptr;
}

ISch_Component* SchServer::LoadComponent(const std::string& name, const std::string& libraryPath) {
    std::string wanted = Trim(name);
    auto findIn = [&](ObjectCore* library) -> ObjectCore* {
        for (ObjectCore* c : library->Children())
            if (c->Kind() == eSchComponent && SameTextIgnoringCase(Trim(c->GetStr("LibReference")), wanted))
                return c;
        return nullptr;
    };
    ObjectCore* found = nullptr;
    if (ISch_Document* open = GetSchDocumentByPath(libraryPath)) {
        ObjectCore* lib = CoreOf(open);
        if (lib->Kind() == eSchLib) found = findIn(lib);
    } else if (ClosedLibrary* library = DetachedLibraryOf(libraryPath)) {
        if (!library->Indexed) {
            for (ObjectCore* c : library->Document->Children())
                if (c->Kind() == eSchComponent) library->Components.emplace(UpperCase(Trim(c->GetStr("LibReference"))), c);
            library->Indexed = true;
        }
        auto it = library->Components.find(UpperCase(wanted));
        if (it != library->Components.end()) found = it->second;
    }
    if (!found) return nullptr;
    auto copy = found->Clone(true);
    copy->SetStr("SourceLibraryName", std::filesystem::path(NormalizePath(libraryPath)).filename().string());
    return dynamic_cast<ISch_Component*>(copy.release()->Iface());
}

namespace {

// The objects of a document out of the list of live objects, or back in it.
void SetLive(SchServer& server, ObjectCore* document, bool live) {
    std::vector<ObjectCore*> pending{document};
    while (!pending.empty()) {
        ObjectCore* o = pending.back();
        pending.pop_back();
        if (live) server.Register(o);
        else server.Unregister(o);
        pending.insert(pending.end(), o->Children().begin(), o->Children().end());
    }
}

bool FileStat(const std::string& normal, std::filesystem::file_time_type& time, uintmax_t& size) {
    std::error_code timeError, sizeError;
    time = std::filesystem::last_write_time(normal, timeError);
    size = std::filesystem::file_size(normal, sizeError);
    return !timeError && !sizeError;
}

}  // namespace

std::vector<std::unique_ptr<SchServer::ClosedLibrary>>::iterator SchServer::FindClosed(const std::string& normal) {
    auto it = std::find_if(closed_.begin(), closed_.end(), [&](const auto& c) { return c->Path == normal; });
    if (it == closed_.end()) return it;
    std::filesystem::file_time_type time;
    uintmax_t size = 0;
    if (FileStat(normal, time, size) && (*it)->Time == time && (*it)->Size == size) return it;
    closed_.erase(it);
    return closed_.end();
}

SchServer::ClosedLibrary* SchServer::DetachedLibraryOf(const std::string& path) {
    const std::string normal = NormalizePath(path);
    auto it = FindClosed(normal);
    if (it != closed_.end()) {
        // A library kept when it was closed stands for the read of its file made here.
        if (!(*it)->AsRead) DrawIdsOfReading(*this, *(*it)->Document);
        (*it)->AsRead = true;
        std::rotate(closed_.begin(), it, it + 1);
        return closed_.front().get();
    }
    if (!LoadDetached) return nullptr;
    std::filesystem::file_time_type time;
    uintmax_t size = 0;
    if (!FileStat(normal, time, size)) return nullptr;
    std::unique_ptr<ObjectCore> document = LoadDetached(path);
    if (!document || document->Kind() != eSchLib) return nullptr;
    return Keep(std::move(document), normal, time, size, true);
}

void SchServer::KeepClosedLibrary(std::unique_ptr<ObjectCore> document, const std::string& path,
                                  std::filesystem::file_time_type time, uintmax_t size) {
    if (!document || document->Kind() != eSchLib) return;
    const std::string normal = NormalizePath(path);
    std::erase_if(closed_, [&](const auto& c) { return c->Path == normal; });
    document->ForgetSessionState();
    Keep(std::move(document), normal, time, size, false);
}

SchServer::ClosedLibrary* SchServer::Keep(std::unique_ptr<ObjectCore> document, const std::string& normal,
                                          std::filesystem::file_time_type time, uintmax_t size, bool asRead) {
    // The kept copy is the server's own: it doesn't count among the objects that callers hold.
    SetLive(*this, document.get(), false);
    auto library = std::make_unique<ClosedLibrary>();
    library->Path = normal;
    library->Time = time;
    library->Size = size;
    library->Document = std::move(document);
    library->AsRead = asRead;
    closed_.insert(closed_.begin(), std::move(library));
    if (closed_.size() > kClosedLibraries) closed_.pop_back();
    return closed_.front().get();
}

std::unique_ptr<ObjectCore> SchServer::TakeClosedLibrary(const std::string& path) {
    auto it = FindClosed(NormalizePath(path));
    if (it == closed_.end()) return nullptr;
    std::unique_ptr<ObjectCore> document = std::move((*it)->Document);
    closed_.erase(it);
    // Stands for a read of the file: the ids such a read draws are drawn.
    DrawIdsOfReading(*this, *document);
    SetLive(*this, document.get(), true);
    return document;
}

int32_t SchServer::GetFontID(int32_t size, int32_t rotation, bool underline, bool italic, bool bold, bool strikeout,
                             const std::string& fontName) {
    FontDescription font{size, rotation, underline, italic, bold, strikeout, fontName};
    return FontIdOf(font);
}

int32_t SchServer::FontIdOf(const FontDescription& font) {
    for (size_t i = 1; i < fonts_.size(); ++i)
        if (fonts_[i] == font) return static_cast<int32_t>(i);
    fonts_.push_back(font);
    return static_cast<int32_t>(fonts_.size() - 1);
}

bool SchServer::GetFontDescription(int32_t fontId, FontDescription& font) {
    if (fontId < 1 || fontId >= GetFontCount()) return false;
    font = fonts_[fontId];
    return true;
}

int32_t SchServer::GetFontSize(int32_t fontId) {
    FontDescription font;
    return GetFontDescription(fontId, font) ? font.Size : fonts_[1].Size;
}

bool SchServer::MeasureText(int32_t fontId, const std::string& text, int32_t& width, int32_t& height) {
    FontDescription font;
    if (!GetFontDescription(fontId, font)) return false;
    int32_t w = 0, h = 0;
    TextExtent(text, font.Size, w, h);
    // Three pixels to the point of the host's text geometry.
    width = static_cast<int32_t>(int64_t(w) * 3 / 100000);
    height = static_cast<int32_t>(int64_t(h) * 3 / 100000);
    return true;
}

int32_t SchServer::GetState_SheetStyleCount() { return static_cast<int32_t>(SheetStyles().size()); }

namespace {
const SheetStyle& StyleAt(int32_t style) {
    const auto& styles = SheetStyles();
    if (style < 0 || style >= static_cast<int32_t>(styles.size()))
        throw EApiErr("Sheet style " + std::to_string(style) + " out of range");
    return styles[style];
}
}  // namespace

std::string SchServer::GetState_SheetStyleName(int32_t style) { return StyleAt(style).Name; }
int32_t SchServer::GetState_SheetStyle_XSize(int32_t style) { return StyleAt(style).XSize; }
int32_t SchServer::GetState_SheetStyle_YSize(int32_t style) { return StyleAt(style).YSize; }
int32_t SchServer::GetState_SheetStyle_XZones(int32_t style) { return StyleAt(style).XZones; }
int32_t SchServer::GetState_SheetStyle_YZones(int32_t style) { return StyleAt(style).YZones; }
int32_t SchServer::GetState_SheetStyle_MarginWidth(int32_t style) { return StyleAt(style).Margin; }

bool SchServer::GetState_BooleanPreference(const std::string& name) {
    auto it = booleanPreferences_.find(name);
    return it != booleanPreferences_.end() && it->second;
}

void SchServer::SetState_BooleanPreference(const std::string& name, bool value) { booleanPreferences_[name] = value; }

}  // namespace orcadx::host::impl
