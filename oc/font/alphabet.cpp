#include "oc/font/alphabet.h"

#include <algorithm>
#include <utility>

#include "platform/core/archive_geometry.h"
#include "platform/core/math_util.h"

namespace {

const wchar_t* const kNoSuchKey =
    L"The character for the specified key does not exist in the alphabet.";
const wchar_t* const kSuppliedKeysIdentical =
    L"The keys for at least two of the supplied characters are identical.";

// True when two of the keys are equal (all pairs compared).
bool hasDuplicate(const std::vector<long>& keys) {
    for (std::size_t i = 0; i < keys.size(); ++i)
        for (std::size_t j = i + 1; j < keys.size(); ++j)
            if (keys[i] == keys[j]) return true;
    return false;
}

std::vector<long> keysOf(const xcOCAlphabet::ConstModels& characters) {
    std::vector<long> keys;
    keys.reserve(characters.size());
    for (const auto& c : characters) keys.push_back(c->key());
    return keys;
}

}  // namespace

xcOCAlphabet::xcOCAlphabet() = default;

xcOCAlphabet::xcOCAlphabet(const ConstModels& characters, double confusionThreshold, bool compile,
                           const std::wstring& name)
    : m_compiled(false), m_name(name) {
    this->confusionThreshold(confusionThreshold);
    this->characters(characters, compile);
}

xcOCAlphabet::xcOCAlphabet(const Models& characters, double confusionThreshold, bool compile,
                           const std::wstring& name)
    : xcOCAlphabet(toConst_(characters), confusionThreshold, compile, name) {}

xcOCAlphabet::xcOCAlphabet(const xcOCAlphabet& o)
    : xcRepBase(), xcPersistent(o), m_compiled(false) {
    *this = o;
}

xcOCAlphabet& xcOCAlphabet::operator=(const xcOCAlphabet& o) {
    if (this == &o) return *this;
    // Copies first, so that a failed allocation leaves this alphabet as it was.
    OffsetTable offsets = o.m_offsets;
    std::wstring name = o.m_name;
    ConstModels characters = o.m_characters;
    if (o.m_compiled) {
        xcNMMatrix matrix = o.m_matrix;
        m_matrix = std::move(matrix);
    }
    m_confusionThreshold = o.m_confusionThreshold;
    m_offsets = std::move(offsets);
    m_name = std::move(name);
    m_characters = std::move(characters);
    m_compiled = o.m_compiled;
    return *this;
}

xcOCAlphabet::ConstModels xcOCAlphabet::toConst_(const Models& characters) {
    return ConstModels(characters.begin(), characters.end());
}

void xcOCAlphabet::checkHandles_(const ConstModels& characters) {
    for (const auto& c : characters)
        if (!c) throw xcOCDefs::BadParams(L"Every character handle must refer to a model.");
}

void xcOCAlphabet::confusionThreshold(double t) {
    if (!(t >= 0.0 && t <= 1.0))
        throw xcOCDefs::BadParams(L"Confusion threshold must be between 0 and 1.");
    m_confusionThreshold = t;
    xcPersistent::mutating();
}

void xcOCAlphabet::confusionThreshold(double t, bool) { confusionThreshold(t); }

long xcOCAlphabet::characterIndex(long key) const {
    for (std::size_t i = 0; i < m_characters.size(); ++i)
        if (m_characters[i]->key() == key) return static_cast<long>(i);
    return -1;
}

const xcPtrHandle_const<xcOCModel>& xcOCAlphabet::character(long key) const {
    const long i = characterIndex(key);
    if (i == -1) throw xcOCDefs::BadKey(kNoSuchKey);
    return m_characters[static_cast<std::size_t>(i)];
}

void xcOCAlphabet::characters(const ConstModels& characters, bool compile) {
    checkHandles_(characters);
    if (hasDuplicate(keysOf(characters))) throw xcOCDefs::SameKey(kSuppliedKeysIdentical);
    m_characters = characters;
    xcPersistent::mutating();
    m_compiled = false;
    if (compile) this->compile(nullptr, 0);
}

void xcOCAlphabet::characters(const Models& characters, bool compile) {
    this->characters(toConst_(characters), compile);
}

void xcOCAlphabet::add(const xcPtrHandle_const<xcOCModel>& character, bool compile) {
    add(ConstModels{character}, compile);
}

void xcOCAlphabet::add(const ConstModels& characters, bool compile) {
    checkHandles_(characters);
    const std::vector<long> keys = keysOf(characters);
    for (long k : keys)
        if (hasCharacter(k))
            throw xcOCDefs::SameKey(
                L"At least one of the supplied characters has the same key as one of the "
                L"characters in the alphabet.");
    if (hasDuplicate(keys)) throw xcOCDefs::SameKey(kSuppliedKeysIdentical);
    ConstModels grown = m_characters;
    grown.insert(grown.end(), characters.begin(), characters.end());
    xcPersistent::mutating();
    m_characters.swap(grown);
    m_compiled = false;
    if (compile) this->compile(nullptr, 0);
}

void xcOCAlphabet::add(const Models& characters, bool compile) {
    add(toConst_(characters), compile);
}

void xcOCAlphabet::remove(long key) { remove(std::vector<long>{key}); }

void xcOCAlphabet::remove(const std::vector<long>& keys) {
    if (keys.empty()) return;
    for (long k : keys)
        if (!hasCharacter(k))
            throw xcOCDefs::BadKey(
                L"At least one of the supplied keys does not reference a character in this "
                L"alphabet.");
    if (hasDuplicate(keys))
        throw xcOCDefs::SameKey(L"At least one of the supplied keys is identical.");

    // Work on copies and swap them in at the end, so that nothing changes if memory runs out.
    ConstModels characters = m_characters;
    xcNMMatrix old = m_compiled ? m_matrix : xcNMMatrix();
    OffsetTable offsets = m_compiled ? m_offsets : OffsetTable();
    for (long k : keys) {
        long i = -1;
        for (std::size_t j = 0; j < characters.size(); ++j)
            if (characters[j]->key() == k) i = static_cast<long>(j);
        const long last = static_cast<long>(characters.size()) - 1;
        const auto ui = static_cast<std::size_t>(i), ul = static_cast<std::size_t>(last);
        characters[ui] = characters[ul];
        characters.pop_back();
        if (i < last && m_compiled) {
            // Rows, then columns: element (i, last) ends where (last, i) was and so on, so
            // every remaining pair keeps its value under its new indices.
            for (long c = 0; c < old.cols(); ++c) std::swap(old(i, c), old(last, c));
            for (long r = 0; r < old.rows(); ++r) std::swap(old(r, i), old(r, last));
            std::swap(offsets[ui], offsets[ul]);
            for (auto& row : offsets) std::swap(row[ui], row[ul]);
        }
    }
    const long n = static_cast<long>(characters.size());
    xcNMMatrix matrix(std::max(1L, n), std::max(1L, n));
    if (m_compiled) {
        for (long r = 0; r < n; ++r)
            for (long c = 0; c < n; ++c) matrix(r, c) = old(r, c);
        offsets.resize(static_cast<std::size_t>(n));
        for (auto& row : offsets) row.resize(static_cast<std::size_t>(n));
    }
    xcPersistent::mutating();
    m_characters.swap(characters);
    m_matrix = std::move(matrix);
    if (m_compiled) m_offsets.swap(offsets);
}

std::pair<long, long> xcOCAlphabet::compiledIndices_(long key1, long key2) const {
    if (!m_compiled) throw xcOCDefs::NotCompiled(L"");
    const long i = characterIndex(key1), j = characterIndex(key2);
    if (i == -1 || j == -1) throw xcOCDefs::BadKey(kNoSuchKey);
    return {i, j};
}

double xcOCAlphabet::confusion(long key1, long key2) const {
    const auto [i, j] = compiledIndices_(key1, key2);
    return m_matrix(i, j);
}

bool xcOCAlphabet::areConfusable(long key1, long key2) const {
    double t = m_confusionThreshold;
    const long i = characterIndex(key1);
    if (i == -1) throw xcOCDefs::BadKey(kNoSuchKey);
    if (m_characters[static_cast<std::size_t>(i)]->charType() == xcOCModel::eBlank) t = 0.0;
    return confusion(key1, key2) > t;
}

xcXform<2> xcOCAlphabet::characterOffset(long key1, long key2) const {
    const auto [i, j] = compiledIndices_(key1, key2);
    return m_offsets[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
}

bool xcOCAlphabet::operator==(const xcOCAlphabet& o) const {
    if (m_characters.size() != o.m_characters.size()) return false;
    for (std::size_t i = 0; i < m_characters.size(); ++i)
        if (!(*m_characters[i] == *o.m_characters[i])) return false;
    return m_name == o.m_name && m_confusionThreshold == o.m_confusionThreshold &&
           m_compiled == o.m_compiled;
}

bool xfRealEq(const xcOCAlphabet& a, const xcOCAlphabet& b, double tolerance) {
    if (a.m_characters.size() != b.m_characters.size()) return false;
    for (std::size_t i = 0; i < a.m_characters.size(); ++i)
        if (!xfRealEq(*a.m_characters[i], *b.m_characters[i], tolerance)) return false;
    return a.m_name == b.m_name &&
           xfRealEq(a.m_confusionThreshold, b.m_confusionThreshold, tolerance) &&
           a.m_compiled == b.m_compiled;
}

// ---- Persistence -------------------------------------------------------------------------

// The visited test, the version byte (written as the current version 1; the byte read
// replaces it), this level, then the visited mark.
void xcOCAlphabet::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCAlphabet))) return;
    std::uint8_t version = 1;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCAlphabet));
}

// Version 1: name, threshold, characters (persistent pointers, so shared models are written
// once), compiled flag, matrix, offsets. Version 0 stops after the compiled flag; such an
// alphabet is compiled again when its flag was set. Reading checks only what the queries rely
// on for memory safety (no null model; a compiled alphabet's matrix and offsets fit its
// characters), throws xcArchive::BadData otherwise, and stores the fields together at the end.
void xcOCAlphabet::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version > 1) throw xcArchive::UnknownVersion(0L);
    xcPersistent::dispatchSerialize(ar);
    std::wstring name = m_name;
    double threshold = m_confusionThreshold;
    ConstModels characters = m_characters;
    bool compiled = m_compiled;
    ar || name || threshold || characters || compiled;
    if (ar.isStoring()) {
        ar || m_matrix || m_offsets;
        return;
    }
    for (const auto& c : characters)
        if (!c) ar.badData(L"an alphabet holds a null character");
    if (version == 0) {
        m_name = std::move(name);
        m_confusionThreshold = threshold;
        m_characters.swap(characters);
        m_compiled = false;
        if (compiled) compile(nullptr, 0);
        return;
    }
    xcNMMatrix matrix;
    OffsetTable offsets;
    ar || matrix || offsets;
    if (compiled) {
        const std::size_t n = characters.size();
        const long side = std::max(1L, static_cast<long>(n));
        bool fits = matrix.rows() == side && matrix.cols() == side && offsets.size() == n;
        for (const auto& row : offsets) fits = fits && row.size() == n;
        if (!fits) ar.badData(L"a compiled alphabet's matrix or offsets do not fit its characters");
    }
    m_name = std::move(name);
    m_confusionThreshold = threshold;
    m_characters.swap(characters);
    m_compiled = compiled;
    m_matrix = std::move(matrix);
    m_offsets.swap(offsets);
}

xcPersistent* xcOCAlphabet::make() { return new xcOCAlphabet(); }
const xc_Instantiator xcOCAlphabet::sExemplar(typeid(xcOCAlphabet), &xcOCAlphabet::make);
