#include "platform/core/archive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>
#include <vector>

#include "platform/core/archive_geometry.h"
#include "tests/support/expect_error.h"

using Bytes = std::vector<unsigned char>;

// A reference-counted persistent node: a name, a value and handles to other nodes.
class ArchiveTestNode : public xcPersistent, public xcRepBase {
public:
    ArchiveTestNode() { ++alive; }
    explicit ArchiveTestNode(std::wstring n, long v = 0) : name(std::move(n)), value(v) { ++alive; }
    ~ArchiveTestNode() override { --alive; }

    std::wstring name;
    long value = 0;
    std::vector<xcPtrHandle<ArchiveTestNode>> children;
    xcPtrHandle_const<ArchiveTestNode> peer;
    static int alive;
    static int loadsSeenMutating;

protected:
    void dispatchSerialize(xcArchive& ar) override {
        if (haveVisited(this, sizeof(ArchiveTestNode))) return;
        unsigned char version = 1;
        ar || version;
        if (version > 1) throw xcArchive::UnknownVersion("ArchiveTestNode", 0);
        if (ar.isLoading() && mutating()) ++loadsSeenMutating;
        xcPersistent::dispatchSerialize(ar);
        ar || name || value || children || peer;
        setVisited(this, sizeof(ArchiveTestNode));
    }

private:
    static xcPersistent* make() { return new ArchiveTestNode; }
    static const xc_Instantiator sExemplar;
};
int ArchiveTestNode::alive = 0;
int ArchiveTestNode::loadsSeenMutating = 0;
const xc_Instantiator ArchiveTestNode::sExemplar(typeid(ArchiveTestNode), &ArchiveTestNode::make);

// A persistent class that is deliberately not registered.
class ArchiveUnregistered : public xcPersistent {};

// Two class levels where the derived level reaches its base twice (as a level shared by two
// paths would be); the visited marks must let the base through once.
class ArchiveLevelBase : public xcPersistent {
public:
    double base = 0;

protected:
    void dispatchSerialize(xcArchive& ar) override {
        if (haveVisited(this, sizeof(ArchiveLevelBase))) return;
        unsigned char version = 0;
        ar || version;
        ar || base;
        setVisited(this, sizeof(ArchiveLevelBase));
    }
};
class ArchiveLevelDerived : public ArchiveLevelBase {
public:
    long own = 0;

protected:
    void dispatchSerialize(xcArchive& ar) override {
        if (haveVisited(this, sizeof(ArchiveLevelDerived))) return;
        unsigned char version = 0;
        ar || version;
        ArchiveLevelBase::dispatchSerialize(ar);
        ArchiveLevelBase::dispatchSerialize(ar);  // the second path to the same level
        ar || own;
        setVisited(this, sizeof(ArchiveLevelDerived));
    }
};

// A non-linear transform, to reach the "cannot archive" path of pel buffers.
class ArchiveTestWarp : public xc2XformBase {
public:
    xcVector<2> mapPoint(const xcVector<2>& p) const override { return {p.x() * p.x(), p.y()}; }
    bool isLinear() const override { return false; }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcMatrix<2>(2 * p.x(), 0, 0, 1), xcVector<2>(-p.x() * p.x(), 0));
    }
    std::shared_ptr<xc2XformBase> clone() const override {
        return std::make_shared<ArchiveTestWarp>(*this);
    }
};

namespace {

Bytes header() { return {'X', 'C', 'A', 'R', 1, 0, 0, 0}; }

Bytes tail(const Bytes& b) { return Bytes(b.begin() + 8, b.end()); }

xcPelBuffer<unsigned char> patternImage(const xcPelRect& r, int seed) {
    xcPelBuffer<unsigned char> b(r);
    for (long y = r.y(); y < r.y() + r.height(); ++y)
        for (long x = r.x(); x < r.x() + r.width(); ++x)
            b.set(x, y, static_cast<unsigned char>(x * 31 + y * 7 + seed));
    return b;
}

bool samePixels(const xcPelBuffer_const<unsigned char>& a,
                const xcPelBuffer_const<unsigned char>& b) {
    if (a.window() != b.window()) return false;
    const xcPelRect w = a.window();
    for (long y = w.y(); y < w.y() + w.height(); ++y)
        for (long x = w.x(); x < w.x() + w.width(); ++x)
            if (a.get(x, y) != b.get(x, y)) return false;
    return true;
}

}  // namespace

TEST(Archive, PlainOperandsHaveTheirFixedEncoding) {
    xcArchive ar;
    EXPECT_TRUE(ar.isStoring());
    unsigned char u8 = 0xAB;
    signed char i8 = -3;
    std::uint32_t u32 = 0x01020304;
    std::int32_t i32 = -2;
    long l = -2147483647L - 1;
    unsigned long ul = 0xFFFFFFFFul;
    bool t = true;
    double d = 1.0;
    std::wstring s = L"h\U0001F600";
    std::u32string c = U"\U0001F600";
    ar || u8 || i8 || u32 || i32 || l || ul || t || d || s || c;
    Bytes expected = header();
    Bytes body = {0xAB, 0xFD, 4,    3,    2,    1,    0xFE, 0xFF, 0xFF, 0xFF, 0,   0,
                  0,    0x80, 0xFF, 0xFF, 0xFF, 0xFF, 1,    0,    0,    0,    0,   0,
                  0,    0xF0, 0x3F, 2,    0,    0,    0,    'h',  0,    0,    0,   0x00,
                  0xF6, 0x01, 0x00, 1,    0,    0,    0,    0x00, 0xF6, 0x01, 0x00};
    expected.insert(expected.end(), body.begin(), body.end());
    EXPECT_EQ(ar.bytes(), expected);
    EXPECT_EQ(ar.position(), expected.size());

    xcArchive in(ar.bytes());
    EXPECT_TRUE(in.isLoading());
    unsigned char u8b = 0;
    signed char i8b = 0;
    std::uint32_t u32b = 0;
    std::int32_t i32b = 0;
    long lb = 0;
    unsigned long ulb = 0;
    bool tb = false;
    double db = 0;
    std::wstring sb = L"old";
    std::u32string cb = U"old";
    in || u8b || i8b || u32b || i32b || lb || ulb || tb || db || sb || cb;
    EXPECT_EQ(u8b, u8);
    EXPECT_EQ(i8b, i8);
    EXPECT_EQ(u32b, u32);
    EXPECT_EQ(i32b, i32);
    EXPECT_EQ(lb, l);
    EXPECT_EQ(ulb, ul);
    EXPECT_EQ(tb, t);
    EXPECT_EQ(db, d);
    EXPECT_EQ(sb, s);
    EXPECT_EQ(cb, c);
    EXPECT_TRUE(in.atEnd());
}

TEST(Archive, DoublesKeepEveryBit) {
    std::vector<double> v = {0.0,
                             -0.0,
                             1e-310,
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::max(),
                             std::nan("")};
    xcArchive ar;
    ar || v;
    xcArchive in(ar.bytes());
    std::vector<double> w;
    in || w;
    ASSERT_EQ(w.size(), v.size());
    for (std::size_t i = 0; i < v.size(); ++i)
        EXPECT_EQ(std::memcmp(&v[i], &w[i], sizeof(double)), 0) << i;
}

TEST(Archive, VectorsInVectorForm) {
    std::vector<long> a = {7, -1};
    std::vector<std::vector<std::wstring>> b = {{L"x", L""}, {}, {L"yz"}};
    std::vector<bool> c = {true, false, true};
    xcArchive ar;
    ar || a || b || c;
    const Bytes t = tail(ar.bytes());
    // Version 0, count 2, then the two longs.
    const Bytes aBytes = {0, 2, 0, 0, 0, 7, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_TRUE(std::equal(aBytes.begin(), aBytes.end(), t.begin()));

    xcArchive in(ar.bytes());
    std::vector<long> a2 = {99};
    std::vector<std::vector<std::wstring>> b2;
    std::vector<bool> c2;
    in || a2 || b2 || c2;
    EXPECT_EQ(a2, a);
    EXPECT_EQ(b2, b);
    EXPECT_EQ(c2, c);
}

TEST(Archive, VectorVersionAndCountAreChecked) {
    xcArchive ar;
    std::vector<double> v = {1.5, 2.5};
    ar || v;
    Bytes bytes = ar.bytes();
    bytes[8] = 1;  // the vector version
    {
        xcArchive in(bytes);
        std::vector<double> w = {4.0};
        if (const auto e = expectError<xcArchive::UnknownVersion>(
                [&] { in || w; }, L"Unknown version in the archive")) {
            EXPECT_EQ(e->className(), L"");
            EXPECT_EQ(e->number(), 0);
        }
        EXPECT_EQ(w, std::vector<double>{4.0});  // unchanged
        EXPECT_EQ(in.position(), 8u);            // back where the vector starts
    }
    // A count far beyond the bytes left fails before anything is allocated.
    Bytes huge = header();
    for (int c : {0, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2, 3})
        huge.push_back(static_cast<unsigned char>(c));
    xcArchive in(huge);
    std::vector<std::vector<double>> w;
    if (const auto e = expectError<xcArchive::BadData>(
            [&] { in || w; },
            L"Bad archive data at byte offset 13: vector count 4294967295 does not fit "
            L"in the 3 bytes left")) {
        EXPECT_EQ(e->errorNumber(), 0x10000111);
    }
    // A string count that the bytes left cannot hold.
    Bytes str = header();
    for (int c : {3, 0, 0, 0, int('a'), 0, 0, 0}) str.push_back(static_cast<unsigned char>(c));
    xcArchive in2(str);
    std::wstring s = L"keep";
    EXPECT_THROW(in2 || s, xcArchive::BadData);
    EXPECT_EQ(s, L"keep");
}

TEST(Archive, GeometryRoundTrips) {
    xcVector<2> v(1.25, -3.5);
    xcRadian a(-2.5);
    xcXform<2> x(xcMatrix<2>(1, 2, 3, 4), xcVector<2>(5, 6));
    xcPelRect r(-3, 4, 5, 0);
    xcRect rect(0.5, -1.5, 2.0, 3.25);
    std::vector<xcRect> rects = {xcRect(1, 2, 3, 4), xcRect()};
    xcArchive ar;
    ar || v || a || x || r || rect || rects;
    const Bytes t = tail(ar.bytes());
    // The transform: m00 m01 m10 m11 tx ty.
    double m01 = 0;
    std::memcpy(&m01, t.data() + 16 + 8 + 8, 8);
    EXPECT_EQ(m01, 2.0);
    // The rectangle: x y width height as i32.
    const Bytes rb = {0xFD, 0xFF, 0xFF, 0xFF, 4, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(std::equal(rb.begin(), rb.end(), t.begin() + 16 + 8 + 48));
    // xcRect: version byte 0, then its corner and size.
    EXPECT_EQ(t[16 + 8 + 48 + 16], 0);

    xcArchive in(ar.bytes());
    xcVector<2> v2;
    xcRadian a2;
    xcXform<2> x2;
    xcPelRect r2;
    xcRect rect2;
    std::vector<xcRect> rects2;
    in || v2 || a2 || x2 || r2 || rect2 || rects2;
    EXPECT_EQ(v2, v);
    EXPECT_EQ(a2, a);
    EXPECT_EQ(x2, x);
    EXPECT_EQ(r2, r);
    EXPECT_EQ(rect2, rect);
    EXPECT_EQ(rects2, rects);
    EXPECT_TRUE(in.atEnd());

    // A version of xcRect above 0 names the class.
    Bytes bad = ar.bytes();
    bad[8 + 16 + 8 + 48 + 16] = 1;
    xcArchive in2(bad);
    in2 || v2 || a2 || x2 || r2;
    if (const auto e = expectError<xcArchive::UnknownVersion>(
            [&] { in2 || rect2; }, L"Unknown version of xcRect in the archive")) {
        EXPECT_EQ(e->className(), L"xcRect");
    }
}

TEST(Archive, RangesRigidMotionsAndMatrices) {
    xcRange normal(-1.5, 2.0), empty, full = xcRange::full();
    xc2Rigid pose(xcVector<2>(3, -4), xcRadian(0.75));
    xcNMMatrix m(2, 3);
    for (long r = 0; r < 2; ++r)
        for (long c = 0; c < 3; ++c) m.element(r, c, r * 10 + c + 0.5);
    std::vector<xc2Rigid> poses = {pose, xc2Rigid()};
    xcNMMatrix none;
    xcArchive ar;
    ar || normal || empty || full || pose || m || poses || none;
    const Bytes t = tail(ar.bytes());
    EXPECT_EQ(t[0], 0);
    EXPECT_EQ(t[17], 1);
    EXPECT_EQ(t[34], 2);
    double tx = 0, angle = 0, m01 = 0;
    std::memcpy(&tx, t.data() + 51, 8);
    std::memcpy(&angle, t.data() + 51 + 16, 8);
    EXPECT_EQ(tx, 3.0);
    EXPECT_EQ(angle, 0.75);
    const std::size_t mAt = 51 + 24;
    EXPECT_EQ(t[mAt], 2);      // rows
    EXPECT_EQ(t[mAt + 4], 3);  // cols
    std::memcpy(&m01, t.data() + mAt + 8 + 8, 8);
    EXPECT_EQ(m01, 1.5);  // row-major: (0, 1) is second

    xcArchive in(ar.bytes());
    xcRange n2, e2(0, 1), f2;
    xc2Rigid p2;
    xcNMMatrix m2(1, 1, 9.0), none2(4, 4);
    std::vector<xc2Rigid> poses2;
    in || n2 || e2 || f2 || p2 || m2 || poses2 || none2;
    EXPECT_EQ(n2, normal);
    EXPECT_TRUE(e2.isEmpty());
    EXPECT_TRUE(f2.isFull());
    EXPECT_EQ(p2, pose);
    EXPECT_EQ(m2, m);
    EXPECT_EQ(poses2, poses);
    EXPECT_EQ(none2.rows(), 0);
    EXPECT_TRUE(in.atEnd());

    // A kind other than 0, 1, 2 and a reversed normal range are refused.
    Bytes bad = ar.bytes();
    bad[8] = 3;
    xcArchive in2(bad);
    EXPECT_THROW(in2 || n2, xcArchive::BadData);
    EXPECT_EQ(in2.position(), 8u);
    Bytes reversed = ar.bytes();
    std::swap_ranges(reversed.begin() + 9, reversed.begin() + 17, reversed.begin() + 17);
    xcArchive in3(reversed);
    EXPECT_THROW(in3 || n2, xcArchive::BadData);
    EXPECT_EQ(n2, normal);
    // A matrix larger than the bytes left.
    Bytes big = header();
    for (int c : {0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0, 0}) big.push_back(static_cast<unsigned char>(c));
    xcArchive in4(big);
    EXPECT_THROW(in4 || m2, xcArchive::BadData);
    EXPECT_EQ(m2, m);
}

TEST(Archive, OutOfRangeLongThrowsAndLeavesTheArchiveUsable) {
    xcArchive ar;
    long ok = 5;
    ar || ok;
    const Bytes before = ar.bytes();
    long big = 2147483648L;
    expectError<xcArchive::BadData>(
        [&] { ar || big; },
        L"Bad archive data at byte offset 12: the long value 2147483648 "
        L"does not fit in the archive's signed 32 bits");
    EXPECT_EQ(ar.bytes(), before);
    // Inside a composite operand the bytes already written for it are taken back.
    std::vector<long> v = {1, 2, -2147483649L};
    EXPECT_THROW(ar || v, xcArchive::BadData);
    EXPECT_EQ(ar.bytes(), before);
    xcPelRect r(0, 0, 1L << 40, 1);
    EXPECT_THROW(ar || r, xcArchive::BadData);
    unsigned long ul = 1ul << 32;
    EXPECT_THROW(ar || ul, xcArchive::BadData);
    EXPECT_EQ(ar.bytes(), before);
    // ... and the archive goes on.
    long last = -7;
    ar || last;
    xcArchive in(ar.bytes());
    long a = 0, b = 0;
    in || a || b;
    EXPECT_EQ(a, 5);
    EXPECT_EQ(b, -7);
}

TEST(Archive, PelBuffersRoundTrip) {
    xcPelBuffer<unsigned char> img = patternImage(xcPelRect(-4, 2, 7, 5), 3);
    img.window(xcPelRect(-3, 3, 5, 3));  // only the window is archived
    const xcXform<2> x(xcMatrix<2>(0.5, 0.1, -0.2, 2.0), xcVector<2>(10, -20));
    img.clientFromImageXform(x);
    xcPelBuffer_const<unsigned char> unbound;
    unbound.clientFromImageXform(xcXform<2>::translation(xcVector<2>(3, 4)));
    xcPelBuffer_const<unsigned char> empty(xcPelRect(2, 2, 0, 3));
    xcArchive ar;
    ar || img || unbound || empty;
    EXPECT_EQ(ar.bytes()[8], 1);  // bound
    EXPECT_EQ(ar.bytes().size(), 8u + 1 + 16 + 48 + 15 + 1 + 48 + 1 + 16 + 48);

    xcArchive in(ar.bytes());
    xcPelBuffer<unsigned char> img2;
    xcPelBuffer_const<unsigned char> unbound2(3, 3);
    xcPelBuffer_const<unsigned char> empty2;
    in || img2 || unbound2 || empty2;
    EXPECT_TRUE(samePixels(img2, img));
    EXPECT_EQ(img2.rootWindow(), xcPelRect(-3, 3, 5, 3));
    EXPECT_EQ(img2.clientFromImageXform(), x);
    EXPECT_FALSE(img2.sharesRoot(img));
    EXPECT_FALSE(unbound2.isBound());
    EXPECT_EQ(unbound2.clientFromImageXform(), unbound.clientFromImageXform());
    EXPECT_EQ(empty2.window(), xcPelRect(2, 2, 0, 3));

    // A window of negative size, and more pixels than bytes left, are refused.
    Bytes bad = ar.bytes();
    bad[8 + 1 + 8] = 0xFF;  // width -> negative
    bad[8 + 1 + 9] = 0xFF;
    bad[8 + 1 + 10] = 0xFF;
    bad[8 + 1 + 11] = 0xFF;
    xcArchive in2(bad);
    xcPelBuffer<unsigned char> keep(2, 2);
    EXPECT_THROW(in2 || keep, xcArchive::BadData);
    EXPECT_EQ(keep.window(), xcPelRect(0, 0, 2, 2));
    Bytes tall = ar.bytes();
    tall[8 + 1 + 14] = 0x7F;  // height 0x7F0003
    xcArchive in3(tall);
    EXPECT_THROW(in3 || keep, xcArchive::BadData);

    // A window without pixels but of enormous height reads and writes no rows.
    xcPelBuffer_const<unsigned char> tallEmpty(xcPelRect(0, 0, 0, 2147483647));
    xcArchive tallOut;
    tallOut || tallEmpty;
    xcArchive tallIn(tallOut.bytes());
    xcPelBuffer_const<unsigned char> tallBack;
    tallIn || tallBack;
    EXPECT_EQ(tallBack.window(), xcPelRect(0, 0, 0, 2147483647));
    EXPECT_TRUE(tallIn.atEnd());

    // A non-linear client-from-image transform cannot be written.
    xcPelBuffer<unsigned char> warped(3, 3);
    warped.clientFromImageXformBase(std::make_shared<ArchiveTestWarp>());
    xcArchive out;
    EXPECT_THROW(out || warped, xcArchive::BadData);
    EXPECT_EQ(out.bytes(), header());
}

TEST(Archive, SharedObjectsAreWrittenOnceAndReadAsOne) {
    const int alive0 = ArchiveTestNode::alive;
    {
        xcPtrHandle<ArchiveTestNode> shared(new ArchiveTestNode(L"shared", 42));
        xcPtrHandle<ArchiveTestNode> root(new ArchiveTestNode(L"root", 1));
        root->children = {shared, xcPtrHandle<ArchiveTestNode>(), shared};
        root->peer = shared;
        xcPtrHandle_const<ArchiveTestNode> alsoShared = shared;

        xcArchive ar;
        ar || root || alsoShared;
        // After root (index 0) and shared (index 1), every other mention is a back reference:
        // tag 2 and index 1, three times (third child, peer, the separate handle).
        const Bytes& b = ar.bytes();
        const Bytes backRef = {2, 1, 0, 0, 0};
        int backRefs = 0;
        for (std::size_t i = 0; i + backRef.size() <= b.size(); ++i)
            if (std::equal(backRef.begin(), backRef.end(), b.begin() + i)) ++backRefs;
        EXPECT_EQ(backRefs, 3);
        EXPECT_EQ(b[8], 1);  // a new object comes first

        xcArchive in(ar.bytes());
        xcPtrHandle<ArchiveTestNode> root2;
        xcPtrHandle_const<ArchiveTestNode> shared2;
        ArchiveTestNode::loadsSeenMutating = 0;
        in || root2 || shared2;
        EXPECT_EQ(ArchiveTestNode::loadsSeenMutating, 2);
        EXPECT_FALSE(xcPersistent::mutating());
        ASSERT_TRUE(root2);
        EXPECT_EQ(root2->name, L"root");
        ASSERT_EQ(root2->children.size(), 3u);
        EXPECT_TRUE(root2->children[1].isNull());
        EXPECT_EQ(root2->children[0].get(), root2->children[2].get());
        EXPECT_EQ(root2->peer.get(), root2->children[0].get());
        EXPECT_EQ(shared2.get(), root2->children[0].get());
        EXPECT_EQ(shared2->name, L"shared");
        EXPECT_EQ(shared2->value, 42);
        // Three handles in root2's fields, one in shared2, one held by the archive.
        EXPECT_EQ(shared2->refCount(), 5);
    }
    EXPECT_EQ(ArchiveTestNode::alive, alive0);  // everything released with the archives
}

TEST(Archive, RawPointersAndHandlesShareTheTable) {
    xcPtrHandle<ArchiveTestNode> n(new ArchiveTestNode(L"n"));
    xcPersistent* asBase = n.get();
    xcArchive ar;
    ar || n || asBase;
    const Bytes t = tail(ar.bytes());
    EXPECT_EQ(Bytes(t.end() - 5, t.end()), (Bytes{2, 0, 0, 0, 0}));  // back reference to 0
    xcArchive in(ar.bytes());
    xcPtrHandle<ArchiveTestNode> n2;
    xcPersistent* base2 = nullptr;
    in || n2 || base2;
    EXPECT_EQ(base2, n2.get());
}

TEST(Archive, CyclesAreRefusedBothWays) {
    const int alive0 = ArchiveTestNode::alive;
    {
        xcPtrHandle<ArchiveTestNode> a(new ArchiveTestNode(L"a"));
        xcPtrHandle<ArchiveTestNode> b(new ArchiveTestNode(L"b"));
        a->children = {b};
        b->peer = a;
        xcArchive ar;
        if (const auto e = expectError<xcArchive::BadData>([&] { ar || a; })) {
            EXPECT_NE(e->message().find(L"cyclic reference"), std::wstring::npos) << e->what();
        }
        EXPECT_EQ(ar.bytes(), header());
        b->peer.reset();  // break the cycle so that the nodes go away

        // A stream that refers back to the node still being read.
        xcPtrHandle<ArchiveTestNode> c(new ArchiveTestNode(L"c"));
        xcArchive ok;
        ok || c;
        Bytes bytes = ok.bytes();
        // The peer handle is the last byte (tag 0); make it a back reference to index 0.
        bytes.back() = 2;
        for (int i = 0; i < 4; ++i) bytes.push_back(0);
        xcArchive in(bytes);
        xcPtrHandle<ArchiveTestNode> c2;
        if (const auto e = expectError<xcArchive::BadData>([&] { in || c2; })) {
            EXPECT_NE(e->message().find(L"still being read"), std::wstring::npos) << e->what();
        }
        EXPECT_TRUE(c2.isNull());
    }
    EXPECT_EQ(ArchiveTestNode::alive, alive0);
}

TEST(Archive, ExceptionsRoundTripWithClassAndMessage) {
    std::vector<xcException*> errors = {new xcPel::BadWindow(L"window w"),
                                        new xcArchive::UnknownVersion("xcFoo", 12),
                                        new xcArchive::BadData(L"what", 3), new xcIOError()};
    xcArchive ar;
    for (xcException*& e : errors) ar || e;
    xcArchive in(ar.bytes());
    std::vector<xcException*> back(errors.size(), nullptr);
    for (xcException*& e : back) in || e;
    EXPECT_TRUE(in.atEnd());
    for (std::size_t i = 0; i < errors.size(); ++i) {
        ASSERT_NE(back[i], nullptr);
        EXPECT_EQ(typeid(*back[i]), typeid(*errors[i]));
        EXPECT_EQ(back[i]->message(), errors[i]->message());
        EXPECT_EQ(back[i]->errorNumber(), errors[i]->errorNumber());
    }
    auto* uv = dynamic_cast<xcArchive::UnknownVersion*>(back[1]);
    ASSERT_NE(uv, nullptr);
    EXPECT_EQ(uv->className(), L"xcFoo");
    EXPECT_EQ(uv->number(), 12);
    EXPECT_EQ(uv->message(), L"Unknown version of xcFoo (12) in the archive");
    EXPECT_EQ(back[2]->message(), L"Bad archive data at byte offset 3: what");
    EXPECT_EQ(xcArchive::UnknownVersion().message(), L"Unknown version in the archive");
    EXPECT_EQ(xcArchive::UnknownVersion(L"oc/oc", 1573).message(),
              L"Unknown version of oc/oc (1573) in the archive");
    EXPECT_STREQ(back[0]->what(), "window w");
    // A heap-made error rethrows itself as its own class.
    expectError<xcPel::BadWindow>([&] { back[0]->suicideAndRethrow(); }, L"window w");
    for (std::size_t i = 1; i < back.size(); ++i) delete back[i];
    for (xcException* e : errors) delete e;
}

TEST(Archive, ExceptionLayoutAndVersionErrorsNameTheLevel) {
    xcException* e = new xcPel::UnboundWindow(L"u");
    xcArchive ar;
    ar || e;
    delete e;
    const Bytes t = tail(ar.bytes());
    const std::wstring name = L"xcPel::UnboundWindow";
    ASSERT_EQ(t[0], 1);            // a new object
    ASSERT_EQ(t[1], name.size());  // its class name
    const std::size_t body = 1 + 4 + 4 * name.size();
    // Versions of the concrete class, xcExceptionWithString and xcException, then the message.
    const Bytes expected = {0, 0, 0, 1, 0, 0, 0, 'u', 0, 0, 0};
    EXPECT_EQ(Bytes(t.begin() + body, t.end()), expected);

    const wchar_t* levels[] = {L"xcPel::UnboundWindow", L"xcExceptionWithString", L"xcException"};
    for (int level = 0; level < 3; ++level) {
        SCOPED_TRACE(level);
        Bytes bad = ar.bytes();
        bad[8 + body + level] = 1;
        xcArchive in(bad);
        xcException* back = nullptr;
        if (const auto err = expectError<xcArchive::UnknownVersion>([&] { in || back; })) {
            EXPECT_EQ(err->className(), levels[level]);
            EXPECT_EQ(err->errorNumber(), 0x10000110);
        }
        EXPECT_EQ(back, nullptr);
    }
}

TEST(Archive, UnknownClassAndWrongClassAreBadData) {
    const int alive0 = ArchiveTestNode::alive;
    xcArchive ar;
    xcException* e = new xcIOError(L"io");
    ar || e;
    delete e;
    Bytes bytes = ar.bytes();
    bytes[8 + 1 + 4] = 'Y';  // "xcIOError" -> "YcIOError"
    {
        xcArchive in(bytes);
        xcException* back = nullptr;
        expectError<xcArchive::BadData>(
            [&] { in || back; },
            L"Bad archive data at byte offset 8: unknown persistent class \"YcIOError\"");
        EXPECT_EQ(in.position(), 8u);
    }
    {
        // An exception where a node handle is expected; then read as what it is.
        xcArchive in(ar.bytes());
        xcPtrHandle<ArchiveTestNode> node;
        EXPECT_THROW(in || node, xcArchive::BadData);
        EXPECT_EQ(in.position(), 8u);
        xcException* back = nullptr;
        in || back;
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(back->message(), L"io");
        delete back;
    }
    // Storing a class that is not registered fails and writes nothing.
    ArchiveUnregistered u;
    xcPersistent* p = &u;
    xcArchive out;
    EXPECT_THROW(out || p, xcArchive::BadData);
    EXPECT_EQ(out.bytes(), header());
    EXPECT_EQ(ArchiveTestNode::alive, alive0);
}

TEST(Archive, HeaderIsChecked) {
    EXPECT_THROW(xcArchive(Bytes{}), xcArchive::BadData);
    EXPECT_THROW(xcArchive(Bytes{'X', 'C', 'A', 'R', 1, 0, 0}), xcArchive::BadData);
    EXPECT_THROW(xcArchive(Bytes{'X', 'C', 'A', 'B', 1, 0, 0, 0}), xcArchive::BadData);
    expectError<xcArchive::BadData>(
        [&] {
            xcArchive in(Bytes{'X', 'C', 'A', 'R', 2, 0, 0, 0});
        },
        L"Bad archive data at byte offset 4: archive format 2 is not supported (1 is)");
    xcArchive empty(header());
    EXPECT_TRUE(empty.atEnd());
    bool b;
    EXPECT_THROW(empty || b, xcArchive::BadData);
    // A bool byte other than 0 or 1.
    Bytes two = header();
    two.push_back(2);
    xcArchive in(two);
    EXPECT_THROW(in || b, xcArchive::BadData);
}

TEST(Archive, VisitedMarksExchangeEachLevelOncePerObject) {
    ArchiveLevelDerived d;
    d.base = 2.5;
    d.own = 9;
    xcArchive ar;
    ar || d;
    // Derived version, base version, base field, own field: the base level once.
    EXPECT_EQ(ar.bytes().size(), 8u + 1 + 1 + 8 + 4);
    // Values exchanged one after another through the same address are each exchanged.
    for (int i = 0; i < 3; ++i) {
        xcRect r(i, i, 1, 1);
        ar || r;
    }
    xcArchive in(ar.bytes());
    ArchiveLevelDerived d2;
    in || d2;
    EXPECT_EQ(d2.base, 2.5);
    EXPECT_EQ(d2.own, 9);
    for (int i = 0; i < 3; ++i) {
        xcRect r;
        in || r;
        EXPECT_EQ(r, xcRect(i, i, 1, 1));
    }
    EXPECT_TRUE(in.atEnd());
    // Outside any exchange there is no archive to mark.
    EXPECT_FALSE(xcPersistent::haveVisited(&d, sizeof(d)));
    EXPECT_EQ(xcArchive::current(), nullptr);
}

namespace {

// Writes one of everything: the truncation test reads it back at every length.
Bytes richArchive() {
    xcArchive ar;
    unsigned char u8 = 1;
    long l = -5;
    bool t = true;
    double d = 3.5;
    std::wstring s = L"text";
    std::vector<std::vector<double>> vv = {{1, 2}, {}, {3}};
    xcXform<2> x(xcMatrix<2>(1, 2, 3, 4), xcVector<2>(5, 6));
    xcRect rect(1, 2, 3, 4);
    xcPelBuffer<unsigned char> img = patternImage(xcPelRect(1, -1, 3, 2), 5);
    xcPtrHandle<ArchiveTestNode> shared(new ArchiveTestNode(L"s", 3));
    xcPtrHandle<ArchiveTestNode> root(new ArchiveTestNode(L"r", 4));
    root->children = {shared, shared};
    root->peer = shared;
    xcException* e = new xcArchive::UnknownVersion("xcX", 2);
    ar || u8 || l || t || d || s || vv || x || rect || img || root || shared || e;
    delete e;
    return ar.bytes();
}

void readRich(xcArchive& in) {
    unsigned char u8;
    long l;
    bool t;
    double d;
    std::wstring s;
    std::vector<std::vector<double>> vv;
    xcXform<2> x;
    xcRect rect;
    xcPelBuffer<unsigned char> img;
    xcPtrHandle<ArchiveTestNode> root, shared;
    xcException* e = nullptr;
    in || u8 || l || t || d || s || vv || x || rect || img || root || shared || e;
    EXPECT_EQ(s, L"text");
    EXPECT_EQ(root->children[0].get(), shared.get());
    EXPECT_EQ(e->message(), L"Unknown version of xcX (2) in the archive");
    delete e;
}

}  // namespace

TEST(Archive, EveryTruncationIsBadData) {
    const int alive0 = ArchiveTestNode::alive;
    const Bytes full = richArchive();
    {
        xcArchive in(full);
        readRich(in);
        EXPECT_TRUE(in.atEnd());
    }
    for (std::size_t cut = 0; cut < full.size(); ++cut) {
        SCOPED_TRACE(cut);
        if (const auto e = expectError<xcArchive::BadData>([&] {
                xcArchive in(std::span<const unsigned char>(full.data(), cut));
                readRich(in);
            })) {
            const std::string m = e->what();
            EXPECT_EQ(m.rfind("Bad archive data at byte offset ", 0), 0u) << m;
        }
        EXPECT_EQ(ArchiveTestNode::alive, alive0) << "cut at " << cut;
    }
}

TEST(Archive, FilesAndStreams) {
    const std::string path = ::testing::TempDir() + "archive_test.xcar";
    {
        xcArchive out(path, xcArchive::eStore);
        std::wstring s = L"file";
        std::vector<long> v(100000, 3);  // more than one flush
        out || s || v;
        EXPECT_EQ(out.position(), 8u + 4 + 16 + 1 + 4 + 400000);
        EXPECT_THROW(out.bytes(), xcBadArgument);
        out.close();
    }
    {
        xcArchive in(path, xcArchive::eLoad);
        std::wstring s;
        std::vector<long> v;
        in || s || v;
        EXPECT_EQ(s, L"file");
        EXPECT_EQ(v.size(), 100000u);
        EXPECT_TRUE(in.atEnd());
    }
    std::remove(path.c_str());
    EXPECT_THROW(xcArchive(path, xcArchive::eLoad), xcIOError);
    EXPECT_THROW(xcArchive("/nonexistent-dir/x.xcar", xcArchive::eStore), xcIOError);

    std::ostringstream os;
    {
        xcArchive out(os);
        double d = 0.25;
        out || d;
    }  // the destructor flushes
    std::istringstream is(os.str());
    xcArchive in(is);
    double d = 0;
    in || d;
    EXPECT_EQ(d, 0.25);
}

namespace {

// A chain of `depth` nodes, each the only child of the one before, as the stream writes it:
// every level is the single node's bytes with a child count of 1 in place of 0.
Bytes nestedChain(std::size_t depth) {
    xcArchive one;
    xcPtrHandle<ArchiveTestNode> n(new ArchiveTestNode);
    one || n;
    const Bytes single = tail(one.bytes());  // ... children count (u32 0), peer tag 0
    const Bytes prefix(single.begin(), single.end() - 5);
    Bytes b = header();
    for (std::size_t i = 0; i < depth; ++i) {
        b.insert(b.end(), prefix.begin(), prefix.end());
        const unsigned char count = i + 1 < depth ? 1 : 0;
        b.insert(b.end(), {count, 0, 0, 0});
    }
    b.insert(b.end(), depth, 0);  // every level's peer: null
    return b;
}

}  // namespace

TEST(Archive, NestingIsBoundedBothWays) {
    const int alive0 = ArchiveTestNode::alive;
    {
        // The deepest nesting allowed reads back.
        xcArchive ok(nestedChain(xcArchive::kMaxNesting));
        xcPtrHandle<ArchiveTestNode> root;
        ok || root;
        EXPECT_TRUE(ok.atEnd());
        std::size_t depth = 0;
        for (const ArchiveTestNode* p = root.get(); p;
             p = p->children.empty() ? nullptr : p->children[0].get())
            ++depth;
        EXPECT_EQ(depth, xcArchive::kMaxNesting);
    }
    for (std::size_t depth : {xcArchive::kMaxNesting + 1, std::size_t{11000}}) {
        SCOPED_TRACE(depth);
        xcArchive in(nestedChain(depth));
        xcPtrHandle<ArchiveTestNode> root;
        if (const auto e = expectError<xcArchive::BadData>([&] { in || root; })) {
            EXPECT_NE(e->message().find(L"persistent objects nested more than 128 deep"),
                      std::wstring::npos)
                << e->what();
        }
        EXPECT_TRUE(root.isNull());
        EXPECT_EQ(in.position(), 8u);
        EXPECT_EQ(ArchiveTestNode::alive, alive0);
    }
    {
        // Storing a chain one level too deep writes nothing.
        xcPtrHandle<ArchiveTestNode> root(new ArchiveTestNode);
        ArchiveTestNode* last = root.get();
        for (std::size_t i = 1; i <= xcArchive::kMaxNesting; ++i) {
            last->children.push_back(xcPtrHandle<ArchiveTestNode>(new ArchiveTestNode));
            last = last->children[0].get();
        }
        xcArchive ar;
        EXPECT_THROW(ar || root, xcArchive::BadData);
        EXPECT_EQ(ar.bytes(), header());
    }
    EXPECT_EQ(ArchiveTestNode::alive, alive0);
}
