#pragma once

#include "foundation/config/Profile.h"
#include "foundation/config/SimpleLog.h"

namespace alidade {

/// The host's connection to the command bus, and the settings and log that go with it.
class CIPClient {
public:
    /// @param profile, log  the client's own, not owned; may be null
    explicit CIPClient(CProfile* profile = nullptr, CSimpleLog* log = nullptr)
        : m_pProfile(profile), m_pLog(log)
    {
    }
    virtual ~CIPClient() = default;
    CIPClient(const CIPClient&) = delete;
    CIPClient& operator=(const CIPClient&) = delete;

    CProfile* GetProfile() const { return m_pProfile; }
    CSimpleLog* GetLog() const { return m_pLog; }

private:
    CProfile* m_pProfile;
    CSimpleLog* m_pLog;
};

} // namespace alidade
