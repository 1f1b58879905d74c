#pragma once

#include <functional>
#include <string>
#include <vector>

#include <ImathColor.h>
#include <QUILT/RenderTask.h>
#include <UTIL/Region.h>

#include "support/Random.h"

/// Every operation that there is, entered once. What holds for all of them is tested by going
/// through this table, and random graphs are made of it.
///
/// To add an operation, add a row to the function of its family (or write a function for a new
/// family, declare it below, and call it in operations()):
///
///     table.push_back({"Over", 2, [](Random& random, const Inputs& inputs) {
///         return createOverTask("over", 0, random.oneIn(2), inputs[0], inputs[1]);
///     }});
namespace QUILT::Test
{

using Inputs = std::vector<ref_ptr<RenderTask>>;

struct Operation
{
    std::string name;
    size_t inputs;

    /// Makes the operation's task with random parameters on that many inputs.
    ///
    /// The first value that a range offers should be the plainest one, because failing cases are
    /// made simpler by drawing it. Any draw must give parameters that the factory accepts.
    std::function<ref_ptr<RenderTask>(Random& random, const Inputs& inputs)> make;

    /// It gives what it should only if all inputs' background colours are zero.
    bool needsZeroBackgrounds = false;

    /// Where an input's data ends shows in the pixels, because the input is extended from there, or
    /// because that is what the operation is about.
    bool dependsOnEdges = false;

    bool accepts(const Inputs& inputs) const;
};

const std::vector<Operation>& operations();

/// The row's number. A name that is not in the table throws.
size_t operationNamed(const std::string& name);

// Parameters. Coordinates stay near the origin, so that things meet.

UTIL::Rect randomRect(Random& random);     ///< at most 40 pixels a side; never null
UTIL::Region randomRegion(Random& random); ///< of up to 6 rectangles; now and then empty
unsigned long randomChannels(Random& random);
float randomValue(Random& random);           ///< finite, also negative, and above 1
Imath::Color4f randomColor(Random& random);  ///< finite
Imath::Color4f awkwardColor(Random& random); ///< perhaps with infinities and NaN

// The families

void addTestOperations(std::vector<Operation>& table);
void addProceduralOperations(std::vector<Operation>& table);
void addCompOperations(std::vector<Operation>& table);
void addChannelOperations(std::vector<Operation>& table);
void addColorOperations(std::vector<Operation>& table);
void addGeometryOperations(std::vector<Operation>& table);
void addToneOperations(std::vector<Operation>& table);
void addCurveOperations(std::vector<Operation>& table);

}
