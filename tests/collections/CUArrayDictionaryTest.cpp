// CUArray and CUDictionary: element access, editing, shallow copies, key order, stored key
// copies, null keys and values, collation-equal keys and the text forms.
#include "support/FileTesting.h"

#include <VarnUtilityLib/CUDictionary.h>
#include <VarnUtilityLib/CUMutableArray.h>
#include <VarnUtilityLib/CUMutableDictionary.h>

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using Dict = CUSharedPtr<CUMutableDictionary>;
using varn::test::Str;

// "null" for a null object, "<not a string>" for another class.
std::string textOf(CUSharedPtr<CUObject> const& object) {
    CUSharedPtr<CUStringMac> s = object;
    return !object ? "null" : s ? static_cast<char const*>(*s) : "<not a string>";
}

// The elements' texts, comma-separated.
std::string joined(CUSharedPtr<CUArray> const& array) {
    std::string out;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        out += (i ? "," : "") + textOf(array->ObjectAtIndex(i));
    }
    return out;
}

CUSharedPtr<CUMutableArray> arrayOf(std::initializer_list<char const*> texts) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (char const* t : texts) {
        array->AddObject(t ? CUSharedPtr<CUObject>(Str(t)) : CUSharedPtr<CUObject>());
    }
    return array;
}

// "key=value" for each entry, in key order, through AllKeys and ObjectForKey.
std::string contents(CUSharedPtr<CUDictionary> const& dictionary) {
    std::string out;
    CUSharedPtr<CUArray> keys = dictionary->AllKeys();
    for (unsigned long i = 0; i < keys->Count(); ++i) {
        CUSharedPtr<CUStringMac> key = keys->ObjectAtIndex(i);
        out += (i ? "," : "") + textOf(key) + "=" + textOf(dictionary->ObjectForKey(key));
    }
    return out;
}

} // namespace

TEST(CUArray, OutOfRangeAccessGivesNullOrFalseAndChangesNothing) {
    CUSharedPtr<CUArray> empty(new CUArray());
    EXPECT_FALSE(empty->ObjectAtIndex(0) || empty->LastObject() || empty->RemoveAtIndex(0));
    CUSharedPtr<CUArray> array = arrayOf({"a", "b", "c"});
    EXPECT_FALSE(array->ObjectAtIndex(3) || array->ObjectAtIndex(static_cast<unsigned long>(-1)));
    EXPECT_FALSE(array->RemoveAtIndex(3));
    EXPECT_EQ("c", textOf(array->LastObject()));
    EXPECT_TRUE(array->RemoveAtIndex(1));
    EXPECT_EQ("a,c", joined(array));
    EXPECT_EQ(0u, CUArray(CUSharedPtr<CUArray>()).Count());
}

// Each edit on [null, a, c]: indexes past the end and null arguments change nothing. Adding
// the array to itself reallocates the sequence (capacity 4) while it is read.
TEST(CUMutableArray, EditsChangeWhatTheyNameAndIgnoreIndexesPastTheEndAndNulls) {
    using A = CUMutableArray&;
    struct Row {
        void (*edit)(A);
        char const* after;
    } const rows[] = {
        {[](A a) { a.InsertObjectAtIndex(Str("b"), 2); }, "null,a,b,c"},
        {[](A a) { a.InsertObjectAtIndex(Str("d"), a.Count()); }, "null,a,c,d"},
        {[](A a) { a.InsertObjectAtIndex(Str("z"), a.Count() + 1); }, "null,a,c"},
        {[](A a) { a.RemoveObjectAtIndex(3); }, "null,a,c"},
        {[](A a) { a.RemoveObjectAtIndex(0); }, "a,c"},
        {[](A a) { a.RemoveObject(Str("a")); }, "null,a,c"}, // an equal text is not the object
        {[](A a) { a.RemoveObject(CUSharedPtr<CUObject>()); }, "null,a,c"}, // never a null one
        {[](A a) {
             a.AddObjectsFromArray(arrayOf({"b", nullptr}));
         },
         "null,a,c,b,null"},
        {[](A a) { a.AddObjectsFromArray(CUSharedPtr<CUArray>()); }, "null,a,c"},
        {[](A a) { a.AddObjectsFromArray(CUSharedPtr<CUArray>(&a)); }, "null,a,c,null,a,c"},
        {[](A a) { a.SetArray(arrayOf({"x"})); }, "x"},
        {[](A a) { a.SetArray(CUSharedPtr<CUArray>(&a)); }, ""}, // of itself: emptied
        {[](A a) { a.RemoveAllObjects(); }, ""},
        {[](A a) { a.GetInternalArray().push_back(Str("b")); }, "null,a,c,b"}, // the live one
    };
    for (Row const& row : rows) {
        CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a", "c"});
        row.edit(*array);
        EXPECT_EQ(row.after, joined(array)) << "row " << &row - rows;
    }
}

TEST(CUMutableArray, CopiesAndEditsHoldOneReferencePerElement) {
    CUSharedPtr<CUObject> object(new CUObject);
    {
        CUSharedPtr<CUMutableArray> source(new CUMutableArray());
        source->AddObject(object);
        source->AddObject(object);
        CUSharedPtr<CUMutableArray> copy(new CUMutableArray(source));
        EXPECT_EQ(5, object->GetRetainCount());
        source->AddObject(Str("c"));
        copy->RemoveObjectAtIndex(0);
        EXPECT_EQ(3u, source->Count());
        EXPECT_EQ(1u, copy->Count());
        EXPECT_EQ(object.get(), copy->ObjectAtIndex(0).get());
        copy->RemoveAllObjects();
        EXPECT_EQ(3, object->GetRetainCount());
        // RemoveObject takes only the first element that is the same object.
        CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a"});
        array->AddObject(object);
        array->AddObject(Str("b"));
        array->AddObject(object);
        array->RemoveObject(object);
        EXPECT_EQ("null,a,b,<not a string>", joined(array));
        EXPECT_EQ(object.get(), array->ObjectAtIndex(3).get());
    }
    EXPECT_EQ(1, object->GetRetainCount());
}

TEST(CUArray, DescriptionListsEveryElementOnATabLedLine) {
    EXPECT_EQ("{\n}", textOf(CUSharedPtr<CUArray>(new CUArray())->Description()));
    CUSharedPtr<CUMutableArray> array = arrayOf({"x", nullptr, "na\xC3\xAFve \xF0\x9F\x8C\x8D"});
    EXPECT_EQ("{\n\tx\n\t<NULL>\n\tna\xC3\xAFve \xF0\x9F\x8C\x8D\n}", textOf(array->Description()));
    // Nested arrays are not indented further; their line feeds go in as they are.
    CUSharedPtr<CUMutableArray> outer = arrayOf({"a"});
    outer->AddObject(arrayOf({"b"}));
    CUSharedPtr<CUObject> object(new CUObject);
    outer->AddObject(object);
    EXPECT_EQ("{\n\ta\n\t{\n\tb\n}\n\t" + textOf(object->Description()) + "\n}",
              textOf(outer->Description()));
}

// Each edit on {ab: v, k: null}. Null keys and keys without text are refused; "a<SHY>b" is
// the key "ab" (a soft hyphen is ignorable in collation) and the key first stored stays.
TEST(CUMutableDictionary, RefusesKeysWithoutTextAndStoresCollationEqualKeysOnce) {
    using D = CUMutableDictionary&;
    struct Row {
        void (*edit)(D);
        char const* after;
    } const rows[] = {
        {[](D d) { d.SetObjectForKey(Str("x"), CUSharedPtr<CUStringMac>()); }, "ab=v,k=null"},
        {[](D d) { d.SetObjectForKey(Str("x"), Str("\xC3\x28")); }, "ab=v,k=null"},
        {[](D d) { d.RemoveObjectForKey(CUSharedPtr<CUStringMac>()); }, "ab=v,k=null"},
        {[](D d) { d.RemoveObjectForKey(Str("\xC3\x28")); }, "ab=v,k=null"},
        {[](D d) { d.RemoveObjectForKey(Str("absent")); }, "ab=v,k=null"},
        {[](D d) { d.RemoveObjectForKey(Str("ab")); }, "k=null"},
        {[](D d) { d.RemoveObjectForKey(Str("a\u00ADb")); }, "k=null"},
        {[](D d) { d.SetObjectForKey(Str("w"), Str("ab")); }, "ab=w,k=null"},
        {[](D d) { d.SetObjectForKey(Str("w"), Str("a\u00ADb")); }, "ab=w,k=null"},
        {[](D d) { d.SetObjectForKey(Str("w"), Str("AB")); }, "ab=v,AB=w,k=null"},
        {[](D d) { d.SetObjectForKey(CUSharedPtr<CUObject>(), Str("ab")); }, "ab=null,k=null"},
        {[](D d) { d.RemoveAllObjects(); }, ""},
    };
    for (Row const& row : rows) {
        Dict d(new CUMutableDictionary());
        d->SetObjectForKey(Str("v"), Str("ab"));
        d->SetObjectForKey(CUSharedPtr<CUObject>(), Str("k"));
        row.edit(*d);
        EXPECT_EQ(row.after, contents(d)) << "row " << &row - rows;
        EXPECT_FALSE(d->ObjectForKey(CUSharedPtr<CUStringMac>()) ||
                     d->ObjectForKey(Str("\xC3\x28")));
    }
    Dict d(new CUMutableDictionary());
    // Localized order: lower case before upper, alphabetical across case, accents after.
    for (char const* k : {"B", "a", "\u00E9", "e", "f", "A", "b"}) {
        d->SetObjectForKey(Str(k), Str(k));
    }
    EXPECT_EQ("a,A,b,B,e,\u00E9,f", joined(d->AllKeys()));
}

TEST(CUMutableDictionary, ValuesAreHeldOnceAndReleasedAndKeysAreCopies) {
    Dict d(new CUMutableDictionary());
    CUSharedPtr<CUObject> x(new CUObject), y(new CUObject);
    d->SetObjectForKey(x, Str("k"));
    Dict copy(new CUMutableDictionary(d));
    CUSharedPtr<CUDictionary> frozen(new CUDictionary(d));
    EXPECT_EQ(4, x->GetRetainCount());
    copy->SetObjectForKey(y, Str("k")); // replacing releases the old value
    frozen.Reset();
    EXPECT_EQ(2, x->GetRetainCount());
    d->SetObjectForKey(x, Str("l"));
    EXPECT_EQ(3, x->GetRetainCount());
    d->RemoveObjectForKey(Str("k"));
    copy->RemoveAllObjects();
    EXPECT_EQ(2, x->GetRetainCount());
    EXPECT_EQ(1, y->GetRetainCount());
    d->RemoveAllObjects();
    EXPECT_EQ(1, x->GetRetainCount());
    // The key stored, and the keys handed out by AllKeys, are copies of the strings.
    CUSharedPtr<CUStringMac> k = Str("m");
    d->SetObjectForKey(Str("v"), k);
    d->SetObjectForKey(Str("w"), Str("z"));
    EXPECT_EQ(1, k->GetRetainCount());
    *k = CUStringMac("zz", CUString_CharCode_UTF8);
    EXPECT_FALSE(d->ObjectForKey(k));
    CUSharedPtr<CUStringMac> handed = d->AllKeys()->ObjectAtIndex(0);
    *handed = CUStringMac("q", CUString_CharCode_UTF8);
    EXPECT_EQ("m=v,z=w", contents(d));
}

TEST(CUDictionary, CopyKeepsItsEntriesAndDescriptionListsThemInKeyOrder) {
    Dict source(new CUMutableDictionary());
    source->SetObjectForKey(Str("x"), Str("a"));
    source->SetObjectForKey(CUSharedPtr<CUObject>(), Str("k"));
    CUSharedPtr<CUDictionary> copy(new CUDictionary(source));
    source->SetObjectForKey(Str("caf\u00E9"), Str("\u65E5"));
    // Values are written by their own Description (nesting: the array test).
    EXPECT_EQ("{\n\tKey:a,\tVal:x\n\tKey:k,\tVal:<NULL>\n\tKey:\u65E5,\tVal:caf\u00E9\n}",
              textOf(source->Description()));
    source->RemoveAllObjects();
    EXPECT_EQ("a=x,k=null", contents(copy));
}

// Keys compare through copied leading units and collation-key bytes, and large dictionaries
// answer through a hash of the whole collation key: both must agree with the strings' own
// order and equality for prefixes, long texts, accents, marks and ignorable characters, across
// growth, removals, emptying and a locale change.
TEST(CUMutableDictionary, HashedLookUpsAndKeyOrderAgreeWithTheStringsThroughChanges) {
    std::vector<std::string> const pieces = {"a",       "b",      "A",          "\u00E9",
                                             "e\u0301", "\u00AD", "c",          "\uFF21",
                                             "-",       "x",      "abcdefghij", "\U0001F30D"};
    std::mt19937 rng(7);
    // The model: entries in insertion order, found by the strings' own equality.
    std::vector<std::pair<CUSharedPtr<CUStringMac>, std::string>> model;
    auto modelFind = [&](CUStringMac& k) {
        return std::find_if(model.begin(), model.end(), [&](auto const& entry) {
            return !(*entry.first < k) && !(k < *entry.first);
        });
    };
    Dict d(new CUMutableDictionary());
    auto keysAscend = [&] {
        CUSharedPtr<CUArray> keys = d->AllKeys();
        for (unsigned long i = 1; i < keys->Count(); ++i) {
            CUSharedPtr<CUStringMac> a = keys->ObjectAtIndex(i - 1), b = keys->ObjectAtIndex(i);
            ASSERT_TRUE(*a < *b) << textOf(a) << " before " << textOf(b);
        }
    };
    char const* saved = std::getenv("LANG");
    std::string const previous = saved ? saved : "";
    for (int step = 0; step < 6000; ++step) {
        if (step == 3000) {
            ::setenv("LANG", "de_DE.UTF-8", 1);
            varn::platform::ResetCollationLocale();
        }
        std::string t;
        for (int n = 1 + static_cast<int>(rng() % 4); n > 0; --n) {
            t += pieces[rng() % pieces.size()];
        }
        // A text and itself followed by an ignorable character are two keys (the shorter is a
        // prefix) though each equals that text with the character moved to the front: no
        // model can hold such a trio consistently, so texts never end with one.
        if (t.size() >= 2 && t.compare(t.size() - 2, 2, "\u00AD") == 0) {
            t += "b";
        }
        CUSharedPtr<CUStringMac> k = Str(t);
        auto at = modelFind(*k);
        unsigned const op = rng() % 10;
        if (op < 5) {
            std::string const value = std::to_string(step);
            d->SetObjectForKey(Str(value), k);
            if (at == model.end()) {
                model.emplace_back(k, value);
            } else {
                at->second = value;
            }
        } else if (op < 8) {
            d->RemoveObjectForKey(k);
            if (at != model.end()) {
                model.erase(at);
            }
        }
        if (step % 1500 == 1499) {
            keysAscend();
        }
        if (step == 1500 || step == 4500) {
            d->RemoveAllObjects();
            model.clear();
        }
        ASSERT_EQ(model.size(), d->Count()) << "step " << step;
        auto now = modelFind(*k);
        ASSERT_EQ(now == model.end() ? "null" : now->second, textOf(d->ObjectForKey(k)))
            << "step " << step << " key " << t;
    }
    ::setenv("LANG", previous.c_str(), 1);
    varn::platform::ResetCollationLocale();
    EXPECT_GT(model.size(), 32u); // the table was in use at the end
}

// A key keeps the collation data of the locale it was made under; once the locale changes, a
// key of the old setting is ordered against a new one by the new locale, never by mixing the
// two settings' collation keys (Swedish sorts "ä" after "z", German with "a").
TEST(CUMutableDictionary, KeysMadeUnderAnotherLocaleAreOrderedByTheCurrentOne) {
    struct Row {
        char const *firstLocale, *firstKey, *secondLocale, *secondKey, *order;
    } const rows[] = {
        {"sv_SE.UTF-8", "\u00E4", "de_DE.UTF-8", "z", "\u00E4=1,z=2"},
        {"de_DE.UTF-8", "z", "sv_SE.UTF-8", "\u00E4", "z=1,\u00E4=2"},
    };
    char const* saved = std::getenv("LC_ALL");
    std::string const previous = saved ? saved : "";
    for (Row const& row : rows) {
        SCOPED_TRACE(row.order);
        Dict d(new CUMutableDictionary());
        ::setenv("LC_ALL", row.firstLocale, 1);
        varn::platform::ResetCollationLocale();
        d->SetObjectForKey(Str("1"), Str(row.firstKey));
        ::setenv("LC_ALL", row.secondLocale, 1);
        varn::platform::ResetCollationLocale();
        d->SetObjectForKey(Str("2"), Str(row.secondKey));
        EXPECT_EQ(row.order, contents(d));
    }
    saved ? ::setenv("LC_ALL", previous.c_str(), 1) : ::unsetenv("LC_ALL");
    varn::platform::ResetCollationLocale();
}
