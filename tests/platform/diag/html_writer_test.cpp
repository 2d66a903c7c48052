#include "platform/diag/html_writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <regex>
#include <sstream>
#include <string>

#include "platform/diag/graphic_shapes.h"
#include "platform/diag/html_text.h"
#include "platform/io/png_io.h"
#include "tests/support/expect_error.h"

namespace fs = std::filesystem;

namespace {

// A folder under the system temp directory, removed with its contents at the end.
struct TempDir {
    fs::path path;
    TempDir() {
        path = fs::temp_directory_path() /
               ("diag_html_test_" +
                std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        fs::create_directories(path);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

std::string readFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

template <class G>
xcGraphicHandle make(G* g) {
    return xcGraphicHandle(g);
}

// The number of open <details> elements just before `id` opens.
int depthAt(const std::string& html, const std::string& id) {
    const std::size_t at = html.find("<details class=\"rec\" id=\"" + id + "\"");
    if (at == std::string::npos) return -1;
    int depth = 0;
    for (std::size_t p = 0; p < at;) {
        const std::size_t open = html.find("<details", p), close = html.find("</details>", p);
        const std::size_t next = std::min(open, close);
        if (next >= at) break;
        depth += next == open ? 1 : -1;
        p = next + 1;
    }
    return depth;
}

// The SVG layer of record `rec`, list `k`.
std::string layer(const std::string& html, int rec, int k) {
    const std::string tag =
        "data-layer-id=\"L" + std::to_string(rec) + "-" + std::to_string(k) + "\"";
    const std::size_t a = html.find(tag);
    if (a == std::string::npos) return "";
    return html.substr(a, html.find("</g>\n</g>", a) - a + 4);
}

std::size_t count(const std::string& s, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t p = s.find(what); p != std::string::npos; p = s.find(what, p + 1)) ++n;
    return n;
}

// An object with nested records, images, texts and every kind of graphic. Record 0's image
// is the window (5, 3, 20, 10) of a 30 x 20 root, with client = 2 image + (10, 20).
void fill(xcDiagObject& d) {
    xcPelBuffer<unsigned char> root(30, 20);
    for (long y = 0; y < 20; ++y)
        for (long x = 0; x < 30; ++x) root.set(x, y, static_cast<unsigned char>(x * 8 + y));
    xcPelBuffer<unsigned char> img = root;
    img.window(xcPelRect(5, 3, 20, 10));
    img.clientFromImageXform(xcXform<2>(xcMatrix<2>(2, 0, 0, 2), {10, 20}));

    xcDiagRecord* r0 = xf_AddImage(&d, img, L"Input <image> & \"friends\"", false);
    r0->text(std::wstring(L"Size:\t20 x 10\nbad <tag>\n") + L'\0', L"Image info");
    xcGraphicList imageList;
    imageList.append(make(new xcGraphicWithFill<xcRect, xcGenRect>(xcRect(6, 4, 3, 2),
                                                                   xcColor::greenColor(), false)));
    r0->graphics(imageList, 1, L"Image area");
    xcGraphicList clientList;
    clientList.append(make(new xcGraphicSimple<xcLineSeg>(
        xcLineSeg({20, 30}, {40, 50}), xcGraphicProps(xcColor::redColor(), 2, 0, false))));
    clientList.append(make(new xcGraphicPointIcon({30, 40}, xcColor::yellowColor())));
    clientList.append(make(new xcGraphicSimple<xcEllipseArc2>(
        xcEllipseArc2(xcEllipse2({30, 40}, 4, 4), xcRadian(0.0), xcRadian(std::numbers::pi / 2)),
        xcColor::blueColor())));
    clientList.append(make(new xcGraphicSimple<xcAffineRectangle>(
        xcAffineRectangle({12, 22}, {16, 22}, {12, 26}), xcColor::orangeColor())));
    clientList.append(make(new xcGraphicSimple<xcCoordAxes>(
        xcCoordAxes({10, 20}, {14, 20}, {10, 24}), xcColor::blueColor())));
    r0->graphics(clientList, 2, L"Client shapes");

    d.level(1);
    xcGraphicList needle;
    needle.append(
        make(new xcGraphicSimple<xcLineSeg>(xcLineSeg({10, 20}, {12, 20}), xcColor::greenColor())));
    xf_AddGraphics(&d, needle, L"Character 'A' Result #0", 2);  // drawn on record 0's image
    xf_AddText(&d, std::wstring(L"Found Char Model 'A'\n") + L'\0', L"Result details");
    d.level(2);
    xcPelBuffer<unsigned char> mask(3, 2);
    xf_AddImage(&d, mask, L"mask", true);
    d.level(0);
    xcGraphicList free;
    free.append(
        make(new xcGraphicSimple<xcLineSeg>(xcLineSeg({0, 0}, {100, 50}), xcColor::redColor())));
    xf_AddGraphics(&d, free, L"No image here", 1);
}

}  // namespace

TEST(DiagHtml, WritesEveryRecordNestedWithMappedGraphics) {
    TempDir tmp;
    xcDiagObject d;
    fill(d);
    const fs::path folder = tmp.path / "report";
    const fs::path index = xfWriteDiagHtml(d, folder);
    EXPECT_EQ(index, folder / "index.html");
    ASSERT_TRUE(fs::is_regular_file(index));
    const std::string html = readFile(index);

    // Image files: one per record with pixels, holding the window.
    ASSERT_TRUE(fs::is_regular_file(folder / "images" / "rec-0000.png"));
    ASSERT_TRUE(fs::is_regular_file(folder / "images" / "rec-0003.png"));
    EXPECT_FALSE(fs::exists(folder / "images" / "rec-0001.png"));
    const xcPelBuffer<unsigned char> back = xfReadPng(folder / "images" / "rec-0000.png");
    ASSERT_EQ(back.width(), 20);
    ASSERT_EQ(back.height(), 10);
    EXPECT_EQ(back.get(0, 0), 5 * 8 + 3);
    EXPECT_EQ(back.get(19, 9), 24 * 8 + 12);
    // No temporary folders left beside the report.
    for (const auto& e : fs::directory_iterator(tmp.path)) EXPECT_EQ(e.path().filename(), "report");

    // Every record, its title escaped, nested by level.
    EXPECT_NE(html.find("Input &lt;image&gt; &amp; &quot;friends&quot;"), std::string::npos);
    EXPECT_EQ(html.find("Input <image>"), std::string::npos);
    EXPECT_EQ(depthAt(html, "rec-0"), 0);
    EXPECT_EQ(depthAt(html, "rec-1"), 1);
    EXPECT_EQ(depthAt(html, "rec-2"), 1);
    EXPECT_EQ(depthAt(html, "rec-3"), 2);
    EXPECT_EQ(depthAt(html, "rec-4"), 0);
    EXPECT_EQ(count(html, "<details"), 5u);
    EXPECT_EQ(count(html, "</details>"), 5u);
    EXPECT_EQ(count(html, "<figure"), count(html, "</figure>"));
    EXPECT_EQ(count(html, "<svg"), count(html, "</svg>"));
    EXPECT_EQ(count(html, "<pre>"), 2u);

    // Texts: escaped, tabs kept, the stream's end marker dropped.
    EXPECT_NE(html.find("<h4>Image info</h4><pre>Size:\t20 x 10\nbad &lt;tag&gt;\n</pre>"),
              std::string::npos);
    EXPECT_NE(html.find("<pre>Found Char Model &#39;A&#39;\n</pre>"), std::string::npos);
    EXPECT_EQ(html.find('\0'), std::string::npos);
    EXPECT_EQ(html.find("\u2400"), std::string::npos);

    // Image coordinates less the window offset (5, 3).
    EXPECT_NE(layer(html, 0, 0)
                  .find("<polygon points=\"1,1 4,1 4,3 1,3\" stroke=\"#00dc00\" "
                        "stroke-width=\"1\" fill=\"none\"/>"),
              std::string::npos);
    // Client coordinates through the inverse of client = 2 image + (10, 20), less (5, 3).
    const std::string client = layer(html, 0, 1);
    EXPECT_NE(client.find("<polyline points=\"0,2 10,12\" stroke=\"#ff2828\" stroke-width=\"2\""),
              std::string::npos);
    EXPECT_NE(client.find("<circle cx=\"5\" cy=\"7\" r=\"3\""), std::string::npos);
    EXPECT_NE(client.find("<path d=\"M 7,7 A 2 2 "), std::string::npos);
    EXPECT_NE(client.find(" 0 1 5,9\""), std::string::npos);  // small arc, positive sweep
    EXPECT_NE(client.find("<polygon points=\"-4,-2 -2,-2 -2,0 -4,0\""), std::string::npos);
    EXPECT_NE(client.find("<polyline points=\"-3,-3 -5,-3 -5,-1\""), std::string::npos);
    EXPECT_NE(client.find("<title>Line segment (20, 30) to (40, 50)</title>"), std::string::npos);
    EXPECT_EQ(count(client, "<g class=\"gr\">"), 5u);
    EXPECT_NE(html.find("data-x0=\"5\" data-y0=\"3\" data-w=\"20\" data-h=\"10\""),
              std::string::npos);
    EXPECT_NE(html.find("data-xf=\"2 0 0 2 10 20\""), std::string::npos);

    // A graphics record without an image is drawn on its parent's image, mapped the same way.
    EXPECT_NE(layer(html, 1, 0).find("<polyline points=\"-5,-3 -4,-3\""), std::string::npos);
    EXPECT_NE(html.find("Drawn on the image of record #0"), std::string::npos);
    EXPECT_EQ(count(html, "<img src=\"images/rec-0000.png\""), 2u);
    // With no image above, on a canvas fitted to the shapes (margin 8 around 100 x 50).
    EXPECT_NE(layer(html, 4, 0).find("<polyline points=\"8,8 108,58\""), std::string::npos);
    EXPECT_NE(html.find("viewBox=\"0 0 116 66\""), std::string::npos);
}

TEST(DiagHtml, RewritesAnExistingFolderAndDropsStaleImages) {
    TempDir tmp;
    const fs::path folder = tmp.path / "out";
    xcDiagObject big;
    fill(big);
    EXPECT_EQ(xfWriteDiagHtml(big, folder / ""), folder / "index.html");  // "out/" is "out"
    for (const auto& e : fs::directory_iterator(tmp.path)) EXPECT_EQ(e.path().filename(), "out");
    ASSERT_TRUE(fs::exists(folder / "images" / "rec-0003.png"));
    std::ofstream(folder / "notes.txt") << "mine";
    std::ofstream(folder / "images" / "other.png") << "not ours";

    xcDiagObject small;
    xf_AddImage(&small, xcPelBuffer<unsigned char>(2, 2), L"only one", false);
    xfWriteDiagHtml(small, folder);
    const std::string html = readFile(folder / "index.html");
    EXPECT_NE(html.find("only one"), std::string::npos);
    EXPECT_EQ(html.find("Input &lt;image&gt;"), std::string::npos);
    EXPECT_TRUE(fs::exists(folder / "images" / "rec-0000.png"));
    EXPECT_FALSE(fs::exists(folder / "images" / "rec-0003.png"));
    EXPECT_TRUE(fs::exists(folder / "images" / "other.png"));
    EXPECT_TRUE(fs::exists(folder / "notes.txt"));
    for (const auto& e : fs::directory_iterator(folder))
        EXPECT_EQ(e.path().filename().string().find(".tmp-"), std::string::npos);
}

TEST(DiagHtml, BadDestinationsAndTransforms) {
    TempDir tmp;
    xcDiagObject d;
    fill(d);
    EXPECT_THROW(xfWriteDiagHtml(d, fs::path()), xcBadArgument);
    const fs::path file = tmp.path / "a_file";
    std::ofstream(file) << "x";
    if (const auto e = expectError<xcIOError>([&] { xfWriteDiagHtml(d, file); })) {
        EXPECT_NE(e->message().find(L"it exists and is not a folder"), std::wstring::npos);
    }
    EXPECT_EQ(readFile(file), "x");
    EXPECT_THROW(xfWriteDiagHtml(d, file / "sub"), xcIOError);

    // A singular client-from-image transform: client graphics are listed, not drawn.
    xcDiagObject s;
    xcPelBuffer<unsigned char> img(4, 4);
    img.clientFromImageXform(xcXform<2>(xcMatrix<2>(1, 2, 2, 4), {0, 0}));
    xcDiagRecord* r = xf_AddImage(&s, img, L"flat", false);
    xcGraphicList l;
    l.append(xcGraphicHandle(new xcGraphicPointIcon({1, 1})));
    r->graphics(l, 2, L"points");
    xfWriteDiagHtml(s, tmp.path / "flat");
    const std::string html = readFile(tmp.path / "flat" / "index.html");
    EXPECT_NE(html.find("cannot be inverted"), std::string::npos);
    EXPECT_EQ(html.find("<circle"), std::string::npos);
}

TEST(DiagHtml, EscapesAndNumbers) {
    EXPECT_EQ(xf_HtmlEscape(L"a<b>&\"'"), "a&lt;b&gt;&amp;&quot;&#39;");
    EXPECT_EQ(xf_HtmlEscape(std::wstring(L"x\0y\0\0", 5)), "x\u2400y");
    EXPECT_EQ(xf_HtmlEscape(L"\x1b\x7f\t\n"), "\u241b\u2421\t\n");
    EXPECT_EQ(xf_HtmlEscape(std::wstring(1, static_cast<wchar_t>(0xD800))), "\uFFFD");
    EXPECT_EQ(xf_HtmlEscape(L"\u00e9\U0001F600"), "\u00e9\U0001F600");
    EXPECT_EQ(xf_SvgNumber(1.5), "1.5");
    EXPECT_EQ(xf_SvgNumber(-0.0001), "0");
    EXPECT_EQ(xf_SvgNumber(2.0), "2");
    EXPECT_EQ(xf_SvgNumber(-12.3456), "-12.346");
}

TEST(DiagHtml, SummaryLegendFeaturedFigureAndSharedImages) {
    TempDir tmp;
    xcDiagObject d;
    xcPelBuffer<unsigned char> img(12, 8);
    img.set(3, 2, 200);
    xf_AddImage(&d, img, L"first", false);
    xcPelBuffer<unsigned char> part = img;
    part.window(xcPelRect(2, 1, 5, 4));
    xf_AddImage(&d, part, L"narrowed", false);  // same root, other window: its own file
    xcDiagRecord* out = xf_AddImage(&d, img, L"again & <more>", false);  // shares file 0
    xcGraphicList l;
    l.append(make(new xcGraphicPointIcon({4, 4}, xcColor::greenColor())));
    out->graphics(l, 1, L"marks");
    xf_AddImage(&d, img, L"copied", true);  // a copy of the pixels: its own file

    xcDiagHtmlPage page;
    page.title = L"Run <1>";
    page.facts = {{L"Target", L"'AB'"}, {L"Time", L"12 ms"}};
    page.tableCaption = L"Positions";
    page.tableHeader = {L"Index", L"Status"};
    page.tableRows = {{{L"0", false, {}}, {L"matched", true, xcColor::greenColor()}}};
    page.legend = {{xcColor::orangeColor(), L"inferred character"}};
    page.featuredRecord = 2;
    xfWriteDiagHtml(d, tmp.path / "p", page);
    const std::string html = readFile(tmp.path / "p" / "index.html");

    EXPECT_NE(html.find("<title>Run &lt;1&gt;</title>"), std::string::npos);
    EXPECT_NE(html.find("<h1>Run &lt;1&gt;</h1>"), std::string::npos);
    EXPECT_NE(html.find("<dt>Target</dt><dd>&#39;AB&#39;</dd>"), std::string::npos);
    EXPECT_NE(html.find("<dt>Time</dt><dd>12 ms</dd>"), std::string::npos);
    EXPECT_NE(html.find("<caption>Positions</caption><thead><tr><th>Index</th><th>Status</th>"),
              std::string::npos);
    EXPECT_NE(html.find("<td><span class=\"sw\" style=\"background:#00dc00\"></span>matched</td>"),
              std::string::npos);
    EXPECT_NE(
        html.find("<span class=\"sw\" style=\"background:#ff9600\"></span>inferred character"),
        std::string::npos);
    // The featured figure comes before the records and links to its record.
    const std::size_t featured = html.find("<a href=\"#rec-2\">again &amp; &lt;more&gt;</a>");
    ASSERT_NE(featured, std::string::npos);
    EXPECT_LT(featured, html.find("<details class=\"rec\""));
    EXPECT_EQ(count(html, "data-layer-id=\"L2-0\""), 2u);

    // One file per distinct view of pixels.
    EXPECT_TRUE(fs::exists(tmp.path / "p" / "images" / "rec-0000.png"));
    EXPECT_TRUE(fs::exists(tmp.path / "p" / "images" / "rec-0001.png"));
    EXPECT_FALSE(fs::exists(tmp.path / "p" / "images" / "rec-0002.png"));
    EXPECT_TRUE(fs::exists(tmp.path / "p" / "images" / "rec-0003.png"));
    EXPECT_EQ(count(html, "<img src=\"images/rec-0000.png\""), 3u);  // 0, 2 and the summary
    EXPECT_EQ(xfReadPng(tmp.path / "p" / "images" / "rec-0001.png").get(1, 1), 200);

    // A default page has no summary; an out-of-range featured record is ignored.
    xcDiagHtmlPage plain;
    plain.featuredRecord = 9;
    xfWriteDiagHtml(d, tmp.path / "q", plain);
    const std::string q = readFile(tmp.path / "q" / "index.html");
    EXPECT_EQ(q.find("<section class=\"page-summary\""), std::string::npos);
    EXPECT_NE(q.find("<h1>Diagnostics</h1>"), std::string::npos);
}
