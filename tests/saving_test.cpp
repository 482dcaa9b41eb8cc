// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#include "World.h"
#include "config/ConfigurationFile.h"
#include "config/FileReplacement.h"

#include <csignal>
#include <functional>
#include <set>
#include <thread>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace fs = std::filesystem;
using KyVisa::ConfigurationFile;
using ::testing::ContainsRegex;
using Texts = std::vector<std::string>;

namespace
{

constexpr uid_t ordinary = 65534;
constexpr gid_t ofOthers = 1;

const std::string version = ":KyVisaConfigurationFileVersion01\n";
const std::string replaced = version + ":Provider=3996\nNEW=a b c\n";
const std::string mine = version + "# mine\n";
const std::string yours = version + "#yours\n"; // as many bytes

long callsLeft = -1;        // until the fault; negative: there is none
std::function<int()> fault; // returns the error that the call fails with, or 0
std::string disturbed;      // the name of that call
std::string calls;          // the names of all calls until then
bool isSimple = false;      // a file system without access lists, unnamed files, exchanges and reserved room

long systemCall(const char* name, long number, long a, long b, long c, long d, long e)
{
    static const std::set<long> missing = {SYS_renameat2, SYS_fallocate, SYS_fgetxattr, SYS_fsetxattr,
                                           SYS_fremovexattr};
    int error = 0;
    if (callsLeft >= 0)
        calls += name + std::string(" ");
    if (callsLeft >= 0 && callsLeft-- == 0)
    {
        disturbed = name;
        error = fault();
    }
    const bool isUnnamed = number == SYS_openat && (c & O_TMPFILE) == O_TMPFILE;
    if (error == 0 && isSimple && (isUnnamed || missing.count(number) > 0))
        error = EOPNOTSUPP;
    if (error != 0)
    {
        errno = error;
        return -1;
    }
    if (number == SYS_read || number == SYS_pwrite64)
        c = (c + 1) / 2; // A call may move less than it is asked to.
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

const char* const accessListName = "system.posix_acl_access";
// clang-format on
// Version 2; owner rw, user 1 r, group none, mask r, others r.
const std::string accessList("\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\0\0\377\377\377\377"
                             "\20\0\4\0\377\377\377\377\40\0\4\0\377\377\377\377",
                             44);

/// Who may do what with a file.
struct Protection
{
    explicit Protection(const fs::path& path)
    {
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        const ssize_t length = ::getxattr(path.c_str(), accessListName, list.data(), list.size());
        list.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    }

    struct stat status = {};
    std::string list = std::string(100, ' ');
};

/// Makes a folder with one file. Only root may have files of others, so where it can, an ordinary user owns file,
/// folder and home.
void prepare(const std::string& text)
{
    ::umask(022);
    fs::permissions(".", fs::perms(0755));
    fs::permissions("..", fs::perms(0755));
    for (const auto& entry : fs::directory_iterator("."))
        fs::remove(entry);
    fs::remove_all(perUserFile().parent_path());
    writeFile("visa.conf", text);
    fs::last_write_time("visa.conf", fs::file_time_type());
    if (!isSimple)
        ::setxattr("visa.conf", accessListName, accessList.data(), accessList.size(), 0);
    for (const char* path : {".", "../home", "visa.conf"})
        EXPECT_TRUE(::geteuid() != 0 || ::chown(path, ordinary, isSimple ? ordinary : ofOthers) == 0);
}

void become(uid_t user)
{
    EXPECT_TRUE(::getuid() != 0 || (::seteuid(0) == 0 && ::setegid(user) == 0 && ::seteuid(user) == 0));
}

/// The text of the file and of its copies, wherever they lie.
Texts textsOf(const fs::path& file)
{
    Texts texts = {readFile(file)};
    for (const fs::path& path : fs::recursive_directory_iterator(".."))
    {
        if (path.native().back() == '~')
            texts.push_back(readFile(path));
    }
    return texts;
}

void expectNothingLeft()
{
    for (const fs::path& path : fs::directory_iterator("."))
        EXPECT_THAT(path.filename(), ::testing::StartsWith("visa.conf"));
}

/// Expects that the file and its copies are as protected as the old file was.
void expectProtected(const Protection& old)
{
    for (const fs::path& path : fs::recursive_directory_iterator(".."))
    {
        if (path.filename().native().find("visa.conf") == std::string::npos)
            continue;
        const Protection now(path);
        // A user without the group permits it nothing.
        const bool isGroupKept = now.status.st_gid == old.status.st_gid;
        EXPECT_EQ(now.status.st_mode, isGroupKept ? old.status.st_mode : old.status.st_mode & ~070U) << path;
        EXPECT_EQ(now.list, isGroupKept ? old.list : "") << path;
        EXPECT_TRUE(now.status.st_uid == old.status.st_uid || disturbed == "fchown") << path;
    }
}

void replaceBy(const std::string& text)
{
    KyVisa::FileReplacement{"visa.conf", "", [](const std::string&) { return true; }}.replaceBy(text);
}

/// Saves through symbolic links. The fault comes at system call number `call`.
void save(long call)
{
    ConfigurationFile& store = ConfigurationFile::getInstance();
    store.m_fileName = "visa.conf.first";
    store.load();
    store.rememberLoaded();
    store.setData({{"a\nb\nc", "NEW"}});
    store.setProvider(3996);
    callsLeft = call;
    store.save();
    callsLeft = -1;
}

struct OldFile
{
    std::string text; // empty: there is none
    bool hasHardLink = false;
    bool isInProtectedFolder = false;

    [[nodiscard]] bool hasComment() const { return text.find('#') != std::string::npos; }
};

using Check = std::function<void(const OldFile& old, const Texts& texts)>;

/// Saves with a fault, checks the result and saves again without one. Returns whether the save made so many calls.
bool disturb(const OldFile& old, long call, const Check& check)
{
    prepare(old.text);
    const Protection protection("visa.conf");
    fs::create_symlink(fs::path("..") / fs::current_path().filename() / "visa.conf.second", "visa.conf.first");
    fs::create_symlink("visa.conf", "visa.conf.second");
    if (old.text.empty())
        fs::remove("visa.conf");
    if (old.hasHardLink)
        fs::create_hard_link("visa.conf", "visa.conf.link");
    if (old.isInProtectedFolder)
        fs::permissions(".", fs::perms(0555));

    disturbed = calls = "";
    become(old.isInProtectedFolder ? ordinary : 0);
    save(call);
    check(old, textsOf("visa.conf"));
    save(-1);
    become(0);
    EXPECT_EQ(readFile(old.hasHardLink ? "visa.conf.link" : "visa.conf"), replaced);
    EXPECT_TRUE(fs::is_symlink("visa.conf.first") && fs::is_symlink("visa.conf.second"));
    expectNothingLeft();
    if (!old.text.empty())
        expectProtected(protection);
    return !disturbed.empty();
}

/// Has the fault at each system call in turn, for all kinds of old files and file systems.
void sweep(const Check& check)
{
    const std::vector<OldFile> files = {
        {}, {version + "OLD=entry\n"}, {mine}, {version + "#" + std::string(5000, 'x'), true}, {mine, false, true}};
    for (std::size_t at = 0; at < 2 * files.size(); ++at)
    {
        const OldFile& old = files[at / 2];
        isSimple = at % 2 == 0;
        for (long call = 0; disturb(old, call, check); ++call)
            ASSERT_FALSE(::testing::Test::HasFailure())
                << old.text.substr(0, 50) << " call " << call << ", " << disturbed;
        // Bytes are on the disk before they get a name, and all is there in the end.
        EXPECT_THAT(calls, ::testing::Not(ContainsRegex("pwrite [^pf]")));
        EXPECT_THAT(calls, ContainsRegex("fsync (unlinkat )*$"));
    }
}

/// Lets each call fail. Those in `survived` must not stop the save.
void failEachCall(int error, std::set<std::string> survived)
{
    SCOPED_TRACE(error);
    survived.insert({"", "faccessat", "flock", "unlinkat"});
    fault = [error] { return error; };
    sweep([&](const OldFile& old, const Texts& texts) {
        const bool isSaved = texts[0] == replaced;
        // A full disk is noticed before the file changes.
        EXPECT_TRUE(!isSaved || disturbed != "fallocate" || survived.count(disturbed) > 0);
        EXPECT_TRUE(isSaved || (texts[0] == old.text && (old.text.empty() || survived.count(disturbed) == 0)));
        const Texts expected = isSaved && old.hasComment() ? Texts{replaced, old.text} : Texts{texts[0]};
        // A protected folder leaves one place for the copy. Where that fails, the save still happens.
        const bool hasNoPlace = old.isInProtectedFolder && texts.size() == 1;
        EXPECT_TRUE(texts == expected || hasNoPlace || disturbed == "unlinkat");
    });
}

/// Another program writes before each call, and the file's time becomes `time`.
void writeAtEachCall(const std::string& text, std::chrono::nanoseconds time)
{
    fault = [&] {
        writeFile("visa.conf", text);
        fs::last_write_time("visa.conf", fs::file_time_type(time));
        return 0;
    };
    const std::set<std::string> unnoticed = {"", "fallocate", "ftruncate", "pwrite", "renameat"};
    sweep([&](const OldFile&, const Texts& texts) {
        EXPECT_THAT(texts, ::testing::Contains(unnoticed.count(disturbed) == 0 ? text : texts[0]));
    });
}

} // namespace

TEST(Saving, LosesNothingWhicheverCallFails)
{
    // The old file can still be written in place.
    for (const int error : {EACCES, EBUSY, EPERM, EROFS})
        failEachCall(error, {"fchmod", "fchown", "fgetxattr", "fsetxattr", "linkat", "renameat", "renameat2"});
    failEachCall(EINTR, {"pwrite", "read"});
    failEachCall(EINVAL, {"fallocate", "fchown", "renameat2"});
    failEachCall(EIO, {});
    failEachCall(ENOSYS, {"fallocate", "renameat2"});
}

TEST(Saving, LosesNothingWhenAllCallsFailFromOneOn)
{
    fault = [] {
        callsLeft = 0;
        return disturbed == "unlinkat" ? 0 : EIO; // It must not remove the only copy.
    };
    sweep([](const OldFile& old, const Texts& texts) {
        const bool isInPlace = old.hasHardLink || old.isInProtectedFolder;
        EXPECT_TRUE(texts[0] == old.text || texts[0] == replaced || isInPlace);
        EXPECT_THAT(texts, ::testing::Contains(old.hasComment() ? old.text : texts[0]));
    });
}

TEST(Saving, KeepsWhatAnotherProgramWritesMeanwhile)
{
    writeAtEachCall(yours, std::chrono::seconds(1));
    writeAtEachCall(yours, std::chrono::nanoseconds(1));
    writeAtEachCall(yours + "more\n", {});
}

TEST(Saving, LeavesWholeFilesWhenItIsKilled)
{
    for (int kill = 0; kill < 100; ++kill)
    {
        prepare("old");
        const pid_t parent = ::getpid(), child = ::fork();
        for (unsigned number = 0; ::getpid() != parent; ++number)
            replaceBy(std::string(100000, "abcdefgh"[number % 8]));
        ASSERT_GT(child, 0); // kill() takes -1 for every process.
        ::usleep(static_cast<useconds_t>(500 + kill * 37 % 3000));
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        for (const std::string& text : textsOf("visa.conf"))
            ASSERT_TRUE(text == "old" || text == std::string(100000, text[0])) << "kill " << kill;
        replaceBy("next");
        expectNothingLeft();
    }
}

TEST(Saving, KeepsWhatTwoWriteAtTheSameTime)
{
    prepare(mine);
    const auto write = [](char writer) {
        for (int number = 0; number < 50; ++number)
            replaceBy(writer + std::to_string(number));
    };
    std::thread second([&] { write('a'); });
    write('b');
    second.join();
    const Texts texts = textsOf("visa.conf");
    EXPECT_EQ(std::set(texts.begin(), texts.end()).size(), 101U);
}

TEST(Saving, LeavesAloneWhatIsProtectedOrNoFile)
{
    prepare(mine);
    ASSERT_EQ(::mkfifo("visa.conf.pipe", 0666), 0);
    for (const char* name : {"visa.conf.before.tmp", ".visa.conf.swapfile", ".visa.conf.tmp"})
        writeFile(name, "");
    fs::permissions("visa.conf", fs::perms(0444));
    become(ordinary);
    for (const char* name : {"visa.conf", "visa.conf.pipe"})
        KyVisa::ModernConfigurationFile(name).save();
    become(0);
    EXPECT_EQ(readFile("visa.conf"), mine);
    EXPECT_TRUE(fs::is_fifo("visa.conf.pipe"));
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 5);
}

// What a file contains behind the version line, and what happens to it, step by step.
TABLE(Copies, KeepLinesThatNobodySaw, Row{"Seen", "\nSEEN=here\nseen\n\n \n", "ls"},
      Row{"Comment", "\n# mine\n", "lSs"}, Row{"Setting", "\n:SerialProperty[DeviceNo=1].Parity=1\n", "lS"},
      Row{"AliasTwice", "\nA=1\na=2\n", "lS"}, Row{"SameTwice", "\nA=1\na=1\n", "ls"},
      Row{"WrittenAgain", "\nnew=a b c\nNew=other\n", "ls"}, Row{"Returns", "\r\n:Provider=5\r\n", "ls"},
      Row{"BehindVersion", " mine\n", "lS"}, Row{"BehindProvider", "\n:Provider=5 mine\n", "lS"},
      Row{"Providers", "\n:Provider=5\n:Provider=6\n", "lS"}, Row{"InAComment", "\n#:Provider=3996\n", "lS"},
      Row{"NoNumber", "\n:Provider=none\nNEW=a b c\n", "lS"},
      Row{"NotToTheEnd", "\n:Provider=3996\n:Provider=99999999999\n", "lS"}, Row{"Unknown", "\nSEEN=here\n", "S"},
      Row{"UnknownWritten", "\nnew=a b c\n\n \t\r\n", "s"}, Row{"UnknownOther", "\nNEW=A b c\n", "S"},
      Row{"UnknownProvider", "\n:Provider=5\n", "S"}, Row{"FiveSettings", "\n", "lcscslscslscs"},
      Row{"SecondWindow", "\n", "lcslwS"}, Row{"NoLoad", "\n", "lcswcs"}, Row{"Script", "\n", "loSolS"},
      Row{"ScriptSeen", "\n", "lolws"}, Row{"Removed", "\n", "lrs"})
{
    const fs::path path = perUserFile();
    if (GetParam().expected[0] != 'l') // The store is older than the file.
        static_cast<void>(ConfigurationFile::getInstance());
    writeFile(path, version.substr(0, version.size() - 1) + GetParam().text);
    ConfigurationFile& store = ConfigurationFile::getInstance();
    Texts texts = {""};
    const auto save = [&](bool keepsCopy) {
        texts.resize(texts.size() + (keepsCopy ? 1 : 0), readFile(path));
        store.setData({{"a\nb\nc", "NEW"}, {"PLAIN", ""}});
        store.save();
        texts[0] = readFile(path);
        EXPECT_THAT(texts[0], ::testing::EndsWith("PLAIN\nNEW=a b c\n"));
        EXPECT_THAT(textsOf(path), ::testing::UnorderedElementsAreArray(texts));
        EXPECT_EQ(store.m_aliases.size() + store.m_resources.size(), 2U);
    };
    const std::map<char, std::function<void()>> steps = {
        {'l', [&] { store.load(); }},
        {'w', [&] { store.rememberLoaded(); }}, // A window shows what was loaded.
        {'o', [&] { writeFile(path, readFile(path) + "BY=script\n"); }},
        {'r', [&] { fs::remove_all(path.parent_path()); }},
        {'c', [&] { ++store.m_serialProperties[1].baudRate; }}, // The user confirms a serial setting.
        {'s', [&] { save(false); }},
        {'S', [&] { save(true); }}};
    for (const char step : GetParam().expected)
        steps.at(step)();
}
