// Files built to be large or odd (fuzz/HostileFiles.h), at several sizes: each loads with what it
// should hold, or is refused with a message that says what is wrong, in a child process bounded in
// time and memory. Without the sample files. The large sizes are the benchmark's (bench/).
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Isolated.h"
#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboViewObjects.h"
#include "fuzz/FuzzEntries.h"
#include "fuzz/HostileFiles.h"

namespace orcadx::test {
namespace {

using fuzz::Hostile;
using Bytes = std::vector<uint8_t>;

// Sizes per family: small ones, and one large enough that a cost growing with the square of n, or
// a stream loaded once per naming, would pass the bounds (the repeated names at the lists' limit).
std::vector<int> Sizes(Hostile family) {
    switch (family) {
        case Hostile::RepeatedPage:
        case Hostile::RepeatedView:
        case Hostile::RepeatedPackage: return {1, 2, 300, 65535};
        case Hostile::ManyPages:
        case Hostile::ManyComponents: return {1, 30, kSanitized ? 1500 : 4000};
        default: return {1, 2, 300, kSanitized ? 8000 : 20000};
    }
}

TEST(HostileFiles, EachLoadsOrIsRefusedWithAMessageInBoundedTimeAndMemory) {
    for (int f = 0; f < static_cast<int>(Hostile::Count); ++f) {
        const Hostile family = static_cast<Hostile>(f);
        for (int n : Sizes(family)) {
            SCOPED_TRACE(std::string(fuzz::HostileName(family)) + ", n = " + std::to_string(n));
            Bytes bytes;
            ASSERT_NO_THROW(bytes = fuzz::MakeHostileFile(family, n));
            IsolatedResult r = RunIsolated([&] { return fuzz::LoadDesignImage(bytes.data(), bytes.size()); },
                                           LoadBounds(bytes.size()));
            EXPECT_EQ(r.kind, fuzz::HostileLoads(family) ? IsolatedResult::Loaded : IsolatedResult::Refused)
                << Describe(r);
            EXPECT_LE(r.peakBytes, PeakBound(bytes.size())) << Describe(r);
            if (r.kind == IsolatedResult::Refused) {
                EXPECT_NE(r.message.find("Damaged compound file: "), std::string::npos) << r.message;
                EXPECT_EQ(r.message.find("\r\nUnknown"), std::string::npos) << r.message;
            }
            if (r.kind == IsolatedResult::Loaded) {
                fuzz::HostileCounts want = fuzz::HostileExpected(family, n);
                EXPECT_EQ(r.components, want.components);
                EXPECT_EQ(r.pages, want.pages);
                EXPECT_EQ(r.views, want.views);
            }
            if (n == Sizes(family).back())
                std::cout << fuzz::HostileName(family) << ", n = " << n << ", " << bytes.size() / 1024
                          << " KiB: " << Describe(r) << "\n";
        }
    }
}

// The log of a load, as a list of (severity, text).
struct Log : host::ILogSection {
    std::vector<std::pair<int32_t, std::string>> messages;
    std::vector<std::unique_ptr<Log>> sections;
    host::HResult AddSubSection(const std::string&, host::ILogSection** out) override {
        sections.push_back(std::make_unique<Log>());
        *out = sections.back().get();
        return 0;
    }
    host::HResult AddMessage(int32_t severity, const std::string& text) override {
        messages.push_back({severity, text});
        return 0;
    }
    std::vector<std::pair<int32_t, std::string>> All() const {
        auto out = messages;
        for (const auto& s : sections)
            for (const auto& m : s->All()) out.push_back(m);
        return out;
    }
};

TEST(HostileFiles, ANameThatAListRepeatsIsLoadedOnceAndToldOnce) {
    const struct {
        Hostile family;
        const char* extension;
        std::string expected;
    } cases[] = {
        {Hostile::RepeatedPage, ".DSN",
         "Page \"P1\" is named 1000 times in the page list of view \"V\"; it is loaded once"},
        {Hostile::RepeatedView, ".DSN", "View \"V\" is named 1000 times in \"Views Directory\"; it is loaded once"},
        {Hostile::RepeatedPackage, ".OLB", "\"PKG\" is named 1000 times in \"Packages Directory\"; it is loaded once"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(fuzz::HostileName(c.family));
        Log log;
        dbo::TDboDesign d(std::string("hostile") + c.extension, nullptr, 0, &log);
        d.MemoryImage = fuzz::MakeHostileFile(c.family, 1000);
        ASSERT_NO_THROW(d.Load(false));
        auto messages = log.All();
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].first, host::kLogWarning);
        EXPECT_EQ(messages[0].second, c.expected);
        fuzz::HostileCounts want = fuzz::HostileExpected(c.family, 1000);
        EXPECT_EQ(d.ComponentCount(), want.components);
        EXPECT_EQ(d.PageCount(), want.pages);
        // The page list keeps one name per page.
        if (c.family == Hostile::RepeatedPage) {
            EXPECT_EQ(d.GetViews(0)->PageNames.size(), 1u);
        }
    }
}

TEST(HostileFiles, TheInfoTreeOfDeepNestingGrowsWithTheEntriesAlone) {
    // orcadx info on storages nested 4,000 deep: every level is listed, and the text stays within
    // a fixed size per entry (indentation stops growing).
    auto dir = ScratchDir("hostile-info");
    auto file = dir / "deep.DSN";
    {
        Bytes bytes = fuzz::MakeHostileFile(Hostile::NestedStorages, 4000);
        std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                    static_cast<std::streamsize>(bytes.size()));
    }
    std::string command =
        std::string(ORCADX_BINARY_DIR) + "/bin/orcadx -q info --strings 0 '" + file.string() + "' 2>&1";
    FILE* p = popen(command.c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::string out;
    char buf[65536];
    for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    EXPECT_EQ(pclose(p), 0) << out.substr(0, 2000);
    size_t levels = 0, pos = 0;
    while ((pos = out.find("D/\n", pos)) != std::string::npos) ++levels, ++pos;
    EXPECT_EQ(levels, 3999u);  // "Deep/" and 3,999 storages "D" below it
    EXPECT_NE(out.find("[level 4001] Leaf  3\n"), std::string::npos);
    EXPECT_LT(out.size(), 4000u * 100 + 10000) << "the text grows faster than the entries";
}

}  // namespace
}  // namespace orcadx::test
