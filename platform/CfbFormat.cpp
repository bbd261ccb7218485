#include "platform/CfbFormat.h"

namespace orcadx::platform::cfb {

int CompareNames(const std::u16string& a, const std::u16string& b) {
    if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
    for (size_t i = 0; i < a.size(); ++i) {
        char16_t x = a[i] >= u'a' && a[i] <= u'z' ? a[i] - 32 : a[i];
        char16_t y = b[i] >= u'a' && b[i] <= u'z' ? b[i] - 32 : b[i];
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

}  // namespace orcadx::platform::cfb
