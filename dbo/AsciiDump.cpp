#include "dbo/AsciiDump.h"

#include <fmt/format.h>

#include "dbo/AsciiWriter.h"
#include "dbo/DboCacheObjects.h"
#include "dbo/DboDesign.h"
#include "dbo/DboLibObjects.h"
#include "dbo/DboSymbolObjects.h"

namespace orcadx::dbo {

void WriteDesignAscii(TDboDesign& design, const std::string& fileName, TAsciiWriter& writer) {
    writer.WriteLine(fmt::format("<components count=\"{}\">", design.ComponentCount()));
    writer.IncrementTab();
    for (int i = 0; i < design.ComponentCount(); ++i) {
        TDboLibComponent* component = design.GetComponent(i);
        writer.WriteLine(fmt::format("<item i=\"{}\">", i));
        writer.IncrementTab();
        writer.WriteLine("<part_info>");
        writer.IncrementTab();
        component->PartInfo->WriteAscii(writer);
        writer.DecrementTab();
        writer.WriteLine("</part_info>");
        writer.WriteLine(fmt::format("<package_list count=\"{}\">", component->Packages.Count()));
        component->Packages.WriteAscii(writer);
        writer.WriteLine("</package_list>");
        writer.DecrementTab();
        writer.WriteLine("</item>");
    }
    writer.DecrementTab();
    writer.WriteLine("</components>");

    writer.WriteLine(fmt::format("<symbols count=\"{}\">", design.SymbolCount()));
    design.Symbols->WriteAscii(writer);
    writer.WriteLine("</symbols>");

    std::unique_ptr<TDboIStorage> root;
    OpenRootStorage(fileName, root);
    std::unique_ptr<TDboIStream> stream;
    root->OpenStreamSafe("Cache", stream);
    auto cache = Make<TDboCache>(&design);
    cache->Load(*stream);
    cache->WriteAscii(writer);
}

}  // namespace orcadx::dbo
