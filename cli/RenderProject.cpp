// orcadx render OUTDIR -o DIR: every sheet of the project in OUTDIR as an SVG, and an index.html that
// shows them in the project's order (the page order of the import) with each sheet symbol a link to
// the sheet it stands for.
#include "cli/RenderProject.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>

#include "host/Render.h"
#include "platform/TextCompare.h"

namespace orcadx::cli {

namespace {

namespace fs = std::filesystem;
using host::EscapeXml;

constexpr double kHostPerMil = 10000.0;
constexpr double kMilsPerPixel = 10.0;  // as the sheet pictures are drawn

// A file name as a relative URL: characters outside the unreserved set are percent-encoded.
std::string UrlPath(const std::string& name) {
    std::string out;
    for (unsigned char c : name) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') out += static_cast<char>(c);
        else out += fmt::format("%{:02X}", c);
    }
    return out;
}

void WriteFile(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

fs::path FindProject(const fs::path& folder) {
    std::vector<fs::path> found;
    for (const auto& e : fs::directory_iterator(folder))
        if (e.is_regular_file() && platform::SameTextNoCase(e.path().extension().string(), ".VsProj")) found.push_back(e.path());
    if (found.size() != 1)
        throw std::runtime_error(fmt::format("{} holds {} project files (.VsProj); it must hold one", folder.string(),
                                             found.size()));
    return found.front();
}

struct NoCaseLess {
    bool operator()(const std::string& a, const std::string& b) const { return platform::CompareTextNoCase(a, b) < 0; }
};

struct SymbolLink {
    std::string designator;
    std::string target;  // file name of the sheet, as the symbol names it
    double left = 0, top = 0, width = 0, height = 0;  // pixels on the picture
};

}  // namespace

std::vector<std::string> RenderProjectFolder(host::HostApplication& app, const std::string& folder,
                                             const std::string& output) {
    const fs::path projectFile = FindProject(folder);
    host::IProject* project = app.OpenProject(projectFile.string());
    if (!project) throw std::runtime_error("cannot open the project " + projectFile.string());
    fs::create_directories(output);
    std::vector<std::string> written;
    struct Sheet {
        std::string fileName, svg;
        double width = 0, height = 0;
        std::vector<SymbolLink> links;
    };
    std::vector<Sheet> sheets;
    std::map<std::string, std::string, NoCaseLess> known;  // file name to anchor
    for (int32_t i = 0; i < project->GetDocumentCount(); ++i) {
        const std::string path = project->GetDocument(i)->GetFullPath();
        if (!platform::SameTextNoCase(fs::path(path).extension().string(), ".SchDoc")) continue;
        host::ISch_Document* document = app.SchDocumentOf(app.OpenDocumentFile(path));
        if (!document) throw std::runtime_error("cannot open the sheet " + path);
        Sheet sheet;
        sheet.fileName = fs::path(path).filename().string();
        sheet.svg = fs::path(sheet.fileName).replace_extension(".svg").string();
        WriteFile(fs::path(output) / sheet.svg, host::RenderSheetSvg(document));
        written.push_back((fs::path(output) / sheet.svg).string());
        const double heightMils = document->GetState_SheetSizeY() / kHostPerMil;
        sheet.width = document->GetState_SheetSizeX() / kHostPerMil / kMilsPerPixel;
        sheet.height = heightMils / kMilsPerPixel;
        auto iterator = document->SchIterator_Create({host::eSheetSymbol}, host::eIterateFirstLevel);
        for (auto* o = iterator->FirstSchObject(); o; o = iterator->NextSchObject()) {
            auto* symbol = dynamic_cast<host::ISch_SheetSymbol*>(o);
            if (!symbol) continue;
            SymbolLink link;
            link.designator = symbol->GetState_SheetName() ? symbol->GetState_SheetName()->GetState_Text() : "";
            link.target = symbol->GetState_SheetFileName() ? symbol->GetState_SheetFileName()->GetState_Text() : "";
            const host::Coord at = symbol->GetState_Location();
            link.left = at.X / kHostPerMil / kMilsPerPixel;
            link.top = (heightMils - at.Y / kHostPerMil) / kMilsPerPixel;
            link.width = symbol->GetState_XSize() / kHostPerMil / kMilsPerPixel;
            link.height = symbol->GetState_YSize() / kHostPerMil / kMilsPerPixel;
            sheet.links.push_back(std::move(link));
        }
        known[sheet.fileName] = fmt::format("sheet-{}", sheets.size() + 1);
        sheets.push_back(std::move(sheet));
    }

    std::string html = fmt::format(
        "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>{0}</title>\n"
        "<style>body{{font-family:sans-serif}} .sheet{{position:relative;border:1px solid #ccc;margin:8px 0}}"
        " .sheet a.symbol{{position:absolute;display:block;outline:2px solid rgba(0,102,204,.5)}}"
        " .sheet a.symbol:hover{{background:rgba(0,102,204,.15)}}</style></head><body>\n"
        "<h1>{0}</h1>\n<ol>\n",
        EscapeXml(projectFile.filename().string()));
    for (const auto& s : sheets) html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", known[s.fileName], EscapeXml(s.fileName));
    html += "</ol>\n";
    for (const auto& s : sheets) {
        html += fmt::format("<h2 id=\"{}\">{}</h2>\n", known[s.fileName], EscapeXml(s.fileName));
        html += fmt::format("<div class=\"sheet\" style=\"width:{:.0f}px;height:{:.0f}px\"><img src=\"{}\" alt=\"{}\">\n",
                            s.width, s.height, UrlPath(s.svg), EscapeXml(s.fileName));
        std::string list;
        for (const auto& l : s.links) {
            auto target = known.find(l.target);
            if (target == known.end()) {
                list += fmt::format("<li>{} names {}, which the project does not hold</li>\n", EscapeXml(l.designator),
                                    EscapeXml(l.target));
                continue;
            }
            html += fmt::format(
                "<a class=\"symbol\" href=\"#{}\" title=\"{}\" style=\"left:{:.0f}px;top:{:.0f}px;width:{:.0f}px;"
                "height:{:.0f}px\"></a>\n",
                target->second, EscapeXml(l.designator + ": " + l.target), l.left, l.top, std::max(l.width, 4.0),
                std::max(l.height, 4.0));
            list += fmt::format("<li><a href=\"#{}\">{} &rarr; {}</a></li>\n", target->second, EscapeXml(l.designator),
                                EscapeXml(l.target));
        }
        html += "</div>\n";
        if (!list.empty()) html += "<ul>\n" + list + "</ul>\n";
    }
    html += "</body></html>\n";
    WriteFile(fs::path(output) / "index.html", html);
    written.push_back((fs::path(output) / "index.html").string());
    return written;
}

}  // namespace orcadx::cli
