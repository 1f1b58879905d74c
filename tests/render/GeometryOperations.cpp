#include <QUILT/GeometryTasks.h>

#include "OperationTable.h"

namespace QUILT::Test
{

void addGeometryOperations(std::vector<Operation>& table)
{
    table.push_back({"Crop", 1, [](Random& random, const Inputs& inputs) {
                         return createCropTask("crop", 0, randomRect(random), random.oneIn(2),
                                               random.oneIn(2), inputs[0]);
                     }});
    table.push_back({"DataWindow", 1, [](Random& random, const Inputs& inputs) {
                         return createDataWindowTask("window", 0, randomRect(random), inputs[0]);
                     }});
    table.push_back({"Reposition", 1, [](Random& random, const Inputs& inputs) {
                         const long x = random.between(0, 30), y = random.between(0, 30);
                         return createRepositionTask("move", 0, random.oneIn(2) ? -x : x,
                                                     random.oneIn(2) ? -y : y, inputs[0]);
                     }});
    table.push_back(
        {"Orient", 1, [](Random& random, const Inputs& inputs) {
             const auto operation = static_cast<EMULSION::OrientOperation>(random.between(0, 6));
             return createOrientTask("orient", 0, operation, randomRect(random), inputs[0]);
         }});
}

}
