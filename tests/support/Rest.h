#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <QUILT/RenderManager.h>

#include "private/ImageAllocator.h"
#include "private/LivingCounts.h"

namespace QUILT::Test
{

/// Waits until the condition holds. A minute without that is a failure.
inline testing::AssertionResult comesTrue(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return testing::AssertionFailure() << "waited for it in vain";
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return testing::AssertionSuccess();
}

/// Waits until nothing is left of all renders, as it should be once the caller has dropped its
/// graphs and pictures.
inline testing::AssertionResult everythingIsGone()
{
    RenderManager::ClearRenderTaskCache();
    std::string left;
    const auto isGone = [&left] {
        using Private::Living;
        Private::ImageAllocator& images = *Private::ImageAllocator::instance();
        images.clearSpeculativeCache();
        left.clear();
        const auto expectNone = [&left](const char* what, long count) {
            if (count != 0)
                left += std::string(" ") + what + ": " + std::to_string(count);
        };
        expectNone("tasks", livingCount(Living::Tasks));
        expectNone("tiles", livingCount(Living::Tiles));
        expectNone("images", livingCount(Living::Images));
        expectNone("swap files", livingCount(Living::SwapFiles));
        expectNone("jobs", livingCount(Living::Jobs));
        expectNone("bytes in memory", images.getMemUsage());
        expectNone("bytes on disk", images.getDiskUsage());
        return left.empty();
    };
    if (comesTrue(isGone))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "still there:" << left;
}

}
