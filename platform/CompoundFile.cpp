#include "platform/CompoundFile.h"

#include <gsf/gsf.h>

#include "platform/TextCompare.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <mutex>

namespace orcadx::platform {

namespace {

// libgsf reports damaged files through GLib's log as well as through its results; the results
// are what this layer passes on, so the log lines are dropped.
void QuietLog(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

void EnsureGsf() {
    static std::once_flag once;
    std::call_once(once, [] {
        gsf_init();
        // libgsf's reader of compound files warns without a domain of its own.
        for (const char* domain : {static_cast<const char*>(nullptr), "libgsf", "libgsf:msole", "GLib", "GLib-GObject"})
            g_log_set_handler(domain, static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL |
                                                                  G_LOG_FLAG_RECURSION),
                              QuietLog, nullptr);
    });
}

// Length of a UTF-8 name in UTF-16 code units.
size_t Utf16Length(const std::string& s) {
    size_t n = 0;
    for (size_t i = 0; i < s.size();) {
        unsigned char c = s[i];
        size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : 4;
        n += len == 4 ? 2 : 1;
        i += len;
    }
    return n;
}

bool ValidName(const std::string& name) {
    return !name.empty() && Utf16Length(name) <= kMaxNameLength && g_utf8_validate(name.data(), name.size(), nullptr);
}

}  // namespace

struct Node {
    std::string name;
    bool isStorage = false;
    std::vector<uint8_t> data;
    std::vector<std::shared_ptr<Node>> children;

    std::shared_ptr<Node> Find(const std::string& childName) const {
        for (const auto& c : children)
            if (platform::SameTextNoCase(c->name, childName)) return c;
        return nullptr;
    }
};

struct FileState {
    GsfInfile* root = nullptr;  // reading
    GsfInput* source = nullptr;
    std::vector<uint8_t> memory;  // bytes of a file opened from memory
    uint64_t sourceSize = 0;
    std::string fileName;  // writing
    std::shared_ptr<Node> tree;

    ~FileState() {
        if (root) g_object_unref(root);
        if (source) g_object_unref(source);
    }
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

const std::vector<uint8_t>& CfbStream::Contents() const { return node_ ? node_->data : readData_; }

std::string CfbStream::Name() const { return name_; }

uint64_t CfbStream::Size() const { return node_ ? node_->data.size() : readData_.size(); }

HResult CfbStream::Read(void* buffer, uint32_t count, uint32_t* read) {
    const std::vector<uint8_t>& data = node_ ? node_->data : readData_;
    uint64_t avail = pos_ < data.size() ? data.size() - pos_ : 0;
    uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(avail, count));
    if (n) std::memcpy(buffer, data.data() + pos_, n);
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
    if (infile_) g_object_unref(static_cast<GsfInfile*>(infile_));
}

std::string CfbStorage::Name() const { return name_; }

bool CfbStorage::Writable() const { return node_ != nullptr; }

namespace {

// Finds a child of a storage being read: an exact match first, then one that differs in case.
GsfInput* ChildByName(GsfInfile* parent, const std::string& name) {
    if (GsfInput* in = gsf_infile_child_by_name(parent, name.c_str())) return in;
    int n = gsf_infile_num_children(parent);
    for (int i = 0; i < n; ++i) {
        const char* childName = gsf_infile_name_by_index(parent, i);
        if (childName && platform::SameTextNoCase(childName, name)) return gsf_infile_child_by_index(parent, i);
    }
    return nullptr;
}

bool IsDirectory(GsfInput* in) { return GSF_IS_INFILE(in) && gsf_infile_num_children(GSF_INFILE(in)) >= 0; }

}  // namespace

HResult CfbStorage::OpenStorage(const std::string& name, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out) {
    out->reset();
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
    if (!infile_) return kSTG_E_INVALIDPOINTER;
    GsfInput* child = ChildByName(static_cast<GsfInfile*>(infile_), name);
    if (!child) return kSTG_E_FILENOTFOUND;
    if (!IsDirectory(child)) {
        g_object_unref(child);
        return kSTG_E_FILENOTFOUND;
    }
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->file_ = file_;
    s->infile_ = child;
    const char* childName = gsf_input_name(child);
    s->name_ = childName ? childName : name;
    *out = std::move(s);
    return kS_OK;
}

HResult CfbStorage::OpenStream(const std::string& name, uint32_t /*mode*/, std::unique_ptr<CfbStream>* out) {
    out->reset();
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
    if (!infile_) return kSTG_E_INVALIDPOINTER;
    GsfInput* child = ChildByName(static_cast<GsfInfile*>(infile_), name);
    if (!child) return kSTG_E_FILENOTFOUND;
    if (IsDirectory(child)) {
        g_object_unref(child);
        return kSTG_E_FILENOTFOUND;
    }
    std::unique_ptr<CfbStream> s(new CfbStream());
    s->file_ = file_;
    const char* childName = gsf_input_name(child);
    s->name_ = childName ? childName : name;
    // A stream can't hold more than the file does: a larger size is damage, not data to allocate.
    gsf_off_t size = gsf_input_size(child);
    if (size < 0 || static_cast<uint64_t>(size) > file_->sourceSize) {
        g_object_unref(child);
        return kSTG_E_READFAULT;
    }
    s->readData_.resize(static_cast<size_t>(size));
    size_t done = 0;
    while (done < s->readData_.size()) {
        size_t chunk = std::min<size_t>(s->readData_.size() - done, 1 << 16);
        if (!gsf_input_read(child, chunk, s->readData_.data() + done)) {
            g_object_unref(child);
            return kSTG_E_READFAULT;
        }
        done += chunk;
    }
    g_object_unref(child);
    *out = std::move(s);
    return kS_OK;
}

HResult CfbStorage::NewChild(const std::string& name, uint32_t mode, bool isStorage, std::shared_ptr<Node>* child) {
    if (!node_) return kSTG_E_ACCESSDENIED;
    if (!ValidName(name)) return kSTG_E_INVALIDNAME;
    auto& kids = node_->children;
    auto it = std::find_if(kids.begin(), kids.end(),
                           [&](const auto& c) { return platform::SameTextNoCase(c->name, name); });
    if (it != kids.end()) {
        // Creating a name that exists replaces it, storage or stream, when asked to.
        if (!(mode & kSTGM_CREATE)) return kSTG_E_ACCESSDENIED;
        kids.erase(it);
    }
    *child = std::make_shared<Node>();
    (*child)->name = name;
    (*child)->isStorage = isStorage;
    kids.push_back(*child);
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
    if (!infile_) return out;
    auto* in = static_cast<GsfInfile*>(infile_);
    int n = gsf_infile_num_children(in);
    for (int i = 0; i < n; ++i) {
        GsfInput* child = gsf_infile_child_by_index(in, i);
        if (!child) continue;
        CfbEntry e;
        const char* childName = gsf_input_name(child);
        e.name = childName ? childName : "";
        e.isStorage = IsDirectory(child);
        if (!e.isStorage) e.size = static_cast<uint64_t>(std::max<gsf_off_t>(0, gsf_input_size(child)));
        g_object_unref(child);
        out.push_back(std::move(e));
    }
    return out;
}

namespace {

bool WriteNode(GsfOutfile* parent, const Node& node) {
    GsfOutput* out = gsf_outfile_new_child(parent, node.name.c_str(), node.isStorage);
    if (!out) return false;
    bool ok = true;
    if (node.isStorage) {
        for (const auto& c : node.children) ok = ok && WriteNode(GSF_OUTFILE(out), *c);
    } else if (!node.data.empty()) {
        ok = gsf_output_write(out, node.data.size(), node.data.data());
    }
    ok = gsf_output_close(out) && ok;
    g_object_unref(out);
    return ok;
}

}  // namespace

HResult CfbStorage::Close() {
    if (closed_) return closeResult_;
    closed_ = true;
    if (!isRoot_ || !node_) return closeResult_;
    GError* err = nullptr;
    GsfOutput* sink = gsf_output_stdio_new(file_->fileName.c_str(), &err);
    if (!sink) {
        if (err) g_error_free(err);
        return closeResult_ = kSTG_E_ACCESSDENIED;
    }
    GsfOutfile* root = gsf_outfile_msole_new(sink);
    bool ok = root != nullptr;
    if (root) {
        for (const auto& c : node_->children) ok = ok && WriteNode(root, *c);
        ok = gsf_output_close(GSF_OUTPUT(root)) && ok;
        g_object_unref(root);
    }
    ok = (gsf_output_is_closed(sink) || gsf_output_close(sink)) && ok;
    g_object_unref(sink);
    return closeResult_ = ok ? kS_OK : kSTG_E_WRITEFAULT;
}

// ---------------------------------------------------------------------------------------------
// Files

HResult IsStorageFile(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    if (!in) return kSTG_E_FILENOTFOUND;
    static const uint8_t sig[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    uint8_t head[8] = {};
    in.read(reinterpret_cast<char*>(head), 8);
    if (in.gcount() != 8) return kS_FALSE;
    return std::memcmp(head, sig, 8) == 0 ? kS_OK : kS_FALSE;
}

namespace {

// Puts right, in a copy about to be read, what the reader of compound files would mishandle:
//  - the root entry's sibling links. The root has no siblings, and nothing reads them; a damaged
//    file that sets them makes libgsf build entries that belong to no storage and are never freed.
void RepairForReading(std::vector<uint8_t>& bytes) {
    if (bytes.size() < 512) return;
    auto u32 = [&](size_t at) {
        return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) | (uint32_t(bytes[at + 3]) << 24);
    };
    unsigned shift = bytes[0x1E] | (bytes[0x1F] << 8);
    if (shift != 9 && shift != 12) return;  // refused by the reader anyway
    uint64_t firstDir = u32(0x30);
    uint64_t root = (firstDir + 1) << shift;
    if (firstDir >= 0xFFFFFFFA || root + 128 > bytes.size()) return;
    for (size_t link : {root + 0x44, root + 0x48})
        for (size_t i = 0; i < 4; ++i) bytes[link + i] = 0xFF;
}

}  // namespace

// The file is read whole into memory: a design is held in memory anyway, and the reader then
// works on bytes that can be checked and repaired first.
HResult OpenStorageFile(const std::string& fileName, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    HResult hr = IsStorageFile(fileName);
    if (hr != kS_OK) return hr == kS_FALSE ? kSTG_E_INVALIDHEADER : hr;
    std::ifstream in(fileName, std::ios::binary | std::ios::ate);
    if (!in) return kSTG_E_FILENOTFOUND;
    std::streamoff size = in.tellg();
    if (size < 0) return kSTG_E_READFAULT;
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size)) return kSTG_E_READFAULT;
    return OpenStorageMemory(std::move(bytes), out);
}

HResult OpenStorageMemory(std::vector<uint8_t> bytes, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    EnsureGsf();
    auto state = std::make_shared<FileState>();
    state->memory = std::move(bytes);
    RepairForReading(state->memory);
    state->sourceSize = state->memory.size();
    state->source = gsf_input_memory_new(state->memory.data(), static_cast<gsf_off_t>(state->memory.size()), FALSE);
    if (!state->source) return kSTG_E_INSUFFICIENTMEMORY;
    GError* err = nullptr;
    GsfInfile* root = gsf_infile_msole_new(state->source, &err);
    if (!root) {
        if (err) g_error_free(err);
        return kSTG_E_INVALIDHEADER;
    }
    state->root = root;
    g_object_ref(root);
    std::unique_ptr<CfbStorage> s(new CfbStorage());
    s->infile_ = root;
    s->file_ = state;
    s->isRoot_ = true;
    s->name_ = "Root Entry";
    *out = std::move(s);
    return kS_OK;
}

HResult CreateStorageFile(const std::string& fileName, uint32_t /*mode*/, std::unique_ptr<CfbStorage>* out) {
    out->reset();
    EnsureGsf();
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
