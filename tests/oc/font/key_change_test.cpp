#include "oc/font/key_change.h"

#include <gtest/gtest.h>

#include "font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

using Keys = std::vector<long>;
using LineHandle = xcPtrHandle_const<xcOCLine>;
using Lines = xcOCLineArrangement::ConstLines;

const wchar_t* const kNoKeys = L"At least one of the keys is not found in the alphabet.";
const wchar_t* const kBadLine = L"The supplied line index is not valid.";
const wchar_t* const kBadPosition = L"The supplied position index is not valid.";
const wchar_t* const kNotInSet = L"The specified key is not in the keySet for this position.";

// Keys 1 "o", 2 "0", 3 "o" (a second "o"), 4 "l", 5 "x".
xcPtrHandle_const<xcOCAlphabet> font() {
    return xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(
        ConstModels{normalModel(1, L"o"), normalModel(2, L"0"), normalModel(3, L"o"),
                    normalModel(4, L"l"), normalModel(5, L"x")},
        0.5, false));
}

// Two lines; line 0 has three positions whose possible keys are {1, 2, 3}, {4, 1} and {2}.
xcOCLineArrangement arrangement() {
    const auto f = font();
    const std::vector<xcOCKeySet> first{xcOCKeySet(Keys{1, 2, 3}, 0), xcOCKeySet(Keys{4, 1}, 0),
                                        xcOCKeySet(Keys{2}, 0)};
    const LineHandle l0(new xcOCLine(first, f, xc2Rigid({11, 0}, xcRadian(0)), 1.0, 0.5,
                                     xcRadian(0.1), 0.05, L"line 0"));
    const LineHandle l1(new xcOCLine(std::vector<xcOCKeySet>{xcOCKeySet(Keys{4}, 0)}, f, xc2Rigid(),
                                     1.0, 0, xcRadian(0), 0, L"line 1"));
    return xcOCLineArrangement(Lines{l0, l1}, xc2Rigid({0, 30}, xcRadian(0)), 1.0, xcRadian(0.2),
                               L"page");
}

Keys currentOf(const xcOCLineArrangement& a, long line, long pos) {
    return a.lines()[static_cast<std::size_t>(line)]
        ->keySetSequence()[static_cast<std::size_t>(pos)]
        .currentKeys();
}

}  // namespace

TEST(OCKeyChange, ChecksComeInOrder) {
    const xcOCLineArrangement a = arrangement();
    // An empty key list fails before the indices are looked at.
    expectError<xcOCDefs::BadKey>([&] { xfOCChangeCurrentKeys(a, -1, 99, Keys{}); }, kNoKeys);
    expectError<xcOCDefs::BadParams>([&] { xfOCChangeCurrentKey(a, -1, 0, 1); }, kBadLine);
    expectError<xcOCDefs::BadParams>([&] { xfOCChangeCurrentKey(a, 2, 0); }, kBadLine);
    expectError<xcOCDefs::BadParams>([&] { xfOCChangeCurrentKey(a, 0, 3, 1); }, kBadPosition);
    expectError<xcOCDefs::BadParams>([&] { xfOCChangeCurrentKey(a, 1, -1); }, kBadPosition);
    // Key 4 is in the alphabet but not a possible key of position 0.
    expectError<xcOCDefs::BadKey>([&] { xfOCChangeCurrentKey(a, 0, 0, 4); }, kNotInSet);
    expectError<xcOCDefs::BadKey>([&] { xfOCChangeCurrentKeys(a, 0, 0, Keys{2, 99}); }, kNotInSet);
    expectError<xcOCDefs::BadIndex>(
        [&] {
            xfOCChangeCurrentKeys(a, 0, 0, Keys{2, 3, 2});
        },
        L"Key indices must be unique.");
    // By name: the line index first, then a name no character bears is an empty list.
    expectError<xcOCDefs::BadParams>(
        [&] { xfOCChangeCurrentKeys(a, 5, 0, std::wstring(L"nobody")); }, kBadLine);
    expectError<xcOCDefs::BadKey>([&] { xfOCChangeCurrentKeys(a, 0, 0, std::wstring(L"nobody")); },
                                  kNoKeys);
    // "x" is in the alphabet but not among position 0's possible keys.
    expectError<xcOCDefs::BadKey>([&] { xfOCChangeCurrentKeys(a, 0, 0, std::wstring(L"x")); },
                                  kNotInSet);
    EXPECT_TRUE(a == arrangement());
}

TEST(OCKeyChange, ReturnsANewArrangementAndLeavesTheGivenOneAlone) {
    const xcOCLineArrangement a = arrangement();
    const xcOCLineArrangement copy = a;
    const LineHandle oldLine0 = a.lines()[0];
    const std::vector<xcOCKeySet> oldSets = oldLine0->keySetSequence();

    const auto changed = xfOCChangeCurrentKey(a, 0, 1, 1);
    ASSERT_FALSE(changed.isNull());
    EXPECT_EQ(currentOf(*changed, 0, 1), (Keys{1}));
    EXPECT_TRUE(*changed != a);
    // The given arrangement and its line are untouched; the other line is shared.
    EXPECT_TRUE(a == copy);
    EXPECT_EQ(a.lines()[0].get(), oldLine0.get());
    EXPECT_EQ(oldLine0->keySetSequence(), oldSets);
    EXPECT_EQ(changed->lines()[1].get(), a.lines()[1].get());
    EXPECT_NE(changed->lines()[0].get(), a.lines()[0].get());
    // Everything else of the changed line and of the arrangement is kept.
    const xcOCLine& nl = *changed->lines()[0];
    EXPECT_EQ(nl.alphabet().get(), oldLine0->alphabet().get());
    EXPECT_EQ(nl.charPoses(), oldLine0->charPoses());
    EXPECT_EQ(nl.scaleUncertainties(), oldLine0->scaleUncertainties());
    EXPECT_EQ(nl.name(), L"line 0");
    EXPECT_EQ(nl.keySetSequence()[0], oldSets[0]);
    EXPECT_EQ(changed->linePoses(), a.linePoses());
    EXPECT_EQ(changed->rotationUncertainties(), a.rotationUncertainties());
    EXPECT_EQ(changed->name(), L"page");
}

TEST(OCKeyChange, WildCardAndBackRestoresEquality) {
    const xcOCLineArrangement a = arrangement();
    const auto wild = xfOCChangeCurrentKey(a, 0, 2);
    EXPECT_TRUE(wild->lines()[0]->isWildcard(2));
    EXPECT_TRUE(*wild != a);
    const auto back = xfOCChangeCurrentKey(*wild, 0, 2, 2);
    EXPECT_TRUE(*back == a);
    EXPECT_TRUE(wild->lines()[0]->isWildcard(2));  // the intermediate result is unchanged
}

TEST(OCKeyChange, SeveralKeysAndKeysByName) {
    const xcOCLineArrangement a = arrangement();
    const auto two = xfOCChangeCurrentKeys(a, 0, 0, Keys{3, 1});
    EXPECT_EQ(currentOf(*two, 0, 0), (Keys{3, 1}));
    EXPECT_EQ(two->lines()[0]->keySetSequence()[0].currentKeyIndices(), (Keys{2, 0}));
    // Both characters named "o", in alphabet order.
    const auto byName = xfOCChangeCurrentKeys(a, 0, 0, std::wstring(L"o"));
    EXPECT_EQ(currentOf(*byName, 0, 0), (Keys{1, 3}));
    const auto zero = xfOCChangeCurrentKeys(*byName, 0, 0, std::wstring(L"0"));
    EXPECT_EQ(currentOf(*zero, 0, 0), (Keys{2}));
    EXPECT_EQ(currentOf(*byName, 0, 0), (Keys{1, 3}));
}
