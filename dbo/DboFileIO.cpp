#include "dbo/DboFileIO.h"

#include <fmt/format.h>

#include <cstring>
#include <new>

#include "platform/CodePage.h"

namespace orcadx::dbo {

using platform::CfbStorage;
using platform::CfbStream;

const uint8_t kExtraDataMask[4] = {0xFF, 0xE4, 0x5C, 0x39};
const uint8_t kEndBlockMask[8] = {0xFF, 0xE4, 0x5C, 0x39, 0x00, 0x00, 0x00, 0x00};

namespace {

constexpr uint32_t kModeRead = platform::kSTGM_SHARE_EXCLUSIVE;
constexpr uint32_t kModeCreate = platform::kSTGM_CREATE | platform::kSTGM_READWRITE | platform::kSTGM_SHARE_EXCLUSIVE;

// Code points of a UTF-8 string.
std::vector<std::string> SplitChars(const std::string& s) {
    std::vector<std::string> out;
    for (size_t i = 0; i < s.size();) {
        unsigned char c = s[i];
        size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 1;
        if (i + len > s.size()) len = 1;
        out.push_back(s.substr(i, len));
        i += len;
    }
    return out;
}

std::string FirstChars(const std::vector<std::string>& chars, size_t n) {
    std::string out;
    for (size_t i = 0; i < chars.size() && i < n; ++i) out += chars[i];
    return out;
}

}  // namespace

void RethrowWithPlace(const std::string& where) {
    try {
        throw;
    } catch (const EDboFileIO& e) {
        throw EDboFileIO(fmt::format("{} ({})", e.what(), where));
    } catch (const Exception& e) {
        throw Exception(fmt::format("{} ({})", e.what(), where));
    } catch (const std::bad_alloc&) {
        throw Exception(fmt::format("Not enough memory to read {}", where));
    }
}

void RethrowInStream(const std::string& where, uint64_t offset) {
    RethrowWithPlace(fmt::format("{}, stream offset {:08X}", where, offset));
}

void RethrowInStream(const std::string& where, const TDboIStream& stream) {
    std::string place = fmt::format("{}, stream offset {:08X}", where, stream.FieldStart());
    if (!stream.FailedField().empty()) place += fmt::format(", field \"{}\"", stream.FailedField());
    RethrowWithPlace(place);
}

// ---------------------------------------------------------------------------------------------
// TDboIStream

TDboIStream::TDboIStream(std::unique_ptr<CfbStream> stream) : stream_(std::move(stream)) {}
TDboIStream::~TDboIStream() = default;

std::string TDboIStream::GetName() const { return stream_->Name(); }
uint64_t TDboIStream::Position() const { return stream_->Position(); }
uint64_t TDboIStream::Size() const { return stream_->Size(); }
uint64_t TDboIStream::Remaining() const {
    uint64_t pos = stream_->Position(), size = stream_->Size();
    return pos < size ? size - pos : 0;
}

void TDboIStream::ReadError(uint64_t position, uint64_t wanted) {
    failedField_ = std::string(fieldName_);
    throw EDboFileIO(fmt::format("Reading stream: {} {:08X}({})", GetName(), position, wanted));
}

int TDboIStream::CheckedReadSlow(void* buffer, uint32_t count) {
    uint64_t pos = stream_->Position();
    uint32_t read = 0;
    platform::HResult hr = stream_->Read(buffer, count, &read);
    if (read != count || hr != platform::kS_OK) ReadError(pos, count);
    return 0;
}

int TDboIStream::ReadByte(std::string_view name, uint8_t& value) {
    BeginField(name);
    return CheckedRead(&value, 1);
}

int TDboIStream::ReadWord(std::string_view name, uint16_t& value) {
    BeginField(name);
    uint8_t b[2];
    CheckedRead(b, 2);
    value = static_cast<uint16_t>(b[0] | (b[1] << 8));
    return 0;
}

int TDboIStream::ReadWord(std::string_view name, int16_t& value) {
    uint16_t v;
    ReadWord(name, v);
    value = static_cast<int16_t>(v);
    return 0;
}

int TDboIStream::ReadInt(std::string_view name, int32_t& value) {
    BeginField(name);
    uint8_t b[4];
    CheckedRead(b, 4);
    value = static_cast<int32_t>(uint32_t(b[0]) | (uint32_t(b[1]) << 8) | (uint32_t(b[2]) << 16) | (uint32_t(b[3]) << 24));
    return 0;
}

int TDboIStream::ReadInt(std::string_view name, uint32_t& value) {
    int32_t v;
    ReadInt(name, v);
    value = static_cast<uint32_t>(v);
    return 0;
}

int TDboIStream::ReadInt64(std::string_view name, int64_t& value) {
    BeginField(name);
    uint8_t b[8];
    CheckedRead(b, 8);
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | b[i];
    value = static_cast<int64_t>(v);
    return 0;
}

int TDboIStream::ReadStr(std::string_view name, std::string& value) {
    uint16_t len;
    ReadWord(name, len);  // the field begins with its length
    const uint64_t pos = stream_->Position(), size = stream_->ViewSize();
    if (const uint8_t* view = stream_->View(); view && pos <= size && len + uint64_t(1) <= size - pos) {
        value = platform::AnsiToUtf8(std::string_view(reinterpret_cast<const char*>(view + pos), len));
        stream_->Skip(len + 1);
        return 0;
    }
    std::string raw(len, '\0');
    if (len) CheckedRead(raw.data(), len);
    uint8_t terminator;
    CheckedRead(&terminator, 1);
    value = platform::AnsiToUtf8(raw);
    return 0;
}

int TDboIStream::ReadData(std::string_view name, void* buffer, uint32_t size) {
    BeginField(name);
    if (size == 0) return 0;
    return CheckedRead(buffer, size);
}

int TDboIStream::ReadData(std::string_view name, std::vector<uint8_t>& out, uint64_t size) {
    BeginField(name);
    if (size > Remaining()) ReadError(Position(), size);
    out.resize(static_cast<size_t>(size));
    return ReadData(name, out.data(), static_cast<uint32_t>(size));
}

int TDboIStream::Write(const void* buffer, uint32_t count) {
    uint32_t written = 0;
    stream_->Write(buffer, count, &written);
    return static_cast<int>(written);
}

int TDboIStream::WriteByte(std::string_view, uint8_t value) { return Write(&value, 1); }

int TDboIStream::WriteWord(std::string_view, uint16_t value) {
    uint8_t b[2] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
    return Write(b, 2);
}

int TDboIStream::WriteInt(std::string_view, int32_t value) {
    uint32_t v = static_cast<uint32_t>(value);
    uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16),
                    static_cast<uint8_t>(v >> 24)};
    return Write(b, 4);
}

int TDboIStream::WriteInt64(std::string_view, int64_t value) {
    uint64_t v = static_cast<uint64_t>(value);
    uint8_t b[8];
    for (int i = 0; i < 8; ++i) b[i] = static_cast<uint8_t>(v >> (8 * i));
    return Write(b, 8);
}

void TDboIStream::PatchInt64(std::string_view name, uint64_t position, int64_t value) {
    const uint64_t end = stream_->Position();
    uint64_t moved = 0;
    if (position + 8 > end || stream_->Seek(static_cast<int64_t>(position), platform::SeekOrigin::Begin, &moved) !=
                                  platform::kS_OK)
        throw EDboFileIO(fmt::format("Cannot write field \"{}\" at stream offset {:08X} of {}", name, position,
                                     GetName()));
    WriteInt64(name, value);
    stream_->Seek(static_cast<int64_t>(end), platform::SeekOrigin::Begin, &moved);
}

int TDboIStream::WriteStr(std::string_view name, const std::string& value) {
    std::string raw = platform::Utf8ToAnsi(value);
    if (raw.size() > 0xFFFF) raw.resize(0xFFFF);
    int n = WriteWord(name, static_cast<uint16_t>(raw.size()));
    if (!raw.empty()) n += Write(raw.data(), static_cast<uint32_t>(raw.size()));
    return n + WriteByte(name, 0);
}

int TDboIStream::WriteData(std::string_view, const void* buffer, uint32_t size) {
    if (size == 0) return 0;
    return Write(buffer, size);
}

int TDboIStream::WriteData(std::string_view name, const std::vector<uint8_t>& data) {
    return WriteData(name, data.data(), static_cast<uint32_t>(data.size()));
}

uint8_t TDboIStream::LookAhead() {
    BeginField("LookAhead");
    uint8_t b;
    CheckedRead(&b, 1);
    stream_->Seek(-1, platform::SeekOrigin::Current, nullptr);
    return b;
}

bool TDboIStream::TrySkipNext(std::string_view name, const uint8_t* pattern, int highIndex, bool& found) {
    BeginField(name);
    uint32_t count = static_cast<uint32_t>(highIndex + 1);
    std::vector<uint8_t> buf(count);
    uint32_t read = 0;
    stream_->Read(buf.data(), count, &read);
    found = read == count && std::memcmp(buf.data(), pattern, count) == 0;
    if (!found && read) stream_->Seek(-static_cast<int64_t>(read), platform::SeekOrigin::Current, nullptr);
    return found;
}

bool TDboIStream::TrySkipNext(std::string_view name, const uint8_t* pattern, int highIndex) {
    bool found;
    return TrySkipNext(name, pattern, highIndex, found);
}

void TDboIStream::SkipTo(std::string_view name, const uint8_t* pattern, int highIndex) {
    BeginField(name);
    int match = 0;
    while (match <= highIndex) {
        uint8_t b;
        CheckedRead(&b, 1);  // a failure here names the field being searched for
        match = b == pattern[match] ? match + 1 : 0;
    }
}

// ---------------------------------------------------------------------------------------------
// TDboIStorage

TDboIStorage::TDboIStorage(std::unique_ptr<CfbStorage> storage) : storage_(std::move(storage)) {}
TDboIStorage::~TDboIStorage() = default;

std::string TDboIStorage::GetName() const { return storage_->Name(); }

namespace {

// The text of a failed call: the platform's description of a damaged file when it gave one, else
// the text of the result code.
std::string FailureText(platform::HResult hr, const std::string& detail) {
    return detail.empty() ? StorageErrorText(hr) : detail;
}

}  // namespace

void TDboIStorage::OpenStorageSafe(const std::string& name, std::unique_ptr<TDboIStorage>& out) {
    std::unique_ptr<CfbStorage> s;
    platform::HResult hr = storage_->OpenStorage(EscapeStorageName(name), kModeRead, &s);
    if (hr != platform::kS_OK)
        throw EDboFileIO("Invalid storage(" + name + ")!\r\n" + FailureText(hr, storage_->ErrorDetail()));
    out = std::make_unique<TDboIStorage>(std::move(s));
}

void TDboIStorage::OpenStreamSafe(const std::string& name, std::unique_ptr<TDboIStream>& out) {
    std::unique_ptr<CfbStream> s;
    platform::HResult hr = storage_->OpenStream(EscapeStorageName(name), kModeRead, &s);
    if (hr != platform::kS_OK)
        throw EDboFileIO("Invalid stream: " + name + "\r\n" + FailureText(hr, storage_->ErrorDetail()));
    out = std::make_unique<TDboIStream>(std::move(s));
}

void TDboIStorage::CreateStorageSafe(const std::string& name, std::unique_ptr<TDboIStorage>& out) {
    std::unique_ptr<CfbStorage> s;
    platform::HResult hr = storage_->CreateStorage(EscapeStorageName(name), kModeCreate, &s);
    if (hr != platform::kS_OK) throw EDboFileIO("Invalid storage(" + name + ")!\r\n" + StorageErrorText(hr));
    out = std::make_unique<TDboIStorage>(std::move(s));
}

void TDboIStorage::CreateStorageSafe(const std::string& name) {
    std::unique_ptr<TDboIStorage> s;
    CreateStorageSafe(name, s);
}

void TDboIStorage::CreateStreamSafe(const std::string& name, std::unique_ptr<TDboIStream>& out) {
    std::string escaped = EscapeStorageName(name);
    if (SplitChars(escaped).size() > platform::kMaxNameLength)
        throw Exception("Can't create the Stream with Name length more than 31:\r\n" + name);
    std::unique_ptr<CfbStream> s;
    platform::HResult hr = storage_->CreateStream(escaped, kModeCreate, &s);
    if (hr != platform::kS_OK) throw EDboFileIO("Invalid stream: " + name + "\r\n" + StorageErrorText(hr));
    out = std::make_unique<TDboIStream>(std::move(s));
}

void TDboIStorage::CreateStreamSafe(const std::string& name) {
    std::unique_ptr<TDboIStream> s;
    CreateStreamSafe(name, s);
}

// Both look the name up in the directory; nothing is read.
bool TDboIStorage::ExistStream(const std::string& name) { return storage_->HasChild(EscapeStorageName(name), false); }

bool TDboIStorage::ExistStorage(const std::string& name) { return storage_->HasChild(EscapeStorageName(name), true); }

std::string TDboIStorage::StoredName(const std::string& name) const {
    return storage_->StoredName(EscapeStorageName(name));
}

void TDboIStorage::Close() {
    platform::HResult hr = storage_->Close();
    if (hr != platform::kS_OK) throw EDboFileIO("Error writing storage\r\n" + StorageErrorText(hr));
}

// ---------------------------------------------------------------------------------------------
// TRepeatedNames

bool TRepeatedNames::Claim(const std::string& key, const std::string& shown) {
    auto nameOf = [this](uint32_t i) { return std::string_view(keys_[i]); };
    const int64_t at = index_.Find(key, nameOf);
    if (at < 0) {
        keys_.push_back(key);
        repeatOf_.push_back(std::string::npos);
        index_.Add(static_cast<uint32_t>(keys_.size() - 1), nameOf);
        return true;
    }
    size_t& repeat = repeatOf_[static_cast<size_t>(at)];
    if (repeat == std::string::npos) {
        repeat = repeats_.size();
        repeats_.push_back({shown, 1});
    }
    ++repeats_[repeat].second;
    return false;
}

// ---------------------------------------------------------------------------------------------
// Free functions

std::string EscapeStorageName(const std::string& name) {
    std::string out = name;
    for (char& c : out) {
        if (c == '\\') c = '\x01';
        else if (c == '/') c = '\x02';
        else if (c == ':') c = '\x03';
    }
    return out;
}

std::string UnescapeStorageName(const std::string& name) {
    std::string out = name;
    for (char& c : out) {
        if (c == '\x01') c = '\\';
        else if (c == '\x02') c = '/';
        else if (c == '\x03') c = ':';
    }
    return out;
}

void OpenRootStorage(const std::string& fileName, std::unique_ptr<TDboIStorage>& out) {
    if (platform::IsStorageFile(fileName) != platform::kS_OK)
        throw EDboFileIO("Error opening storage " + fileName + "\r\n" + StorageErrorText(1));
    std::unique_ptr<CfbStorage> s;
    std::string detail;
    platform::HResult hr = platform::OpenStorageFile(fileName, platform::kSTGM_SHARE_DENY_WRITE, &s, &detail);
    if (hr != platform::kS_OK) throw EDboFileIO("Error opening storage " + fileName + "\r\n" + FailureText(hr, detail));
    out = std::make_unique<TDboIStorage>(std::move(s));
}

void OpenRootStorageFromMemory(std::vector<uint8_t> bytes, const std::string& displayName,
                               std::unique_ptr<TDboIStorage>& out) {
    static const uint8_t sig[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    if (bytes.size() < 8 || std::memcmp(bytes.data(), sig, 8) != 0)
        throw EDboFileIO("Error opening storage " + displayName + "\r\n" + StorageErrorText(1));
    std::unique_ptr<CfbStorage> s;
    std::string detail;
    platform::HResult hr = platform::OpenStorageMemory(std::move(bytes), &s, &detail);
    if (hr != platform::kS_OK)
        throw EDboFileIO("Error opening storage " + displayName + "\r\n" + FailureText(hr, detail));
    out = std::make_unique<TDboIStorage>(std::move(s));
}

void CreateRootStorage(const std::string& fileName, std::unique_ptr<TDboIStorage>& out) {
    std::unique_ptr<CfbStorage> s;
    platform::HResult hr = platform::CreateStorageFile(fileName, kModeCreate, &s);
    if (hr != platform::kS_OK) throw EDboFileIO("Error creating storage " + fileName + "\r\n" + StorageErrorText(hr));
    out = std::make_unique<TDboIStorage>(std::move(s));
}

std::string StorageErrorText(uint32_t result) {
    switch (result) {
        case 0x80030001: return "The specified combination of grfMode flags is not supported.";
        case 0x80030002: return "The storage object with the specified name does not exist.";
        case 0x80030004: return "The storage object was not created because there are too many open files.";
        case 0x80030005: return "Insufficient permissions to open storage object.";
        case 0x80030008: return "The storage object was not opened due to a lack of memory.";
        case 0x80030009: return "The pointer specified for the storage object was invalid.";
        case 0x80030057: return "One of the parameters was invalid.";
        case 0x800300FC: return "Invalid value for pwcsName.";
        case 0x800300FF: return "The value specified for the grfMode flag is not a valid STGM enumeration value.";
        case 0x80030102:
            return "The object has been invalidated by a revert operation above it in the transaction tree.";
        case 0x00030200:
            return "The existing stream with the specified name was replaced with a new storage object containing "
                   "a single stream called CONTENTS. The new storage object will be added.";
        default: return "Unknown";
    }
}

std::string MakeUniqueStreamName(TDboIStorage& storage, const std::string& name) {
    auto chars = SplitChars(EscapeStorageName(name));
    std::string candidate = FirstChars(chars, platform::kMaxNameLength);
    for (int counter = 1; storage.ExistStream(candidate); ++counter) {
        std::string suffix = "_" + std::to_string(counter);
        candidate = FirstChars(chars, platform::kMaxNameLength - suffix.size()) + suffix;
    }
    return candidate;
}

}  // namespace orcadx::dbo
