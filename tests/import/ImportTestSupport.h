// What the import tests share: a host with its schematic server, an empty Capture file in memory,
// and a library document to import into.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "dbo/DboDesign.h"
#include "host/ClientServices.h"
#include "host/HostApplication.h"
#include "host/HostSupport.h"

namespace orcadx::test {

inline host::HostOptions ImportHostOptions(const std::filesystem::path& folder) {
    host::HostOptions options;
    options.Seed = 11;
    options.SettingsFolder = (folder / "settings").string();
    options.TemplatesFolder = (folder / "templates").string();
    return options;
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

// The direct children of a container of one kind (0: of every kind), in order.
template <class T>
std::vector<T*> ChildrenOf(host::ISch_BasicContainer* container, int32_t kind) {
    std::vector<T*> out;
    auto it = container->SchIterator_Create(kind ? host::ObjectSet{kind} : host::ObjectSet{}, host::eIterateFirstLevel);
    for (auto* o = it->FirstSchObject(); o; o = it->NextSchObject())
        if (auto* t = dynamic_cast<T*>(o)) out.push_back(t);
    return out;
}

}  // namespace orcadx::test
