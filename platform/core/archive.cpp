#include "platform/core/archive.h"

#include <cstring>
#include <fstream>
#include <istream>
#include <iterator>
#include <limits>
#include <ostream>

#include "platform/core/char_code.h"

namespace {

const unsigned char kMagic[4] = {'X', 'C', 'A', 'R'};
constexpr std::size_t kHeaderBytes = 8;
// A stream archive hands its bytes to the stream once this many are pending.
constexpr std::size_t kFlushBytes = 64 * 1024;

thread_local xcArchive* tl_current = nullptr;

std::wstring widen(const std::string& s) { return xfFromUtf8(s); }

}  // namespace

// ---- Construction --------------------------------------------------------------------------

xcArchive::xcArchive() : m_loading(false) { writeHeader_(); }

xcArchive::xcArchive(std::span<const unsigned char> bytes)
    : m_loading(true), m_buf(bytes.begin(), bytes.end()) {
    readHeader_();
}

xcArchive::xcArchive(std::vector<unsigned char>&& bytes)
    : m_loading(true), m_buf(std::move(bytes)) {
    readHeader_();
}

xcArchive::xcArchive(std::istream& in) : m_loading(true) {
    m_buf.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) throw xcIOError(L"Reading the archive stream failed");
    readHeader_();
}

xcArchive::xcArchive(std::ostream& out) : m_loading(false), m_memory(false), m_out(&out) {
    writeHeader_();
}

xcArchive::xcArchive(const std::string& path, Mode mode) : m_loading(mode == eLoad) {
    if (m_loading) {
        std::ifstream in(path, std::ios::binary);
        if (!in) throw xcIOError(L"Cannot open the archive file " + widen(path));
        in.seekg(0, std::ios::end);
        const std::streamoff size = in.tellg();
        in.seekg(0, std::ios::beg);
        if (size < 0 || !in) throw xcIOError(L"Cannot read the archive file " + widen(path));
        m_buf.resize(static_cast<std::size_t>(size));
        if (size > 0 && !in.read(reinterpret_cast<char*>(m_buf.data()), size))
            throw xcIOError(L"Cannot read the archive file " + widen(path));
        readHeader_();
    } else {
        auto file = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
        if (!*file) throw xcIOError(L"Cannot create the archive file " + widen(path));
        m_file = std::move(file);
        m_out = m_file.get();
        m_memory = false;
        writeHeader_();
    }
}

xcArchive::~xcArchive() {
    if (m_out && !m_closed) {
        try {
            close();
        } catch (...) {
            // A destructor cannot report; close() explicitly to see write errors.
        }
    }
    releaseAll_();
}

void xcArchive::releaseAll_() noexcept {
    for (auto it = m_loaded.rbegin(); it != m_loaded.rend(); ++it) {
        if (it->ref)
            it->ref->release();
        else if (it->owned)
            delete it->object;
    }
    m_loaded.clear();
    for (auto it = m_stored.rbegin(); it != m_stored.rend(); ++it)
        if (it->ref) it->ref->release();
    m_stored.clear();
    m_storedIndex.clear();
}

void xcArchive::writeHeader_() {
    putBytes(kMagic, sizeof(kMagic));
    put32(kFormat);
}

void xcArchive::readHeader_() {
    if (m_buf.size() < kHeaderBytes || std::memcmp(m_buf.data(), kMagic, sizeof(kMagic)) != 0)
        throw BadData(L"the stream does not start with an archive header (\"XCAR\" and format)",
                      0);
    m_pos = sizeof(kMagic);
    const std::uint32_t format = get32(L"the format number");
    if (format != kFormat)
        throw BadData(L"archive format " + std::to_wstring(format) + L" is not supported (" +
                          std::to_wstring(kFormat) + L" is)",
                      sizeof(kMagic));
}

const std::vector<unsigned char>& xcArchive::bytes() const {
    if (m_loading || !m_memory)
        throw xcBadArgument(L"Only an archive that stores into memory has its bytes at hand");
    return m_buf;
}

std::size_t xcArchive::position() const { return m_loading ? m_pos : m_flushed + m_buf.size(); }

std::size_t xcArchive::bytesLeft() const { return m_loading ? m_buf.size() - m_pos : 0; }

void xcArchive::flush_() {
    if (!m_out || m_buf.empty()) return;
    m_out->write(reinterpret_cast<const char*>(m_buf.data()),
                 static_cast<std::streamsize>(m_buf.size()));
    if (!*m_out) throw xcIOError(L"Writing the archive stream failed");
    m_flushed += m_buf.size();
    m_buf.clear();
}

void xcArchive::close() {
    if (m_loading || !m_out || m_closed) return;
    m_closed = true;
    flush_();
    m_out->flush();
    if (!*m_out) throw xcIOError(L"Writing the archive stream failed");
    if (m_file) {
        static_cast<std::ofstream*>(m_file.get())->close();
        if (!*m_file) throw xcIOError(L"Closing the archive file failed");
    }
}

// ---- Raw access ----------------------------------------------------------------------------

void xcArchive::badData(const std::wstring& what) const { throw BadData(what, position()); }

void xcArchive::need(std::size_t n, const wchar_t* what) const {
    if (!m_loading) return;
    if (m_buf.size() - m_pos < n)
        badData(L"the stream ends inside " + std::wstring(what) + L" (" + std::to_wstring(n) +
                L" bytes needed, " + std::to_wstring(m_buf.size() - m_pos) + L" left)");
}

void xcArchive::checkCount(std::uint64_t count, std::size_t minBytes, const wchar_t* what) const {
    const std::uint64_t left = bytesLeft();
    if (minBytes > 0 && count > left / minBytes)
        badData(std::wstring(what) + L" count " + std::to_wstring(count) +
                L" does not fit in the " + std::to_wstring(left) + L" bytes left");
}

void xcArchive::putBytes(const void* data, std::size_t n) {
    if (m_loading) throw xcBadArgument(L"Writing to an archive that loads");
    if (m_closed) throw xcBadArgument(L"Writing to a closed archive");
    const auto* p = static_cast<const unsigned char*>(data);
    m_buf.insert(m_buf.end(), p, p + n);
}

void xcArchive::put8(std::uint8_t v) { putBytes(&v, 1); }

void xcArchive::put32(std::uint32_t v) {
    const unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                static_cast<unsigned char>(v >> 16),
                                static_cast<unsigned char>(v >> 24)};
    putBytes(b, 4);
}

void xcArchive::put64(std::uint64_t v) {
    unsigned char b[8];
    for (int i = 0; i < 8; ++i) b[i] = static_cast<unsigned char>(v >> (8 * i));
    putBytes(b, 8);
}

void xcArchive::getBytes(void* data, std::size_t n, const wchar_t* what) {
    if (!m_loading) throw xcBadArgument(L"Reading from an archive that stores");
    need(n, what);
    if (n > 0) std::memcpy(data, m_buf.data() + m_pos, n);
    m_pos += n;
}

std::uint8_t xcArchive::get8(const wchar_t* what) {
    std::uint8_t v = 0;
    getBytes(&v, 1, what);
    return v;
}

std::uint32_t xcArchive::get32(const wchar_t* what) {
    unsigned char b[4];
    getBytes(b, 4, what);
    return static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
           static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
}

std::uint64_t xcArchive::get64(const wchar_t* what) {
    unsigned char b[8];
    getBytes(b, 8, what);
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | b[i];
    return v;
}

// ---- Exchanges -----------------------------------------------------------------------------

xcArchive::Exchange::Exchange(xcArchive& ar) noexcept
    : m_ar(ar),
      m_previous(tl_current),
      m_position(ar.position()),
      m_objects(ar.m_loading ? ar.m_loaded.size() : ar.m_stored.size()) {
    ++ar.m_depth;
    tl_current = &ar;
}

xcArchive::Exchange::~Exchange() {
    if (!m_committed) m_ar.rollback_(m_position, m_objects);
    --m_ar.m_depth;
    tl_current = m_previous;
}

void xcArchive::Exchange::commit() {
    m_committed = true;
    if (m_ar.m_depth == 1) m_ar.commitTop_();
}

void xcArchive::commitTop_() {
    if (!m_loading && m_out && m_buf.size() >= kFlushBytes) flush_();
}

void xcArchive::rollback_(std::size_t position, std::size_t objects) {
    if (m_loading) {
        m_pos = position;
        while (m_loaded.size() > objects) {
            LoadedObject o = m_loaded.back();
            m_loaded.pop_back();
            if (o.ref)
                o.ref->release();
            else if (o.owned)
                delete o.object;
        }
    } else {
        // Bytes are flushed only between outermost exchanges, so they are all still here.
        if (position >= m_flushed) m_buf.resize(position - m_flushed);
        while (m_stored.size() > objects) {
            StoredObject o = m_stored.back();
            m_stored.pop_back();
            m_storedIndex.erase(o.object);
            if (o.ref) o.ref->release();
        }
    }
}

xcArchive* xcArchive::current() { return tl_current; }

// ---- Visited marks -------------------------------------------------------------------------

bool xcArchive::haveVisited(const void* object, std::size_t size) const {
    const std::size_t start = m_scopes.empty() ? 0 : m_scopes.back();
    for (std::size_t i = start; i < m_marks.size(); ++i)
        if (m_marks[i].first == object && m_marks[i].second == size) return true;
    return false;
}

void xcArchive::setVisited(const void* object, std::size_t size) {
    if (!haveVisited(object, size)) m_marks.emplace_back(object, size);
}

bool xcPersistent::haveVisited(const void* object, std::size_t size) {
    const xcArchive* ar = xcArchive::current();
    return ar && ar->haveVisited(object, size);
}

void xcPersistent::setVisited(const void* object, std::size_t size) {
    if (xcArchive* ar = xcArchive::current()) ar->setVisited(object, size);
}

bool xcPersistent::haveVisited(const xcArchive& ar, const void* object, std::size_t size) {
    return ar.haveVisited(object, size);
}

void xcPersistent::setVisited(xcArchive& ar, const void* object, std::size_t size) {
    ar.setVisited(object, size);
}

bool xcPersistent::mutating() {
    const xcArchive* ar = xcArchive::current();
    return ar && ar->isLoading();
}

void xcPersistent::loadSimple(xcArchive& ar) { ar.serializeObject(*this); }

// ---- Persistent objects --------------------------------------------------------------------

void xcArchive::serializeObject(xcPersistent& obj) {
    // Every persistent object's exchange opens one scope of visited marks, so the scopes
    // count the nesting.
    if (m_scopes.size() >= kMaxNesting)
        badData(L"persistent objects nested more than " + std::to_wstring(kMaxNesting) + L" deep");
    Exchange ex(*this);
    // The object's visited marks live as long as its exchange.
    struct Scope {
        xcArchive& ar;
        explicit Scope(xcArchive& a) : ar(a) { ar.m_scopes.push_back(ar.m_marks.size()); }
        ~Scope() {
            ar.m_marks.resize(ar.m_scopes.back());
            ar.m_scopes.pop_back();
        }
    } scope(*this);
    obj.dispatchSerialize(*this);
    ex.commit();
}

const std::wstring& xcArchive::className_(const xcPersistent& p) {
    const std::type_index type(typeid(p));
    auto it = m_names.find(type);
    if (it != m_names.end()) return it->second;
    const std::string name = xf_PersistentClassName(typeid(p));
    if (!xf_FindPersistentFactory(name))
        badData(L"class " + widen(name) + L" is not registered as persistent");
    return m_names.emplace(type, widen(name)).first->second;
}

void xcArchive::storePointer(const xcPersistent* p) {
    if (m_loading) throw xcBadArgument(L"Writing to an archive that loads");
    Exchange ex(*this);
    if (!p) {
        put8(0);
    } else if (auto it = m_storedIndex.find(p); it != m_storedIndex.end()) {
        if (!m_stored[it->second].complete)
            badData(L"cyclic reference to an object of class " + className_(*p) +
                    L" that is still being written");
        put8(2);
        put32(it->second);
    } else {
        std::wstring name = className_(*p);
        if (m_stored.size() >= 0xFFFFFFFFu) badData(L"too many objects for 32-bit indices");
        put8(1);
        *this || name;
        const auto* ref = dynamic_cast<const xcRepBase*>(p);
        // Only an object that handles already count is kept alive; counting one that nobody
        // counts would delete it when the archive lets go.
        if (ref && ref->refCount() > 0)
            ref->addRef();
        else
            ref = nullptr;
        const auto index = static_cast<std::uint32_t>(m_stored.size());
        m_stored.push_back({p, ref, false});
        m_storedIndex.emplace(p, index);
        serializeObject(const_cast<xcPersistent&>(*p));
        m_stored[index].complete = true;
    }
    ex.commit();
}

xcPersistent* xcArchive::loadPointer(Accepts accepts, const std::type_info& expected,
                                     bool handOut) {
    if (!m_loading) throw xcBadArgument(L"Reading from an archive that stores");
    Exchange ex(*this);
    const std::size_t tagAt = m_pos;
    const std::uint8_t tag = get8(L"a persistent pointer tag");
    std::size_t index = 0;
    xcPersistent* result = nullptr;
    if (tag == 0) {
        ex.commit();
        return nullptr;
    } else if (tag == 2) {
        const std::uint32_t back = get32(L"a back reference");
        if (back >= m_loaded.size())
            badData(L"back reference " + std::to_wstring(back) + L" to an object not read yet (" +
                    std::to_wstring(m_loaded.size()) + L" read so far)");
        if (!m_loaded[back].complete)
            badData(L"back reference " + std::to_wstring(back) +
                    L" to an object that is still being read (a cycle)");
        result = m_loaded[back].object;
        if (!accepts(result))
            badData(L"back reference " + std::to_wstring(back) + L" to an object of class " +
                    widen(xf_PersistentClassName(typeid(*result))) + L" where " +
                    widen(xf_PersistentClassName(expected)) + L" is expected");
        index = back;
    } else if (tag == 1) {
        std::wstring wname;
        *this || wname;
        const std::string name = xfToUtf8(wname);
        const xcPersistentFactory make = xf_FindPersistentFactory(name);
        if (!make) {
            m_pos = tagAt;  // report where the object starts
            badData(L"unknown persistent class \"" + wname + L"\"");
        }
        std::unique_ptr<xcPersistent> made(make());
        if (!made) badData(L"the factory of class \"" + wname + L"\" made no object");
        if (!accepts(made.get()))
            badData(L"an object of class " + wname + L" where " +
                    widen(xf_PersistentClassName(expected)) + L" is expected");
        xcPersistent* obj = made.release();
        const auto* ref = dynamic_cast<const xcRepBase*>(obj);
        if (ref) ref->addRef();
        index = m_loaded.size();
        m_loaded.push_back({obj, ref, ref == nullptr, false});
        obj->reInit();
        obj->loadSimple(*this);
        m_loaded[index].complete = true;
        result = obj;
    } else {
        m_pos = tagAt;
        badData(L"bad persistent pointer tag " + std::to_wstring(tag) + L" (0, 1 or 2 expected)");
    }
    if (handOut) m_loaded[index].owned = false;
    ex.commit();
    return result;
}

// ---- Plain operands ------------------------------------------------------------------------

xcArchive& operator||(xcArchive& ar, unsigned char& v) {
    if (ar.isStoring())
        ar.put8(v);
    else
        v = ar.get8(L"an unsigned 8-bit value");
    return ar;
}

xcArchive& operator||(xcArchive& ar, signed char& v) {
    if (ar.isStoring())
        ar.put8(static_cast<std::uint8_t>(v));
    else
        v = static_cast<signed char>(ar.get8(L"a signed 8-bit value"));
    return ar;
}

xcArchive& operator||(xcArchive& ar, std::uint32_t& v) {
    if (ar.isStoring())
        ar.put32(v);
    else
        v = ar.get32(L"an unsigned 32-bit value");
    return ar;
}

xcArchive& operator||(xcArchive& ar, std::int32_t& v) {
    if (ar.isStoring())
        ar.put32(static_cast<std::uint32_t>(v));
    else
        v = static_cast<std::int32_t>(ar.get32(L"a signed 32-bit value"));
    return ar;
}

xcArchive& operator||(xcArchive& ar, long& v) {
    if (ar.isStoring()) {
        if (v < std::numeric_limits<std::int32_t>::min() ||
            v > std::numeric_limits<std::int32_t>::max())
            ar.badData(L"the long value " + std::to_wstring(v) +
                       L" does not fit in the archive's signed 32 bits");
        ar.put32(static_cast<std::uint32_t>(static_cast<std::int32_t>(v)));
    } else {
        v = static_cast<std::int32_t>(ar.get32(L"a long value"));
    }
    return ar;
}

xcArchive& operator||(xcArchive& ar, unsigned long& v) {
    if (ar.isStoring()) {
        if (v > 0xFFFFFFFFul)
            ar.badData(L"the unsigned long value " + std::to_wstring(v) +
                       L" does not fit in the archive's unsigned 32 bits");
        ar.put32(static_cast<std::uint32_t>(v));
    } else {
        v = ar.get32(L"an unsigned long value");
    }
    return ar;
}

xcArchive& operator||(xcArchive& ar, bool& v) {
    if (ar.isStoring()) {
        ar.put8(v ? 1 : 0);
    } else {
        const std::uint8_t b = ar.get8(L"a bool");
        if (b > 1)
            throw xcArchive::BadData(
                L"a bool byte is " + std::to_wstring(b) + L" (0 or 1 expected)",
                ar.position() - 1);
        v = b != 0;
    }
    return ar;
}

xcArchive& operator||(xcArchive& ar, double& v) {
    if (ar.isStoring()) {
        std::uint64_t bits;
        std::memcpy(&bits, &v, sizeof(bits));
        ar.put64(bits);
    } else {
        const std::uint64_t bits = ar.get64(L"a double");
        std::memcpy(&v, &bits, sizeof(v));
    }
    return ar;
}

namespace {

// Wide strings and strings of 32-bit codes: a u32 count, then that many u32 units.
template <class Str>
void exchangeUnits32(xcArchive& ar, Str& v) {
    xcArchive::Exchange ex(ar);
    if (ar.isStoring()) {
        if (v.size() > 0xFFFFFFFFu) ar.badData(L"string too long for a 32-bit count");
        ar.put32(static_cast<std::uint32_t>(v.size()));
        for (auto c : v) ar.put32(static_cast<std::uint32_t>(c));
    } else {
        const std::uint32_t n = ar.get32(L"a string length");
        ar.checkCount(n, 4, L"string");
        Str s(n, typename Str::value_type(0));
        for (std::uint32_t i = 0; i < n; ++i)
            s[i] = static_cast<typename Str::value_type>(ar.get32(L"a string unit"));
        v.swap(s);
    }
    ex.commit();
}

}  // namespace

xcArchive& operator||(xcArchive& ar, std::wstring& v) {
    static_assert(sizeof(wchar_t) == 4, "wide strings are archived as 32-bit units");
    exchangeUnits32(ar, v);
    return ar;
}

xcArchive& operator||(xcArchive& ar, std::u32string& v) {
    exchangeUnits32(ar, v);
    return ar;
}

// ---- The archive's own errors --------------------------------------------------------------

std::wstring xcArchive::UnknownVersion::compose_(const std::wstring& className, long number) {
    std::wstring m = L"Unknown version";
    if (!className.empty()) m += L" of " + className;
    if (number != 0) m += L" (" + std::to_wstring(number) + L")";
    return m + L" in the archive";
}

xcArchive::UnknownVersion::UnknownVersion(long number)
    : xcExceptionWithString(compose_(L"", number)), m_number(number) {}

xcArchive::UnknownVersion::UnknownVersion(const std::string& className, long number)
    : UnknownVersion(widen(className), number) {}

xcArchive::UnknownVersion::UnknownVersion(const std::wstring& className, long number)
    : xcExceptionWithString(compose_(className, number)),
      m_className(className),
      m_number(number) {}

void xcArchive::UnknownVersion::dispatchSerialize(xcArchive& ar) {
    if (ar.haveVisited(this, sizeof(UnknownVersion))) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw UnknownVersion("xcArchive::UnknownVersion", 0);
    xcExceptionWithString::dispatchSerialize(ar);
    ar || m_className || m_number;
    ar.setVisited(this, sizeof(UnknownVersion));
}

xcPersistent* xcArchive::UnknownVersion::make() { return new UnknownVersion(); }
const xc_Instantiator xcArchive::UnknownVersion::sExemplar(typeid(xcArchive::UnknownVersion),
                                                           &xcArchive::UnknownVersion::make);

xcArchive::BadData::BadData(const std::wstring& what, std::size_t offset)
    : xcExceptionWithString(L"Bad archive data at byte offset " + std::to_wstring(offset) +
                            L": " + what) {}

XC_EXCEPTION_DEFINE(xcArchive::BadData, xcExceptionWithString, "xcArchive::BadData")
