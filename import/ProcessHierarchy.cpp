// Hierarchy processing: the occurrence data of the hierarchy stream folded into the placed parts,
// blocks and title blocks of the Capture model.
#include "import/ProcessHierarchy.h"

#include <algorithm>
#include <unordered_map>

#include "dbo/DboDesign.h"
#include "dbo/DboHierarchyObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "import/ExactStrings.h"
#include "platform/TextCompare.h"

namespace orcadx::importer {

namespace {

template <class Holder>
int CompareKeys(const Holder* a, const Holder* b) {
    int64_t d = static_cast<int64_t>(a->Key) - b->Key;
    return d < 0 ? -1 : d > 0 ? 1 : 0;
}

std::string NameOf(const dbo::TDboHierarchyObject& record, const dbo::TDboPropNameVal& property) {
    return record.Design->GetString(property.NameIdx);
}

std::string ValueOf(const dbo::TDboHierarchyObject& record, const dbo::TDboPropNameVal& property) {
    return record.Design->GetString(property.ValueIdx);
}

// The property of that name (ASCII case ignored) of a hierarchy record, or null.
const dbo::TDboPropNameVal* PropertyOf(const dbo::TDboHierarchyObject& record, const std::string& name) {
    for (int i = 0; i < record.Props.Count(); ++i) {
        const dbo::TDboPropNameVal* property = record.Props.GetProperties(i);
        if (property && platform::SameTextNoCase(NameOf(record, *property), name)) return property;
    }
    return nullptr;
}

void RemoveProperty(dbo::TDboHierarchyObject& record, const std::string& name) {
    auto& items = record.Props.Items;
    for (auto& item : items) {
        auto* property = static_cast<dbo::TDboPropNameVal*>(item.get());
        if (property && platform::SameTextNoCase(NameOf(record, *property), name)) item.reset();
    }
    record.Props.Pack();
}

// The value of the object's own property of that name, or "".
std::string ObjectValue(const dbo::TDboBaseObject& object, const std::string& name) {
    for (int i = 0; i < object.UserProps.Count(); ++i) {
        const dbo::TDboPropNameVal* property = object.UserProps.GetProperties(i);
        if (property && platform::SameTextNoCase(object.Design->GetString(property->NameIdx), name))
            return object.Design->GetString(property->ValueIdx);
    }
    return {};
}

}  // namespace

TProcessHierarchy::TProcessHierarchy()
    : RecordHolders(CompareKeys<TRecordHolder>, dupIgnore, true),
      TitleBlockHolders(CompareKeys<TTitleBlockHolder>, dupIgnore, true) {}

TProcessHierarchy::~TProcessHierarchy() = default;

void TProcessHierarchy::Run(dbo::TDboDesign& design) {
    RecordHolders.FreeAllItems();
    TitleBlockHolders.FreeAllItems();
    dbo::TDboHierarchy* hierarchy = design.GetRootHierarchy();
    if (!hierarchy) return;
    CollectHolders(design, *hierarchy);
    MergeOccurrences();
    AssignUniqueNames();
    PushValues(*hierarchy);
}

TRecordHolder* TProcessHierarchy::FindRecordHolder(int32_t key) const {
    int index = 0;
    recordProbe_.Key = key;
    return RecordHolders.Find(&recordProbe_, index) ? RecordHolders[index] : nullptr;
}

TTitleBlockHolder* TProcessHierarchy::FindTitleBlockHolder(int32_t key) const {
    int index = 0;
    titleBlockProbe_.Key = key;
    return TitleBlockHolders.Find(&titleBlockProbe_, index) ? TitleBlockHolders[index] : nullptr;
}

std::string TProcessHierarchy::ReferenceOf(const TRecordHolder& holder) {
    if (auto* part = dynamic_cast<const dbo::TDboPart*>(holder.Object)) return part->DesignatorStr;
    if (auto* block = dynamic_cast<const dbo::TDboHierarchicalBlock*>(holder.Object)) return block->RefStr;
    return {};
}

void TProcessHierarchy::SetReference(TRecordHolder& holder, const std::string& text) {
    if (auto* part = dynamic_cast<dbo::TDboPart*>(holder.Object)) part->SetDesignator(text);
    else if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(holder.Object)) block->SetRefStr(text);
}

std::string TProcessHierarchy::CleanName(const std::string& name) {
    size_t b = name.find_first_not_of(' ');
    if (b == std::string::npos) return {};
    size_t e = name.find_last_not_of(' ');
    std::string out = name.substr(b, e - b + 1);
    for (char& c : out) {
        const bool keep = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
        if (!keep) c = '_';
    }
    return out;
}

// ----- Collecting the occurrences ----------------------------------------------------------------

namespace {

// Holders made while the tree is walked, by key, in order of first sight.
template <class Holder>
struct HolderIndex {
    std::unordered_map<int32_t, Holder*> byKey;
    std::vector<Holder*> made;
    Holder* Get(int32_t key) {
        auto [it, added] = byKey.emplace(key, nullptr);
        if (added) {
            it->second = new Holder;
            it->second->Key = key;
            made.push_back(it->second);
        }
        return it->second;
    }
    // Hands the holders over to the sorted list: in ascending order each goes behind the last.
    void MoveTo(TAdvancedList<Holder>& list) {
        std::sort(made.begin(), made.end(), [](const Holder* a, const Holder* b) { return a->Key < b->Key; });
        for (Holder* holder : made) list.Add(holder);
        made.clear();
        byKey.clear();
    }
    ~HolderIndex() {
        for (Holder* holder : made) delete holder;
    }
};

struct Collector {
    HolderIndex<TRecordHolder> records;
    HolderIndex<TTitleBlockHolder> titleBlocks;

    void Add(dbo::TDboHierarchyTitleBlock* titleBlock) {
        if (titleBlock) titleBlocks.Get(titleBlock->SearchIndex)->Records.push_back(titleBlock);
    }
    // A record before its children, child records before title blocks.
    void Add(dbo::TDboHierarchyRecord* record) {
        if (!record) return;
        records.Get(record->SearchIndex)->Records.push_back(record);
        for (int i = 0; i < record->Records.Count(); ++i) Add(record->GetRecords(i));
        for (int i = 0; i < record->TitleBlocks.Count(); ++i) Add(record->GetTitleBlocks(i));
    }
};

}  // namespace

void TProcessHierarchy::CollectHolders(dbo::TDboDesign& design, dbo::TDboHierarchy& hierarchy) {
    Collector collector;
    for (int i = 0; i < hierarchy.Records.Count(); ++i) collector.Add(hierarchy.GetRecords(i));
    for (int i = 0; i < hierarchy.TitleBlocks.Count(); ++i) collector.Add(hierarchy.GetTitleBlocks(i));
    collector.records.MoveTo(RecordHolders);
    collector.titleBlocks.MoveTo(TitleBlockHolders);
    FindObjects(design);
}

void TProcessHierarchy::FindObjects(dbo::TDboDesign& design) {
    // The first placed object of each key, views, pages and lists in order.
    std::unordered_map<int32_t, dbo::TDboBaseObject*> placed;
    std::unordered_map<int32_t, dbo::TDboTitleBlock*> titleBlocks;
    for (int v = 0; v < design.ViewCount(); ++v) {
        dbo::TDboSchematics* view = design.GetViews(v);
        if (!view) continue;
        for (auto& page : view->Pages) {
            if (!page) continue;
            if (page->PartsAndBlocks)
                for (int i = 0; i < page->PartsAndBlocks->Count(); ++i) {
                    dbo::TDboObject* item = page->PartsAndBlocks->GetParts(i);
                    if (auto* part = dynamic_cast<dbo::TDboPart*>(item)) placed.emplace(part->SearchIndex, part);
                    else if (auto* block = dynamic_cast<dbo::TDboHierarchicalBlock*>(item))
                        placed.emplace(block->SearchIndex, block);
                }
            if (page->TitleBlocks)
                for (int i = 0; i < page->TitleBlocks->Count(); ++i)
                    if (auto* block = dynamic_cast<dbo::TDboTitleBlock*>(page->TitleBlocks->GetItems(i)))
                        titleBlocks.emplace(block->SearchIndex, block);
        }
    }
    for (TRecordHolder* holder : RecordHolders) {
        auto it = placed.find(holder->Key);
        holder->Object = it == placed.end() ? nullptr : it->second;
    }
    for (TTitleBlockHolder* holder : TitleBlockHolders) {
        auto it = titleBlocks.find(holder->Key);
        holder->Object = it == titleBlocks.end() ? nullptr : it->second;
    }
    RecordHolders.RemoveThat([](TRecordHolder* holder) { return holder->Object == nullptr; });
    TitleBlockHolders.RemoveThat([](TTitleBlockHolder* holder) { return holder->Object == nullptr; });
}

// ----- Merging what all occurrences share --------------------------------------------------------

void TProcessHierarchy::MergeOccurrences() {
    for (TRecordHolder* holder : RecordHolders) {
        if (!holder->Object || holder->Records.empty()) continue;
        MergeProperties(holder->Object, {holder->Records.begin(), holder->Records.end()});
        MergeReferences(*holder);
        MergeSections(*holder);
    }
    for (TTitleBlockHolder* holder : TitleBlockHolders) {
        if (!holder->Object || holder->Records.empty()) continue;
        MergeProperties(holder->Object, {holder->Records.begin(), holder->Records.end()});
    }
}

void TProcessHierarchy::MergeProperties(dbo::TDboBaseObject* object,
                                        const std::vector<dbo::TDboHierarchyObject*>& records) {
    // Every property name of every occurrence, sorted, each once (ASCII case ignored).
    std::vector<std::string> names;
    std::unordered_set<std::string> seen;
    for (dbo::TDboHierarchyObject* record : records)
        for (int i = 0; i < record->Props.Count(); ++i)
            if (const dbo::TDboPropNameVal* property = record->Props.GetProperties(i)) {
                std::string name = NameOf(*record, *property);
                if (seen.insert(platform::UpperCaseAscii(name)).second) names.push_back(name);
            }
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return platform::CompareTextNoCase(a, b) < 0; });

    for (const std::string& name : names) {
        const std::string fallback = ObjectValue(*object, name);
        auto valueIn = [&](dbo::TDboHierarchyObject* record) {
            const dbo::TDboPropNameVal* property = PropertyOf(*record, name);
            return property ? ValueOf(*record, *property) : fallback;
        };
        const std::string reference = valueIn(records.front());
        bool allEqual = true;
        for (dbo::TDboHierarchyObject* record : records)
            if (!platform::SameTextNoCase(valueIn(record), reference)) {
                allEqual = false;
                break;
            }
        if (allEqual) {
            // The value moves onto the object.
            std::string last;
            for (dbo::TDboHierarchyObject* record : records)
                if (const dbo::TDboPropNameVal* property = PropertyOf(*record, name)) {
                    last = ValueOf(*record, *property);
                    RemoveProperty(*record, name);
                }
            AddExactProp(*object, name, last);
            if (name == "Value")
                if (auto* part = dynamic_cast<dbo::TDboPart*>(object)) part->ValueIdx = part->Design->AddExactString(last);
        } else {
            // Every occurrence states its own value.
            for (dbo::TDboHierarchyObject* record : records)
                if (!PropertyOf(*record, name))
                record->Props.AddProperty(name, fallback)->ValueIdx = record->Design->AddExactString(fallback);
        }
    }
}

void TProcessHierarchy::MergeReferences(TRecordHolder& holder) {
    const std::string reference = ReferenceOf(holder);
    const bool isPart = dynamic_cast<dbo::TDboPart*>(holder.Object) != nullptr;
    auto& records = holder.Records;
    if (isPart) {
        auto referenceIn = [&](const dbo::TDboHierarchyRecord* record) {
            return record->PartReference.empty() ? reference : record->PartReference;
        };
        const std::string first = referenceIn(records.front());
        bool equal = true;
        for (size_t i = 1; i < records.size() && equal; ++i)
            equal = platform::SameTextNoCase(referenceIn(records[i]), first);
        if (!equal) {
            // Each occurrence keeps its reference; an empty one is the part's own.
            for (dbo::TDboHierarchyRecord* record : records)
                if (record->PartReference.empty()) record->PartReference = reference;
            return;
        }
        if (!records.front()->PartReference.empty()) SetReference(holder, records.front()->PartReference);
    }
    for (dbo::TDboHierarchyRecord* record : records) record->PartReference.clear();
}

namespace {

// The number of a section from its name: "A" 1, "B" 2, ... "Z" 26, "AA" 27 (letters count as in
// spreadsheet columns), or the decimal number; 0 for any other name.
int SectionNumber(const std::string& name) {
    if (name.empty() || name.size() > 4) return 0;
    int number = 0;
    if (name.find_first_not_of("0123456789") == std::string::npos) {
        for (char c : name) number = number * 10 + (c - '0');
        return number;
    }
    for (char c : name) {
        char upper = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        if (upper < 'A' || upper > 'Z') return 0;
        number = number * 26 + (upper - 'A' + 1);
    }
    return number;
}

}  // namespace

void TProcessHierarchy::MergeSections(TRecordHolder& holder) {
    auto* part = dynamic_cast<dbo::TDboPart*>(holder.Object);
    if (!part) return;
    const int own = part->PartNo + 1;
    int section = 0;
    for (size_t i = 0; i < holder.Records.size(); ++i) {
        const dbo::TDboHierarchyRecord* record = holder.Records[i];
        int number = record->PartIDIndex == 0 ? own : SectionNumber(part->Design->GetString(record->PartIDIndex));
        if (number <= 0 || (i > 0 && number != section)) return;
        section = number;
    }
    if (section > 0 && section <= 0x10000) part->PartNo = static_cast<uint16_t>(section - 1);
}

// ----- Names -------------------------------------------------------------------------------------

void TProcessHierarchy::AssignUniqueNames() {
    names_.clear();
    nextNumber_.clear();
    for (TRecordHolder* holder : RecordHolders) holder->UniqueName = UniqueNameFor(CleanName(ReferenceOf(*holder)));
    for (TTitleBlockHolder* holder : TitleBlockHolders) holder->UniqueName = UniqueNameFor("TitleBlock");
}

std::string TProcessHierarchy::UniqueNameFor(const std::string& base) {
    std::string candidate = base;
    if (names_.count(platform::UpperCaseAscii(candidate))) {
        // Numbers below the one noted for this base are taken already.
        int& n = nextNumber_[platform::UpperCaseAscii(base)];
        if (n < 1) n = 1;
        do {
            candidate = base + "_" + std::to_string(n++);
        } while (names_.count(platform::UpperCaseAscii(candidate)));
    }
    names_.insert(platform::UpperCaseAscii(candidate));
    return candidate;
}

// ----- Values up to the root ---------------------------------------------------------------------

void TProcessHierarchy::PushValues(dbo::TDboHierarchy& hierarchy) {
    TPropertyList own, inherited;
    for (int i = 0; i < hierarchy.Records.Count(); ++i) {
        dbo::TDboHierarchyRecord* record = hierarchy.GetRecords(i);
        TRecordHolder* holder = record ? FindRecordHolder(record->SearchIndex) : nullptr;
        if (!holder) continue;
        own.clear();
        inherited.clear();
        Gather(record, own, inherited);
        for (const TPropertyHolder& entry : own) AddExactProp(*holder->Object, entry.Name, entry.Value);
        for (const TPropertyHolder& entry : inherited) AddExactProp(*holder->Object, entry.Name, entry.Value);
    }
}

void TProcessHierarchy::Gather(dbo::TDboHierarchyRecord* record, TPropertyList& own, TPropertyList& inherited) {
    if (TRecordHolder* holder = FindRecordHolder(record->SearchIndex)) GatherOwn(record, *holder, own);
    GatherProperties(record, inherited);
    TPropertyList a, b;
    for (int i = 0; i < record->Records.Count(); ++i) {
        dbo::TDboHierarchyRecord* child = record->GetRecords(i);
        TRecordHolder* holder = child ? FindRecordHolder(child->SearchIndex) : nullptr;
        if (!holder) continue;
        a.clear();
        b.clear();
        Gather(child, a, b);
        Rename(holder->Object, holder->UniqueName, b);
        inherited.insert(inherited.end(), a.begin(), a.end());
        inherited.insert(inherited.end(), b.begin(), b.end());
    }
    for (int i = 0; i < record->TitleBlocks.Count(); ++i) {
        dbo::TDboHierarchyTitleBlock* titleBlock = record->GetTitleBlocks(i);
        TTitleBlockHolder* holder = titleBlock ? FindTitleBlockHolder(titleBlock->SearchIndex) : nullptr;
        if (!holder) continue;
        b.clear();
        GatherProperties(titleBlock, b);
        Rename(holder->Object, holder->UniqueName, b);
        inherited.insert(inherited.end(), b.begin(), b.end());
    }
}

void TProcessHierarchy::GatherOwn(dbo::TDboHierarchyRecord* record, TRecordHolder& holder, TPropertyList& own) {
    if (!record->PartReference.empty()) {
        std::string name = holder.UniqueName + "_PartReference";
        SetReference(holder, "=" + name);
        own.emplace_back(name, record->PartReference);
    }
    auto* part = dynamic_cast<dbo::TDboPart*>(holder.Object);
    if (!part) return;
    if (const dbo::TDboPropNameVal* value = PropertyOf(*record, "Value")) {
        std::string name = holder.UniqueName + "_Value";
        part->ValueIdx = part->Design->AddExactString("=" + name);
        own.emplace_back(name, ValueOf(*record, *value));
        RemoveProperty(*record, "Value");
    }
}

void TProcessHierarchy::GatherProperties(dbo::TDboHierarchyObject* record, TPropertyList& inherited) {
    for (int i = 0; i < record->Props.Count(); ++i)
        if (const dbo::TDboPropNameVal* property = record->Props.GetProperties(i))
            inherited.emplace_back(CleanName(NameOf(*record, *property)), ValueOf(*record, *property));
}

void TProcessHierarchy::Rename(dbo::TDboBaseObject* object, const std::string& uniqueName, TPropertyList& list) {
    for (TPropertyHolder& entry : list) {
        AddExactProp(*object, entry.Name, "=" + uniqueName + "_" + entry.Name);
        entry.Name = uniqueName + "_" + entry.Name;
    }
}

}  // namespace orcadx::importer
