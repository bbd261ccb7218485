#include "platform/Parameters.h"

#include "platform/TextCompare.h"

#include <cctype>

namespace orcadx::platform {

namespace {

std::string Trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

}  // namespace

std::string GetParameterValue(const std::string& parameters, const std::string& name) {
    size_t start = 0;
    while (start <= parameters.size()) {
        size_t bar = parameters.find('|', start);
        std::string pair = parameters.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
        size_t eq = pair.find('=');
        if (eq != std::string::npos && platform::SameTextNoCase(Trim(pair.substr(0, eq)), name)) return Trim(pair.substr(eq + 1));
        if (bar == std::string::npos) break;
        start = bar + 1;
    }
    return "";
}

std::string JoinParameters(const std::string& left, const std::string& right) {
    if (left.empty()) return right;
    if (right.empty()) return left;
    return left + " | " + right;
}

}  // namespace orcadx::platform
