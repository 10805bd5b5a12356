#include "foundation/math/CoordTrans.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace alidade {
namespace {

using Point = TPoint2<double>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kField = 5120.0; // px
constexpr double kInfinite = std::numeric_limits<double>::infinity();

double Distance(const Point& a, const Point& b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

/// Calibrations as they come: 0.1 to 10 um a pixel, any turn, mirrored or not, axes off by up to 10 degrees.
class CRandomTransforms {
public:
    double Between(double least, double most)
    {
        return std::uniform_real_distribution<double>(least, most)(m_random);
    }
    Point PointIn(double field) { return {Between(0, field), Between(0, field)}; }
    CCoordTrans Next()
    {
        const double mirror = Between(0, 1) < 0.5 ? -1.0 : 1.0;
        CCoordTrans transform(std::pow(10.0, Between(-4, -2)),
                              {1.0, Between(-0.17, 0.17), 0.0, mirror * Between(0.8, 1.25)}, PointIn(kField),
                              {Between(-500, 500), Between(-500, 500)});
        transform.RotateM(Between(-kPi, kPi));
        return transform;
    }

private:
    std::mt19937_64 m_random{20240611};
};

TEST(CoordTrans, AppliesShiftMatrixScaleAndOffsetInThatOrder)
{
    const CCoordTrans transform(0.5, {1, 2, 3, 4}, {10, 20}, {100, 200});
    // 0.5 * (1*1 + 2*2, 3*1 + 4*2) + (100, 200)
    EXPECT_EQ(transform.Trans(Point{11, 22}), (Point{102.5, 205.5}));
    EXPECT_EQ(transform.TransI(Point{102.5, 205.5}), (Point{11, 22}));
    EXPECT_EQ(CCoordTrans().Trans(Point{3, 4}), (Point{3, 4}));

    double x = 0, y = 0;
    transform.TransI(102.5, 205.5, &x, &y);
    EXPECT_EQ((Point{x, y}), (Point{11, 22}));
    transform.Trans(11, 22, &x, &y);
    EXPECT_EQ((Point{x, y}), (Point{102.5, 205.5}));
}

TEST(CoordTrans, ForwardAndBackAgreeOverTheField)
{
    CRandomTransforms random;
    for (int i = 0; i < 2000; ++i) {
        const CCoordTrans transform = random.Next();
        const Point image = random.PointIn(kField);
        const Point stage = transform.Trans(image);
        CCoordTrans inverse;
        ASSERT_TRUE(transform.GetInverse(inverse));
        ASSERT_LT(Distance(transform.TransI(stage), image), 1e-9 * kField);
        ASSERT_LT(Distance(inverse.Trans(stage), image), 1e-9 * kField);
        ASSERT_LT(Distance(inverse.TransI(image), stage), 1e-9 * kField * transform.GetScale());
    }
}

TEST(CoordTrans, ComposedTransformEqualsTheTwoSteps)
{
    CRandomTransforms random;
    for (int i = 0; i < 2000; ++i) {
        const CCoordTrans stageFromImage = random.Next();
        const CCoordTrans imageFromScreen =
            CCoordTrans(random.Between(0.05, 16), {1, 0, 0, 1}, random.PointIn(kField), {500, 400})
                .GetInverse();
        const CCoordTrans stageFromScreen = stageFromImage * imageFromScreen;
        const Point screen = random.PointIn(2000);
        const Point stage = stageFromImage.Trans(imageFromScreen.Trans(screen));
        ASSERT_LT(Distance(stageFromScreen.Trans(screen), stage), 1e-9 * kField * stageFromImage.GetScale());
        ASSERT_LT(Distance(stageFromScreen.TransI(stage), screen), 1e-9 * 16 * kField);
    }
}

TEST(CoordTrans, SingularTransformsInvertToTheNearestPoint)
{
    struct {
        const char* what;
        CCoordTrans transform;
        Point at, expected;
    } const cases[] = {
        {"scale 0", {0, {1, 0, 0, 1}, {500, 400}, {7, 8}}, {90, 91}, {500, 400}},
        {"width 0", {1, {0, 0, 0, 2}, {500, 400}, {7, 8}}, {90, 28}, {500, 410}},
        {"matrix 0", {1, {0, 0, 0, 0}, {500, 400}, {7, 8}}, {90, 91}, {500, 400}},
        // (1, 1) (1, 1)^T: maps to the line x = y at x + y, so (3, 5) is nearest to (4, 4) from (2, 2).
        {"rank 1", {1, {1, 1, 1, 1}, {0, 0}, {0, 0}}, {3, 5}, {2, 2}},
        {"nearly rank 1", {1, {0.1, 0.3, 0.3, 0.1 * 9}, {0, 0}, {0, 0}}, {0, 0}, {0, 0}},
        {"infinite scale", {kInfinite, {1, 0, 0, 1}, {500, 400}, {7, 8}}, {90, 91}, {500, 400}},
    };
    for (const auto& c : cases) {
        CCoordTrans inverse;
        EXPECT_FALSE(c.transform.GetInverse(inverse)) << c.what;
        EXPECT_LT(Distance(inverse.Trans(c.at), c.expected), 1e-12) << c.what;
        EXPECT_LT(Distance(c.transform.TransI(c.at), c.expected), 1e-12) << c.what;
    }
    // Small or uneven is not singular.
    for (const CCoordTrans& regular :
         {CCoordTrans(1, {1e-200, 0, 0, 1e-200}, {}, {}), CCoordTrans(1, {1, 0, 0, 1e-30}, {}, {})}) {
        CCoordTrans inverse;
        EXPECT_TRUE(regular.GetInverse(inverse));
        EXPECT_LT(Distance(inverse.Trans(regular.Trans(Point{3, 4})), {3, 4}), 1e-12);
    }
}

TEST(CoordTrans, WholeNumbersAreTheNearestWithinRange)
{
    const struct {
        double value;
        int expected;
    } cases[] = {{1.49, 1},
                 {1.5, 2},
                 {-1.49, -1},
                 {-1.51, -2},
                 {3e9, INT32_MAX},
                 {-3e9, INT32_MIN},
                 {kInfinite, INT32_MAX},
                 {std::nan(""), 0}};
    for (const auto& c : cases) {
        int x = -7, y = -7;
        CCoordTrans().Trans(c.value, 0.0, &x, &y);
        EXPECT_EQ(x, c.expected) << c.value;
    }
}

TEST(CoordTrans, LengthsGoByTheMeanFactor)
{
    const struct {
        CCoordTrans transform;
        double expected; // of a length of 10
    } cases[] = {{{0.5, {0, -1, 1, 0}, {3, 3}, {9, 9}}, 5},
                 {{-0.5, {1, 0, 0, -1}, {}, {}}, 5},
                 {{1, {4, 0, 0, 9}, {}, {}}, 60}};
    for (const auto& c : cases) {
        EXPECT_DOUBLE_EQ(c.transform.Trans(10.0), c.expected);
        EXPECT_DOUBLE_EQ(c.transform.TransI(c.expected), 10.0);
    }
    EXPECT_EQ(CCoordTrans(0, {1, 0, 0, 1}, {}, {}).TransI(10.0), 0.0);
}

TEST(CoordTrans, TurnsAndMirrors)
{
    const cv::Matx22d start(1, 2, 3, 4);
    struct {
        const char* what;
        void (CCoordTrans::*change)();
        cv::Matx22d expected;
    } const cases[] = {{"FlipMX", &CCoordTrans::FlipMX, {-1, -2, 3, 4}},
                       {"FlipMY", &CCoordTrans::FlipMY, {1, 2, -3, -4}},
                       {"NegMX", &CCoordTrans::NegMX, {-1, 2, -3, 4}},
                       {"NegMY", &CCoordTrans::NegMY, {1, -2, 3, -4}}};
    for (const auto& c : cases) {
        CCoordTrans transform(1, start, {}, {});
        (transform.*c.change)();
        EXPECT_EQ(transform.GetMatrix(), c.expected) << c.what;
    }
    CCoordTrans stretched(1, {2, 0, 0, 1}, {}, {});
    stretched.RotateM(kPi / 2);
    EXPECT_LT(Distance(stretched.Trans(Point{1, 0}), {0, 2}), 1e-15) << "what comes out is turned";
}

TEST(CoordTrans, FitsFindTheTransformThatMadeThePoints)
{
    CRandomTransforms random;
    for (int i = 0; i < 500; ++i) {
        const CCoordTrans affine = random.Next();
        CCoordTrans similarity(affine.GetScale(), {1, 0, 0, 1}, affine.GetShift(), affine.GetOffset());
        similarity.RotateM(random.Between(-kPi, kPi));
        const Point source[] = {{100, 120}, {4000, 300}, {900, 3800}};
        Point target[3], turned[2];
        for (int k = 0; k < 3; ++k) {
            target[k] = affine.Trans(source[k]);
        }
        for (int k = 0; k < 2; ++k) {
            turned[k] = similarity.Trans(source[k]);
        }
        CCoordTrans from3, from2;
        ASSERT_TRUE(from3.SetFrom3Points(source, target));
        ASSERT_TRUE(from2.SetFrom2Points(source, turned));
        const Point probe = random.PointIn(kField);
        const double tolerance = 1e-9 * kField * affine.GetScale();
        ASSERT_LT(Distance(from3.Trans(probe), affine.Trans(probe)), tolerance);
        ASSERT_LT(Distance(from2.Trans(probe), similarity.Trans(probe)), tolerance);
        ASSERT_NEAR(std::abs(cv::determinant(from3.GetMatrix())), 1.0, 1e-9);
        ASSERT_NEAR(from2.GetScale(), similarity.GetScale(), 1e-9 * similarity.GetScale());
    }
}

TEST(CoordTrans, FitsLeaveTheOriginsWhenToldTo)
{
    const double sourceX[] = {0, 10, 0}, sourceY[] = {0, 0, 10};
    const double targetX[] = {5, 5, 3}, targetY[] = {5, 7, 5};
    for (const bool three : {false, true}) {
        CCoordTrans transform(1, {1, 0, 0, 1}, {50, 60}, {70, 80});
        EXPECT_TRUE(three ? transform.SetFrom3Points(sourceX, sourceY, targetX, targetY, false, 0.0)
                          : transform.SetFrom2Points(sourceX, sourceY, targetX, targetY, false, 0.0));
        EXPECT_EQ(transform.GetShift(), (Point{50, 60}));
        EXPECT_EQ(transform.GetOffset(), (Point{70, 80}));
        EXPECT_LT(Distance(transform.GetLinear().Trans(Point{10, 0}), {0, 2}), 1e-15) << three;
    }
}

TEST(CoordTrans, FitsRefusePointsThatDefineNothing)
{
    const Point good[] = {{0, 0}, {1000, 0}, {0, 1000}};
    const Point nan = {std::nan(""), 0};
    struct {
        const char* what;
        int points;
        Point bad[3];
        double leastSpan;
    } const cases[] = {
        {"two coincide", 2, {{5, 5}, {5, 5}}, 0},
        {"two within rounding", 2, {{1e6, 5}, {1e6 + 1e-9, 5}}, 0},
        {"two not finite", 2, {{5, 5}, nan}, 0},
        {"two too near", 2, {{5, 5}, {5, 7.9}}, 3},
        {"three on a slanting line", 3, {{0.1, 0.1}, {0.2, 0.3}, {0.4, 0.7}}, 0},
        {"three, the first two coincide", 3, {{5, 5}, {5, 5}, {9, 3}}, 0},
        {"three, all coincide", 3, {{5, 5}, {5, 5}, {5, 5}}, 0},
        {"three not finite", 3, {{5, 5}, {8, 5}, nan}, 0},
        {"three, nearly on a line", 3, {{0, 0}, {100, 0}, {50, 2.9}}, 3},
    };
    const CCoordTrans before(2, {1, 2, 3, 4}, {5, 6}, {7, 8});
    for (const auto& c : cases) {
        for (const bool atSource : {true, false}) {
            CCoordTrans transform = before;
            const Point* source = atSource ? c.bad : good;
            const Point* target = atSource ? good : c.bad;
            const bool fitted = c.points == 2 ? transform.SetFrom2Points(source, target, true, c.leastSpan)
                                              : transform.SetFrom3Points(source, target, true, c.leastSpan);
            // The least span is the source's.
            EXPECT_EQ(fitted, !atSource && c.leastSpan > 0) << c.what << atSource;
            EXPECT_EQ(transform == before, !fitted) << c.what << atSource;
        }
    }
}

TEST(CoordTrans, RecordHasItsWordsInOrderAndLittleEndian)
{
    const CCoordTrans transform(1, {2, 3, 4, 5}, {6, 7}, {8, -9.5});
    const CCoordTrans::T_RECORD record = transform.ToRecord();
    // The upper two bytes tell these numbers; all lower ones are 0.
    const unsigned upper[] = {0, 0x3ff0, 0x4000, 0x4008, 0x4010, 0x4014, 0x4018, 0x401c, 0x4020, 0xc023};
    for (std::size_t i = 0; i < record.size(); ++i) {
        const unsigned expected = i % 8 == 7 ? upper[i / 8] >> 8 : i % 8 == 6 ? upper[i / 8] & 0xff : 0;
        EXPECT_EQ(record[i], expected) << i;
    }
}

TEST(CoordTrans, ReaderTellsWhatARecordIsWorth)
{
    const CCoordTrans before(2, {1, 2, 3, 4}, {5, 6}, {7, 8});
    const CCoordTrans good(0.01, {0.6, -0.8, 0.8, 0.6}, {2560.5, -1}, {1e-300, 12});
    const CCoordTrans flat(0.01, {1, 2, 2, 4}, {}, {});
    const struct {
        CCoordTrans transform;
        std::size_t size;
        eCOORD_TRANS_RECORD expected;
    } cases[] = {{good, 80, COORD_TRANS_OK},
                 {good, 96, COORD_TRANS_OK},
                 {good, 79, COORD_TRANS_SHORT},
                 {good, 0, COORD_TRANS_SHORT},
                 {flat, 80, COORD_TRANS_SINGULAR},
                 {{1, {1, std::nan(""), 0, 1}, {}, {}}, 80, COORD_TRANS_NOT_FINITE},
                 {{kInfinite, {1, 0, 0, 1}, {}, {}}, 80, COORD_TRANS_NOT_FINITE},
                 {{1, {1, 0, 0, 1}, {}, {0, -kInfinite}}, 80, COORD_TRANS_NOT_FINITE}};
    for (const auto& c : cases) {
        // From an odd address, with something in the leading word and behind the end.
        std::vector<std::uint8_t> bytes(1 + 96, 0xaa);
        const CCoordTrans::T_RECORD record = c.transform.ToRecord();
        std::copy(record.begin() + 8, record.end(), bytes.begin() + 9);
        CCoordTrans read = before;
        EXPECT_EQ(read.ReadRecord(bytes.data() + 1, c.size), c.expected);
        const bool taken = c.expected == COORD_TRANS_OK || c.expected == COORD_TRANS_SINGULAR;
        EXPECT_EQ(read, taken ? c.transform : before);
    }
    CCoordTrans read;
    EXPECT_EQ(read.ReadRecord(nullptr, 80), COORD_TRANS_SHORT);
}

} // namespace
} // namespace alidade
