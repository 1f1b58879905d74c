#include <QUILT/CompositeTasks.h>

#include "Operation.h"

namespace QuiltTool
{

std::vector<Operation> compositeOperations()
{
    return {
        {"Copy",
         "The input itself, as a node of its own.",
         {{"input"}},
         {},
         [](const Arguments& a) {
             return QUILT::createCopyTask(a.name, a.time, a.input("input"));
         }},

        {"Mix",
         "Blends two pictures: first * (1 - mix) + second * mix, channel by channel.",
         {{"first"}, {"second"}},
         {number("mix", "How much of the second picture; 0 is the first one, 1 the second.")
              .defaultsTo(0.5)
              .between(0, 1)},
         [](const Arguments& a) {
             return QUILT::createMixTask(a.name, a.time, a.values.number("mix"), a.input("first"),
                                         a.input("second"));
         }},
    };
}

}
