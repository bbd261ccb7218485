// The indented text dump of library elements and of the design cache.
#include <gtest/gtest.h>

#include <sstream>

#include "DboTestSupport.h"
#include "dbo/AsciiWriter.h"
#include "dbo/DboCacheObjects.h"

using namespace orcadx;
using namespace orcadx::dbo;

TEST(AsciiDump, WriterIndent) {
    std::ostringstream out;
    TAsciiWriter writer(out);
    writer.SetTabIndent(2);
    writer.WriteLine("<a>");
    writer.SetTabIndent(3);
    writer.WriteLine("");
    EXPECT_EQ(out.str(), "        <a>\n\n");
}

// One element of each kind: a symbol, a package that still holds its view (as a library's does),
// part information with a part and a pin, and an empty view list.
TEST(AsciiDump, WholeCache) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache cache(d.get());
    cache.Initialize();
    auto symbol = CreateSymbol(d.get(), kIdPowerSymbol);
    symbol->ViewName = "VCC";
    cache.AddSymbol(std::move(symbol));
    auto package = Make<TDboLibPackage>(d.get());
    package->Name = "U1";
    auto view = Make<TDboLibView>(d.get());
    view->ViewName = "U1.Normal";
    package->AddView(std::move(view));
    cache.AddPackage(std::move(package));
    auto info = Make<TDboLibPartInfo>(d.get());
    info->CompName = "U1";
    info->CompRefName = "U";
    info->CompFootprint = "DIP8";
    auto part = Make<TDboLibPart>(d.get());
    part->PartNumber = "A<1>";  // values are written as they are
    part->PkgName = "U1";
    auto pin = Make<TDboLibPartPin>(d.get());
    pin->PinNumber = "1";
    part->PartPins.Add(std::move(pin));
    info->AddPart(std::move(part));
    cache.AddPartInfo(std::move(info));

    std::ostringstream out;
    TAsciiWriter writer(out);
    cache.WriteAscii(writer);
    EXPECT_EQ(writer.GetTabIndent(), 0);
    EXPECT_EQ(out.str(), R"(<design_cache>
    <symbol_list count="1">
        <item i="0">
            <name>VCC</name>
            <duplicates count="1">
                <item i="0">
                    <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                    <symbol>
                        <ViewName>VCC</ViewName>
                    </symbol>
                </item>
            </duplicates>
        </item>
    </symbol_list>
    <view_list count="0">
    </view_list>
    <package_list count="1">
        <item i="0">
            <name>U1</name>
            <duplicates count="1">
                <item i="0">
                    <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                    <package>
                        <name>U1</name>
                        <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                        <view_name_list count=1>
                            <item i=0>U1.Normal</item>
                        </view_name_list>
                        <lib_view_list count="1">
                                <item i="0">
                                    <ViewName>U1.Normal</ViewName>
                                </item>
                        </lib_view_list>
                    </package>
                </item>
            </duplicates>
        </item>
    </package_list>
    <part_list count="1">
        <item i="0">
            <name>U1</name>
            <duplicates count="1">
                <item i="0">
                    <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                    <part_info>
                        <comp_name>U1</comp_name>
                        <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                        <comp_ref_name>U</comp_ref_name>
                        <comp_footprint>DIP8</comp_footprint>
                        <part_list count="1">
                            <item i="0">
                                <part_number>A<1></part_number>
                                <package_name>U1</package_name>
                                <part_pin_list count="1">
                                        <item i="0">
                                            <pin_number>1</pin_number>
                                        </item>
                                </part_pin_list>
                            </item>
                        </part_list>
                        <duplicate_index>0</duplicate_index>
                    </part_info>
                </item>
            </duplicates>
        </item>
    </part_list>
</design_cache>
)");
}
