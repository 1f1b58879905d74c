#include <algorithm>
#include <numbers>

#include "EMULSION/Painters.h"
#include "Hsv-inl.h"
#include "paint/Ellipse.h"

namespace EMULSION
{

using Imath::Color4f;

namespace
{

// One colour goes through the formula for vectors, as a vector of one value.
Color4f colorOf(float hue, float saturation, float value)
{
    namespace simd = HWY_NAMESPACE;
    const simd::hn::CappedTag<float, 1> d;
    auto r = simd::hn::Set(d, hue);
    auto g = simd::hn::Set(d, saturation);
    auto b = simd::hn::Set(d, value);
    simd::hsvToRgb(d, r, g, b);
    return Color4f(simd::hn::GetLane(r), simd::hn::GetLane(g), simd::hn::GetLane(b), 1.0f);
}

}

void HueWheel(const Image* image, float centerX, float centerY, float radius, float aspect,
              float innerSaturation, float outerSaturation, float value, float turn)
{
    if (!Private::canPaint("HueWheel", image))
        return;
    const Private::Ellipse ellipse(centerX, centerY, aspect);
    const double turns = turn / 360.0;
    Private::paintRows(*image, [=](int64_t y) {
        const double v = ellipse.y(y);
        return [=](int64_t x) {
            const double u = ellipse.x(x);
            const double distance = std::sqrt(u * u + v * v);
            const double coverage = ellipse.coverage(x, y, distance, radius);
            if (!(coverage > 0.0))
                return Color4f(0, 0, 0, 0);
            const double hue = std::atan2(v, u) / (2.0 * std::numbers::pi) + turns;
            const float rim = static_cast<float>(std::min(distance / radius, 1.0));
            const float saturation = innerSaturation + (outerSaturation - innerSaturation) * rim;
            return colorOf(static_cast<float>(hue), saturation, value) *
                   static_cast<float>(coverage);
        };
    });
}

}
