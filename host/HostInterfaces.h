// Abstract interfaces between the translator and the host application that loads it.
// The translator (a shared library) and the host both include this header; every object behind
// these interfaces belongs to the host and is only borrowed for one call.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orcadx::host {

// Result code of a host call: 0 is success, a negative value a failure. The translator turns a
// failing code into an exception.
using HResult = int32_t;
constexpr HResult kOk = 0;
constexpr HResult kFail = static_cast<HResult>(0x80004005u);

// Raised when the host reports a failure (a failing result code or a refused call).
class EApiErr : public std::runtime_error {
public:
    explicit EApiErr(const std::string& message) : std::runtime_error(message) {}
};

// Progress and status line of a running translation.
class IHandler_Status {
public:
    virtual ~IHandler_Status() = default;
    virtual HResult SetStatusTitle(const std::string& text) = 0;
    virtual HResult SetStatusLine(const std::string& text) = 0;
    virtual HResult BeginStatus() = 0;
    virtual HResult EndStatus() = 0;
    virtual HResult SetProgressRange(int32_t total) = 0;
    // Adds `units` to the progress: the argument is a difference, not a position.
    virtual HResult AdvanceProgress(int32_t units) = 0;
    virtual HResult CompleteProgress() = 0;
};

// Severity of a log message.
enum LogSeverity : int32_t { kLogError = 0, kLogWarning = 1, kLogInfo = 2 };

// A node of the host's message tree.
class ILogSection {
public:
    virtual ~ILogSection() = default;
    // A child section; the host keeps ownership of it, the pointer stays valid as long as the root.
    virtual HResult AddSubSection(const std::string& title, ILogSection** out) = 0;
    virtual HResult AddMessage(int32_t severity, const std::string& text) = 0;
};

// The host's bag of import settings, passed on from the driver to the importers.
class IOrcadImporterOption {
public:
    virtual ~IOrcadImporterOption() = default;
    virtual bool GetSkipTitleBlocks() = 0;
    virtual bool GetUseTemplate() = 0;
    virtual std::string GetTemplateFileName() = 0;
    virtual bool GetAutoPositionParameters() = 0;
    virtual bool GetClearPreference() = 0;
    virtual int32_t GetImportScale() = 0;
    virtual bool GetScaleSheetToPinSpacing() = 0;
    virtual int32_t GetJunctionMode() = 0;
    virtual bool GetDefaultComponentFill() = 0;
    virtual bool GetOffPageAsPorts() = 0;
    virtual void SetDefaultComponentFill(bool value) = 0;
    // The folders of PSpice model libraries (.lib files), searched in this order.
    virtual int32_t GetLibraryDirectoryCount() = 0;
    virtual std::string GetLibraryDirectory(int32_t index) = 0;
};

// Usage analytics with named counters and timers.
class IAnalyticsMonitor {
public:
    virtual ~IAnalyticsMonitor() = default;
    virtual void StartTimer(const std::string& category, const std::string& key) = 0;
    virtual void StopTimer(const std::string& category, const std::string& key) = 0;
    virtual void CancelTimer(const std::string& category, const std::string& key) = 0;
    virtual void SetIntegerValue(const std::string& category, const std::string& key, int64_t value) = 0;
    virtual void SetBooleanValue(const std::string& category, const std::string& key, bool value) = 0;
};

// A list of names that the host hands to an analysis (documents an import would make, models it
// would need).
class IStringList {
public:
    virtual ~IStringList() = default;
    virtual void Add(const std::string& text) = 0;
    virtual int32_t Count() const = 0;
    virtual std::string Get(int32_t index) const = 0;
};

}  // namespace orcadx::host
