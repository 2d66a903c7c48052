#include "oc/font/line_arrangement.h"

#include "oc/font/enclose.h"
#include "platform/core/archive_geometry.h"

namespace {

void badParams(const wchar_t* message) { throw xcOCDefs::BadParams(message); }

void checkUncertainties(double translationUncertainty, const xcRadian& rotationUncertainty) {
    if (!(translationUncertainty >= 0)) badParams(L"Line translation uncertainty must be >= 0");
    if (!(rotationUncertainty.toDouble() >= 0))
        badParams(L"Line rotation uncertainty must be >= 0");
}

void checkPoseCount(std::size_t numPoses, std::size_t numLines) {
    if (numPoses != numLines)
        badParams(L"The number of line poses does not match the number of lines.");
}

}  // namespace

xcOCLineArrangement::xcOCLineArrangement() = default;

xcOCLineArrangement::xcOCLineArrangement(const ConstLines& lines, const xc2Rigid& step,
                                         double translationUncertainty,
                                         const xcRadian& rotationUncertainty,
                                         const std::wstring& name)
    : m_lines(lines), m_name(name) {
    checkUncertainties(translationUncertainty, rotationUncertainty);
    checkLines_(lines);
    const std::size_t n = lines.size();
    m_linePoses.reserve(n);
    xc2Rigid pose;
    for (std::size_t k = 0; k < n; ++k) {
        m_linePoses.push_back(pose);
        pose = step * pose;
    }
    m_translationUncertainties.assign(n, translationUncertainty);
    m_rotationUncertainties.assign(n, rotationUncertainty);
}

xcOCLineArrangement::xcOCLineArrangement(const ConstLines& lines,
                                         const std::vector<xc2Rigid>& poses,
                                         double translationUncertainty,
                                         const xcRadian& rotationUncertainty,
                                         const std::wstring& name)
    : m_lines(lines), m_linePoses(poses), m_name(name) {
    checkUncertainties(translationUncertainty, rotationUncertainty);
    checkPoseCount(poses.size(), lines.size());
    checkLines_(lines);
    m_translationUncertainties.assign(lines.size(), translationUncertainty);
    m_rotationUncertainties.assign(lines.size(), rotationUncertainty);
}

xcOCLineArrangement::xcOCLineArrangement(const ConstLines& lines,
                                         const std::vector<xc2Rigid>& poses,
                                         const std::vector<double>& translationUncertainties,
                                         const std::vector<xcRadian>& rotationUncertainties,
                                         const std::wstring& name)
    : m_lines(lines),
      m_linePoses(poses),
      m_translationUncertainties(translationUncertainties),
      m_rotationUncertainties(rotationUncertainties),
      m_name(name) {
    const std::size_t n = lines.size();
    checkPoseCount(poses.size(), n);
    if (translationUncertainties.size() != n)
        badParams(L"The number of translation uncertainties does not match the number of lines.");
    if (rotationUncertainties.size() != n)
        badParams(L"The number of rotation uncertainties does not match the number of lines.");
    for (std::size_t l = 0; l < n; ++l) {
        // A NaN translation uncertainty passes (only values below 0 fail); a NaN rotation
        // uncertainty fails.
        if (translationUncertainties[l] < 0)
            badParams(L"Line position uncertaintiesp must be >= 0");
        if (!(rotationUncertainties[l].toDouble() >= 0))
            badParams(L"Line rotation uncertainties must be >= 0");
    }
    checkLines_(lines);
}

xcOCLineArrangement::xcOCLineArrangement(const Lines& lines, const xc2Rigid& step,
                                         double translationUncertainty,
                                         const xcRadian& rotationUncertainty,
                                         const std::wstring& name) {
    *this = xcOCLineArrangement(toConst_(lines), step, translationUncertainty, rotationUncertainty,
                                name);
}

xcOCLineArrangement::xcOCLineArrangement(const Lines& lines, const std::vector<xc2Rigid>& poses,
                                         double translationUncertainty,
                                         const xcRadian& rotationUncertainty,
                                         const std::wstring& name) {
    *this = xcOCLineArrangement(toConst_(lines), poses, translationUncertainty, rotationUncertainty,
                                name);
}

xcOCLineArrangement::xcOCLineArrangement(const Lines& lines, const std::vector<xc2Rigid>& poses,
                                         const std::vector<double>& translationUncertainties,
                                         const std::vector<xcRadian>& rotationUncertainties,
                                         const std::wstring& name) {
    *this = xcOCLineArrangement(toConst_(lines), poses, translationUncertainties,
                                rotationUncertainties, name);
}

xcOCLineArrangement::ConstLines xcOCLineArrangement::toConst_(const Lines& lines) {
    return ConstLines(lines.begin(), lines.end());
}

void xcOCLineArrangement::checkLines_(const ConstLines& lines) {
    for (const auto& l : lines)
        if (!l) badParams(L"Every line handle must refer to a line.");
}

xcRect xcOCLineArrangement::encloseRect(const xcXform<2>& a, const xcXform<2>& b,
                                        const xcXform<2>& c, double translationUncertainty,
                                        xcRadian rotationUncertainty, double scaleUncertainty,
                                        bool includeConfusable) const {
    xf_CheckPlacementUncertainties(translationUncertainty, rotationUncertainty, scaleUncertainty);
    xf_RectEncloser encloser(a, b, c, translationUncertainty, rotationUncertainty,
                             scaleUncertainty);
    const xcXform<2> identity;
    for (std::size_t l = 0; l < m_lines.size(); ++l) {
        encloser.add(m_lines[l]->encloseRect(m_linePoses[l].linear(), identity, identity,
                                             m_translationUncertainties[l],
                                             m_rotationUncertainties[l], 0.0, includeConfusable));
    }
    return encloser.result();
}

bool xcOCLineArrangement::operator==(const xcOCLineArrangement& o) const {
    if (m_lines.size() != o.m_lines.size()) return false;
    for (std::size_t l = 0; l < m_lines.size(); ++l) {
        if (!(*m_lines[l] == *o.m_lines[l]) || m_linePoses[l] != o.m_linePoses[l] ||
            m_translationUncertainties[l] != o.m_translationUncertainties[l] ||
            m_rotationUncertainties[l] != o.m_rotationUncertainties[l])
            return false;
    }
    return m_name == o.m_name;
}

// ---- Persistence -------------------------------------------------------------------------

// The visited test, the version byte (written as the current version 0; the byte read
// replaces it), this level, then the visited mark.
void xcOCLineArrangement::dispatchSerialize(xcArchive& ar) {
    if (xcPersistent::haveVisited(ar, this, sizeof(xcOCLineArrangement))) return;
    std::uint8_t version = 0;
    ar || version;
    serialize_(ar, version);
    xcPersistent::setVisited(ar, this, sizeof(xcOCLineArrangement));
}

// Version 0: lines (persistent pointers: a line shared by several arrangements, or twice by
// one, is written once), line poses, translation and rotation uncertainties, name. Reading
// checks only what the queries rely on for memory safety (no null line, vectors of one
// length), throws xcArchive::BadData otherwise, and stores the fields together at the end.
void xcOCLineArrangement::serialize_(xcArchive& ar, std::uint8_t version) {
    if (version > 0) throw xcArchive::UnknownVersion(0L);
    xcPersistent::dispatchSerialize(ar);
    ConstLines lines = m_lines;
    std::vector<xc2Rigid> poses = m_linePoses;
    std::vector<double> tu = m_translationUncertainties;
    std::vector<xcRadian> ru = m_rotationUncertainties;
    std::wstring name = m_name;
    ar || lines || poses || tu || ru || name;
    if (ar.isStoring()) return;
    for (const auto& l : lines)
        if (!l) ar.badData(L"a line arrangement holds a null line");
    const std::size_t n = lines.size();
    if (poses.size() != n || tu.size() != n || ru.size() != n)
        ar.badData(L"a line arrangement's per-line vectors differ in length");
    m_lines.swap(lines);
    m_linePoses.swap(poses);
    m_translationUncertainties.swap(tu);
    m_rotationUncertainties.swap(ru);
    m_name.swap(name);
}

xcPersistent* xcOCLineArrangement::make() { return new xcOCLineArrangement(); }
const xc_Instantiator xcOCLineArrangement::sExemplar(typeid(xcOCLineArrangement),
                                                     &xcOCLineArrangement::make);
