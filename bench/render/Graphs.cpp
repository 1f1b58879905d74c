#include "Graphs.h"

#include <cstdio>
#include <cstdlib>

namespace QUILT::Bench
{

namespace
{

class Impatient final : public RenderObserver
{
public:
    void renderError(const std::string& taskName, const std::string&, const std::string& message,
                     int) override
    {
        std::fprintf(stderr, "%s: %s\n", taskName.c_str(), message.c_str());
        std::_Exit(1);
    }
};

}

void render(const ref_ptr<RenderTask>& task)
{
    UTIL::Region area;
    task->getOutputDescription(nullptr, &area);
    RenderManager::Render({{task, area, 0}}, ref_ptr<RenderObserver>(new Impatient), nullptr, false,
                          RenderManager::RenderTypePrimary);
}

}
