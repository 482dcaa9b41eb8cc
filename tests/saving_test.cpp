// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fs = std::filesystem;
using KyVisa::ConfigurationFile;
using KyVisa::ModernConfigurationFile;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace
{

constexpr uid_t ordinary = 65534;
constexpr int killed = -1;
constexpr int shortWrite = -2;
long callsLeft = -1; // until a system call fails; negative: none fails
int failure = 0;     // errno, or one of the above

long systemCall(long number, long a, long b, long c, long d, long e)
{
    if (callsLeft >= 0 && callsLeft-- == 0)
    {
        if (failure == killed)
            ::raise(SIGKILL);
        if (failure == shortWrite)
            c = number == SYS_pwrite64 ? c / 2 : c;
        else
        {
            errno = failure;
            return -1;
        }
    }
    // The tests need not wait for a disk.
    return number == SYS_fsync ? 0 : ::syscall(number, a, b, c, d, e);
}

const std::string version = ":KyVisaConfigurationFileVersion01\n";
const std::string saved = version + ":Provider=3996\n";

void writeFile(const fs::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string readFile(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::vector<std::string> filesIn(const fs::path& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.push_back(entry.path().filename());
    return names;
}

/// The bytes of all copies, wherever they lie.
std::vector<std::string> copies()
{
    std::vector<std::string> texts;
    for (const auto& entry : fs::recursive_directory_iterator(".."))
    {
        if (entry.path().filename().string().find(".~") != std::string::npos)
            texts.push_back(readFile(entry.path()));
    }
    return texts;
}

struct stat statusOf(const fs::path& path)
{
    struct stat status = {};
    ::stat(path.c_str(), &status);
    return status;
}

template <typename Work>
pid_t start(Work work)
{
    const pid_t child = ::fork();
    if (child == 0)
    {
        work();
        ::_exit(callsLeft >= 0 ? 1 : 0);
    }
    return child;
}

/// How a child ended, as waitpid() says it.
int endOf(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

// Root may do anything, so it has its files and some processes belong to somebody else.
void giveAway(const fs::path& path)
{
    if (::geteuid() == 0 && ::chown(path.c_str(), ordinary, ordinary) != 0)
        std::abort();
}

void becomeOrdinary()
{
    if (::geteuid() == 0 && (::setegid(ordinary) != 0 || ::seteuid(ordinary) != 0))
        std::abort();
}

/// Each case has a home and a working directory of its own, which anybody may use.
class Saving : public ::testing::Test
{
protected:
    Saving()
    {
        ::umask(0);
        fs::create_directories(m_folder / "home");
        fs::create_directories(m_folder / "work");
        fs::permissions(m_folder, fs::perms(0755));
        fs::current_path(m_folder / "work");
        ::setenv("HOME", (m_folder / "home").c_str(), 1);
        ::unsetenv("KYVISACONFFILE");
    }

    ~Saving() override
    {
        fs::current_path("/");
        fs::remove_all(m_folder);
    }

    /// An empty working directory and home, of an ordinary user.
    void clean()
    {
        fs::permissions(".", fs::perms(0755));
        for (const char* folder : {"home", "work"})
        {
            for (const auto& entry : fs::directory_iterator(m_folder / folder))
                fs::remove_all(entry);
            giveAway(m_folder / folder);
        }
        fs::remove("../link");
    }

private:
    static fs::path temporary()
    {
        std::string path = fs::temp_directory_path() / "saving.XXXXXX";
        return ::mkdtemp(path.data());
    }

    fs::path m_folder = temporary();
};

/// Replaces what an old file holds by one alias. From `calls` system calls on, one fails.
void save(bool known, long calls = -1)
{
    ModernConfigurationFile file("visa.conf");
    if (known)
        file.parse(file.m_aliases, file.m_resources, file.m_provider);
    file.m_aliases = {{"NEW", "entry"}};
    file.m_resources.clear();
    file.m_copyFolder = fs::path(std::getenv("HOME")) / ".kyvane-yollet";
    callsLeft = calls;
    file.save();
}

struct OldFile
{
    const char* name;
    std::string text;
    bool isInPlace;
    void (*prepare)();
};

void nothing() {}

void addLink()
{
    fs::create_hard_link("visa.conf", "../link");
}

void protectFolder()
{
    fs::permissions(".", fs::perms(0555));
}

const std::vector<OldFile> oldFiles = {{"absent", "", false, nothing},
                                       {"read whole", saved + "OLD=entry\n", false, nothing},
                                       {"comment", saved + "# mine\n", false, nothing},
                                       {"hard links", saved + "# " + std::string(5000, 'x') + "\n", true, addLink},
                                       {"read-only folder", saved + "# mine\n", true, protectFolder}};
const std::string replaced = saved + "NEW=entry\n";

void checkFault(const OldFile& old, bool struck)
{
    const std::string now = readFile("visa.conf");
    const std::vector<std::string> kept = copies();
    // Only what is killed while it writes in place leaves neither, and then the copy.
    EXPECT_TRUE(now == old.text || now == replaced || (old.isInPlace && failure == killed && !kept.empty()));
    EXPECT_THAT(kept, ::testing::Each(old.text));
    // A protected folder leaves one place for the copy, and where that fails the save still happens.
    const bool hasNoPlace = struck && failure > 0 && old.prepare == protectFolder;
    EXPECT_FALSE(!hasNoPlace && now != old.text && old.text.find('#') != std::string::npos && kept.empty());
    if (!old.text.empty())
    {
        EXPECT_EQ(statusOf("visa.conf").st_mode & 07777U, 0604U);
        EXPECT_EQ(statusOf("visa.conf").st_uid, statusOf(".").st_uid);
    }
}

} // namespace

// The calls of a save, under their own names. Their arguments travel in registers, as those of a system call do.
#define CALL(name, number)                                                                                             \
    extern "C" long faulty_##name(long, long, long, long, long) __asm__(#name);                                        \
    long faulty_##name(long a, long b, long c, long d, long e)                                                         \
    {                                                                                                                  \
        return systemCall(number, a, b, c, d, e);                                                                      \
    }
CALL(openat, SYS_openat)
CALL(read, SYS_read)
CALL(pwrite, SYS_pwrite64)
CALL(fsync, SYS_fsync)
CALL(ftruncate, SYS_ftruncate)
CALL(fallocate, SYS_fallocate)
CALL(fstat, SYS_fstat)
CALL(fstatat, SYS_newfstatat)
CALL(fchown, SYS_fchown)
CALL(fchmod, SYS_fchmod)
CALL(fgetxattr, SYS_fgetxattr)
CALL(fsetxattr, SYS_fsetxattr)
CALL(fremovexattr, SYS_fremovexattr)
CALL(flock, SYS_flock)
CALL(linkat, SYS_linkat)
CALL(unlinkat, SYS_unlinkat)
CALL(renameat, SYS_renameat)
CALL(renameat2, SYS_renameat2)

TEST_F(Saving, LosesNothingWhicheverCallFails)
{
    int rows = 0;
    for (const OldFile& old : oldFiles)
    {
        for (const int error : {EIO, ENOSPC, EACCES, EOPNOTSUPP, shortWrite, killed})
        {
            bool struck = true;
            for (long calls = 0; struck && !HasFailure(); ++calls, ++rows)
            {
                SCOPED_TRACE(std::string(old.name) + ", failure " + std::to_string(error) + " of call " +
                             std::to_string(calls));
                clean();
                if (!old.text.empty())
                {
                    writeFile("visa.conf", old.text);
                    fs::permissions("visa.conf", fs::perms(0604));
                    giveAway("visa.conf");
                }
                old.prepare();
                failure = error;
                const auto trial = [&](long failing) {
                    if (old.prepare == protectFolder)
                        becomeOrdinary();
                    save(true, failing);
                };
                const int status = endOf(start([&] { trial(calls); }));
                struck = !(WIFEXITED(status) && WEXITSTATUS(status) == 1);
                checkFault(old, struck);
                endOf(start([&] { trial(-1); }));
                EXPECT_EQ(readFile("visa.conf"), replaced);
                EXPECT_THAT(filesIn("."), ::testing::Each(::testing::StartsWith("visa.conf")));
            }
        }
    }
    std::cout << rows << " faults\n";
}

TEST_F(Saving, LeavesWholeFilesWhenItIsKilled)
{
    const char* count = std::getenv("KYVISA_KILLS");
    const int kills = count == nullptr ? 100 : std::atoi(count);
    const auto text = [](int number) { return std::string(100000, static_cast<char>('a' + number % 26)); };
    const auto isWhole = [&](const std::string& bytes) { return bytes == text(bytes.empty() ? 0 : bytes[0] - 'a'); };
    const auto always = [](const std::string&) { return true; };
    writeFile("visa.conf", text(0));
    for (int kill = 0; kill < kills; ++kill)
    {
        const pid_t child = start([&] {
            for (int number = 1;; ++number)
                KyVisa::FileReplacement{"visa.conf", "", always}.replaceBy(text(number));
        });
        ::usleep(static_cast<useconds_t>(500 + kill * 37 % 3000));
        ::kill(child, SIGKILL);
        endOf(child);
        ASSERT_TRUE(isWhole(readFile("visa.conf"))) << kill;
        for (const std::string& copy : copies())
            ASSERT_TRUE(isWhole(copy)) << kill;
        KyVisa::FileReplacement{"visa.conf", "", nullptr}.replaceBy(text(kill));
        ASSERT_THAT(filesIn("."), ::testing::Each(::testing::StartsWith("visa.conf"))) << kill;
        for (const std::string& name : filesIn("."))
            fs::remove(name == "visa.conf" ? "" : name);
    }
}

TEST_F(Saving, KeepsWhatTwoWriteAtTheSameTime)
{
    constexpr int each = 50;
    std::vector<pid_t> children;
    for (const char writer : {'a', 'b'})
    {
        children.push_back(start([&] {
            for (int number = 0; number < each; ++number)
                KyVisa::FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(
                    writer + std::to_string(number));
        }));
    }
    for (const pid_t child : children)
        EXPECT_EQ(endOf(child), 0);
    std::vector<std::string> texts = copies();
    texts.push_back(readFile("visa.conf"));
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), 2U * each);
}

TEST_F(Saving, FollowsLinksAndRespectsProtection)
{
    // Version 2; owner rw, user 1 r, group none, mask r, others none.
    const std::string list("\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\0\0\377\377\377\377"
                           "\20\0\4\0\377\377\377\377\40\0\0\0\377\377\377\377",
                           44);
    fs::create_directory("real");
    writeFile("real/visa.conf", version);
    fs::permissions("real/visa.conf", fs::perms(0640));
    const bool hasLists = ::setxattr("real/visa.conf", "system.posix_acl_access", list.data(), list.size(), 0) == 0;
    fs::create_symlink("visa.conf", "real/link");
    fs::create_symlink("real/link", "first");
    fs::create_symlink("new", "dangling");
    fs::create_symlink("loop", "loop");
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    writeFile("protected", "KEEP=me\n");
    fs::permissions("protected", fs::perms(0444));
    ::umask(027);
    for (const char* name : {"first", "dangling", "loop", "pipe"})
        ModernConfigurationFile(name).save();
    giveAway(".");
    giveAway("protected");
    endOf(start([] {
        becomeOrdinary();
        ModernConfigurationFile("protected").save();
    }));
    EXPECT_EQ(readFile("real/visa.conf") + readFile("new") + readFile("protected"), saved + saved + "KEEP=me\n");
    EXPECT_EQ(statusOf("real/visa.conf").st_mode & 07777U, 0640U);
    EXPECT_EQ(statusOf("new").st_mode & 07777U, 0640U);
    EXPECT_TRUE(fs::is_symlink("first") && fs::is_symlink("dangling") && fs::is_symlink("loop") && fs::is_fifo("pipe"));
    EXPECT_THAT(filesIn("."), ::testing::SizeIs(7));
    std::string kept(100, ' ');
    const ssize_t length = ::getxattr("real/visa.conf", "system.posix_acl_access", kept.data(), kept.size());
    EXPECT_EQ(kept.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length)), hasLists ? list : "");
}

TEST_F(Saving, KeepsACopyOfLinesThatNobodySaw)
{
    struct Row
    {
        std::string text;
        bool isKnown;
        bool isKept;
    };

    const std::vector<Row> rows = {
        {saved + "SEEN=here\nseen\n\n \n", true, false},
        {version + "# mine\n", true, true},
        {version + ":SerialProperty[DeviceNo=1].Parity=1\n", true, true},
        {version + "A=1\na=2\n", true, true},
        {version + "A=1\na=1\n", true, false},
        {version + "new=entry\nNew=other\n", true, false},
        {version.substr(0, version.size() - 1) + "\r\n:Provider=5\r\n", true, false},
        {version.substr(0, version.size() - 1) + " mine\n", true, true},
        {version + ":Provider=5 mine\n", true, true},
        {version + ":Provider=5\n:Provider=6\n", true, true},
        {version + "#:Provider=3996\n", true, true},
        {version + ":Provider=none\nNEW=entry\n", true, true},
        {version + ":Provider=3996\n:Provider=99999999999\n", true, true},
        {"", true, false},
        {saved + "SEEN=here\n", false, true},
        {saved + "new=entry\n\n \t\r\n", false, false},
        {saved + "NEW=Entry\n", false, true},
        {version + ":Provider=5\n", false, true},
        {"\xef\xbb\xbf" + saved, false, true},
    };
    for (const Row& row : rows)
    {
        clean();
        writeFile("visa.conf", row.text);
        fs::permissions("visa.conf", fs::perms(0604));
        save(row.isKnown);
        EXPECT_THAT(copies(), row.isKept ? ::testing::Matcher<std::vector<std::string>>(UnorderedElementsAre(row.text))
                                         : IsEmpty())
            << row.text;
        EXPECT_THAT(readFile("visa.conf"), ::testing::EndsWith("NEW=entry\n"));
        EXPECT_EQ(statusOf(row.isKept ? "visa.conf.~1~" : "visa.conf").st_mode & 07777U, 0604U);
    }
}

TEST_F(Saving, TakesTurnsWithOthersAndLosesNoLine)
{
    writeFile("visa.conf", saved + "FIRST=seen\n");
    ConfigurationFile& store = ConfigurationFile::getInstance();
    // As the window does it: the store looks for a change, then takes the data, then saves.
    const auto saveAs = [&](const std::string& resource, std::uint32_t rate) {
        static_cast<void>(ConfigurationFile::getInstance());
        store.setData({{resource, "scope"}, {"two\nlines", "line\nfeed"}});
        store.m_serialProperties[1].baudRate = rate;
        store.save();
        fs::last_write_time("visa.conf", fs::last_write_time("visa.conf") - std::chrono::seconds(rate));
    };
    for (std::uint32_t rate = 0; rate < 5; ++rate)
    {
        saveAs("X" + std::to_string(rate), rate);
        static_cast<void>(ConfigurationFile::getInstance());
        store.rememberLoaded();
    }
    EXPECT_THAT(filesIn("."), UnorderedElementsAre("visa.conf"));
    EXPECT_THAT(readFile("visa.conf"), ::testing::HasSubstr("\nline feed=two lines\n"));

    const std::string script = readFile("visa.conf") + "BY=script\n";
    writeFile("visa.conf", script);
    saveAs("mine", 10);
    EXPECT_THAT(copies(), UnorderedElementsAre(script));
    writeFile("visa.conf", script);
    fs::last_write_time("visa.conf", fs::last_write_time("visa.conf") - std::chrono::seconds(50));
    static_cast<void>(ConfigurationFile::getInstance());
    store.m_serialProperties[1].baudRate = 9; // the script's file holds other serial lines
    store.rememberLoaded();
    saveAs("mine", 4);
    EXPECT_THAT(copies(), UnorderedElementsAre(script));
}

TEST_F(Saving, MakesTheFolderAgainAndSeesWhatAppears)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    const fs::path own = ConfigurationFile::searchConfigFile(true);
    writeFile(own, version + "CAME=later\n");
    // Read by the next access, but the user never saw it.
    store.load();
    store.setData({{"X", "A"}});
    store.save();
    EXPECT_THAT(copies(), UnorderedElementsAre(version + "CAME=later\n"));
    fs::remove_all(own.parent_path());
    store.save();
    EXPECT_EQ(readFile(own), saved + "A=X\n");
}
