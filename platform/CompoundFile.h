// Compound files (OLE structured storage): reading and writing the published format.
//
// A compound file is a tree of named storages (folders) and streams (byte sequences). This layer
// gives the few operations that the database layer needs of it, with the result codes and the
// modes of the structured-storage interfaces it stands in for:
//  - a file opened for reading is read into memory whole and its structure checked at once
//    (CfbReader.h); a stream's bytes are gathered when the stream is opened, so reads and seeks
//    never touch the file again;
//  - a file being written is held as a tree in memory, where creating a name that already exists
//    in a storage replaces it, and is laid out as a compound file when the root is closed
//    (CfbWriter.h).
// Names cross this interface as UTF-8; in the file they are UTF-16. A failure that the result
// codes can't tell apart (a damaged file) is described by ErrorDetail.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orcadx::platform {

using HResult = uint32_t;

constexpr HResult kS_OK = 0;
constexpr HResult kS_FALSE = 1;
constexpr HResult kSTG_E_INVALIDFUNCTION = 0x80030001;
constexpr HResult kSTG_E_FILENOTFOUND = 0x80030002;
constexpr HResult kSTG_E_ACCESSDENIED = 0x80030005;
constexpr HResult kSTG_E_INSUFFICIENTMEMORY = 0x80030008;
constexpr HResult kSTG_E_INVALIDPOINTER = 0x80030009;
constexpr HResult kSTG_E_WRITEFAULT = 0x8003001D;
constexpr HResult kSTG_E_READFAULT = 0x8003001E;
constexpr HResult kSTG_E_INVALIDPARAMETER = 0x80030057;
constexpr HResult kSTG_E_INVALIDHEADER = 0x800300FB;
constexpr HResult kSTG_E_INVALIDNAME = 0x800300FC;
constexpr HResult kSTG_E_INVALIDFLAG = 0x800300FF;

// Access modes, with the values of the structured-storage interfaces.
constexpr uint32_t kSTGM_READ = 0x0;
constexpr uint32_t kSTGM_READWRITE = 0x2;
constexpr uint32_t kSTGM_SHARE_EXCLUSIVE = 0x10;
constexpr uint32_t kSTGM_SHARE_DENY_WRITE = 0x20;
constexpr uint32_t kSTGM_CREATE = 0x1000;

// The longest name (in UTF-16 code units) that a compound file can hold.
constexpr size_t kMaxNameLength = 31;

enum class SeekOrigin { Begin = 0, Current = 1, End = 2 };

struct FileState;  // shared by every storage and stream of one open file
namespace cfb {
struct Node;  // one storage or stream of a file being written
}

class CfbStream {
public:
    ~CfbStream();
    // A writable stream in memory, outside any file, holding `bytes`; for tests and fuzzing.
    static std::unique_ptr<CfbStream> CreateMemory(const std::string& name, std::vector<uint8_t> bytes = {});
    CfbStream(const CfbStream&) = delete;
    CfbStream& operator=(const CfbStream&) = delete;

    std::string Name() const;
    uint64_t Size() const;
    uint64_t Position() const { return pos_; }
    // All bytes of the stream.
    const std::vector<uint8_t>& Contents() const;
    // The bytes of a stream being read, Size() of them, for reading in place; null for a stream
    // being written. With Skip, a read that costs no call.
    const uint8_t* View() const { return view_; }
    uint64_t ViewSize() const { return viewSize_; }
    void Skip(uint64_t count) { pos_ += count; }
    // Reads up to `count` bytes; `*read` gets the number read, which is smaller at the end.
    HResult Read(void* buffer, uint32_t count, uint32_t* read);
    // Writes at the position, growing the stream. Fails on a stream opened for reading.
    HResult Write(const void* buffer, uint32_t count, uint32_t* written);
    // Moves the position; a position before the start fails and leaves it where it was.
    HResult Seek(int64_t move, SeekOrigin origin, uint64_t* newPosition);

private:
    friend class CfbStorage;
    CfbStream() = default;
    std::shared_ptr<FileState> file_;
    std::string name_;
    // A stream being read: its bytes, in the file's memory (which file_ keeps) or in readData_.
    const uint8_t* view_ = nullptr;
    uint64_t viewSize_ = 0;
    mutable std::vector<uint8_t> readData_;  // also filled by Contents for a stream read in place
    std::shared_ptr<cfb::Node> node_;        // contents of a stream being written
    uint64_t pos_ = 0;
};

// What a storage holds, for listing.
struct CfbEntry {
    std::string name;
    bool isStorage = false;
    uint64_t size = 0;  // streams only
};

class CfbStorage {
public:
    ~CfbStorage();
    CfbStorage(const CfbStorage&) = delete;
    CfbStorage& operator=(const CfbStorage&) = delete;

    std::string Name() const;
    bool Writable() const;

    HResult OpenStorage(const std::string& name, uint32_t mode, std::unique_ptr<CfbStorage>* out);
    HResult OpenStream(const std::string& name, uint32_t mode, std::unique_ptr<CfbStream>* out);
    // With kSTGM_CREATE an element of the same name (either kind) is replaced; without it, an
    // existing name fails.
    HResult CreateStorage(const std::string& name, uint32_t mode, std::unique_ptr<CfbStorage>* out);
    HResult CreateStream(const std::string& name, uint32_t mode, std::unique_ptr<CfbStream>* out);
    // The children in the file's directory order (reading) or creation order (writing).
    std::vector<CfbEntry> List() const;
    // True when a child of that name and kind exists; nothing is read.
    bool HasChild(const std::string& name, bool isStorage) const;
    // The name, as the file holds it, of the child that `name` finds (names that differ only in
    // case may find the same child); empty when there is none.
    std::string StoredName(const std::string& name) const;
    // What went wrong in the last failed call on this storage, when its result code alone can't
    // say (a damaged stream); empty otherwise.
    const std::string& ErrorDetail() const { return detail_; }

    // For a root being written: lays the tree out as a compound file and closes it. Called by the
    // destructor when not called before; later calls return the first result.
    HResult Close();

private:
    friend HResult OpenStorageFile(const std::string&, uint32_t, std::unique_ptr<CfbStorage>*, std::string*);
    friend HResult OpenStorageMemory(std::vector<uint8_t>, std::unique_ptr<CfbStorage>*, std::string*);
    friend HResult CreateStorageFile(const std::string&, uint32_t, std::unique_ptr<CfbStorage>*);
    CfbStorage() = default;
    // The root of a file whose `size` bytes at `data` `owner` keeps alive.
    static HResult OpenRoot(const uint8_t* data, size_t size, std::shared_ptr<const void> owner,
                            std::unique_ptr<CfbStorage>* out, std::string* detail);
    // Adds a child to a storage being written, replacing one of the same name under kSTGM_CREATE.
    HResult NewChild(const std::string& name, uint32_t mode, bool isStorage, std::shared_ptr<cfb::Node>* child);
    // The directory entry of a child being read, or cfb::kNoEntry.
    uint32_t FindChild(const std::string& name) const;
    std::shared_ptr<FileState> file_;
    uint32_t entry_ = 0;                 // directory entry of a storage being read
    std::shared_ptr<cfb::Node> node_;  // a storage being written
    std::string name_;
    std::string detail_;
    bool isRoot_ = false;
    bool closed_ = false;
    HResult closeResult_ = kS_OK;
};

// kS_OK when the file begins with the compound-file signature, kS_FALSE when it doesn't,
// kSTG_E_FILENOTFOUND when it can't be opened.
HResult IsStorageFile(const std::string& fileName);
// Opens a compound file read-only. When the file is refused, `detail` (if given) says why, in
// words that the result code can't carry.
HResult OpenStorageFile(const std::string& fileName, uint32_t mode, std::unique_ptr<CfbStorage>* out,
                        std::string* detail = nullptr);
// Opens a compound file held in memory, read-only.
HResult OpenStorageMemory(std::vector<uint8_t> bytes, std::unique_ptr<CfbStorage>* out,
                          std::string* detail = nullptr);
// Creates (replacing) a compound file; it is written when the returned root is closed.
HResult CreateStorageFile(const std::string& fileName, uint32_t mode, std::unique_ptr<CfbStorage>* out);

}  // namespace orcadx::platform
