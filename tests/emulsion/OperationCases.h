#pragma once

#include <EMULSION/PixelOperation.h>

#include <array>
#include <functional>
#include <vector>

namespace EmulsionTest
{

using Pixel = std::array<double, 4>;

/// A pixel operation and, for finite pixels, what it must do.
struct OperationCase
{
    const char* name;
    std::function<EMULSION::PixelOperationPtr()> make;
    std::function<Pixel(Pixel)> formula; // in double; what comes out may differ by `error`
    double error = 1e-6;                 // as a fraction of the result, or of 20 where that is more
};

/// formula(value, channel) for each channel.
inline Pixel perChannel(const Pixel& pixel, const std::function<double(double, int)>& formula)
{
    Pixel result;
    for (int i = 0; i < 4; ++i)
        result[static_cast<size_t>(i)] = formula(pixel[static_cast<size_t>(i)], i);
    return result;
}

/// Every operation that works on pixels alone. Each family adds its own in a file beside its tests.
const std::vector<OperationCase>& operationCases();

void addCurveCases(std::vector<OperationCase>& cases);
void addValueCases(std::vector<OperationCase>& cases);
void addColorCases(std::vector<OperationCase>& cases);
void addToneCases(std::vector<OperationCase>& cases);

}
