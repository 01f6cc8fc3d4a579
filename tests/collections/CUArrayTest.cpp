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

std::string textOf(CUSharedPtr<CUStringMac> const& s) {
    return s ? std::string(static_cast<char const*>(*s)) : std::string("<null>");
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
    EXPECT_EQ(0u, empty->Count());
    EXPECT_FALSE(empty->ObjectAtIndex(0));
    EXPECT_FALSE(empty->LastObject());
    EXPECT_FALSE(empty->RemoveAtIndex(0));

    CUSharedPtr<CUArray> two = arrayOf({"a", "b"});
    EXPECT_FALSE(two->ObjectAtIndex(2));
    EXPECT_FALSE(two->ObjectAtIndex(static_cast<unsigned long>(-1)));
    EXPECT_FALSE(two->RemoveAtIndex(2));
    EXPECT_EQ("a,b", joined(two));
    EXPECT_EQ("b", textOf(two->LastObject()));
}

TEST(CUArray, RemoveAtIndexMovesLaterElementsDown) {
    CUSharedPtr<CUArray> array = arrayOf({"a", "b", "c"});
    EXPECT_TRUE(array->RemoveAtIndex(1));
    EXPECT_EQ("a,c", joined(array));
    EXPECT_TRUE(array->RemoveAtIndex(1));
    EXPECT_EQ("a", joined(array));
}

TEST(CUArray, ElementsHoldOneReferenceEachAndReleaseItWithTheArray) {
    CUSharedPtr<CUObject> object(new CUObject);
    {
        CUSharedPtr<CUMutableArray> array(new CUMutableArray());
        array->AddObject(object);
        array->AddObject(object);
        EXPECT_EQ(3, object->GetRetainCount());
        CUSharedPtr<CUArray> copy(new CUArray(array));
        EXPECT_EQ(5, object->GetRetainCount());
        EXPECT_EQ(object.get(), copy->ObjectAtIndex(1).get());
    }
    EXPECT_EQ(1, object->GetRetainCount());
}

TEST(CUArray, CopyIsShallowAndIndependentOfTheSource) {
    CUSharedPtr<CUMutableArray> source = arrayOf({"a", "b"});
    CUSharedPtr<CUMutableArray> copy(new CUMutableArray(source));
    source->AddObject(str("c"));
    copy->RemoveObjectAtIndex(0);
    EXPECT_EQ("a,b,c", joined(source));
    EXPECT_EQ("b", joined(copy));
    EXPECT_EQ(source->ObjectAtIndex(1).get(), copy->ObjectAtIndex(0).get());

    CUSharedPtr<CUArray> fromNull(new CUArray(CUSharedPtr<CUArray>()));
    EXPECT_EQ(0u, fromNull->Count());
    CUSharedPtr<CUMutableArray> mutableFromNull(new CUMutableArray(CUSharedPtr<CUArray>()));
    EXPECT_EQ(0u, mutableFromNull->Count());
}

TEST(CUArray, InternalArrayIsTheLiveSequence) {
    CUSharedPtr<CUArray> array = arrayOf({"a"});
    array->GetInternalArray().push_back(str("b"));
    EXPECT_EQ(2u, array->Count());
    EXPECT_EQ("b", textOf(array->LastObject()));
}

TEST(CUArray, DescriptionListsEveryElementOnATabLedLine) {
    EXPECT_EQ("{\n}", textOf(CUSharedPtr<CUArray>(new CUArray())->Description()));
    CUSharedPtr<CUMutableArray> array = arrayOf({"x", nullptr, "y"});
    EXPECT_EQ("{\n\tx\n\t<NULL>\n\ty\n}", textOf(array->Description()));

    // Nested arrays are not indented further; their line feeds go in as they are.
    CUSharedPtr<CUMutableArray> outer = arrayOf({"a"});
    outer->AddObject(arrayOf({"b"}));
    EXPECT_EQ("{\n\ta\n\t{\n\tb\n}\n}", textOf(outer->Description()));
}

TEST(CUArray, DescriptionOfAPlainObjectUsesItsGenericText) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    CUSharedPtr<CUObject> object(new CUObject);
    array->AddObject(object);
    std::string expected = "{\n\t" + textOf(object->Description()) + "\n}";
    EXPECT_EQ(expected, textOf(array->Description()));
    EXPECT_NE(std::string::npos, expected.find("8CUObject(0x0x"));
}

TEST(CUArray, DescriptionKeepsNonAsciiText) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"na\xC3\xAFve \xF0\x9F\x8C\x8D"});
    EXPECT_EQ("{\n\tna\xC3\xAFve \xF0\x9F\x8C\x8D\n}", textOf(array->Description()));
}

TEST(CUMutableArray, AddObjectAppendsNullElementsToo) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    array->AddObject(CUSharedPtr<CUObject>());
    array->AddObject(str("a"));
    EXPECT_EQ(2u, array->Count());
    EXPECT_EQ("null,a", joined(array));
}

TEST(CUMutableArray, InsertAtCountAppendsAndPastCountDoesNothing) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "c"});
    array->InsertObjectAtIndex(str("b"), 1);
    array->InsertObjectAtIndex(str("d"), array->Count());
    array->InsertObjectAtIndex(str("z"), array->Count() + 1);
    array->InsertObjectAtIndex(str("_"), 0);
    EXPECT_EQ("_,a,b,c,d", joined(array));
}

TEST(CUMutableArray, RemoveObjectAtIndexIgnoresOutOfRange) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "b"});
    array->RemoveObjectAtIndex(2);
    EXPECT_EQ("a,b", joined(array));
    array->RemoveObjectAtIndex(0);
    EXPECT_EQ("b", joined(array));
}

TEST(CUMutableArray, RemoveObjectTakesOnlyTheFirstIdenticalElement) {
    CUSharedPtr<CUObject> shared = str("s");
    CUSharedPtr<CUMutableArray> array = arrayOf({"a"});
    array->AddObject(shared);
    array->AddObject(str("b"));
    array->AddObject(shared);
    // An equal text in another object is not the same object.
    array->RemoveObject(str("s"));
    EXPECT_EQ(4u, array->Count());
    array->RemoveObject(shared);
    EXPECT_EQ("a,b,s", joined(array));
    EXPECT_EQ(shared.get(), array->ObjectAtIndex(2).get());
}

TEST(CUMutableArray, RemoveObjectOfNullNeverRemovesNullElements) {
    CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a", nullptr});
    array->RemoveObject(CUSharedPtr<CUObject>());
    EXPECT_EQ("null,a,null", joined(array));
}

TEST(CUMutableArray, AddObjectsFromArrayAppendsInOrder) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a"});
    array->AddObjectsFromArray(arrayOf({"b", nullptr, "c"}));
    EXPECT_EQ("a,b,null,c", joined(array));
    array->AddObjectsFromArray(CUSharedPtr<CUArray>());
    array->AddObjectsFromArray(arrayOf({}));
    EXPECT_EQ("a,b,null,c", joined(array));
}

TEST(CUMutableArray, AddObjectsFromArrayOfItselfDoublesIt) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "b", "c"});
    array->AddObjectsFromArray(array);
    EXPECT_EQ("a,b,c,a,b,c", joined(array));
    EXPECT_EQ(array->ObjectAtIndex(0).get(), array->ObjectAtIndex(3).get());

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

TEST(CUMutableArray, SetArrayReplacesTheElements) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "b"});
    array->SetArray(arrayOf({"x"}));
    EXPECT_EQ("x", joined(array));
    array->SetArray(CUSharedPtr<CUArray>());
    EXPECT_EQ(0u, array->Count());
}

TEST(CUMutableArray, SetArrayOfItselfEmptiesIt) {
    CUSharedPtr<CUMutableArray> array = arrayOf({"a", "b"});
    CUSharedPtr<CUObject> first = array->ObjectAtIndex(0);
    array->SetArray(array);
    EXPECT_EQ(0u, array->Count());
    EXPECT_EQ(1, first->GetRetainCount());
}

TEST(CUMutableArray, RemoveAllObjectsReleasesEveryElement) {
    CUSharedPtr<CUObject> object(new CUObject);
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    array->AddObject(object);
    array->AddObject(object);
    array->RemoveAllObjects();
    EXPECT_EQ(0u, array->Count());
    EXPECT_EQ(1, object->GetRetainCount());
}
