// orcadx export: host documents become Capture files through the translator's exports.
//   LIB.SchLib -o FILE.OLB [--version N]      ExportFileW, FileType "OLB"
//   PROJECT.VsProj -o FILE.DSN [--version N]  ExportFileW, FileType "DSN", on the focused project
//   SHEET.SchDoc -o FILE.DSN                   ExportFileFromSch, on a project of the sheet and the
//                                              sheets its sheet symbols name, made for the run
#include <deque>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>

#include "cli/Context.h"
#include "dbo/DboDesign.h"
#include "entry/FileTest.h"
#include "host/HostApplication.h"
#include "platform/CodePage.h"
#include "platform/Parameters.h"
#include "platform/TextCompare.h"

namespace orcadx::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDefaultVersion = "65537";

struct ExportOptions {
    std::string input;
    std::string output;
    std::string version = kDefaultVersion;
};

enum class InputKind { Library, Project, Sheet };

int Usage(const std::string& text) {
    std::cerr << "error: " << text << "\n";
    return kExitUsage;
}

std::string Absolute(const std::string& path) { return fs::absolute(path).lexically_normal().string(); }

// Opens every sheet of the project in the host, so that the schematic server has them.
void OpenSheets(host::HostApplication& app, host::IProject* project, host::ILogSection* section) {
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
        host::IDocument* document = project->GetDocument(i);
        if (!platform::SameTextNoCase(document->GetDocumentKind(), "SCH")) continue;
        try {
            if (!app.OpenDocumentFile(document->GetFullPath()))
                section->AddMessage(host::kLogError, "Cannot open " + document->GetFullPath());
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, document->GetFullPath() + ": " + e.what());
        }
    }
}

// The sheet, and the sheets that sheet symbols name below it (found beside the sheet that names
// them), joined to the project and opened; the sheet's own document.
host::ISch_Document* AddSheetTree(host::HostApplication& app, host::IProject* project, const std::string& sheet,
                                  host::ILogSection* section) {
    std::deque<std::string> queue{sheet};
    std::set<std::string> seen{platform::UpperCaseAscii(sheet)};
    host::ISch_Document* first = nullptr;
    while (!queue.empty()) {
        std::string path = queue.front();
        queue.pop_front();
        host::ISch_Document* document = nullptr;
        try {
            document = app.SchDocumentOf(app.OpenDocumentFile(path));
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, path + ": " + e.what());
        }
        if (!dynamic_cast<host::ISch_Sheet*>(document)) {
            section->AddMessage(host::kLogError, "Cannot open " + path + " as a schematic sheet");
            continue;
        }
        project->AddSourceDocument(path);
        if (!first) first = document;
        auto symbols = document->SchIterator_Create({host::eSheetSymbol}, host::eIterateFirstLevel);
        for (auto* o = symbols->FirstSchObject(); o; o = symbols->NextSchObject()) {
            auto* symbol = dynamic_cast<host::ISch_SheetSymbol*>(o);
            std::string name = symbol && symbol->GetState_SheetFileName() ? symbol->GetState_SheetFileName()->GetState_Text()
                                                                          : std::string();
            if (name.empty()) continue;
            std::string child = (fs::path(path).parent_path() / name).lexically_normal().string();
            if (!seen.insert(platform::UpperCaseAscii(child)).second) continue;
            if (!fs::is_regular_file(child)) {
                section->AddMessage(host::kLogWarning, "A sheet symbol of " + fs::path(path).filename().string() +
                                                           " names " + name + ", which is not beside it");
                continue;
            }
            section->AddMessage(host::kLogInfo, name + " joins the export: a sheet symbol of " +
                                                    fs::path(path).filename().string() + " names it");
            queue.push_back(child);
        }
    }
    return first;
}

// One line about the design written.
std::string DesignSummary(const std::string& path) {
    dbo::TDboDesign design(path, nullptr, 0, nullptr);
    if (!design.Load(false)) return "written, but it does not load back";
    return std::to_string(design.PageCount()) + " page(s), " + std::to_string(design.ComponentCount()) +
           " component(s), " + std::to_string(design.SymbolCount()) + " symbol(s)";
}

int Run(const ExportOptions& opt) {
    auto& ctx = GetContext();
    InputKind kind;
    if (entry::HasExtension(opt.input, ".SchLib")) {
        kind = InputKind::Library;
        if (!entry::HasExtension(opt.output, ".OLB")) return Usage(opt.output + ": the name must end in .OLB");
    } else if (entry::HasExtension(opt.input, ".VsProj") || entry::HasExtension(opt.input, ".SchDoc")) {
        kind = entry::HasExtension(opt.input, ".VsProj") ? InputKind::Project : InputKind::Sheet;
        if (!entry::HasExtension(opt.output, ".DSN")) return Usage(opt.output + ": the name must end in .DSN");
    } else {
        return Usage(opt.input + ": a schematic library (.SchLib), project (.VsProj) or sheet (.SchDoc) is exported");
    }
    if (kind == InputKind::Sheet && opt.version != kDefaultVersion)
        return Usage("--version: a sheet is exported as the host exports it, in version 65537; export its project "
                     "for another version");
    for (const std::string* name : {&opt.input, &opt.output})
        if (name->find('|') != std::string::npos) return Usage(*name + ": a file name with '|' can't be passed on");
    if (!InputExists(opt.input)) return kExitFailed;
    std::string input = Absolute(opt.input);
    std::string output = Absolute(opt.output);

    auto& translator = ctx.GetTranslator();
    host::HostApplication app;
    translator.RegisterHost(&app);
    struct Unregister {
        Translator& t;
        ~Unregister() { t.RegisterHost(nullptr); }
    } unregister{translator};
    ctx.StartRun();
    static const char* const titles[] = {"Exporting Library - ", "Exporting Project - ", "Exporting Sheet - "};
    host::ILogSection* section = nullptr;
    ctx.log->AddSubSection(titles[static_cast<int>(kind)] + fs::path(input).filename().string(), &section);

    std::u16string results;
    bool written = false;
    std::optional<TemporaryFolder> scratch;
    auto call = [&](auto&& exportCall) {
        try {
            written = exportCall();
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, e.what());
        }
    };
    std::string common = " | FileName=" + output + " | OrcadVersion=" + opt.version;
    if (kind == InputKind::Library) {
        host::IServerDocument* document = nullptr;
        try {
            document = app.OpenDocumentFile(input);
        } catch (const std::exception& e) {
            section->AddMessage(host::kLogError, e.what());
        }
        if (!document && ctx.log->AllMessages(host::kLogError).empty())
            section->AddMessage(host::kLogError, "Cannot open " + input + " as a schematic library");
        if (document) {
            std::string parameters = "DocumentName=" + input + " | FileType=OLB" + common;
            call([&] { return translator.ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results); });
        }
    } else if (kind == InputKind::Project) {
        host::IProject* project = app.OpenProject(input);
        if (!project) {
            section->AddMessage(host::kLogError, "Cannot open " + input + " as a project");
        } else {
            app.FocusProject(project);
            OpenSheets(app, project, section);
            std::string parameters = "FileType=DSN" + common;
            call([&] { return translator.ExportFileW(platform::Utf8ToUtf16(parameters).c_str(), &results); });
        }
    } else {
        scratch.emplace("orcadx-export");
        if (scratch->Path().empty()) section->AddMessage(host::kLogError, "cannot make a temporary folder");
        host::IProject* project =
            scratch->Path().empty()
                ? nullptr
                : app.CreateProject((fs::path(scratch->Path()) / (fs::path(input).stem().string() + ".VsProj")).string());
        host::ISch_Document* sheet = project ? AddSheetTree(app, project, input, section) : nullptr;
        if (sheet) {
            app.FocusProject(project);
            call([&] { return translator.ExportFileFromSch(platform::Utf8ToUtf16(output).c_str(), 0, sheet); });
        }
    }
    for (const std::string& box : app.ErrorBoxLog()) section->AddMessage(host::kLogError, box);
    std::string text = platform::Utf16ToUtf8(results);
    if (written && kind == InputKind::Library) {
        std::string count = platform::GetParameterValue(text, "ExportedComponentCount");
        section->AddMessage(host::kLogInfo, "Written " + output + ": " + count + " component(s) and symbol(s)");
    } else if (written) {
        section->AddMessage(host::kLogInfo, "Written " + output + ": " + DesignSummary(output));
    } else if (ctx.log->AllMessages(host::kLogError).empty()) {
        section->AddMessage(host::kLogError, "Nothing was written");
    }
    ctx.verbose = true;
    int errors = ctx.FinishRun();
    if (written && !text.empty()) std::cout << text << "\n";
    return errors > 0 || !written ? kExitFailed : 0;
}

}  // namespace

void AddExportCommand(CLI::App& app) {
    static ExportOptions opt;
    auto* cmd = app.add_subcommand(
        "export", "Export a schematic library (.SchLib) to a Capture library (.OLB), or a project (.VsProj) or sheet "
                  "(.SchDoc) to a Capture design (.DSN)");
    cmd->add_option("input", opt.input, "Schematic library, project or sheet")->required();
    cmd->add_option("-o,--output", opt.output, "Capture file to write")->required();
    cmd->add_option("--version", opt.version,
                    "OrcadVersion to write, in decimal: 65537 (0x00010001, Capture 7.1, the default), 1, 2, 65538, "
                    "or 131075 and 196611, which carry size headers")
        ->capture_default_str();
    cmd->callback([] { throw ExitRequest{Run(opt)}; });
}

}  // namespace orcadx::cli
