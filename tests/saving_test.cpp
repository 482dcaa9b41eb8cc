// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

#include <algorithm>
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

namespace
{

constexpr uid_t ordinary = 65534;
constexpr gid_t ofOthers = 1;
constexpr int killed = -1, shortWrite = -2, changed = -3;
long callsLeft = -1;     // until a system call fails; negative: none fails
int failure = 0;         // errno, or one of the above
const char* failed = ""; // the call
bool isSimple = false;   // a file system without unnamed files, exchanges and reserved room

const std::string version = ":KyVisaConfigurationFileVersion01\n";
const std::string replaced = version + ":Provider=3996\nNEW=en try\n";
const std::string other = version + "#yours\n";
// Version 2; owner rw, user 1 r, group none, mask r, others r.
const std::string accessList("\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\0\0\377\377\377\377"
                             "\20\0\4\0\377\377\377\377\40\0\4\0\377\377\377\377",
                             44);
std::string grantedList; // what the old file has of it

/// Only root may have files of others, so where it can, an ordinary user owns file, folder and home.
void place(const std::string& text, const fs::path& file = "visa.conf")
{
    writeFile(file, text);
    const bool hasList = ::setxattr(file.c_str(), "system.posix_acl_access", accessList.data(), 44, 0) == 0;
    grantedList = hasList ? accessList : "";
    for (const fs::path& path : {fs::path("."), fs::path("../home"), file})
        EXPECT_TRUE(::geteuid() != 0 || ::chown(path.c_str(), ordinary, ofOthers) == 0);
}

/// Another program writes, within the same second and maybe as many bytes.
void change()
{
    std::error_code none;
    const auto time = fs::last_write_time("visa.conf", none);
    place(other);
    fs::last_write_time("visa.conf", time + std::chrono::nanoseconds(1), none);
}

long systemCall(const char* name, long number, long a, long b, long c, long d, long e)
{
    if (callsLeft >= 0 && callsLeft-- == 0)
    {
        failed = name;
        if (failure == killed)
            ::raise(SIGKILL);
        if (failure == changed)
            change();
        errno = failure;
        if (failure > 0)
            return -1;
        c = failure == shortWrite && number == SYS_pwrite64 ? c / 2 : c;
    }
    const bool isUnnamed = number == SYS_openat && (c & O_TMPFILE) == O_TMPFILE;
    if (isSimple && (isUnnamed || number == SYS_renameat2 || number == SYS_fallocate))
    {
        errno = EOPNOTSUPP;
        return -1;
    }
    // The tests need not wait for a disk.
    return number == SYS_fsync ? 0 : ::syscall(number, a, b, c, d, e);
}

// The calls of a save, under their own names. Their arguments travel in registers, as those of a system call do.
#define SYS_pwrite SYS_pwrite64
#define SYS_fstatat SYS_newfstatat
#define CALL(name)                                                                                                     \
    extern "C" long faulty_##name(long, long, long, long, long) __asm__(#name);                                        \
    long faulty_##name(long a, long b, long c, long d, long e)                                                         \
    {                                                                                                                  \
        return systemCall(#name, SYS_##name, a, b, c, d, e);                                                           \
    }

// clang-format off
CALL(openat) CALL(read) CALL(pwrite) CALL(fsync) CALL(ftruncate) CALL(fallocate) CALL(fstat) CALL(fstatat) CALL(fchown)
CALL(fchmod) CALL(fgetxattr) CALL(fsetxattr) CALL(fremovexattr) CALL(flock) CALL(linkat) CALL(unlinkat) CALL(renameat)
CALL(renameat2) CALL(faccessat)
    // clang-format on

    void prepare(const std::string& text, const fs::path& file = "visa.conf")
{
    ::umask(062);
    fs::permissions(".", fs::perms(0755));
    fs::permissions("..", fs::perms(0755));
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove(entry);
    fs::remove_all(World::configurationFile().parent_path());
    place(text, file);
}

void become(uid_t user)
{
    EXPECT_TRUE(::getuid() != 0 || (::seteuid(0) == 0 && ::setegid(user) == 0 && ::seteuid(user) == 0));
}

/// Expects owner, mode and access list as place() has set them. A user without the group gives it nothing.
void expectProtected(const fs::path& path)
{
    struct stat status = {}, folder = {};
    ASSERT_EQ(::stat(path.c_str(), &status) | ::stat(".", &folder), 0);
    std::string list(100, ' ');
    const ssize_t length = ::getxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size());
    list.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    const bool isGroupKept = status.st_gid == folder.st_gid;
    EXPECT_TRUE(list == (isGroupKept ? grantedList : "") || failure == EOPNOTSUPP || failure == ENODATA) << path;
    EXPECT_EQ((status.st_mode & 07777U) | (isGroupKept ? 040U : 0U), isGroupKept ? 0644U : 0604U) << path;
    // Where only the owner cannot be kept, the group still is.
    EXPECT_TRUE(status.st_uid == folder.st_uid || (failed == std::string("fchown") && isGroupKept)) << path;
}

/// The texts of the copies, wherever they lie.
std::vector<std::string> copies()
{
    std::vector<std::string> texts;
    for (const auto& entry : fs::recursive_directory_iterator(".."))
    {
        if (entry.path().native().back() != '~')
            continue;
        expectProtected(entry);
        texts.push_back(readFile(entry));
    }
    return texts;
}

void expectNothingLeft()
{
    for (const auto& entry : fs::directory_iterator("."))
        EXPECT_THAT(entry.path().filename(), StartsWith("visa.conf"));
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
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return status;
}

void replaceBy(const std::string& text)
{
    KyVisa::FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(text);
}

/// Saves through two symbolic links. Returns whether the save made the call that fails.
bool save(long call)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_fileName = "visa.conf.first";
    store.load();
    store.rememberLoaded();
    store.setData({{"en\ntry", "NEW"}});
    callsLeft = call;
    store.save();
    return std::exchange(callsLeft, -1) < 0;
}

struct OldFile
{
    std::string text; // empty: there is none
    bool hasHardLink = false;
    bool isInProtectedFolder = false;
};

/// Returns whether the call was made. Only those in `vital` may stop a save, or hide the change of another program.
bool fail(const OldFile& old, long call, const std::string& vital)
{
    prepare(old.text);
    failed = "";
    fs::create_symlink(fs::path("..") / fs::current_path().filename() / "visa.conf.second", "visa.conf.first");
    fs::create_symlink("visa.conf", "visa.conf.second");
    if (old.text.empty() && fs::remove("visa.conf"))
        grantedList.clear();
    if (old.hasHardLink)
        fs::create_hard_link("visa.conf", "visa.conf.link");
    fs::permissions(".", fs::perms(old.isInProtectedFolder ? 0555 : 0755));
    become(old.isInProtectedFolder ? ordinary : 0);
    const bool reached = failure == killed ? !WIFEXITED(endOf(start([call] { save(call); }))) : save(call);
    const std::string now = readFile("visa.conf");
    const auto kept = copies();
    const bool isVital = (old.text.empty() && failure > 0) || vital.find(failed) != std::string::npos;
    const bool isSaved = now == replaced, isNeeded = isSaved && old.text.find('#') != std::string::npos;
    if (failure == changed && reached)
        EXPECT_TRUE(isVital || now == other || std::count(kept.begin(), kept.end(), other) > 0) << failed;
    else if (failure == killed && reached) // Only what is killed while it writes in place leaves neither.
        EXPECT_TRUE(isSaved ? !isNeeded || !kept.empty() : now == old.text || kept == std::vector{old.text});
    else
    {
        EXPECT_TRUE(isSaved || (reached && isVital && now == old.text)) << failed;
        EXPECT_THAT(kept, Each(old.text));
        // A protected folder leaves one place for the copy, and where that fails the save still happens.
        EXPECT_TRUE(kept.size() == std::size_t{isNeeded} || failed == std::string("unlinkat") ||
                    (kept.empty() && old.isInProtectedFolder && reached))
            << failed << kept.size();
    }
    if (!old.text.empty())
        expectProtected("visa.conf");
    save(-1);
    become(0);
    EXPECT_EQ(readFile(old.hasHardLink ? "visa.conf.link" : "visa.conf"), replaced);
    EXPECT_TRUE(fs::is_symlink("visa.conf.first") && fs::is_symlink("visa.conf.second"));
    expectNothingLeft();
    return reached;
}

} // namespace

TEST(Saving, LosesNothingWhicheverCallFails)
{
    int count = 0;
    const std::vector<OldFile> files = {{},
                                        {version + "OLD=entry\n"},
                                        {version + "# mine\n"},
                                        {version + "#" + std::string(5000, 'x'), true},
                                        {version + "# mine\n", false, true}};
    const std::string always = "openat fstatat fsync ftruncate ", written = always + "read pwrite ",
                      forbidden = written + "fallocate ", like = "linkat fchmod fchown fgetxattr fsetxattr renameat2";
    const std::vector<std::pair<int, std::string>> faults = {
        {EIO, forbidden + like},
        {EINTR, always + "fallocate " + like},
        {EACCES, forbidden},
        {EBUSY, forbidden},
        {EROFS, forbidden},
        {EPERM, forbidden},
        {EINVAL, written + "linkat fchmod fgetxattr fsetxattr renameat"},
        {ENOSYS, written + "linkat fchmod fchown fgetxattr fsetxattr renameat"},
        {EOPNOTSUPP, written + "linkat fchmod fchown renameat"},
        {ENODATA, forbidden + "linkat fchmod fchown fsetxattr renameat2"},
        {shortWrite, ""},
        {killed, ""},
        {changed, "fallocate pwrite ftruncate renameat"}};
    for (std::size_t at = 0; at < 2 * files.size() * faults.size(); ++at)
    {
        isSimple = at % 2 == 0;
        failure = faults[at / 2 % faults.size()].first;
        const OldFile& old = files[at / 2 / faults.size()];
        for (long call = 0; fail(old, call, faults[at / 2 % faults.size()].second); ++call, ++count)
            ASSERT_FALSE(HasFailure()) << old.text << ", failure " << failure << " of call " << call << ", " << failed;
    }
    std::cout << count << " faults\n";
}

TEST(Saving, LeavesWholeFilesWhenItIsKilled)
{
    const char* count = std::getenv("KYVISA_KILLS");
    const auto text = [](int number) { return std::string(100000, static_cast<char>('a' + number % 26)); };
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
        auto texts = copies();
        texts.push_back(readFile("visa.conf"));
        for (const std::string& whole : texts)
            ASSERT_TRUE(!whole.empty() && whole == text(whole[0] - 'a')) << "kill " << kill;
        replaceBy(text(kill));
        expectNothingLeft();
    }
}

TEST(Saving, KeepsWhatTwoWriteAtTheSameTime)
{
    prepare("");
    const auto write = [](char writer) {
        for (int number = 0; number < 50; ++number)
            replaceBy(writer + std::to_string(number));
    };
    const pid_t second = start([&] { write('a'); });
    write('b');
    EXPECT_EQ(endOf(second), 0);
    const auto texts = copies();
    std::set<std::string> all(texts.begin(), texts.end());
    EXPECT_TRUE(all.insert(readFile("visa.conf")).second);
    EXPECT_EQ(all.size(), 101U);
}

TEST(Saving, LeavesAloneWhatIsProtectedOrNoFile)
{
    prepare("");
    fs::create_symlink("visa.conf.loop", "visa.conf.loop");
    ASSERT_EQ(::mkfifo("visa.conf.pipe", 0666), 0);
    fs::permissions("visa.conf", fs::perms(0444));
    become(ordinary);
    for (const char* name : {"visa.conf", "visa.conf.loop", "visa.conf.pipe"})
        ModernConfigurationFile(name).save();
    become(0);
    EXPECT_EQ(readFile("visa.conf"), "");
    EXPECT_TRUE(fs::is_symlink("visa.conf.loop") && fs::is_fifo("visa.conf.pipe"));
    expectNothingLeft();
}

// What a file contains behind the version line, and what happens to it, letter by letter: the store opens it (w) or
// loads it again (n), a window shows what was loaded (v), another program adds a line (o), somebody removes the folder
// (r), the user confirms a serial setting (c), a save keeps a copy (S) or none (s).
TABLE(Copies, KeepLinesThatNobodySaw, Row{"Seen", "\nSEEN=here\nseen\n\n \n", "ws"},
      Row{"Comment", "\n# mine\n", "wSs"}, Row{"Setting", "\n:SerialProperty[DeviceNo=1].Parity=1\n", "wS"},
      Row{"AliasTwice", "\nA=1\na=2\n", "wS"}, Row{"SameTwice", "\nA=1\na=1\n", "ws"},
      Row{"WrittenAgain", "\nnew=en try\nNew=other\n", "ws"}, Row{"Returns", "\r\n:Provider=5\r\n", "ws"},
      Row{"BehindVersion", " mine\n", "wS"}, Row{"BehindProvider", "\n:Provider=5 mine\n", "wS"},
      Row{"Providers", "\n:Provider=5\n:Provider=6\n", "wS"}, Row{"InAComment", "\n#:Provider=3996\n", "wS"},
      Row{"NoNumber", "\n:Provider=none\nNEW=en try\n", "wS"},
      Row{"NotToTheEnd", "\n:Provider=3996\n:Provider=99999999999\n", "wS"}, Row{"Unknown", "\nSEEN=here\n", "S"},
      Row{"UnknownWritten", "\nnew=en try\n\n \t\r\n", "s"}, Row{"UnknownOther", "\nNEW=En try\n", "S"},
      Row{"UnknownProvider", "\n:Provider=5\n", "S"}, Row{"FiveSettings", "\n", "wcscsncsncsncs"},
      Row{"SecondWindow", "\n", "wcsnvS"}, Row{"NoLoad", "\n", "wcsvcs"}, Row{"Script", "\n", "woSonS"},
      Row{"ScriptSeen", "\n", "wonvs"}, Row{"Removed", "\n", "wrs"})
{
    const fs::path path = World::configurationFile();
    if (GetParam().expected[0] != 'w')
        static_cast<void>(ConfigurationFile::getInstance());
    prepare(version.substr(0, version.size() - 1) + GetParam().text, path);
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_fileName = path;
    std::vector<std::string> kept;
    for (const char step : GetParam().expected)
    {
        const std::string old = readFile(path);
        if (step == 'n')
            store.load();
        else if (step == 'v')
            store.rememberLoaded();
        else if (step == 'o')
            writeFile(path, old + "BY=script\n");
        else if (step == 'c')
            ++store.m_serialProperties[1].baudRate;
        else if (step == 'r' && fs::remove_all(path.parent_path()) != 0)
            grantedList.clear();
        else if (step == 's' || step == 'S')
        {
            store.setData({{"en\ntry", "NEW"}, {"PLAIN", ""}});
            store.save();
            kept.insert(kept.end(), step == 'S' ? 1 : 0, old);
            EXPECT_THAT(copies(), ::testing::UnorderedElementsAreArray(kept));
            EXPECT_THAT(readFile(path), ::testing::EndsWith("PLAIN\nNEW=en try\n"));
            EXPECT_EQ(store.m_aliases.size() + store.m_resources.size(), 2U);
        }
    }
}
