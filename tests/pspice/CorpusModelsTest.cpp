// The sample designs and libraries that name PSpice models, with their .lib files: every model a
// part names is found when a library defines it, written once, and holds the text of its
// definition and of every subcircuit it calls; a model that is nowhere is reported by name.
//
// The expected text comes from a separate, plain reading of the library files here: definitions
// outside every subcircuit, a subcircuit running to its matching .ENDS line.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "PSpiceTestSupport.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboViewObjects.h"
#include "host/HostApplication.h"
#include "pspice/PSpiceModelImport.h"

using namespace orcadx;
using namespace orcadx::pspice;
namespace fs = std::filesystem;

namespace {

std::string Upper(std::string s) {
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    return s;
}

std::string TrimBlanks(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t\r\n") - b + 1);
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

// One definition as the library file has it.
struct Definition {
    fs::path file;
    std::vector<std::string> lines;
    bool subckt = false;
};

// Every definition outside subcircuits of the .lib files below the folders, the first of each
// name (folders in order, files by path within a folder).
struct LibraryOracle {
    std::map<std::string, Definition> definitions;  // upper-case name
    std::map<fs::path, std::set<std::string>> namesOfFile;

    explicit LibraryOracle(const std::vector<fs::path>& folders) {
        for (const auto& folder : folders) {
            std::vector<fs::path> files;
            for (const auto& e : fs::recursive_directory_iterator(folder))
                if (e.is_regular_file() && Upper(e.path().extension().string()) == ".LIB") files.push_back(e.path());
            std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) {
                return Upper(a.string()) < Upper(b.string());
            });
            for (const auto& f : files) Read(f);
        }
    }

    void Read(const fs::path& file) {
        std::istringstream in(test::ReadText(file));
        std::vector<std::string> raw;
        for (std::string line; std::getline(in, line);) raw.push_back(line);
        for (size_t i = 0; i < raw.size(); ++i) {
            std::string u = Upper(TrimBlanks(raw[i]));
            bool model = u.rfind(".MODEL", 0) == 0, subckt = u.rfind(".SUBCKT", 0) == 0;
            if (!model && !subckt) continue;
            std::string name = Words(TrimBlanks(raw[i])).at(1);
            name = name.substr(0, name.find('('));
            Definition d{file, {raw[i]}, subckt};
            if (subckt) {
                for (int depth = 1; depth > 0 && i + 1 < raw.size();) {
                    std::string v = Upper(TrimBlanks(raw[++i]));
                    if (v.rfind(".SUBCKT", 0) == 0) ++depth;
                    if (v.rfind(".ENDS", 0) == 0) --depth;
                    d.lines.push_back(raw[i]);
                }
            } else {
                while (i + 1 < raw.size() && TrimBlanks(raw[i + 1]).rfind("+", 0) == 0) d.lines.push_back(raw[++i]);
            }
            namesOfFile[file].insert(Upper(name));
            definitions.try_emplace(Upper(name), std::move(d));
        }
    }

    // The subcircuits a block calls by its X lines.
    static std::vector<std::string> Calls(const Definition& d) {
        std::vector<std::string> out;
        for (const auto& line : d.lines) {
            std::string t = TrimBlanks(line);
            if (t.empty() || (t[0] != 'X' && t[0] != 'x')) continue;
            std::string u = Upper(t);
            size_t params = u.find("PARAMS:");
            t = t.substr(0, std::min(params, t.find(';')));
            out.push_back(Words(t).back());
        }
        return out;
    }

    // The definition and, behind it, every subcircuit it calls directly or not that its own file
    // defines; the names it calls that the file lacks go to `missing`.
    std::vector<std::string> ExpectedText(const std::string& name, std::set<std::string>& missing) const {
        const Definition& top = definitions.at(Upper(name));
        std::vector<std::string> text = top.lines;
        std::vector<std::string> queue = Calls(top);
        std::set<std::string> done{Upper(name)};
        for (size_t i = 0; i < queue.size(); ++i) {
            std::string u = Upper(queue[i]);
            if (done.count(u)) continue;
            if (!namesOfFile.at(top.file).count(u)) {
                missing.insert(queue[i]);
                continue;
            }
            done.insert(u);
            // The called block as its own file has it (the first of that name in the file).
            LibraryOracle single({});
            single.Read(top.file);
            const Definition& called = single.definitions.at(u);
            text.insert(text.end(), called.lines.begin(), called.lines.end());
            for (auto& c : Calls(called)) queue.push_back(c);
        }
        return text;
    }
};

// Lines as a simulator reads them: comments and blank lines gone, continuations joined, ";"
// comments cut, blanks folded.
std::vector<std::string> Normalized(const std::vector<std::string>& lines) {
    std::vector<std::string> out;
    for (const auto& raw : lines) {
        std::string t = TrimBlanks(raw);
        if (t.empty() || t[0] == '*') continue;
        t = TrimBlanks(t.substr(0, t.find(';')));
        bool continuation = !t.empty() && t[0] == '+';
        if (continuation) t = t.substr(1);
        std::string folded;
        for (const auto& w : Words(t)) folded += (folded.empty() ? "" : " ") + w;
        if (continuation && !out.empty())
            out.back() += folded.empty() ? "" : " " + folded;
        else if (!folded.empty())
            out.push_back(folded);
    }
    return out;
}

std::vector<std::string> FileLines(const fs::path& path) {
    std::istringstream in(test::ReadText(path));
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
        EXPECT_TRUE(!line.empty() && line.back() == '\r') << "line without CR LF in " << path;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(line);
    }
    return out;
}

struct Wanted {
    std::string name, path;
};

std::vector<Wanted> PlacedModels(dbo::TDboDesign& design) {
    std::vector<Wanted> out;
    for (int v = 0; v < design.ViewCount(); ++v)
        for (int p = 0; p < design.GetViews(v)->PageCount(); ++p) {
            auto& parts = *design.GetViews(v)->GetPages(p)->PartsAndBlocks;
            for (int i = 0; i < parts.Count(); ++i) {
                auto* part = dynamic_cast<dbo::TDboPart*>(parts.GetItems(i));
                if (part && part->GetImplementationType() == dbo::TDboPart::kImplementationPSpiceModel &&
                    !part->GetImplementation().empty())
                    out.push_back({part->GetImplementation(), part->GetImplementationPath()});
            }
        }
    return out;
}

std::vector<Wanted> LibraryModels(dbo::TDboDesign& design) {
    std::vector<Wanted> out;
    for (int c = 0; c < design.ComponentCount(); ++c)
        for (int p = 0; p < design.GetComponent(c)->Packages.Count(); ++p) {
            auto* package = design.GetComponent(c)->Packages.GetPackages(p);
            auto* view = package->Views.Count() ? package->Views.GetViews(0) : nullptr;
            if (view && view->GetImplementationType() == dbo::TDboLibView::kImplementationPSpiceModel &&
                !view->Implement.empty())
                out.push_back({view->Implement, view->Path});
        }
    return out;
}

// Imports the models of one Capture file into a fresh project and checks every one of them against
// the oracle. Gives the names found, upper-case.
std::set<std::string> CheckModels(const fs::path& capture, const std::vector<fs::path>& libraryFolders,
                                  bool placed) {
    SCOPED_TRACE(capture.string());
    dbo::TDboDesign design(capture.string(), nullptr, 0, nullptr);
    design.Load(false);
    std::vector<Wanted> wanted = placed ? PlacedModels(design) : LibraryModels(design);
    EXPECT_FALSE(wanted.empty());

    fs::path dir = test::ScratchDir("pspice-corpus-" + capture.stem().string());
    host::HostApplication app{host::HostOptions{}};
    host::IProject* project = app.CreateProject((dir / "P.VsProj").string());
    host::ImporterOptions options;
    for (const auto& f : libraryFolders) options.libraryDirectories.push_back(f.string());
    host::LogSection log;
    TPSpiceModelImportManager manager(&app, capture.string(), project, &options, nullptr, 20, &log);
    if (placed) {
        // As the page import does: each part's model at once.
        for (const auto& w : wanted) manager.ImportModel(w.name, w.path);
    } else {
        // As the library import does: noted, then extracted at the end.
        for (const auto& w : wanted) manager.AddModel(w.name, w.path);
        manager.RunImport();
    }

    std::vector<fs::path> searched = libraryFolders;
    searched.push_back(capture.parent_path());
    LibraryOracle oracle(searched);
    std::multiset<std::string> messages;
    for (const auto& m : test::Messages(log)) messages.insert(m);
    std::set<std::string> found, files;
    for (const auto& w : wanted) {
        SCOPED_TRACE(w.name);
        TPSpiceModel* model = manager.FindModel(w.name, w.path);
        if (!model) {
            ADD_FAILURE() << "no entry";
            continue;
        }
        auto definition = oracle.definitions.find(Upper(w.name));
        if (definition == oracle.definitions.end()) {
            EXPECT_TRUE(model->NotFound);
            EXPECT_TRUE(model->ModelFile.empty());
            continue;
        }
        if (model->ModelFile.empty()) {
            ADD_FAILURE() << "not extracted";
            continue;
        }
        found.insert(Upper(w.name));
        files.insert(model->ModelFile);
        EXPECT_EQ(fs::path(model->ModelFile).extension(), definition->second.subckt ? ".ckt" : ".mdl");
        std::set<std::string> missing;
        std::vector<std::string> expected = oracle.ExpectedText(w.name, missing);
        EXPECT_EQ(Normalized(FileLines(model->ModelFile)), Normalized(expected));
        EXPECT_EQ(messages.count("info: PSpice model \"" + w.name + "\" found in \"" +
                                 definition->second.file.string() + "\""),
                  1u);
        for (const auto& m : missing)
            EXPECT_EQ(messages.count("error: Nested PSpice subckt not found \"" + m + "\".  Required by subckt \"" +
                                     w.name + "\""),
                      1u);
    }
    // Each model that is nowhere is reported once by name; each found one is written once and is
    // a document of the project.
    std::set<std::string> missingNames;
    for (const auto& w : wanted) {
        if (!found.count(Upper(w.name)) && missingNames.insert(Upper(w.name)).second) {
            EXPECT_EQ(messages.count("error: PSpice model not found \"" + w.name + "\""), 1u) << w.name;
        }
    }
    size_t written = 0;
    for (const auto& e : fs::directory_iterator(dir / "PSpice Models")) {
        ++written;
        EXPECT_TRUE(files.count(e.path().string())) << e.path();
    }
    EXPECT_EQ(written, found.size());
    EXPECT_EQ(static_cast<size_t>(project->GetDocumentCount()), found.size());
    return found;
}

}  // namespace

TEST(PSpiceCorpusModels, SeriesRegulatorFindsItsVendorModelsAndReportsTheOthers) {
    ORCADX_REQUIRE_CORPUS();
    fs::path root = test::CorpusDir() / "Series-Regulator";
    std::set<std::string> found = CheckModels(root / "P1_Olteanu_Rares.dsn", {root / "Libs"}, true);
    // BC846B.lib and opto.lib define two of the design's models at their top level; the "LED" of
    // opto.lib stands only inside subcircuits.
    EXPECT_EQ(found, (std::set<std::string>{"QBC846B", "MLED81"}));
}

TEST(PSpiceCorpusModels, SeriesRegulatorLibrariesCarryTheirSubcircuits) {
    ORCADX_REQUIRE_CORPUS();
    fs::path libs = test::CorpusDir() / "Series-Regulator" / "Libs";
    // The vendor optocouplers: subcircuits calling others of the file, some missing from it.
    std::set<std::string> opto = CheckModels(libs / "opto.olb", {libs}, false);
    EXPECT_GT(opto.size(), 80u);
    EXPECT_TRUE(opto.count("MCT2E"));
    // Names in another case than the library's.
    EXPECT_EQ(CheckModels(libs / "IRFR120NPBF.OLB", {libs}, false), (std::set<std::string>{"IRFRU120N"}));
    EXPECT_EQ(CheckModels(libs / "MMBFJ177LT1G.OLB", {libs}, false), (std::set<std::string>{"JMMBFJ177LT1G"}));
}

TEST(PSpiceCorpusModels, StudentProjectsFindTheModelsBesideTheDesign) {
    ORCADX_REQUIRE_CORPUS();
    fs::path root = test::CorpusDir() / "kiki30501_Orcad-Projects";
    // The model editor's library in the project's PSpice folder, found below the design's folder.
    EXPECT_EQ(CheckModels(root / "hw5_dig_elec" / "HW5_DIGI_ELEC.DSN", {}, true),
              (std::set<std::string>{"NMOS_Q4A_2"}));
    // Models of Capture's own libraries, which aren't here: reported, and the import goes on.
    EXPECT_TRUE(CheckModels(root / "lab10comm" / "LAB10COMM.DSN", {}, true).empty());
    EXPECT_TRUE(CheckModels(root / "Diode_cap_calc" / "DIODE_CAP_CALC.DSN", {}, true).empty());
    EXPECT_TRUE(CheckModels(root / "Lab_Dig_elec_5" / "LAB_DIG_ELEC_5.DSN", {}, true).empty());
}
