// Capture files written in every version that the export entry points accept: a design loaded and
// saved again in each version, and a project exported in each, loads back with every page, every
// object on it, every component and symbol. Headered versions carry size headers, which must
// hold what Capture writes: a real design saved in its own version gets back the values Capture
// gave it.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include "ExportTestSupport.h"
#include "dbo/DboViewObjects.h"
#include "entry/TranslatorApi.h"
#include "export/SCHExportProject.h"
#include "platform/CodePage.h"

using namespace orcadx;

namespace {

// The sample design of examples/ (a Capture file of version 0x00020003), then the corpus designs.
std::vector<std::string> Designs() {
    std::vector<std::string> files{(std::filesystem::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" /
                                    "P1_Olteanu_Rares.dsn")
                                       .string()};
    if (test::HaveCorpus())
        for (const auto& file : test::CorpusFiles({".dsn"})) files.push_back(file.string());
    return files;
}

std::string DesignName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = std::to_string(info.index) + "_";
    for (char c : std::filesystem::path(info.param).filename().string())
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

std::string Lines(const std::vector<std::string>& lines) {
    std::ostringstream out;
    for (const auto& line : lines) out << "  " << line << "\n";
    return out.str();
}

// The lines of one summary that the other hasn't, both ways.
std::string Differences(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    std::multiset<std::string> a(expected.begin(), expected.end()), b(actual.begin(), actual.end());
    std::vector<std::string> lost, gained;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(lost));
    std::set_difference(b.begin(), b.end(), a.begin(), a.end(), std::back_inserter(gained));
    std::ostringstream out;
    for (const auto& line : lost) out << "  lost: " << line << "\n";
    for (const auto& line : gained) out << "  gained: " << line << "\n";
    return out.str();
}

// The bytes of a page stream of a written file.
std::vector<uint8_t> PageBytes(const std::filesystem::path& file, const std::string& view, const std::string& page) {
    std::unique_ptr<dbo::TDboIStorage> root, views, viewStorage, pages;
    dbo::OpenRootStorage(file.string(), root);
    root->OpenStorageSafe("Views", views);
    views->OpenStorageSafe(view, viewStorage);
    viewStorage->OpenStorageSafe("Pages", pages);
    std::unique_ptr<dbo::TDboIStream> stream;
    pages->OpenStreamSafe(page, stream);
    return stream->Platform().Contents();
}

// What Capture writes in every page of a headered file: the page's first size header counts the
// rest of its stream, and each record's last one the rest of its frame (type byte, user
// properties, extra-data block).
void ExpectCapturesPageFrames(const std::filesystem::path& file) {
    auto design = std::make_unique<dbo::TDboDesign>(file.string(), nullptr, 0, nullptr);
    ASSERT_TRUE(design->Load(false)) << file;
    for (int v = 0; v < design->ViewCount(); ++v)
        for (int p = 0; p < design->GetViews(v)->PageCount(); ++p) {
            dbo::TDboPage* page = design->GetViews(v)->GetPages(p);
            ASSERT_EQ(page->HeaderRecords.size(), 2u);
            EXPECT_EQ(page->HeaderRecords[0] + 9,
                      static_cast<int64_t>(PageBytes(file, design->GetViews(v)->ViewName, page->PageName).size()))
                << page->PageName;
        }
    int wrong = 0;
    for (dbo::TDboStorableObject* record : test::PageRecords(*design)) {
        if (record->HeaderKind() != 2 || record->HeaderRecords.empty()) continue;
        int64_t frame = 1 + record->UserPropsSize() + record->ExtraDataSize();
        if (record->HeaderRecords.back() != frame && ++wrong <= 5)
            ADD_FAILURE() << record->ClassName() << ": last size header " << record->HeaderRecords.back()
                          << ", frame " << frame;
    }
}

class SaveInEveryVersion : public ::testing::TestWithParam<std::string> {};

}  // namespace

// A real design saved again in its own headered version gets Capture's size headers back on every
// record of its pages; saved in each version the entry points accept, it loads back with the same
// pages, objects, components and symbols.
TEST_P(SaveInEveryVersion, LoadsBackWholeAndKeepsCapturesSizeHeaders) {
    const std::filesystem::path file = GetParam();
    const std::filesystem::path dir = test::ScratchDir("export-versions-" + DesignName({GetParam(), 0}));
    std::vector<std::string> expected;
    uint32_t own = 0;
    {
        dbo::TDboDesign original(file.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(original.Load(false)) << file;
        expected = test::DesignSummary(original);
        own = original.Version;
    }
    ASSERT_FALSE(expected.empty());

    if (dbo::InVersionSet(own, dbo::VersionSet::Headered)) {
        dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(design.Load(false));
        std::vector<dbo::TDboStorableObject*> records = test::PageRecords(design);
        std::vector<std::vector<int64_t>> captures;
        for (auto* record : records) captures.push_back(record->HeaderRecords);
        design.FileName = (dir / "own.DSN").string();
        ASSERT_NO_THROW(design.Save());
        std::vector<std::string> wrong;
        for (size_t i = 0; i < records.size(); ++i)
            if (records[i]->HeaderRecords != captures[i])
                wrong.push_back(fmt::format("{} #{}: Capture {}, saved {}", records[i]->ClassName(), i,
                                            fmt::join(captures[i], " "), fmt::join(records[i]->HeaderRecords, " ")));
        EXPECT_TRUE(wrong.empty()) << wrong.size() << " of " << records.size()
                                   << " records saved with other size headers than Capture's, the first:\n"
                                   << Lines({wrong.begin(), wrong.begin() + std::min<size_t>(wrong.size(), 10)});
    }

    for (uint32_t version : test::ExportVersions()) {
        SCOPED_TRACE(fmt::format("version 0x{:08X}", version));
        auto written = dir / fmt::format("v{:08X}.DSN", version);
        {
            dbo::TDboDesign design(file.string(), nullptr, 0, nullptr);
            ASSERT_TRUE(design.Load(false));
            design.Version = version;
            design.FileName = written.string();
            ASSERT_NO_THROW(design.Save());
        }
        EXPECT_TRUE(IsValidDSN(platform::Utf8ToUtf16(written.string()).c_str()));
        dbo::TDboDesign loaded(written.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(loaded.Load(false));
        EXPECT_EQ(loaded.Version, version);
        std::vector<std::string> summary = test::DesignSummary(loaded);
        EXPECT_TRUE(summary == expected) << Differences(expected, summary);
        if (dbo::InVersionSet(version, dbo::VersionSet::Headered)) ExpectCapturesPageFrames(written);
    }
}

INSTANTIATE_TEST_SUITE_P(Designs, SaveInEveryVersion, ::testing::ValuesIn(Designs()), DesignName);

// The sample design imported into a host project and exported in each version: what the export
// writes in one version it writes in every other, and each file is one the entry points call valid.
TEST(ExportInEveryVersion, TheImportedExampleComesBackTheSameInEach) {
    auto dir = test::ScratchDir("export-versions-example");
    test::ImportedProject project(dir / "project",
                                  std::filesystem::path(ORCADX_SOURCE_DIR) / "examples" / "Series-Regulator" /
                                      "P1_Olteanu_Rares.dsn");
    ASSERT_FALSE(project.sheets.empty());
    std::vector<std::string> first;
    for (uint32_t version : test::ExportVersions()) {
        SCOPED_TRACE(fmt::format("version 0x{:08X}", version));
        auto written = dir / fmt::format("v{:08X}.DSN", version);
        ASSERT_NO_THROW(exporter::ExportProject(project.app, project.project, written.string(), version));
        std::u16string parameters = platform::Utf8ToUtf16("FileName=" + written.string() + " | FileType=DSN");
        EXPECT_TRUE(OrCad71Validator(parameters.c_str()));
        dbo::TDboDesign loaded(written.string(), nullptr, 0, nullptr);
        ASSERT_TRUE(loaded.Load(false));
        EXPECT_EQ(loaded.Version, version);
        EXPECT_EQ(loaded.PageCount(), static_cast<int>(project.sheets.size()));
        std::vector<std::string> summary = test::DesignSummary(loaded);
        if (first.empty()) first = summary;
        else EXPECT_TRUE(summary == first) << Differences(first, summary);
        if (dbo::InVersionSet(version, dbo::VersionSet::Headered)) ExpectCapturesPageFrames(written);
    }
}
