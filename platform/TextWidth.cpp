// TextWidth.cpp — display width from ICU's character properties.
#include "platform/TextWidth.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace varn::platform {

int DisplayWidth(std::string const& utf8) noexcept {
    int columns = 0;
    auto const* bytes = reinterpret_cast<uint8_t const*>(utf8.data());
    int32_t length = static_cast<int32_t>(utf8.size());
    int32_t i = 0;
    while (i < length) {
        UChar32 c = 0;
        U8_NEXT(bytes, i, length, c);
        if (c < 0) {
            ++columns;
            continue;
        }
        int8_t category = static_cast<int8_t>(u_charType(c));
        if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK ||
            category == U_FORMAT_CHAR || c == 0x200B) {
            continue;
        }
        int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
        columns += width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
    }
    return columns;
}

} // namespace varn::platform
