#pragma once

#include "foundation/bus/data/IPDataMirror.h"

namespace alidade {

/// Makes a block of another machine, which a CIPDataMirror sends there, as a block of the same name here.
///
/// Values of one write there are one write here. The block is taken down when its writer goes there, and when
/// nothing was heard for the time of silence, so that nobody takes old values for present ones; it is made
/// anew when values come again. Of two mirrors that send one block the first is followed until it is silent.
/// One thread at a time.
class ALIDADE_FOUNDATION_API CIPDataReplica {
public:
    CIPDataReplica();
    ~CIPDataReplica();
    CIPDataReplica(const CIPDataReplica&) = delete;
    CIPDataReplica& operator=(const CIPDataReplica&) = delete;

    /// As CIPDataMirror::Start.
    int Start(const T_IP_DATA_MIRROR& settings, CString& text);
    void Stop();
    T_IP_DATA_MIRROR_STATUS GetStatus() const;

private:
    class CWorker;
    std::unique_ptr<CWorker> m_worker;
};

} // namespace alidade
