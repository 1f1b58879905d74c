#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "comp/ZComposite.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

#include "EMULSION/Composite.h"
#include "Planes-inl.h"
#include "Rows.h"
#include "Validation.h"

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

namespace
{

struct Strip
{
    int64_t x, y;
    size_t count, paddedCount;
};

// The pixels of one layer in a strip. Layers whose pixels are sorted exchange them.
struct Layer
{
    const Image* image = nullptr;
    const Image* depthImage = nullptr;
    Planes color;
    alignas(PixelOperation::s_planeAlignment) float depth[PixelOperation::s_stripLength] = {};
    alignas(PixelOperation::s_planeAlignment) float number[PixelOperation::s_stripLength] = {};
};

// `channel` is one of four bits, or none. `scratch` holds zeros or the pixels of other layers.
void loadDepth(Layer& layer, const Strip& strip, uint64_t channel, Planes& scratch)
{
    const hn::ScalableTag<float> d;
    const Image* const image = layer.depthImage;
    if (image && image->channels & channel)
    {
        loadPlanes(Private::pixelOf(*image, strip.x, strip.y), image->channels, strip.count,
                   scratch.all);
        const float* const plane = scratch.all[std::countr_zero(channel)];
        for (size_t i = 0; i < strip.paddedCount; i += hn::Lanes(d))
        {
            const auto value = hn::Load(d, plane + i);
            hn::Store(hn::IfThenZeroElse(hn::IsNaN(value), value), d, layer.depth + i);
        }
    }
    else
        std::fill_n(layer.depth, strip.count, 0.0f);
    // Behind the end of a row it is as at its first pixel: no order is broken there.
    std::fill(layer.depth + strip.count, layer.depth + strip.paddedCount, layer.depth[0]);
}

void loadColor(Layer& layer, const Strip& strip)
{
    const Image& image = *layer.image;
    clearPlanes(~image.channels & 15, strip.paddedCount, layer.color.all);
    if (image.channels)
        loadPlanes(Private::pixelOf(image, strip.x, strip.y), image.channels, strip.count,
                   layer.color.all);
}

// Where `nearer` lies behind `farther`, the two exchange their pixels. True when any did.
bool exchangePixels(Layer& nearer, Layer& farther, size_t count)
{
    const hn::ScalableTag<float> d;
    bool any = false;
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        const auto depth = hn::Load(d, nearer.depth + i);
        const auto otherDepth = hn::Load(d, farther.depth + i);
        const auto behind =
            hn::Or(hn::Lt(otherDepth, depth),
                   hn::And(hn::Eq(otherDepth, depth), hn::Lt(hn::Load(d, farther.number + i),
                                                             hn::Load(d, nearer.number + i))));
        if (hn::AllFalse(d, behind))
            continue;
        any = true;
        const auto exchange = [&](float* a, float* b) {
            const auto x = hn::Load(d, a + i);
            const auto y = hn::Load(d, b + i);
            hn::Store(hn::IfThenElse(behind, y, x), d, a + i);
            hn::Store(hn::IfThenElse(behind, x, y), d, b + i);
        };
        exchange(nearer.depth, farther.depth);
        exchange(nearer.number, farther.number);
        for (int channel = 0; channel < 4; ++channel)
            exchange(nearer.color.all[channel], farther.color.all[channel]);
    }
    return any;
}

// Lays a layer under what is there, where that is not opaque. The one place of the arithmetic:
// which of two NaNs goes on where they meet may differ between loops.
HWY_NOINLINE void layUnder(const Planes& result, const Planes& layer, size_t count)
{
    const hn::ScalableTag<float> d;
    const auto one = hn::Set(d, 1.0f);
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        const auto alpha = hn::Load(d, result.alpha + i);
        const auto opaque = hn::Ge(alpha, one);
        const auto rest = hn::Sub(one, alpha);
        for (int channel = 0; channel < 4; ++channel)
        {
            float* const place = result.all[channel] + i;
            const auto front = hn::Load(d, place);
            const auto behind = hn::Load(d, layer.all[channel] + i);
            const auto sum = hn::Add(front, hn::Mul(behind, rest));
            hn::Store(hn::IfThenElse(opaque, front, sum), d, place);
        }
    }
}

bool isOpaque(const Planes& result, size_t count)
{
    const hn::ScalableTag<float> d;
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        if (!hn::AllTrue(d, hn::Ge(hn::Load(d, result.alpha + i), hn::Set(d, 1.0f))))
            return false;
    }
    return true;
}

class DepthComposite
{
public:
    DepthComposite(const std::vector<const Image*>& colors, const std::vector<const Image*>& depths,
                   uint64_t depthChannel)
        : m_depthChannel(depthChannel), m_layers(colors.size())
    {
        for (size_t i = 0; i < colors.size(); ++i)
        {
            m_layers[i].image = colors[i];
            m_layers[i].depthImage = depths[i];
            m_order.push_back(&m_layers[i]);
        }
    }

    // The pixels of the strip: merged, in all four channels.
    const Planes& merge(const Strip& strip)
    {
        for (Layer& layer : m_layers)
            loadDepth(layer, strip, m_depthChannel, m_result);
        orderByFirstPixel();
        // Mostly that is the order of all; then colours behind an opaque layer are never loaded.
        const bool sorts = !isInOrder(strip.paddedCount);
        if (sorts)
            sortPixels(strip);
        for (size_t i = 0; i < m_order.size(); ++i)
        {
            if (!sorts)
                loadColor(*m_order[i], strip);
            if (i == 0)
                begin(strip);
            else
                layUnder(m_result, m_order[i]->color, strip.paddedCount);
            if (isOpaque(m_result, strip.paddedCount))
                break;
        }
        return m_result;
    }

private:
    // Of two layers, the one given first is nearer at equal depths.
    static bool isNearer(const Layer* a, const Layer* b)
    {
        return a->depth[0] < b->depth[0] || (a->depth[0] == b->depth[0] && a < b);
    }

    // From the order of the strip before, which is the same more often than not.
    void orderByFirstPixel()
    {
        for (size_t i = 1; i < m_order.size(); ++i)
        {
            for (size_t k = i; k > 0 && isNearer(m_order[k], m_order[k - 1]); --k)
                std::swap(m_order[k], m_order[k - 1]);
        }
    }

    bool isInOrder(size_t count) const
    {
        const hn::ScalableTag<float> d;
        for (size_t k = 1; k < m_order.size(); ++k)
        {
            const Layer &front = *m_order[k - 1], &back = *m_order[k];
            const bool mayBeEqual = &front < &back;
            for (size_t i = 0; i < count; i += hn::Lanes(d))
            {
                const auto near = hn::Load(d, front.depth + i);
                const auto far = hn::Load(d, back.depth + i);
                if (!hn::AllTrue(d, mayBeEqual ? hn::Le(near, far) : hn::Lt(near, far)))
                    return false;
            }
        }
        return true;
    }

    void sortPixels(const Strip& strip)
    {
        for (Layer* const layer : m_order)
        {
            loadColor(*layer, strip);
            std::fill_n(layer->number, strip.paddedCount,
                        static_cast<float>(layer - m_layers.data()));
        }
        if (m_order.size() <= s_mostInserted)
            sortByInsertion(strip.paddedCount);
        else
            sortByNetwork(strip.paddedCount);
    }

    // A layer moves on to the front as long as any pixel does: quick when few are out of order.
    void sortByInsertion(size_t count)
    {
        for (size_t i = 1; i < m_order.size(); ++i)
        {
            size_t k = i;
            while (k > 0 && exchangePixels(*m_order[k - 1], *m_order[k], count))
                --k;
        }
    }

    // Merge exchange: D. E. Knuth, "The Art of Computer Programming", volume 3, 5.2.2, algorithm M.
    // The pairs are the same for all pixels, about n/4 times the square of the logarithm of n.
    void sortByNetwork(size_t count)
    {
        const size_t highest = std::bit_ceil(m_order.size()) / 2;
        for (size_t p = highest; p > 0; p /= 2)
        {
            size_t q = highest, r = 0, distance = p;
            while (true)
            {
                for (size_t i = 0; i + distance < m_order.size(); ++i)
                {
                    if ((i & p) == r)
                        exchangePixels(*m_order[i], *m_order[i + distance], count);
                }
                if (q == p)
                    break;
                distance = q - p;
                q /= 2;
                r = p;
            }
        }
    }

    // With the nearest layer; what stands behind the end of a row counts as done.
    void begin(const Strip& strip)
    {
        for (int channel = 0; channel < 4; ++channel)
            copyPlane(m_order[0]->color.all[channel], strip.paddedCount, m_result.all[channel]);
        std::fill(m_result.alpha + strip.count, m_result.alpha + strip.paddedCount, 1.0f);
    }

    static constexpr size_t s_mostInserted = 64;

    const uint64_t m_depthChannel;
    std::vector<Layer> m_layers;
    std::vector<Layer*> m_order; // nearest first
    Planes m_result;
};

}

// `area` lies in all images; there is at least one layer.
void zComposite(const Image& output, const UTIL::Rect& area,
                const std::vector<const Image*>& colors, const std::vector<const Image*>& depths,
                uint64_t depthChannel, bool inPlace)
{
    constexpr int64_t stripLength = PixelOperation::s_stripLength;
    constexpr size_t granularity = PixelOperation::s_planeGranularity;
    DepthComposite composite(colors, depths, depthChannel);
    StripWriter writer(output, inPlace);
    for (int64_t y = area.y0; y < area.y1; ++y)
    {
        for (int64_t start = 0; start < area.width(); start += stripLength)
        {
            const int64_t x = area.x0 + start;
            const auto count = static_cast<size_t>(std::min(area.x1 - x, stripLength));
            const Strip strip{x, y, count, (count + granularity - 1) / granularity * granularity};
            writer.write(composite.merge(strip).all, count, Private::pixelOf(output, x, y));
        }
    }
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <array>
#include <new>
#include <string>

#include "EMULSION/Error.h"
#include "EMULSION/Plumbing.h"
#include "SimdDispatch.h"

namespace EMULSION
{

using namespace Private;

HWY_EXPORT(zComposite);

namespace
{

bool checkLayers(const Image* output, const std::vector<const Image*>& colors,
                 const std::vector<const Image*>& depths)
{
    if (colors.size() != depths.size())
        return invalidArgument("ZComposite", std::to_string(colors.size()) + " colours have " +
                                                 std::to_string(depths.size()) + " depths.");
    return checkOutput("ZComposite", output) &&
           std::ranges::all_of(
               colors, [](const Image* image) { return checkInput("ZComposite", image); }) &&
           std::ranges::all_of(
               depths, [](const Image* image) { return checkInputIfAny("ZComposite", image); });
}

}

void ZComposite(const Image* output, std::vector<const Image*> colors,
                std::vector<const Image*> depths, unsigned long depthChannel)
{
    if (!checkLayers(output, colors, depths) || isEmpty(*output))
        return;
    if (colors.empty())
        return Clear(output);
    UTIL::Rect area = output->bounds;
    bool inPlace = false;
    for (const auto* const images : {&colors, &depths})
    {
        for (const Image* const image : *images)
        {
            if (!image)
                continue;
            area = area.intersect(image->bounds);
            inPlace |= !isEmpty(*image) && sharesMemory(*image, *output);
        }
    }
    const uint64_t lowest = depthChannel & -depthChannel & 15;
    try
    {
        if (!area.isNull())
            EMULSION_DISPATCH(zComposite)(*output, area, colors, depths, lowest, inPlace);
    }
    catch (const std::bad_alloc&)
    {
        SetError(ERROR_OUT_OF_MEMORY,
                 "ZComposite: no memory for " + std::to_string(colors.size()) + " layers.");
    }
}

Imath::Color4f ZComposite(std::vector<Imath::Color4f> colors, std::vector<float> depths)
{
    const UTIL::Rect pixel(0, 0, 1, 1);
    const auto imagesOf = [&](uint64_t channels, auto& values, auto pointerTo) {
        std::vector<Image> images;
        for (auto& value : values)
            images.push_back({channels, channels, pixel, pixelBytes(channels), pointerTo(value)});
        return images;
    };
    const auto pointersTo = [](const std::vector<Image>& images) {
        std::vector<const Image*> pointers;
        for (const Image& image : images)
            pointers.push_back(&image);
        return pointers;
    };
    const std::vector<Image> colorImages =
        imagesOf(15, colors, [](Imath::Color4f& color) { return color.getValue(); });
    const std::vector<Image> depthImages =
        imagesOf(ChannelRed, depths, [](float& depth) { return &depth; });
    Imath::Color4f result(0, 0, 0, 0);
    const Image output{15, 15, pixel, sizeof result, result.getValue()};
    ZComposite(&output, pointersTo(colorImages), pointersTo(depthImages), ChannelRed);
    return result;
}

}

#endif
