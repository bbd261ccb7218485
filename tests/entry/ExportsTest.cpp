// The file test behind IsValidDSN, IsValidOLB and OrCad71Validator.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "TestSupport.h"
#include "entry/TranslatorApi.h"
#include "platform/CodePage.h"

using namespace orcadx;
namespace fs = std::filesystem;

namespace {

std::u16string W(const fs::path& p) { return platform::Utf8ToUtf16(p.string()); }

fs::path CopyAs(const fs::path& from, const fs::path& to) {
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
    fs::permissions(to, fs::perms::owner_read | fs::perms::owner_write);
    return to;
}

}  // namespace

TEST(FileTest, ExtensionExistenceAndHeader) {
    ORCADX_REQUIRE_CORPUS();
    auto dir = test::ScratchDir("filetest");
    fs::path dsn = test::CorpusDir() / "PREAMPL_SCHEM.DSN";
    fs::path olb = test::CorpusDir() / "capsym.olb";
    EXPECT_TRUE(IsValidDSN(W(dsn).c_str()));
    EXPECT_FALSE(IsValidOLB(W(dsn).c_str()));  // wrong extension
    EXPECT_TRUE(IsValidOLB(W(olb).c_str()));   // lower-case extension passes
    // The header test accepts either identifier: a library named .DSN is a valid DSN.
    auto libAsDsn = CopyAs(olb, dir / "library.DSN");
    EXPECT_TRUE(IsValidDSN(W(libAsDsn).c_str()));
    auto lower = CopyAs(dsn, dir / "x.dsn");
    EXPECT_TRUE(IsValidDSN(W(lower).c_str()));
    // A link counts as the file it points to.
    fs::create_symlink(lower, dir / "link.DSN");
    EXPECT_TRUE(IsValidDSN(W(dir / "link.DSN").c_str()));

    EXPECT_FALSE(IsValidDSN(W(dir / "missing.DSN").c_str()));
    EXPECT_FALSE(IsValidDSN(nullptr));
    EXPECT_FALSE(IsValidDSN(u""));
    std::ofstream(dir / "text.DSN") << "not a compound file";
    EXPECT_FALSE(IsValidDSN(W(dir / "text.DSN").c_str()));
    // A truncated design: the compound file can't be read, which is a plain false.
    {
        std::ifstream in(dsn, std::ios::binary);
        std::string head(4096, '\0');
        in.read(head.data(), 4096);
        std::ofstream(dir / "short.DSN", std::ios::binary) << head;
    }
    EXPECT_FALSE(IsValidDSN(W(dir / "short.DSN").c_str()));
}

TEST(FileTest, ValidatorParameters) {
    ORCADX_REQUIRE_CORPUS();
    std::string dsn = (test::CorpusDir() / "PREAMPL_SCHEM.DSN").string();
    std::string olb = (test::CorpusDir() / "capsym.olb").string();
    auto call = [](const std::string& p) { return OrCad71Validator(platform::Utf8ToUtf16(p).c_str()); };
    EXPECT_TRUE(call("FileName=" + dsn + " | FileType=DSN"));
    EXPECT_TRUE(call("FileType=OLB|FileName=" + olb));
    EXPECT_FALSE(call("FileName=" + dsn + " | FileType=dsn"));  // the type compares exactly
    EXPECT_FALSE(call("FileName=" + dsn + " | FileType=OLB"));
    EXPECT_FALSE(call("FileName=" + dsn));
    EXPECT_FALSE(call("FileType=DSN"));
    EXPECT_FALSE(call(""));
    EXPECT_FALSE(OrCad71Validator(nullptr));
    EXPECT_EQ(std::u16string(GetSchExporterDescription()), u"Orcad v7 Capture Design (*.dsn)");
}
