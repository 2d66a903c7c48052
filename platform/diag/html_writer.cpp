#include "platform/diag/html_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"
#include "platform/diag/html_assets.h"
#include "platform/diag/html_summary.h"
#include "platform/diag/html_text.h"
#include "platform/diag/svg_painter.h"
#include "platform/io/png_io.h"

namespace fs = std::filesystem;

namespace {

// ---- Files ---------------------------------------------------------------------------------

std::wstring pathText(const fs::path& p) {
    const std::u8string u = p.u8string();
    return xfFromUtf8(std::string(reinterpret_cast<const char*>(u.data()), u.size()));
}

[[noreturn]] void ioError(const std::wstring& what, const fs::path& p, const std::error_code& ec) {
    throw xcIOError(what + L" '" + pathText(p) + L"': " + xfFromUtf8(ec.message()));
}

// A name beside `target` that nothing uses yet.
fs::path temporarySibling(const fs::path& target) {
    static std::atomic<unsigned> counter{0};
    std::random_device rd;
    const unsigned long tag =
        (static_cast<unsigned long>(rd()) << 8) ^
        static_cast<unsigned long>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (;;) {
        fs::path p = target;
        p += ".tmp-" + std::to_string(tag % 1000000007UL) + "-" + std::to_string(counter++);
        std::error_code ec;
        if (!fs::exists(p, ec)) return p;
    }
}

void writeText(const fs::path& p, const std::string& text) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    if (out) out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (out) out.close();
    if (!out) throw xcIOError(L"Cannot write the diagnostics page '" + pathText(p) + L"'");
}

// Writes `text` to `p` through a temporary file and a rename.
void replaceText(const fs::path& p, const std::string& text) {
    const fs::path tmp = temporarySibling(p);
    try {
        writeText(tmp, text);
    } catch (...) {
        std::error_code ignored;
        fs::remove(tmp, ignored);
        throw;
    }
    std::error_code ec;
    fs::rename(tmp, p, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(tmp, ignored);
        ioError(L"Cannot replace the diagnostics page", p, ec);
    }
}

std::string imageFileName(long index) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "rec-%04ld.png", index);
    return buf;
}

bool isOurImageFile(const std::string& name) {
    if (name.size() < 12 || name.compare(0, 4, "rec-") != 0) return false;
    if (name.compare(name.size() - 4, 4, ".png") != 0) return false;
    for (std::size_t i = 4; i < name.size() - 4; ++i)
        if (name[i] < '0' || name[i] > '9') return false;
    return true;
}

// ---- The record tree -----------------------------------------------------------------------

// Records nest under the last earlier record of a lower level; in index order they are
// already a depth-first walk of that tree.
struct xc_Tree {
    std::vector<long> parent;    // -1 at the top
    std::vector<long> children;  // number of children
};

xc_Tree buildTree(const xcDiagObject& diag) {
    const long n = diag.numRecords();
    xc_Tree t{std::vector<long>(n, -1), std::vector<long>(n, 0)};
    std::vector<long> open;
    for (long i = 0; i < n; ++i) {
        const long level = diag.diagRecord(i)->level();
        while (!open.empty() && diag.diagRecord(open.back())->level() >= level) open.pop_back();
        if (!open.empty()) {
            t.parent[i] = open.back();
            ++t.children[open.back()];
        }
        open.push_back(i);
    }
    return t;
}

bool hasPixels(const xcDiagRecord& r) {
    return r.hasImage() && r.image().width() > 0 && r.image().height() > 0;
}

// For each record with pixels, the record whose image file shows them: the first record whose
// image views the same root buffer through the same window (the pixels are shared, so they
// are the same); -1 for a record without pixels.
std::vector<long> imageFiles(const xcDiagObject& diag) {
    const long n = diag.numRecords();
    std::vector<long> file(static_cast<std::size_t>(n), -1);
    std::vector<long> written;
    for (long i = 0; i < n; ++i) {
        const xcDiagRecord& r = *diag.diagRecord(i);
        if (!hasPixels(r)) continue;
        file[i] = i;
        for (long k : written) {
            const xcDiagRecord& o = *diag.diagRecord(k);
            if (o.image().sharesRoot(r.image()) && o.image().window() == r.image().window()) {
                file[i] = k;
                break;
            }
        }
        if (file[i] == i) written.push_back(i);
    }
    return file;
}

// The record whose image the graphics of record i are drawn on, or -1.
long imageHost(const xcDiagObject& diag, const xc_Tree& t, long i) {
    for (long k = i; k >= 0; k = t.parent[k])
        if (hasPixels(*diag.diagRecord(k))) return k;
    return -1;
}

// ---- Text pieces ---------------------------------------------------------------------------

std::string plural(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string xformText(const xcXform<2>& x) {
    if (x == xcXform<2>()) return "identity";
    const xcMatrix<2>& m = x.matrix();
    std::string s = "[";
    s += xf_ShortNumber(m(0, 0)) + " " + xf_ShortNumber(m(0, 1));
    s += "; " + xf_ShortNumber(m(1, 0)) + " " + xf_ShortNumber(m(1, 1));
    s += "] + (" + xf_ShortNumber(x.trans().x()) + ", " + xf_ShortNumber(x.trans().y()) + ")";
    return s;
}

// A zoom that shows small images large and large ones whole: integer steps up to 16 for a
// picture under 320 pixels, a fraction for one over 960 pixels wide or 720 high.
double initialZoom(double w, double h) {
    const double big = std::max(w, h);
    if (big <= 0) return 1.0;
    if (big < 320) return std::clamp(std::floor(320 / big), 1.0, 16.0);
    const double fit = std::min(960 / w, 720 / h);
    return fit < 1 ? fit : 1.0;
}

// The colour that stands for a graphic list in the legend: its first graphic's.
std::string listColour(const xcGraphicList& list) {
    return list.empty() ? std::string("#9aa3ad") : list.items().front()->props().color().hex();
}

// ---- The page ------------------------------------------------------------------------------

class xc_PageWriter {
public:
    xc_PageWriter(const xcDiagObject& diag, const xcDiagHtmlPage& page,
                  const std::vector<long>& files)
        : m_diag(diag), m_page(page), m_files(files), m_tree(buildTree(diag)) {}

    std::string page();

private:
    void summary_();
    void toc_();
    void record_(long i);
    void figure_(long i);
    void texts_(const xcDiagRecord& r);

    const xcDiagObject& m_diag;
    const xcDiagHtmlPage& m_page;
    const std::vector<long>& m_files;
    xc_Tree m_tree;
    std::string m_out;
};

std::string xc_PageWriter::page() {
    std::size_t images = 0, texts = 0, lists = 0;
    for (long i = 0; i < m_diag.numRecords(); ++i) {
        const xcDiagRecord& r = *m_diag.diagRecord(i);
        images += r.hasImage();
        texts += r.texts().size();
        lists += r.graphicsLists().size();
    }
    m_out +=
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
    m_out += "<title>" + xf_HtmlEscape(m_page.title) + "</title>\n<style>";
    m_out += xf_DiagHtmlStyle();
    m_out += "</style>\n</head>\n<body>\n<header><h1>" + xf_HtmlEscape(m_page.title) +
             "</h1><span class=\"summary\">" +
             plural(static_cast<std::size_t>(m_diag.numRecords()), "record", "records") +
             " &middot; " + plural(images, "image", "images") + " &middot; " +
             plural(texts, "text", "texts") + " &middot; " +
             plural(lists, "graphic list", "graphic lists") +
             "</span><span class=\"tools\"><label><input type=\"checkbox\" id=\"show-graphics\" "
             "checked> graphics</label><button id=\"expand-all\">Expand all</button>"
             "<button id=\"collapse-all\">Collapse all</button></span></header>\n"
             "<div class=\"layout\">\n";
    toc_();
    m_out += "<main>\n";
    summary_();
    if (m_diag.numRecords() == 0) m_out += "<p class=\"empty\">No records.</p>\n";
    // Records in index order are a depth-first walk: close what does not contain the next.
    std::vector<long> open;
    auto close = [&] {
        const long k = open.back();
        open.pop_back();
        if (m_tree.children[k] > 0) m_out += "</div>";
        m_out += "</div></details>\n";
    };
    for (long i = 0; i < m_diag.numRecords(); ++i) {
        while (!open.empty() && open.back() != m_tree.parent[i]) close();
        record_(i);
        if (m_tree.children[i] > 0) m_out += "<div class=\"children\">\n";
        open.push_back(i);
    }
    while (!open.empty()) close();
    m_out += "</main>\n</div>\n<script>";
    m_out += xf_DiagHtmlScript();
    m_out += "</script>\n</body>\n</html>\n";
    return std::move(m_out);
}

void xc_PageWriter::summary_() {
    std::string figure;
    const long f = m_page.featuredRecord;
    const bool featured =
        f >= 0 && f < m_diag.numRecords() &&
        (m_diag.diagRecord(f)->hasImage() || !m_diag.diagRecord(f)->graphicsLists().empty());
    if (featured) {
        std::swap(figure, m_out);
        figure_(f);
        std::swap(figure, m_out);
    }
    m_out += xf_DiagHtmlSummary(m_page, figure, f,
                                featured ? m_diag.diagRecord(f)->annotation() : std::wstring());
}

void xc_PageWriter::toc_() {
    m_out += "<nav class=\"toc\"><ul>";
    std::vector<long> open;
    auto close = [&] {
        if (m_tree.children[open.back()] > 0) m_out += "</ul>";
        m_out += "</li>";
        open.pop_back();
    };
    for (long i = 0; i < m_diag.numRecords(); ++i) {
        while (!open.empty() && open.back() != m_tree.parent[i]) close();
        const std::wstring& a = m_diag.diagRecord(i)->annotation();
        m_out += "<li><a href=\"#rec-" + std::to_string(i) + "\"><span class=\"n\">" +
                 std::to_string(i) + "</span>" +
                 (a.empty() ? std::string("(untitled)") : xf_HtmlEscape(a)) + "</a>";
        if (m_tree.children[i] > 0) m_out += "<ul>";
        open.push_back(i);
    }
    while (!open.empty()) close();
    m_out += "</ul></nav>\n";
}

void xc_PageWriter::record_(long i) {
    const xcDiagRecord& r = *m_diag.diagRecord(i);
    std::vector<std::string> meta;
    if (r.hasImage()) {
        const xcPelRect w = r.image().window();
        meta.push_back("image " + std::to_string(w.width()) + "&times;" +
                       std::to_string(w.height()));
    }
    if (!r.texts().empty()) meta.push_back(plural(r.texts().size(), "text", "texts"));
    if (!r.graphicsLists().empty())
        meta.push_back(plural(r.graphicsLists().size(), "graphic list", "graphic lists"));
    if (m_tree.children[i] > 0)
        meta.push_back(plural(static_cast<std::size_t>(m_tree.children[i]), "nested record",
                              "nested records"));
    std::string metaText;
    for (std::size_t k = 0; k < meta.size(); ++k) metaText += (k ? " &middot; " : "") + meta[k];

    m_out += "<details class=\"rec\" id=\"rec-" + std::to_string(i) + "\" data-level=\"" +
             std::to_string(r.level()) + "\" open><summary><span class=\"num\">#" +
             std::to_string(i) + "</span>";
    if (r.annotation().empty()) {
        m_out += "<span class=\"title untitled\">(untitled record)</span>";
    } else {
        m_out += "<h3 class=\"title\">" + xf_HtmlEscape(r.annotation()) + "</h3>";
    }
    m_out += "<span class=\"meta\">" + metaText + "</span></summary><div class=\"body\">\n";
    if (r.hasImage() || !r.graphicsLists().empty()) figure_(i);
    texts_(r);
}

void xc_PageWriter::figure_(long i) {
    const xcDiagRecord& r = *m_diag.diagRecord(i);
    const long host = imageHost(m_diag, m_tree, i);
    const std::string id = std::to_string(i);
    std::vector<std::string> notes;

    double x0 = 0, y0 = 0, w = 0, h = 0;
    xcXform<2> clientFromImage, imageFromClient;
    std::string clientData;  // the client-from-image transform for the cursor read-out
    bool clientOk = true;
    if (host >= 0) {
        const xcPelBuffer_const<unsigned char>& img = m_diag.diagRecord(host)->image();
        const xcPelRect win = img.window();
        x0 = static_cast<double>(win.x()), y0 = static_cast<double>(win.y());
        w = static_cast<double>(win.width()), h = static_cast<double>(win.height());
        const xc2XformBase& cfi = img.clientFromImageXformBase();
        clientFromImage = cfi.isLinear() ? cfi.linearAt({0.0, 0.0}).xform()
                                         : cfi.linearAt({x0 + w / 2, y0 + h / 2}).xform();
        if (!cfi.isLinear()) {
            notes.push_back(
                "The client-from-image transform is not linear: client graphics "
                "use its linear form at the window centre.");
        }
        try {
            imageFromClient = clientFromImage.inverse();
        } catch (const xcMath::Singular&) {
            clientOk = false;
        }
        const xcMatrix<2>& m = clientFromImage.matrix();
        clientData = xf_SvgNumber(m(0, 0)) + " " + xf_SvgNumber(m(0, 1)) + " " +
                     xf_SvgNumber(m(1, 0)) + " " + xf_SvgNumber(m(1, 1)) + " " +
                     xf_SvgNumber(clientFromImage.trans().x()) + " " +
                     xf_SvgNumber(clientFromImage.trans().y());
        if (host != i) {
            const std::wstring& a = m_diag.diagRecord(host)->annotation();
            notes.push_back("Drawn on the image of record #" + std::to_string(host) +
                            (a.empty() ? std::string() : " \u201c" + xf_HtmlEscape(a) + "\u201d") +
                            ".");
        }
        if (r.hasImage() && !hasPixels(r)) notes.push_back("The record's image window is empty.");
    } else {
        // No image anywhere above: a canvas fitted to the shapes, in their own coordinates.
        bool any = false;
        double bx0 = 0, by0 = 0, bx1 = 0, by1 = 0;
        for (const xcDiagGraphics& g : r.graphicsLists()) {
            if (g.list.empty()) continue;
            const xcRect b = g.list.boundingBox(xcXform<2>());
            if (!any) {
                bx0 = b.ul().x(), by0 = b.ul().y(), bx1 = b.lr().x(), by1 = b.lr().y();
                any = true;
            } else {
                bx0 = std::min(bx0, b.ul().x()), by0 = std::min(by0, b.ul().y());
                bx1 = std::max(bx1, b.lr().x()), by1 = std::max(by1, b.lr().y());
            }
        }
        const double margin = std::max(2.0, 0.08 * std::max(bx1 - bx0, by1 - by0));
        x0 = bx0 - margin, y0 = by0 - margin;
        w = bx1 - bx0 + 2 * margin, h = by1 - by0 + 2 * margin;
        if (r.hasImage()) notes.push_back("The record's image window is empty.");
        notes.push_back("No image: the shapes are drawn in their own coordinates.");
    }
    const double zoom =
        host >= 0 ? initialZoom(w, h) : std::clamp(400.0 / std::max(w, h), 1.0 / 32, 128.0);

    for (const std::string& n : notes) m_out += "<div class=\"note\">" + n + "</div><br>\n";
    m_out += "<figure class=\"view\" data-x0=\"" + xf_SvgNumber(x0) + "\" data-y0=\"" +
             xf_SvgNumber(y0) + "\" data-w=\"" + xf_SvgNumber(w) + "\" data-h=\"" +
             xf_SvgNumber(h) + "\" data-zoom=\"" + xf_SvgNumber(zoom) + "\"";
    if (!clientData.empty()) m_out += " data-xf=\"" + clientData + "\"";
    m_out += "><div class=\"viewport\"><div class=\"canvas" +
             std::string(host >= 0 ? "" : " blank") + "\" style=\"width:" + xf_SvgNumber(w * zoom) +
             "px;height:" + xf_SvgNumber(h * zoom) + "px\">";
    if (host >= 0) {
        m_out += "<img src=\"images/" + imageFileName(m_files[host]) + "\" alt=\"record " +
                 std::to_string(host) + " image\" loading=\"lazy\" draggable=\"false\">";
    }
    m_out += "<svg viewBox=\"0 0 " + xf_SvgNumber(w) + " " + xf_SvgNumber(h) +
             "\" preserveAspectRatio=\"none\" xmlns=\"http://www.w3.org/2000/svg\">\n";
    const xcXform<2> drawingFromImage = xcXform<2>::translation({-x0, -y0});
    std::string legend;
    for (std::size_t k = 0; k < r.graphicsLists().size(); ++k) {
        const xcDiagGraphics& g = r.graphicsLists()[k];
        const bool client = g.coordinateSystem == xcDisplay::eClientCoords;
        const std::string layer = "L" + id + "-" + std::to_string(k);
        legend += "<label><input type=\"checkbox\" checked data-layer=\"" + layer +
                  "\"><span class=\"sw\" style=\"background:" + listColour(g.list) + "\"></span>" +
                  (g.name.empty() ? std::string("(unnamed)") : xf_HtmlEscape(g.name)) +
                  " <span class=\"cs\">" + plural(g.list.items().size(), "shape", "shapes") + ", " +
                  (client ? "client" : "image") + " coordinates</span></label>";
        if (client && host >= 0 && !clientOk) {
            legend +=
                "<span class=\"note\">Not drawn: the image's client-from-image transform "
                "cannot be inverted.</span>";
            continue;
        }
        m_out += "<g class=\"layer\" data-layer-id=\"" + layer + "\" data-cs=\"" +
                 std::to_string(g.coordinateSystem) + "\">\n";
        xc_SvgPainter painter(m_out);
        const xcXform<2> x =
            client && host >= 0 ? drawingFromImage * imageFromClient : drawingFromImage;
        g.list.draw(painter, x);
        m_out += "</g>\n";
    }
    m_out +=
        "</svg></div></div><figcaption><span class=\"controls\">"
        "<button data-zoom=\"out\" title=\"Zoom out\">&minus;</button>"
        "<button data-zoom=\"in\" title=\"Zoom in\">+</button>"
        "<button data-zoom=\"fit\">fit</button><button data-zoom=\"one\">1:1</button>"
        "<span class=\"zoom\"></span></span>";
    if (host >= 0) {
        m_out += "<span>window (" + xf_SvgNumber(x0) + ", " + xf_SvgNumber(y0) + ") " +
                 xf_SvgNumber(w) + "&times;" + xf_SvgNumber(h) +
                 "</span><span>client from image: " + xformText(clientFromImage) + "</span>";
    }
    m_out += "<span class=\"readout\"></span></figcaption></figure>\n";
    if (!legend.empty()) m_out += "<div class=\"layers\">" + legend + "</div>\n";
}

void xc_PageWriter::texts_(const xcDiagRecord& r) {
    // A text record made by xf_AddText carries its name as its title already.
    const bool titleIsName = r.texts().size() == 1 && r.texts()[0].name == r.annotation();
    for (const xcDiagText& t : r.texts()) {
        m_out += "<section class=\"text\">";
        if (!t.name.empty() && !titleIsName) m_out += "<h4>" + xf_HtmlEscape(t.name) + "</h4>";
        m_out += "<pre>" + xf_HtmlEscape(t.text) + "</pre></section>\n";
    }
}

// Writes the images and the page into `dir` (which exists); returns the image files written.
std::set<std::string> writeInto(const xcDiagObject& diag, const xcDiagHtmlPage& page,
                                const fs::path& dir, bool replacePage) {
    std::error_code ec;
    fs::create_directories(dir / "images", ec);
    if (ec) ioError(L"Cannot create the folder", dir / "images", ec);
    std::set<std::string> written;
    const std::vector<long> files = imageFiles(diag);
    for (long i = 0; i < diag.numRecords(); ++i) {
        const xcDiagRecord& r = *diag.diagRecord(i);
        if (files[i] != i) continue;
        const std::string name = imageFileName(i);
        xfWritePng(r.image(), dir / "images" / name);
        written.insert(name);
    }
    const std::string html = xc_PageWriter(diag, page, files).page();
    if (replacePage) {
        replaceText(dir / "index.html", html);
    } else {
        writeText(dir / "index.html", html);
    }
    return written;
}

}  // namespace

fs::path xfWriteDiagHtml(const xcDiagObject& diag, const fs::path& folder) {
    return xfWriteDiagHtml(diag, folder, xcDiagHtmlPage());
}

fs::path xfWriteDiagHtml(const xcDiagObject& diag, const fs::path& folderAsGiven,
                         const xcDiagHtmlPage& page) {
    if (folderAsGiven.empty()) throw xcBadArgument(L"xfWriteDiagHtml: the folder path is empty");
    // "out/" names the folder "out".
    const fs::path folder =
        folderAsGiven.has_filename() ? folderAsGiven : folderAsGiven.parent_path();
    std::error_code ec;
    const fs::file_status st = fs::status(folder, ec);
    if (ec && ec != std::errc::no_such_file_or_directory)
        ioError(L"Cannot reach the folder", folder, ec);

    if (fs::exists(st)) {
        if (!fs::is_directory(st)) {
            throw xcIOError(L"Cannot write the diagnostics page into '" + pathText(folder) +
                            L"': it exists and is not a folder");
        }
        const std::set<std::string> written = writeInto(diag, page, folder, true);
        // Images of an earlier page that this one does not show.
        for (fs::directory_iterator it(folder / "images", ec), end; !ec && it != end;
             it.increment(ec)) {
            const std::string name = it->path().filename().string();
            if (isOurImageFile(name) && !written.count(name)) {
                std::error_code ignored;
                fs::remove(it->path(), ignored);
            }
        }
        return folder / "index.html";
    }

    // A new folder: build it under a temporary name, then rename it into place.
    const fs::path parent = folder.has_parent_path() ? folder.parent_path() : fs::path(".");
    fs::create_directories(parent, ec);
    if (ec) ioError(L"Cannot create the folder", parent, ec);
    const fs::path work = temporarySibling(folder);
    try {
        fs::create_directory(work, ec);
        if (ec) ioError(L"Cannot create the folder", work, ec);
        writeInto(diag, page, work, false);
        fs::rename(work, folder, ec);
        if (ec) ioError(L"Cannot move the diagnostics folder into place at", folder, ec);
    } catch (...) {
        std::error_code ignored;
        fs::remove_all(work, ignored);
        throw;
    }
    return folder / "index.html";
}
