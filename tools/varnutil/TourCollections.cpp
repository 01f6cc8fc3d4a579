// TourCollections.cpp — the tour's collections and paths sections.
#include "Errors.h"
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <string>

namespace varnutil {
namespace {

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return TextOf(s, "(null pointer)", "(null text)");
}

std::string oneLine(std::string const& s) {
    std::string out;
    for (char c : s) {
        out += c == '\n' ? std::string("\\n") : c == '\t' ? std::string("\\t") : std::string(1, c);
    }
    return out;
}

CUSharedPtr<CUStringMac> str(char const* t) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(t, CUString_CharCode_UTF8));
}

std::string joined(CUSharedPtr<CUArray> const& array) {
    if (!array) {
        return "(null array)";
    }
    std::string out = "[";
    for (unsigned long i = 0; i < array->Count(); ++i) {
        out += (i ? ", \"" : "\"") + text(array->ObjectAtIndex(i)) + "\"";
    }
    return out + "]";
}

// A string with a rank: the descriptor below orders by it.
class Ranked : public CUStringMac {
  public:
    Ranked(char const* t, int rank) : CUStringMac(t, CUString_CharCode_UTF8), rank(rank) {}
    int rank;
};

// Positive when `a` comes first in ascending order: this library's sign convention.
class ByRank : public CUSortDescriptor {
  public:
    explicit ByRank(bool ascending) : CUSortDescriptor(ascending) {}
    int CompareObject(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        return dynamic_cast<Ranked&>(*b).rank - dynamic_cast<Ranked&>(*a).rank;
    }
};

void arrays(std::ostream& out) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    char const* names[] = {"pear", "fig", "apple", "kiwi", "plum"};
    int ranks[] = {2, 1, 3, 1, 2};
    for (int i = 0; i < 5; ++i) {
        array->AddObject(CUSharedPtr<CUObject>(new Ranked(names[i], ranks[i])));
    }
    Show(out, "array (rank 2,1,3,1,2)", joined(array).c_str());
    CUSharedPtr<CUArray> up =
        array->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new ByRank(true)));
    Show(out, "sorted by rank, ties keep order", joined(up).c_str());
    CUSharedPtr<CUArray> down =
        array->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new ByRank(false)));
    Show(out, "descending", joined(down).c_str());
    array->AddObjectsFromArray(array);
    Show(out, "AddObjectsFromArray(itself): count", std::to_string(array->Count()).c_str());
    array->SetArray(array);
    Show(out, "SetArray(itself): count", std::to_string(array->Count()).c_str());
    array->AddObject(str("x"));
    array->AddObject(CUSharedPtr<CUObject>());
    Show(out, "Description()", oneLine(text(array->Description())).c_str());
}

void dictionaries(std::ostream& out) {
    CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
    for (char const* k : {"b", "B", "a", "\xC3\xA9t\xC3\xA9", "e"}) {
        d->SetObjectForKey(str("v"), str(k));
    }
    Show(out, "AllKeys() (collation order)", joined(d->AllKeys()).c_str());
    d->SetObjectForKey(str("1"), str("ab"));
    d->SetObjectForKey(str("2"), str("a\xC2\xAD"
                                     "b")); // soft hyphen: ignorable
    Show(out, "5 keys + ab + a<soft hyphen>b: count", std::to_string(d->Count()).c_str());
    Show(out, "ObjectForKey(ab)", text(d->ObjectForKey(str("ab"))).c_str());
    d->SetObjectForKey(CUSharedPtr<CUObject>(), str("none"));
    CUSharedPtr<CUMutableDictionary> small(new CUMutableDictionary());
    small->SetObjectForKey(str("x"), str("a"));
    small->SetObjectForKey(CUSharedPtr<CUObject>(), str("k"));
    Show(out, "Description()", oneLine(text(small->Description())).c_str());
}

void indexSetsAndVectors(std::ostream& out) {
    CUSharedPtr<CUMutableIndexSet> set = CUMutableIndexSet::Create();
    set->AddIndex(5);
    set->AddIndex(2);
    set->AddIndex(5);
    set->AddIndex(-1);
    Show(out, "index set {5,2,5,-1}: first", std::to_string(set->FirstIndex()).c_str());
    Show(out, "last", std::to_string(set->LastIndex()).c_str());
    set->RemoveAllIndexes();
    Show(out, "after RemoveAllIndexes: first", std::to_string(set->FirstIndex()).c_str());

    auto shorts = CreateCUVectorSInt16();
    shorts->push_back(1);
    shorts->push_back(-2);
    shorts->push_back(3);
    Show(out, "short vector", text(shorts->Description()).c_str());
    auto bytes = CreateCUVectorUInt8();
    bytes->push_back(255);
    bytes->push_back(0);
    Show(out, "unsigned char vector", text(bytes->Description()).c_str());
    Show(out, "empty vector", text(CreateCUVectorSInt64()->Description()).c_str());
}

void paths(std::ostream& out) {
    CUStringMac path("/home/r\xC3\xA9mi/notes.tar.gz", CUString_CharCode_UTF8);
    CUStringMac result;
    auto show = [&out, &result](char const* label, unsigned int status) {
        std::string value = "failed (0x10001)";
        if (status == kCUStatusSuccess) {
            value.assign(1, '"');
            value.append(static_cast<char const*>(result)).push_back('"');
        }
        Show(out, label, value.c_str());
    };
    Show(out, "path", static_cast<char const*>(path));
    show("PathGetFileName", path.PathGetFileName(result));
    show("PathGetFileNameNoExtension", path.PathGetFileNameNoExtension(result));
    show("PathGetExtension", path.PathGetExtension(result));
    show("PathRemoveLastComponent", path.PathRemoveLastComponent(result));
    show("PathGetLastComponent of /a/b/",
         CUStringMac("/a/b/", CUString_CharCode_UTF8).PathGetLastComponent(result));
    show("PathAppend(a, /b)", CUStringMac("a", CUString_CharCode_UTF8)
                                  .PathAppend(CUStringMac("/b", CUString_CharCode_UTF8), result));
    show("PathRemoveLastComponent of a",
         CUStringMac("a", CUString_CharCode_UTF8).PathRemoveLastComponent(result));
    CUSharedPtr<CUArray> parts;
    CUStringMac("/a//b/", CUString_CharCode_UTF8).PathComponents(&parts);
    Show(out, "PathComponents of /a//b/", joined(parts).c_str());
    CUStringMac("x,y,,z", CUString_CharCode_UTF8).SplitComponents(&parts, ",");
    Show(out, "SplitComponents of x,y,,z by ,", joined(parts).c_str());
    HFSUniStr255 record{};
    CUStringMac::GetUnicodeFileName(str("a:b"), &record);
    std::string units;
    for (int i = 0; i < record.length; ++i) {
        units += static_cast<char>(record.unicode[i]);
    }
    Show(out, "GetUnicodeFileName(a:b)",
         ("length " + std::to_string(record.length) + ", \"" + units + "\"").c_str());
}

TourSection arraysSection(50, "Collections: arrays and stable sorting", arrays);
TourSection dictionariesSection(52, "Collections: dictionaries", dictionaries);
TourSection setsSection(54, "Collections: index sets and vectors", indexSetsAndVectors);
TourSection pathsSection(45, "Strings: paths", paths);

} // namespace
} // namespace varnutil
