// A host built in code for the export tests: a library document, components and drawing objects
// made through the host's factory, and the Capture file written from them loaded back.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"

namespace orcadx::test {

// The file versions that the export entry points accept ("OrcadVersion"), in decimal order.
inline const std::vector<uint32_t>& ExportVersions() {
    static const std::vector<uint32_t> versions{0x00000001, 0x00000002, 0x00010001, 0x00010002, 0x00020003, 0x00030003};
    return versions;
}

// What a loaded design holds: one line per view and page with the number of objects in each of
// the page's lists, then its components and symbols by name. Designs that hold the same objects
// give the same lines, whatever the version of their files.
std::vector<std::string> DesignSummary(const dbo::TDboDesign& design);

// The records of the design's pages that carry size headers, in the order a page stream holds
// them: each page, what its lists hold, and within those the visible properties, wire aliases,
// pin properties and the inner record of a graphic instance.
std::vector<dbo::TDboStorableObject*> PageRecords(const dbo::TDboDesign& design);

// Host options for a host of its own in `folder`.
host::HostOptions HostIn(const std::filesystem::path& folder);

// One host with a project in its own folder, into which a Capture design imports whole; the
// project's sheets are open, by file name.
struct ImportedProject {
    ImportedProject(const std::filesystem::path& folder, const std::filesystem::path& file);

    std::filesystem::path folder;
    host::HostApplication app;
    dbo::TDboDesign design;
    host::IProject* project = nullptr;
    host::ImporterOptions options;
    host::LogSection log;
    std::map<std::string, host::ISch_Document*> sheets;
};

constexpr int32_t Unit(double captureUnits) { return static_cast<int32_t>(captureUnits * 100000); }

class ExportFixture : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    host::HostApplication& App() { return *app_; }
    host::ISch_ServerInterface* Server() { return app_->SchServer(); }

    template <class T>
    T* Make(int32_t kind) {
        auto* object = dynamic_cast<T*>(Server()->CreateSchObject(kind, 0));
        if (!object) throw std::runtime_error("host made no object of kind " + std::to_string(kind));
        return object;
    }

    // A new, empty library document in the scratch folder (its first component removed).
    host::ISch_Lib* NewLibrary(const std::string& name = "Test.SchLib");
    // A component of one part added to `library`.
    host::ISch_Component* AddComponent(host::ISch_Lib* library, const std::string& libReference);
    // A pin on `owner` of the given part.
    host::ISch_Pin* AddPin(host::ISch_Component* owner, const std::string& name, const std::string& number,
                           host::Coord location, int32_t orientation, int32_t length, int32_t part = 1,
                           int32_t mode = 0);
    host::ISch_Rectangle* AddRectangle(host::ISch_Component* owner, host::Coord a, host::Coord b, int32_t part = 1,
                                       int32_t mode = 0);
    // Writes "Penwork.Ini" of the host's settings folder.
    void WriteSettings(const std::string& text);

    // A Capture design object for `name` in the scratch folder (a library when it ends in .OLB).
    std::unique_ptr<dbo::TDboDesign> NewDesign(const std::string& name = "Out.OLB");
    // Loads a written file; fails the test when the load doesn't succeed.
    std::unique_ptr<dbo::TDboDesign> LoadDesign(const std::filesystem::path& path);

    std::filesystem::path dir_;

private:
    std::unique_ptr<host::HostApplication> app_;
};

}  // namespace orcadx::test
