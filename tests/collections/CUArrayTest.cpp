// CUArrayTest.cpp — arrays: element access, editing, shallow copies and the text form.
#include "collections/Texts.h"

#include <VarnUtilityLib/CUMutableArray.h>

#include <gtest/gtest.h>

namespace {

CUSharedPtr<CUMutableArray> arrayOf(std::initializer_list<char const*> texts) {
    CUSharedPtr<CUMutableArray> array(new CUMutableArray());
    for (char const* t : texts) {
        array->AddObject(t ? CUSharedPtr<CUObject>(text(t)) : CUSharedPtr<CUObject>());
    }
    return array;
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
    EXPECT_EQ(0u, CUMutableArray(CUSharedPtr<CUArray>()).Count());
}

// Each edit on [null, a, c]: indexes past the end and null arguments change nothing. Adding
// the array to itself reallocates the sequence (capacity 4) while it is read.
TEST(CUMutableArray, EditsChangeWhatTheyNameAndIgnoreIndexesPastTheEndAndNulls) {
    using A = CUMutableArray&;
    struct Row {
        void (*edit)(A);
        char const* after;
    } const rows[] = {
        {[](A a) { a.InsertObjectAtIndex(text("b"), 2); }, "null,a,b,c"},
        {[](A a) { a.InsertObjectAtIndex(text("d"), a.Count()); }, "null,a,c,d"},
        {[](A a) { a.InsertObjectAtIndex(text("z"), a.Count() + 1); }, "null,a,c"},
        {[](A a) { a.InsertObjectAtIndex(text("_"), 0); }, "_,null,a,c"},
        {[](A a) { a.RemoveObjectAtIndex(3); }, "null,a,c"},
        {[](A a) { a.RemoveObjectAtIndex(0); }, "a,c"},
        {[](A a) { a.RemoveObject(text("a")); }, "null,a,c"}, // an equal text is not the object
        {[](A a) { a.RemoveObject(CUSharedPtr<CUObject>()); }, "null,a,c"}, // never a null one
        {[](A a) {
             a.AddObjectsFromArray(arrayOf({"b", nullptr}));
         },
         "null,a,c,b,null"},
        {[](A a) { a.AddObjectsFromArray(CUSharedPtr<CUArray>()); }, "null,a,c"},
        {[](A a) { a.AddObjectsFromArray(arrayOf({})); }, "null,a,c"},
        {[](A a) { a.AddObjectsFromArray(CUSharedPtr<CUArray>(&a)); }, "null,a,c,null,a,c"},
        {[](A a) { a.SetArray(arrayOf({"x"})); }, "x"},
        {[](A a) { a.SetArray(CUSharedPtr<CUArray>()); }, ""},
        {[](A a) { a.SetArray(CUSharedPtr<CUArray>(&a)); }, ""}, // of itself: emptied
        {[](A a) { a.RemoveAllObjects(); }, ""},
        {[](A a) { a.GetInternalArray().push_back(text("b")); }, "null,a,c,b"}, // the live one
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
        source->AddObject(text("c"));
        copy->RemoveObjectAtIndex(0);
        EXPECT_EQ(3u, source->Count());
        EXPECT_EQ(1u, copy->Count());
        EXPECT_EQ(object.get(), copy->ObjectAtIndex(0).get());
        source->SetArray(source);
        EXPECT_EQ(2, object->GetRetainCount());
        copy->RemoveAllObjects();
        EXPECT_EQ(1, object->GetRetainCount());
        // RemoveObject takes only the first element that is the same object.
        CUSharedPtr<CUMutableArray> array = arrayOf({nullptr, "a"});
        array->AddObject(object);
        array->AddObject(text("b"));
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
