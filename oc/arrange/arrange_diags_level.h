// Module-private: raises a diagnostics object's level for a scope and restores it on leaving
// (also when the scope is left by an exception).
#pragma once

#include "platform/diag/diag_object.h"

class xc_ArrangeDiagLevel {
public:
    xc_ArrangeDiagLevel(xcDiagObject& diag, long raise) : m_diag(diag), m_saved(diag.level()) {
        diag.level(m_saved + raise);
    }
    ~xc_ArrangeDiagLevel() { m_diag.level(m_saved); }
    xc_ArrangeDiagLevel(const xc_ArrangeDiagLevel&) = delete;
    xc_ArrangeDiagLevel& operator=(const xc_ArrangeDiagLevel&) = delete;

private:
    xcDiagObject& m_diag;
    long m_saved;
};
