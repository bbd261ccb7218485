// What the import tests share: a host with its schematic server, an empty Capture file in memory,
// and a library document to import into.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboObjects.h"
#include "dbo/DboSymbolObjects.h"
#include "entry/TranslatorApi.h"
#include "host/ClientServices.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"
#include "platform/CodePage.h"
#include "platform/CompoundFile.h"

namespace orcadx::test {

inline host::HostOptions ImportHostOptions(const std::filesystem::path& folder) {
    return host::HostOptionsIn(folder.string(), 11);
}

inline std::u16string Wide(const std::filesystem::path& p) { return platform::Utf8ToUtf16(p.string()); }

inline bool Has(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

// The host, a new library document in a scratch folder, and an empty library file.
struct ImportBench {
    explicit ImportBench(const std::string& name)
        : folder(ScratchDir(name)), app(ImportHostOptions(folder)), design((folder / "test.OLB").string(), nullptr, 0, nullptr) {
        app.StartSchServer();
        host::IServerDocument* server =
            host::OpenOrCreateDocument(app, (folder / "test_Library.SchLib").string(), "SCHLIB", "Binary", true);
        library = dynamic_cast<host::ISch_Lib*>(app.SchDocumentOf(server));
    }

    host::ISch_ServerInterface& Server() { return *app.SchServer(); }

    std::filesystem::path folder;
    host::HostApplication app;
    dbo::TDboDesign design;
    host::ImporterOptions options;
    host::LogSection log;
    host::ISch_Lib* library = nullptr;
};

// The errors of an import but for the PSpice models it found nowhere: imports without a project
// have no folder to copy a model into, so every model counts as not found.
inline std::vector<std::string> ErrorsBesideMissingModels(const host::LogSection& log) {
    std::vector<std::string> out;
    for (auto& m : log.AllMessages(host::kLogError))
        // The sample design comes without the model files and simulation profiles that its parts
        // and project file name.
        if (m.rfind("PSpice model not found \"", 0) != 0 && m.rfind("Simulation profile file not found - ", 0) != 0)
            out.push_back(m);
    return out;
}

// The two errors of the sample design Series-Regulator: the PSpice template of MLED81_1 names pins
// A and C where its symbol has pins 1 and 2.
inline std::vector<std::string> SampleTemplatePinErrors() {
    return {"Could not map PSpice template pin \"A\" on component \"MLED81_1\"",
            "Could not map PSpice template pin \"C\" on component \"MLED81_1\""};
}

// Copies a compound file, leaving out the entry at `skip` ("Packages Directory", "Packages/X");
// `change`, when given, may alter the bytes of each stream copied (by its path).
inline void CopyCompoundFile(const std::filesystem::path& from, const std::filesystem::path& to, const std::string& skip,
                             const std::function<void(const std::string&, std::vector<uint8_t>&)>& change = {}) {
    std::unique_ptr<platform::CfbStorage> in, out;
    ASSERT_EQ(platform::OpenStorageFile(from.string(), 0, &in), 0);
    ASSERT_EQ(platform::CreateStorageFile(to.string(), 0, &out), 0);
    std::function<void(platform::CfbStorage&, platform::CfbStorage&, const std::string&)> copy =
        [&](platform::CfbStorage& src, platform::CfbStorage& dst, const std::string& prefix) {
            for (const auto& entry : src.List()) {
                std::string path = prefix + entry.name;
                if (path == skip) continue;
                if (entry.isStorage) {
                    std::unique_ptr<platform::CfbStorage> a, b;
                    ASSERT_EQ(src.OpenStorage(entry.name, 0, &a), 0);
                    ASSERT_EQ(dst.CreateStorage(entry.name, 0, &b), 0);
                    copy(*a, *b, path + "/");
                } else {
                    std::unique_ptr<platform::CfbStream> a, b;
                    ASSERT_EQ(src.OpenStream(entry.name, 0, &a), 0);
                    ASSERT_EQ(dst.CreateStream(entry.name, 0, &b), 0);
                    std::vector<uint8_t> all, bytes(1 << 16);
                    uint32_t n = 0;
                    while (a->Read(bytes.data(), static_cast<uint32_t>(bytes.size()), &n) == 0 && n > 0)
                        all.insert(all.end(), bytes.begin(), bytes.begin() + n);
                    if (change) change(path, all);
                    uint32_t written = 0;
                    if (!all.empty()) {
                        ASSERT_EQ(b->Write(all.data(), static_cast<uint32_t>(all.size()), &written), 0);
                    }
                }
            }
        };
    copy(*in, *out, "");
}

// The direct children of a container of one kind (0: of every kind), in order.
template <class T>
std::vector<T*> ChildrenOf(host::ISch_BasicContainer* container, int32_t kind) {
    std::vector<T*> out;
    auto it = container->SchIterator_Create(kind ? host::ObjectSet{kind} : host::ObjectSet{}, host::eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* t = dynamic_cast<T*>(o)) out.push_back(t);
    return out;
}

// Library elements of a Capture file, built in code.
struct LibraryBuilder {
    explicit LibraryBuilder(dbo::TDboDesign& design) : d(design) {}

    dbo::TDboLibComponent* Component(const std::string& name, const std::string& reference = "U",
                                     const std::string& footprint = "") {
        auto c = dbo::Make<dbo::TDboLibComponent>(&d);
        c->PartInfo->CompName = name;
        c->PartInfo->CompRefName = reference;
        c->PartInfo->CompFootprint = footprint;
        auto* raw = c.get();
        d.AddComponent(std::move(c));
        if (d.PkgDir) {
            auto entry = dbo::Make<dbo::TDboLibPkgDirEntry>(&d);
            entry->EntryName = name;
            d.PkgDir->Add(std::move(entry));
        }
        return raw;
    }

    dbo::TDboLibPackage* Package(dbo::TDboLibComponent* c, const std::string& name) {
        auto p = dbo::Make<dbo::TDboLibPackage>(&d);
        p->Name = name;
        auto* raw = p.get();
        c->Packages.Add(std::move(p));
        return raw;
    }

    // A view of `right` by `bottom` units; pin names and numbers shown unless the bits say else.
    dbo::TDboLibView* View(dbo::TDboLibPackage* p, const std::string& name, int right = 40, int bottom = 30,
                           uint16_t pinBits = 1) {
        auto v = dbo::Make<dbo::TDboLibView>(&d);
        v->ViewName = name;
        v->Right = static_cast<int16_t>(right);
        v->Bottom = static_cast<int16_t>(bottom);
        v->IType_PinBit = pinBits;
        auto* raw = v.get();
        p->AddView(std::move(v));
        return raw;
    }

    dbo::TDboPin* Pin(dbo::TDboLibBaseView* v, const std::string& name, int ox, int oy, int ex, int ey, int type = 4,
                      int attributes = 32) {
        auto pin = dbo::Make<dbo::TDboPinScalar>(&d);
        pin->PinName = name;
        pin->OffsetX = ox;
        pin->OffsetY = oy;
        pin->EndX = ex;
        pin->EndY = ey;
        pin->PinType = type;
        pin->Attributes = attributes;
        auto* raw = pin.get();
        v->Pins->Add(std::move(pin));
        return raw;
    }

    dbo::TDboLibPart* Part(dbo::TDboLibComponent* c, const std::string& package, const std::vector<std::string>& numbers) {
        auto part = dbo::Make<dbo::TDboLibPart>(&d);
        part->PkgName = package;
        for (const auto& n : numbers) {
            auto pin = dbo::Make<dbo::TDboLibPartPin>(&d);
            pin->PinNumber = n;
            part->PartPins.Add(std::move(pin));
        }
        auto* raw = part.get();
        c->PartInfo->AddPart(std::move(part));
        return raw;
    }

    dbo::TDboLibSymbol* Symbol(int id, const std::string& name, int right = 100, int bottom = 50) {
        auto s = dbo::CreateSymbol(&d, id);
        s->ViewName = name;
        s->Right = static_cast<int16_t>(right);
        s->Bottom = static_cast<int16_t>(bottom);
        auto* raw = s.get();
        d.AddSymbol(std::move(s));
        return raw;
    }

    dbo::TDboDesign& d;
};

// A status handler that keeps every step of progress.
struct ProgressRecorder final : host::IHandler_Status {
    host::HResult SetStatusTitle(const std::string& text) override {
        titles.push_back(text);
        return host::kOk;
    }
    host::HResult SetStatusLine(const std::string& text) override {
        if (lines.empty() || lines.back() != text) lines.push_back(text);
        return host::kOk;
    }
    host::HResult BeginStatus() override {
        ++depth;
        return host::kOk;
    }
    host::HResult EndStatus() override {
        --depth;
        return host::kOk;
    }
    host::HResult SetProgressRange(int32_t total) override {
        range = total;
        return host::kOk;
    }
    host::HResult AdvanceProgress(int32_t units) override {
        steps.push_back(units);
        return host::kOk;
    }
    host::HResult CompleteProgress() override {
        completed = true;
        return host::kOk;
    }
    int32_t Sum() const {
        int32_t s = 0;
        for (int32_t u : steps) s += u;
        return s;
    }
    std::vector<std::string> titles, lines;
    std::vector<int32_t> steps;
    int32_t depth = 0, range = 0;
    bool completed = false;
};

// A test of the exported functions: the host registered for them (until the test ends), a folder
// of the test's own with an empty folder "out", and in that a new project named `projectName`.
class DriverTest : public ::testing::Test {
protected:
    explicit DriverTest(const std::string& projectName)
        : folder(ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name())),
          app(ImportHostOptions(folder)) {
        RegisterHost(&app);
        std::filesystem::create_directories(folder / "out");
        project = app.CreateProject((folder / "out" / projectName).string());
    }
    ~DriverTest() override { RegisterHost(nullptr); }

    // The status ran its whole range of `range` steps under the title `title`, ended and completed.
    void ExpectWholeStatus(int32_t range, const std::string& title) const {
        EXPECT_EQ(status.range, range);
        EXPECT_TRUE(status.completed);
        EXPECT_EQ(status.depth, 0);
        EXPECT_LE(status.Sum(), range);
        EXPECT_TRUE(Has(status.titles, title));
    }

    std::filesystem::path folder;
    host::HostApplication app;
    host::ImporterOptions options;
    ProgressRecorder status;
    host::LogSection log;
    host::IProject* project = nullptr;
    uint8_t templates = 7;
};

}  // namespace orcadx::test
