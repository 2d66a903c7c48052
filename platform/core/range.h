// Closed ranges of reals [start, end], as used for search zones (angles in degrees, scales).
//
// A range is of one of three kinds:
//   eNormal  the closed interval start .. end, with start <= end (a single value when equal);
//   eEmpty   holds no value (start and end are 0);
//   eFull    holds every real (start is -infinity, end +infinity).
// The kind is explicit, so that the empty and the full range stay distinguishable from any
// normal range. Units are the user's (the range does not know whether it holds degrees).
#pragma once

#include <string>

class xcRange {
public:
    enum Kind { eNormal = 0, eEmpty = 1, eFull = 2 };

    // The empty range.
    xcRange() = default;
    // The normal range [start, end]. Throws xcBadArgument when start > end or either is NaN.
    xcRange(double start, double end);
    // A range of the given kind. For eNormal it is xcRange(start, end); for eEmpty and eFull
    // start and end are ignored. Throws xcBadArgument for an unknown kind (this is the form
    // an archive reader uses).
    xcRange(Kind kind, double start, double end);

    static xcRange empty() { return xcRange(); }
    static xcRange full();

    Kind kind() const { return m_kind; }
    bool isEmpty() const { return m_kind == eEmpty; }
    bool isFull() const { return m_kind == eFull; }
    bool isNormal() const { return m_kind == eNormal; }

    double start() const { return m_start; }
    double end() const { return m_end; }
    // Replace one end of a normal range, or make the range normal with start == end
    // (from empty) or open on the other side (from full). Throws xcBadArgument, changing
    // nothing, when the result would have start > end or the value is NaN.
    void start(double v);
    void end(double v);

    // end - start: 0 for the empty range, +infinity for the full one.
    double length() const;
    // (start + end) / 2 of a normal range; 0 for the empty and the full range.
    double middle() const;

    // True when start <= v <= end (never for the empty range, always for the full one,
    // except NaN).
    bool contains(double v) const;
    // True when every value of r lies in this range; the empty range lies in every range.
    bool contains(const xcRange& r) const;

    // The common values (empty when there are none).
    xcRange intersect(const xcRange& r) const;
    // The smallest range holding both; an empty operand is ignored.
    xcRange enclose(const xcRange& r) const;
    // The smallest range holding this one and v.
    xcRange enclose(double v) const;
    // v moved to the nearest value of the range. Throws xcBadArgument for the empty range.
    double clamp(double v) const;

    // Equal kinds and, for normal ranges, exactly equal ends.
    bool operator==(const xcRange& o) const;
    bool operator!=(const xcRange& o) const { return !(*this == o); }

    // "[start, end]", "empty" or "full", for messages.
    std::wstring text() const;

private:
    Kind m_kind = eEmpty;
    double m_start = 0.0;
    double m_end = 0.0;
};

// True when both ranges are of the same kind and, when normal, their ends agree within tol
// (see xfRealEq for doubles).
bool xfRealEq(const xcRange& a, const xcRange& b, double tol = 1e-10);
