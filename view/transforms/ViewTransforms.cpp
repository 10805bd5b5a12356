#include "view/transforms/ViewTransforms.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace alidade {
namespace {

using Point = TPoint2<double>;

bool IsFinite(const Point& point)
{
    return std::isfinite(point.x) && std::isfinite(point.y);
}

/// As the stage itself decides whose position counts.
bool IsFixed(const CStageInterface& stage)
{
    return stage.GetChannel(STAGE_X).CanMove == 0 || stage.GetChannel(STAGE_Y).CanMove == 0;
}

/// Half a unit more, cut towards zero; held within the range of int.
double WholePixel(double value)
{
    return std::trunc(std::clamp(value + 0.5, -2147483648.0, 2147483647.0));
}

/// The upper limit is tested last: it wins when the two cross.
double HoldWithin(double value, int least, int most)
{
    return std::min(std::max(value, static_cast<double>(least)), static_cast<double>(most));
}

/// Puts the centre of what is shown on a whole image pixel.
void SnapShift(CCoordTrans& screenFromImage)
{
    const Point center = screenFromImage.Trans(screenFromImage.GetShift());
    int x = 0, y = 0;
    screenFromImage.GetInverse().Trans(WholePixel(center.x), WholePixel(center.y), &x, &y);
    screenFromImage.SetShift({static_cast<double>(x), static_cast<double>(y)});
}

/// What a view's picture looks like on the screen; the pan comes from `screenFromImage`.
void PlaceOnScreen(CCoordTrans& screenFromImage, const T_VIEW_GEOMETRY& geometry)
{
    if (!geometry.hasPicture) {
        screenFromImage = CCoordTrans();
        return;
    }
    const int top = geometry.toolBarBottom.value_or(geometry.client.top);
    const double clientWidth = geometry.client.Width();
    const double clientHeight = geometry.client.bottom - top;
    const int centerX = (geometry.client.left + geometry.client.right) / 2;
    const int centerY = (top + geometry.client.bottom) / 2;
    const int width = geometry.imageWidth, height = geometry.imageHeight;

    if (geometry.zoomMode == 0 || geometry.zoomMode == 1) {
        if (width != 0 && height != 0) {
            const double scaleX = clientWidth / width, scaleY = clientHeight / height;
            if (geometry.zoomMode == 0) {
                screenFromImage.SetScale(std::min(scaleX, scaleY));
                screenFromImage.SetMatrix(1.0, 0.0, 0.0, 1.0);
            } else {
                screenFromImage.SetScale(1.0);
                screenFromImage.SetMatrix(scaleX, 0.0, 0.0, scaleY);
            }
            // Integer halves.
            screenFromImage.SetShift({static_cast<double>(width / 2), static_cast<double>(height / 2)});
        }
    } else {
        screenFromImage.SetScale(geometry.zoomMode == 2 ? geometry.zoom : 1.0);
        screenFromImage.SetMatrix(1.0, 0.0, 0.0, 1.0);
    }
    screenFromImage.SetOffset({static_cast<double>(centerX), static_cast<double>(centerY)});

    const int halfWidth = geometry.sourceWidth / 2, halfHeight = geometry.sourceHeight / 2;
    const Point shift = screenFromImage.GetShift();
    screenFromImage.SetShift({HoldWithin(shift.x, halfWidth, width - halfWidth),
                              HoldWithin(shift.y, halfHeight, height - halfHeight)});
    SnapShift(screenFromImage);
}

void SyncTransform(int store, CProfileSection& section, CCoordTrans& transform)
{
    double scale = transform.GetScale();
    cv::Matx<double, 2, 2> m = transform.GetMatrix();
    Point shift = transform.GetShift(), offset = transform.GetOffset();
    section.SyncItemValue(store, L"Scale", scale);
    section.SyncItemValue(store, L"m00", m(0, 0));
    section.SyncItemValue(store, L"m01", m(0, 1));
    section.SyncItemValue(store, L"m10", m(1, 0));
    section.SyncItemValue(store, L"m11", m(1, 1));
    section.SyncItemValue(store, L"ShiftX", shift.x);
    section.SyncItemValue(store, L"ShiftY", shift.y);
    section.SyncItemValue(store, L"OffsetX", offset.x);
    section.SyncItemValue(store, L"OffsetY", offset.y);
    transform = CCoordTrans(scale, m, shift, offset);
}

CProfileSection* FindOrAdd(int store, CProfileSection& section, const wchar_t* name)
{
    return store != 0 ? &section.GetSubSection(name) : section.FindSubSection(name);
}

} // namespace

void CViewTransforms::SetStage(const TRefPointer<CStageInterface>& stage)
{
    TRefPointer<CStageInterface> old; // destroyed after the lock was given back
    CS lock(&m_lock);
    old = m_pStage;
    m_pStage = stage;
}

void CViewTransforms::SetSaveHandler(std::function<void()> save)
{
    CS lock(&m_lock);
    m_save = std::move(save);
}

void CViewTransforms::Update(const T_VIEW_GEOMETRY& geometry)
{
    CS lock(&m_lock);
    m_geometry = geometry;
    PlaceOnScreen(m_screenFromImage, geometry);
    if (!geometry.hasPicture) {
        return;
    }
    const int lens = GetCurrentLens();
    LinkToStage(lens);
    m_stageFromScreen = m_lenses[lens].stageFromImage * m_screenFromImage.GetInverse();
}

void CViewTransforms::Update()
{
    CS lock(&m_lock);
    Update(T_VIEW_GEOMETRY(m_geometry));
}

void CViewTransforms::LinkToStage(int lens)
{
    if (!m_pStage) {
        return;
    }
    CCoordTrans& stageFromImage = m_lenses[lens].stageFromImage;
    if (IsFixed(*m_pStage)) {
        m_pStage->SetStagePosition(stageFromImage.GetOffset());
        return;
    }
    stageFromImage.SetShift(GetLaserInImage(lens));
    stageFromImage.SetOffset(m_pStage->GetStagePosition());
}

void CViewTransforms::UpdateAndSave()
{
    Update();
    if (m_save) {
        m_save();
    }
}

int CViewTransforms::GetCurrentLens() const
{
    CS lock(&m_lock);
    return m_pStage ? std::clamp(m_pStage->GetLensNo(), 0, kLenses - 1) : 0;
}

int CViewTransforms::FindLens(int lens) const
{
    return lens < 0 ? GetCurrentLens() : lens < kLenses ? lens : -1;
}

void CViewTransforms::LogWrongLens(const wchar_t* operation, int lens) const
{
    if (m_pLog != nullptr) {
        m_pLog->WriteErrorLog(L"CCameraView::%s - Wrong iLensNo(%d)", operation, lens);
    }
}

T_VIEW_TRANSFORMS CViewTransforms::GetAll(int lens) const
{
    CS lock(&m_lock);
    T_VIEW_TRANSFORMS all;
    all.currentLens = GetCurrentLens();
    const int asked = lens < 0 ? all.currentLens : FindLens(lens);
    if (asked >= 0) {
        all.stageFromImage = m_lenses[asked].stageFromImage;
    }
    all.screenFromImage = m_screenFromImage;
    all.stageFromScreen = m_stageFromScreen;
    return all;
}

CCoordTrans CViewTransforms::GetScreenFromImage() const
{
    CS lock(&m_lock);
    return m_screenFromImage;
}

CCoordTrans CViewTransforms::GetStageFromScreen() const
{
    CS lock(&m_lock);
    return m_stageFromScreen;
}

CCoordTrans CViewTransforms::GetStageFromImage(int lens) const
{
    if (lens >= kLenses) {
        LogWrongLens(L"GetCTCameraToStage", lens);
        return CCoordTrans();
    }
    CS lock(&m_lock);
    return m_lenses[FindLens(lens)].stageFromImage;
}

int CViewTransforms::SetStageFromImage(const CCoordTrans& stageFromImage, int lens)
{
    if (!stageFromImage.IsFinite()) {
        if (m_pLog != nullptr) {
            m_pLog->WriteErrorLog(L"CCameraView::SetCTCameraToStage - a number is not finite, lens %d keeps "
                                  L"its transform",
                                  lens);
        }
        return 0;
    }
    CS lock(&m_lock);
    const int target = lens < kLenses ? FindLens(lens) : GetCurrentLens();
    m_lenses[target].stageFromImage = stageFromImage;
    // The stage gets the new offset even when the lens is not the current one, whose offset the update gives.
    if (m_pStage && IsFixed(*m_pStage)) {
        m_pStage->SetStagePosition(stageFromImage.GetOffset());
    }
    UpdateAndSave();
    return 1;
}

Point CViewTransforms::StageFromImage(const Point& image, int lens) const
{
    if (lens >= kLenses) {
        LogWrongLens(L"ConvCameraToStage", lens);
        return {};
    }
    CS lock(&m_lock);
    return m_lenses[FindLens(lens)].stageFromImage.Trans(image);
}

Point CViewTransforms::ImageFromStage(const Point& stage, int lens) const
{
    if (lens >= kLenses) {
        LogWrongLens(L"ConvStageToCamera", lens);
        return {};
    }
    CS lock(&m_lock);
    return m_lenses[FindLens(lens)].stageFromImage.TransI(stage);
}

Point CViewTransforms::ScreenFromImage(const Point& image) const
{
    return GetScreenFromImage().Trans(image);
}

Point CViewTransforms::ImageFromScreen(const Point& screen) const
{
    return GetScreenFromImage().TransI(screen);
}

Point CViewTransforms::StageFromScreen(const Point& screen) const
{
    return GetStageFromScreen().Trans(screen);
}

Point CViewTransforms::ScreenFromStage(const Point& stage) const
{
    return GetStageFromScreen().TransI(stage);
}

void CViewTransforms::SetScreenFromImageShift(const Point& image)
{
    CS lock(&m_lock);
    m_screenFromImage.SetShift(image);
    SnapShift(m_screenFromImage);
}

Point CViewTransforms::GetLaserInImage(int lens) const
{
    const Point& offset = m_lenses[lens].laserCenter;
    return {m_geometry.imageWidth / 2 + offset.x, m_geometry.imageHeight / 2 + offset.y};
}

Point CViewTransforms::GetLaserCenter(int lens) const
{
    CS lock(&m_lock);
    const int found = FindLens(lens);
    return found >= 0 ? m_lenses[found].laserCenter : Point();
}

Point CViewTransforms::GetLaserCenterOnStage(int lens) const
{
    CS lock(&m_lock);
    const int found = FindLens(lens);
    return found >= 0 ? m_lenses[found].stageFromImage.GetLinear().Trans(m_lenses[found].laserCenter)
                      : Point();
}

int CViewTransforms::SetLaserCenter(const Point& offset, int lens)
{
    CS lock(&m_lock);
    const int found = FindLens(lens);
    if (found < 0 || !IsFinite(offset)) {
        return 0;
    }
    m_lenses[found].laserCenter = offset;
    UpdateAndSave();
    return 1;
}

int CViewTransforms::SetLaserCenterOnStage(const Point& offset, int lens)
{
    CS lock(&m_lock);
    const int found = FindLens(lens);
    return found >= 0 ? SetLaserCenter(m_lenses[found].stageFromImage.GetLinear().TransI(offset), found) : 0;
}

int CViewTransforms::SetLaserCenterFromImage(const Point& image)
{
    CS lock(&m_lock);
    return SetLaserCenter({image.x - m_geometry.imageWidth * 0.5, image.y - m_geometry.imageHeight * 0.5});
}

void CViewTransforms::SyncSettings(int store, CProfileSection& section)
{
    CS lock(&m_lock);
    for (int number = 0; number < kLenses; ++number) {
        T_LENS& lens = m_lenses[number];
        CProfileSection* const own = FindOrAdd(store, section, (L"Lens_" + std::to_wstring(number)).c_str());
        if (own == nullptr) {
            continue;
        }
        if (CProfileSection* const transform = FindOrAdd(store, *own, L"CTCameraToStage")) {
            SyncTransform(store, *transform, lens.stageFromImage);
        }
        own->SyncItemValue(store, L"CenterOffset.x", lens.laserCenter.x);
        own->SyncItemValue(store, L"CenterOffset.y", lens.laserCenter.y);
    }
}

int CViewTransforms::SavePositionToVar(CIPVariable& result, const TList<Point>* stagePoints,
                                       const TList<Point>* imagePoints, const cv::Mat* image) const
{
    T_LASER_CENTER laser;
    {
        CS lock(&m_lock);
        const int lens = GetCurrentLens();
        laser.image = GetLaserInImage(lens);
        laser.stage = m_lenses[lens].stageFromImage.GetOffset();
    }
    WritePositions(result, stagePoints, imagePoints, image, laser);
    return 1;
}

int CViewTransforms::SavePositionToVar(CIPVariable& result, const Point* stagePoint,
                                       const Point* imagePoint) const
{
    TList<Point> stagePoints, imagePoints;
    if (stagePoint != nullptr) {
        stagePoints.Insert(new Point(*stagePoint));
    }
    if (imagePoint != nullptr) {
        imagePoints.Insert(new Point(*imagePoint));
    }
    return SavePositionToVar(result, &stagePoints, &imagePoints, nullptr);
}

} // namespace alidade
