#include "oc/occhar/char_key.h"

#include "oc/occhar/archive_support.h"
#include "platform/clevel/assert.h"
#include "platform/core/char_code.h"

namespace {

// The current archive version of a key.
constexpr std::uint8_t kKeyVersion = 1;

// "a is less than b" in one optional field: a is specified and b is open or greater.
bool lessOptional(std::int32_t a, std::int32_t b) {
    return a != xcOCCharKey::kNotSpecified && (b == xcOCCharKey::kNotSpecified || a < b);
}

// The match rule of one optional field: equal, or open on either side.
bool matchOptional(std::int32_t a, std::int32_t b) {
    return a == b || a == xcOCCharKey::kNotSpecified || b == xcOCCharKey::kNotSpecified;
}

}  // namespace

xcOCCharKey::xcOCCharKey(unsigned long characterCode, long instance, long variant, long fontID)
    : m_characterCode(static_cast<std::uint32_t>(characterCode)),
      m_instance(static_cast<std::int32_t>(instance)),
      m_variant(static_cast<std::int32_t>(variant)),
      m_fontID(static_cast<std::int32_t>(fontID)) {}

void xcOCCharKey::reset() { *this = xcOCCharKey(); }

bool xcOCCharKey::isRepresentableAsChar() const {
    return xcCharCode(m_characterCode).isRepresentableAsChar();
}
bool xcOCCharKey::isRepresentableAsWChar() const {
    return xcCharCode(m_characterCode).isRepresentableAsWChar();
}
bool xcOCCharKey::isRepresentableAsTChar() const {
    return xcCharCode(m_characterCode).isRepresentableAsTChar();
}
xcOCCharKey::operator char() const { return xcCharCode(m_characterCode).getAsChar(); }
xcOCCharKey::operator wchar_t() const { return xcCharCode(m_characterCode).getAsWChar(); }
bool xcOCCharKey::isSpace() const { return xcCharCode(m_characterCode).isSpace(); }

bool xcOCCharKey::isMatch(const xcOCCharKey& other) const {
    if (!isCharacterCodeKnown() || !other.isCharacterCodeKnown()) return false;
    if (m_characterCode != other.m_characterCode) return false;
    return matchOptional(m_instance, other.m_instance) &&
           matchOptional(m_variant, other.m_variant) && matchOptional(m_fontID, other.m_fontID);
}

bool xcOCCharKey::operator<(const xcOCCharKey& other) const {
    if (m_characterCode != other.m_characterCode)
        return m_characterCode != kUnknownCharacterCode &&
               (other.m_characterCode == kUnknownCharacterCode ||
                m_characterCode < other.m_characterCode);
    // The font is compared before the instance and the variant.
    if (m_fontID != other.m_fontID) return lessOptional(m_fontID, other.m_fontID);
    if (m_instance != other.m_instance) return lessOptional(m_instance, other.m_instance);
    if (m_variant != other.m_variant) return lessOptional(m_variant, other.m_variant);
    return false;
}

void xcOCCharKey::setKey(const xoc_charKey& record) {
    m_characterCode = record.characterCode;
    m_instance = record.instance;
    m_variant = record.variant;
    m_fontID = record.fontID;
}

void xcOCCharKey::getKey(xoc_charKey& record) const {
    record.characterCode = m_characterCode;
    record.instance = m_instance;
    record.variant = m_variant;
    record.fontID = m_fontID;
}

void xcOCCharKey::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCCharKey))) return;
    std::uint8_t version = kKeyVersion;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCCharKey));
}

void xcOCCharKey::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version > kKeyVersion) throw xf_OCCharUnknownVersion(136);
    xcPersistent::dispatchSerialize(ar);
    ar || m_characterCode || m_instance || m_fontID;
    if (version >= 1) {
        ar || m_variant;
    } else {
        // Only a load meets an old record: storing always writes the current version.
        if (!ar.isLoading()) xstd_assert_(__LINE__, "a version-0 key is never stored");
        m_variant = kNotSpecified;
    }
}

xcPersistent* xcOCCharKey::make() { return new xcOCCharKey(); }
const xc_Instantiator xcOCCharKey::sExemplar(typeid(xcOCCharKey), &xcOCCharKey::make);
