// Reporting of a running translation: progress and status line, the log tree, analytics, and the
// run-time switches. Every host object may be absent; then nothing is reported.
#pragma once

#include <cstdint>
#include <string>

#include "host/HostInterfaces.h"

namespace orcadx::platform {

using host::EApiErr;

// Raises EApiErr when a host call failed.
void CheckHost(host::HResult result, const char* operation);

// Rounds half to even, as progress positions are computed.
int64_t RoundHalfEven(double value);

// The host's progress reporter, with every call guarded for a null reporter and checked.
class StatusReporter {
public:
    explicit StatusReporter(host::IHandler_Status* status) : status_(status) {}
    host::IHandler_Status* Get() const { return status_; }
    void Title(const std::string& text);
    void Line(const std::string& text);
    void Begin();
    void End();
    void Range(int32_t total);
    void Advance(int32_t units);
    void Complete();

private:
    host::IHandler_Status* status_;
};

// Spreads a share of progress units over M items: after item i the position is
// round(i / M x share), and the host is given the difference from the last position, so the
// units add up to the share whatever the rounding does.
class ProgressSpreader {
public:
    ProgressSpreader(host::IHandler_Status* status, int32_t share, int64_t items)
        : status_(status), share_(share), items_(items) {}
    // Item `done` (counted from 1) is finished.
    void Step(int64_t done);
    // Gives what is left of the share (for a walk that ends early or has no items).
    void Finish();
    int64_t Position() const { return position_; }

private:
    StatusReporter status_;
    int32_t share_;
    int64_t items_;
    int64_t position_ = 0;
};

void LogMessage(host::ILogSection* log, int32_t severity, const std::string& text);
// A child section of `log`, or null when `log` is null.
host::ILogSection* AddSubSection(host::ILogSection* log, const std::string& title);

// True when the environment variable KEL_USE_NATIVE_ORCAD_IMPORT exists, read anew each time.
bool UseNativeImportRules();
// "Arial" under native rules, else "Times New Roman"; fixed when the module loads.
const std::string& DefaultFontFace();

// Analytics under the category "Importers"; a missing monitor records nothing.
void SetAnalyticsMonitor(host::IAnalyticsMonitor* monitor);
void AnalyticsStart(const std::string& key);
void AnalyticsSuccess(const std::string& key, int64_t count);
void AnalyticsFailure(const std::string& key);

}  // namespace orcadx::platform
