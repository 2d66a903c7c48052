// Angles: xcRadian and xcDegree are distinct types that convert into each other.
// signedNorm() maps to (-pi, pi] (or (-180, 180]); norm() maps to [0, 2pi) (or [0, 360)).
#pragma once

#include <cmath>
#include <numbers>

class xcDegree;

class xcRadian {
public:
    constexpr xcRadian() = default;
    constexpr explicit xcRadian(double v) : m_v(v) {}
    constexpr xcRadian(const xcDegree& d);  // NOLINT: converts implicitly

    constexpr double toDouble() const { return m_v; }
    constexpr double value() const { return m_v; }

    xcRadian signedNorm() const {
        double v = std::remainder(m_v, 2 * std::numbers::pi);  // [-pi, pi]
        if (v <= -std::numbers::pi) v += 2 * std::numbers::pi;
        return xcRadian(v);
    }
    xcRadian norm() const {
        double v = std::fmod(m_v, 2 * std::numbers::pi);
        if (v < 0) v += 2 * std::numbers::pi;
        if (v >= 2 * std::numbers::pi) v = 0.0;
        return xcRadian(v);
    }

    constexpr xcRadian operator+(xcRadian o) const { return xcRadian(m_v + o.m_v); }
    constexpr xcRadian operator-(xcRadian o) const { return xcRadian(m_v - o.m_v); }
    constexpr xcRadian operator-() const { return xcRadian(-m_v); }
    constexpr xcRadian operator*(double s) const { return xcRadian(m_v * s); }
    constexpr xcRadian operator/(double s) const { return xcRadian(m_v / s); }
    constexpr double operator/(xcRadian o) const { return m_v / o.m_v; }
    xcRadian& operator+=(xcRadian o) { m_v += o.m_v; return *this; }
    xcRadian& operator-=(xcRadian o) { m_v -= o.m_v; return *this; }
    constexpr auto operator<=>(const xcRadian&) const = default;

private:
    double m_v = 0.0;
};

class xcDegree {
public:
    constexpr xcDegree() = default;
    constexpr explicit xcDegree(double v) : m_v(v) {}
    constexpr xcDegree(const xcRadian& r) : m_v(r.toDouble() * 180.0 / std::numbers::pi) {}  // NOLINT

    constexpr double toDouble() const { return m_v; }
    constexpr double value() const { return m_v; }

    xcDegree signedNorm() const { return xcDegree(xcRadian(*this).signedNorm()); }
    xcDegree norm() const {
        double v = std::fmod(m_v, 360.0);
        if (v < 0) v += 360.0;
        if (v >= 360.0) v = 0.0;
        return xcDegree(v);
    }

    constexpr xcDegree operator+(xcDegree o) const { return xcDegree(m_v + o.m_v); }
    constexpr xcDegree operator-(xcDegree o) const { return xcDegree(m_v - o.m_v); }
    constexpr xcDegree operator-() const { return xcDegree(-m_v); }
    constexpr xcDegree operator*(double s) const { return xcDegree(m_v * s); }
    constexpr xcDegree operator/(double s) const { return xcDegree(m_v / s); }
    constexpr auto operator<=>(const xcDegree&) const = default;

private:
    double m_v = 0.0;
};

constexpr xcRadian::xcRadian(const xcDegree& d) : m_v(d.toDouble() * std::numbers::pi / 180.0) {}

inline double sin(xcRadian a) { return std::sin(a.toDouble()); }
inline double cos(xcRadian a) { return std::cos(a.toDouble()); }
inline double tan(xcRadian a) { return std::tan(a.toDouble()); }
