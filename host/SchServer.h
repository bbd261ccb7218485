// The host's schematic server: object factory, font manager, preferences with the sheet styles,
// and the register of open schematic documents.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "host/SchInterfaces.h"
#include "host/SchObjects.h"

namespace orcadx::host::impl {

// Ids of eight capital letters, unique within the process that owns the source.
class UniqueIdSource {
public:
    explicit UniqueIdSource(uint32_t seed);
    std::string Next();
    // Draws `count` ids and returns the one drawn at `keep` (empty when there is none).
    std::string Draw(size_t count, size_t keep);
    // When set, every id drawn is appended here.
    std::vector<std::string>* Record = nullptr;

private:
    std::mt19937 rng_;
    std::unordered_set<uint64_t> used_;  // the ids given, as numbers in base 26
};

struct SheetStyle {
    std::string Name;
    int32_t XSize;   // host units
    int32_t YSize;
    int32_t XZones;
    int32_t YZones;
    int32_t Margin;
};

// The 18 sheet styles of the host, in style order.
const std::vector<SheetStyle>& SheetStyles();

class SchServer final : public ISch_ServerInterface, public ISch_FontManager, public ISch_Preferences {
public:
    explicit SchServer(UniqueIdSource* ids);
    ~SchServer() override;

    // ISch_ServerInterface
    ISch_BasicContainer* CreateSchObject(int32_t kind, int32_t mode) override;
    void DestroySchObject(ISch_BasicContainer* object) override;
    ISch_Document* GetSchDocumentByPath(const std::string& path) override;
    ISch_Document* GetCurrentSchDocument() override;
    ISch_Component* LoadComponent(const std::string& name, const std::string& libraryPath) override;
    ISch_Preferences* GetPreferences() override { return this; }
    ISch_FontManager* GetFontManager() override { return this; }

    // ISch_FontManager
    int32_t GetFontID(int32_t size, int32_t rotation, bool underline, bool italic, bool bold, bool strikeout,
                      const std::string& fontName) override;
    int32_t GetFontCount() override { return static_cast<int32_t>(fonts_.size()); }
    bool GetFontDescription(int32_t fontId, FontDescription& font) override;
    int32_t GetFontSize(int32_t fontId) override;
    bool MeasureText(int32_t fontId, const std::string& text, int32_t& width, int32_t& height) override;
    int32_t GetScreenPixelsPerInch() override { return 96; }
    int32_t FontIdOf(const FontDescription& font);

    // ISch_Preferences
    int32_t GetState_SheetStyleCount() override;
    std::string GetState_SheetStyleName(int32_t style) override;
    int32_t GetState_SheetStyle_XSize(int32_t style) override;
    int32_t GetState_SheetStyle_YSize(int32_t style) override;
    int32_t GetState_SheetStyle_XZones(int32_t style) override;
    int32_t GetState_SheetStyle_YZones(int32_t style) override;
    int32_t GetState_SheetStyle_MarginWidth(int32_t style) override;
    bool GetState_BooleanPreference(const std::string& name) override;
    void SetState_BooleanPreference(const std::string& name, bool value) override;

    // Host side.
    std::string NewUniqueId() { return ids_->Next(); }
    UniqueIdSource& Ids() { return *ids_; }
    // Puts another id source in place (for objects made aside); returns the one it replaces.
    UniqueIdSource* SwapIds(UniqueIdSource* ids) { return std::exchange(ids_, ids); }
    PropertyNames& Names() { return names_; }
    KindModels& Models() { return models_; }
    // The objects alive, in a list threaded through them (no allocation per object). Unregistering
    // an object that is not in the list does nothing.
    void Register(ObjectCore* object);
    void Unregister(ObjectCore* object);
    size_t LiveObjectCount() const { return liveCount_; }

    // Open documents, kept by the client; the server looks them up by path.
    void RegisterDocument(ObjectCore* document, const std::string& path);
    void RenameDocument(ObjectCore* document, const std::string& path);
    void UnregisterDocument(ObjectCore* document);
    std::string PathOf(const ObjectCore* document) const;
    void SetCurrentDocument(ObjectCore* document) { current_ = document; }

    // Loads a document file that is not open, for reading (library components, compile).
    std::function<std::unique_ptr<ObjectCore>(const std::string& path)> LoadDetached;

    // Changes to objects of this server (properties set or erased, children added or removed),
    // counted so that a document can tell whether it changed since it was saved.
    uint64_t Changes() const { return changes_; }
    void Touch() { ++changes_; }

    // Keeps a library document that was closed as its file `path` reads back (the file's time and
    // size given), so that a later use of the file needs no read; its objects leave the list of
    // live objects. The least recently used library goes when more are kept.
    void KeepClosedLibrary(std::unique_ptr<ObjectCore> document, const std::string& path,
                           std::filesystem::file_time_type time, uintmax_t size);
    // The kept library of the file at `path` when the file is still the one it was kept as, taken
    // out of the keeping, its objects live again and the ids that a read of the file draws drawn;
    // else null.
    std::unique_ptr<ObjectCore> TakeClosedLibrary(const std::string& path);

private:
    // A library file that is not open, read or kept while the file stays the same, with its
    // components by trimmed, upper-cased library reference (the first of equal names).
    struct ClosedLibrary {
        std::string Path;
        std::filesystem::file_time_type Time;
        uintmax_t Size = 0;
        std::unique_ptr<ObjectCore> Document;
        std::unordered_map<std::string, ObjectCore*> Components;
        bool Indexed = false;  // Components made
        bool AsRead = false;   // stands for a read of the file already made in this session
    };
    static constexpr size_t kClosedLibraries = 2;
    ClosedLibrary* DetachedLibraryOf(const std::string& path);
    // Keeps `document`, the library of the normalised path, first among the kept ones; the oldest
    // goes when there are too many.
    ClosedLibrary* Keep(std::unique_ptr<ObjectCore> document, const std::string& normal,
                        std::filesystem::file_time_type time, uintmax_t size, bool asRead);
    // The kept library of a normalised path whose file is still the one kept, else null (a stale
    // one is dropped).
    std::vector<std::unique_ptr<ClosedLibrary>>::iterator FindClosed(const std::string& normal);

    UniqueIdSource* ids_;
    PropertyNames names_;
    KindModels models_;
    std::vector<FontDescription> fonts_;  // index = font id; entry 0 repeats the default font
    std::map<std::string, bool> booleanPreferences_;
    ObjectCore* liveFirst_ = nullptr;
    size_t liveCount_ = 0;
    std::vector<std::pair<ObjectCore*, std::string>> documents_;
    ObjectCore* current_ = nullptr;
    uint64_t changes_ = 0;
    // Most recently used first.
    std::vector<std::unique_ptr<ClosedLibrary>> closed_;
};

// Normal form of a path as the host compares paths: "\" becomes "/", "." and ".." are resolved,
// and a relative path is taken against the current folder.
std::string NormalizePath(const std::string& path);

}  // namespace orcadx::host::impl
