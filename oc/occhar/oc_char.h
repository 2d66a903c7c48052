// xcOCChar: one character of a font as a value object.
//
// A character holds its key and metrics, a name and a description (each in a wide form and as
// a string of 32-bit codes), its polarity, three images on one image area (the grey image, the
// mask and the normalized image) and a threshold-and-invert setting from which a binarized
// image is derived from the normalized image and cached.
//
// Frames: the images are pel buffers with their own client-from-image transforms; the image
// area and the image-coordinate metrics are root-image pixel coordinates, the client metrics
// are in the images' client frame.
//
// Ownership: the image setters store pixel copies of their own. Pixels are shared only
// through the reference-counted pel buffers - by copies of the character, by the views the
// accessors return, and by setCharacter / getCharacter without pixel copying. Stored pixels
// are never written again.
//
// Invariants: the binarized image, while cached, is the normalized image mapped through the
// current threshold and invert (below the threshold low, else high; low 0 and high 255, or
// the other way round with invert). A change of threshold, invert, has-threshold-and-invert or
// normalized image drops the cache. A change of image, mask, normalized image, image area or
// polarity undetects the mark rectangle (clears the detected mark rect flag and zeroes the
// client detected mark rect; its image form is kept).
//
// Errors: every failure throws; a setter that throws leaves the character unchanged.
// Concurrency: no lock. binarizedImage() is const but fills the cache on first use, so a
// character read by several threads at once must be filled (or guarded) by its owner first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "oc/defs/oc_defs.h"
#include "oc/occhar/char_key.h"
#include "oc/occhar/char_metrics.h"
#include "platform/clevel/char_record.h"
#include "platform/core/archive.h"
#include "platform/core/pel_buffer.h"
#include "platform/core/pel_rect.h"
#include "platform/core/vector.h"

class xcOCChar : public xcPersistent {
public:
    using Image = xcPelBuffer_const<unsigned char>;

    // Open key, polarity unknown (4), no images, no threshold and invert (threshold 128,
    // invert false), null image area, blank metrics, empty names.
    xcOCChar() { reset(); }
    xcOCChar(const xcOCChar& other) : xcPersistent(other) { assign_(other); }
    xcOCChar& operator=(const xcOCChar& other);
    ~xcOCChar() override = default;

    void reset();

    // Every field equal, compared in this order: key and polarity; image, mask and normalized
    // image; the cached flag and the binarized image; has-threshold-and-invert, threshold and
    // invert; image area and metrics; name32, description32, name and description. Pel
    // buffers compare by xfPelEqual (windowed pixels; transforms and the pixels outside the
    // window play no part): two unbound ones are equal, bound and unbound are not. So two
    // characters that differ only in whether the binarized image is cached are unequal.
    bool operator==(const xcOCChar& o) const;
    bool operator!=(const xcOCChar& o) const { return !(*this == o); }

    const xcOCCharKey& key() const { return m_key; }
    void key(const xcOCCharKey& k) { m_key = k; }
    unsigned long characterCode() const { return m_key.characterCode(); }
    void characterCode(unsigned long code) { m_key.characterCode(code); }

    // Names. name(w) also sets name32 to w's units widened one by one; name32(s) also sets the
    // wide name to s's codes, or to the empty string when any code is not representable as a
    // wide character. name() throws xcCharCodeDefs::NotRepresentable (empty message) when the
    // wide name is empty and name32 is not; name32() never throws. Descriptions alike.
    std::wstring name() const;
    void name(const std::wstring& w);
    const std::u32string& name32() const { return m_name32; }
    void name32(const std::u32string& s);
    std::wstring description() const;
    void description(const std::wstring& w);
    const std::u32string& description32() const { return m_description32; }
    void description32(const std::u32string& s);

    // The image area, image coordinates. Setting a different area undetects the mark rect.
    const xcPelRect& imageArea() const { return m_imageArea; }
    void imageArea(const xcPelRect& r);
    // The window of imageMarkRect() when the metrics are not blank and a mark rectangle is
    // specified, otherwise the image area. Throws what isBlank() and imageMarkRect() throw
    // (but not xcOCDefs::RectNotSpecified).
    xcPelRect markOrImageArea() const;

    const xcOCCharMetrics& metrics() const { return m_metrics; }
    void metrics(const xcOCCharMetrics& m) { m_metrics = m; }

    // Polarity 1, 2 or 4; any other value throws xcOCDefs::BadParams "Unknown polarity". A
    // change undetects the mark rect.
    xcOCDefs::Polarity polarity() const { return m_polarity; }
    void polarity(xcOCDefs::Polarity p);

    // The threshold-and-invert setting. threshold() and invert() throw
    // xcOCDefs::ThresholdAndInvertNotSpecified (empty message) without one. threshold(t)
    // throws xcOCDefs::BadParams "Threshold must be >= 0." for t < 0; values above 256 are
    // kept and fail when the binarized image is made. A change drops the binarized cache.
    bool hasThresholdAndInvert() const { return m_hasThresholdAndInvert; }
    void hasThresholdAndInvert(bool b);
    long threshold() const;
    void threshold(long t);
    bool invert() const;
    void invert(bool b);

    // Image views. With inImageArea false, or for an unbound buffer, the stored buffer itself
    // (shared pixels). With inImageArea true, the buffer windowed to the image area; throws
    // xcOCDefs::BadParams "imageArea cannot be null" for a null area and "image does not
    // contain imageArea" when the area leaves the buffer's window.
    Image image(bool inImageArea) const { return view_(m_image, inImageArea); }
    Image mask(bool inImageArea) const { return view_(m_mask, inImageArea); }
    Image normalizedImage(bool inImageArea) const { return view_(m_normalizedImage, inImageArea); }
    // The binarized image (cached on first use), viewed as above. Throws
    // xcOCDefs::ThresholdAndInvertNotSpecified without threshold and invert, and
    // xcOCDefs::BadParams "threshold() > 256)" when it must be made with a threshold above 256.
    // Unbound while the normalized image is unbound.
    Image binarizedImage(bool inImageArea) const;

    // Mark-rectangle views: the buffer windowed to the first specified of the metrics' mark
    // rect image, detected mark rect image, mark rect and detected mark rect (as
    // encloseRectImage on the buffer gives it), clipped to the buffer's window; an unbound
    // buffer is returned as it is. Throws xcOCDefs::RectNotSpecified when none is specified,
    // and what encloseRectImage throws (a non-linear transform, an overflow).
    Image imageMarkRect() const { return markRectView_(m_image); }
    Image maskMarkRect() const { return markRectView_(m_mask); }
    Image normalizedImageMarkRect() const { return markRectView_(m_normalizedImage); }
    // The binarized image through the mark rectangle, computed by the C-level layer on a
    // record filled by getCharacter (the cache is neither used up nor filled when absent).
    // Errors arrive as the module's converter gives them: no threshold and invert, a
    // threshold outside 0 to 256, no mark rectangle, an overflow.
    Image binarizedImageMarkRect() const;

    // Storing images. An unbound img makes the stored buffer unbound. A bound img is copied:
    // the copy holds img's pixels out to rootCopyRect (intersected with img's root image),
    // or only img's window when rootCopyRect is null or img's window is empty, and has img's
    // window and transform. Throws xcOCDefs::BadParams "Root copy rect does not contain image
    // window" for a non-null rootCopyRect that misses part of the window. Storing undetects
    // the mark rect; storing a normalized image also drops the binarized cache.
    void image(const Image& img, const xcPelRect& rootCopyRect);
    void mask(const Image& img, const xcPelRect& rootCopyRect);
    void normalizedImage(const Image& img, const xcPelRect& rootCopyRect);
    // Stores the normalized image together with a threshold-and-invert setting, through the
    // C-level layer. A threshold outside 0 to 256 throws xcOCDefs::BadParams "Threshold must
    // be between 0 and 256 inclusive"; a root copy rectangle missing part of the window is the
    // C-level layer's bad argument (xcStatusError).
    void normalizedImage(const Image& img, bool hasThresholdAndInvert, long threshold, bool invert,
                         const xcPelRect& rootCopyRect);

    // Moves the client frame so that the point with client coordinates c has c - v afterwards:
    // the image's and the mask's client-from-image transforms are followed by the translation
    // by -v (the normalized and binarized images keep theirs), and the specified,
    // non-degenerate cell, mark and detected mark client rectangles move by -v.
    void moveOrigin(const xcVector<2>& v);

    // key with an instance unused by the keys of the same code in `keys`: key itself when its
    // instance is specified and unused there, otherwise the smallest non-negative instance
    // not used there. Throws xcOCDefs::BadParams "All key values in use" when 2147483647 keys
    // of the code have a specified instance.
    static xcOCCharKey makeUniqueInstanceKey(const xcOCCharKey& key,
                                             const std::vector<xcOCCharKey>& keys);
    static xcOCCharKey makeUniqueInstanceKey(const xcOCCharKey& key,
                                             const std::vector<xcOCChar>& chars);
    // Gives the first key instance 0 when unspecified, then each later key a unique instance
    // against the keys before it. Returns whether a later key changed. On failure `keys` is
    // unchanged.
    static bool makeUniqueInstanceKeys(std::vector<xcOCCharKey>& keys);

    // Conversion from and to the C-level character record (char_record_conversion.cpp).
    // setCharacter loads every field from the record (no validation beyond the polarity's
    // conversion); with copyPixels true the character keeps fresh copies of the record's
    // images, otherwise it shares their pixels. On failure the character is unchanged.
    // getCharacter fills a record constructed by the C-level layer; with copyPixels true the
    // record receives fresh pixel copies. A failing C-level call throws through
    // xfThrowExceptionOnFailure and may leave the record partly filled.
    void setCharacter(const xoc_char& record, bool copyPixels);
    void getCharacter(xoc_char& record, bool copyPixels) const;

protected:
    // Archive form: u8 version 1, key, u32 polarity, image, mask, normalized image (pel
    // buffers), bool binarized cached, binarized image, bool has threshold and invert, i32
    // threshold, bool invert, image area (i32 x, y, width, height), metrics, name32 and
    // description32 (u32 count then codes), name and description (wide strings). Any other
    // version throws xcArchive::UnknownVersion; the character is then left partly read.
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    void assign_(const xcOCChar& other);
    void cacheBinarizedImage_() const;
    void uncacheBinarizedImage_();
    void checkHasThresholdAndInvert_() const;
    void checkHasBinarizedImage_() const;
    void undetectMarkRect_();
    Image view_(const Image& buffer, bool inImageArea) const;
    Image markRectView_(const Image& buffer) const;

    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    xcOCCharKey m_key;
    xcOCDefs::Polarity m_polarity = xcOCDefs::ePolarityUnknown;
    Image m_image;
    Image m_mask;
    Image m_normalizedImage;
    mutable bool m_binarizedImageCached = false;
    mutable Image m_binarizedImage;
    bool m_hasThresholdAndInvert = false;
    long m_threshold = 128;
    bool m_invert = false;
    xcPelRect m_imageArea;
    xcOCCharMetrics m_metrics;
    std::u32string m_name32;
    std::u32string m_description32;
    std::wstring m_name;
    std::wstring m_description;
};

// A character is archived in both directions by the archive's operator|| of persistent objects
// (see dispatchSerialize for the form).
