#include "oc/defs/oc_defs.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "oc/defs/polarity.h"
#include "oc/defs/status_converter.h"
#include "platform/core/archive.h"
#include "platform/core/status.h"
#include "tests/support/expect_error.h"

namespace {

struct Entry {
    const char* name;
    long number;
};

const std::vector<Entry> kFamily = {
    {"xcOCDefs::BadParams", 0x10005E00},
    {"xcOCDefs::BadImage", 0x10005E01},
    {"xcOCDefs::NotImplemented", 0x10005E02},
    {"xcOCDefs::SameKey", 0x10005E03},
    {"xcOCDefs::BadKey", 0x10005E04},
    {"xcOCDefs::BadIndex", 0x10005E05},
    {"xcOCDefs::NotCompiled", 0x10005E06},
    {"xcOCDefs::MarkRectNotSpecified", 0x10005E07},
    {"xcOCDefs::RectNotSpecified", 0x10005E09},
    {"xcOCDefs::MetricNotSpecified", 0x10005E0A},
    {"xcOCDefs::ThresholdAndInvertNotSpecified", 0x10005E0B},
    {"xcOCDefs::NoImage", 0x10005E0C},
    {"xcOCDefs::IntegerOverflow", 0x10005E0D},
    {"xcOCDefs::UnrepresentableKey", 0x10005E0E},
    {"xcOCDefs::BadFileFormat", 0x10005E0F},
};

std::vector<unsigned char> storeError(xcException* e) {
    xcArchive out;
    xcPersistent* p = e;
    out || p;
    return out.bytes();
}

}  // namespace

TEST(OCErrors, FactoriesMakeEmptyErrorsWithTheirNumbers) {
    std::set<long> numbers;
    for (const Entry& e : kFamily) {
        SCOPED_TRACE(e.name);
        xcPersistentFactory make = xf_FindPersistentFactory(e.name);
        ASSERT_NE(make, nullptr);
        std::unique_ptr<xcPersistent> obj(make());
        auto* err = dynamic_cast<xcOCDefs::Errors*>(obj.get());
        ASSERT_NE(err, nullptr);
        EXPECT_EQ(err->errorNumber(), e.number);
        EXPECT_EQ(err->message(), L"");
        numbers.insert(err->errorNumber());
    }
    EXPECT_EQ(numbers.size(), kFamily.size());
    EXPECT_EQ(numbers.count(0x10005E08), 0u);
    // The abstract base is not registered.
    EXPECT_EQ(xf_FindPersistentFactory("xcOCDefs::Errors"), nullptr);
}

TEST(OCErrors, ArchiveRoundTripKeepsClassAndMessage) {
    auto* original = new xcOCDefs::SameKey(L"Key already in alphabet \u00e9");
    std::vector<unsigned char> bytes = storeError(original);
    delete original;
    xcArchive in{std::span<const unsigned char>(bytes)};
    xcPersistent* p = nullptr;
    in || p;
    std::unique_ptr<xcPersistent> owned(p);
    auto* back = dynamic_cast<xcOCDefs::SameKey*>(p);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->message(), L"Key already in alphabet \u00e9");
    EXPECT_EQ(back->errorNumber(), 0x10005E03);
    EXPECT_TRUE(in.atEnd());
}

TEST(OCErrors, VersionAboveZeroNamesTheLevel) {
    // Layout after the pointer header: concrete version, Errors version, then the base's form.
    // Find the two version bytes by writing the same error with two different messages is not
    // needed: store a value (no pointer header) and patch its first two bytes.
    xcOCDefs::BadKey value(L"m");
    xcArchive out;
    out || value;
    std::vector<unsigned char> bytes = out.bytes();
    const std::size_t body = 8;  // "XCAR" + format number
    ASSERT_EQ(bytes[body], 0);
    ASSERT_EQ(bytes[body + 1], 0);
    for (int level = 0; level < 2; ++level) {
        std::vector<unsigned char> bad = bytes;
        bad[body + level] = 1;
        xcArchive in{std::span<const unsigned char>(bad)};
        xcOCDefs::BadKey target;
        SCOPED_TRACE(level);
        if (const auto e = expectError<xcArchive::UnknownVersion>([&] { in || target; })) {
            EXPECT_EQ(e->className(), level == 0 ? L"xcOCDefs::BadKey" : L"xcOCDefs::Errors");
            EXPECT_EQ(e->number(), 0);
        }
    }
}

TEST(OCErrors, SuicideAndRethrowThrowsTheConcreteClass) {
    xcException* heap = new xcOCDefs::IntegerOverflow(L"Value overflows integer value range");
    // expectError checks the class exactly: IntegerOverflow, not just xcOCDefs::Errors.
    if (const auto e = expectError<xcOCDefs::IntegerOverflow>(
            [&] { heap->suicideAndRethrow(); }, L"Value overflows integer value range")) {
        EXPECT_STREQ(e->what(), "Value overflows integer value range");
    }
    xcException* other = new xcOCDefs::BadFileFormat();
    EXPECT_THROW(other->suicideAndRethrow(), xcOCDefs::BadFileFormat);
}

TEST(OCStatusConverter, TurnsTheFiveStatusesIntoModuleErrors) {
    auto message = [](long status) -> std::wstring {
        try {
            xfThrowExceptionOnFailure(status);
        } catch (const xcOCDefs::Errors& e) {
            return std::to_wstring(e.errorNumber()) + L":" + e.message();
        }
        return L"none";
    };
    EXPECT_EQ(message(0x800013EC),
              std::to_wstring(0x10005E00) + L":Threshold must be between 0 and 256 inclusive");
    EXPECT_EQ(message(0x800013ED),
              std::to_wstring(0x10005E0B) + L":Threshold and invert not specified");
    EXPECT_EQ(message(0x800013EF), std::to_wstring(0x10005E09) + L":Rect not specified");
    EXPECT_EQ(message(0x800013F0),
              std::to_wstring(0x10005E0D) + L":Value overflows fixed point value range");
    EXPECT_EQ(message(0x800013F1),
              std::to_wstring(0x10005E0D) + L":Value overflows integer value range");
    EXPECT_EQ(xfThrowExceptionOnFailure(5), 5);
    // A status nobody claims reaches the core library's own error.
    EXPECT_THROW(xfThrowExceptionOnFailure(0x800013EE), xcStatusError);
}

TEST(OCPolarity, ConvertsTheThreeValuesAndRejectsOthers) {
    for (int v : {1, 2, 4}) {
        SCOPED_TRACE(testing::Message() << "v " << v);
        xcOCDefs::Polarity p = xcOCDefs::ePolarityUnknown;
        xfConvertPolarity(static_cast<xoc_charPolarity>(v), p);
        EXPECT_EQ(static_cast<int>(p), v);
        xoc_charPolarity c = xoc_ePolarityUnknown;
        xfConvertPolarity(static_cast<xcOCDefs::Polarity>(v), c);
        EXPECT_EQ(static_cast<int>(c), v);
    }
    for (int v : {0, 3, 5, -1}) {
        SCOPED_TRACE(v);
        xcOCDefs::Polarity p = xcOCDefs::eLightOnDark;
        expectError<xcOCDefs::BadParams>(
            [&] { xfConvertPolarity(static_cast<xoc_charPolarity>(v), p); }, L"Illegal polarity");
        EXPECT_EQ(p, xcOCDefs::eLightOnDark);  // untouched
        xoc_charPolarity c = xoc_eDarkOnLight;
        EXPECT_THROW(xfConvertPolarity(static_cast<xcOCDefs::Polarity>(v), c), xcOCDefs::BadParams);
        EXPECT_EQ(c, xoc_eDarkOnLight);
    }
}
