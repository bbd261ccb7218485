// The design cache: the stream "Cache" of every sample file, search by name, the once-only handing
// out of packages and views, what a component leaves in the cache, and the saved layout.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "DboTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboCacheObjects.h"
#include "dbo/DboGraphicObjects.h"
#include "dbo/DboObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;
using test::ByteBuilder;
using test::Bytes;

namespace {

const char kLibA[] = "C:\\LIBS\\A.OLB";
const char kLibB[] = "C:\\LIBS\\B.OLB";

std::unique_ptr<TDboLibView> NewView(TDboBaseDesign* d, const std::string& name) {
    auto view = Make<TDboLibView>(d);
    view->ViewName = name;
    return view;
}

// A package named `name` with one view per name in `views`.
std::unique_ptr<TDboLibPackage> NewPackage(TDboBaseDesign* d, const std::string& name,
                                           const std::vector<std::string>& views) {
    auto package = Make<TDboLibPackage>(d);
    package->Name = name;
    for (const auto& v : views) package->AddView(NewView(d, v));
    return package;
}

// Part information named `name` whose parts use the packages `pkgs`.
std::unique_ptr<TDboLibPartInfo> NewPartInfo(TDboBaseDesign* d, const std::string& name,
                                             const std::vector<std::string>& pkgs) {
    auto info = Make<TDboLibPartInfo>(d);
    info->CompName = name;
    for (const auto& p : pkgs) {
        auto part = Make<TDboLibPart>(d);
        part->PkgName = p;
        info->AddPart(std::move(part));
    }
    return info;
}

// Adds `element` to the item of `list` named `name`, made when there is none: one item per name
// and one element per library, as Capture writes a cache.
template <class E>
E* AddElement(TDboCacheItemList& list, const std::string& name, std::unique_ptr<E> element, const std::string& libPath) {
    element->LibPath = libPath;
    E* raw = element.get();
    if (TDboCacheItem* item = TDboCache::FindItemByNameCaseSensitive(name, list)) item->Elements.Add(std::move(element));
    else list.AddItem(name, std::move(element));
    return raw;
}

// Puts a package (and its views) and a part information into the cache as coming from `libPath`.
void AddFromLibrary(TDboCache& cache, std::unique_ptr<TDboLibPackage> package, std::unique_ptr<TDboLibPartInfo> info,
                    const std::string& libPath) {
    TDboBaseDesign* d = cache.Design;
    for (int i = 0; i < package->Views.Count(); ++i) {
        std::unique_ptr<TDboLibView> view(static_cast<TDboLibView*>(package->Views.SetItems(i, nullptr).release()));
        std::string name = view->ViewName;
        AddElement(cache.CacheViews, name, TDboCacheView::CreateSpecific(d, std::move(view)), libPath);
    }
    std::string name = package->Name;
    AddElement(cache.CachePackages, name, TDboCachePackage::CreateSpecific(d, std::move(package)), libPath);
    if (info) {
        name = info->CompName;
        AddElement(cache.CachePartInfos, name, TDboCachePartInfo::CreateSpecific(d, std::move(info)), libPath);
    }
}

// Walks the records of a "Cache" stream element by element. Each element is saved again in its
// own version and compared with the bytes it was read from, and carried through a version that
// isn't headered and back.
struct CacheWalk {
    int elements = 0;
    int identical = 0;
    int fontBitsCut = 0;     // comment texts whose font word had high bits, which a load drops
    int withUserProps = 0;   // records with property pairs, written back like the rest
    int withIEEE = 0;        // views with IEEE symbols, whose inner lead bytes no save writes
    int plainRoundTrips = 0;
    std::vector<std::string> problems;
};

std::string FirstDifference(const Bytes& original, const Bytes& saved) {
    size_t at = std::mismatch(original.begin(), original.end(), saved.begin(), saved.end()).first - original.begin();
    return "from byte " + std::to_string(at) + " of " + std::to_string(original.size()) + " (" +
           std::to_string(saved.size()) + " written)";
}

// Number of drawings of class T in the element's view or symbol.
template <class T>
int Drawings(TDboStorableObject& element) {
    TDboLibBaseView* view = nullptr;
    if (auto* v = dynamic_cast<TDboCacheView*>(&element)) view = v->View.get();
    if (auto* s = dynamic_cast<TDboCacheSymbol*>(&element)) view = s->Symbol.get();
    int n = 0;
    if (view)
        for (int i = 0; i < view->Graphics->Count(); ++i) n += dynamic_cast<T*>(view->Graphics->GetItems(i)) != nullptr;
    return n;
}

// True when the element's view or symbol, or a pin of it, holds property pairs.
bool HasPropertyPairs(TDboStorableObject& element) {
    TDboLibBaseView* view = nullptr;
    if (auto* v = dynamic_cast<TDboCacheView*>(&element)) view = v->View.get();
    if (auto* s = dynamic_cast<TDboCacheSymbol*>(&element)) view = s->Symbol.get();
    if (!view) return false;
    bool pairs = view->UserProps.Count() > 0;
    for (int i = 0; i < view->Pins->Count(); ++i) pairs = pairs || view->Pins->GetPins(i)->UserProps.Count() > 0;
    return pairs;
}

// True when `saved` differs from `original` only by the two high bytes of comment-text font words
// that the load cut to 14 bits: at most two zeroed bytes per comment text.
bool OnlyFontBitsCut(const Bytes& original, const Bytes& saved, int commentTexts) {
    if (original.size() != saved.size() || commentTexts == 0) return false;
    int differing = 0;
    for (size_t i = 0; i < original.size(); ++i) {
        if (original[i] == saved[i]) continue;
        if (saved[i] != 0) return false;
        ++differing;
    }
    return differing <= 2 * commentTexts;
}

CacheWalk WalkCache(TDboBaseDesign* design, const Bytes& bytes) {
    CacheWalk walk;
    auto s = test::MemStream(bytes);
    uint16_t root;
    s->ReadWord("Root", root);
    const TDboClass* classes[] = {&ClassOf<TDboCacheSymbol>(), &ClassOf<TDboCacheView>(),
                                  &ClassOf<TDboCachePackage>(), &ClassOf<TDboCachePartInfo>()};
    const uint32_t version = design->Version;
    for (const TDboClass* cls : classes) {
        uint16_t items;
        s->ReadWord("Count", items);
        for (int i = 0; i < items; ++i) {
            std::string name;
            s->ReadStr("Name", name);
            uint16_t count;
            s->ReadWord("Count", count);
            for (int j = 0; j < count; ++j) {
                size_t from = s->Position();
                auto element = cls->create(design);
                element->Load(*s);
                Bytes original(bytes.begin() + from, bytes.begin() + s->Position());
                std::string what = std::string(element->ClassName()) + " \"" + name + "\"";
                ++walk.elements;
                if (Drawings<TDboLibIEEE>(*element) > 0) {
                    ++walk.withIEEE;
                    continue;
                }
                if (HasPropertyPairs(*element)) ++walk.withUserProps;
                try {
                    Bytes saved = test::SaveBytes(*element);
                    if (saved == original) ++walk.identical;
                    else if (OnlyFontBitsCut(original, saved, Drawings<TDboLibCommentText>(*element))) ++walk.fontBitsCut;
                    else walk.problems.push_back(what + " saves differently " + FirstDifference(original, saved));
                } catch (const Exception& e) {
                    walk.problems.push_back(what + ": " + e.what());
                }
                // The same element in a file that is extended but not headered.
                if (InVersionSet(version, VersionSet::Headered)) {
                    design->Version = test::kV1_2;
                    try {
                        Bytes plain = test::SaveBytes(*element);
                        auto copy = cls->create(design);
                        auto p = test::MemStream(plain);
                        copy->Load(*p);
                        if (p->Remaining() != 0 || test::SaveBytes(*copy) != plain)
                            walk.problems.push_back(what + " doesn't survive a file that isn't headered");
                        else ++walk.plainRoundTrips;
                    } catch (const Exception& e) {
                        walk.problems.push_back(what + " in a file that isn't headered: " + e.what());
                    }
                    design->Version = version;
                }
            }
        }
    }
    if (s->Remaining() != 0) walk.problems.push_back(std::to_string(s->Remaining()) + " bytes left behind the lists");
    return walk;
}

}  // namespace

// The cache of every sample design and library: loaded to its end by TDboCache, and each of its
// elements written back as it was read (except records that a headered save can't hold).
TEST(CacheCorpus, EverySampleCacheLoadsToItsEnd) {
    ORCADX_REQUIRE_CORPUS();
    auto files = test::CorpusFiles({".dsn", ".olb", ".obk"});
    ASSERT_FALSE(files.empty());
    std::vector<std::string> failures;
    int elements = 0, identical = 0, fontBitsCut = 0, withUserProps = 0, withIEEE = 0, plainRoundTrips = 0;
    int nonEmpty = 0;
    for (const auto& path : files) {
        std::string shown = std::filesystem::relative(path, test::CorpusDir()).string();
        try {
            auto design = std::make_unique<TDboBaseDesign>();
            std::unique_ptr<TDboIStorage> root;
            OpenRootStorage(path.string(), root);
            std::unique_ptr<TDboIStream> lib;
            root->OpenStreamSafe("Library", lib);
            design->Lib->Load(*lib);
            std::unique_ptr<TDboIStream> stream;
            root->OpenStreamSafe("Cache", stream);
            Bytes bytes;
            stream->ReadData("Cache", bytes, stream->Remaining());

            TDboCache cache(design.get());
            cache.Initialize();
            auto s = test::MemStream(bytes);
            cache.Load(*s);
            if (s->Remaining() != 0) {
                failures.push_back(shown + ": " + std::to_string(s->Remaining()) + " bytes not read");
                continue;
            }
            if (cache.CachePartInfos.Count() > 0) ++nonEmpty;
            // Sorted by name, case ignored, except the symbols.
            for (TDboCacheItemList* list : {static_cast<TDboCacheItemList*>(&cache.CacheViews),
                                            static_cast<TDboCacheItemList*>(&cache.CachePackages)})
                for (int i = 1; i < list->Count(); ++i)
                    EXPECT_LE(CompareTextNoCase(list->GetCacheItems(i - 1)->Name, list->GetCacheItems(i)->Name), 0)
                        << shown;

            CacheWalk walk = WalkCache(design.get(), bytes);
            elements += walk.elements;
            identical += walk.identical;
            fontBitsCut += walk.fontBitsCut;
            withUserProps += walk.withUserProps;
            plainRoundTrips += walk.plainRoundTrips;
            withIEEE += walk.withIEEE;
            for (const auto& p : walk.problems) failures.push_back(shown + ": " + p);
        } catch (const std::exception& e) {
            failures.push_back(shown + ": " + e.what());
        }
    }
    std::cout << "[ caches   ] " << files.size() << " files, " << nonEmpty << " with components, " << elements
              << " elements: " << identical << " written back identically, " << fontBitsCut
              << " with comment-text font bits cut, " << withUserProps
              << " with property pairs, " << withIEEE
              << " with IEEE symbols (not written back), " << plainRoundTrips
              << " carried through a file that isn't headered; " << failures.size() << " failures\n";
    for (const auto& f : failures) std::cout << "[ failed   ] " << f << "\n";
    EXPECT_TRUE(failures.empty());
    EXPECT_GT(nonEmpty, 10);
    EXPECT_GT(identical, elements / 2);
}

TEST(Cache, PackagesAreHandedOutOnce) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache cache(d.get());
    cache.Initialize();
    AddFromLibrary(cache, NewPackage(d.get(), "R", {"R.Normal", "R.Convert"}), NewPartInfo(d.get(), "R", {"R"}), kLibA);
    // A second part information naming the same package of the same library.
    AddFromLibrary(cache, NewPackage(d.get(), "unused", {}), NewPartInfo(d.get(), "R2", {"r"}), kLibA);
    // The same names from another library: second elements of the same items.
    AddFromLibrary(cache, NewPackage(d.get(), "R", {"R.Normal"}), NewPartInfo(d.get(), "R", {"r"}), kLibB);
    ASSERT_EQ(cache.CachePackages.GetCacheItems(0)->Elements.Count(), 2);

    auto info = [&](int item, int element) {
        return static_cast<TDboCachePartInfo*>(cache.CachePartInfos.GetCacheItems(item)->GetElements(element));
    };
    auto first = Make<TDboLibComponent>(d.get());
    ASSERT_TRUE(cache.GetPackagesForComponent(*info(0, 0), *first));
    ASSERT_EQ(first->Packages.Count(), 1);
    TDboLibPackage* package = first->Packages.GetPackages(0);
    EXPECT_TRUE(package->HasViews);
    ASSERT_EQ(package->Views.Count(), 2);
    EXPECT_EQ(package->Views.GetViews(1)->ViewName, "R.Convert");
    // An element sets its object's library path when it is made.
    EXPECT_EQ(package->Views.GetViews(0)->LibPathStr, d->LibPath());

    // The package was given away: the second part information of that library gets nothing.
    auto second = Make<TDboLibComponent>(d.get());
    EXPECT_FALSE(cache.GetPackagesForComponent(*info(1, 0), *second));
    EXPECT_EQ(second->Packages.Count(), 0);

    // The other library's copy is still there, found by a name that differs in case.
    auto third = Make<TDboLibComponent>(d.get());
    ASSERT_TRUE(cache.GetPackagesForComponent(*info(0, 1), *third));
    EXPECT_EQ(third->ViewCount(), 1);  // library B's package has one view

    // Part information without parts, or naming a package that isn't there, fails.
    AddFromLibrary(cache, NewPackage(d.get(), "S", {}), NewPartInfo(d.get(), "EMPTY", {}), kLibB);
    AddFromLibrary(cache, NewPackage(d.get(), "T", {}), NewPartInfo(d.get(), "MISSING", {"T", "NOPE"}), kLibB);
    auto none = Make<TDboLibComponent>(d.get());
    EXPECT_FALSE(cache.GetPackagesForComponent(*info(2, 0), *none));
    EXPECT_FALSE(cache.GetPackagesForComponent(*info(3, 0), *none));
    EXPECT_EQ(none->Packages.Count(), 1);  // what was found stays with the component
}

// Two libraries give a part of one name but for case (ONYXPSU.DSN: "Solder_Jumper" of the project's
// library, "SOLDER_JUMPER" of QLIB.OLB): Capture keeps an item per spelling. Whichever item the
// search without case meets first, each part gets its own package and its views, so their pins.
TEST(Cache, NamesEqualButForCaseFromTwoLibrariesEachKeepTheirViews) {
    for (bool upperFirst : {false, true}) {
        SCOPED_TRACE(upperFirst ? "upper case first" : "mixed case first");
        auto d = test::DesignOfVersion(test::kV2_3);
        TDboCache cache(d.get());
        cache.Initialize();
        auto add = [&](const std::string& name, const char* lib) {
            AddFromLibrary(cache, NewPackage(d.get(), name, {name + ".Normal"}), NewPartInfo(d.get(), name, {name}), lib);
        };
        if (upperFirst) add("SOLDER_JUMPER", kLibB);
        add("Solder_Jumper", kLibA);
        if (!upperFirst) add("SOLDER_JUMPER", kLibB);
        cache.CacheViews.SortByName();
        cache.CachePackages.SortByName();
        cache.CachePartInfos.SortByName();
        ASSERT_EQ(cache.CachePackages.Count(), 2);

        for (int i = 0; i < cache.CachePartInfos.Count(); ++i) {
            auto* info = static_cast<TDboCachePartInfo*>(cache.CachePartInfos.GetCacheItems(i)->GetElements(0));
            const std::string name = info->PartInfo->CompName;
            SCOPED_TRACE(name);
            auto component = Make<TDboLibComponent>(d.get());
            ASSERT_TRUE(cache.GetPackagesForComponent(*info, *component));
            TDboLibPackage* package = component->Packages.GetPackages(0);
            EXPECT_EQ(package->Name, name);
            ASSERT_EQ(package->Views.Count(), 1);
            EXPECT_EQ(package->Views.GetViews(0)->ViewName, name + ".Normal");
        }
    }
}

TEST(Cache, SearchByNameAndFallback) {
    auto d = test::DesignOfVersion(test::kV1_2);
    TDboCache cache(d.get());
    cache.Initialize();
    // "abc" has no elements; "ABC" has one. A search for "ABC" meets the empty "abc" first.
    cache.CachePackages.Add(Make<TDboCacheItem>(d.get(), ClassOf<TDboCachePackage>()));
    cache.CachePackages.GetCacheItems(0)->Name = "abc";
    // (An item of its own: AddPackage would join the item "abc".)
    cache.CachePackages.AddItem("ABC", TDboCachePackage::CreateSpecific(d.get(), NewPackage(d.get(), "ABC", {})))
        ->GetElements(0)
        ->LibPath = kLibA;
    cache.AddPackage(NewPackage(d.get(), "Mixed", {}))->LibPath = kLibA;

    EXPECT_EQ(TDboCache::FindItemByName("ABC", cache.CachePackages)->Name, "abc");
    EXPECT_EQ(TDboCache::FindItemByNameCaseSensitive("ABC", cache.CachePackages)->Name, "ABC");
    EXPECT_EQ(TDboCache::FindItemByNameCaseSensitive("mixed", cache.CachePackages), nullptr);
    EXPECT_EQ(TDboCache::FindItemByName("mIXED", cache.CachePackages)->Name, "Mixed");
    EXPECT_EQ(TDboCache::FindItemByName("nothing", cache.CachePackages), nullptr);

    EXPECT_NE(cache.TakePackage("ABC", kLibA), nullptr);       // via the exact search
    EXPECT_EQ(cache.TakePackage("Abc", kLibA), nullptr);       // the exact search finds nothing
    EXPECT_EQ(cache.TakePackage("MIXED", kLibB), nullptr);     // wrong library
    EXPECT_NE(cache.TakePackage("MIXED", kLibA), nullptr);     // case ignored
    EXPECT_EQ(cache.TakePackage("MIXED", kLibA), nullptr);     // and given only once

    TDboCacheItem* item = TDboCache::FindItemByName("mixed", cache.CachePackages);
    EXPECT_EQ(item->FindCacheElement(kLibA), item->GetElements(0));
    EXPECT_EQ(item->FindCacheElement("c:\\libs\\a.olb"), nullptr);  // library paths compare exactly
}

TEST(Cache, ComponentsAndSymbolsMoveIn) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache cache(d.get());
    cache.Initialize();
    auto component = Make<TDboLibComponent>(d.get());
    component->Packages.Add(NewPackage(d.get(), "QA", {"QA.Normal"}));
    component->Packages.Add(NewPackage(d.get(), "QB", {"QB.Normal", "QB.Convert"}));
    component->PartInfo->CompName = "Q";
    TDboLibPackage* qb = component->Packages.GetPackages(1);
    cache.AddComponent(std::move(component));

    ASSERT_EQ(cache.CachePackages.Count(), 2);
    ASSERT_EQ(cache.CacheViews.Count(), 3);
    ASSERT_EQ(cache.CachePartInfos.Count(), 1);
    EXPECT_EQ(cache.CacheViews.GetCacheItems(2)->Name, "QB.Convert");
    EXPECT_EQ(cache.CachePartInfos.GetCacheItems(0)->Name, "Q");
    EXPECT_EQ(qb->Views.GetItems(0), nullptr);  // the view slots of a package are emptied
    auto* element = static_cast<TDboCacheView*>(cache.CacheViews.GetCacheItems(0)->GetElements(0));
    EXPECT_EQ(element->ID, 24);
    EXPECT_EQ(element->LibPath, d->LibPath());
    EXPECT_EQ(element->View->LibPathStr, element->LibPath);
    EXPECT_NE(element->DateCreated, 0);

    auto symbol = CreateSymbol(d.get(), kIdOffPageSymbol);
    symbol->ViewName = "OFFPAGE";
    symbol->LibPathStr = "elsewhere";
    TDboCacheSymbol* cached = cache.AddSymbol(std::move(symbol));
    EXPECT_EQ(cached->ID, kIdOffPageSymbol);
    // The library a symbol came from stays with it.
    EXPECT_EQ(cached->Symbol->LibPathStr, "elsewhere");
    EXPECT_EQ(cached->LibPath, "elsewhere");
    EXPECT_EQ(cache.CacheSymbols.GetCacheItems(0)->Name, "OFFPAGE");

    // Written and read back: the views come out sorted, and the component can be put together again.
    cache.Root = 7;
    Bytes bytes = test::SaveBytes(cache);
    EXPECT_EQ(bytes[0] | bytes[1] << 8, 0);  // Root is always written as 0
    TDboCache again(d.get());
    again.Initialize();
    auto s = test::MemStream(bytes);
    again.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(again.CacheViews.Count(), 3);
    EXPECT_EQ(again.CacheViews.GetCacheItems(0)->Name, "QA.Normal");
    EXPECT_EQ(again.CacheViews.GetCacheItems(1)->Name, "QB.Convert");
    auto* symbolElement = static_cast<TDboCacheSymbol*>(again.CacheSymbols.GetCacheItems(0)->GetElements(0));
    EXPECT_STREQ(symbolElement->Symbol->ClassName(), "TDboOffPageSymbol");
    auto* packageElement = static_cast<TDboCachePackage*>(again.CachePackages.GetCacheItems(1)->GetElements(0));
    EXPECT_FALSE(packageElement->Package->HasViews);
    EXPECT_EQ(packageElement->Package->ViewNames, (std::vector<std::string>{"QB.Normal", "QB.Convert"}));
    auto rebuilt = Make<TDboLibComponent>(d.get());
    auto* infoElement = static_cast<TDboCachePartInfo*>(again.CachePartInfos.GetCacheItems(0)->GetElements(0));
    for (const char* pkg : {"qb", "QA"}) {
        infoElement->PartInfo->AddPart(Make<TDboLibPart>(d.get()));
        infoElement->PartInfo->Parts.GetParts(infoElement->PartInfo->Parts.Count() - 1)->PkgName = pkg;
    }
    ASSERT_TRUE(again.GetPackagesForComponent(*infoElement, *rebuilt));
    // In the order of the sorted package names, each with its views in the order of its names.
    EXPECT_EQ(rebuilt->Packages.GetPackages(0)->Name, "QA");
    ASSERT_EQ(rebuilt->Packages.GetPackages(1)->Views.Count(), 2);
    EXPECT_EQ(rebuilt->Packages.GetPackages(1)->Views.GetViews(1)->ViewName, "QB.Convert");

    // An element whose object was taken can't be written.
    EXPECT_THROW(test::SaveBytes(again), Exception);
}

TEST(Cache, EmptyCacheAndSortOnLoad) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache empty(d.get());
    empty.Initialize();
    EXPECT_EQ(test::SaveBytes(empty), ByteBuilder().U16(0).U16(0).U16(0).U16(0).U16(0).b);

    // Items in the file's order: symbols keep it, the other lists are sorted by name, case ignored.
    auto item = [](ByteBuilder& b, const std::string& name) -> ByteBuilder& { return b.Str(name).U16(0); };
    ByteBuilder b;
    b.U16(3);
    b.U16(2), item(b, "zeta"), item(b, "Alpha");
    b.U16(3), item(b, "b.Normal"), item(b, "A.Normal"), item(b, "_x");
    b.U16(2), item(b, "b"), item(b, "A");
    b.U16(0);
    TDboCache cache(d.get());
    cache.Initialize();
    auto s = test::MemStream(b.b);
    cache.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    EXPECT_EQ(cache.Root, 3);
    EXPECT_EQ(cache.CacheSymbols.GetCacheItems(0)->Name, "zeta");
    EXPECT_EQ(cache.CacheViews.GetCacheItems(0)->Name, "A.Normal");
    EXPECT_EQ(cache.CacheViews.GetCacheItems(1)->Name, "b.Normal");
    EXPECT_EQ(cache.CacheViews.GetCacheItems(2)->Name, "_x");  // letters fold to upper case: '_' sorts after them
    EXPECT_EQ(cache.CachePackages.GetCacheItems(0)->Name, "A");

}

// An element of the cache written out field by field, each field with a value of its own.
TEST(Cache, ElementFieldsInTheirPlaces) {
    auto d = test::DesignOfVersion(test::kV1_2);
    ByteBuilder b;
    b.U16(9).U16(0).U16(0).U16(0);  // root, no symbols, views or packages
    b.U16(1).Str("LM358").U16(1);   // one part information item with one element
    b.Str("C:\\LIB\\OPAMP.OLB").I32(0x5F000001).I32(0x5F000002).U8(31).U8(0x77);
    b.U8(31).U16(0).Str("LM358").Str("C:\\LIB\\OPAMP.OLB").Str("U").Str("").Str("SO8").U16(0);
    TDboCache cache(d.get());
    cache.Initialize();
    auto s = test::MemStream(b.b);
    cache.Load(*s);
    EXPECT_EQ(s->Remaining(), 0u);
    ASSERT_EQ(cache.CachePartInfos.Count(), 1);
    EXPECT_EQ(cache.CachePartInfos.GetCacheItems(0)->Name, "LM358");
    auto* element = static_cast<TDboCachePartInfo*>(cache.CachePartInfos.GetCacheItems(0)->GetElements(0));
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(std::tuple(element->LibPath, element->DateCreated, element->DateModified, element->ID, element->UnknownB),
              std::tuple("C:\\LIB\\OPAMP.OLB", 0x5F000001, 0x5F000002, 31, 0x77));
    EXPECT_EQ(element->PartInfo->CompFootprint, "SO8");
    b.b[0] = 0;  // the root is written as 0
    EXPECT_EQ(test::SaveBytes(cache), b.b);
}

// A damaged cache raises a storage error or loads: it never crashes, hangs or runs out of memory.
TEST(CacheCorpus, DamagedCacheFailsCleanly) {
    ORCADX_REQUIRE_CORPUS();
    auto design = std::make_unique<TDboBaseDesign>();
    std::unique_ptr<TDboIStorage> root;
    OpenRootStorage((test::CorpusDir() / "OOPTB_TB1.DSN").string(), root);
    std::unique_ptr<TDboIStream> stream;
    root->OpenStreamSafe("Library", stream);
    design->Lib->Load(*stream);
    root->OpenStreamSafe("Cache", stream);
    Bytes bytes;
    stream->ReadData("Cache", bytes, stream->Remaining());
    ASSERT_GT(bytes.size(), 1000u);

    auto load = [&](const Bytes& damaged) {
        TDboCache cache(design.get());
        cache.Initialize();
        auto s = test::MemStream(damaged);
        cache.Load(*s);
    };
    for (size_t cut = 1; cut < bytes.size(); cut += bytes.size() / 37) {
        Bytes shorter(bytes.begin(), bytes.begin() + cut);
        EXPECT_THROW(load(shorter), EDboFileIO) << "cut at " << cut;
    }
    uint32_t seed = 12345;
    for (int i = 0; i < 300; ++i) {
        seed = seed * 1103515245 + 12345;
        Bytes damaged = bytes;
        damaged[(seed >> 8) % damaged.size()] ^= static_cast<uint8_t>(1 + (seed >> 3) % 255);
        try {
            load(damaged);
        } catch (const Exception&) {
        } catch (const std::exception& e) {
            ADD_FAILURE() << "unexpected failure: " << e.what();
        }
    }
}
