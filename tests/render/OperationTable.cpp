#include "OperationTable.h"

#include <bit>
#include <limits>
#include <stdexcept>

namespace QUILT::Test
{

bool Operation::accepts(const Inputs& tasks) const
{
    const auto isZero = [](const ref_ptr<RenderTask>& task) {
        return task->getBackgroundColor() == Imath::Color4f(0, 0, 0, 0);
    };
    return !needsZeroBackgrounds || std::ranges::all_of(tasks, isZero);
}

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> s_operations = [] {
        std::vector<Operation> table;
        addTestOperations(table);
        addProceduralOperations(table);
        addChannelOperations(table);
        addColorOperations(table);
        addToneOperations(table);
        addCurveOperations(table);
        addCompOperations(table);
        addGeometryOperations(table);
        return table;
    }();
    return s_operations;
}

size_t operationNamed(const std::string& name)
{
    const auto& table = operations();
    const auto found = std::ranges::find(table, name, &Operation::name);
    if (found == table.end())
        throw std::out_of_range("no operation has the name " + name);
    return static_cast<size_t>(found - table.begin());
}

namespace
{

int64_t randomCoordinate(Random& random)
{
    const int64_t distance = random.between(0, 24);
    return random.oneIn(2) ? -distance : distance;
}

}

UTIL::Rect randomRect(Random& random)
{
    const int64_t x = randomCoordinate(random);
    const int64_t y = randomCoordinate(random);
    const int64_t longest = random.oneIn(8) ? 1 : 40;
    const int64_t width = random.between(1, longest);
    return UTIL::Rect(x, y, x + width, y + random.between(1, longest));
}

UTIL::Region randomRegion(Random& random)
{
    UTIL::Region region(randomRect(random));
    if (random.oneIn(2))
        return region;
    for (int64_t i = random.between(0, 4); i > 0; --i)
    {
        if (random.oneIn(3))
            region.subtract(randomRect(random));
        else
            region.add(randomRect(random));
    }
    return random.oneIn(12) ? UTIL::Region() : region;
}

unsigned long randomChannels(Random& random)
{
    static constexpr unsigned long s_usual[] = {15, 7, 8, 1};
    return random.oneIn(2) ? static_cast<unsigned long>(random.between(1, 15))
                           : random.pick(s_usual);
}

float randomValue(Random& random)
{
    static constexpr float s_usual[] = {0, 1, 0.5f, -0.25f, 2, 3.5f};
    return random.oneIn(2) ? static_cast<float>(random.real(-2, 4)) : random.pick(s_usual);
}

Imath::Color4f randomColor(Random& random)
{
    if (random.oneIn(4))
        return {0, 0, 0, 1};
    Imath::Color4f color(0, 0, 0, 0);
    for (int c = 0; c < 4; ++c)
        color[c] = randomValue(random);
    return color;
}

Imath::Color4f awkwardColor(Random& random)
{
    static constexpr float infinity = std::numeric_limits<float>::infinity();
    static constexpr float s_awkward[] = {0, -0.0f, infinity, -infinity,
                                          std::bit_cast<float>(0xffc00000u)};
    Imath::Color4f color = randomColor(random);
    if (random.oneIn(4))
        color[static_cast<int>(random.between(0, 3))] = random.pick(s_awkward);
    return color;
}

}
