// The diagnostics library: a diagnostics object collects records of what an operation did,
// for a person to look at afterwards (xfWriteDiagHtml, html_writer.h, shows them as a page).
//
// An xcDiagObject keeps xcDiagRecords in the order they were made. Each record has the
// object's nesting level at the time it was made (records nest under the last earlier record
// of a lower level), an annotation (its title), an optional 8-bit image, named texts and named
// graphic lists. A graphic list is drawn in image coordinates (coordinate system 1) or client
// coordinates (2), which the record's image maps through its client-from-image transform.
//
// Operations that can report take an xcDiagObject* (may be null) and a flags word; a record
// kind is made only when xcDiagObject::shouldRecord(flags, bit) says so.
//
// Records are owned by the object and stay at their addresses until it is destroyed. Neither
// class locks: one thread at a time uses an object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/core/pel_buffer.h"
#include "platform/diag/graphic_list.h"

// Coordinate systems of a record's graphics.
struct xcDisplay {
    enum CoordinateSystem { eImageCoords = 1, eClientCoords = 2 };
};

// A named text of a record.
struct xcDiagText {
    std::wstring name;
    std::wstring text;
};

// A named graphic list of a record, with the coordinate system it is drawn in.
struct xcDiagGraphics {
    std::wstring name;
    xcGraphicList list;
    long coordinateSystem = xcDisplay::eImageCoords;
};

class xcDiagRecord {
public:
    // The nesting level the record was made at (0 is the top).
    long level() const { return m_level; }

    const std::wstring& annotation() const { return m_annotation; }
    // Sets the record's annotation (its title), replacing an earlier one.
    void recordAnnotation(const std::wstring& text) { m_annotation = text; }

    // The record's image; an unbound buffer when it has none.
    bool hasImage() const { return m_image.isBound(); }
    const xcPelBuffer_const<unsigned char>& image() const { return m_image; }
    // Sets the image: shares its pixels, or with copyPixels true keeps a copy of its window
    // made now (same window, same transform). An unbound buffer removes the image.
    void image(const xcPelBuffer_const<unsigned char>& image, bool copyPixels = false);

    // Adds a named text (texts keep their order; names need not be unique).
    void text(const std::wstring& text, const std::wstring& name);
    const std::vector<xcDiagText>& texts() const { return m_texts; }

    // Adds a named graphic list drawn in `coordinateSystem` (1 image, 2 client coordinates).
    // The record keeps a copy of the list (sharing its graphics). Throws xcBadArgument for
    // another coordinate system; nothing is added then.
    void graphics(const xcGraphicList& list, long coordinateSystem, const std::wstring& name);
    const std::vector<xcDiagGraphics>& graphicsLists() const { return m_graphics; }

private:
    explicit xcDiagRecord(long level) : m_level(level) {}
    friend class xcDiagObject;

    long m_level;
    std::wstring m_annotation;
    xcPelBuffer_const<unsigned char> m_image;
    std::vector<xcDiagText> m_texts;
    std::vector<xcDiagGraphics> m_graphics;
};

class xcDiagObject {
public:
    xcDiagObject() = default;
    xcDiagObject(const xcDiagObject&) = delete;
    xcDiagObject& operator=(const xcDiagObject&) = delete;

    // Flag bits the module's operations use.
    static constexpr unsigned long eInput = 0x10000;
    static constexpr unsigned long eResults = 0x20000;
    static constexpr unsigned long eIntermediate = 0x40000;

    // True when `flags` selects the records of `bit`: (flags & bit) != 0.
    static bool shouldRecord(unsigned long flags, unsigned long bit) { return (flags & bit) != 0; }

    // Appends an empty record at the current level and returns it.
    xcDiagRecord* newDiagRecord();
    long numRecords() const { return static_cast<long>(m_records.size()); }
    // The record at `index` (0 is the first made). Throws xcBadArgument outside 0 ..
    // numRecords() - 1.
    xcDiagRecord* diagRecord(long index);
    const xcDiagRecord* diagRecord(long index) const;

    // The level new records are made at; starts at 0. Throws xcBadArgument for a negative
    // level (the level is then unchanged).
    long level() const { return m_level; }
    void level(long newLevel);

    // Removes every record and returns to level 0.
    void clear();

private:
    std::vector<std::unique_ptr<xcDiagRecord>> m_records;
    long m_level = 0;
};

// Appends a record titled `title` holding `image` (shared pixels; with copyPixels true a
// copy of the window made now) and returns it; null when diag is null. An unbound image
// makes a record without an image.
xcDiagRecord* xf_AddImage(xcDiagObject* diag, const xcPelBuffer_const<unsigned char>& image,
                          const std::wstring& title, bool copyPixels);
// Appends a record titled `name` holding the text under that name, and returns it; null when
// diag is null.
xcDiagRecord* xf_AddText(xcDiagObject* diag, const std::wstring& text, const std::wstring& name);
// Appends a record titled `name` holding the list under that name in `coordinateSystem`, and
// returns it; null when diag is null. Throws xcBadArgument for a coordinate system other than
// 1 or 2 (no record is added then).
xcDiagRecord* xf_AddGraphics(xcDiagObject* diag, const xcGraphicList& list,
                             const std::wstring& name, long coordinateSystem);
