#include "foundation/bus/IPCommandTarget.h"

#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/bus/LastError.h"
#include "foundation/bus/engine/Engine.h"
#include "foundation/platform/Text.h"

#include <cstring>

namespace alidade {

const IP_COMMAND_TARGET_ENTRY* IP_COMMAND_TARGET::Find(const char* group, const char* name) const
{
    for (const IP_COMMAND_TARGET* table = this; table != nullptr; table = table->parent) {
        for (const auto* entry = table->entries; entry != nullptr && entry->group != nullptr; ++entry) {
            if (std::strcmp(entry->group, group) == 0 && std::strcmp(entry->name, name) == 0) {
                return entry;
            }
        }
    }
    return nullptr;
}

IIPCommandTarget::IIPCommandTarget(CIPClient* client, int flag) : m_state(std::make_shared<CIPTargetState>())
{
    m_state->owner = this;
    m_state->answers = flag != 0;
    if (client != nullptr) {
        IIPCommandTarget::CreateIPCommandTarget(client);
    }
}

IIPCommandTarget::~IIPCommandTarget()
{
    DestroyIPCommandTarget();
}

int IIPCommandTarget::CreateIPCommandTarget(CIPClient* client)
{
    if (client == nullptr || m_state->engine != nullptr) {
        SetLastIPError(client == nullptr ? L"There is no client." : L"The receiver is registered already.");
        return 0;
    }
    m_state->client = client;
    m_state->task = client->GetTask();
    if (m_state->window != nullptr) {
        m_state->thread = client->GetBus()->GetEngine()->GetThreadQueue();
    }
    m_state->engine = client->GetBus()->GetEngine();
    if (m_state->engine->Register(m_state) == 0) {
        m_state->engine.reset();
        SetLastIPError(L"The client is shut down.");
        return 0;
    }
    return 1;
}

void IIPCommandTarget::DestroyIPCommandTarget()
{
    if (m_state->engine == nullptr) {
        return;
    }
    m_state->engine->Close(m_state);
    ResetSequences();
    m_state->engine->WaitUntilLeft(*m_state);
    m_state->engine->Forget(*m_state);
}

void IIPCommandTarget::ResetSequences()
{
    m_state->engine->EndCommandsOf(*m_state, L"The receiver is gone.");
}

eIP_COMMAND_MESSAGE_RESULT IIPCommandTarget::DispatchIPCommand(HIPCOMMAND command,
                                                               const IP_COMMAND_TARGET_ENTRY* entry)
{
    return m_state->engine != nullptr ? m_state->engine->Enqueue(command, entry, *m_state) : IPMSG_REFUSED;
}

int IIPCommandTarget::OnPreIPCommand(HIPCOMMAND, const IP_COMMAND_TARGET_ENTRY*)
{
    return 1;
}

/// A handler of a class that derives from the target and has another base before it adjusts the pointer away
/// from the target's part, which the sanitizer takes for a wrong object.
[[gnu::no_sanitize("vptr")]] int IIPCommandTarget::CallHandler(IP_COMMAND_HANDLER handler,
                                                               CIPCommand& command)
{
    return (this->*handler)(command);
}

int IIPCommandTarget::DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry)
{
    CString error;
    try {
        return CallHandler(entry->handler, *command.Get());
    } catch (const CIPException& e) {
        error = CString(e.GetSource()) + L": " + e.GetText();
    } catch (const std::exception& e) {
        error = ToWide(e.what());
    } catch (...) {
        error = L"An exception of unknown kind.";
    }
    command->SetError(error.c_str());
    // Not by way of this receiver, which the handler may have taken down.
    const CIPTargetState& state = *static_cast<const CRunningCommand*>(command.Get())->target;
    const CIPClient* client = state.engine->GetClient(state);
    if (client != nullptr && client->GetLog() != nullptr) {
        client->GetLog()->WriteErrorLog(L"The handler of \"%ls\" \"%ls\" threw: %ls",
                                        ToWide(entry->group).c_str(), ToWide(entry->name).c_str(),
                                        error.c_str());
    }
    return 0;
}

const IP_COMMAND_TARGET* IIPCommandTarget::GetIPCommandTargetStatic() const
{
    static const IP_COMMAND_TARGET_ENTRY entries[] = {{nullptr, nullptr, nullptr}};
    static const IP_COMMAND_TARGET table{entries, nullptr};
    return &table;
}

void IIPCommandTarget::SetUnitName(const char* name)
{
    if (m_state->engine != nullptr) {
        m_state->engine->SetUnit(*m_state, name);
    } else {
        m_state->unit = name != nullptr ? name : "";
    }
}

CStringA IIPCommandTarget::GetUnitName() const
{
    return m_state->engine != nullptr ? m_state->engine->GetUnit(*m_state) : m_state->unit;
}

CIPClient* IIPCommandTarget::GetIPClient() const
{
    return m_state->engine != nullptr ? m_state->engine->GetClient(*m_state) : nullptr;
}

void IIPCommandTarget::BindToWindow(HWND& window)
{
    m_state->window = &window;
}

namespace {

/// An address within the receiver's own unit and task.
struct T_OWN_ADDRESS : T_IP_ADDRESS {
    T_OWN_ADDRESS(const IIPCommandTarget& target, const CIPTargetState& state, const char* groupName,
                  const char* commandName)
        : unitName(target.GetUnitName())
    {
        task = state.task.c_str();
        unit = unitName.c_str();
        group = groupName;
        name = commandName;
        exactUnit = true;
        ownTask = state.task;
    }
    const CStringA unitName;
};

} // namespace

int IIPCommandTarget::PostIPCommand(const char* group, const char* name, DWORD timeout)
{
    return PostIPCommand(group, name, CIPVariable(), timeout);
}

int IIPCommandTarget::PostIPCommand(const char* group, const char* name, const CIPVariable& in, DWORD)
{
    CIPErrorScope error;
    const CIPClient* client = GetIPClient();
    if (client == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    return m_state->engine->Post(client, T_OWN_ADDRESS(*this, *m_state, group, name), in, error.text);
}

int IIPCommandTarget::SendIPCommand(const char* group, const char* name, const CIPVariable& in,
                                    CIPVariable& out, DWORD timeout)
{
    CIPErrorScope error;
    const CIPClient* client = GetIPClient();
    if (client == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    return m_state->engine->Send(client, T_OWN_ADDRESS(*this, *m_state, group, name), in, &out, timeout, 0,
                                 error.text);
}

int IIPCommandTarget::SendIPCommand(const char* unit, const char* group, const char* name,
                                    const CIPVariable& in, DWORD timeout)
{
    CIPErrorScope error;
    CIPClient* client = GetIPClient();
    if (client == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    return client->SendIPCommand(nullptr, unit, group, name, in, timeout, this);
}

int IIPCommandTarget::SendIPStepCommand(const char* group, const char* name, DWORD timeout)
{
    return SendIPStepCommand(group, name, CIPVariable(), timeout);
}

int IIPCommandTarget::SendIPStepCommand(const char* group, const char* name, const CIPVariable& in,
                                        DWORD timeout)
{
    CIPErrorScope error;
    const CIPClient* client = GetIPClient();
    if (client == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    CIPEngine& engine = *m_state->engine;
    return engine.SendChild(client, engine.GetRunning(), T_OWN_ADDRESS(*this, *m_state, group, name), in,
                            timeout, error.text);
}

int IIPCommandTarget::ResumeIPStepCommandByName(const char* group, const char* name, DWORD word1, DWORD)
{
    CIPErrorScope error;
    if (m_state->engine == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    return m_state->engine->ResumeByName(*m_state, group, name, word1, error.text);
}

int IIPCommandTarget::ContinueIPStepCommand(CIPCommand* command, DWORD word1, DWORD)
{
    CIPErrorScope error;
    if (m_state->engine == nullptr) {
        return error.Fail(L"The receiver is not on the bus.");
    }
    return m_state->engine->Continue(command, word1, error.text);
}

} // namespace alidade
