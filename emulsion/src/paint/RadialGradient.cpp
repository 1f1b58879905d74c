#include <algorithm>

#include "EMULSION/Painters.h"
#include "paint/Ellipse.h"

namespace EMULSION
{

using Imath::Color4f;
using Private::Ellipse;

namespace
{

struct RadialRamp
{
    double inner, width, shape;

    // 0 inside, 1 outside.
    double at(const Ellipse& ellipse, int64_t x, int64_t y, double distance) const
    {
        if (!(width > 0.0))
            return 1.0 - ellipse.coverage(x, y, distance, inner);
        const double t = std::clamp((distance - inner) / width, 0.0, 1.0);
        const double smooth = t * t * (3.0 - 2.0 * t);
        return t + (smooth - t) * shape;
    }
};

}

void RadialGradient(const Image* image, float centerX, float centerY, float innerRadius,
                    float width, float shape, float aspect, const Color4f& color0,
                    const Color4f& color1, bool extend)
{
    if (!Private::canPaint("RadialGradient", image))
        return;
    const Ellipse ellipse(centerX, centerY, aspect);
    const double clampedShape = shape > 0.0f ? std::min(shape, 1.0f) : 0.0f;
    const RadialRamp ramp{innerRadius, width, clampedShape};
    const double outerRadius = ramp.inner + ramp.width;
    Private::paintRows(*image, [=](int64_t y) {
        const double v = ellipse.y(y);
        return [=](int64_t x) {
            const double u = ellipse.x(x);
            const double distance = std::sqrt(u * u + v * v);
            const Color4f color = Private::lerp(color0, color1, ramp.at(ellipse, x, y, distance));
            if (extend)
                return color;
            const double coverage = ellipse.coverage(x, y, distance, outerRadius);
            return coverage > 0.0 ? color * static_cast<float>(coverage) : Color4f(0, 0, 0, 0);
        };
    });
}

}
