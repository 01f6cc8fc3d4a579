// StringPathFuzz.cpp — the path operations of CUStringMac against a model over UTF-16 units.
//
// The input picks how its bytes become text (UTF-8, which may be invalid and give a null
// text; raw UTF-16 units, unpaired surrogates included; Latin-1; or a small alphabet rich in
// "/" and "." so that the interesting shapes come often), then splits into a path and a name.
// Every operation must agree exactly with the model written below from the documented rules,
// leave its output untouched when it fails on a null text, and agree with its general form
// (RemoveLastComponent, SplitComponents) called with "/".
#include "FuzzInput.h"

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using Units = std::u16string;

std::optional<Units> UnitsOf(CUStringMac& s) {
    if (static_cast<__CFString const*>(s) == nullptr) {
        return std::nullopt;
    }
    unsigned int need = 0;
    CHECK(s.GetString(nullptr, CUString_CharCode_UTF16, need) == 0);
    std::vector<char> buffer(need);
    CHECK(s.GetString(buffer.data(), CUString_CharCode_UTF16, need) == 0);
    Units units(static_cast<std::size_t>(s.Length()), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), buffer.data(), units.size() * 2);
    }
    return units;
}

CUStringMac Make(std::uint8_t mode, std::uint8_t const* p, std::size_t n) {
    auto const* bytes = reinterpret_cast<char const*>(p);
    switch (mode % 4) {
    case 0:
        return CUStringMac(bytes, static_cast<unsigned int>(n), CUString_CharCode_UTF8);
    case 1: {
        std::vector<unsigned short> units(n / 2);
        if (!units.empty()) {
            std::memcpy(units.data(), p, units.size() * 2);
        }
        return CUStringMac(units.data(), static_cast<unsigned int>(units.size() * 2));
    }
    case 2:
        return CUStringMac(bytes, static_cast<unsigned int>(n), CUString_CharCode_ASCII);
    default: {
        static char16_t const alphabet[] = {u'/', u'/', u'.', u'a', u'b', u':', 0xE9, 0xD800};
        std::vector<unsigned short> units;
        for (std::size_t i = 0; i < n; ++i) {
            units.push_back(alphabet[p[i] % 8]);
        }
        return CUStringMac(units.data(), static_cast<unsigned int>(units.size() * 2));
    }
    }
}

bool EndsWithSlash(Units const& p) {
    return !p.empty() && p.back() == u'/';
}

// ---- the model ----------------------------------------------------------------------------------

Units ModelAppend(Units const& p, Units const& name) {
    return EndsWithSlash(p) ? p + name : p + u'/' + name;
}

// Success and result; the result is empty together with a failure when there is no "/".
std::pair<bool, Units> ModelRemoveLast(Units const& p) {
    Units work = p;
    if (EndsWithSlash(p)) {
        if (p.size() == 1) {
            return {true, p};
        }
        work.pop_back();
    }
    std::size_t at = work.rfind(u'/');
    if (at == Units::npos) {
        return {false, Units()};
    }
    return {true, work.substr(0, at > 0 ? at : 1)};
}

std::optional<Units> ModelFileName(Units const& p) {
    if (EndsWithSlash(p)) {
        return Units();
    }
    std::size_t at = p.rfind(u'/');
    if (at == Units::npos) {
        return std::nullopt;
    }
    return p.substr(at + 1);
}

std::optional<Units> ModelFileNameNoExtension(Units const& p) {
    std::optional<Units> name = ModelFileName(p);
    if (!name) {
        return name;
    }
    std::size_t at = name->rfind(u'.');
    return at == Units::npos ? *name : name->substr(0, at);
}

std::optional<Units> ModelExtension(Units const& p) {
    std::size_t at = p.rfind(u'.');
    if (at == Units::npos) {
        return std::nullopt;
    }
    return p.substr(at);
}

std::optional<Units> ModelLastComponent(Units const& p) {
    if (p == u"/") {
        return p;
    }
    std::size_t at = p.rfind(u'/');
    if (at == Units::npos) {
        return std::nullopt;
    }
    Units work = p;
    if (at + 1 == p.size()) {
        work = p.substr(0, at);
        at = work.rfind(u'/');
        if (at == Units::npos) {
            return std::nullopt;
        }
    }
    return work.substr(at + 1);
}

std::vector<Units> ModelComponents(Units const& p) {
    if (p == u"/") {
        return {p};
    }
    if (p.empty()) {
        return {p};
    }
    std::vector<Units> out;
    Units work = p;
    if (work[0] == u'/') {
        out.push_back(u"/");
        work.erase(0, 1);
    }
    if (EndsWithSlash(work)) {
        work.pop_back();
    }
    std::size_t start = 0;
    for (;;) {
        std::size_t at = work.find(u'/', start);
        if (at == Units::npos) {
            out.push_back(work.substr(start));
            break;
        }
        out.push_back(work.substr(start, at - start));
        start = at + 1;
    }
    return out;
}

// ---- checks -------------------------------------------------------------------------------------

// The output of a failed call on a null text keeps what it held.
CUStringMac Sentinel() {
    return CUStringMac("untouched", CUString_CharCode_UTF8);
}

void CheckUntouched(CUStringMac& out) {
    CHECK(UnitsOf(out) == Units(u"untouched"));
}

std::vector<Units> Elements(CUSharedPtr<CUArray> const& array) {
    std::vector<Units> out;
    CHECK(static_cast<bool>(array));
    for (unsigned long i = 0; i < array->Count(); ++i) {
        CUSharedPtr<CUStringMac> s = array->ObjectAtIndex(i);
        CHECK(static_cast<bool>(s));
        std::optional<Units> units = UnitsOf(*s);
        CHECK(units.has_value());
        out.push_back(*units);
    }
    return out;
}

void CheckOne(std::optional<Units> const& expected, unsigned int status, CUStringMac& out) {
    CHECK((status == kCUStatusSuccess) == expected.has_value());
    if (expected) {
        CHECK(UnitsOf(out) == expected);
    }
}

void CheckNullPath(CUStringMac& path, CUStringMac& name) {
    CUStringMac out = Sentinel();
    CHECK(path.PathAppend(name, out) == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.PathRemoveLastComponent(out) == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.RemoveLastComponent(out, "/") == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.PathGetFileName(out) == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.PathGetFileNameNoExtension(out) == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.PathGetExtension(out) == kCUStatusFailure);
    CheckUntouched(out);
    CHECK(path.PathGetLastComponent(out) == kCUStatusFailure);
    CheckUntouched(out);
    CUSharedPtr<CUArray> parts;
    CHECK(path.PathComponents(&parts) == kCUStatusFailure && !parts);
    CHECK(path.SplitComponents(&parts, "/") == kCUStatusFailure && !parts);
}

void CheckPath(CUStringMac& path, Units const& p, CUStringMac& name) {
    std::optional<Units> n = UnitsOf(name);

    CUStringMac out = Sentinel();
    // A name without text is refused and leaves the output as it was.
    CheckOne(n ? std::optional<Units>(ModelAppend(p, *n)) : std::nullopt,
             path.PathAppend(name, out), out);
    if (!n) {
        CheckUntouched(out);
    }
    if (n && !n->empty() && n->find(u'/') == Units::npos) {
        // Appending a plain name and taking it off again gives the name and the folder back.
        CUStringMac joined = out;
        CUStringMac back = Sentinel();
        CHECK(joined.PathGetFileName(back) == kCUStatusSuccess && UnitsOf(back) == n);
        CHECK(joined.PathGetLastComponent(back) == kCUStatusSuccess && UnitsOf(back) == n);
        CHECK(joined.PathRemoveLastComponent(back) == kCUStatusSuccess);
        Units parent = p;
        if (EndsWithSlash(parent) && parent.size() > 1) {
            parent.pop_back(); // the folder comes back without its own trailing "/"
        }
        if (parent.empty()) {
            parent = u"/";
        }
        CHECK(UnitsOf(back) == parent);
    }

    auto [removes, parent] = ModelRemoveLast(p);
    out = Sentinel();
    CHECK((path.PathRemoveLastComponent(out) == kCUStatusSuccess) == removes);
    CHECK(UnitsOf(out) == parent);
    CUStringMac general = Sentinel();
    CHECK((path.RemoveLastComponent(general, "/") == kCUStatusSuccess) == removes);
    CHECK(UnitsOf(general) == parent);

    out = Sentinel();
    CheckOne(ModelFileName(p), path.PathGetFileName(out), out);
    out = Sentinel();
    CheckOne(ModelFileNameNoExtension(p), path.PathGetFileNameNoExtension(out), out);
    out = Sentinel();
    CheckOne(ModelExtension(p), path.PathGetExtension(out), out);
    out = Sentinel();
    CheckOne(ModelLastComponent(p), path.PathGetLastComponent(out), out);

    std::vector<Units> expected = ModelComponents(p);
    CUSharedPtr<CUArray> parts;
    CHECK(path.PathComponents(&parts) == kCUStatusSuccess);
    CHECK(Elements(parts) == expected);
    CUSharedPtr<CUArray> split;
    CHECK(path.SplitComponents(&split, "/") == kCUStatusSuccess);
    CHECK(Elements(split) == expected);

    // The operations may write into the string itself.
    CUStringMac self = path;
    CHECK((self.PathRemoveLastComponent(self) == kCUStatusSuccess) == removes);
    CHECK(UnitsOf(self) == parent);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 2 || size > 4096) {
        return 0;
    }
    std::uint8_t const mode = data[0];
    std::size_t const rest = size - 2;
    std::size_t const split = rest == 0 ? 0 : data[1] % (rest + 1);
    CUStringMac path = Make(mode, data + 2, split);
    CUStringMac name = Make(mode >> 2, data + 2 + split, rest - split);
    std::optional<Units> p = UnitsOf(path);
    if (!p) {
        CheckNullPath(path, name);
        return 0;
    }
    CheckPath(path, *p, name);
    return 0;
}
