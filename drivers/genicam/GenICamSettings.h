#pragma once

#include "alidade/driver/SettingTable.h"
#include "foundation/config/ProfileSection.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace alidade {

struct T_PIXEL_FORMAT;

namespace genicam_key {
inline constexpr wchar_t kDeviceId[] = L"GenICam.DeviceId";
inline constexpr wchar_t kInterface[] = L"GenICam.Interface";
inline constexpr wchar_t kPixelFormat[] = L"GenICam.PixelFormat";
inline constexpr wchar_t kOffsetX[] = L"GenICam.OffsetX";
inline constexpr wchar_t kOffsetY[] = L"GenICam.OffsetY";
inline constexpr wchar_t kWidth[] = L"GenICam.Width";
inline constexpr wchar_t kHeight[] = L"GenICam.Height";
inline constexpr wchar_t kExposureTime[] = L"GenICam.ExposureTime";
inline constexpr wchar_t kGain[] = L"GenICam.Gain";
inline constexpr wchar_t kFrameRate[] = L"GenICam.FrameRate";
inline constexpr wchar_t kTriggerMode[] = L"GenICam.TriggerMode";
inline constexpr wchar_t kTriggerSource[] = L"GenICam.TriggerSource";
inline constexpr wchar_t kFeatures[] = L"GenICam.Features";
inline constexpr wchar_t kPacketSize[] = L"GenICam.PacketSize";
inline constexpr wchar_t kPacketResend[] = L"GenICam.PacketResend";
inline constexpr wchar_t kPacketSocket[] = L"GenICam.PacketSocket";
inline constexpr wchar_t kBuffers[] = L"GenICam.Buffers";
inline constexpr wchar_t kSocketBuffer[] = L"GenICam.SocketBuffer";
inline constexpr wchar_t kFrameTimeout[] = L"GenICam.FrameTimeout";
} // namespace genicam_key

/// A value that the camera may choose itself, such as the exposure time.
struct T_AUTO_VALUE {
    bool bAuto = false;
    std::optional<double> value; // neither: the camera's own is kept

    bool IsKept() const { return !bAuto && !value; }
};

/// One piece of GenICam.Features: a feature of the camera by name and the text it is set to, or a command.
struct T_FEATURE {
    CStringA strName;
    std::optional<CStringA> value; // none: a command
};

/// The settings, read and checked as far as that goes without the camera. Empty texts and empty optionals
/// keep what the camera has.
struct T_GENICAM_SETTINGS {
    CStringA strDeviceId;
    CStringA strInterface;
    const T_PIXEL_FORMAT* pPixelFormat = nullptr;
    std::optional<int> offsetX, offsetY, width, height; // px
    T_AUTO_VALUE exposure;                              // us
    T_AUTO_VALUE gain;                                  // in the camera's unit, mostly dB
    double dFrameRate = 0;                              // Hz, 0: the camera's own
    bool bTrigger = false;
    CStringA strTriggerSource;
    int nPacketSize = 0; // bytes, 0: negotiated
    bool bPacketResend = true;
    bool bPacketSocket = true;
    int nBuffers = 0;
    int nSocketBuffer = 0;    // bytes, 0: several frames
    DWORD dwFrameTimeout = 0; // ms
    std::vector<T_FEATURE> features;
};

/// What a refused setting says: its key, its value and why, or what is allowed.
CStringA RefusalText(const wchar_t* key, const CStringA& value, const CStringA& reason);

/// The rows of the settings table, in order: the single home of keys, defaults and descriptions.
std::span<const T_DRIVER_SETTING> GetGenICamSettingTable();

/// Reads a section. A key that is absent or empty has the default of the table; a text where a number belongs
/// counts as absent and is reported by the section.
/// @param message  on failure names the setting, its value and what is allowed
/// @return false when a value is out of range or unknown; `settings` is then unchanged
bool ReadGenICamSettings(const CProfileSection& section, T_GENICAM_SETTINGS& settings, CStringA& message);

} // namespace alidade
