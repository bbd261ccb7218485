// Number text of the simulation settings: general and fixed format, stored reals and integers,
// engineering values and tolerances.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "pspice/RT_Qsolve_Settings.h"
#include "platform/TextCompare.h"

namespace orcadx::pspice {

namespace {

char gDecimalSeparator = '.';

// The decimal digits of a positive finite value: `digits` holds `count` digits d1 d2 ... and the
// value is 0.d1d2... x 10^exponent. The value is first written with 18 significant digits and then
// rounded half up, so that a value that reads as an exact half in decimal rounds away from zero.
struct Decimal {
    std::string digits;
    int exponent = 0;
};

Decimal ToDecimal(double value, int count) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17e", value);
    Decimal d;
    d.digits += buf[0];
    const char* p = buf + 2;
    while (*p != 'e') d.digits += *p++;
    d.exponent = std::atoi(p + 1) + 1;
    if (count < static_cast<int>(d.digits.size())) {
        bool up = d.digits[static_cast<size_t>(count)] >= '5';
        d.digits.resize(static_cast<size_t>(count));
        for (int i = count - 1; up && i >= 0; --i) {
            if (d.digits[static_cast<size_t>(i)] == '9') {
                d.digits[static_cast<size_t>(i)] = '0';
            } else {
                ++d.digits[static_cast<size_t>(i)];
                up = false;
            }
        }
        if (up) {
            d.digits.insert(d.digits.begin(), '1');
            d.digits.pop_back();
            ++d.exponent;
        }
    }
    return d;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The length of the longest prefix of `text` from `start` that is a number: sign, digits, a
// decimal point `point`, an exponent with at least one digit. `digits` tells whether the mantissa
// holds a digit.
size_t ScanNumber(std::string_view text, size_t start, char point, bool& digits) {
    size_t i = start;
    digits = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && IsDigit(text[i])) ++i, digits = true;
    if (i < text.size() && text[i] == point) {
        ++i;
        while (i < text.size() && IsDigit(text[i])) ++i, digits = true;
    }
    if (!digits) return start;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        size_t j = i + 1;
        if (j < text.size() && (text[j] == '+' || text[j] == '-')) ++j;
        if (j < text.size() && IsDigit(text[j])) {
            while (j < text.size() && IsDigit(text[j])) ++j;
            i = j;
        }
    }
    return i;
}

// Converts a scanned number (sign, digits, `point`, exponent) to a double.
bool ConvertNumber(std::string_view text, char point, double& value) {
    std::string s(text);
    bool negative = false;
    size_t from = 0;
    if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
        negative = s[0] == '-';
        from = 1;
    }
    for (char& c : s)
        if (c == point) c = '.';
    double v = 0;
    auto [end, ec] = std::from_chars(s.data() + from, s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size() || !std::isfinite(v)) return false;
    value = negative ? -v : v;
    return true;
}

std::string_view TrimView(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

}  // namespace

char DecimalSeparator() { return gDecimalSeparator; }

TDecimalSeparatorScope::TDecimalSeparatorScope(char separator) : saved_(gDecimalSeparator) {
    gDecimalSeparator = separator;
}

TDecimalSeparatorScope::~TDecimalSeparatorScope() { gDecimalSeparator = saved_; }

std::string FormatGeneral(double value, int digits) {
    if (std::isnan(value)) return "NAN";
    if (std::isinf(value)) return value < 0 ? "-INF" : "INF";
    if (value == 0) return "0";
    std::string sign = value < 0 ? "-" : "";
    Decimal d = ToDecimal(std::fabs(value), digits);
    while (d.digits.size() > 1 && d.digits.back() == '0') d.digits.pop_back();
    const char sep = gDecimalSeparator;
    if (d.exponent > digits || d.exponent < -3) {
        std::string out = sign + d.digits.substr(0, 1);
        if (d.digits.size() > 1) out += sep + d.digits.substr(1);
        return out + "E" + std::to_string(d.exponent - 1);
    }
    if (d.exponent <= 0) return sign + "0" + sep + std::string(static_cast<size_t>(-d.exponent), '0') + d.digits;
    std::string whole = d.digits.substr(0, std::min(d.digits.size(), static_cast<size_t>(d.exponent)));
    whole.append(static_cast<size_t>(d.exponent) - whole.size(), '0');
    std::string fraction = d.digits.size() > static_cast<size_t>(d.exponent)
                               ? d.digits.substr(static_cast<size_t>(d.exponent))
                               : std::string();
    return sign + whole + (fraction.empty() ? "" : sep + fraction);
}

std::string FormatFixed(double value, int decimals, char separator) {
    if (!std::isfinite(value)) return FormatGeneral(value, 15);
    std::string sign = value < 0 ? "-" : "";
    double v = std::fabs(value);
    std::string whole = "0", fraction(static_cast<size_t>(decimals), '0');
    if (v != 0) {
        Decimal full = ToDecimal(v, 18);
        int count = full.exponent + decimals;
        if (count > 0) {
            Decimal d = ToDecimal(v, count);
            // Rounding may have carried into a new leading digit.
            std::string all = d.digits;
            int intDigits = d.exponent;
            if (intDigits > 0) {
                whole = all.substr(0, static_cast<size_t>(intDigits));
                fraction = all.substr(static_cast<size_t>(intDigits));
            } else {
                whole = "0";
                fraction = std::string(static_cast<size_t>(-intDigits), '0') + all;
            }
            fraction.resize(static_cast<size_t>(decimals), '0');
        } else if (count == 0 && full.digits[0] >= '5') {
            // The value lies just below the last decimal and rounds up to one unit of it.
            fraction = std::string(static_cast<size_t>(decimals > 0 ? decimals - 1 : 0), '0') + "1";
            if (decimals == 0) whole = "1";
        }
        if (whole == "0" && fraction.find_first_not_of('0') == std::string::npos) sign.clear();
    }
    return sign + whole + (decimals > 0 ? separator + fraction : "");
}

bool ParseReal(std::string_view text, char separator, double& value) {
    text = TrimView(text);
    bool digits = false;
    size_t end = ScanNumber(text, 0, separator, digits);
    if (!digits || end != text.size()) return false;
    return ConvertNumber(text, separator, value);
}

double ReadStoredReal(std::string_view text, std::string_view key) {
    double value = 0;
    if (ParseReal(text, gDecimalSeparator, value) || ParseReal(text, ',', value)) return value;
    throw std::runtime_error("\"" + std::string(text) + "\" is not a valid number for " + std::string(key));
}

int32_t ReadStoredInteger(std::string_view text, std::string_view key) {
    std::string_view t = TrimView(text);
    bool negative = false;
    if (!t.empty() && (t[0] == '+' || t[0] == '-')) {
        negative = t[0] == '-';
        t.remove_prefix(1);
    }
    int64_t v = 0;
    bool ok = !t.empty();
    for (char c : t) {
        if (!IsDigit(c) || v > (int64_t(1) << 32)) {
            ok = false;
            break;
        }
        v = v * 10 + (c - '0');
    }
    if (negative) v = -v;
    if (!ok || v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max())
        throw std::runtime_error("\"" + std::string(text) + "\" is not a valid integer for " + std::string(key));
    return static_cast<int32_t>(v);
}

std::string EngText(double value) {
    struct Row {
        double atLeast;
        double divisor;
        const char* suffix;
    };
    static constexpr Row kRows[] = {
        {9.995E17, 1E18, "e18"}, {9.995E14, 1E15, "e15"},  {9.995E11, 1E12, "t"},    {9.995E8, 1E9, "g"},
        {999500, 1E6, "meg"},    {999.5, 1000, "k"},       {0.9995, 1, ""},          {0.0009995, 0.001, "m"},
        {9.995E-7, 1E-6, "u"},   {9.995E-10, 1E-9, "n"},   {9.995E-13, 1E-12, "p"},  {9.995E-16, 1E-15, "e-15"},
        {9.995E-19, 1E-18, "e-18"}, {9.995E-22, 1E-21, "e-21"}, {9.995E-25, 1E-24, "e-24"}};
    std::string sign = value < 0 ? "-" : "";
    double v = std::fabs(value);
    if (!(v < 1E21)) return sign + FormatGeneral(v, 4);  // also for a value that isn't finite
    double scaled = 0;
    const char* suffix = "";
    for (const Row& row : kRows) {
        if (v >= row.atLeast) {
            scaled = v / row.divisor;
            suffix = row.suffix;
            break;
        }
    }
    if (scaled == 0) sign.clear();
    int decimals = scaled >= 100 ? 1 : scaled >= 10 ? 2 : 3;
    return sign + FormatFixed(scaled, decimals, '.') + suffix;
}

double ParseEng(std::string_view text, bool commaStep) {
    std::string s(text);
    size_t start = 0;
    while (start < s.size() && (s[start] == ' ' || s[start] == '\t')) ++start;
    bool digits = false;
    size_t end = ScanNumber(s, start, '.', digits);
    if (commaStep && end < s.size() && s[end] == ',') {
        s[end] = '.';
        end = ScanNumber(s, start, '.', digits);
    }
    double number = 0;
    if (!digits || !ConvertNumber(std::string_view(s).substr(start, end - start), '.', number)) return 0;
    double scale = 1;
    if (end < s.size()) {
        switch (platform::FoldUpper(s[end])) {
        case 'T': scale = 1E12; break;
        case 'G': scale = 1E9; break;
        case 'M':
            scale = platform::SameTextNoCase(std::string_view(s).substr(end, 3), "MEG") ? 1E6 : 1E-3;
            break;
        case 'K': scale = 1E3; break;
        case 'U': scale = 1E-6; break;
        case 'N': scale = 1E-9; break;
        case 'P': scale = 1E-12; break;
        case 'F': scale = 1E-15; break;
        default: break;
        }
    }
    return number * scale;
}

int32_t LeadingInteger(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    int64_t v = 0;
    for (; i < text.size() && IsDigit(text[i]); ++i) v = std::min<int64_t>(v * 10 + (text[i] - '0'), int64_t(1) << 31);
    if (negative) v = -v;
    return static_cast<int32_t>(std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

std::string ToleranceText(double fraction) {
    if (fraction < 0) return "";
    return FormatGeneral(fraction * 100, 15) + "%";
}

double ParseTolerance(std::string_view text) {
    std::string s(TrimView(text));
    size_t start = !s.empty() && (s[0] == '+' || s[0] == '-') ? 1 : 0;
    bool digits = false;
    size_t end = ScanNumber(s, start, '.', digits);
    if (end < s.size() && s[end] == ',') {
        s[end] = '.';
        end = ScanNumber(s, start, '.', digits);
    }
    double v = 0;
    if (!digits || !ConvertNumber(std::string_view(s).substr(start, end - start), '.', v)) return 0;
    return std::fabs(v) / 100;
}

}  // namespace orcadx::pspice
