#include "dbo/AsciiWriter.h"

#include <ios>

namespace orcadx::dbo {

bool TAsciiWriter::OpenForWriting(const std::string& fileName) {
    Close();
    file_.open(fileName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file_) throw std::ios_base::failure("Cannot create file " + fileName);
    file_.exceptions(std::ios::failbit | std::ios::badbit);
    out_ = &file_;
    IsOpen = true;
    TabIndent = 0;
    return true;
}

void TAsciiWriter::Close() {
    if (file_.is_open()) file_.close();
    out_ = nullptr;
    IsOpen = false;
}

void TAsciiWriter::WriteLine(const std::string& text) {
    if (!out_) return;
    if (!text.empty() && TabIndent > 0) *out_ << std::string(static_cast<size_t>(TabIndent) * 4, ' ');
    *out_ << text << "\n";
}

}  // namespace orcadx::dbo
