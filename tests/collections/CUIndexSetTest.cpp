// CUIndexSetTest.cpp — sets of non-negative indexes and the noIndex answer.
#include <VarnUtilityLib/CUIndexSet.h>
#include <VarnUtilityLib/CUMutableIndexSet.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>

TEST(CUIndexSet, NoIndexIsMinusOne) {
    EXPECT_EQ(-1, CUIndexSet::noIndex);
}

TEST(CUIndexSet, NewSetIsEmpty) {
    CUSharedPtr<CUIndexSet> set = CUIndexSet::Create();
    ASSERT_TRUE(set);
    EXPECT_EQ(1, set->GetRetainCount());
    EXPECT_EQ(0, set->Init());
    EXPECT_EQ(CUIndexSet::noIndex, set->FirstIndex());
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    EXPECT_FALSE(set->ContainsIndex(0));
    EXPECT_FALSE(set->ContainsIndex(-1));
}

TEST(CUMutableIndexSet, NegativeIndexesAreNeverMembers) {
    CUSharedPtr<CUMutableIndexSet> set = CUMutableIndexSet::Create();
    ASSERT_TRUE(set);
    set->AddIndex(-1);
    set->AddIndex(INT_MIN);
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    EXPECT_EQ(CUIndexSet::noIndex, set->FirstIndex());
    EXPECT_FALSE(set->ContainsIndex(-1));
    set->AddIndex(0);
    set->RemoveIndex(-1);
    EXPECT_TRUE(set->ContainsIndex(0));
    EXPECT_EQ(0, set->FirstIndex());
}

TEST(CUMutableIndexSet, KeepsDistinctIndexesInOrder) {
    CUSharedPtr<CUMutableIndexSet> set(new CUMutableIndexSet());
    set->AddIndex(5);
    set->AddIndex(2);
    set->AddIndex(5);
    EXPECT_EQ(2, set->FirstIndex());
    EXPECT_EQ(5, set->LastIndex());
    set->RemoveIndex(5);
    EXPECT_EQ(2, set->LastIndex()); // 5 was held once: one removal takes it
    set->AddIndex(INT_MAX);
    EXPECT_EQ(INT_MAX, set->LastIndex());
    EXPECT_TRUE(set->ContainsIndex(INT_MAX));
    EXPECT_FALSE(set->ContainsIndex(3));
}

TEST(CUMutableIndexSet, RemovingANonMemberChangesNothing) {
    CUSharedPtr<CUMutableIndexSet> set(new CUMutableIndexSet());
    set->AddIndex(2);
    set->AddIndex(4);
    set->RemoveIndex(3);
    EXPECT_TRUE(set->ContainsIndex(2));
    EXPECT_TRUE(set->ContainsIndex(4));
    set->RemoveIndex(2);
    EXPECT_EQ(4, set->FirstIndex());
}

TEST(CUMutableIndexSet, RemoveAllIndexesEmptiesTheSet) {
    CUSharedPtr<CUMutableIndexSet> set(new CUMutableIndexSet());
    for (int i = 0; i < 100; i += 3) {
        set->AddIndex(i);
    }
    EXPECT_EQ(99, set->LastIndex());
    set->RemoveAllIndexes();
    EXPECT_EQ(CUIndexSet::noIndex, set->FirstIndex());
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    EXPECT_FALSE(set->ContainsIndex(0));
}

TEST(CUIndexSet, DescribesItselfInTheGenericForm) {
    CUSharedPtr<CUMutableIndexSet> set(new CUMutableIndexSet());
    std::string text = static_cast<char const*>(*set->Description());
    EXPECT_EQ(0u, text.find("17CUMutableIndexSet(0x0x"));
}
