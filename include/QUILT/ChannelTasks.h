#pragma once

#include <string>
#include <vector>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"

/// Operations that move whole channels. A factory is called on the thread that builds the graph;
/// its task renders on any number of threads. A channel mask is a sum of 1 red, 2 green, 4 blue,
/// 8 alpha.
namespace QUILT
{

/// One image made of channels of others.
///
/// Where an input has no data, and in a channel that it does not define, its background colour
/// counts. The data region is that of all inputs together, and every channel of a mask is defined,
/// whether the input has it or not.
class QUILT_API ChannelMergeTask : public RenderTask
{
public:
    ChannelMergeTask(const char* name, float time);

    /// Takes the channels of the mask, 0 to 15, from `input`, which must not be null. Where masks
    /// share a channel the input that was added last gives it. To be called before the task is
    /// described or becomes another's input.
    void addInput(ref_ptr<RenderTask> input, unsigned long channels);

    std::string getType() const override;
    void computeCacheID(CacheIDStream& stream) override;
    unsigned long computeOutputChannels() override;
    UTIL::Region computeOutputDataRegion() override;
    Imath::Color4<float> computeBackgroundColor() override;
    void makeInputFormatRequests() override;
    void computeRequiredInputRectangles(const UTIL::Rect& outputRect,
                                        std::vector<UTIL::Rect>& inputRects) override;

    using RenderTask::renderRect;
    void renderRect(const EMULSION::Image* output,
                    const std::vector<const EMULSION::Image*>& inputs) override;

private:
    std::vector<unsigned long> m_channels; // for each input
};

/// The red of `red`, the green of `green` and so on, by a ChannelMergeTask.
///
/// Inputs with one identity are read once. If all four have the same this is `red` itself. A null
/// input throws RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createChannelMergeTask(const std::string& name, float time,
                                                     ref_ptr<RenderTask> red,
                                                     ref_ptr<RenderTask> green,
                                                     ref_ptr<RenderTask> blue,
                                                     ref_ptr<RenderTask> alpha);

/// One channel of the input in all four channels.
///
/// Of a mask with several channels the first counts, in the order red, green, blue, alpha; a mask
/// without any gives zero. All four channels are defined; the data region is the input's, which
/// must not be null. A channel that the input does not define counts with its background colour.
QUILT_API ref_ptr<RenderTask> createChannelExpandTask(const std::string& name, float time,
                                                      unsigned long channel,
                                                      ref_ptr<RenderTask> input);

/// Moves one channel to another place and drops the others, by createColorTransformTask: the result
/// has `dstChannel` alone, and none where the input does not define `srcChannel`.
///
/// Throws RenderTaskRenderingException unless each mask is one channel, and for a null input.
QUILT_API ref_ptr<RenderTask> createChannelSelectTask(const std::string& name, float time,
                                                      unsigned long srcChannel,
                                                      unsigned long dstChannel,
                                                      ref_ptr<RenderTask> input);

/// Rearranges channels, by createColorTransformTask.
///
/// \param channels  four masks, copied: the channels of the input that become red, green, blue and
///                  alpha. A mask that is not one channel leaves its place undefined, which is 0
/// Channels in their own places give `input` itself; otherwise a null input throws
/// RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createSwizzleTask(const std::string& name, float time,
                                                const unsigned long* channels,
                                                ref_ptr<RenderTask> input);

}
