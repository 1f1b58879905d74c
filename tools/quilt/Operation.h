#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QUILT/RenderTask.h>

#include "Param.h"
#include "Values.h"

namespace QuiltTool
{

using QUILT::ref_ptr;
using QUILT::RenderTask;

/// A place where a node takes another one in.
struct InputSlot
{
    std::string name;
    bool optional = false;
    bool list = false;
};

/// What an operation is built from, at one frame.
struct Arguments
{
    std::string name;
    float time = 0;
    int64_t frame = 0;
    std::optional<UTIL::Rect> format; ///< of the graph
    Values values;
    std::map<std::string, std::vector<ref_ptr<RenderTask>>> inputs;

    ref_ptr<RenderTask> input(const std::string& slot) const; ///< null when it was left out
    std::vector<ref_ptr<RenderTask>> inputList(const std::string& slot) const;
};

/// An operation of the graph file: a factory, with everything that the tool knows about it.
///
/// The table of operations is what the reader of graph files, `quilt ops` and the messages live
/// on, so that a new operation is one entry of it.
struct Operation
{
    std::string name;     ///< the factory's name without "create" and "Task"
    std::string sentence; ///< what it does
    std::vector<InputSlot> inputs;
    std::vector<Param> params;
    ref_ptr<RenderTask> (*build)(const Arguments&) = nullptr;

    const InputSlot* findInput(const std::string& inputName) const;
    const Param* findParam(const std::string& paramName) const;
};

/// All operations, by name.
const std::vector<Operation>& operations();
const Operation* findOperation(const std::string& name); ///< null when there is none
const Operation& fileOut();                              ///< writes the outputs that name a file

std::vector<std::string> namesOf(const std::vector<Operation>& list);
std::vector<std::string> namesOf(const std::vector<Param>& list);
std::vector<std::string> namesOf(const std::vector<InputSlot>& list);

// The families. A further one is a function here and a line in operations().
std::vector<Operation> alphaOperations();
std::vector<Operation> channelOperations();
std::vector<Operation> colorOperations();
std::vector<Operation> compositeOperations();
std::vector<Operation> curveAndHueOperations();
std::vector<Operation> fileOperations();
std::vector<Operation> geometryOperations();
std::vector<Operation> proceduralOperations();
std::vector<Operation> toneOperations();

}
