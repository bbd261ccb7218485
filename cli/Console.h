// The command line's side of the status, log, option and analytics interfaces.
#pragma once

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

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

// A node of the message tree, kept in memory and printed at the end.
class LogTree : public host::ILogSection {
public:
    explicit LogTree(std::string title) : title_(std::move(title)) {}
    host::HResult AddSubSection(const std::string& title, host::ILogSection** out) override;
    host::HResult AddMessage(int32_t severity, const std::string& text) override;

    // Prints the tree with the severity of each message, indented by depth; empty sections are
    // left out. `minSeverity` drops messages of a higher (less important) severity.
    void Print(std::ostream& out, int32_t maxSeverity = host::kLogInfo, int depth = 0) const;
    int Count(int32_t severity) const;
    bool Empty() const;

private:
    struct Entry {
        int32_t severity = 0;
        std::string text;
        std::unique_ptr<LogTree> child;
    };
    std::string title_;
    std::vector<Entry> entries_;
};

const char* SeverityName(int32_t severity);

// Import options from command-line flags.
class CommandLineOptions : public host::IOrcadImporterOption {
public:
    bool SkipTitleBlocks = false;
    bool UseTemplate = false;
    std::string TemplateFileName;
    bool AutoPositionParameters = false;
    bool ClearPreference = false;
    int32_t ImportScale = 0;
    bool ScaleSheetToPinSpacing = false;
    int32_t JunctionMode = 0;
    bool DefaultComponentFill = true;
    bool OffPageAsPorts = false;

    bool GetSkipTitleBlocks() override { return SkipTitleBlocks; }
    bool GetUseTemplate() override { return UseTemplate; }
    std::string GetTemplateFileName() override { return TemplateFileName; }
    bool GetAutoPositionParameters() override { return AutoPositionParameters; }
    bool GetClearPreference() override { return ClearPreference; }
    int32_t GetImportScale() override { return ImportScale; }
    bool GetScaleSheetToPinSpacing() override { return ScaleSheetToPinSpacing; }
    int32_t GetJunctionMode() override { return JunctionMode; }
    bool GetDefaultComponentFill() override { return DefaultComponentFill; }
    bool GetOffPageAsPorts() override { return OffPageAsPorts; }
    void SetDefaultComponentFill(bool value) override { DefaultComponentFill = value; }
};

// Analytics kept in memory; printed with --stats.
class MemoryAnalytics : public host::IAnalyticsMonitor {
public:
    void StartTimer(const std::string& category, const std::string& key) override;
    void StopTimer(const std::string& category, const std::string& key) override;
    void CancelTimer(const std::string& category, const std::string& key) override;
    void SetIntegerValue(const std::string& category, const std::string& key, int64_t value) override;
    void SetBooleanValue(const std::string& category, const std::string& key, bool value) override;
    void Print(std::ostream& out) const;
    // The recorded value of category/key as text, or "" when none.
    std::string Value(const std::string& category, const std::string& key) const;

private:
    std::map<std::string, std::chrono::steady_clock::time_point> running_;
    std::map<std::string, std::string> values_;
};

class StringList : public host::IStringList {
public:
    void Add(const std::string& text) override { items.push_back(text); }
    int32_t Count() const override { return static_cast<int32_t>(items.size()); }
    std::string Get(int32_t index) const override { return items.at(static_cast<size_t>(index)); }
    std::vector<std::string> items;
};

}  // namespace orcadx::cli
