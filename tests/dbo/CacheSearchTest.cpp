// Name searches of the cache lists, in lists sorted by a load and in lists grown afterwards.
#include <gtest/gtest.h>

#include <random>

#include "DboTestSupport.h"
#include "dbo/DboCacheObjects.h"
#include "dbo/DboLibObjects.h"
#include "platform/TextCompare.h"

using namespace orcadx;
using namespace orcadx::dbo;

TEST(CacheSearch, SortedAndGrownListsFindTheFirstItemOfAName) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache cache(d.get());
    cache.Initialize();
    std::vector<std::string> names;
    std::mt19937 rng(7);
    const char* stems[] = {"R", "r", "CAP", "Cap", "cap", "U1", "u1", "LM324", "_X", "Z", "a_b", "A_B"};
    for (int i = 0; i < 200; ++i) names.push_back(std::string(stems[rng() % 12]) + std::to_string(rng() % 5));
    for (const auto& n : names) {
        auto package = Make<TDboLibPackage>(d.get());
        package->Name = n;
        cache.AddPackage(std::move(package));
    }
    auto reference = [&](const std::string& name, bool exact) -> TDboCacheItem* {
        for (int i = 0; i < cache.CachePackages.Count(); ++i) {
            TDboCacheItem* item = cache.CachePackages.GetCacheItems(i);
            if (exact ? item->Name == name : platform::SameTextNoCase(item->Name, name)) return item;
        }
        return nullptr;
    };
    auto check = [&] {
        for (const auto& n : names)
            for (const std::string& probe : {n, std::string("x") + n, n + "9"}) {
                std::string lower = probe;
                for (auto& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                EXPECT_EQ(TDboCache::FindItemByName(lower, cache.CachePackages), reference(lower, false)) << lower;
                EXPECT_EQ(TDboCache::FindItemByNameCaseSensitive(probe, cache.CachePackages), reference(probe, true))
                    << probe;
            }
    };
    check();  // as added: unsorted
    cache.CachePackages.SortByName();
    check();
    // An item added after the sort is found, and the first of a name stays the first.
    auto extra = Make<TDboLibPackage>(d.get());
    extra->Name = "AAA_NEW";
    cache.AddPackage(std::move(extra));
    names.push_back("AAA_NEW");
    check();
    EXPECT_NE(TDboCache::FindItemByName("aaa_new", cache.CachePackages), nullptr);
}
