// xcOCModel: one trained character of a font.
//
// A model holds the character's 8-bit image with an optional care mask, the image area (the
// character's cell, an xcPelRect in the image's pixel coordinates), a key that identifies the
// character within an alphabet, a character type (normal or blank), a name and a description.
// A blank character stands for a space and has no image.
//
// Invariants kept by every constructor and setter (reading an archive does not re-check them):
//   eNormal => image bound;  eBlank => image unbound;
//   image and mask both bound => equal windows;
//   image area inside the image window (when bound) and inside the mask window (when bound).
// A failed constructor or setter throws before changing anything.
//
// Models are reference counted (xcRepBase) and shared through xcPtrHandle<xcOCModel> and
// xcPtrHandle_const<xcOCModel>; an alphabet holds const handles. Persistent: archive version 1
// (versions 0 and 1 are read).
#pragma once

#include <cstdint>
#include <string>

#include "oc/defs/oc_defs.h"
#include "platform/core/angle.h"
#include "platform/core/archive.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/persistent.h"
#include "platform/core/rect.h"
#include "platform/core/rep_base.h"
#include "platform/core/xform.h"

class xcOCModel : public xcRepBase, public xcPersistent {
public:
    // The underlying type is fixed so that any value read from an archive is representable
    // (reports name values other than 0 and 1 as invalid).
    enum CharType : std::uint32_t { eNormal = 0, eBlank = 1 };

    // A blank model with key -1, unbound image and mask, the default image area and empty
    // texts.
    xcOCModel();
    // A model without a mask. Throws, in this order: xcOCDefs::BadImage (normal character with
    // an unbound image), xcOCDefs::NotImplemented (blank character with a bound image),
    // xcOCDefs::BadParams (image area not inside the image window).
    xcOCModel(long key, const xcPelBuffer_const<unsigned char>& image, const xcPelRect& imageArea,
              CharType type, const std::wstring& name = L"", const std::wstring& description = L"");
    // The same with a care mask; additionally xcOCDefs::BadParams when image and mask are both
    // bound with different windows (checked before the image area).
    xcOCModel(long key, const xcPelBuffer_const<unsigned char>& image,
              const xcPelBuffer_const<unsigned char>& mask, const xcPelRect& imageArea,
              CharType type, const std::wstring& name = L"", const std::wstring& description = L"");
    xcOCModel(const xcOCModel&) = default;
    xcOCModel& operator=(const xcOCModel&) = default;
    ~xcOCModel() override = default;

    long key() const { return m_key; }
    void key(long k);
    CharType charType() const { return m_charType; }
    const std::wstring& name() const { return m_name; }
    void name(const std::wstring& n);
    const std::wstring& description() const { return m_description; }
    void description(const std::wstring& d);

    const xcPelBuffer_const<unsigned char>& image() const { return m_image; }
    const xcPelBuffer_const<unsigned char>& mask() const { return m_mask; }
    // Replace the image, the mask, or both; validated as the constructors validate (the current
    // image area must fit the new buffers). On failure the previous image and mask stay.
    void image(const xcPelBuffer_const<unsigned char>& image);
    void mask(const xcPelBuffer_const<unsigned char>& mask);
    void model(const xcPelBuffer_const<unsigned char>& image,
               const xcPelBuffer_const<unsigned char>& mask);

    // The character cell, in the image's pixel coordinates. The setter throws
    // xcOCDefs::BadParams "The image area must fit within the mask and image windows." when the
    // area leaves a bound image or mask window; the previous area then stays.
    const xcPelRect& imageArea() const { return m_imageArea; }
    void imageArea(const xcPelRect& area);

    // The rectangle enclosing the image area under an uncertain placement. The area's corners,
    // taken to the model's client frame and then by b^-1, are placed by a * b with a
    // translation uncertainty t (model client units, both axes), a rotation uncertainty r and
    // a relative scale uncertainty s about the model's client origin; the result is expressed
    // in the frame whose client-from-frame transform is c (xfEncloseRect). So
    // encloseRect(X, I, I, ...) is the placed area in X's output frame, and
    // encloseRect(I, I, C, 0, 0, 0) the area in the pixel grid whose client-from-image
    // transform is C. Throws xcOCDefs::BadParams, in this order, for t, r or s not >= 0 (NaN
    // included): "Translation uncertainty must be >= 0", "Rotation uncertainty must be >= 0",
    // "Scale uncertainty must be >= 0". Core errors (a singular b or c, an infinite
    // uncertainty) pass through.
    xcRect encloseRect(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c,
                       double translationUncertainty, xcRadian rotationUncertainty,
                       double scaleUncertainty) const;

    // Every field equal; bound images (and masks) must have equal windows, client-from-image
    // transforms and pixels.
    bool operator==(const xcOCModel& o) const;
    bool operator!=(const xcOCModel& o) const { return !(*this == o); }

protected:
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    friend bool xfRealEq(const xcOCModel& a, const xcOCModel& b, double tolerance);
    bool equal_(const xcOCModel& o, const double* tolerance) const;

    // Validates (image, mask) against the type and the current image area, then stores both.
    void model_(const xcPelBuffer_const<unsigned char>& image,
                const xcPelBuffer_const<unsigned char>& mask);
    // Throws xcOCDefs::BadParams unless `area` lies inside the bound buffers' windows.
    static void checkArea_(const xcPelBuffer_const<unsigned char>& image,
                           const xcPelBuffer_const<unsigned char>& mask, const xcPelRect& area);

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    long m_key = -1;
    xcPelBuffer_const<unsigned char> m_image;
    xcPelBuffer_const<unsigned char> m_mask;
    CharType m_charType = eBlank;
    std::wstring m_name;
    std::wstring m_description;
    xcPelRect m_imageArea;
};

// Equality with a tolerance on the client-from-image transforms of image and mask (the core
// xfRealEq for transforms); every other comparison is exact.
bool xfRealEq(const xcOCModel& a, const xcOCModel& b, double tolerance);

// The character type as an unsigned 32-bit value.
xcArchive& operator||(xcArchive& ar, xcOCModel::CharType& type);
