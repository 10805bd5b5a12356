#pragma once

#include "acquisition/Export.h"
#include "alidade/driver/Driver.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/containers/List.h"
#include "foundation/platform/Event.h"

#include <atomic>
#include <opencv2/core.hpp>

class QWidget;

namespace alidade {

/// A camera as clients hold it: one driver, its frames pre-processed, live or frozen.
///
/// The driver's thread counts each frame, pre-processes it in place, files a copy for a serial grab and wakes
/// the waiting clients. A client is woken and copies the one current image: a late one gets the newest, and
/// the driver never waits for anybody. Grabbers come from GetFrameGrabber and must be gone before
/// UnloadFrameGrabberDll. Thread-safe where nothing else is said. Results are 1 for success and 0 for failure
/// unless said otherwise.
class ALIDADE_API CFrameGrabber {
public:
    /// Measurement of the frame rate. Written by the driver's thread; other threads may see passing states,
    /// but whole values.
    struct T_FRAME_COUNT {
        std::atomic<DWORD> dwStart{0};     // start of the measuring window; 0: none runs
        std::atomic<DWORD> dwLast{0};      // tick of the latest counted frame
        std::atomic<DWORD> dwMark{0};      // tick of the half-way mark
        std::atomic<int> nFrames{0};       // frames since dwStart
        std::atomic<int> nMarkFrames{0};   // nFrames at the mark; 0: none taken
        std::atomic<double> dFrameRate{0}; // frames per second over the window
    };

    /// One frame of a serial grab.
    struct T_IMAGE_BUFFER {
        DWORD dwTick = 0; // when the frame was copied; 0: not filled yet
        cv::Mat image;    // after pre-processing
    };

    /// One known driver.
    struct T_FRAME_GRABBER_DATA {
        wchar_t szPath[1024]; // empty for the built-in driver
        void* hModule;        // null for the built-in driver
        char szName[64];      // UTF-8
        GetFrameGrabberFunction pfnGetFrameGrabber;
        GetFrameGrabberPropertiesFunction pfnGetFrameGrabberProperties;
    };

    // ---- Drivers. The list of drivers is process-wide and has its own lock.

    /// Scans a folder and its sub-folders for plug-ins. What cannot be used is passed over silently, and the
    /// built-in "Dummy" is there afterwards whatever happened. Changes the process's current folder while it
    /// runs, so call it at start-up.
    /// @param pattern  wildcard for file names; null: "FG.*.zbr.64R.dll"
    /// @return 1, also for a folder that does not exist; 0 when no memory can be had
    static int LoadFrameGrabberDll(const wchar_t* folder, const wchar_t* pattern);
    /// Drops all records and unloads the plug-ins. No grabber may be alive.
    static int UnloadFrameGrabberDll();
    /// Replaces `names` by the drivers' names, sorted case-sensitively.
    static void GetFrameGrabberList(TList<CString, int, int>& names);
    /// Replaces `properties` by the settings of a driver; empty for an unknown name.
    static void GetFrameGrabberProperties(const wchar_t* name,
                                          TList<CMFCPropertyGridProperty, int, int>& properties);
    /// A new, initialised grabber; capture has not been started. Nothing is shared between callers.
    /// @param message  receives the driver's text; untouched when the name is not known
    /// @return empty on failure
    static TRefPointer<CFrameGrabber> GetFrameGrabber(const wchar_t* name, const CProfileSection& settings,
                                                      CString& message);
    /// Replaces `names` by the camera controls known, in the order of their registration.
    static void GetCameraInterfaceList(TList<CString, int, int>& names);

    // ---- GPU. No frame goes through it here: a published answer for host code and plug-ins.

    /// Probes the GPU by a tiny real use, or switches it off. Always 1.
    static int EnableGPU(int enable);
    static int IsGPUEnabled();

    // ---- Frames

    /// Copies the current image, or the static one when frozen.
    /// @param checkTimeout  fail when the driver's latest frame is older than the grab timeout, after
    ///        waiting up to `waitMs` for a new one; `image` is empty then
    virtual int GetImage(cv::Mat& image, bool checkTimeout = true, DWORD waitMs = 3000);
    /// Waits up to `waitMs` (0 fails at once) for the next frame and copies the driver's image, even when
    /// frozen. When none came but the latest is younger than the grab timeout, that one is copied.
    virtual int GetNewImage(cv::Mat& image, DWORD waitMs);
    /// Adds an event that each frame sets until it is deleted from the queue. An event counts once.
    virtual void InsertWaitingQueue(TRefPointer<CEvent, int, int>& event);
    virtual void DeleteWaitingQueue(TRefPointer<CEvent, int, int>& event);

protected:
    /// What the driver wrote becomes what clients see. On the driver's thread, under the image lock.
    virtual void PreProcess();

public:
    virtual int InitFrameGrabber(const CProfileSection& settings, CString& message);
    virtual int CloseFrameGrabber();
    virtual int StartCapture();
    virtual int StopCapture();

    IFrameGrabberInterface* GetFrameGrabberInterface() { return m_pInterface; }
    const IFrameGrabberInterface* GetFrameGrabberInterface() const { return m_pInterface; }
    /// The grabber's own copy of its settings. Bound to one thread by the clients.
    CProfileSection& GetSettings() { return m_settings; }
    const CProfileSection& GetSettings() const { return m_settings; }

    int IsLive() const { return m_bLive.load(std::memory_order_relaxed); }
    /// Live, yet the frames have stopped for the grab timeout. A frozen grabber answers 0.
    int IsFreezed() const;
    void SetGrabTimeout(DWORD ms) { m_dwGrabTimeout.store(ms, std::memory_order_relaxed); }
    DWORD GetGrabTimeout() const { return m_dwGrabTimeout.load(std::memory_order_relaxed); }
    /// Freezes on the current image (0) or goes live (1). An empty or deeper than 8-bit image is not frozen.
    /// @return the state reached, 1 live or 0 frozen; not a success code
    int SetLive(int live);
    /// Freezes on a copy of `image`, which must be 8-bit and not empty. 1 on success.
    int SetStaticImage(cv::Mat& image);
    /// Size of the current image; before the first frame the driver's configured one, turned as set.
    cv::Size GetImageSize();
    /// OpenCV type of the current image; 0 also when there is none.
    int GetImageType();
    const T_FRAME_COUNT& GetFrameCounter() const { return m_frameCount; }

    /// Clip rectangle in pixels of the driver's image, from the next frame on. One that does not lie in the
    /// image is ignored. Always 1.
    int SetClipRect(const cv::Rect& rect, int enable);
    void GetClipRect(cv::Rect& rect, int& enable) const;

    // ---- Serial grab: a fixed pool of buffers moves between a free and a filled list. All give 1.

    /// Sets the pool to `count` free buffers of the current size and type; filled ones do not count.
    int ReserveImageBuffer(int count);
    /// Starts recording. A `count` of 0 or more reserves first; a negative one keeps the pool. Frames filled
    /// before and not popped are lost.
    int StartSerialGrab(int count);
    int StopSerialGrab();
    int IsSerialGrab() const { return m_bSerialGrab.load(std::memory_order_relaxed); }
    /// Moves all filled buffers, oldest first, to the end of the caller's list, which owns them then.
    int PopImageBuffer(TList<T_IMAGE_BUFFER, int, int>& buffers);
    /// Takes the oldest filled buffer; an empty handle when there is none.
    int PopImageBuffer(TRefPointer<T_IMAGE_BUFFER, int, int>& buffer);
    int ReturnImageBuffer(TList<T_IMAGE_BUFFER, int, int>& buffers);
    int ReturnImageBuffer(TRefPointer<T_IMAGE_BUFFER, int, int>& buffer);

    static std::atomic<int> s_bGPUChecked;
    static std::atomic<int> s_bUseGPU;

protected:
    /// @param driver  owned from now on; may be null
    explicit CFrameGrabber(IFrameGrabberInterface* driver);
    CFrameGrabber(const CFrameGrabber&);
    CFrameGrabber& operator=(const CFrameGrabber&);
    virtual ~CFrameGrabber();

    void NotifyNewImage();
    int NewImage();
    static int NewImageT(void* grabber);

    friend class TRefPointer<CFrameGrabber>;
    friend class CFrameGrabberTestAccess;

    IFrameGrabberInterface* m_pInterface;
    CProfileSection m_settings;
    int m_bFlipX = 0;  // mirror left to right
    int m_bFlipY = 0;  // mirror top to bottom
    int m_nRotate = 0; // quarter turn: above 0 anticlockwise, below 0 clockwise
    int m_bRotateArbitrary = 0;
    double m_dRotationAngle = 0.0; // degrees, anticlockwise
    int m_bRotateClip = 0;         // crop to the inscribed rectangle
    cv::Mat m_rotationMatrix;      // 2x3 CV_64F; empty until the first frame that needs it
    cv::Mat m_rotationScratch;
    cv::Rect m_rotateClipRect;
    std::atomic<int> m_bClip{0};
    cv::Rect m_clipRect; // in pixels of the driver's image; guarded by m_clipLock
    std::atomic<int> m_bLive{1};
    std::atomic<DWORD> m_dwGrabTimeout{500};
    std::atomic<DWORD> m_dwLastFrame;
    cv::Mat m_staticImage;
    TRefList<CEvent, int, int> m_waitingQueue{true};
    std::atomic<BYTE> m_bSerialGrab{0};
    int m_nReservedBuffers = 100;
    TList<T_IMAGE_BUFFER, int, int> m_filledBuffers{true};
    TList<T_IMAGE_BUFFER, int, int> m_freeBuffers{true};
    T_FRAME_COUNT m_frameCount;
    TRefPointer<IFGCamera, int, int> m_pCamera;
    QWidget* m_pCameraDlg = nullptr;

private:
    void CountFrame(DWORD now);
    void RecordFrame();
    void CopyCurrentImage(cv::Mat& image);
    DWORD TimeSinceLastGrab() const;
    bool ReplaceStaticImage(const cv::Mat& image);
    void BuildRotation(cv::Size size);

    mutable CCriticalSection m_clipLock;
    CCriticalSection m_staticLock; // guards the header of m_staticImage; its pixels never change
};

/// Scoped lock on the current image, for clients that need no copy. It holds up the driver's thread: let go
/// soon.
class ALIDADE_API CFrameGrabberImageLock {
public:
    explicit CFrameGrabberImageLock(CFrameGrabber* grabber);
    explicit CFrameGrabberImageLock(IFrameGrabberInterface* driver);
    ~CFrameGrabberImageLock();
    CFrameGrabberImageLock(const CFrameGrabberImageLock&) = delete;
    CFrameGrabberImageLock& operator=(const CFrameGrabberImageLock&) = delete;

    /// The driver's image; without a driver a process-wide empty one. Valid while the lock is held.
    cv::Mat& GetImage();

private:
    IFrameGrabberInterface* m_pDriver;
};

} // namespace alidade
