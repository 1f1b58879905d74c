#include <private/ProfileRecorder.h>

#include <chrono>
#include <cmath>
#include <locale>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace QUILT::Private;

namespace
{

// Numbers of this locale look like "1.234,50".
class CommaNumbers : public std::numpunct<char>
{
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

}

TEST(ProfileFormats, SizesChooseTheirUnit)
{
    EXPECT_EQ(formatByteSize(0, 0), "0 B");
    EXPECT_EQ(formatByteSize(1023, 0), "1023 B");
    EXPECT_EQ(formatByteSize(1536, 0), "1 KB");
    EXPECT_EQ(formatByteSize(1048575, 0), "1023 KB");
    EXPECT_EQ(formatByteSize(1048576, 0), "1 MB");
    EXPECT_EQ(formatByteSize(1099511627775, 0), "1023 GB");
    EXPECT_EQ(formatByteSize(~0ul, 0), "16777215 TB");
    EXPECT_EQ(formatByteSize(1536, 2), "1.50 KB");
}

TEST(ProfileFormats, DurationsChooseTheirUnit)
{
    EXPECT_EQ(formatMilliseconds(0.0), "0.00 us");
    EXPECT_EQ(formatMilliseconds(0.5), "500.00 us");
    EXPECT_EQ(formatMilliseconds(1.0), "1.00 ms");
    EXPECT_EQ(formatMilliseconds(999.25), "999.25 ms");
    EXPECT_EQ(formatMilliseconds(1000.0), "1.00 s");
    EXPECT_EQ(formatMilliseconds(59999.0), "60.00 s");
    EXPECT_EQ(formatMilliseconds(60000.0), "1 min");
    EXPECT_EQ(formatMilliseconds(61999.0), "1 min 1 s");
    EXPECT_EQ(formatMilliseconds(3.6e9 + 59000.0), "60000 min 59 s");
}

TEST(ProfileRecorder, SumsByNameAndPrintsTheLargestFirst)
{
    ProfileRecorder recorder;
    std::ostringstream nothing;
    recorder.print(nothing);
    EXPECT_EQ(nothing.str(), "");

    recorder.record("b", 3.0f);
    for (int i = 0; i < 3000; ++i)
        recorder.record("a", i == 7 ? 500.0f : 1.0f);
    recorder.record("c", 3.0f);

    float total = -1.0f;
    unsigned long count = 99;
    recorder.sumByName(&total, &count, "a");
    EXPECT_EQ(total, 3499.0f);
    EXPECT_EQ(count, 3000u);
    EXPECT_EQ(recorder.totalsOf("a").least, 1.0f);
    EXPECT_EQ(recorder.totalsOf("a").greatest, 500.0f);
    recorder.sumByName(&total, &count, "A");
    EXPECT_EQ(total, 0.0f);
    EXPECT_EQ(count, 0u);

    std::ostringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new CommaNumbers));
    stream << std::hex << std::showpos;
    recorder.print(stream);
    EXPECT_EQ(stream.str(), "a - accum: 3.50 s count: 3000 Average : 1.17 ms\n"
                            "b - accum: 3.00 ms count: 1 Average : 3.00 ms\n"
                            "c - accum: 3.00 ms count: 1 Average : 3.00 ms\n");

    recorder.clear();
    recorder.print(nothing);
    EXPECT_EQ(nothing.str(), "");
}

TEST(ProfileRecorder, PrintsAtItsEndWhenAsked)
{
    for (const bool wanted : {false, true})
    {
        testing::internal::CaptureStdout();
        {
            ProfileRecorder recorder;
            recorder.record("step", 2.0f);
            recorder.m_printAtDestruction = wanted;
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  wanted ? "step - accum: 2.00 ms count: 1 Average : 2.00 ms\n" : "");
    }
}

TEST(ProfileTimer, RecordsWholeMillisecondsFromAnyThread)
{
    ProfileRecorder recorder;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&recorder] {
            for (int step = 0; step < 1000; ++step)
                const ProfileTimer timer("short", &recorder);
        });
    for (std::thread& thread : threads)
        thread.join();
    {
        const ProfileTimer timer("long", &recorder);
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(1500);
        while (std::chrono::steady_clock::now() < end)
        {}
    }
    EXPECT_EQ(recorder.totalsOf("short").count, 4000u);
    const ProfileTotals longOnes = recorder.totalsOf("long");
    EXPECT_EQ(longOnes.count, 1u);
    EXPECT_GE(longOnes.total, 1.0);
    EXPECT_EQ(longOnes.total, std::floor(longOnes.total));
}
