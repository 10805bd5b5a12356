#include "foundation/bus/IPClient.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/LastError.h"
#include "foundation/bus/engine/Engine.h"

namespace alidade {
namespace {

CString& LastError()
{
    static thread_local CString error;
    return error;
}

} // namespace

void SetLastIPError(CString text)
{
    LastError() = std::move(text);
}

CString CIPClient::GetLastIPError()
{
    return LastError();
}

CIPClient::CIPClient(CProfile* profile, CSimpleLog* log, const char* task, std::shared_ptr<CIPBus> bus)
    : m_pProfile(profile), m_pLog(log), m_task(task != nullptr ? task : ""),
      m_bus(bus != nullptr ? std::move(bus) : CIPBus::GetProcessBus())
{
}

CIPClient::~CIPClient()
{
    Shutdown();
}

void CIPClient::Shutdown()
{
    m_shutDown.store(true);
    m_bus->GetEngine()->CloseClient(*this);
}

int CIPClient::IsValidCmd(const CIPCommand* command) const
{
    return m_bus->GetEngine()->IsLive(command, nullptr);
}

int CIPClient::IsValidCmd(const CIPCommand* command, std::uint64_t generation) const
{
    return m_bus->GetEngine()->IsLive(command, &generation);
}

int CIPClient::ContinueIPStepCommand(CIPCommand* command, DWORD word1, DWORD, IIPCommandTarget*)
{
    CIPErrorScope error;
    return m_bus->GetEngine()->Continue(command, word1, error.text);
}

int CIPClient::PostIPCommand(const char* task, const char* unit, const char* session, const char* command,
                             const CIPVariable& in, IIPCommandTarget*)
{
    CIPErrorScope error;
    if (m_shutDown.load()) {
        return error.Fail(L"The client is shut down.");
    }
    return m_bus->GetEngine()->Post(this, {task, unit, session, command, false, m_task}, in, error.text);
}

int CIPClient::SendIPCommand(const char* task, const char* unit, const char* session, const char* command,
                             const CIPVariable& in, DWORD timeout, IIPCommandTarget*)
{
    CIPErrorScope error;
    if (m_shutDown.load()) {
        return error.Fail(L"The client is shut down.");
    }
    return m_bus->GetEngine()->Send(this, {task, unit, session, command, false, m_task}, in, nullptr, timeout,
                                    0, error.text);
}

int CIPClient::SendIPCommand(const char* task, const char* unit, const char* session, const char* command,
                             const CIPVariable& in, CIPVariable& out, DWORD timeout, IIPCommandTarget*,
                             DWORD flags)
{
    CIPErrorScope error;
    if (m_shutDown.load()) {
        return error.Fail(L"The client is shut down.");
    }
    return m_bus->GetEngine()->Send(this, {task, unit, session, command, false, m_task}, in, &out, timeout,
                                    flags, error.text);
}

int CIPClient::SendIPStepCommand(HIPCOMMAND& parent, const char* task, const char* unit, const char* session,
                                 const char* command, const CIPVariable& in, DWORD timeout, IIPCommandTarget*)
{
    CIPErrorScope error;
    if (m_shutDown.load()) {
        return error.Fail(L"The client is shut down.");
    }
    return m_bus->GetEngine()->SendChild(this, parent.Get(), {task, unit, session, command, false, m_task},
                                         in, timeout, error.text);
}

std::vector<T_IP_COMMAND_RECORD> CIPClient::ListIPCommands() const
{
    return m_bus->GetEngine()->ListCommands();
}

} // namespace alidade
