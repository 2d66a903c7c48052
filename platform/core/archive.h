// Archives: the byte stream that values and persistent objects are written to and read from.
//
// One xcArchive either stores or loads, in memory, through a C++ stream or on a file. Every
// operand goes through the symmetric `ar || value`: when storing it writes the value, when
// loading it reads into it, so one function serves both directions.
//
// Encoding (little-endian, fixed width). A stream starts with the magic bytes "XCAR" and the
// format number (u32, kFormat). Then, per operand:
//   unsigned char / signed char    u8 / i8
//   std::uint32_t / std::int32_t   u32 / i32
//   long                           i32; storing a value outside the 32-bit range throws BadData
//   unsigned long                  u32; storing a value above 0xFFFFFFFF throws BadData
//   bool                           u8 (0 or 1; anything else read back throws BadData)
//   double                         f64 (IEEE 754 bits)
//   std::wstring, std::u32string   u32 count, then count u32 units
//   std::vector<T>                 "vector form": u8 version 0, u32 count, the elements
//   persistent object by value     its levels, through its dispatchSerialize (the
//                                  xcPersistent part itself writes nothing)
//   persistent pointer or handle   u8 tag: 0 null; 1 a new object (its registered class name
//                                  as a wide string, then its body); 2 a back reference (u32
//                                  index, in order of first appearance from 0, of an object
//                                  already in this archive)
// The geometry and image operands are in archive_geometry.h.
//
// Sharing. An object reached through several pointers or handles is written once (tag 1) and
// referred to afterwards (tag 2); loading gives every pointer and handle the same object.
// Back references span the whole archive. A pointer to an object whose body is still being
// written or read (a cycle) throws BadData in both directions.
//
// Ownership of loaded objects:
//   - a reference-counted object (one derived from xcRepBase) is held by the archive until
//     the archive is destroyed, and by every handle that received it. A raw pointer to such
//     an object does not own it: take a handle before the archive goes away;
//   - any other object belongs to the first raw pointer that received it; later back
//     references give the same address again without ownership.
// While storing, the archive holds a reference to every reference-counted object it wrote
// (one already held by a handle), so no address is reused for another object and mistaken
// for a back reference. Objects stored through raw pointers must stay alive, unchanged in
// address, for the archive's lifetime.
//
// Failure. Everything malformed (wrong magic or format, a truncated stream, a count larger
// than the bytes left, a bad tag, an unknown class name, a bad back reference) throws
// xcArchive::BadData naming what was wrong and the byte offset; a version byte newer than a
// class knows throws xcArchive::UnknownVersion. No count is trusted before it is checked
// against the bytes left. Persistent objects nest (an object inside an object, by value or
// behind a pointer) at most kMaxNesting deep: a deeper one throws BadData in both directions,
// so that a hostile stream cannot exhaust the stack. A failed exchange of a composite operand (a string, a vector, a
// persistent object or pointer, anything opened with an xcArchive::Exchange) leaves the
// archive as it was before the exchange: when storing, its bytes are taken back; when
// loading, the read position returns to where it was and the objects it made are released.
// So after a failure the archive stays usable. The operand itself: strings, vectors,
// pointers and handles are left unchanged; a persistent object read by value is left partly
// read.
//
// Visited marks. Within the exchange of one persistent object (by value or behind a
// pointer), each class level marks itself with setVisited(address, size of the level) after
// it is done and tests haveVisited first, so a level reached twice is exchanged once:
//     if (haveVisited(this, sizeof(X))) return; ... exchange ...; setVisited(this, sizeof(X));
// The marks belong to the object's exchange and are forgotten when it ends, so values
// exchanged one after another through the same address are each exchanged. The static
// xcPersistent::haveVisited / setVisited work through the archive currently exchanging on
// the calling thread; the members below take the archive explicitly.
//
// An xcArchive is used by one thread at a time.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/core/exception.h"
#include "platform/core/persistent.h"
#include "platform/core/rep_base.h"

class xcArchive {
public:
    class UnknownVersion;
    class BadData;
    class Exchange;

    enum Mode { eLoad, eStore };
    // The format number written after the magic bytes; the only one read.
    static constexpr std::uint32_t kFormat = 1;
    // The deepest nesting of persistent objects exchanged (the outermost object is level 1).
    static constexpr std::size_t kMaxNesting = 128;

    // Stores into memory; bytes() gives the stream.
    xcArchive();
    // Loads from a copy of `bytes`, or from `bytes` itself. Throws BadData when the stream
    // does not start with the magic bytes and format number.
    explicit xcArchive(std::span<const unsigned char> bytes);
    explicit xcArchive(std::vector<unsigned char>&& bytes);
    // Loads: reads the whole stream first. Throws xcIOError when reading fails, BadData as
    // for memory.
    explicit xcArchive(std::istream& in);
    // Stores to a stream, which must outlive the archive. Bytes reach the stream as
    // exchanges complete and at close(); xcIOError when writing fails.
    explicit xcArchive(std::ostream& out);
    // Loads from (eLoad: reads the whole file) or stores to (eStore: creates or truncates) a
    // file. Throws xcIOError when the file cannot be opened or read.
    xcArchive(const std::string& path, Mode mode);
    // Flushes a stream or file archive (errors are then lost: call close() to see them) and
    // releases the objects the archive holds.
    ~xcArchive();
    xcArchive(const xcArchive&) = delete;
    xcArchive& operator=(const xcArchive&) = delete;

    bool isLoading() const { return m_loading; }
    bool isStoring() const { return !m_loading; }

    // The whole stream written so far, header included. Only for an archive that stores into
    // memory (throws xcBadArgument otherwise).
    const std::vector<unsigned char>& bytes() const;
    // Loading: the offset of the next byte to read. Storing: the number of bytes written.
    std::size_t position() const;
    // Loading: the bytes not read yet (0 when storing).
    std::size_t bytesLeft() const;
    // Loading: true when every byte has been read.
    bool atEnd() const { return bytesLeft() == 0; }
    // Storing to a stream or file: writes what is pending, flushes and, for a file, closes
    // it; throws xcIOError on failure. Nothing may be stored afterwards. Otherwise a no-op.
    void close();

    // ---- Raw access for operator|| implementations -------------------------------------
    // Writing (storing only).
    void put8(std::uint8_t v);
    void put32(std::uint32_t v);
    void put64(std::uint64_t v);
    void putBytes(const void* data, std::size_t n);
    // Reading (loading only). `what` names the operand for the BadData message when the
    // stream ends too early.
    std::uint8_t get8(const wchar_t* what);
    std::uint32_t get32(const wchar_t* what);
    std::uint64_t get64(const wchar_t* what);
    void getBytes(void* data, std::size_t n, const wchar_t* what);
    // Throws BadData unless `n` bytes are left. A fixed-size operand of several parts checks
    // its whole size first, so that a short stream fails before any part is read.
    void need(std::size_t n, const wchar_t* what) const;
    // Throws BadData unless `count` items of at least `minBytes` bytes each fit in the bytes
    // left. Call it before allocating for a count read from the stream.
    void checkCount(std::uint64_t count, std::size_t minBytes, const wchar_t* what) const;
    // Throws BadData with `what` and the current offset.
    [[noreturn]] void badData(const std::wstring& what) const;

    // ---- Persistent objects ------------------------------------------------------------
    // Visited marks of the object being exchanged (see the file comment).
    bool haveVisited(const void* object, std::size_t size) const;
    void setVisited(const void* object, std::size_t size);

    // Exchanges a persistent object by value through its dispatchSerialize, in a visited
    // scope of its own. Loading by value normally goes through obj.loadSimple(ar), whose
    // default calls this.
    void serializeObject(xcPersistent& obj);

    // Writes a persistent pointer (tag 0, 1 or 2). Throws BadData for a class that is not
    // registered or a cycle.
    void storePointer(const xcPersistent* p);
    // Reads a persistent pointer. `accepts` tells whether an object may be received (the
    // handle's or pointer's class); `expected` names that class for the error message.
    // `handOut` gives a new non-counted object to the caller (raw pointers). Returns null for
    // tag 0.
    using Accepts = bool (*)(const xcPersistent*);
    xcPersistent* loadPointer(Accepts accepts, const std::type_info& expected, bool handOut);

    // The archive exchanging on the calling thread (innermost), or null.
    static xcArchive* current();

private:
    struct StoredObject {
        const xcPersistent* object;
        const xcRepBase* ref;  // the archive's reference, or null
        bool complete;
    };
    struct LoadedObject {
        xcPersistent* object;
        const xcRepBase* ref;  // the archive's reference, or null
        bool owned;            // not counted and not handed out: the archive deletes it
        bool complete;
    };

    void init_();
    void readHeader_();
    void writeHeader_();
    void rollback_(std::size_t position, std::size_t objects);
    void commitTop_();
    void flush_();
    void releaseAll_() noexcept;
    const std::wstring& className_(const xcPersistent& p);

    bool m_loading;
    bool m_memory = true;             // storing into memory (bytes() is the whole stream)
    std::vector<unsigned char> m_buf;  // loading: the stream; storing: bytes not yet flushed
    std::size_t m_pos = 0;            // loading: read offset
    std::size_t m_flushed = 0;        // storing: bytes already handed to the stream
    std::ostream* m_out = nullptr;
    std::unique_ptr<std::ostream> m_file;
    bool m_closed = false;
    int m_depth = 0;  // open Exchanges

    std::vector<std::pair<const void*, std::size_t>> m_marks;  // visited marks
    std::vector<std::size_t> m_scopes;                         // start of each object's marks

    std::vector<StoredObject> m_stored;
    std::unordered_map<const xcPersistent*, std::uint32_t> m_storedIndex;
    std::unordered_map<std::type_index, std::wstring> m_names;
    std::vector<LoadedObject> m_loaded;

    friend class Exchange;
};

// The unknown-version error: a version byte is greater than the class level knows. It carries
// the class's qualified name (or, as some callers do, a source file name in its place) and a
// number (0, or a source line). The message is "Unknown version[ of <name>][ (<number>)] in
// the archive".
class xcArchive::UnknownVersion : public xcExceptionWithString {
public:
    // No class name and the number 0.
    UnknownVersion() : UnknownVersion(0) {}
    explicit UnknownVersion(long number);
    UnknownVersion(const std::string& className, long number);
    UnknownVersion(const std::wstring& className, long number);

    long errorNumber() const override { return 0x10000110; }
    void suicideAndRethrow() override {
        UnknownVersion copy(*this);
        delete this;
        throw copy;
    }

    const std::wstring& className() const { return m_className; }
    long number() const { return m_number; }

protected:
    // Version 0: the base level, then the class name and the number.
    void dispatchSerialize(xcArchive& ar) override;

private:
    static xcPersistent* make();
    static const xc_Instantiator sExemplar;
    static std::wstring compose_(const std::wstring& className, long number);

    std::wstring m_className;
    long m_number = 0;
};

// Malformed archive data, or a value that the archive cannot represent when storing. The
// message says what was wrong and at which byte offset.
class xcArchive::BadData : public xcExceptionWithString {
    XC_EXCEPTION_BODY(BadData, xcExceptionWithString, 0x10000111)
public:
    // "Bad archive data at byte offset <offset>: <what>".
    BadData(const std::wstring& what, std::size_t offset);
};

// Opens an exchange of a composite operand: until commit(), a failure (the Exchange destroyed
// by an exception) takes back everything the exchange wrote, read or made, and the archive is
// the calling thread's current archive. operator|| of a composite value opens one:
//     xcArchive::Exchange ex(ar); ar || a || b; ex.commit(); return ar;
class xcArchive::Exchange {
public:
    explicit Exchange(xcArchive& ar) noexcept;
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    // Keeps what was exchanged. For the outermost exchange of a stream archive this may
    // write to the stream (xcIOError on failure).
    void commit();

private:
    xcArchive& m_ar;
    xcArchive* m_previous;
    std::size_t m_position;
    std::size_t m_objects;
    bool m_committed = false;
};

// ---- Plain operands ----------------------------------------------------------------------

xcArchive& operator||(xcArchive& ar, unsigned char& v);
xcArchive& operator||(xcArchive& ar, signed char& v);
xcArchive& operator||(xcArchive& ar, std::uint32_t& v);
xcArchive& operator||(xcArchive& ar, std::int32_t& v);
xcArchive& operator||(xcArchive& ar, long& v);
xcArchive& operator||(xcArchive& ar, unsigned long& v);
xcArchive& operator||(xcArchive& ar, bool& v);
xcArchive& operator||(xcArchive& ar, double& v);
xcArchive& operator||(xcArchive& ar, std::wstring& v);
xcArchive& operator||(xcArchive& ar, std::u32string& v);

// The least number of bytes one operand of type T takes in the stream, used to check a
// vector's count before allocating. Types whose encoding may be empty keep 1 (harmless: the
// check then bounds the count by the bytes left). archive_geometry.h adds its types.
template <class T>
struct xc_ArchiveMinBytes : std::integral_constant<std::size_t, 1> {};
template <>
struct xc_ArchiveMinBytes<std::uint32_t> : std::integral_constant<std::size_t, 4> {};
template <>
struct xc_ArchiveMinBytes<std::int32_t> : std::integral_constant<std::size_t, 4> {};
template <>
struct xc_ArchiveMinBytes<long> : std::integral_constant<std::size_t, 4> {};
template <>
struct xc_ArchiveMinBytes<unsigned long> : std::integral_constant<std::size_t, 4> {};
template <>
struct xc_ArchiveMinBytes<double> : std::integral_constant<std::size_t, 8> {};
template <>
struct xc_ArchiveMinBytes<std::wstring> : std::integral_constant<std::size_t, 4> {};
template <>
struct xc_ArchiveMinBytes<std::u32string> : std::integral_constant<std::size_t, 4> {};
template <class T, class A>
struct xc_ArchiveMinBytes<std::vector<T, A>> : std::integral_constant<std::size_t, 5> {};

// ---- Persistent objects, pointers and handles --------------------------------------------

template <class T>
bool xf_ArchiveAccepts(const xcPersistent* p) {
    return dynamic_cast<const T*>(p) != nullptr;
}

// A persistent object by value (xcRect, exceptions, ...).
template <class T>
    requires std::derived_from<T, xcPersistent>
xcArchive& operator||(xcArchive& ar, T& obj) {
    if (ar.isStoring())
        ar.serializeObject(obj);
    else
        static_cast<xcPersistent&>(obj).loadSimple(ar);
    return ar;
}

// A raw persistent pointer. Loading assigns only on success; see the file comment for who
// owns the object read.
template <class T>
    requires std::derived_from<std::remove_cv_t<T>, xcPersistent>
xcArchive& operator||(xcArchive& ar, T*& p) {
    using U = std::remove_cv_t<T>;
    if (ar.isStoring()) {
        ar.storePointer(p);
    } else {
        xcPersistent* q = ar.loadPointer(&xf_ArchiveAccepts<U>, typeid(U), true);
        p = q ? dynamic_cast<U*>(q) : nullptr;
    }
    return ar;
}

// Counted handles to persistent classes. Loading replaces the handle only on success.
template <class T>
xcArchive& operator||(xcArchive& ar, xcPtrHandle<T>& h) {
    static_assert(std::derived_from<T, xcPersistent>, "handle to a non-persistent class");
    if (ar.isStoring()) {
        ar.storePointer(h.get());
    } else {
        xcPersistent* q = ar.loadPointer(&xf_ArchiveAccepts<T>, typeid(T), false);
        h = xcPtrHandle<T>(q ? dynamic_cast<T*>(q) : nullptr);
    }
    return ar;
}

template <class T>
xcArchive& operator||(xcArchive& ar, xcPtrHandle_const<T>& h) {
    static_assert(std::derived_from<T, xcPersistent>, "handle to a non-persistent class");
    if (ar.isStoring()) {
        ar.storePointer(h.get());
    } else {
        xcPersistent* q = ar.loadPointer(&xf_ArchiveAccepts<T>, typeid(T), false);
        h = xcPtrHandle_const<T>(q ? dynamic_cast<const T*>(q) : nullptr);
    }
    return ar;
}

// ---- Vectors -----------------------------------------------------------------------------

// The vector form: u8 version 0 (another version read throws UnknownVersion with no class
// name and 0), u32 count, the elements. Loading checks the count against the bytes left and
// reads into a new vector that replaces `v` on success. A vector of raw pointers is read in
// place instead (resized to the count first), so that the objects already read stay with the
// caller when a later element fails.
template <class T, class A>
xcArchive& operator||(xcArchive& ar, std::vector<T, A>& v) {
    xcArchive::Exchange ex(ar);
    unsigned char version = 0;
    ar || version;
    if (version != 0) throw xcArchive::UnknownVersion(0);
    if (ar.isStoring()) {
        if (v.size() > 0xFFFFFFFFu) ar.badData(L"vector too long for a 32-bit count");
        ar.put32(static_cast<std::uint32_t>(v.size()));
        if constexpr (std::is_same_v<T, bool>) {
            for (bool b : v) ar.put8(b ? 1 : 0);
        } else {
            for (T& e : v) ar || e;
        }
    } else {
        const std::uint32_t n = ar.get32(L"vector count");
        ar.checkCount(n, xc_ArchiveMinBytes<T>::value, L"vector");
        if constexpr (std::is_pointer_v<T>) {
            v.assign(n, nullptr);
            for (T& e : v) ar || e;
        } else {
            std::vector<T, A> tmp;
            // Grows with the elements actually read, so memory follows the data.
            tmp.reserve(std::min<std::size_t>(n, 4096));
            for (std::uint32_t i = 0; i < n; ++i) {
                if constexpr (std::is_same_v<T, bool>) {
                    bool b = false;
                    ar || b;
                    tmp.push_back(b);
                } else {
                    tmp.emplace_back();
                    ar || tmp.back();
                }
            }
            v.swap(tmp);
        }
    }
    ex.commit();
    return ar;
}
