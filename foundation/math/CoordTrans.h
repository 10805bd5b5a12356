#pragma once

#include "foundation/Export.h"
#include "foundation/math/Geometry.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <opencv2/core/matx.hpp>

namespace alidade {

/// What ReadRecord found.
enum eCOORD_TRANS_RECORD {
    COORD_TRANS_OK,
    COORD_TRANS_SINGULAR,  // read, but it has no inverse
    COORD_TRANS_SHORT,     // fewer than 80 bytes: nothing read
    COORD_TRANS_NOT_FINITE // a number is infinite or none: nothing read
};

/// A planar transform, as from image pixels to stage millimetres.
///
///   Trans(p)  = Offset + Scale * M * (p - Shift)
///   TransI(q) = Shift + M^-1 * (q - Offset) / Scale
///
/// Value type of nine doubles; new: the identity. Reentrant.
///
/// Where Scale * M is singular, TransI is the least-squares inverse: of all points that Trans brings nearest
/// to q the one nearest to the shift. So a picture of width zero still converts its height, and with a scale
/// of zero every point goes to the shift. A factor that is not finite counts as zero there.
class ALIDADE_FOUNDATION_API CCoordTrans {
public:
    /// Bytes on the bus: a word without meaning, then Scale, m00, m01, m10, m11, ShiftX, ShiftY, OffsetX,
    /// OffsetY as little-endian doubles.
    static constexpr unsigned kRecordBytes = 80;
    using T_RECORD = std::array<std::uint8_t, kRecordBytes>;

    CCoordTrans() = default;
    CCoordTrans(double scale, const cv::Matx<double, 2, 2>& matrix, const TPoint2<double>& shift,
                const TPoint2<double>& offset);
    CCoordTrans(const CCoordTrans&) = default;
    CCoordTrans& operator=(const CCoordTrans&) = default;
    virtual ~CCoordTrans();

    void Set(double scale, double m00, double m01, double m10, double m11, double shiftX, double shiftY,
             double offsetX, double offsetY);
    void SetScale(double scale) { m_dScale = scale; }
    void SetMatrix(double m00, double m01, double m10, double m11) { m_matrix = {m00, m01, m10, m11}; }
    void SetShift(const TPoint2<double>& shift) { m_ptShift = shift; }
    void SetOffset(const TPoint2<double>& offset) { m_ptOffset = offset; }
    double GetScale() const { return m_dScale; }
    const cv::Matx<double, 2, 2>& GetMatrix() const { return m_matrix; }
    const TPoint2<double>& GetShift() const { return m_ptShift; }
    const TPoint2<double>& GetOffset() const { return m_ptOffset; }

    virtual TPoint2<double> Trans(const TPoint2<double>& point) const;
    virtual TPoint2<double> TransI(const TPoint2<double>& point) const;
    virtual void Trans(double x, double y, double* outX, double* outY) const;
    virtual void TransI(double x, double y, double* outX, double* outY) const;
    /// To the nearest whole number, halves upwards; held within the range of int, NaN gives 0.
    virtual void Trans(double x, double y, int* outX, int* outY) const;

    /// A length, by the mean factor |Scale| * sqrt(|det M|): exact for a similarity.
    double Trans(double length) const;
    /// 0 where the mean factor is 0.
    double TransI(double length) const;

    CCoordTrans GetInverse() const;
    /// Writes what the other form gives.
    /// @return false when there is only the least-squares inverse, or a number is not finite
    bool GetInverse(CCoordTrans& inverse) const;
    /// Scale and matrix alone, which convert differences of points.
    CCoordTrans GetLinear() const;
    bool IsFinite() const;

    /// (a * b).Trans(p) = a.Trans(b.Trans(p)). Its shift is b's.
    CCoordTrans operator*(const CCoordTrans& b) const;
    bool operator==(const CCoordTrans& other) const = default;

    /// Turns what Trans gives, before the offset, from its x axis to its y axis.
    /// @param angle  radians
    void RotateM(double angle);
    /// @name Reversing the x or y axis of what Trans gives (matrix row)
    ///@{
    void FlipMX();
    void FlipMY();
    ///@}
    /// @name Reversing the x or y axis of what Trans takes (matrix column)
    ///@{
    void NegMX();
    void NegMY();
    ///@}

    /// @name Fitting to pairs of points
    /// A similarity (a turn, a positive scale) to two pairs, an affine map to three. Scale is the mean factor
    /// of lengths and M has the determinant 1 or -1.
    /// @param setOrigins  false: shift and offset stay; otherwise they become the first pair
    /// @param leastSpan   how far apart two source points, or how far from the line through the others a
    ///                    third, must be at least; 0: what rounding leaves
    /// @return false when points coincide or lie on a line, on either side, or are not finite; *this is then
    ///         unchanged
    ///@{
    bool SetFrom2Points(const TPoint2<double> source[2], const TPoint2<double> target[2],
                        bool setOrigins = true, double leastSpan = 0.0);
    bool SetFrom2Points(const double sourceX[2], const double sourceY[2], const double targetX[2],
                        const double targetY[2], bool setOrigins, double leastSpan);
    bool SetFrom3Points(const TPoint2<double> source[3], const TPoint2<double> target[3],
                        bool setOrigins = true, double leastSpan = 0.0);
    bool SetFrom3Points(const double sourceX[3], const double sourceY[3], const double targetX[3],
                        const double targetY[3], bool setOrigins, double leastSpan);
    ///@}

    /// The leading word is 0.
    T_RECORD ToRecord() const;
    /// @param record  at least `size` bytes, of any alignment; what follows the 80th is passed over
    eCOORD_TRANS_RECORD ReadRecord(const void* record, std::size_t size);

private:
    struct T_LINEAR;
    T_LINEAR InvertLinear() const;
    double GetLengthFactor() const;
    void SetFitted(const cv::Matx<double, 2, 2>& linear, double factor, const TPoint2<double>& source,
                   const TPoint2<double>& target, bool setOrigins);

    double m_dScale = 1.0;
    cv::Matx<double, 2, 2> m_matrix{1.0, 0.0, 0.0, 1.0};
    TPoint2<double> m_ptShift;
    TPoint2<double> m_ptOffset;
};

} // namespace alidade
