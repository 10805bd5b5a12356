#include "CheckContext.h"

#include <algorithm>

namespace alidade {

CCheckContext::CCheckContext(CDriverPlugin driverPlugin, CProfileSection driverSettings,
                             const T_CHECK_OPTIONS& checkOptions)
    : plugin(std::move(driverPlugin)), settings(std::move(driverSettings)), options(checkOptions),
      runner(checkOptions.dwDeadline)
{
}

CCheckedDriver& CCheckContext::MakeDriver()
{
    auto driver = std::make_shared<IFrameGrabberInterface*>(nullptr);
    runner.Run("GetFrameGrabber", [driver, make = plugin.pfnGetFrameGrabber] { *driver = make(); });
    Expect(*driver != nullptr, "GetFrameGrabber returned null");
    const auto isSame = [&](const auto& other) { return other != nullptr && &other->Get() == *driver; };
    Expect(!isSame(m_pMain) && std::none_of(m_others.begin(), m_others.end(), isSame),
           "GetFrameGrabber gave an object that it had given before");
    return *m_others.emplace_back(std::make_unique<CCheckedDriver>(*driver, runner));
}

CCheckedDriver& CCheckContext::Main()
{
    if (m_pMain == nullptr) {
        MakeDriver();
        m_pMain = std::move(m_others.back());
        m_others.pop_back();
    }
    return *m_pMain;
}

void CCheckContext::DestroyMain()
{
    if (const std::unique_ptr<CCheckedDriver> driver = std::move(m_pMain)) {
        driver->Destroy();
    }
}

void CCheckContext::DestroyOthers()
{
    while (!m_others.empty()) {
        const std::unique_ptr<CCheckedDriver> driver = std::move(m_others.back());
        m_others.pop_back();
        driver->Destroy();
    }
}

void CCheckContext::RunClient(std::function<void()> client)
{
    try {
        runner.Run("a client", std::move(client));
    } catch (const CCheckStalled&) {
        throw CCheckStalled("a client did not get the image lock within " + runner.GetDeadlineText());
    }
}

DWORD CCheckContext::GetSilence() const
{
    if (records.size() < 2) {
        return options.dwWatch;
    }
    const std::int64_t span = records.back().nNanoseconds - records.front().nNanoseconds;
    const auto interval = static_cast<DWORD>(span / 1000000 / static_cast<std::int64_t>(records.size() - 1));
    return std::max(options.dwWatch, std::min(4 * interval, options.dwDeadline / 2));
}

} // namespace alidade
