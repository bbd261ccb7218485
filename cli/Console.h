// Progress of a run on the terminal.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "host/HostInterfaces.h"

namespace orcadx::cli {

// Progress on stderr: a bar redrawn in place on a terminal, plain lines (title and status changes)
// otherwise, nothing when quiet.
class ConsoleStatus : public host::IHandler_Status {
public:
    ConsoleStatus(std::FILE* out, bool terminal, bool quiet) : out_(out), terminal_(terminal), quiet_(quiet) {}
    ~ConsoleStatus() override;
    host::HResult SetStatusTitle(const std::string& text) override;
    host::HResult SetStatusLine(const std::string& text) override;
    host::HResult BeginStatus() override;
    host::HResult EndStatus() override;
    host::HResult SetProgressRange(int32_t total) override;
    host::HResult AdvanceProgress(int32_t units) override;
    host::HResult CompleteProgress() override;

    int64_t Position() const { return position_; }
    int32_t Total() const { return total_; }

private:
    void Draw(bool force);
    void ClearBar();
    std::FILE* out_;
    bool terminal_;
    bool quiet_;
    std::string title_, line_;
    int32_t total_ = 0;
    int64_t position_ = 0;
    int depth_ = 0;
    bool barShown_ = false;
    std::chrono::steady_clock::time_point lastDraw_{};
};

}  // namespace orcadx::cli
