#include <EMULSION/Channels.h>
#include <EMULSION/Error.h>

#include <gtest/gtest.h>

using namespace EMULSION;

TEST(ChannelMask, HasANameAndASizeUpTo15)
{
    for (unsigned long mask = 0; mask <= 15; ++mask)
    {
        std::string name;
        for (int bit = 0; bit < 4; ++bit)
            if (mask >> bit & 1)
                name += "RGBA"[bit];
        unsigned long bytes = 99;
        GetPixelBytes(&bytes, mask);
        EXPECT_TRUE(IsChannelMaskValid(mask));
        EXPECT_EQ(bytes, 4 * name.size());
        EXPECT_EQ(GetChannelMaskName(mask), name.empty() ? "none" : name);
        EXPECT_EQ(ValidateChannelMask(mask | 0x30), mask);
    }
    EXPECT_EQ(GetError(), ERROR_NONE);
    EXPECT_FALSE(IsChannelMaskValid(16));
    EXPECT_EQ(GetChannelMaskName(16), nullptr);
    unsigned long bytes = 99;
    GetPixelBytes(&bytes, 16);
    EXPECT_EQ(bytes, 99u);
    EXPECT_EQ(GetError(), ERROR_INVALID_CHANNELS);
    ClearError();
}
