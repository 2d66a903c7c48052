#include "oc/font/key_set.h"

#include <gtest/gtest.h>

#include "font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

using Keys = std::vector<long>;

const wchar_t* const kIndicesNotValid =
    L"At least one of the current key indices is not valid for specified set of possible keys.";
const wchar_t* const kOnlyOne = L"Set of current key indices must contain only one element.";
const wchar_t* const kNotMember = L"The specified key is not a member of the key set.";
const wchar_t* const kNoOverride = L"There are no confusion keys overrides for the specified key.";

// Writes a key set of an older version: keys, then the current index (version 0) or the
// current indices (version 1).
std::vector<unsigned char> olderKeySet(std::uint8_t version, Keys keys, Keys current) {
    xcArchive out;
    out || version || keys;
    if (version == 0) {
        long index = current.at(0);
        out || index;
    } else {
        out || current;
    }
    return out.bytes();
}

}  // namespace

TEST(OCKeySet, DefaultIsAWildCard) {
    const xcOCKeySet ks;
    EXPECT_TRUE(ks.isCurrentWildcard());
    EXPECT_EQ(ks.currentKeyIndex(), -1);
    EXPECT_TRUE(ks.keys().empty());
    expectError<xcOCDefs::BadKey>([&] { ks.currentKey(); }, L"Wild-card characters have no key.");
    expectError<xcOCDefs::BadKey>([&] { ks.currentKeys(); },
                                  L"Wild-card characters have no key index.");
}

TEST(OCKeySet, ConstructionValidatesKeysThenIndices) {
    EXPECT_EQ(xcOCKeySet(Keys{5, 7}, 1).currentKey(), 7);
    expectError<xcOCDefs::BadIndex>([&] { xcOCKeySet(Keys{5, 7}, 2); }, kIndicesNotValid);
    expectError<xcOCDefs::SameKey>(
        [&] {
            xcOCKeySet(Keys{5, 5}, 0);
        },
        L"Possible keys for a character position must be unique.");
    // Repeated keys are reported before a bad index.
    expectError<xcOCDefs::SameKey>(
        [&] {
            xcOCKeySet(Keys{5, 5}, 9);
        },
        L"Possible keys for a character position must be unique.");
    expectError<xcOCDefs::BadIndex>([&] { xcOCKeySet(Keys{5, 7}, -2); }, kIndicesNotValid);
    EXPECT_TRUE(xcOCKeySet(Keys{5, 7}, -1).isCurrentWildcard());
    const xcOCKeySet two(Keys{5, 7, 9}, Keys{2, 0});
    EXPECT_EQ(two.currentKeys(), (Keys{9, 5}));
    expectError<xcOCDefs::BadIndex>(
        [&] {
            xcOCKeySet(Keys{5, 7}, Keys{1, 1});
        },
        L"Key indices must be unique.");
    expectError<xcOCDefs::SameKey>(
        [&] {
            xcOCKeySet(Keys{5, 5}, Keys{1, 1});
        },
        L"Possible keys for a character position must be unique.");
}

TEST(OCKeySet, SeveralCurrentKeys) {
    xcOCKeySet ks(Keys{5, 7}, 0);
    ks.currentKeyIndices(Keys{0, 1});
    EXPECT_EQ(ks.currentKeys(), (Keys{5, 7}));
    EXPECT_FALSE(ks.isCurrentWildcard());
    expectError<xcOCDefs::BadParams>([&] { ks.currentKey(); }, kOnlyOne);
    expectError<xcOCDefs::BadParams>([&] { ks.currentKeyIndex(); }, kOnlyOne);
    expectError<xcOCDefs::BadParams>([&] { ks.currentKeyIndex(0); }, kOnlyOne);
    // A wild card first among several: the wild-card error comes before the count error.
    ks.currentKeyIndices(Keys{-1, 1});
    EXPECT_TRUE(ks.isCurrentWildcard());
    expectError<xcOCDefs::BadKey>([&] { ks.currentKey(); }, L"Wild-card characters have no key.");
    expectError<xcOCDefs::BadKey>([&] { ks.currentKeys(); },
                                  L"Wild-card characters have no key index.");

    ks.currentKeyIndices(Keys{});
    EXPECT_FALSE(ks.isCurrentWildcard());
    EXPECT_TRUE(ks.currentKeys().empty());
    expectError<xcOCDefs::BadParams>([&] { ks.currentKeyIndex(); }, kOnlyOne);
    expectError<xcOCDefs::BadParams>([&] { ks.currentKey(); }, kOnlyOne);
}

TEST(OCKeySet, FailedSettersChangeNothing) {
    xcOCKeySet ks(Keys{5, 7, 9}, 2);
    ks.confusionOverrides(5, Keys{7});
    const xcOCKeySet before = ks;
    expectError<xcOCDefs::BadIndex>([&] { ks.keys(Keys{1, 2}); }, kIndicesNotValid);
    expectError<xcOCDefs::SameKey>(
        [&] {
            ks.keys(Keys{1, 1, 3});
        },
        L"Possible keys for a character position must be unique.");
    expectError<xcOCDefs::BadIndex>([&] { ks.currentKeyIndices(Keys{0, 3}); }, kIndicesNotValid);
    expectError<xcOCDefs::BadIndex>(
        [&] {
            ks.currentKeyIndices(Keys{3, 3});
        },
        L"Key indices must be unique.");
    expectError<xcOCDefs::BadIndex>(
        [&] { ks.currentKeyIndex(3); },
        L"Current key index is not valid for specified set of possible keys.");
    expectError<xcOCDefs::BadIndex>(
        [&] { ks.currentKeyIndex(-2); },
        L"Current key index is not valid for specified set of possible keys.");
    EXPECT_TRUE(ks == before);
    EXPECT_TRUE(ks.hasConfusionOverrides(5));

    // A successful keys() keeps the current indices and drops every override.
    ks.keys(Keys{1, 2, 3, 4});
    EXPECT_EQ(ks.currentKey(), 3);
    EXPECT_FALSE(ks.hasConfusionOverrides(1));
    EXPECT_TRUE(ks.overrideKeys().empty());
    ks.currentKeyIndex(-1);
    EXPECT_TRUE(ks.isCurrentWildcard());
}

TEST(OCKeySet, ConfusionOverrides) {
    xcOCKeySet ks(Keys{5, 7, 9}, 0);
    expectError<xcOCDefs::BadKey>([&] { ks.confusionOverrides(6, Keys{1}); }, kNotMember);
    expectError<xcOCDefs::BadKey>([&] { ks.confusionOverrides(6); }, kNotMember);
    expectError<xcOCDefs::BadKey>([&] { ks.confusionOverrides(5); }, kNoOverride);
    expectError<xcOCDefs::BadKey>([&] { ks.removeConfusionOverrides(6); }, kNotMember);
    expectError<xcOCDefs::BadKey>([&] { ks.removeConfusionOverrides(5); }, kNoOverride);
    expectError<xcOCDefs::BadKey>([&] { ks.hasConfusionOverrides(6); }, kNotMember);

    ks.confusionOverrides(5, Keys{7, 1000});  // the list is not checked
    ks.confusionOverrides(7, Keys{});
    ks.confusionOverrides(9, Keys{5});
    ks.confusionOverrides(5, Keys{9});  // replaces
    EXPECT_EQ(ks.confusionOverrides(5), (Keys{9}));
    EXPECT_EQ(ks.overrideKeys(), (Keys{5, 7, 9}));
    // Removing the first moves the last into its place.
    ks.removeConfusionOverrides(5);
    EXPECT_EQ(ks.overrideKeys(), (Keys{9, 7}));
    EXPECT_EQ(ks.confusionOverrides(9), (Keys{5}));
    EXPECT_FALSE(ks.hasConfusionOverrides(5));
    EXPECT_TRUE(ks.hasConfusionOverrides(7));
}

TEST(OCKeySet, EqualityIgnoresTheOrderOfOverrides) {
    xcOCKeySet a(Keys{5, 7, 9}, 0), b(Keys{5, 7, 9}, 0);
    a.confusionOverrides(5, Keys{7, 9});
    a.confusionOverrides(9, Keys{5});
    b.confusionOverrides(9, Keys{5});
    b.confusionOverrides(5, Keys{7, 9});
    EXPECT_TRUE(a == b);
    b.confusionOverrides(5, Keys{9, 7});  // list order matters
    EXPECT_TRUE(a != b);
    b.confusionOverrides(5, Keys{7, 9});
    b.confusionOverrides(7, Keys{});
    EXPECT_FALSE(a == b);
    EXPECT_FALSE(xcOCKeySet(Keys{5, 7}, 0) == xcOCKeySet(Keys{7, 5}, 1));
    EXPECT_FALSE(xcOCKeySet(Keys{5, 7}, 0) == xcOCKeySet(Keys{5, 7}, Keys{0, 1}));
}

TEST(OCKeySet, FromCharacterNames) {
    // Two characters share the name "o"; "0" is another.
    const auto alpha = xcPtrHandle_const<xcOCAlphabet>(new xcOCAlphabet(
        ConstModels{normalModel(1, L"o"), normalModel(2, L"0"), normalModel(3, L"o")}, 0.5, false));
    const xcOCKeySet ks(alpha, {L"0", L"o"}, L"o");
    EXPECT_EQ(ks.keys(), (Keys{2, 1, 3}));
    EXPECT_EQ(ks.currentKeyIndices(), (Keys{1, 2}));
    EXPECT_EQ(xcOCKeySet(alpha, {L"o", L"0"}, L"0").currentKey(), 2);

    expectError<xcOCDefs::SameKey>(
        [&] {
            xcOCKeySet(alpha, {L"o", L"x", L"o"}, L"o");
        },
        L"Possible character names for a character position must be unique.");
    expectError<xcOCDefs::BadKey>(
        [&] {
            xcOCKeySet(alpha, {L"o", L"x"}, L"q");
        },
        L"At least one of the character names is not found in the supplied alphabet.");
    expectError<xcOCDefs::BadIndex>(
        [&] {
            xcOCKeySet(alpha, {L"o", L"0"}, L"q");
        },
        L"Current character is not valid for specified set of possible character "
        L"names.");
    expectError<xcOCDefs::BadParams>(
        [&] { xcOCKeySet(xcPtrHandle_const<xcOCAlphabet>(), {L"o"}, L"o"); },
        L"Alphabet must point to a valid object.");
}

TEST(OCKeySet, ArchiveRoundTripOfTheCurrentVersion) {
    xcOCKeySet ks(Keys{-5, 7, 2147483647}, Keys{2, 0});
    ks.confusionOverrides(7, Keys{-5, 11});
    ks.confusionOverrides(-5, Keys{});
    xcArchive out;
    out || ks;
    const std::vector<unsigned char>& b = out.bytes();
    EXPECT_EQ(b[kBodyOffset], 2);      // version
    EXPECT_EQ(b[kBodyOffset + 1], 0);  // vector version of the keys
    EXPECT_EQ(b[kBodyOffset + 2], 3);  // key count
    xcOCKeySet back;
    loadValue(b, back);
    EXPECT_TRUE(back == ks);
    EXPECT_EQ(back.overrideKeys(), ks.overrideKeys());
    EXPECT_EQ(back.currentKeyIndices(), (Keys{2, 0}));
}

TEST(OCKeySet, OlderVersionsReadWithoutOverrides) {
    xcOCKeySet target(Keys{1, 2, 3}, 0);
    target.confusionOverrides(1, Keys{2});
    loadValue(olderKeySet(0, Keys{10, 11, 12, 13}, Keys{3}), target);
    EXPECT_EQ(target.keys(), (Keys{10, 11, 12, 13}));
    EXPECT_EQ(target.currentKeyIndices(), (Keys{3}));
    EXPECT_EQ(target.currentKey(), 13);
    EXPECT_TRUE(target.overrideKeys().empty());

    target.confusionOverrides(10, Keys{11});
    loadValue(olderKeySet(1, Keys{4, 5}, Keys{1, -1}), target);
    EXPECT_EQ(target.currentKeyIndices(), (Keys{1, -1}));
    EXPECT_TRUE(target.overrideLists().empty());
    EXPECT_TRUE(target.isCurrentWildcard());

    // Reading does not validate: an index beyond the keys reads, and queries refuse it.
    loadValue(olderKeySet(0, Keys{4}, Keys{3}), target);
    EXPECT_EQ(target.currentKeyIndex(), 3);
    expectError<xcOCDefs::BadIndex>([&] { target.currentKey(); }, kIndicesNotValid);
}

TEST(OCKeySet, TooNewVersionNamesTheSubsystem) {
    xcOCKeySet ks(Keys{1}, 0);
    // The key set's own version names the subsystem; the inner vector's version names nothing.
    const struct {
        std::size_t offset;
        unsigned char version;
        const wchar_t* className;
        long number;
    } cases[] = {{kBodyOffset, 3, L"oc/oc", 1573}, {kBodyOffset + 1, 1, L"", 0}};
    xcOCKeySet target(Keys{8, 9}, 1);
    const xcOCKeySet before = target;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "byte " << c.offset << " version " << int(c.version));
        std::vector<unsigned char> b = storeValue(ks);
        b[c.offset] = c.version;
        if (const auto e = expectError<xcArchive::UnknownVersion>([&] { loadValue(b, target); })) {
            EXPECT_EQ(e->className(), c.className);
            EXPECT_EQ(e->number(), c.number);
        }
        EXPECT_TRUE(target == before);
    }
}
