#include <algorithm>

#include <EMULSION/ColorMatrix.h>

#include "LumaCoefficients.h"
#include "private/CacheItems.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

using Color = Imath::Color4<float>;

constexpr int s_rows = 4, s_columns = 5, s_constant = 4;

class ColorTransformOp final : public Private::KernelOp
{
public:
    explicit ColorTransformOp(const float* matrix)
        : KernelOp(EMULSION::makeColorMatrixOperation(matrix))
    {
        std::copy_n(matrix, s_rows * s_columns, m_matrix[0]);
    }

    std::string getName() const override { return "ColorTransform"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        for (const auto& row : m_matrix)
        {
            for (const float value : row)
                Private::writeItem(stream, value);
        }
    }

    unsigned long computeOutputChannels(unsigned long definedAtInput) override
    {
        unsigned long defined = 0;
        for (int row = 0; row < s_rows; ++row)
        {
            if (channelsOf(row) & definedAtInput || m_matrix[row][s_constant] != 0.0f)
                defined |= 1ul << row;
        }
        return defined;
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        unsigned long needed = 0;
        for (int row = 0; row < s_rows; ++row)
        {
            if (wantedAtOutput >> row & 1)
                needed |= channelsOf(row);
        }
        return needed;
    }

private:
    // The input channels that take part in a row.
    unsigned long channelsOf(int row) const
    {
        unsigned long channels = 0;
        for (int channel = 0; channel < s_constant; ++channel)
        {
            if (m_matrix[row][channel] != 0.0f)
                channels |= 1ul << channel;
        }
        return channels;
    }

    float m_matrix[s_rows][s_columns];
};

bool isIdentity(const float* matrix)
{
    for (int row = 0; row < s_rows; ++row)
    {
        for (int column = 0; column < s_columns; ++column)
        {
            if (!(matrix[row * s_columns + column] == (row == column ? 1.0f : 0.0f)))
                return false;
        }
    }
    return true;
}

}

ref_ptr<RenderTask> createColorTransformTask(const std::string& name, float time,
                                             const float* matrix, ref_ptr<RenderTask> input)
{
    if (isIdentity(matrix))
        return input;
    return Private::createInPlaceTask(new ColorTransformOp(matrix), name, input, time);
}

ref_ptr<RenderTask> createColorTransformTask(const std::string& name, float time,
                                             const Imath::Matrix44<float>& matrix,
                                             const Color& offset, ref_ptr<RenderTask> input)
{
    float converted[s_rows * s_columns];
    EMULSION::ConvertMtx_imathToEmulsion(converted, matrix, offset);
    return createColorTransformTask(name, time, converted, input);
}

ref_ptr<RenderTask> createGainTask(const std::string& name, float time, const Color& gain,
                                   ref_ptr<RenderTask> input)
{
    Imath::Matrix44<float> matrix(0.0f);
    for (int channel = 0; channel < 4; ++channel)
        matrix[channel][channel] = gain[channel];
    return createColorTransformTask(name, time, matrix, Color(0, 0, 0, 0), input);
}

ref_ptr<RenderTask> createLuminanceTask(const std::string& name, float time,
                                        ref_ptr<RenderTask> input)
{
    const Imath::Color3<float> luma = Private::currentLumaCoefficients();
    float matrix[s_rows][s_columns];
    for (auto& row : matrix)
        std::ranges::copy(std::initializer_list<float>{luma.x, luma.y, luma.z, 0, 0}, row);
    return createColorTransformTask(name, time, matrix[0], input);
}

}
