#include "cli/Console.h"

#include <fmt/format.h>

#include <algorithm>

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

const char* SeverityName(int32_t severity) {
    switch (severity) {
        case host::kLogError: return "error";
        case host::kLogWarning: return "warning";
        default: return "info";
    }
}

host::HResult LogTree::AddSubSection(const std::string& title, host::ILogSection** out) {
    Entry e;
    e.child = std::make_unique<LogTree>(title);
    if (out) *out = e.child.get();
    entries_.push_back(std::move(e));
    return host::kOk;
}

host::HResult LogTree::AddMessage(int32_t severity, const std::string& text) {
    Entry e;
    e.severity = severity;
    e.text = text;
    entries_.push_back(std::move(e));
    return host::kOk;
}

bool LogTree::Empty() const {
    for (const auto& e : entries_)
        if (!e.child || !e.child->Empty()) return false;
    return true;
}

int LogTree::Count(int32_t severity) const {
    int n = 0;
    for (const auto& e : entries_) n += e.child ? e.child->Count(severity) : (e.severity == severity ? 1 : 0);
    return n;
}

void LogTree::Print(std::ostream& out, int32_t maxSeverity, int depth) const {
    std::string indent(static_cast<size_t>(depth) * 2, ' ');
    for (const auto& e : entries_) {
        if (e.child) {
            if (e.child->Empty()) continue;
            out << indent << e.child->title_ << "\n";
            e.child->Print(out, maxSeverity, depth + 1);
        } else if (e.severity <= maxSeverity) {
            std::string text = e.text;
            std::replace(text.begin(), text.end(), '\r', ' ');
            out << indent << SeverityName(e.severity) << ": " << text << "\n";
        }
    }
}

void MemoryAnalytics::StartTimer(const std::string& category, const std::string& key) {
    running_[category + "/" + key] = std::chrono::steady_clock::now();
}

void MemoryAnalytics::StopTimer(const std::string& category, const std::string& key) {
    auto it = running_.find(category + "/" + key);
    if (it == running_.end()) return;
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - it->second);
    values_[it->first] = fmt::format("{} ms", ms.count());
    running_.erase(it);
}

void MemoryAnalytics::CancelTimer(const std::string& category, const std::string& key) {
    running_.erase(category + "/" + key);
}

void MemoryAnalytics::SetIntegerValue(const std::string& category, const std::string& key, int64_t value) {
    values_[category + "/" + key] = std::to_string(value);
}

void MemoryAnalytics::SetBooleanValue(const std::string& category, const std::string& key, bool value) {
    values_[category + "/" + key] = value ? "true" : "false";
}

void MemoryAnalytics::Print(std::ostream& out) const {
    for (const auto& [k, v] : values_) out << k << " = " << v << "\n";
}

std::string MemoryAnalytics::Value(const std::string& category, const std::string& key) const {
    auto it = values_.find(category + "/" + key);
    return it == values_.end() ? "" : it->second;
}

}  // namespace orcadx::cli
