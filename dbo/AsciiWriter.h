// Indented text output of the database, one record per block of lines.
#pragma once

#include <cstdint>
#include <fstream>
#include <ostream>
#include <string>

namespace orcadx::dbo {

class TAsciiWriter {
public:
    TAsciiWriter() = default;
    // Writes to a stream that the caller owns (for tests and standard output).
    explicit TAsciiWriter(std::ostream& out) : out_(&out), IsOpen(true) {}
    ~TAsciiWriter() { Close(); }

    bool OpenForWriting(const std::string& fileName);
    void Close();
    void WriteLine(const std::string& text);
    void IncrementTab() { ++TabIndent; }
    void DecrementTab() { --TabIndent; }
    int32_t GetTabIndent() const { return TabIndent; }
    void SetTabIndent(int32_t indent) { TabIndent = indent; }

private:
    std::ofstream file_;
    std::ostream* out_ = nullptr;

public:
    bool IsOpen = false;
    int32_t TabIndent = 0;
};

}  // namespace orcadx::dbo
