// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

#include <cerrno>
#include <csignal>
#include <iostream>
#include <set>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fs = std::filesystem;
using KyVisa::ConfigurationFile;
using KyVisa::FileReplacement;
using KyVisa::ModernConfigurationFile;
using ::testing::Each;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Texts = std::vector<std::string>;

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
        errno = failure;
        if (failure > 0)
            return -1;
        c = number == SYS_pwrite64 ? c / 2 : c;
    }
    // The tests need not wait for a disk.
    return number == SYS_fsync ? 0 : ::syscall(number, a, b, c, d, e);
}

const std::string version = ":KyVisaConfigurationFileVersion01\n";
const std::string saved = version + ":Provider=3996\n";
const std::string replaced = saved + "NEW=entry\n";

/// The files' names here or, of copies, the texts, wherever they lie.
Texts files()
{
    Texts names;
    for (const auto& entry : fs::directory_iterator("."))
        names.push_back(entry.path().filename());
    return names;
}

Texts copies()
{
    Texts texts;
    for (const auto& entry : fs::recursive_directory_iterator(".."))
    {
        if (entry.path().filename().string().find(".~") != std::string::npos)
            texts.push_back(readFile(entry.path()));
    }
    return texts;
}

struct stat statusOf(const char* path)
{
    struct stat status = {};
    ::stat(path, &status);
    status.st_mode &= 07777U;
    return status;
}

// Root may do anything, so it has its files and some processes belong to somebody else.
void giveAway(const char* path)
{
    EXPECT_TRUE(::geteuid() != 0 || ::chown(path, ordinary, ordinary) == 0);
}

void becomeOrdinary()
{
    EXPECT_TRUE(::geteuid() != 0 || (::setegid(ordinary) == 0 && ::seteuid(ordinary) == 0));
}

/// An old file alone in its folder, which belongs, as the home, to an ordinary user.
void prepare(const std::string& text)
{
    fs::permissions(".", fs::perms(0755));
    fs::permissions("..", fs::perms(0755));
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove(entry);
    fs::remove("../link");
    fs::remove_all(World::configurationFile().parent_path());
    writeFile("visa.conf", text);
    fs::permissions("visa.conf", fs::perms(0604));
    for (const char* path : {".", "../home", "visa.conf"})
        giveAway(path);
}

template <typename Work>
pid_t start(Work work)
{
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    work();
    ::_exit(callsLeft >= 0 ? 1 : 0);
}

/// How a child ended, as waitpid() says it.
int endOf(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

/// Replaces what the file holds by one alias. From `calls` system calls on, one fails.
void save(bool isKnown, long calls = -1)
{
    ModernConfigurationFile file("visa.conf");
    if (isKnown)
        file.parse(file.m_aliases, file.m_resources, file.m_provider);
    file.m_aliases = {{"NEW", "entry"}};
    file.m_resources.clear();
    file.m_copyFolder = World::configurationFile().parent_path();
    callsLeft = calls;
    file.save();
}

enum Kind
{
    Plain,
    Absent,
    HardLinks,
    ProtectedFolder,
};

/// Returns whether the call was reached.
bool fail(Kind kind, const std::string& old, long call)
{
    prepare(old);
    if (kind == Absent)
        fs::remove("visa.conf");
    if (kind == HardLinks)
        fs::create_hard_link("visa.conf", "../link");
    if (kind == ProtectedFolder)
        fs::permissions(".", fs::perms(0555));
    const auto trial = [kind](long failing) {
        if (kind != ProtectedFolder && failure != killed)
        {
            save(true, failing);
            return std::exchange(callsLeft, -1) < 0;
        }
        const int status = endOf(start([&] {
            if (kind == ProtectedFolder)
                becomeOrdinary();
            save(true, failing);
        }));
        return !WIFEXITED(status) || WEXITSTATUS(status) == 0;
    };
    const bool reached = trial(call);
    const std::string now = readFile("visa.conf");
    const Texts kept = copies();
    // Only what is killed while it writes in place leaves neither, and then the copy.
    EXPECT_TRUE(now == old || now == replaced || (kind >= HardLinks && failure == killed && !kept.empty()));
    EXPECT_THAT(kept, Each(old));
    // A protected folder leaves one place for the copy, and where that fails the save still happens.
    EXPECT_TRUE(now == old || old.find('#') == std::string::npos || !kept.empty() ||
                (kind == ProtectedFolder && reached && failure > 0));
    EXPECT_TRUE(kind == Absent ||
                (statusOf("visa.conf").st_mode == 0604U && statusOf("visa.conf").st_uid == statusOf(".").st_uid));
    trial(-1);
    EXPECT_EQ(readFile("visa.conf"), replaced);
    EXPECT_EQ(readFile(kind == HardLinks ? "../link" : "visa.conf"), replaced);
    EXPECT_THAT(files(), Each(StartsWith("visa.conf")));
    return reached;
}

} // namespace

// The calls of a save, under their own names. Their arguments travel in registers, as those of a system call do.
#define SYS_pwrite SYS_pwrite64
#define SYS_fstatat SYS_newfstatat
#define CALL(name)                                                                                                     \
    extern "C" long faulty_##name(long, long, long, long, long) __asm__(#name);                                        \
    long faulty_##name(long a, long b, long c, long d, long e)                                                         \
    {                                                                                                                  \
        return systemCall(SYS_##name, a, b, c, d, e);                                                                  \
    }

// clang-format off
CALL(openat) CALL(read) CALL(pwrite) CALL(fsync) CALL(ftruncate) CALL(fallocate) CALL(fstat) CALL(fstatat) CALL(fchown)
CALL(fchmod) CALL(fgetxattr) CALL(fsetxattr) CALL(fremovexattr) CALL(flock) CALL(linkat) CALL(unlinkat) CALL(renameat)
CALL(renameat2)
    // clang-format on

    TEST(Saving, LosesNothingWhicheverCallFails)
{
    const std::vector<std::pair<Kind, std::string>> kinds = {{Absent, ""},
                                                             {Plain, saved + "OLD=entry\n"},
                                                             {Plain, saved + "# mine\n"},
                                                             {HardLinks, saved + "#" + std::string(5000, 'x')},
                                                             {ProtectedFolder, saved + "# mine\n"}};
    int count = 0;
    for (const auto& [kind, old] : kinds)
    {
        for (const int error : {EIO, EACCES, EOPNOTSUPP, shortWrite, killed})
        {
            failure = error;
            for (long call = 0; fail(kind, old, call); ++call, ++count)
                ASSERT_FALSE(testing::Test::HasFailure()) << kind << ", failure " << error << " of call " << call;
        }
    }
    std::cout << count << " faults\n";
}

TEST(Saving, LeavesWholeFilesWhenItIsKilled)
{
    const char* count = std::getenv("KYVISA_KILLS");
    const auto text = [](int number) { return std::string(100000, static_cast<char>('a' + number % 26)); };
    const auto isWhole = [&](const std::string& bytes) { return !bytes.empty() && bytes == text(bytes[0] - 'a'); };
    for (int kill = 0; kill < (count == nullptr ? 100 : std::atoi(count)); ++kill)
    {
        prepare(text(0));
        const pid_t child = start([&] {
            for (int number = 1;; ++number)
                FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(text(number));
        });
        ::usleep(static_cast<useconds_t>(500 + kill * 37 % 3000));
        ::kill(child, SIGKILL);
        endOf(child);
        Texts texts = copies();
        texts.push_back(readFile("visa.conf"));
        EXPECT_THAT(texts, Each(::testing::Truly(isWhole)));
        FileReplacement{"visa.conf", "", nullptr}.replaceBy(text(kill));
        EXPECT_THAT(files(), Each(StartsWith("visa.conf")));
        ASSERT_FALSE(testing::Test::HasFailure()) << "kill " << kill;
    }
}

TEST(Saving, KeepsWhatTwoWriteAtTheSameTime)
{
    const auto write = [](char writer) {
        for (int number = 0; number < 50; ++number)
            FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(writer +
                                                                                                std::to_string(number));
    };
    const pid_t other = start([&] { write('a'); });
    write('b');
    EXPECT_EQ(endOf(other), 0);
    const Texts texts = copies();
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).count(readFile("visa.conf")), 0U);
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), 99U);
}

TEST(Saving, FollowsLinksAndRespectsProtection)
{
    // Version 2; owner rw, user 1 r, group none, mask r, others none.
    const std::string list("\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\0\0\377\377\377\377"
                           "\20\0\4\0\377\377\377\377\40\0\0\0\377\377\377\377",
                           44);
    prepare("");
    writeFile("real/visa.conf", version);
    fs::permissions("real/visa.conf", fs::perms(0640));
    const bool hasList = ::setxattr("real/visa.conf", "system.posix_acl_access", list.data(), list.size(), 0) == 0;
    fs::create_symlink("visa.conf", "real/link");
    fs::create_symlink("real/link", "first");
    fs::create_symlink("new", "dangling");
    fs::create_symlink("loop", "loop");
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    fs::permissions("visa.conf", fs::perms(0444));
    ::umask(027);
    for (const char* name : {"first", "dangling", "loop", "pipe"})
        ModernConfigurationFile(name).save();
    endOf(start([] {
        becomeOrdinary();
        ModernConfigurationFile("visa.conf").save();
    }));
    EXPECT_EQ(readFile("real/visa.conf") + readFile("new") + readFile("visa.conf"), saved + saved);
    EXPECT_EQ(statusOf("real/visa.conf").st_mode, 0640U);
    EXPECT_EQ(statusOf("new").st_mode, 0640U);
    EXPECT_TRUE(fs::is_symlink("first") && fs::is_symlink("dangling") && fs::is_symlink("loop") && fs::is_fifo("pipe"));
    EXPECT_THAT(files(), ::testing::SizeIs(7));
    std::string kept(100, ' ');
    const ssize_t length = ::getxattr("real/visa.conf", "system.posix_acl_access", kept.data(), kept.size());
    EXPECT_EQ(kept.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length)), hasList ? list : "");
}

TEST(Saving, KeepsACopyOfLinesThatNobodySaw)
{
    const std::string bareVersion = version.substr(0, version.size() - 1);
    // What the file holds, whether it was read before, and whether a copy must be kept.
    const std::vector<std::tuple<std::string, bool, bool>> rows = {
        {saved + "SEEN=here\nseen\n\n \n", true, false},
        {version + "# mine\n", true, true},
        {version + ":SerialProperty[DeviceNo=1].Parity=1\n", true, true},
        {version + "A=1\na=2\n", true, true},
        {version + "A=1\na=1\n", true, false},
        {version + "new=entry\nNew=other\n", true, false},
        {bareVersion + "\r\n:Provider=5\r\n", true, false},
        {bareVersion + " mine\n", true, true},
        {version + ":Provider=5 mine\n", true, true},
        {version + ":Provider=5\n:Provider=6\n", true, true},
        {version + "#:Provider=3996\n", true, true},
        {version + ":Provider=none\nNEW=entry\n", true, true},
        {version + ":Provider=3996\n:Provider=99999999999\n", true, true},
        {saved + "SEEN=here\n", false, true},
        {saved + "new=entry\n\n \t\r\n", false, false},
        {saved + "NEW=Entry\n", false, true},
        {version + ":Provider=5\n", false, true},
        {"\xef\xbb\xbf" + saved, false, true},
    };
    for (const auto& [text, isKnown, isKept] : rows)
    {
        prepare(text);
        save(isKnown);
        EXPECT_EQ(copies(), isKept ? Texts{text} : Texts{}) << text;
        EXPECT_THAT(readFile("visa.conf"), ::testing::EndsWith("NEW=entry\n"));
        EXPECT_EQ(statusOf(isKept ? "visa.conf.~1~" : "visa.conf").st_mode, 0604U);
    }
}

TEST(Saving, TakesTurnsWithOthersAndLosesNoLine)
{
    prepare(saved + "FIRST=seen\n");
    ConfigurationFile& store = ConfigurationFile::getInstance();
    // As the window does it: the store looks for a change before it takes the data.
    const auto saveAs = [&](std::uint32_t rate) {
        static_cast<void>(ConfigurationFile::getInstance());
        store.setData({{"two\nlines", "line\nfeed"}});
        store.m_serialProperties[1].baudRate = rate;
        store.save();
        fs::last_write_time("visa.conf", fs::last_write_time("visa.conf") - std::chrono::seconds(rate));
    };
    // Within the second of the load, and loaded again.
    for (std::uint32_t rate = 0; rate < 5; ++rate)
    {
        saveAs(rate);
        static_cast<void>(ConfigurationFile::getInstance());
        store.rememberLoaded();
    }
    EXPECT_THAT(files(), UnorderedElementsAre("visa.conf"));
    EXPECT_THAT(readFile("visa.conf"), ::testing::EndsWith("=0\nline feed=two lines\n"));

    const std::string script = readFile("visa.conf") + "BY=script\n";
    writeFile("visa.conf", script);
    saveAs(10);
    EXPECT_THAT(copies(), UnorderedElementsAre(script));
    writeFile("visa.conf", script);
    fs::last_write_time("visa.conf", fs::last_write_time("visa.conf") - std::chrono::seconds(50));
    static_cast<void>(ConfigurationFile::getInstance());
    store.rememberLoaded();
    saveAs(4); // the rate that the script left as it was
    EXPECT_THAT(copies(), UnorderedElementsAre(script));
}

TEST(Saving, MakesTheFolderAgainAndKeepsWhatAppeared)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    writeConfiguration("CAME=later\n");
    // The store reads it, but the user never saw it.
    store.load();
    store.setData({{"X", "A"}});
    store.save();
    EXPECT_THAT(copies(), UnorderedElementsAre(version + "CAME=later\n"));
    fs::remove_all(World::configurationFile().parent_path());
    store.save();
    EXPECT_EQ(readFile(World::configurationFile()), saved + "A=X\n");
}
