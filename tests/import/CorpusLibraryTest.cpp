// The library import over the sample files: every library imports without an error into one host
// component per Capture component (and title block), each with the pins of its Capture parts; a
// library in Capture's old version and its converted twin import alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>

#include "ImportTestSupport.h"
#include "entry/TranslatorApi.h"
#include "import/SCHLibraryImport.h"
#include "platform/CodePage.h"
#include "platform/TextCompare.h"

namespace orcadx::test {
namespace {

using namespace orcadx::host;
using Json = nlohmann::json;

Json ReadJson(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Json::parse(in);
}

// Library reference and pin count of every component of a saved library, sorted.
std::vector<std::pair<std::string, int>> HostComponents(const Json& library) {
    std::vector<std::pair<std::string, int>> out;
    for (const Json& c : library["document"].value("children", Json::array())) {
        if (c["kind"] != eSchComponent) continue;
        int pins = 0;
        for (const Json& o : c.value("children", Json::array()))
            if (o["kind"] == ePin) ++pins;
        out.push_back({c["props"].value("LibReference", ""), pins});
    }
    std::sort(out.begin(), out.end());
    return out;
}

// The same from the Capture file: each part's pins are those of every view of its package.
std::vector<std::pair<std::string, int>> CaptureComponents(const dbo::TDboDesign& design) {
    std::vector<std::pair<std::string, int>> out;
    for (const auto& component : design.Components) {
        int pins = 0;
        const auto& parts = component->PartInfo->Parts;
        for (int p = 0; p < parts.Count(); ++p) {
            const dbo::TDboLibPackage* package = nullptr;
            for (int k = 0; k < component->Packages.Count(); ++k)
                if (component->Packages.Count() == 1 || component->Packages.GetPackages(k)->Name == parts.GetParts(p)->PkgName)
                    package = component->Packages.GetPackages(k);
            if (!package) package = component->Packages.GetPackages(p);
            if (!package) continue;
            for (int v = 0; v < package->Views.Count(); ++v) pins += package->Views.GetViews(v)->Pins->Count();
        }
        out.push_back({component->PartInfo->CompName, pins});
    }
    for (int i = 0; i < design.SymbolCount(); ++i) {
        const dbo::TDboLibSymbol* symbol = design.GetSymbol(i);
        if (symbol->ID == dbo::kIdTitleBlockSymbol) out.push_back({symbol->ViewName, symbol->Pins->Count()});
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(CorpusLibraries, EveryLibraryImportsWithOneComponentPerCaptureComponentAndItsPins) {
    ORCADX_REQUIRE_CORPUS();
    auto files = CorpusFiles({".olb"});
    ASSERT_FALSE(files.empty());
    const auto scratch = ScratchDir("CorpusLibraries");
    HostApplication app(ImportHostOptions(scratch));
    app.StartSchServer();
    ImporterOptions options;
    options.defaultComponentFill = true;
    int index = 0;
    for (const auto& file : files) {
        SCOPED_TRACE(file.string());
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(design.Load(false));
        const auto expected = CaptureComponents(design);

        const auto out = scratch / std::to_string(index++);
        std::filesystem::create_directories(out);
        LogSection log;
        bool templates = false;
        const std::string library = importer::ImportLibrary(app, design, &options, nullptr, 100, &log, out.string(),
                                                            nullptr, true, templates);
        EXPECT_TRUE(ErrorsBesideMissingModels(log).empty()) << ErrorsBesideMissingModels(log).front();
        EXPECT_TRUE(log.AllMessages(kLogWarning).empty()) << log.AllMessages(kLogWarning).front();
        ASSERT_EQ(library, (out / importer::LibraryFileName(file.string(), "")).string());
        const auto actual = HostComponents(ReadJson(library));
        EXPECT_EQ(actual.size(), expected.size());
        EXPECT_EQ(actual, expected);
    }
}

// A saved library as comparable JSON: no unique ids, font indexes replaced by their fonts.
Json Canonical(const Json& file) {
    const Json& fonts = file["fonts"];
    std::function<Json(const Json&)> walk = [&](const Json& o) {
        Json c = {{"kind", o["kind"]}, {"props", Json::object()}};
        for (auto& [key, value] : o["props"].items()) {
            if (key == "UniqueId") continue;
            if (key == "Aliases") {  // the two versions keep a part's aliases in different orders
                std::vector<std::string> aliases = value.get<std::vector<std::string>>();
                std::sort(aliases.begin(), aliases.end());
                c["props"][key] = aliases;
                continue;
            }
            if (key.size() >= 6 && key.compare(key.size() - 6, 6, "FontId") == 0 && value.is_number_integer()) {
                int i = value.get<int>();
                c["props"][key] = i >= 1 && i <= static_cast<int>(fonts.size()) ? fonts[i - 1] : Json(i);
            } else {
                c["props"][key] = value;
            }
        }
        if (o.contains("children")) {
            c["children"] = Json::array();
            for (const Json& child : o["children"]) c["children"].push_back(walk(child));
        }
        return c;
    };
    return walk(file["document"]);
}

TEST(CorpusLibraries, OldVersionTwinsImportToTheSameComponents) {
    ORCADX_REQUIRE_CORPUS();
    const auto scratch = ScratchDir("CorpusTwins");
    HostApplication app(ImportHostOptions(scratch));
    app.StartSchServer();
    int pairs = 0;
    for (const auto& old : CorpusFiles({".obk"})) {
        std::string stem = old.stem().string();
        if (stem.size() < 6 || stem.compare(stem.size() - 6, 6, "_9_0_0") != 0) continue;
        const auto twin = old.parent_path() / (stem.substr(0, stem.size() - 6) + ".OLB");
        if (!std::filesystem::exists(twin)) continue;
        SCOPED_TRACE(old.string());
        ++pairs;
        Json libraries[2];
        const std::filesystem::path sources[2] = {old, twin};
        for (int k = 0; k < 2; ++k) {
            dbo::TDboDesign design(sources[k].string(), nullptr, 0, nullptr);
            ASSERT_TRUE(design.Load(false));
            EXPECT_EQ(design.Version, k == 0 ? 0x00000002u : 0x00020003u);
            const auto out = scratch / (stem + std::to_string(k));
            std::filesystem::create_directories(out);
            LogSection log;
            bool templates = false;
            std::string path = importer::ImportLibrary(app, design, nullptr, nullptr, 100, &log, out.string(), nullptr,
                                                       true, templates);
            ASSERT_FALSE(path.empty());
            EXPECT_TRUE(ErrorsBesideMissingModels(log).empty());
            libraries[k] = Canonical(ReadJson(path));
        }
        // The two files list their components in different orders.
        std::map<std::string, Json> byName[2];
        for (int k = 0; k < 2; ++k)
            for (const Json& c : libraries[k]["children"]) byName[k][c["props"].value("LibReference", "")] = c;
        ASSERT_EQ(byName[0].size(), libraries[0]["children"].size());
        ASSERT_EQ(byName[0].size(), byName[1].size());
        for (const auto& [name, a] : byName[0]) {
            SCOPED_TRACE(name);
            ASSERT_TRUE(byName[1].count(name));
            const Json& b = byName[1][name];
            // Same pins, graphics and parameters; the user properties of a part may stand in
            // another order, so the children are compared as sorted lists.
            auto sorted = [](const Json& c) {
                std::vector<std::string> out;
                for (const Json& child : c.value("children", Json::array())) out.push_back(child.dump());
                std::sort(out.begin(), out.end());
                return out;
            };
            const auto ca = sorted(a), cb = sorted(b);
            ASSERT_EQ(ca.size(), cb.size());
            for (size_t j = 0; j < ca.size(); ++j) EXPECT_EQ(ca[j], cb[j]);
            EXPECT_EQ(a["props"], b["props"]);
        }
    }
    EXPECT_GE(pairs, 8);
}

}  // namespace
}  // namespace orcadx::test
