#pragma once

#include <memory>
#include <utility>

#include "EMULSION/PixelOperation.h"

namespace EMULSION::Private
{

/// The operation, which keeps alive the tables that its formula points into. They are not held by
/// the formula itself: it is copied for each strip, and threads would quarrel about the count of
/// owners.
template <class Tables>
PixelOperationPtr keeping(std::shared_ptr<const Tables> tables, PixelOperationPtr operation)
{
    using Both = std::pair<std::shared_ptr<const Tables>, PixelOperationPtr>;
    const auto both = std::make_shared<const Both>(std::move(tables), std::move(operation));
    return PixelOperationPtr(both, both->second.get());
}

}
