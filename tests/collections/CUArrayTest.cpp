// CUArrayTest.cpp — arrays: element access, editing, shallow copies and the text form.
#include <VarnUtilityLib/CUArray.h>
#include <VarnUtilityLib/CUMutableArray.h>

#include <gtest/gtest.h>

#include <string>

namespace {

CUSharedPtr<CUObject> str(char const* text) {
    return CUSharedPtr<CUStringMac>(new CUStringMac(text, CUString_CharCode_UTF8));
}

std::string textOf(CUSharedPtr<CUObject> const& object) {
    CUSharedPtr<CUStringMac> s = object;
    return s ? std::string(static_cast<char const*>(*s)) : std::string("<not a string>");
}

CUSharedPtr<CUMutableArray> arrayOf(std::initializer_list<char const*> texts) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (char const* t : texts) {
        array->AddObject(t ? str(t) : CUSharedPtr<CUObject>());
    }
    return array;
}

std::string joined(CUSharedPtr<CUArray> const& array) {
    std::string out;
    for (unsigned long i = 0; i < array->Count(); ++i) {
        CUSharedPtr<CUObject> element = array->ObjectAtIndex(i);
        out += (i ? "," : "") + (element ? textOf(element) : std::string("null"));
    }
    return out;
}

} // namespace

TEST(CUArray, OutOfRangeAccessGivesNullAndChangesNothing) {
    CUSharedPtr<CUArray> empty(new CUArray());
    EXPECT_FALSE(empty->ObjectAtIndex(0) || empty->LastObject() || empty->RemoveAtIndex(0));
    CUSharedPtr<CUArray> array = arrayOf({"a", "b", "c"});
    EXPECT_FALSE(array->ObjectAtIndex(3) || array->ObjectAtIndex(static_cast<unsigned long>(-1)));
    EXPECT_FALSE(array->RemoveAtIndex(3));
    EXPECT_EQ("c", textOf(array->LastObject()));
    EXPECT_TRUE(array->RemoveAtIndex(1));
    EXPECT_EQ("a,c", joined(array));
    array->GetInternalArray().push_back(str("b")); // the live sequence
    EXPECT_EQ("a,c,b", joined(array));
}

TEST(CUArray, CopiesAreShallowIndependentAndHoldOneReferencePerElement) {
    CUSharedPtr<CUObject> object(new CUObject);
    {
        CUSharedPtr<CUMutableArray> source(new CUMutableArray());
        source->AddObject(object);
        source->AddObject(object);
        CUSharedPtr<CUMutableArray> copy(new CUMutableArray(source));
        EXPECT_EQ(5, object->GetRetainCount());
        source->AddObject(str("c"));
        copy->RemoveObjectAtIndex(0);
        EXPECT_EQ(3u, source->Count());
        EXPECT_EQ(1u, copy->Count());
        EXPECT_EQ(object.get(), copy->ObjectAtIndex(0).get());
    }
    EXPECT_EQ(1, object->GetRetainCount());
    EXPECT_EQ(0u, CUArray(CUSharedPtr<CUArray>()).Count());
    EXPECT_EQ(0u, CUMutableArray(CUSharedPtr<CUArray>()).Count());
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

TEST(CUMutableArray, InsertAndRemoveIgnoreIndexesPastTheEnd) {
    CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a", "c"});
    array->InsertObjectAtIndex(str("b"), 2);
    array->InsertObjectAtIndex(str("d"), array->Count());
    array->InsertObjectAtIndex(str("z"), array->Count() + 1);
    array->InsertObjectAtIndex(str("_"), 0);
    EXPECT_EQ("_,null,a,b,c,d", joined(array));
    array->RemoveObjectAtIndex(6);
    array->RemoveObjectAtIndex(0);
    EXPECT_EQ("null,a,b,c,d", joined(array));
}

TEST(CUMutableArray, RemoveObjectTakesOnlyTheFirstIdenticalElement) {
    CUSharedPtr<CUObject> shared = str("s");
    CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a"});
    array->AddObject(shared);
    array->AddObject(str("b"));
    array->AddObject(shared);
    array->RemoveObject(str("s")); // an equal text in another object is not the same object
    array->RemoveObject(CUSharedPtr<CUObject>()); // never removes null elements
    EXPECT_EQ("null,a,s,b,s", joined(array));
    array->RemoveObject(shared);
    EXPECT_EQ("null,a,b,s", joined(array));
    EXPECT_EQ(shared.get(), array->ObjectAtIndex(3).get());
}

TEST(CUMutableArray, AddObjectsFromArrayAppendsInOrderEvenFromItself) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a"});
    array->AddObjectsFromArray(arrayOf({"b", nullptr, "c"}));
    array->AddObjectsFromArray(CUSharedPtr<CUArray>());
    array->AddObjectsFromArray(arrayOf({}));
    EXPECT_EQ("a,b,null,c", joined(array));
    // Large enough that the sequence reallocates while it is read.
    CUSharedPtr<CUMutableArray> big(new CUMutableArray());
    for (int i = 0; i < 1000; ++i) {
        big->AddObject(str(std::to_string(i).c_str()));
    }
    big->GetInternalArray().shrink_to_fit();
    big->AddObjectsFromArray(big);
    ASSERT_EQ(2000u, big->Count());
    for (unsigned long i = 0; i < 1000; ++i) {
        EXPECT_EQ(big->ObjectAtIndex(i).get(), big->ObjectAtIndex(i + 1000).get());
    }
}

TEST(CUMutableArray, SetArrayAndRemoveAllReleaseTheOldElements) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "b"});
    array->SetArray(arrayOf({"x"}));
    EXPECT_EQ("x", joined(array));
    array->SetArray(CUSharedPtr<CUArray>());
    EXPECT_EQ(0u, array->Count());
    CUSharedPtr<CUObject> object(new CUObject);
    array->AddObject(object);
    array->AddObject(object);
    array->SetArray(array); // of itself: emptied
    EXPECT_EQ(0u, array->Count());
    EXPECT_EQ(1, object->GetRetainCount());
    array->AddObject(object);
    array->RemoveAllObjects();
    EXPECT_EQ(0u, array->Count());
    EXPECT_EQ(1, object->GetRetainCount());
}
