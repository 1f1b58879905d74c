#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "color/ColorMatrix.cpp"
#include <hwy/foreach_target.h>

#include "EMULSION/ColorMatrix.h"
#include "Planes-inl.h"

#ifndef EMULSION_MATRIX_ROW
#define EMULSION_MATRIX_ROW
namespace EMULSION::Private
{

// One row without its zeros: a coefficient that is 0 takes no part.
struct MatrixRow
{
    MatrixRow() = default;

    explicit MatrixRow(const float* coefficients)
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            if (coefficients[channel] == 0.0f)
                continue;
            terms[termCount++] = {channel, coefficients[channel]};
            channels |= uint64_t(1) << channel;
        }
        // Of all numbers, it is -0 that can be added to any other without changing a bit.
        const bool hasConstant = coefficients[4] != 0.0f;
        constant = hasConstant ? coefficients[4] : termCount == 0 ? 0.0f : -0.0f;
    }

    struct Term
    {
        int channel;
        float coefficient;
    };

    Term terms[4] = {};
    int termCount = 0;
    uint64_t channels = 0; // those that the terms read
    float constant = 0.0f;
};

}
#endif

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace
{

using Private::MatrixRow;

// One row's result over a strip, with as many products as the row has terms.
template <int TermCount>
void computeRow(const MatrixRow& row, const float* const planes[4], size_t count, float* result)
{
    const hn::ScalableTag<float> d;
    const MatrixRow::Term t0 = row.terms[0], t1 = row.terms[1], t2 = row.terms[2],
                          t3 = row.terms[3];
    const float* const p0 = planes[t0.channel];
    const float* const p1 = planes[t1.channel];
    const float* const p2 = planes[t2.channel];
    const float* const p3 = planes[t3.channel];
    const auto constant = hn::Set(d, row.constant);
    for (size_t i = 0; i < count; i += hn::Lanes(d))
    {
        auto sum = constant;
        if constexpr (TermCount > 0)
        {
            sum = hn::Mul(hn::Load(d, p0 + i), hn::Set(d, t0.coefficient));
            if constexpr (TermCount > 1)
                sum = hn::Add(sum, hn::Mul(hn::Load(d, p1 + i), hn::Set(d, t1.coefficient)));
            if constexpr (TermCount > 2)
                sum = hn::Add(sum, hn::Mul(hn::Load(d, p2 + i), hn::Set(d, t2.coefficient)));
            if constexpr (TermCount > 3)
                sum = hn::Add(sum, hn::Mul(hn::Load(d, p3 + i), hn::Set(d, t3.coefficient)));
            sum = hn::Add(sum, constant);
        }
        hn::Store(sum, d, result + i);
    }
}

class ColorMatrixOperation final : public PixelOperation
{
public:
    explicit ColorMatrixOperation(const float* matrix)
    {
        for (int row = 0; row < 4; ++row)
            m_rows[row] = MatrixRow(matrix + ptrdiff_t(5) * row);
    }

    const char* getName() const override { return "ColorMatrix"; }

    uint64_t getRequiredChannels(uint64_t wanted) const override
    {
        uint64_t required = 0;
        for (int row = 0; row < 4; ++row)
        {
            if (wanted >> row & 1)
                required |= m_rows[row].channels;
        }
        return required;
    }

    void transform(float* const planes[4], size_t count, uint64_t wanted) const override
    {
        alignas(s_planeAlignment) float results[4][s_stripLength];
        for (int row = 0; row < 4; ++row)
        {
            if (wanted >> row & 1)
                s_computeRow[m_rows[row].termCount](m_rows[row], planes, count, results[row]);
        }
        for (int row = 0; row < 4; ++row)
        {
            if (wanted >> row & 1)
                copyPlane(results[row], count, planes[row]);
        }
    }

private:
    static constexpr decltype(&computeRow<0>) s_computeRow[5] = {
        computeRow<0>, computeRow<1>, computeRow<2>, computeRow<3>, computeRow<4>};

    MatrixRow m_rows[4];
};

}

PixelOperationPtr colorMatrixOperation(const float* matrix)
{
    return std::make_shared<ColorMatrixOperation>(matrix);
}

}
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

#include <cmath>
#include <numbers>

#include "SimdDispatch.h"

namespace EMULSION
{

HWY_EXPORT(colorMatrixOperation);

PixelOperationPtr makeColorMatrixOperation(const float* matrix)
{
    return EMULSION_DISPATCH(colorMatrixOperation)(matrix);
}

void ColorMatrix(const Image* output, const Image* input, const float* matrix)
{
    Run(output, input, *makeColorMatrixOperation(matrix));
}

Imath::Color4f ColorMatrix(const Imath::Color4f& color, const float* matrix)
{
    return Run(color, *makeColorMatrixOperation(matrix));
}

void ConvertMtx_imathToEmulsion(float* out, const Imath::M44f& matrix, const Imath::Color4f& offset)
{
    for (int row = 0; row < 4; ++row)
    {
        for (int column = 0; column < 4; ++column)
            out[5 * row + column] = matrix[column][row];
        out[5 * row + 4] = offset[row];
    }
}

void BuildMatrix_Saturation(Imath::M44f* matrix, float saturation,
                            const Imath::C3f& lumaCoefficients)
{
    matrix->makeIdentity();
    if (saturation == 1.0f)
        return;
    for (int from = 0; from < 3; ++from)
    {
        for (int to = 0; to < 3; ++to)
            (*matrix)[from][to] =
                (1.0f - saturation) * lumaCoefficients[from] + (from == to ? saturation : 0.0f);
    }
}

void BuildMatrix_HueShift(Imath::M44f* matrix, float degrees)
{
    const double angle = std::remainder(double(degrees), 360.0) / 180.0 * std::numbers::pi;
    const double shared = (1.0 - std::cos(angle)) / 3.0;
    const double turned = std::sin(angle) / std::numbers::sqrt3;
    matrix->makeIdentity();
    for (int from = 0; from < 3; ++from)
    {
        (*matrix)[from][from] = static_cast<float>(std::cos(angle) + shared);
        (*matrix)[from][(from + 1) % 3] = static_cast<float>(shared + turned);
        (*matrix)[from][(from + 2) % 3] = static_cast<float>(shared - turned);
    }
}

}

#endif
