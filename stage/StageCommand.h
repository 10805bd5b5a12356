#pragma once

#include "foundation/bus/IPClient.h"
#include "foundation/config/ProfileSection.h"

namespace alidade {

/// One motion command in the making: its parameters by the settings of a sub-section, which must outlive it.
class CStageCommand {
public:
    explicit CStageCommand(const CProfileSection& settings) : m_settings(settings) {}

    /// The target, under the name that `nameKey` gives; an unset or empty one means `defaultName`.
    void AddTarget(const wchar_t* nameKey, const wchar_t* defaultName, double target);
    /// A text, when the settings give both a name and a value that are not empty.
    void AddOptional(const wchar_t* nameKey, const wchar_t* valueKey);
    /// `speed` when above 0, otherwise the configured one, as an optional text.
    void AddSpeed(const wchar_t* nameKey, const wchar_t* valueKey, double speed);
    /// The pairs "OptionName" and "OptionName2".
    void AddOptions();

    /// Sends it to the address in the settings: posts it if `post` is non-zero, otherwise starts it as a
    /// child of `step` if that is a command, otherwise waits for its end. 0 without a client.
    int Send(CIPClient* client, int post, HIPCOMMAND& step) const;

private:
    CStringA Read(const wchar_t* key) const;

    const CProfileSection& m_settings;
    CIPVariable m_parameter;
};

} // namespace alidade
