// The host's own implementations of the status, log, option and string list interfaces that it
// hands to the translator.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "host/HostInterfaces.h"

namespace orcadx::host {

// A node of the message tree; children live as long as the root.
class LogSection final : public ILogSection {
public:
    explicit LogSection(std::string title = {}) : title_(std::move(title)) {}
    HResult AddSubSection(const std::string& title, ILogSection** out) override;
    HResult AddMessage(int32_t severity, const std::string& text) override;

    const std::string& Title() const { return title_; }
    const std::vector<std::pair<int32_t, std::string>>& Messages() const { return messages_; }
    const std::vector<std::unique_ptr<LogSection>>& Sections() const { return sections_; }
    // Messages of this section and all below, in order; `severity` -1 for all.
    std::vector<std::string> AllMessages(int32_t severity = -1) const;
    // The tree as indented text: sections by title, messages with "error", "warning" or "info".
    void Write(std::ostream& out, int indent = 0) const;

private:
    std::string title_;
    std::vector<std::pair<int32_t, std::string>> messages_;
    std::vector<std::unique_ptr<LogSection>> sections_;
};

// Status and progress; prints status lines to `echo` when given.
class StatusRecorder final : public IHandler_Status {
public:
    explicit StatusRecorder(std::ostream* echo = nullptr) : echo_(echo) {}
    HResult SetStatusTitle(const std::string& text) override;
    HResult SetStatusLine(const std::string& text) override;
    HResult BeginStatus() override;
    HResult EndStatus() override;
    HResult SetProgressRange(int32_t total) override;
    HResult AdvanceProgress(int32_t units) override;
    HResult CompleteProgress() override;

    std::string title;
    std::vector<std::string> lines;
    int32_t depth = 0;
    int32_t range = 0;
    int32_t position = 0;
    bool completed = false;

private:
    std::ostream* echo_;
};

// The import settings as plain fields.
class ImporterOptions final : public IOrcadImporterOption {
public:
    bool skipTitleBlocks = false;
    bool useTemplate = false;
    std::string templateFileName;
    bool autoPositionParameters = false;
    bool clearPreference = false;
    int32_t importScale = 0;
    bool scaleSheetToPinSpacing = false;
    int32_t junctionMode = 0;
    bool defaultComponentFill = false;
    bool offPageAsPorts = false;
    std::vector<std::string> libraryDirectories;

    bool GetSkipTitleBlocks() override { return skipTitleBlocks; }
    bool GetUseTemplate() override { return useTemplate; }
    std::string GetTemplateFileName() override { return templateFileName; }
    bool GetAutoPositionParameters() override { return autoPositionParameters; }
    bool GetClearPreference() override { return clearPreference; }
    int32_t GetImportScale() override { return importScale; }
    bool GetScaleSheetToPinSpacing() override { return scaleSheetToPinSpacing; }
    int32_t GetJunctionMode() override { return junctionMode; }
    bool GetDefaultComponentFill() override { return defaultComponentFill; }
    bool GetOffPageAsPorts() override { return offPageAsPorts; }
    void SetDefaultComponentFill(bool value) override { defaultComponentFill = value; }
    int32_t GetLibraryDirectoryCount() override { return static_cast<int32_t>(libraryDirectories.size()); }
    std::string GetLibraryDirectory(int32_t index) override;
};

class StringList final : public IStringList {
public:
    void Add(const std::string& text) override { items.push_back(text); }
    int32_t Count() const override { return static_cast<int32_t>(items.size()); }
    std::string Get(int32_t index) const override;
    std::vector<std::string> items;
};

}  // namespace orcadx::host
