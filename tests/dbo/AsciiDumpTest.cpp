// The indented text dump of library elements and of the design cache.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "DboTestSupport.h"
#include "TestSupport.h"
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
    writer.DecrementTab();
    writer.IncrementTab();
    writer.IncrementTab();
    writer.WriteLine("x");
    EXPECT_EQ(writer.GetTabIndent(), 4);
    EXPECT_EQ(out.str(), "        <a>\n\n                x\n");

    // To a file: opening starts at indent 0.
    auto path = test::ScratchDir("ascii-dump") / "dump.txt";
    TAsciiWriter file;
    file.SetTabIndent(5);
    ASSERT_TRUE(file.OpenForWriting(path.string()));
    EXPECT_TRUE(file.IsOpen);
    file.WriteLine("<b>");
    file.Close();
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, "<b>");
}

TEST(AsciiDump, PackageWithViewsAndEmptyLists) {
    auto d = test::DesignOfVersion(test::kV2_3);
    auto package = Make<TDboLibPackage>(d.get());
    package->Name = "P";
    package->LibPath = "L";
    auto view = Make<TDboLibView>(d.get());
    view->ViewName = "P.Normal";
    package->AddView(std::move(view));
    std::ostringstream out;
    TAsciiWriter writer(out);
    package->WriteAscii(writer);
    EXPECT_EQ(out.str(), R"(<name>P</name>
<lib_path>L</lib_path>
<view_name_list count=1>
    <item i=0>P.Normal</item>
</view_name_list>
<lib_view_list count="1">
        <item i="0">
            <ViewName>P.Normal</ViewName>
        </item>
</lib_view_list>
)");
    EXPECT_EQ(writer.GetTabIndent(), 0);

    // An empty list writes nothing between its head and its tail.
    std::ostringstream empty;
    TAsciiWriter emptyWriter(empty);
    auto part = Make<TDboLibPart>(d.get());
    part->PartNumber = "A<1>";  // values are written as they are
    part->WriteAscii(emptyWriter);
    EXPECT_EQ(empty.str(), R"(<part_number>A<1></part_number>
<package_name></package_name>
<part_pin_list count="0">
</part_pin_list>
)");
}

TEST(AsciiDump, WholeCache) {
    auto d = test::DesignOfVersion(test::kV2_3);
    TDboCache cache(d.get());
    cache.Initialize();
    auto symbol = CreateSymbol(d.get(), kIdPowerSymbol);
    symbol->ViewName = "VCC";
    cache.AddSymbol(std::move(symbol));
    auto view = Make<TDboLibView>(d.get());
    view->ViewName = "U1.Normal";
    cache.AddView(std::move(view));
    auto package = Make<TDboLibPackage>(d.get());
    package->Name = "U1";
    package->ViewNames = {"U1.Normal"};
    cache.AddPackage(std::move(package));
    auto info = Make<TDboLibPartInfo>(d.get());
    info->CompName = "U1";
    info->CompRefName = "U";
    info->CompFootprint = "DIP8";
    auto part = Make<TDboLibPart>(d.get());
    part->PartNumber = "A";
    part->PkgName = "U1";
    auto pin = Make<TDboLibPartPin>(d.get());
    pin->PinNumber = "1";
    part->PartPins.Add(std::move(pin));
    info->AddPart(std::move(part));
    cache.AddPartInfo(std::move(info));

    std::ostringstream out;
    TAsciiWriter writer(out);
    cache.WriteAscii(writer);
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
    <view_list count="1">
        <item i="0">
            <name>U1.Normal</name>
            <duplicates count="1">
                <item i="0">
                    <lib_path>C:\VANTOR\ORCADLIB.OLB</lib_path>
                    <view>
                        <ViewName>U1.Normal</ViewName>
                    </view>
                </item>
            </duplicates>
        </item>
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
                        <lib_view_list count="0">
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
                                <part_number>A</part_number>
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
