// A program of another project using the installed library: it arranges an empty target
// (which needs no font) and checks the answer.
#include <cstdio>

#include "oc/arrange/arrange.h"
#include "oc/font/alphabet.h"

int main() {
    xcPelBuffer<unsigned char> image(64, 32);
    xcOCAlphabet alphabet;
    xcOCArrangeResults results;
    xfOCArrange(image, alphabet, {}, xcOCArrangeParams(), results);
    if (!results.isFound() || results.arrangement()->numLines() != 0) return 1;
    std::printf("consumer ok\n");
    return 0;
}
