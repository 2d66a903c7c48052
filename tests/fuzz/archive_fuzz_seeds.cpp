// Writes the seed corpus of the archive fuzzer: valid archives of the operand mix, one per
// file, into the folder given as the only argument.
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/fuzz/archive_fuzz_ops.h"

namespace {

void writeSeed(const std::string& path, const std::vector<unsigned char>& ops, xcFuzzState& st) {
    xcArchive ar;
    for (unsigned char op : ops) {
        unsigned char code = op;
        ar || code;
        xfFuzzExchangeStep(ar, op, st);
    }
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(ar.bytes().data()),
              static_cast<std::streamsize>(ar.bytes().size()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    xcFuzzState st;
    // A small graph: a root with two children sharing one grandchild, and a peer.
    xcPtrHandle<xcFuzzNode> leaf(new xcFuzzNode);
    leaf->name = L"leaf";
    leaf->ranges = {xcRange(0, 1), xcRange::full()};
    leaf->image = xcPelBuffer<unsigned char>(3, 2);
    xcPtrHandle<xcFuzzNode> a(new xcFuzzNode), b(new xcFuzzNode), root(new xcFuzzNode);
    a->children = {leaf};
    b->children = {leaf, leaf};
    b->peer = a;
    root->children = {a, b};
    root->area = xcRect(1, 2, 3, 4);
    st.nodes = {leaf, a, root};

    std::vector<unsigned char> all;
    for (unsigned char op = 0; op < kFuzzOps; ++op) {
        all.push_back(op);
        writeSeed(dir + "/seed_op" + std::to_string(op), {op}, st);
    }
    writeSeed(dir + "/seed_all", all, st);
    writeSeed(dir + "/seed_graph", {20, 21, 18, 19, 20}, st);
    return 0;
}
