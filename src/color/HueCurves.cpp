#include <cmath>
#include <stdexcept>

#include <EMULSION/ColorSpace.h>

#include "CurveItems.h"
#include "LumaCoefficients.h"
#include "private/Assert.h"
#include "private/Channels.h"
#include "private/InPlaceTask.h"
#include "QUILT/CurveTasks.h"

namespace QUILT
{

namespace
{

using Table = std::vector<float>;

// Unlike other operations this one is made ready only when its task is described, once, on the
// thread that describes: then the config that is current gives the weights of luma. The parameters
// stay as they were given, for the identity may be asked again when a chain has been merged.
class HueCurvesTask final : public Private::InPlaceOp
{
public:
    HueCurvesTask(bool stops, const Imath::Color3<float>& lumaCoefficients,
                  const Imath::Color3<float>& color, const Table& saturation,
                  const Table& suppression, const Table& luminance, const Table& red,
                  const Table& green, const Table& blue)
        : m_stops(stops), m_lumaCoefficients(lumaCoefficients), m_color(color), m_lut0(saturation),
          m_lut1(suppression), m_lut2(luminance), m_lut3(red), m_lut4(green), m_lut5(blue)
    {}

    std::string getName() const override { return "HueCurves"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_stops);
        Private::writeComponents(stream, m_lumaCoefficients, m_color);
        const Table* const tables[] = {&m_lut0, &m_lut1, &m_lut2, &m_lut3, &m_lut4, &m_lut5};
        for (const Table* table : tables)
            Private::writeFloats(stream, *table);
        Private::writeItems(stream, EMULSION::GetColorConfigID());
    }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        return Channels::withWholeRGB(definedAtInput);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withWholeRGB(wantedAtOutput);
    }

    Imath::Color4<float> computeBackgroundColor(const Imath::Color4<float>& input) override
    {
        if (m_backgroundDone)
            throw std::runtime_error("HueCurves::computeBackgroundColor called more than once.");
        m_backgroundDone = true;
        const Table red = withLuminance(m_lut3), green = withLuminance(m_lut4),
                    blue = withLuminance(m_lut5);
        m_operation = EMULSION::makeHueCurvesOperation(
            Private::currentLumaCoefficients(), m_lut0.size(), !m_stops, m_color, m_lut0.data(),
            m_lut1.data(), red.data(), green.data(), blue.data());
        return EMULSION::Run(input, *m_operation);
    }

    void apply(const EMULSION::Image* output, const EMULSION::Image* input) override
    {
        QUILT_ASSERT(m_backgroundDone);
        EMULSION::Run(output, input, *m_operation);
    }

    EMULSION::PixelOperationPtr getPixelOperation() const override { return m_operation; }

private:
    Table withLuminance(Table table) const
    {
        for (size_t i = 0; i < m_lut2.size(); ++i)
        {
            const float sum = table[i] + m_lut2[i];
            table[i] = m_stops ? std::exp2(sum) : sum;
        }
        return table;
    }

    const bool m_stops;
    const Imath::Color3<float> m_lumaCoefficients, m_color;
    const Table m_lut0, m_lut1, m_lut2, m_lut3, m_lut4, m_lut5;
    bool m_backgroundDone = false;
    EMULSION::PixelOperationPtr m_operation;
};

}

ref_ptr<RenderTask> createHueCurvesTask(const std::string& name, float time, bool stops,
                                        const Imath::Color3<float>& lumaCoefficients,
                                        const Imath::Color3<float>& color, const Table& saturation,
                                        const Table& suppression, const Table& luminance,
                                        const Table& red, const Table& green, const Table& blue,
                                        ref_ptr<RenderTask> input)
{
    for (const Table* table : {&suppression, &luminance, &red, &green, &blue})
    {
        if (table->size() != saturation.size())
            throw std::runtime_error("All HueCurves LUTS must be the same size.");
    }
    return Private::createInPlaceTask(new HueCurvesTask(stops, lumaCoefficients, color, saturation,
                                                        suppression, luminance, red, green, blue),
                                      name, input, time);
}

}
