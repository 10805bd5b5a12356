#pragma once

#include "acquisition/Export.h"

namespace alidade {

/// How much of the expand decoration shows: a counter that rises to 50 while the mouse is on it, and from -50
/// to 0 when the mouse has gone. The caller counts, every 10 ms while IsRunning.
class ALIDADE_API CExpandFade {
public:
    static constexpr int kFull = 50;

    int GetCounter() const { return m_nExpand; }
    /// Opacity, 0 to 255.
    int GetAlpha() const { return (m_nExpand < 0 ? -m_nExpand : m_nExpand) * 255 / kFull; }
    /// False: nothing shows, and nothing changes by counting.
    bool IsRunning() const { return m_nExpand != 0; }

    void Clear() { m_nExpand = 0; }
    /// All there at once.
    void Fill() { m_nExpand = kFull; }
    /// The mouse is on the decoration: one that fades out turns back, one that is not there begins.
    void Rise();
    /// The mouse is elsewhere: one that fades in, or is there, fades out.
    void Leave();
    /// One step. False at the full counter, which stays: the caller then looks where the mouse is.
    bool Count();

private:
    int m_nExpand = 0;
};

} // namespace alidade
