#include <EMULSION/Tone.h>

#include "private/CacheItems.h"
#include "private/Channels.h"
#include "private/KernelOp.h"
#include "QUILT/ColorTasks.h"

namespace QUILT
{

namespace
{

class CompressRangeOp final : public Private::KernelOp
{
public:
    CompressRangeOp(float knee, float from, float to, bool expand)
        : KernelOp(expand ? EMULSION::makeExpandRangeOperation(knee, from, to)
                          : EMULSION::makeCompressRangeOperation(knee, from, to)),
          m_rangeA(knee), m_rangeB(from), m_rangeC(to), m_expand(expand)
    {}

    std::string getName() const override { return m_expand ? "ExpandRange" : "CompressRange"; }

    void computeCacheID(CacheIDStream& stream) override
    {
        Private::writeItems(stream, m_rangeA, m_rangeB, m_rangeC, m_expand);
    }

    unsigned long computeInputChannels(unsigned long wantedAtOutput) override
    {
        return Channels::withWholeRGB(wantedAtOutput);
    }

private:
    const float m_rangeA, m_rangeB, m_rangeC; // knee, from, to
    const bool m_expand;
};

// The range of a scene above middle grey, to that of a display.
constexpr float s_standardKnee = 0.18f, s_standardFrom = 16.0f, s_standardTo = 1.0f;

}

ref_ptr<RenderTask> createCompressRangeTask(const std::string& name, float time, float knee,
                                            float from, float to, bool expand,
                                            ref_ptr<RenderTask> input)
{
    return Private::createInPlaceTask(new CompressRangeOp(knee, from, to, expand), name, input,
                                      time);
}

ref_ptr<RenderTask> createStandardCompressRangeTask(const std::string& name, float time,
                                                    ref_ptr<RenderTask> input)
{
    return createCompressRangeTask(name, time, s_standardKnee, s_standardFrom, s_standardTo, false,
                                   input);
}

ref_ptr<RenderTask> createStandardExpandRangeTask(const std::string& name, float time,
                                                  ref_ptr<RenderTask> input)
{
    return createCompressRangeTask(name, time, s_standardKnee, s_standardFrom, s_standardTo, true,
                                   input);
}

}
