// Stream and storage access for Capture files: every byte of a file passes through TDboIStream and
// TDboIStorage. They hold the byte order (little-endian), the text encoding (Windows-1252 in the
// file, UTF-8 in memory), the escaping of names, the 31-character limit and the storage layer's
// error messages.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/CompoundFile.h"
#include "platform/NameIndex.h"

namespace orcadx::dbo {

// Base of every failure that travels with a message.
class Exception : public std::runtime_error {
public:
    explicit Exception(const std::string& message) : std::runtime_error(message) {}
};

// A failure of the storage layer.
class EDboFileIO : public Exception {
public:
    explicit EDboFileIO(const std::string& message) : Exception(message) {}
};

// Called inside a catch block: raises the caught EDboFileIO or Exception again, of the same kind,
// with where in the file it happened added to its message ("... (where, stream offset 0000002A)").
// Anything else passes unchanged.
[[noreturn]] void RethrowInStream(const std::string& where, uint64_t offset);

class TDboIStream;
// The same for a failure while reading `stream`: the offset is where the failing field began, and
// a read past the end also names the field ("... (where, stream offset 0000002A, field "Name")").
// Running out of memory becomes an Exception that says where.
[[noreturn]] void RethrowInStream(const std::string& where, const TDboIStream& stream);
// The same without a stream: "... (where)".
[[noreturn]] void RethrowWithPlace(const std::string& where);

// Four bytes that open an extra-data block, and the eight bytes that close a block with no data.
extern const uint8_t kExtraDataMask[4];
extern const uint8_t kEndBlockMask[8];

class TDboIStream {
public:
    explicit TDboIStream(std::unique_ptr<platform::CfbStream> stream);
    ~TDboIStream();

    std::string GetName() const;
    uint64_t Position() const;
    uint64_t Size() const;
    // Bytes between the position and the end.
    uint64_t Remaining() const;
    platform::CfbStream& Platform() { return *stream_; }

    int ReadByte(std::string_view name, uint8_t& value);
    int ReadWord(std::string_view name, uint16_t& value);
    int ReadInt(std::string_view name, int32_t& value);
    int ReadInt64(std::string_view name, int64_t& value);
    // Word length N, N bytes of Windows-1252 text, one terminator byte that is dropped.
    int ReadStr(std::string_view name, std::string& value);
    int ReadData(std::string_view name, void* buffer, uint32_t size);
    // Reads `size` bytes into `out`; a size past the end of the stream raises before anything
    // is allocated.
    int ReadData(std::string_view name, std::vector<uint8_t>& out, uint64_t size);

    // A fixed block of bytes, as records keep the fields whose role only Capture knows.
    template <size_t N>
    int ReadData(std::string_view name, std::array<uint8_t, N>& block) {
        return ReadData(name, block.data(), static_cast<uint32_t>(N));
    }
    template <size_t N>
    int WriteData(std::string_view name, const std::array<uint8_t, N>& block) {
        return WriteData(name, block.data(), static_cast<uint32_t>(N));
    }

    // Signed and unsigned variants of the same primitives, for fields of either kind.
    int ReadWord(std::string_view name, int16_t& value);
    int ReadInt(std::string_view name, uint32_t& value);

    int WriteByte(std::string_view name, uint8_t value);
    int WriteWord(std::string_view name, uint16_t value);
    int WriteInt(std::string_view name, int32_t value);
    int WriteInt64(std::string_view name, int64_t value);
    int WriteStr(std::string_view name, const std::string& value);
    int WriteData(std::string_view name, const void* buffer, uint32_t size);
    int WriteData(std::string_view name, const std::vector<uint8_t>& data);
    // Writes an Int64 over the eight bytes at `position` of a stream being written, and goes back
    // to where it was: a size header filled in once its record's bytes are known.
    void PatchInt64(std::string_view name, uint64_t position, int64_t value);

    // The next byte, with the position unchanged.
    uint8_t LookAhead();
    // Reads highIndex + 1 bytes without raising; true when all were there and equal the pattern.
    // Otherwise the position goes back by what was read.
    bool TrySkipNext(std::string_view name, const uint8_t* pattern, int highIndex, bool& found);
    bool TrySkipNext(std::string_view name, const uint8_t* pattern, int highIndex);
    // Reads single bytes until the pattern has been passed; raises at the end of the stream.
    void SkipTo(std::string_view name, const uint8_t* pattern, int highIndex);

    // Where the field that a read primitive was last asked for began, and the name of the field
    // whose read failed (empty until one does).
    uint64_t FieldStart() const { return fieldStart_; }
    const std::string& FailedField() const { return failedField_; }

    // Trace points only.
    void ReadBegin(std::string_view) {}
    void ReadEnd(std::string_view) {}
    void WriteBegin(std::string_view) {}
    void WriteEnd(std::string_view) {}

private:
    void BeginField(std::string_view name) {
        fieldStart_ = stream_->Position();
        fieldName_ = name;
    }
    // A stream being read is read in place; anything else, and a read past the end, takes the
    // call of CheckedReadSlow.
    int CheckedRead(void* buffer, uint32_t count) {
        const uint64_t pos = stream_->Position(), size = stream_->ViewSize();
        const uint8_t* view = stream_->View();
        if (view && pos <= size && count <= size - pos) {
            std::memcpy(buffer, view + pos, count);
            stream_->Skip(count);
            return 0;
        }
        return CheckedReadSlow(buffer, count);
    }
    int CheckedReadSlow(void* buffer, uint32_t count);
    [[noreturn]] void ReadError(uint64_t position, uint64_t wanted);
    int Write(const void* buffer, uint32_t count);

    std::unique_ptr<platform::CfbStream> stream_;
    uint64_t fieldStart_ = 0;
    std::string_view fieldName_;  // valid only during the primitive's call
    std::string failedField_;
};

class TDboIStorage {
public:
    explicit TDboIStorage(std::unique_ptr<platform::CfbStorage> storage);
    ~TDboIStorage();

    std::string GetName() const;
    platform::CfbStorage& Platform() { return *storage_; }

    void OpenStorageSafe(const std::string& name, std::unique_ptr<TDboIStorage>& out);
    void OpenStreamSafe(const std::string& name, std::unique_ptr<TDboIStream>& out);
    void CreateStorageSafe(const std::string& name, std::unique_ptr<TDboIStorage>& out);
    void CreateStorageSafe(const std::string& name);
    void CreateStreamSafe(const std::string& name, std::unique_ptr<TDboIStream>& out);
    void CreateStreamSafe(const std::string& name);
    bool ExistStream(const std::string& name);
    bool ExistStorage(const std::string& name);
    // The escaped name, as the file holds it, of the child that `name` finds; empty when there is
    // none. Two names that find the same child give the same text.
    std::string StoredName(const std::string& name) const;

    // A root being written is laid out as a file here; raises when that fails.
    void Close();

private:
    std::unique_ptr<platform::CfbStorage> storage_;
};

// Backslash, slash and colon become U+0001, U+0002 and U+0003, so that a name can carry a path.
std::string EscapeStorageName(const std::string& name);
// The inverse, for showing names read from a file.
std::string UnescapeStorageName(const std::string& name);

void OpenRootStorage(const std::string& fileName, std::unique_ptr<TDboIStorage>& out);
// The same over a file held in memory; `displayName` stands in messages.
void OpenRootStorageFromMemory(std::vector<uint8_t> bytes, const std::string& displayName,
                               std::unique_ptr<TDboIStorage>& out);
void CreateRootStorage(const std::string& fileName, std::unique_ptr<TDboIStorage>& out);
std::string StorageErrorText(uint32_t result);
// A stream name made unique within `storage` and kept within 31 characters.
std::string MakeUniqueStreamName(TDboIStorage& storage, const std::string& name);

// The streams and storages that one list names, so that each is loaded once however often the
// list names it. Keys are the names as the file holds them (StoredName), so that names differing
// only in case that find one stream count as the same.
class TRepeatedNames {
public:
    // True the first time `key` is met; later times are counted against `shown`.
    bool Claim(const std::string& key, const std::string& shown);
    // Calls report(name, times named) once for each name met more than once, in the order of
    // their first repeat.
    template <class F>
    void Report(F&& report) const {
        for (const auto& [name, times] : repeats_) report(name, times);
    }
    bool Empty() const { return repeats_.empty(); }

private:
    // The keys met, in order, with a hash index over them and, for each key, its place in
    // repeats_ or npos: a list of 100,000 names takes a few flat arrays, not a node per name.
    std::vector<std::string> keys_;
    std::vector<size_t> repeatOf_;
    platform::NameIndex<false> index_;
    std::vector<std::pair<std::string, int>> repeats_;
};

// Runs `load` over `stream`; a failure tells `where` and the stream's position.
template <class F>
void LoadInStream(const std::string& where, TDboIStream& stream, F&& load) {
    try {
        load();
    } catch (...) {
        RethrowInStream(where, stream);
    }
}

}  // namespace orcadx::dbo
