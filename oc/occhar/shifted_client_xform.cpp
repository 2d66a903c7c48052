#include "oc/occhar/shifted_client_xform.h"

#include <memory>

#include "platform/core/xform_base.h"

namespace {

// A non-linear client-from-image transform followed by a translation by -shift: what
// moveOrigin makes of a transform it cannot fold into a matrix and an offset.
class xc_ShiftedClientXform : public xc2XformBase {
public:
    xc_ShiftedClientXform(std::shared_ptr<const xc2XformBase> base, const xcVector<2>& shift)
        : m_base(std::move(base)), m_shift(shift) {}

    xcVector<2> mapPoint(const xcVector<2>& p) const override {
        return m_base->mapPoint(p) - m_shift;
    }
    bool isLinear() const override { return m_base->isLinear(); }
    xc2XformLinear linearAt(const xcVector<2>& p) const override {
        return xc2XformLinear(xcXform<2>::translation(-m_shift)) * m_base->linearAt(p);
    }
    std::shared_ptr<xc2XformBase> clone() const override {
        return std::make_shared<xc_ShiftedClientXform>(*this);
    }

    const std::shared_ptr<const xc2XformBase>& base() const { return m_base; }
    const xcVector<2>& shift() const { return m_shift; }

private:
    std::shared_ptr<const xc2XformBase> m_base;
    xcVector<2> m_shift;
};

}  // namespace

void xf_ShiftClientFrame(xc_PelBuffer& buffer, const xcVector<2>& v) {
    const xc2XformBase& base = buffer.clientFromImageXformBase();
    if (base.isLinear()) {
        const xcXform<2>& cfi = buffer.clientFromImageXform();
        buffer.clientFromImageXform(xcXform<2>::translation(-v) * cfi);
        return;
    }
    std::shared_ptr<const xc2XformBase> ptr = buffer.clientFromImageXformBasePtr();
    if (auto shifted = std::dynamic_pointer_cast<const xc_ShiftedClientXform>(ptr))
        buffer.clientFromImageXformBase(
            std::make_shared<xc_ShiftedClientXform>(shifted->base(), shifted->shift() + v));
    else
        buffer.clientFromImageXformBase(std::make_shared<xc_ShiftedClientXform>(ptr, v));
}
