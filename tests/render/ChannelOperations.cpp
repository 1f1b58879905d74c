#include <QUILT/ChannelTasks.h>

#include "OperationTable.h"

// The rows of what moves whole channels.

namespace QUILT::Test
{

namespace
{

unsigned long oneChannel(Random& random)
{
    return 1ul << random.between(0, 3);
}

// Masks that share channels, among them some of channels that the input lacks.
ref_ptr<RenderTask> makeMerge(Random& random, const Inputs& inputs)
{
    const ref_ptr<ChannelMergeTask> task(new ChannelMergeTask("merge", 0));
    for (const ref_ptr<RenderTask>& input : inputs)
        task->addInput(input, randomChannels(random));
    return task;
}

ref_ptr<RenderTask> makeSwizzle(Random& random, const Inputs& inputs)
{
    unsigned long channels[4];
    for (unsigned long& channel : channels)
        channel = random.oneIn(8) ? 0 : oneChannel(random);
    return createSwizzleTask("swizzle", 0, channels, inputs[0]);
}

}

void addChannelOperations(std::vector<Operation>& table)
{
    table.push_back({"ChannelMerge", 4, [](Random&, const Inputs& inputs) {
                         return createChannelMergeTask("merge", 0, inputs[0], inputs[1], inputs[2],
                                                       inputs[3]);
                     }});
    table.push_back({"ChannelMergeOfMasks", 3, makeMerge});
    table.push_back({"ChannelExpand", 1, [](Random& random, const Inputs& inputs) {
                         return createChannelExpandTask("expand", 0, randomChannels(random),
                                                        inputs[0]);
                     }});
    table.push_back({"ChannelSelect", 1, [](Random& random, const Inputs& inputs) {
                         const unsigned long from = oneChannel(random);
                         return createChannelSelectTask("select", 0, from, oneChannel(random),
                                                        inputs[0]);
                     }});
    table.push_back({"Swizzle", 1, makeSwizzle});
}

}
