#pragma once

#include "foundation/config/SimpleLogInterface.h"
#include "foundation/containers/RefPointer.h"
#include "foundation/math/CoordTrans.h"
#include "foundation/platform/CriticalSection.h"
#include "stage/StageInterface.h"
#include "view/transforms/PositionVariable.h"

#include <functional>
#include <optional>

namespace alidade {

/// What a view's window and menu bar say about where the picture is.
struct T_VIEW_GEOMETRY {
    bool hasPicture = false;               // a picture has been painted
    TRect2<int> client;                    // px
    std::optional<int> toolBarBottom;      // px of the client area; none: the tool bar is hidden
    int imageWidth = 0, imageHeight = 0;   // the full frame, px
    int sourceWidth = 0, sourceHeight = 0; // the part of the frame that is on the screen, px
    int zoomMode = 0;                      // 0 fit, 1 anisotropic, 2 fixed factor; others: factor 1
    double zoom = 1.0;                     // the fixed factor, screen px per image px
};

/// All transforms of one moment.
struct T_VIEW_TRANSFORMS {
    int currentLens = 0;
    std::optional<CCoordTrans> stageFromImage; // of the lens asked for; none when there is no such lens
    CCoordTrans screenFromImage;
    CCoordTrans stageFromScreen; // of the lens that was current at the last update
};

/// Where a point of a camera view lies on the screen (client px), in the image (px of the full frame) and on
/// the stage (mm), for ten lenses: docs/coordinates.md.
///
/// Conversions and transforms are named by where to and where from. A lens is 0 to 9; a negative number means
/// the current lens, which is the stage's, held within 0 to 9, or 0 without a stage.
///
/// Threads: one recursive lock guards the whole record, and each operation below takes it once: no reader
/// sees half an update. Conversions, Get operations and SavePositionToVar are thread-safe; whatever changes
/// something is bound to the window's thread, as the stage's setters are. Who needs several answers that fit
/// together calls GetAll, or holds GetLock. The stage is read, and the save handler called, under the lock.
class ALIDADE_API CViewTransforms {
public:
    static constexpr int kLenses = 10;

    /// @param log  not owned, outlives this; null: nothing is logged
    explicit CViewTransforms(CSimpleLogInterface* log = nullptr) : m_pLog(log) {}
    CViewTransforms(const CViewTransforms&) = delete;
    CViewTransforms& operator=(const CViewTransforms&) = delete;

    /// Empty: no stage. Lens 0 is then current, and nothing follows a stage.
    void SetStage(const TRefPointer<CStageInterface>& stage);
    /// Called after a calibration or a laser centre was changed and the transforms updated, so that it
    /// reaches the settings file at once; under the lock, so that what is saved is what was set.
    void SetSaveHandler(std::function<void()> save);
    CCriticalSection& GetLock() const { return m_lock; }

    /// Works out the transforms anew: by a timer, before each paint, and after every change.
    ///
    /// With a stage that moves in X and Y the current lens's shift and offset become the laser centre and
    /// the stage position, whatever was calibrated. With one that does not, the stage is given the offset as
    /// its position. Without a picture screenFromImage becomes the identity and nothing else changes.
    void Update(const T_VIEW_GEOMETRY& geometry);
    /// Update with the last geometry.
    void Update();

    int GetCurrentLens() const;
    T_VIEW_TRANSFORMS GetAll(int lens = -1) const;
    CCoordTrans GetScreenFromImage() const;
    CCoordTrans GetStageFromScreen() const;
    /// An identity, and an error in the log, for a lens above 9.
    CCoordTrans GetStageFromImage(int lens = -1) const;
    /// Stores a calibration, updates, saves. A lens above 9 silently means the current one.
    /// @return 1; 0, an error in the log and no change when a number is not finite
    int SetStageFromImage(const CCoordTrans& stageFromImage, int lens = -1);

    /// @name Conversions
    /// Those with a lens give (0, 0), and an error in the log, for a lens above 9. Those with the screen go
    /// by the last update.
    ///@{
    TPoint2<double> StageFromImage(const TPoint2<double>& image, int lens = -1) const;
    TPoint2<double> ImageFromStage(const TPoint2<double>& stage, int lens = -1) const;
    TPoint2<double> ScreenFromImage(const TPoint2<double>& image) const;
    TPoint2<double> ImageFromScreen(const TPoint2<double>& screen) const;
    TPoint2<double> StageFromScreen(const TPoint2<double>& screen) const;
    TPoint2<double> ScreenFromStage(const TPoint2<double>& stage) const;
    ///@}

    /// Pans: the image point that is shown at the client centre, rounded to whole pixels. Update holds it
    /// within the picture, and fits drop it.
    void SetScreenFromImageShift(const TPoint2<double>& image);

    /// @name Laser centre
    /// Image px relative to the frame centre, one a lens. Lenses above 9: (0, 0); setting gives 0 and changes
    /// nothing, as it does for a number that is not finite. Setting updates and saves.
    ///@{
    TPoint2<double> GetLaserCenter(int lens = -1) const;
    /// In stage mm, by scale and matrix of the lens.
    TPoint2<double> GetLaserCenterOnStage(int lens = -1) const;
    int SetLaserCenter(const TPoint2<double>& offset, int lens = -1);
    int SetLaserCenterOnStage(const TPoint2<double>& offset, int lens = -1);
    /// To an image point, for the current lens. The frame centre is not rounded here, while Update takes
    /// whole halves: in a frame of odd size the two differ by half a pixel.
    int SetLaserCenterFromImage(const TPoint2<double>& image);
    ///@}

    /// Reads or, with `store` non-zero, writes calibration and laser centre of all lenses in a view's
    /// section. Keys that are absent or no numbers leave their value; reading adds no sub-sections. Thread of
    /// the section's owner.
    void SyncSettings(int store, CProfileSection& section);

    /// WritePositions with the current lens's laser centre. Always 1.
    int SavePositionToVar(CIPVariable& result, const TList<TPoint2<double>>* stagePoints,
                          const TList<TPoint2<double>>* imagePoints, const cv::Mat* image) const;
    /// One point each; any may be null.
    int SavePositionToVar(CIPVariable& result, const TPoint2<double>* stagePoint,
                          const TPoint2<double>* imagePoint) const;

private:
    struct T_LENS {
        CCoordTrans stageFromImage;
        TPoint2<double> laserCenter;
    };
    /// The lens that the argument means, or -1 for one above 9.
    int FindLens(int lens) const;
    void LogWrongLens(const wchar_t* operation, int lens) const;
    void LinkToStage(int lens);
    void UpdateAndSave();
    /// The laser centre in the frame, px. Whole halves of the frame.
    TPoint2<double> GetLaserInImage(int lens) const;

    CSimpleLogInterface* const m_pLog;
    mutable CCriticalSection m_lock; // guards all below
    std::function<void()> m_save;
    TRefPointer<CStageInterface> m_pStage;
    T_VIEW_GEOMETRY m_geometry;
    T_LENS m_lenses[kLenses];
    CCoordTrans m_screenFromImage;
    CCoordTrans m_stageFromScreen;
};

} // namespace alidade
