#include <algorithm>
#include <iostream>

#include "CommandLine.h"
#include "Describe.h"
#include "Operation.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

OrderedJson numberJson(const Param& param, double number)
{
    if (param.type == ParamType::Int)
        return static_cast<int64_t>(number);
    return number;
}

OrderedJson paramsJson(const std::vector<Param>& params);

OrderedJson paramJson(const Param& param)
{
    OrderedJson json = {{"name", param.name}, {"type", typeName(param.type)}};
    if (param.fallback)
        json["default"] = *param.fallback;
    if (param.min)
        json["min"] = numberJson(param, *param.min);
    if (param.max)
        json["max"] = numberJson(param, *param.max);
    if (!param.choices.empty())
        for (const auto& [name, number] : param.choices)
            json["names"].push_back(name);
    if (param.count > 0)
        json["count"] = param.count;
    json["sentence"] = param.sentence;
    if (param.type == ParamType::Object)
        json["params"] = paramsJson(param.params);
    if (param.type == ParamType::List)
    {
        const Param& element = param.element.front();
        json["of"] = typeName(element.type);
        if (element.type == ParamType::Object)
            json["params"] = paramsJson(element.params);
    }
    return json;
}

OrderedJson paramsJson(const std::vector<Param>& params)
{
    OrderedJson list = OrderedJson::array();
    for (const Param& param : params)
        list.push_back(paramJson(param));
    return list;
}

OrderedJson operationJson(const Operation& operation)
{
    OrderedJson inputs = OrderedJson::array();
    for (const InputSlot& slot : operation.inputs)
        inputs.push_back({{"name", slot.name}, {"optional", slot.optional}, {"list", slot.list}});
    return {{"name", operation.name},
            {"sentence", operation.sentence},
            {"inputs", inputs},
            {"params", paramsJson(operation.params)}};
}

std::string typeText(const Param& param)
{
    std::string text = typeName(param.type);
    if (param.type == ParamType::List)
    {
        const Param& element = param.element.front();
        text += " of " + (param.count ? std::to_string(param.count) + " " : std::string()) +
                typeName(element.type);
    }
    if (param.type == ParamType::Matrix)
        text += " of " + std::to_string(param.count);
    return text;
}

std::string limitsText(const Param& param)
{
    std::string text;
    if (param.isRequired())
        text += ", required";
    else if (!param.fallback->is_null() && param.type != ParamType::Object)
        text += ", default " + param.fallback->dump();
    if (param.min && param.max)
        text += ", " + numberText(*param.min) + " to " + numberText(*param.max);
    else if (param.min)
        text += ", " + numberText(*param.min) + " or more";
    return text;
}

void printParams(const std::vector<Param>& params, const std::string& indent)
{
    for (const Param& param : params)
    {
        std::cout << indent << param.name << ": " << typeText(param) << limitsText(param) << '\n';
        std::cout << indent << "    " << param.sentence << '\n';
        if (!param.choices.empty())
        {
            std::vector<std::string> names;
            for (const auto& [name, number] : param.choices)
                names.push_back(name + " (" + std::to_string(number) + ")");
            std::cout << indent << "    One of " << joined(names, ", ") << ".\n";
        }
        printParams(param.params, indent + "    ");
        if (!param.element.empty())
            printParams(param.element.front().params, indent + "    ");
    }
}

void printOperation(const Operation& operation)
{
    std::cout << operation.name << ": " << operation.sentence << '\n';
    if (!operation.inputs.empty())
        std::cout << "\nInputs:\n";
    for (const InputSlot& slot : operation.inputs)
        std::cout << "  " << slot.name << (slot.list ? " (a list)" : "")
                  << (slot.optional ? " (may be left out)" : "") << '\n';
    if (!operation.params.empty())
        std::cout << "\nParameters:\n";
    printParams(operation.params, "  ");
}

void printNames()
{
    size_t width = 0;
    for (const Operation& operation : operations())
        width = std::max(width, operation.name.size());
    for (const Operation& operation : operations())
        std::cout << operation.name << std::string(width + 2 - operation.name.size(), ' ')
                  << operation.sentence << '\n';
}

}

int ops(const OpsOptions& options)
{
    const Operation* const one = options.name.empty() ? nullptr : findOperation(options.name);
    if (!options.name.empty() && !one)
        throw UsageError("no such operation " + inQuotes(options.name) +
                         suggestion(options.name, namesOf(operations())));
    if (options.json)
    {
        OrderedJson list = OrderedJson::array();
        for (const Operation& operation : operations())
            if (!one || one == &operation)
                list.push_back(operationJson(operation));
        printJson({{"ops", list}});
    }
    else if (one)
        printOperation(*one);
    else
        printNames();
    return 0;
}

}
