#include "ApplySettings.h"

#include "Feature.h"
#include "PixelFormat.h"
#include "foundation/platform/Text.h"

#include <cmath>

namespace alidade {
namespace {

using namespace genicam_key;

/// Applies setting by setting; the first failure ends it, with its text in `message`.
class CSettingWriter {
public:
    CSettingWriter(ArvCamera* camera, const T_GENICAM_SETTINGS& settings, CStringA& message)
        : m_pCamera(camera), m_settings(settings), m_message(message)
    {
    }

    bool WriteAll()
    {
        return SetFree() && SetPixelFormat() && SetRegion() && SetExposure() && SetGain() && SetFrameRate() &&
               SetTrigger() && SetPackets() && SetFeatures();
    }

private:
    bool Refuse(const wchar_t* key, const CStringA& value, const CStringA& reason)
    {
        m_message = RefusalText(key, value, reason);
        return false;
    }
    bool IsDone(const wchar_t* key, const CStringA& value)
    {
        return !m_error.IsSet() || Refuse(key, value, m_error.Text());
    }

    /// A camera that was left in a single-frame mode or waiting for a trigger delivers nothing.
    bool SetFree()
    {
        if (arv_camera_is_feature_available(m_pCamera, "AcquisitionMode", nullptr)) {
            arv_camera_set_acquisition_mode(m_pCamera, ARV_ACQUISITION_MODE_CONTINUOUS, nullptr);
        }
        if (arv_camera_is_feature_available(m_pCamera, "TriggerMode", nullptr)) {
            arv_camera_clear_triggers(m_pCamera, m_error.Place());
            if (m_error.IsSet() &&
                TextOf(arv_camera_get_string(m_pCamera, "TriggerMode", nullptr)) != "Off") {
                return IsDone(kTriggerMode, "Off");
            }
        }
        return true;
    }

    bool SetPixelFormat()
    {
        const T_PIXEL_FORMAT* format = m_settings.pPixelFormat;
        if (format == nullptr) {
            return true;
        }
        guint count = 0;
        const TGMemoryPtr<gint64> codes(
            arv_camera_dup_available_pixel_formats(m_pCamera, &count, m_error.Place()));
        for (guint i = 0; codes && i < count; ++i) {
            if (static_cast<DWORD>(codes.get()[i]) == format->dwCode) {
                arv_camera_set_pixel_format(m_pCamera, format->dwCode, m_error.Place());
                return IsDone(kPixelFormat, format->szName);
            }
        }
        return Refuse(kPixelFormat, format->szName,
                      "the camera offers " + GetEnumEntries(m_pCamera, "PixelFormat"));
    }

    /// One side of the region against the camera's bounds and step.
    bool SetSide(const wchar_t* key, const char* feature, int value)
    {
        gint64 least = 0;
        gint64 most = 0;
        arv_camera_get_integer_bounds(m_pCamera, feature, &least, &most, m_error.Place());
        if (m_error.IsSet()) {
            return IsDone(key, std::to_string(value));
        }
        const gint64 step =
            std::max<gint64>(1, arv_camera_get_integer_increment(m_pCamera, feature, nullptr));
        if (value < least || value > most || (value - least) % step != 0) {
            return Refuse(key, std::to_string(value),
                          Format("the camera allows %lld to %lld in steps of %lld",
                                 static_cast<long long>(least), static_cast<long long>(most),
                                 static_cast<long long>(step)));
        }
        arv_camera_set_integer(m_pCamera, feature, value, m_error.Place());
        return IsDone(key, std::to_string(value));
    }

    bool SetRegion()
    {
        const T_GENICAM_SETTINGS& s = m_settings;
        if (!s.offsetX && !s.offsetY && !s.width && !s.height) {
            return true;
        }
        gint x = 0, y = 0, width = 0, height = 0;
        arv_camera_get_region(m_pCamera, &x, &y, &width, &height, m_error.Place());
        if (m_error.IsSet()) {
            return IsDone(kWidth, s.width ? std::to_string(*s.width) : "");
        }
        // The offset bounds the size and the other way about: with the offset at 0 any size can be set.
        if (arv_camera_is_region_offset_available(m_pCamera, nullptr)) {
            arv_camera_set_integer(m_pCamera, "OffsetX", 0, nullptr);
            arv_camera_set_integer(m_pCamera, "OffsetY", 0, nullptr);
        }
        gint64 least = 0, mostWidth = 0, mostHeight = 0;
        arv_camera_get_integer_bounds(m_pCamera, "Width", &least, &mostWidth, m_error.Place());
        arv_camera_get_integer_bounds(m_pCamera, "Height", &least, &mostHeight, m_error.Place());
        return SetSpan(kWidth, "Width", s.width.value_or(width), kOffsetX, "OffsetX", s.offsetX.value_or(x),
                       mostWidth) &&
               SetSpan(kHeight, "Height", s.height.value_or(height), kOffsetY, "OffsetY",
                       s.offsetY.value_or(y), mostHeight);
    }

    bool SetSpan(const wchar_t* sizeKey, const char* sizeFeature, int size, const wchar_t* offsetKey,
                 const char* offsetFeature, int offset, gint64 most)
    {
        if (!SetSide(sizeKey, sizeFeature, size)) {
            return false;
        }
        // Not every camera bounds its offset by the size that is set.
        if (most > 0 && offset + static_cast<gint64>(size) > most) {
            return Refuse(offsetKey, std::to_string(offset),
                          Format("with %s %d the camera allows 0 to %lld", sizeFeature, size,
                                 static_cast<long long>(most - size)));
        }
        return offset == 0 || SetSide(offsetKey, offsetFeature, offset);
    }

    bool CheckBounds(const wchar_t* key, double value, double least, double most, const char* unit)
    {
        return m_error.IsSet() ? IsDone(key, Format("%.10g", value))
                               : (value >= least && value <= most) ||
                                     Refuse(key, Format("%.10g", value),
                                            Format("the camera allows %.10g to %.10g%s", least, most, unit));
    }

    bool SetExposure()
    {
        const T_AUTO_VALUE& exposure = m_settings.exposure;
        const bool hasAuto = arv_camera_is_exposure_auto_available(m_pCamera, nullptr);
        if (exposure.bAuto) {
            if (!hasAuto) {
                return Refuse(kExposureTime, "Auto", "the camera has no automatic exposure");
            }
            arv_camera_set_exposure_time_auto(m_pCamera, ARV_AUTO_CONTINUOUS, m_error.Place());
            return IsDone(kExposureTime, "Auto");
        }
        if (!exposure.value) {
            return true;
        }
        if (hasAuto) {
            arv_camera_set_exposure_time_auto(m_pCamera, ARV_AUTO_OFF, nullptr);
        }
        double least = 0, most = 0;
        arv_camera_get_exposure_time_bounds(m_pCamera, &least, &most, m_error.Place());
        if (!CheckBounds(kExposureTime, *exposure.value, least, most, " us")) {
            return false;
        }
        arv_camera_set_exposure_time(m_pCamera, *exposure.value, m_error.Place());
        return IsDone(kExposureTime, Format("%.10g", *exposure.value));
    }

    bool SetGain()
    {
        const T_AUTO_VALUE& gain = m_settings.gain;
        const bool hasAuto = arv_camera_is_gain_auto_available(m_pCamera, nullptr);
        if (gain.bAuto) {
            if (!hasAuto) {
                return Refuse(kGain, "Auto", "the camera has no automatic gain");
            }
            arv_camera_set_gain_auto(m_pCamera, ARV_AUTO_CONTINUOUS, m_error.Place());
            return IsDone(kGain, "Auto");
        }
        if (!gain.value) {
            return true;
        }
        if (hasAuto) {
            arv_camera_set_gain_auto(m_pCamera, ARV_AUTO_OFF, nullptr);
        }
        double least = 0, most = 0;
        arv_camera_get_gain_bounds(m_pCamera, &least, &most, m_error.Place());
        if (!CheckBounds(kGain, *gain.value, least, most, "")) {
            return false;
        }
        arv_camera_set_gain(m_pCamera, *gain.value, m_error.Place());
        return IsDone(kGain, Format("%.10g", *gain.value));
    }

    bool SetFrameRate()
    {
        const double rate = m_settings.dFrameRate;
        if (rate == 0) {
            return true;
        }
        if (!arv_camera_is_frame_rate_available(m_pCamera, nullptr)) {
            return Refuse(kFrameRate, Format("%.10g", rate), "the camera has no frame rate to set");
        }
        double least = 0, most = 0;
        arv_camera_get_frame_rate_bounds(m_pCamera, &least, &most, m_error.Place());
        if (!CheckBounds(kFrameRate, rate, least, most, " Hz")) {
            return false;
        }
        arv_camera_set_frame_rate(m_pCamera, rate, m_error.Place());
        return IsDone(kFrameRate, Format("%.10g", rate));
    }

    /// After the frame rate, since setting that switches triggers off on some cameras.
    bool SetTrigger()
    {
        if (!m_settings.bTrigger) {
            return true;
        }
        if (!arv_camera_is_feature_available(m_pCamera, "TriggerMode", nullptr)) {
            return Refuse(kTriggerMode, "On", "the camera has no trigger");
        }
        CStringA source = m_settings.strTriggerSource;
        if (source.empty()) {
            source = TextOf(arv_camera_get_trigger_source(m_pCamera, nullptr));
        } else if (!arv_camera_is_enumeration_entry_available(m_pCamera, "TriggerSource", source.c_str(),
                                                              nullptr)) {
            return Refuse(kTriggerSource, source,
                          "the camera offers " + GetEnumEntries(m_pCamera, "TriggerSource"));
        }
        arv_camera_set_trigger(m_pCamera, source.c_str(), m_error.Place());
        return IsDone(kTriggerSource, source);
    }

    bool SetPackets()
    {
        if (!arv_camera_is_gv_device(m_pCamera)) {
            return true;
        }
        arv_camera_gv_set_stream_options(m_pCamera, m_settings.bPacketSocket
                                                        ? ARV_GV_STREAM_OPTION_NONE
                                                        : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        const int size = m_settings.nPacketSize;
        if (size == 0) {
            arv_camera_gv_set_packet_size_adjustment(m_pCamera, ARV_GV_PACKET_SIZE_ADJUSTMENT_ONCE);
            return true;
        }
        arv_camera_gv_set_packet_size_adjustment(m_pCamera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
        arv_camera_gv_set_packet_size(m_pCamera, size, m_error.Place());
        if (m_error.IsSet()) {
            return IsDone(kPacketSize, std::to_string(size));
        }
        const guint taken = arv_camera_gv_get_packet_size(m_pCamera, m_error.Place());
        return IsDone(kPacketSize, std::to_string(size)) &&
               (taken == static_cast<guint>(size) ||
                Refuse(kPacketSize, std::to_string(size), Format("the camera takes %u", taken)));
    }

    bool SetFeatures()
    {
        for (const T_FEATURE& feature : m_settings.features) {
            CStringA reason;
            if (!SetFeature(m_pCamera, feature, reason)) {
                return Refuse(kFeatures, feature.strName + (feature.value ? "=" + *feature.value : ""),
                              reason);
            }
        }
        return true;
    }

    ArvCamera* m_pCamera;
    const T_GENICAM_SETTINGS& m_settings;
    CStringA& m_message;
    CGError m_error;
};

/// What the camera says that it will send; refused when the driver cannot take it.
bool ReadGeometry(ArvCamera* camera, const T_GENICAM_SETTINGS& settings, T_CAMERA_GEOMETRY& geometry,
                  CStringA& message)
{
    CGError error;
    gint x = 0, y = 0;
    T_RAW_FRAME frame;
    arv_camera_get_region(camera, &x, &y, &frame.nWidth, &frame.nHeight, error.Place());
    if (error.IsSet()) {
        message = "the camera does not tell its image size: " + error.Text();
        return false;
    }
    const ArvPixelFormat code = arv_camera_get_pixel_format(camera, error.Place());
    const T_PIXEL_FORMAT* format = FindPixelFormat(static_cast<DWORD>(code));
    if (error.IsSet() || format == nullptr) {
        const CStringA name = TextOf(arv_camera_get_pixel_format_as_string(camera, nullptr));
        message = RefusalText(kPixelFormat, name,
                              Format("the driver cannot take it (code 0x%08X); the camera offers ", code) +
                                  GetEnumEntries(camera, "PixelFormat"));
        return false;
    }
    const std::size_t payload = arv_camera_get_payload(camera, error.Place());
    const std::size_t needed = GetFrameBytes(*format, frame);
    if (error.IsSet() || needed == 0 || payload < needed || payload > kMaxFrameBytes) {
        message =
            Format("the camera announces %d x %d pixels of %s in %zu bytes, which is not possible; frames "
                   "have sides of up to %d pixels and up to %zu bytes",
                   frame.nWidth, frame.nHeight, format->szName, payload, kMaxFrameSide, kMaxFrameBytes);
        return false;
    }
    constexpr std::size_t kMostMemory = 4ull << 30;
    if (payload * static_cast<std::size_t>(settings.nBuffers) > kMostMemory) {
        message =
            RefusalText(kBuffers, std::to_string(settings.nBuffers),
                        Format("with %zu bytes a frame 4 GiB hold %zu", payload, kMostMemory / payload));
        return false;
    }
    const bool tellsRate = !settings.bTrigger && arv_camera_is_frame_rate_available(camera, nullptr);
    const double rate = tellsRate ? arv_camera_get_frame_rate(camera, nullptr) : 0;
    geometry = {format, frame.nWidth, frame.nHeight, payload, std::isfinite(rate) && rate > 0 ? rate : 0};
    return true;
}

} // namespace

bool ApplySettings(ArvCamera* camera, const T_GENICAM_SETTINGS& settings, T_CAMERA_GEOMETRY& geometry,
                   CStringA& message)
{
    return CSettingWriter(camera, settings, message).WriteAll() &&
           ReadGeometry(camera, settings, geometry, message);
}

} // namespace alidade
