// xcOCCharKey: the name of one font character - its character code, and optionally which
// instance, variant and font of that code it is.
//
// Each of the four fields may be open: the code 0xF800 means "code unknown" (every other code,
// 0 included, is known) and -1 means "not specified" for the instance, the variant and the
// font ID (every other value, negative ones included, is specified). A default key has all
// four open. Keys are plain values: copyable, comparable, orderable (operator<, a strict weak
// order) and archivable. The fields are 32-bit, as in the C-level key record xoc_charKey: the
// setters keep the low 32 bits of what they are given (two's complement) and validate nothing.
#pragma once

#include <cstdint>

#include "platform/clevel/char_record.h"
#include "platform/core/archive.h"

class xcOCCharKey : public xcPersistent {
public:
    // The open values.
    static constexpr std::uint32_t kUnknownCharacterCode = 0xF800;
    static constexpr std::int32_t kNotSpecified = -1;

    // A key with all four fields open.
    xcOCCharKey() = default;
    // A key with the given fields; the omitted ones are open.
    explicit xcOCCharKey(unsigned long characterCode, long instance = kNotSpecified,
                         long variant = kNotSpecified, long fontID = kNotSpecified);
    xcOCCharKey(const xcOCCharKey&) = default;
    xcOCCharKey& operator=(const xcOCCharKey&) = default;
    ~xcOCCharKey() override = default;

    // All four fields back to their open values.
    void reset();

    unsigned long characterCode() const { return m_characterCode; }
    void characterCode(unsigned long code) { m_characterCode = static_cast<std::uint32_t>(code); }
    long instance() const { return m_instance; }
    void instance(long v) { m_instance = static_cast<std::int32_t>(v); }
    long variant() const { return m_variant; }
    void variant(long v) { m_variant = static_cast<std::int32_t>(v); }
    long fontID() const { return m_fontID; }
    void fontID(long v) { m_fontID = static_cast<std::int32_t>(v); }

    // code != 0xF800; field != -1.
    bool isCharacterCodeKnown() const { return m_characterCode != kUnknownCharacterCode; }
    bool isInstanceSpecified() const { return m_instance != kNotSpecified; }
    bool isVariantSpecified() const { return m_variant != kNotSpecified; }
    bool isFontIDSpecified() const { return m_fontID != kNotSpecified; }

    // xcCharCode's tests and conversions applied to the code. The conversions throw
    // xcCharCodeDefs::NotRepresentable when the code has no form in the type.
    bool isRepresentableAsChar() const;
    bool isRepresentableAsWChar() const;
    bool isRepresentableAsTChar() const;
    explicit operator char() const;
    explicit operator wchar_t() const;
    // xcCharCode::isSpace of the code.
    bool isSpace() const;

    // Codes equal as plain numbers (two unknown codes are equal).
    bool equalCharacterCode(const xcOCCharKey& other) const {
        return m_characterCode == other.m_characterCode;
    }
    bool equalCharacterCode(unsigned long code) const {
        return static_cast<unsigned long>(m_characterCode) == code;
    }

    // All four fields equal.
    bool operator==(const xcOCCharKey& o) const {
        return m_characterCode == o.m_characterCode && m_instance == o.m_instance &&
               m_variant == o.m_variant && m_fontID == o.m_fontID;
    }
    bool operator!=(const xcOCCharKey& o) const { return !(*this == o); }

    // Lookup by a partly open key: both codes known and equal, and each of instance, variant
    // and font ID equal or -1 on either side. Symmetric; a default key matches nothing.
    bool isMatch(const xcOCCharKey& other) const;

    // Strict weak order on code, then font ID, then instance, then variant. In each field an
    // open value sorts after every other value; codes compare unsigned, the rest signed.
    bool operator<(const xcOCCharKey& other) const;

    // Copy to and from the C-level key record, field by field.
    void setKey(const xoc_charKey& record);
    void getKey(xoc_charKey& record) const;

protected:
    // Archive form: u8 version (written as 1), u32 code, i32 instance, i32 font ID, and for
    // version 1 i32 variant (version 0 loads the variant as -1). A version above 1 throws
    // xcArchive::UnknownVersion; the key is then left partly read.
    void dispatchSerialize(xcArchive& ar) override;
    void serialize_(xcArchive& ar, std::uint8_t version);

private:
    static xcPersistent* make();
    static const xc_Instantiator sExemplar;

    std::uint32_t m_characterCode = kUnknownCharacterCode;
    std::int32_t m_instance = kNotSpecified;
    std::int32_t m_variant = kNotSpecified;
    std::int32_t m_fontID = kNotSpecified;
};

// A key is archived in both directions by the archive's operator|| of persistent objects
// (see dispatchSerialize for the form).
