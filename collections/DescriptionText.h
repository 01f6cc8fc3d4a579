// DescriptionText.h — builds the Description() texts of the containers.
//
// The text is gathered as UTF-16 units and made into one string at the end, so that a
// container's description costs one pass over its elements whatever their texts hold
// (unpaired surrogates included: nothing is converted to bytes on the way).
#pragma once

#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUStringMac.h>

#include "platform/Text.h"

#include <string>

namespace varn::collections {

class DescriptionText {
  public:
    DescriptionText& Ascii(char const* text) {
        for (; *text != '\0'; ++text) {
            m_units.push_back(static_cast<char16_t>(static_cast<unsigned char>(*text)));
        }
        return *this;
    }

    DescriptionText& Units(__CFString const* text) {
        if (text != nullptr) {
            m_units.append(text->Units(), text->length);
        }
        return *this;
    }

    /// The object's own Description(), or "<NULL>" for a null object, a null description or a
    /// description without text.
    DescriptionText& DescriptionOf(CUObject* object) {
        if (object != nullptr) {
            CUSharedPtr<CUStringMac> description = object->Description();
            __CFString const* text =
                description ? static_cast<__CFString const*>(*description) : nullptr;
            if (text != nullptr) {
                return Units(text);
            }
        }
        return Ascii("<NULL>");
    }

    CUSharedPtr<CUStringMac> Make() const {
        __CFString const* text = varn::platform::MakeText(m_units.data(), m_units.size());
        CUSharedPtr<CUStringMac> result(new CUStringMac(text));
        varn::platform::Release(text);
        return result;
    }

  private:
    std::u16string m_units;
};

} // namespace varn::collections
