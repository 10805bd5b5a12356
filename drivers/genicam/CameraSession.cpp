#include "CameraSession.h"

#include "LostDevices.h"
#include "PixelFormat.h"
#include "SocketBuffer.h"
#include "foundation/platform/Text.h"

namespace alidade {
namespace {

using LostFlag = std::shared_ptr<std::atomic<bool>>;

void OnControlLost(ArvDevice*, gpointer flag)
{
    static_cast<LostFlag*>(flag)->get()->store(true);
}

void DropFlag(gpointer flag, GClosure*)
{
    delete static_cast<LostFlag*>(flag);
}

} // namespace

CCameraSession::eOPENED CCameraSession::Open(const T_GENICAM_SETTINGS& settings, const CStringA& id,
                                             CStringA& message)
{
    Close();
    T_OPEN_DEVICE opened;
    if (!OpenDevice(settings.strInterface, id, opened, message)) {
        return NOT_THERE;
    }
    m_settings = settings;
    m_strId = opened.strId;
    m_strName = opened.strName;
    CGError error;
    m_camera.reset(arv_camera_new_with_device(opened.device.get(), error.Place()));
    if (!m_camera) {
        message = m_strName + ": " + error.Text();
        return NOT_THERE;
    }
    WatchControl();
    CStringA reason;
    if (!ApplySettings(m_camera.get(), m_settings, m_geometry, reason)) {
        message = m_strName + ": " + reason;
        Close();
        return REFUSED;
    }
    return OPENED;
}

void CCameraSession::WatchControl()
{
    m_lost = std::make_shared<std::atomic<bool>>(false);
    m_nSignal =
        g_signal_connect_data(arv_camera_get_device(m_camera.get()), "control-lost",
                              G_CALLBACK(OnControlLost), new LostFlag(m_lost), DropFlag, GConnectFlags(0));
}

void CCameraSession::Close()
{
    if (!m_camera) {
        return;
    }
    g_signal_handler_disconnect(arv_camera_get_device(m_camera.get()), m_nSignal);
    if (IsControlLost()) {
        ReleaseLostDevice(std::move(m_camera), std::move(m_stream));
    } else {
        StopAcquisition();
        m_camera.reset();
    }
    m_lost.reset();
}

bool CCameraSession::StartAcquisition(CStringA& reason)
{
    StopAcquisition();
    CGError error;
    m_stream.reset(arv_camera_create_stream(m_camera.get(), nullptr, nullptr, error.Place()));
    if (!m_stream) {
        reason = error.Text();
        return false;
    }
    if (ARV_IS_GV_STREAM(m_stream.get())) {
        SetUpNetworkStream();
    }
    for (int i = 0; i < m_settings.nBuffers; ++i) {
        arv_stream_push_buffer(m_stream.get(), arv_buffer_new(m_geometry.nPayload, nullptr));
    }
    arv_camera_start_acquisition(m_camera.get(), error.Place());
    if (error.IsSet()) {
        reason = error.Text();
        m_stream.reset();
        return false;
    }
    return true;
}

void CCameraSession::SetUpNetworkStream()
{
    m_nSocketBufferAsked =
        m_settings.nSocketBuffer != 0 ? m_settings.nSocketBuffer : ChooseSocketBuffer(m_geometry.nPayload);
    g_object_set(m_stream.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                 m_nSocketBufferAsked, "packet-resend",
                 m_settings.bPacketResend ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS
                                          : ARV_GV_STREAM_PACKET_RESEND_NEVER,
                 nullptr);
    const bool past = m_settings.bPacketSocket && MayOpenPacketSockets();
    m_nSocketBufferGranted = past ? 0 : GetGrantedSocketBuffer(m_nSocketBufferAsked);
}

void CCameraSession::StopAcquisition()
{
    if (!m_stream) {
        return;
    }
    arv_camera_stop_acquisition(m_camera.get(), nullptr);
    m_stream.reset();
}

ArvBuffer* CCameraSession::Pop(DWORD ms)
{
    return arv_stream_timeout_pop_buffer(m_stream.get(), static_cast<guint64>(ms) * 1000);
}

void CCameraSession::Push(ArvBuffer* buffer)
{
    arv_stream_push_buffer(m_stream.get(), buffer);
}

std::uint64_t CCameraSession::GetUnderruns() const
{
    guint64 complete = 0, failed = 0, underruns = 0;
    arv_stream_get_statistics(m_stream.get(), &complete, &failed, &underruns);
    return underruns;
}

bool CCameraSession::IsAnswering()
{
    if (!Ask()) {
        m_lost->store(true);
    }
    return !IsControlLost();
}

bool CCameraSession::Ask()
{
    constexpr guint64 kControlChannelPrivilege = 0x0A00; // GigE Vision bootstrap register
    constexpr guint32 kExclusiveOrControl = 3;
    constexpr guint64 kGenCpVersion = 0; // first register of a USB3 Vision device
    ArvDevice* const device = arv_camera_get_device(m_camera.get());
    guint32 value = 0;
    if (ARV_IS_GV_DEVICE(device)) {
        // A camera that was switched off and on answers too, but has forgotten who controls it.
        return arv_device_read_register(device, kControlChannelPrivilege, &value, nullptr) &&
               (value & kExclusiveOrControl) != 0;
    }
    return arv_device_read_memory(device, kGenCpVersion, sizeof value, &value, nullptr);
}

bool CCameraSession::SendSoftwareTrigger(CStringA& reason)
{
    CGError error;
    arv_camera_software_trigger(m_camera.get(), error.Place());
    if (error.IsSet()) {
        reason = error.Text();
    }
    return !error.IsSet();
}

CStringA CCameraSession::Describe() const
{
    const T_CAMERA_GEOMETRY& g = m_geometry;
    CStringA text = Format("%s, %d x %d %s", m_strName.c_str(), g.nWidth, g.nHeight, g.pFormat->szName);
    if (g.dFrameRate > 0) {
        text += Format(", %.4g frames a second", g.dFrameRate);
    }
    return text + (m_settings.bTrigger ? ", triggered" : "");
}

} // namespace alidade
