#include "Operation.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace QuiltTool
{

namespace
{

std::vector<Operation> makeOperations()
{
    std::vector<Operation> all;
    for (const auto family : {alphaOperations, channelOperations, colorOperations,
                              compositeOperations, curveAndHueOperations, fileOperations,
                              geometryOperations, proceduralOperations, toneOperations})
        std::ranges::move(family(), std::back_inserter(all));
    std::ranges::sort(all, {}, &Operation::name);
    return all;
}

template <class T>
const T* findByName(const std::vector<T>& list, const std::string& name)
{
    const auto found = std::ranges::find(list, name, &T::name);
    return found == list.end() ? nullptr : &*found;
}

template <class T>
std::vector<std::string> names(const std::vector<T>& list)
{
    std::vector<std::string> all(list.size());
    std::ranges::transform(list, all.begin(), &T::name);
    return all;
}

}

ref_ptr<RenderTask> Arguments::input(const std::string& slot) const
{
    const std::vector<ref_ptr<RenderTask>>& tasks = inputs.at(slot);
    return tasks.empty() ? nullptr : tasks.front();
}

std::vector<ref_ptr<RenderTask>> Arguments::inputList(const std::string& slot) const
{
    return inputs.at(slot);
}

const InputSlot* Operation::findInput(const std::string& inputName) const
{
    return findByName(inputs, inputName);
}

const Param* Operation::findParam(const std::string& paramName) const
{
    return findByName(params, paramName);
}

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> s_operations = makeOperations();
    return s_operations;
}

const Operation* findOperation(const std::string& name)
{
    return findByName(operations(), name);
}

const Operation& fileOut()
{
    return *findOperation("FileOut");
}

std::vector<std::string> namesOf(const std::vector<Operation>& list)
{
    return names(list);
}

std::vector<std::string> namesOf(const std::vector<Param>& list)
{
    return names(list);
}

std::vector<std::string> namesOf(const std::vector<InputSlot>& list)
{
    return names(list);
}

}
