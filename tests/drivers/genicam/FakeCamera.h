#pragma once

#include "foundation/platform/Types.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace alidade {

/// The simulated GigE Vision camera of aravis-tools as a process of its own on the loopback interface. It is
/// killed with the object. One at a time on the machine: the constructor waits for others.
class CFakeCamera {
public:
    static constexpr const char* kAddress = "127.0.0.1";
    static constexpr const char* kId = "Aravis-Fake-ALIDADE01";

    /// False when the program is not installed.
    static bool IsInstalled();

    /// Starts it and waits until it answers.
    explicit CFakeCamera(std::vector<std::string> arguments = {});
    ~CFakeCamera();
    CFakeCamera(const CFakeCamera&) = delete;
    CFakeCamera& operator=(const CFakeCamera&) = delete;

    bool IsRunning() const { return m_process > 0; }
    /// As when its cable is pulled: no word of farewell.
    void Kill();
    /// Starts it again; it has forgotten all settings then.
    void Start();

    /// A register as the camera holds it, asked beside the driver; nothing after so many questions of 200 ms
    /// without an answer.
    static std::optional<DWORD> ReadRegister(DWORD address, int questions = 100);

    // Registers of the simulated camera.
    static constexpr DWORD kWidth = 0x100, kHeight = 0x104, kGain = 0x110, kExposure = 0x120,
                           kOffsetX = 0x130, kOffsetY = 0x134, kFramePeriod = 0x138, kTriggerMode = 0x300,
                           kAcquiring = 0x124;

private:
    static std::optional<DWORD> Ask(DWORD address);

    std::vector<std::string> m_arguments;
    pid_t m_process = 0;
    int m_lockFile = -1;
};

} // namespace alidade
