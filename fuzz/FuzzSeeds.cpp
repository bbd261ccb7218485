// Writes the starting inputs of the record fuzzer: every stream of the given Capture files that a
// record loader reads, behind the prefix that names its record and the file's version.
//
//   orcadx_fuzz_seeds OUTDIR MAXBYTES FILE...
//   orcadx_fuzz_seeds --hostile OUTDIR MAXBYTES
//
// The second form writes starting inputs of the design fuzzer instead: files of every family of
// fuzz/HostileFiles.h at a few small sizes.
//
// Streams longer than MAXBYTES are left out, so that the fuzzer spends its time on inputs it can
// mutate quickly.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/FuzzEntries.h"
#include "fuzz/HostileFiles.h"
#include "platform/CompoundFile.h"

namespace fs = std::filesystem;
using namespace orcadx;
using platform::CfbStorage;
using platform::CfbStream;

namespace {

std::vector<uint8_t> ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

bool StreamBytes(CfbStorage& storage, const std::string& name, std::vector<uint8_t>& out) {
    std::unique_ptr<CfbStream> s;
    if (storage.OpenStream(name, platform::kSTGM_SHARE_EXCLUSIVE, &s) != platform::kS_OK) return false;
    out = s->Contents();
    return true;
}

std::unique_ptr<CfbStorage> Child(CfbStorage& storage, const std::string& name) {
    std::unique_ptr<CfbStorage> s;
    storage.OpenStorage(name, platform::kSTGM_SHARE_EXCLUSIVE, &s);
    return s;
}

}  // namespace

// Files of every odd family at a few sizes, up to `maxBytes` each.
int WriteHostileSeeds(const fs::path& outDir, size_t maxBytes) {
    fs::create_directories(outDir);
    int written = 0;
    for (int f = 0; f < static_cast<int>(fuzz::Hostile::Count); ++f) {
        auto family = static_cast<fuzz::Hostile>(f);
        for (int n : {1, 3, 40}) {
            std::vector<uint8_t> bytes = fuzz::MakeHostileFile(family, n);
            if (bytes.size() > maxBytes) continue;
            std::ofstream(outDir / ("hostile-" + std::to_string(f) + "-" + std::to_string(n)), std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            ++written;
        }
    }
    std::cout << written << " odd files written to " << outDir << "\n";
    return 0;
}

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "--hostile") return WriteHostileSeeds(argv[2], std::strtoul(argv[3], nullptr, 10));
    if (argc < 4) {
        std::cerr << "usage: orcadx_fuzz_seeds OUTDIR MAXBYTES FILE...\n";
        return 2;
    }
    fs::path outDir = argv[1];
    size_t maxBytes = std::strtoul(argv[2], nullptr, 10);
    fs::create_directories(outDir);
    int written = 0;
    for (int a = 3; a < argc; ++a) {
        fs::path file = argv[a];
        std::unique_ptr<CfbStorage> root;
        if (platform::OpenStorageMemory(ReadFile(file), &root) != platform::kS_OK) continue;
        std::vector<uint8_t> library;
        if (!StreamBytes(*root, "Library", library) || library.size() < 36) continue;
        uint32_t version = library[32] | (library[33] << 8) | (library[34] << 16) | (uint32_t(library[35]) << 24);
        int n = 0;
        auto emit = [&](fuzz::RecordKind kind, uint8_t symbolId, const std::vector<uint8_t>& bytes) {
            if (bytes.size() > maxBytes) return;
            auto input = fuzz::RecordInput(kind, version, symbolId, bytes);
            std::string name = file.stem().string() + "-" + std::to_string(static_cast<int>(kind)) + "-" +
                               std::to_string(n++);
            std::ofstream(outDir / name, std::ios::binary)
                .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
            ++written;
        };
        std::vector<uint8_t> bytes;
        emit(fuzz::RecordKind::Library, 0, library);
        if (StreamBytes(*root, "Cache", bytes)) emit(fuzz::RecordKind::Cache, 0, bytes);
        if (StreamBytes(*root, "Packages Directory", bytes)) emit(fuzz::RecordKind::PackagesDirectory, 0, bytes);
        if (StreamBytes(*root, "Symbols Directory", bytes)) emit(fuzz::RecordKind::SymbolsDirectory, 0, bytes);
        if (StreamBytes(*root, "Views Directory", bytes)) emit(fuzz::RecordKind::ViewsDirectory, 0, bytes);
        if (auto packages = Child(*root, "Packages"))
            for (const auto& e : packages->List())
                if (!e.isStorage && StreamBytes(*packages, e.name, bytes)) emit(fuzz::RecordKind::Component, 0, bytes);
        if (auto symbols = Child(*root, "Symbols"))
            for (const auto& e : symbols->List()) {
                if (e.isStorage || e.name == "$Types$" || !StreamBytes(*symbols, e.name, bytes)) continue;
                // The symbol's type code comes from its directory, which the fuzzer lets vary anyway:
                // the frame's own ID byte is the usual one.
                uint8_t id = bytes.empty() ? 0 : bytes[0];
                emit(fuzz::RecordKind::Symbol, id, bytes);
            }
        if (auto views = Child(*root, "Views"))
            for (const auto& v : views->List()) {
                if (!v.isStorage) continue;
                auto view = Child(*views, v.name);
                if (!view) continue;
                if (StreamBytes(*view, "Schematic", bytes)) emit(fuzz::RecordKind::Schematics, 0, bytes);
                if (auto hierarchy = Child(*view, "Hierarchy"))
                    if (StreamBytes(*hierarchy, "Hierarchy", bytes)) emit(fuzz::RecordKind::Hierarchy, 0, bytes);
                if (auto pages = Child(*view, "Pages"))
                    for (const auto& p : pages->List())
                        if (!p.isStorage && StreamBytes(*pages, p.name, bytes)) emit(fuzz::RecordKind::Page, 0, bytes);
            }
    }
    std::printf("%d record inputs written to %s\n", written, outDir.string().c_str());
    return 0;
}
