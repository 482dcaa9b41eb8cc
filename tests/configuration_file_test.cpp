// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"

#include <set>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

using KyVisa::ConfigurationFile;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace
{

const std::string version = ":KyVisaConfigurationFileVersion01\n";

mode_t modeOf(const std::filesystem::path& path)
{
    struct stat status = {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 07777U;
}

std::string resourceAt(std::size_t index)
{
    std::string alias = "stale";
    const std::string resource = ConfigurationFile::getInstance().getResource(index, alias);
    return resource + "," + alias;
}

} // namespace

TEST(Search, TriesTheEnvironmentTheWorkingDirectoryAndTheHome)
{
    const std::string own = World::configurationFile();
    const std::string local = std::filesystem::current_path().string() + "/visa.conf";
    EXPECT_EQ(ConfigurationFile::searchConfigFile(false), "");
    EXPECT_FALSE(std::filesystem::exists(World::configurationFile().parent_path()));
    ::umask(0);
    EXPECT_EQ(ConfigurationFile::searchConfigFile(true), own);
    EXPECT_EQ(modeOf(World::configurationFile().parent_path()), 0700U);
    EXPECT_FALSE(std::filesystem::exists(own));

    writeFile(own, "");
    EXPECT_EQ(ConfigurationFile::searchConfigFile(false), own);
    writeFile(local, "");
    EXPECT_EQ(ConfigurationFile::searchConfigFile(false), local);
    ::setenv("KYVISACONFFILE", "/", 1);
    EXPECT_EQ(ConfigurationFile::searchConfigFile(true), local);
    ::setenv("KYVISACONFFILE", own.c_str(), 1);
    EXPECT_EQ(ConfigurationFile::searchConfigFile(false), own);

    ::unsetenv("KYVISACONFFILE");
    std::filesystem::remove(local);
    ::setenv("HOME", "/proc/none", 1);
    EXPECT_EQ(ConfigurationFile::searchConfigFile(true), "");
    ::unsetenv("HOME");
    EXPECT_EQ(ConfigurationFile::searchConfigFile(true), "");
}

TEST(Service, HandsOutEveryAliasOnceWhateverTheOrderOfAsking)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    std::vector<KyVisa::ResourceAliasPair> pairs = {{"first", ""}, {"none", "empty"}};
    for (int number = 0; number < 500; ++number)
        pairs.emplace_back(std::to_string(number), "A" + std::to_string(number));
    store.setData(pairs);
    std::vector<std::string> forward;
    std::vector<std::string> backward;
    for (std::size_t index = 0; index <= 501; ++index)
        forward.push_back(resourceAt(index));
    for (std::size_t index = 0; index <= 501; ++index)
        backward.insert(backward.begin(), resourceAt(501 - index));
    EXPECT_EQ(backward, forward);
    EXPECT_THAT(std::set<std::string>(forward.begin(), forward.end()), ::testing::SizeIs(502));

    EXPECT_EQ(resourceAt(250), forward[250]);
    EXPECT_EQ(resourceAt(250), forward[250]);
    store.m_aliases.erase(forward[250].substr(forward[250].find(',') + 1));
    EXPECT_EQ(resourceAt(251), forward[252]);
    EXPECT_EQ(resourceAt(501), ",");
    store.setData({{"1", "A1"}, {"2", "A2"}});
    EXPECT_THAT((std::vector{resourceAt(0), resourceAt(1)}), UnorderedElementsAre("1,A1", "2,A2"));
}

TEST(Service, ReloadsAfterASaveAndOnlyThenKnowsLowerCaseAliases)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    KyVisa::SSerialProperties properties = {1, 2, 3, 4, 5};
    EXPECT_FALSE(store.getSerialProperties(1, properties));
    EXPECT_EQ(properties, (KyVisa::SSerialProperties{1, 2, 3, 4, 5}));
    KyVisa::SGpibProperties board;
    EXPECT_FALSE(store.getGpibProperties(1, board));

    writeConfiguration("CAME=later\n");
    store.setData({{"X", "scope"}, {"Y", "twice"}, {"Z", "twice"}, {"plain", ""}, {"plain", ""}});
    store.m_serialProperties = {{1, {19200, 8, 0, 0, 0}}};
    store.setProvider(7);
    std::string name = "scope";
    EXPECT_FALSE(store.replaceAlias(name));
    store.save();
    EXPECT_EQ(readFile(World::configurationFile().string() + ".~1~"), version + "CAME=later\n");
    EXPECT_TRUE(ConfigurationFile::getInstance().replaceAlias(name));
    EXPECT_EQ(store.m_aliases, (KyVisa::AliasMap{{"SCOPE", "X"}, {"TWICE", "Z"}}));
    EXPECT_THAT(store.m_resources, ElementsAre("plain", "plain"));
    EXPECT_TRUE(store.m_serialProperties.empty());
    EXPECT_TRUE(store.getSerialProperties(1, properties));
    EXPECT_EQ(properties, KyVisa::SSerialProperties());

    writeConfiguration(":Provider=8\n");
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 8);
    store.setProvider(9);
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 9);
    writeFile(World::configurationFile(), "no longer ours");
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 9);
}
