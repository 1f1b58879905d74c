#pragma once

#include <hwy/highway.h>

// A kernel's source is compiled once for each instruction set, by including itself through
// hwy/foreach_target.h; color/Contrast.cpp is a short example. Its functions stand in
// EMULSION::HWY_NAMESPACE, HWY_EXPORT(function) collects them in a table, and
// EMULSION_DISPATCH(function)(arguments) calls the one for the chosen instruction set.
namespace EMULSION::Private
{

// Ours, and not the one in Highway's library, which belongs to everybody in the process.
extern hwy::ChosenTarget s_chosenTarget;

}

#if HWY_IDE || ((HWY_TARGETS & (HWY_TARGETS - 1)) == 0)
#define EMULSION_DISPATCH(function) HWY_DYNAMIC_DISPATCH(function)
#else
// Until the static objects of this library are made, entry 0 chooses by itself.
#define EMULSION_DISPATCH(function)                                                                \
    (*(HWY_DISPATCH_TABLE(function)[::EMULSION::Private::s_chosenTarget.GetIndex()]))
#endif
