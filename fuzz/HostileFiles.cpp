#include "fuzz/HostileFiles.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "dbo/DboCacheObjects.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "platform/CfbWriter.h"
#include "platform/CodePage.h"
#include "platform/CompoundFile.h"

namespace orcadx::fuzz {

using namespace orcadx::dbo;
namespace cfb = orcadx::platform::cfb;
using Bytes = std::vector<uint8_t>;

namespace {

// Designs are written in a version without size headers: pages have no writer with them.
constexpr uint32_t kVersion = 0x00010002;
constexpr int kPagesPerView = 50000;
const char kLibA[] = "C:\\LIBS\\A.OLB";
const char kLibB[] = "C:\\LIBS\\B.OLB";

// A file written under a name of its own in the temporary folder, read back and removed.
class ScratchFile {
public:
    explicit ScratchFile(const char* extension) {
        static int serial = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("orcadx-hostile-" + std::to_string(getpid()) + "-" + std::to_string(++serial) + extension);
    }
    ~ScratchFile() {
        std::error_code ec;
        std::filesystem::remove(path_, ec);
    }
    std::string Path() const { return path_.string(); }
    Bytes Read() const {
        std::ifstream in(path_, std::ios::binary);
        if (!in) throw std::runtime_error("the generated file can't be read back: " + path_.string());
        return Bytes(std::istreambuf_iterator<char>(in), {});
    }

private:
    std::filesystem::path path_;
};

// What a generated Capture file holds, written in the order of a design's own save.
struct FileLayout {
    bool library = false;
    std::vector<std::string> viewList;  // the names of "Views Directory", in order
    struct View {
        std::string name;
        std::vector<std::string> pageList;     // the view's page list
        std::vector<std::string> pageStreams;  // the streams of its storage "Pages"
    };
    std::vector<View> views;
    std::vector<std::string> packageDirectory;  // the names of "Packages Directory"
    std::vector<std::string> packageStreams;    // the streams of the storage "Packages"
    std::function<void(TDboDesign&, TDboIStream&)> writeCache;  // none: an empty cache
};

void WriteEmptyDirectory(TDboIStorage& root, const std::string& name) {
    std::unique_ptr<TDboIStream> s;
    root.CreateStreamSafe(name, s);
    s->WriteInt("Time", 0);
    s->WriteWord("Count", 0);
}

void WriteDirectory(TDboIStorage& root, const std::string& name, const std::vector<std::string>& entries) {
    std::unique_ptr<TDboIStream> s;
    root.CreateStreamSafe(name, s);
    s->WriteInt("Date", 0);
    s->WriteWord("Count", static_cast<uint16_t>(entries.size()));
    static const std::array<uint8_t, 22> kData = {0x09};
    for (const auto& e : entries) {
        s->WriteStr("Name", e);
        s->WriteData("UnknownData", kData);
    }
}

// A component of one package and one view, all named after `name`.
std::unique_ptr<TDboLibComponent> NewComponent(TDboBaseDesign* d, const std::string& name) {
    auto c = Make<TDboLibComponent>(d);
    c->PartInfo->CompName = name;
    auto part = Make<TDboLibPart>(d);
    part->PkgName = name;
    c->PartInfo->AddPart(std::move(part));
    auto package = Make<TDboLibPackage>(d);
    package->Name = name;
    auto view = Make<TDboLibView>(d);
    view->ViewName = name + ".Normal";
    package->AddView(std::move(view));
    c->Packages.Add(std::move(package));
    return c;
}

// A page of one wire.
std::unique_ptr<TDboPage> NewPage(TDboBaseDesign* d) {
    auto page = Make<TDboPage>(d);
    auto wire = Make<TDboWire>(d);
    wire->EndX = 100;
    page->WiresAndBuses->Add(std::move(wire));
    return page;
}

Bytes Write(const FileLayout& layout) {
    ScratchFile file(layout.library ? ".OLB" : ".DSN");
    TDboDesign d(file.Path(), nullptr, 0, nullptr);
    d.Version = kVersion;
    std::unique_ptr<TDboIStorage> root;
    CreateRootStorage(file.Path(), root);
    {
        std::unique_ptr<TDboIStream> s;
        root->CreateStreamSafe("Library", s);
        d.Lib->Save(*s);
    }
    root->CreateStorageSafe("Cells");
    root->CreateStorageSafe("Parts");
    {
        std::unique_ptr<TDboIStorage> graphics;
        root->CreateStorageSafe("Graphics", graphics);
        graphics->CreateStreamSafe("$Types$");
    }
    {
        std::unique_ptr<TDboIStorage> packages;
        root->CreateStorageSafe("Packages", packages);
        // One component, renamed for each stream: the file is written without holding them all.
        auto component = NewComponent(&d, "");
        for (const auto& name : layout.packageStreams) {
            component->PartInfo->CompName = name;
            component->PartInfo->Parts.GetParts(0)->PkgName = name;
            component->Packages.GetPackages(0)->Name = name;
            std::unique_ptr<TDboIStream> s;
            packages->CreateStreamSafe(name, s);
            component->Save(*s);
        }
    }
    root->CreateStorageSafe("ExportBlocks");
    WriteEmptyDirectory(*root, "Cells Directory");
    WriteEmptyDirectory(*root, "Parts Directory");
    WriteEmptyDirectory(*root, "Symbols Directory");
    {
        std::unique_ptr<TDboIStorage> symbols;
        root->CreateStorageSafe("Symbols", symbols);
        symbols->CreateStreamSafe("$Types$");
    }
    WriteEmptyDirectory(*root, "Graphics Directory");
    WriteDirectory(*root, "Packages Directory", layout.packageDirectory);
    WriteEmptyDirectory(*root, "ExportBlocks Directory");
    {
        std::unique_ptr<TDboIStorage> views;
        root->CreateStorageSafe("Views", views);
        auto page = NewPage(&d);
        for (const auto& v : layout.views) {
            std::unique_ptr<TDboIStorage> view, pages;
            views->CreateStorageSafe(v.name, view);
            {
                auto schematics = Make<TDboSchematics>(&d);
                schematics->ViewName = v.name;
                schematics->PageNames = v.pageList;
                std::unique_ptr<TDboIStream> s;
                view->CreateStreamSafe("Schematic", s);
                schematics->Save(*s);
            }
            view->CreateStorageSafe("Pages", pages);
            for (const auto& name : v.pageStreams) {
                page->PageName = name;
                std::unique_ptr<TDboIStream> s;
                pages->CreateStreamSafe(name, s);
                page->Save(*s);
            }
        }
    }
    WriteDirectory(*root, "Views Directory", layout.viewList);
    {
        std::unique_ptr<TDboIStream> s;
        root->CreateStreamSafe("Cache", s);
        if (layout.writeCache) {
            layout.writeCache(d, *s);
        } else {
            auto cache = Make<TDboCache>(&d);
            cache->Save(*s);
        }
    }
    root->Close();
    root.reset();
    return file.Read();
}

// ---------------------------------------------------------------------------------------------
// Directories laid out entry by entry

// The entries of a file, each storage's children linked as one chain of right links (a legal,
// if lopsided, tree); gives the index of each storage's last child through `lastChild`.
struct RawTree {
    std::vector<cfb::RawEntry> entries;
    std::vector<std::unique_ptr<Bytes>> data;
};

void CopyInto(RawTree& tree, platform::CfbStorage& storage, uint32_t parent) {
    uint32_t previous = cfb::kNoEntry;
    for (const auto& e : storage.List()) {
        cfb::RawEntry entry;
        entry.name = platform::Utf8ToUtf16(e.name);
        entry.type = e.isStorage ? cfb::kTypeStorage : cfb::kTypeStream;
        const uint32_t index = static_cast<uint32_t>(tree.entries.size());
        if (!e.isStorage) {
            std::unique_ptr<platform::CfbStream> s;
            storage.OpenStream(e.name, platform::kSTGM_SHARE_EXCLUSIVE, &s);
            tree.data.push_back(std::make_unique<Bytes>(s->Contents()));
            entry.data = tree.data.back().get();
        }
        tree.entries.push_back(entry);
        if (previous == cfb::kNoEntry) tree.entries[parent].child = index;
        else tree.entries[previous].right = index;
        previous = index;
        if (e.isStorage) {
            std::unique_ptr<platform::CfbStorage> child;
            storage.OpenStorage(e.name, platform::kSTGM_SHARE_EXCLUSIVE, &child);
            CopyInto(tree, *child, index);
        }
    }
}

// The entries of an empty design, as a tree of chains.
RawTree EmptyDesignTree() {
    Bytes bytes = Write(FileLayout{});
    std::unique_ptr<platform::CfbStorage> root;
    std::string detail;
    if (platform::OpenStorageMemory(bytes, &root, &detail) != platform::kS_OK)
        throw std::runtime_error("the generated design doesn't open: " + detail);
    RawTree tree;
    tree.entries.resize(1);
    tree.entries[0].type = cfb::kTypeRoot;
    tree.entries[0].name = u"Root Entry";
    CopyInto(tree, *root, 0);
    return tree;
}

// Links `index` behind the last child of the root.
void AppendToRoot(RawTree& tree, uint32_t index) {
    uint32_t at = tree.entries[0].child;
    if (at == cfb::kNoEntry) {
        tree.entries[0].child = index;
        return;
    }
    while (tree.entries[at].right != cfb::kNoEntry) at = tree.entries[at].right;
    tree.entries[at].right = index;
}

Bytes NestedStorages(int n) {
    RawTree tree = EmptyDesignTree();
    static const Bytes leaf = {1, 2, 3};
    uint32_t parent = cfb::kNoEntry;
    for (int i = 0; i < n; ++i) {
        cfb::RawEntry storage;
        storage.name = i == 0 ? u"Deep" : u"D";
        storage.type = cfb::kTypeStorage;
        uint32_t index = static_cast<uint32_t>(tree.entries.size());
        tree.entries.push_back(storage);
        if (parent == cfb::kNoEntry) AppendToRoot(tree, index);
        else tree.entries[parent].child = index;
        parent = index;
    }
    cfb::RawEntry stream;
    stream.name = u"Leaf";
    stream.data = &leaf;
    tree.entries[parent].child = static_cast<uint32_t>(tree.entries.size());
    tree.entries.push_back(stream);
    return cfb::LayoutFile(tree.entries);
}

Bytes SiblingChain(int n, bool loop) {
    RawTree tree = EmptyDesignTree();
    static const Bytes data = {7};
    uint32_t first = static_cast<uint32_t>(tree.entries.size());
    for (int i = 0; i < n; ++i) {
        cfb::RawEntry stream;
        stream.name = platform::Utf8ToUtf16("X" + std::to_string(i));
        stream.data = &data;
        uint32_t index = static_cast<uint32_t>(tree.entries.size());
        if (i + 1 < n) stream.right = index + 1;
        else if (loop) stream.right = first;
        tree.entries.push_back(stream);
    }
    AppendToRoot(tree, first);
    return cfb::LayoutFile(tree.entries);
}

Bytes WideStorage(int n) {
    // Through the platform's own writer, which lays a storage's children out as a balanced tree.
    ScratchFile file(".DSN");
    {
        Bytes design = Write(FileLayout{});
        std::unique_ptr<platform::CfbStorage> in, out, wide;
        std::string detail;
        platform::OpenStorageMemory(design, &in, &detail);
        platform::CreateStorageFile(file.Path(), platform::kSTGM_CREATE | platform::kSTGM_READWRITE, &out);
        std::function<void(platform::CfbStorage&, platform::CfbStorage&)> copy = [&](platform::CfbStorage& from,
                                                                                    platform::CfbStorage& to) {
            for (const auto& e : from.List()) {
                if (e.isStorage) {
                    std::unique_ptr<platform::CfbStorage> f, t;
                    from.OpenStorage(e.name, platform::kSTGM_SHARE_EXCLUSIVE, &f);
                    to.CreateStorage(e.name, platform::kSTGM_CREATE, &t);
                    copy(*f, *t);
                } else {
                    std::unique_ptr<platform::CfbStream> f, t;
                    from.OpenStream(e.name, platform::kSTGM_SHARE_EXCLUSIVE, &f);
                    to.CreateStream(e.name, platform::kSTGM_CREATE, &t);
                    uint32_t written;
                    t->Write(f->Contents().data(), static_cast<uint32_t>(f->Contents().size()), &written);
                }
            }
        };
        copy(*in, *out);
        out->CreateStorage("Wide", platform::kSTGM_CREATE, &wide);
        for (int i = 0; i < n; ++i) {
            std::unique_ptr<platform::CfbStream> s;
            wide->CreateStream("W" + std::to_string(i), platform::kSTGM_CREATE, &s);
            uint32_t written;
            s->Write(&i, 4, &written);
        }
        wide.reset();
        if (out->Close() != platform::kS_OK) throw std::runtime_error("the generated file can't be written");
    }
    return file.Read();
}

// ---------------------------------------------------------------------------------------------
// Lists and caches

Bytes RepeatedPage(int n) {
    FileLayout layout;
    layout.viewList = {"V"};
    layout.views.push_back({"V", std::vector<std::string>(n, "P1"), {"P1"}});
    return Write(layout);
}

Bytes RepeatedView(int n) {
    FileLayout layout;
    layout.viewList.assign(n, "V");
    layout.views.push_back({"V", {"P1"}, {"P1"}});
    return Write(layout);
}

Bytes RepeatedPackage(int n) {
    FileLayout layout;
    layout.library = true;
    layout.packageDirectory.assign(n, "PKG");
    layout.packageStreams = {"PKG"};
    return Write(layout);
}

Bytes MissingPackages(int n) {
    FileLayout layout;
    layout.library = true;
    for (int i = 0; i < n; ++i) {
        layout.packageDirectory.push_back("M" + std::to_string(i));
        layout.packageStreams.push_back("S" + std::to_string(i));
    }
    return Write(layout);
}

// "packagename" with the case of its letters set by the bits of `i`.
std::string CaseVariant(int i) {
    std::string name = "packagenamecasev";
    for (size_t k = 0; k < name.size(); ++k)
        if (i & (1 << k)) name[k] = static_cast<char>(name[k] - 'a' + 'A');
    return name;
}

// Writes a cache list item by item: `count` items, each with the elements that `fill` saves.
template <class Fill>
void WriteList(TDboIStream& s, int count, Fill&& fill) {
    s.WriteWord("Count", static_cast<uint16_t>(count));
    for (int i = 0; i < count; ++i) fill(i);
}

Bytes CaseVariantCache(int n) {
    FileLayout layout;
    // n part informations, each naming a package in a case of its own; n package items of those
    // names, none with an element: every search by name finds a name without elements and falls
    // back to the search that heeds case.
    layout.writeCache = [n](TDboDesign& d, TDboIStream& s) {
        auto info = TDboCachePartInfo::CreateSpecific(&d, Make<TDboLibPartInfo>(&d));
        auto part = Make<TDboLibPart>(&d);
        info->PartInfo->AddPart(std::move(part));
        s.WriteWord("Root", 0);
        WriteList(s, 0, [](int) {});
        WriteList(s, 0, [](int) {});
        WriteList(s, n, [&](int i) {
            s.WriteStr("Name", CaseVariant(i));
            s.WriteWord("Count", 0);
        });
        WriteList(s, n, [&](int i) {
            std::string name = "C" + std::to_string(i);
            info->PartInfo->CompName = name;
            info->PartInfo->Parts.GetParts(0)->PkgName = CaseVariant(i);
            s.WriteStr("Name", name);
            s.WriteWord("Count", 1);
            info->Save(s);
        });
    };
    return Write(layout);
}

Bytes ManyPages(int n) {
    FileLayout layout;
    for (int first = 0, v = 0; first < n; first += kPagesPerView, ++v) {
        FileLayout::View view{"V" + std::to_string(v), {}, {}};
        for (int i = first; i < n && i < first + kPagesPerView; ++i) view.pageList.push_back("P" + std::to_string(i));
        view.pageStreams = view.pageList;
        layout.viewList.push_back(view.name);
        layout.views.push_back(std::move(view));
    }
    return Write(layout);
}

Bytes ManyComponents(int n) {
    FileLayout layout;
    // Names "C0".. of two elements each (libraries A and B), written element by element from one
    // object of each kind: the file is made without holding n components.
    layout.writeCache = [n](TDboDesign& d, TDboIStream& s) {
        const int names = (n + 1) / 2;
        auto elementsOf = [&](int i) { return 2 * i + 1 < n ? 2 : 1; };
        auto view = TDboCacheView::CreateSpecific(&d, Make<TDboLibView>(&d));
        auto package = TDboCachePackage::CreateSpecific(&d, Make<TDboLibPackage>(&d));
        auto info = TDboCachePartInfo::CreateSpecific(&d, Make<TDboLibPartInfo>(&d));
        info->PartInfo->AddPart(Make<TDboLibPart>(&d));
        auto each = [&](int i, TDboCacheElement& element, const std::function<void(const std::string&)>& name) {
            s.WriteStr("Name", "C" + std::to_string(i) + (&element == view.get() ? ".Normal" : ""));
            s.WriteWord("Count", static_cast<uint16_t>(elementsOf(i)));
            for (int k = 0; k < elementsOf(i); ++k) {
                element.LibPath = k == 0 ? kLibA : kLibB;
                name("C" + std::to_string(i));
                element.AdoptObject();
                element.Save(s);
            }
        };
        s.WriteWord("Root", 0);
        WriteList(s, 0, [](int) {});
        WriteList(s, names, [&](int i) { each(i, *view, [&](const std::string& c) { view->View->ViewName = c + ".Normal"; }); });
        WriteList(s, names, [&](int i) {
            each(i, *package, [&](const std::string& c) {
                package->Package->Name = c;
                package->Package->ViewNames = {c + ".Normal"};
            });
        });
        WriteList(s, names, [&](int i) {
            each(i, *info, [&](const std::string& c) {
                info->PartInfo->CompName = c;
                info->PartInfo->Parts.GetParts(0)->PkgName = c;
            });
        });
    };
    return Write(layout);
}

}  // namespace

const char* HostileName(Hostile family) {
    switch (family) {
        case Hostile::NestedStorages: return "storages nested";
        case Hostile::SiblingChain: return "directory entries in one chain";
        case Hostile::WideStorage: return "directory entries in one storage";
        case Hostile::DirectoryLoop: return "directory chain that loops";
        case Hostile::RepeatedPage: return "page list naming one page";
        case Hostile::RepeatedView: return "view list naming one view";
        case Hostile::RepeatedPackage: return "library directory naming one package";
        case Hostile::MissingPackages: return "library directory names missing the storage";
        case Hostile::CaseVariantCache: return "cache names differing only in case";
        case Hostile::ManyPages: return "pages";
        case Hostile::ManyComponents: return "components";
        case Hostile::Count: break;
    }
    return "?";
}

int HostileLimit(Hostile family) {
    switch (family) {
        case Hostile::RepeatedPage:
        case Hostile::RepeatedView:
        case Hostile::RepeatedPackage:
        case Hostile::MissingPackages:
        case Hostile::CaseVariantCache: return 65535;
        case Hostile::ManyComponents: return 131070;
        default: return 1000000;
    }
}

bool HostileLoads(Hostile family) { return family != Hostile::DirectoryLoop; }

HostileCounts HostileExpected(Hostile family, int n) {
    switch (family) {
        case Hostile::RepeatedPage: return {0, 1, 1};
        case Hostile::RepeatedView: return {0, 1, 1};
        case Hostile::RepeatedPackage: return {1, 0, 0};
        case Hostile::ManyPages: return {0, n, (n + kPagesPerView - 1) / kPagesPerView};
        case Hostile::ManyComponents: return {n, 0, 0};
        default: return {};
    }
}

std::vector<uint8_t> MakeHostileFile(Hostile family, int n) {
    if (n < 1 || n > HostileLimit(family))
        throw std::runtime_error(std::string("no file of ") + HostileName(family) + " with n = " + std::to_string(n));
    switch (family) {
        case Hostile::NestedStorages: return NestedStorages(n);
        case Hostile::SiblingChain: return SiblingChain(n, false);
        case Hostile::WideStorage: return WideStorage(n);
        case Hostile::DirectoryLoop: return SiblingChain(n, true);
        case Hostile::RepeatedPage: return RepeatedPage(n);
        case Hostile::RepeatedView: return RepeatedView(n);
        case Hostile::RepeatedPackage: return RepeatedPackage(n);
        case Hostile::MissingPackages: return MissingPackages(n);
        case Hostile::CaseVariantCache: return CaseVariantCache(n);
        case Hostile::ManyPages: return ManyPages(n);
        case Hostile::ManyComponents: return ManyComponents(n);
        case Hostile::Count: break;
    }
    throw std::runtime_error("unknown family");
}

}  // namespace orcadx::fuzz
