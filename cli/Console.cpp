#include "cli/Console.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace orcadx::cli {

ConsoleStatus::~ConsoleStatus() { ClearBar(); }

host::HResult ConsoleStatus::SetStatusTitle(const std::string& text) {
    title_ = text;
    if (!quiet_ && !terminal_) fmt::print(out_, "{}\n", text);
    Draw(true);
    return host::kOk;
}

host::HResult ConsoleStatus::SetStatusLine(const std::string& text) {
    line_ = text;
    if (!quiet_ && !terminal_) fmt::print(out_, "  {}\n", text);
    Draw(false);
    return host::kOk;
}

host::HResult ConsoleStatus::BeginStatus() {
    ++depth_;
    return host::kOk;
}

host::HResult ConsoleStatus::EndStatus() {
    if (depth_ > 0) --depth_;
    if (depth_ == 0) ClearBar();
    return host::kOk;
}

host::HResult ConsoleStatus::SetProgressRange(int32_t total) {
    total_ = total;
    position_ = 0;
    Draw(true);
    return host::kOk;
}

host::HResult ConsoleStatus::AdvanceProgress(int32_t units) {
    position_ += units;
    Draw(false);
    return host::kOk;
}

host::HResult ConsoleStatus::CompleteProgress() {
    position_ = total_;
    Draw(true);
    return host::kOk;
}

void ConsoleStatus::Draw(bool force) {
    if (quiet_ || !terminal_) return;
    auto now = std::chrono::steady_clock::now();
    if (!force && barShown_ && now - lastDraw_ < std::chrono::milliseconds(50)) return;
    lastDraw_ = now;
    const int width = 30;
    double frac = total_ > 0 ? std::clamp(static_cast<double>(position_) / total_, 0.0, 1.0) : 0.0;
    int filled = static_cast<int>(frac * width + 0.5);
    std::string text = line_.empty() ? title_ : line_;
    if (text.size() > 60) text = text.substr(0, 57) + "...";
    fmt::print(out_, "\r\033[K[{}{}] {:3d}% {}", std::string(filled, '#'), std::string(width - filled, '.'),
               static_cast<int>(frac * 100 + 0.5), text);
    std::fflush(out_);
    barShown_ = true;
}

void ConsoleStatus::ClearBar() {
    if (!barShown_) return;
    fmt::print(out_, "\r\033[K");
    std::fflush(out_);
    barShown_ = false;
}

}  // namespace orcadx::cli
