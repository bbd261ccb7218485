#include "ExportTestSupport.h"

#include <fstream>

#include "host/ClientServices.h"
#include "import/Manage_FontTable.h"

namespace orcadx::test {

std::vector<std::string> SampleFiles(const std::string& extension) {
    std::vector<std::string> names;
    for (const auto& file : CorpusFiles({extension}))
        names.push_back(std::filesystem::relative(file, CorpusDir()).string());
    if (names.empty()) names.push_back("");
    return names;
}

std::string SampleTestName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = std::to_string(info.index) + "_";
    for (char c : info.param) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

void ExportFixture::SetUp() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string("export-") + info->test_suite_name() + "-" + info->name();
    for (char& c : name)
        if (c == '/') c = '_';
    dir_ = ScratchDir(name);
    host::HostOptions options;
    options.Seed = 17;
    options.SettingsFolder = (dir_ / "settings").string();
    options.TemplatesFolder = (dir_ / "templates").string();
    std::filesystem::create_directories(options.SettingsFolder);
    app_ = std::make_unique<host::HostApplication>(options);
    app_->StartSchServer();
    importer::FontTableManager().Clear();
}

void ExportFixture::TearDown() { app_.reset(); }

host::ISch_Lib* ExportFixture::NewLibrary(const std::string& name) {
    host::IServerDocument* document = host::OpenOrCreateDocument(App(), (dir_ / name).string(), "SCHLIB", "Binary", true);
    auto* library = dynamic_cast<host::ISch_Lib*>(App().SchDocumentOf(document));
    if (!library) throw std::runtime_error("no library document");
    while (host::ISch_Component* first = library->GetState_CurrentSchComponent()) library->RemoveSchComponent(first);
    return library;
}

host::ISch_Component* ExportFixture::AddComponent(host::ISch_Lib* library, const std::string& libReference) {
    auto* component = Make<host::ISch_Component>(host::eSchComponent);
    component->SetState_LibReference(libReference);
    component->SetState_PartCount(1);
    library->AddSchComponent(component);
    return component;
}

host::ISch_Pin* ExportFixture::AddPin(host::ISch_Component* owner, const std::string& name, const std::string& number,
                                      host::Coord location, int32_t orientation, int32_t length, int32_t part,
                                      int32_t mode) {
    auto* pin = Make<host::ISch_Pin>(host::ePin);
    pin->SetState_Name(name);
    pin->SetState_Designator(number);
    pin->SetState_Location(location);
    pin->SetState_Orientation(orientation);
    pin->SetState_PinLength(length);
    pin->SetState_OwnerPartId(part);
    pin->SetState_OwnerPartDisplayMode(mode);
    owner->AddSchObject(pin);
    return pin;
}

host::ISch_Rectangle* ExportFixture::AddRectangle(host::ISch_Component* owner, host::Coord a, host::Coord b,
                                                  int32_t part, int32_t mode) {
    auto* rectangle = Make<host::ISch_Rectangle>(host::eRectangle);
    rectangle->SetState_Location(a);
    rectangle->SetState_Corner(b);
    rectangle->SetState_OwnerPartId(part);
    rectangle->SetState_OwnerPartDisplayMode(mode);
    owner->AddSchObject(rectangle);
    return rectangle;
}

void ExportFixture::WriteSettings(const std::string& text) {
    std::ofstream(App().GetSettingsFolder() + "Penwork.Ini", std::ios::binary) << text;
}

std::unique_ptr<dbo::TDboDesign> ExportFixture::NewDesign(const std::string& name) {
    return std::make_unique<dbo::TDboDesign>((dir_ / name).string(), nullptr, 0, nullptr);
}

std::unique_ptr<dbo::TDboDesign> ExportFixture::LoadDesign(const std::filesystem::path& path) {
    auto design = std::make_unique<dbo::TDboDesign>(path.string(), nullptr, 0, nullptr);
    EXPECT_TRUE(design->Load(false)) << path;
    EXPECT_TRUE(design->IsValid()) << path;
    return design;
}

}  // namespace orcadx::test
