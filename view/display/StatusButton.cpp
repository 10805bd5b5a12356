#include "view/display/StatusButton.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr DWORD kLeastMeasured = 500; // ms; up to here a rate says nothing

} // namespace

T_STATUS_BUTTON_CHANGE CStatusButton::Update(const T_STATUS_BUTTON_INPUT& input)
{
    T_STATUS_BUTTON_CHANGE change;
    change.pressed = !input.live;
    if (input.live && !input.freezed) {
        change.text =
            input.elapsed <= kLeastMeasured ? CString(L"calc...") : Format(L"%4.1f fps", input.rate);
        if (m_bNormalStatus == 0) {
            m_bNormalStatus = 1;
            change.state = STATUS_BUTTON_NORMAL;
            change.logUnFreezed = true;
        }
    } else if (m_bNormalStatus != 0) {
        m_bNormalStatus = 0;
        change.state = input.freezed ? STATUS_BUTTON_FREEZED : STATUS_BUTTON_PAUSED;
        change.text = input.freezed ? L"Freezed" : L"Paused";
        change.logFreezed = input.live;
    }
    return change;
}

} // namespace alidade
