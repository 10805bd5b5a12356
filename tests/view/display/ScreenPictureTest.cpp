#include "view/display/ScreenPicture.h"

#include <QPainter>
#include <gtest/gtest.h>

namespace alidade {
namespace {

constexpr QRgb kGround = qRgb(1, 2, 3);

T_DISPLAY_FRAME MakeFrame(const cv::Mat& picture, cv::Size target, std::uint64_t number = 1)
{
    T_DISPLAY_FRAME frame;
    frame.picture = picture;
    frame.geometry.buffer = picture.size();
    frame.geometry.target = target;
    frame.number = number;
    return frame;
}

QImage MakeScreen(int width, int height)
{
    QImage screen(width, height, QImage::Format_RGB32);
    screen.fill(kGround);
    return screen;
}

/// Pixels (x, y) have the grey value 10 y + x, or that as blue with x as green and y as red.
cv::Mat MakePattern(int width, int height, int type)
{
    cv::Mat picture(height, width, type);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uchar* const pixel = picture.ptr(y, x);
            pixel[0] = static_cast<uchar>(10 * y + x);
            if (picture.channels() > 1) {
                pixel[1] = static_cast<uchar>(x);
                pixel[2] = static_cast<uchar>(y);
            }
            if (picture.channels() > 3) {
                pixel[3] = static_cast<uchar>(x % 2);
            }
        }
    }
    return picture;
}

QRgb GetPattern(int x, int y, int type)
{
    const int value = 10 * y + x;
    return type == CV_8UC1 ? qRgb(value, value, value) : qRgb(y, x, value);
}

void ExpectPattern(const QImage& screen, QPoint origin, int type)
{
    for (int y = 0; y < screen.height(); ++y) {
        for (int x = 0; x < screen.width(); ++x) {
            const QPoint at = QPoint(x, y) - origin;
            const bool isIn = QRect(0, 0, 12, 9).contains(at);
            ASSERT_EQ(screen.pixel(x, y), isIn ? GetPattern(at.x(), at.y(), type) : kGround)
                << x << ", " << y << " type " << type;
        }
    }
}

TEST(ScreenPicture, DrawsEachPixelWhereItBelongs)
{
    const struct {
        QRect area;
        QPoint origin;
    } cases[] = {
        {{0, 0, 12, 9}, {0, 0}},
        {{3, 2, 15, 20}, {4, 8}}, // the halves of both sizes are cut: 7 - 6, 10 - 4
        {{4, 4, 5, 3}, {0, 1}},   // larger than its area: cut on both sides by the painter alone
    };
    for (const int type : {CV_8UC1, CV_8UC3}) {
        for (const auto& c : cases) {
            QImage screen = MakeScreen(30, 30);
            CScreenPicture picture;
            picture.Set(MakeFrame(MakePattern(12, 9, type), {12, 9}));
            QPainter dc(&screen);
            picture.Draw(dc, c.area);
            dc.end();
            ExpectPattern(screen, c.origin, type);
        }
    }
}

TEST(ScreenPicture, IsCrispOnAScaledScreen)
{
    for (const qreal ratio : {1.25, 1.5, 2.0, 3.0}) {
        QImage screen = MakeScreen(30, 24);
        screen.setDevicePixelRatio(ratio);
        CScreenPicture picture;
        picture.Set(MakeFrame(MakePattern(12, 9, CV_8UC3), {12, 9}));
        QPainter dc(&screen);
        dc.scale(1 / ratio, 1 / ratio);
        picture.Draw(dc, QRect(0, 0, 30, 24));
        dc.end();
        screen.setDevicePixelRatio(1);
        ExpectPattern(screen, {9, 8}, CV_8UC3);
    }
}

TEST(ScreenPicture, IsDrawnAtItsTargetSize)
{
    cv::Mat black(20, 16, CV_8UC1, cv::Scalar(0));
    QImage screen = MakeScreen(40, 40);
    CScreenPicture picture;
    picture.Set(MakeFrame(black, {13, 20}));
    QPainter dc(&screen);
    picture.Draw(dc, QRect(0, 0, 40, 40));
    dc.end();
    int width = 0, height = 0;
    for (int i = 0; i < 40; ++i) {
        width += screen.pixel(i, 20) == qRgb(0, 0, 0) ? 1 : 0;
        height += screen.pixel(20, i) == qRgb(0, 0, 0) ? 1 : 0;
    }
    EXPECT_EQ(width, 13);
    EXPECT_EQ(height, 20);
}

TEST(ScreenPicture, ShowsEachNewFrameAlsoInOldMemory)
{
    cv::Mat memory(9, 12, CV_8UC1);
    CScreenPicture picture;
    for (int i = 1; i < 5; ++i) {
        const int width = i == 4 ? 11 : 12; // and another size
        memory.setTo(i * 10);
        picture.Set(MakeFrame(memory(cv::Rect(0, 0, width, 9)), {width, 9}, static_cast<std::uint64_t>(i)));
        QImage screen = MakeScreen(12, 9);
        QPainter dc(&screen);
        picture.Draw(dc, QRect(0, 0, 12, 9));
        dc.end();
        EXPECT_EQ(screen.pixel(5, 5), qRgb(i * 10, i * 10, i * 10));
        EXPECT_EQ(picture.GetFrame().number, static_cast<std::uint64_t>(i));
    }
    EXPECT_TRUE(CScreenPicture().IsEmpty());
    QImage screen = MakeScreen(12, 9);
    QPainter dc(&screen);
    CScreenPicture().Draw(dc, QRect(0, 0, 12, 9));
    dc.end();
    EXPECT_EQ(screen, MakeScreen(12, 9));
}

TEST(MatToDC, DrawsEveryKindAndIgnoresTheFourthChannel)
{
    for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4}) {
        QImage screen(20, 20, QImage::Format_ARGB32_Premultiplied); // would show alpha
        screen.fill(kGround);
        QPainter dc(&screen);
        EXPECT_EQ(MatToDC(MakePattern(12, 9, type), {12, 9}, dc, QRect(0, 0, 20, 20), QImage()), 1);
        dc.end();
        ExpectPattern(screen, {4, 6}, type);
    }
}

TEST(MatToDC, DrawsOnlyWhatTheMaskSelects)
{
    const cv::Mat image = MakePattern(12, 9, CV_8UC3);
    for (const QImage::Format format : {QImage::Format_Mono, QImage::Format_MonoLSB}) {
        QImage mask(12, 9, format);
        mask.fill(0);
        for (int x = 0; x < 12; x += 5) {
            mask.setPixel(x, 4, 1);
        }
        QImage screen = MakeScreen(12, 9);
        QPainter dc(&screen);
        EXPECT_EQ(MatToDC(image, {12, 9}, dc, QRect(0, 0, 12, 9), mask), 1);
        dc.end();
        for (int y = 0; y < 9; ++y) {
            for (int x = 0; x < 12; ++x) {
                const bool isSelected = y == 4 && x % 5 == 0;
                EXPECT_EQ(screen.pixel(x, y), isSelected ? GetPattern(x, y, CV_8UC3) : kGround);
            }
        }
        // At twice the size each bit selects four pixels.
        QImage large = MakeScreen(24, 18);
        QPainter largeDc(&large);
        EXPECT_EQ(MatToDC(image, {24, 18}, largeDc, QRect(0, 0, 24, 18), mask), 1);
        largeDc.end();
        int drawn = 0;
        for (int i = 0; i < 24 * 18; ++i) {
            drawn += large.pixel(i % 24, i / 24) != kGround ? 1 : 0;
        }
        EXPECT_EQ(drawn, 3 * 4);
    }
}

TEST(MatToDC, RefusesWhatItCannotDraw)
{
    QImage screen = MakeScreen(12, 9);
    QPainter dc(&screen);
    const QRect rect(0, 0, 12, 9);
    const cv::Mat good = MakePattern(12, 9, CV_8UC1);
    EXPECT_EQ(MatToDC(cv::Mat(), {12, 9}, dc, rect, QImage()), 0);
    EXPECT_EQ(MatToDC(cv::Mat(9, 12, CV_16UC1), {12, 9}, dc, rect, QImage()), 0);
    EXPECT_EQ(MatToDC(cv::Mat(9, 12, CV_8UC2), {12, 9}, dc, rect, QImage()), 0);
    EXPECT_EQ(MatToDC(good, {0, 9}, dc, rect, QImage()), 0);
    EXPECT_EQ(MatToDC(good, {12, 9}, dc, rect, QImage(11, 9, QImage::Format_Mono)), 0);
    EXPECT_EQ(MatToDC(good, {12, 9}, dc, rect, QImage(12, 9, QImage::Format_RGB32)), 0);
    dc.end();
    EXPECT_EQ(screen, MakeScreen(12, 9));
}

} // namespace
} // namespace alidade
