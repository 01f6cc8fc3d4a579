// Every public operation of the collections and the path arithmetic, through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

class Reverse : public CUSortDescriptor {
  public:
    int CompareObject(CUSharedPtr<CUObject>, CUSharedPtr<CUObject>) override { return -1; }
};

} // namespace

TEST(ApiSurface, ArraysAndSortDescriptorsAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUArray>);
    static_assert(std::is_base_of_v<CUArray, CUMutableArray>);
    static_assert(std::is_base_of_v<CUObject, CUSortDescriptor>);

    CUSharedPtr<CUMutableArray> m(new CUMutableArray());
    CUSharedPtr<CUObject> o(new CUObject);
    m->AddObject(o);
    m->AddObjectsFromArray(m);
    m->InsertObjectAtIndex(o, 0);
    m->RemoveObjectAtIndex(0);
    m->RemoveObject(o);
    EXPECT_EQ(1u, m->Count());
    EXPECT_TRUE(m->ObjectAtIndex(0));
    EXPECT_TRUE(m->LastObject());
    EXPECT_EQ(1u, m->GetInternalArray().size());
    CUSharedPtr<CUArray> a(new CUArray(m));
    EXPECT_TRUE(a->RemoveAtIndex(0));
    CUSharedPtr<CUMutableArray> copy(new CUMutableArray(m));
    copy->SetArray(m);
    copy->RemoveAllObjects();
    EXPECT_TRUE(m->Description());

    CUSharedPtr<CUSortDescriptor> d(new CUSortDescriptor(false));
    d->SetAscending(true);
    EXPECT_TRUE(d->Ascending());
    CUSortDescriptor c(*d);
    EXPECT_EQ(0, c.CompareObject(o, o));
    EXPECT_FALSE(c(o, o));
    m->SortUsingDescriptor(d);
    EXPECT_TRUE(m->SortedArrayUsingDescriptor(CUSharedPtr<CUSortDescriptor>(new Reverse)));
}

TEST(ApiSurface, DictionariesIndexSetsAndVectorsAreExported) {
    CUSharedPtr<CUMutableDictionary> d(new CUMutableDictionary());
    CUSharedPtr<CUStringMac> k(new CUStringMac("k", CUString_CharCode_UTF8));
    d->SetObjectForKey(k, k);
    EXPECT_EQ(1u, d->Count());
    EXPECT_TRUE(d->ObjectForKey(k));
    EXPECT_EQ(1u, d->AllKeys()->Count());
    EXPECT_TRUE(d->Description());
    CUSharedPtr<CUDictionary> copy(new CUDictionary(d));
    CUSharedPtr<CUMutableDictionary> mcopy(new CUMutableDictionary(copy));
    mcopy->RemoveObjectForKey(k);
    mcopy->RemoveAllObjects();

    EXPECT_EQ(-1, CUIndexSet::noIndex);
    CUSharedPtr<CUIndexSet> s = CUIndexSet::Create();
    EXPECT_EQ(0, s->Init());
    CUSharedPtr<CUMutableIndexSet> ms = CUMutableIndexSet::Create();
    ms->AddIndex(3);
    ms->RemoveIndex(3);
    ms->AddIndex(4);
    EXPECT_TRUE(ms->ContainsIndex(4));
    EXPECT_EQ(4, ms->FirstIndex());
    EXPECT_EQ(4, ms->LastIndex());
    ms->RemoveAllIndexes();

    static_assert(std::is_base_of_v<std::vector<short>, CUVector<short>>);
    CUSharedPtr<CUVector<unsigned long long>> v8 = CreateCUVectorUInt64();
    v8->push_back(1);
    EXPECT_STREQ("{ 1}", static_cast<char const*>(*v8->Description()));
    EXPECT_TRUE(CreateCUVectorSInt8()->Description() && CreateCUVectorUInt8()->Description() &&
                CreateCUVectorSInt16()->Description() && CreateCUVectorUInt16()->Description() &&
                CreateCUVectorSInt32()->Description() && CreateCUVectorUInt32()->Description() &&
                CreateCUVectorSInt64()->Description());
}

TEST(ApiSurface, StringPathOperationsAreExported) {
    CUStringMac p("/a/b.txt", CUString_CharCode_UTF8);
    CUStringMac out;
    EXPECT_EQ(0u, p.PathAppend(CUStringMac("c", CUString_CharCode_UTF8), out));
    EXPECT_EQ(0u, p.PathRemoveLastComponent(out));
    EXPECT_EQ(0u, p.RemoveLastComponent(out, "/"));
    EXPECT_EQ(0u, p.PathGetFileName(out));
    EXPECT_EQ(0u, p.PathGetFileNameNoExtension(out));
    EXPECT_EQ(0u, p.PathGetExtension(out));
    EXPECT_EQ(0u, p.PathGetLastComponent(out));
    CUSharedPtr<CUArray> parts;
    EXPECT_EQ(0u, p.PathComponents(&parts));
    EXPECT_EQ(0u, p.SplitComponents(&parts, "."));
    HFSUniStr255 record{};
    EXPECT_EQ(
        0u, CUStringMac::GetUnicodeFileName(
                CUSharedPtr<CUStringMac>(new CUStringMac("a:b", CUString_CharCode_UTF8)), &record));
    EXPECT_EQ(3, record.length);
}
