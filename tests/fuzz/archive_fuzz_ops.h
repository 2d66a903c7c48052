// The operand mix that the archive fuzzer reads, shared with the seed writer that stores it.
//
// A fuzz input is an archive whose body is a list of steps: a u8 operation code, then the
// operand of that kind. Storing and loading go through the same exchangeStep(), as every
// operator|| does, so the seeds the writer produces are exactly what the reader expects.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/core/archive.h"
#include "platform/core/archive_geometry.h"

// A reference-counted persistent node with a bit of everything: values, a vector of handles
// to other nodes (shared and back-referenced), a const handle and an image.
class xcFuzzNode : public xcPersistent, public xcRepBase {
public:
    xcFuzzNode() = default;

    std::wstring name;
    long value = 0;
    xcRect area;
    std::vector<xcRange> ranges;
    std::vector<xcPtrHandle<xcFuzzNode>> children;
    xcPtrHandle_const<xcFuzzNode> peer;
    xcPelBuffer<unsigned char> image;

protected:
    void dispatchSerialize(xcArchive& ar) override {
        if (haveVisited(this, sizeof(xcFuzzNode))) return;
        unsigned char version = 1;
        ar || version;
        if (version > 1) throw xcArchive::UnknownVersion("xcFuzzNode", 0);
        ar || name || value || area || ranges || children || peer;
        if (version >= 1) ar || image;
        setVisited(this, sizeof(xcFuzzNode));
    }

private:
    static xcPersistent* make() { return new xcFuzzNode; }
    static const xc_Instantiator sExemplar;
};

// What a run keeps between steps: the nodes read so far and the plain (not counted) objects
// it received through raw pointers. Those stay alive while the archive may refer back to
// them; the state frees them at the end, an exception by rethrowing itself.
struct xcFuzzState {
    std::vector<xcPtrHandle<xcFuzzNode>> nodes;
    std::set<xcPersistent*> owned;
    xcFuzzState() = default;
    xcFuzzState(const xcFuzzState&) = delete;
    xcFuzzState& operator=(const xcFuzzState&) = delete;
    ~xcFuzzState();
};

constexpr unsigned char kFuzzOps = 22;

// Exchanges one operand of kind `op` (op < kFuzzOps). Storing writes the state's values.
void xfFuzzExchangeStep(xcArchive& ar, unsigned char op, xcFuzzState& st);
