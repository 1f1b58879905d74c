#include "private/RenderTask_Imp.h"

namespace QUILT::Private
{

// The rates hold for the task and for all that is above it. A task that has them already has handed
// them on, so a subgraph that is reached along many paths is walked once.
void RenderTask_Imp::setSampleRate(float x, float y)
{
    if (m_sampleRateX == x && m_sampleRateY == y)
        return;
    m_sampleRateX = x;
    m_sampleRateY = y;
    for (const ref_ptr<RenderTask>& inputTask : m_inputTasks)
        of(*inputTask).setSampleRate(x, y);
}

}
