// Hierarchy processing: in a complex Capture hierarchy one placed part or block can stand on a page
// that is instantiated several times, and every occurrence can carry its own reference and
// properties in the hierarchy stream. The host keeps one object per page and resolves the values
// of each occurrence through parameters. TProcessHierarchy folds the occurrence data into the
// placed objects of the Capture model before any host object exists: what is equal in all
// occurrences moves onto the object; what differs becomes a parameter named after the object,
// which holds a reference "=name", and the value stands at the root object of that occurrence.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace orcadx::dbo {
class TDboBaseObject;
class TDboDesign;
class TDboHierarchy;
class TDboHierarchyRecord;
class TDboHierarchyTitleBlock;
class TDboHierarchyObject;
class TDboTitleBlock;
}  // namespace orcadx::dbo

namespace orcadx::importer {

// What TAdvancedList::Add does with an item equal to one in the list.
enum TDuplicates { dupIgnore, dupAccept, dupError };

// A list of pointers that can be kept sorted by a comparison, with a choice of what happens to
// equal items. An owning list frees its items when it is destroyed.
template <class T>
class TAdvancedList {
public:
    using TCompare = std::function<int(const T*, const T*)>;

    // No comparison, equal items accepted.
    TAdvancedList() = default;
    // The capacity and growth are accepted for the callers' sake; the list grows as it needs.
    TAdvancedList(int /*capacity*/, int /*growth*/) {}
    TAdvancedList(TCompare compare, TDuplicates duplicates, bool ownsItems = false)
        : Compare(std::move(compare)), Duplicates(duplicates), OwnsItems(ownsItems) {}
    static TAdvancedList CreateSorted(TCompare compare, TDuplicates duplicates) {
        return TAdvancedList(std::move(compare), duplicates);
    }
    ~TAdvancedList() {
        if (OwnsItems) FreeAllItems();
    }
    TAdvancedList(TAdvancedList&& other) noexcept
        : Compare(std::move(other.Compare)), Duplicates(other.Duplicates), OwnsItems(other.OwnsItems),
          items_(std::move(other.items_)) {
        other.items_.clear();
    }
    TAdvancedList(const TAdvancedList&) = delete;
    TAdvancedList& operator=(const TAdvancedList&) = delete;
    TAdvancedList& operator=(TAdvancedList&&) = delete;

    TCompare Compare;
    TDuplicates Duplicates = dupAccept;
    bool OwnsItems = false;

    int Count() const { return static_cast<int>(items_.size()); }
    T* operator[](int index) const { return items_[static_cast<size_t>(index)]; }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

    // Binary search for `item`. Without a comparison nothing is found. `index` receives the place
    // of the match (the first of equal items when duplicates are accepted), or where the item would
    // be inserted.
    bool Find(const T* item, int& index) const {
        index = 0;
        if (!Compare) return false;
        bool found = false;
        int low = 0, high = Count() - 1;
        // Items that arrive in ascending order go behind the last one without a search.
        if (!items_.empty() && Compare(items_.back(), item) < 0) low = Count();
        while (low <= high) {
            int mid = (low + high) / 2;
            int c = Compare(items_[static_cast<size_t>(mid)], item);
            if (c < 0) {
                low = mid + 1;
            } else {
                high = mid - 1;
                if (c == 0) {
                    found = true;
                    if (Duplicates != dupAccept) low = mid;
                }
            }
        }
        index = low;
        return found;
    }

    // Adds `item` at its sorted place (at the end without a comparison) and gives its index; -1 for
    // a null item. An item equal to one in the list is not stored under dupIgnore (the match's
    // index is returned, and the caller keeps the item) and raises under dupError.
    int Add(T* item) {
        if (!item) return -1;
        if (!Compare) {
            items_.push_back(item);
            return Count() - 1;
        }
        int index = 0;
        if (Find(item, index)) {
            if (Duplicates == dupIgnore) return index;
            if (Duplicates == dupError) throw std::runtime_error("Attempt to add duplicate value");
        }
        items_.insert(items_.begin() + index, item);
        return index;
    }

    void ForEach(const std::function<void(T*)>& action) const {
        for (T* item : items_) action(item);
    }
    // The first item from the front (or from the back) for which `test` holds, or null.
    T* FirstThat(const std::function<bool(T*)>& test) const {
        for (T* item : items_)
            if (test(item)) return item;
        return nullptr;
    }
    T* LastThat(const std::function<bool(T*)>& test) const {
        for (auto it = items_.rbegin(); it != items_.rend(); ++it)
            if (test(*it)) return *it;
        return nullptr;
    }
    // Empties the list without freeing its items.
    void DeleteAll() { items_.clear(); }
    // Frees every item and empties the list.
    void FreeAllItems() {
        for (T* item : items_) delete item;
        items_.clear();
    }
    // Takes out (and frees, when the list owns its items) every item for which `test` holds.
    void RemoveThat(const std::function<bool(T*)>& test) {
        size_t kept = 0;
        for (T* item : items_) {
            if (!test(item)) items_[kept++] = item;
            else if (OwnsItems) delete item;
        }
        items_.resize(kept);
    }
    // Adds each non-null item of `other`.
    void ImportContentsFromAnotherList(const TAdvancedList& other) {
        for (T* item : other.items_)
            if (item) Add(item);
    }

private:
    std::vector<T*> items_;
};

// The occurrences of one placed part or block: every hierarchy record of its SearchIndex.
class TRecordHolder {
public:
    int32_t Key = 0;
    dbo::TDboBaseObject* Object = nullptr;  // the TDboPart or TDboHierarchicalBlock, or null
    std::vector<dbo::TDboHierarchyRecord*> Records;
    std::string UniqueName;
};

// The occurrences of one title block.
class TTitleBlockHolder {
public:
    int32_t Key = 0;
    dbo::TDboTitleBlock* Object = nullptr;
    std::vector<dbo::TDboHierarchyTitleBlock*> Records;
    std::string UniqueName;
};

// A name and value on their way up to the root.
class TPropertyHolder {
public:
    TPropertyHolder(std::string name, std::string value) : Name(std::move(name)), Value(std::move(value)) {}
    std::string Name;
    std::string Value;
};
using TPropertyList = std::vector<TPropertyHolder>;

class TProcessHierarchy {
public:
    TProcessHierarchy();
    ~TProcessHierarchy();

    // Folds the design's hierarchy (the first view whose hierarchy has records and title blocks at
    // its root) into its placed objects. A design without one is left as it is.
    void Run(dbo::TDboDesign& design);

    TAdvancedList<TRecordHolder> RecordHolders;
    TAdvancedList<TTitleBlockHolder> TitleBlockHolders;

    TRecordHolder* FindRecordHolder(int32_t key) const;
    TTitleBlockHolder* FindTitleBlockHolder(int32_t key) const;

    // The reference of the holder's object: the designator of a part, the reference of a block.
    static std::string ReferenceOf(const TRecordHolder& holder);
    static void SetReference(TRecordHolder& holder, const std::string& text);

    // The name with blanks at both ends trimmed and every character other than 0-9, A-Z, a-z and
    // "_" replaced by "_".
    static std::string CleanName(const std::string& name);

    // The steps of Run, in their order.
    void CollectHolders(dbo::TDboDesign& design, dbo::TDboHierarchy& hierarchy);
    void MergeOccurrences();
    void AssignUniqueNames();
    void PushValues(dbo::TDboHierarchy& hierarchy);

private:
    void FindObjects(dbo::TDboDesign& design);
    void MergeProperties(dbo::TDboBaseObject* object, const std::vector<dbo::TDboHierarchyObject*>& records);
    void MergeReferences(TRecordHolder& holder);
    // The section each occurrence of a part shows, by the name of the section (PartIDIndex: "A",
    // "B", ... or "1", "2", ...; none where it keeps the part's own): when all occurrences show
    // the same one, the part's PartNo becomes it. Capture's annotation keeps a part's section
    // there, not in the placed part.
    void MergeSections(TRecordHolder& holder);
    std::string UniqueNameFor(const std::string& base);
    void Gather(dbo::TDboHierarchyRecord* record, TPropertyList& own, TPropertyList& inherited);
    void GatherOwn(dbo::TDboHierarchyRecord* record, TRecordHolder& holder, TPropertyList& own);
    void GatherProperties(dbo::TDboHierarchyObject* record, TPropertyList& inherited);
    static void Rename(dbo::TDboBaseObject* object, const std::string& uniqueName, TPropertyList& list);

    // Probes for the look-ups in the sorted lists.
    mutable TRecordHolder recordProbe_;
    mutable TTitleBlockHolder titleBlockProbe_;
    // Unique names given so far, folded to upper case.
    std::unordered_set<std::string> names_;
    // The next number to try behind each base (folded) that was taken.
    std::unordered_map<std::string, int> nextNumber_;
};

}  // namespace orcadx::importer
