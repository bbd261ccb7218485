// A host schematic library as the export side works with it: its components by name, one of them
// current, opened from a file or made new, closed with or without a save.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/ClientInterfaces.h"
#include "host/SchInterfaces.h"

namespace orcadx::importer {

// One component of the list.
class TComponentHolder {
public:
    explicit TComponentHolder(host::ISch_Component* component) : Component(component) {}
    host::ISch_Component* Component;
};

class TSchLibraryManager {
public:
    // Wraps an open library document and lists its components by library reference. Raises
    // EApiErr when the document is no library.
    TSchLibraryManager(host::IHostApplication& host, host::ISch_Document* document);
    // Opens the file as a library, focuses it and wraps it. Raises EApiErr when the host can't.
    static std::unique_ptr<TSchLibraryManager> CreateFromFileName(host::IHostApplication& host, const std::string& file);
    // A new, empty library document named `name`, focused.
    static std::unique_ptr<TSchLibraryManager> CreateNew(host::IHostApplication& host,
                                                         const std::string& name = "Library.SchLib");

    host::ISch_Document* Document;
    host::ISch_Lib* Library;
    // Position of the current component in the sorted list, -1 before any is selected.
    int CurrentIndex = -1;

    int Count() const { return static_cast<int>(names_.size()); }
    // The name under which entry `index` stands ("" out of range).
    std::string GetName(int index) const;
    // The position of `name` (ASCII case ignored), -1 when it isn't there. Of several of one name,
    // the one added last.
    int IndexOf(const std::string& name) const;

    // A new component with that library reference, in the library and the list; it becomes current.
    host::ISch_Component* AddComponent(const std::string& name);
    // Removes the component of that name from the library; when it was current, the first one
    // becomes current.
    void DeleteComponent(const std::string& name);
    // Makes the component at `index` the library's current one; false, and nothing changes, for an
    // index out of range.
    bool SetCurrentIndex(int index);
    // Selects and gives the component at `index`; null out of range.
    host::ISch_Component* GetComponents(int index);

    // Saves the document when `save` is set, clears its modified state and closes it.
    void Close(bool save);
    void SetFocus();

private:
    host::IServerDocument* ServerDocument() const;
    // Inserts before the entries of an equal name, as a sorted list that accepts duplicates does.
    int Insert(const std::string& name, host::ISch_Component* component);

    host::IHostApplication& host_;
    std::vector<std::string> names_;
    std::vector<std::unique_ptr<TComponentHolder>> holders_;
};

}  // namespace orcadx::importer
