#include <bit>

#include "QUILT/ChannelTasks.h"
#include "QUILT/ColorTasks.h"
#include "QUILT/Exceptions.h"

namespace QUILT
{

namespace
{

// A matrix that moves channels: a one at most in each row.
struct Moves
{
    float matrix[4][5] = {};

    void add(unsigned long from, int to) { matrix[to][std::countr_zero(from)] = 1.0f; }
};

bool isOneChannel(unsigned long mask)
{
    return mask < 16 && std::has_single_bit(mask);
}

void requireOneChannel(const std::string& name, unsigned long mask, const char* argument)
{
    if (!isOneChannel(mask))
        throw RenderTaskRenderingException(
            name, "createChannelSelectTask",
            std::string(argument) + " must be red, green, blue or alpha.", -1);
}

}

ref_ptr<RenderTask> createChannelSelectTask(const std::string& name, float time,
                                            unsigned long srcChannel, unsigned long dstChannel,
                                            ref_ptr<RenderTask> input)
{
    requireOneChannel(name, srcChannel, "srcChannel");
    requireOneChannel(name, dstChannel, "dstChannel");
    Moves moves;
    moves.add(srcChannel, std::countr_zero(dstChannel));
    return createColorTransformTask(name, time, moves.matrix[0], input);
}

ref_ptr<RenderTask> createSwizzleTask(const std::string& name, float time,
                                      const unsigned long* channels, ref_ptr<RenderTask> input)
{
    Moves moves;
    for (int row = 0; row < 4; ++row)
    {
        if (isOneChannel(channels[row]))
            moves.add(channels[row], row);
    }
    return createColorTransformTask(name, time, moves.matrix[0], input);
}

}
