// CUIndexSet: sets of non-negative indexes and the noIndex answer.
#include <VarnUtilityLib/CUIndexSet.h>
#include <VarnUtilityLib/CUMutableIndexSet.h>

#include <gtest/gtest.h>

#include <climits>

TEST(CUMutableIndexSet, KeepsDistinctNonNegativeIndexesInOrderAndAnswersNoIndexWhenEmpty) {
    EXPECT_EQ(-1, CUIndexSet::noIndex);
    CUSharedPtr<CUIndexSet> empty = CUIndexSet::Create();
    EXPECT_EQ(1, empty->GetRetainCount());
    EXPECT_EQ(0, empty->Init());
    EXPECT_FALSE(empty->ContainsIndex(0) || empty->ContainsIndex(-1));
    CUSharedPtr<CUMutableIndexSet> set = CUMutableIndexSet::Create();
    EXPECT_EQ(CUIndexSet::noIndex, empty->FirstIndex());
    EXPECT_EQ(CUIndexSet::noIndex, empty->LastIndex());
    set->AddIndex(-1);
    set->AddIndex(INT_MIN);
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    EXPECT_FALSE(set->ContainsIndex(-1));
    for (int i : {5, 2, 5, 4}) {
        set->AddIndex(i);
    }
    set->RemoveIndex(-1);
    set->RemoveIndex(3);
    EXPECT_EQ(2, set->FirstIndex());
    EXPECT_EQ(5, set->LastIndex());
    set->RemoveIndex(5);
    EXPECT_EQ(4, set->LastIndex()); // 5 was held once: one removal takes it
    set->AddIndex(INT_MAX);
    EXPECT_TRUE(set->ContainsIndex(INT_MAX) && set->ContainsIndex(2));
    EXPECT_FALSE(set->ContainsIndex(3));
    set->RemoveAllIndexes();
    EXPECT_EQ(CUIndexSet::noIndex, set->FirstIndex());
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    EXPECT_FALSE(set->ContainsIndex(2));
}
