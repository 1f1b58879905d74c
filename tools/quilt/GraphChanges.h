#pragma once

#include "GraphFile.h"

namespace QuiltTool
{

/// Makes the command line's changes in a document that has not been checked yet, so that they are
/// checked with it. A change that has no place in the document throws UsageError.
void applyChanges(Json& document, const GraphChanges& changes);

}
