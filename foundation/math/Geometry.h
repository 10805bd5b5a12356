#pragma once

#include <type_traits>

namespace alidade {

/// A point or a vector of a plane. As a raw block on the bus: its two numbers, x first.
template <class T>
struct TPoint2 {
    T x{};
    T y{};

    bool operator==(const TPoint2&) const = default;
};

/// A rectangle by its edges; whether `right` and `bottom` belong to it is its user's matter. As a raw block
/// on the bus: its four numbers in this order.
template <class T>
struct TRect2 {
    T left{};
    T top{};
    T right{};
    T bottom{};

    T Width() const { return right - left; }
    T Height() const { return bottom - top; }
    bool operator==(const TRect2&) const = default;
};

static_assert(sizeof(TPoint2<double>) == 16 && std::is_trivially_copyable_v<TPoint2<double>>);
static_assert(sizeof(TRect2<double>) == 32 && std::is_trivially_copyable_v<TRect2<double>>);

} // namespace alidade
