// The netlists that Capture wrote for six real designs: read with the counts their sources give,
// written back through the Allegro writer without a difference, and, once a design imports into a
// project, compared with the netlist of the imported project net by net. The bill of materials of
// the BeagleBone Black against the designators of its printed schematic.
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <optional>
#include <set>

#include "NetlistSupport.h"
#include "TestSupport.h"
#include "entry/TranslatorApi.h"
#include "export/AllegroNetlist.h"
#include "export/BillOfMaterials.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "platform/CodePage.h"

namespace {

using namespace orcadx;
namespace fs = std::filesystem;

struct Design {
    std::string Folder;   // below the netlists folder
    std::string Dsn;      // below Folder
    std::string Netlist;  // folder of the three files, below Folder
    size_t Nets, Parts, Sections, Nodes;
    // Capture's nets that the imported design doesn't give as Capture does; none for the others.
    std::set<std::string> Differing;
};

// OnyxPSU: Capture joins the source pins S2 and S3 (2, 3) of the MOSFETs SIS412DN and SI7617DN to
// S1 (1), and the thermal pad TH of the switches NCP45521 to Vin (1). On the pages nothing joins
// them: no wire, net label or other pin ends at S2, S3 or TH, their pin records on the part name
// neither wire nor net, their library pins carry no property, have numbers of their own and stand
// 100 mil apart. Until the file shows why, these nets split here.
const std::set<std::string> kOnyxDiffering{"N12143", "HP_C", "SYSTEM+", "DC_IN+", "BATTERY"};

// The designs and the counts of their netlists as the folder's SOURCES.md gives them.
const std::vector<Design> kDesigns{
    {"ECE424_PCBs", "SimplePCB/SIMPLEBOARD.DSN", "SimplePCB/allegro", 16, 7, 14, 34, {}},
    {"Stereo", "Schematic/STEREO.dsn", "Schematic/allegro", 184, 215, 215, 869, {}},
    {"OnyxPSU", "ONYXPSU.DSN", "allegro", 116, 149, 149, 559, kOnyxDiffering},
    {"1-16_RF_PWR_DIV", "1-16_POWER_SPLITTER.DSN", "allegro", 32, 47, 47, 188, {}},
    {"TMAControl-CClient", "hardware/TMAControl.dsn", "hardware/allegro", 10, 6, 6, 54, {}},
    {"Proiect-CEF-Amplificator-", "PROIECT_CEF_OK.DSN", ".", 28, 37, 37, 85, {}},
};

fs::path NetlistFolder(const Design& d) { return test::NetlistsDir() / d.Folder / d.Netlist; }

TEST(CaptureNetlists, ReadWithTheCountsOfTheirSources) {
    ORCADX_REQUIRE_NETLISTS();
    for (const Design& d : kDesigns) {
        SCOPED_TRACE(d.Folder);
        exporter::AllegroNetlist n = exporter::LoadAllegroNetlist(NetlistFolder(d));
        size_t sections = 0, nodes = 0;
        for (const auto& p : n.Packages) sections += p.Sections.size();
        for (const auto& net : n.Nets) nodes += net.Nodes.size();
        EXPECT_EQ(n.Nets.size(), d.Nets);
        EXPECT_EQ(n.Packages.size(), d.Parts);
        EXPECT_EQ(sections, d.Sections);
        EXPECT_EQ(nodes, d.Nodes);
        EXPECT_EQ(exporter::CompareAllegroNetlists(n, n), std::vector<std::string>{});
        if (d.Folder == "ECE424_PCBs") {
            // The gates' power pins stand only in their library parts.
            std::map<std::string, std::vector<std::pair<std::string, std::string>>> power;
            for (const auto& p : n.Primitives) power[p.Name] = p.PowerPins;
            EXPECT_EQ(power["7486_DIP14_3_7486"], (std::vector<std::pair<std::string, std::string>>{{"VCC", "14"}, {"GND", "7"}}));
        }
    }
}

TEST(CaptureNetlists, WrittenBackThroughTheWriterTheyKeepEveryNet) {
    ORCADX_REQUIRE_NETLISTS();
    for (const Design& d : kDesigns) {
        SCOPED_TRACE(d.Folder);
        exporter::AllegroNetlist capture = exporter::LoadAllegroNetlist(NetlistFolder(d));
        host::Netlist netlist = test::FromAllegro(capture, d.Folder);
        exporter::AllegroNetlist ours =
            exporter::ReadAllegroNetlist(exporter::WriteAllegroNetlist(netlist, {"orcadx", "Jan-01-2024", "00:00:00"}));
        EXPECT_EQ(exporter::CompareAllegroNetlists(capture, ours), std::vector<std::string>{});
        EXPECT_EQ(ours.Packages.size(), capture.Packages.size());
    }
}

// The netlist of a design imported into a project in `folder`; nothing when the import made no
// sheets, with the reason in `why`.
std::optional<host::Netlist> ImportedNetlist(const fs::path& dsn, const fs::path& folder, std::string& why) {
    host::HostApplication app(host::HostOptionsIn(folder.string(), 5));
    RegisterHost(&app);
    host::IProject* project = app.CreateProject((folder / (dsn.stem().string() + ".VsProj")).string());
    host::LogSection log;
    host::ImporterOptions importOptions;
    uint8_t templates = 0;
    std::u16string file = platform::Utf8ToUtf16(dsn.string()), out = platform::Utf8ToUtf16(folder.string());
    ImportDSN(file.c_str(), &importOptions, nullptr, &log, out.c_str(), project, &templates);
    RegisterHost(nullptr);
    bool sheets = false;
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) sheets |= project->GetDocument(i)->GetDocumentKind() == "SCH";
    if (!sheets) {
        for (const std::string& m : log.AllMessages(host::kLogError)) why += m + " ";
        return std::nullopt;
    }
    return host::CompileProjectNetlist(app, *project);
}

// The Capture net a line of CompareAllegroNetlists is about: "net NAME splits ...", "net NAME: ...".
std::string CaptureNetOf(const std::string& line) {
    if (line.rfind("net ", 0) != 0) return line;
    size_t end = line.find_first_of(" :", 4);
    return line.substr(4, end == std::string::npos ? std::string::npos : end - 4);
}

TEST(CaptureNetlists, ImportedDesignsGiveCapturesNets) {
    ORCADX_REQUIRE_NETLISTS();
    for (const Design& d : kDesigns) {
        SCOPED_TRACE(d.Folder);
        std::string why;
        std::optional<host::Netlist> netlist =
            ImportedNetlist(test::NetlistsDir() / d.Folder / d.Dsn, test::ScratchDir("netlist_corpus_" + d.Folder), why);
        ASSERT_TRUE(netlist) << "the design import made no sheets: " << why;
        exporter::AllegroNetlist capture = exporter::LoadAllegroNetlist(NetlistFolder(d));
        exporter::AllegroNetlist ours =
            exporter::ReadAllegroNetlist(exporter::WriteAllegroNetlist(*netlist, {"orcadx", "Jan-01-2024", "00:00:00"}));
        std::vector<std::string> diff = exporter::CompareAllegroNetlists(capture, ours);
        exporter::NetlistMatch match = exporter::MatchAllegroNetlists(capture, ours);
        for (const std::string& p : netlist->Problems) std::cout << "[ problem  ] " << d.Folder << ": " << p << "\n";
        for (const std::string& line : diff) std::cout << "[ differs  ] " << d.Folder << ": " << line << "\n";
        std::cout << "[ netlist  ] " << d.Folder << ": " << match.SameNets << " of " << match.Nets << " nets, "
                  << match.SameNodes << " of " << match.Nodes << " nodes, " << diff.size() << " differences\n";
        // Every difference is one of the nets known to differ, and each of those still differs (a
        // change that mends one should say so here).
        std::set<std::string> differing;
        for (const std::string& line : diff) differing.insert(CaptureNetOf(line));
        EXPECT_EQ(differing, d.Differing);
        EXPECT_EQ(netlist->Problems, std::vector<std::string>{});
    }
}

// The words of the printed schematic that read like designators: capitals, then a number from 1
// (Capture annotates from 1; "R0" stands in a symbol's drawing), with the letter of the section for
// parts of several sections ("Q1A"), which is left out here. The first page is left aside: its
// revision history names parts that were taken out.
std::set<std::string> PrintedDesignators(const fs::path& pdf) {
    std::set<std::string> out;
    std::string command = "pdftotext -f 2 -layout '" + pdf.string() + "' - 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    std::string text;
    char buffer[65536];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
    pclose(pipe);
    auto upper = [](char c) { return c >= 'A' && c <= 'Z'; };
    auto digit = [](char c) { return c >= '0' && c <= '9'; };
    auto part = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '/'; };
    for (size_t at = 0; at < text.size();) {
        if (!upper(text[at]) || (at > 0 && part(text[at - 1]))) {
            ++at;
            continue;
        }
        size_t letters = at, digits;
        while (letters < text.size() && upper(text[letters])) ++letters;
        for (digits = letters; digits < text.size() && digit(text[digits]);) ++digits;
        size_t end = digits < text.size() && upper(text[digits]) ? digits + 1 : digits;  // a section letter
        bool shape = letters - at <= 3 && digits > letters && digits - letters <= 4 && text[letters] != '0';
        if (shape && (end >= text.size() || !part(text[end]))) out.insert(text.substr(at, digits - at));
        at = end > at ? end : at + 1;
    }
    return out;
}

TEST(CaptureNetlists, BillOfMaterialsOfTheBeagleBoneListsEveryPrintedDesignatorOnce) {
    ORCADX_REQUIRE_CORPUS();
    fs::path pdf = test::ReferenceDir() / "BBB_SCH.pdf";
    if (!fs::exists(pdf)) GTEST_SKIP() << "printed schematic not found at " << pdf;
    std::string why;
    std::optional<host::Netlist> netlist =
        ImportedNetlist(test::CorpusDir() / "BEAGLEBONEBLK_C3.DSN", test::ScratchDir("netlist_bbb"), why);
    if (!netlist) GTEST_SKIP() << "the design import makes no sheets in this build: " << why;
    std::set<std::string> printed = PrintedDesignators(pdf);
    ASSERT_GT(printed.size(), 100u) << "pdftotext (poppler-utils) gave no text";

    // Every designator once in the BOM; pin numbers of the parts (BGA balls such as C3) read like
    // designators in print, so the printed words are matched against the BOM's prefixes.
    std::map<std::string, int> listed;
    std::set<std::string> prefixes, pinNumbers;
    for (const auto& line : exporter::BomLines(*netlist))
        for (const std::string& d : line.Designators) {
            ++listed[d];
            prefixes.insert(d.substr(0, d.find_first_of("0123456789")));
        }
    for (const host::NetlistPart& p : netlist->Parts)
        for (const host::NetlistPin& pin : p.Pins) pinNumbers.insert(pin.Number);
    for (const auto& [d, n] : listed) EXPECT_EQ(n, 1) << d;
    std::vector<std::string> missing, unprinted;
    for (const std::string& w : printed)
        if (prefixes.count(w.substr(0, w.find_first_of("0123456789"))) && !listed.count(w) && !pinNumbers.count(w))
            missing.push_back(w);
    for (const auto& [d, n] : listed)
        if (!printed.count(d)) unprinted.push_back(d);
    std::cout << "[ bom      ] " << listed.size() << " designators, " << printed.size() << " printed words\n";
    EXPECT_EQ(missing, std::vector<std::string>{}) << "printed, not in the BOM";
    EXPECT_EQ(unprinted, std::vector<std::string>{}) << "in the BOM, not printed";
}

}  // namespace
