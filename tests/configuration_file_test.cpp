// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/ModernConfigurationFile.h"

#include <set>

#include <gmock/gmock.h>

#include <sys/stat.h>

using KyVisa::ConfigurationFile;
using KyVisa::ModernConfigurationFile;
using ::testing::ElementsAre;

namespace
{

std::string resourceAt(std::size_t index)
{
    std::string alias = "stale";
    const std::string resource = ConfigurationFile::getInstance().getResource(index, alias);
    return resource + "," + alias;
}

/// What the file yields, with the aliases in their order.
std::string read(const std::string& file)
{
    if (!ModernConfigurationFile::isParseAble(file))
        return "not ours";
    KyVisa::AliasMap aliases;
    std::vector<std::string> resources;
    KyVisa::ProviderId provider = 0;
    ModernConfigurationFile(file).parse(aliases, resources, provider);
    std::string result = std::to_string(provider);
    for (const std::string& resource : resources)
        result += " [" + resource + "]";
    for (const auto& [alias, resource] : std::map(aliases.begin(), aliases.end()))
        result += " [" + alias + "=" + resource + "]";
    return result;
}

} // namespace

TEST(File, IsReadByLines)
{
    const std::string version = ":KyVisaConfigurationFileVersion01";
    const std::string longLine(100000, 'x');
    const std::string longResult = " [" + longLine + "] [" + std::string(100000, 'X') + "=" + longLine + "]";
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"", "not ours"},
        {version, "3996"},
        {version + "\r\nR", "3996 [R]"},
        {":KyVisaConfigurationFileVersion02\nR", "not ours"},
        {":KyVisaConfigurationFileVersion0", "not ours"},
        {"\xef\xbb\xbf" + version + "\n", "not ours"},
        {version + "\n:Provider=4086\n:SerialProperty[DeviceNo=1].Baudrate=1\nR1\nR2\nR1\nA=X",
         "4086 [R1] [R2] [R1] [A=X]"},
        {version + "\nscope=A\nSCOPE=B", "3996 [SCOPE=B]"},
        {version + "\nscope = X=y\n=Z\n R\n\n#no\n:no=1\nyes\r", "3996 [ R] [yes\r] [=Z] [SCOPE = X=y]"},
        {version + "\n\xe4z=\xe4", "3996 [\xe4Z=\xe4]"},
        {version + "\n" + longLine + "=" + longLine + "\n" + longLine, "3996" + longResult},
        {version + "\n#:Provider=12", "12"},
        {version + "\na=:Provider= +13x", "13"},
        {version + "\n:Provider=70000", "4464"},
        {version + "\n:Provider=7\n:Provider=-1", "65535"},
        {version + "\nA=1\n:Provider=abc\nB=2", "3996 [A=1]"},
        {version + "\n:Provider=7\n:Provider=99999999999\nB=2", "7"}};
    for (const auto& [text, expected] : rows)
    {
        writeFile("visa.conf", text);
        EXPECT_EQ(read("visa.conf"), expected) << text.substr(0, 100);
    }
}

TEST(Service, AnswersInAnyLetterCase)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.setData({{"PLAIN", ""}, {"USB0::a", "SCOPE"}, {"PLAIN", "TWICE"}, {"B2", ""}});
    EXPECT_THAT(store.getAllResources(), ElementsAre("B2", "PLAIN", "USB0::a"));
    EXPECT_EQ(store.lookupAlias("usb0::A"), "SCOPE");
    EXPECT_EQ(store.lookupAlias("usb0::"), "");
    std::string name = "sCoPe";
    EXPECT_TRUE(store.replaceAlias(name));
    EXPECT_FALSE(store.replaceAlias(name));
    EXPECT_EQ(name, "USB0::a");
}

TEST(Search, TriesTheEnvironmentTheWorkingDirectoryAndTheHome)
{
    const auto search = ConfigurationFile::searchConfigFile;
    const std::filesystem::path own = World::configurationFile();
    const std::string local = std::filesystem::absolute("visa.conf");
    EXPECT_EQ(search(false), "");
    EXPECT_FALSE(std::filesystem::exists(own.parent_path()));
    ::umask(0);
    EXPECT_EQ(search(true), own);
    EXPECT_EQ(std::filesystem::status(own.parent_path()).permissions(), std::filesystem::perms::owner_all);
    EXPECT_FALSE(std::filesystem::exists(own));

    writeFile(own, "");
    EXPECT_EQ(search(false), own);
    writeFile(local, "");
    EXPECT_EQ(search(false), local);
    ::setenv("KYVISACONFFILE", "/", 1);
    EXPECT_EQ(search(true), local);
    ::setenv("KYVISACONFFILE", own.c_str(), 1);
    EXPECT_EQ(search(false), own);

    ::unsetenv("KYVISACONFFILE");
    std::filesystem::remove(local);
    ::setenv("HOME", "/proc/none", 1);
    EXPECT_EQ(search(true), "");
    ::unsetenv("HOME");
    EXPECT_EQ(search(true), "");
}

TEST(Service, HandsOutEveryAliasOnceWhateverTheOrderOfAsking)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    std::vector<KyVisa::ResourceAliasPair> pairs = {{"first", ""}, {"none", "empty"}};
    for (int number = 0; number < 500; ++number)
        pairs.emplace_back(std::to_string(number), "A" + std::to_string(number));
    store.setData(pairs);
    std::vector<std::string> forward(502);
    for (std::size_t index = 0; index < 502; ++index)
        forward[index] = resourceAt(index);
    std::vector<std::string> backward(502);
    for (std::size_t index = 502; index-- > 0;)
        backward[index] = resourceAt(index);
    EXPECT_EQ(backward, forward);
    EXPECT_THAT(std::set<std::string>(forward.begin(), forward.end()), ::testing::SizeIs(502));

    EXPECT_EQ(resourceAt(250), forward[250]);
    store.m_aliases.erase(forward[250].substr(forward[250].find(',') + 1));
    EXPECT_EQ(resourceAt(251), forward[252]);
    EXPECT_EQ(resourceAt(501), ",");
    store.setData({{"1", "A1"}, {"2", "A2"}});
    EXPECT_THAT((std::vector{resourceAt(0), resourceAt(1)}), ::testing::UnorderedElementsAre("1,A1", "2,A2"));
}

TEST(Service, ReloadsAfterASaveAndOnlyThenKnowsLowerCaseAliases)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    KyVisa::SSerialProperties properties = {1, 2, 3, 4, 5};
    KyVisa::SGpibProperties board = {1, 2, 3};
    EXPECT_FALSE(store.getSerialProperties(1, properties) || store.getGpibProperties(1, board));
    EXPECT_EQ(properties.baudRate + board.primaryAddress, 2U);

    store.setData({{"X", "scope"}, {"Y", "twice"}, {"Z", "twice"}, {"plain", ""}, {"plain", ""}});
    store.m_serialProperties = {{1, {19200, 8, 0, 0, 0}}};
    store.setProvider(7);
    std::string name = "scope";
    EXPECT_FALSE(store.replaceAlias(name));
    store.save();
    EXPECT_TRUE(ConfigurationFile::getInstance().replaceAlias(name));
    EXPECT_EQ(store.m_aliases, (KyVisa::AliasMap{{"SCOPE", "X"}, {"TWICE", "Z"}}));
    EXPECT_THAT(store.m_resources, ElementsAre("plain", "plain"));
    EXPECT_TRUE(store.m_serialProperties.empty());
    EXPECT_TRUE(store.getSerialProperties(1, properties) && store.getGpibProperties(1, board));
    EXPECT_TRUE(properties == KyVisa::SSerialProperties() && board == KyVisa::SGpibProperties());

    writeConfiguration(":Provider=8\n");
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 8);
    store.setProvider(9);
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 9);
    writeFile(World::configurationFile(), "no longer ours");
    EXPECT_EQ(ConfigurationFile::getInstance().m_provider, 9);
}
