#include "foundation/bus/IPCommand.h"

#include "foundation/platform/Text.h"

#include <algorithm>

namespace alidade {
namespace {

std::uint64_t NextGeneration()
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

IIPLocalVar::~IIPLocalVar() = default;

CIPCommand::CIPCommand(const char* group, const char* name, CIPVariable parameter)
    : m_group(group), m_name(name), m_generation(NextGeneration()), m_parameter(std::move(parameter))
{
}

CIPCommand::~CIPCommand() = default;

void CIPCommand::SetError(const wchar_t* text)
{
    m_error = text != nullptr ? text : L"";
}

void CIPCommand::SetErrorIfNone(const wchar_t* text)
{
    if (m_error.empty()) {
        m_error = text;
    }
}

int CIPCommand::IsOK() const
{
    return m_ok.load() ? 1 : 0;
}

void CIPCommand::Schedule(CIPStep step, DWORD delayMs, bool pause)
{
    m_scheduled = true;
    m_pauseAsked = pause || delayMs == INFINITE;
    m_nextStep = step;
    m_delay = delayMs;
}

int CIPCommand::EnqueueNextStep(CIPStep step, DWORD delayMs, void*, const char*)
{
    Schedule(step, delayMs, false);
    return 1;
}

int CIPCommand::EnqueueNextStepCurrent(DWORD delayMs, void*, const char*)
{
    Schedule(m_step, delayMs, false);
    return 1;
}

int CIPCommand::PauseStep(DWORD delayMs, CIPStep step, void*, const char*)
{
    Schedule(step, delayMs, true);
    return 1;
}

int CIPCommand::ReserveErrorStep(CIPStep step, DWORD delayMs, void*, const char*)
{
    Schedule(step, delayMs, false);
    m_errorReserved = true;
    return 1;
}

const CIPVariable& CIPCommand::GetChildResult(const char* unit, const char* group, const char* name) const
{
    static const CIPVariable none;
    const auto found = std::find_if(m_childResults.begin(), m_childResults.end(), [&](const auto& child) {
        return group != nullptr && name != nullptr && child.group == group && child.name == name &&
               (unit == nullptr || child.unit == unit);
    });
    return found != m_childResults.end() ? found->result : none;
}

void CIPCommand::KeepChildResult(const CStringA& unit, const CStringA& group, const CStringA& name,
                                 CIPVariable&& result)
{
    // The latest first, one for each address: a command may send children for as long as it lives.
    std::erase_if(m_childResults, [&](const auto& child) {
        return child.unit == unit && child.group == group && child.name == name;
    });
    m_childResults.insert(m_childResults.begin(), {unit, group, name, std::move(result)});
}

std::unique_ptr<IIPLocalVar>& CIPCommand::FindLocalVar(const char* name)
{
    return m_localVars[name != nullptr ? name : ""];
}

void CIPCommand::ThrowLocalVarMismatch(const char* name)
{
    throw CIPException(
        L"CIPCommand::LocalVar",
        Format(L"Local Variable(%ls) Type Mismatch...", ToWide(name != nullptr ? name : "").c_str()).c_str());
}

} // namespace alidade
