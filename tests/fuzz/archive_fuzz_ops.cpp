#include "tests/fuzz/archive_fuzz_ops.h"

const xc_Instantiator xcFuzzNode::sExemplar(typeid(xcFuzzNode), &xcFuzzNode::make);

xcFuzzState::~xcFuzzState() {
    for (xcPersistent* p : owned) {
        if (auto* e = dynamic_cast<xcException*>(p)) {
            try {
                e->suicideAndRethrow();
            } catch (const xcException& rethrown) {
                (void)rethrown.what();
            }
        } else {
            delete p;
        }
    }
}

void xfFuzzExchangeStep(xcArchive& ar, unsigned char op, xcFuzzState& st) {
    switch (op) {
        case 0: { unsigned char v = 200; ar || v; break; }
        case 1: { signed char v = -5; ar || v; break; }
        case 2: { std::uint32_t v = 0xDEADBEEF; ar || v; break; }
        case 3: { std::int32_t v = -123456; ar || v; break; }
        case 4: { long v = 2147483647L; ar || v; break; }
        case 5: { bool v = true; ar || v; break; }
        case 6: { double v = 2.5; ar || v; break; }
        case 7: { std::wstring v = L"fuzz"; ar || v; break; }
        case 8: { std::vector<std::vector<long>> v = {{1, 2}, {}, {3}}; ar || v; break; }
        case 9: { xcXform<2> v(xcMatrix<2>(1, 2, 3, 4), xcVector<2>(5, 6)); ar || v; break; }
        case 10: { xcRange v(-1, 1); ar || v; break; }
        case 11: { xcRadian v(0.5); ar || v; break; }
        case 12: { xc2Rigid v(xcVector<2>(1, 2), xcRadian(0.25)); ar || v; break; }
        case 13: { xcVector<2> v(7, 8); ar || v; break; }
        case 14: { xcPelRect v(-2, 3, 4, 5); ar || v; break; }
        case 15: { xcRect v(1, 2, 3, 4); ar || v; break; }
        case 16: {
            xcPelBuffer<unsigned char> v(xcPelRect(-1, 2, 3, 2));
            v.set(0, 3, 9);
            ar || v;
            if (ar.isLoading() && v.isBound()) (void)v.window();
            break;
        }
        case 17: {
            xcNMMatrix v(2, 2, 1.5);
            ar || v;
            break;
        }
        case 18: {
            // A raw pointer to any registered class.
            xcPersistent* p = nullptr;
            if (ar.isStoring()) {
                static xcPel::BadWindow stored(L"stored error");
                p = &stored;
            }
            ar || p;
            if (ar.isLoading() && p && !dynamic_cast<xcRepBase*>(p)) st.owned.insert(p);
            break;
        }
        case 19: {
            // A raw exception pointer that rethrows itself as its own class.
            xcException* e = nullptr;
            if (ar.isStoring()) {
                static xcArchive::UnknownVersion stored("xcFuzzNode", 3);
                e = &stored;
            }
            ar || e;
            if (ar.isLoading() && e) {
                (void)e->what();
                (void)e->errorNumber();
                st.owned.insert(e);
            }
            break;
        }
        case 20: {
            xcPtrHandle<xcFuzzNode> h;
            if (ar.isStoring() && !st.nodes.empty()) h = st.nodes.back();
            ar || h;
            if (ar.isLoading() && h) st.nodes.push_back(h);
            break;
        }
        default: {
            std::vector<xcPtrHandle_const<xcFuzzNode>> v;
            if (ar.isStoring())
                for (const auto& n : st.nodes) v.emplace_back(n);
            ar || v;
            break;
        }
    }
}
