// What every subcommand of orcadx shares: the global flags, the console objects and the translator.
#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

#include "cli/Console.h"
#include "cli/Translator.h"
#include "host/HostSupport.h"

namespace orcadx::cli {

// Exit codes: 0 the job is done, 1 it failed (a file missing, not valid, or an error in the log),
// 2 the command line is wrong.
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

// Thrown by a subcommand to end the program with an exit code.
struct ExitRequest {
    int code;
};

struct Context {
    std::string logFile;  // --log FILE
    bool stats = false;   // --stats
    bool quiet = false;   // --quiet
    bool verbose = false; // --verbose: print the log even when it holds only information

    std::unique_ptr<ConsoleStatus> status;
    std::unique_ptr<host::LogSection> log;

    // Loads the translator plug-in on first use.
    Translator& GetTranslator();
    // Creates the console status and a fresh log.
    void StartRun();
    // Prints the log tree (on stderr when it holds a warning or an error, or with --verbose; and
    // to --log FILE); gives the number of errors in the log.
    int FinishRun();

private:
    std::unique_ptr<Translator> translator_;
};

Context& GetContext();

// False, with "error: FILE does not exist" on stderr, when there is no such file.
bool InputExists(const std::string& file);

// A folder of its own below the system's temporary folder, named PREFIX-XXXXXX, removed with all it
// holds when the object goes. Path() is empty when the folder can't be made.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::string& prefix);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// A Capture file as the translator's file test wants it: a design ends in .DSN, a library in .OLB.
// A library under another extension (.OBK, Capture's backup of a library in its old version) is
// handed over as a link named .OLB in a temporary folder, which goes when the object does.
class CaptureInput {
public:
    // Tells on stderr what it does with a library under another name. Raises std::runtime_error
    // when the link can't be made.
    explicit CaptureInput(const std::string& file);
    CaptureInput(const CaptureInput&) = delete;
    CaptureInput& operator=(const CaptureInput&) = delete;

    // False for a name that is neither a design's nor a library's.
    bool Known() const { return library_ || design_; }
    bool IsLibrary() const { return library_; }
    // The absolute path to give the translator.
    const std::string& Path() const { return path_; }

private:
    bool library_ = false, design_ = false;
    std::string path_;
    std::optional<TemporaryFolder> temporary_;  // holds the link
};

// The text without trailing blanks (identifiers are padded with blanks to 31 characters).
inline std::string TrimRight(std::string text) {
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

// Subcommands; each file *Command.cpp defines one of these. A missing one is left out.
void AddValidateCommand(CLI::App& app) __attribute__((weak));
void AddInfoCommand(CLI::App& app) __attribute__((weak));
void AddDumpCommand(CLI::App& app) __attribute__((weak));
void AddAnalyzeCommand(CLI::App& app) __attribute__((weak));
void AddImportCommand(CLI::App& app) __attribute__((weak));
void AddExportCommand(CLI::App& app) __attribute__((weak));
void AddRenderCommand(CLI::App& app) __attribute__((weak));
void AddSimCommand(CLI::App& app) __attribute__((weak));
void AddNetlistCommand(CLI::App& app) __attribute__((weak));
void AddBomCommand(CLI::App& app) __attribute__((weak));

}  // namespace orcadx::cli
