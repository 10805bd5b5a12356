#include "Wafer.h"

#include "SceneRandom.h"
#include "ShapePainter.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

namespace alidade {
namespace {

constexpr int kStreetTone = 64, kDieTone = 112, kCrossTone = 210, kCornerTone = 205;
constexpr int kBrightTone = 228, kDarkTone = 30;

// Parts of the smaller inner side of a die.
constexpr double kCornerDistance = 0.03, kCornerArm = 0.1, kCornerLine = 0.015;
constexpr double kCellMargin = 0.16; // kept free for the corner marks
constexpr int kCellsX = 5, kCellsY = 3;

constexpr double kEdgeExclusion = 0.02; // of the diameter: no die reaches into this rim

// A texture is finer than the pixels, so that sampling it moves an edge by a hundredth of a pixel at most;
// very large ones would not pay for their memory.
constexpr double kTexelsPerPixel = 1.5;
constexpr double kLensBlur = 0.45; // px, standard deviation
constexpr double kMostTexels = 64e6;
constexpr double kMargin = 0.15; // drawn around what is asked for, so that a moving stage seldom needs more

/// Grey tones as a slightly coloured metal shows them: blue, green, red.
const cv::Mat& GetTint()
{
    static const cv::Mat tint = [] {
        cv::Mat table(1, 256, CV_8UC3);
        for (int tone = 0; tone < 256; ++tone) {
            const double t = tone / 255.0;
            table.at<cv::Vec3b>(tone) = {cv::saturate_cast<std::uint8_t>(255 * std::pow(t, 0.85)),
                                         cv::saturate_cast<std::uint8_t>(255 * t),
                                         cv::saturate_cast<std::uint8_t>(255 * std::pow(t, 1.1))};
        }
        return table;
    }();
    return tint;
}

void DrawMark(CShapePainter& painter, const T_SCENE_MARK& mark)
{
    const cv::Point2d at = mark.position;
    const double w = mark.size.width, h = mark.size.height, half = mark.dLine / 2;
    switch (mark.eKind) {
    case eSCENE_MARK::DIE:
        painter.FillRectangle({at.x - w / 2, at.y - h / 2}, {at.x + w / 2, at.y + h / 2}, mark.nTone);
        break;
    case eSCENE_MARK::CROSS:
        painter.FillParts({{{at.x - w / 2, at.y - half}, {at.x + w / 2, at.y + half}, 1},
                           {{at.x - half, at.y - h / 2}, {at.x + half, at.y + h / 2}, 1},
                           {{at.x - half, at.y - half}, {at.x + half, at.y + half}, -1}},
                          mark.nTone);
        break;
    case eSCENE_MARK::CORNER: {
        const cv::Point2d end(at.x + w, at.y + h);
        const cv::Point2d inner(at.x + std::copysign(mark.dLine, w), at.y + std::copysign(mark.dLine, h));
        painter.FillParts({{at, end, 1}, {inner, end, -1}}, mark.nTone);
        break;
    }
    case eSCENE_MARK::DOT:
    case eSCENE_MARK::CIRCLE:
        painter.FillRing(at, w / 2, mark.dLine > 0 ? w / 2 - mark.dLine : 0, mark.nTone);
        break;
    }
}

} // namespace

CWafer::CWafer(const T_SCENE_SETTINGS& settings)
    : m_dDiameter(settings.dWaferDiameter), m_pitch(settings.diePitch), m_dStreet(settings.dStreet),
      m_nSeed(settings.nSeed), m_bColor(settings.bColor)
{
    const double radius = m_dDiameter * (0.5 - kEdgeExclusion);
    const double columns = std::floor(radius / m_pitch.width), rows = std::floor(radius / m_pitch.height);
    if ((2 * columns + 1) * (2 * rows + 1) > 1.4 * kMostDies) {
        throw std::length_error("the wafer would have more than 20000 dies");
    }
    m_nColumns = static_cast<int>(columns);
    m_nRows = static_cast<int>(rows);
    for (int row = -m_nRows; row <= m_nRows; ++row) {
        for (int column = -m_nColumns; column <= m_nColumns; ++column) {
            const int first = static_cast<int>(m_marks.size());
            const double farX = (std::abs(column) + 0.5) * m_pitch.width;
            const double farY = (std::abs(row) + 0.5) * m_pitch.height;
            if (std::hypot(farX, farY) <= radius) {
                LayOutDie({column, row});
                ++m_nDies;
            }
            m_die.emplace_back(first, static_cast<int>(m_marks.size()));
        }
    }
    m_nCrosses = static_cast<int>(m_marks.size());
    AddCrosses();
}

void CWafer::LayOutDie(cv::Point die)
{
    const cv::Point2d center(die.x * m_pitch.width, die.y * m_pitch.height);
    const cv::Size2d inner(m_pitch.width - m_dStreet, m_pitch.height - m_dStreet);
    const double unit = std::min(inner.width, inner.height);
    m_marks.push_back({eSCENE_MARK::DIE, center, inner, 0, kDieTone, die});
    for (const int x : {-1, 1}) {
        for (const int y : {-1, 1}) {
            const cv::Point2d corner(center.x + x * (inner.width / 2 - kCornerDistance * unit),
                                     center.y + y * (inner.height / 2 - kCornerDistance * unit));
            const cv::Size2d arms(-x * kCornerArm * unit, -y * kCornerArm * unit);
            m_marks.push_back({eSCENE_MARK::CORNER, corner, arms, kCornerLine * unit, kCornerTone, die});
        }
    }
    CSceneRandom random(static_cast<std::uint64_t>(m_nSeed), static_cast<std::uint64_t>(die.x),
                        static_cast<std::uint64_t>(die.y));
    const cv::Size2d cell((inner.width - 2 * kCellMargin * unit) / kCellsX,
                          (inner.height - 2 * kCellMargin * unit) / kCellsY);
    const double cellUnit = std::min(cell.width, cell.height);
    for (int i = 0; i < kCellsX * kCellsY; ++i) {
        // All numbers are drawn for every cell, so that one cell does not decide on the next.
        const double used = random.Uniform(), choice = random.Uniform(), extent = random.Uniform();
        const double jitterX = random.Uniform(-0.5, 0.5), jitterY = random.Uniform(-0.5, 0.5);
        const bool bright = random.Uniform() < 0.6;
        const bool isMiddle = i == kCellsX * kCellsY / 2;
        if (used > 0.85 && !isMiddle) {
            continue;
        }
        T_SCENE_MARK mark;
        double size = 0;
        if (choice < 0.6) {
            mark.eKind = eSCENE_MARK::DOT;
            size = (0.12 + 0.2 * extent) * cellUnit;
        } else if (choice < 0.85) {
            mark.eKind = eSCENE_MARK::CIRCLE;
            size = (0.35 + 0.25 * extent) * cellUnit;
            mark.dLine = 0.07 * cellUnit;
        } else {
            mark.eKind = eSCENE_MARK::CROSS;
            size = (0.4 + 0.2 * extent) * cellUnit;
            mark.dLine = 0.08 * cellUnit;
        }
        mark.size = {size, size};
        mark.nTone = bright ? kBrightTone : kDarkTone;
        mark.die = die;
        // A tenth of the cell stays free around every mark.
        mark.position = {center.x + (i % kCellsX - (kCellsX - 1) / 2.0) * cell.width +
                             jitterX * (0.8 * cell.width - size),
                         center.y + (i / kCellsX - (kCellsY - 1) / 2.0) * cell.height +
                             jitterY * (0.8 * cell.height - size)};
        m_marks.push_back(mark);
    }
}

void CWafer::AddCrosses()
{
    const auto isDie = [&](int column, int row) {
        if (std::abs(column) > m_nColumns || std::abs(row) > m_nRows) {
            return false;
        }
        const auto& marks =
            m_die[static_cast<std::size_t>((row + m_nRows) * (2 * m_nColumns + 1) + column + m_nColumns)];
        return marks.second > marks.first;
    };
    for (int row = -m_nRows - 1; row <= m_nRows; ++row) {
        for (int column = -m_nColumns - 1; column <= m_nColumns; ++column) {
            // Between the dies (column, row) and (column + 1, row + 1).
            if (isDie(column, row) || isDie(column + 1, row) || isDie(column, row + 1) ||
                isDie(column + 1, row + 1)) {
                const cv::Point2d at((column + 0.5) * m_pitch.width, (row + 0.5) * m_pitch.height);
                m_marks.push_back({eSCENE_MARK::CROSS,
                                   at,
                                   {0.7 * m_dStreet, 0.7 * m_dStreet},
                                   0.12 * m_dStreet,
                                   kCrossTone,
                                   {column, row}});
            }
        }
    }
}

const T_SCENE_TEXTURE& CWafer::Prepare(const cv::Rect2d& region, double mmPerPixel)
{
    const double area = region.area() / (mmPerPixel * mmPerPixel) * (1 + 2 * kMargin) * (1 + 2 * kMargin);
    const double finer = area * kTexelsPerPixel * kTexelsPerPixel > kMostTexels ? 1 : kTexelsPerPixel;
    const double texel = mmPerPixel / finer;
    const bool isDrawn = texel == m_dTexel && region.x >= m_drawn.x && region.y >= m_drawn.y &&
                         region.br().x <= m_drawn.br().x && region.br().y <= m_drawn.br().y;
    if (!isDrawn) {
        const double marginX = region.width * kMargin, marginY = region.height * kMargin;
        Draw(
            {region.x - marginX, region.y - marginY, region.width + 2 * marginX, region.height + 2 * marginY},
            mmPerPixel, texel);
    }
    return m_texture;
}

void CWafer::Draw(const cv::Rect2d& region, double mmPerPixel, double texel)
{
    m_dTexel = 0; // until all is done
    const cv::Size size(static_cast<int>(std::ceil(region.width / texel)) + 2,
                        static_cast<int>(std::ceil(region.height / texel)) + 2);
    const cv::Point2d origin = region.tl();
    m_gray.create(size, CV_8UC1);
    m_gray.setTo(kBackground);
    CShapePainter painter(m_gray, origin, texel);
    painter.FillRing({0, 0}, m_dDiameter / 2, 0, kStreetTone);
    const auto range = [](double low, double high, double pitch, int count) {
        return cv::Range(
            static_cast<int>(std::clamp(std::floor(low / pitch - 0.5), -count - 1.0, count + 1.0)),
            static_cast<int>(std::clamp(std::ceil(high / pitch + 0.5), -count - 1.0, count + 1.0)));
    };
    const cv::Range columns = range(region.x, region.br().x, m_pitch.width, m_nColumns);
    const cv::Range rows = range(region.y, region.br().y, m_pitch.height, m_nRows);
    for (int row = std::max(rows.start, -m_nRows); row <= std::min(rows.end, m_nRows); ++row) {
        for (int column = std::max(columns.start, -m_nColumns); column <= std::min(columns.end, m_nColumns);
             ++column) {
            const auto [from, to] =
                m_die[static_cast<std::size_t>((row + m_nRows) * (2 * m_nColumns + 1) + column + m_nColumns)];
            for (int i = from; i < to; ++i) {
                DrawMark(painter, m_marks[static_cast<std::size_t>(i)]);
            }
        }
    }
    for (std::size_t i = static_cast<std::size_t>(m_nCrosses); i < m_marks.size(); ++i) {
        const cv::Point die = m_marks[i].die;
        if (columns.start <= die.x && die.x <= columns.end && rows.start <= die.y && die.y <= rows.end) {
            DrawMark(painter, m_marks[i]);
        }
    }
    // What a lens in focus does, too: without it small marks would wander with the raster of the pixels.
    const double blur = kLensBlur * mmPerPixel / texel;
    cv::GaussianBlur(m_gray, m_gray, {}, blur, blur, cv::BORDER_REPLICATE);
    if (m_bColor) {
        cv::Mat wide;
        cv::cvtColor(m_gray, wide, cv::COLOR_GRAY2BGR);
        cv::LUT(wide, GetTint(), m_texture.image);
    } else {
        m_texture.image = m_gray;
    }
    m_texture.texelFromWorkPiece = {1 / texel, 0, -origin.x / texel, 0, 1 / texel, -origin.y / texel};
    m_drawn = region;
    m_dTexel = texel;
}

CString CWafer::Describe() const
{
    return Format(L"wafer of %g mm with %d dies", m_dDiameter, m_nDies);
}

} // namespace alidade
