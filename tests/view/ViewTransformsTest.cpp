#include "view/transforms/ViewTransforms.h"

#include "foundation/platform/Text.h"
#include "tests/support/LogLines.h"

#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace alidade {

static void PrintTo(const TPoint2<double>& point, std::ostream* out)
{
    *out << '(' << point.x << ", " << point.y << ')';
}

namespace {

using Point = TPoint2<double>;

class CFakeStage : public CStageInterface {
public:
    CFakeStage(int canMoveX, int canMoveY)
    {
        m_channels[STAGE_X].CanMove = canMoveX;
        m_channels[STAGE_Y].CanMove = canMoveY;
    }
    int GetLensNo() const override { return lens; }
    Point GetStagePosition() const override { return position; }
    void SetStagePosition(Point given) override { fallback = given; }
    void SetCanMoveX(int canMove) { m_channels[STAGE_X].CanMove = canMove; }

    int lens = 0;
    Point position = {10, 20};
    Point fallback = {-1, -1};
};

class CLogged : public CSimpleLogInterface {
public:
    explicit CLogged(CSimpleLog* log) : CSimpleLogInterface(log) {}
};

/// A picture of 1000 by 800 in a client area as large.
T_VIEW_GEOMETRY MakeGeometry()
{
    T_VIEW_GEOMETRY geometry;
    geometry.hasPicture = true;
    geometry.client = {0, 0, 1000, 800};
    geometry.imageWidth = geometry.sourceWidth = 1000;
    geometry.imageHeight = geometry.sourceHeight = 800;
    return geometry;
}

double Distance(const Point& a, const Point& b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

TEST(ViewTransforms, PlacesThePictureAsTheZoomModeSays)
{
    struct T_CASE {
        const char* what;
        T_VIEW_GEOMETRY geometry;
        CCoordTrans expected; // from a pan to (300, 200) in a fixed factor of 2
    };
    const auto make = [](const char* what, auto change, const CCoordTrans& expected) {
        T_CASE made{what, MakeGeometry(), expected};
        change(made.geometry);
        return made;
    };
    using G = T_VIEW_GEOMETRY;
    const T_CASE cases[] = {
        make("fit drops the pan",
             [](G& g) {
                 g.client = {0, 0, 500, 300};
             },
             {0.375, {1, 0, 0, 1}, {500, 400}, {250, 150}}),
        make("a tool bar takes the top",
             [](G& g) {
                 g.client = {0, 0, 1000, 435};
                 g.toolBarBottom = 35;
             },
             {0.5, {1, 0, 0, 1}, {500, 400}, {500, 235}}),
        make("halves of odd sizes are whole",
             [](G& g) {
                 g.client = {0, 0, 1001, 801};
                 g.imageWidth = g.sourceWidth = 1001;
                 g.imageHeight = g.sourceHeight = 801;
             },
             {1, {1, 0, 0, 1}, {500, 400}, {500, 400}}),
        make("anisotropic",
             [](G& g) {
                 g.client = {0, 0, 500, 1600};
                 g.zoomMode = 1;
             },
             {1, {0.5, 0, 0, 2}, {500, 400}, {250, 800}}),
        make("a fixed factor keeps the pan",
             [](G& g) {
                 g.zoomMode = 2;
                 g.zoom = 4;
                 g.sourceWidth = 250;
                 g.sourceHeight = 200;
             },
             {4, {1, 0, 0, 1}, {300, 200}, {500, 400}}),
        make("any other mode is factor 1",
             [](G& g) {
                 g.zoomMode = 3;
                 g.zoom = 4;
                 g.sourceWidth = 100;
                 g.sourceHeight = 100;
             },
             {1, {1, 0, 0, 1}, {300, 200}, {500, 400}}),
        make("the whole frame forces the centre",
             [](G& g) {
                 g.zoomMode = 2;
                 g.zoom = 0.5;
             },
             {0.5, {1, 0, 0, 1}, {500, 400}, {500, 400}}),
        make("held within the picture, low and high",
             [](G& g) {
                 g.zoomMode = 2;
                 g.sourceWidth = 801;
                 g.sourceHeight = 1;
             },
             {1, {1, 0, 0, 1}, {400, 200}, {500, 400}}),
        make("the upper limit wins where the two cross",
             [](G& g) {
                 g.zoomMode = 2;
                 g.sourceWidth = 1200;
                 g.sourceHeight = 1;
             },
             {1, {1, 0, 0, 1}, {400, 200}, {500, 400}}),
        make("no frame size: scale and matrix stay", [](G& g) { g.imageWidth = g.sourceWidth = 0; },
             {2, {1, 0, 0, 1}, {0, 400}, {500, 400}}),
        make("a client of width 0",
             [](G& g) {
                 g.client = {0, 0, 0, 800};
             },
             {0, {1, 0, 0, 1}, {500, 400}, {0, 400}}),
        make(
            "no picture", [](G& g) { g.hasPicture = false; }, CCoordTrans()),
    };
    for (const T_CASE& c : cases) {
        CViewTransforms transforms;
        T_VIEW_GEOMETRY start = MakeGeometry();
        start.zoomMode = 2;
        start.zoom = 2;
        start.sourceWidth = 500;
        start.sourceHeight = 400;
        transforms.Update(start);
        transforms.SetScreenFromImageShift({299.6, 200.4});
        transforms.Update(c.geometry);
        const CCoordTrans got = transforms.GetScreenFromImage();
        EXPECT_EQ(got.GetScale(), c.expected.GetScale()) << c.what;
        EXPECT_EQ(got.GetMatrix(), c.expected.GetMatrix()) << c.what;
        EXPECT_EQ(got.GetShift(), c.expected.GetShift()) << c.what;
        EXPECT_EQ(got.GetOffset(), c.expected.GetOffset()) << c.what;
        EXPECT_TRUE(transforms.GetStageFromScreen().IsFinite()) << c.what;
    }
}

TEST(ViewTransforms, WithoutAPictureOnlyTheScreenTransformChanges)
{
    CViewTransforms transforms;
    auto* const stage = new CFakeStage(1, 1);
    transforms.SetStage(TRefPointer<CStageInterface>(stage));
    transforms.Update(MakeGeometry());
    const T_VIEW_TRANSFORMS before = transforms.GetAll();
    stage->position = {11, 21};
    transforms.Update(T_VIEW_GEOMETRY());
    const T_VIEW_TRANSFORMS after = transforms.GetAll();
    EXPECT_EQ(after.screenFromImage, CCoordTrans());
    EXPECT_EQ(after.stageFromScreen, before.stageFromScreen);
    EXPECT_EQ(after.stageFromImage, before.stageFromImage);
}

TEST(ViewTransforms, AStageThatMovesCarriesTheLaserCentre)
{
    CViewTransforms transforms;
    auto* const stage = new CFakeStage(1, 1);
    transforms.SetStage(TRefPointer<CStageInterface>(stage));
    transforms.Update(MakeGeometry());
    transforms.SetLaserCenter({5, 0});
    // What was calibrated as shift and offset does not count.
    transforms.SetStageFromImage({0.01, {1, 0, 0, 1}, {1, 2}, {3, 4}});
    EXPECT_EQ(transforms.StageFromImage({505, 400}), (Point{10, 20}));
    EXPECT_EQ(transforms.ImageFromStage({10, 20}), (Point{505, 400}));
    stage->position = {11, 19};
    transforms.Update();
    EXPECT_EQ(transforms.StageFromImage({505, 400}), (Point{11, 19}));
    EXPECT_EQ(stage->fallback, (Point{-1, -1}));

    // Other lenses are left alone.
    EXPECT_EQ(transforms.GetStageFromImage(1), CCoordTrans());

    // A stage that stops being movable keeps what was written last, and takes it for its position.
    stage->SetCanMoveX(0);
    stage->position = {50, 60};
    transforms.Update();
    EXPECT_EQ(transforms.StageFromImage({505, 400}), (Point{11, 19}));
    EXPECT_EQ(stage->fallback, (Point{11, 19}));
}

TEST(ViewTransforms, AFixedStageTakesTheOffsetAndNoStageLeavesTheLens)
{
    const CCoordTrans calibrated(0.01, {1, 0, 0, 1}, {1, 2}, {3, 4});
    for (const auto& [x, y] : {std::pair{0, 1}, {1, 0}, {0, 0}}) {
        CViewTransforms transforms;
        auto* const stage = new CFakeStage(x, y);
        transforms.SetStage(TRefPointer<CStageInterface>(stage));
        transforms.SetStageFromImage(calibrated);
        EXPECT_EQ(stage->fallback, (Point{3, 4})) << "before the first picture";
        stage->fallback = {};
        transforms.Update(MakeGeometry());
        EXPECT_EQ(transforms.GetStageFromImage(), calibrated);
        EXPECT_EQ(stage->fallback, (Point{3, 4}));
    }
    CViewTransforms alone;
    alone.SetStageFromImage(calibrated);
    alone.Update(MakeGeometry());
    EXPECT_EQ(alone.GetStageFromImage(0), calibrated);
}

TEST(ViewTransforms, ScreenToStageEqualsTheTwoSteps)
{
    std::mt19937_64 random(7);
    const auto between = [&](double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(random);
    };
    for (int i = 0; i < 500; ++i) {
        CViewTransforms transforms;
        auto* const stage = new CFakeStage(i % 2, 1);
        stage->lens = i % 10;
        transforms.SetStage(TRefPointer<CStageInterface>(stage));
        CCoordTrans calibrated(between(1e-4, 1e-2), {1, between(-0.1, 0.1), 0, between(-1.2, -0.8)},
                               {between(0, 1000), between(0, 800)}, {between(-300, 300), between(-300, 300)});
        calibrated.RotateM(between(-3, 3));
        transforms.SetStageFromImage(calibrated);
        T_VIEW_GEOMETRY geometry = MakeGeometry();
        geometry.client = {0, 0, 100 + i, 700 - i};
        geometry.zoomMode = i % 3;
        geometry.zoom = between(0.1, 8);
        transforms.Update(geometry);

        const Point screen = {between(0, 600), between(0, 700)};
        const Point image = transforms.ImageFromScreen(screen);
        const Point onStage = transforms.StageFromImage(image);
        const double field = 1000 * calibrated.GetScale();
        ASSERT_LT(Distance(transforms.StageFromScreen(screen), onStage), 1e-9 * field);
        ASSERT_LT(Distance(transforms.ScreenFromStage(onStage), screen), 1e-9 * 8000);
        ASSERT_LT(Distance(transforms.ScreenFromImage(image), screen), 1e-9 * 8000);
        ASSERT_LT(Distance(transforms.ImageFromStage(onStage), image), 1e-9 * 1000);
    }
}

TEST(ViewTransforms, TheCurrentLensIsTheStagesHeldWithin0To9)
{
    CViewTransforms transforms;
    EXPECT_EQ(transforms.GetCurrentLens(), 0);
    auto* const stage = new CFakeStage(0, 0);
    transforms.SetStage(TRefPointer<CStageInterface>(stage));
    const struct {
        int published, expected;
    } cases[] = {{-3, 0}, {0, 0}, {4, 4}, {9, 9}, {10, 9}, {1000, 9}};
    for (const auto& c : cases) {
        stage->lens = c.published;
        EXPECT_EQ(transforms.GetCurrentLens(), c.expected);
        const CCoordTrans calibrated(0.5, {1, 0, 0, 1}, {1, 2}, {c.published + 0.5, 4});
        transforms.SetStageFromImage(calibrated, -1);
        EXPECT_EQ(transforms.GetStageFromImage(c.expected), calibrated);
        EXPECT_EQ(transforms.GetStageFromImage(-5), calibrated);
        EXPECT_EQ(transforms.GetAll(-1).currentLens, c.expected);
    }
}

TEST(ViewTransforms, ALensAbove9IsLoggedOnReadingAndTheCurrentOneOnWriting)
{
    CLogLines lines;
    CLogged log(&lines);
    CViewTransforms transforms(&log);
    const CCoordTrans calibrated(0.5, {1, 0, 0, 1}, {1, 2}, {3, 4});
    EXPECT_EQ(transforms.SetStageFromImage(calibrated, 10), 1);
    EXPECT_EQ(transforms.GetStageFromImage(0), calibrated);
    EXPECT_TRUE(lines.Lines().empty());

    EXPECT_EQ(transforms.StageFromImage({7, 7}, 10), Point());
    EXPECT_EQ(transforms.ImageFromStage({7, 7}, 11), Point());
    EXPECT_EQ(transforms.GetStageFromImage(12), CCoordTrans());
    EXPECT_EQ(lines.Lines(), (std::vector<CStringA>{"CCameraView::ConvCameraToStage - Wrong iLensNo(10)",
                                                    "CCameraView::ConvStageToCamera - Wrong iLensNo(11)",
                                                    "CCameraView::GetCTCameraToStage - Wrong iLensNo(12)"}));
    EXPECT_FALSE(transforms.GetAll(10).stageFromImage);

    // A transform that is none is refused, and the calibration stays.
    EXPECT_EQ(transforms.SetStageFromImage({std::nan(""), {1, 0, 0, 1}, {}, {}}), 0);
    EXPECT_EQ(lines.Count("not finite"), 1);
    EXPECT_EQ(transforms.GetStageFromImage(0), calibrated);
}

TEST(ViewTransforms, LaserCentreInPixelsAndMillimetres)
{
    CViewTransforms transforms;
    T_VIEW_GEOMETRY geometry = MakeGeometry();
    geometry.imageWidth = 1001; // odd: half a pixel more than the link adds
    transforms.Update(geometry);
    int saved = 0;
    transforms.SetSaveHandler([&] { ++saved; });
    transforms.SetStageFromImage({0.5, {0, -1, 1, 0}, {70, 80}, {90, 100}}, 3);
    EXPECT_EQ(saved, 1);

    EXPECT_EQ(transforms.SetLaserCenterFromImage({510, 390}), 1);
    EXPECT_EQ(transforms.GetLaserCenter(0), (Point{9.5, -10}));
    EXPECT_EQ(transforms.SetLaserCenterOnStage({5, 2}, 3), 1);
    EXPECT_EQ(transforms.GetLaserCenter(3), (Point{4, -10}));
    EXPECT_EQ(transforms.GetLaserCenterOnStage(3), (Point{5, 2}));
    EXPECT_EQ(saved, 3);

    for (const int lens : {10, 99}) {
        EXPECT_EQ(transforms.SetLaserCenter({1, 1}, lens), 0);
        EXPECT_EQ(transforms.SetLaserCenterOnStage({1, 1}, lens), 0);
        EXPECT_EQ(transforms.GetLaserCenter(lens), Point());
        EXPECT_EQ(transforms.GetLaserCenterOnStage(lens), Point());
    }
    EXPECT_EQ(transforms.SetLaserCenter({std::nan(""), 1}), 0);
    EXPECT_EQ(saved, 3);
    EXPECT_EQ(transforms.GetLaserCenter(), (Point{9.5, -10}));
}

TEST(ViewTransforms, ACalibrationIsSavedAsUpdatedAndUnderTheLock)
{
    CViewTransforms transforms;
    auto* const stage = new CFakeStage(1, 1);
    transforms.SetStage(TRefPointer<CStageInterface>(stage));
    transforms.Update(MakeGeometry());
    CProfileSection section;
    bool isLocked = false;
    transforms.SetSaveHandler([&] {
        transforms.SyncSettings(1, section);
        std::thread([&] { isLocked = !transforms.GetLock().TryLock(); }).join();
    });
    transforms.SetStageFromImage({0.01, {1, 0, 0, 1}, {1, 2}, {3, 4}});
    const CProfileSection* saved = section.GetSubSection(L"Lens_0").FindSubSection(L"CTCameraToStage");
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(saved->GetItemValue(L"Scale", 0.0), 0.01);
    EXPECT_EQ(saved->GetItemValue(L"OffsetX", 0.0), 10.0) << "the link's offset is what is saved";
    EXPECT_TRUE(isLocked);
}

TEST(ViewTransforms, SettingsHaveTheirKeysInOrderForEveryLensAndComeBack)
{
    CViewTransforms transforms;
    for (int lens = 0; lens < CViewTransforms::kLenses; ++lens) {
        transforms.SetStageFromImage({0.1 * (lens + 1), {1, -0.25, 1e-20, -1}, {2560.5, 0}, {-1.0 / 3, 1e20}},
                                     lens);
        transforms.SetLaserCenter({lens + 0.5, -2.0}, lens);
    }
    CProfileSection section;
    transforms.SyncSettings(1, section);
    std::string text;
    const CProfileSection* third = section.FindSubSection(L"Lens_2");
    ASSERT_NE(third, nullptr);
    for (const CProfileSection* part : {third->FindSubSection(L"CTCameraToStage"), third}) {
        ASSERT_NE(part, nullptr);
        for (const CProfileItem* item : part->m_items) {
            text += ToNarrow(item->m_strKey) + "=" + ToNarrow(item->m_strValue) + " ";
        }
    }
    EXPECT_EQ(text, "Scale=0.30000000000000004 m00=1 m01=-0.25 m10=1e-20 m11=-1 ShiftX=2560.5 ShiftY=0 "
                    "OffsetX=-0.3333333333333333 OffsetY=1e+20 CenterOffset.x=2.5 CenterOffset.y=-2 ");

    CViewTransforms other;
    other.SyncSettings(0, section);
    CProfileSection again;
    other.SyncSettings(1, again);
    EXPECT_EQ(again, section);
    for (int lens = 0; lens < CViewTransforms::kLenses; ++lens) {
        EXPECT_EQ(other.GetStageFromImage(lens), transforms.GetStageFromImage(lens));
        EXPECT_EQ(other.GetLaserCenter(lens), transforms.GetLaserCenter(lens));
    }
    EXPECT_EQ(section.m_sections.Count(), 10);
}

TEST(ViewTransforms, AbsentAndUnreadableKeysLeaveTheirValues)
{
    const CCoordTrans before(0.5, {1, 2, 3, 4}, {5, 6}, {7, 8});
    CViewTransforms transforms;
    transforms.SetStageFromImage(before, 1);
    transforms.SetLaserCenter({9, 10}, 1);
    CProfileSection empty, section;
    transforms.SyncSettings(0, empty);
    EXPECT_EQ(empty.m_sections.Count(), 0) << "reading adds nothing";
    CProfileSection& lens = section.GetSubSection(L"Lens_1");
    lens.SetItemValue(L"CenterOffset.y", L"-1.5");
    lens.GetSubSection(L"CTCameraToStage").SetItemValue(L"m01", L"nan");
    lens.GetSubSection(L"CTCameraToStage").SetItemValue(L"m10", L"3,5");
    lens.GetSubSection(L"CTCameraToStage").SetItemValue(L"OffsetY", L"80");
    transforms.SyncSettings(0, section);
    EXPECT_EQ(transforms.GetStageFromImage(1), CCoordTrans(0.5, {1, 2, 3, 4}, {5, 6}, {7, 80}));
    EXPECT_EQ(transforms.GetLaserCenter(1), (Point{9, -1.5}));
}

TEST(ViewTransforms, ReadersNeverSeeHalfAnUpdate)
{
    CViewTransforms transforms;
    transforms.Update(MakeGeometry());
    // Each calibration's numbers tell each other, and the screen transform is derived from them.
    const auto make = [](int n) {
        return CCoordTrans(n, {1, 0, 0, 1}, {n * 2.0, n * 3.0}, {n * 4.0, n * 5.0});
    };
    transforms.SetStageFromImage(make(1));
    std::atomic<bool> done{false};
    std::atomic<int> reads{0}, torn{0};
    std::thread reader([&] {
        while (!done.load() || reads.load() == 0) {
            const T_VIEW_TRANSFORMS all = transforms.GetAll();
            const int n = static_cast<int>(all.stageFromImage->GetScale());
            const bool fits = *all.stageFromImage == make(n) &&
                              all.stageFromScreen == make(n) * all.screenFromImage.GetInverse();
            torn += fits ? 0 : 1;
            ++reads;
        }
    });
    for (int i = 0; i < 20000 || reads.load() < 100; ++i) {
        transforms.SetStageFromImage(make(1 + i % 7));
    }
    done = true;
    reader.join();
    EXPECT_EQ(torn.load(), 0);
}

} // namespace
} // namespace alidade
