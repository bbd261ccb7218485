#include <stdlib.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "cli/Context.h"
#include "entry/FileTest.h"

namespace orcadx::cli {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(const std::string& prefix) {
    std::string pattern = (fs::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (mkdtemp(pattern.data())) path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ec;
    if (!path_.empty()) fs::remove_all(path_, ec);
}

CaptureInput::CaptureInput(const std::string& file) : path_(fs::absolute(file).string()) {
    design_ = entry::HasExtension(file, ".DSN");
    library_ = entry::HasExtension(file, ".OLB");
    if (design_ || library_ || !entry::HasExtension(file, ".OBK")) return;
    // A library backup: the file test takes libraries by their extension, so the translator gets
    // a link to the file under the library's name with .OLB.
    temporary_.emplace("orcadx");
    if (temporary_->Path().empty()) throw std::runtime_error("cannot make a temporary folder for " + file);
    fs::path link = fs::path(temporary_->Path()) / (fs::path(file).stem().string() + ".OLB");
    std::error_code ec;
    fs::create_symlink(path_, link, ec);
    if (ec) throw std::runtime_error("cannot link " + file + " as a library: " + ec.message());
    std::cerr << "note: " << file << " is a Capture library under another extension; it is read as "
              << link.filename().string() << "\n";
    path_ = link.string();
    library_ = true;
}

}  // namespace orcadx::cli
