// Number text of the simulation settings: general format, engineering values, stored reals,
// integers and tolerances.
#include <gtest/gtest.h>

#include <stdexcept>

#include "pspice/RT_Qsolve_Settings.h"

using namespace orcadx::pspice;

TEST(SettingsNumbers, GeneralFormatUsesPlainOrExponentFormAndRoundsHalfUp) {
    EXPECT_EQ(FormatGeneral(5E-6, 4), "5E-6");
    EXPECT_EQ(FormatGeneral(2E-8, 4), "2E-8");
    EXPECT_EQ(FormatGeneral(1E6, 4), "1E6");
    EXPECT_EQ(FormatGeneral(1000, 4), "1000");
    EXPECT_EQ(FormatGeneral(1234.5, 4), "1235");
    EXPECT_EQ(FormatGeneral(12345, 4), "1.235E4");
    EXPECT_EQ(FormatGeneral(0.0001, 4), "0.0001");
    EXPECT_EQ(FormatGeneral(0.00001, 4), "1E-5");
    EXPECT_EQ(FormatGeneral(1.5E-7, 4), "1.5E-7");
    EXPECT_EQ(FormatGeneral(-2.5, 4), "-2.5");
    EXPECT_EQ(FormatGeneral(0, 4), "0");
    EXPECT_EQ(FormatGeneral(0.125, 2), "0.13");  // an exact half rounds up
    EXPECT_EQ(FormatGeneral(9.9996, 4), "10");
    EXPECT_EQ(FormatGeneral(1E21, 4), "1E21");
    EXPECT_EQ(FormatGeneral(0.1 * 100, 15), "10");
    EXPECT_EQ(FormatGeneral(123456789.25, 15), "123456789.25");
    {
        TDecimalSeparatorScope comma(',');
        EXPECT_EQ(FormatGeneral(1.5, 4), "1,5");
        EXPECT_EQ(FormatGeneral(1.5E-7, 4), "1,5E-7");
    }
    EXPECT_EQ(FormatGeneral(1.5, 4), "1.5");
    EXPECT_EQ(FormatFixed(0.9996, 3), "1.000");
    EXPECT_EQ(FormatFixed(1.0625, 3), "1.063");  // an exact half rounds up
    EXPECT_EQ(FormatFixed(1.0005, 3), "1.000");  // 1.0005 is 1.000499... in binary
    EXPECT_EQ(FormatFixed(99.995, 2), "100.00");
    EXPECT_EQ(FormatFixed(0.0004, 3), "0.000");
    EXPECT_EQ(FormatFixed(0.0005, 3), "0.001");
    EXPECT_EQ(FormatFixed(-0.0001, 3), "0.000");
}

TEST(SettingsNumbers, EngineeringTextAndValues) {
    EXPECT_EQ(EngText(1E-12), "1.000p");
    EXPECT_EQ(EngText(1000), "1.000k");
    EXPECT_EQ(EngText(0.9996), "1.000");
    EXPECT_EQ(EngText(0.9994), "999.4m");
    EXPECT_EQ(EngText(999.5), "1.000k");
    EXPECT_EQ(EngText(999.49), "999.5");
    EXPECT_EQ(EngText(4700), "4.700k");
    EXPECT_EQ(EngText(1E7), "10.00meg");
    EXPECT_EQ(EngText(2.5E9), "2.500g");
    EXPECT_EQ(EngText(3E12), "3.000t");
    EXPECT_EQ(EngText(1.5E18), "1.500e18");
    EXPECT_EQ(EngText(2E15), "2.000e15");
    EXPECT_EQ(EngText(100), "100.0");
    EXPECT_EQ(EngText(27), "27.00");
    EXPECT_EQ(EngText(-40), "-40.00");
    EXPECT_EQ(EngText(0), "0.000");
    EXPECT_EQ(EngText(1E-30), "0.000");
    EXPECT_EQ(EngText(4.7E-9), "4.700n");
    EXPECT_EQ(EngText(1E-6), "1.000u");
    EXPECT_EQ(EngText(1E-15), "1.000e-15");
    EXPECT_EQ(EngText(2E-24), "2.000e-24");
    EXPECT_EQ(EngText(2E21), "2E21");

    EXPECT_DOUBLE_EQ(ParseEng("10MEG"), 1E7);
    EXPECT_DOUBLE_EQ(ParseEng("10meg"), 1E7);
    EXPECT_DOUBLE_EQ(ParseEng("10M"), 0.01);
    EXPECT_DOUBLE_EQ(ParseEng("5ns"), 5E-9);
    EXPECT_DOUBLE_EQ(ParseEng("1.0pA"), 1E-12);
    EXPECT_DOUBLE_EQ(ParseEng("3f"), 3E-15);
    EXPECT_DOUBLE_EQ(ParseEng("7T"), 7E12);
    EXPECT_DOUBLE_EQ(ParseEng("2g"), 2E9);
    EXPECT_DOUBLE_EQ(ParseEng("4.7k"), 4700);
    EXPECT_DOUBLE_EQ(ParseEng("-2u"), -2E-6);
    EXPECT_DOUBLE_EQ(ParseEng("2.5e3"), 2500);
    EXPECT_DOUBLE_EQ(ParseEng("1e"), 1);
    EXPECT_DOUBLE_EQ(ParseEng("2.4s"), 2.4);
    EXPECT_DOUBLE_EQ(ParseEng("1,5k"), 1500);
    EXPECT_DOUBLE_EQ(ParseEng("1,5k", false), 1);
    EXPECT_DOUBLE_EQ(ParseEng(""), 0);
    EXPECT_DOUBLE_EQ(ParseEng("abc"), 0);
    EXPECT_DOUBLE_EQ(ParseEng("1e999"), 0);

    EXPECT_EQ(LeadingInteger("100x"), 100);
    EXPECT_EQ(LeadingInteger(" -7abc"), -7);
    EXPECT_EQ(LeadingInteger("x1"), 0);
    EXPECT_EQ(LeadingInteger(""), 0);
    EXPECT_EQ(LeadingInteger("99999999999"), 2147483647);
}

TEST(SettingsNumbers, StoredRealsIntegersAndTolerances) {
    double v = 0;
    EXPECT_TRUE(ParseReal(" 1.5 ", '.', v));
    EXPECT_DOUBLE_EQ(v, 1.5);
    EXPECT_TRUE(ParseReal("-1e-3", '.', v));
    EXPECT_DOUBLE_EQ(v, -1E-3);
    EXPECT_FALSE(ParseReal("1,5", '.', v));
    EXPECT_TRUE(ParseReal("1,5", ',', v));
    EXPECT_DOUBLE_EQ(v, 1.5);
    for (const char* bad : {"", "abc", "1.5x", "1e999", "1 2", "."}) EXPECT_FALSE(ParseReal(bad, '.', v)) << bad;

    EXPECT_DOUBLE_EQ(ReadStoredReal("1,5", "K"), 1.5);
    try {
        ReadStoredReal("12V", "TRAN_StopTime");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("TRAN_StopTime"), std::string::npos);
        EXPECT_NE(std::string(e.what()).find("12V"), std::string::npos);
    }
    EXPECT_EQ(ReadStoredInteger(" -3 ", "K"), -3);
    EXPECT_THROW(ReadStoredInteger("1.5", "K"), std::runtime_error);
    EXPECT_THROW(ReadStoredInteger("", "K"), std::runtime_error);
    EXPECT_THROW(ReadStoredInteger("99999999999", "K"), std::runtime_error);

    EXPECT_EQ(ToleranceText(0.05), "5%");
    EXPECT_EQ(ToleranceText(0.1), "10%");
    EXPECT_EQ(ToleranceText(0.125), "12.5%");
    EXPECT_EQ(ToleranceText(-0.1), "");
    EXPECT_DOUBLE_EQ(ParseTolerance("12.5%"), 0.125);
    EXPECT_DOUBLE_EQ(ParseTolerance(" 7 % "), 0.07);
    EXPECT_DOUBLE_EQ(ParseTolerance("-10%"), 0.1);
    EXPECT_DOUBLE_EQ(ParseTolerance("12,5%"), 0.125);
    EXPECT_DOUBLE_EQ(ParseTolerance("10"), 0.1);
    EXPECT_DOUBLE_EQ(ParseTolerance("abc"), 0);
    EXPECT_DOUBLE_EQ(ParseTolerance(""), 0);
}
