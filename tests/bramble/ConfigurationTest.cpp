#include <Bramble3/Configuration.h>

#include <cstdlib>

#include <gtest/gtest.h>

using Bramble3::BzConfiguration::v1::Config;

namespace
{

// Leaves no trace of a key behind.
class Configuration : public testing::Test
{
protected:
    void SetUp() override { TearDown(); }

    void TearDown() override
    {
        for (const char* key : {"LANTERN_TMPDIR", "TMPDIR", "LANTERN_TEST_KEY"})
        {
            unsetenv(key);
            Config().unset(key);
        }
    }
};

}

TEST_F(Configuration, TheProcessComesBeforeTheEnvironment)
{
    const std::string key = "LANTERN_TEST_KEY";
    EXPECT_FALSE(Config().has(key));
    EXPECT_EQ(Config().get(key), "");

    setenv(key.c_str(), "", 1);
    EXPECT_TRUE(Config().has(key)); // set to nothing is set

    setenv(key.c_str(), "outside", 1);
    EXPECT_EQ(Config().get(key), "outside");
    Config().set(key, "inside");
    EXPECT_EQ(Config().get(key), "inside");
    Config().set(key, "");
    EXPECT_EQ(Config().get(key), "");
    Config().unset(key);
    EXPECT_EQ(Config().get(key), "outside");

    unsetenv(key.c_str());
    Config().set(key, "");
    EXPECT_TRUE(Config().has(key));
}

TEST_F(Configuration, TheFolderForTemporaryFilesHasDefaults)
{
    EXPECT_EQ(Config().get("LANTERN_TMPDIR"), "/tmp");
    setenv("TMPDIR", "/from/tmpdir", 1);
    EXPECT_EQ(Config().get("LANTERN_TMPDIR"), "/from/tmpdir");
    EXPECT_FALSE(Config().has("LANTERN_TMPDIR")); // a default was not set by anybody
    setenv("LANTERN_TMPDIR", "/from/lantern", 1);
    EXPECT_EQ(Config().get("LANTERN_TMPDIR"), "/from/lantern");
    EXPECT_TRUE(Config().has("LANTERN_TMPDIR"));
}
