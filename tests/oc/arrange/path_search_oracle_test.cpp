// The search keeps its open paths as a prefix tree; a plain search that queues whole path
// copies must choose exactly the same paths.
#include <gtest/gtest.h>

#include <random>

#include "arrange_test_util.h"
#include "platform/core/attention.h"
#include "platform/core/priority_queue.h"
#include "platform/core/timeout.h"

using namespace arrange_test;

namespace {

bool compatible(const Target& t, long i, long a, long b) {
    const xc_Pose& pa = t.poses[static_cast<std::size_t>(i)][static_cast<std::size_t>(a)];
    const xc_Pose& pb = t.poses[static_cast<std::size_t>(i + 1)][static_cast<std::size_t>(b)];
    const xc_CharData& ca = t.data[static_cast<std::size_t>(i)];
    const xc_CharData& cb = t.data[static_cast<std::size_t>(i + 1)];
    const double d = (pa.xform().inverse() * pb.xform()).trans().len();
    const double D = std::max({ca.cellDiagonal1().len(), ca.cellDiagonal2().len(),
                               cb.cellDiagonal1().len(), cb.cellDiagonal2().len()});
    if (d > 2 * D) return false;
    const double delta = (pb.angle - pa.angle).toDouble();
    return std::fabs(xcRadian(delta).signedNorm().toDouble()) <= deg(30);
}

// The search written plainly: whole paths in the open list, every child evaluated through
// xf_EvaluateArrangePath.
bool plainSearch(const Target& t, const xcOCArrangeParams& p, xc_ArrangePath& best) {
    struct Open {
        double cost;
        xc_ArrangePath path;
    };
    struct Cheaper {
        bool operator()(const Open& a, const Open& b) const { return a.cost < b.cost; }
    };
    const long n = static_cast<long>(t.size());
    xcPriorityQueue<Open, Cheaper> open;
    open.push(Open{0.0, xc_ArrangePath()});
    best = xc_ArrangePath();
    double bestCost = 0.0;
    xc_ArrangeCost cost;
    while (!open.empty() && static_cast<long>(open.size()) < p.maxCandidates()) {
        if (open.top().path.size() == n) break;
        xc_ArrangePath path = open.top().path;
        open.pop();
        const long L = path.size();
        if (L < best.size() - 5) continue;
        const xc_CharData& cd = t.data[static_cast<std::size_t>(L)];
        for (long j = cd.canBeUnmatched ? -1 : 0; j < cd.numCandidates; ++j) {
            for (bool newLine : {false, true}) {
                if (!newLine && (L == 0 || (path.lastChoice() >= 0 && j >= 0 &&
                                            !compatible(t, L - 1, path.lastChoice(), j))))
                    continue;
                path.append(j, newLine);
                if (evaluate(t, path, p, cost)) {
                    open.push(Open{cost.total(), path});
                    if (L + 1 > best.size() || (L + 1 == best.size() && cost.total() < bestCost)) {
                        best = path;
                        bestCost = cost.total();
                    }
                }
                path.removeLast();
            }
        }
    }
    return best.size() == n;
}

Target randomTarget(std::mt19937& rng) {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Target t;
    const int n = 5 + static_cast<int>(u(rng) * 3);
    const bool arc = u(rng) < 0.5;
    for (int i = 0; i < n; ++i) {
        std::vector<xc_Pose> ps;
        std::vector<double> ss;
        const int k = static_cast<int>(u(rng) * 4);  // 0 ... 3 instances
        for (int c = 0; c < k; ++c) {
            double x = 12.0 * i + (u(rng) - 0.5) * (c == 0 ? 2 : 20);
            double y = (u(rng) - 0.5) * (c == 0 ? 2 : 20) + (arc ? 0.02 * (x - 36) * (x - 36) : 0);
            if (u(rng) < 0.15) y += 60;  // another line
            ps.push_back(pose(x, y, (u(rng) - 0.5) * (c == 0 ? 0.1 : 1.5), 0.9 + 0.2 * u(rng)));
            ss.push_back(0.5 + 0.5 * u(rng));
        }
        t.add(i % 3, cell(10, 20), ps, ss);
        t.data.back().canBeUnmatched = k == 0 || u(rng) < 0.5;
        t.data.back().isBlank = k == 0 && u(rng) < 0.5;
    }
    // Positions of one key share their instances.
    for (std::size_t i = 3; i < t.size(); ++i) {
        t.poses[i] = t.poses[i % 3];
        t.scores[i] = t.scores[i % 3];
        t.data[i].numCandidates = t.data[i % 3].numCandidates;
        t.data[i].hasCandidates = t.data[i % 3].hasCandidates;
        t.data[i].isBlank = t.data[i % 3].isBlank;
        t.data[i].canBeUnmatched = t.data[i % 3].canBeUnmatched;
    }
    return t;
}

}  // namespace

TEST(ArrangePathSearch, PrefixTreeChoosesWhatPlainCopiesChoose) {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    int complete = 0, truncated = 0;
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const Target t = randomTarget(rng);
        xcOCArrangeParams p;
        p.lineType(static_cast<xcOCArrangeDefs::LineType>(trial % 3));
        if (u(rng) < 0.3) p.maxLines(1 + static_cast<long>(u(rng) * 2));
        if (u(rng) < 0.3) p.maxUnmatchedChars(static_cast<long>(u(rng) * 2));
        if (u(rng) < 0.3) p.maxCandidates(5 + static_cast<long>(u(rng) * 40));
        xc_ArrangePath plain, tree;
        const bool plainDone = plainSearch(t, p, plain);
        const bool treeDone = search(t, p, tree);
        EXPECT_EQ(treeDone, plainDone);
        // The search completes a partial best path; compare the part the plain one found.
        ASSERT_GE(tree.size(), plain.size());
        xc_ArrangePath prefix = tree;
        while (prefix.size() > plain.size()) prefix.removeLast();
        if (plainDone)
            EXPECT_EQ(tree, plain);
        else
            EXPECT_EQ(prefix.choices(), std::vector<long>(plain.choices().begin(),
                                                          plain.choices().begin() + prefix.size()));
        (plainDone ? complete : truncated)++;
    }
    // Both outcomes occur.
    EXPECT_GT(complete, 10);
    EXPECT_GT(truncated, 5);
}

TEST(ArrangePathSearch, TimeOutPassesOut) {
    Target t;
    for (int i = 0; i < 4; ++i) t.add(i, cell(10, 20), {pose(12.0 * i, 0)}, {0.9});
    xcAttentionTag tag;
    tag.attachTimeout(0.0);
    xc_ArrangePath best;
    EXPECT_THROW(search(t, xcOCArrangeParams(), best), xcTimeout::Expired);
}
