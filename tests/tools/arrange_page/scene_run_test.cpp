// The records of a run for each flag combination (titles and nesting levels), and that
// recording them changes nothing in the results.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/arrange_page/scene_run.h"

namespace {

struct Rec {
    std::wstring title;
    long level;
    bool operator==(const Rec&) const = default;
};

std::vector<Rec> records(const xcDiagObject& d) {
    std::vector<Rec> r;
    for (long i = 0; i < d.numRecords(); ++i)
        r.push_back({d.diagRecord(i)->annotation(), d.diagRecord(i)->level()});
    return r;
}

// The input record and its nested records: the alphabet's characters sit below "Alphabet
// details".
void expectInput(const std::vector<Rec>& r, std::size_t& at, long numChars) {
    ASSERT_GE(r.size(), at + 2 + static_cast<std::size_t>(numChars));
    EXPECT_EQ(r[at], (Rec{L"OC Arranger: Input", 0}));
    EXPECT_EQ(r[at + 1], (Rec{L"Alphabet details", 1}));
    at += 2;
    while (at < r.size() && r[at].level >= 2) ++at;
}

}  // namespace

TEST(SceneRun, RecordTreeForEachFlagCombination) {
    xcSceneRunOptions options;
    const xcSceneRun plain = xfSceneRun(options, nullptr, 0x70000);
    const long numChars = plain.alphabet->numChars();
    // The output record has one nested record per line; the extraction's own records (its
    // result details and one record per instance, a level below "Search for characters") come
    // only when the output records are asked for too.
    std::vector<Rec> output{{L"OC Arranger: Output", 0}};
    for (long l = 0; l < plain.results.arrangement()->numLines(); ++l)
        output.push_back({L"Details for line #" + std::to_wstring(l), 1});
    for (unsigned long flags : {0x0UL, 0x10000UL, 0x20000UL, 0x40000UL, 0x70000UL, 0xFFFFFFFFUL}) {
        SCOPED_TRACE(flags);
        xcDiagObject d;
        const xcSceneRun run = xfSceneRun(options, &d, flags);
        EXPECT_TRUE(run.results == plain.results);
        EXPECT_EQ(d.level(), 0);
        const std::vector<Rec> r = records(d);
        std::size_t at = 0;
        if (flags & 0x10000) expectInput(r, at, numChars);
        if (flags & 0x40000) {
            ASSERT_GE(r.size(), at + 3);
            EXPECT_EQ(r[at], (Rec{L"OC Arranger: Intermediate", 0}));
            EXPECT_EQ(r[at + 1], (Rec{L"Search for characters", 1}));
            at += 2;
            if (flags & 0x20000) {
                EXPECT_EQ(r[at], (Rec{L"Result details", 2}));
                while (at < r.size() && r[at].level == 2) ++at;
            }
            ASSERT_LT(at, r.size());
            EXPECT_EQ(r[at++], (Rec{L"Build arrangement", 1}));
        }
        if (flags & 0x20000) {
            ASSERT_GE(r.size(), at + output.size());
            EXPECT_EQ(std::vector<Rec>(r.begin() + at, r.begin() + at + output.size()), output);
            at += output.size();
        }
        EXPECT_EQ(at, r.size());
    }
}
