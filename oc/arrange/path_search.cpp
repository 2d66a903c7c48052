#include "oc/arrange/path_search.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numbers>

#include "oc/arrange/line_evaluation.h"
#include "platform/clevel/assert.h"
#include "platform/core/attention.h"
#include "platform/core/priority_queue.h"
#include "platform/core/xform_base.h"

namespace {

constexpr double kMaxNeighbourTurn = 30.0 * std::numbers::pi / 180.0;
constexpr long kMaxLag = 5;  // positions a path may lag behind the longest before it is dropped

// For each pair of neighbouring positions (i, i + 1): may candidate a of i and candidate b of
// i + 1 stand on one line? Empty for a pair when either position has no candidate.
class CompatibilityTable {
public:
    CompatibilityTable(const std::vector<xc_CharData>& charData,
                       const std::vector<std::vector<xc_Pose>>& candPoses) {
        const std::size_t n = candPoses.size();
        m_pairs.resize(n > 0 ? n - 1 : 0);
        m_widths.resize(m_pairs.size(), 0);
        for (std::size_t i = 0; i + 1 < n; ++i) {
            const std::vector<xc_Pose>& as = candPoses[i];
            const std::vector<xc_Pose>& bs = candPoses[i + 1];
            if (as.empty() || bs.empty()) continue;
            const xc_CharData& ci = charData[i];
            const xc_CharData& cj = charData[i + 1];
            const double D = std::max({ci.cellDiagonal1().len(), ci.cellDiagonal2().len(),
                                       cj.cellDiagonal1().len(), cj.cellDiagonal2().len()});
            const bool bothPlain = ci.symmetry == xc_OCExtractDefs::eNotSymmetric &&
                                   cj.symmetry == xc_OCExtractDefs::eNotSymmetric;
            const bool anyRound = ci.symmetry == xc_OCExtractDefs::eSymmetricAllAngles ||
                                  cj.symmetry == xc_OCExtractDefs::eSymmetricAllAngles;
            m_widths[i] = bs.size();
            std::vector<char>& table = m_pairs[i];
            table.assign(as.size() * bs.size(), 0);
            for (std::size_t a = 0; a < as.size(); ++a) {
                const xcXform<2> A = as[a].xform();
                xcXform<2> Ainv;
                try {
                    Ainv = A.inverse();
                } catch (const xcException&) {
                    continue;  // a candidate of scale 0 has no neighbours on its line
                }
                for (std::size_t b = 0; b < bs.size(); ++b) {
                    const xcXform<2> rel = Ainv * bs[b].xform();
                    if (rel.trans().len() > 2.0 * D) continue;
                    const double delta = (bs[b].angle - as[a].angle).toDouble();
                    double dev = 0.0;
                    if (bothPlain)
                        dev = std::fabs(xcRadian(delta).signedNorm().toDouble());
                    else if (!anyRound)
                        dev = 0.5 * std::fabs(xcRadian(2.0 * delta).signedNorm().toDouble());
                    table[a * bs.size() + b] = dev <= kMaxNeighbourTurn ? 1 : 0;
                }
            }
        }
    }

    // Candidate a of position i and candidate b of position i + 1.
    bool compatible(long i, long a, long b) const {
        const std::vector<char>& t = m_pairs[static_cast<std::size_t>(i)];
        if (t.empty()) return false;
        return t[static_cast<std::size_t>(a) * m_widths[static_cast<std::size_t>(i)] +
                 static_cast<std::size_t>(b)] != 0;
    }

private:
    std::vector<std::vector<char>> m_pairs;
    std::vector<std::size_t> m_widths;
};

// Partial paths as a prefix tree: each node is its parent's path plus one position. Node 0 is
// the empty path. Stored in fixed blocks, so growing never moves or copies the nodes.
class PathTree {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

    PathTree() { add(kNone, 0, false); }

    std::uint32_t add(std::uint32_t parent, long choice, bool newLine) {
        if (m_size == std::uint64_t{kNone}) xstd_assert_(__LINE__, "too many path nodes");
        if (m_size % kBlock == 0) m_blocks.push_back(std::make_unique<Node[]>(kBlock));
        Node& nd = at(static_cast<std::uint32_t>(m_size));
        nd.parent = parent;
        nd.code = static_cast<std::uint32_t>((choice + 1) * 2 + (newLine ? 1 : 0));
        return static_cast<std::uint32_t>(m_size++);
    }

    // The path of node `id` (of `length` positions) into `path`.
    void path(std::uint32_t id, std::uint32_t length, xc_ArrangePath& out,
              std::vector<std::uint32_t>& scratch) const {
        scratch.resize(length);
        for (std::uint32_t k = length; k > 0; --k) {
            scratch[k - 1] = id;
            id = at(id).parent;
        }
        out.clear();
        for (std::uint32_t k = 0; k < length; ++k) {
            const std::uint32_t code = at(scratch[k]).code;
            out.append(static_cast<long>(code / 2) - 1, (code & 1) != 0);
        }
    }

    std::size_t bytes() const { return m_blocks.size() * kBlock * sizeof(Node); }

private:
    struct Node {
        std::uint32_t parent;
        std::uint32_t code;  // (choice + 1) * 2 + newLine
    };
    static constexpr std::size_t kBlock = 1u << 16;

    Node& at(std::uint32_t id) { return m_blocks[id / kBlock][id % kBlock]; }
    const Node& at(std::uint32_t id) const { return m_blocks[id / kBlock][id % kBlock]; }

    std::vector<std::unique_ptr<Node[]>> m_blocks;
    std::uint64_t m_size = 0;
};

// An entry of the open list: a path of the tree, its length and its total cost.
struct OpenPath {
    double cost;
    std::uint32_t node;
    std::uint32_t length;
};
struct CheaperPath {
    bool operator()(const OpenPath& a, const OpenPath& b) const { return a.cost < b.cost; }
};

}  // namespace

bool xf_IsClientFrameFlipped(const xcPelBuffer_const<unsigned char>& image) {
    const xcVector<2> centre = image.offset().toVector() + image.size().toVector() * 0.5;
    return image.clientFromImageXformBase().linearAt(centre).xform().determinant() < 0;
}

bool xf_EvaluateArrangePath(const xc_ArrangePath& path, const xcOCAlphabet& /*alphabet*/,
                            const std::vector<long>& keys, const std::vector<xc_CharData>& charData,
                            const std::vector<std::vector<xc_Pose>>& candPoses,
                            const std::vector<std::vector<double>>& candScores,
                            const xcOCArrangeParams& params, bool flipped, bool final,
                            xc_ArrangeCost& cost) {
    cost.reset();
    const long m = path.size();
    const long n = static_cast<long>(keys.size());
    const long K = path.numLines();

    // Line shapes: a line of two or more positions begins matched and ends matched, except the
    // growing end of an incomplete path.
    long lone = 0;
    for (long l = 0; l < K; ++l) {
        const long s = path.lineStart(l), e = path.lineEnd(l);
        if (e - s >= 2) {
            if (path.choice(s) < 0) return false;
            if ((e < m || e == n) && path.choice(e - 1) < 0) return false;
        } else if (e - s == 1 && path.choice(s) < 0) {
            ++lone;
        }
    }

    long unmatched = 0, charged = 0;
    for (long i = 0; i < m; ++i) {
        const long c = path.choice(i);
        const std::size_t ui = static_cast<std::size_t>(i);
        if (c >= 0) {
            cost.cost[0] += 1.0 - candScores[ui][static_cast<std::size_t>(c)];
        } else if (!charData[ui].isBlank) {
            ++unmatched;
            if (charData[ui].hasCandidates) ++charged;
        }
    }
    if (unmatched > params.maxUnmatchedChars() && !final) return false;
    cost.cost[1] = static_cast<double>(charged) * params.unmatchedCharCost();

    // One found instance serves one position.
    if (m > 0 && path.choice(m - 1) >= 0) {
        const long last = m - 1;
        for (long i = 0; i < last; ++i)
            if (keys[static_cast<std::size_t>(i)] == keys[static_cast<std::size_t>(last)] &&
                path.choice(i) == path.choice(last))
                return false;
    }

    const long effective = K - lone;
    if (effective > params.maxLines()) return false;
    cost.cost[2] =
        effective > 1 ? static_cast<double>(effective - 1) * params.lineBreakCost() : 0.0;

    return xf_EvaluateArrangeLines(path, keys, charData, candPoses, candScores, params, flipped,
                                   final, cost);
}

bool xf_SearchArrangePath(const xcPelBuffer_const<unsigned char>& image,
                          const xcOCAlphabet& alphabet, const std::vector<long>& keys,
                          const std::vector<xc_CharData>& charData,
                          const std::vector<std::vector<xc_Pose>>& candPoses,
                          const std::vector<std::vector<double>>& candScores,
                          const xcOCArrangeParams& params, xc_ArrangePath& best,
                          xc_PathSearchStats* stats) {
    const long n = static_cast<long>(keys.size());
    if (static_cast<long>(candPoses.size()) != n || static_cast<long>(candScores.size()) != n ||
        static_cast<long>(charData.size()) != n)
        xstd_assert_(__LINE__, "one candidate list and one record per target position");
    const bool flipped = xf_IsClientFrameFlipped(image);
    const CompatibilityTable compatible(charData, candPoses);

    xc_PathSearchStats local;
    xc_PathSearchStats& st = stats ? *stats : local;
    st = xc_PathSearchStats();

    PathTree tree;
    xcPriorityQueue<OpenPath, CheaperPath> open;
    open.push(OpenPath{0.0, 0, 0});
    std::uint32_t bestNode = 0;
    long bestLength = 0;
    double bestCost = 0.0;
    const std::size_t maxOpen = static_cast<std::size_t>(params.maxCandidates());

    xc_ArrangePath t;
    t.reserve(static_cast<std::size_t>(n));
    std::vector<std::uint32_t> scratch;
    xc_ArrangeCost cost;
    long count = 0;
    auto noteMemory = [&] {
        st.maxOpen = std::max(st.maxOpen, open.size());
        st.peakBytes = std::max(st.peakBytes, open.capacityBytes() + tree.bytes());
    };

    while (!open.empty() && open.size() < maxOpen) {
        const OpenPath front = open.top();
        if (static_cast<long>(front.length) == n) break;
        ++count;
        if ((count & 8) == 0) xcAttention::check();
        open.pop();
        ++st.iterations;
        const long L = static_cast<long>(front.length);
        if (L < bestLength - kMaxLag) continue;
        tree.path(front.node, front.length, t, scratch);

        const xc_CharData& cd = charData[static_cast<std::size_t>(L)];
        const long numChoices = std::min<long>(
            cd.numCandidates, static_cast<long>(candPoses[static_cast<std::size_t>(L)].size()));
        const long last = L > 0 ? t.lastChoice() : -1;
        for (long j = cd.canBeUnmatched ? -1 : 0; j < numChoices; ++j) {
            for (int newLine = 0; newLine < 2; ++newLine) {
                if (!newLine) {
                    if (L == 0) continue;
                    if (last >= 0 && j >= 0 && !compatible.compatible(L - 1, last, j)) continue;
                }
                t.append(j, newLine != 0);
                ++st.evaluations;
                if (xf_EvaluateArrangePath(t, alphabet, keys, charData, candPoses, candScores,
                                           params, flipped, false, cost)) {
                    const double c = cost.total();
                    const std::uint32_t node = tree.add(front.node, j, newLine != 0);
                    open.push(OpenPath{c, node, front.length + 1});
                    ++st.pushes;
                    if (L + 1 > bestLength || (L + 1 == bestLength && c < bestCost)) {
                        bestNode = node;
                        bestLength = L + 1;
                        bestCost = c;
                    }
                }
                t.removeLast();
            }
        }
        noteMemory();
    }
    noteMemory();

    tree.path(bestNode, static_cast<std::uint32_t>(bestLength), best, scratch);
    const bool complete = best.size() == n;
    if (!complete) {
        // A trailing unmatched stretch of the last line becomes lone positions, and so does
        // every position the search did not reach.
        if (best.numLines() > 0) {
            const long l = best.numLines() - 1;
            const long s = best.lineStart(l);
            if (best.size() - s > 1) {
                if (best.choice(s) < 0) xstd_assert_(__LINE__, "a line starts unmatched");
                while (best.lastChoice() < 0) best.removeLast();
            }
        }
        while (best.size() < n) best.append(-1, true);
    }
    return complete;
}
