// FileNameFuzz.cpp — files and folders under arbitrary names: sequences of the file classes'
// operations in a scratch folder, on names made from the input.
//
// A name is made from UTF-8 (possibly invalid), raw UTF-16 units (unpaired surrogates and zero
// units included), or a small alphabet rich in "/", ".", ":" and spaces, and joined to the
// scratch folder with PathAppend. Operations: make a file (through CUFileStream), make a folder,
// delete either (folders also recursively), rename, copy, list, and the existence checks.
// Properties:
// - an operation either succeeds or throws one of the library's error codes (1 to 9) as an
//   unsigned int, nothing else;
// - what an operation reports agrees with the disk: a file made is a file, a folder made is a
//   folder, what was deleted is gone, a copy holds the source's bytes, every listed name exists
//   as the kind it was listed as, and no two listed names are the same;
// - nothing outside the scratch folder changes (a sentinel file beside it keeps its bytes).
// Names with a ".." component are not used: joined to the scratch folder they name places
// outside it on purpose, which the operations then rightly reach.
#include "FuzzInput.h"

#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUDirectory.h>
#include <VarnUtilityLib/CUDirectoryInfo.h>
#include <VarnUtilityLib/CUFile.h>
#include <VarnUtilityLib/CUFileInfo.h>
#include <VarnUtilityLib/CUFileStream.h>
#include <VarnUtilityLib/CUStringMac.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

using varn::fuzz::FuzzInput;
namespace fs = std::filesystem;

namespace {

constexpr char kSentinel[] = "outside the scratch folder";

struct Sandbox {
    fs::path root;    // holds the scratch folder and the sentinel
    fs::path scratch; // emptied before every input
    fs::path sentinel;

    Sandbox() {
        std::random_device random;
        root = fs::temp_directory_path() /
               ("varn-fuzz-names-" + std::to_string(random()) + std::to_string(random()));
        scratch = root / "scratch";
        sentinel = root / "sentinel";
        fs::create_directories(scratch);
        std::ofstream(sentinel, std::ios::binary) << kSentinel;
    }
    ~Sandbox() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
};

Sandbox& Box() {
    static Sandbox box;
    return box;
}

CUSharedPtr<CUStringMac> Text(FuzzInput& in) {
    std::uint8_t const mode = in.Byte();
    std::uint8_t const* bytes = nullptr;
    std::size_t const n = in.Take(1 + in.Byte() % 24, &bytes);
    switch (mode % 3) {
    case 0:
        return CUSharedPtr<CUStringMac>(new CUStringMac(reinterpret_cast<char const*>(bytes),
                                                        static_cast<unsigned int>(n),
                                                        CUString_CharCode_UTF8));
    case 1: {
        std::vector<unsigned short> units(n / 2);
        if (!units.empty()) {
            std::memcpy(units.data(), bytes, units.size() * 2);
        }
        return CUSharedPtr<CUStringMac>(
            new CUStringMac(units.data(), static_cast<unsigned int>(units.size() * 2)));
    }
    default: {
        static char16_t const alphabet[] = {u'/', u'.', u'.', u'a',   u'b',
                                            u':', u' ', 0xE9, 0xD800, 0};
        std::vector<unsigned short> units;
        for (std::size_t i = 0; i < n; ++i) {
            units.push_back(alphabet[bytes[i] % 10]);
        }
        return CUSharedPtr<CUStringMac>(
            new CUStringMac(units.data(), static_cast<unsigned int>(units.size() * 2)));
    }
    }
}

// The UTF-16 units of a text (empty for a text that has none).
std::u16string UnitsOf(CUStringMac& s) {
    std::u16string units;
    if (static_cast<__CFString const*>(s) == nullptr) {
        return units;
    }
    unsigned int need = 0;
    if (s.GetString(nullptr, CUString_CharCode_UTF16, need) != 0) {
        return units;
    }
    std::vector<char> buffer(need);
    if (s.GetString(buffer.data(), CUString_CharCode_UTF16, need) != 0) {
        return units;
    }
    units.resize(static_cast<std::size_t>(s.Length()));
    std::memcpy(units.data(), buffer.data(), units.size() * 2);
    return units;
}

// True when some component between "/" (or a zero unit) is "..".
bool ClimbsOut(CUStringMac& s) {
    std::u16string const units = UnitsOf(s);
    std::size_t start = 0;
    for (std::size_t i = 0; i <= units.size(); ++i) {
        if (i == units.size() || units[i] == u'/' || units[i] == 0) {
            if (units.compare(start, i - start, u"..") == 0) {
                return true;
            }
            start = i + 1;
        }
    }
    return false;
}

// True when the path names something inside the scratch folder: past the folder's own path
// comes a component other than "" and ".". (A path naming the folder itself would let an
// operation move or delete the folder, which the properties would take for damage outside.)
bool Inside(CUStringMac& path) {
    std::string const& folder = Box().scratch.native();
    std::u16string const units = UnitsOf(path);
    if (units.size() <= folder.size() || !std::equal(folder.begin(), folder.end(), units.begin()) ||
        units[folder.size()] != u'/') {
        return false;
    }
    std::size_t start = folder.size() + 1;
    for (std::size_t i = start; i <= units.size(); ++i) {
        if (i == units.size() || units[i] == u'/' || units[i] == 0) {
            std::u16string const part = units.substr(start, i - start);
            if (!part.empty() && part != u".") {
                return true;
            }
            start = i + 1;
        }
    }
    return false;
}

// The scratch folder joined with a name from the input; null when the result would not name
// something inside it.
CUSharedPtr<CUStringMac> PathIn(FuzzInput& in) {
    CUSharedPtr<CUStringMac> name = Text(in);
    CUStringMac folder(Box().scratch.c_str(), CUString_CharCode_UTF8);
    CUSharedPtr<CUStringMac> path(new CUStringMac());
    if (folder.PathAppend(*name, *path) != 0 || ClimbsOut(*path) || !Inside(*path)) {
        return CUSharedPtr<CUStringMac>();
    }
    return path;
}

// Runs an operation; true when it returned, false when it threw one of the library's codes.
template <typename Operation> bool Run(Operation operation) {
    try {
        operation();
        return true;
    } catch (unsigned int code) {
        CHECK(code >= 1 && code <= 9);
        return false;
    }
}

std::string ReadAll(CUSharedPtr<CUStringMac> const& path) {
    char const* bytes = static_cast<char const*>(*path);
    if (bytes == nullptr || !CUFile::Exists(path)) {
        return std::string();
    }
    std::ifstream file(bytes, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void CheckListing(CUSharedPtr<CUStringMac> const& folder, bool folders) {
    CUSharedPtr<CUArray> items;
    if (!Run([&] {
            items = folders ? CUDirectory::GetDirectories(folder) : CUDirectory::GetFiles(folder);
        }) ||
        !items) {
        return;
    }
    std::set<std::u16string> seen;
    for (unsigned long i = 0; i < items->Count(); ++i) {
        CUSharedPtr<CUFileSysytemInfo> item = items->ObjectAtIndex(i);
        CHECK(static_cast<bool>(item));
        CUSharedPtr<CUStringMac> name = item->GetFullName();
        CHECK(static_cast<bool>(name));
        CHECK(seen.insert(UnitsOf(*name)).second);
        // A listing never follows links and the scratch folder holds none, so a folder listed
        // is a folder and a file listed is a file.
        CHECK(folders ? CUDirectory::Exists(name) : CUFile::Exists(name));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Sandbox& box = Box();
    std::error_code ignored;
    fs::remove_all(box.scratch, ignored);
    fs::create_directories(box.scratch);
    FuzzInput in(data, size);
    for (int step = 0; step < 12 && !in.Empty(); ++step) {
        std::uint8_t const op = in.Byte() % 9;
        CUSharedPtr<CUStringMac> path = PathIn(in);
        if (!path) {
            continue;
        }
        switch (op) {
        case 0: { // a file with a few bytes
            std::uint8_t const* bytes = nullptr;
            std::size_t const n = in.Take(in.Byte() % 16, &bytes);
            bool written = false;
            Run([&] {
                CUFileStream stream(path, CUStream_FileMode_CreateNew, CUStream_FileAccess_Write,
                                    false);
                std::vector<unsigned char> copy(bytes, bytes + n);
                written = stream.Write(copy.data(), n, 0, CUStream_Seek_Origin_Current) == n;
            });
            if (written) {
                CHECK(CUFile::Exists(path));
                CHECK(ReadAll(path) == std::string(reinterpret_cast<char const*>(bytes), n));
            }
            break;
        }
        case 1: {
            CUSharedPtr<CUDirectoryInfo> made;
            if (Run([&] { made = CUDirectory::CreateDirectory(path); }) && made) {
                CHECK(CUDirectory::Exists(path));
            }
            break;
        }
        case 2:
            if (Run([&] { CUFile::Delete(path); })) {
                CHECK(!CUFile::Exists(path));
            }
            break;
        case 3:
        case 4: {
            bool const recursive = op == 4;
            if (Run([&] { CUDirectory::Delete(path, recursive); })) {
                CHECK(!CUDirectory::Exists(path));
            }
            break;
        }
        case 5: {
            // What a rename leaves depends on the name's own rules; the properties checked after
            // every input (listings agree, nothing outside touched) still hold.
            CUSharedPtr<CUStringMac> name = Text(in);
            if (!ClimbsOut(*name)) {
                Run([&] { CUFile::Rename(path, name); });
            }
            break;
        }
        case 6: {
            CUSharedPtr<CUStringMac> target = PathIn(in);
            if (!target) {
                break;
            }
            std::string const before = ReadAll(path);
            bool const fromFile = CUFile::Exists(path);
            unsigned int status = 0x10001;
            if (Run([&] { status = CUFile::Copy(path, target); }) && status == 0 && fromFile) {
                CHECK(ReadAll(target) == before);
            }
            break;
        }
        case 7:
            CheckListing(path, in.Byte() % 2 == 0);
            break;
        default: {
            // The two existence checks never both hold.
            CHECK(!(CUFile::Exists(path) && CUDirectory::Exists(path)));
            break;
        }
        }
    }
    CUSharedPtr<CUStringMac> scratch(new CUStringMac(box.scratch.c_str(), CUString_CharCode_UTF8));
    CheckListing(scratch, true);
    CheckListing(scratch, false);
    // Nothing outside the scratch folder was touched (a name may have named the scratch folder
    // itself, and deleted it).
    fs::create_directories(box.scratch);
    std::size_t entries = 0;
    for (auto const& entry : fs::directory_iterator(box.root)) {
        (void)entry;
        ++entries;
    }
    CHECK(entries == 2);
    std::ifstream sentinel(box.sentinel, std::ios::binary);
    CHECK(std::string(std::istreambuf_iterator<char>(sentinel), std::istreambuf_iterator<char>()) ==
          kSentinel);
    return 0;
}
