#include "platform/Status.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdlib>

namespace orcadx::platform {

void CheckHost(host::HResult result, const char* operation) {
    if (result < 0) throw EApiErr(fmt::format("The host failed in {} (code 0x{:08X})", operation,
                                              static_cast<uint32_t>(result)));
}

int64_t RoundHalfEven(double value) { return static_cast<int64_t>(std::nearbyint(value)); }

void StatusReporter::Title(const std::string& text) {
    if (status_) CheckHost(status_->SetStatusTitle(text), "SetStatusTitle");
}
void StatusReporter::Line(const std::string& text) {
    if (status_) CheckHost(status_->SetStatusLine(text), "SetStatusLine");
}
void StatusReporter::Begin() {
    if (status_) CheckHost(status_->BeginStatus(), "BeginStatus");
}
void StatusReporter::End() {
    if (status_) CheckHost(status_->EndStatus(), "EndStatus");
}
void StatusReporter::Range(int32_t total) {
    if (status_) CheckHost(status_->SetProgressRange(total), "SetProgressRange");
}
void StatusReporter::Advance(int32_t units) {
    if (status_) CheckHost(status_->AdvanceProgress(units), "AdvanceProgress");
}
void StatusReporter::Complete() {
    if (status_) CheckHost(status_->CompleteProgress(), "CompleteProgress");
}

void ProgressSpreader::Step(int64_t done) {
    if (items_ <= 0) return;
    int64_t target = RoundHalfEven(static_cast<double>(done) / static_cast<double>(items_) * share_);
    if (target != position_) status_.Advance(static_cast<int32_t>(target - position_));
    position_ = target;
}

void ProgressSpreader::Finish() {
    if (position_ != share_) status_.Advance(static_cast<int32_t>(share_ - position_));
    position_ = share_;
}

void LogMessage(host::ILogSection* log, int32_t severity, const std::string& text) {
    if (log) CheckHost(log->AddMessage(severity, text), "AddMessage");
}

host::ILogSection* AddSubSection(host::ILogSection* log, const std::string& title) {
    if (!log) return nullptr;
    host::ILogSection* child = nullptr;
    CheckHost(log->AddSubSection(title, &child), "AddSubSection");
    return child;
}

bool UseNativeImportRules() { return std::getenv("KEL_USE_NATIVE_ORCAD_IMPORT") != nullptr; }

const std::string& DefaultFontFace() {
    static const std::string face = UseNativeImportRules() ? "Arial" : "Times New Roman";
    return face;
}

namespace {
host::IAnalyticsMonitor* g_monitor = nullptr;
const char kCategory[] = "Importers";
}  // namespace

void SetAnalyticsMonitor(host::IAnalyticsMonitor* monitor) { g_monitor = monitor; }

void AnalyticsStart(const std::string& key) {
    if (g_monitor) g_monitor->StartTimer(kCategory, key + ".ImportDuration");
}

void AnalyticsSuccess(const std::string& key, int64_t count) {
    if (!g_monitor) return;
    g_monitor->StopTimer(kCategory, key + ".ImportDuration");
    g_monitor->SetIntegerValue(kCategory, key + ".Project.Count.Files.SCH", count);
    g_monitor->SetBooleanValue(kCategory, key + ".Success", true);
}

void AnalyticsFailure(const std::string& key) {
    if (!g_monitor) return;
    g_monitor->CancelTimer(kCategory, key + ".ImportDuration");
    g_monitor->SetBooleanValue(kCategory, key + ".Success", false);
}

}  // namespace orcadx::platform
