// CUIdentifierGenerator: increasing identifiers and the shared instance (contention: the stress
// test).
#include <VarnUtilityLib/CUIdentifierGenerator.h>

#include <gtest/gtest.h>

TEST(CUIdentifierGenerator, CountsFromOneAndTheSharedInstanceIsOnePerProcess) {
    CUSharedPtr<CUIdentifierGenerator> generator(new CUIdentifierGenerator);
    EXPECT_EQ(1ull, generator->GenerateIdentifier());
    EXPECT_EQ(2ull, generator->GenerateIdentifier());
    CUSharedPtr<CUIdentifierGenerator> first = CUIdentifierGenerator::SharedInstance();
    CUSharedPtr<CUIdentifierGenerator> second = CUIdentifierGenerator::SharedInstance();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_GE(first->GetRetainCount(), 3) << "the process keeps its own owner";
    unsigned long long a = first->GenerateIdentifier();
    EXPECT_GE(a, 1ull);
    EXPECT_EQ(a + 1, second->GenerateIdentifier());
}
