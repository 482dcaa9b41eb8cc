// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/ModernConfigurationFile.h"

#include <map>

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace ::testing;
using KyVisa::ConfigurationFile;
using KyVisa::ModernConfigurationFile;

namespace
{

const std::string version = ":KyVisaConfigurationFileVersion01";

/// Entry `index` of the store.
std::string at(std::size_t index)
{
    std::string alias = "stale";
    const std::string resource = ConfigurationFile::getInstance().getResource(index, alias);
    return alias + "=" + resource;
}

} // namespace

// What a file contains after the version, and what it yields: the provider, the resources, the aliases in their order.
TABLE(File, IsReadByLines, Row{"Returns", "\r\nR", "3996 R"},
      Row{"Resources", "\nR1\n\nR2\nR1\n R", "3996 R1 R2 R1  R"},
      Row{"Aliases", "\nscope = X=y\n=Z\n\xe4z=\xe4", "3996 =Z SCOPE = X=y \xe4Z=\xe4"},
      Row{"AliasTwice", "\nscope=A\nSCOPE=B", "3996 SCOPE=B"}, Row{"Letters", "\n@az[`{=a", "3996 @AZ[`{=a"},
      Row{"Skipped", "\n:SerialProperty[DeviceNo=1].Baudrate=1\n#no\n:no=1\nyes\r", "3996 yes\r"},
      Row{"Provider", "\n:Provider=4086\nA=X", "4086 A=X"}, Row{"InAComment", "\n#:Provider=12", "12"},
      Row{"InAnAlias", "\na=:Provider= +13x", "13"}, Row{"LeadingZero", "\n:Provider=010", "10"},
      Row{"Negative", "\n:Provider=7\n:Provider=-1", "65535"}, Row{"NoNumber", "\nA=1\n:Provider=abc\nB=2", "3996 A=1"},
      Row{"MuchTooLarge", "\n:Provider=7\n:Provider=99999999999\nB=2", "7"})
{
    writeFile("visa.conf", version + GetParam().text);
    EXPECT_TRUE(ModernConfigurationFile::isParseAble("visa.conf"));
    ModernConfigurationFile file("visa.conf");
    KyVisa::AliasMap aliases;
    std::vector<std::string> resources;
    KyVisa::ProviderId provider = 0;
    file.parse(aliases, resources, provider);
    file.parse(aliases, resources, provider); // in place of what the first reading has found
    std::string result = std::to_string(provider);
    for (const std::string& resource : resources)
        result += " " + resource;
    for (const auto& [alias, resource] : std::map(aliases.begin(), aliases.end()))
        result += " " + alias + "=" + resource;
    EXPECT_EQ(result, GetParam().expected);
}

TEST(FileOfAnotherFormat, IsNotParseable)
{
    for (const std::string& text : {std::string(), "\xef\xbb\xbf" + version, version.substr(0, 32) + "2"})
    {
        writeFile("visa.conf", text);
        EXPECT_FALSE(ModernConfigurationFile::isParseAble("visa.conf")) << text;
    }
}

TEST(Service, HandsOutEveryAliasOnceWhateverTheOrderOfAsking)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.setData({{"PLAIN", ""}, {"1", "A"}, {"2", "B"}, {"3", "C"}});
    EXPECT_THAT((std::vector{at(0), at(4)}), ElementsAre("=PLAIN", "="));
    const std::vector forward = {at(1), at(2), at(3)};
    EXPECT_THAT((std::vector{at(3), at(2), at(1)}), ElementsAre(forward[2], forward[1], forward[0]));
    EXPECT_THAT(forward, UnorderedElementsAre("A=1", "B=2", "C=3"));
}

TEST(Service, KnowsAliasesAsTheyWereGiven)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.setData({{"USB0::a", "scope"}, {"Y", "twice"}, {"Z", "twice"}, {"plain", ""}, {"plain", ""}});
    EXPECT_THAT(store.getAllResources(), ElementsAre("USB0::a", "Z", "plain"));
    EXPECT_EQ(store.lookupAlias("usb0::A"), "scope");
}

TEST(Service, ReloadsWhatItHasSaved)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.setData({{"Y", "twice"}, {"Z", "twice"}, {"plain", ""}, {"plain", ""}});
    store.m_serialProperties = {{1, {19200, 8, 0, 0, 0}}};
    ::umask(022);
    store.save();
    EXPECT_EQ(fs::status(perUserFile()).permissions(), fs::perms(0644));
    EXPECT_EQ(ConfigurationFile::getInstance().m_aliases, (KyVisa::AliasMap{{"TWICE", "Z"}}));
    EXPECT_THAT(store.m_resources, ElementsAre("plain", "plain"));
    KyVisa::SSerialProperties port = {1, 2, 3, 4, 5};
    EXPECT_TRUE(store.m_serialProperties.empty() && store.getSerialProperties(1, port));
    EXPECT_EQ(port, KyVisa::SSerialProperties());
}

TEST(Service, LoadsWhatAnotherProgramHasWritten)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    const auto provider = [] { return ConfigurationFile::getInstance().m_provider; };
    writeConfiguration(":Provider=7\n");
    EXPECT_EQ(provider(), 3996); // It knows no file.
    store.load();
    EXPECT_EQ(provider(), 7);
    writeConfiguration(":Provider=8\nA=R\n");
    EXPECT_EQ(provider(), 8);
    store.setProvider(9);
    EXPECT_EQ(provider(), 9);

    // A file of before, restored.
    writeConfiguration(":Provider=10\nA=R\n");
    fs::last_write_time(perUserFile(), fs::last_write_time(perUserFile()) - std::chrono::hours(1));
    EXPECT_EQ(provider(), 10);

    // What is no such file changes nothing, and is not waited for.
    writeFile(perUserFile(), "no longer ours");
    EXPECT_EQ(provider(), 10);
    fs::remove(perUserFile());
    ASSERT_EQ(::mkfifo(perUserFile().c_str(), 0600), 0);
    EXPECT_EQ(provider(), 10);
    EXPECT_EQ(store.m_aliases.size(), 1U);
}

TEST(Search, TriesTheEnvironmentTheWorkingDirectoryAndTheHome)
{
    const auto search = ConfigurationFile::searchConfigFile;
    const fs::path own = perUserFile();
    EXPECT_EQ(ConfigurationFile::getInstance().fileToSave(), own);
    EXPECT_FALSE(fs::exists(own.parent_path()));
    EXPECT_EQ(search(true), own);
    EXPECT_EQ(fs::status(own.parent_path()).permissions(), fs::perms(0700));

    writeFile(own, "");
    EXPECT_EQ(search(false), own);
    const std::string local = fs::absolute("visa.conf");
    writeFile(local, "");
    ::setenv("KYVISACONFFILE", "/", 1);
    EXPECT_EQ(search(false), local);
    ::setenv("KYVISACONFFILE", own.c_str(), 1);
    EXPECT_EQ(search(false), own);

    fs::remove(local);
    ::unsetenv("KYVISACONFFILE");
    ::unsetenv("HOME");
    EXPECT_EQ(search(true), "");
}
