#include "oc/font/alphabet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "font_test_util.h"
#include "tests/support/expect_error.h"

using namespace font_test;

namespace {

const wchar_t* const kNoKey =
    L"The character for the specified key does not exist in the alphabet.";
const wchar_t* const kSuppliedSame =
    L"The keys for at least two of the supplied characters are identical.";
const wchar_t* const kAlreadyThere =
    L"At least one of the supplied characters has the same key as one of the characters in "
    L"the alphabet.";

ConstModels models(std::initializer_list<ModelHandle> l) { return ConstModels(l.begin(), l.end()); }

std::vector<long> keysOf(const xcOCAlphabet& a) {
    std::vector<long> k;
    for (const auto& c : a.characters()) k.push_back(c->key());
    return k;
}

}  // namespace

TEST(OCAlphabet, DefaultIsCompiledAndEmpty) {
    xcOCAlphabet a;
    EXPECT_TRUE(a.isCompiled());
    EXPECT_EQ(a.numChars(), 0);
    EXPECT_EQ(a.confusionThreshold(), 0.5);
    EXPECT_EQ(a.name(), L"");
    EXPECT_EQ(a.characterIndex(0), -1);
    EXPECT_FALSE(a.hasCharacter(-1));
    // Compiled, so the key is what fails.
    expectError<xcOCDefs::BadKey>([&] { a.confusion(0, 0); }, kNoKey);
    expectError<xcOCDefs::BadKey>([&] { a.characterOffset(1, 2); }, kNoKey);
    expectError<xcOCDefs::BadKey>([&] { a.character(3); }, kNoKey);
    // Compiling an empty alphabet is immediate.
    a.compile();
    EXPECT_TRUE(a.isCompiled());
}

TEST(OCAlphabet, ConstructionValidatesThresholdThenKeys) {
    const ModelHandle a = normalModel(1, L"a"), b = normalModel(2, L"b"),
                      dup = normalModel(1, L"c");
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCAlphabet(models({a, dup}), 1.5, false);
        },
        L"Confusion threshold must be between 0 and 1.");
    expectError<xcOCDefs::SameKey>(
        [&] {
            xcOCAlphabet(models({a, b, dup}), 0.3, false);
        },
        kSuppliedSame);
    const xcOCAlphabet ok(std::vector<ModelHandle>{b, a}, 0.25, false, L"font");
    EXPECT_FALSE(ok.isCompiled());
    EXPECT_EQ(ok.confusionThreshold(), 0.25);
    EXPECT_EQ(ok.name(), L"font");
    EXPECT_EQ(keysOf(ok), (std::vector<long>{2, 1}));
    EXPECT_EQ(ok.characterIndex(1), 1);
    EXPECT_EQ(ok.character(2).get(), b.get());  // models are shared, not copied
    // Alphabets compile at construction when asked.
    EXPECT_TRUE(xcOCAlphabet(ConstModels{}, 0.5, true).isCompiled());
    EXPECT_TRUE(xcOCAlphabet(models({a}), 0.5, true).isCompiled());
    expectError<xcOCDefs::BadParams>(
        [&] {
            xcOCAlphabet(models({a, ModelHandle()}), 0.5, false);
        },
        L"Every character handle must refer to a model.");
}

TEST(OCAlphabet, ThresholdBoundsAreInclusive) {
    xcOCAlphabet a =
        *compiledAlphabet(models({normalModel(1, L"a")}), distinctMatrix(1), distinctOffsets(1));
    a.confusionThreshold(1.0);
    EXPECT_EQ(a.confusionThreshold(), 1.0);
    a.confusionThreshold(0.0, true);
    EXPECT_EQ(a.confusionThreshold(), 0.0);
    for (double bad : {1.0000001, -0.1, std::numeric_limits<double>::quiet_NaN()}) {
        SCOPED_TRACE(testing::Message() << "bad " << bad);
        expectError<xcOCDefs::BadParams>([&] { a.confusionThreshold(bad); },
                                         L"Confusion threshold must be between 0 and 1.");
        EXPECT_EQ(a.confusionThreshold(), 0.0);
    }
    EXPECT_TRUE(a.isCompiled());  // the threshold does not touch the compiled state
}

TEST(OCAlphabet, CharactersAndAddCheckBeforeChanging) {
    const ModelHandle a = normalModel(1, L"a"), b = normalModel(2, L"b"), c = normalModel(3, L"c");
    xcOCAlphabet alpha(models({a, b}), 0.5, false);
    const xcOCAlphabet before = alpha;

    // The clash with the alphabet is reported even though the list also repeats a key.
    expectError<xcOCDefs::SameKey>(
        [&] {
            alpha.add(models({c, normalModel(3, L"c2"), normalModel(2, L"b2")}), false);
        },
        kAlreadyThere);
    expectError<xcOCDefs::SameKey>(
        [&] {
            alpha.add(models({c, normalModel(3, L"c2")}), false);
        },
        kSuppliedSame);
    expectError<xcOCDefs::SameKey>([&] { alpha.add(a, false); }, kAlreadyThere);
    expectError<xcOCDefs::SameKey>(
        [&] {
            alpha.characters(models({c, normalModel(3, L"c2")}), false);
        },
        kSuppliedSame);
    EXPECT_TRUE(alpha == before);
    EXPECT_EQ(keysOf(alpha), (std::vector<long>{1, 2}));

    alpha.add(std::vector<ModelHandle>{c, normalModel(-7, L"d")}, false);
    EXPECT_EQ(keysOf(alpha), (std::vector<long>{1, 2, 3, -7}));
    alpha.characters(models({c}), false);
    EXPECT_EQ(keysOf(alpha), (std::vector<long>{3}));

    // Adding to a compiled alphabet leaves it not compiled unless the add compiles it.
    xcOCAlphabet compiled;
    compiled.add(a, false);
    EXPECT_FALSE(compiled.isCompiled());
    compiled.add(c, true);
    EXPECT_TRUE(compiled.isCompiled());
    EXPECT_EQ(compiled.numChars(), 2);
}

TEST(OCAlphabet, QueriesOfAnUncompiledAlphabet) {
    xcOCAlphabet a;
    a.add(models({normalModel(1, L"a"), blankModel(2, L" ")}), false);
    expectError<xcOCDefs::NotCompiled>([&] { a.confusion(1, 2); }, L"");
    expectError<xcOCDefs::NotCompiled>([&] { a.confusion(1, 99); }, L"");
    expectError<xcOCDefs::NotCompiled>([&] { a.characterOffset(1, 1); }, L"");
    // areConfusable looks up its first key before anything else.
    expectError<xcOCDefs::BadKey>([&] { a.areConfusable(99, 1); }, kNoKey);
    expectError<xcOCDefs::NotCompiled>([&] { a.areConfusable(1, 99); }, L"");
}

TEST(OCAlphabet, ConfusionQueriesReadTheCompiledMatrix) {
    // Keys 10 (normal), 20 (blank), 30 (normal); threshold 0.4.
    xcNMMatrix m(3, 3);
    const double values[3][3] = {{1.0, 0.0, 0.4}, {0.05, 1.0, 0.0}, {0.41, 0.0, 1.0}};
    for (long i = 0; i < 3; ++i)
        for (long j = 0; j < 3; ++j) m(i, j) = values[i][j];
    const auto a = compiledAlphabet(
        models({normalModel(10, L"o"), blankModel(20, L" "), normalModel(30, L"0")}), m,
        distinctOffsets(3), 0.4);
    ASSERT_TRUE(a->isCompiled());
    EXPECT_EQ(a->confusion(10, 30), 0.4);
    EXPECT_EQ(a->confusion(30, 10), 0.41);
    expectError<xcOCDefs::BadKey>([&] { a->confusion(10, 11); }, kNoKey);
    expectError<xcOCDefs::BadKey>([&] { a->confusion(11, 10); }, kNoKey);
    // Strictly above the threshold, and not symmetric.
    EXPECT_FALSE(a->areConfusable(10, 30));
    EXPECT_TRUE(a->areConfusable(30, 10));
    EXPECT_TRUE(a->areConfusable(10, 10));
    // A blank character is confusable as soon as the confusion is above 0.
    EXPECT_TRUE(a->areConfusable(20, 10));
    EXPECT_FALSE(a->areConfusable(20, 30));
    expectError<xcOCDefs::BadKey>([&] { a->areConfusable(20, 31); }, kNoKey);
    EXPECT_EQ(a->characterOffset(30, 20), xcXform<2>::translation({2.0, 1.0}));
    // Recompiling a compiled alphabet measures nothing and keeps its matrix.
    a->compile(nullptr, 0x70000);
    EXPECT_EQ(a->confusion(30, 10), 0.41);
}

TEST(OCAlphabet, RemoveKeepsACompiledAlphabetConsistent) {
    const long n = 5;
    ConstModels ms;
    for (long k = 0; k < n; ++k) ms.push_back(normalModel(100 + k, std::wstring(1, L'a' + k)));
    const auto original = compiledAlphabet(ms, distinctMatrix(n), distinctOffsets(n));
    xcOCAlphabet a = *original;
    ASSERT_TRUE(a.isCompiled());

    a.remove(100);  // the first of five: the last moves into index 0
    EXPECT_EQ(keysOf(a), (std::vector<long>{104, 101, 102, 103}));
    a.remove(std::vector<long>{102, 103});
    EXPECT_EQ(keysOf(a), (std::vector<long>{104, 101}));
    EXPECT_TRUE(a.isCompiled());
    for (long k1 : keysOf(a))
        for (long k2 : keysOf(a)) {
            EXPECT_EQ(a.confusion(k1, k2), original->confusion(k1, k2)) << k1 << " " << k2;
            EXPECT_EQ(a.characterOffset(k1, k2), original->characterOffset(k1, k2));
        }

    // Removing the rest leaves a compiled, empty alphabet with a 1 x 1 matrix, which an archive
    // round trip accepts only if the matrix really is 1 x 1.
    a.remove(std::vector<long>{101, 104});
    EXPECT_EQ(a.numChars(), 0);
    EXPECT_TRUE(a.isCompiled());
    xcOCAlphabet back(ConstModels{}, 0.5, false);
    loadValue(storeValue(a), back);
    EXPECT_TRUE(back.isCompiled());
}

TEST(OCAlphabet, RemoveChecksKeysThenDuplicates) {
    xcOCAlphabet a(models({normalModel(1, L"a"), normalModel(2, L"b"), normalModel(3, L"c")}), 0.5,
                   false);
    const xcOCAlphabet before = a;
    expectError<xcOCDefs::BadKey>(
        [&] {
            a.remove(std::vector<long>{1, 1, 9});
        },
        L"At least one of the supplied keys does not reference a character in this "
        L"alphabet.");
    expectError<xcOCDefs::SameKey>(
        [&] {
            a.remove(std::vector<long>{2, 1, 2});
        },
        L"At least one of the supplied keys is identical.");
    a.remove(std::vector<long>{});
    EXPECT_TRUE(a == before);
    a.remove(2);
    EXPECT_EQ(keysOf(a), (std::vector<long>{1, 3}));
    EXPECT_FALSE(a.isCompiled());
}

TEST(OCAlphabet, EqualityIgnoresTheMatrix) {
    const ModelHandle a = normalModel(1, L"a"), b = normalModel(2, L"b");
    const auto x = compiledAlphabet(models({a, b}), distinctMatrix(2), distinctOffsets(2));
    const auto y = compiledAlphabet(models({normalModel(1, L"a"), normalModel(2, L"b")}),
                                    distinctMatrix(2, 0.9), distinctOffsets(2));
    EXPECT_TRUE(*x == *y);  // equal models by value; matrices differ
    xcOCAlphabet z = *x;
    z.name(L"other");
    EXPECT_TRUE(z != *x);
    z = *x;
    EXPECT_TRUE(z == *x);
    z.confusionThreshold(0.5 + 1e-12);
    EXPECT_FALSE(z == *x);
    EXPECT_TRUE(xfRealEq(z, *x, 1e-9));
    EXPECT_FALSE(xfRealEq(z, *x, 1e-15));
    z.confusionThreshold(0.5);
    z.remove(1);
    z.add(a, false);  // same characters in another order, and no longer compiled
    EXPECT_FALSE(z == *x);
    xcOCAlphabet w(models({a, b}), 0.5, false, L"font");
    EXPECT_FALSE(w == *x);  // only the compiled flag differs
}

TEST(OCAlphabet, CopiesShareModelsAndTakeTheMatrixOnlyWhenCompiled) {
    const auto x = compiledAlphabet(models({normalModel(1, L"a"), normalModel(2, L"b")}),
                                    distinctMatrix(2), distinctOffsets(2), 0.3, L"x");
    const xcOCAlphabet copy(*x);
    EXPECT_TRUE(copy == *x);
    EXPECT_EQ(copy.character(2).get(), x->character(2).get());
    EXPECT_EQ(copy.confusion(2, 1), x->confusion(2, 1));
    EXPECT_EQ(copy.characterOffset(1, 2), x->characterOffset(1, 2));

    xcOCAlphabet target = *x;
    target = target;  // self-assignment changes nothing
    EXPECT_TRUE(target == *x);
    const xcOCAlphabet uncompiled(models({normalModel(5, L"e")}), 0.7, false);
    target = uncompiled;
    EXPECT_FALSE(target.isCompiled());
    EXPECT_TRUE(target == uncompiled);
}

TEST(OCAlphabet, ArchiveRoundTripKeepsSharedModelsShared) {
    const ModelHandle a = normalModel(1, L"a", 8, 12, 1), b = normalModel(2, L"b", 8, 12, 2),
                      sp = blankModel(3, L" ");
    const auto compiled =
        compiledAlphabet(models({a, b, sp}), distinctMatrix(3), distinctOffsets(3), 0.6, L"x");
    // The second alphabet holds two of the first one's model objects.
    xcPtrHandle<xcOCAlphabet> other(new xcOCAlphabet(
        ConstModels{compiled->character(2), compiled->character(3)}, 0.2, false, L"y"));

    xcArchive out;
    xcPtrHandle_const<xcOCAlphabet> h1 = compiled, h2 = other;
    out || h1 || h2;
    xcArchive in{std::span<const unsigned char>(out.bytes())};
    xcPtrHandle_const<xcOCAlphabet> r1, r2;
    in || r1 || r2;
    EXPECT_TRUE(in.atEnd());
    ASSERT_FALSE(r1.isNull());
    ASSERT_FALSE(r2.isNull());
    EXPECT_TRUE(*r1 == *compiled);
    EXPECT_TRUE(*r2 == *other);
    // The models both alphabets hold come back as the same objects.
    EXPECT_EQ(r1->character(2).get(), r2->character(2).get());
    EXPECT_EQ(r1->character(3).get(), r2->character(3).get());
    EXPECT_NE(r1->character(2).get(), compiled->character(2).get());
    // The compiled state, matrix and offsets come back.
    ASSERT_TRUE(r1->isCompiled());
    for (long k1 : {1L, 2L, 3L})
        for (long k2 : {1L, 2L, 3L}) {
            EXPECT_EQ(r1->confusion(k1, k2), compiled->confusion(k1, k2));
            EXPECT_EQ(r1->characterOffset(k1, k2), compiled->characterOffset(k1, k2));
        }
    EXPECT_FALSE(r2->isCompiled());
}

TEST(OCAlphabet, VersionZeroIsCompiledOnReading) {
    auto v0 = [](const ConstModels& chars, bool compiledFlag) {
        xcArchive out;
        std::uint8_t version = 0;
        std::wstring name = L"old";
        double threshold = 0.75;
        ConstModels c = chars;
        bool flag = compiledFlag;
        out || version || name || threshold || c || flag;
        return out.bytes();
    };
    xcOCAlphabet a;
    loadValue(v0({normalModel(1, L"a")}, false), a);
    EXPECT_FALSE(a.isCompiled());
    EXPECT_EQ(a.name(), L"old");
    EXPECT_EQ(a.confusionThreshold(), 0.75);
    EXPECT_EQ(a.numChars(), 1);

    xcOCAlphabet empty(models({normalModel(1, L"a")}), 0.5, false);
    loadValue(v0({}, true), empty);
    EXPECT_TRUE(empty.isCompiled());
    EXPECT_EQ(empty.numChars(), 0);

    // A version-0 alphabet with characters that was compiled is compiled again on reading.
    xcOCAlphabet b;
    loadValue(v0({normalModel(1, L"a"), normalModel(2, L"b", 8, 12, 40)}, true), b);
    EXPECT_TRUE(b.isCompiled());
    EXPECT_EQ(b.confusion(1, 1), 1.0);
    EXPECT_EQ(b.confusion(2, 2), 1.0);
}

TEST(OCAlphabet, TooNewVersionsAndInconsistentMatricesAreRefused) {
    xcOCAlphabet a(models({normalModel(1, L"a")}), 0.5, false, L"keep");
    std::vector<unsigned char> b = storeValue(a);
    b[kBodyOffset] = 2;
    xcOCAlphabet target;
    if (const auto e = expectError<xcArchive::UnknownVersion>([&] { loadValue(b, target); })) {
        EXPECT_EQ(e->className(), L"");
        EXPECT_EQ(e->number(), 0);
    }
    EXPECT_TRUE(target == xcOCAlphabet());
    // A compiled alphabet whose matrix does not fit its characters is malformed data.
    EXPECT_THROW(compiledAlphabet(models({normalModel(1, L"a"), normalModel(2, L"b")}),
                                  distinctMatrix(3), distinctOffsets(2)),
                 xcArchive::BadData);
    EXPECT_THROW(compiledAlphabet(models({normalModel(1, L"a"), normalModel(2, L"b")}),
                                  distinctMatrix(2), distinctOffsets(1)),
                 xcArchive::BadData);
}
