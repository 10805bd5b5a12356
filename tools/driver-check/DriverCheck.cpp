#include "DriverCheck.h"

#include "CheckContext.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"

#include <algorithm>
#include <sstream>

namespace alidade {
namespace {

constexpr T_DRIVER_CHECK kTable[] = {
    {"loads", "", "the file is a shared library, and all that it needs is found", CheckLoads},
    {"exports", "loads", "the three required functions are exported", CheckExports},
    {"layout-version", "exports", "the layout version, when exported, is that of this system",
     CheckLayoutVersion},
    {"name", "layout-version", "the name is not empty, is UTF-8 and ends within 64 bytes", CheckName},
    {"properties", "layout-version", "the properties are appended and well-formed, without an exception",
     CheckProperties},
    {"factory", "layout-version", "the factory gives a new object on each call, without an exception",
     CheckFactory},
    {"close-unopened", "factory", "closing a driver that was never opened is harmless", CheckCloseUnopened},
    {"start-unopened", "factory",
     "starting and stopping before InitFrameGrabber is harmless and brings no frame", CheckStartUnopened},
    {"init", "factory", "InitFrameGrabber opens the device and writes a message", CheckInit},
    {"image-size", "init", "m_imageSize holds a size once the device is open", CheckImageSize},
    {"idle-after-init", "init", "no frame comes before StartCapture", CheckIdleAfterInit},
    {"frames", "init", "frames flow after StartCapture", CheckFrames},
    {"callback-argument", "frames", "the callback gets the argument it was set with", CheckCallbackArgument},
    {"callback-lock", "frames", "the callback runs under the image lock", CheckCallbackLock},
    {"callback-thread", "frames", "the callback runs on one thread, which is the driver's own",
     CheckCallbackThread},
    {"tick-written", "frames", "m_dwLastGrab is written for each frame, from GetTickCount", CheckTickWritten},
    {"tick-order", "frames", "m_dwLastGrab never runs backwards", CheckTickOrder},
    {"image", "frames", "m_image holds a picture at each callback", CheckImage},
    {"image-type", "image", "m_image has 8 or 16 bits and 1 or 3 channels", CheckImageType},
    {"steady-image", "image", "frames of one size reuse the same few image buffers", CheckSteadyImage},
    {"greedy-client", "frames", "a client that takes the image lock without pause gets it, and frames flow",
     CheckGreedyClient},
    {"slow-client", "greedy-client",
     "frames wait for a client that holds the image lock, and go on behind it", CheckSlowClient},
    {"stop", "frames", "frames cease after StopCapture", CheckStop},
    {"restart", "stop", "frames flow again after StopCapture and StartCapture", CheckRestart},
    {"close", "frames", "no frame comes once CloseFrameGrabber has returned; closing twice is harmless",
     CheckClose},
    {"reopen", "close", "a closed driver can be opened again", CheckReopen},
    {"init-again", "reopen", "InitFrameGrabber while frames flow starts anew", CheckInitAgain},
    {"destroy-capturing", "frames", "destroying a driver while frames flow ends them", CheckDestroyCapturing},
    {"null-callback", "destroy-capturing tick-written image", "frames are made without a callback, too",
     CheckNullCallback},
    {"two-objects", "destroy-capturing callback-argument",
     "two objects work side by side, or the second fails with a message", CheckTwoObjects},
    {"unload", "loads", "the library can be unloaded when its drivers are gone", CheckUnload},
};

std::string OneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return text;
}

} // namespace

std::span<const T_DRIVER_CHECK> CDriverCheck::GetTable()
{
    return kTable;
}

CDriverCheck::CDriverCheck(CDriverPlugin plugin, CProfileSection settings, const T_CHECK_OPTIONS& options)
    : m_pContext(std::make_unique<CCheckContext>(std::move(plugin), std::move(settings), options))
{
}

CDriverCheck::~CDriverCheck() = default;

bool CDriverCheck::IsStalled() const
{
    return m_pContext->runner.IsStalled();
}

void CDriverCheck::Run(const Report& report, const Announce& announce)
{
    for (const T_DRIVER_CHECK& check : kTable) {
        std::string unmet;
        std::istringstream needs(check.needs);
        for (std::string need; needs >> need && unmet.empty();) {
            unmet = m_pContext->HasFailed(need) ? need : "";
        }
        T_CHECK_RESULT result{check.name, eCHECK_OUTCOME::kSkip, ""};
        if (IsStalled()) {
            result.reason = "not run: the driver has stalled";
        } else if (!unmet.empty()) {
            result.reason = "not run: needs \"" + unmet + "\"";
        } else {
            if (announce) {
                announce(check);
            }
            result = RunOne(check);
        }
        if (result.outcome == eCHECK_OUTCOME::kFail || IsStalled() || !unmet.empty()) {
            m_pContext->SetFailed(check.name);
        }
        report(result);
    }
}

T_CHECK_RESULT CDriverCheck::RunOne(const T_DRIVER_CHECK& check)
{
    T_CHECK_RESULT result{check.name, eCHECK_OUTCOME::kOk, ""};
    const auto end = [&](eCHECK_OUTCOME outcome, const std::string& reason) {
        if (result.outcome != eCHECK_OUTCOME::kFail) {
            result.outcome = outcome;
            result.reason = OneLine(reason);
        }
    };
    const auto guard = [&](const std::function<void()>& part) {
        try {
            part();
        } catch (const CCheckSkipped& skipped) {
            end(eCHECK_OUTCOME::kSkip, skipped.what());
        } catch (...) {
            end(eCHECK_OUTCOME::kFail, ToNarrow(GetCurrentErrorMessage()));
        }
    };
    guard([&] { check.run(*m_pContext); });
    // What the check leaves behind goes before the next one begins, and a fault in that is this check's.
    guard([&] { m_pContext->DestroyOthers(); });
    return result;
}

} // namespace alidade
