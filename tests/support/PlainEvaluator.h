#pragma once

#include <cstddef>

#include "support/Render.h"

/// What the pixels of a graph are, told as plainly as possible: recursion over whole pictures on
/// one thread, without tiles, cache, collapse and shared images.
namespace QUILT::Test
{

/// The area of a task, its background colour outside its data region.
///
/// Each task renders once, all that is needed of it, into pixels that hold a mark of the evaluator
/// so that one left unwritten shows. Its inputs are put together pixel by pixel, on just the
/// rectangle that it asked for, from the definition of extending. The task and all that is above
/// it are used up like by a render. Throws what the tasks throw, and what CheckError makes of an
/// error of a kernel.
///
/// \param renderedPixels  if not null, receives how many pixels all tasks rendered
Picture evaluatePlainly(const ref_ptr<RenderTask>& output, const UTIL::Rect& area,
                        size_t* renderedPixels = nullptr);

}
