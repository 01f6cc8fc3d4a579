// Every public operation of the collections, through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

class Reverse : public CUSortDescriptor {
  public:
    int CompareObject(CUSharedPtr<CUObject>, CUSharedPtr<CUObject>) override { return -1; }
};

} // namespace

TEST(ApiSurface, CollectionsAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUArray>);
    static_assert(std::is_base_of_v<CUArray, CUMutableArray>);
    static_assert(std::is_base_of_v<CUObject, CUSortDescriptor>);
    static_assert(std::is_base_of_v<std::vector<short>, CUVector<short>>);

    CUSharedPtr<CUMutableArray> m(new CUMutableArray());
    CUSharedPtr<CUObject> o(new CUObject);
    m->AddObject(o);
    m->AddObjectsFromArray(m);
    m->InsertObjectAtIndex(o, 0);
    m->RemoveObjectAtIndex(0);
    m->RemoveObject(o);
    EXPECT_TRUE(m->Count() == 1 && m->GetInternalArray().size() == 1 && m->LastObject());
    CUSharedPtr<CUArray> a(new CUArray(m));
    EXPECT_TRUE(a->ObjectAtIndex(0) && a->RemoveAtIndex(0) && m->Description());
    CUSharedPtr<CUMutableArray> copy(new CUMutableArray(m));
    copy->SetArray(m);
    copy->RemoveAllObjects();
    CUSharedPtr<CUSortDescriptor> d(new CUSortDescriptor(false));
    d->SetAscending(true);
    CUSortDescriptor c(*d);
    EXPECT_TRUE(d->Ascending() && c.CompareObject(o, o) == 0 && !c(o, o));
    m->SortUsingDescriptor(d);
    EXPECT_TRUE(m->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new Reverse)));

    CUSharedPtr<CUMutableDictionary> dict(new CUMutableDictionary());
    CUSharedPtr<CUStringMac> k(new CUStringMac("k", CUString_CharCode_UTF8));
    dict->SetObjectForKey(k, k);
    EXPECT_TRUE(dict->Count() == 1 && dict->ObjectForKey(k) && dict->AllKeys() &&
                dict->Description());
    CUSharedPtr<CUMutableDictionary> dcopy(
        new CUMutableDictionary(CUSharedPtr<CUDictionary>(new CUDictionary(dict))));
    dcopy->RemoveObjectForKey(k);
    dcopy->RemoveAllObjects();

    EXPECT_EQ(-1, CUIndexSet::noIndex);
    EXPECT_EQ(0, CUIndexSet::Create()->Init());
    CUSharedPtr<CUMutableIndexSet> ms = CUMutableIndexSet::Create();
    ms->AddIndex(3);
    ms->RemoveIndex(3);
    ms->AddIndex(4);
    EXPECT_TRUE(ms->ContainsIndex(4) && ms->FirstIndex() == 4 && ms->LastIndex() == 4);
    ms->RemoveAllIndexes();

    EXPECT_TRUE(CreateCUVectorSInt8() && CreateCUVectorUInt8() && CreateCUVectorSInt16() &&
                CreateCUVectorUInt16() && CreateCUVectorSInt32() && CreateCUVectorUInt32() &&
                CreateCUVectorSInt64() && CreateCUVectorUInt64()->Description());
}
