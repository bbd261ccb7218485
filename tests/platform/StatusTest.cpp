// Progress arithmetic, analytics keys, parameter strings and the run-time switch.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <vector>

#include "platform/Parameters.h"
#include "platform/Status.h"

using namespace orcadx;
using namespace orcadx::platform;

namespace {

struct RecordingStatus : host::IHandler_Status {
    std::vector<int32_t> advances;
    int32_t failAdvanceAfter = -1;
    host::HResult SetStatusTitle(const std::string&) override { return host::kOk; }
    host::HResult SetStatusLine(const std::string&) override { return host::kOk; }
    host::HResult BeginStatus() override { return host::kOk; }
    host::HResult EndStatus() override { return host::kOk; }
    host::HResult SetProgressRange(int32_t) override { return host::kOk; }
    host::HResult AdvanceProgress(int32_t units) override {
        if (failAdvanceAfter >= 0 && static_cast<int32_t>(advances.size()) >= failAdvanceAfter) return host::kFail;
        advances.push_back(units);
        return host::kOk;
    }
    host::HResult CompleteProgress() override { return host::kOk; }
};

struct Monitor : host::IAnalyticsMonitor {
    std::map<std::string, std::string> events;
    void StartTimer(const std::string& c, const std::string& k) override { events[c + "/" + k] = "started"; }
    void StopTimer(const std::string& c, const std::string& k) override { events[c + "/" + k] = "stopped"; }
    void CancelTimer(const std::string& c, const std::string& k) override { events[c + "/" + k] = "cancelled"; }
    void SetIntegerValue(const std::string& c, const std::string& k, int64_t v) override {
        events[c + "/" + k] = std::to_string(v);
    }
    void SetBooleanValue(const std::string& c, const std::string& k, bool v) override {
        events[c + "/" + k] = v ? "true" : "false";
    }
};

}  // namespace

TEST(Progress, UnitsAddUpToTheShareWhateverTheRounding) {
    RecordingStatus status;
    ProgressSpreader three(&status, 100, 3);
    for (int i = 1; i <= 3; ++i) three.Step(i);
    EXPECT_EQ(status.advances, (std::vector<int32_t>{33, 34, 33}));

    // Half to even: 1/8 of 20 is 2.5, which rounds to 2; 3/8 is 7.5, which rounds to 8.
    RecordingStatus eighths;
    ProgressSpreader p(&eighths, 20, 8);
    for (int i = 1; i <= 8; ++i) p.Step(i);
    int sum = 0;
    for (int a : eighths.advances) sum += a;
    EXPECT_EQ(sum, 20);
    EXPECT_EQ(eighths.advances.front(), 2);
    EXPECT_EQ(RoundHalfEven(2.5), 2);
    EXPECT_EQ(RoundHalfEven(3.5), 4);
    EXPECT_EQ(RoundHalfEven(-0.5), 0);

    // A walk without items still spends its share when finished.
    RecordingStatus empty;
    ProgressSpreader none(&empty, 50, 0);
    none.Step(1);
    none.Finish();
    EXPECT_EQ(empty.advances, (std::vector<int32_t>{50}));

    // No reporter: nothing to call, nothing fails.
    ProgressSpreader silent(nullptr, 100, 3);
    EXPECT_NO_THROW(silent.Step(2));
}

TEST(Progress, AFailingHostCallRaises) {
    RecordingStatus status;
    status.failAdvanceAfter = 1;
    StatusReporter reporter(&status);
    reporter.Advance(5);
    EXPECT_THROW(reporter.Advance(5), EApiErr);
}

TEST(Analytics, KeysOfSuccessAndFailure) {
    Monitor monitor;
    SetAnalyticsMonitor(&monitor);
    AnalyticsStart("OrCAD.SCH");
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCH.ImportDuration"], "started");
    AnalyticsSuccess("OrCAD.SCH", 0);
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCH.ImportDuration"], "stopped");
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCH.Project.Count.Files.SCH"], "0");
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCH.Success"], "true");

    AnalyticsStart("OrCAD.SCHLIB");
    AnalyticsFailure("OrCAD.SCHLIB");
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCHLIB.ImportDuration"], "cancelled");
    EXPECT_EQ(monitor.events["Importers/OrCAD.SCHLIB.Success"], "false");
    EXPECT_EQ(monitor.events.count("Importers/OrCAD.SCHLIB.Project.Count.Files.SCH"), 0u);
    SetAnalyticsMonitor(nullptr);
    EXPECT_NO_THROW(AnalyticsStart("OrCAD.SCH"));
}

TEST(Parameters, ValuesByName) {
    std::string p = "FileName=C:\\Designs\\a=b.DSN | FileType=DSN|OrcadVersion=131075";
    EXPECT_EQ(GetParameterValue(p, "FileName"), "C:\\Designs\\a=b.DSN");
    EXPECT_EQ(GetParameterValue(p, "filetype"), "DSN");
    EXPECT_EQ(GetParameterValue(p, "OrcadVersion"), "131075");
    EXPECT_EQ(GetParameterValue(p, "DocumentName"), "");
    EXPECT_EQ(GetParameterValue("", "FileName"), "");
    EXPECT_EQ(JoinParameters("A=1", "B=2"), "A=1 | B=2");
}

TEST(RunTimeSwitch, NativeRulesFollowTheEnvironmentAtEachTest) {
    unsetenv("KEL_USE_NATIVE_ORCAD_IMPORT");
    EXPECT_FALSE(UseNativeImportRules());
    setenv("KEL_USE_NATIVE_ORCAD_IMPORT", "", 1);  // any value, even empty, switches it on
    EXPECT_TRUE(UseNativeImportRules());
    unsetenv("KEL_USE_NATIVE_ORCAD_IMPORT");
    EXPECT_FALSE(UseNativeImportRules());
}
