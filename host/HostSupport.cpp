#include "host/HostSupport.h"

namespace orcadx::host {

HResult LogSection::AddSubSection(const std::string& title, ILogSection** out) {
    sections_.push_back(std::make_unique<LogSection>(title));
    if (out) *out = sections_.back().get();
    return kOk;
}

HResult LogSection::AddMessage(int32_t severity, const std::string& text) {
    if (severity < kLogError || severity > kLogInfo) return kFail;
    messages_.emplace_back(severity, text);
    return kOk;
}

std::vector<std::string> LogSection::AllMessages(int32_t severity) const {
    std::vector<std::string> out;
    for (const auto& [s, text] : messages_)
        if (severity < 0 || s == severity) out.push_back(text);
    for (const auto& section : sections_)
        for (auto& m : section->AllMessages(severity)) out.push_back(std::move(m));
    return out;
}

void LogSection::Write(std::ostream& out, int indent) const {
    std::string pad(static_cast<size_t>(indent) * 2, ' ');
    if (!title_.empty()) out << pad << title_ << "\n";
    int inner = title_.empty() ? indent : indent + 1;
    std::string innerPad(static_cast<size_t>(inner) * 2, ' ');
    // Messages and sections keep no common order; messages come first.
    for (const auto& [s, text] : messages_)
        out << innerPad << (s == kLogError ? "error: " : s == kLogWarning ? "warning: " : "info: ") << text << "\n";
    for (const auto& section : sections_) section->Write(out, inner);
}

HResult StatusRecorder::SetStatusTitle(const std::string& text) {
    title = text;
    if (echo_) *echo_ << text << "\n";
    return kOk;
}

HResult StatusRecorder::SetStatusLine(const std::string& text) {
    lines.push_back(text);
    if (echo_) *echo_ << "  " << text << "\n";
    return kOk;
}

HResult StatusRecorder::BeginStatus() {
    ++depth;
    return kOk;
}

HResult StatusRecorder::EndStatus() {
    if (depth == 0) return kFail;
    --depth;
    return kOk;
}

HResult StatusRecorder::SetProgressRange(int32_t total) {
    range = total;
    position = 0;
    completed = false;
    return kOk;
}

HResult StatusRecorder::AdvanceProgress(int32_t units) {
    position += units;
    return kOk;
}

HResult StatusRecorder::CompleteProgress() {
    completed = true;
    position = range;
    return kOk;
}

std::string ImporterOptions::GetLibraryDirectory(int32_t index) {
    if (index < 0 || index >= GetLibraryDirectoryCount()) throw EApiErr("Library directory index out of range");
    return libraryDirectories[static_cast<size_t>(index)];
}

std::string StringList::Get(int32_t index) const {
    if (index < 0 || index >= Count()) return {};
    return items[static_cast<size_t>(index)];
}

}  // namespace orcadx::host
