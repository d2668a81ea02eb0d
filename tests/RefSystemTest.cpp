#include "storlib/RefSystem.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "storlib/System.h"

namespace {

class CountedSystem : public System {
public:
    explicit CountedSystem(int& deletions) : deleted(deletions) {}
    ~CountedSystem() override { ++deleted; }

private:
    int& deleted;
};

TEST(RefSystem, GivenNothingSetThenNull) {
    const RefSystem reference;
    EXPECT_EQ(nullptr, reference.get());
}

TEST(RefSystem, TheLastReferenceDeletesTheTree) {
    int deletions = 0;
    auto* tree = new CountedSystem(deletions);
    {
        RefSystem first(tree);
        EXPECT_EQ(tree, first.get());
        {
            const RefSystem second(first);
            first.Set(nullptr);
            EXPECT_EQ(0, deletions);
            EXPECT_EQ(tree, second.get());
        }
        EXPECT_EQ(1, deletions);
    }
    EXPECT_EQ(1, deletions);
}

TEST(RefSystem, GivenTheSameTreeSetAgainThenItStays) {
    int deletions = 0;
    RefSystem reference(new CountedSystem(deletions));
    reference.Set(reference.get());
    EXPECT_EQ(0, deletions);
    const RefSystem& same = reference;
    reference = same;
    EXPECT_EQ(0, deletions);
    EXPECT_NE(nullptr, reference.get());
}

TEST(RefSystem, AssigningLetsGoOfTheTreeBefore) {
    int first = 0;
    int second = 0;
    RefSystem a(new CountedSystem(first));
    RefSystem b(new CountedSystem(second));
    a = b;
    EXPECT_EQ(1, first);
    EXPECT_EQ(0, second);
    EXPECT_EQ(a.get(), b.get());
    b.Set(nullptr);
    EXPECT_EQ(0, second);
    a.Set(nullptr);
    EXPECT_EQ(1, second);
}

TEST(RefSystem, ReachesTheTree) {
    const RefSystem reference(new System(kStorLibGeneric));
    EXPECT_STREQ("System", reference->typeName());
    EXPECT_EQ(0, reference->addr.storlibType);
}

TEST(RefSystem, GivenManyThreadsThenDeletedOnce) {
    int deletions = 0;
    {
        RefSystem shared(new CountedSystem(deletions));
        std::thread threads[4];
        for (std::thread& thread : threads) {
            thread = std::thread([copy = shared] {
                for (int i = 0; i < 1000; ++i) {
                    const RefSystem local(copy);
                    if (local.get() == nullptr) std::abort();
                }
            });
        }
        shared.Set(nullptr);
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(1, deletions);
}

}  // namespace
