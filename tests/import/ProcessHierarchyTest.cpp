// Hierarchy processing on designs built here and on the sample designs whose pages stand for
// several blocks: what all occurrences share moves onto the placed object, what differs is
// reached from the object through "=name" references up to the root, where each occurrence's
// value stands.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>

#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "import/ExactStrings.h"
#include "import/ProcessHierarchy.h"
#include "platform/TextCompare.h"

namespace orcadx::test {
namespace {

using dbo::Make;
using importer::TAdvancedList;
using importer::TProcessHierarchy;

// ----- The sorted list ---------------------------------------------------------------------------

struct Item {
    Item(int key, int tag = 0) : Key(key), Tag(tag) { ++alive; }
    ~Item() { --alive; }
    int Key, Tag;
    static inline int alive = 0;
};

int ByKey(const Item* a, const Item* b) { return a->Key - b->Key; }

std::vector<std::pair<int, int>> Contents(const TAdvancedList<Item>& list) {
    std::vector<std::pair<int, int>> out;
    for (Item* i : list) out.emplace_back(i->Key, i->Tag);
    return out;
}

TEST(AdvancedList, SortsAndTreatsEqualItemsAsTold) {
    Item a(5, 1), b(2, 2), c(8, 3), d(5, 4), e(5, 5);
    auto accept = TAdvancedList<Item>::CreateSorted(ByKey, importer::dupAccept);
    for (Item* i : {&a, &b, &c, &d}) accept.Add(i);
    // An equal item goes in front of the equal ones already there: equal items stay together.
    EXPECT_EQ(accept.Add(&e), 1);
    EXPECT_EQ(Contents(accept), (std::vector<std::pair<int, int>>{{2, 2}, {5, 5}, {5, 4}, {5, 1}, {8, 3}}));
    int index = -1;
    Item probe(5);
    EXPECT_TRUE(accept.Find(&probe, index));
    EXPECT_EQ(index, 1);  // the first of the equal items
    probe.Key = 6;
    EXPECT_FALSE(accept.Find(&probe, index));
    EXPECT_EQ(index, 4);  // where it would go
    probe.Key = 9;
    EXPECT_FALSE(accept.Find(&probe, index));
    EXPECT_EQ(index, 5);

    auto ignore = TAdvancedList<Item>::CreateSorted(ByKey, importer::dupIgnore);
    for (Item* i : {&a, &b, &c}) ignore.Add(i);
    EXPECT_EQ(ignore.Add(&d), 1);  // the match's place; nothing stored
    EXPECT_EQ(ignore.Count(), 3);
    EXPECT_EQ(ignore[1], &a);
    EXPECT_EQ(ignore.Add(nullptr), -1);

    auto error = TAdvancedList<Item>::CreateSorted(ByKey, importer::dupError);
    error.Add(&a);
    EXPECT_THROW(
        {
            try {
                error.Add(&d);
            } catch (const std::runtime_error& e) {
                EXPECT_STREQ(e.what(), "Attempt to add duplicate value");
                throw;
            }
        },
        std::runtime_error);

    // Without a comparison items keep their order and nothing is found.
    TAdvancedList<Item> plain(50, 10);
    for (Item* i : {&c, &a, &d}) plain.Add(i);
    EXPECT_EQ(Contents(plain), (std::vector<std::pair<int, int>>{{8, 3}, {5, 1}, {5, 4}}));
    EXPECT_FALSE(plain.Find(&a, index));
    EXPECT_EQ(plain.FirstThat([](Item* i) { return i->Key == 5; }), &a);
    EXPECT_EQ(plain.LastThat([](Item* i) { return i->Key == 5; }), &d);
    EXPECT_EQ(plain.FirstThat([](Item* i) { return i->Key == 1; }), nullptr);
    int sum = 0;
    plain.ForEach([&](Item* i) { sum += i->Key; });
    EXPECT_EQ(sum, 18);
    auto sorted = TAdvancedList<Item>::CreateSorted(ByKey, importer::dupAccept);
    sorted.ImportContentsFromAnotherList(plain);
    EXPECT_EQ(Contents(sorted), (std::vector<std::pair<int, int>>{{5, 4}, {5, 1}, {8, 3}}));
    plain.DeleteAll();
    EXPECT_EQ(plain.Count(), 0);

    // An owning list frees what it drops and what it holds at its end.
    const int before = Item::alive;
    {
        TAdvancedList<Item> owning(ByKey, importer::dupIgnore, true);
        for (int k : {3, 1, 2, 4}) owning.Add(new Item(k));
        owning.RemoveThat([](Item* i) { return i->Key % 2 == 0; });
        EXPECT_EQ(Contents(owning), (std::vector<std::pair<int, int>>{{1, 0}, {3, 0}}));
        EXPECT_EQ(Item::alive, before + 2);
    }
    EXPECT_EQ(Item::alive, before);
}

// ----- Designs built here ------------------------------------------------------------------------

// A design whose root view has one page, with further views for the pages that blocks stand for.
class HierarchyTest : public ::testing::Test {
protected:
    HierarchyTest() : design("h.DSN", nullptr, 0, nullptr) {
        root = Page("ROOT");
        hierarchy = design.GetViews(0)->Hierarchy.get();
        // The root hierarchy needs a title block at its root.
        TitleBlock(*root, 900);
        hierarchy->TitleBlocks.Add(TitleBlockRecord(900));
    }

    dbo::TDboPage* Page(const std::string& view) {
        auto schematics = Make<dbo::TDboSchematics>(&design);
        schematics->ViewName = view;
        auto page = Make<dbo::TDboPage>(&design);
        page->PageName = "PAGE1";
        dbo::TDboPage* raw = schematics->AddPage(std::move(page));
        design.AddView(std::move(schematics));
        return raw;
    }

    dbo::TDboPart* Part(dbo::TDboPage& page, const std::string& reference, int key, const std::string& value = "") {
        auto part = Make<dbo::TDboPart>(&design);
        part->DesignatorStr = reference;
        part->SearchIndex = key;
        part->SetValue(value);
        auto* raw = part.get();
        page.PartsAndBlocks->Add(std::move(part));
        return raw;
    }

    dbo::TDboHierarchicalBlock* Block(dbo::TDboPage& page, const std::string& reference, int key) {
        auto block = Make<dbo::TDboHierarchicalBlock>(&design);
        block->SetRefStr(reference);
        block->SearchIndex = key;
        auto* raw = block.get();
        page.PartsAndBlocks->Add(std::move(block));
        return raw;
    }

    dbo::TDboTitleBlock* TitleBlock(dbo::TDboPage& page, int key) {
        auto block = Make<dbo::TDboTitleBlock>(&design);
        block->SearchIndex = key;
        auto* raw = block.get();
        page.TitleBlocks->Add(std::move(block));
        return raw;
    }

    // A record of the occurrence of key, under `parent` (the root when null).
    dbo::TDboHierarchyRecord* Record(dbo::TDboHierarchyRecord* parent, int key, const std::string& reference = "",
                                     std::vector<std::pair<std::string, std::string>> props = {}) {
        auto record = Make<dbo::TDboHierarchyRecord>(&design);
        record->SearchIndex = key;
        record->PartReference = reference;
        // As in a Capture file, each value reads exactly as it was written.
        for (auto& [n, v] : props) record->Props.AddProperty(n, v)->ValueIdx = design.AddExactString(v);
        auto* raw = record.get();
        (parent ? parent->Records : hierarchy->Records).Add(std::move(record));
        return raw;
    }

    std::unique_ptr<dbo::TDboHierarchyTitleBlock> TitleBlockRecord(
        int key, std::vector<std::pair<std::string, std::string>> props = {}) {
        auto record = Make<dbo::TDboHierarchyTitleBlock>(&design);
        record->SearchIndex = key;
        for (auto& [n, v] : props) record->Props.AddProperty(n, v)->ValueIdx = design.AddExactString(v);
        return record;
    }

    // The object's properties, as name=value.
    std::map<std::string, std::string> PropsOf(const dbo::TDboBaseObject& object) {
        std::map<std::string, std::string> out;
        for (int i = 0; i < object.UserProps.Count(); ++i) {
            auto* p = object.UserProps.GetProperties(i);
            out[design.GetString(p->NameIdx)] = design.GetString(p->ValueIdx);
        }
        return out;
    }

    dbo::TDboDesign design;
    dbo::TDboPage* root;
    dbo::TDboHierarchy* hierarchy;
    TProcessHierarchy process;
};

using Props = std::map<std::string, std::string>;

TEST_F(HierarchyTest, OneOccurrenceMovesEverythingOntoTheObject) {
    dbo::TDboPart* u = Part(*root, "U?", 10, "10k");
    dbo::TDboHierarchyRecord* record = Record(nullptr, 10, "U7", {{"Value", "22k"}, {"Tolerance", "5%"}});
    process.Run(design);
    EXPECT_EQ(u->DesignatorStr, "U7");
    EXPECT_EQ(u->GetValue(), "22k");
    EXPECT_EQ(PropsOf(*u), (Props{{"Tolerance", "5%"}, {"Value", "22k"}}));
    EXPECT_EQ(record->Props.Count(), 0);
    EXPECT_EQ(record->PartReference, "");
    ASSERT_NE(process.FindRecordHolder(10), nullptr);
    EXPECT_EQ(process.FindRecordHolder(10)->UniqueName, "U7");
    EXPECT_EQ(process.FindTitleBlockHolder(900)->UniqueName, "TitleBlock");
}

TEST_F(HierarchyTest, ReferencesThatDifferStandAtTheRoot) {
    dbo::TDboPage* child = Page("CHILD");
    dbo::TDboPart* u = Part(*child, "U1", 10, "10k");
    Part(*child, "C1", 11, "1u");
    dbo::TDboHierarchicalBlock* b1 = Block(*root, "B1", 20);
    dbo::TDboHierarchicalBlock* b2 = Block(*root, "B2", 21);
    dbo::TDboHierarchicalBlock* b3 = Block(*root, "B3", 22);
    dbo::TDboHierarchyRecord* r1 = Record(nullptr, 20, "B1");
    dbo::TDboHierarchyRecord* r2 = Record(nullptr, 21, "B2");
    dbo::TDboHierarchyRecord* r3 = Record(nullptr, 22);
    Record(r1, 10, "u1");  // the same as the part's, but for case
    Record(r2, 10, "U5");
    Record(r3, 10, "");  // an empty one is the part's own
    // The capacitor is C1 everywhere: it keeps that, and no parameter arises for it.
    for (auto* r : {r1, r2, r3}) Record(r, 11, "C1");
    process.Run(design);

    EXPECT_EQ(u->DesignatorStr, "=U1_PartReference");
    EXPECT_EQ(PropsOf(*b1), (Props{{"U1_PartReference", "u1"}}));
    EXPECT_EQ(PropsOf(*b2), (Props{{"U1_PartReference", "U5"}}));
    EXPECT_EQ(PropsOf(*b3), (Props{{"U1_PartReference", "U1"}}));
    EXPECT_EQ(b1->RefStr, "B1");  // a block keeps its own reference
    EXPECT_EQ(r1->PartReference, "");
    EXPECT_EQ(dynamic_cast<dbo::TDboPart*>(child->PartsAndBlocks->GetParts(1))->DesignatorStr, "C1");
}

TEST_F(HierarchyTest, AnnotatedSectionsBecomeThePartsOwn) {
    // Capture's annotation gives each gate of a package its section in the occurrence (PartIDIndex,
    // the section's name), while the placed part keeps the section it was drawn with.
    dbo::TDboPage* child = Page("CHILD");
    auto section = [&](dbo::TDboHierarchyRecord* record, const std::string& name) {
        record->PartIDIndex = static_cast<uint16_t>(design.AddExactString(name));
    };
    dbo::TDboPart* c = Part(*root, "U7", 10);
    c->PartNo = 1;
    section(Record(nullptr, 10, "U2"), "C");
    dbo::TDboPart* kept = Part(*root, "U3", 11);
    kept->PartNo = 1;
    Record(nullptr, 11, "U2");  // no section name: the part's own
    dbo::TDboPart* numbered = Part(*root, "U4", 12);
    section(Record(nullptr, 12, "U4"), "12");
    dbo::TDboPart* late = Part(*root, "U5", 13);
    section(Record(nullptr, 13, "U5"), "ab");
    dbo::TDboPart* odd = Part(*root, "U6", 14);
    odd->PartNo = 2;
    section(Record(nullptr, 14, "U6"), "A-1");
    // A page used twice whose occurrences show different sections keeps the part's own.
    dbo::TDboPart* shared = Part(*child, "U8", 15);
    dbo::TDboHierarchyRecord* b1 = Record(nullptr, 20);
    dbo::TDboHierarchyRecord* b2 = Record(nullptr, 21);
    Block(*root, "B1", 20);
    Block(*root, "B2", 21);
    section(Record(b1, 15, "U8"), "A");
    section(Record(b2, 15, "U8"), "B");
    dbo::TDboPart* same = Part(*child, "U9", 16);
    section(Record(b1, 16, "U9"), "D");
    section(Record(b2, 16, "U9"), "d");
    process.Run(design);
    EXPECT_EQ(c->PartNo, 2);
    EXPECT_EQ(kept->PartNo, 1);
    EXPECT_EQ(numbered->PartNo, 11);
    EXPECT_EQ(late->PartNo, 27);
    EXPECT_EQ(odd->PartNo, 2);
    EXPECT_EQ(shared->PartNo, 0);
    EXPECT_EQ(same->PartNo, 3);
}

TEST_F(HierarchyTest, UniqueNamesAreCleanAndDistinct) {
    Part(*root, "R 1", 10);
    Part(*root, "R_1", 11);
    Part(*root, " r_1 ", 12);
    Part(*root, "A+B", 13);
    Part(*root, "", 14);
    Part(*root, "", 15);
    for (int key = 10; key <= 15; ++key) Record(nullptr, key);
    auto block = TitleBlock(*root, 901);
    (void)block;
    hierarchy->TitleBlocks.Add(TitleBlockRecord(901));
    process.Run(design);
    std::vector<std::string> names;
    for (int key = 10; key <= 15; ++key) names.push_back(process.FindRecordHolder(key)->UniqueName);
    EXPECT_EQ(names, (std::vector<std::string>{"R_1", "R_1_1", "r_1_2", "A_B", "", "_1"}));
    EXPECT_EQ(process.FindTitleBlockHolder(900)->UniqueName, "TitleBlock");
    EXPECT_EQ(process.FindTitleBlockHolder(901)->UniqueName, "TitleBlock_1");
    EXPECT_EQ(TProcessHierarchy::CleanName("  PCB Footprint "), "PCB_Footprint");
}

TEST_F(HierarchyTest, ValuesAndPropertiesThatDifferAreReachedByName) {
    // A value stored before in other case: each occurrence keeps its own case.
    design.AddString("1m");
    dbo::TDboPage* child = Page("CHILD");
    dbo::TDboPart* u = Part(*child, "U1", 10, "10k");
    u->AddProp("Tolerance", "1%");
    dbo::TDboHierarchicalBlock* b1 = Block(*root, "B1", 20);
    dbo::TDboHierarchicalBlock* b2 = Block(*root, "B2", 21);
    dbo::TDboHierarchyRecord* r1 = Record(nullptr, 20);
    dbo::TDboHierarchyRecord* r2 = Record(nullptr, 21);
    Record(r1, 10, "U1", {{"Value", "10k"}, {"PCB Footprint", "0603"}, {"Tolerance", "1%"}});
    Record(r2, 10, "U1", {{"Value", "1M"}, {"PCB Footprint", "0805"}, {"Tolerance", "1%"}});
    process.Run(design);

    EXPECT_EQ(u->DesignatorStr, "U1");  // equal in all occurrences
    EXPECT_EQ(u->GetValue(), "=U1_Value");
    EXPECT_EQ(PropsOf(*u), (Props{{"PCB_Footprint", "=U1_PCB_Footprint"}, {"Tolerance", "1%"}}));
    EXPECT_EQ(PropsOf(*b1), (Props{{"U1_PCB_Footprint", "0603"}, {"U1_Value", "10k"}}));
    EXPECT_EQ(PropsOf(*b2), (Props{{"U1_PCB_Footprint", "0805"}, {"U1_Value", "1M"}}));
}

TEST_F(HierarchyTest, NestedOccurrencesAndTitleBlocksPassTheirNamesUp) {
    // ROOT holds block A for page MID, which holds blocks C1 and C2 for page LEAF with resistor R.
    dbo::TDboPage* mid = Page("MID");
    dbo::TDboPage* leaf = Page("LEAF");
    dbo::TDboHierarchicalBlock* a = Block(*root, "A", 20);
    dbo::TDboHierarchicalBlock* c1 = Block(*mid, "C1", 30);
    dbo::TDboHierarchicalBlock* c2 = Block(*mid, "C2", 31);
    dbo::TDboPart* r = Part(*leaf, "R?", 40);
    dbo::TDboTitleBlock* title = TitleBlock(*leaf, 50);
    dbo::TDboHierarchyRecord* ra = Record(nullptr, 20);
    dbo::TDboHierarchyRecord* rc1 = Record(ra, 30);
    dbo::TDboHierarchyRecord* rc2 = Record(ra, 31);
    Record(rc1, 40, "R10");
    Record(rc2, 40, "R20");
    rc1->TitleBlocks.Add(TitleBlockRecord(50, {{"Title", "Left"}, {"Page Count", "9"}}));
    rc2->TitleBlocks.Add(TitleBlockRecord(50, {{"Title", "Right"}, {"Page Count", "9"}}));
    process.Run(design);

    // "R?" makes the name "R_"; the leaf's title block, of the lower key, is the first "TitleBlock".
    EXPECT_EQ(r->DesignatorStr, "=R__PartReference");
    EXPECT_EQ(PropsOf(*c1), (Props{{"R__PartReference", "=C1_R__PartReference"}, {"TitleBlock_Title", "=C1_TitleBlock_Title"}}));
    EXPECT_EQ(PropsOf(*c2), (Props{{"R__PartReference", "=C2_R__PartReference"}, {"TitleBlock_Title", "=C2_TitleBlock_Title"}}));
    EXPECT_EQ(PropsOf(*a), (Props{{"C1_R__PartReference", "R10"},
                                {"C1_TitleBlock_Title", "Left"},
                                {"C2_R__PartReference", "R20"},
                                {"C2_TitleBlock_Title", "Right"}}));
    // What the title block shows alike in both stands on it; what differs refers up.
    EXPECT_EQ(PropsOf(*title), (Props{{"Page Count", "9"}, {"Title", "=TitleBlock_Title"}}));
    EXPECT_TRUE(PropsOf(*root->TitleBlocks->As<dbo::TDboTitleBlock>(0)).empty());
}

TEST_F(HierarchyTest, RecordsWithoutAPlacedObjectAreLeftOutWithTheirSubtree) {
    dbo::TDboPage* child = Page("CHILD");
    dbo::TDboPart* u = Part(*child, "U1", 10);
    dbo::TDboHierarchicalBlock* b1 = Block(*root, "B1", 20);
    dbo::TDboHierarchyRecord* r1 = Record(nullptr, 20);
    dbo::TDboHierarchyRecord* orphan = Record(nullptr, 999);  // nothing placed has this key
    Record(r1, 10, "U1");
    Record(orphan, 10, "U9");
    process.Run(design);
    EXPECT_EQ(process.FindRecordHolder(999), nullptr);
    EXPECT_EQ(u->DesignatorStr, "=U1_PartReference");
    EXPECT_EQ(PropsOf(*b1), (Props{{"U1_PartReference", "U1"}}));
    for (int v = 0; v < design.ViewCount(); ++v)
        for (auto& page : design.GetViews(v)->Pages)
            for (int i = 0; i < page->PartsAndBlocks->Count(); ++i)
                for (auto& [n, value] : PropsOf(*dynamic_cast<dbo::TDboBaseObject*>(page->PartsAndBlocks->GetParts(i))))
                    EXPECT_NE(value, "U9") << n;
}

TEST_F(HierarchyTest, ADesignWithoutHierarchyDataIsLeftAlone) {
    dbo::TDboPart* u = Part(*root, "U?", 10, "10k");
    Record(nullptr, 10, "U7", {{"Value", "22k"}});
    hierarchy->TitleBlocks.Clear();  // without root title blocks the view has no hierarchy to use
    process.Run(design);
    EXPECT_EQ(u->DesignatorStr, "U?");
    EXPECT_EQ(u->GetValue(), "10k");
    EXPECT_TRUE(PropsOf(*u).empty());
    EXPECT_EQ(process.RecordHolders.Count(), 0);
}

// ----- Sample designs ----------------------------------------------------------------------------

// What one occurrence showed before the processing: its object, the objects of the blocks above
// it from the root down, and its reference and properties.
struct Occurrence {
    dbo::TDboBaseObject* object;
    std::vector<dbo::TDboBaseObject*> chain;
    std::string reference;
    std::vector<std::pair<std::string, std::string>> props;
};

std::string PropOf(const dbo::TDboBaseObject& object, const std::string& name, bool& found) {
    for (int i = 0; i < object.UserProps.Count(); ++i) {
        auto* p = object.UserProps.GetProperties(i);
        if (platform::SameTextNoCase(object.Design->GetString(p->NameIdx), name)) {
            found = true;
            return object.Design->GetString(p->ValueIdx);
        }
    }
    found = false;
    return {};
}

// Follows "=name" from the occurrence's object up through the blocks above it, as the host does.
std::string Resolve(std::string text, const std::vector<dbo::TDboBaseObject*>& chain) {
    for (size_t level = chain.size(); !text.empty() && text[0] == '=' && level > 0;) {
        bool found = false;
        text = PropOf(*chain[--level], text.substr(1), found);
        if (!found) return "(missing)";
    }
    return text;
}

TEST(HierarchyCorpus, EveryOccurrenceKeepsItsReferenceAndProperties) {
    ORCADX_REQUIRE_CORPUS();
    int designs = 0, occurrences = 0, differing = 0, propertiesChecked = 0;
    for (const auto& file : CorpusFiles({".dsn"})) {
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(design.Load(false)) << file;
        dbo::TDboHierarchy* hierarchy = design.GetRootHierarchy();
        if (!hierarchy) continue;
        SCOPED_TRACE(file.string());
        std::map<int32_t, dbo::TDboBaseObject*> placed;
        for (int v = 0; v < design.ViewCount(); ++v)
            for (auto& page : design.GetViews(v)->Pages)
                for (int i = 0; i < page->PartsAndBlocks->Count(); ++i) {
                    auto* o = dynamic_cast<dbo::TDboBaseObject*>(page->PartsAndBlocks->GetParts(i));
                    if (auto* part = dynamic_cast<dbo::TDboPart*>(o)) placed.emplace(part->SearchIndex, o);
                    if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(o)) placed.emplace(block->SearchIndex, o);
                }
        std::vector<Occurrence> seen;
        std::map<int32_t, int> counts;
        std::function<void(dbo::TDboHierarchyRecord*, std::vector<dbo::TDboBaseObject*>)> walk =
            [&](dbo::TDboHierarchyRecord* r, std::vector<dbo::TDboBaseObject*> chain) {
                auto it = placed.find(r->SearchIndex);
                if (it == placed.end()) return;
                Occurrence o{it->second, chain, {}, {}};
                if (auto* part = dynamic_cast<dbo::TDboPart*>(o.object))
                    o.reference = r->PartReference.empty() ? part->DesignatorStr : r->PartReference;
                for (int i = 0; i < r->Props.Count(); ++i) {
                    auto* p = r->Props.GetProperties(i);
                    o.props.emplace_back(design.GetString(p->NameIdx), design.GetString(p->ValueIdx));
                }
                seen.push_back(o);
                ++counts[r->SearchIndex];
                chain.push_back(it->second);
                for (int i = 0; i < r->Records.Count(); ++i) walk(r->GetRecords(i), chain);
            };
        for (int i = 0; i < hierarchy->Records.Count(); ++i) walk(hierarchy->GetRecords(i), {});

        TProcessHierarchy().Run(design);
        ++designs;
        int faults = 0;
        for (const Occurrence& o : seen) {
            auto* part = dynamic_cast<dbo::TDboPart*>(o.object);
            if (!part) continue;
            ++occurrences;
            if (part->DesignatorStr.rfind('=', 0) == 0) ++differing;
            std::string reference = Resolve(part->DesignatorStr, o.chain);
            if (reference != o.reference && faults++ < 5)
                ADD_FAILURE() << "occurrence " << o.reference << " reads " << reference << " (" << part->DesignatorStr << ")";
            for (auto& [name, value] : o.props) {
                ++propertiesChecked;
                bool found = false;
                std::string got;
                if (platform::SameTextNoCase(name, "Value")) {
                    got = Resolve(part->GetValue(), o.chain);
                } else {
                    got = PropOf(*part, TProcessHierarchy::CleanName(name), found);
                    if (!found || got.rfind('=', 0) != 0) got = PropOf(*part, name, found);
                    got = Resolve(got, o.chain);
                }
                if (!platform::SameTextNoCase(got, value) && faults++ < 5)
                    ADD_FAILURE() << o.reference << ": " << name << " reads " << got << ", was " << value;
            }
        }
        EXPECT_EQ(faults, 0);
    }
    std::cout << "[ folding  ] " << designs << " designs, " << occurrences << " part occurrences (" << differing
              << " reached through a reference), " << propertiesChecked << " properties\n";
    EXPECT_GT(differing, 300);
    EXPECT_GT(propertiesChecked, 100);
}

}  // namespace
}  // namespace orcadx::test
