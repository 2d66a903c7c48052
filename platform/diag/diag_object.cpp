#include "platform/diag/diag_object.h"

#include <string>

#include "platform/core/exception.h"
#include "platform/core/pel_ops.h"

namespace {

void checkCoordinateSystem(long cs) {
    if (cs != xcDisplay::eImageCoords && cs != xcDisplay::eClientCoords) {
        throw xcBadArgument(L"Unknown coordinate system " + std::to_wstring(cs) +
                            L" (1 image, 2 client coordinates)");
    }
}

}  // namespace

void xcDiagRecord::image(const xcPelBuffer_const<unsigned char>& image, bool copyPixels) {
    m_image = copyPixels ? xcPelBuffer_const<unsigned char>(xfPelCopy(image)) : image;
    if (!m_image.isBound()) m_image = xcPelBuffer_const<unsigned char>();
}

void xcDiagRecord::text(const std::wstring& text, const std::wstring& name) {
    m_texts.push_back({name, text});
}

void xcDiagRecord::graphics(const xcGraphicList& list, long coordinateSystem,
                            const std::wstring& name) {
    checkCoordinateSystem(coordinateSystem);
    m_graphics.push_back({name, list, coordinateSystem});
}

xcDiagRecord* xcDiagObject::newDiagRecord() {
    m_records.push_back(std::unique_ptr<xcDiagRecord>(new xcDiagRecord(m_level)));
    return m_records.back().get();
}

xcDiagRecord* xcDiagObject::diagRecord(long index) {
    return const_cast<xcDiagRecord*>(static_cast<const xcDiagObject*>(this)->diagRecord(index));
}

const xcDiagRecord* xcDiagObject::diagRecord(long index) const {
    if (index < 0 || index >= numRecords()) {
        throw xcBadArgument(L"Diagnostic record index " + std::to_wstring(index) +
                            L" is outside 0 .. " + std::to_wstring(numRecords() - 1));
    }
    return m_records[static_cast<std::size_t>(index)].get();
}

void xcDiagObject::level(long newLevel) {
    if (newLevel < 0) {
        throw xcBadArgument(L"Diagnostic level must be >= 0, not " + std::to_wstring(newLevel));
    }
    m_level = newLevel;
}

void xcDiagObject::clear() {
    m_records.clear();
    m_level = 0;
}

xcDiagRecord* xf_AddImage(xcDiagObject* diag, const xcPelBuffer_const<unsigned char>& image,
                          const std::wstring& title, bool copyPixels) {
    if (!diag) return nullptr;
    // Copy first: if that fails, no record has been added.
    xcPelBuffer_const<unsigned char> kept =
        copyPixels ? xcPelBuffer_const<unsigned char>(xfPelCopy(image)) : image;
    xcDiagRecord* r = diag->newDiagRecord();
    r->recordAnnotation(title);
    r->image(kept, false);
    return r;
}

xcDiagRecord* xf_AddText(xcDiagObject* diag, const std::wstring& text, const std::wstring& name) {
    if (!diag) return nullptr;
    xcDiagRecord* r = diag->newDiagRecord();
    r->recordAnnotation(name);
    r->text(text, name);
    return r;
}

xcDiagRecord* xf_AddGraphics(xcDiagObject* diag, const xcGraphicList& list,
                             const std::wstring& name, long coordinateSystem) {
    if (!diag) return nullptr;
    checkCoordinateSystem(coordinateSystem);
    xcDiagRecord* r = diag->newDiagRecord();
    r->recordAnnotation(name);
    r->graphics(list, coordinateSystem, name);
    return r;
}
