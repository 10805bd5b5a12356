#include "foundation/math/CoordTrans.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <initializer_list>
#include <limits>

namespace alidade {
namespace {

using Matrix = cv::Matx<double, 2, 2>;
using Point = TPoint2<double>;

constexpr int kNumbers = 9;
constexpr std::size_t kWord = 8;
static_assert(CCoordTrans::kRecordBytes == kWord * (1 + kNumbers));

/// Of a coordinate: differences below it are what rounding leaves.
constexpr double kRoundingShare = 1e-12;

Point operator+(const Point& a, const Point& b)
{
    return {a.x + b.x, a.y + b.y};
}

Point operator-(const Point& a, const Point& b)
{
    return {a.x - b.x, a.y - b.y};
}

Point Apply(const Matrix& m, double factor, const Point& p)
{
    return {factor * (m(0, 0) * p.x + m(0, 1) * p.y), factor * (m(1, 0) * p.x + m(1, 1) * p.y)};
}

bool AllFinite(std::initializer_list<double> numbers)
{
    return std::all_of(numbers.begin(), numbers.end(), [](double number) { return std::isfinite(number); });
}

bool AllFinite(const Matrix& m)
{
    return AllFinite({m(0, 0), m(0, 1), m(1, 0), m(1, 1)});
}

/// False when there is only the least-squares inverse.
bool Invert(const Matrix& m, Matrix& inverse)
{
    inverse = Matrix::zeros();
    const double largest =
        std::max({std::abs(m(0, 0)), std::abs(m(0, 1)), std::abs(m(1, 0)), std::abs(m(1, 1))});
    if (!AllFinite(m) || largest == 0.0) {
        return false;
    }
    // By the largest element first, so that no product leaves the range.
    const double a = m(0, 0) / largest, b = m(0, 1) / largest, c = m(1, 0) / largest, d = m(1, 1) / largest;
    const double determinant = a * d - b * c;
    const double noise = 8 * std::numeric_limits<double>::epsilon() * (std::abs(a * d) + std::abs(b * c));
    Matrix result(d / determinant / largest, -b / determinant / largest, -c / determinant / largest,
                  a / determinant / largest);
    const bool regular = std::abs(determinant) > noise && AllFinite(result);
    if (!regular) {
        const double square = a * a + b * b + c * c + d * d;
        result =
            Matrix(a / square / largest, c / square / largest, b / square / largest, d / square / largest);
    }
    if (AllFinite(result)) {
        inverse = result;
    }
    return regular;
}

double Largest(const Point* points, int count)
{
    double largest = 0.0;
    for (int i = 0; i < count; ++i) {
        largest = std::max({largest, std::abs(points[i].x), std::abs(points[i].y)});
    }
    return largest;
}

bool AllFinite(const Point* points, int count)
{
    return std::all_of(points, points + count, [](const Point& p) { return AllFinite({p.x, p.y}); });
}

/// True when the points are further apart, three of them further from a line, than rounding and `least`.
bool Span(const Point* points, int count, double least)
{
    if (!AllFinite(points, count)) {
        return false;
    }
    const Point a = points[1] - points[0];
    double span = std::hypot(a.x, a.y);
    if (count == 3) {
        const Point b = points[2] - points[0];
        const Point c = points[2] - points[1];
        const double longest = std::max({span, std::hypot(b.x, b.y), std::hypot(c.x, c.y)});
        span = longest > 0.0 ? std::abs(a.x / longest * b.y - a.y / longest * b.x) : 0.0;
    }
    return std::isfinite(span) && span > kRoundingShare * Largest(points, count) && span >= least;
}

template <std::size_t count>
std::array<Point, count> Gather(const double* x, const double* y)
{
    std::array<Point, count> points;
    for (std::size_t i = 0; i < count; ++i) {
        points[i] = {x[i], y[i]};
    }
    return points;
}

int ToNearest(double value)
{
    const double nearest = std::floor(value + 0.5);
    if (std::isnan(nearest)) {
        return 0;
    }
    return static_cast<int>(std::clamp(nearest, static_cast<double>(std::numeric_limits<int>::min()),
                                       static_cast<double>(std::numeric_limits<int>::max())));
}

} // namespace

struct CCoordTrans::T_LINEAR {
    double scale;
    Matrix matrix;
    bool regular;
};

CCoordTrans::CCoordTrans(double scale, const Matrix& matrix, const Point& shift, const Point& offset)
    : m_dScale(scale), m_matrix(matrix), m_ptShift(shift), m_ptOffset(offset)
{
}

CCoordTrans::~CCoordTrans() = default;

void CCoordTrans::Set(double scale, double m00, double m01, double m10, double m11, double shiftX,
                      double shiftY, double offsetX, double offsetY)
{
    *this = CCoordTrans(scale, {m00, m01, m10, m11}, {shiftX, shiftY}, {offsetX, offsetY});
}

CCoordTrans::T_LINEAR CCoordTrans::InvertLinear() const
{
    T_LINEAR inverse{};
    inverse.regular = Invert(m_matrix, inverse.matrix);
    inverse.scale = std::isfinite(m_dScale) ? 1.0 / m_dScale : 0.0;
    if (!std::isfinite(inverse.scale) || inverse.scale == 0.0) {
        inverse.scale = 0.0;
        inverse.regular = false;
    }
    return inverse;
}

double CCoordTrans::GetLengthFactor() const
{
    return std::abs(m_dScale) *
           std::sqrt(std::abs(m_matrix(0, 0) * m_matrix(1, 1) - m_matrix(0, 1) * m_matrix(1, 0)));
}

Point CCoordTrans::Trans(const Point& point) const
{
    return m_ptOffset + Apply(m_matrix, m_dScale, point - m_ptShift);
}

Point CCoordTrans::TransI(const Point& point) const
{
    const T_LINEAR inverse = InvertLinear();
    return m_ptShift + Apply(inverse.matrix, inverse.scale, point - m_ptOffset);
}

void CCoordTrans::Trans(double x, double y, double* outX, double* outY) const
{
    const Point point = Trans(Point{x, y});
    *outX = point.x;
    *outY = point.y;
}

void CCoordTrans::TransI(double x, double y, double* outX, double* outY) const
{
    const Point point = TransI(Point{x, y});
    *outX = point.x;
    *outY = point.y;
}

void CCoordTrans::Trans(double x, double y, int* outX, int* outY) const
{
    const Point point = Trans(Point{x, y});
    *outX = ToNearest(point.x);
    *outY = ToNearest(point.y);
}

double CCoordTrans::Trans(double length) const
{
    return length * GetLengthFactor();
}

double CCoordTrans::TransI(double length) const
{
    const double factor = GetLengthFactor();
    return factor > 0.0 ? length / factor : 0.0;
}

CCoordTrans CCoordTrans::GetInverse() const
{
    CCoordTrans inverse;
    GetInverse(inverse);
    return inverse;
}

bool CCoordTrans::GetInverse(CCoordTrans& inverse) const
{
    const bool finite = IsFinite();
    const T_LINEAR linear = InvertLinear();
    inverse = CCoordTrans(linear.scale, linear.matrix, m_ptOffset, m_ptShift);
    return finite && linear.regular;
}

CCoordTrans CCoordTrans::GetLinear() const
{
    return CCoordTrans(m_dScale, m_matrix, {}, {});
}

bool CCoordTrans::IsFinite() const
{
    return AllFinite(m_matrix) && AllFinite({m_dScale, m_ptShift.x, m_ptShift.y, m_ptOffset.x, m_ptOffset.y});
}

CCoordTrans CCoordTrans::operator*(const CCoordTrans& b) const
{
    return CCoordTrans(m_dScale * b.m_dScale, m_matrix * b.m_matrix, b.m_ptShift, Trans(b.m_ptOffset));
}

void CCoordTrans::RotateM(double angle)
{
    const double cosine = std::cos(angle), sine = std::sin(angle);
    m_matrix = Matrix(cosine, -sine, sine, cosine) * m_matrix;
}

void CCoordTrans::FlipMX()
{
    SetMatrix(-m_matrix(0, 0), -m_matrix(0, 1), m_matrix(1, 0), m_matrix(1, 1));
}

void CCoordTrans::FlipMY()
{
    SetMatrix(m_matrix(0, 0), m_matrix(0, 1), -m_matrix(1, 0), -m_matrix(1, 1));
}

void CCoordTrans::NegMX()
{
    SetMatrix(-m_matrix(0, 0), m_matrix(0, 1), -m_matrix(1, 0), m_matrix(1, 1));
}

void CCoordTrans::NegMY()
{
    SetMatrix(m_matrix(0, 0), -m_matrix(0, 1), m_matrix(1, 0), -m_matrix(1, 1));
}

void CCoordTrans::SetFitted(const Matrix& linear, double factor, const Point& source, const Point& target,
                            bool setOrigins)
{
    m_dScale = factor;
    SetMatrix(linear(0, 0) / factor, linear(0, 1) / factor, linear(1, 0) / factor, linear(1, 1) / factor);
    if (setOrigins) {
        m_ptShift = source;
        m_ptOffset = target;
    }
}

bool CCoordTrans::SetFrom2Points(const Point source[2], const Point target[2], bool setOrigins,
                                 double leastSpan)
{
    if (!Span(source, 2, leastSpan) || !Span(target, 2, 0.0)) {
        return false;
    }
    const Point s = source[1] - source[0];
    const Point t = target[1] - target[0];
    const double from = std::hypot(s.x, s.y), to = std::hypot(t.x, t.y);
    const double factor = to / from;
    // The turn from the one direction to the other.
    const double cosine = (s.x / from) * (t.x / to) + (s.y / from) * (t.y / to);
    const double sine = (s.x / from) * (t.y / to) - (s.y / from) * (t.x / to);
    const Matrix linear(factor * cosine, -factor * sine, factor * sine, factor * cosine);
    if (factor == 0.0 || !AllFinite(linear)) {
        return false;
    }
    SetFitted(linear, factor, source[0], target[0], setOrigins);
    return true;
}

bool CCoordTrans::SetFrom2Points(const double sourceX[2], const double sourceY[2], const double targetX[2],
                                 const double targetY[2], bool setOrigins, double leastSpan)
{
    return SetFrom2Points(Gather<2>(sourceX, sourceY).data(), Gather<2>(targetX, targetY).data(), setOrigins,
                          leastSpan);
}

bool CCoordTrans::SetFrom3Points(const Point source[3], const Point target[3], bool setOrigins,
                                 double leastSpan)
{
    if (!Span(source, 3, leastSpan) || !Span(target, 3, 0.0)) {
        return false;
    }
    const Point s1 = source[1] - source[0], s2 = source[2] - source[0];
    const Point t1 = target[1] - target[0], t2 = target[2] - target[0];
    Matrix inverse;
    if (!Invert(Matrix(s1.x, s2.x, s1.y, s2.y), inverse)) {
        return false;
    }
    const Matrix linear = Matrix(t1.x, t2.x, t1.y, t2.y) * inverse;
    const double factor = std::sqrt(std::abs(linear(0, 0) * linear(1, 1) - linear(0, 1) * linear(1, 0)));
    if (!(factor > 0.0) || !std::isfinite(factor) || !AllFinite(linear)) {
        return false;
    }
    SetFitted(linear, factor, source[0], target[0], setOrigins);
    return true;
}

bool CCoordTrans::SetFrom3Points(const double sourceX[3], const double sourceY[3], const double targetX[3],
                                 const double targetY[3], bool setOrigins, double leastSpan)
{
    return SetFrom3Points(Gather<3>(sourceX, sourceY).data(), Gather<3>(targetX, targetY).data(), setOrigins,
                          leastSpan);
}

CCoordTrans::T_RECORD CCoordTrans::ToRecord() const
{
    const double numbers[kNumbers] = {m_dScale,       m_matrix(0, 0), m_matrix(0, 1),
                                      m_matrix(1, 0), m_matrix(1, 1), m_ptShift.x,
                                      m_ptShift.y,    m_ptOffset.x,   m_ptOffset.y};
    T_RECORD record{};
    std::size_t at = kWord;
    for (const double number : numbers) {
        const auto bits = std::bit_cast<std::uint64_t>(number);
        for (std::size_t byte = 0; byte < kWord; ++byte) {
            record[at++] = static_cast<std::uint8_t>(bits >> (8 * byte));
        }
    }
    return record;
}

eCOORD_TRANS_RECORD CCoordTrans::ReadRecord(const void* record, std::size_t size)
{
    if (record == nullptr || size < kRecordBytes) {
        return COORD_TRANS_SHORT;
    }
    const auto* next = static_cast<const std::uint8_t*>(record) + kWord;
    double n[kNumbers];
    for (double& number : n) {
        std::uint64_t bits = 0;
        for (std::size_t byte = 0; byte < kWord; ++byte) {
            bits |= static_cast<std::uint64_t>(*next++) << (8 * byte);
        }
        number = std::bit_cast<double>(bits);
    }
    CCoordTrans read;
    read.Set(n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7], n[8]);
    if (!read.IsFinite()) {
        return COORD_TRANS_NOT_FINITE;
    }
    *this = read;
    return InvertLinear().regular ? COORD_TRANS_OK : COORD_TRANS_SINGULAR;
}

} // namespace alidade
