#include "stage/StageCommand.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr unsigned kChildFlags = 1;
constexpr int kMostAddressBytes = 64;

/// One part of an address; null when there is none, which means any.
class CAddressPart {
public:
    CAddressPart(const CProfileSection& settings, const wchar_t* key)
    {
        settings.GetItemValueString(key, m_text, sizeof(m_text), "");
    }
    operator const char*() const { return m_text[0] != '\0' ? m_text : nullptr; }

private:
    char m_text[kMostAddressBytes + 1];
};

} // namespace

CStringA CStageCommand::Read(const wchar_t* key) const
{
    return ToNarrow(m_settings.GetItemValue(key, L""));
}

void CStageCommand::AddTarget(const wchar_t* nameKey, const wchar_t* defaultName, double target)
{
    CStringA name = Read(nameKey);
    if (name.empty()) {
        name = ToNarrow(defaultName);
    }
    m_parameter.SetChildItem(name.c_str(), target, kChildFlags);
}

void CStageCommand::AddOptional(const wchar_t* nameKey, const wchar_t* valueKey)
{
    const CStringA name = Read(nameKey);
    if (name.empty()) {
        return;
    }
    const CStringA value = Read(valueKey);
    if (!value.empty()) {
        m_parameter.SetChildItem(name.c_str(), value.c_str(), kChildFlags);
    }
}

void CStageCommand::AddSpeed(const wchar_t* nameKey, const wchar_t* valueKey, double speed)
{
    if (!(speed > 0.0)) {
        AddOptional(nameKey, valueKey);
        return;
    }
    const CStringA name = Read(nameKey);
    if (!name.empty()) {
        m_parameter.SetChildItem(name.c_str(), Format("%f", speed).c_str(), kChildFlags);
    }
}

void CStageCommand::AddOptions()
{
    AddOptional(L"OptionName", L"OptionValue");
    AddOptional(L"OptionName2", L"OptionValue2");
}

int CStageCommand::Send(CIPClient* client, int post, HIPCOMMAND& step) const
{
    if (client == nullptr) {
        return 0;
    }
    const CAddressPart task(m_settings, L"Task");
    const CAddressPart unit(m_settings, L"Unit");
    const CAddressPart session(m_settings, L"Session");
    const CAddressPart command(m_settings, L"Command");
    if (post != 0) {
        return client->PostIPCommand(task, unit, session, command, m_parameter, nullptr);
    }
    if (step.IsValid()) {
        return client->SendIPStepCommand(step, task, unit, session, command, m_parameter, INFINITE, nullptr);
    }
    return client->SendIPCommand(task, unit, session, command, m_parameter, INFINITE, nullptr);
}

} // namespace alidade
