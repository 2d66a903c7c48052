#include "oc/font/oc_line.h"

#include "oc/font/enclose.h"
#include "platform/core/archive_geometry.h"

namespace {

using Alphabet = xcPtrHandle_const<xcOCAlphabet>;

const wchar_t* const kBadPosition = L"Invalid position index.";

void badParams(const wchar_t* message) { throw xcOCDefs::BadParams(message); }

void checkAlphabet(const Alphabet& alphabet) {
    if (!alphabet) badParams(L"Alphabet must point to a valid object.");
}

void checkCount(std::size_t count, std::size_t numKeySets, const wchar_t* message) {
    if (count != numKeySets) badParams(message);
}

void checkKeys(const std::vector<xcOCKeySet>& keySets, const xcOCAlphabet& alphabet) {
    for (const xcOCKeySet& ks : keySets)
        for (long k : ks.keys())
            if (!alphabet.hasCharacter(k))
                throw xcOCDefs::BadKey(
                    L"A key in the set sequence is not available in the supplied alphabet.");
}

}  // namespace

xcOCLine::xcOCLine() : m_alphabet(new xcOCAlphabet()) {}

xcOCLine::xcOCLine(const std::vector<xcOCKeySet>& keySets, const Alphabet& alphabet,
                   const xc2Rigid& step, double scale, double translationUncertainty,
                   const xcRadian& rotationUncertainty, double scaleUncertainty,
                   const std::wstring& name)
    : m_keySets(keySets), m_alphabet(alphabet), m_name(name) {
    checkAlphabet(alphabet);
    if (!(scale > 0)) badParams(L"Character scale factors must be > 0");
    if (!(translationUncertainty >= 0))
        badParams(L"Character translation uncertainty must be >= 0");
    if (!(rotationUncertainty.toDouble() >= 0))
        badParams(L"Character rotation uncertainty must be >= 0");
    if (!(scaleUncertainty >= 0)) badParams(L"Character scale uncertainty must be >= 0");
    checkKeys(keySets, *alphabet);

    const std::size_t n = keySets.size();
    m_charPoses.reserve(n);
    xc2Rigid pose;
    for (std::size_t k = 0; k < n; ++k) {
        m_charPoses.push_back(pose);
        pose = step * pose;
    }
    m_charScales.assign(n, scale);
    m_translationUncertainties.assign(n, translationUncertainty);
    m_rotationUncertainties.assign(n, rotationUncertainty);
    m_scaleUncertainties.assign(n, scaleUncertainty);
}

xcOCLine::xcOCLine(const std::vector<xcOCKeySet>& keySets, const Alphabet& alphabet,
                   const std::vector<xc2Rigid>& poses, double scale, double translationUncertainty,
                   const xcRadian& rotationUncertainty, double scaleUncertainty,
                   const std::wstring& name)
    : m_keySets(keySets), m_alphabet(alphabet), m_charPoses(poses), m_name(name) {
    checkAlphabet(alphabet);
    checkCount(poses.size(), keySets.size(),
               L"Number of character poses does not match the number of key sets.");
    if (!(scale > 0)) badParams(L"Character scale factors must be > 0");
    if (!(translationUncertainty >= 0)) badParams(L"Character position uncertainty must be >= 0");
    if (!(rotationUncertainty.toDouble() >= 0))
        badParams(L"Character angular uncertainty must be >= 0");
    if (!(scaleUncertainty >= 0)) badParams(L"Character scale uncertainty must be >= 0");
    checkKeys(keySets, *alphabet);

    const std::size_t n = keySets.size();
    m_charScales.assign(n, scale);
    m_translationUncertainties.assign(n, translationUncertainty);
    m_rotationUncertainties.assign(n, rotationUncertainty);
    m_scaleUncertainties.assign(n, scaleUncertainty);
}

xcOCLine::xcOCLine(const std::vector<xcOCKeySet>& keySets, const Alphabet& alphabet,
                   const std::vector<xc2Rigid>& poses, const std::vector<double>& scales,
                   const std::vector<double>& translationUncertainties,
                   const std::vector<xcRadian>& rotationUncertainties,
                   const std::vector<double>& scaleUncertainties, const std::wstring& name)
    : m_keySets(keySets),
      m_alphabet(alphabet),
      m_charPoses(poses),
      m_charScales(scales),
      m_translationUncertainties(translationUncertainties),
      m_rotationUncertainties(rotationUncertainties),
      m_scaleUncertainties(scaleUncertainties),
      m_name(name) {
    checkAlphabet(alphabet);
    const std::size_t n = keySets.size();
    checkCount(poses.size(), n,
               L"Number of character poses does not match the number of key sets.");
    checkCount(scales.size(), n,
               L"Number of character scales does not match the number of key sets.");
    checkCount(translationUncertainties.size(), n,
               L"Number of translation uncertainties does not match the number of key sets.");
    checkCount(rotationUncertainties.size(), n,
               L"Number of rotation uncertainties does not match the number of key sets.");
    checkCount(scaleUncertainties.size(), n,
               L"Number of scale uncertainties does not match the number of key sets.");
    for (std::size_t p = 0; p < n; ++p) {
        if (!(scales[p] > 0)) badParams(L"Character scale factors must be > 0");
        // A NaN translation or scale uncertainty passes (only values below 0 fail); a NaN
        // rotation uncertainty fails.
        if (translationUncertainties[p] < 0)
            badParams(L"Character translation uncertainties must be >= 0");
        if (!(rotationUncertainties[p].toDouble() >= 0))
            badParams(L"Character rotation uncertainties must be >= 0");
        if (scaleUncertainties[p] < 0) badParams(L"Character scale uncertainties must be >= 0");
    }
    checkKeys(keySets, *alphabet);
}

void xcOCLine::checkPosition_(long pos) const {
    if (pos < 0 || pos >= numPositions()) throw xcOCDefs::BadIndex(kBadPosition);
}

bool xcOCLine::isWildcard(long pos) const {
    checkPosition_(pos);
    return m_keySets[static_cast<std::size_t>(pos)].isCurrentWildcard();
}

const xcOCLine::ModelHandle& xcOCLine::character(long pos) const {
    if (isWildcard(pos))
        throw xcOCDefs::BadIndex(L"The specified position contains a wildcard character.");
    const xcOCKeySet& ks = m_keySets[static_cast<std::size_t>(pos)];
    const std::vector<long> keys = ks.currentKeys();
    if (keys.empty()) throw xcOCDefs::BadIndex(L"The specified position has no current character.");
    return m_alphabet->character(keys.front());
}

std::vector<xcOCLine::ModelHandle> xcOCLine::characters(long pos) const {
    if (isWildcard(pos))
        throw xcOCDefs::BadIndex(L"The specified position contains a wildcard character.");
    std::vector<ModelHandle> models;
    for (long k : m_keySets[static_cast<std::size_t>(pos)].currentKeys())
        models.push_back(m_alphabet->character(k));
    return models;
}

long xcOCLine::numNormalChars() const {
    long count = 0;
    for (long p = 0; p < numPositions(); ++p) {
        if (isWildcard(p)) continue;
        for (const ModelHandle& m : characters(p)) {
            if (m->charType() == xcOCModel::eNormal) {
                ++count;
                break;
            }
        }
    }
    return count;
}

xcRect xcOCLine::encloseRect(const xcXform<2>& a, const xcXform<2>& b, const xcXform<2>& c,
                             double translationUncertainty, xcRadian rotationUncertainty,
                             double scaleUncertainty, bool includeConfusable) const {
    xf_CheckPlacementUncertainties(translationUncertainty, rotationUncertainty, scaleUncertainty);
    xf_RectEncloser encloser(a, b, c, translationUncertainty, rotationUncertainty,
                             scaleUncertainty);
    const xcXform<2> identity;
    for (long p = 0; p < numPositions(); ++p) {
        const auto up = static_cast<std::size_t>(p);
        const xcOCKeySet& ks = m_keySets[up];
        if (ks.isCurrentWildcard()) continue;
        const std::vector<long> current = ks.currentKeys();
        if (current.empty()) continue;
        const long key = current.front();
        const xc2Rigid& pose = m_charPoses[up];
        const xcXform<2> place(pose.trans(), m_charScales[up], 1.0, 0.0, pose.angle());
        for (const ModelHandle& m : m_alphabet->characters()) {
            if (m->key() != key && !(includeConfusable && m_alphabet->areConfusable(key, m->key())))
                continue;
            encloser.add(m->encloseRect(place, identity, identity, m_translationUncertainties[up],
                                        m_rotationUncertainties[up], m_scaleUncertainties[up]));
        }
    }
    return encloser.result();
}

bool xcOCLine::operator==(const xcOCLine& o) const {
    if (!(*m_alphabet == *o.m_alphabet)) return false;
    if (m_charPoses.size() != o.m_charPoses.size()) return false;
    for (std::size_t p = 0; p < m_charPoses.size(); ++p) {
        if (m_keySets[p] != o.m_keySets[p] || m_charPoses[p] != o.m_charPoses[p] ||
            m_charScales[p] != o.m_charScales[p] ||
            m_translationUncertainties[p] != o.m_translationUncertainties[p] ||
            m_rotationUncertainties[p] != o.m_rotationUncertainties[p] ||
            m_scaleUncertainties[p] != o.m_scaleUncertainties[p])
            return false;
    }
    return m_name == o.m_name;
}

// ---- Persistence -------------------------------------------------------------------------

// The visited test, the version byte (written as the current version 0; the byte read
// replaces it), this level, then the visited mark.
void xcOCLine::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCLine))) return;
    std::uint8_t version = 0;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCLine));
}

// Version 0: key sets, alphabet (a persistent pointer: an alphabet shared by several lines is
// written once), poses, scales, translation, rotation and scale uncertainties, name. Reading
// does not re-run the constructor checks; it checks only what the queries rely on for memory
// safety (an alphabet, vectors of one length), throws xcArchive::BadData otherwise, and stores
// the fields together at the end.
void xcOCLine::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version > 0) throw xcArchive::UnknownVersion(0L);
    xcPersistent::dispatchSerialize(ar);
    std::vector<xcOCKeySet> keySets = m_keySets;
    Alphabet alphabet = m_alphabet;
    std::vector<xc2Rigid> poses = m_charPoses;
    std::vector<double> scales = m_charScales;
    std::vector<double> tu = m_translationUncertainties;
    std::vector<xcRadian> ru = m_rotationUncertainties;
    std::vector<double> su = m_scaleUncertainties;
    std::wstring name = m_name;
    ar || keySets || alphabet || poses || scales || tu || ru || su || name;
    if (ar.isStoring()) return;
    if (!alphabet) ar.badData(L"a line without an alphabet");
    const std::size_t n = poses.size();
    if (keySets.size() != n || scales.size() != n || tu.size() != n || ru.size() != n ||
        su.size() != n)
        ar.badData(L"a line's per-position vectors differ in length");
    m_keySets.swap(keySets);
    m_alphabet = alphabet;
    m_charPoses.swap(poses);
    m_charScales.swap(scales);
    m_translationUncertainties.swap(tu);
    m_rotationUncertainties.swap(ru);
    m_scaleUncertainties.swap(su);
    m_name.swap(name);
}

xcPersistent* xcOCLine::make() { return new xcOCLine(); }
const xc_Instantiator xcOCLine::sExemplar(typeid(xcOCLine), &xcOCLine::make);
