#pragma once

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <QUILT/RenderManager.h>
#include <QUILT/RenderObserver.h>

namespace QUILT::Test
{

/// An observer that writes down what it is told, a line for each call, in the order of the calls.
///
///     setup <tiles>
///     started
///     tile <task>
///     output <ID> <x>,<y>
///     finished <ID>
///     error <task>: <kind>: <message>: <code>
///     cancelled
class Recorder : public RenderObserver
{
public:
    using Hook = std::function<void(const std::string& line)>;

    /// `hook` is called with each line once it is written down; may throw and block.
    explicit Recorder(Hook hook = nullptr) : m_hook(std::move(hook)) {}

    void renderSetupDone(unsigned long tileCount) override
    {
        write("setup " + std::to_string(tileCount));
    }
    void renderStarted() override { write("started"); }
    void tileRendered(const std::string& taskName, const std::string&, double) override
    {
        write("tile " + taskName);
    }
    void outputTileRendered(ImageBuffer, const FinalTile& id) override
    {
        write("output " + std::to_string(id.first) + ' ' + std::to_string(id.second.x) + ',' +
              std::to_string(id.second.y));
    }
    void outputFinished(unsigned long id) override { write("finished " + std::to_string(id)); }
    void renderError(const std::string& taskName, const std::string& kind,
                     const std::string& message, int code) override
    {
        write("error " + taskName + ": " + kind + ": " + message + ": " + std::to_string(code));
    }
    void renderCancelled() override { write("cancelled"); }

    std::vector<std::string> lines() const
    {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }

    /// The lines that begin like that.
    std::vector<std::string> lines(const std::string& beginning) const
    {
        std::vector<std::string> found = lines();
        std::erase_if(found, [&](const std::string& l) { return !l.starts_with(beginning); });
        return found;
    }

    size_t count(const std::string& beginning) const { return lines(beginning).size(); }

private:
    void write(const std::string& line)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_lines.push_back(line);
        }
        if (m_hook)
            m_hook(line);
    }

    const Hook m_hook;
    mutable std::mutex m_mutex; // guards m_lines
    std::vector<std::string> m_lines;
};

using RecorderPtr = ref_ptr<Recorder>;

/// Renders on the calling thread's time and gives what the observer was told.
inline RecorderPtr renderAll(const std::vector<RenderDescription>& outputs,
                             Recorder::Hook hook = nullptr)
{
    const RecorderPtr recorder(new Recorder(std::move(hook)));
    RenderManager::Render(outputs, recorder, nullptr, false, RenderManager::RenderTypePrimary);
    return recorder;
}

}
