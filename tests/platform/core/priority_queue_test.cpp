#include "platform/core/priority_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

struct Item {
    double cost;
    int label;
};
struct ByCost {
    bool operator()(const Item& a, const Item& b) const { return a.cost < b.cost; }
};

}  // namespace

TEST(PriorityQueue, PopsInCostOrderLikeASort) {
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> d(0, 40);
    xcPriorityQueue<int> q;
    std::vector<int> all;
    for (int round = 0; round < 500; ++round) {
        // Interleave pushes and pops; the top is always the least of what is held.
        const int v = d(rng);
        q.push(v);
        all.push_back(v);
        if (round % 3 == 2) {
            auto it = std::min_element(all.begin(), all.end());
            ASSERT_EQ(q.top(), *it);
            all.erase(it);
            q.pop();
        }
    }
    std::sort(all.begin(), all.end());
    for (int v : all) {
        ASSERT_EQ(q.top(), v);
        q.pop();
    }
    EXPECT_TRUE(q.empty());
}

TEST(PriorityQueue, EqualCostsRiseOnlyPastStrictlyGreater) {
    // Seven equal costs pushed in order stay where they were placed; each pop moves the last
    // element to the top, where it stays (no child is strictly less). So the first pushed
    // comes first, then the others from the last pushed back.
    xcPriorityQueue<Item, ByCost> q;
    for (int i = 0; i < 7; ++i) q.push(Item{1.0, i});
    for (int i = 0; i < 7; ++i) EXPECT_EQ(q.items()[static_cast<std::size_t>(i)].label, i);
    std::vector<int> order;
    while (!q.empty()) {
        order.push_back(q.top().label);
        q.pop();
    }
    EXPECT_EQ(order, std::vector<int>({0, 6, 5, 4, 3, 2, 1}));

    // A newcomer equal to the top does not take its place; a strictly cheaper one does.
    q.push(Item{2.0, 10});
    q.push(Item{2.0, 11});
    EXPECT_EQ(q.top().label, 10);
    q.push(Item{1.5, 12});
    EXPECT_EQ(q.top().label, 12);
    q.pop();
    EXPECT_EQ(q.top().label, 10);
    // On sinking, the right child is taken only when strictly less than the left.
    xcPriorityQueue<Item, ByCost> r;
    r.push(Item{0.0, 0});
    r.push(Item{1.0, 1});
    r.push(Item{1.0, 2});
    r.push(Item{3.0, 3});
    r.pop();  // 3 sinks past the left 1
    EXPECT_EQ(r.items()[0].label, 1);
    EXPECT_EQ(r.items()[1].label, 3);
    EXPECT_EQ(r.items()[2].label, 2);
}
