#include "Graphs.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace QUILT::Bench
{

namespace
{

class Impatient final : public RenderObserver
{
public:
    explicit Impatient(std::map<std::string, double>* seconds) : m_seconds(seconds) {}

    void tileRendered(const std::string& taskName, const std::string&, double seconds) override
    {
        if (!m_seconds)
            return;
        const std::lock_guard lock(m_mutex);
        (*m_seconds)[taskName] += seconds;
    }
    void renderError(const std::string& taskName, const std::string&, const std::string& message,
                     int) override
    {
        std::fprintf(stderr, "%s: %s\n", taskName.c_str(), message.c_str());
        std::_Exit(1);
    }

private:
    std::mutex m_mutex; // guards the seconds
    std::map<std::string, double>* const m_seconds;
};

}

void render(const ref_ptr<RenderTask>& task, std::map<std::string, double>* seconds)
{
    UTIL::Region area;
    task->getOutputDescription(nullptr, &area);
    RenderManager::Render({{task, area, 0}}, ref_ptr<RenderObserver>(new Impatient(seconds)),
                          nullptr, false, RenderManager::RenderTypePrimary);
}

}
