#include "view/menubar/ExpandFade.h"

namespace alidade {

void CExpandFade::Rise()
{
    if (m_nExpand < 0) {
        m_nExpand = -m_nExpand;
    } else if (m_nExpand == 0) {
        m_nExpand = 1;
    }
}

void CExpandFade::Leave()
{
    if (m_nExpand > 0) {
        m_nExpand = -kFull;
    }
}

bool CExpandFade::Count()
{
    if (m_nExpand == kFull) {
        return false;
    }
    if (m_nExpand != 0) {
        ++m_nExpand;
    }
    return true;
}

} // namespace alidade
