#include "platform/clevel/image_record.h"
#include "tests/support/expect_error.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>

namespace {

// A bound buffer whose pixel (x, y) holds (7x + 3y) mod 256.
xcPelBuffer<unsigned char> pattern(const xcPelRect& extent) {
    xcPelBuffer<unsigned char> b(extent);
    for (long y = extent.y(); y < extent.y() + extent.height(); ++y)
        for (long x = extent.x(); x < extent.x() + extent.width(); ++x)
            b.set(x, y, static_cast<unsigned char>((7 * x + 3 * y) & 255));
    return b;
}

template <class T>
T fieldAt(const void* record, std::size_t offset) {
    T v;
    std::memcpy(&v, static_cast<const unsigned char*>(record) + offset, sizeof v);
    return v;
}

// A transform that is not affine, to check that it travels with the record.
class Squash : public xc2XformBase {
public:
    xcVector<2> mapPoint(const xcVector<2>& p) const override { return {p.x() * p.x(), p.y()}; }
    bool isLinear() const override { return false; }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcMatrix<2>(2 * p.x(), 0, 0, 1), {-p.x() * p.x(), 0});
    }
    std::shared_ptr<xc2XformBase> clone() const override { return std::make_shared<Squash>(); }
};

}  // namespace

TEST(ImageRecord, FieldsSitAtTheirOffsets) {
    xcPelBuffer<unsigned char> b = pattern(xcPelRect(-4, -2, 12, 9));
    b.window(xcPelRect(-1, 1, 5, 4));
    xc_Image img(b);
    const ximg_image8Const* r = img.get();
    EXPECT_EQ(sizeof(ximg_image8Const), 40u);
    EXPECT_EQ(fieldAt<const unsigned char*>(r, 0), b.pelPointer(-1, 1));
    EXPECT_EQ(fieldAt<std::int32_t>(r, 8), -1);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 12), 1);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 16), 5);
    EXPECT_EQ(fieldAt<std::int32_t>(r, 20), 4);
    EXPECT_EQ(fieldAt<std::int64_t>(r, 24), b.rowUpdate());
    EXPECT_NE(fieldAt<const void*>(r, 32), nullptr);
    // Pixel (x + i, y + j) is pels[j * rowUpdate + i].
    EXPECT_EQ(r->pels[2 * r->rowUpdate + 3], b.get(2, 3));
}

TEST(ImageRecord, KeepsPixelsAliveAfterTheBufferIsGone) {
    ximg_image8Const kept;
    ASSERT_EQ(ximg_imageConst_constructUnbound(&kept), xstd_eSuccess);
    {
        xcPelBuffer<unsigned char> b = pattern(xcPelRect(0, 0, 9, 7));
        b.window(xcPelRect(2, 3, 4, 4));
        xc_Image view(b);
        ASSERT_EQ(ximg_imageConst_assign(&kept, view.get()), xstd_eSuccess);
    }  // the buffer and the first record are gone; only `kept` refers to the pixels
    ASSERT_EQ(ximg_imageConst_isBound(&kept), 1);
    for (int j = 0; j < kept.height; ++j)
        for (int i = 0; i < kept.width; ++i)
            EXPECT_EQ(kept.pels[j * kept.rowUpdate + i], (7 * (2 + i) + 3 * (3 + j)) & 255);
    const xcPelBuffer_const<unsigned char> back = xfConvertImage(kept);
    ximg_imageConst_destruct(&kept);  // the converted buffer still holds the pixels
    EXPECT_EQ(kept.ref, nullptr);
    EXPECT_EQ(back.get(5, 6), (7 * 5 + 3 * 6) & 255);
}

TEST(ImageRecord, ConvertsBackWithSharedPixelsWindowAndTransform) {
    xcPelBuffer<unsigned char> b = pattern(xcPelRect(0, 0, 10, 6));
    b.window(xcPelRect(1, 2, 7, 3));
    const xcXform<2> x(xcMatrix<2>(0.5, 0.1, -0.2, 2.0), xcVector<2>(10, -3));
    b.clientFromImageXform(x);
    xc_Image img(b);
    const xcPelBuffer_const<unsigned char> c = img.pelBuffer();
    EXPECT_TRUE(c.sharesRoot(b));
    EXPECT_EQ(c.window(), xcPelRect(1, 2, 7, 3));
    EXPECT_EQ(c.clientFromImageXform(), x);
    b.set(4, 3, 201);
    EXPECT_EQ(c.get(4, 3), 201);
    // A non-linear transform travels too.
    b.clientFromImageXformBase(std::make_shared<Squash>());
    xc_Image squashed(b);
    const xcPelBuffer_const<unsigned char> s = squashed.pelBuffer();
    EXPECT_FALSE(s.clientFromImageXformBase().isLinear());
    EXPECT_EQ(s.clientFromImageXformBase().mapPoint({3, 1}), xcVector<2>(9, 1));
    // Unbound both ways; an empty window has no pixel address.
    const xc_Image none;
    EXPECT_EQ(ximg_imageConst_isBound(none.get()), 0);
    EXPECT_FALSE(none.pelBuffer().isBound());
    EXPECT_EQ(xc_Image(xcPelBuffer_const<unsigned char>()).get()->ref, nullptr);
    b.window(xcPelRect(3, 3, 0, 2));
    xc_Image empty(b);
    EXPECT_EQ(empty.get()->pels, nullptr);
    EXPECT_EQ(empty.pelBuffer().window(), xcPelRect(3, 3, 0, 2));
}

TEST(ImageRecord, AssignSharesReleasesAndAllowsSelfAssignment) {
    xcPelBuffer<unsigned char> b = pattern(xcPelRect(0, 0, 5, 5));
    xc_Image a(b), c;
    ASSERT_EQ(ximg_imageConst_assign(c.get(), a.get()), xstd_eSuccess);
    EXPECT_EQ(c.get()->pels, a.get()->pels);
    EXPECT_NE(c.get()->ref, a.get()->ref);  // a reference of its own
    ASSERT_EQ(ximg_imageConst_assign(c.get(), c.get()), xstd_eSuccess);
    EXPECT_TRUE(c.pelBuffer().sharesRoot(b));
    const xc_Image unbound;
    ASSERT_EQ(ximg_imageConst_assign(c.get(), unbound.get()), xstd_eSuccess);
    EXPECT_EQ(ximg_imageConst_isBound(c.get()), 0);
    EXPECT_EQ(ximg_imageConst_assign(nullptr, a.get()), xstd_eBadArgument);
    EXPECT_EQ(ximg_imageConst_assign(c.get(), nullptr), xstd_eBadArgument);
    EXPECT_EQ(ximg_imageConst_constructUnbound(nullptr), xstd_eBadArgument);
    ximg_imageConst_destruct(nullptr);
}

TEST(ImageRecord, InconsistentRecordsAreRefused) {
    xcPelBuffer<unsigned char> b = pattern(xcPelRect(0, 0, 8, 8));
    xc_Image good(b), target(b);
    const ximg_image8Const before = target.image();
    ximg_image8Const bad = good.image();  // a byte copy, altered below; never destructed
    bad.pels += 1;
    EXPECT_EQ(ximg_imageConst_check(&bad), xstd_eBadArgument);
    EXPECT_EQ(ximg_imageConst_assign(target.get(), &bad), xstd_eBadArgument);
    EXPECT_EQ(std::memcmp(target.get(), &before, sizeof before), 0);
    EXPECT_THROW(xfConvertImage(bad), xcBadArgument);
    bad = good.image();
    bad.width = 9;  // leaves the root image
    EXPECT_EQ(ximg_imageConst_check(&bad), xstd_eBadArgument);
    bad = good.image();
    bad.rowUpdate += 1;
    EXPECT_EQ(ximg_imageConst_check(&bad), xstd_eBadArgument);
    bad = good.image();
    bad.height = -1;
    EXPECT_EQ(ximg_imageConst_check(&bad), xstd_eBadArgument);
    ximg_image8Const borrowed{b.pelPointer(0, 0), 0, 0, 8, 8, b.rowUpdate(), nullptr};
    EXPECT_EQ(ximg_imageConst_check(&borrowed), xstd_eBadArgument);
    expectError<xcBadArgument>([&] { xfConvertImage(borrowed); }, L"Inconsistent image record");
    EXPECT_EQ(ximg_imageConst_check(good.get()), xstd_eSuccess);
}

TEST(ImageRecord, WindowsBeyond32BitsAreRefused) {
    const long far = 1L << 33;
    xcPelBuffer<unsigned char> b(xcPelRect(far, 0, 3, 2));
    xc_Image target(pattern(xcPelRect(0, 0, 2, 2)));
    const ximg_image8Const before = target.image();
    EXPECT_EQ(ximg_imageConst_bind_(target.get(), b), xoc_eIntegerOverflow);
    EXPECT_EQ(std::memcmp(target.get(), &before, sizeof before), 0);
    expectError<xcBadArgument>([&] { xc_Image tooFar(b); },
                               L"Pel buffer window does not fit an image record");
}
