// A loaded sample design whose pages import one by one into sheets of a scratch folder, named as
// the design import names them.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ImportTestSupport.h"
#include "dbo/DboViewObjects.h"
#include "export/Manage_PageNames.h"
#include "import/SCHLibraryImport.h"
#include "import/SCHPageDocument.h"

namespace orcadx::test {

struct PageBench {
    // `withLibrary`: the library import runs first, so that title blocks find their components.
    PageBench(const std::string& name, const std::filesystem::path& file, bool withLibrary = false)
        : folder(ScratchDir(name)), app(ImportHostOptions(folder)), design(file.string(), nullptr, 0, nullptr) {
        app.StartSchServer();
        if (!design.Load(false)) throw std::runtime_error("cannot load " + file.string());
        for (auto& [view, page] : Pages()) names.GetUniquePageName(view, page->PageName);
        if (withLibrary) {
            bool templates = false;
            libraryName = importer::ImportLibrary(app, design, &options, nullptr, 100, &libraryLog, folder.string(),
                                                  nullptr, false, templates);
        }
    }

    // Every page with its view's name, in file order.
    std::vector<std::pair<std::string, dbo::TDboPage*>> Pages() {
        std::vector<std::pair<std::string, dbo::TDboPage*>> out;
        for (int v = 0; v < design.ViewCount(); ++v)
            for (auto& page : design.GetViews(v)->Pages) out.emplace_back(design.GetViews(v)->ViewName, page.get());
        return out;
    }

    dbo::TDboPage* FindPage(const std::string& view, const std::string& page) {
        for (auto& [v, p] : Pages())
            if (v == view && p->PageName == page) return p;
        return nullptr;
    }

    host::ISch_Document* Import(const std::string& view, dbo::TDboPage& page, host::ILogSection& log) {
        return importer::ImportPage(app, design, libraryName, &options, &log, folder.string(), nullptr, names, view, page);
    }

    std::filesystem::path folder;
    host::HostApplication app;
    dbo::TDboDesign design;
    host::ImporterOptions options;
    exporter::TPageNameManager names;
    std::string libraryName;
    host::LogSection libraryLog;
};

}  // namespace orcadx::test
