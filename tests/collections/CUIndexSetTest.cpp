// CUIndexSet: sets of non-negative indexes and the noIndex answer.
#include <VarnUtilityLib/CUIndexSet.h>
#include <VarnUtilityLib/CUMutableIndexSet.h>

#include <gtest/gtest.h>

#include <climits>

TEST(CUMutableIndexSet, KeepsDistinctNonNegativeIndexesInOrderAndAnswersNoIndexWhenEmpty) {
    CUSharedPtr<CUIndexSet> empty = CUIndexSet::Create();
    EXPECT_EQ(0, empty->Init());
    EXPECT_EQ(-1, CUIndexSet::noIndex);
    EXPECT_EQ(CUIndexSet::noIndex, empty->FirstIndex());
    EXPECT_EQ(CUIndexSet::noIndex, empty->LastIndex());
    EXPECT_FALSE(empty->ContainsIndex(0));
    CUSharedPtr<CUMutableIndexSet> set = CUMutableIndexSet::Create();
    set->AddIndex(-1);
    set->AddIndex(INT_MIN);
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
    for (int i : {5, 0, 5, 4, INT_MAX}) {
        set->AddIndex(i);
    }
    EXPECT_EQ(0, set->FirstIndex());
    EXPECT_EQ(INT_MAX, set->LastIndex());
    EXPECT_TRUE(set->ContainsIndex(0) && set->ContainsIndex(5));
    EXPECT_FALSE(set->ContainsIndex(3));
    set->RemoveIndex(0);
    set->RemoveIndex(5);
    EXPECT_FALSE(set->ContainsIndex(5)); // 5 was held once: one removal takes it
    EXPECT_EQ(4, set->FirstIndex());
    set->RemoveAllIndexes();
    EXPECT_EQ(CUIndexSet::noIndex, set->LastIndex());
}
