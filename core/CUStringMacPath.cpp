// CUStringMacPath.cpp — the path arithmetic of CUStringMac.
//
// All searches are literal UTF-16 unit matches (no collation), "last" meaning a backwards
// search; suffix tests treat an empty suffix as absent. Results are built as new texts and
// handed to the caller's string through its operator=, after they are complete, so a caller
// may pass the string itself as the output.
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include "platform/Text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace text = varn::platform;

namespace {

text::Text const* slashText() {
    static text::Text const* const slash = text::MakeText(u"/", 1);
    return slash;
}

text::Text const* dotText() {
    static text::Text const* const dot = text::MakeText(u".", 1);
    return dot;
}

bool findLast(text::Text const* t, text::Text const* pattern, std::size_t& at) {
    std::size_t length = 0;
    return text::FindLiteral(t, pattern, true, at, length);
}

bool findFirst(text::Text const* t, text::Text const* pattern, std::size_t& at) {
    std::size_t length = 0;
    return text::FindLiteral(t, pattern, false, at, length);
}

// Exact equality of the units. The localized comparison of operator== is no test for "the
// path is the separator": it ignores control and format characters, so "/\x01" would pass.
bool sameUnits(text::Text const* a, text::Text const* b) {
    return a->length == b->length && (a->length == 0 || text::HasSuffix(a, b));
}

// A string over units [start, start + count) of `t`; false when the text cannot be made.
bool subString(text::Text const* t, std::size_t start, std::size_t count, CUStringMac& into) {
    text::Text const* piece = nullptr;
    try {
        piece = text::SubText(t, start, count);
    } catch (...) {
        return false;
    }
    CUStringMac made(piece);
    text::Release(piece);
    into = made;
    return true;
}

// A text that owns one reference and drops it when it goes.
struct HeldText {
    text::Text const* t = nullptr;
    HeldText() = default;
    explicit HeldText(text::Text const* adopted) : t(adopted) {}
    HeldText(HeldText const&) = delete;
    HeldText& operator=(HeldText const&) = delete;
    ~HeldText() { text::Release(t); }
};

// The separator handed in by a caller, as a text; null for a null or undecodable separator.
CUStringMac separatorString(char const* separator) {
    return CUStringMac(separator, CUString_CharCode_UTF8);
}

// PathRemoveLastComponent and RemoveLastComponent, over any separator.
unsigned int removeLast(CUStringMac& self, text::Text const* whole, text::Text const* separator,
                        CUStringMac& out) {
    std::size_t const length = whole->length;
    HeldText work(text::Retain(whole));
    if (text::HasSuffix(whole, separator)) {
        // The length is compared with 1 whatever the separator's length.
        if (self.Length() == 1) {
            CUStringMac copy(self);
            out = copy;
            return kCUStatusSuccess;
        }
        try {
            HeldText shorter(text::SubText(whole, 0, length - 1));
            std::swap(work.t, shorter.t);
        } catch (...) {
            return kCUStatusFailure;
        }
    }
    std::size_t at = 0;
    if (!findLast(work.t, separator, at)) {
        // Both effects together: the output is emptied and the call still fails.
        CUStringMac empty;
        out = empty;
        return kCUStatusFailure;
    }
    return subString(work.t, 0, at > 0 ? at : 1, out) ? kCUStatusSuccess : kCUStatusFailure;
}

// PathComponents and SplitComponents, over any separator.
unsigned int components(text::Text const* whole, CUStringMac& separatorString,
                        CUSharedPtr<CUArray>* out) {
    text::Text const* separator = separatorString;
    bool leadingSeparator = false;
    std::vector<text::Text const*> pieces;
    auto releasePieces = [&pieces] {
        for (text::Text const* piece : pieces) {
            text::Release(piece);
        }
    };
    try {
        if (sameUnits(whole, separator)) {
            leadingSeparator = true;
        } else if (whole->length == 0) {
            pieces.push_back(text::Retain(whole));
        } else {
            std::size_t at = 0;
            HeldText work;
            if (findFirst(whole, separator, at) && at == 0) {
                leadingSeparator = true;
                work.t = text::SubText(whole, 1, whole->length - 1);
            } else {
                work.t = text::Retain(whole);
            }
            if (text::HasSuffix(work.t, separator)) {
                HeldText shorter(text::SubText(work.t, 0, work.t->length - 1));
                std::swap(work.t, shorter.t);
            }
            pieces = text::Split(work.t, separator);
        }
        CUSharedPtr<CUMutableArray> array(new CUMutableArray());
        if (leadingSeparator) {
            array->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac(separator)));
        }
        for (text::Text const* piece : pieces) {
            array->AddObject(CUSharedPtr<CUStringMac>(new CUStringMac(piece)));
        }
        releasePieces();
        *out = array;
        return kCUStatusSuccess;
    } catch (...) {
        releasePieces();
        return kCUStatusFailure;
    }
}

} // namespace

unsigned int CUStringMac::PathAppend(CUStringMac const& name, CUStringMac& out) {
    // A name that holds no text (bytes that were not UTF-8, say) would make the join empty, and
    // an empty path reported as a success names the working folder to whoever uses it.
    if (m_pString == nullptr || name.m_pString == nullptr) {
        return kCUStatusFailure;
    }
    CUStringMac joined = text::HasSuffix(m_pString, slashText())
                             ? *this + name
                             : (*this + CUStringMac(slashText())) + name;
    if (joined.m_pString == nullptr) {
        return kCUStatusFailure;
    }
    out = joined;
    return kCUStatusSuccess;
}

unsigned int CUStringMac::PathRemoveLastComponent(CUStringMac& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    return removeLast(*this, m_pString, slashText(), out);
}

unsigned int CUStringMac::RemoveLastComponent(CUStringMac& out, char const* separator) {
    CUStringMac sep = separatorString(separator);
    text::Text const* sepText = sep;
    if (m_pString == nullptr || sepText == nullptr) {
        return kCUStatusFailure;
    }
    return removeLast(*this, m_pString, sepText, out);
}

unsigned int CUStringMac::PathGetFileName(CUStringMac& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    if (text::HasSuffix(m_pString, slashText())) {
        CUStringMac empty;
        out = empty;
        return kCUStatusSuccess;
    }
    std::size_t at = 0;
    if (!findLast(m_pString, slashText(), at)) {
        return kCUStatusFailure;
    }
    return subString(m_pString, at + 1, m_pString->length - at - 1, out) ? kCUStatusSuccess
                                                                         : kCUStatusFailure;
}

unsigned int CUStringMac::PathGetFileNameNoExtension(CUStringMac& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    CUStringMac name;
    unsigned int const status = PathGetFileName(name);
    if (CUStatusFailed(status)) {
        return status;
    }
    text::Text const* nameText = name;
    std::size_t at = 0;
    if (nameText == nullptr || !findLast(nameText, dotText(), at)) {
        out = name;
        return kCUStatusSuccess;
    }
    return subString(nameText, 0, at, out) ? kCUStatusSuccess : kCUStatusFailure;
}

unsigned int CUStringMac::PathGetExtension(CUStringMac& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    std::size_t at = 0;
    if (!findLast(m_pString, dotText(), at)) {
        return kCUStatusFailure;
    }
    return subString(m_pString, at, m_pString->length - at, out) ? kCUStatusSuccess
                                                                 : kCUStatusFailure;
}

unsigned int CUStringMac::PathGetLastComponent(CUStringMac& out) {
    if (m_pString == nullptr) {
        return kCUStatusFailure;
    }
    if (sameUnits(m_pString, slashText())) {
        CUStringMac slash(slashText());
        out = slash;
        return kCUStatusSuccess;
    }
    std::size_t at = 0;
    if (!findLast(m_pString, slashText(), at)) {
        return kCUStatusFailure;
    }
    HeldText work(text::Retain(m_pString));
    if (at + 1 == m_pString->length) {
        try {
            HeldText shorter(text::SubText(m_pString, 0, at));
            std::swap(work.t, shorter.t);
        } catch (...) {
            return kCUStatusFailure;
        }
        if (!findLast(work.t, slashText(), at)) {
            return kCUStatusFailure;
        }
    }
    // The component runs to the end of the work text (without the trailing separator).
    return subString(work.t, at + 1, work.t->length - at - 1, out) ? kCUStatusSuccess
                                                                   : kCUStatusFailure;
}

unsigned int CUStringMac::PathComponents(CUSharedPtr<CUArray>* out) {
    if (out == nullptr || m_pString == nullptr) {
        return kCUStatusFailure;
    }
    CUStringMac slash(slashText());
    return components(m_pString, slash, out);
}

unsigned int CUStringMac::SplitComponents(CUSharedPtr<CUArray>* out, char const* separator) {
    if (out == nullptr || m_pString == nullptr) {
        return kCUStatusFailure;
    }
    CUStringMac sep = separatorString(separator);
    if (static_cast<text::Text const*>(sep) == nullptr) {
        return kCUStatusFailure;
    }
    return components(m_pString, sep, out);
}

unsigned int CUStringMac::GetUnicodeFileName(CUSharedPtr<CUStringMac> name, HFSUniStr255* out) {
    if (out == nullptr || !name) {
        return kCUStatusFailure;
    }
    unsigned int size = 0;
    unsigned int status = name->GetString(nullptr, CUString_CharCode_UTF16, size);
    if (CUStatusFailed(status)) {
        return status;
    }
    int const length = name->Length();
    // The record holds 255 units; a longer name would run past it.
    if (length < 0 ||
        static_cast<std::size_t>(length) > sizeof out->unicode / sizeof out->unicode[0]) {
        return kCUStatusFailure;
    }
    auto* buffer = static_cast<char*>(std::calloc(size, 1));
    if (buffer == nullptr) {
        return kCUStatusSuccess; // the record is left untouched, as documented
    }
    status = name->GetString(buffer, CUString_CharCode_UTF16, size);
    if (CUStatusFailed(status)) {
        std::free(buffer);
        return status;
    }
    out->length = static_cast<std::uint16_t>(length);
    for (int i = 0; i < length; ++i) {
        std::uint16_t unit = 0;
        std::memcpy(&unit, buffer + 2 * i, sizeof unit); // host order, as GetString wrote it
        out->unicode[i] = unit == u':' ? std::uint16_t{u'/'} : unit;
    }
    std::free(buffer);
    return kCUStatusSuccess;
}
