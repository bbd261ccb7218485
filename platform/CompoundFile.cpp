#include "platform/CompoundFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "platform/CfbReader.h"
#include "platform/CfbWriter.h"
#include "platform/CodePage.h"

namespace orcadx::platform {

using cfb::Node;

namespace {

// Length of a UTF-8 name in UTF-16 code units.
size_t Utf16Length(const std::string& s) { return Utf8ToUtf16(s).size(); }

bool ValidUtf8(const std::string& s) {
    for (size_t i = 0; i < s.size();) {
        unsigned char c = s[i];
        size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > s.size()) return false;
        for (size_t k = 1; k < len; ++k)
            if ((static_cast<unsigned char>(s[i + k]) >> 6) != 2) return false;
        i += len;
    }
    return true;
}

bool ValidName(const std::string& name) {
    return !name.empty() && ValidUtf8(name) && Utf16Length(name) <= kMaxNameLength;
}

}  // namespace

struct FileState {
    std::unique_ptr<cfb::Reader> reader;  // reading
    std::string fileName;                 // writing
    std::shared_ptr<Node> tree;
};

// ---------------------------------------------------------------------------------------------
// Streams

CfbStream::~CfbStream() = default;

std::unique_ptr<CfbStream> CfbStream::CreateMemory(const std::string& name, std::vector<uint8_t> bytes) {
    std::unique_ptr<CfbStream> s(new CfbStream());
    s->node_ = std::make_shared<Node>();
    s->node_->name = name;
    s->node_->data = std::move(bytes);
    s->name_ = name;
    return s;
}

const std::vector<uint8_t>& CfbStream::Contents() const {
    if (node_) return node_->data;
    if (view_ && view_ != readData_.data()) readData_.assign(view_, view_ + viewSize_);
    return readData_;
}

std::string CfbStream::Name() const { return name_; }

uint64_t CfbStream::Size() const { return node_ ? node_->data.size() : viewSize_; }

HResult CfbStream::Read(void* buffer, uint32_t count, uint32_t* read) {
    const uint8_t* data = node_ ? node_->data.data() : view_;
    const uint64_t size = Size();
    uint64_t avail = pos_ < size ? size - pos_ : 0;
    uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(avail, count));
    if (n) std::memcpy(buffer, data + pos_, n);
    pos_ += n;
    if (read) *read = n;
    return kS_OK;
}

HResult CfbStream::Write(const void* buffer, uint32_t count, uint32_t* written) {
    if (written) *written = 0;
    if (!node_) return kSTG_E_ACCESSDENIED;
    auto& data = node_->data;
    if (pos_ + count > data.size()) data.resize(pos_ + count);
    if (count) std::memcpy(data.data() + pos_, buffer, count);
    pos_ += count;
    if (written) *written = count;
    return kS_OK;
}

HResult CfbStream::Seek(int64_t move, SeekOrigin origin, uint64_t* newPosition) {
    int64_t base = origin == SeekOrigin::Begin ? 0 : origin == SeekOrigin::Current ? static_cast<int64_t>(pos_)
                                                                                  : static_cast<int64_t>(Size());
    int64_t target = base + move;
    if (target < 0) return kSTG_E_INVALIDFUNCTION;
    pos_ = static_cast<uint64_t>(target);
    if (newPosition) *newPosition = pos_;
    return kS_OK;
}

// ---------------------------------------------------------------------------------------------
// Storages

CfbStorage::~CfbStorage() {
    if (isRoot_ && !closed_) Close();
}

std::string CfbStorage::Name() const { return name_; }

bool CfbStorage::Writable() const { return node_ != nullptr; }

uint32_t CfbStorage::FindChild(const std::string& name) const {
    if (!file_ || !file_->reader) return cfb::kNoEntry;
    return file_->reader->Find(entry_, name);
}

bool CfbStorage::HasChild(const std::string& name, bool isStorage) const {
    if (node_) {
        auto child = node_->Find(name);
        return child && child->isStorage == isStorage;
    }
    uint32_t child = FindChild(name);
    return child != cfb::kNoEntry && (file_->reader->GetEntry(child).type == cfb::kTypeStorage) == isStorage;
}

std::string CfbStorage::StoredName(const std::string& name) const {
    if (node_) {
        auto child = node_->Find(name);
        return child ? child->name : std::string();
    }
    uint32_t child = FindChild(name);
    return child == cfb::kNoEntry ? std::string() : file_->reader->GetEntry(child).name;
}

HResult CfbStorage::OpenStorage(const std::string& name, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    detail_.clear();
    if (node_) {
        auto child = node_->Find(name);
        if (!child || !child->isStorage) return kSTG_E_FILENOTFOUND;
        std::unique_ptr<CfbStorage> s(new CfbStorage());
        s->file_ = file_;
        s->node_ = child;
        s->name_ = child->name;
        *out = std::move(s);
        return kS_OK;
    }
    if (!file_ || !file_->reader) return kSTG_E_INVALIDPOINTER;
    uint32_t child = FindChild(name);
    if (child == cfb::kNoEntry || file_->reader->GetEntry(child).type != cfb::kTypeStorage) return kSTG_E_FILENOTFOUND;
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->file_ = file_;
    s->entry_ = child;
    s->name_ = file_->reader->GetEntry(child).name;
    *out = std::move(s);
    return kS_OK;
}

HResult CfbStorage::OpenStream(const std::string& name, uint32_t /*mode*/, std::unique_ptr<CfbStream>* out) {
    out->reset();
    detail_.clear();
    if (node_) {
        auto child = node_->Find(name);
        if (!child || child->isStorage) return kSTG_E_FILENOTFOUND;
        std::unique_ptr<CfbStream> s(new CfbStream());
        s->file_ = file_;
        s->node_ = child;
        s->name_ = child->name;
        *out = std::move(s);
        return kS_OK;
    }
    if (!file_ || !file_->reader) return kSTG_E_INVALIDPOINTER;
    uint32_t child = FindChild(name);
    if (child == cfb::kNoEntry || file_->reader->GetEntry(child).type != cfb::kTypeStream) return kSTG_E_FILENOTFOUND;
    std::unique_ptr<CfbStream> s(new CfbStream());
    s->file_ = file_;
    s->name_ = file_->reader->GetEntry(child).name;
    // A stream can't hold more than the file does, and its chain must hold its size: anything else
    // is damage, refused before anything is allocated.
    if (!file_->reader->ReadStream(child, s->view_, s->readData_, detail_)) return kSTG_E_READFAULT;
    s->viewSize_ = file_->reader->GetEntry(child).size;
    *out = std::move(s);
    return kS_OK;
}

HResult CfbStorage::NewChild(const std::string& name, uint32_t mode, bool isStorage, std::shared_ptr<Node>* child) {
    if (!node_) return kSTG_E_ACCESSDENIED;
    if (!ValidName(name)) return kSTG_E_INVALIDNAME;
    // Creating a name that exists replaces it, storage or stream, when asked to.
    if (node_->Find(name) && !(mode & kSTGM_CREATE)) return kSTG_E_ACCESSDENIED;
    *child = std::make_shared<Node>();
    (*child)->name = name;
    (*child)->isStorage = isStorage;
    node_->Put(*child);
    return kS_OK;
}

HResult CfbStorage::CreateStorage(const std::string& name, uint32_t mode, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    std::shared_ptr<Node> child;
    HResult hr = NewChild(name, mode, true, &child);
    if (hr != kS_OK) return hr;
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->file_ = file_;
    s->node_ = child;
    s->name_ = name;
    *out = std::move(s);
    return kS_OK;
}

HResult CfbStorage::CreateStream(const std::string& name, uint32_t mode, std::unique_ptr<CfbStream>* out) {
    out->reset();
    std::shared_ptr<Node> child;
    HResult hr = NewChild(name, mode, false, &child);
    if (hr != kS_OK) return hr;
    std::unique_ptr<CfbStream> s(new CfbStream());
    s->file_ = file_;
    s->node_ = child;
    s->name_ = name;
    *out = std::move(s);
    return kS_OK;
}

std::vector<CfbEntry> CfbStorage::List() const {
    std::vector<CfbEntry> out;
    if (node_) {
        for (const auto& c : node_->children) out.push_back({c->name, c->isStorage, c->data.size()});
        return out;
    }
    if (!file_ || !file_->reader) return out;
    const cfb::Reader& r = *file_->reader;
    const uint32_t* kids = r.ChildrenBegin(entry_);
    out.reserve(r.ChildCount(entry_));
    for (uint32_t i = 0; i < r.ChildCount(entry_); ++i) {
        const cfb::Reader::Entry& e = r.GetEntry(kids[i]);
        bool storage = e.type == cfb::kTypeStorage;
        out.push_back({e.name, storage, storage ? 0 : e.size});
    }
    return out;
}

HResult CfbStorage::Close() {
    if (closed_) return closeResult_;
    closed_ = true;
    if (!isRoot_ || !node_) return closeResult_;
    std::vector<uint8_t> bytes = cfb::LayoutTree(*node_);
    std::ofstream out(file_->fileName, std::ios::binary | std::ios::trunc);
    if (!out) return closeResult_ = kSTG_E_ACCESSDENIED;
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return closeResult_ = out ? kS_OK : kSTG_E_WRITEFAULT;
}

// ---------------------------------------------------------------------------------------------
// Files

HResult IsStorageFile(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return kSTG_E_FILENOTFOUND;
    uint8_t head[8] = {};
    in.read(reinterpret_cast<char*>(head), 8);
    if (in.gcount() != 8) return kS_FALSE;
    return std::memcmp(head, cfb::kSignature, 8) == 0 ? kS_OK : kS_FALSE;
}

HResult CfbStorage::OpenRoot(const uint8_t* data, size_t size, std::shared_ptr<const void> owner,
                             std::unique_ptr<CfbStorage>* out, std::string* detail) {
    std::string error;
    auto reader = cfb::Reader::Open(data, size, std::move(owner), error);
    if (!reader) {
        if (detail) *detail = error;
        return kSTG_E_INVALIDHEADER;
    }
    auto state = std::make_shared<FileState>();
    state->reader = std::move(reader);
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->file_ = state;
    s->entry_ = 0;
    s->isRoot_ = true;
    s->name_ = "Root Entry";
    *out = std::move(s);
    return kS_OK;
}

// The file is read whole into memory: a design is held in memory anyway, and its structure is
// then checked on bytes at hand. The buffer isn't cleared first: the read fills it.
HResult OpenStorageFile(const std::string& fileName, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out,
                        std::string* detail) {
    out->reset();
    std::ifstream in(fileName, std::ios::binary | std::ios::ate);
    if (!in) return kSTG_E_FILENOTFOUND;
    std::streamoff size = in.tellg();
    if (size < 0) return kSTG_E_READFAULT;
    std::shared_ptr<uint8_t[]> bytes(new uint8_t[static_cast<size_t>(size) + 1]);
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.get()), size)) return kSTG_E_READFAULT;
    if (size < 8 || std::memcmp(bytes.get(), cfb::kSignature, 8) != 0) return kSTG_E_INVALIDHEADER;
    const uint8_t* data = bytes.get();
    return CfbStorage::OpenRoot(data, static_cast<size_t>(size), std::move(bytes), out, detail);
}

HResult OpenStorageMemory(std::vector<uint8_t> bytes, std::unique_ptr<CfbStorage>* out, std::string* detail) {
    out->reset();
    auto owned = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
    return CfbStorage::OpenRoot(owned->data(), owned->size(), owned, out, detail);
}

HResult CreateStorageFile(const std::string& fileName, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    // Fail now, not at the close, when the file can't be made.
    {
        std::ofstream probe(fileName, std::ios::binary | std::ios::app);
        if (!probe) return kSTG_E_ACCESSDENIED;
    }
    auto state = std::make_shared<FileState>();
    state->fileName = fileName;
    state->tree = std::make_shared<Node>();
    state->tree->name = "Root Entry";
    state->tree->isStorage = true;
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->file_ = state;
    s->node_ = state->tree;
    s->isRoot_ = true;
    s->name_ = "Root Entry";
    *out = std::move(s);
    return kS_OK;
}

}  // namespace orcadx::platform
