#pragma once

#include "ApplySettings.h"
#include "CameraList.h"

#include <atomic>

namespace alidade {

/// One open camera with all settings applied, and its stream while frames are asked for. Bound to one thread
/// at a time, except where stated.
class CCameraSession {
public:
    enum eOPENED {
        OPENED,
        NOT_THERE, // no such camera, or somebody else has it
        REFUSED,   // it is there, but does not take the settings
    };

    CCameraSession() = default;
    ~CCameraSession() { Close(); }
    CCameraSession(const CCameraSession&) = delete;
    CCameraSession& operator=(const CCameraSession&) = delete;

    /// Opens the camera and applies all settings; takes some seconds at most.
    /// @param id       the camera asked for, as in OpenDevice
    /// @param message  the reason of a failure; the session is closed then
    eOPENED Open(const T_GENICAM_SETTINGS& settings, const CStringA& id, CStringA& message);
    /// Allowed when nothing is open. What is left of a lost camera goes in the background.
    void Close();
    bool IsOpen() const { return m_camera != nullptr; }

    /// Makes the stream with its buffers and lets frames flow.
    bool StartAcquisition(CStringA& reason);
    void StopAcquisition();
    bool IsAcquiring() const { return m_stream != nullptr; }

    /// The next buffer, complete or not, or null after `ms`. Give it back with Push.
    ArvBuffer* Pop(DWORD ms);
    void Push(ArvBuffer* buffer);
    /// How often the stream had no buffer free since it was made: something above 0 for each frame lost.
    std::uint64_t GetUnderruns() const;

    /// True once the camera has said, or has been found out by the heartbeat, to be ours no longer.
    bool IsControlLost() const { return m_lost && m_lost->load(); }
    /// Asks the camera; takes up to some seconds when it does not answer. It counts as lost then.
    bool IsAnswering();
    bool SendSoftwareTrigger(CStringA& reason);

    /// Finds this camera again; empty when none was ever open.
    const CStringA& GetId() const { return m_strId; }
    const CStringA& GetName() const { return m_strName; }
    const T_CAMERA_GEOMETRY& GetGeometry() const { return m_geometry; }
    /// The camera and what it is set to, for the operator.
    CStringA Describe() const;
    /// Set by the last start: the socket buffer asked for in bytes and what the system grants; 0: not known,
    /// or no such buffer is used.
    int GetSocketBufferAsked() const { return m_nSocketBufferAsked; }
    int GetSocketBufferGranted() const { return m_nSocketBufferGranted; }

private:
    bool Ask();
    void WatchControl();
    void SetUpNetworkStream();

    T_GENICAM_SETTINGS m_settings;
    T_CAMERA_GEOMETRY m_geometry;
    TGObjectPtr<ArvCamera> m_camera;
    TGObjectPtr<ArvStream> m_stream;
    std::shared_ptr<std::atomic<bool>> m_lost; // shared with the signal, which comes on another thread
    unsigned long m_nSignal = 0;
    CStringA m_strId;
    CStringA m_strName;
    int m_nSocketBufferAsked = 0;
    int m_nSocketBufferGranted = 0;
};

} // namespace alidade
