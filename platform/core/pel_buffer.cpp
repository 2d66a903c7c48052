#include "platform/core/pel_buffer.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

namespace {

std::wstring rectText(const xcPelRect& r) {
    return L"(" + std::to_wstring(r.x()) + L", " + std::to_wstring(r.y()) + L", " +
           std::to_wstring(r.width()) + L" x " + std::to_wstring(r.height()) + L")";
}

}  // namespace

xc_PelBuffer::xc_PelBuffer(const xcPelRect& extent, long pelSize) {
    if (extent.width() < 0 || extent.height() < 0)
        throw xcBadArgument(L"Pel buffer size must not be negative: " + rectText(extent));
    constexpr long kAlign = 64;  // rows start on cache lines, so vector loads stay aligned
    const long rowBytes = extent.width() * pelSize;
    if (extent.width() > 0 && rowBytes / extent.width() != pelSize)
        throw xcBadArgument(L"Pel buffer too large");
    const long stride = (rowBytes + kAlign - 1) / kAlign * kAlign;
    if (extent.height() > 0 &&
        stride > std::numeric_limits<long>::max() / std::max<long>(extent.height(), 1))
        throw xcBadArgument(L"Pel buffer too large");
    const std::size_t bytes = static_cast<std::size_t>(std::max<long>(stride * extent.height(), 1));
    void* mem = std::aligned_alloc(kAlign, (bytes + kAlign - 1) / kAlign * kAlign);
    if (!mem) throw std::bad_alloc();
    std::memset(mem, 0, bytes);
    auto root = std::make_shared<xc_PelRoot>();
    root->data = static_cast<unsigned char*>(mem);
    root->rowUpdate = stride;
    root->pelSize = pelSize;
    root->extent = extent;
    root->owner = std::shared_ptr<void>(mem, std::free);
    m_root = std::move(root);
    m_window = extent;
}

xc_PelBuffer::xc_PelBuffer(void* data, long width, long height, long rowUpdate, long pelSize,
                           std::shared_ptr<void> owner) {
    if (width < 0 || height < 0)
        throw xcBadArgument(L"Pel buffer size must not be negative");
    if (!data && width > 0 && height > 0) throw xcBadArgument(L"Pel buffer memory is null");
    if (height > 1 && rowUpdate < width * pelSize)
        throw xcBadArgument(L"Row update " + std::to_wstring(rowUpdate) +
                            L" is smaller than a row of " + std::to_wstring(width) + L" pixels");
    auto root = std::make_shared<xc_PelRoot>();
    root->data = static_cast<unsigned char*>(data);
    root->rowUpdate = rowUpdate;
    root->pelSize = pelSize;
    root->extent = xcPelRect(0, 0, width, height);
    root->owner = std::move(owner);
    m_root = std::move(root);
    m_window = m_root->extent;
}

void xc_PelBuffer::window(const xcPelRect& r, bool clip) {
    checkBound_();
    if (clip) {
        xcPelRect c = m_window.intersect(r);
        // An empty intersection keeps its position when it can, so offsets stay meaningful.
        m_window = c.isNull() ? xcPelRect(m_window.x(), m_window.y(), 0, 0) : c;
        return;
    }
    const xcPelRect& w = m_window;
    if (r.width() < 0 || r.height() < 0 || r.x() < w.x() || r.y() < w.y() ||
        r.x() + r.width() > w.x() + w.width() || r.y() + r.height() > w.y() + w.height())
        throw xcPel::BadWindow(L"Window " + rectText(r) + L" is not inside the window " +
                               rectText(m_window));
    m_window = r;
}

void xc_PelBuffer::setEntire() {
    checkBound_();
    m_window = m_root->extent;
}

void xc_PelBuffer::checkPixel_(long x, long y) const {
    checkBound_();
    if (!m_window.contains(x, y))
        throw xcPel::BadWindow(L"Pixel (" + std::to_wstring(x) + L", " + std::to_wstring(y) +
                               L") is outside the window " + rectText(m_window));
}

const xc2XformBase& xc_PelBuffer::clientFromImageXformBase() const {
    if (m_general) return *m_general;
    return m_linear;
}

std::shared_ptr<const xc2XformBase> xc_PelBuffer::clientFromImageXformBasePtr() const {
    if (m_general) return m_general;
    return std::make_shared<xc2XformLinear>(m_linear);
}

const xcXform<2>& xc_PelBuffer::clientFromImageXform() const {
    if (m_general)
        throw xcBadArgument(L"The client-from-image transform is not linear");
    return m_linear.xform();
}

xcXform<2> xc_PelBuffer::imageFromClientXform() const { return clientFromImageXform().inverse(); }

void xc_PelBuffer::clientFromImageXform(const xcXform<2>& x) {
    m_linear = xc2XformLinear(x);
    m_general.reset();
}

void xc_PelBuffer::clientFromImageXformBase(std::shared_ptr<const xc2XformBase> x) {
    if (!x) {
        clientFromImageXform(xcXform<2>());
        return;
    }
    if (auto lin = dynamic_cast<const xc2XformLinear*>(x.get())) {
        clientFromImageXform(lin->xform());
        return;
    }
    m_general = std::move(x);
}
