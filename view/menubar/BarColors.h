#pragma once

#include "foundation/platform/Types.h"

#include <QColor>
#include <cmath>

namespace alidade {

inline QColor FromColorRef(COLORREF color)
{
    return QColor(color & 0xff, color >> 8 & 0xff, color >> 16 & 0xff);
}

inline QColor MixColors(const QColor& a, const QColor& b, int percentOfB)
{
    const auto mix = [&](int x, int y) { return (x * (100 - percentOfB) + y * percentOfB) / 100; };
    return QColor(mix(a.red(), b.red()), mix(a.green(), b.green()), mix(a.blue(), b.blue()));
}

/// Black or white, whichever stands out more on the colour.
inline QColor ReadableOn(const QColor& color)
{
    const auto linear = [](qreal part) { return std::pow(part, 2.2); };
    const qreal luminance =
        0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
    return luminance > 0.179 ? Qt::black : Qt::white; // where both contrasts are equal
}

} // namespace alidade
