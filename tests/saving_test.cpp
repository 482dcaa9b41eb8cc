// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

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
using KyVisa::ModernConfigurationFile;
using ::testing::Each;
using ::testing::StartsWith;
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
const std::string replaced = saved + "NEW=en try\n";

struct stat statusOf(const fs::path& path)
{
    struct stat status = {};
    ::stat(path.c_str(), &status);
    status.st_mode &= 07777U;
    return status;
}

Texts files()
{
    Texts names;
    for (const auto& entry : fs::directory_iterator("."))
        names.push_back(entry.path().filename());
    return names;
}

/// The texts of the copies, wherever they lie.
Texts copies()
{
    Texts texts;
    for (const auto& entry : fs::recursive_directory_iterator(".."))
    {
        if (entry.path().native().back() != '~')
            continue;
        EXPECT_EQ(statusOf(entry).st_mode, 0604U);
        texts.push_back(readFile(entry.path()));
    }
    return texts;
}

/// Makes one file, whose folder and home belong to an ordinary user: root may do anything.
void prepare(const std::string& text, const fs::path& file = "visa.conf")
{
    fs::permissions(".", fs::perms(0755));
    fs::permissions("..", fs::perms(0755));
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove(entry);
    fs::remove_all(World::configurationFile().parent_path());
    writeFile(file, text);
    fs::permissions(file, fs::perms(0604));
    for (const fs::path& path : {fs::path("."), fs::path("../home"), file})
        EXPECT_TRUE(::getuid() != 0 || ::chown(path.c_str(), ordinary, ordinary) == 0);
}

void become(uid_t user)
{
    EXPECT_TRUE(::getuid() != 0 || (::seteuid(0) == 0 && ::setegid(user) == 0 && ::seteuid(user) == 0));
}

template <typename Work>
pid_t start(Work work)
{
    const pid_t child = ::fork();
    if (child != 0)
        return child;
    work();
    ::_exit(0);
}

/// How a child ended, as waitpid() says it.
int endOf(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

void replaceBy(const std::string& text)
{
    KyVisa::FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(text);
}

/// Returns whether the save made the call that fails.
bool save(long call)
{
    ModernConfigurationFile file("visa.conf");
    file.parse(file.m_aliases, file.m_resources, file.m_provider);
    file.m_aliases = {{"NEW", "en\ntry"}};
    file.m_resources.clear();
    file.m_copyFolder = World::configurationFile().parent_path();
    callsLeft = call;
    file.save();
    return std::exchange(callsLeft, -1) < 0;
}

enum Kind
{
    Plain,
    Absent,
    HardLinks,
    ProtectedFolder,
};

/// Returns whether the call was made.
bool fail(Kind kind, const std::string& old, long call)
{
    prepare(old);
    if (kind == Absent)
        fs::remove("visa.conf");
    if (kind == HardLinks)
        fs::create_hard_link("visa.conf", "visa.conf.link");
    fs::permissions(".", fs::perms(kind == ProtectedFolder ? 0555 : 0755));
    become(kind == ProtectedFolder ? ordinary : 0);
    const bool reached = failure == killed ? !WIFEXITED(endOf(start([call] { save(call); }))) : save(call);
    const std::string now = readFile("visa.conf");
    const Texts kept = copies();
    // Only what is killed while it writes in place leaves neither, and then the copy.
    EXPECT_TRUE(now == old || now == replaced || (kind >= HardLinks && failure == killed && !kept.empty()));
    EXPECT_THAT(kept, Each(old));
    // A protected folder leaves one place for the copy, and where that fails the save still happens.
    EXPECT_TRUE(now == old || old.find('#') == std::string::npos || !kept.empty() ||
                (kind == ProtectedFolder && reached && failure > 0));
    const struct stat status = statusOf("visa.conf");
    EXPECT_TRUE(kind == Absent || (status.st_mode == 0604U && status.st_uid == statusOf(".").st_uid));
    save(-1);
    become(0);
    EXPECT_EQ(readFile(kind == HardLinks ? "visa.conf.link" : "visa.conf"), replaced);
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
                replaceBy(text(number));
        });
        ::usleep(static_cast<useconds_t>(500 + kill * 37 % 3000));
        ::kill(child, SIGKILL);
        endOf(child);
        Texts texts = copies();
        texts.push_back(readFile("visa.conf"));
        EXPECT_THAT(texts, Each(::testing::Truly(isWhole)));
        replaceBy(text(kill));
        EXPECT_THAT(files(), Each(StartsWith("visa.conf")));
        ASSERT_FALSE(testing::Test::HasFailure()) << "kill " << kill;
    }
}

TEST(Saving, KeepsWhatTwoWriteAtTheSameTime)
{
    prepare("");
    const auto write = [](char writer) {
        for (int number = 0; number < 50; ++number)
            replaceBy(writer + std::to_string(number));
    };
    const pid_t other = start([&] { write('a'); });
    write('b');
    EXPECT_EQ(endOf(other), 0);
    Texts texts = copies();
    texts.push_back(readFile("visa.conf"));
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), 101U);
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
    become(ordinary);
    ModernConfigurationFile("visa.conf").save();
    become(0);
    EXPECT_EQ(readFile("real/visa.conf") + readFile("new") + readFile("visa.conf"), saved + saved);
    EXPECT_EQ(statusOf("real/visa.conf").st_mode, 0640U);
    EXPECT_EQ(statusOf("new").st_mode, 0640U);
    EXPECT_TRUE(fs::is_symlink("first") && fs::is_symlink("dangling") && fs::is_symlink("loop") && fs::is_fifo("pipe"));
    EXPECT_THAT(files(), ::testing::SizeIs(7));
    std::string kept(100, ' ');
    const ssize_t length = ::getxattr("real/visa.conf", "system.posix_acl_access", kept.data(), kept.size());
    EXPECT_EQ(kept.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length)), hasList ? list : "");
}

// What a file contains, and what happens to it, letter by letter: the store opens it (w) or loads it again (n), a
// window shows what was loaded (v), another program adds a line (o), somebody removes the folder (r), the user confirms
// a serial setting (c), a save keeps a copy (S) or none (s).
TABLE(Copies, KeepLinesThatNobodySaw, Row{"Seen", saved + "SEEN=here\nseen\n\n \n", "ws"},
      Row{"Comment", version + "# mine\n", "wSs"},
      Row{"SerialSetting", version + ":SerialProperty[DeviceNo=1].Parity=1\n", "wS"},
      Row{"AliasTwice", version + "A=1\na=2\n", "wS"}, Row{"AliasTwiceTheSame", version + "A=1\na=1\n", "ws"},
      Row{"AliasWrittenAgain", version + "new=en try\nNew=other\n", "ws"},
      Row{"CarriageReturns", version.substr(0, 33) + "\r\n:Provider=5\r\n", "ws"},
      Row{"BehindTheVersion", version.substr(0, 33) + " mine\n", "wS"},
      Row{"BehindTheProvider", version + ":Provider=5 mine\n", "wS"},
      Row{"ProviderTwice", version + ":Provider=5\n:Provider=6\n", "wS"},
      Row{"ProviderInAComment", version + "#:Provider=3996\n", "wS"},
      Row{"NoProvider", version + ":Provider=none\nNEW=en try\n", "wS"},
      Row{"NotReadToTheEnd", version + ":Provider=3996\n:Provider=99999999999\n", "wS"},
      Row{"Unknown", saved + "SEEN=here\n", "S"}, Row{"UnknownWrittenAgain", saved + "new=en try\n\n \t\r\n", "s"},
      Row{"UnknownOtherCase", saved + "NEW=En try\n", "S"}, Row{"UnknownProvider", version + ":Provider=5\n", "S"},
      Row{"NotOurs", "\xef\xbb\xbf" + saved, "wS"}, Row{"FiveSettings", saved, "wcscsncsncsncs"},
      Row{"SecondWindow", saved, "wcsnvS"}, Row{"SecondWindowWithoutALoad", saved, "wcsvcs"},
      Row{"Script", saved, "woSonS"}, Row{"ScriptSeen", saved, "wonvs"}, Row{"FolderRemoved", saved, "wrs"})
{
    const fs::path path = World::configurationFile();
    if (GetParam().expected[0] != 'w')
        static_cast<void>(ConfigurationFile::getInstance());
    prepare(GetParam().text, path);
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_fileName = path;
    Texts kept;
    for (const char step : GetParam().expected)
    {
        const std::string old = readFile(path);
        if (step == 'n')
            store.load();
        else if (step == 'v')
            store.rememberLoaded();
        else if (step == 'o')
            writeFile(path, old + "BY=script\n");
        else if (step == 'r')
            fs::remove_all(path.parent_path());
        else if (step == 'c')
            ++store.m_serialProperties[1].baudRate;
        else if (step != 'w')
        {
            store.setData({{"en\ntry", "NEW"}});
            store.save();
            if (step == 'S')
                kept.push_back(old);
            EXPECT_THAT(copies(), ::testing::UnorderedElementsAreArray(kept));
            EXPECT_THAT(readFile(path), ::testing::EndsWith("NEW=en try\n"));
        }
    }
}
