// Colours and pens of the graphics library: how a diagnostic shape is drawn.
//
// xcColor is an opaque RGB colour with the named colours shapes usually take. xcGraphicProps
// adds the pen: its width in screen pixels (it does not grow when the picture is zoomed), its
// style and a highlight flag. A colour converts to the props of a plain 1-pixel solid pen, so
// every shape constructor accepts either.
#pragma once

#include <string>

class xcColor {
public:
    // Black.
    constexpr xcColor() = default;
    constexpr xcColor(unsigned char red, unsigned char green, unsigned char blue)
        : m_r(red), m_g(green), m_b(blue) {}

    constexpr unsigned char red() const { return m_r; }
    constexpr unsigned char green() const { return m_g; }
    constexpr unsigned char blue() const { return m_b; }
    // "#rrggbb" (lower-case hex), as HTML and SVG take it.
    std::string hex() const;

    constexpr bool operator==(const xcColor&) const = default;

    // The named colours, chosen to stand out on grey images.
    static constexpr xcColor redColor() { return {255, 40, 40}; }
    static constexpr xcColor greenColor() { return {0, 220, 0}; }
    static constexpr xcColor blueColor() { return {40, 120, 255}; }
    static constexpr xcColor orangeColor() { return {255, 150, 0}; }
    static constexpr xcColor yellowColor() { return {255, 230, 0}; }
    static constexpr xcColor cyanColor() { return {0, 215, 230}; }
    static constexpr xcColor magentaColor() { return {235, 0, 235}; }
    static constexpr xcColor whiteColor() { return {255, 255, 255}; }
    static constexpr xcColor blackColor() { return {0, 0, 0}; }
    static constexpr xcColor greyColor() { return {128, 128, 128}; }

private:
    unsigned char m_r = 0, m_g = 0, m_b = 0;
};

// How a shape is stroked.
//   penWidth: line width in screen pixels, >= 0 (0 draws the thinnest visible line, as 1).
//   penStyle: ePenSolid (0), ePenDash (1), ePenDot (2), ePenDashDot (3).
//   highlight: draw a dark halo under the line so that it stays visible on any background.
// The constructor throws xcBadArgument for a negative width or an unknown style.
class xcGraphicProps {
public:
    enum PenStyle { ePenSolid = 0, ePenDash = 1, ePenDot = 2, ePenDashDot = 3 };

    // A 1-pixel solid pen of `color` (also the implicit conversion from a colour).
    xcGraphicProps(const xcColor& color = xcColor::greenColor(), long penWidth = 1,  // NOLINT
                   long penStyle = ePenSolid, bool highlight = false);

    const xcColor& color() const { return m_color; }
    long penWidth() const { return m_width; }
    long penStyle() const { return m_style; }
    bool highlight() const { return m_highlight; }

    bool operator==(const xcGraphicProps&) const = default;

private:
    xcColor m_color;
    long m_width = 1;
    long m_style = ePenSolid;
    bool m_highlight = false;
};
