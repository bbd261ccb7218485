#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "cli/Context.h"
#include "entry/FileTest.h"

namespace orcadx::cli {

namespace fs = std::filesystem;

CaptureInput::CaptureInput(const std::string& file) : path_(fs::absolute(file).string()) {
    design_ = entry::HasExtension(file, ".DSN");
    library_ = entry::HasExtension(file, ".OLB");
    if (design_ || library_ || !entry::HasExtension(file, ".OBK")) return;
    // A library backup: the file test takes libraries by their extension, so the translator gets
    // a link to the file under the library's name with .OLB.
    std::string pattern = (fs::temp_directory_path() / "orcadx-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary folder for " + file);
    temporary_ = pattern;
    fs::path link = fs::path(temporary_) / (fs::path(file).stem().string() + ".OLB");
    std::error_code ec;
    fs::create_symlink(path_, link, ec);
    if (ec) {
        fs::remove_all(temporary_, ec);
        throw std::runtime_error("cannot link " + file + " as a library: " + ec.message());
    }
    std::cerr << "note: " << file << " is a Capture library under another extension; it is read as "
              << link.filename().string() << "\n";
    path_ = link.string();
    library_ = true;
}

CaptureInput::~CaptureInput() {
    if (temporary_.empty()) return;
    std::error_code ec;
    fs::remove_all(temporary_, ec);
}

}  // namespace orcadx::cli
