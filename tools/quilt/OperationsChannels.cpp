#include <QUILT/ChannelTasks.h>

#include "Operation.h"

namespace QuiltTool
{

std::vector<Operation> channelOperations()
{
    return {
        {"ChannelExpand",
         "Spreads one channel over all four.",
         {{"input"}},
         {mask("channel", "The channel; of several the first one counts.").defaultsTo("a")},
         [](const Arguments& a) {
             return QUILT::createChannelExpandTask(a.name, a.time, a.values.mask("channel"),
                                                   a.input("input"));
         }},

        {"ChannelMerge",
         "Makes one picture from four, of each the channel that its place says.",
         {{"red"}, {"green"}, {"blue"}, {"alpha"}},
         {},
         [](const Arguments& a) {
             return QUILT::createChannelMergeTask(a.name, a.time, a.input("red"), a.input("green"),
                                                  a.input("blue"), a.input("alpha"));
         }},

        {"ChannelSelect",
         "Moves one channel to another place and drops the others.",
         {{"input"}},
         {mask("srcChannel", "The channel to take.").defaultsTo("r"),
          mask("dstChannel", "The channel that it becomes.").defaultsTo("a")},
         [](const Arguments& a) {
             return QUILT::createChannelSelectTask(a.name, a.time, a.values.mask("srcChannel"),
                                                   a.values.mask("dstChannel"), a.input("input"));
         }},

        {"Swizzle",
         "Rearranges the channels.",
         {{"input"}},
         {list("channels",
               "The channels that become red, green, blue and alpha, such as [\"r\", \"r\", \"r\", "
               "\"a\"]; what is not one channel, as \"\", leaves its place empty.",
               mask("", ""))
              .ofCount(4)
              .defaultsTo({"r", "g", "b", "a"})},
         [](const Arguments& a) {
             return QUILT::createSwizzleTask(a.name, a.time, a.values.masks("channels").data(),
                                             a.input("input"));
         }},
    };
}

}
