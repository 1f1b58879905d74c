#include <algorithm>
#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "private/ImageAllocator.h"
#include "private/RenderTask_Imp.h"

// What was edited since the last render, and which tiles are therefore likely to be needed again.

namespace QUILT::Private
{

namespace
{

// What is remembered of the task with a name.
struct EditRecord
{
    std::string nodeID;
    float probabilityBeingEdited;
    float sampleRateX, sampleRateY;
};

// Of the render before, by the names of its tasks.
struct EditHistory
{
    // Guards the records. Held by a render's set-up, which holds no other lock then, while it
    // compares and tells the cache: SpeculativeCache::m_mutex is taken under it.
    std::mutex mutex;
    std::unordered_map<std::string, EditRecord> records;
};

// Never destroyed: renders may be set up until the process ends.
EditHistory& editHistory()
{
    static auto* const history = new EditHistory;
    return *history;
}

// Finds the tasks whose result an edited task uses, or is combined with, without being part of it.
//
// The subgraph of a task is the task with all that is above it. What depends on an input are the
// tasks that are in the subgraph of one of its consumers and not in its own. Sets of all tasks for
// each task would grow with the square of their number, so the edited ones, which alone matter, go
// through the graph 64 at a time.
class EditedDependents
{
public:
    // One flag for each task; the tasks come after their inputs.
    explicit EditedDependents(std::vector<bool> isEdited)
        : m_isEdited(std::move(isEdited)), m_exist(m_isEdited.size()),
          m_subgraphTasks(m_isEdited.size())
    {}

    // The next task's inputs.
    void addInput(size_t input) { m_inputs.push_back(input); }
    void endOfTask() { m_ends.push_back(m_inputs.size()); }

    // One flag for each task: whether anything that depends on it was edited.
    const std::vector<bool>& find()
    {
        markInputsOfEdited();
        std::vector<size_t> edited;
        for (size_t task = 0; task < m_isEdited.size() && m_undecided > 0; ++task)
        {
            if (!m_isEdited[task])
                continue;
            edited.push_back(task);
            if (edited.size() == 64)
                walk(std::exchange(edited, {}));
        }
        if (!edited.empty() && m_undecided > 0)
            walk(edited);
        return m_exist;
    }

private:
    void mark(size_t task)
    {
        if (!m_exist[task])
            --m_undecided;
        m_exist[task] = true;
    }

    // An edited task is in no subgraph of its inputs. Where all is new there is no more to be done.
    void markInputsOfEdited()
    {
        std::vector<bool> isConsumed(m_isEdited.size());
        for (const size_t input : m_inputs)
            isConsumed[input] = true;
        m_undecided = static_cast<size_t>(std::ranges::count(isConsumed, true));
        for (size_t task = 0, i = 0; task < m_ends.size(); ++task)
        {
            for (; i < m_ends[task]; ++i)
            {
                if (m_isEdited[task])
                    mark(m_inputs[i]);
            }
        }
    }

    // With a bit for each of up to 64 edited tasks, which no task in front of them has above it.
    void walk(const std::vector<size_t>& edited)
    {
        const size_t first = edited.front();
        std::fill(m_subgraphTasks.begin(), m_subgraphTasks.end(), 0);
        for (size_t bit = 0; bit < edited.size(); ++bit)
            m_subgraphTasks[edited[bit]] = uint64_t(1) << bit;
        for (size_t task = first; task < m_ends.size(); ++task)
        {
            const size_t begin = task > 0 ? m_ends[task - 1] : 0;
            uint64_t above = m_subgraphTasks[task];
            for (size_t i = begin; i < m_ends[task]; ++i)
                above |= m_subgraphTasks[m_inputs[i]];
            m_subgraphTasks[task] = above;
            for (size_t i = begin; i < m_ends[task]; ++i)
            {
                const uint64_t dependentTasks = above & ~m_subgraphTasks[m_inputs[i]];
                if (dependentTasks != 0)
                    mark(m_inputs[i]);
            }
        }
    }

    const std::vector<bool> m_isEdited;
    std::vector<bool> m_exist;    // edited tasks that depend on this one
    std::vector<size_t> m_inputs; // of all tasks, one task's after the other's
    std::vector<size_t> m_ends;   // of each task's inputs therein
    std::vector<uint64_t> m_subgraphTasks;
    size_t m_undecided = 0; // tasks with consumers that have not been marked
};

}

// In post-order from the outputs, each task once.
std::vector<RenderTask_Imp*>
RenderTask_Imp::listInputsFirst(const std::vector<RenderDescription>& outputs)
{
    std::vector<RenderTask_Imp*> tasks;
    std::vector<std::pair<RenderTask_Imp*, size_t>> open; // with the input that comes next
    const auto enter = [&](RenderTask_Imp& task) {
        if (!std::exchange(task.m_isInHistory, true))
            open.emplace_back(&task, 0);
    };
    for (const RenderDescription& output : outputs)
    {
        enter(of(*output.task));
        while (!open.empty())
        {
            RenderTask_Imp& task = *open.back().first;
            const size_t next = open.back().second++;
            if (next < task.m_inputTasks.size())
                enter(of(*task.m_inputTasks[next]));
            else
            {
                task.m_editIndex = tasks.size();
                tasks.push_back(&task);
                open.pop_back();
            }
        }
    }
    return tasks;
}

void RenderTask_Imp::updateEditHistory(const std::vector<RenderDescription>& outputs)
{
    EditHistory& history = editHistory();
    const std::lock_guard lock(history.mutex);
    const std::vector<RenderTask_Imp*> tasks = listInputsFirst(outputs);

    const std::unordered_map<std::string, EditRecord> old = std::exchange(history.records, {});
    history.records.reserve(tasks.size());
    std::vector<bool> isEdited(tasks.size());
    for (RenderTask_Imp* const task : tasks)
    {
        EditRecord record{task->m_nodeID + task->m_mergedNodeIDs, 1.0f, task->m_sampleRateX,
                          task->m_sampleRateY};
        const auto known = old.find(task->m_name);
        if (known != old.end() && known->second.nodeID == record.nodeID &&
            known->second.sampleRateX == record.sampleRateX &&
            known->second.sampleRateY == record.sampleRateY)
            record.probabilityBeingEdited = 0.0f;
        task->m_probabilityBeingEdited = record.probabilityBeingEdited;
        isEdited[task->m_editIndex] = record.probabilityBeingEdited > 0.0f;
        history.records.try_emplace(task->m_name, std::move(record));
    }

    EditedDependents dependents(std::move(isEdited));
    for (RenderTask_Imp* const task : tasks)
    {
        for (const ref_ptr<RenderTask>& inputTask : task->m_inputTasks)
            dependents.addInput(of(*inputTask).m_editIndex);
        dependents.endOfTask();
    }
    // One minus the product of one minus each dependent's edit value, which is 0 or 1.
    const std::vector<bool>& isNeeded = dependents.find();

    SpeculativeCache::TaskProbabilities probabilities;
    SpeculativeCache::Identities identities;
    probabilities.reserve(tasks.size());
    identities.reserve(tasks.size());
    for (RenderTask_Imp* const task : tasks)
    {
        task->m_isInHistory =
            false; // a task may meet a later render, as the input of another graph
        task->m_probabilityIsNeeded = isNeeded[task->m_editIndex] ? 1.0f : 0.0f;
        probabilities.emplace_back(task->m_name, task->m_probabilityIsNeeded);
        identities.insert(task->m_cacheID);
    }
    ImageAllocator::instance()->updateCachePriorities(probabilities, 0.0f, &identities);
}

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
