// Base of every object that can be written to and read from an archive, and the registry of
// persistent classes.
//
// A persistent class level exchanges itself in dispatchSerialize(): it writes (or reads)
// its version byte, its base part and its own fields through xcArchive::operator||.
// The archive itself (xcArchive, persistent pointers, the visited marks that let an object
// shared by several handles be written once) lives in archive.h.
#pragma once

#include <cstddef>
#include <string>
#include <typeinfo>

class xcArchive;

class xcPersistent {
public:
    virtual ~xcPersistent() = default;

    // Puts a freshly made object (from a registry factory) into its default state before
    // it is loaded through a persistent pointer. The default does nothing.
    virtual void reInit() {}

    // Loads the object from an archive at the current position (no pointer tag): the
    // archive's loading of a value and of a pointer's body both come here. The default
    // exchanges the object's levels (xcArchive::serializeObject). Errors: those of the
    // archive and of dispatchSerialize; the object is then left partly read.
    virtual void loadSimple(xcArchive& ar);

    // Visited marks of the object being exchanged on the archive currently exchanging on the
    // calling thread (see archive.h): a class level tests haveVisited(this, sizeof(Level))
    // first and calls setVisited(this, sizeof(Level)) when done, so that within one object's
    // exchange each level is exchanged once. Without a current archive haveVisited is false
    // and setVisited does nothing.
    static bool haveVisited(const void* object, std::size_t size);
    static void setVisited(const void* object, std::size_t size);
    // The same on a given archive.
    static bool haveVisited(const xcArchive& ar, const void* object, std::size_t size);
    static void setVisited(xcArchive& ar, const void* object, std::size_t size);

    // True while the calling thread is loading an archive into objects: the objects being
    // exchanged are changed by the load and must not be validated or used as complete yet.
    // Setters and caches can ask it; reading an archive re-runs no validation.
    static bool mutating();

protected:
    xcPersistent() = default;
    xcPersistent(const xcPersistent&) = default;
    xcPersistent& operator=(const xcPersistent&) = default;

    // Exchanges this object's levels with the archive. The default exchanges nothing.
    virtual void dispatchSerialize(xcArchive& ar);

    friend class xcArchive;
};

using xcPersistentFactory = xcPersistent* (*)();

// Registers a persistent class's factory under its demangled type name ("xcOCModel",
// "xcOCDefs::BadParams") when constructed; classes keep one as a static member so that the
// registration happens when their library loads.
class xc_Instantiator {
public:
    xc_Instantiator(const std::type_info& type, xcPersistentFactory make);
};

// The registry's name for a type: its demangled name.
std::string xf_PersistentClassName(const std::type_info& type);
// The factory registered under `name`, or null.
xcPersistentFactory xf_FindPersistentFactory(const std::string& name);

// Exchanges one version-0 level of an exception class: the visited test, the version byte
// (anything but 0 read back throws xcArchive::UnknownVersion naming `qualifiedName`), then the
// base level through `base(ar, self)`, then the visited mark. Defined with the archive.
void xf_SerializeExceptionLevel(xcArchive& ar, const void* self, std::size_t size,
                                const char* qualifiedName, void (*base)(xcArchive&, void*));
